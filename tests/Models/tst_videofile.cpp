// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/videofile.h"
#include "tests/support/clips.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using BackEnds = std::vector<int>;
Q_DECLARE_METATYPE(BackEnds)

class TestVideoFile : public QObject
{
    Q_OBJECT

private slots:
    void whatTheEnvironmentAsksForIsReplaced(); // before anything is opened

    void onlyBackEndsForFilesAreUsed_data();
    void onlyBackEndsForFilesAreUsed();
    void aVideoIsOpened();
    void whatIsNoVideoStaysClosed_data();
    void whatIsNoVideoStaysClosed();
    void whatNamesOtherFilesStaysClosed_data();
    void whatNamesOtherFilesStaysClosed();
};

void TestVideoFile::whatTheEnvironmentAsksForIsReplaced()
{
    qputenv("OPENCV_FFMPEG_CAPTURE_OPTIONS", "format_whitelist;concat,hls|protocol_whitelist;http");
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("clip.avi"));
    QVERIFY(Clips::encode(path, Clips::movingSquare(), 3, 25, "MJPG"));
    QVERIFY(VideoFile::open(path).isOpened());
}

void TestVideoFile::onlyBackEndsForFilesAreUsed_data()
{
    QTest::addColumn<BackEnds>("offered");
    QTest::addColumn<BackEnds>("used");
    QTest::newRow("FFmpeg alone") << BackEnds{cv::CAP_FFMPEG} << BackEnds{cv::CAP_FFMPEG};
    QTest::newRow("FFmpeg among others")
        << BackEnds{cv::CAP_GSTREAMER, cv::CAP_FFMPEG, cv::CAP_IMAGES} << BackEnds{cv::CAP_FFMPEG};
    QTest::newRow("no FFmpeg") << BackEnds{cv::CAP_IMAGES, cv::CAP_OPENCV_MJPEG, cv::CAP_V4L2,
                                           cv::CAP_GSTREAMER}
                               << BackEnds{cv::CAP_GSTREAMER, cv::CAP_OPENCV_MJPEG};
    QTest::newRow("cameras and image sequences only")
        << BackEnds{cv::CAP_V4L2, cv::CAP_IMAGES, cv::CAP_FIREWIRE} << BackEnds{};
    QTest::newRow("nothing") << BackEnds{} << BackEnds{};
}

void TestVideoFile::onlyBackEndsForFilesAreUsed()
{
    QFETCH(BackEnds, offered);
    QFETCH(BackEnds, used);
    QVERIFY(VideoFile::backEnds(offered) == used);
}

void TestVideoFile::aVideoIsOpened()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("Küche.avi"));
    QVERIFY(Clips::encode(path, Clips::movingSquare(), 3, 25, "MJPG"));
    QVERIFY(VideoFile::open(path).isOpened());
}

void TestVideoFile::whatIsNoVideoStaysClosed_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("missing") << QStringLiteral("missing.avi");
    QTest::newRow("text") << QStringLiteral("text.avi");
    QTest::newRow("a camera's number") << QStringLiteral("0");
}

void TestVideoFile::whatIsNoVideoStaysClosed()
{
    QFETCH(QString, name);
    const QTemporaryDir folder;
    QFile text(folder.filePath(QStringLiteral("text.avi")));
    QVERIFY(text.open(QIODevice::WriteOnly));
    text.write("no video");
    text.close();
    QVERIFY(!VideoFile::open(folder.filePath(name)).isOpened());
}

void TestVideoFile::whatNamesOtherFilesStaysClosed_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("HLS playlist") << QByteArray("#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:1\n"
                                                "#EXTINF:1.0,\nclip.mp4\n#EXT-X-ENDLIST\n");
    QTest::newRow("DASH manifest") << QByteArray(
        "<?xml version=\"1.0\"?><MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" "
        "mediaPresentationDuration=\"PT1S\" profiles=\"urn:mpeg:dash:profile:isoff-on-demand:2011\"><Period>"
        "<AdaptationSet contentType=\"video\"><Representation id=\"1\" bandwidth=\"1000\">"
        "<BaseURL>clip.mp4</BaseURL></Representation></AdaptationSet></Period></MPD>");
    QTest::newRow("list of files") << QByteArray("ffconcat version 1.0\nfile clip.mp4\n");
}

/// Each of them would be opened by its content, and show the clip beside it.
void TestVideoFile::whatNamesOtherFilesStaysClosed()
{
    QFETCH(QByteArray, text);
    const QTemporaryDir folder;
    const QString clip = folder.filePath(QStringLiteral("clip.mp4"));
    if (!Clips::encodeMp4(clip, Clips::movingSquare(), 5, 25))
        QSKIP("no such encoder here");
    QVERIFY(VideoFile::open(clip).isOpened());
    QFile list(folder.filePath(QStringLiteral("list.mp4")));
    QVERIFY(list.open(QIODevice::WriteOnly));
    list.write(text);
    list.close();
    QVERIFY(!VideoFile::open(list.fileName()).isOpened());
}

QTEST_APPLESS_MAIN(TestVideoFile)
#include "tst_videofile.moc"
