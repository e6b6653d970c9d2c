// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/trackedobject.h"

#include "core/datastate.h"
#include "Models/projectsnapshot.h"

#include <limits>
#include <utility>

qint32 TrackedObject::newID = 0;

bool TrackedObject::TrackedObjectLess::operator()(const TrackedObject *a, const TrackedObject *b) const
{
    const KeyFrame *keyFrameA = a->keyFrames.value(frame);
    const KeyFrame *keyFrameB = b->keyFrames.value(frame);
    return keyFrameA && keyFrameB && keyFrameA->zOrder < keyFrameB->zOrder;
}

TrackedObject::TrackedObject(QObject *parent)
    : QObject(parent)
    , id(newID)
{
    if (newID < std::numeric_limits<qint32>::max())
        ++newID;
    name = QStringLiteral("new object %1").arg(qint64(id) + 1);
    const VideoContainer *video = state()->video;
    const int frameCount = video ? video->frameCount : 0;
    keyFrames.reserve(frameCount);
    frameSpans.reserve(frameCount);
    auto *wholeVideo = new FrameSpan(this, FrameSpan::Hidden, 0, frameCount - 1);
    for (int frame = 0; frame < frameCount; ++frame) {
        auto *keyFrame = new KeyFrame(this, frame, KeyFrame::None);
        keyFrame->m_madeByObject = true;
        keyFrames.append(keyFrame);
        frameSpans.append(wholeVideo);
    }
    const QList<QColor> &palette = state()->colors;
    color = palette.at(id % palette.size());
}

void TrackedObject::changeName(QString newName)
{
    name = newName;
    countChange();
    emit hasChanged(NameChanged);
}

KeyFrame *TrackedObject::getCurrentKeyFrame() const
{
    return keyFrames.value(state()->currentFrame);
}

QList<FrameSpan *> TrackedObject::getFrameSpans() const
{
    QList<FrameSpan *> spans;
    if (frameSpans.isEmpty())
        return spans;
    const int lastFrame = frameSpans.size() - 1;
    spans.append(frameSpans.first());
    int frame = spans.last()->end;
    while (frame < lastFrame) {
        spans.append(frameSpans.at(frame));
        // One behind the end, unlike after the first span: skips a following span of two frames on purpose.
        frame = spans.last()->end + 1;
    }
    return spans;
}

QVector<FrameSpan *> TrackedObject::spanChain() const
{
    QVector<FrameSpan *> chain;
    const int lastFrame = frameSpans.size() - 1;
    for (int frame = 0; frame < lastFrame || chain.isEmpty(); frame = chain.last()->end) {
        if (frame > lastFrame)
            break;
        chain.append(frameSpans.at(frame));
    }
    return chain;
}

TrackedObject::TrackedObjectLess TrackedObject::combareByZOrderOfFrame(int frame)
{
    return TrackedObjectLess{frame};
}

int TrackedObject::getZOrderRank(int frame) const
{
    const QList<TrackedObject *> sorted = state()->getZOrderSortedList(frame);
    for (int rank = 0; rank < sorted.size(); ++rank) {
        if (sorted.at(rank)->id == id)
            return rank;
    }
    return 0;
}

bool TrackedObject::isCurrent() const
{
    return id == state()->currentObjectId;
}

void TrackedObject::switchOrderWith(TrackedObject *other, int firstFrame)
{
    for (int i = firstFrame; i < keyFrames.size(); ++i)
        std::swap(keyFrames.at(i)->zOrder, other->keyFrames.at(i)->zOrder);
    countChange();
    other->countChange();
    emit hasChanged(ZOrderChanged);
}

// Spans that stay keep their place in memory: whoever shows one goes on with it.
void TrackedObject::restoreSpans(const QVector<SpanSnapshot> &spans, int lastEntry)
{
    QVector<FrameSpan *> present = spanChain();
    QVector<FrameSpan *> restored;
    for (const SpanSnapshot &span : spans) {
        const int index = restored.size();
        if (index == present.size())
            present.append(new FrameSpan(this, span.type, span.start, span.end));
        FrameSpan *target = present.at(index);
        target->type = span.type;
        target->start = span.start;
        target->end = span.end;
        restored.append(target);
        for (int frame = span.start; frame < span.end; ++frame)
            frameSpans[frame] = target;
    }
    if (!frameSpans.isEmpty() && lastEntry < restored.size())
        frameSpans.last() = restored.at(lastEntry);
    for (int i = restored.size(); i < present.size(); ++i)
        present.at(i)->deleteLater();
    countChange();
}

void TrackedObject::keyFrameChanged(int flags)
{
    if (const auto *keyFrame = qobject_cast<KeyFrame *>(sender()))
        handleKeyFrameChange(*keyFrame, flags);
}

