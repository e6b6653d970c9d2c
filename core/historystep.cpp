// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/historystep.h"

#include "core/datastate.h"
#include "core/history.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdlib>

namespace
{

using Difference = ObjectDifference;

QString tr(const char *text)
{
    return QCoreApplication::translate("History", text);
}

/// The first object of `list` that `other` lacks, or null.
TrackedObject *firstMissing(const QList<TrackedObject *> &list, const QList<TrackedObject *> &other)
{
    const auto found = std::find_if(list.begin(), list.end(),
                                    [&other](TrackedObject *object) { return !other.contains(object); });
    return found == list.end() ? nullptr : *found;
}

bool isUser(KeyFrame::Type type)
{
    return type == KeyFrame::Visible || type == KeyFrame::Occluded;
}

bool changesUserKeyFrame(const Difference::Change<KeyFrame::Type> &change)
{
    return isUser(change.before) || isUser(change.after);
}

/// The frame of `changes` next to `frame`, of those that `counts` lets through; -1 when there is none.
template <class Changes, class Filter>
qint32 nearest(const Changes &changes, qint32 frame, const Filter &counts)
{
    qint32 best = -1;
    for (const auto &change : changes) {
        if (counts(change) && (best == -1 || std::abs(change.frame - frame) < std::abs(best - frame)))
            best = change.frame;
    }
    return best;
}

template <class Changes>
qint32 nearest(const Changes &changes, qint32 frame)
{
    return nearest(changes, frame, [](const auto &) { return true; });
}

/// Next to `frame`, a frame of a span that is in one chain only.
qint32 nearestInOtherSpan(const ChainSnapshot &one, const ChainSnapshot &other, qint32 frame)
{
    qint32 best = -1;
    for (const SpanSnapshot &span : one.spans) {
        if (other.spans.contains(span))
            continue;
        const qint32 inside = qBound(span.start, frame, span.end);
        if (best == -1 || std::abs(inside - frame) < std::abs(best - frame))
            best = inside;
    }
    return best;
}

} // namespace

HistoryStep::~HistoryStep()
{
    if (m_done || m_released)
        return;
    for (TrackedObject *added : qAsConst(after.objects)) {
        if (!before.objects.contains(added))
            added->deleteLater();
    }
}

void HistoryStep::redo()
{
    if (m_done)
        return;
    m_done = true;
    m_history.apply(*this, Difference::After);
}

void HistoryStep::undo()
{
    m_done = false;
    m_history.apply(*this, Difference::Before);
}

bool HistoryStep::changesList() const
{
    return before.objects != after.objects;
}

bool HistoryStep::isEmpty() const
{
    return differences.empty() && !changesList() && before.nextId == after.nextId;
}

void HistoryStep::finish(const QString &name)
{
    m_done = true;
    frame = after.frame;
    if (!differences.empty()) {
        const auto &main = mainDifference();
        object = main.first;
        frame = frameOf(main.second);
    }
    if (TrackedObject *added = firstMissing(after.objects, before.objects))
        object = added;
    else if (TrackedObject *deleted = firstMissing(before.objects, after.objects))
        object = deleted;
    setText(name.isEmpty() ? describe() : name);
}

/// That of the current object if it was changed, else the first one.
const HistoryStep::Entry &HistoryStep::mainDifference() const
{
    const auto current = std::find_if(differences.begin(), differences.end(), [this](const Entry &entry) {
        return entry.first->id == after.objectId;
    });
    return current == differences.end() ? differences.front() : *current;
}

/// Where the user would look for the change: at a key frame that came, went or changed, else at a change of
/// another kind, each time the one next to the frame shown.
qint32 HistoryStep::frameOf(const ObjectDifference &difference) const
{
    const qint32 shown = after.frame;
    const qint32 candidates[] = {
        nearest(difference.types, shown, changesUserKeyFrame),
        nearest(difference.polygons, shown),
        nearest(difference.types, shown),
        nearest(difference.ranks, shown),
        nearestInOtherSpan(difference.chainAfter, difference.chainBefore, shown),
    };
    for (const qint32 candidate : candidates) {
        if (candidate != -1)
            return candidate;
    }
    return shown;
}

QString HistoryStep::describe() const
{
    if (!object)
        return tr("change");
    const auto named = [this](const char *text) { return tr(text).arg(object->name); };
    const auto onFrame = [&](const char *text) { return named(text).arg(frame + 1); };
    if (firstMissing(after.objects, before.objects))
        return named(QT_TR_NOOP("adding %1"));
    if (firstMissing(before.objects, after.objects))
        return named(QT_TR_NOOP("deleting %1"));
    const ObjectDifference &difference = mainDifference().second;
    if (difference.nameDiffers())
        return tr("renaming %1 to %2").arg(difference.nameBefore, difference.nameAfter);
    if (!difference.ranks.empty())
        return named(QT_TR_NOOP("order of %1"));
    if (nearest(difference.types, frame, changesUserKeyFrame) != -1)
        return onFrame(QT_TR_NOOP("key frame of %1 on frame %2"));
    if (difference.polygons.size() > 1)
        return named(QT_TR_NOOP("outlines of %1"));
    if (!difference.polygons.empty() || !difference.types.empty())
        return onFrame(QT_TR_NOOP("outline of %1 on frame %2"));
    return named(QT_TR_NOOP("frame span of %1"));
}

qint64 HistoryStep::bytes() const
{
    if (m_released)
        return sizeof(*this);
    qint64 sum = qint64(sizeof(*this)) + qint64(differences.capacity()) * qint64(sizeof(Entry));
    for (const Entry &entry : differences)
        sum += entry.second.bytes(m_done ? Difference::Before : Difference::After);
    const int listed = before.objects.size() + after.objects.size();
    return sum + listed * static_cast<qint64>(sizeof(void *));
}

void HistoryStep::release()
{
    m_released = true;
    differences = {};
    before.objects.clear();
    after.objects.clear();
}
