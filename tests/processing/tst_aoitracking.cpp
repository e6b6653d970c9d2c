// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/abortgrace.h"
#include "processing/aoitracking.h"

#include "processing/featurematching.h"
#include "processing/imageprocess.h"
#include "tests/support/clips.h"
#include "tests/support/heldjob.h"
#include "tests/support/logcapture.h"
#include "tests/support/poolthreads.h"
#include "tests/support/progresswatch.h"
#include "tests/support/testproject.h"
#include "tests/support/trackingprobe.h"
#include "tests/support/trackingproject.h"

#include <QElapsedTimer>
#include <QFile>
#include <QThreadPool>
#include <QtTest>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <stdexcept>

using FramePairs = QList<QPair<int, int>>;
Q_DECLARE_METATYPE(Clips::Clip)
Q_DECLARE_METATYPE(KeyFrame::Type)

namespace
{

constexpr std::chrono::minutes wholeParcels(1); // of grace, which no parcel here takes

/// Tracking in its plainest form: one thread, one step after the other, two images read for every step.
class PlainTracking
{
public:
    PlainTracking(TrackingProject &project, FramePairs pairs, bool interactive)
        : m_project(project)
        , m_pairs(std::move(pairs))
        , m_interactive(interactive)
    {
    }

    void run()
    {
        for (const QPair<int, int> &pair : qAsConst(m_pairs)) {
            if (pair.first != -1 && pair.second != -1)
                track(pair.first, pair.second);
        }
    }

    bool stopped = false;
    int stopFrame = -1;

private:
    void track(int s, int e)
    {
        const int half = (e - s) / 2;
        const int mid = s + half;
        for (int f = s; f <= mid && !stopped; ++f)
            pass(f, f + 1);
        if (e > mid) {
            for (int f = e; f >= mid + 1 && !stopped; --f)
                pass(f, f - 1);
        }
    }

    void pass(int a, int b)
    {
        if (!step(a, b) && m_interactive && keyFrame(b)->type == KeyFrame::Automatic) {
            stopped = true;
            stopFrame = b;
        }
    }

    bool step(int a, int b)
    {
        const ImageProcess imageA(m_project.video().getFramePath(a));
        const ImageProcess imageB(m_project.video().getFramePath(b));
        const QPolygonF polygonA = keyFrame(a)->polygon;
        const QPolygonF polygonB = keyFrame(b)->polygon;
        FeatureMatching matching(imageA.crop(polygonA), imageB.crop(polygonB), polygonA, polygonB);
        cv::setRNGSeed(b);
        matching.matchORB();
        matching.getGoodMatches(matchDistance);
        const auto n = static_cast<int>(matching.goodMatches.size());
        if (n < 8)
            return false;
        double xMinA, xMaxA, yMinA, yMaxA, xMinB, xMaxB, yMinB, yMaxB;
        imageA.getBoundingRect(polygonA, xMinA, xMaxA, yMinA, yMaxA);
        imageB.getBoundingRect(polygonB, xMinB, xMaxB, yMinB, yMaxB);
        Eigen::MatrixXd A = Eigen::MatrixXd::Zero(n, 2);
        Eigen::MatrixXd B = Eigen::MatrixXd::Zero(n, 2);
        for (int k = 0; k < n; ++k) {
            const cv::DMatch match = matching.goodMatches[static_cast<std::size_t>(k)];
            const cv::Point2f p1 = matching.keyPoints1[static_cast<std::size_t>(match.queryIdx)].pt;
            const cv::Point2f p2 = matching.keyPoints2[static_cast<std::size_t>(match.trainIdx)].pt;
            A(k, 0) = static_cast<double>(p1.x) + xMinA;
            A(k, 1) = static_cast<double>(p1.y) + yMinA;
            B(k, 0) = static_cast<double>(p2.x) + xMinB;
            B(k, 1) = static_cast<double>(p2.y) + yMinB;
        }
        const Eigen::Vector2d mA = A.colwise().mean();
        const Eigen::Vector2d mB = B.colwise().mean();
        const Eigen::Vector2d cA(xMaxA - (xMaxA - xMinA) * 0.5, yMaxA - (yMaxA - yMinA) * 0.5);
        const Eigen::Vector2d cB(xMaxB - (xMaxB - xMinB) * 0.5, yMaxB - (yMaxB - yMinB) * 0.5);
        const Eigen::Vector2d t = (mB - mA) + (cA - cB);
        Eigen::Affine2d transform = Eigen::Affine2d::Identity();
        transform.matrix()(0, 2) = t.x();
        transform.matrix()(1, 2) = t.y();
        keyFrame(b)->transformPolygon(transform);
        return true;
    }

    KeyFrame *keyFrame(int frame) const { return m_project.object->keyFrames.at(frame); }

    TrackingProject &m_project;
    FramePairs m_pairs;
    bool m_interactive;
};

struct Outcome {
    QList<QPolygonF> polygons;
    int result = -1;
};

/// What plain tracking makes of the project, which is left as it was.
Outcome plainOutcome(TrackingProject &project, const FramePairs &pairs, bool interactive)
{
    const QList<QPolygonF> before = project.polygons();
    PlainTracking plain(project, pairs, interactive);
    plain.run();
    const Outcome outcome{project.polygons(), plain.stopFrame};
    project.setPolygons(before);
    return outcome;
}

/// What the tracker makes of the project, which is left as it was.
Outcome outcomeOf(TrackingProject &project, bool interactive)
{
    const QList<QPolygonF> before = project.polygons();
    AOItracking tracking(project.state(), interactive, matchDistance);
    Outcome outcome;
    if (interactive)
        outcome.result = tracking.interactiveTracking(-1);
    else
        tracking.automaticTracking();
    outcome.polygons = project.polygons();
    project.setPolygons(before);
    return outcome;
}

/// Five spans, two of them of three frames, on a curve of 34 frames.
const QList<int> severalSpans{0, 10, 12, 14, 25, 33};
constexpr int severalFrames = 34;

} // namespace

class TestAOItracking : public QObject
{
    Q_OBJECT

private slots:
    void init() { AbortGrace::setLength(wholeParcels); }

