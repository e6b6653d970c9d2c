// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/timelinegeometry.h"

#include "tests/support/timelineprobe.h"

#include <QtTest>

class TestTimeLineGeometry : public QObject
{
    Q_OBJECT

private slots:
    void startsWithColumnsAndRowsOfFortyPixels();
    void columnsLieSideBySide_data();
    void columnsLieSideBySide();
    void aPositionBecomesAFrame_data();
    void aPositionBecomesAFrame();
    void rowsLieBelowEachOther_data();
    void rowsLieBelowEachOther();
    void aHeightBecomesARank_data();
    void aHeightBecomesARank();
    void everyPixelBelongsToTheColumnItLiesIn();
    void scenesHoldAllColumnsAndRows();
};

void TestTimeLineGeometry::startsWithColumnsAndRowsOfFortyPixels()
{
    const TimeLineGeometry geometry;
    QCOMPARE(geometry.frameWidth, 40);
    QCOMPARE(geometry.rowHeight, 40);
}

void TestTimeLineGeometry::columnsLieSideBySide_data()
{
    QTest::addColumn<int>("frameWidth");
    QTest::addColumn<int>("frame");
    QTest::addColumn<int>("left");
    QTest::addColumn<double>("centre");
    QTest::addColumn<int>("x");
    QTest::newRow("first") << 40 << 0 << 0 << 20.0 << 20;
    QTest::newRow("second") << 40 << 1 << 40 << 60.0 << 60;
    QTest::newRow("far to the right") << 40 << 5000 << 200000 << 200020.0 << 200020;
    QTest::newRow("odd width, first") << 7 << 0 << 0 << 3.5 << 3;
    QTest::newRow("odd width, third") << 7 << 2 << 14 << 17.5 << 17;
    QTest::newRow("one pixel") << 1 << 3 << 3 << 3.5 << 3;
}

void TestTimeLineGeometry::columnsLieSideBySide()
{
    QFETCH(int, frameWidth);
    QFETCH(int, frame);
    const TimeLineGeometry geometry{frameWidth, 40};
    QTEST(geometry.columnLeft(frame), "left");
    QTEST(geometry.columnCentre(frame), "centre");
    QTEST(geometry.frameToX(frame), "x");
}

void TestTimeLineGeometry::aPositionBecomesAFrame_data()
{
    addPositionRows();
}

void TestTimeLineGeometry::aPositionBecomesAFrame()
{
    QFETCH(int, position);
    QTEST(TimeLineGeometry().xToFrame(position), "frame");
}

void TestTimeLineGeometry::rowsLieBelowEachOther_data()
{
    QTest::addColumn<int>("rowHeight");
    QTest::addColumn<int>("rank");
    QTest::addColumn<int>("top");
    QTest::addColumn<int>("y");
    QTest::newRow("first") << 40 << 0 << 0 << 20;
    QTest::newRow("third") << 40 << 2 << 80 << 100;
    QTest::newRow("odd height, first") << 25 << 0 << 0 << 12;
    QTest::newRow("odd height, second") << 25 << 1 << 25 << 37;
}

void TestTimeLineGeometry::rowsLieBelowEachOther()
{
    QFETCH(int, rowHeight);
    QFETCH(int, rank);
    const TimeLineGeometry geometry{40, rowHeight};
    QTEST(geometry.rowTop(rank), "top");
    QTEST(geometry.rankToY(rank), "y");
}

void TestTimeLineGeometry::aHeightBecomesARank_data()
{
    QTest::addColumn<int>("y");
    QTest::addColumn<int>("rank");
    QTest::newRow("top") << 0 << 0;
    QTest::newRow("end of the first row") << 24 << 0;
    QTest::newRow("start of the second row") << 25 << 1;
    QTest::newRow("above the rows") << -1 << -1;
    QTest::newRow("more than a row above") << -26 << -2;
}

void TestTimeLineGeometry::aHeightBecomesARank()
{
    QFETCH(int, y);
    const TimeLineGeometry geometry{40, 25};
    QTEST(geometry.yToRank(y), "rank");
}

void TestTimeLineGeometry::everyPixelBelongsToTheColumnItLiesIn()
{
    for (const int size : {1, 7, 25, 40}) {
        const TimeLineGeometry geometry{size, size};
        for (int pixel = -100; pixel <= 300; ++pixel) {
            const int frame = geometry.xToFrame(pixel);
            QVERIFY(geometry.columnLeft(frame) <= pixel && pixel < geometry.columnLeft(frame + 1));
            const int rank = geometry.yToRank(pixel);
            QVERIFY(geometry.rowTop(rank) <= pixel && pixel < geometry.rowTop(rank + 1));
        }
        for (int i = 0; i < 20; ++i) {
            QCOMPARE(geometry.xToFrame(geometry.frameToX(i)), i);
            QCOMPARE(geometry.yToRank(geometry.rankToY(i)), i);
        }
    }
}

void TestTimeLineGeometry::scenesHoldAllColumnsAndRows()
{
    const TimeLineGeometry geometry{40, 25};
    QCOMPARE(geometry.width(0), 0);
    QCOMPARE(geometry.width(7), 280);
    QCOMPARE(geometry.height(0), 0);
    QCOMPARE(geometry.height(3), 75);
}

QTEST_APPLESS_MAIN(TestTimeLineGeometry)
#include "tst_timelinegeometry.moc"
