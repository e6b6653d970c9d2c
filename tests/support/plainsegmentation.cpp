// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/plainsegmentation.h"

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <vector>

QPolygonF plainSegmentation(const cv::Mat &image, const QPolygonF &polygon, int rounds,
                            const SegmentationVariant &variant)
{
    const auto whole = [](double value) { return static_cast<int>(std::round(value)); };
    const QRectF box = polygon.boundingRect();
    const cv::Rect rect(whole(box.left()), whole(box.top()), whole(box.width()), whole(box.height()));
    cv::Mat mask = cv::Mat::zeros(image.size(), CV_8UC1);
    std::vector<std::vector<cv::Point>> outline(1);
    for (const QPointF &p : polygon)
        outline[0].emplace_back(whole(p.x()), whole(p.y()));
    cv::fillPoly(mask, outline, cv::Scalar(1), 8, 0);
    int thickness = whole((box.width() > box.height() ? box.width() : box.height()) * 0.2);
    if (thickness < 1)
        thickness = 1;
    thickness = variant.thickness > 0 ? variant.thickness : thickness + variant.thicker;
    cv::polylines(mask, outline, true, cv::Scalar(3), thickness, 8, 0);

    cv::Mat background;
    cv::Mat foreground;
    for (int k = 1; k <= rounds; ++k) {
        const bool learn = variant.freshModels || k == 1;
        cv::grabCut(image, mask, rect, background, foreground, variant.growingIterations ? k : 1,
                    learn ? cv::GC_INIT_WITH_MASK : cv::GC_EVAL);
    }
    cv::Mat result = mask & 1;
    std::vector<std::vector<cv::Point>> contours;
    cv::findContours(result, contours, 0, 4);
    std::size_t best = 0;
    for (std::size_t i = 1; i < contours.size(); ++i) {
        const bool more = variant.largestArea ? cv::contourArea(contours[i]) > cv::contourArea(contours[best])
                                              : contours[i].size() > contours[best].size();
        if (more || (variant.lastOnTies && contours[i].size() == contours[best].size()))
            best = i;
    }
    QPolygonF points;
    for (const cv::Point &p : contours.at(best))
        points.append(QPointF(p.x, p.y));
    return points;
}
