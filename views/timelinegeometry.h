// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

/// Where frames and rows lie in the time line's scenes. Frames and ranks count from 0, coordinates are scene
/// pixels with the origin at the top left.
struct TimeLineGeometry {
    /// Pixels per frame.
    int frameWidth = 40;
    /// Pixels per object row.
    int rowHeight = 40;

    int columnLeft(int frame) const;
    /// Centre of a frame's column, and the same in whole pixels.
    double columnCentre(int frame) const;
    int frameToX(int frame) const;
    /// The frame whose column holds `x`; negative left of the video.
    int xToFrame(int x) const;

    int rowTop(int rank) const;
    /// Centre of a row, in whole pixels.
    int rankToY(int rank) const;
    /// The rank whose row holds `y`; negative above the rows.
    int yToRank(int y) const;

    /// Size of the scene of so many frames and rows.
    int width(int frameCount) const;
    int height(int rowCount) const;

    bool operator==(const TimeLineGeometry &other) const;
    bool operator!=(const TimeLineGeometry &other) const { return !(*this == other); }
};
