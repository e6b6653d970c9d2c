// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/videocontainer.h"
#include "tests/support/clips.h"
#include "tests/support/logcapture.h"
#include "tests/support/progresswatch.h"

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

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <functional>
#include <iterator>
#include <limits>
#include <vector>

namespace
{

// Arguments that make this program a child of one of its own tests.
const char makeContainerArgument[] = "--make-container";
const char limitedImportArgument[] = "--import-with-file-size-limit";

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

// Imports a video while no file may grow beyond `limit` bytes, as on a full disk.
int importWithFileSizeLimit(const QString &path, const QString &limit)
{
    qInstallMessageHandler(printMessage);
    std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit bytes = {};
    bytes.rlim_cur = bytes.rlim_max = limit.toULongLong();
    if (setrlimit(RLIMIT_FSIZE, &bytes) != 0)
        return 2;
    VideoContainer container;
    container.loadFile(path);
    std::fprintf(stdout, "imported %d frames\n", container.frameCount);
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
    void fullDiskIsLogged();

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

void TestVideoContainer::extractionGoesOnBehindFramesThatCannotBeRead()
{
    // The decoder passes over a few damaged pictures by itself; it takes many to make it give up on one
    // image.
    constexpr int frames = 6000;
    constexpr int goodAtEachEnd = 10;
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
    const QStringList written = frameFiles(container);
    QCOMPARE(log.warnings(), QStringList());
    QCOMPARE(written.size(), 2 * goodAtEachEnd);
    QCOMPARE(written.at(goodAtEachEnd - 1), QStringLiteral("frame0000000009.jpg"));
    QVERIFY(written.at(goodAtEachEnd) > QLatin1String("frame0000000010.jpg"));
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
    QTest::newRow("missing file") << "missing.avi"
                                  << "could not copy video";
    QTest::newRow("folder named like a video") << "folder.avi"
                                               << "could not copy video";
    QTest::newRow("empty path") << ""
                                << "could not copy video";
    QTest::newRow("empty file") << "empty.avi"
                                << "invalid fps";
    QTest::newRow("text file") << "text.avi"
                               << "invalid fps";
    QTest::newRow("video cut off in its header") << "cut.avi"
                                                 << "invalid fps";
    QTest::newRow("video named like the folder of the images") << "frames"
                                                               << "could not create frames folder";
    QTest::newRow("stream without length") << "stream.mjpeg"
                                           << "invalid framecount";
}

void TestVideoContainer::failuresAreLogged()
{
    QFETCH(QString, name);
    QFETCH(QString, message);
    QDir(m_folder.path()).mkdir(QStringLiteral("folder.avi"));
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

void TestVideoContainer::fullDiskIsLogged()
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
    const QByteArray output = child.readAllStandardError();
    QVERIFY2(child.exitStatus() == QProcess::NormalExit, output.constData());
    QVERIFY2(child.exitCode() == 0, output.constData());
    QVERIFY(child.readAllStandardOutput().contains("imported 3 frames"));
    QVERIFY2(output.contains("Models/videocontainer"), output.constData());
}

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.contains(QLatin1String(makeContainerArgument)))
        return makeContainer();
    if (arguments.size() == 4 && arguments.at(1) == QLatin1String(limitedImportArgument))
        return importWithFileSizeLimit(arguments.at(2), arguments.at(3));
    TestVideoContainer test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_videocontainer.moc"
