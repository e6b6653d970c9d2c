// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/featurematching.h"

#include "processing/imageprocess.h"
#include "tests/support/clips.h"
#include "tests/support/logcapture.h"
#include "tests/support/testproject.h"

#include <QtTest>

namespace
{

cv::Ptr<cv::ORB> referenceORB()
{
    return cv::ORB::create(500, 1.2f, 8, 31, 0, 2, cv::ORB::HARRIS_SCORE, 31, 20);
}

/// A textured frame image; `shift` moves everything to the right.
ImageProcess texturedFrame(int shift = 0)
{
    Clips::Clip clip;
    clip.size = QSize(400, 320);
    clip.seed = 21;
    const cv::Mat wide = clip.render(0);
    return Clips::processOf(wide(cv::Rect(40 - shift, 0, 320, 240)).clone());
}

/// Odd-even point test by counting the edges that a ray to the right crosses.
bool inside(const QPolygonF &polygon, double x, double y)
{
    bool odd = false;
    for (int i = 0; i < polygon.size(); ++i) {
        const QPointF a = polygon.at(i);
        const QPointF b = polygon.at((i + 1) % polygon.size());
        if ((a.y() > y) != (b.y() > y) && x < a.x() + (y - a.y()) / (b.y() - a.y()) * (b.x() - a.x()))
            odd = !odd;
    }
    return odd;
}

/// The key points inside the polygon, with the crop's corner taken to be at (left, top).
std::vector<cv::KeyPoint> wantedKeyPoints(const cv::Mat &crop, const QPolygonF &polygon, double left,
                                          double top)
{
    std::vector<cv::KeyPoint> detected;
    referenceORB()->detect(crop, detected);
    std::vector<cv::KeyPoint> kept;
    for (const cv::KeyPoint &point : detected) {
        if (inside(polygon, static_cast<double>(point.pt.x) + left, static_cast<double>(point.pt.y) + top))
            kept.push_back(point);
    }
    return kept;
}

bool sameKeyPoints(const std::vector<cv::KeyPoint> &a, const std::vector<cv::KeyPoint> &b)
{
    const auto same = [](const cv::KeyPoint &p, const cv::KeyPoint &q) {
        return p.pt == q.pt && p.octave == q.octave && qFuzzyCompare(p.response, q.response);
    };
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), same);
}

bool sameMatch(const cv::DMatch &a, const cv::DMatch &b)
{
    return a.queryIdx == b.queryIdx && a.trainIdx == b.trainIdx && qFuzzyCompare(a.distance, b.distance);
}

/// Matching of one frame with the next, with the same polygon on both.
FeatureMatching matchingOf(const ImageProcess &first, const ImageProcess &second, const QPolygonF &polygon)
{
    return FeatureMatching(first.crop(polygon), second.crop(polygon), polygon, polygon);
}

FeatureMatching matchingWithoutImages()
{
    return FeatureMatching(cv::Mat(), cv::Mat(), QPolygonF(), QPolygonF());
}

QPolygonF lShape()
{
    return QPolygonF({QPointF(40, 20), QPointF(40, 220), QPointF(280, 220), QPointF(280, 160),
                      QPointF(110, 160), QPointF(110, 20)});
}

/// A rectangle with a rectangular hole, as one list of points.
QPolygonF frameShape()
{
    return QPolygonF({QPointF(20, 15), QPointF(20, 225), QPointF(300, 225), QPointF(300, 15), QPointF(20, 15),
                      QPointF(90, 80), QPointF(90, 160), QPointF(230, 160), QPointF(230, 80),
                      QPointF(90, 80)});
}

} // namespace

class TestFeatureMatching : public QObject
{
    Q_OBJECT

private slots:
    void startsWithTheFourValuesAndNothingElse();
    void keyPointsAreThoseInsideThePolygon_data();
    void keyPointsAreThoseInsideThePolygon();
    void keyPointsOfBothCropsHaveTheirOwnPolygon();
    void keyPointsAreTestedFromThePolygonsUnclampedCorner_data();
    void keyPointsAreTestedFromThePolygonsUnclampedCorner();
    void nothingIsDetectedWithAnEmptyCrop_data();
    void nothingIsDetectedWithAnEmptyCrop();
    void emptyPolygonKeepsNoKeyPoint();
    void descriptorsNeedKeyPointsOnBothCrops();
    void descriptorsAreThoseOfTheReferenceDetector();
    void undescribableKeyPointsAreDropped();
    void matchesAreTheNearestSecondDescriptors();
    void matchingIsThatOfTheReferenceMatcher();
    void shiftedTextureIsFound();
    void matchingNothingMatchesNothing_data();
    void matchingNothingMatchesNothing();
    void whatCannotBeMatchedThrowsTheLibrarysError_data();
    void whatCannotBeMatchedThrowsTheLibrarysError();
    void goodMatchesAreStrictlyBelowTheDistance();
    void goodMatchesKeepOrderAndRepetition();
    void goodMatchesAreAppendedOnEveryCall();
};

