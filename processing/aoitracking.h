// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "processing/abortgrace.h"
#include "processing/framejob.h"
#include "processing/trackingstep.h"

#include <QList>
#include <QPair>
#include <QPolygonF>

#include <atomic>
#include <mutex>

class DataState;
class TrackedObject;

/// Corrects the filled polygons of the current object's visible spans frame by frame after image features:
/// from both ends of a span towards its middle, the spans in parallel.
///
///     span     s                    mid  mid+1                e
///     forward  s -> s+1 -> ... ->   mid -> mid+1
///     backward                      mid <- mid+1 <- ... <-    e
///
/// Both passes move the frames mid and mid+1; they keep the result of the backward pass. Results depend
/// neither on the number of threads nor on their timing.
class AOItracking
{
public:
    /// Collects the spans to track; later edits are not seen. Matches of a descriptor distance below
    /// `maxDistance` count as good.
    AOItracking(DataState *state, bool interactive, int maxDistance);

    /// First and last frames of the current object's visible spans of three or more frames with a polygon on
    /// each of them; the pair (-1, -1) alone when there is none.
    QList<QPair<int, int>> getFramePairs() const;

    /// Tracks behind a progress dialog until done or until a step fails on an automatic key frame. Returns
    /// the frame of that step, or -1. `frame` is what stopFrame starts from.
    int interactiveTracking(int frame);
    /// Tracks behind a progress dialog to the end.
    void automaticTracking();
    /// How the last of these runs ended. A run that was aborted or failed can have stopped for the user too.
    const FrameJob::Result &result() const { return m_result; }

    /// Tracks one frame pair. Runs on a pool thread.
    void aoiFitting(int &pairIndex);
    /// Moves the polygon of frame `to` by what the features inside the polygon of frame `from` have moved.
    /// Returns false, with nothing changed, when there are fewer than 8 good matches or a frame has no image.
    bool transformAOI(int from, int to);

    /// Function object of the parallel map: tracks a frame pair.
    struct aoiFittingWrapper {
        explicit aoiFittingWrapper(AOItracking *owner)
            : tracking(owner)
        {
        }
        void operator()(int &pairIndex) const { tracking->aoiFitting(pairIndex); }

        AOItracking *tracking;
    };

    /// 0 to the number of frame pairs - 1.
    QList<int> frameIndices;
    QList<QPair<int, int>> framePairs;
    /// Set when interactive tracking must stop; then no further step is made, but for those of the pairs
    /// before the one that stopped in a run over all pairs. Written by any task, read by all before each
    /// step.
    std::atomic<bool> stopped{false};
    /// Frame on which the user must act, from 0.
    int stopFrame = -1;
    int maxDistance;
    bool interactive;
    DataState *state;

private:
    TrackedObject *object() const;
    TrackingSetup setup();
    void run(const QString &label);
    QList<int> chainStarts() const;
    void trackChain(int first);
    bool startsWherePreviousMoves(int pairIndex) const;
    bool mustStop(int pairIndex) const;
    void stopAt(int pairIndex, int frame);
    QList<QPolygonF> polygons() const;
    void restoreBehindStop(const QList<QPolygonF> &before);

    FrameImages m_images;
    FrameJob::Result m_result;
    AbortGrace m_grace;                 // of the pairs in progress
    std::atomic<bool> m_aborted{false}; // set by the GUI thread, read by the tasks before each pair
    mutable std::mutex m_stopMutex;     // guards stopFrame and m_stopPair between the tasks
    bool m_running = false;             // in a run over all pairs; set while no task is running
    int m_stopPair = -1;                // frame pair that stopped; the lowest one counts
};
