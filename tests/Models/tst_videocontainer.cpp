// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/videocontainer.h"
#include "tests/support/clips.h"
#include "tests/support/littlememory.h"
#include "tests/support/logcapture.h"
#include "tests/support/progresswatch.h"
#include "tests/support/smalldisk.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProgressDialog>
#include <QTemporaryDir>
#include <QtEndian>
#include <QThread>
#include <QThreadPool>
#include <QTimer>
#include <QtTest>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>

#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <vector>

namespace
{

// Arguments that make this program a child of one of its own tests.
const char makeContainerArgument[] = "--make-container";
const char limitedImportArgument[] = "--import-with-file-size-limit";
const char importArgument[] = "--import";

Clips::Clip smallClip()
{
    return Clips::numberedGround(QSize(128, 96)); // six bits of frame number
}

QString rootOf(const VideoContainer &container)
{
    return QFileInfo(QFileInfo(container.getFramePath(0)).path()).path();
}

QStringList frameFiles(const VideoContainer &container)
{
    return QDir(rootOf(container) + QStringLiteral("/frames")).entryList(QDir::Files, QDir::Name);
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString &path, const QByteArray &data)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

int shownFrame(const VideoContainer &container, int frame)
{
    return Clips::frameNumber(cv::imread(container.getFramePath(frame).toUtf8().toStdString()));
}

// Overwrites the frame counts in the headers of an AVI file.
bool claimFrames(QByteArray &avi, quint32 frames)
{
    constexpr int countInMainHeader = 8 + 16;   // bytes from the chunk's name
    constexpr int countInStreamHeader = 8 + 32; // bytes from the chunk's name
    const int mainHeader = avi.indexOf("avih");
    const int streamHeader = avi.indexOf("strh");
    if (mainHeader < 0 || streamHeader < 0)
        return false;
    qToLittleEndian(frames, avi.data() + mainHeader + countInMainHeader);
    qToLittleEndian(frames, avi.data() + streamHeader + countInStreamHeader);
    return true;
}

// Blanks the pictures `first` to `last` of a Motion JPEG file in AVI.
bool damageFrames(QByteArray &avi, int first, int last)
{
    int position = avi.indexOf("movi");
    for (int frame = 0; frame <= last; ++frame) {
        position = avi.indexOf("00dc", position + 4);
        if (position < 0)
            return false;
        const int size = static_cast<int>(qFromLittleEndian<quint32>(avi.constData() + position + 4));
        if (frame >= first)
            std::fill_n(avi.data() + position + 8, size, '\0');
        position += 4 + size;
    }
    return true;
}

void printMessage(QtMsgType, const QMessageLogContext &context, const QString &text)
{
    std::fprintf(stderr, "%s|%s|%s|%s\n", context.file, context.function, context.category, qPrintable(text));
}

int makeContainer()
{
    qInstallMessageHandler(printMessage);
    const VideoContainer container;
    return 0;
}

/// Says on the standard output how an import ended.
void import(const QString &path)
{
    VideoContainer container;
    const bool loaded = container.loadFile(path);
    std::fprintf(stdout, "%s, %s, left %d images\n", loaded ? "imported" : "failed",
                 qPrintable(container.failure()), frameFiles(container).size());
}

// Imports a video while no file may grow beyond `limit` bytes, as on a full disk.
int importWithFileSizeLimit(const QString &path, const QString &limit)
{
    qInstallMessageHandler(printMessage);
    std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit bytes = {};
    bytes.rlim_cur = bytes.rlim_max = limit.toULongLong();
    if (setrlimit(RLIMIT_FSIZE, &bytes) != 0)
        return 2;
    import(path);
    return 0;
}

} // namespace

class TestVideoContainer : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void newContainerIsEmpty();
    void everyContainerHasItsOwnTemporaryFolder();
    void framePathsSortInFrameOrder_data();
    void framePathsSortInFrameOrder();
    void framesAreSplitIntoOneChunkPerThread_data();
    void framesAreSplitIntoOneChunkPerThread();
    void chunkBeginsAtTheEndBefore_data();
    void chunkBeginsAtTheEndBefore();
    void cancellingIsASlot();
    void fileNameIsTheLastPart_data();
    void fileNameIsTheLastPart();

    void importMakesAnImageOfEveryFrame_data();
    void importMakesAnImageOfEveryFrame();
    void fileNamesOfAllKindsAreImported_data();
    void fileNamesOfAllKindsAreImported();
    void laterChunksBeginWithARepeatedFrame_data();
    void laterChunksBeginWithARepeatedFrame();
    void chunkWritesItsFramesOnly();
    void emptyChunksWriteNothing();
    void imagesHaveTheCodecsDefaultQuality();
    void threadsDoNotChangeTheImages();
    void foldersAreRemovedWithTheContainer();
    void framesThatAreNotThereAreLeftOut_data();
    void framesThatAreNotThereAreLeftOut();
    void extractionGoesOnBehindFramesThatCannotBeRead_data();
    void extractionGoesOnBehindFramesThatCannotBeRead();

    void dialogIsBusyAndModal();
    void abortEndsTheImport();
    void closingTheDialogAbortsToo_data();
    void closingTheDialogAbortsToo();
    void cancelledWorkerWritesNothing();

    void failuresAreLogged_data();
    void failuresAreLogged();
    void absurdFrameCountsAreRejected_data();
    void absurdFrameCountsAreRejected();
    void secondImportFailsOnTheFramesFolder();
    void withoutTemporaryFolderTheProcessEnds();
    void aLinkToAVideoIsImported();
    void tooManyFramesAreRefused_data();
    void tooManyFramesAreRefused();
    void fullDiskEndsTheImport();
    void tooLittleRoomEndsTheImport_data();
    void tooLittleRoomEndsTheImport();
    void roomThatIsJustEnoughIsTaken();
    void aDiskThatFillsUpEndsTheImport();