    void framePairsAreTheCoveredVisibleSpans_data();
    void framePairsAreTheCoveredVisibleSpans();
    void otherSpanTypesAreLeftOut_data();
    void otherSpanTypesAreLeftOut();
    void constructorTakesItsArguments();
    void framePairsAreFixedAtConstruction();
    void stepWithoutFrameFails();
    void bothPassesMoveTheFramesOfTheMiddle_data();
    void bothPassesMoveTheFramesOfTheMiddle();
    void fittingEqualsPlainTracking_data();
    void fittingEqualsPlainTracking();
    void outlinesAreClippedInBothPasses();
    void functionObjectTracksItsPair_data();
    void functionObjectTracksItsPair();
    void runEqualsPlainTracking_data();
    void runEqualsPlainTracking();
    void failingStepsAreSkippedByAutomaticTracking();
    void interactiveTrackingStopsOnAutomaticFrames_data();
    void interactiveTrackingStopsOnAutomaticFrames();
    void interactiveTrackingGoesOnAfterOtherFrames_data();
    void interactiveTrackingGoesOnAfterOtherFrames();
    void aStopInTheTailOfTheBackwardPass_data();
    void aStopInTheTailOfTheBackwardPass();
    void fittingStopsWhenCalledDirectly_data();
    void fittingStopsWhenCalledDirectly();
    void stoppedTrackingLeavesItsPasses();
    void interactiveTrackingReturnsItsStopFrame();
    void nothingToTrackReturnsAtOnce_data();
    void nothingToTrackReturnsAtOnce();
    void threadsDoNotMatter_data();
    void threadsDoNotMatter();
    void chainOfShortSpansIsTrackedInOrder();
    void polygonsOutsideTheImageStay_data();
    void polygonsOutsideTheImageStay();
    void absurdCoordinatesTakeNoTime_data();
    void absurdCoordinatesTakeNoTime();
    void transformOfAnUnreadableImageFailsAndChangesNothing_data();
    void transformOfAnUnreadableImageFailsAndChangesNothing();
    void unreadableImageIsAFailingStep_data();
    void unreadableImageIsAFailingStep();
    void interactiveTrackingAsksAtAnUnreadableImage_data();
    void interactiveTrackingAsksAtAnUnreadableImage();
    void oneLinePerUnreadableFrameAndRun();
    void truncatedImageDoesNoHarm_data();
    void truncatedImageDoesNoHarm();
    void progressDialogIsBusyAndModal_data();
    void progressDialogIsBusyAndModal();
    void abortSkipsWhatHasNotStarted_data();
    void abortSkipsWhatHasNotStarted();
    void abortLeavesALongSpan_data();
    void abortLeavesALongSpan();
    void abortSkipsTheRestOfAChain_data();
    void abortSkipsTheRestOfAChain();
    void runsTellHowTheyEnded();
    void failureNamesItsFrame_data();
    void failureNamesItsFrame();
    void translationIsFollowed();
    void trackingImprovesOnMorphing_data();
    void trackingImprovesOnMorphing();
};

void TestAOItracking::framePairsAreTheCoveredVisibleSpans_data()
{
    QTest::addColumn<QList<int>>("keyFrames");
    QTest::addColumn<QList<int>>("withoutPolygon");
    QTest::addColumn<FramePairs>("pairs");
    const FramePairs none{{-1, -1}};
    QTest::newRow("no key frame") << QList<int>{} << QList<int>{} << none;
    QTest::newRow("one key frame") << QList<int>{4} << QList<int>{} << none;
    QTest::newRow("span of two frames") << QList<int>{4, 5} << QList<int>{} << none;
    QTest::newRow("span of three frames") << QList<int>{4, 6} << QList<int>{} << FramePairs{{4, 6}};
    QTest::newRow("whole video") << QList<int>{0, 19} << QList<int>{} << FramePairs{{0, 19}};
    QTest::newRow("spans that touch")
        << QList<int>{2, 7, 9, 15} << QList<int>{} << FramePairs{{2, 7}, {7, 9}, {9, 15}};
    QTest::newRow("short span between long ones")
        << QList<int>{2, 7, 8, 15} << QList<int>{} << FramePairs{{2, 7}, {8, 15}};
    QTest::newRow("first frame without polygon") << QList<int>{4, 9} << QList<int>{4} << none;
    QTest::newRow("inner frame without polygon") << QList<int>{4, 9} << QList<int>{7} << none;
    QTest::newRow("last frame without polygon") << QList<int>{4, 9} << QList<int>{9} << none;
    QTest::newRow("one of three spans with a gap")
        << QList<int>{2, 7, 11, 15} << QList<int>{8} << FramePairs{{2, 7}, {11, 15}};
    QTest::newRow("shared frame without polygon")
        << QList<int>{2, 7, 11, 15} << QList<int>{7} << FramePairs{{11, 15}};
}

void TestAOItracking::framePairsAreTheCoveredVisibleSpans()
{
    QFETCH(QList<int>, keyFrames);
    QFETCH(QList<int>, withoutPolygon);
    QFETCH(FramePairs, pairs);
    TestProject project(20);
    TrackedObject *object = project.addObject();
    for (int frame : keyFrames)
        object->keyFrames.at(frame)->setType(KeyFrame::Visible);
    for (int frame = 0; frame < 20; ++frame)
        object->keyFrames.at(frame)->setNewPolygon(rectangle(frame, 10, 80, 90));
    for (int frame : withoutPolygon)
        object->keyFrames.at(frame)->setNewPolygon(QPolygonF());
    const AOItracking tracking(project.state(), false, matchDistance);
    QCOMPARE(tracking.getFramePairs(), pairs);
    QCOMPARE(tracking.framePairs, pairs);
    QList<int> indices;
    for (int i = 0; i < pairs.size(); ++i)
        indices.append(i);
    QCOMPARE(tracking.frameIndices, indices);
}

void TestAOItracking::otherSpanTypesAreLeftOut_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<FramePairs>("pairs");
    QTest::newRow("hidden") << static_cast<int>(FrameSpan::Hidden) << FramePairs{{2, 7}};
    QTest::newRow("visible") << static_cast<int>(FrameSpan::Visible) << FramePairs{{2, 7}, {7, 15}};
    QTest::newRow("occluded") << static_cast<int>(FrameSpan::Occluded) << FramePairs{{2, 7}};
}

void TestAOItracking::otherSpanTypesAreLeftOut()
{
    QFETCH(int, type);
    QFETCH(FramePairs, pairs);
    TestProject project(20);
    TrackedObject *object = project.addObject();
    for (int frame : {2, 7, 15})
        object->keyFrames.at(frame)->setType(KeyFrame::Visible);
    for (KeyFrame *keyFrame : qAsConst(object->keyFrames))
        keyFrame->setNewPolygon(rectangle(5, 10, 80, 90));
    object->frameSpans.at(10)->setType(static_cast<FrameSpan::Type>(type));
    QCOMPARE(AOItracking(project.state(), true, matchDistance).framePairs, pairs);
}

void TestAOItracking::constructorTakesItsArguments()
{
    TestProject project(5);
    const AOItracking interactive(project.state(), true, 18);
    QCOMPARE(interactive.state, project.state());
    QVERIFY(interactive.interactive);
    QCOMPARE(interactive.maxDistance, 18);
    QVERIFY(!interactive.stopped);
    QCOMPARE(interactive.stopFrame, -1);
    const AOItracking automatic(project.state(), false, 25);
    QVERIFY(!automatic.interactive);
    QCOMPARE(automatic.maxDistance, 25);
}

void TestAOItracking::framePairsAreFixedAtConstruction()
{
    TrackingProject project(Clips::curve(9), 9);
    project.annotateTruth({0, 8});
    AOItracking tracking(project.state(), false, matchDistance);
    const QList<QPolygonF> filled = project.polygons();
    project.object->keyFrames.at(4)->setType(KeyFrame::Visible); // two spans, and empties them
    project.setPolygons(filled);
    QCOMPARE(tracking.framePairs, (FramePairs{{0, 8}}));
    ChangeCounter counter(project.object);
    tracking.automaticTracking();
    QCOMPARE(counter.counts(), (QList<int>{0, 1, 1, 1, 2, 2, 1, 1, 0}));
}

void TestAOItracking::stepWithoutFrameFails()
{
    TrackingProject project(Clips::curve(5), 5);
    project.annotateTruth({0, 4});
    ChangeCounter counter(project.object);
    AOItracking tracking(project.state(), false, matchDistance);
    QVERIFY(!tracking.transformAOI(-1, 1));
    QVERIFY(!tracking.transformAOI(1, -1));
    QVERIFY(!tracking.transformAOI(-1, -1));
    QCOMPARE(counter.total(), 0);
}

