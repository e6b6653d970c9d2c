// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/trackingstep.h"

#include "core/datastate.h"
#include "processing/featurematching.h"
#include "processing/imageprocess.h"
#include "tests/support/clips.h"
#include "tests/support/logcapture.h"
#include "tests/support/poolthreads.h"
#include "tests/support/trackingprobe.h"
#include "tests/support/trackingproject.h"

#include <QtTest>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

namespace
{

/// A matching of two frames of 320 x 240 pixels whose second key points lie 4 pixels right of and 3 below the
/// first ones in crop coordinates. Key points are listed in different orders, and with some that have no
/// match.
FeatureMatching handMadeMatching(const QPolygonF &polygonA, const QPolygonF &polygonB, int goodMatches)
{
    FeatureMatching matching(cv::Mat(), cv::Mat(), polygonA, polygonB);
    const auto count = static_cast<std::size_t>(goodMatches);
    matching.keyPoints1.resize(count + 2, cv::KeyPoint(500, 500, 31));
    matching.keyPoints2.resize(count + 5, cv::KeyPoint(-900, 700, 31));
    for (std::size_t k = 0; k < count; ++k) {
        const auto x = static_cast<float>(10 + 3 * k);
        const auto y = static_cast<float>(20 + (k * k) % 11);
        const std::size_t query = (k + 3) % count;
        const std::size_t train = count - 1 - k;
        matching.keyPoints1[query].pt = cv::Point2f(x, y);
        matching.keyPoints2[train].pt = cv::Point2f(x + 4, y + 3);
        matching.goodMatches.emplace_back(static_cast<int>(query), static_cast<int>(train),
                                          static_cast<float>(k % 17));
    }
    matching.matches = matching.goodMatches;
    matching.matches.emplace_back(static_cast<int>(count), 0, 40.f);
    return matching;
}

std::optional<QPointF> translationOf(const FeatureMatching &matching)
{
    const ImageProcess image = Clips::processOf(cv::Mat::zeros(240, 320, CV_8UC3));
    return trackingTranslation(matching, image, image);
}

/// The sorted distances of the raw matches of one step.
std::vector<float> matchDistances(TrackingProject &project, int a, int b)
{
    const QPolygonF polygonA = project.object->keyFrames.at(a)->polygon;
    const QPolygonF polygonB = project.object->keyFrames.at(b)->polygon;
    FeatureMatching matching(ImageProcess(project.video().getFramePath(a)).crop(polygonA),
                             ImageProcess(project.video().getFramePath(b)).crop(polygonB), polygonA,
                             polygonB);
    cv::setRNGSeed(b);
    matching.matchORB();
    std::vector<float> distances;
    for (const cv::DMatch &match : matching.matches)
        distances.push_back(match.distance);
    std::sort(distances.begin(), distances.end());
    return distances;
}

/// A clip of which some frames are annotated, and what a run over it has in common.
class StepProject : public TrackingProject
{
public:
    explicit StepProject(int frames)
        : TrackingProject(Clips::curve(frames), frames)
        , images(*state())
    {
        annotateTruth({0, frames - 1});
    }

    TrackingSetup setup(bool interactive = false, int maxDistance = matchDistance)
    {
        return {images, *object, maxDistance, interactive};
    }

    FrameImages images;
};

bool always()
{
    return true;
}

} // namespace

class TestTrackingStep : public QObject
{
    Q_OBJECT

private slots:
    void translationNeedsEightGoodMatches();
    void translationPutsTheCentreWhereTheFeaturesGo_data();
    void translationPutsTheCentreWhereTheFeaturesGo();
    void stepMovesTheTargetOnly();
    void stepFailsWithSevenGoodMatches();
    void stepWithoutPolygonFails();
    void anUnreadableImageIsToldOncePerRun();
    void anImageThatIsHeldIsNotReadAgain();
    void aWalkMovesEveryFrameButItsFirst_data();
    void aWalkMovesEveryFrameButItsFirst();
    void aWalkEndsWhenItMayNotGoOn();
    void aWalkAsksOnAutomaticFramesOnly_data();
    void aWalkAsksOnAutomaticFramesOnly();
    void stepsPutAsideWaitForTheTakeOver();
    void aBackwardPassEqualsAWalk_data();
    void aBackwardPassEqualsAWalk();
    void aBackwardPassThatIsDroppedChangesNothing();
};

