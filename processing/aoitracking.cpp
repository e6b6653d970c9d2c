// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/aoitracking.h"

#include "core/datastate.h"
#include "core/framebounds.h"
#include "core/modaljob.h"
#include "processing/featurematching.h"
#include "processing/functions.h"
#include "processing/imageprocess.h"

#include <QCoreApplication>
#include <QFuture>
#include <QtConcurrentRun>

#include <opencv2/core.hpp>

#include <Eigen/Core>

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

namespace
{

constexpr int leastGoodMatches = 8;
constexpr int leastParallelSteps = 4; // steps of a backward pass that are worth a thread of their own
const QPair<int, int> nothingToTrack(-1, -1);

std::shared_ptr<const ImageProcess> loadFrame(const DataState &state, int frame)
{
    const QString path = state.video->getFramePath(frame);
    auto image = std::make_shared<const ImageProcess>(path);
    if (image->image.empty())
        throw std::runtime_error("the image " + path.toStdString() + " cannot be read");
    return image;
}

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

/// Steps along a run of frames in one direction. A frame's image is loaded once: the target of a step is the
/// source of the next one.
class AOItracking::Pass
{
public:
    explicit Pass(const AOItracking &tracking)
        : m_tracking(tracking)
    {
    }

    /// By how much to move `targetPolygon` on frame `to`, or none.
    std::optional<QPointF> step(int from, const QPolygonF &sourcePolygon, int to,
                                const QPolygonF &targetPolygon)
    {
        try {
            return match(from, sourcePolygon, to, targetPolygon);
        } catch (const std::exception &error) {
            throw std::runtime_error("tracking from frame " + std::to_string(from) + " to frame " +
                                     std::to_string(to) + ": " + error.what());
        }
    }

private:
    std::optional<QPointF> match(int from, const QPolygonF &sourcePolygon, int to,
                                 const QPolygonF &targetPolygon)
    {
        const std::shared_ptr<const ImageProcess> source =
            from == m_frame ? m_image : loadFrame(*m_tracking.state, from);
        m_image = loadFrame(*m_tracking.state, to);
        m_frame = to;
        FeatureMatching matching(source->crop(sourcePolygon), m_image->crop(targetPolygon), sourcePolygon,
                                 targetPolygon);
        cv::setRNGSeed(to); // results must not depend on what the thread did before
        matching.matchORB();
        matching.getGoodMatches(m_tracking.maxDistance);
        return translation(matching, *source, *m_image);
    }

    const AOItracking &m_tracking;
    int m_frame = -1;
    std::shared_ptr<const ImageProcess> m_image; // of m_frame
};

/// The first steps of a backward pass, worked out on another thread while the forward pass is running and
/// taken over into the key frames after it. It covers the frames that the forward pass does not touch.
class AOItracking::BackwardHead
{
public:
    /// Steps from frame `from` down to frame `to`.
    BackwardHead(const AOItracking &tracking, int from, int to)
        : m_pass(tracking)
        , m_object(*tracking.object())
        , m_interactive(tracking.interactive)
    {
        if (from - to < leastParallelSteps)
            return;
        m_last = to;
        m_started.store(true, std::memory_order_release);
        m_future = QtConcurrent::run(this, &BackwardHead::work, from);
    }

    ~BackwardHead()
    {
        m_abandoned.store(true, std::memory_order_relaxed);
        wait();
    }

    /// Waits for the steps and gives the key frames their new polygons. Returns the frame of the step that
    /// interactive tracking stops at, or -1.
    int takeOver()
    {
        wait();
        for (const Moved &moved : qAsConst(m_moved))
            m_object.keyFrames.at(moved.frame)->setNewPolygon(moved.polygon);
        if (m_error)
            std::rethrow_exception(m_error);
        return m_failedFrame;
    }

    /// Frame down to which the steps go; -1 when they are too few for a thread of their own.
    int lastFrame() const { return m_last; }
    /// The pass, to go on with.
    Pass &pass() { return m_pass; }

private:
    struct Moved {
        int frame;
        QPolygonF polygon;
    };

    void wait()
    {
        m_future.waitForFinished();
        m_finished.load(std::memory_order_acquire);
    }

