// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/grabcut.h"

#include "tests/support/clips.h"
#include "tests/support/logcapture.h"
#include "tests/support/plainsegmentation.h"
#include "tests/support/testproject.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <limits>

namespace
{

const cv::Scalar backgroundColor(90, 160, 70);
const cv::Scalar bodyColor(40, 60, 220);

/// A picture and an outline to start from.
struct Sample {
    QString name;
    cv::Mat image;
    QPolygonF polygon;
};

cv::Mat grainy(cv::Mat image)
{
    cv::RNG random(5);
    cv::Mat grain(image.size(), CV_16SC3);
    random.fill(grain, cv::RNG::NORMAL, 0, 9);
    cv::add(image, grain, image, cv::noArray(), CV_8UC3);
    return image;
}

/// Two squares with a thin bridge, as outline. They start at x = 20 and `second`.
QPolygonF dumbbell(int second, int top, int side)
{
    return QPolygonF({QPointF(20, 45), QPointF(20, 115), QPointF(90, 115), QPointF(90, 82),
                      QPointF(second, 82), QPointF(second, top + side), QPointF(second + side, top + side),
                      QPointF(second + side, top), QPointF(second, top), QPointF(second, 78),
                      QPointF(90, 78)});
}

/// A large square on the left and a smaller square with teeth on the right, with nothing between them.
Sample squareAndComb()
{
    cv::Mat image(160, 240, CV_8UC3, backgroundColor);
    cv::rectangle(image, cv::Rect(20, 45, 71, 71), bodyColor, -1);
    cv::rectangle(image, cv::Rect(150, 60, 41, 41), bodyColor, -1);
    for (int i = 150; i < 190; i += 8) {
        cv::rectangle(image, cv::Rect(i, 50, 4, 62), bodyColor, -1);
        cv::rectangle(image, cv::Rect(140, i - 90, 62, 4), bodyColor, -1);
    }
    return {QStringLiteral("square and comb"), grainy(image), dumbbell(140, 50, 60)};
}

/// Two equal squares that hang from a thin bar.
Sample equalSquares()
{
    cv::Mat image(160, 240, CV_8UC3, backgroundColor);
    cv::rectangle(image, cv::Rect(30, 60, 61, 61), bodyColor, -1);
    cv::rectangle(image, cv::Rect(140, 60, 61, 61), bodyColor, -1);
    return {QStringLiteral("equal squares"), image,
            QPolygonF({QPointF(58, 20), QPointF(58, 60), QPointF(30, 60), QPointF(30, 120), QPointF(90, 120),
                       QPointF(90, 60), QPointF(62, 60), QPointF(62, 24), QPointF(168, 24), QPointF(168, 60),
                       QPointF(140, 60), QPointF(140, 120), QPointF(200, 120), QPointF(200, 60),
                       QPointF(172, 60), QPointF(172, 20)})};
}

Sample textured(const QString &name, const QPolygonF &polygon, double spread)
{
    Clips::Clip clip = Clips::plainBlock();
    clip.bodies.first().look = spread > 0 ? Clips::Look::Blotches : Clips::Look::Plain;
    clip.noise = 20;
    cv::Mat image = clip.render(3);
    if (spread > 0)
        cv::GaussianBlur(image, image, cv::Size(), spread);
    return {name, image, polygon};
}

/// The outline with its first vertex moved by `images` sizes of the picture.
QPolygonF farOut(QPolygonF outline, QPointF images)
{
    const QSize size = Clips::plainBlock().size;
    outline.first() += QPointF(images.x() * size.width(), images.y() * size.height());
    return outline;
}

QList<Sample> samples()
{
    const QPolygonF truth = Clips::plainBlock().truth(3);
    return {
        textured(QStringLiteral("true outline"), truth, 0),
        textured(QStringLiteral("displaced outline"), truth.translated(5.5, -4.25), 0),
        textured(QStringLiteral("texture"), truth.translated(-3, 4), 1),
        textured(QStringLiteral("blurred texture"), truth.translated(6, 6), 2.5),
        textured(QStringLiteral("past the border"), truth.translated(-50, -40), 1),
        textured(QStringLiteral("box of 4 pixels"), rectangle(50, 40, 4, 4), 1),
        textured(QStringLiteral("box of 12 pixels"), rectangle(60, 40, 12, 7), 0),
        textured(QStringLiteral("box of 100 pixels"), rectangle(15, 30, 100, 55), 1),
        textured(QStringLiteral("concave"),
                 QPolygonF({QPointF(20, 20), QPointF(20, 90), QPointF(100, 90), QPointF(100, 60),
                            QPointF(55.5, 60.5), QPointF(55, 20)}),
                 1),
        squareAndComb(),
        equalSquares(),
        textured(QStringLiteral("two images to the right"), farOut(truth, QPointF(2, 0)), 2.5),
        textured(QStringLiteral("three images above"), farOut(truth, QPointF(0, -3)), 2.5),
        textured(QStringLiteral("two images beyond the corner"), farOut(truth, QPointF(-2, -2)), 2.5),
    };
}

/// A segmentation that has its picture without a file.
GrabCut grabCutOf(const cv::Mat &image, const QPolygonF &polygon)
{
    static const GrabCut withoutImage((QString()), QPolygonF());
    GrabCut grabCut = withoutImage;
    grabCut.image = image.clone();
    grabCut.polygon = polygon;
    return grabCut;
}

/// Points as text; what was thrown instead.
QString segmented(const Sample &sample, int seed, const SegmentationVariant *variant = nullptr)
{
    QPolygonF result;
    cv::setRNGSeed(seed);
    try {
        if (variant) {
            result = plainSegmentation(sample.image, sample.polygon, 2, *variant);
        } else {
            GrabCut grabCut = grabCutOf(sample.image, sample.polygon);
            grabCut.segmentImage(2, 1);
            result = grabCut.getObjectBondary();
        }
    } catch (const std::exception &) {
        return QStringLiteral("exception");
    }
    QString text;
    for (const QPointF &p : result)
        text += QStringLiteral("%1,%2 ").arg(p.x()).arg(p.y());
    return text;
}

} // namespace

