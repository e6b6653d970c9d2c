// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/projectwindow.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QtTest>

namespace
{

constexpr int bestQuality = 100; // of the JPEG coder

/// As if the file had been written a while ago: images of files just written are not kept in memory.
void setOld(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite) ||
        !file.setFileTime(QDateTime::currentDateTime().addSecs(-60), QFileDevice::FileModificationTime))
        qFatal("cannot set the time of a frame image");
}

} // namespace

ProjectWindow::ProjectWindow(int frameCount, QSize frameSize, double fps)
{
    g_state = new DataState;
    g_state->video = makeVideo(frameCount, frameSize, fps);
    g_state->videoLoaded = true;
    m_window = std::make_unique<MainWindow>();
    g_mainWindow = m_window.get();
    m_window->reload();
}

ProjectWindow::~ProjectWindow()
{
    g_mainWindow = nullptr;
    m_window.reset();
    delete g_state;
    g_state = nullptr;
}

bool ProjectWindow::show()
{
    m_window->show();
    m_window->activateWindow();
    return QTest::qWaitForWindowActive(m_window.get());
}

TrackedObject *ProjectWindow::addObject()
{
    g_state->addObject();
    return g_state->objects.last();
}

QColor ProjectWindow::frameColor(int frame)
{
    return QColor(60 + 40 * (frame % 4), 90 + 20 * (frame % 3), 160);
}

bool ProjectWindow::similar(QColor a, QColor b, int tolerance)
{
    return qAbs(a.red() - b.red()) <= tolerance && qAbs(a.green() - b.green()) <= tolerance &&
           qAbs(a.blue() - b.blue()) <= tolerance;
}

VideoContainer *ProjectWindow::makeVideo(int frameCount, QSize frameSize, double fps)
{
    auto *video = new VideoContainer;
    video->frameCount = frameCount;
    video->width = frameSize.width();
    video->height = frameSize.height();
    video->fps = fps;
    video->length = frameCount / fps;
    video->videoPath = QStringLiteral("/videos/clip.avi");
    video->chunkEnds = VideoContainer::splitIntoChunks(frameCount, 2);
    QDir().mkpath(QFileInfo(video->getFramePath(0)).path());
    QImage image(frameSize, QImage::Format_RGB32);
    for (int frame = 0; frame < frameCount; ++frame) {
        image.fill(frameColor(frame));
        if (!image.save(video->getFramePath(frame), "jpg", bestQuality))
            qFatal("cannot write a frame image");
        setOld(video->getFramePath(frame));
    }
    return video;
}
