// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/grabcut.h"
#include "processing/imageprocess.h"

#include "tests/support/clips.h"
#include "tests/support/logcapture.h"
#include "tests/support/testproject.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <vector>

namespace
{

constexpr int columns = 60;
constexpr int lines = 40;

/// Every pixel tells where it is.
cv::Mat positions()
{
    cv::Mat image(lines, columns, CV_8UC3);
    for (int y = 0; y < lines; ++y) {
        for (int x = 0; x < columns; ++x)
            image.at<cv::Vec3b>(y, x) = cv::Vec3b(static_cast<uchar>(x), static_cast<uchar>(y), 200);
    }
    return image;
}

/// An image of 60 x 40 pixels without a file.
ImageProcess imageOfPositions()
{
    return Clips::processOf(positions());
}

/// Where a crop lies in imageOfPositions(): its first pixel and its size.
QRect regionOf(const cv::Mat &crop)
{
    if (crop.empty())
        return QRect();
    const cv::Vec3b first = crop.at<cv::Vec3b>(0, 0);
    return QRect(first[0], first[1], crop.cols, crop.rows);
}

} // namespace

class TestImageProcess : public QObject
{
    Q_OBJECT

private slots:
    void loadsInColour();
    void greyFilesGetThreeChannels();
    void pathIsUtf8();
    void unreadablePathLeavesTheImageEmptyAndSaysNothing_data();
    void unreadablePathLeavesTheImageEmptyAndSaysNothing();
    void aHeaderOfAbsurdSizeLeavesTheImageEmpty();
    void checkSizeClampsEveryLimitByItsOwnRule_data();
    void checkSizeClampsEveryLimitByItsOwnRule();
    void checkSizeTakesTheWidthForXAndTheHeightForY();
    void boundingRectIsThatOfThePolygonClamped_data();
    void boundingRectIsThatOfThePolygonClamped();
    void cropIsTheRoundedBoundingRectangle_data();
    void cropIsTheRoundedBoundingRectangle();
    void cropTakesTheWholeRectangleNotThePolygon();
    void cropSharesThePixels();
    void cropAtTheBorder_data();
    void cropAtTheBorder();
};

void TestImageProcess::loadsInColour()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("frame.png"));
    QVERIFY(cv::imwrite(path.toStdString(), positions()));
    const ImageProcess process(path);
    QCOMPARE(process.image.type(), CV_8UC3);
    QCOMPARE(process.image.cols, columns);
    QCOMPARE(process.image.rows, lines);
    QCOMPARE(cv::norm(process.image, positions(), cv::NORM_INF), 0.0);
}

void TestImageProcess::greyFilesGetThreeChannels()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("grey.png"));
    QVERIFY(cv::imwrite(path.toStdString(), cv::Mat(5, 7, CV_8UC1, cv::Scalar(77))));
    const ImageProcess process(path);
    QCOMPARE(process.image.type(), CV_8UC3);
    QVERIFY(process.image.at<cv::Vec3b>(4, 6) == cv::Vec3b(77, 77, 77));
}

void TestImageProcess::pathIsUtf8()
{
    QTemporaryDir folder;
    const QString plain = folder.filePath(QStringLiteral("frame.png"));
    const QString special = folder.filePath(QString::fromUtf8("f\xc3\xa4rb\xe6\x98\xa0 bild.png"));
    QVERIFY(cv::imwrite(plain.toStdString(), positions()));
    QVERIFY(QFile::rename(plain, special));
    QCOMPARE(ImageProcess(special).image.cols, columns);
}

void TestImageProcess::unreadablePathLeavesTheImageEmptyAndSaysNothing_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("no path") << QString() << QByteArray();
    QTest::newRow("no file") << QStringLiteral("missing.jpg") << QByteArray();
    QTest::newRow("no bytes") << QStringLiteral("empty.jpg") << QByteArray("");
    QTest::newRow("no image") << QStringLiteral("text.jpg") << QByteArray("this is no image at all");
}

void TestImageProcess::unreadablePathLeavesTheImageEmptyAndSaysNothing()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, bytes);
    QTemporaryDir folder;
    const QString path = name.isEmpty() ? QString() : folder.filePath(name);
    if (!bytes.isNull()) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    LogCapture log;
    const ImageProcess process(path);
    QVERIFY(process.image.empty());
    QVERIFY(log.messages().isEmpty());
}