private:
    QString clip(const QString &name) const { return m_folder.filePath(name); }
    VideoContainer *prepared(VideoContainer *container, const QString &path,
                             const QList<int> &chunkEnds) const;

    QTemporaryDir m_folder;
    static constexpr int m_clipFrames = 20;
};

void TestVideoContainer::initTestCase()
{
    QVERIFY(Clips::encode(clip("mjpg.avi"), smallClip(), m_clipFrames, 25, "MJPG"));
    QVERIFY(Clips::encode(clip("mpeg4.avi"), smallClip(), m_clipFrames, 25, "XVID"));
    Clips::encode(clip("h264.mp4"), smallClip(), m_clipFrames, 25, "avc1");
}

// Stands in for the steps of an import before the extraction, with chunks of the test's choice.
VideoContainer *TestVideoContainer::prepared(VideoContainer *container, const QString &path,
                                             const QList<int> &chunkEnds) const
{
    QDir(rootOf(*container)).mkdir(QStringLiteral("frames"));
    container->videoPath = path;
    container->chunkEnds = chunkEnds;
    container->frameCount = chunkEnds.last();
    return container;
}

void TestVideoContainer::newContainerIsEmpty()
{
    const VideoContainer container;
    QCOMPARE(container.fps, 0.0);
    QCOMPARE(container.frameCount, 0);
    QCOMPARE(container.length, 0.0);
    QCOMPARE(container.width, -1);
    QCOMPARE(container.height, -1);
    QVERIFY(container.chunkEnds.isEmpty());
    QVERIFY(container.videoPath.isEmpty());
    QVERIFY(!container.parent());
    QVERIFY(QFileInfo(rootOf(container)).isDir());
    QVERIFY(QDir(rootOf(container)).isEmpty());
}

void TestVideoContainer::everyContainerHasItsOwnTemporaryFolder()
{
    QObject parent;
    const VideoContainer first;
    auto *second = new VideoContainer(&parent);
    QCOMPARE(second->parent(), &parent);
    QVERIFY(rootOf(first) != rootOf(*second));
    QCOMPARE(QFileInfo(rootOf(first)).path(), QDir::tempPath());
}

void TestVideoContainer::framePathsSortInFrameOrder_data()
{
    QTest::addColumn<int>("frame");
    QTest::addColumn<QString>("name");
    QTest::newRow("first") << 0 << "/frames/frame0000000000.jpg";
    QTest::newRow("one digit") << 7 << "/frames/frame0000000007.jpg";
    QTest::newRow("two digits") << 42 << "/frames/frame0000000042.jpg";
    QTest::newRow("six digits") << 123456 << "/frames/frame0000123456.jpg";
    QTest::newRow("ten digits") << 2147483647 << "/frames/frame2147483647.jpg";
}

void TestVideoContainer::framePathsSortInFrameOrder()
{
    QFETCH(int, frame);
    QFETCH(QString, name);
    const VideoContainer container; // neither frame nor file need exist
    QCOMPARE(container.getFramePath(frame), rootOf(container) + name);
}

void TestVideoContainer::framesAreSplitIntoOneChunkPerThread_data()
{
    QTest::addColumn<int>("frames");
    QTest::addColumn<int>("threads");
    QTest::addColumn<QList<int>>("ends");
    QTest::newRow("last chunk takes the remainder") << 10 << 4 << QList<int>{2, 4, 6, 10};
    QTest::newRow("no remainder") << 8 << 4 << QList<int>{2, 4, 6, 8};
    QTest::newRow("fewer frames than threads") << 3 << 4 << QList<int>{0, 0, 0, 3};
    QTest::newRow("as many frames as threads") << 4 << 4 << QList<int>{1, 2, 3, 4};
    QTest::newRow("one thread") << 10 << 1 << QList<int>{10};
    QTest::newRow("one frame, one thread") << 1 << 1 << QList<int>{1};
    QTest::newRow("large remainder") << 15 << 8 << QList<int>{1, 2, 3, 4, 5, 6, 7, 15};
}

void TestVideoContainer::framesAreSplitIntoOneChunkPerThread()
{
    QFETCH(int, frames);
    QFETCH(int, threads);
    QFETCH(QList<int>, ends);
    QCOMPARE(VideoContainer::splitIntoChunks(frames, threads), ends);
}

