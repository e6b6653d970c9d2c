// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/trackingstep.h"

#include "processing/aoitracking.h"
#include "processing/featurematching.h"
#include "processing/imageprocess.h"
#include "tests/support/clips.h"
#include "tests/support/trackingprobe.h"
#include "tests/support/trackingproject.h"

#include <QtTest>

#include <algorithm>
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
    TrackingProject project(Clips::curve(9), 9);
    project.annotateTruth({0, 8});
    const QList<QPolygonF> before = project.polygons();
    ChangeCounter counter(project.object);
    AOItracking tracking(project.state(), false, matchDistance);
    QVERIFY(tracking.transformAOI(0, 1));
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
    TrackingProject project(Clips::curve(9), 9);
    project.annotateTruth({0, 8});
    const std::vector<float> distances = matchDistances(project, 3, 4);
    QVERIFY(distances.size() >= 8);
    const int eighth = qRound(distances.at(7));
    ChangeCounter counter(project.object);
    // Fewer than eight matches are strictly below the distance of the eighth.
    QVERIFY(!AOItracking(project.state(), false, eighth).transformAOI(3, 4));
    QCOMPARE(counter.total(), 0);
    QVERIFY(AOItracking(project.state(), false, eighth + 1).transformAOI(3, 4));
    QCOMPARE(counter.total(), 1);
}

void TestTrackingStep::stepWithoutPolygonFails()
{
    TrackingProject project(Clips::curve(5), 5);
    project.annotateTruth({0, 4});
    AOItracking tracking(project.state(), true, matchDistance);
    project.object->keyFrames.at(2)->setNewPolygon(QPolygonF());
    ChangeCounter counter(project.object);
    QVERIFY(!tracking.transformAOI(1, 2));
    QVERIFY(!tracking.transformAOI(2, 3));
    QCOMPARE(counter.total(), 0);
}

QTEST_GUILESS_MAIN(TestTrackingStep)
#include "tst_trackingstep.moc"
