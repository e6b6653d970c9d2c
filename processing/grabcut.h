// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QPolygonF>
#include <QString>

#include <opencv2/core.hpp>

#include <functional>

/// Refines the outline of an object on one frame by GrabCut (Rother et al., "GrabCut: interactive foreground
/// extraction using iterated graph cuts", 2004).
///
/// Draws from the thread's OpenCV random generator; who wants repeatable results seeds it before.
class GrabCut
{
public:
    /// Loads the frame image at `path` in colour; `image` stays empty when that fails.
    GrabCut(QString path, QPolygonF polygon);

    /// Replaces the polygon by the outline of the foreground after `rounds` rounds; round k runs k iterations
    /// on colour models learned anew. The second argument has no effect. Throws when there is no foreground,
    /// or no background, to work with. `mayGoOn`, if given, is asked before every round and several times a
    /// second; where it says no, the polygon stays and false is returned. A round in progress, which cannot
    /// be interrupted, then goes on unheard for a while, with the image: that must not be written to.
    bool segmentImage(int rounds, int unused, const std::function<bool()> &mayGoOn = {});
    /// 1 where `mask` holds definite or probable foreground, else 0 (8 bit, one channel).
    void getBinMask(const cv::Mat &mask, cv::Mat &binMask) const;
    /// The polygon as it is now.
    QPolygonF getObjectBondary() const;

    /// The seed, and after segmentImage() the result, in frame pixels.
    QPolygonF polygon;
    /// 8-bit BGR.
    cv::Mat image;

private:
    cv::Rect seedRectangle() const;
    cv::Mat seedMask() const;
    void writeDebugImage(const cv::Mat &mask) const;
};