void TestVideoContainer::chunkBeginsAtTheEndBefore_data()
{
    QTest::addColumn<QList<int>>("ends");
    QTest::addColumn<int>("end");
    QTest::addColumn<int>("start");
    const QList<int> ends{2, 4, 6, 10};
    QTest::newRow("first chunk") << ends << 2 << 0;
    QTest::newRow("second chunk") << ends << 4 << 2;
    QTest::newRow("last chunk") << ends << 10 << 6;
    QTest::newRow("no such chunk") << ends << 5 << 0;
    QTest::newRow("no chunks") << QList<int>{} << 5 << 0;
    QTest::newRow("only chunk") << QList<int>{10} << 10 << 0;
    QTest::newRow("empty chunks") << QList<int>{0, 0, 0, 3} << 0 << 0;
    QTest::newRow("chunk behind empty ones") << QList<int>{0, 0, 0, 3} << 3 << 0;
    QTest::newRow("the first of equal ends counts") << QList<int>{3, 5, 5, 9} << 5 << 3;
}

void TestVideoContainer::chunkBeginsAtTheEndBefore()
{
    QFETCH(QList<int>, ends);
    QFETCH(int, end);
    QFETCH(int, start);
    VideoContainer container;
    container.chunkEnds = ends;
    QCOMPARE(container.chunkStart(end), start);
}

void TestVideoContainer::cancellingIsASlot()
{
    QVERIFY(VideoContainer::staticMetaObject.indexOfSlot("setCancel()") >= 0);
}

void TestVideoContainer::fileNameIsTheLastPart_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("name");
    QTest::newRow("no video yet") << ""
                                  << "";
    QTest::newRow("in a folder") << "/tmp/palu-x/clip.avi"
                                 << "clip.avi";
    QTest::newRow("blanks and dots") << "/my videos/a b.c.avi"
                                     << "a b.c.avi";
    QTest::newRow("without folder") << "clip.avi"
                                    << "clip.avi";
    QTest::newRow("without ending") << "/tmp/clip"
                                    << "clip";
    QTest::newRow("backslashes belong to the name") << "/tmp/a\\b.avi"
                                                    << "a\\b.avi";
}

void TestVideoContainer::fileNameIsTheLastPart()
{
    QFETCH(QString, path);
    QFETCH(QString, name);
    VideoContainer container;
    container.videoPath = path;
    QCOMPARE(container.fileName(), name);
}

void TestVideoContainer::importMakesAnImageOfEveryFrame_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("fourcc");
    QTest::addColumn<double>("fps");
    QTest::addColumn<int>("frames");
    QTest::newRow("Motion JPEG in AVI") << "format-mjpg.avi" << QByteArray("MJPG") << 25.0 << 20;
    QTest::newRow("MPEG-4 in AVI") << "format-xvid.avi" << QByteArray("XVID") << 25.0 << 20;
    QTest::newRow("MPEG-4 in MP4") << "format-mp4v.mp4" << QByteArray("mp4v") << 30.0 << 20;
    QTest::newRow("H.264 in MP4") << "format-h264.mp4" << QByteArray("avc1") << 25.0 << 20;
    QTest::newRow("WMV") << "format-wmv.wmv" << QByteArray("WMV2") << 25.0 << 20;
    QTest::newRow("one frame") << "one.avi" << QByteArray("MJPG") << 25.0 << 1;
    QTest::newRow("fractional frame rate") << "rate.avi" << QByteArray("MJPG") << 12.5 << 7;
}

void TestVideoContainer::importMakesAnImageOfEveryFrame()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, fourcc);
    QFETCH(double, fps);
    QFETCH(int, frames);
    if (!Clips::encode(clip(name), smallClip(), frames, fps, fourcc.constData()))
        QSKIP("no such encoder here");
    VideoContainer container;
    const LogCapture log;
    QVERIFY(container.loadFile(clip(name)));
    QCOMPARE(log.warnings(), QStringList());
    QVERIFY(qAbs(container.fps - fps) < 0.01);
    QCOMPARE(container.frameCount, frames);
    QVERIFY(container.length == container.frameCount / container.fps);
    QCOMPARE(container.width, 128);
    QCOMPARE(container.height, 96);
    QCOMPARE(container.chunkEnds, VideoContainer::splitIntoChunks(frames, QThread::idealThreadCount()));
    QCOMPARE(container.videoPath, rootOf(container) + QLatin1Char('/') + name);
    QCOMPARE(contents(container.videoPath), contents(clip(name)));

    QStringList expected;
    for (int frame = 0; frame < frames; ++frame)
        expected.append(QStringLiteral("frame%1.jpg").arg(frame, 10, 10, QLatin1Char('0')));
    QCOMPARE(frameFiles(container), expected);
    for (int frame = 0; frame < frames; ++frame) {
        const cv::Mat image = cv::imread(container.getFramePath(frame).toStdString());
        QCOMPARE(image.cols, 128);
        QCOMPARE(image.rows, 96);
        QCOMPARE(image.type(), CV_8UC3);
    }
}