void TestAOItracking::bothPassesMoveTheFramesOfTheMiddle_data()
{
    QTest::addColumn<int>("last");
    QTest::addColumn<QList<int>>("moves");
    QTest::newRow("three frames move the last one too") << 2 << QList<int>{0, 2, 1, 0};
    QTest::newRow("four frames") << 3 << QList<int>{0, 2, 2, 0, 0};
    QTest::newRow("five frames") << 4 << QList<int>{0, 1, 2, 2, 0, 0};
    QTest::newRow("six frames") << 5 << QList<int>{0, 1, 2, 2, 1, 0, 0};
    QTest::newRow("eleven frames") << 10 << QList<int>{0, 1, 1, 1, 1, 2, 2, 1, 1, 1, 0, 0};
    QTest::newRow("twelve frames") << 11 << QList<int>{0, 1, 1, 1, 1, 2, 2, 1, 1, 1, 1, 0, 0};
}

void TestAOItracking::bothPassesMoveTheFramesOfTheMiddle()
{
    QFETCH(int, last);
    QFETCH(QList<int>, moves);
    TrackingProject project(Clips::curve(moves.size()), moves.size());
    project.annotateTruth({0, last});
    AOItracking tracking(project.state(), false, matchDistance);
    QCOMPARE(tracking.framePairs, (FramePairs{{0, last}}));
    ChangeCounter counter(project.object);
    int index = 0;
    tracking.aoiFitting(index);
    QCOMPARE(counter.counts(), moves);
    QVERIFY(!tracking.stopped);
}

void TestAOItracking::fittingEqualsPlainTracking_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("last");
    QTest::addColumn<bool>("interactive");
    for (int length : {2, 3, 4, 5, 6, 7, 8, 9, 12, 21}) {
        QTest::addRow("automatic, %d frames", length + 1) << 1 << 1 + length << false;
        if (length % 5 == 2)
            QTest::addRow("interactive, %d frames", length + 1) << 1 << 1 + length << true;
    }
}

void TestAOItracking::fittingEqualsPlainTracking()
{
    QFETCH(int, first);
    QFETCH(int, last);
    QFETCH(bool, interactive);
    TrackingProject project(Clips::curve(24), 24);
    project.annotateTruth({first, last});
    const QList<QPolygonF> before = project.polygons();
    const Outcome plain = plainOutcome(project, {{first, last}}, interactive);
    QVERIFY(!firstDifference(plain.polygons, before).isEmpty());
    AOItracking tracking(project.state(), interactive, matchDistance);
    QCOMPARE(tracking.framePairs, (FramePairs{{first, last}}));
    int index = 0;
    tracking.aoiFitting(index);
    QCOMPARE(firstDifference(project.polygons(), plain.polygons), QString());
    QCOMPARE(tracking.stopFrame, plain.result);
    QCOMPARE(tracking.stopped.load(), plain.result != -1);
}

// The object stays half way out of the image on all frames, and the outlines of the inner frames reach
// past the border until they are moved.
void TestAOItracking::outlinesAreClippedInBothPasses()
{
    constexpr int last = 18;
    constexpr int middle = last / 2;
    const Clips::Clip clip = Clips::blockClip([](int frame) {
        Clips::Pose pose;
        pose.position = QPointF(45 + frame % 3, 70 + 5 * frame);
        return pose;
    });
    TrackingProject project(clip, last + 1);
    project.annotateTruth({0, last});
    for (int frame = 1; frame < last; ++frame)
        project.object->keyFrames.at(frame)->setNewPolygon(
            clip.truth(frame).translated(frame % 2 ? 3 : -4, frame % 3 ? -3 : 5));
    const QList<QPolygonF> before = project.polygons();
    for (bool interactive : {false, true}) {
        project.setPolygons(before);
        const Outcome plain = plainOutcome(project, {{0, last}}, interactive);
        QCOMPARE(plain.result, -1);
        AOItracking tracking(project.state(), interactive, matchDistance);
        QCOMPARE(tracking.framePairs, (FramePairs{{0, last}}));
        ChangeCounter counter(project.object);
        int index = 0;
        tracking.aoiFitting(index);
        const QList<QPolygonF> after = project.polygons();
        QCOMPARE(firstDifference(after, plain.polygons), QString());
        QVERIFY(!tracking.stopped);
        for (int frame = 1; frame < last; ++frame) {
            // Forward, both, backward.
            QCOMPARE(counter.counts().at(frame), frame == middle || frame == middle + 1 ? 2 : 1);
            const QRectF box = after.at(frame).boundingRect();
            QVERIFY2(box.left() > -1e-9, qPrintable(QString::number(frame)));
            QVERIFY2(box.width() < before.at(frame).boundingRect().width() - 5,
                     qPrintable(QString::number(frame)));
        }
    }
}

void TestAOItracking::functionObjectTracksItsPair_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("flat");
    QTest::addColumn<int>("stopFrame");
    QTest::newRow("first pair") << 0 << -1 << -1;
    QTest::newRow("second pair") << 1 << -1 << -1;
    QTest::newRow("last pair") << 2 << -1 << -1;
    QTest::newRow("pair that fails") << 1 << 9 << 9;
}

void TestAOItracking::functionObjectTracksItsPair()
{
    QFETCH(int, index);
    QFETCH(int, flat);
    QFETCH(int, stopFrame);
    TrackingProject project(Clips::curve(18), 18);
    project.annotateTruth({0, 6, 12, 17});
    if (flat != -1)
        Clips::makeFlat(project.video(), flat);
    const QList<QPolygonF> before = project.polygons();
    AOItracking fitted(project.state(), true, matchDistance);
    QCOMPARE(fitted.framePairs.size(), 3);
    int fittedIndex = index;
    fitted.aoiFitting(fittedIndex);
    const QList<QPolygonF> wanted = project.polygons();
    QVERIFY(!firstDifference(wanted, before).isEmpty());
    QCOMPARE(fitted.stopFrame, stopFrame);

    project.setPolygons(before);
    AOItracking tracking(project.state(), true, matchDistance);
    const AOItracking::aoiFittingWrapper wrapper(&tracking);
    QCOMPARE(wrapper.tracking, &tracking);
    wrapper(tracking.frameIndices[index]);
    QCOMPARE(firstDifference(project.polygons(), wanted), QString());
    QCOMPARE(tracking.stopFrame, stopFrame);
    QCOMPARE(tracking.stopped.load(), stopFrame != -1);
    QCOMPARE(tracking.frameIndices, (QList<int>{0, 1, 2}));
}

void TestAOItracking::runEqualsPlainTracking_data()
{
    QTest::addColumn<QList<int>>("keyFrames");
    QTest::newRow("one span") << QList<int>{3, 20};
    QTest::newRow("two spans") << QList<int>{0, 9, 23};
    QTest::newRow("chain of spans of three frames") << QList<int>{0, 2, 4, 6, 8, 10};
    QTest::newRow("short span before a long one") << QList<int>{0, 2, 13};
    QTest::newRow("long span before a short one") << QList<int>{0, 11, 13};
    QTest::newRow("short ones between long ones") << QList<int>{0, 6, 8, 10, 17};
    QTest::newRow("spans of four frames") << QList<int>{0, 3, 6, 9, 12};
}

void TestAOItracking::runEqualsPlainTracking()
{
    QFETCH(QList<int>, keyFrames);
    TrackingProject project(Clips::curve(24), 24);
    project.annotateTruth(keyFrames);
    const FramePairs pairs = AOItracking(project.state(), false, matchDistance).framePairs;
    QCOMPARE(pairs.size(), keyFrames.size() - 1);
    const Outcome plain = plainOutcome(project, pairs, false);
    QCOMPARE(firstDifference(outcomeOf(project, false).polygons, plain.polygons), QString());
}

