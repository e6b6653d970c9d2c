// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/trackingstep.h"

#include "core/datastate.h"
#include "core/framebounds.h"
#include "processing/featurematching.h"
#include "processing/framejob.h"
#include "processing/functions.h"
#include "processing/imageprocess.h"

#include <QCoreApplication>
#include <QtConcurrentRun>

#include <opencv2/core.hpp>

#include <Eigen/Core>

#include <string>
#include <utility>

namespace
{

constexpr int leastGoodMatches = 8;
constexpr int leastStepsAhead = 4; // steps of a backward pass that are worth a thread of their own

/// Centre between two limits.
double middle(double least, double greatest)
{
    return greatest - (greatest - least) * 0.5;
}

/// Top left corner and centre of a polygon's clamped bounding rectangle.
struct CropBox {
    Eigen::RowVector2d corner;
    Eigen::RowVector2d centre;

    CropBox(const ImageProcess &image, const QPolygonF &polygon)
    {
        double xMin = 0;
        double xMax = 0;
        double yMin = 0;
        double yMax = 0;
        image.getBoundingRect(polygon, xMin, xMax, yMin, yMax);
        corner << xMin, yMin;
        centre << middle(xMin, xMax), middle(yMin, yMax);
    }
};

Eigen::RowVector2d framePoint(const cv::KeyPoint &keyPoint, const Eigen::RowVector2d &corner)
{
    return Eigen::RowVector2d(keyPoint.pt.x, keyPoint.pt.y) + corner;
}

Eigen::Affine2d shift(QPointF offset)
{
    Eigen::Affine2d transform = Eigen::Affine2d::Identity();
    transform.translation() << offset.x(), offset.y();
    return transform;
}

} // namespace

std::optional<QPointF> trackingTranslation(const FeatureMatching &matching, const ImageProcess &first,
                                           const ImageProcess &second)
{
    const auto count = static_cast<Eigen::Index>(matching.goodMatches.size());
    if (count < leastGoodMatches)
        return std::nullopt;
    const CropBox boxA(first, matching.polygon1);
    const CropBox boxB(second, matching.polygon2);
    Eigen::MatrixXd a = Eigen::MatrixXd::Zero(count, 2);
    Eigen::MatrixXd b = Eigen::MatrixXd::Zero(count, 2);
    for (Eigen::Index k = 0; k < count; ++k) {
        const cv::DMatch &match = matching.goodMatches.at(static_cast<std::size_t>(k));
        a.row(k) = framePoint(matching.keyPoints1.at(static_cast<std::size_t>(match.queryIdx)), boxA.corner);
        b.row(k) = framePoint(matching.keyPoints2.at(static_cast<std::size_t>(match.trainIdx)), boxB.corner);
    }
    const Eigen::RowVector2d meanA = a.colwise().mean();
    const Eigen::RowVector2d meanB = b.colwise().mean();
    const Eigen::RowVector2d offset = (meanB - meanA) + (boxA.centre - boxB.centre);
    return QPointF(offset.x(), offset.y());
}

FrameImages::FrameImages(const DataState &state)
    : m_state(state)
{
}

std::shared_ptr<const ImageProcess> FrameImages::load(int frame)
{
    if (std::shared_ptr<const ImageProcess> image = held(frame))
        return image;
    auto image = std::make_shared<const ImageProcess>(m_state.video->getFramePath(frame));
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (image->image.empty()) {
        warn(frame);
        return nullptr;
    }
    m_images.insert(frame, image);
    return image;
}

/// Null when nobody holds the image of `frame`.
std::shared_ptr<const ImageProcess> FrameImages::held(int frame) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_images.value(frame).lock();
}

void FrameImages::warn(int frame)
{
    if (m_unreadable.contains(frame))
        return;
    qWarning("no tracking on frame %d: the image %s cannot be read", frame,
             qUtf8Printable(m_state.video->getFramePath(frame)));
    m_unreadable.insert(frame);
}

void FrameImages::startRun()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_images.clear();
    m_unreadable.clear();
}

TrackingPass::TrackingPass(const TrackingSetup &setup, Writing writing)
    : m_setup(setup)
    , m_writing(writing)
{
}

