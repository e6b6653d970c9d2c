// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QPolygonF>

#include <opencv2/core.hpp>

/// Ways in which a segmentation could go wrong without looking wrong.
struct SegmentationVariant {
    bool growingIterations = true; ///< round k has k iterations
    bool freshModels = true;       ///< every round learns its colour models anew
    int thicker = 0;               ///< pixels added to the uncertain band
    int thickness = 0;             ///< of the uncertain band, instead of the rule
    bool largestArea = false;      ///< instead of the most points
    bool lastOnTies = false;
};

/// Segmentation of one frame in its plainest form. Uses OpenCV's random generator as it is; throws when there
/// is no foreground.
QPolygonF plainSegmentation(const cv::Mat &image, const QPolygonF &polygon, int rounds,
                            const SegmentationVariant &variant = SegmentationVariant());