void TestAOItracking::failingStepsAreSkippedByAutomaticTracking()
{
    TrackingProject project(Clips::curve(13), 13);
    project.annotateTruth({0, 12});
    Clips::makeFlat(project.video(), 4);
    const QList<QPolygonF> before = project.polygons();
    ChangeCounter counter(project.object);
    AOItracking tracking(project.state(), false, matchDistance);
    tracking.automaticTracking();
    // 3 -> 4 and 4 -> 5 fail; 5 -> 6 goes on from the polygon that frame 5 had.
    QCOMPARE(counter.counts(), (QList<int>{0, 1, 1, 1, 0, 0, 2, 2, 1, 1, 1, 1, 0}));
    QVERIFY(!tracking.stopped);
    QCOMPARE(tracking.stopFrame, -1);
    const QList<QPolygonF> after = project.polygons();
    project.setPolygons(before);
    QCOMPARE(firstDifference(after, plainOutcome(project, {{0, 12}}, false).polygons), QString());
}

void TestAOItracking::interactiveTrackingStopsOnAutomaticFrames_data()
{
    QTest::addColumn<QList<int>>("keyFrames");
    QTest::addColumn<QList<int>>("flat");
    QTest::addColumn<int>("stopFrame");
    const QList<int> one{0, 14};
    QTest::newRow("nothing fails") << one << QList<int>{} << -1;
    QTest::newRow("first frame") << one << QList<int>{0} << 1;
    QTest::newRow("forward pass") << one << QList<int>{4} << 4;
    QTest::newRow("middle") << one << QList<int>{7} << 7;
    QTest::newRow("frame behind the middle") << one << QList<int>{8} << 8;
    QTest::newRow("backward pass") << one << QList<int>{11} << 11;
    QTest::newRow("last frame") << one << QList<int>{14} << 13;
    QTest::newRow("both passes") << one << QList<int>{5, 12} << 5;
    QTest::newRow("last of three frames") << QList<int>{0, 2} << QList<int>{2} << 1;
    QTest::newRow("second span") << QList<int>{0, 7, 14} << QList<int>{9} << 9;
    QTest::newRow("second span's end") << QList<int>{0, 7, 14} << QList<int>{14} << 13;
    QTest::newRow("boundary of two spans") << QList<int>{0, 7, 14} << QList<int>{7} << 6;
    QTest::newRow("both spans") << QList<int>{0, 7, 14} << QList<int>{12, 5} << 5;
    QTest::newRow("third of three") << QList<int>{0, 2, 6, 14} << QList<int>{13} << 13;
}

void TestAOItracking::interactiveTrackingStopsOnAutomaticFrames()
{
    QFETCH(QList<int>, keyFrames);
    QFETCH(QList<int>, flat);
    QFETCH(int, stopFrame);
    TrackingProject project(Clips::curve(15), 15);
    project.annotateTruth(keyFrames);
    for (int frame : flat)
        Clips::makeFlat(project.video(), frame);
    AOItracking tracking(project.state(), true, matchDistance);
    const Outcome plain = plainOutcome(project, tracking.framePairs, true);
    QCOMPARE(plain.result, stopFrame);

    QCOMPARE(tracking.interactiveTracking(-1), stopFrame);
    QCOMPARE(tracking.stopped.load(), stopFrame != -1);
    QCOMPARE(tracking.stopFrame, stopFrame);
    QCOMPARE(firstDifference(project.polygons(), plain.polygons), QString());
}

void TestAOItracking::interactiveTrackingGoesOnAfterOtherFrames_data()
{
    QTest::addColumn<KeyFrame::Type>("type");
    QTest::newRow("visible") << KeyFrame::Visible;
    QTest::newRow("occluded") << KeyFrame::Occluded;
    QTest::newRow("none") << KeyFrame::None;
}

void TestAOItracking::interactiveTrackingGoesOnAfterOtherFrames()
{
    QFETCH(KeyFrame::Type, type);
    TrackingProject project(Clips::curve(13), 13);
    project.annotateTruth({0, 12});
    for (int frame : {3, 4, 5, 9, 10, 11}) {
        if (frame == 4 || frame == 10)
            Clips::makeFlat(project.video(), frame);
        project.object->keyFrames.at(frame)->type = type; // behind the back of the spans
    }
    const Outcome plain = plainOutcome(project, {{0, 12}}, false);
    AOItracking tracking(project.state(), true, matchDistance);
    QCOMPARE(tracking.interactiveTracking(-1), -1);
    QVERIFY(!tracking.stopped);
    QCOMPARE(firstDifference(project.polygons(), plain.polygons), QString());
}

void TestAOItracking::aStopInTheTailOfTheBackwardPass_data()
{
    QTest::addColumn<int>("flat");
    QTest::addColumn<int>("stopFrame");
    // The middle is frame 7.
    QTest::newRow("frame behind the middle") << 9 << 8;
    QTest::newRow("middle") << 8 << 7;
}

// The step onto the flat frame is forgiven, as the frame is the user's own; the one from it is not.
void TestAOItracking::aStopInTheTailOfTheBackwardPass()
{
    QFETCH(int, flat);
    QFETCH(int, stopFrame);
    TrackingProject project(Clips::curve(15), 15);
    project.annotateTruth({0, 14});
    Clips::makeFlat(project.video(), flat);
    project.object->keyFrames.at(flat)->type = KeyFrame::Visible; // behind the back of the spans
    QCOMPARE(project.object->keyFrames.at(stopFrame)->type, KeyFrame::Automatic);
    const QList<QPolygonF> before = project.polygons();
    const Outcome plain = plainOutcome(project, {{0, 14}}, true);
    QCOMPARE(plain.result, stopFrame);
    QCOMPARE(plain.polygons.at(flat), before.at(flat));

    const Outcome run = outcomeOf(project, true);
    QCOMPARE(run.result, stopFrame);
    QCOMPARE(firstDifference(run.polygons, plain.polygons), QString());

    AOItracking tracking(project.state(), true, matchDistance);
    QCOMPARE(tracking.framePairs, (FramePairs{{0, 14}}));
    int index = 0;
    tracking.aoiFitting(index);
    QVERIFY(tracking.stopped);
    QCOMPARE(tracking.stopFrame, stopFrame);
    QCOMPARE(firstDifference(project.polygons(), plain.polygons), QString());
}

void TestAOItracking::fittingStopsWhenCalledDirectly_data()
{
    QTest::addColumn<QList<int>>("flat");
    QTest::addColumn<int>("stopFrame");
    QTest::newRow("first frame") << QList<int>{0} << 1;
    QTest::newRow("forward pass") << QList<int>{4} << 4;
    QTest::newRow("middle") << QList<int>{7} << 7;
    QTest::newRow("frame behind the middle") << QList<int>{8} << 8;
    QTest::newRow("backward pass") << QList<int>{11} << 11;
    QTest::newRow("last frame") << QList<int>{14} << 13;
    QTest::newRow("both passes") << QList<int>{5, 12} << 5;
}

