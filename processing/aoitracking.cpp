// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/aoitracking.h"

#include "core/datastate.h"

#include <QCoreApplication>

namespace
{

const QPair<int, int> nothingToTrack(-1, -1);

} // namespace

AOItracking::AOItracking(DataState *dataState, bool interactiveMode, int distance)
    : maxDistance(distance)
    , interactive(interactiveMode)
    , state(dataState)
    , m_images(*dataState)
{
    framePairs = getFramePairs();
    for (int i = 0; i < framePairs.size(); ++i)
        frameIndices.append(i);
}

/// The object worked on: always the project's current one; null if there is none.
TrackedObject *AOItracking::object() const
{
    return state->getCurrentObject();
}

QList<QPair<int, int>> AOItracking::getFramePairs() const
{
    QList<QPair<int, int>> pairs;
    const TrackedObject *tracked = object();
    if (!tracked)
        return {nothingToTrack};
    const QList<FrameSpan *> spans = tracked->getFrameSpans();
    for (const FrameSpan *span : spans) {
        if (span->type != FrameSpan::Visible || span->start >= span->end - 1)
            continue;
        bool covered = true;
        for (int frame = span->start; frame <= span->end && covered; ++frame)
            covered = !tracked->keyFrames.at(frame)->polygonSnapshot().isEmpty();
        if (covered)
            pairs.append(qMakePair(span->start, span->end));
    }
    if (pairs.isEmpty())
        pairs.append(nothingToTrack);
    return pairs;
}

int AOItracking::interactiveTracking(int frame)
{
    stopFrame = frame;
    const QList<QPolygonF> before = polygons();
    run(QCoreApplication::translate("AOItracking", "Interactive feature based AOI tracking"));
    if (!stopped)
        return -1;
    restoreBehindStop(before);
    return stopFrame;
}

void AOItracking::automaticTracking()
{
    run(QCoreApplication::translate("AOItracking", "Automatic feature based AOI tracking"));
}

void AOItracking::run(const QString &label)
{
    m_images.startRun();
    m_aborted.store(false, std::memory_order_relaxed);
    m_grace.reset();
    m_running = true;
    QList<int> chains = chainStarts();
    m_result = FrameJob::run(
        label, chains, [this](int &first) { trackChain(first); },
        [this] {
            m_grace.start();
            m_aborted.store(true, std::memory_order_relaxed);
        });
    m_running = false;
}

// A span of three frames moves its last frame, which is the first one of the next span. Such spans are a
// chain: one task tracks them one after the other, so that the result does not depend on timing. To "Abort"
// they are spans like any others: those not yet begun are skipped.
QList<int> AOItracking::chainStarts() const
{
    QList<int> starts;
    for (int index : frameIndices) {
        if (!startsWherePreviousMoves(index))
            starts.append(index);
    }
    return starts;
}

void AOItracking::trackChain(int first)
{
    const aoiFittingWrapper track(this);
    int index = first;
    do {
        track(index);
        ++index;
    } while (index < framePairs.size() && startsWherePreviousMoves(index) &&
             !m_aborted.load(std::memory_order_relaxed));
}

bool AOItracking::startsWherePreviousMoves(int pairIndex) const
{
    if (pairIndex == 0)
        return false;
    const QPair<int, int> previous = framePairs.at(pairIndex - 1);
    return previous.second - previous.first == 2 && previous.second == framePairs.at(pairIndex).first;
}

void AOItracking::aoiFitting(int &pairIndex)
{
    const int first = framePairs.at(pairIndex).first;
    const int last = framePairs.at(pairIndex).second;
    if (first == -1 || last == -1 || !object() || mustStop(pairIndex))
        return;
    const int middle = first + (last - first) / 2;
    const auto mayGoOn = [this, pairIndex] { return !mustStop(pairIndex) && !m_grace.isOver(); };

    BackwardPass backward(setup(), last, middle, [this] { return !m_grace.isOver(); });
    stopAt(pairIndex, TrackingPass(setup()).walk(first, middle + 1, mayGoOn));
    if (mayGoOn())
        stopAt(pairIndex, backward.finish(mayGoOn));
}

bool AOItracking::transformAOI(int from, int to)
{
    if (from == -1 || to == -1 || !object())
        return false;
    return TrackingPass(setup()).step(from, to);
}

TrackingSetup AOItracking::setup()
{
    return {m_images, *object(), maxDistance, interactive};
}

// In a run over several pairs the lowest pair that fails decides, as if the pairs were tracked in their
// order: pairs before it go on, pairs behind it leave.
bool AOItracking::mustStop(int pairIndex) const
{
    if (!stopped.load(std::memory_order_relaxed))
        return false;
    const std::lock_guard<std::mutex> lock(m_stopMutex);
    return !m_running || m_stopPair <= pairIndex;
}

/// Stops at what a pass returned, which may be no frame.
void AOItracking::stopAt(int pairIndex, int frame)
{
    if (frame == -1)
        return;
    const std::lock_guard<std::mutex> lock(m_stopMutex);
    if (m_stopPair != -1 && m_stopPair < pairIndex)
        return;
    m_stopPair = pairIndex;
    stopFrame = frame;
    stopped.store(true, std::memory_order_relaxed);
}

QList<QPolygonF> AOItracking::polygons() const
{
    QList<QPolygonF> all;
    const TrackedObject *tracked = object();
    if (!tracked)
        return all;
    for (const KeyFrame *keyFrame : tracked->keyFrames)
        all.append(keyFrame->polygonSnapshot());
    return all;
}

// What the pairs behind the one that stopped have done by then is a matter of timing; they get back the
// polygons that they had.
void AOItracking::restoreBehindStop(const QList<QPolygonF> &before)
{
    for (int i = m_stopPair + 1; i < framePairs.size(); ++i) {
        for (int frame = framePairs.at(i).first + 1; frame <= framePairs.at(i).second; ++frame) {
            KeyFrame *keyFrame = object()->keyFrames.at(frame);
            if (keyFrame->polygonSnapshot() != before.at(frame))
                keyFrame->setNewPolygon(before.at(frame));
        }
    }
}
