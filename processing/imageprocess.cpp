// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/imageprocess.h"

#include "processing/functions.h"

#include <opencv2/imgcodecs.hpp>

namespace
{

void clampLower(double &limit, int size)
{
    if (limit < 0)
        limit = 0;
    else if (limit > size)
        limit = size - 1;
}

void clampUpper(double &limit, int size)
{
    if (limit < 0)
        limit = 0;
    else if (limit > size)
        limit = size;
}

} // namespace

cv::Mat ImageProcess::load(const QString &path)
{
    try {
        return cv::imread(path.toUtf8().toStdString(), cv::IMREAD_COLOR);
    } catch (const cv::Exception &) { // a header that claims an absurd size
        return cv::Mat();
    }
}

ImageProcess::ImageProcess(QString path)
    : image(load(path))
{
}

cv::Mat ImageProcess::crop(QPolygonF polygon) const
{
    double xMin = 0;
    double xMax = 0;
    double yMin = 0;
    double yMax = 0;
    getBoundingRect(polygon, xMin, xMax, yMin, yMax);
    const cv::Rect region(Functions::roundToInt(xMin), Functions::roundToInt(yMin),
                          Functions::roundToInt(xMax - xMin), Functions::roundToInt(yMax - yMin));
    // Position and size are rounded apart from each other and can reach one pixel over the border together.
    return cv::Mat(image, region & cv::Rect(cv::Point(), image.size()));
}

void ImageProcess::getBoundingRect(QPolygonF polygon, double &xMin, double &xMax, double &yMin,
                                   double &yMax) const
{
    const QRectF box = polygon.boundingRect();
    xMin = box.left();
    yMin = box.top();
    xMax = box.left() + box.width();
    yMax = box.top() + box.height();
    checkSize(xMin, xMax, yMin, yMax);
}

void ImageProcess::checkSize(double &xMin, double &xMax, double &yMin, double &yMax) const
{
    clampLower(xMin, image.cols);
    clampUpper(xMax, image.cols);
    clampLower(yMin, image.rows);
    clampUpper(yMax, image.rows);
}