void TestAOItracking::fittingStopsWhenCalledDirectly()
{
    QFETCH(QList<int>, flat);
    QFETCH(int, stopFrame);
    TrackingProject project(Clips::curve(21), 21);
    project.annotateTruth({0, 14, 20});
    for (int frame : flat)
        Clips::makeFlat(project.video(), frame);
    AOItracking tracking(project.state(), true, matchDistance);
    QCOMPARE(tracking.framePairs, (FramePairs{{0, 14}, {14, 20}}));
    const Outcome plain = plainOutcome(project, tracking.framePairs, true);
    QCOMPARE(plain.result, stopFrame);

    int index = 0;
    tracking.aoiFitting(index);
    QVERIFY(tracking.stopped);
    QCOMPARE(tracking.stopFrame, stopFrame);
    QCOMPARE(firstDifference(project.polygons(), plain.polygons), QString());
    // Neither the same pair nor the next one goes on.
    for (int again : {0, 1}) {
        tracking.aoiFitting(again);
        QCOMPARE(tracking.stopFrame, stopFrame);
        QCOMPARE(firstDifference(project.polygons(), plain.polygons), QString());
    }
}

void TestAOItracking::stoppedTrackingLeavesItsPasses()
{
    TrackingProject project(Clips::curve(15), 15);
    project.annotateTruth({0, 6, 14});
    ChangeCounter counter(project.object);
    for (bool interactive : {false, true}) {
        AOItracking tracking(project.state(), interactive, matchDistance);
        tracking.stopped = true;
        for (int index : {0, 1})
            tracking.aoiFitting(index);
        QCOMPARE(counter.total(), 0);
        QCOMPARE(tracking.stopFrame, -1);
    }
}

void TestAOItracking::interactiveTrackingReturnsItsStopFrame()
{
    TrackingProject project(Clips::curve(9), 9);
    project.annotateTruth({0, 8});
    AOItracking finished(project.state(), true, matchDistance);
    QCOMPARE(finished.interactiveTracking(5), -1); // the argument is no result
    QCOMPARE(finished.stopFrame, 5);

    AOItracking stopped(project.state(), true, matchDistance);
    stopped.stopped = true;
    ChangeCounter counter(project.object);
    QCOMPARE(stopped.interactiveTracking(6), 6); // unless nothing replaces it
    QCOMPARE(counter.total(), 0);
}

void TestAOItracking::nothingToTrackReturnsAtOnce_data()
{
    QTest::addColumn<int>("frames");
    QTest::addColumn<QList<int>>("keyFrames");
    QTest::addColumn<int>("currentObject");
    QTest::newRow("no annotation") << 10 << QList<int>{} << 0;
    QTest::newRow("two frames") << 10 << QList<int>{3, 4} << 0;
    QTest::newRow("video of one frame") << 1 << QList<int>{0} << 0;
    QTest::newRow("video of two frames") << 2 << QList<int>{0, 1} << 0;
    QTest::newRow("no current object") << 10 << QList<int>{0, 9} << -1;
    QTest::newRow("current object that does not exist") << 10 << QList<int>{0, 9} << 77;
}

void TestAOItracking::nothingToTrackReturnsAtOnce()
{
    QFETCH(int, frames);
    QFETCH(QList<int>, keyFrames);
    QFETCH(int, currentObject);
    TestProject project(frames);
    TrackedObject *object = project.addObject();
    for (int frame : keyFrames)
        object->keyFrames.at(frame)->setType(KeyFrame::Visible);
    for (KeyFrame *keyFrame : qAsConst(object->keyFrames))
        keyFrame->setNewPolygon(rectangle(10, 10, 100, 100));
    project->currentObjectId = currentObject;

    LogCapture log;
    ChangeCounter counter(object);
    AOItracking interactive(project.state(), true, matchDistance);
    QCOMPARE(interactive.framePairs, (FramePairs{{-1, -1}}));
    QCOMPARE(interactive.frameIndices, QList<int>{0});
    QCOMPARE(interactive.interactiveTracking(-1), -1);
    QCOMPARE(interactive.interactiveTracking(4), -1);
    AOItracking automatic(project.state(), false, matchDistance);
    automatic.automaticTracking();
    int index = 0;
    automatic.aoiFitting(index);
    QCOMPARE(counter.total(), 0);
    QVERIFY(log.warnings().isEmpty());
}

void TestAOItracking::threadsDoNotMatter_data()
{
    QTest::addColumn<bool>("interactive");
    QTest::addColumn<QList<int>>("flat");
    QTest::addColumn<int>("result");
    QTest::newRow("automatic") << false << QList<int>{} << -1;
    QTest::newRow("interactive") << true << QList<int>{} << -1;
    QTest::newRow("interactive, stop in the fourth span") << true << QList<int>{18} << 18;
    QTest::newRow("interactive, several spans fail") << true << QList<int>{22, 9, 28} << 9;
    QTest::newRow("interactive, short span fails") << true << QList<int>{13, 31} << 13;
}

void TestAOItracking::threadsDoNotMatter()
{
    QFETCH(bool, interactive);
    QFETCH(QList<int>, flat);
    QFETCH(int, result);
    TrackingProject project(Clips::curve(severalFrames), severalFrames);
    project.annotateTruth(severalSpans);
    for (int frame : flat)
        Clips::makeFlat(project.video(), frame);
    const FramePairs pairs = AOItracking(project.state(), interactive, matchDistance).framePairs;
    QCOMPARE(pairs.size(), 5);
    const Outcome plain = plainOutcome(project, pairs, interactive);
    QCOMPARE(plain.result, result);
    for (int threads : {1, 2, 4}) {
        const PoolThreads pool(threads);
        for (int repeat = 0; repeat < threads / 2 + 1; ++repeat) {
            cv::setRNGSeed(1000 * threads + repeat);
            const Outcome outcome = outcomeOf(project, interactive);
            QCOMPARE(outcome.result, result);
            QCOMPARE(firstDifference(outcome.polygons, plain.polygons), QString());
        }
    }
}

// Each of these spans moves the first frame of the next one.
void TestAOItracking::chainOfShortSpansIsTrackedInOrder()
{
    TrackingProject project(Clips::curve(17), 17);
    project.annotateTruth({0, 2, 4, 6, 8, 10, 12, 14, 16});
    for (KeyFrame *keyFrame : qAsConst(project.object->keyFrames)) {
        const int frame = keyFrame->frame;
        keyFrame->setNewPolygon(keyFrame->polygon.translated(frame % 3 - 1, (frame * 5) % 4 - 2));
    }
    const FramePairs pairs = AOItracking(project.state(), false, matchDistance).framePairs;
    QCOMPARE(pairs.size(), 8);
    const Outcome plain = plainOutcome(project, pairs, false);
    const PoolThreads pool(4);
    for (int repeat = 0; repeat < 5; ++repeat)
        QCOMPARE(firstDifference(outcomeOf(project, false).polygons, plain.polygons), QString());
}

void TestAOItracking::polygonsOutsideTheImageStay_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::newRow("left") << rectangle(-300, 50, 100, 100);
    QTest::newRow("right") << rectangle(400, 50, 100, 100);
    QTest::newRow("above") << rectangle(50, -300, 100, 100);
    QTest::newRow("below") << rectangle(50, 400, 100, 100);
    QTest::newRow("beyond the corner") << rectangle(500, 500, 100, 100);
    QTest::newRow("on the right border") << rectangle(320, 50, 100, 100);
    QTest::newRow("on the bottom border") << rectangle(50, 240, 100, 100);
    QTest::newRow("one point") << QPolygonF({QPointF(50, 50)});
    QTest::newRow("line on the right border")
        << QPolygonF(QVector<QPointF>{QPointF(320, 50), QPointF(320, 200)});
    QTest::newRow("very thin") << rectangle(50, 50, 1, 100);
    QTest::newRow("tiny") << rectangle(50, 50, 2, 2);
}

