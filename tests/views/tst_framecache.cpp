// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/logcapture.h"
#include "views/framecache.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QSemaphore>
#include <QtConcurrentRun>
#include <QTemporaryDir>
#include <QThread>
#include <QThreadPool>
#include <QtTest>

#include <atomic>
#include <memory>
#include <mutex>

namespace
{

constexpr QSize imageSize(32, 16);
constexpr qint64 imageBytes = 32 * 16 * 4;
constexpr int patience = 100; // milliseconds given to what must not happen
const QDateTime longAgo(QDate(2020, 1, 2), QTime(3, 4));

/// Files with one image each in a temporary folder, all written long ago.
class ImageFiles
{
public:
    QString path(int number) const { return m_dir.filePath(QStringLiteral("frame%1.jpg").arg(number)); }
    QStringList paths(const QList<int> &numbers) const
    {
        QStringList found;
        for (const int number : numbers)
            found.append(path(number));
        return found;
    }

    void write(int number, const QColor &color, const QDateTime &time = longAgo) const
    {
        QImage image(imageSize, QImage::Format_RGB32);
        image.fill(color);
        write(number, image, "jpg", time);
    }
    void write(int number, const QImage &image, const char *format, const QDateTime &time = longAgo) const
    {
        if (!image.save(path(number), format, 100))
            qFatal("cannot write an image");
        setTime(number, time);
    }
    void setTime(int number, const QDateTime &time) const
    {
        QFile file(path(number));
        if (!file.open(QIODevice::ReadWrite) || !file.setFileTime(time, QFileDevice::FileModificationTime))
            qFatal("cannot set the time of a file");
    }
    /// One image per number from 0, all of them different.
    void writeMany(int count) const
    {
        for (int i = 0; i < count; ++i)
            write(i, QColor(10 * i, 200, 255 - 10 * i));
    }

private:
    QTemporaryDir m_dir;
};

/// Decodes as the cache does, and remembers it.
class Decoder
{
public:
    FrameCache::Decode function()
    {
        return [this](const QString &path, QImage spare) { return decode(path, std::move(spare)); };
    }

    /// How often a file was decoded, or all of them together.
    int count(const QString &path) const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return static_cast<int>(m_decoded.count(path));
    }
    int count() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_decoded.size();
    }

    /// How often there was an image whose memory could be used again.
    int spares() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_spares;
    }

    /// Called before decoding on the thread that does it.
    std::function<void(const QString &path)> before = [](const QString &) {};

private:
    QImage decode(const QString &path, QImage spare)
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_decoded.append(path);
            m_spares += spare.isNull() ? 0 : 1;
        }
        before(path);
        return FrameCache::decodeFile(path, std::move(spare));
    }

    mutable std::mutex m_mutex; // guards the rest
    QStringList m_decoded;
    int m_spares = 0;
};

bool isOwner()
{
    return QThread::currentThread() == QCoreApplication::instance()->thread();
}

/// Some files, a decoder and a cache with room for `places` images.
struct Stage {
    explicit Stage(int places, int files = 10)
        : cache(places * imageBytes, decoder.function(), [this] { return busy.load(); })
    {
        images.writeMany(files);
    }

    /// Asks for images one after the other.
    void ask(const QList<int> &numbers)
    {
        for (const int number : numbers)
            cache.image(images.path(number));
    }
    /// The numbers of the images held.
    QList<int> held() const
    {
        QList<int> numbers;
        for (int i = 0; i < 20; ++i) {
            if (cache.holds(images.path(i)))
                numbers.append(i);
        }
        return numbers;
    }

    ImageFiles images;
    Decoder decoder;
    std::atomic<bool> busy{false};
    FrameCache cache;
};

/// Holds the first decoding ahead until it is released.
class Gate
{
public:
    explicit Gate(Decoder &decoder)
    {
        decoder.before = [this](const QString &) {
            if (isOwner() || m_closed.exchange(true))
                return;
            m_reached.release();
            m_open.acquire();
        };
    }

    /// Waits until the thread has come here.
    bool isReached() { return m_reached.tryAcquire(1, 30000); }
    void release() { m_open.release(); }

private:
    std::atomic<bool> m_closed{false};
    QSemaphore m_reached;
    QSemaphore m_open;
};

} // namespace

class TestFrameCache : public QObject
{
    Q_OBJECT

private slots:
    void thePixelsAreThoseOfTheFile_data();
    void thePixelsAreThoseOfTheFile();
    void anImageHeldIsNotDecodedAgain();
    void noMoreThanTheBudgetIsHeld();
    void theLeastRecentlyUsedImageGoesFirst_data();
    void theLeastRecentlyUsedImageGoesFirst();
    void memoryIsUsedAgainUnlessItsImageIsShown();
    void anImageLargerThanTheBudgetIsReadAllTheSame();