void TestVideoContainer::fileNamesOfAllKindsAreImported_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("blanks") << "my own clip.avi";
    QTest::newRow("quotes") << "it's \"quoted\".avi";
    QTest::newRow("umlauts") << QString::fromUtf8("Übungsstraße für Bären.avi");
    QTest::newRow("Chinese") << QString::fromUtf8("视频.avi");
    QTest::newRow("percent signs") << "50%d of %1.avi";
    QTest::newRow("several dots") << "a.b.c.avi";
    QTest::newRow("marks of a shell") << "-a;$(b)&[c]*?#.avi";
    QTest::newRow("200 characters") << QString(196, QLatin1Char('x')) + ".avi";
    QTest::newRow("without ending") << "clip";
}

void TestVideoContainer::fileNamesOfAllKindsAreImported()
{
    QFETCH(QString, name);
    QVERIFY(QFile::copy(clip("mjpg.avi"), clip(name)));
    VideoContainer container;
    const LogCapture log;
    QVERIFY(container.loadFile(clip(name)));
    QCOMPARE(log.warnings(), QStringList());
    QCOMPARE(container.videoPath, rootOf(container) + QLatin1Char('/') + name);
    QCOMPARE(frameFiles(container).size(), int(m_clipFrames));
    QVERIFY(QFile::exists(clip(name)));
}

void TestVideoContainer::laterChunksBeginWithARepeatedFrame_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QList<int>>("chunkEnds");
    for (const char *name : {"mjpg.avi", "h264.mp4"}) {
        const QByteArray row(name);
        QTest::newRow(row + ", one chunk") << name << QList<int>{20};
        QTest::newRow(row + ", two chunks") << name << QList<int>{10, 20};
        QTest::newRow(row + ", four chunks of unequal length") << name << QList<int>{1, 4, 13, 20};
    }
}

void TestVideoContainer::laterChunksBeginWithARepeatedFrame()
{
    QFETCH(QString, name);
    QFETCH(QList<int>, chunkEnds);
    if (!QFile::exists(clip(name)))
        QSKIP("no such encoder here");
    VideoContainer container;
    prepared(&container, clip(name), chunkEnds);
    const VideoContainer::videoToFramesWrapper extract{&container};
    for (int end : chunkEnds)
        extract(end);
    // The seek goes to one frame before a chunk, and what is read first is stored as its first frame.
    for (int frame = 0; frame < m_clipFrames; ++frame)
        QCOMPARE(shownFrame(container, frame), frame < chunkEnds.first() ? frame : frame - 1);
}

void TestVideoContainer::chunkWritesItsFramesOnly()
{
    VideoContainer container;
    prepared(&container, clip("mjpg.avi"), {4, 7, 20});
    int end = 7;
    container.videoToFrames(end);
    QCOMPARE(end, 7);
    QCOMPARE(frameFiles(container),
             QStringList({"frame0000000004.jpg", "frame0000000005.jpg", "frame0000000006.jpg"}));
    // An end that is none of the list's counts from the beginning.
    int unknown = 2;
    container.videoToFrames(unknown);
    QCOMPARE(frameFiles(container).size(), 5);
    QCOMPARE(shownFrame(container, 1), 1);
}

void TestVideoContainer::emptyChunksWriteNothing()
{
    VideoContainer container;
    prepared(&container, clip("mjpg.avi"), {0, 0, 0, 3});
    int end = 0;
    container.videoToFrames(end);
    QVERIFY(frameFiles(container).isEmpty());
    end = 3;
    container.videoToFrames(end);
    QCOMPARE(frameFiles(container).size(), 3);
    QCOMPARE(shownFrame(container, 2), 2);
}

void TestVideoContainer::imagesHaveTheCodecsDefaultQuality()
{
    VideoContainer container;
    prepared(&container, clip("mjpg.avi"), {m_clipFrames});
    int end = m_clipFrames;
    container.videoToFrames(end);
    cv::VideoCapture capture(clip("mjpg.avi").toStdString());
    for (int frame = 0; frame < m_clipFrames; ++frame) {
        cv::Mat image;
        QVERIFY(capture.read(image));
        std::vector<uchar> jpeg;
        QVERIFY(cv::imencode(".jpg", image, jpeg));
        const QByteArray stored = contents(container.getFramePath(frame));
        QCOMPARE(stored.size(), int(jpeg.size()));
        QVERIFY(std::equal(jpeg.begin(), jpeg.end(), stored.begin(),
                           [](uchar left, char right) { return left == static_cast<uchar>(right); }));
    }
}

void TestVideoContainer::threadsDoNotChangeTheImages()
{
    QThreadPool *pool = QThreadPool::globalInstance();
    const int threads = pool->maxThreadCount();
    VideoContainer single;
    pool->setMaxThreadCount(1);
    const bool loadedSingle = single.loadFile(clip("mpeg4.avi"));
    VideoContainer many;
    pool->setMaxThreadCount(8);
    const bool loadedMany = many.loadFile(clip("mpeg4.avi"));
    pool->setMaxThreadCount(threads);
    QVERIFY(loadedSingle && loadedMany);
    QCOMPARE(single.chunkEnds, many.chunkEnds);
    for (int frame = 0; frame < m_clipFrames; ++frame) {
        QVERIFY(!contents(single.getFramePath(frame)).isEmpty());
        QVERIFY(contents(single.getFramePath(frame)) == contents(many.getFramePath(frame)));
    }
}