void TestAOItracking::polygonsOutsideTheImageStay()
{
    QFETCH(QPolygonF, polygon);
    TrackingProject project(Clips::curve(7), 7);
    annotate(project.object, 0, polygon);
    annotate(project.object, 6, polygon);
    for (KeyFrame *keyFrame : qAsConst(project.object->keyFrames))
        keyFrame->setNewPolygon(polygon);
    const QList<QPolygonF> before = project.polygons();
    LogCapture log;
    AOItracking tracking(project.state(), false, matchDistance);
    QCOMPARE(tracking.framePairs, (FramePairs{{0, 6}}));
    tracking.automaticTracking();
    QCOMPARE(firstDifference(project.polygons(), before), QString());
    QCOMPARE(log.warnings(), QStringList());
}

void TestAOItracking::absurdCoordinatesTakeNoTime_data()
{
    QTest::addColumn<double>("value");
    for (double value : {1e9, -1e9, 1e300, -1e300, qInf(), -qInf(), qQNaN()})
        QTest::addRow("%g", value) << value;
}

// Damaged projects hold such outlines. What comes of them does not matter, but it comes soon.
void TestAOItracking::absurdCoordinatesTakeNoTime()
{
    QFETCH(double, value);
    TrackingProject project(Clips::curve(9), 9);
    project.annotateTruth({0, 8});
    AOItracking tracking(project.state(), false, matchDistance);
    QElapsedTimer timer;
    timer.start();
    QVERIFY(tracking.transformAOI(0, 1));
    const qint64 ordinary = timer.nsecsElapsed();
    for (bool twoSides : {false, true}) {
        QPolygonF outline = project.clip.truth(4);
        outline[0] = QPointF(value, value);
        outline[2].setX(twoSides ? -value : value);
        project.object->keyFrames.at(4)->setNewPolygon(outline);
        timer.start();
        tracking.transformAOI(3, 4);
        project.object->keyFrames.at(4)->setNewPolygon(outline);
        tracking.transformAOI(4, 5);
        const qint64 absurd = timer.nsecsElapsed();
        QVERIFY2(absurd < 2 * 20 * ordinary,
                 qPrintable(QStringLiteral("%1 ms for two steps, an ordinary step takes %2")
                                .arg(absurd / 1e6)
                                .arg(ordinary / 1e6)));
    }
}

void TestAOItracking::transformOfAnUnreadableImageFailsAndChangesNothing_data()
{
    QTest::addColumn<int>("unreadable");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("source is missing") << 3 << QByteArray();
    QTest::newRow("target is missing") << 4 << QByteArray();
    QTest::newRow("source is no image") << 3 << QByteArray("no image at all");
    QTest::newRow("target is no image") << 4 << QByteArray("no image at all");
}

void TestAOItracking::transformOfAnUnreadableImageFailsAndChangesNothing()
{
    QFETCH(int, unreadable);
    QFETCH(QByteArray, bytes);
    TrackingProject project(Clips::curve(9), 9);
    project.annotateTruth({0, 8});
    spoilImage(project.video(), unreadable, bytes);
    const QList<QPolygonF> before = project.polygons();
    ChangeCounter counter(project.object);
    LogCapture log;
    AOItracking tracking(project.state(), true, matchDistance);
    QVERIFY(!tracking.transformAOI(3, 4));
    QCOMPARE(log.warnings().size(), 1);
    QVERIFY2(namesImage(log.warnings().constFirst(), unreadable, project.video()),
             qPrintable(log.warnings().constFirst()));
    QCOMPARE(counter.total(), 0);
    QCOMPARE(firstDifference(project.polygons(), before), QString());
    for (const KeyFrame *keyFrame : qAsConst(project.object->keyFrames))
        QCOMPARE(keyFrame->type, keyFrame->frame % 8 ? KeyFrame::Automatic : KeyFrame::Visible);
    QVERIFY(!tracking.stopped);
    QCOMPARE(tracking.stopFrame, -1);

    // With the image back the same step works.
    Clips::writeFrame(project.video(), unreadable, project.clip.render(unreadable));
    QVERIFY(tracking.transformAOI(3, 4));
    QCOMPARE(counter.counts(), (QList<int>{0, 0, 0, 0, 1, 0, 0, 0, 0}));
}

void TestAOItracking::unreadableImageIsAFailingStep_data()
{
    QTest::addColumn<int>("frame");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QList<int>>("moves");
    // Neither the frame nor the one behind it is moved; the pass goes on from the outline that one had.
    const QList<int> forward{0, 1, 1, 1, 0, 0, 2, 2, 1, 1, 1, 1, 0};
    const QList<int> backward{0, 1, 1, 1, 1, 1, 2, 2, 0, 0, 1, 1, 0};
    QTest::newRow("missing, forward pass") << 4 << QByteArray() << forward;
    QTest::newRow("empty file, forward pass") << 4 << QByteArray("") << forward;
    QTest::newRow("no image, forward pass") << 4 << QByteArray("no image at all") << forward;
    QTest::newRow("missing, backward pass") << 9 << QByteArray() << backward;
    QTest::newRow("no image, backward pass") << 9 << QByteArray("no image at all") << backward;
    QTest::newRow("middle") << 6 << QByteArray() << QList<int>{0, 1, 1, 1, 1, 1, 0, 1, 1, 1, 1, 1, 0};
    QTest::newRow("first frame") << 0 << QByteArray() << QList<int>{0, 0, 1, 1, 1, 1, 2, 2, 1, 1, 1, 1, 0};
    QTest::newRow("last frame") << 12 << QByteArray() << QList<int>{0, 1, 1, 1, 1, 1, 2, 2, 1, 1, 1, 0, 0};
}

void TestAOItracking::unreadableImageIsAFailingStep()
{
    QFETCH(int, frame);
    QFETCH(QByteArray, bytes);
    QFETCH(QList<int>, moves);
    TrackingProject project(Clips::curve(13), 13);
    project.annotateTruth({0, 12});
    const QList<QPolygonF> before = project.polygons();
    const QList<QPolygonF> complete = plainOutcome(project, {{0, 12}}, false).polygons;
    spoilImage(project.video(), frame, bytes);
    const QList<QPolygonF> wanted = plainOutcome(project, {{0, 12}}, false).polygons;
    QVERIFY(!firstDifference(wanted, complete).isEmpty());
    {
        LogCapture log;
        ChangeCounter counter(project.object);
        AOItracking(project.state(), false, matchDistance).automaticTracking();
        QCOMPARE(log.warnings().size(), 1);
        QVERIFY2(namesImage(log.warnings().constFirst(), frame, project.video()),
                 qPrintable(log.warnings().constFirst()));
        QCOMPARE(counter.counts(), moves);
        QCOMPARE(firstDifference(project.polygons(), wanted), QString());
    }

    // With the image back the next run works as if nothing had been.
    Clips::writeFrame(project.video(), frame, project.clip.render(frame));
    project.setPolygons(before);
    LogCapture log;
    AOItracking(project.state(), false, matchDistance).automaticTracking();
    QCOMPARE(firstDifference(project.polygons(), complete), QString());
    QCOMPARE(log.warnings(), QStringList());
}

void TestAOItracking::interactiveTrackingAsksAtAnUnreadableImage_data()
{
    QTest::addColumn<int>("frame");
    QTest::addColumn<int>("stopFrame");
    QTest::newRow("first frame") << 0 << 1;
    QTest::newRow("forward pass") << 4 << 4;
    QTest::newRow("middle") << 7 << 7;
    QTest::newRow("backward pass") << 11 << 11;
    QTest::newRow("last frame") << 14 << 13;
}

