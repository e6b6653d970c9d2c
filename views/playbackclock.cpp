// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/playbackclock.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{

constexpr double msPerSecond = 1000.0;

} // namespace

int PlaybackClock::msPerFrame(double fps)
{
    if (!(fps > 0))
        return 1;
    const double ms = std::round(msPerSecond / fps);
    return static_cast<int>(std::clamp(ms, 1.0, static_cast<double>(std::numeric_limits<int>::max())));
}

qint64 PlaybackClock::frameAt(qint64 elapsed) const
{
    return (elapsed + startFrame * msEach) / msEach;
}

qint64 PlaybackClock::dueAt(qint64 frame) const
{
    return (frame - startFrame) * msEach;
}

bool PlaybackClock::isBehindTheEnd(qint64 frame) const
{
    return frame >= frameCount;
}
