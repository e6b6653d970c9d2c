// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/framebounds.h"
#include "tests/support/projectwindow.h"
#include "tests/support/testproject.h"

#include <QFile>
#include <QGraphicsPixmapItem>
#include <QtTest>

#include <future>

namespace
{

const QRectF videoRectangle(0, 0, 320, 240);

// Not through the thread pool: waiting for a task that has not started runs it on the thread that waits.
QRectF onAnotherThread()
{
    return std::async(std::launch::async, frameBounds).get();
}

void removeImage(const VideoContainer &video, int frame)
{
    if (!QFile::remove(video.getFramePath(frame)))
        qFatal("there is no image of this frame");
}

} // namespace

class TestFrameBounds : public QObject
{
    Q_OBJECT

private slots:
    void withoutAWindowTheyAreTheVideos();
    void withoutAVideoTheyAreEmpty();
    void withAWindowTheyAreThoseOfTheShownImage();
    void whereTheFrameHasNoImageTheyAreTheVideos();
    void beforeTheFirstFrameTheyAreTheVideos();
    void poolThreadsGetWhatTheGuiThreadLastAskedFor();
    void aLaterWindowTakesOver();
    void outlinesOfOtherFramesOutliveAFrameWithoutImage();
};

void TestFrameBounds::withoutAWindowTheyAreTheVideos()
{
    const TestProject project(3, 320, 240);
    QCOMPARE(frameBounds(), videoRectangle);
    QCOMPARE(onAnotherThread(), videoRectangle);
}

void TestFrameBounds::withoutAVideoTheyAreEmpty()
{
    QCOMPARE(frameBounds(), QRectF());
    DataState state;
    g_state = &state;
    QCOMPARE(frameBounds(), QRectF());
    g_state = nullptr;
}

void TestFrameBounds::withAWindowTheyAreThoseOfTheShownImage()
{
    const ProjectWindow project(3, QSize(320, 240));
    g_state->video->width = 1000; // not what counts
    QCOMPARE(frameBounds(), videoRectangle);
    QCOMPARE(onAnotherThread(), videoRectangle);
}

void TestFrameBounds::whereTheFrameHasNoImageTheyAreTheVideos()
{
    const ProjectWindow project(3, QSize(320, 240));
    removeImage(*g_state->video, 1);
    g_state->setFrame(1);
    QVERIFY(project.viewer()->frameItem);
    QCOMPARE(frameBounds(), videoRectangle);
    QCOMPARE(onAnotherThread(), videoRectangle);
}

void TestFrameBounds::beforeTheFirstFrameTheyAreTheVideos()
{
    const ProjectWindow project(3, QSize(320, 240));
    MainWindow later; // has shown nothing yet
    QVERIFY(!later.frameViewer()->frameItem);
    QCOMPARE(frameBounds(), videoRectangle);
}

void TestFrameBounds::poolThreadsGetWhatTheGuiThreadLastAskedFor()
{
    const ProjectWindow project(3, QSize(320, 240));
    QCOMPARE(frameBounds(), videoRectangle);
    project.viewer()->frameItem->setPos(10, 20);
    QCOMPARE(onAnotherThread(), videoRectangle);
    QCOMPARE(frameBounds(), videoRectangle.translated(10, 20));
    QCOMPARE(onAnotherThread(), videoRectangle.translated(10, 20));
}

void TestFrameBounds::aLaterWindowTakesOver()
{
    const TestProject project(3, 320, 240);
    const int first = 0;
    const int second = 0;
    FrameBounds::setShownFrame(&first, [] { return QRectF(0, 0, 1, 1); });
    FrameBounds::setShownFrame(&second, [] { return QRectF(0, 0, 2, 2); });
    FrameBounds::withdrawShownFrame(&first); // no longer the one
    QCOMPARE(frameBounds(), QRectF(0, 0, 2, 2));
    FrameBounds::withdrawShownFrame(&second);
    QCOMPARE(frameBounds(), videoRectangle);
}

void TestFrameBounds::outlinesOfOtherFramesOutliveAFrameWithoutImage()
{
    ProjectWindow project(3, QSize(320, 240));
    KeyFrame *keyFrame = project.addObject()->keyFrames.at(2);
    keyFrame->setNewPolygon(rectangle(50, 60, 70, 80));
    removeImage(*g_state->video, 1);
    g_state->setFrame(1);
    Eigen::Affine2d shift = Eigen::Affine2d::Identity();
    shift.translation() << 250, 10;
    keyFrame->transformPolygon(shift);
    QCOMPARE(keyFrame->polygon.boundingRect(), QRectF(300, 70, 20, 80)); // clipped to the video
}

QTEST_MAIN(TestFrameBounds)
#include "tst_framebounds.moc"
