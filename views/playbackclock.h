// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// Which frame playback shows when. Frames count from 0, times are milliseconds.
struct PlaybackClock {
    /// How long every frame is shown: whole, at least 1.
    qint64 msEach = 1;
    int startFrame = 0;
    int frameCount = 0;

    /// Time that playback shows one frame: whole, at least 1 whatever the frame rate.
    static int msPerFrame(double fps);

    /// The frame due so long after the start, which may lie behind the end of the video.
    qint64 frameAt(qint64 elapsed) const;
    /// How long after the start a frame is due first; not positive for those up to the first one.
    qint64 dueAt(qint64 frame) const;
    /// Whether a frame lies behind the last one.
    bool isBehindTheEnd(qint64 frame) const;
};
