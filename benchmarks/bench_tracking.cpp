// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "benchmarks/support/benchclip.h"
#include "processing/aoicutsegmentation.h"
#include "processing/aoitracking.h"
#include "processing/featurematching.h"
#include "processing/functions.h"
#include "processing/trackingstep.h"
#include "tests/support/clips.h"
#include "tests/support/trackingproject.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QElapsedTimer>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <memory>
#include <vector>

namespace
{

constexpr int maxDistance = 18;
constexpr int longSpan = 60;     // frames
constexpr int shortSpan = 11;    // frames
constexpr int spanCount = 4;     // short spans, end to end
constexpr int grabCutFrames = 6; // frames

/// A filled project on a rendered clip, made once.
struct Prepared {
    TrackingProject project;
    QList<QPolygonF> filled;

    Prepared(const Clips::Clip &clip, int frames, const QList<int> &keyFrames)
        : project(clip, frames)
    {
        project.annotateTruth(keyFrames);
        project.morph();
        filled = project.polygons();
    }
};

cv::Ptr<cv::ORB> orb()
{
    return cv::ORB::create(500, 1.2F, 8, 31, 0, 2, cv::ORB::HARRIS_SCORE, 31, 20);
}

std::vector<cv::KeyPoint> keyPointsInside(const cv::Mat &image, const QPolygonF &polygon)
{
    std::vector<cv::KeyPoint> inside;
    std::vector<cv::KeyPoint> detected;
    orb()->detect(image, detected);
    const QPointF corner = polygon.boundingRect().topLeft();
    for (const cv::KeyPoint &keyPoint : detected) {
        if (polygon.containsPoint(corner + QPointF(keyPoint.pt.x, keyPoint.pt.y), Qt::OddEvenFill))
            inside.push_back(keyPoint);
    }
    return inside;
}

/// Features and matches one after the other on this thread.
void matchPlainly(FeatureMatching &matching)
{
    matching.keyPoints1 = keyPointsInside(matching.image1, matching.polygon1);
    matching.keyPoints2 = keyPointsInside(matching.image2, matching.polygon2);
    orb()->compute(matching.image1, matching.keyPoints1, matching.descriptors1);
    orb()->compute(matching.image2, matching.keyPoints2, matching.descriptors2);
    cv::FlannBasedMatcher(cv::makePtr<cv::flann::LshIndexParams>(20, 10, 2),
                          cv::makePtr<cv::flann::SearchParams>(32, 0.0F, true))
        .match(matching.descriptors1, matching.descriptors2, matching.matches);
}

/// One step as it is written down: both images loaded anew.
void plainStep(TrackedObject &object, int from, int to)
{
    const KeyFrame &source = *object.keyFrames.at(from);
    KeyFrame &target = *object.keyFrames.at(to);
    const ImageProcess first(g_state->video->getFramePath(from));
    const ImageProcess second(g_state->video->getFramePath(to));
    FeatureMatching matching(first.crop(source.polygon), second.crop(target.polygon), source.polygon,
                             target.polygon);
    cv::setRNGSeed(to);
    matchPlainly(matching);
    matching.getGoodMatches(maxDistance);
    if (const auto offset = trackingTranslation(matching, first, second)) {
        Eigen::Affine2d shift = Eigen::Affine2d::Identity();
        shift.translation() << offset->x(), offset->y();
        target.transformPolygon(shift);
    }
}

/// The passes of all spans one after the other on this thread.
void trackPlainly(TrackedObject &object)
{
    const int threads = cv::getNumThreads();
    cv::setNumThreads(1);
    for (const QPair<int, int> &pair : AOItracking(g_state, false, maxDistance).framePairs) {
        const int middle = pair.first + (pair.second - pair.first) / 2;
        for (int frame = pair.first; frame <= middle; ++frame)
            plainStep(object, frame, frame + 1);
        for (int frame = pair.second; frame > middle; --frame)
            plainStep(object, frame, frame - 1);
    }
    cv::setNumThreads(threads);
}

void trackWithPalu()
{
    AOItracking(g_state, false, maxDistance).automaticTracking();
}

/// A clip with its filled outlines and those that the plain passes make of them, made once per list of spans.
struct TrackedClip {
    Prepared prepared;
    QList<QPolygonF> tracked;