    void work(int from)
    {
        m_started.load(std::memory_order_acquire);
        try {
            step(from);
        } catch (...) {
            m_error = std::current_exception();
        }
        m_finished.store(true, std::memory_order_release);
    }

    void step(int from)
    {
        QPolygonF source = m_object.keyFrames.at(from)->polygonSnapshot();
        for (int frame = from; frame > m_last && m_failedFrame == -1; --frame) {
            if (m_abandoned.load(std::memory_order_relaxed))
                return;
            source = movedTarget(frame, source);
        }
    }

    /// One step from `frame`; returns the target's polygon, moved or as it was.
    QPolygonF movedTarget(int frame, const QPolygonF &source)
    {
        const KeyFrame *target = m_object.keyFrames.at(frame - 1);
        const QPolygonF polygon = target->polygonSnapshot();
        const std::optional<QPointF> offset = m_pass.step(frame, source, frame - 1, polygon);
        if (!offset) {
            if (m_interactive && target->type == KeyFrame::Automatic)
                m_failedFrame = frame - 1;
            return polygon;
        }
        m_moved.append(
            {frame - 1, Functions::clippedToRect(Functions::transformPolygonAffine(polygon, shift(*offset)),
                                                 frameBounds())});
        return m_moved.last().polygon;
    }

