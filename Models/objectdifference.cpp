// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/objectdifference.h"

#include "Models/trackedobject.h"

#include <cstring>

namespace
{

/// Equal to the last bit; Qt's own comparison takes neighbours for equal.
bool samePolygon(const QPolygonF &a, const QPolygonF &b)
{
    if (a.constData() == b.constData())
        return true;
    const auto bytes = static_cast<size_t>(a.size()) * sizeof(QPointF);
    return a.size() == b.size() && std::memcmp(a.constData(), b.constData(), bytes) == 0;
}

/// A null string stands differently in a project file than an empty one.
bool sameText(const QString &a, const QString &b)
{
    return a == b && a.isNull() == b.isNull();
}

qint64 bytesOf(const QPolygonF &polygon)
{
    constexpr int header = 24;
    return polygon.isEmpty() ? 0 : header + qint64(polygon.size()) * qint64(sizeof(QPointF));
}

template <class Value>
qint64 bytesOf(const std::vector<ObjectDifference::Change<Value>> &changes)
{
    return static_cast<qint64>(changes.capacity()) * static_cast<qint64>(sizeof(changes.front()));
}

} // namespace

ObjectDifference ObjectDifference::take(ObjectSnapshot &known, const TrackedObject &object)
{
    ObjectDifference difference;
    if (known.frameCount() != object.keyFrames.size()) {
        known = ObjectSnapshot(object);
        return difference;
    }
    difference.takeFrames(known, object);
    ChainSnapshot chain(object);
    if (chain != known.chain) {
        difference.chainBefore = known.chain;
        difference.chainAfter = chain;
        known.chain = chain;
    }
    if (!sameText(object.name, known.name)) {
        difference.nameBefore = known.name;
        difference.nameAfter = object.name;
        known.name = object.name;
    }
    known.id = object.id;
    return difference;
}

void ObjectDifference::takeFrames(ObjectSnapshot &known, const TrackedObject &object)
{
    for (int i = 0; i < known.frameCount(); ++i) {
        const KeyFrame *keyFrame = object.keyFrames.at(i);
        const FrameSnapshot now{keyFrame->polygonSnapshot(), keyFrame->zOrder, keyFrame->type};
        const FrameSnapshot &before = known.frame(i);
        const bool equal = samePolygon(before.polygon, now.polygon);
        if (!equal)
            polygons.push_back({i, before.polygon, now.polygon});
        if (before.type != now.type)
            types.push_back({i, before.type, now.type});
        if (before.zOrder != now.zOrder)
            ranks.push_back({i, before.zOrder, now.zOrder});
        const bool shared = before.polygon.constData() == now.polygon.constData();
        if (!shared || before.type != now.type || before.zOrder != now.zOrder)
            known.setFrame(i, now);
    }
    polygons.shrink_to_fit();
    types.shrink_to_fit();
    ranks.shrink_to_fit();
}

bool ObjectDifference::isEmpty() const
{
    return polygons.empty() && types.empty() && ranks.empty() && !chainDiffers() && !nameDiffers();
}

void ObjectDifference::restore(TrackedObject &object, Side side) const
{
    for (const Change<QPolygonF> &change : polygons)
        object.keyFrames.at(change.frame)->restorePolygon(change.value(side));
    for (const Change<KeyFrame::Type> &change : types)
        object.keyFrames.at(change.frame)->type = change.value(side);
    for (const Change<qint32> &change : ranks)
        object.keyFrames.at(change.frame)->zOrder = change.value(side);
    if (chainDiffers()) {
        const ChainSnapshot &chain = side == Before ? chainBefore : chainAfter;
        object.restoreSpans(chain.spans, chain.lastEntry);
    }
    if (nameDiffers())
        object.name = side == Before ? nameBefore : nameAfter;
}

void ObjectDifference::announce(TrackedObject &object) const
{
    for (const Change<QPolygonF> &change : polygons)
        object.keyFrames.at(change.frame)->announceRestored(KeyFrame::PolygonChanged);
    for (const Change<KeyFrame::Type> &change : types)
        object.keyFrames.at(change.frame)->announceRestored(KeyFrame::TypeChanged);
    int flags = 0;
    if (nameDiffers())
        flags |= TrackedObject::NameChanged;
    if (chainDiffers() || !types.empty())
        flags |= TrackedObject::SpansChanged;
    if (!ranks.empty())
        flags |= TrackedObject::ZOrderChanged;
    if (flags != 0)
        emit object.hasChanged(flags);
}

bool ObjectDifference::chainDiffers() const
{
    return chainBefore != chainAfter;
}

bool ObjectDifference::nameDiffers() const
{
    return !sameText(nameBefore, nameAfter);
}

qint64 ObjectDifference::bytes(Side side) const
{
    qint64 sum = static_cast<qint64>(sizeof(*this)) + bytesOf(polygons) + bytesOf(types) + bytesOf(ranks);
    for (const Change<QPolygonF> &change : polygons)
        sum += bytesOf(change.value(side));
    sum += qint64(chainBefore.spans.capacity() + chainAfter.spans.capacity()) * qint64(sizeof(SpanSnapshot));
    return sum + qint64(nameBefore.capacity() + nameAfter.capacity()) * qint64(sizeof(QChar));
}