bool TrackingPass::step(int from, int to)
{
    try {
        const std::optional<QPointF> offset = displacement(from, to);
        if (offset)
            move(to, *offset);
        return offset.has_value();
    } catch (const std::exception &error) {
        throw FrameJob::Error(
            to, QCoreApplication::translate("AOItracking", "an internal error, which the log describes"),
            "tracking from frame " + std::to_string(from) + " to frame " + std::to_string(to) + ": " +
                error.what());
    }
}

int TrackingPass::walk(int from, int to, const std::function<bool()> &mayGoOn)
{
    const int direction = from < to ? 1 : -1;
    for (int frame = from; frame != to && mayGoOn(); frame += direction) {
        const int target = frame + direction;
        if (!step(frame, target) && m_setup.interactive && keyFrame(target).type == KeyFrame::Automatic)
            return target;
    }
    return -1;
}

void TrackingPass::takeOver()
{
    m_writing = Writing::AtOnce;
    for (auto moved = m_aside.cbegin(); moved != m_aside.cend(); ++moved)
        keyFrame(moved.key()).setNewPolygon(moved.value());
    m_aside.clear();
}

KeyFrame &TrackingPass::keyFrame(int frame) const
{
    return *m_setup.object.keyFrames.at(frame);
}

QPolygonF TrackingPass::outline(int frame) const
{
    const auto moved = m_aside.constFind(frame);
    return moved == m_aside.cend() ? keyFrame(frame).polygonSnapshot() : *moved;
}

std::optional<QPointF> TrackingPass::displacement(int from, int to)
{
    const std::shared_ptr<const ImageProcess> source = from == m_frame ? m_image : m_setup.images.load(from);
    m_image = m_setup.images.load(to);
    m_frame = to;
    if (!source || !m_image)
        return std::nullopt;
    const QPolygonF sourceOutline = outline(from);
    const QPolygonF targetOutline = outline(to);
    FeatureMatching matching(source->crop(sourceOutline), m_image->crop(targetOutline), sourceOutline,
                             targetOutline);
    cv::setRNGSeed(to); // results must not depend on what the thread did before
    matching.matchORB();
    matching.getGoodMatches(m_setup.maxDistance);
    return trackingTranslation(matching, *source, *m_image);
}

void TrackingPass::move(int frame, QPointF offset)
{
    if (m_writing == Writing::AtOnce) {
        keyFrame(frame).transformPolygon(shift(offset));
        return;
    }
    const QPolygonF moved = Functions::transformPolygonAffine(outline(frame), shift(offset));
    m_aside.insert(frame, Functions::clippedToRect(moved, frameBounds()));
}

BackwardPass::BackwardPass(const TrackingSetup &setup, int last, int middle,
                           std::function<bool()> mayGoOnAhead)
    : m_images(setup.images)
    , m_pass(setup, TrackingPass::Writing::OnTakeOver)
    , m_mayGoOnAhead(std::move(mayGoOnAhead))
    , m_next(last)
    , m_middle(middle)
{
    const int lowestAhead = middle + 2; // the forward pass moves the frame below
    if (last - lowestAhead < leastStepsAhead)
        return;
    m_next = lowestAhead;
    m_ahead = QtConcurrent::run(this, &BackwardPass::workAhead, last, lowestAhead);
}

BackwardPass::~BackwardPass()
{
    m_abandoned.store(true, std::memory_order_relaxed);
    m_ahead.waitForFinished();
}

int BackwardPass::finish(const std::function<bool()> &mayGoOn)
{
    m_ahead.waitForFinished();
    m_pass.takeOver();
    if (m_error)
        std::rethrow_exception(m_error);
    return m_askedFrame != -1 ? m_askedFrame : m_pass.walk(m_next, m_middle, mayGoOn);
}

void BackwardPass::workAhead(int from, int to)
{
    try {
        m_askedFrame = m_pass.walk(from, to, [this] {
            return !m_abandoned.load(std::memory_order_relaxed) && (!m_mayGoOnAhead || m_mayGoOnAhead());
        });
        if (m_askedFrame == -1)
            loadMiddle();
    } catch (...) {
        m_error = std::current_exception();
    }
}

// The thread ahead has two or three steps less to make than the forward pass, so that it has the time.
void BackwardPass::loadMiddle()
{
    for (int i = 0; i < 2 && !m_abandoned.load(std::memory_order_relaxed); ++i)
        m_middleImages.at(i) = m_images.load(m_middle + i);
}