    void aChangedFileIsReadAgain_data();
    void aChangedFileIsReadAgain();
    void anImageOfAFileJustWrittenIsNotKept();
    void aFileThatCannotBeReadIsTriedAgain_data();
    void aFileThatCannotBeReadIsTriedAgain();

    void preparedImagesAreDecodedOnAnotherThread();
    void preparedImagesLeaveTheLastOneItsPlace_data();
    void preparedImagesLeaveTheLastOneItsPlace();
    void preparedImagesThatAreHeldMakeNoRoom();
    void anImageBeingDecodedIsWaitedFor();
    void anImageThatWaitsIsDecodedOnce();
    void preparingGivesUpWhatWaits();
    void nothingIsPreparedBeforeTheFirstImage();
    void whileALongJobRunsNothingIsPrepared();
    void aJobThatBeginsEndsThePreparing();
    void workOnTheGlobalPoolIsALongJob();

    void clearingForgetsEverything();
    void clearingWaitsForTheFileInUse();
    void theEndWaitsForOneImageAtMost();
};

void TestFrameCache::thePixelsAreThoseOfTheFile_data()
{
    QTest::addColumn<QImage::Format>("format");
    QTest::addColumn<QByteArray>("coder");
    QTest::addColumn<bool>("ahead");
    for (const bool ahead : {false, true}) {
        const auto row = [ahead](const char *name, QImage::Format format, const char *coder) {
            QTest::newRow(qPrintable(QLatin1String(name) + (ahead ? ", decoded ahead" : "")))
                << format << QByteArray(coder) << ahead;
        };
        row("colours", QImage::Format_RGB32, "jpg");
        row("greys", QImage::Format_Grayscale8, "jpg");
        row("palette", QImage::Format_Indexed8, "png");
        row("transparent", QImage::Format_ARGB32, "png");
    }
}

void TestFrameCache::thePixelsAreThoseOfTheFile()
{
    QFETCH(QImage::Format, format);
    QFETCH(QByteArray, coder);
    QFETCH(bool, ahead);
    Stage stage(4);
    QImage image(imageSize, QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgba(x * 8, y * 16, (x * y) % 256, 255 - x));
    }
    stage.images.write(1, image.convertToFormat(format), coder.constData());
    stage.ask({0});
    if (ahead) {
        stage.cache.prepare(stage.images.paths({1}));
        QTRY_VERIFY(stage.cache.isIdle());
        QCOMPARE(stage.decoder.count(stage.images.path(1)), 1);
    }
    const QImage found = stage.cache.image(stage.images.path(1));
    const QImage expected(stage.images.path(1));
    QCOMPARE(found.size(), imageSize);
    QCOMPARE(found.convertToFormat(QImage::Format_ARGB32), expected.convertToFormat(QImage::Format_ARGB32));
    QCOMPARE(found.format() == QImage::Format_RGB32, !expected.hasAlphaChannel());
}

void TestFrameCache::anImageHeldIsNotDecodedAgain()
{
    Stage stage(4);
    const QImage first = stage.cache.image(stage.images.path(3));
    QCOMPARE(stage.cache.image(stage.images.path(3)), first);
    QCOMPARE(stage.decoder.count(), 1);
    QCOMPARE(stage.cache.bytes(), imageBytes);
}

void TestFrameCache::noMoreThanTheBudgetIsHeld()
{
    Stage stage(3);
    QCOMPARE(FrameCache::defaultBudget, 268435456);
    for (int i = 0; i < 10; ++i) {
        stage.ask({i});
        QVERIFY(stage.cache.bytes() <= 3 * imageBytes);
        stage.cache.prepare(stage.images.paths({i + 1, i + 2, i - 1}));
        QTRY_VERIFY(stage.cache.isIdle());
        QCOMPARE(stage.cache.bytes(), 3 * imageBytes);
        QCOMPARE(stage.held().size(), 3);
    }
}

void TestFrameCache::theLeastRecentlyUsedImageGoesFirst_data()
{
    QTest::addColumn<QList<int>>("asked");
    QTest::addColumn<QList<int>>("held");
    QTest::newRow("one way") << QList<int>({0, 1, 2, 3, 4}) << QList<int>({2, 3, 4});
    QTest::newRow("the other way") << QList<int>({9, 8, 7, 6, 5}) << QList<int>({5, 6, 7});
    QTest::newRow("one comes again") << QList<int>({0, 1, 2, 0, 3}) << QList<int>({0, 2, 3});
    QTest::newRow("all come again") << QList<int>({0, 1, 2, 0, 1, 2, 3}) << QList<int>({1, 2, 3});
}