Q_DECLARE_METATYPE(SegmentationVariant)

class TestGrabCut : public QObject
{
    Q_OBJECT

private slots:
    void constructorLoadsTheImageInColour();
    void binMaskHoldsTheForegroundLabels();
    void binMaskTakesAnyOutput_data();
    void binMaskTakesAnyOutput();
    void binMaskKeepsAFittingOutput();
    void segmentingEqualsPlainSegmentation_data();
    void segmentingEqualsPlainSegmentation();
    void everyRuleCounts_data();
    void everyRuleCounts();
    void numberOfRoundsCounts();
    void secondArgumentHasNoEffect();
    void bandThicknessFollowsTheBox_data();
    void bandThicknessFollowsTheBox();
    void partWithTheMostPointsWins();
    void firstOfEqualPartsWins();
    void cleanObjectIsFound_data();
    void cleanObjectIsFound();
    void everyRoundIsAskedFor();
    void nothingToWorkWithThrows_data();
    void nothingToWorkWithThrows();
    void absurdCoordinatesTakeNoTime_data();
    void absurdCoordinatesTakeNoTime();
    void outlinesFromFarAwayAreCutToTheImageFirst();
    void nothingIsWritten();
};

void TestGrabCut::constructorLoadsTheImageInColour()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QString::fromUtf8("f\xc3\xa4rb.png"));
    QVERIFY(cv::imwrite(path.toStdString(), cv::Mat(30, 40, CV_8UC1, cv::Scalar(80))));
    const GrabCut grabCut(path, rectangle(1, 2, 3, 4));
    QCOMPARE(grabCut.image.type(), CV_8UC3);
    QCOMPARE(grabCut.image.cols, 40);
    QCOMPARE(grabCut.polygon, rectangle(1, 2, 3, 4));
    QCOMPARE(grabCut.getObjectBondary(), rectangle(1, 2, 3, 4));
    LogCapture log;
    QVERIFY(GrabCut(folder.filePath(QStringLiteral("missing.jpg")), QPolygonF()).image.empty());
    QVERIFY(log.messages().isEmpty());
}