void TestFeatureMatching::startsWithTheFourValuesAndNothingElse()
{
    const ImageProcess frame = texturedFrame();
    const cv::Mat crop1 = frame.crop(rectangle(10, 20, 100, 90));
    const cv::Mat crop2 = frame.crop(rectangle(50, 60, 110, 95));
    const FeatureMatching matching(crop1, crop2, lShape(), frameShape());
    QCOMPARE(matching.image1.data, crop1.data);
    QCOMPARE(matching.image2.data, crop2.data);
    QCOMPARE(matching.polygon1, lShape());
    QCOMPARE(matching.polygon2, frameShape());
    QVERIFY(matching.keyPoints1.empty());
    QVERIFY(matching.keyPoints2.empty());
    QVERIFY(matching.descriptors1.empty());
    QVERIFY(matching.descriptors2.empty());
    QVERIFY(matching.matches.empty());
    QVERIFY(matching.goodMatches.empty());
}

void TestFeatureMatching::keyPointsAreThoseInsideThePolygon_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::newRow("convex") << QPolygonF(
        {QPointF(160, 10), QPointF(20, 120), QPointF(160, 230), QPointF(300, 120)});
    QTest::newRow("concave") << lShape();
    QTest::newRow("hole") << frameShape();
    QTest::newRow("fractions of pixels") << lShape().translated(0.4, -0.7);
}

void TestFeatureMatching::keyPointsAreThoseInsideThePolygon()
{
    QFETCH(QPolygonF, polygon);
    const ImageProcess frame = texturedFrame();
    const cv::Mat crop = frame.crop(polygon);
    const QPointF corner = polygon.boundingRect().topLeft();
    const std::vector<cv::KeyPoint> wanted = wantedKeyPoints(crop, polygon, corner.x(), corner.y());
    std::vector<cv::KeyPoint> all;
    referenceORB()->detect(crop, all);
    QVERIFY(wanted.size() > 20);
    QVERIFY2(all.size() > wanted.size() + 20, "the polygon leaves out too little to tell");

    FeatureMatching matching = matchingOf(frame, frame, polygon);
    matching.getORBKeyPoints();
    QVERIFY(sameKeyPoints(matching.keyPoints1, wanted));
    QVERIFY(sameKeyPoints(matching.keyPoints2, wanted));
    QVERIFY(matching.descriptors1.empty());
    QVERIFY(matching.matches.empty());
}

void TestFeatureMatching::keyPointsOfBothCropsHaveTheirOwnPolygon()
{
    const ImageProcess frame = texturedFrame();
    const cv::Mat crop1 = frame.crop(lShape());
    const cv::Mat crop2 = frame.crop(frameShape());
    FeatureMatching matching(crop1, crop2, lShape(), frameShape());
    matching.getORBKeyPoints();
    QVERIFY(sameKeyPoints(matching.keyPoints1, wantedKeyPoints(crop1, lShape(), 40, 20)));
    QVERIFY(sameKeyPoints(matching.keyPoints2, wantedKeyPoints(crop2, frameShape(), 20, 15)));
}

void TestFeatureMatching::keyPointsAreTestedFromThePolygonsUnclampedCorner_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<QPointF>("clampedCorner");
    QTest::newRow("past the left edge")
        << QPolygonF({QPointF(-40, 120), QPointF(230, 15), QPointF(230, 225)}) << QPointF(0, 15);
    QTest::newRow("past the top edge")
        << QPolygonF({QPointF(160, -40), QPointF(20, 200), QPointF(300, 200)}) << QPointF(20, 0);
    QTest::newRow("past both") << QPolygonF({QPointF(-50, -40), QPointF(60, 220), QPointF(290, 60)})
                               << QPointF(0, 0);
}

