// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QtGlobal>

/// How large a project may become.
namespace ProjectLimits
{

/// The places of the time line are whole numbers, 40 pixels to a frame: 53 million frames are the end.
constexpr int mostFrames = 50'000'000;

/// Bytes that a video of `frames` frames takes in memory, and `objects` objects in it, without an outline:
/// the model and what the window makes of it.
qint64 memoryNeeded(int frames, int objects);
/// Bytes that are free in a machine whose kernel says this of its memory, what can be swapped out included.
/// Huge where it does not say.
qint64 freeInMachine(const QByteArray &memoryInfo);
/// Bytes that this process can still get. Huge where it cannot be told.
qint64 memoryAvailable();
/// Whether there is memory for a video of `frames` frames.
bool canHoldVideo(int frames);
/// Whether there is memory for `objects` more objects in a video of `frames` frames, which is loaded with
/// `loaded` objects.
bool canHoldObjects(int frames, int objects, int loaded = 0);

} // namespace ProjectLimits