void TestAOItracking::interactiveTrackingAsksAtAnUnreadableImage()
{
    QFETCH(int, frame);
    QFETCH(int, stopFrame);
    TrackingProject project(Clips::curve(15), 15);
    project.annotateTruth({0, 14});
    spoilImage(project.video(), frame, QByteArray("no image at all"));
    const Outcome plain = plainOutcome(project, {{0, 14}}, true);
    QCOMPARE(plain.result, stopFrame);
    LogCapture log;
    AOItracking tracking(project.state(), true, matchDistance);
    QCOMPARE(tracking.interactiveTracking(-1), stopFrame);
    QVERIFY(tracking.stopped);
    QCOMPARE(firstDifference(project.polygons(), plain.polygons), QString());
    QCOMPARE(log.warnings().size(), 1);
    QVERIFY(namesImage(log.warnings().constFirst(), frame, project.video()));
}

// The two frames are met by both passes of the first span, and one of them by the second span too.
void TestAOItracking::oneLinePerUnreadableFrameAndRun()
{
    TrackingProject project(Clips::curve(13), 13);
    project.annotateTruth({0, 6, 12});
    for (int frame : {3, 6})
        spoilImage(project.video(), frame, QByteArray());
    for (int threads : {1, 4}) {
        const PoolThreads pool(threads);
        AOItracking tracking(project.state(), false, matchDistance);
        for (int run : {1, 2}) {
            LogCapture log;
            tracking.automaticTracking();
            QStringList warnings = log.warnings();
            std::sort(warnings.begin(), warnings.end());
            QVERIFY2(warnings.size() == 2, qPrintable(QStringLiteral("run %1").arg(run)));
            QVERIFY(namesImage(warnings.at(0), 3, project.video()));
            QVERIFY(namesImage(warnings.at(1), 6, project.video()));
        }
    }
}

void TestAOItracking::truncatedImageDoesNoHarm_data()
{
    QTest::addColumn<double>("part");
    QTest::newRow("no data behind the header") << 0.02;
    QTest::newRow("a half") << 0.5;
    QTest::newRow("nearly whole") << 0.98;
}

void TestAOItracking::truncatedImageDoesNoHarm()
{
    QFETCH(double, part);
    TrackingProject project(Clips::curve(13), 13);
    project.annotateTruth({0, 12});
    QFile file(project.video().getFramePath(5));
    QVERIFY(file.resize(static_cast<qint64>(static_cast<double>(file.size()) * part)));
    LogCapture log;
    AOItracking(project.state(), false, matchDistance).automaticTracking();
    // Whether the decoder gives up or fills in the rest, every frame still has a sound polygon.
    for (const QPolygonF &polygon : project.polygons())
        QVERIFY(polygon.size() >= 4);
    QVERIFY(log.warnings().size() <= 1);
    QVERIFY(project.meanOverlap(0, 3) > 0.9);
}

void TestAOItracking::progressDialogIsBusyAndModal_data()
{
    QTest::addColumn<bool>("interactive");
    QTest::addColumn<QString>("label");
    QTest::newRow("interactive") << true << QStringLiteral("Interactive feature based AOI tracking");
    QTest::newRow("automatic") << false << QStringLiteral("Automatic feature based AOI tracking");
}

void TestAOItracking::progressDialogIsBusyAndModal()
{
    QFETCH(bool, interactive);
    QFETCH(QString, label);
    TrackingProject project(Clips::curve(severalFrames), severalFrames);
    project.annotateTruth(severalSpans);
    ProgressWatch watch;
    outcomeOf(project, interactive);
    QVERIFY(watch.seen);
    QCOMPARE(watch.label, label);
    QCOMPARE(watch.button, QStringLiteral("Abort"));
    QCOMPARE(watch.minimum, 0);
    QCOMPARE(watch.maximum, 0);
    QCOMPARE(watch.modality, Qt::WindowModal);
    QVERIFY(!watch.hasParent);
    QVERIFY(!QApplication::activeModalWidget());
}

void TestAOItracking::abortSkipsWhatHasNotStarted_data()
{
    QTest::addColumn<bool>("interactive");
    QTest::addColumn<int>("threads");
    QTest::newRow("automatic, one thread") << false << 1;
    QTest::newRow("interactive, one thread") << true << 1;
    QTest::newRow("automatic, two threads") << false << 2;
    QTest::newRow("interactive, four threads") << true << 4;
}

void TestAOItracking::abortSkipsWhatHasNotStarted()
{
    QFETCH(bool, interactive);
    QFETCH(int, threads);
    constexpr int frames = 81;
    const PoolThreads pool(threads);
    TrackingProject project(Clips::curve(frames), frames);
    QList<int> keyFrames;
    for (int frame = 0; frame < frames; frame += 10)
        keyFrames.append(frame);
    project.annotateTruth(keyFrames);
    const QList<QPolygonF> before = project.polygons();
    const QList<QPolygonF> complete = outcomeOf(project, false).polygons;

    AOItracking tracking(project.state(), interactive, matchDistance);
    ProgressWatch watch;
    QObject context;
    // The first polygon that moves tells that a span is in progress.
    for (const KeyFrame *keyFrame : qAsConst(project.object->keyFrames))
        connect(keyFrame, &KeyFrame::hasChanged, &context, [&watch] { watch.abort(); });
    ChangeCounter counter(project.object);
    if (interactive)
        QCOMPARE(tracking.interactiveTracking(-1), -1);
    else
        tracking.automaticTracking();
    const QList<QPolygonF> after = project.polygons();
    const QList<int> moves = counter.counts();
    QTRY_COMPARE(QThreadPool::globalInstance()->activeThreadCount(), 0);
    QCOMPARE(counter.counts(), moves); // nothing was still running
    QVERIFY(watch.seen);

    int done = 0;
    int skipped = 0;
    for (int first = 0; first + 10 < frames; first += 10) {
        const bool untouched = firstDifference(after.mid(first, 11), before.mid(first, 11)).isEmpty();
        const bool whole = firstDifference(after.mid(first, 11), complete.mid(first, 11)).isEmpty();
        QVERIFY2(untouched || whole, qPrintable(QString::number(first)));
        done += whole;
        skipped += untouched;
    }
    QVERIFY2(done > 0 && skipped > 0, qPrintable(QStringLiteral("%1, %2").arg(done).arg(skipped)));
}

void TestAOItracking::abortLeavesALongSpan_data()
{
    QTest::addColumn<bool>("interactive");
    QTest::newRow("automatic") << false;
    QTest::newRow("interactive") << true;
}

// What is in progress may end if it takes no longer than the grace period.
void TestAOItracking::abortLeavesALongSpan()
{
    QFETCH(bool, interactive);
    AbortGrace::setLength(std::chrono::milliseconds(0));
    constexpr int frames = 41;
    const PoolThreads pool(1);
    TrackingProject project(Clips::curve(frames), frames);
    project.annotateTruth({0, frames - 1});
    const QList<QPolygonF> before = project.polygons();
    AOItracking tracking(project.state(), interactive, matchDistance);
    const AbortAtFirstChange abort(project.object);
    if (interactive)
        QCOMPARE(tracking.interactiveTracking(-1), -1);
    else
        tracking.automaticTracking();
    QVERIFY(abort.done());
    QCOMPARE(tracking.result().outcome, ModalJob::Outcome::Aborted);
    const QList<QPolygonF> after = project.polygons();
    QVERIFY(after.at(1) != before.at(1)); // the step in progress was made
    QCOMPARE(firstDifference(after.mid(2), before.mid(2)), QString());
}

