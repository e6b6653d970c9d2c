// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QRectF>

#include <functional>

/// Bounds of the frame image now shown, in frame pixels: the scene bounding rectangle of the main window's
/// frame item. Without a main window, and where that rectangle has no area (a frame without image), the frame
/// rectangle of the loaded video.
///
/// Callable from any thread: with a window, pool threads get the bounds as the GUI thread last asked for
/// them, which every long job does as it starts.
QRectF frameBounds();

/// Where frameBounds() has its rectangles from.
namespace FrameBounds
{

using Source = std::function<QRectF()>;

/// Makes `window` the one whose frame image counts; `source` gives its bounds and is called on the GUI
/// thread.
void setShownFrame(const void *window, const Source &source);
/// Ends that, if `window` is still the one.
void withdrawShownFrame(const void *window);
/// For the project state: the rectangle of the loaded video, empty without one. Callable from any thread.
void setVideo(const Source &source);

} // namespace FrameBounds