void TestFrameCache::theLeastRecentlyUsedImageGoesFirst()
{
    QFETCH(QList<int>, asked);
    Stage stage(3);
    stage.ask(asked);
    QTEST(stage.held(), "held");
}

void TestFrameCache::memoryIsUsedAgainUnlessItsImageIsShown()
{
    Stage stage(2);
    stage.ask({0, 1});
    QCOMPARE(stage.decoder.spares(), 0);
    const QImage shown = stage.cache.image(stage.images.path(2)); // in the memory of the first one
    QCOMPARE(stage.decoder.spares(), 1);
    stage.ask({3});
    QCOMPARE(stage.decoder.spares(), 2);
    stage.ask({4}); // the one shown goes
    QCOMPARE(stage.decoder.spares(), 2);
    QCOMPARE(stage.held(), QList<int>({3, 4}));
    QCOMPARE(shown, FrameCache::decodeFile(stage.images.path(2)));
    for (const int number : {3, 4, 5, 6})
        QCOMPARE(stage.cache.image(stage.images.path(number)),
                 FrameCache::decodeFile(stage.images.path(number)));
}

void TestFrameCache::anImageLargerThanTheBudgetIsReadAllTheSame()
{
    Stage stage(3);
    stage.images.write(0, QImage(imageSize * 4, QImage::Format_RGB32), "jpg");
    stage.ask({5});
    for (int i = 0; i < 2; ++i)
        QCOMPARE(stage.cache.image(stage.images.path(0)).size(), imageSize * 4);
    QCOMPARE(stage.decoder.count(stage.images.path(0)), 2);
    QCOMPARE(stage.held(), QList<int>({5}));
    stage.cache.prepare(stage.images.paths({0, 1}));
    QTRY_VERIFY(stage.cache.isIdle());
    QCOMPARE(stage.decoder.count(), 3); // none but those asked for
}

void TestFrameCache::aChangedFileIsReadAgain_data()
{
    QTest::addColumn<bool>("ahead");
    QTest::addColumn<bool>("otherTime");
    QTest::newRow("another time") << false << true;
    QTest::newRow("another size") << false << false;
    QTest::newRow("another time, decoded ahead") << true << true;
    QTest::newRow("another size, decoded ahead") << true << false;
}

void TestFrameCache::aChangedFileIsReadAgain()
{
    QFETCH(bool, ahead);
    QFETCH(bool, otherTime);
    Stage stage(4);
    stage.images.write(1, Qt::red);
    stage.ask({0});
    if (ahead) {
        stage.cache.prepare(stage.images.paths({1}));
        QTRY_VERIFY(stage.cache.isIdle());
    } else {
        stage.ask({1});
    }
    QVERIFY(stage.cache.holds(stage.images.path(1)));
    const qint64 size = QFileInfo(stage.images.path(1)).size();
    if (otherTime) {
        stage.images.write(1, Qt::green, longAgo.addMSecs(1));
        QCOMPARE(QFileInfo(stage.images.path(1)).size(), size);
    } else {
        QImage larger(imageSize * 2, QImage::Format_RGB32);
        larger.fill(Qt::green);
        stage.images.write(1, larger, "jpg");
    }
    const QColor color = stage.cache.image(stage.images.path(1)).pixelColor(3, 3);
    QVERIFY2(color.green() > 200 && color.red() < 50, qPrintable(color.name()));
    // The old one takes no room any more; the larger one takes four times as much.
    QCOMPARE(stage.held(), otherTime ? QList<int>({0, 1}) : QList<int>({1}));
    QCOMPARE(stage.cache.bytes(), imageBytes * (otherTime ? 2 : 4));
}

void TestFrameCache::anImageOfAFileJustWrittenIsNotKept()
{
    Stage stage(4);
    const QString path = stage.images.path(1);
    bool inTime = false;
    while (!inTime) {
        const QDateTime now = QDateTime::currentDateTime();
        stage.images.write(1, Qt::red, now);
        stage.ask({1});
        stage.images.write(1, Qt::green, now); // as if within one tick of the file system's clock
        inTime = now.msecsTo(QDateTime::currentDateTime()) < FrameCache::settlingTime;
        if (inTime)
            QVERIFY(!stage.cache.holds(path));
    }
    QVERIFY(stage.cache.image(path).pixelColor(3, 3).green() > 200);
}

void TestFrameCache::aFileThatCannotBeReadIsTriedAgain_data()
{
    QTest::addColumn<bool>("missing");
    QTest::newRow("missing") << true;
    QTest::newRow("not an image") << false;
}

