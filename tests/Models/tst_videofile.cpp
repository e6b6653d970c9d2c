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
    void onlyBackEndsForFilesAreUsed_data();
    void onlyBackEndsForFilesAreUsed();
    void aVideoIsOpened();
    void whatIsNoVideoStaysClosed_data();
    void whatIsNoVideoStaysClosed();
};

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

QTEST_APPLESS_MAIN(TestVideoFile)
#include "tst_videofile.moc"