void TestTrackingStep::translationNeedsEightGoodMatches()
{
    const QPolygonF polygon = rectangle(30, 40, 100, 80);
    for (int count = 1; count < 8; ++count)
        QVERIFY(!translationOf(handMadeMatching(polygon, polygon, count)));
    QVERIFY(translationOf(handMadeMatching(polygon, polygon, 8)));
    QCOMPARE(*translationOf(handMadeMatching(polygon, polygon, 8)), QPointF(4, 3));
    QVERIFY(!translationOf(FeatureMatching(cv::Mat(), cv::Mat(), polygon, polygon)));
}

void TestTrackingStep::translationPutsTheCentreWhereTheFeaturesGo_data()
{
    QTest::addColumn<QPolygonF>("polygonA");
    QTest::addColumn<QPolygonF>("polygonB");
    QTest::addColumn<QPointF>("wanted");
    QTest::newRow("same box") << rectangle(30, 40, 100, 80) << rectangle(30, 40, 100, 80) << QPointF(4, 3);
    // Means: (4, 3) + (5, 4). Centres: (80, 80) - (85, 84).
    QTest::newRow("moved box") << rectangle(30, 40, 100, 80) << rectangle(35, 44, 100, 80) << QPointF(4, 3);
    // Means: (4, 3) + (5, 4). Centres: (80, 80) - (83, 85).
    QTest::newRow("box of another size")
        << rectangle(30, 40, 100, 80) << rectangle(35, 44, 96, 82) << QPointF(6, 2);
    // Corners 0 and 0, centres 40 and 45 in x.
    QTest::newRow("past the left edge")
        << rectangle(-20, 40, 100, 80) << rectangle(-10, 40, 100, 80) << QPointF(-1, 3);
    // Corners 0 and 0, centres 35 and 25 in y.
    QTest::newRow("past the top edge")
        << rectangle(30, -10, 100, 80) << rectangle(30, -30, 100, 80) << QPointF(4, 13);
    // Corners 250 and 260, centres 285 and 290 in x.
    QTest::newRow("past the right edge")
        << rectangle(250, 40, 100, 80) << rectangle(260, 40, 100, 80) << QPointF(9, 3);
    // Corners 180 and 200, centres 210 and 220 in y.
    QTest::newRow("past the bottom edge")
        << rectangle(30, 180, 100, 80) << rectangle(30, 200, 100, 80) << QPointF(4, 13);
    // The box of the polygons counts, not their centre of mass. Corners (30, 40) twice.
    QTest::newRow("triangle") << rectangle(30, 40, 100, 80)
                              << QPolygonF({QPointF(30, 40), QPointF(130, 40), QPointF(30, 120)})
                              << QPointF(4, 3);
}

void TestTrackingStep::translationPutsTheCentreWhereTheFeaturesGo()
{
    QFETCH(QPolygonF, polygonA);
    QFETCH(QPolygonF, polygonB);
    QFETCH(QPointF, wanted);
    for (int count : {8, 9, 16}) {
        const std::optional<QPointF> moved = translationOf(handMadeMatching(polygonA, polygonB, count));
        QVERIFY(moved);
        QVERIFY2(qAbs(moved->x() - wanted.x()) < 1e-9 && qAbs(moved->y() - wanted.y()) < 1e-9,
                 qPrintable(QStringLiteral("(%1, %2)").arg(moved->x()).arg(moved->y())));
    }
}

void TestTrackingStep::stepMovesTheTargetOnly()
{
    StepProject project(9);
    const QList<QPolygonF> before = project.polygons();
    ChangeCounter counter(project.object);
    QVERIFY(TrackingPass(project.setup()).step(0, 1));
    QCOMPARE(counter.counts(), (QList<int>{0, 1, 0, 0, 0, 0, 0, 0, 0}));
    QCOMPARE(project.object->keyFrames.at(1)->type, KeyFrame::Automatic);
    const QPolygonF moved = project.object->keyFrames.at(1)->polygon;
    QVERIFY(Clips::overlap(moved, project.clip.truth(1), project.clip.size) > 0.95);
    // A translation: the box keeps its size.
    const QRectF boxBefore = before.at(1).boundingRect();
    const QRectF boxAfter = moved.boundingRect();
    QVERIFY((boxAfter.topLeft() - boxBefore.topLeft()).manhattanLength() > 1);
    QVERIFY(qAbs(boxAfter.width() - boxBefore.width()) < 1e-9);
    QVERIFY(qAbs(boxAfter.height() - boxBefore.height()) < 1e-9);
}

