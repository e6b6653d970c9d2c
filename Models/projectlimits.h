// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// How large a project may become.
namespace ProjectLimits
{

/// The places of the time line are whole numbers, 40 pixels to a frame: 53 million frames are the end.
constexpr int mostFrames = 50'000'000;

/// Bytes that a video of `frames` frames takes in memory, and `objects` objects in it, without an outline:
/// the model and what the window makes of it.
qint64 memoryNeeded(int frames, int objects);
/// Bytes that this process can still get without pressing anything else out of memory. Huge where it cannot
/// be told.
qint64 memoryAvailable();
/// Whether there is memory for a video of `frames` frames.
bool canHoldVideo(int frames);
/// Whether there is memory for `objects` more objects in a video of `frames` frames, which is loaded.
bool canHoldObjects(int frames, int objects);

} // namespace ProjectLimits
