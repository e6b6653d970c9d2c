// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/projectlimits.h"
#include "tests/support/littlememory.h"

#include <QtTest>

class TestProjectLimits : public QObject
{
    Q_OBJECT

private slots:
    void moreFramesAndObjectsNeedMore();
    void whatCanBeSwappedOutIsFree();
    void theProcessOwnLimitCounts();
    void whatFitsIsTaken_data();
    void whatFitsIsTaken();
    void noVideoGoesBeyondWholeCoordinates();
};

namespace
{

constexpr qint64 megabyte = 1024 * 1024;

} // namespace

void TestProjectLimits::moreFramesAndObjectsNeedMore()
{
    QCOMPARE(ProjectLimits::memoryNeeded(0, 0), qint64(0));
    const qint64 video = ProjectLimits::memoryNeeded(1'000'000, 0);
    QVERIFY(video >= 500 * megabyte);
    QVERIFY(ProjectLimits::memoryNeeded(2'000'000, 0) == 2 * video);
    const qint64 object = ProjectLimits::memoryNeeded(1'000'000, 1) - video;
    QVERIFY(object >= 1200 * megabyte);
    const qint64 further = ProjectLimits::memoryNeeded(1'000'000, 2) - video - object;
    QVERIFY(further >= 840 * 1'000'000 && further <= 900 * 1'000'000); // measured, and a little more
    QVERIFY(ProjectLimits::memoryNeeded(1'000'000, 3) == video + object + 2 * further);
    QVERIFY(ProjectLimits::memoryNeeded(ProjectLimits::mostFrames, 1000) > 45'000'000'000'000);
}

void TestProjectLimits::whatCanBeSwappedOutIsFree()
{
    const QByteArray info("MemTotal: 8000 kB\nMemAvailable: 3000 kB\n");
    QCOMPARE(ProjectLimits::freeInMachine(info), qint64(3000 * 1024));
    QCOMPARE(ProjectLimits::freeInMachine(info + "SwapTotal: 900 kB\nSwapFree: 500 kB\n"),
             qint64(3500 * 1024));
    QVERIFY(ProjectLimits::freeInMachine("SwapFree: 500 kB\n") >
            ProjectLimits::memoryNeeded(1'000'000, 1'000));
}

void TestProjectLimits::theProcessOwnLimitCounts()
{
    const LittleMemory memory(500 * megabyte);
    const qint64 available = ProjectLimits::memoryAvailable();
    QVERIFY2(available <= 500 * megabyte, qPrintable(QString::number(available)));
    QVERIFY2(available > 400 * megabyte, qPrintable(QString::number(available)));
}

void TestProjectLimits::whatFitsIsTaken_data()
{
    QTest::addColumn<int>("frames");
    QTest::addColumn<bool>("video");
    QTest::addColumn<bool>("object");
    QTest::addColumn<bool>("furtherObject");
    QTest::newRow("a film of a minute") << 1500 << true << true << true;
    QTest::newRow("as much as is never asked about") << 45'000 << true << true << true;
    QTest::newRow("no room for the grid") << 300'000 << true << false << true;
    QTest::newRow("room for the frames only") << 500'000 << true << false << false;
    QTest::newRow("no room") << 1'000'000 << false << false << false;
}

void TestProjectLimits::whatFitsIsTaken()
{
    QFETCH(int, frames);
    QFETCH(bool, video);
    QFETCH(bool, object);
    QFETCH(bool, furtherObject);
    const LittleMemory memory(600 * megabyte);
    QCOMPARE(ProjectLimits::canHoldVideo(frames), video);
    QCOMPARE(ProjectLimits::canHoldObjects(frames, 1), object);
    QCOMPARE(ProjectLimits::canHoldObjects(frames, 1, 1), furtherObject);
    QVERIFY(!ProjectLimits::canHoldObjects(frames, 100'000));
}

void TestProjectLimits::noVideoGoesBeyondWholeCoordinates()
{
    QVERIFY(!ProjectLimits::canHoldVideo(ProjectLimits::mostFrames + 1));
    constexpr int frameWidth = 40; // pixels
    QVERIFY(qint64(ProjectLimits::mostFrames) * frameWidth <= std::numeric_limits<int>::max());
}

QTEST_APPLESS_MAIN(TestProjectLimits)
#include "tst_projectlimits.moc"