void TestTrackingStep::stepFailsWithSevenGoodMatches()
{
    StepProject project(9);
    const std::vector<float> distances = matchDistances(project, 3, 4);
    QVERIFY(distances.size() >= 8);
    const int eighth = qRound(distances.at(7));
    ChangeCounter counter(project.object);
    // Fewer than eight matches are strictly below the distance of the eighth.
    QVERIFY(!TrackingPass(project.setup(false, eighth)).step(3, 4));
    QCOMPARE(counter.total(), 0);
    QVERIFY(TrackingPass(project.setup(false, eighth + 1)).step(3, 4));
    QCOMPARE(counter.total(), 1);
}

void TestTrackingStep::stepWithoutPolygonFails()
{
    StepProject project(5);
    project.object->keyFrames.at(2)->setNewPolygon(QPolygonF());
    ChangeCounter counter(project.object);
    QVERIFY(!TrackingPass(project.setup(true)).step(1, 2));
    QVERIFY(!TrackingPass(project.setup(true)).step(2, 3));
    QCOMPARE(counter.total(), 0);
}

void TestTrackingStep::anUnreadableImageIsToldOncePerRun()
{
    StepProject project(5);
    QVERIFY(project.images.load(2));
    spoilImage(project.video(), 2, QByteArray("no image at all"));
    for (int run : {1, 2}) {
        const LogCapture log;
        project.images.startRun();
        for (int again : {1, 2, 3})
            QVERIFY2(!project.images.load(2), qPrintable(QString::number(again)));
        QVERIFY2(log.warnings().size() == 1, qPrintable(QStringLiteral("run %1").arg(run)));
        QVERIFY(namesImage(log.warnings().constFirst(), 2, project.video()));
    }
    const LogCapture log;
    QVERIFY(project.images.load(3));
    QCOMPARE(log.warnings(), QStringList());
}

void TestTrackingStep::anImageThatIsHeldIsNotReadAgain()
{
    StepProject project(5);
    std::shared_ptr<const ImageProcess> image = project.images.load(2);
    spoilImage(project.video(), 2, QByteArray("no image at all"));
    QVERIFY(image && project.images.load(2) == image);
    image.reset();
    const LogCapture log;
    QVERIFY(!project.images.load(2));
    QCOMPARE(log.warnings().size(), 1);
}

void TestTrackingStep::aWalkMovesEveryFrameButItsFirst_data()
{
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<QList<int>>("moves");
    QTest::newRow("forward") << 1 << 4 << QList<int>{0, 0, 1, 1, 1, 0, 0};
    QTest::newRow("backward") << 6 << 3 << QList<int>{0, 0, 0, 1, 1, 1, 0};
    QTest::newRow("one step") << 2 << 3 << QList<int>{0, 0, 0, 1, 0, 0, 0};
    QTest::newRow("no step") << 2 << 2 << QList<int>{0, 0, 0, 0, 0, 0, 0};
}

void TestTrackingStep::aWalkMovesEveryFrameButItsFirst()
{
    QFETCH(int, from);
    QFETCH(int, to);
    QFETCH(QList<int>, moves);
    StepProject project(7);
    ChangeCounter counter(project.object);
    QCOMPARE(TrackingPass(project.setup(true)).walk(from, to, always), -1);
    QCOMPARE(counter.counts(), moves);
}

void TestTrackingStep::aWalkEndsWhenItMayNotGoOn()
{
    StepProject project(7);
    ChangeCounter counter(project.object);
    const auto twoSteps = [&counter] { return counter.total() < 2; };
    QCOMPARE(TrackingPass(project.setup(true)).walk(0, 6, twoSteps), -1);
    QCOMPARE(counter.counts(), (QList<int>{0, 1, 1, 0, 0, 0, 0}));
}