void TestFrameCache::aFileThatCannotBeReadIsTriedAgain()
{
    QFETCH(bool, missing);
    Stage stage(4);
    const LogCapture log;
    const QString path = stage.images.path(1);
    QVERIFY(QFile::remove(path));
    if (!missing) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("not an image");
    }
    stage.ask({0});
    stage.cache.prepare(stage.images.paths({1, 2}));
    QTRY_VERIFY(stage.cache.isIdle());
    for (int i = 0; i < 2; ++i)
        QVERIFY(stage.cache.image(path).isNull());
    QCOMPARE(stage.held(), QList<int>({0, 2}));
    QCOMPARE(log.warnings(), QStringList());
    stage.cache.prepare(stage.images.paths({3})); // goes on behind it
    QTRY_VERIFY(stage.cache.holds(stage.images.path(3)));
    stage.images.write(1, Qt::green);
    QCOMPARE(stage.cache.image(path).size(), imageSize);
    QVERIFY(stage.cache.holds(path));
}

void TestFrameCache::preparedImagesAreDecodedOnAnotherThread()
{
    Stage stage(5);
    std::atomic<int> byOwner{0};
    stage.decoder.before = [&](const QString &) { byOwner += isOwner() ? 1 : 0; };
    stage.ask({4});
    stage.cache.prepare(stage.images.paths({5, 6, 3}));
    QTRY_VERIFY(stage.cache.isIdle());
    QCOMPARE(stage.held(), QList<int>({3, 4, 5, 6}));
    stage.ask({5, 6, 3, 4});
    QCOMPARE(stage.decoder.count(), 4);
    QCOMPARE(byOwner.load(), 1);
}

void TestFrameCache::preparedImagesLeaveTheLastOneItsPlace_data()
{
    QTest::addColumn<int>("places");
    QTest::addColumn<QList<int>>("held");
    QTest::newRow("no place besides") << 1 << QList<int>({4});
    QTest::newRow("two places besides") << 3 << QList<int>({4, 5, 6});
    QTest::newRow("room for all") << 9 << QList<int>({3, 4, 5, 6, 7});
}

void TestFrameCache::preparedImagesLeaveTheLastOneItsPlace()
{
    QFETCH(int, places);
    QFETCH(QList<int>, held);
    Stage stage(places);
    stage.ask({4});
    stage.cache.prepare(stage.images.paths({5, 6, 7, 3}));
    QTRY_VERIFY(stage.cache.isIdle());
    QCOMPARE(stage.held(), held);
    QCOMPARE(stage.decoder.count(), held.size());
}

void TestFrameCache::preparedImagesThatAreHeldMakeNoRoom()
{
    Stage stage(4);
    stage.ask({5, 1, 2, 4}); // the next one is the least recently used
    stage.cache.prepare(stage.images.paths({5, 6, 3}));
    QTRY_VERIFY(stage.cache.isIdle());
    QCOMPARE(stage.held(), QList<int>({3, 4, 5, 6}));
    QCOMPARE(stage.decoder.count(stage.images.path(5)), 1);
}

void TestFrameCache::anImageBeingDecodedIsWaitedFor()
{
    Stage stage(4);
    QSemaphore begun;
    QSemaphore second;
    stage.ask({0});
    stage.decoder.before = [&](const QString &) {
        if (isOwner()) {
            second.release();
            return;
        }
        begun.release();
        second.tryAcquire(1, patience); // a second decoding would come now
    };
    stage.cache.prepare(stage.images.paths({1}));
    QVERIFY(begun.tryAcquire(1, 30000));
    QCOMPARE(stage.cache.image(stage.images.path(1)).size(), imageSize);
    QCOMPARE(stage.decoder.count(stage.images.path(1)), 1);
}

void TestFrameCache::anImageThatWaitsIsDecodedOnce()
{
    Stage stage(5);
    stage.ask({0});
    Gate gate(stage.decoder);
    stage.cache.prepare(stage.images.paths({1, 2, 3}));
    QVERIFY(gate.isReached());
    QCOMPARE(stage.cache.image(stage.images.path(3)).size(), imageSize); // does not wait its turn
    QVERIFY(!stage.cache.isIdle());
    gate.release();
    QTRY_VERIFY(stage.cache.isIdle());
    QCOMPARE(stage.held(), QList<int>({0, 1, 2, 3}));
    QCOMPARE(stage.decoder.count(), 4);
}