void TestFeatureMatching::keyPointsAreTestedFromThePolygonsUnclampedCorner()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(QPointF, clampedCorner);
    const ImageProcess frame = texturedFrame();
    const cv::Mat crop = frame.crop(polygon);
    const QPointF corner = polygon.boundingRect().topLeft();
    const std::vector<cv::KeyPoint> displaced = wantedKeyPoints(crop, polygon, corner.x(), corner.y());
    const std::vector<cv::KeyPoint> inPlace =
        wantedKeyPoints(crop, polygon, clampedCorner.x(), clampedCorner.y());
    QVERIFY(!displaced.empty());
    QVERIFY2(!sameKeyPoints(displaced, inPlace), "the polygon does not tell the two rules apart");

    FeatureMatching matching = matchingOf(frame, frame, polygon);
    matching.getORBKeyPoints();
    QVERIFY(sameKeyPoints(matching.keyPoints1, displaced));
    QVERIFY(sameKeyPoints(matching.keyPoints2, displaced));
}

void TestFeatureMatching::nothingIsDetectedWithAnEmptyCrop_data()
{
    QTest::addColumn<bool>("firstEmpty");
    QTest::addColumn<bool>("secondEmpty");
    QTest::newRow("first") << true << false;
    QTest::newRow("second") << false << true;
    QTest::newRow("both") << true << true;
}

void TestFeatureMatching::nothingIsDetectedWithAnEmptyCrop()
{
    QFETCH(bool, firstEmpty);
    QFETCH(bool, secondEmpty);
    const cv::Mat crop = texturedFrame().crop(lShape());
    const cv::KeyPoint before(1, 2, 3);
    LogCapture log;
    FeatureMatching matching(firstEmpty ? cv::Mat() : crop, secondEmpty ? cv::Mat() : crop, lShape(),
                             lShape());
    matching.keyPoints1.push_back(before);
    matching.getORBKeyPoints();
    QCOMPARE(matching.keyPoints1.size(), std::size_t(1)); // left as it was
    QVERIFY(matching.keyPoints2.empty());
    QVERIFY(log.messages().isEmpty());
}

void TestFeatureMatching::emptyPolygonKeepsNoKeyPoint()
{
    const cv::Mat crop = texturedFrame().crop(lShape());
    FeatureMatching matching(crop, crop, QPolygonF(), lShape());
    matching.getORBKeyPoints();
    QVERIFY(matching.keyPoints1.empty());
    QVERIFY(!matching.keyPoints2.empty());
}

void TestFeatureMatching::descriptorsNeedKeyPointsOnBothCrops()
{
    const ImageProcess frame = texturedFrame();
    for (int empty : {1, 2}) {
        FeatureMatching matching = matchingOf(frame, frame, lShape());
        matching.getORBKeyPoints();
        (empty == 1 ? matching.keyPoints1 : matching.keyPoints2).clear();
        matching.getORBDescriptors();
        QVERIFY(matching.descriptors1.empty());
        QVERIFY(matching.descriptors2.empty());
    }
}

void TestFeatureMatching::descriptorsAreThoseOfTheReferenceDetector()
{
    const ImageProcess first = texturedFrame();
    const ImageProcess second = texturedFrame(5);
    FeatureMatching matching(first.crop(lShape()), second.crop(frameShape()), lShape(), frameShape());
    matching.getORBKeyPoints();
    std::vector<cv::KeyPoint> keyPoints1 = matching.keyPoints1;
    std::vector<cv::KeyPoint> keyPoints2 = matching.keyPoints2;
    cv::Mat wanted1;
    cv::Mat wanted2;
    const cv::Ptr<cv::ORB> orb = referenceORB();
    orb->compute(matching.image1, keyPoints1, wanted1);
    orb->compute(matching.image2, keyPoints2, wanted2);

    matching.getORBDescriptors();
    QCOMPARE(matching.descriptors1.type(), CV_8UC1);
    QCOMPARE(matching.descriptors1.cols, 32);
    QCOMPARE(matching.descriptors1.rows, static_cast<int>(matching.keyPoints1.size()));
    QCOMPARE(matching.descriptors2.rows, static_cast<int>(matching.keyPoints2.size()));
    QVERIFY(sameKeyPoints(matching.keyPoints1, keyPoints1));
    QVERIFY(sameKeyPoints(matching.keyPoints2, keyPoints2));
    QCOMPARE(cv::norm(matching.descriptors1, wanted1, cv::NORM_HAMMING), 0.0);
    QCOMPARE(cv::norm(matching.descriptors2, wanted2, cv::NORM_HAMMING), 0.0);
}

void TestFeatureMatching::undescribableKeyPointsAreDropped()
{
    const ImageProcess frame = texturedFrame();
    FeatureMatching matching = matchingOf(frame, frame, rectangle(20, 20, 200, 180));
    matching.keyPoints1 = {cv::KeyPoint(2, 2, 31), cv::KeyPoint(100, 90, 31)};
    matching.keyPoints2 = {cv::KeyPoint(100, 90, 31)};
    matching.getORBDescriptors();
    QCOMPARE(matching.keyPoints1.size(), std::size_t(1));
    QVERIFY(matching.keyPoints1.front().pt == cv::Point2f(100, 90));
    QCOMPARE(matching.descriptors1.rows, 1);
}

