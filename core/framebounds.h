// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QRectF>

/// Bounds of the frame image now shown, in frame pixels: the scene bounding rectangle of the main window's
/// frame item (empty before the first frame). Without a main window, the frame rectangle of the loaded video.
///
/// Callable from any thread: pool threads get the bounds as the GUI thread last asked for them, which every
/// long job does as it starts.
QRectF frameBounds();