void TestAOItracking::abortSkipsTheRestOfAChain_data()
{
    QTest::addColumn<bool>("interactive");
    QTest::addColumn<int>("threads");
    QTest::newRow("automatic, one thread") << false << 1;
    QTest::newRow("interactive, four threads") << true << 4;
}

void TestAOItracking::abortSkipsTheRestOfAChain()
{
    QFETCH(bool, interactive);
    QFETCH(int, threads);
    constexpr int frames = 13;
    const PoolThreads pool(threads);
    TrackingProject project(Clips::curve(frames), frames);
    project.annotateTruth({0, 2, 4, 6, 8, 10, 12});
    const QList<QPolygonF> before = project.polygons();
    const QList<QPolygonF> complete = outcomeOf(project, false).polygons;
    AOItracking tracking(project.state(), interactive, matchDistance);
    QCOMPARE(tracking.framePairs.size(), 6);
    {
        const AbortAtFirstChange abort(project.object);
        if (interactive)
            QCOMPARE(tracking.interactiveTracking(-1), -1);
        else
            tracking.automaticTracking();
        QVERIFY(abort.done());
    }
    // The span in progress, from frame 0 to 2, was finished.
    const QList<QPolygonF> after = project.polygons();
    QCOMPARE(firstDifference(after.mid(0, 3), complete.mid(0, 3)), QString());
    QCOMPARE(firstDifference(after.mid(3), before.mid(3)), QString());
    QVERIFY(!tracking.stopped);

    // The next run is not aborted.
    project.setPolygons(before);
    tracking.automaticTracking();
    QCOMPARE(firstDifference(project.polygons(), complete), QString());
}

void TestAOItracking::runsTellHowTheyEnded()
{
    using ModalJob::Outcome;
    TrackingProject project(Clips::curve(9), 9);
    project.annotateTruth({0, 4, 8});
    AOItracking tracking(project.state(), true, matchDistance);
    QCOMPARE(tracking.interactiveTracking(-1), -1);
    QCOMPARE(tracking.result().outcome, Outcome::Finished);
    {
        const AbortAtFirstChange abort(project.object);
        QCOMPARE(tracking.interactiveTracking(-1), -1);
        QVERIFY(abort.done());
    }
    QCOMPARE(tracking.result().outcome, Outcome::Aborted);
    QCOMPARE(tracking.result().failedFrame, -1);
    tracking.automaticTracking();
    QCOMPARE(tracking.result().outcome, Outcome::Finished);
}

void TestAOItracking::failureNamesItsFrame_data()
{
    QTest::addColumn<int>("frame");
    QTest::addColumn<QList<int>>("moved");
    QTest::newRow("forward pass") << 3 << QList<int>{1, 2, 3};
    QTest::newRow("backward pass") << 7 << QList<int>{1, 2, 3, 4, 5, 7};
}

// No image and no outline makes a step throw; a listener does.
void TestAOItracking::failureNamesItsFrame()
{
    QFETCH(int, frame);
    QFETCH(QList<int>, moved);
    TrackingProject project(Clips::curve(9), 9);
    project.annotateTruth({0, 8});
    const QList<QPolygonF> before = project.polygons();
    QObject context;
    connect(
        project.object->keyFrames.at(frame), &KeyFrame::hasChanged, &context,
        [] { throw std::runtime_error("listener is angry"); }, Qt::DirectConnection);
    LogCapture log;
    AOItracking tracking(project.state(), false, matchDistance);
    tracking.automaticTracking();
    QCOMPARE(tracking.result().outcome, ModalJob::Outcome::Failed);
    QCOMPARE(tracking.result().failedFrame, frame);
    QVERIFY(!tracking.result().reason.isEmpty());
    QCOMPARE(log.warnings().size(), 1);
    QVERIFY(
        log.warnings().constFirst().contains(QStringLiteral("to frame %1: listener is angry").arg(frame)));
    for (int i = 0; i < before.size(); ++i)
        QVERIFY2((project.polygons().at(i) != before.at(i)) == moved.contains(i),
                 qPrintable(QString::number(i)));
}

void TestAOItracking::translationIsFollowed()
{
    TrackingProject project(Clips::translation(25), 25);
    project.annotateTruth({0, 24});
    // Linear filling hits a straight path, so the polygons are put beside it.
    for (int frame = 1; frame < 24; ++frame) {
        KeyFrame *keyFrame = project.object->keyFrames.at(frame);
        keyFrame->setNewPolygon(keyFrame->polygon.translated(frame % 2 ? 9 : -8, frame % 3 ? 7 : -9));
    }
    const double before = project.meanOverlap(1, 23);
    AOItracking(project.state(), false, matchDistance).automaticTracking();
    const double after = project.meanOverlap(1, 23);
    qInfo("mean overlap: %.3f displaced, %.3f tracked", before, after);
    QVERIFY(before < 0.85);
    QVERIFY(after > 0.9);
}

void TestAOItracking::trackingImprovesOnMorphing_data()
{
    using namespace Clips;
    constexpr int last = 24;
    const auto bow = [](int frame) { return 60 * std::sin(3.14159265358979 * frame / last); };
    const auto at = [](double x, double y, double angle = 0, double scale = 1) {
        return Pose{QPointF(x, y), angle, scale};
    };
    QTest::addColumn<Clip>("clip");
    QTest::newRow("curve") << blockClip([=](int f) { return at(85 + 6 * f, 80 + bow(f)); });
    QTest::newRow("stop on the way") << blockClip(
        [=](int f) { return at(85 + 8.0 * (f < 9 ? f : (f < 16 ? 9 : f - 7)), 110); });
    QTest::newRow("slight rotation on a curve")
        << blockClip([=](int f) { return at(95 + 5 * f, 85 + bow(f) * 0.7, f * 0.5); });
    QTest::newRow("slight growth on a curve")
        << blockClip([=](int f) { return at(90 + 5 * f, 85 + bow(f) * 0.7, 0, 1 + 0.004 * f); });
    QTest::newRow("one pixel of jitter")
        << blockClip([=](int f) { return at(85 + 6 * f + f % 3 - 1, 80 + bow(f) + (f * 7) % 3 - 1); });
    Clip grainy = blockClip([=](int f) { return at(85 + 6 * f, 80 + bow(f)); });
    grainy.noise = 3;
    QTest::newRow("grain") << grainy;
    Clip crossed = blockClip([=](int f) { return at(85 + 6 * f, 80 + bow(f)); });
    Body crossing;
    crossing.outline = rectangle(-15, -15, 30, 30);
    crossing.path = [=](int f) { return at(300 - 12 * f, 100); };
    crossing.seed = 99;
    crossed.bodies.append(crossing);
    QTest::newRow("something crosses") << crossed;
}

void TestAOItracking::trackingImprovesOnMorphing()
{
    QFETCH(Clips::Clip, clip);
    TrackingProject project(clip, 25);
    project.annotateTruth({0, 24});
    const double morphed = project.meanOverlap(1, 23);
    AOItracking(project.state(), false, matchDistance).automaticTracking();
    const double tracked = project.meanOverlap(1, 23);
    qInfo("mean overlap: %.3f morphed, %.3f tracked", morphed, tracked);
    QVERIFY2(tracked > morphed, qPrintable(QStringLiteral("%1 from %2").arg(tracked).arg(morphed)));
}

QTEST_MAIN(TestAOItracking)
#include "tst_aoitracking.moc"