void TestFeatureMatching::matchesAreTheNearestSecondDescriptors()
{
    FeatureMatching matching = matchingOf(texturedFrame(), texturedFrame(4), rectangle(20, 20, 280, 200));
    cv::setRNGSeed(3);
    matching.matchORB();
    QVERIFY(matching.descriptors1.rows > 100);
    QCOMPARE(static_cast<int>(matching.matches.size()), matching.descriptors1.rows);
    int nearest = 0;
    for (int row = 0; row < matching.descriptors1.rows; ++row) {
        const cv::DMatch &match = matching.matches.at(static_cast<std::size_t>(row));
        QCOMPARE(match.queryIdx, row);
        const cv::Mat query = matching.descriptors1.row(row);
        const double distance = cv::norm(query, matching.descriptors2.row(match.trainIdx), cv::NORM_HAMMING);
        QCOMPARE(static_cast<double>(match.distance), distance);
        double least = 256;
        for (int other = 0; other < matching.descriptors2.rows; ++other)
            least = qMin(least, cv::norm(query, matching.descriptors2.row(other), cv::NORM_HAMMING));
        nearest += distance <= least;
    }
    // The search is approximate: it finds the nearest one nearly always.
    QVERIFY2(nearest >= matching.descriptors1.rows * 0.9, qPrintable(QString::number(nearest)));
    QVERIFY(matching.goodMatches.empty());
}

void TestFeatureMatching::matchingIsThatOfTheReferenceMatcher()
{
    FeatureMatching matching = matchingOf(texturedFrame(), texturedFrame(4), lShape());
    cv::setRNGSeed(17);
    matching.matchORB();
    const cv::FlannBasedMatcher matcher(cv::makePtr<cv::flann::LshIndexParams>(20, 10, 2),
                                        cv::makePtr<cv::flann::SearchParams>(32, 0.0f, true));
    std::vector<cv::DMatch> wanted;
    cv::setRNGSeed(17);
    matcher.match(matching.descriptors1, matching.descriptors2, wanted);
    QVERIFY(wanted.size() > 20);
    QVERIFY(matching.matches.size() == wanted.size());
    QVERIFY(std::equal(wanted.begin(), wanted.end(), matching.matches.begin(), sameMatch));
}

void TestFeatureMatching::shiftedTextureIsFound()
{
    FeatureMatching matching = matchingOf(texturedFrame(), texturedFrame(4), rectangle(20, 20, 280, 200));
    cv::setRNGSeed(1);
    matching.matchORB();
    matching.getGoodMatches(18);
    QVERIFY(matching.goodMatches.size() > 50);
    std::size_t right = 0;
    for (const cv::DMatch &match : matching.goodMatches) {
        const cv::Point2f from = matching.keyPoints1.at(static_cast<std::size_t>(match.queryIdx)).pt;
        const cv::Point2f to = matching.keyPoints2.at(static_cast<std::size_t>(match.trainIdx)).pt;
        right += cv::norm(to - from - cv::Point2f(4, 0)) < 1.5;
    }
    QVERIFY2(right >= matching.goodMatches.size() * 0.95,
             qPrintable(QStringLiteral("%1 of %2").arg(right).arg(matching.goodMatches.size())));
}

void TestFeatureMatching::matchingNothingMatchesNothing_data()
{
    QTest::addColumn<QPolygonF>("polygon1");
    QTest::addColumn<QPolygonF>("polygon2");
    QTest::addColumn<bool>("flat");
    QTest::newRow("no polygon on the first frame") << QPolygonF() << lShape() << false;
    QTest::newRow("no polygon on the second frame") << lShape() << QPolygonF() << false;
    QTest::newRow("no polygon at all") << QPolygonF() << QPolygonF() << false;
    QTest::newRow("polygon too small for key points") << rectangle(50, 50, 40, 40) << lShape() << false;
    for (int width : {1, 2, 3, 5, 15, 31}) {
        QTest::addRow("crop of %d columns", width) << rectangle(50, 50, width, 100) << lShape() << false;
        QTest::addRow("crop of %d lines", width) << lShape() << rectangle(50, 50, 100, width) << false;
    }
    QTest::newRow("crop of one pixel") << rectangle(50, 50, 1, 1) << rectangle(50, 50, 1, 1) << false;
    QTest::newRow("polygon right of the image") << lShape() << rectangle(400, 50, 100, 100) << false;
    QTest::newRow("polygon below the image") << rectangle(50, 300, 100, 100) << lShape() << false;
    QTest::newRow("polygon beside the image") << lShape() << rectangle(-200, 50, 100, 100) << false;
    QTest::newRow("polygon on the right border") << lShape() << rectangle(320, 50, 100, 100) << false;
    QTest::newRow("nothing to see") << lShape() << lShape() << true;
}