void TestImageProcess::checkSizeClampsEveryLimitByItsOwnRule_data()
{
    QTest::addColumn<double>("limit");
    QTest::addColumn<double>("xMin");
    QTest::addColumn<double>("xMax");
    QTest::addColumn<double>("yMin");
    QTest::addColumn<double>("yMax");
    QTest::newRow("far below") << -1000.0 << 0.0 << 0.0 << 0.0 << 0.0;
    QTest::newRow("just below 0") << -0.001 << 0.0 << 0.0 << 0.0 << 0.0;
    QTest::newRow("0") << 0.0 << 0.0 << 0.0 << 0.0 << 0.0;
    QTest::newRow("inside") << 17.25 << 17.25 << 17.25 << 17.25 << 17.25;
    QTest::newRow("last line") << 39.0 << 39.0 << 39.0 << 39.0 << 39.0;
    QTest::newRow("between last line and height") << 39.5 << 39.5 << 39.5 << 39.5 << 39.5;
    QTest::newRow("height") << 40.0 << 40.0 << 40.0 << 40.0 << 40.0;
    QTest::newRow("just above the height") << 40.001 << 40.001 << 40.001 << 39.0 << 40.0;
    QTest::newRow("between last column and width") << 59.5 << 59.5 << 59.5 << 39.0 << 40.0;
    QTest::newRow("width") << 60.0 << 60.0 << 60.0 << 39.0 << 40.0;
    QTest::newRow("just above the width") << 60.001 << 59.0 << 60.0 << 39.0 << 40.0;
    QTest::newRow("far above") << 1000.0 << 59.0 << 60.0 << 39.0 << 40.0;
}

void TestImageProcess::checkSizeClampsEveryLimitByItsOwnRule()
{
    QFETCH(double, limit);
    double xMin = limit;
    double xMax = limit;
    double yMin = limit;
    double yMax = limit;
    imageOfPositions().checkSize(xMin, xMax, yMin, yMax);
    QTEST(xMin, "xMin");
    QTEST(xMax, "xMax");
    QTEST(yMin, "yMin");
    QTEST(yMax, "yMax");
}

void TestImageProcess::checkSizeTakesTheWidthForXAndTheHeightForY()
{
    double xMin = 50;
    double xMax = 55;
    double yMin = 50;
    double yMax = 55;
    imageOfPositions().checkSize(xMin, xMax, yMin, yMax);
    QCOMPARE(xMin, 50.0);
    QCOMPARE(xMax, 55.0);
    QCOMPARE(yMin, 39.0);
    QCOMPARE(yMax, 40.0);
}

void TestImageProcess::boundingRectIsThatOfThePolygonClamped_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<double>("xMin");
    QTest::addColumn<double>("xMax");
    QTest::addColumn<double>("yMin");
    QTest::addColumn<double>("yMax");
    QTest::newRow("inside") << QPolygonF({QPointF(12.25, 9.5), QPointF(30.75, 3.5), QPointF(20, 31)}) << 12.25
                            << 30.75 << 3.5 << 31.0;
    QTest::newRow("past the left edge") << rectangle(-10, 5, 30, 20) << 0.0 << 20.0 << 5.0 << 25.0;
    QTest::newRow("past the top edge") << rectangle(5, -10, 20, 30) << 5.0 << 25.0 << 0.0 << 20.0;
    QTest::newRow("past the right edge") << rectangle(50, 5, 30, 20) << 50.0 << 60.0 << 5.0 << 25.0;
    QTest::newRow("past the bottom edge") << rectangle(5, 30, 20, 30) << 5.0 << 25.0 << 30.0 << 40.0;
    QTest::newRow("right of the image") << rectangle(70, 5, 30, 20) << 59.0 << 60.0 << 5.0 << 25.0;
    QTest::newRow("below the image") << rectangle(5, 70, 30, 20) << 5.0 << 35.0 << 39.0 << 40.0;
    QTest::newRow("left of the image") << rectangle(-70, 5, 30, 20) << 0.0 << 0.0 << 5.0 << 25.0;
    QTest::newRow("left edge on the width") << rectangle(60, 5, 30, 20) << 60.0 << 60.0 << 5.0 << 25.0;
    QTest::newRow("top edge on the height") << rectangle(5, 40, 30, 20) << 5.0 << 35.0 << 40.0 << 40.0;
    QTest::newRow("one point") << QPolygonF({QPointF(7, 8)}) << 7.0 << 7.0 << 8.0 << 8.0;
    QTest::newRow("no points") << QPolygonF() << 0.0 << 0.0 << 0.0 << 0.0;
}

void TestImageProcess::boundingRectIsThatOfThePolygonClamped()
{
    QFETCH(QPolygonF, polygon);
    double xMin = -7;
    double xMax = -7;
    double yMin = -7;
    double yMax = -7;
    imageOfPositions().getBoundingRect(polygon, xMin, xMax, yMin, yMax);
    QTEST(xMin, "xMin");
    QTEST(xMax, "xMax");
    QTEST(yMin, "yMin");
    QTEST(yMax, "yMax");
}

