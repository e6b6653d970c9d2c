// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/playbackclock.h"

#include <QtTest>

#include <cmath>
#include <limits>

class TestPlaybackClock : public QObject
{
    Q_OBJECT

private slots:
    void aFrameLastsWholeMilliseconds_data();
    void aFrameLastsWholeMilliseconds();
    void theFrameFollowsTheTime_data();
    void theFrameFollowsTheTime();
    void aFrameIsDueWhenItsTimeBegins_data();
    void aFrameIsDueWhenItsTimeBegins();
    void theEndIsBehindTheLastFrame();
};

void TestPlaybackClock::aFrameLastsWholeMilliseconds_data()
{
    QTest::addColumn<double>("fps");
    QTest::addColumn<int>("ms");
    QTest::newRow("25") << 25.0 << 40;
    QTest::newRow("24, rounded up") << 24.0 << 42;
    QTest::newRow("30, rounded down") << 30.0 << 33;
    QTest::newRow("29.97") << 30000.0 / 1001 << 33;
    QTest::newRow("60") << 60.0 << 17;
    QTest::newRow("one in two seconds") << 0.5 << 2000;
    QTest::newRow("1000") << 1000.0 << 1;
    QTest::newRow("2000") << 2000.0 << 1;
    QTest::newRow("5000") << 5000.0 << 1;
    QTest::newRow("infinite") << std::numeric_limits<double>::infinity() << 1;
    QTest::newRow("zero") << 0.0 << 1;
    QTest::newRow("negative") << -25.0 << 1;
    QTest::newRow("not a number") << std::nan("") << 1;
    QTest::newRow("almost zero") << 1e-300 << std::numeric_limits<int>::max();
}

void TestPlaybackClock::aFrameLastsWholeMilliseconds()
{
    QFETCH(double, fps);
    QFETCH(int, ms);
    QCOMPARE(PlaybackClock::msPerFrame(fps), ms);
}

void TestPlaybackClock::theFrameFollowsTheTime_data()
{
    QTest::addColumn<qint64>("msEach");
    QTest::addColumn<int>("start");
    QTest::addColumn<qint64>("elapsed");
    QTest::addColumn<qint64>("frame");
    const auto row = [](const char *name, qint64 msEach, int start, qint64 elapsed, qint64 frame) {
        QTest::newRow(name) << msEach << start << elapsed << frame;
    };
    row("at the start", 40, 0, 0, 0);
    row("at the end of the first frame", 40, 0, 39, 0);
    row("at the start of the second frame", 40, 0, 40, 1);
    row("from the middle of the video", 40, 9, 0, 9);
    row("from the middle, later", 40, 9, 125, 12);
    row("frames of 83 milliseconds", 83, 15, 165, 16);
    row("frames of a millisecond", 1, 3, 7, 10);
    constexpr int most = std::numeric_limits<int>::max();
    row("very long frames", most, 1000000, qint64(most) * 2, 1000002);
    row("a very long time", 1, most, qint64(most) * 4, qint64(most) * 5);
}

void TestPlaybackClock::theFrameFollowsTheTime()
{
    QFETCH(qint64, msEach);
    QFETCH(int, start);
    QFETCH(qint64, elapsed);
    const PlaybackClock clock{msEach, start, 100};
    QTEST(clock.frameAt(elapsed), "frame");
}

void TestPlaybackClock::aFrameIsDueWhenItsTimeBegins_data()
{
    QTest::addColumn<qint64>("msEach");
    QTest::addColumn<int>("start");
    QTest::newRow("from the first frame") << qint64(40) << 0;
    QTest::newRow("from the middle of the video") << qint64(83) << 9;
    QTest::newRow("frames of a millisecond") << qint64(1) << 3;
    QTest::newRow("very long frames") << qint64(std::numeric_limits<int>::max()) << 1000000;
}

void TestPlaybackClock::aFrameIsDueWhenItsTimeBegins()
{
    QFETCH(qint64, msEach);
    QFETCH(int, start);
    const PlaybackClock clock{msEach, start, 100};
    QCOMPARE(clock.dueAt(start), 0);
    for (const qint64 frame : {start + 1, start + 2, start + 77}) {
        QCOMPARE(clock.frameAt(clock.dueAt(frame)), frame);
        QCOMPARE(clock.frameAt(clock.dueAt(frame) - 1), frame - 1);
    }
}

void TestPlaybackClock::theEndIsBehindTheLastFrame()
{
    const PlaybackClock clock{40, 0, 100};
    QVERIFY(!clock.isBehindTheEnd(0));
    QVERIFY(!clock.isBehindTheEnd(99));
    QVERIFY(clock.isBehindTheEnd(100));
    QVERIFY(clock.isBehindTheEnd(std::numeric_limits<qint64>::max()));
    const PlaybackClock nothing{40, 0, 0};
    QVERIFY(nothing.isBehindTheEnd(0));
}

QTEST_APPLESS_MAIN(TestPlaybackClock)
#include "tst_playbackclock.moc"
