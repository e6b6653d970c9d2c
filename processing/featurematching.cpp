// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/featurematching.h"

#include <QtConcurrentRun>

#include <exception>
#include <utility>

namespace
{

/// What `work` throws, or null: the thread pool would lose the text of an exception.
template <class Work>
std::exception_ptr errorOf(Work work)
{
    try {
        work();
    } catch (...) {
        return std::current_exception();
    }
    return nullptr;
}

/// Calls both, at the same time where a pool thread has nothing to do: waiting for what no thread has begun
/// does it here.
template <class First, class Second>
void sideBySide(First first, Second second)
{
    QFuture<std::exception_ptr> other = QtConcurrent::run([&second] { return errorOf(second); });
    const std::exception_ptr error = errorOf(first);
    const std::exception_ptr otherError = other.result();
    if (error || otherError)
        std::rethrow_exception(error ? error : otherError);
}

cv::Ptr<cv::ORB> createORB()
{
    constexpr int features = 500;
    constexpr float scaleFactor = 1.2F;
    constexpr int levels = 8;
    constexpr int edgeThreshold = 31; // pixels
    constexpr int firstLevel = 0;
    constexpr int pointsPerTest = 2;
    constexpr int patchSize = 31; // pixels
    constexpr int fastThreshold = 20;
    return cv::ORB::create(features, scaleFactor, levels, edgeThreshold, firstLevel, pointsPerTest,
                           cv::ORB::HARRIS_SCORE, patchSize, fastThreshold);
}

bool hasData(const cv::Mat &matrix)
{
    return matrix.data && matrix.total() > 0;
}

/// Key points of a crop inside the polygon. The crop is taken to start at the polygon's own corner, also
/// where the polygon reaches past the image and the crop does not.
std::vector<cv::KeyPoint> keyPointsInside(const cv::Mat &image, const QPolygonF &polygon)
{
    constexpr int leastSide = 2; // pixels; the detector cannot make its pyramid of less
    std::vector<cv::KeyPoint> inside;
    if (polygon.isEmpty() || image.cols < leastSide || image.rows < leastSide)
        return inside;
    std::vector<cv::KeyPoint> detected;
    createORB()->detect(image, detected);
    const QPointF corner = polygon.boundingRect().topLeft();
    for (const cv::KeyPoint &keyPoint : detected) {
        const QPointF point(keyPoint.pt.x + corner.x(), keyPoint.pt.y + corner.y());
        if (polygon.containsPoint(point, Qt::OddEvenFill))
            inside.push_back(keyPoint);
    }
    return inside;
}

/// The nearest trained descriptor for each of the rows `first` to `end` (exclusive).
std::vector<cv::DMatch> nearest(cv::FlannBasedMatcher &matcher, const cv::Mat &descriptors, int first,
                                int end)
{
    std::vector<cv::DMatch> matches;
    matcher.match(descriptors.rowRange(first, end), matches);
    for (cv::DMatch &match : matches)
        match.queryIdx += first;
    return matches;
}

void append(std::vector<cv::KeyPoint> &keyPoints, const std::vector<cv::KeyPoint> &more)
{
    keyPoints.insert(keyPoints.end(), more.begin(), more.end());
}

} // namespace

FeatureMatching::FeatureMatching(cv::Mat firstImage, cv::Mat secondImage, QPolygonF firstPolygon,
                                 QPolygonF secondPolygon)
    : image1(std::move(firstImage))
    , image2(std::move(secondImage))
    , polygon1(std::move(firstPolygon))
    , polygon2(std::move(secondPolygon))
{
}

void FeatureMatching::getORBKeyPoints()
{
    if (!hasData(image1) || !hasData(image2))
        return;
    sideBySide([this] { append(keyPoints1, keyPointsInside(image1, polygon1)); },
               [this] { append(keyPoints2, keyPointsInside(image2, polygon2)); });
}

void FeatureMatching::getORBDescriptors()
{
    if (keyPoints1.empty() || keyPoints2.empty())
        return;
    sideBySide([this] { createORB()->compute(image1, keyPoints1, descriptors1); },
               [this] { createORB()->compute(image2, keyPoints2, descriptors2); });
}

void FeatureMatching::matchORB()
{
    getORBKeyPoints();
    getORBDescriptors();
    if (!hasData(descriptors1) || !hasData(descriptors2))
        return;
    constexpr int tables = 20;
    constexpr int keySize = 10; // bits
    constexpr int probeLevel = 2;
    constexpr int checks = 32;
    cv::FlannBasedMatcher matcher(cv::makePtr<cv::flann::LshIndexParams>(tables, keySize, probeLevel),
                                  cv::makePtr<cv::flann::SearchParams>(checks, 0.0F, true));
    matcher.add(descriptors2);
    matcher.train(); // draws from this thread's random generator; searching draws no more
    const int half = descriptors1.rows / 2;
    std::vector<cv::DMatch> upper;
    std::vector<cv::DMatch> lower;
    sideBySide([&] { upper = nearest(matcher, descriptors1, 0, half); },
               [&] { lower = nearest(matcher, descriptors1, half, descriptors1.rows); });
    matches = std::move(upper);
    matches.insert(matches.end(), lower.begin(), lower.end());
}

void FeatureMatching::getGoodMatches(int maxDistance)
{
    const auto limit = static_cast<float>(maxDistance);
    for (const cv::DMatch &match : matches) {
        if (match.distance < limit)
            goodMatches.push_back(match);
    }
}