void TestImageProcess::cropIsTheRoundedBoundingRectangle_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<QRect>("region");
    QTest::newRow("whole numbers") << rectangle(10, 12, 20, 15) << QRect(10, 12, 20, 15);
    QTest::newRow("below a half") << rectangle(10.25, 12.25, 20.25, 15.25) << QRect(10, 12, 20, 15);
    QTest::newRow("a half goes up") << rectangle(10.5, 12.5, 20.5, 15.5) << QRect(11, 13, 21, 16);
    QTest::newRow("a half of an even number goes up too")
        << rectangle(11.5, 13.5, 21.5, 14.5) << QRect(12, 14, 22, 15);
    QTest::newRow("the size is rounded apart from the corner")
        << rectangle(10.75, 12.75, 19.5, 14.5) << QRect(11, 13, 20, 15);
    QTest::newRow("the far edge is not rounded")
        << rectangle(10.25, 12.25, 20.375, 15.375) << QRect(10, 12, 20, 15);
    QTest::newRow("whole image") << rectangle(0, 0, 60, 40) << QRect(0, 0, 60, 40);
}

void TestImageProcess::cropIsTheRoundedBoundingRectangle()
{
    QFETCH(QPolygonF, polygon);
    const cv::Mat crop = imageOfPositions().crop(polygon);
    QTEST(regionOf(crop), "region");
}

void TestImageProcess::cropTakesTheWholeRectangleNotThePolygon()
{
    const ImageProcess process = imageOfPositions();
    const cv::Mat crop = process.crop(QPolygonF({QPointF(10, 10), QPointF(30, 10), QPointF(10, 25)}));
    QCOMPARE(regionOf(crop), QRect(10, 10, 20, 15));
    QCOMPARE(cv::norm(crop, positions()(cv::Rect(10, 10, 20, 15)), cv::NORM_INF), 0.0);
}

void TestImageProcess::cropSharesThePixels()
{
    const ImageProcess process = imageOfPositions();
    cv::Mat crop = process.crop(rectangle(10, 12, 20, 15));
    QCOMPARE(crop.ptr(0), process.image.ptr(12) + 3 * 10);
    crop.at<cv::Vec3b>(1, 2) = cv::Vec3b(1, 2, 3);
    QVERIFY(process.image.at<cv::Vec3b>(13, 12) == cv::Vec3b(1, 2, 3));
}

void TestImageProcess::cropAtTheBorder_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<QRect>("region");
    QTest::newRow("past the left edge") << rectangle(-10, 5, 30, 20) << QRect(0, 5, 20, 20);
    QTest::newRow("past the top edge") << rectangle(5, -10, 20, 30) << QRect(5, 0, 20, 20);
    QTest::newRow("past the right edge") << rectangle(50, 5, 30, 20) << QRect(50, 5, 10, 20);
    QTest::newRow("past the bottom edge") << rectangle(5, 30, 20, 30) << QRect(5, 30, 20, 10);
    QTest::newRow("around the image") << rectangle(-5, -5, 100, 100) << QRect(0, 0, 60, 40);
    QTest::newRow("right of the image: its last column") << rectangle(70, 5, 30, 20) << QRect(59, 5, 1, 20);
    QTest::newRow("below the image: its last line") << rectangle(5, 70, 30, 20) << QRect(5, 39, 30, 1);
    QTest::newRow("left of the image: nothing") << rectangle(-70, 5, 30, 20) << QRect();
    QTest::newRow("left edge on the width: nothing") << rectangle(60, 5, 30, 20) << QRect();
    QTest::newRow("no points: nothing") << QPolygonF() << QRect();
    QTest::newRow("one point: nothing") << QPolygonF({QPointF(7, 8)}) << QRect();
    QTest::newRow("rounded over the right edge: cut off")
        << rectangle(49.5, 5, 10.5, 20) << QRect(50, 5, 10, 20);
    QTest::newRow("rounded over the bottom edge: cut off")
        << rectangle(5, 29.5, 20, 10.5) << QRect(5, 30, 20, 10);
}

void TestImageProcess::cropAtTheBorder()
{
    QFETCH(QPolygonF, polygon);
    const cv::Mat crop = imageOfPositions().crop(polygon);
    QTEST(regionOf(crop), "region");
}

void TestImageProcess::aHeaderOfAbsurdSizeLeavesTheImageEmpty()
{
    std::vector<unsigned char> bytes;
    QVERIFY(cv::imencode(".jpg", cv::Mat(16, 16, CV_8UC3, cv::Scalar(1, 2, 3)), bytes));
    // Start of frame: marker, length (2 bytes), precision, height (2), width (2).
    const std::vector<unsigned char> startOfFrame{0xFF, 0xC0};
    const auto frame = std::search(bytes.begin(), bytes.end(), startOfFrame.begin(), startOfFrame.end());
    QVERIFY(bytes.end() - frame > 9);
    std::fill(frame + 5, frame + 9, static_cast<unsigned char>(0xFD));
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("absurd.jpg")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<qint64>(bytes.size()));
    file.close();
    QVERIFY(ImageProcess(file.fileName()).image.empty());
    QVERIFY(GrabCut(file.fileName(), QPolygonF()).image.empty());
}

QTEST_GUILESS_MAIN(TestImageProcess)
#include "tst_imageprocess.moc"