void TrackedObject::handleKeyFrameChange(const KeyFrame &keyFrame, int flags)
{
    if ((flags & KeyFrame::TypeChanged) && changesSpans(keyFrame))
        rebuildSpans(keyFrame);
}

bool TrackedObject::changesSpans(const KeyFrame &keyFrame) const
{
    switch (keyFrame.type) {
    case KeyFrame::Visible:
    case KeyFrame::Occluded:
        return !isBoundary(keyFrame.frame);
    case KeyFrame::None:
        return isBoundary(keyFrame.frame) || isEdge(keyFrame.frame);
    case KeyFrame::Automatic: // automatic polygons never change the spans
        break;
    }
    return false;
}

void TrackedObject::rebuildSpans(const KeyFrame &keyFrame)
{
    countChange();
    if (keyFrame.type == KeyFrame::None)
        keyFrameRemoved(keyFrame.frame);
    else
        userKeyFrameSet(keyFrame.frame);
}

DataState *TrackedObject::state() const
{
    auto *owner = qobject_cast<DataState *>(parent());
    return owner ? owner : g_state;
}

bool TrackedObject::isEdge(int frame) const
{
    return frame == 0 || frame == keyFrames.size() - 1;
}

bool TrackedObject::isBoundary(int frame) const
{
    return !isEdge(frame) && frameSpans.at(frame - 1) != frameSpans.at(frame);
}

bool TrackedObject::isUserKeyFrame(int frame) const
{
    const KeyFrame::Type type = keyFrames.at(frame)->type;
    return type == KeyFrame::Visible || type == KeyFrame::Occluded;
}

// before   [a -------------------- b]
// after    [a -------- f][f ------ b]   filled frames on both sides are cleared
void TrackedObject::userKeyFrameSet(int frame)
{
    if (!isEdge(frame))
        splitSpanAt(frame);

    const bool hasLeft = frame != 0;
    const bool hasRight = frame != keyFrames.size() - 1;
    if (hasLeft)
        showIfHidden(frameSpans.at(frame - 1), frameSpans.at(frame - 1)->start);
    if (hasRight)
        showIfHidden(frameSpans.at(frame), frameSpans.at(frame)->end);
    if (hasLeft)
        clearBetween(frameSpans.at(frame - 1)->start, frame);
    if (hasRight)
        clearBetween(frame, frameSpans.at(frame)->end);
    emit hasChanged(SpansChanged);
}

// before   [a -------- f][f ------ b]
// after    [a -------------------- b]   everything inside is cleared
void TrackedObject::keyFrameRemoved(int frame)
{
    if (isBoundary(frame))
        mergeSpansAt(frame);

    // On the last frame this is the span that its entry names, which may be an earlier one.
    FrameSpan *span = frameSpans.at(frame);
    if (frame == 0 || keyFrames.at(span->start)->type == KeyFrame::None)
        span->setType(FrameSpan::Hidden);
    if (frame == keyFrames.size() - 1 || keyFrames.at(span->end)->type == KeyFrame::None)
        span->setType(FrameSpan::Hidden);
    clearBetween(span->start, span->end);
    emit hasChanged(SpansChanged);
}

void TrackedObject::splitSpanAt(int frame)
{
    FrameSpan *left = frameSpans.at(frame);
    auto *right = new FrameSpan(this, left->type, frame, left->end);
    left->end = frame;
    // The entry of the right span's end belongs to the next span; the last frame's entry stays stale.
    for (int i = frame; i < right->end; ++i)
        frameSpans[i] = right;
}

void TrackedObject::mergeSpansAt(int frame)
{
    FrameSpan *left = frameSpans.at(frame - 1);
    FrameSpan *right = frameSpans.at(frame);
    left->end = right->end;
    for (int i = frame; i < right->end; ++i)
        frameSpans[i] = left;
    if (frameSpans.last() == right) // no entry outlives its span
        frameSpans.last() = left;
    if (right->type != left->type)
        left->setType(FrameSpan::Hidden);
    right->deleteLater();
}

// A hidden span becomes visible once both its ends carry user key frames.
void TrackedObject::showIfHidden(FrameSpan *span, int otherEnd)
{
    if (span->type == FrameSpan::Hidden && isUserKeyFrame(otherEnd))
        span->setType(FrameSpan::Visible);
}

// Re-enters changesSpans() for every frame, which denies it for frames inside a span.
void TrackedObject::clearBetween(int first, int last)
{
    for (int i = first + 1; i < last; ++i)
        keyFrames.at(i)->annotate(QPolygonF(), KeyFrame::None);
}