void TestVideoContainer::foldersAreRemovedWithTheContainer()
{
    QString root;
    {
        VideoContainer container;
        root = rootOf(container);
        QVERIFY(container.loadFile(clip("mjpg.avi")));
        QVERIFY(QFile::exists(container.getFramePath(0)));
    }
    QVERIFY(!QFile::exists(root));
    QVERIFY(QFile::exists(clip("mjpg.avi")));
}

void TestVideoContainer::framesThatAreNotThereAreLeftOut_data()
{
    QTest::addColumn<bool>("wholeImport");
    QTest::newRow("one chunk") << false;
    QTest::newRow("whole import") << true;
}

void TestVideoContainer::framesThatAreNotThereAreLeftOut()
{
    QFETCH(bool, wholeImport);
    constexpr int claimed = 30;
    QByteArray avi = contents(clip("mjpg.avi"));
    QVERIFY(claimFrames(avi, claimed));
    QVERIFY(writeFile(clip("claims-more.avi"), avi));
    VideoContainer container;
    const LogCapture log;
    if (wholeImport) {
        QVERIFY(container.loadFile(clip("claims-more.avi")));
        QCOMPARE(container.frameCount, claimed);
        QVERIFY(!QFile::exists(container.getFramePath(claimed - 1)));
    } else {
        prepared(&container, clip("claims-more.avi"), {claimed});
        int end = claimed;
        container.videoToFrames(end);
        QCOMPARE(frameFiles(container).size(), int(m_clipFrames));
        QVERIFY(QFile::exists(container.getFramePath(m_clipFrames - 1)));
    }
    QCOMPARE(shownFrame(container, 0), 0);
    QCOMPARE(log.warnings(), QStringList());
}

void TestVideoContainer::extractionGoesOnBehindFramesThatCannotBeRead_data()
{
    QTest::addColumn<int>("damaged");
    QTest::addColumn<int>("written");
    QTest::newRow("a hundred in a row") << 100 << 20;
    QTest::newRow("the most that are gone past") << 999 << 20;
    QTest::newRow("too many to look any further") << 1000 << 10;
}

void TestVideoContainer::extractionGoesOnBehindFramesThatCannotBeRead()
{
    QFETCH(int, damaged);
    QFETCH(int, written);
    constexpr int goodAtEachEnd = 10;
    const int frames = damaged + 2 * goodAtEachEnd;
    const Clips::Clip tiny = Clips::numberedGround(QSize(32, 32));
    QVERIFY(Clips::encode(clip("damaged.avi"), tiny, frames, 25, "MJPG"));
    QByteArray avi = contents(clip("damaged.avi"));
    QVERIFY(damageFrames(avi, goodAtEachEnd, frames - goodAtEachEnd - 1));
    QVERIFY(writeFile(clip("damaged.avi"), avi));
    VideoContainer container;
    prepared(&container, clip("damaged.avi"), {frames});
    const LogCapture log;
    int end = frames;
    container.videoToFrames(end);
    const QStringList images = frameFiles(container);
    QCOMPARE(log.warnings(), QStringList());
    QCOMPARE(images.size(), written);
    QCOMPARE(images.at(goodAtEachEnd - 1), QStringLiteral("frame0000000009.jpg"));
    if (written > goodAtEachEnd)
        QVERIFY(images.at(goodAtEachEnd) > QLatin1String("frame0000000010.jpg"));
}

void TestVideoContainer::dialogIsBusyAndModal()
{
    VideoContainer container;
    const ProgressWatch watch;
    QVERIFY(container.loadFile(clip("mpeg4.avi")));
    QVERIFY(watch.seen);
    QCOMPARE(watch.label, QStringLiteral("Extracting 20 frames. Please wait."));
    QCOMPARE(watch.button, QStringLiteral("Abort"));
    QCOMPARE(watch.minimum, 0);
    QCOMPARE(watch.maximum, 0);
    QVERIFY(!watch.hasParent);
    QCOMPARE(watch.modality, Qt::WindowModal);
    for (QWidget *widget : QApplication::topLevelWidgets())
        QVERIFY(!qobject_cast<QProgressDialog *>(widget));
}

void TestVideoContainer::abortEndsTheImport()
{
    constexpr int frames = 150;
    QVERIFY(Clips::encode(clip("long.avi"), Clips::numberedGround(), frames, 25, "MJPG"));
    QString root;
    {
        VideoContainer container;
        root = rootOf(container);
        ProgressWatch watch;
        watch.abort(ProgressWatch::Way::Button, [&container] { return frameFiles(container).size() >= 2; });
        const LogCapture log;
        QVERIFY(!container.loadFile(clip("long.avi")));
        QVERIFY(watch.aborted);
        QCOMPARE(log.warnings(), QStringList());
        QCOMPARE(container.frameCount, frames);
        const QStringList written = frameFiles(container);
        QVERIFY(written.size() >= 2);
        QVERIFY(written.size() < frames);
        // No worker is left that goes on writing.
        QVERIFY(QThreadPool::globalInstance()->waitForDone(10000));
        QCOMPARE(frameFiles(container), written);
        for (const QString &name : written)
            QVERIFY(!cv::imread((root + "/frames/" + name).toStdString()).empty());
    }
    QVERIFY(!QFile::exists(root));
}