    explicit TrackedClip(const QList<int> &keyFrames)
        : prepared(cameraClip(), keyFrames.last() + 1, keyFrames)
    {
        trackPlainly(*prepared.project.object);
        tracked = prepared.project.polygons();
    }
};

/// The one of the last call is kept: its project is the one in use.
TrackedClip &trackedClip(const QList<int> &keyFrames)
{
    static std::unique_ptr<TrackedClip> clip;
    static QList<int> current;
    if (!clip)
        qAddPostRoutine([] { clip.reset(); });
    if (current != keyFrames) {
        clip.reset();
        clip = std::make_unique<TrackedClip>(keyFrames);
    }
    current = keyFrames;
    return *clip;
}

void benchTracking(benchmark::State &state, const QList<int> &keyFrames, bool plainly)
{
    TrackedClip &clip = trackedClip(keyFrames);
    for (auto _ : state) {
        state.PauseTiming();
        clip.prepared.project.setPolygons(clip.prepared.filled);
        state.ResumeTiming();
        if (plainly)
            trackPlainly(*clip.prepared.project.object);
        else
            trackWithPalu();
    }
    if (clip.prepared.project.polygons() != clip.tracked)
        state.SkipWithError("the results differ from those of the plain passes");
    state.SetItemsProcessed(state.iterations() * keyFrames.last());
}

QList<int> severalSpans()
{
    QList<int> keyFrames;
    for (int i = 0; i <= spanCount; ++i)
        keyFrames.append(i * (shortSpan - 1));
    return keyFrames;
}

Clips::Clip grabCutClip()
{
    Clips::Clip clip = Clips::plainBlock();
    clip.size = QSize(640, 480);
    return clip;
}

void segmentWithPalu(benchmark::State &state)
{
    Prepared prepared(grabCutClip(), grabCutFrames, {0, grabCutFrames - 1});
    prepared.project->video->chunkEnds = {grabCutFrames};
    for (auto _ : state) {
        state.PauseTiming();
        prepared.project.setPolygons(prepared.filled);
        state.ResumeTiming();
        int chunkEnd = grabCutFrames;
        AoiCutSegmentation(g_state).segmentation(chunkEnd);
    }
    state.SetItemsProcessed(state.iterations() * grabCutFrames);
}

cv::Mat seedMask(cv::Size size, const QPolygonF &polygon)
{
    cv::Mat mask(size, CV_8UC1, cv::Scalar(cv::GC_BGD));
    const std::vector<std::vector<cv::Point>> outline{Functions::getOpenCvPolygon(polygon)};
    const QRectF box = polygon.boundingRect();
    const int thickness =
        std::max(1, static_cast<int>(std::round(std::max(box.width(), box.height()) * 0.2)));
    cv::fillPoly(mask, outline, cv::Scalar(cv::GC_FGD));
    cv::polylines(mask, outline, true, cv::Scalar(cv::GC_PR_FGD), thickness);
    return mask;
}

/// The calls of cv::grabCut that the segmentation makes, with images and masks at hand.
void callGrabCutAlone(benchmark::State &state)
{
    Prepared prepared(grabCutClip(), grabCutFrames, {0, grabCutFrames - 1});
    std::vector<cv::Mat> images;
    for (int frame = 0; frame < grabCutFrames; ++frame)
        images.push_back(cv::imread(g_state->video->getFramePath(frame).toStdString()));
    for (auto _ : state) {
        double seconds = 0;
        for (int frame = 0; frame < grabCutFrames; ++frame) {
            const cv::Mat &image = images.at(static_cast<std::size_t>(frame));
            cv::Mat mask = seedMask(image.size(), prepared.filled.at(frame));
            cv::Mat background;
            cv::Mat foreground;
            cv::setRNGSeed(frame);
            QElapsedTimer timer;
            timer.start();
            for (int round = 1; round <= 2; ++round)
                cv::grabCut(image, mask, cv::Rect(), background, foreground, round, cv::GC_INIT_WITH_MASK);
            seconds += static_cast<double>(timer.nsecsElapsed()) / 1e9;
        }
        state.SetIterationTime(seconds);
    }
    state.SetItemsProcessed(state.iterations() * grabCutFrames);
}

void registerTracking(const char *name, const QList<int> &keyFrames, bool plainly)
{
    benchmark::RegisterBenchmark(name,
                                 [=](benchmark::State &state) { benchTracking(state, keyFrames, plainly); })
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->UseRealTime();
}

const bool registered = [] {
    registerTracking("tracking one span of 60 frames, 1920x1080/palu", {0, longSpan - 1}, false);
    registerTracking("tracking one span of 60 frames, 1920x1080/plain, one thread", {0, longSpan - 1}, true);
    registerTracking("tracking 4 spans of 11 frames, 1920x1080/palu", severalSpans(), false);
    registerTracking("tracking 4 spans of 11 frames, 1920x1080/plain, one thread", severalSpans(), true);
    benchmark::RegisterBenchmark("segmentation on one thread, 640x480/palu", segmentWithPalu)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->UseRealTime();
    benchmark::RegisterBenchmark("segmentation on one thread, 640x480/its grabCut calls alone",
                                 callGrabCutAlone)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->UseManualTime();
    return true;
}();

} // namespace
