// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/modelchecks.h"

#include "core/datastate.h"

#include <QCoreApplication>
#include <QEvent>
#include <QMetaEnum>
#include <QPair>
#include <QSet>
#include <QVector>

QList<FrameSpan *> ModelChecks::chain(const TrackedObject *object)
{
    QList<FrameSpan *> spans;
    const int last = object->frameSpans.size() - 1;
    int frame = 0;
    while (spans.size() <= last) {
        FrameSpan *span = object->frameSpans.at(frame);
        spans.append(span);
        if (span->end <= frame || span->end >= last)
            break;
        frame = span->end;
    }
    return spans;
}

QString ModelChecks::spanText(const FrameSpan *span)
{
    const char *type = QMetaEnum::fromType<FrameSpan::Type>().valueToKey(span->type);
    return QStringLiteral("%1-%2 %3")
        .arg(span->start)
        .arg(span->end)
        .arg(QLatin1String(type ? type : "unknown type"));
}

QString ModelChecks::chainText(const TrackedObject *object)
{
    QStringList texts;
    for (const FrameSpan *span : chain(object))
        texts.append(spanText(span));
    return texts.join(QLatin1String(", "));
}

namespace
{

QString keyFrameProblem(const TrackedObject *object, int frameCount)
{
    if (object->keyFrames.size() != frameCount)
        return QStringLiteral("%1 key frames").arg(object->keyFrames.size());
    for (int frame = 0; frame < frameCount; ++frame) {
        const KeyFrame *key = object->keyFrames.at(frame);
        if (key->frame != frame)
            return QStringLiteral("key frame %1 has number %2").arg(frame).arg(key->frame);
        if (key->object != object)
            return QStringLiteral("key frame %1 has another owner").arg(frame);
        if (key->type < KeyFrame::None || key->type > KeyFrame::Automatic)
            return QStringLiteral("key frame %1 has type %2").arg(frame).arg(key->type);
    }
    return QString();
}

QString linkProblem(const FrameSpan *span, const TrackedObject *object, int expectedStart)
{
    if (span->object != object)
        return QStringLiteral("span %1 has another owner").arg(ModelChecks::spanText(span));
    if (span->type < FrameSpan::Hidden || span->type > FrameSpan::Occluded)
        return QStringLiteral("a span has type %1").arg(span->type);
    if (span->start != expectedStart)
        return QStringLiteral("span %1 does not start at %2")
            .arg(ModelChecks::spanText(span))
            .arg(expectedStart);
    return QString();
}

} // namespace

QString ModelChecks::objectProblem(const TrackedObject *object, int frameCount)
{
    const QString problem = keyFrameProblem(object, frameCount);
    if (!problem.isEmpty())
        return problem;
    if (object->frameSpans.size() != frameCount)
        return QStringLiteral("%1 span entries").arg(object->frameSpans.size());

    const QList<FrameSpan *> spans = chain(object);
    int expectedStart = 0;
    for (FrameSpan *span : spans) {
        const QString fault = linkProblem(span, object, expectedStart);
        if (!fault.isEmpty())
            return fault;
        for (int frame = span->start; frame < span->end; ++frame) {
            if (frame >= frameCount || object->frameSpans.at(frame) != span)
                return QStringLiteral("frame %1 does not name span %2").arg(frame).arg(spanText(span));
        }
        expectedStart = span->end;
    }
    if (expectedStart != frameCount - 1)
        return QStringLiteral("the chain ends at %1: %2").arg(expectedStart).arg(chainText(object));
    if (!spans.contains(object->frameSpans.last()))
        return QStringLiteral("the last frame names a span that is not in the chain");
    return QString();
}

QString ModelChecks::stateProblem(const DataState &state)
{
    const int frameCount = state.video->frameCount;
    if (state.currentFrame < 0 || state.currentFrame >= frameCount)
        return QStringLiteral("current frame %1 of %2").arg(state.currentFrame).arg(frameCount);
    if (TrackedObject::newID < 0)
        return QStringLiteral("next id %1").arg(TrackedObject::newID);
    for (int i = 0; i < state.objects.size(); ++i) {
        const QString problem = objectProblem(state.objects.at(i), frameCount);
        if (!problem.isEmpty())
            return QStringLiteral("object %1: %2").arg(i).arg(problem);
    }
    return QString();
}

void ModelChecks::flushDeferredDeletes()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

namespace
{

/// The bits of a change signal, each with its word.
using Words = QVector<QPair<int, const char *>>;

const Words objectWords{{TrackedObject::NameChanged, "name"},
                        {TrackedObject::SpansChanged, "spans"},
                        {TrackedObject::ZOrderChanged, "stacking"}};
const Words keyFrameWords{{KeyFrame::PolygonChanged, "polygon"}, {KeyFrame::TypeChanged, "type"}};
const Words spanWords{{FrameSpan::TypeChanged, "type"}};
const Words stateWords{{DataState::ObjectSelectionChanged, "selection"},
                       {DataState::FrameChanged, "frame"},
                       {DataState::ObjectListChanged, "objects"}};

QString inWords(int flags, const Words &words)
{
    QStringList parts;
    for (const auto &[bit, word] : words) {
        if (flags & bit)
            parts.append(QLatin1String(word));
        flags &= ~bit;
    }
    if (flags != 0 || parts.isEmpty())
        parts.append(QString::number(flags));
    return parts.join(QLatin1Char('|'));
}

} // namespace

void SignalRecorder::watch(TrackedObject *object)
{
    QObject::connect(object, &TrackedObject::hasChanged, &m_context, [this](int flags) {
        log.append(QLatin1String("object: ") + inWords(flags, objectWords));
    });
    for (KeyFrame *key : qAsConst(object->keyFrames)) {
        QObject::connect(key, &KeyFrame::hasChanged, &m_context, [this, key](int flags) {
            log.append(QStringLiteral("key %1: %2").arg(key->frame).arg(inWords(flags, keyFrameWords)));
        });
    }
    QSet<FrameSpan *> watched;
    for (FrameSpan *span : qAsConst(object->frameSpans)) {
        if (watched.contains(span))
            continue;
        watched.insert(span);
        QObject::connect(span, &FrameSpan::hasChanged, &m_context, [this, span](int flags) {
            log.append(QStringLiteral("span %1-%2: %3")
                           .arg(span->start)
                           .arg(span->end)
                           .arg(inWords(flags, spanWords)));
        });
    }
}

void SignalRecorder::watch(DataState *state)
{
    QObject::connect(state, &DataState::hasChanged, &m_context, [this](int flags) {
        log.append(QLatin1String("state: ") + inWords(flags, stateWords));
    });
}