void TestVideoContainer::closingTheDialogAbortsToo_data()
{
    QTest::addColumn<ProgressWatch::Way>("way");
    QTest::newRow("Escape key") << ProgressWatch::Way::EscapeKey;
    QTest::newRow("window closed") << ProgressWatch::Way::WindowButton;
}

void TestVideoContainer::closingTheDialogAbortsToo()
{
    QFETCH(ProgressWatch::Way, way);
    constexpr int frames = 150;
    QVERIFY(Clips::encode(clip("closed.avi"), Clips::numberedGround(), frames, 25, "MJPG"));
    VideoContainer container;
    ProgressWatch watch;
    watch.abort(way, [&container] { return frameFiles(container).size() >= 2; });
    const LogCapture log;
    QVERIFY(!container.loadFile(clip("closed.avi")));
    QVERIFY(watch.aborted);
    QCOMPARE(log.warnings(), QStringList());
    QVERIFY(frameFiles(container).size() < frames);
}

void TestVideoContainer::cancelledWorkerWritesNothing()
{
    VideoContainer container;
    prepared(&container, clip("mjpg.avi"), {m_clipFrames});
    container.setCancel();
    int end = m_clipFrames;
    container.videoToFrames(end);
    QVERIFY(frameFiles(container).isEmpty());
}

void TestVideoContainer::failuresAreLogged_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *title, const char *name, const char *message, const char *reason) {
        QTest::newRow(title) << QString::fromLatin1(name) << QString::fromLatin1(message)
                             << QString::fromLatin1(reason);
    };
    const char *const notCopied = "could not copy video";
    const char *const irregular = "it is not a regular file";
    row("missing file", "missing.avi", notCopied, "there is no such file");
    row("folder named like a video", "folder.avi", notCopied, irregular);
    row("no name but that of the folder", "", notCopied, irregular);
    row("pipe that nobody writes to", "pipe.avi", notCopied, irregular);
    row("socket", "socket.avi", notCopied, irregular);
    row("link to a pipe", "link-pipe.avi", notCopied, irregular);
    row("link to an endless device", "link-zero.avi", notCopied, irregular);
    row("link to a folder", "link-folder.avi", notCopied, irregular);
    row("link to nothing", "link-missing.avi", notCopied, "there is no such file");
    row("empty file", "empty.avi", "invalid fps", "it is no video");
    row("link to an empty file", "link-empty.avi", "invalid fps", "it is no video");
    row("text file", "text.avi", "invalid fps", "it is no video");
    row("video cut off in its header", "cut.avi", "invalid fps", "it is no video");
    row("video named like the folder of the images", "frames", "could not create frames folder",
        "no folder for its frames could be made");
    row("stream without length", "stream.mjpeg", "invalid framecount",
        "it does not say how many frames it has");
}

void TestVideoContainer::failuresAreLogged()
{
    QFETCH(QString, name);
    QFETCH(QString, message);
    QFETCH(QString, reason);
    QDir(m_folder.path()).mkdir(QStringLiteral("folder.avi"));
    mknod(QFile::encodeName(clip("pipe.avi")).constData(), S_IFIFO | 0600, 0);
    mknod(QFile::encodeName(clip("socket.avi")).constData(), S_IFSOCK | 0600, 0);
    for (const char *target : {"pipe", "folder", "missing", "empty"})
        QFile::link(clip(QLatin1String(target) + ".avi"), clip("link-" + QLatin1String(target) + ".avi"));
    QFile::link(QStringLiteral("/dev/zero"), clip("link-zero.avi"));
    QVERIFY(writeFile(clip("empty.avi"), QByteArray()));
    QVERIFY(writeFile(clip("text.avi"), QByteArray("no video at all\n").repeated(500)));
    QVERIFY(writeFile(clip("cut.avi"), contents(clip("mjpg.avi")).left(60)));
    QVERIFY(writeFile(clip("frames"), contents(clip("mjpg.avi"))));
    QByteArray stream; // Motion JPEG without a container around it
    for (int frame = 0; frame < 5; ++frame) {
        std::vector<uchar> jpeg;
        QVERIFY(cv::imencode(".jpg", smallClip().render(frame), jpeg));
        std::transform(jpeg.begin(), jpeg.end(), std::back_inserter(stream),
                       [](uchar byte) { return static_cast<char>(byte); });
    }
    QVERIFY(writeFile(clip("stream.mjpeg"), stream));

    QString root;
    {
        VideoContainer container;
        root = rootOf(container);
        const LogCapture log;
        QVERIFY(!container.loadFile(clip(name)));
        QCOMPARE(log.warnings(), QStringList{message});
        const LogCapture::Message warning = log.messages().last();
        QVERIFY2(warning.file.startsWith(QLatin1String("Models/videocontainer")), qPrintable(warning.file));
        QCOMPARE(warning.function, QStringLiteral("bool VideoContainer::loadFile(QString)"));
        QCOMPARE(warning.category, QStringLiteral("default"));
        QCOMPARE(container.failure(), reason);
        QVERIFY(!QFile::exists(container.getFramePath(0)));
    }
    QVERIFY(!QFile::exists(root));
}