void TestGrabCut::binMaskHoldsTheForegroundLabels()
{
    const GrabCut grabCut = grabCutOf(cv::Mat(), QPolygonF());
    const cv::Mat mask = (cv::Mat_<uchar>(2, 2) << 0, 1, 2, 3);
    cv::Mat binMask;
    grabCut.getBinMask(mask, binMask);
    const cv::Mat wanted = (cv::Mat_<uchar>(2, 2) << 0, 1, 0, 1);
    QCOMPARE(binMask.type(), CV_8UC1);
    QCOMPARE(cv::norm(binMask, wanted, cv::NORM_INF), 0.0);
    QCOMPARE(static_cast<int>(mask.at<uchar>(1, 1)), 3);
}

void TestGrabCut::binMaskTakesAnyOutput_data()
{
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("type");
    QTest::newRow("other size") << 7 << CV_8UC1;
    QTest::newRow("other type") << 2 << CV_32FC1;
    QTest::newRow("other number of channels") << 2 << CV_8UC3;
}

void TestGrabCut::binMaskTakesAnyOutput()
{
    QFETCH(int, rows);
    QFETCH(int, type);
    const cv::Mat mask = (cv::Mat_<uchar>(2, 3) << 3, 2, 1, 0, 1, 2);
    cv::Mat binMask(rows, 3, type, cv::Scalar::all(9));
    grabCutOf(cv::Mat(), QPolygonF()).getBinMask(mask, binMask);
    QCOMPARE(binMask.type(), CV_8UC1);
    QCOMPARE(binMask.size(), mask.size());
    const cv::Mat wanted = (cv::Mat_<uchar>(2, 3) << 1, 0, 1, 0, 1, 0);
    QCOMPARE(cv::norm(binMask, wanted, cv::NORM_INF), 0.0);
}

void TestGrabCut::binMaskKeepsAFittingOutput()
{
    const cv::Mat mask = (cv::Mat_<uchar>(2, 3) << 3, 2, 1, 0, 1, 2);
    cv::Mat binMask(2, 3, CV_8UC1, cv::Scalar(1));
    const cv::Mat alias = binMask;
    grabCutOf(cv::Mat(), QPolygonF()).getBinMask(mask, binMask);
    QCOMPARE(binMask.data, alias.data);
    QCOMPARE(cv::countNonZero(alias), 3);
}

void TestGrabCut::segmentingEqualsPlainSegmentation_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("seed");
    const QList<Sample> all = samples();
    for (int i = 0; i < all.size(); ++i) {
        for (int seed : {0, 5, 123})
            QTest::addRow("%s, seed %d", qPrintable(all.at(i).name), seed) << i << seed;
    }
}

void TestGrabCut::segmentingEqualsPlainSegmentation()
{
    QFETCH(int, index);
    QFETCH(int, seed);
    const Sample sample = samples().at(index);
    const SegmentationVariant rules;
    QCOMPARE(segmented(sample, seed), segmented(sample, seed, &rules));
}

void TestGrabCut::everyRuleCounts_data()
{
    QTest::addColumn<SegmentationVariant>("variant");
    SegmentationVariant variant;
    variant.growingIterations = false;
    QTest::newRow("iterations grow with the round") << variant;
    variant = SegmentationVariant();
    variant.freshModels = false;
    QTest::newRow("models are learned anew") << variant;
    variant = SegmentationVariant();
    variant.thicker = 1;
    QTest::newRow("the band is not thicker") << variant;
    variant = SegmentationVariant();
    variant.largestArea = true;
    QTest::newRow("most points, not most area") << variant;
    variant = SegmentationVariant();
    variant.lastOnTies = true;
    QTest::newRow("the first one on ties") << variant;
}

