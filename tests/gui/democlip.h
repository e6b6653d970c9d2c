// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/clips.h"

/// The clip of the demonstration: painted shapes that move on bows over a landscape of soft colours.
namespace DemoClip
{

constexpr int frameCount = 40;
constexpr int turnFrame = frameCount / 2; ///< from one bow to the other
constexpr double fps = 25;

/// Shapes of the clip, from back to front.
constexpr int hexagon = 1;
constexpr int kite = 2;

Clips::Clip make();

} // namespace DemoClip