void TestTrackingStep::aWalkAsksOnAutomaticFramesOnly_data()
{
    QTest::addColumn<bool>("interactive");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("asked");
    QTest::addColumn<QList<int>>("moves");
    // The steps onto the flat frame 3 and from it fail.
    const QList<int> whole{0, 1, 1, 0, 0, 1, 1};
    QTest::newRow("automatic tracking") << false << int(KeyFrame::Automatic) << -1 << whole;
    QTest::newRow("interactive, automatic frame")
        << true << int(KeyFrame::Automatic) << 3 << QList<int>{0, 1, 1, 0, 0, 0, 0};
    QTest::newRow("interactive, the user's frame")
        << true << int(KeyFrame::Visible) << 4 << QList<int>{0, 1, 1, 0, 0, 0, 0};
}

void TestTrackingStep::aWalkAsksOnAutomaticFramesOnly()
{
    QFETCH(bool, interactive);
    QFETCH(int, type);
    QFETCH(QList<int>, moves);
    StepProject project(7);
    Clips::makeFlat(project.video(), 3);
    project.object->keyFrames.at(3)->type = static_cast<KeyFrame::Type>(type); // behind the spans' back
    ChangeCounter counter(project.object);
    QTEST(TrackingPass(project.setup(interactive)).walk(0, 6, always), "asked");
    QCOMPARE(counter.counts(), moves);
}

void TestTrackingStep::stepsPutAsideWaitForTheTakeOver()
{
    StepProject project(7);
    const QList<QPolygonF> before = project.polygons();
    TrackingPass(project.setup()).walk(0, 4, always);
    const QList<QPolygonF> wanted = project.polygons();
    QVERIFY(!firstDifference(wanted, before).isEmpty());
    project.setPolygons(before);

    ChangeCounter counter(project.object);
    TrackingPass pass(project.setup(), TrackingPass::Writing::OnTakeOver);
    QCOMPARE(pass.walk(0, 3, always), -1);
    QCOMPARE(counter.total(), 0);
    pass.takeOver();
    QCOMPARE(counter.counts(), (QList<int>{0, 1, 1, 1, 0, 0, 0}));
    QVERIFY(pass.step(3, 4)); // from now on at once
    QCOMPARE(counter.counts(), (QList<int>{0, 1, 1, 1, 1, 0, 0}));
    QCOMPARE(firstDifference(project.polygons(), wanted), QString());
}

void TestTrackingStep::aBackwardPassEqualsAWalk_data()
{
    QTest::addColumn<int>("middle");
    QTest::addColumn<int>("flat");
    QTest::addColumn<int>("asked");
    QTest::newRow("long") << 4 << -1 << -1;
    QTest::newRow("too short to work ahead") << 9 << -1 << -1;
    QTest::newRow("asks in the steps ahead") << 4 << 8 << 8;
    QTest::newRow("asks behind them") << 4 << 5 << 5;
    QTest::newRow("asks in a short one") << 9 << 10 << 10;
}

void TestTrackingStep::aBackwardPassEqualsAWalk()
{
    QFETCH(int, middle);
    QFETCH(int, flat);
    QFETCH(int, asked);
    constexpr int last = 12;
    StepProject project(last + 1);
    if (flat != -1)
        Clips::makeFlat(project.video(), flat);
    const QList<QPolygonF> before = project.polygons();
    QCOMPARE(TrackingPass(project.setup(true)).walk(last, middle, always), asked);
    const QList<QPolygonF> wanted = project.polygons();
    QVERIFY(!firstDifference(wanted, before).isEmpty());
    project.setPolygons(before);

    const PoolThreads pool(2);
    ChangeCounter counter(project.object);
    BackwardPass pass(project.setup(true), last, middle);
    QCOMPARE(counter.total(), 0);
    QCOMPARE(pass.finish(always), asked);
    QCOMPARE(firstDifference(project.polygons(), wanted), QString());
}

void TestTrackingStep::aBackwardPassThatIsDroppedChangesNothing()
{
    StepProject project(13);
    ChangeCounter counter(project.object);
    {
        const BackwardPass pass(project.setup(), 12, 4);
    }
    QCOMPARE(counter.total(), 0);
}

QTEST_GUILESS_MAIN(TestTrackingStep)
#include "tst_trackingstep.moc"