// The samples tell the rules from their neighbours, so that equality with the plain segmentation means
// something.
void TestGrabCut::everyRuleCounts()
{
    QFETCH(SegmentationVariant, variant);
    QStringList different;
    for (const Sample &sample : samples()) {
        if (segmented(sample, 5) != segmented(sample, 5, &variant))
            different.append(sample.name);
    }
    QVERIFY(!different.isEmpty());
}

void TestGrabCut::numberOfRoundsCounts()
{
    bool different = false;
    for (const Sample &sample : samples().mid(2, 2) + samples().mid(7, 2)) {
        QList<QPolygonF> results;
        for (int rounds : {1, 2, 3}) {
            cv::setRNGSeed(8);
            GrabCut grabCut = grabCutOf(sample.image, sample.polygon);
            grabCut.segmentImage(rounds, 1);
            results.append(grabCut.polygon);
            cv::setRNGSeed(8);
            QCOMPARE(grabCut.polygon, plainSegmentation(sample.image, sample.polygon, rounds));
        }
        different = different || results.at(0) != results.at(1);
    }
    QVERIFY(different);
}

void TestGrabCut::secondArgumentHasNoEffect()
{
    const Sample sample = samples().at(2);
    QList<QPolygonF> results;
    for (int second : {1, 0, -5, 99}) {
        cv::setRNGSeed(8);
        GrabCut grabCut = grabCutOf(sample.image, sample.polygon);
        grabCut.segmentImage(2, second);
        results.append(grabCut.polygon);
        QCOMPARE(results.last(), results.first());
    }
}

void TestGrabCut::bandThicknessFollowsTheBox_data()
{
    QTest::addColumn<double>("width");
    QTest::addColumn<double>("height");
    QTest::addColumn<int>("thickness");
    // OpenCV draws lines of some neighbouring widths alike.
    QTest::addColumn<int>("thinner");
    QTest::addColumn<int>("thicker");
    QTest::newRow("2 pixels: at least 1") << 2.0 << 2.0 << 1 << 0 << 0;
    QTest::newRow("4 pixels") << 4.0 << 4.0 << 1 << 0 << 2;
    QTest::newRow("a half rounds up") << 7.5 << 6.0 << 2 << 1 << 3;
    QTest::newRow("30 pixels wide") << 30.0 << 12.0 << 6 << 4 << 7;
    QTest::newRow("30 pixels high") << 12.0 << 30.0 << 6 << 4 << 7;
    QTest::newRow("100 pixels") << 100.0 << 60.0 << 20 << 18 << 21;
}

// The band cannot be seen. A wrong one gives other outlines on some of the pictures, the right one never
// does.
void TestGrabCut::bandThicknessFollowsTheBox()
{
    QFETCH(double, width);
    QFETCH(double, height);
    QFETCH(int, thickness);
    QFETCH(int, thinner);
    QFETCH(int, thicker);
    bool thinnerDiffers = thinner == 0; // there is no such line
    bool thickerDiffers = thicker == 0; // too small to tell
    for (double spread : {0.0, 1.0, 2.5}) {
        for (int x : {10, 31, 44}) {
            const QPolygonF slanted({QPointF(x + width * 0.25, 40), QPointF(x, 40 + height * 0.5),
                                     QPointF(x + width * 0.75, 40 + height),
                                     QPointF(x + width, 40 + height * 0.25)});
            const Sample sample = textured(QString(), slanted, spread);
            SegmentationVariant variant;
            variant.thickness = thickness;
            const QString actual = segmented(sample, x);
            QCOMPARE(actual, segmented(sample, x, &variant));
            variant.thickness = thicker;
            if (thicker > 0)
                thickerDiffers = thickerDiffers || actual != segmented(sample, x, &variant);
            variant.thickness = thinner;
            if (thinner > 0)
                thinnerDiffers = thinnerDiffers || actual != segmented(sample, x, &variant);
        }
    }
    QVERIFY(thinnerDiffers);
    QVERIFY(thickerDiffers);
}