void TestVideoContainer::absurdFrameCountsAreRejected_data()
{
    QTest::addColumn<quint32>("frames");
    QTest::newRow("one more than an int holds") << 0x80000000U;
    QTest::newRow("greatest number of the header") << 0xffffffffU;
}

void TestVideoContainer::absurdFrameCountsAreRejected()
{
    QFETCH(quint32, frames);
    QByteArray avi = contents(clip("mjpg.avi"));
    QVERIFY(claimFrames(avi, frames));
    QVERIFY(writeFile(clip("absurd.avi"), avi));
    cv::VideoCapture capture(clip("absurd.avi").toStdString(), cv::CAP_FFMPEG);
    if (!(std::abs(capture.get(cv::CAP_PROP_FRAME_COUNT)) > std::numeric_limits<int>::max()))
        QSKIP("this back end does not believe the header");
    VideoContainer container;
    const LogCapture log;
    QVERIFY(!container.loadFile(clip("absurd.avi")));
    QCOMPARE(log.warnings(), QStringList("invalid framecount"));
    QVERIFY(frameFiles(container).isEmpty());
}

void TestVideoContainer::secondImportFailsOnTheFramesFolder()
{
    VideoContainer container;
    QVERIFY(container.loadFile(clip("mjpg.avi")));
    const LogCapture log;
    QVERIFY(!container.loadFile(clip("mjpg.avi")));
    QVERIFY(!container.loadFile(clip("mpeg4.avi")));
    QCOMPARE(log.warnings(), QStringList({"could not copy video", "could not create frames folder"}));
}

void TestVideoContainer::withoutTemporaryFolderTheProcessEnds()
{
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // A file in the place of the folder keeps out even the super-user.
    environment.insert(QStringLiteral("TMPDIR"), clip("mjpg.avi"));
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(), {makeContainerArgument});
    QVERIFY(child.waitForFinished());
    QCOMPARE(child.exitStatus(), QProcess::NormalExit);
    QCOMPARE(child.exitCode(), 1);
    const QString output = QString::fromUtf8(child.readAllStandardError()).trimmed();
    const QStringList parts = output.section(QLatin1Char('\n'), -1).split(QLatin1Char('|'));
    QVERIFY2(parts.size() == 4, qPrintable(output));
    QVERIFY2(parts.at(0).startsWith(QLatin1String("Models/videocontainer")), qPrintable(output));
    QCOMPARE(QString(parts.at(1)).remove(QLatin1Char(' ')),
             QStringLiteral("VideoContainer::VideoContainer(QObject*)"));
    QCOMPARE(parts.at(2), QStringLiteral("default"));
    QCOMPARE(parts.at(3), QStringLiteral("Could not create temporary folder!"));

    environment.remove(QStringLiteral("TMPDIR"));
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(), {makeContainerArgument});
    QVERIFY(child.waitForFinished());
    QCOMPARE(child.exitCode(), 0);
}

void TestVideoContainer::aLinkToAVideoIsImported()
{
    QVERIFY(QFile::link(clip("mjpg.avi"), clip("link-mjpg.avi")));
    VideoContainer container;
    QVERIFY(container.loadFile(clip("link-mjpg.avi")));
    QVERIFY(!QFileInfo(container.videoPath).isSymLink());
    QCOMPARE(frameFiles(container).size(), int(m_clipFrames));
    QCOMPARE(container.failure(), QString());
}

void TestVideoContainer::tooManyFramesAreRefused_data()
{
    QTest::addColumn<quint32>("frames");
    QTest::addColumn<bool>("littleMemory");
    QTest::newRow("for whole coordinates") << 53'700'000U << false;
    QTest::newRow("greatest number") << 0x7fffffffU << false;
    QTest::newRow("for the memory") << 1'000'000U << true;
}

void TestVideoContainer::tooManyFramesAreRefused()
{
    QFETCH(quint32, frames);
    QFETCH(bool, littleMemory);
    QByteArray avi = contents(clip("mjpg.avi"));
    QVERIFY(claimFrames(avi, frames));
    QVERIFY(writeFile(clip("many.avi"), avi));
    cv::VideoCapture capture(clip("many.avi").toStdString(), cv::CAP_FFMPEG);
    if (capture.get(cv::CAP_PROP_FRAME_COUNT) != frames)
        QSKIP("this back end does not believe the header");
    VideoContainer container;
    const LogCapture log;
    {
        std::unique_ptr<LittleMemory> memory;
        if (littleMemory)
            memory = std::make_unique<LittleMemory>(700 * 1024 * 1024);
        QVERIFY(!container.loadFile(clip("many.avi")));
    }
    QCOMPARE(log.warnings(), QStringList("too many frames"));
    QCOMPARE(
        container.failure(),
        QStringLiteral("it says that it has %1 frames, too many for this machine").arg(container.frameCount));
    QVERIFY(frameFiles(container).isEmpty());
}

