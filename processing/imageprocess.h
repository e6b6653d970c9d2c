// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QPolygonF>
#include <QString>

#include <opencv2/core.hpp>

/// One frame image and the cutting of regions out of it.
class ImageProcess
{
public:
    /// The image at `path` in colour (8-bit BGR); empty when it cannot be read.
    static cv::Mat load(const QString &path);

    /// Loads the image at `path` in colour; `image` stays empty when that fails.
    explicit ImageProcess(QString path);

    /// The part of the image under the polygon's clamped bounding rectangle, rounded to whole pixels. Shares
    /// the image's pixels.
    cv::Mat crop(QPolygonF polygon) const;

    /// Limits of the polygon's bounding rectangle, clamped by checkSize().
    void getBoundingRect(QPolygonF polygon, double &xMin, double &xMax, double &yMin, double &yMax) const;

    /// Clamps limits to the image. Lower limits beyond the image go to its last pixel, upper ones to its
    /// size; all tests are strict, so that a lower limit equal to the size stays.
    void checkSize(double &xMin, double &xMax, double &yMin, double &yMax) const;

    /// 8-bit BGR.
    cv::Mat image;
};