void TestGrabCut::partWithTheMostPointsWins()
{
    const Sample sample = squareAndComb();
    GrabCut grabCut = grabCutOf(sample.image, sample.polygon);
    cv::setRNGSeed(1);
    grabCut.segmentImage(2, 1);
    const QRectF box = grabCut.polygon.boundingRect();
    QVERIFY2(box.left() > 120, qPrintable(QString::number(box.left())));
    QVERIFY(box.width() * box.height() < 70 * 70);
    QVERIFY(grabCut.polygon.size() > 20);
}

void TestGrabCut::firstOfEqualPartsWins()
{
    const Sample sample = equalSquares();
    const SegmentationVariant rules;
    SegmentationVariant last;
    last.lastOnTies = true;
    QVERIFY(segmented(sample, 1, &rules) != segmented(sample, 1, &last));
    QCOMPARE(segmented(sample, 1), segmented(sample, 1, &rules));
}

void TestGrabCut::cleanObjectIsFound_data()
{
    QTest::addColumn<QPointF>("displacement");
    QTest::addColumn<double>("scale");
    QTest::newRow("true outline") << QPointF(0, 0) << 1.0;
    QTest::newRow("displaced") << QPointF(4, -3) << 1.0;
    QTest::newRow("too small") << QPointF(0, 0) << 0.9;
    QTest::newRow("too large") << QPointF(0, 0) << 1.08;
}

void TestGrabCut::cleanObjectIsFound()
{
    QFETCH(QPointF, displacement);
    QFETCH(double, scale);
    const Clips::Clip clip = Clips::plainBlock();
    const QPolygonF truth = clip.truth(2);
    const QPointF centre = truth.boundingRect().center();
    QPolygonF seed;
    for (const QPointF &p : truth)
        seed.append(centre + (p - centre) * scale + displacement);
    GrabCut grabCut = grabCutOf(clip.render(2), seed);
    cv::setRNGSeed(1);
    grabCut.segmentImage(2, 1);
    const double found = Clips::overlap(grabCut.polygon, truth, clip.size);
    qInfo("overlap: %.3f seed, %.3f found", Clips::overlap(seed, truth, clip.size), found);
    QVERIFY2(found > 0.95, qPrintable(QString::number(found)));
}

void TestGrabCut::everyRoundIsAskedFor()
{
    const Sample sample = samples().at(2);
    for (int allowed : {0, 1, 2}) {
        GrabCut grabCut = grabCutOf(sample.image, sample.polygon);
        int asked = 0;
        // A round that takes its time is asked about, too.
        const bool done = grabCut.segmentImage(2, 1, [&] { return asked++ < allowed || allowed == 2; });
        QCOMPARE(done, allowed == 2);
        QVERIFY(asked >= std::min(allowed + 1, 2));
        QCOMPARE(grabCut.polygon != sample.polygon, done);
    }
}

void TestGrabCut::nothingToWorkWithThrows_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<bool>("withImage");
    QTest::newRow("no image") << rectangle(20, 20, 50, 50) << false;
    QTest::newRow("no polygon") << QPolygonF() << true;
    QTest::newRow("polygon outside the image") << rectangle(500, 500, 50, 50) << true;
    QTest::newRow("polygon around the image: no background") << rectangle(-50, -50, 400, 400) << true;
}

void TestGrabCut::nothingToWorkWithThrows()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(bool, withImage);
    const cv::Mat image = withImage ? Clips::plainBlock().render(0) : cv::Mat();
    GrabCut grabCut = grabCutOf(image, polygon);
    QString kind;
    try {
        grabCut.segmentImage(2, 1);
    } catch (const cv::Exception &) {
        kind = QStringLiteral("OpenCV");
    } catch (const std::out_of_range &) {
        kind = QStringLiteral("range");
    }
    QVERIFY(!kind.isEmpty());
    QCOMPARE(grabCut.polygon, polygon);
}