void TestVideoContainer::fullDiskEndsTheImport()
{
    // The copy of the video must fit where an image does not.
    QVERIFY(Clips::encode(clip("dense.avi"), Clips::numberedGround(), 3, 25, "XVID"));
    const qint64 videoSize = QFileInfo(clip("dense.avi")).size();
    VideoContainer container;
    QVERIFY(container.loadFile(clip("dense.avi")));
    QVERIFY(QFileInfo(container.getFramePath(0)).size() > videoSize + 1000);

    QProcess child;
    child.start(QCoreApplication::applicationFilePath(),
                {limitedImportArgument, clip("dense.avi"), QString::number(videoSize + 1000)});
    QVERIFY(child.waitForFinished());
    const QByteArray log = child.readAllStandardError();
    QVERIFY2(child.exitStatus() == QProcess::NormalExit, log.constData());
    QVERIFY2(child.exitCode() == 0, log.constData());
    const QByteArray output = child.readAllStandardOutput();
    QVERIFY2(output.contains("failed, the image of frame "), output.constData());
    QVERIFY2(output.contains(" could not be written"), output.constData());
    QVERIFY2(output.contains("left 0 images"), output.constData());
    QVERIFY2(log.contains("Models/videocontainer"), log.constData());
}

void TestVideoContainer::tooLittleRoomEndsTheImport_data()
{
    QTest::addColumn<int>("freeBlocks");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("reason");
    const QString room = QDir::toNativeSeparators(QDir::tempPath());
    QTest::newRow("nothing is left") << 0 << "could not copy video"
                                     << "1 MB are missing in " + room;
    QTest::newRow("for the video only") << 200 << "no room for the frames"
                                        << "there is no room for its 500 frames, 2 MB are missing in " + room;
}

void TestVideoContainer::tooLittleRoomEndsTheImport()
{
    QFETCH(int, freeBlocks);
    QFETCH(QString, message);
    QFETCH(QString, reason);
    // Each image takes a block of the small disk.
    const Clips::Clip tiny = Clips::numberedGround(QSize(64, 64));
    QVERIFY(Clips::encode(clip("room.avi"), tiny, 500, 25, "XVID"));
    VideoContainer container;
    const LogCapture log;
    const SmallDisk disk(qint64(freeBlocks) * SmallDisk::blockSize);
    QVERIFY(!container.loadFile(clip("room.avi")));
    QCOMPARE(log.warnings(), QStringList(message));
    QCOMPARE(container.failure(), reason);
    QVERIFY(frameFiles(container).isEmpty());
}

void TestVideoContainer::roomThatIsJustEnoughIsTaken()
{
    const Clips::Clip tiny = Clips::numberedGround(QSize(16, 96));
    QVERIFY(Clips::encode(clip("enough.avi"), tiny, 500, 25, "MJPG"));
    QVERIFY(QFileInfo(clip("enough.avi")).size() < 500 * SmallDisk::blockSize);
    {
        const SmallDisk disk(499 * SmallDisk::blockSize);
        QVERIFY(!VideoContainer().loadFile(clip("enough.avi")));
    }
    const SmallDisk disk(500 * SmallDisk::blockSize);
    VideoContainer container;
    QVERIFY2(container.loadFile(clip("enough.avi")), qPrintable(container.failure()));
    QCOMPARE(frameFiles(container).size(), 500);
}

// On a disk of four megabytes, in which the first frames promise that there is room enough.
void TestVideoContainer::aDiskThatFillsUpEndsTheImport()
{
    {
        cv::VideoWriter writer(clip("denser.avi").toStdString(), cv::VideoWriter::fourcc('M', 'J', 'P', 'G'),
                               25, cv::Size(256, 256));
        cv::Mat image(256, 256, CV_8UC3, cv::Scalar::all(90));
        for (int frame = 0; frame < 200; ++frame) {
            if (frame > 10)
                cv::randu(image, 0, 255);
            writer.write(image);
        }
    }
    const QString disk = clip("disk");
    QVERIFY(QDir().mkdir(disk));
    const qint64 size = QFileInfo(clip("denser.avi")).size() + 4'000'000;
    QProcess child;
    child.start("unshare", {"-Urm", "sh", "-c",
                            "mount -t tmpfs -o size=$1 none \"$0\" && TMPDIR=\"$0\" \"$2\" \"$3\" \"$4\" && "
                            "ls -A \"$0\" | grep -c tst_videocontainer; true",
                            disk, QString::number(size), QCoreApplication::applicationFilePath(),
                            importArgument, clip("denser.avi")});
    if (!child.waitForStarted() || !child.waitForFinished() ||
        child.readAllStandardError().contains("unshare"))
        QSKIP("no disk of one's own can be made here");
    const QString output = QString::fromUtf8(child.readAllStandardOutput());
    const QRegularExpression expected(
        "^failed, there is no more room for its 200 frames, \\d+ MB are missing in " +
        QRegularExpression::escape(disk) + ", left \\d+ images\n0\n$");
    QVERIFY2(expected.match(output).hasMatch(), qPrintable(output));
}

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.contains(QLatin1String(makeContainerArgument)))
        return makeContainer();
    if (arguments.size() == 4 && arguments.at(1) == QLatin1String(limitedImportArgument))
        return importWithFileSizeLimit(arguments.at(2), arguments.at(3));
    if (arguments.size() == 3 && arguments.at(1) == QLatin1String(importArgument)) {
        import(arguments.at(2));
        return 0;
    }
    TestVideoContainer test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_videocontainer.moc"