void TestFeatureMatching::matchingNothingMatchesNothing()
{
    QFETCH(QPolygonF, polygon1);
    QFETCH(QPolygonF, polygon2);
    QFETCH(bool, flat);
    const ImageProcess first = texturedFrame();
    ImageProcess second = texturedFrame();
    if (flat)
        second.image.setTo(cv::Scalar::all(128));
    LogCapture log;
    FeatureMatching matching(first.crop(polygon1), second.crop(polygon2), polygon1, polygon2);
    try {
        matching.matchORB();
    } catch (const std::exception &error) {
        QFAIL(error.what());
    }
    matching.getGoodMatches(1000);
    QVERIFY(matching.matches.empty());
    QVERIFY(matching.goodMatches.empty());
    QVERIFY(log.messages().isEmpty());
}

void TestFeatureMatching::whatCannotBeMatchedThrowsTheLibrarysError_data()
{
    QTest::addColumn<bool>("firstCrop");
    QTest::newRow("first crop") << true;
    QTest::newRow("second crop") << false;
}

// Whichever thread works on the crop.
void TestFeatureMatching::whatCannotBeMatchedThrowsTheLibrarysError()
{
    QFETCH(bool, firstCrop);
    const cv::Mat good = texturedFrame().crop(lShape());
    const cv::Mat bad(good.size(), CV_64FC2);
    FeatureMatching matching(firstCrop ? bad : good, firstCrop ? good : bad, lShape(), lShape());
    QVERIFY_EXCEPTION_THROWN(matching.matchORB(), cv::Exception);
}

void TestFeatureMatching::goodMatchesAreStrictlyBelowTheDistance()
{
    FeatureMatching matching = matchingWithoutImages();
    matching.matches = {cv::DMatch(0, 0, 17), cv::DMatch(1, 1, 18), cv::DMatch(2, 2, 19),
                        cv::DMatch(3, 3, 17.999f), cv::DMatch(4, 4, 0)};
    matching.getGoodMatches(18);
    QCOMPARE(matching.goodMatches.size(), std::size_t(3));
    QCOMPARE(matching.goodMatches.at(0).queryIdx, 0);
    QCOMPARE(matching.goodMatches.at(1).queryIdx, 3);
    QCOMPARE(matching.goodMatches.at(2).queryIdx, 4);

    FeatureMatching nothing = matchingWithoutImages();
    nothing.matches = {cv::DMatch(0, 0, 0)};
    nothing.getGoodMatches(0);
    QVERIFY(nothing.goodMatches.empty());
}

void TestFeatureMatching::goodMatchesKeepOrderAndRepetition()
{
    FeatureMatching matching = matchingWithoutImages();
    const std::vector<cv::DMatch> given{cv::DMatch(0, 7, 12), cv::DMatch(1, 7, 3), cv::DMatch(2, 7, 12),
                                        cv::DMatch(3, 0, 1)};
    matching.matches = given;
    matching.getGoodMatches(18);
    QVERIFY(matching.goodMatches.size() == given.size());
    QVERIFY(std::equal(given.begin(), given.end(), matching.goodMatches.begin(), sameMatch));
    QVERIFY(matching.matches.size() == given.size());
}

void TestFeatureMatching::goodMatchesAreAppendedOnEveryCall()
{
    FeatureMatching matching = matchingWithoutImages();
    matching.matches = {cv::DMatch(0, 0, 5), cv::DMatch(1, 1, 30)};
    matching.getGoodMatches(18);
    matching.getGoodMatches(18);
    matching.getGoodMatches(31);
    QCOMPARE(matching.goodMatches.size(), std::size_t(4));
    QCOMPARE(matching.goodMatches.at(0).queryIdx, 0);
    QCOMPARE(matching.goodMatches.at(1).queryIdx, 0);
    QCOMPARE(matching.goodMatches.at(2).queryIdx, 0);
    QCOMPARE(matching.goodMatches.at(3).queryIdx, 1);
}

QTEST_GUILESS_MAIN(TestFeatureMatching)
#include "tst_featurematching.moc"