    Pass m_pass;
    const TrackedObject &m_object;
    bool m_interactive;
    int m_last = -1;
    QList<Moved> m_moved;
    int m_failedFrame = -1;
    std::exception_ptr m_error;
    std::atomic<bool> m_abandoned{false}; // set by the owner, read by the steps
    std::atomic<bool> m_started{false};   // hands the fields above over to the steps
    std::atomic<bool> m_finished{false};  // hands them back
    QFuture<void> m_future;
};

AOItracking::AOItracking(DataState *dataState, bool interactiveMode, int distance)
    : maxDistance(distance)
    , interactive(interactiveMode)
    , state(dataState)
{
    framePairs = getFramePairs();
    for (int i = 0; i < framePairs.size(); ++i)
        frameIndices.append(i);
}

/// The object worked on: always the project's current one; null if there is none.
TrackedObject *AOItracking::object() const
{
    return state->getCurrentObject();
}

QList<QPair<int, int>> AOItracking::getFramePairs() const
{
    QList<QPair<int, int>> pairs;
    const TrackedObject *tracked = object();
    const QList<FrameSpan *> spans = tracked ? tracked->getFrameSpans() : QList<FrameSpan *>();
    for (const FrameSpan *span : spans) {
        if (span->type != FrameSpan::Visible || span->start >= span->end - 1)
            continue;
        bool covered = true;
        for (int frame = span->start; frame <= span->end && covered; ++frame)
            covered = !tracked->keyFrames.at(frame)->polygonSnapshot().isEmpty();
        if (covered)
            pairs.append(qMakePair(span->start, span->end));
    }
    if (pairs.isEmpty())
        pairs.append(nothingToTrack);
    return pairs;
}

int AOItracking::interactiveTracking(int frame)
{
    stopFrame = frame;
    const QList<QPolygonF> before = polygons();
    run(QCoreApplication::translate("AOItracking", "Interactive feature based AOI tracking"));
    if (!stopped)
        return -1;
    restoreBehindStop(before);
    return stopFrame;
}

void AOItracking::automaticTracking()
{
    run(QCoreApplication::translate("AOItracking", "Automatic feature based AOI tracking"));
}

void AOItracking::run(const QString &label)
{
    m_running = true;
    ModalJob::run(label, frameIndices, aoiFittingWrapper(this));
    m_running = false;
}

// A span of three frames moves its last frame, which is the first one of the next span. Such spans are
// tracked one after the other, by the task of the first of them, so that the result does not depend on
// timing.
void AOItracking::aoiFittingWrapper::operator()(int &pairIndex) const
{
    if (tracking->startsWherePreviousMoves(pairIndex))
        return;
    int index = pairIndex;
    do {
        tracking->aoiFitting(index);
        ++index;
    } while (index < tracking->framePairs.size() && tracking->startsWherePreviousMoves(index));
}

bool AOItracking::startsWherePreviousMoves(int pairIndex) const
{
    if (pairIndex == 0)
        return false;
    const QPair<int, int> previous = framePairs.at(pairIndex - 1);
    return previous.second - previous.first == 2 && previous.second == framePairs.at(pairIndex).first;
}

void AOItracking::aoiFitting(int &pairIndex)
{
    const int first = framePairs.at(pairIndex).first;
    const int last = framePairs.at(pairIndex).second;
    if (first == -1 || last == -1 || !object() || mustStop(pairIndex))
        return;
    const int middleFrame = first + (last - first) / 2;

    BackwardHead head(*this, last, middleFrame + 2);
    Pass forward(*this);
    for (int frame = first; frame <= middleFrame && !mustStop(pairIndex); ++frame)
        moveAlong(forward, pairIndex, frame, frame + 1);
    if (last <= middleFrame || mustStop(pairIndex))
        return;

    int frame = last;
    if (head.lastFrame() != -1) {
        const int failedFrame = head.takeOver();
        if (failedFrame != -1)
            stopAt(pairIndex, failedFrame);
        frame = head.lastFrame();
    }
    for (; frame > middleFrame && !mustStop(pairIndex); --frame)
        moveAlong(head.pass(), pairIndex, frame, frame - 1);
}

/// One step of a pass.
void AOItracking::moveAlong(Pass &pass, int pairIndex, int from, int to)
{
    const QList<KeyFrame *> &keyFrames = object()->keyFrames;
    KeyFrame *target = keyFrames.at(to);
    const std::optional<QPointF> offset =
        pass.step(from, keyFrames.at(from)->polygonSnapshot(), to, target->polygonSnapshot());
    if (offset)
        target->transformPolygon(shift(*offset));
    else if (interactive && target->type == KeyFrame::Automatic)
        stopAt(pairIndex, to);
}

bool AOItracking::transformAOI(int from, int to)
{
    if (from == -1 || to == -1 || !object())
        return false;
    const QList<KeyFrame *> &keyFrames = object()->keyFrames;
    KeyFrame *target = keyFrames.at(to);
    const std::optional<QPointF> offset =
        Pass(*this).step(from, keyFrames.at(from)->polygonSnapshot(), to, target->polygonSnapshot());
    if (offset)
        target->transformPolygon(shift(*offset));
    return offset.has_value();
}

std::optional<QPointF> AOItracking::translation(const FeatureMatching &matching, const ImageProcess &first,
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

// In a run over several pairs the lowest pair that fails decides, as if the pairs were tracked in their
// order: pairs before it go on, pairs behind it leave.
bool AOItracking::mustStop(int pairIndex) const
{
    if (!stopped.load(std::memory_order_relaxed))
        return false;
    const std::lock_guard<std::mutex> lock(m_stopMutex);
    return !m_running || m_stopPair <= pairIndex;
}

void AOItracking::stopAt(int pairIndex, int frame)
{
    const std::lock_guard<std::mutex> lock(m_stopMutex);
    if (m_stopPair != -1 && m_stopPair < pairIndex)
        return;
    m_stopPair = pairIndex;
    stopFrame = frame;
    stopped.store(true, std::memory_order_relaxed);
}

QList<QPolygonF> AOItracking::polygons() const
{
    QList<QPolygonF> all;
    const TrackedObject *tracked = object();
    if (!tracked)
        return all;
    for (const KeyFrame *keyFrame : tracked->keyFrames)
        all.append(keyFrame->polygonSnapshot());
    return all;
}

// What the pairs behind the one that stopped have done by then is a matter of timing; they get back the
// polygons that they had.
void AOItracking::restoreBehindStop(const QList<QPolygonF> &before)
{
    for (int i = m_stopPair + 1; i < framePairs.size(); ++i) {
        for (int frame = framePairs.at(i).first + 1; frame <= framePairs.at(i).second; ++frame) {
            KeyFrame *keyFrame = object()->keyFrames.at(frame);
            if (keyFrame->polygonSnapshot() != before.at(frame))
                keyFrame->setNewPolygon(before.at(frame));
        }
    }
}
