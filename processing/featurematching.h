// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QPolygonF>

#include <opencv2/core.hpp>
#include <opencv2/features2d.hpp>

#include <vector>

/// ORB features of an object on two frames and their matches (Rublee et al., "ORB: an efficient alternative
/// to SIFT or SURF", 2011; matching through locality-sensitive hashing).
///
/// Matching draws from the thread's OpenCV random generator; who wants repeatable results seeds it before.
class FeatureMatching
{
public:
    /// Two crops and the object's polygon on either frame, the polygons in coordinates of the whole frame.
    FeatureMatching(cv::Mat image1, cv::Mat image2, QPolygonF polygon1, QPolygonF polygon2);

    /// Detects the key points of both crops and keeps those inside the polygons.
    void getORBKeyPoints();
    /// Describes the key points; drops those for which that is impossible.
    void getORBDescriptors();
    /// Both of the above, then the nearest second descriptor for every first one.
    void matchORB();
    /// Appends the matches of a Hamming distance below `maxDistance` to goodMatches.
    void getGoodMatches(int maxDistance);

    /// Crop coordinates.
    std::vector<cv::KeyPoint> keyPoints1;
    std::vector<cv::KeyPoint> keyPoints2;
    /// query = first crop, train = second crop; never cleared.
    std::vector<cv::DMatch> goodMatches;
    cv::Mat image1;
    cv::Mat image2;
    QPolygonF polygon1;
    QPolygonF polygon2;
    /// One row of 32 bytes per key point.
    cv::Mat descriptors1;
    cv::Mat descriptors2;
    /// One per row of descriptors1.
    std::vector<cv::DMatch> matches;
};