void TestGrabCut::absurdCoordinatesTakeNoTime_data()
{
    constexpr double infinite = std::numeric_limits<double>::infinity();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    QTest::addColumn<QPolygonF>("polygon");
    const QPolygonF truth = Clips::plainBlock().truth(0);
    for (double value : {1e9, -1e9, 1e300, -1e300, infinite, -infinite, nan}) {
        QPolygonF mixed = truth;
        mixed[1] = QPointF(value, value);
        QTest::addRow("one vertex at %g", value) << mixed;
        mixed[1] = QPointF(truth.at(1).x(), value);
        mixed[3] = QPointF(value, truth.at(3).y());
        QTest::addRow("two coordinates %g", value) << mixed;
        QTest::addRow("every vertex at %g", value) << QPolygonF(QVector<QPointF>(5, QPointF(value, value)));
    }
    QTest::newRow("rectangle of 2e9 pixels") << rectangle(-1e9, -1e9, 2e9, 2e9);
    QTest::newRow("high sliver across the image") << rectangle(50, -1e9, 40, 2e9);
    QTest::newRow("wide sliver across the image") << rectangle(-1e9, 50, 2e9, 40);
    QTest::newRow("from one infinity to the other") << QPolygonF(
        {QPointF(-infinite, 20), QPointF(infinite, 40), QPointF(nan, 60), QPointF(50, -infinite)});
}

// Damaged projects hold such outlines. What comes of them does not matter, but it comes soon.
void TestGrabCut::absurdCoordinatesTakeNoTime()
{
    QFETCH(QPolygonF, polygon);
    const Clips::Clip clip = Clips::plainBlock();
    const cv::Mat image = clip.render(0);
    const auto timeOf = [&image](const QPolygonF &outline) {
        QElapsedTimer timer;
        timer.start();
        segmented({QString(), image, outline}, 1);
        return timer.nsecsElapsed();
    };
    const qint64 ordinary = timeOf(clip.truth(0));
    const qint64 absurd = timeOf(polygon);
    QVERIFY2(
        absurd < 20 * ordinary,
        qPrintable(
            QStringLiteral("%1 ms, an ordinary outline takes %2").arg(absurd / 1e6).arg(ordinary / 1e6)));
}

// Or else the uncertain band would be as wide as the way out there.
void TestGrabCut::outlinesFromFarAwayAreCutToTheImageFirst()
{
    const Sample inside = textured(QString(), rectangle(80, 40, 80, 80), 1);
    const QPolygonF damaged({QPointF(80, 40), QPointF(80, 1e9), QPointF(1e9, 1e9), QPointF(1e9, 40)});
    const QRectF image(0, 0, inside.image.cols, inside.image.rows);
    const QPolygonF cut(
        {QPointF(80, 40), QPointF(80, image.bottom()), image.bottomRight(), QPointF(image.right(), 40)});
    const QString wanted = segmented({QString(), inside.image, cut}, 1);
    QVERIFY(wanted != QLatin1String("exception"));
    QCOMPARE(segmented({QString(), inside.image, damaged}, 1), wanted);
}

void TestGrabCut::nothingIsWritten()
{
    QTemporaryDir folder;
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder.path()));
    const QStringList temporaryFiles = QDir::temp().entryList({QStringLiteral("*.jpg")});
    const Clips::Clip clip = Clips::plainBlock();
    GrabCut grabCut = grabCutOf(clip.render(0), clip.truth(0));
    grabCut.segmentImage(2, 1);
    QVERIFY(QDir::setCurrent(before));
    QVERIFY(QDir(folder.path()).isEmpty());
    QCOMPARE(QDir::temp().entryList({QStringLiteral("*.jpg")}), temporaryFiles);
}

QTEST_GUILESS_MAIN(TestGrabCut)
#include "tst_grabcut.moc"