void TestFrameCache::preparingGivesUpWhatWaits()
{
    Stage stage(9);
    stage.ask({0});
    Gate gate(stage.decoder);
    stage.cache.prepare(stage.images.paths({1, 2, 3}));
    QVERIFY(gate.isReached());
    stage.cache.prepare(stage.images.paths({7, 8}));
    gate.release();
    QTRY_VERIFY(stage.cache.isIdle());
    QCOMPARE(stage.held(), QList<int>({0, 1, 7, 8}));
    QCOMPARE(stage.decoder.count(), 4);
}

void TestFrameCache::nothingIsPreparedBeforeTheFirstImage()
{
    Stage stage(4);
    stage.cache.prepare(stage.images.paths({1, 2}));
    QTRY_VERIFY(stage.cache.isIdle());
    QCOMPARE(stage.decoder.count(), 0); // it is not known how many fit
}

void TestFrameCache::whileALongJobRunsNothingIsPrepared()
{
    Stage stage(4);
    stage.ask({0});
    stage.busy = true;
    stage.cache.prepare(stage.images.paths({1, 2}));
    QTRY_VERIFY(stage.cache.isIdle());
    QCOMPARE(stage.held(), QList<int>({0}));
    QCOMPARE(stage.cache.image(stage.images.path(5)).size(), imageSize);
    stage.busy = false;
    stage.cache.prepare(stage.images.paths({1, 2}));
    QTRY_VERIFY(stage.cache.isIdle());
    QCOMPARE(stage.held(), QList<int>({0, 1, 2, 5}));
}

void TestFrameCache::aJobThatBeginsEndsThePreparing()
{
    Stage stage(9);
    stage.ask({0});
    Gate gate(stage.decoder);
    stage.cache.prepare(stage.images.paths({1, 2, 3}));
    QVERIFY(gate.isReached());
    stage.busy = true;
    gate.release();
    QTRY_VERIFY(stage.cache.isIdle());
    QCOMPARE(stage.held(), QList<int>({0, 1}));
    QCOMPARE(stage.decoder.count(), 2);
}

void TestFrameCache::workOnTheGlobalPoolIsALongJob()
{
    QTRY_VERIFY(!FrameCache::longJobRuns());
    QSemaphore end;
    QFuture<void> work = QtConcurrent::run([&end] { end.acquire(); });
    QVERIFY(FrameCache::longJobRuns());
    end.release();
    work.waitForFinished();
    QTRY_VERIFY(!FrameCache::longJobRuns());
}

void TestFrameCache::clearingForgetsEverything()
{
    Stage stage(5);
    stage.ask({0, 1, 2});
    stage.cache.prepare(stage.images.paths({3, 4}));
    stage.cache.clear();
    QVERIFY(stage.cache.isIdle());
    QCOMPARE(stage.cache.bytes(), 0);
    QCOMPARE(stage.held(), QList<int>());
    const int before = stage.decoder.count(stage.images.path(2));
    stage.ask({2});
    QCOMPARE(stage.decoder.count(stage.images.path(2)), before + 1);
    QCOMPARE(stage.held(), QList<int>({2}));
}

void TestFrameCache::clearingWaitsForTheFileInUse()
{
    Stage stage(5);
    stage.ask({0});
    QSemaphore begun;
    std::atomic<bool> ended{false};
    stage.decoder.before = [&](const QString &) {
        begun.release();
        QSemaphore().tryAcquire(1, patience); // still at the file
        ended = true;
    };
    stage.cache.prepare(stage.images.paths({1, 2}));
    QVERIFY(begun.tryAcquire(1, 30000));
    stage.cache.clear();
    QVERIFY(ended);
    QVERIFY(stage.cache.isIdle());
    QCOMPARE(stage.held(), QList<int>());
    QCOMPARE(stage.decoder.count(), 2);
}

void TestFrameCache::theEndWaitsForOneImageAtMost()
{
    const ImageFiles images;
    images.writeMany(5);
    Decoder decoder;
    auto cache = std::make_unique<FrameCache>(9 * imageBytes, decoder.function(), [] { return false; });
    cache->image(images.path(0));
    QSemaphore begun;
    QSemaphore ending;
    std::atomic<bool> ended{false};
    decoder.before = [&](const QString &) {
        begun.release();
        ending.acquire();
        QSemaphore().tryAcquire(1, patience); // the end has begun meanwhile
        ended = true;
    };
    cache->prepare(images.paths({1, 2, 3}));
    QVERIFY(begun.tryAcquire(1, 30000));
    ending.release(9);
    cache.reset();
    QVERIFY(ended);
    QCOMPARE(decoder.count(), 2);
}

QTEST_GUILESS_MAIN(TestFrameCache)
#include "tst_framecache.moc"
