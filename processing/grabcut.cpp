// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/grabcut.h"

#include "core/leavablecall.h"
#include "processing/functions.h"
#include "processing/imageprocess.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#ifdef PALU_SEGMENTATION_DEBUG_DIR
#include <QDateTime>
#endif

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace
{

using Contour = std::vector<cv::Point>;

constexpr double bandRatio = 0.2; // thickness of the uncertain band over the greater side of the bounding box

// Drawing walks every line of pixels that an outline covers, and the wider the outline the more pixels are
// uncertain, which takes the time. Outlines with vertices further out than this, as damaged projects have
// them, are cut to the image first.
constexpr int exactReach = 10; // of the image's greater side beyond the image

QPolygonF boundedOutline(const QPolygonF &polygon, cv::Size image)
{
    const double side = std::max(image.width, image.height);
    const auto isNear = [side](double value) { // false for NaN
        return value >= -exactReach * side && value <= (1 + exactReach) * side;
    };
    const bool exact = std::all_of(polygon.begin(), polygon.end(),
                                   [&isNear](const QPointF &p) { return isNear(p.x()) && isNear(p.y()); });
    return exact ? polygon : Functions::clippedToRect(polygon, QRectF(0, 0, image.width, image.height));
}

int bandThickness(const QRectF &box)
{
    return std::max(1, Functions::roundToInt(std::max(box.width(), box.height()) * bandRatio));
}

/// What the rounds work on, for a thread that may outlive whoever waits for it.
struct Cut {
    cv::Mat image;
    cv::Rect rectangle;
    cv::Mat mask;
    cv::RNG random; // as it goes on, whatever thread draws from it
    cv::Mat background{};
    cv::Mat foreground{};

    // The colour models are learned anew from the mask so far.
    void iterate(int iterations)
    {
        cv::theRNG() = random;
        cv::grabCut(image, mask, rectangle, background, foreground, iterations, cv::GC_INIT_WITH_MASK);
        random = cv::theRNG();
    }
};

/// One round. A minimum cut cannot be interrupted, and takes a minute on some pictures: those without any
/// contrast. Where somebody may not go on, it is left behind.
bool cutRound(const std::shared_ptr<Cut> &cut, int iterations, const std::function<bool()> &mayGoOn)
{
    const auto round = [cut, iterations] { cut->iterate(iterations); };
    if (mayGoOn)
        return mayGoOn() && LeavableCall::run(round, mayGoOn);
    round();
    return true;
}

/// The contour with the most points, the first of several; not the one with the largest area.
const Contour &richestContour(const std::vector<Contour> &contours)
{
    std::size_t chosen = 0;
    for (std::size_t i = 1; i < contours.size(); ++i) {
        if (contours.at(i).size() > contours.at(chosen).size())
            chosen = i;
    }
    return contours.at(chosen); // throws when there is no foreground at all
}

} // namespace

GrabCut::GrabCut(QString path, QPolygonF seed)
    : polygon(std::move(seed))
    , image(ImageProcess::load(path))
{
}

bool GrabCut::segmentImage(int rounds, int /*unused*/, const std::function<bool()> &mayGoOn)
{
    const auto cut = std::make_shared<Cut>(Cut{image, seedRectangle(), seedMask(), cv::theRNG()});
    writeDebugImage(cut->mask);

    // More iterations every round.
    for (int round = 1; round <= rounds; ++round) {
        if (!cutRound(cut, round, mayGoOn))
            return false;
    }
    cv::theRNG() = cut->random;

    cv::Mat binMask;
    getBinMask(cut->mask, binMask);
    std::vector<Contour> contours;
    cv::findContours(binMask, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_TC89_KCOS);
    polygon = Functions::getQPolygonF(richestContour(contours));
    return true;
}

void GrabCut::getBinMask(const cv::Mat &mask, cv::Mat &binMask) const
{
    if (binMask.empty() || binMask.size() != mask.size() || binMask.type() != CV_8UC1)
        binMask.create(mask.size(), CV_8UC1);
    cv::bitwise_and(mask, cv::Scalar(1), binMask);
}

QPolygonF GrabCut::getObjectBondary() const
{
    return polygon;
}

cv::Rect GrabCut::seedRectangle() const
{
    const QRectF box = polygon.boundingRect();
    return cv::Rect(Functions::roundToInt(box.left()), Functions::roundToInt(box.top()),
                    Functions::roundToInt(box.width()), Functions::roundToInt(box.height()));
}

/// Definite foreground inside the polygon, probable foreground in a band along its outline, definite
/// background elsewhere.
cv::Mat GrabCut::seedMask() const
{
    cv::Mat mask(image.size(), CV_8UC1, cv::Scalar(cv::GC_BGD));
    const QPolygonF seed = boundedOutline(polygon, image.size());
    const std::vector<Contour> outline{Functions::getOpenCvPolygon(seed)};
    cv::fillPoly(mask, outline, cv::Scalar(cv::GC_FGD), cv::LINE_8);
    cv::polylines(mask, outline, true, cv::Scalar(cv::GC_PR_FGD), bandThickness(seed.boundingRect()),
                  cv::LINE_8);
    return mask;
}

#ifdef PALU_SEGMENTATION_DEBUG_DIR
void GrabCut::writeDebugImage(const cv::Mat &mask) const
{
    cv::Mat binMask;
    getBinMask(mask, binMask);
    cv::Mat seen;
    image.copyTo(seen, binMask);
    const QString name = QString::number(QDateTime::currentDateTime().toMSecsSinceEpoch());
    const QString path = QStringLiteral(PALU_SEGMENTATION_DEBUG_DIR "/%1.jpg").arg(name);
    if (seen.empty() || !cv::imwrite(path.toUtf8().toStdString(), seen))
        qWarning("could not write debug image %s", qUtf8Printable(path));
}
#else
void GrabCut::writeDebugImage(const cv::Mat & /*mask*/) const {}
#endif
