// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "benchmarks/support/session.h"

#include "benchmarks/support/benchproject.h"
#include "tests/support/clips.h"
#include "views/clickablegraphicsview.h"
#include "views/framegraphicsview.h"
#include "views/frameviewer.h"
#include "views/timeline.h"

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>

#include <map>
#include <utility>

namespace
{

constexpr int longestWait = 60 * 1000; // milliseconds
const QSize frameSize(640, 360);

Session *g_session = nullptr; // the one in use

VideoContainer *makeVideo(int frameCount)
{
    auto *video = new VideoContainer;
    Clips::Clip clip = Clips::movingSquare();
    clip.size = frameSize;
    video->width = frameSize.width();
    video->height = frameSize.height();
    video->fps = 25;
    video->videoPath = QStringLiteral("/videos/clip.mp4");
    video->frameCount = Session::images;
    Clips::write(*video, clip);
    video->frameCount = frameCount;
    video->length = frameCount / video->fps;
    return video;
}

} // namespace

PaintWatch::PaintWatch(QWidget *widget)
{
    widget->installEventFilter(this);
}

bool PaintWatch::eventFilter(QObject * /*watched*/, QEvent *event)
{
    m_painted = m_painted || event->type() == QEvent::Paint;
    return false;
}

Session::Session(int frameCount, int objectCount)
    : m_frameCount(frameCount)
{
    makeState();
    BenchProject::addObjects(*m_state, BenchProject::vertexCount, objectCount);
    m_window = std::make_unique<MainWindow>();
    m_frameWatch = std::make_unique<PaintWatch>(m_window->frameViewer()->view->viewport());
    m_timeLineWatch = std::make_unique<PaintWatch>(timeLine()->bodyView->viewport());
}

Session::~Session()
{
    g_session = nullptr;
    g_state = m_state;
    g_mainWindow = m_window.get();
    m_window.reset();
    delete m_state;
    g_state = nullptr;
}

Session &Session::with(int frameCount, int objectCount)
{
    static std::map<std::pair<int, int>, std::unique_ptr<Session>> sessions;
    if (sessions.empty())
        qAddPostRoutine([] { sessions.clear(); }); // the windows must not outlive the application
    std::unique_ptr<Session> &session = sessions[{frameCount, objectCount}];
    if (!session)
        session = std::make_unique<Session>(frameCount, objectCount);
    session->use();
    return *session;
}

void Session::use()
{
    if (g_session == this)
        return;
    if (g_session)
        g_session->m_window->hide();
    g_session = this;
    g_state = m_state;
    g_state->keepNewIdsApart();
    g_mainWindow = m_window.get();
    startWatching();
    m_window->show();
    m_window->reload();
    if (!waitForAll())
        qFatal("the window was not painted");
}

void Session::makeState()
{
    m_state = new DataState;
    g_state = m_state;
    m_state->video = makeVideo(m_frameCount);
    m_state->videoLoaded = true;
}

void Session::startAnew()
{
    VideoContainer *video = std::exchange(m_state->video, nullptr); // its images are worth keeping
    m_window->recreateDataState();
    m_state = g_state;
    m_state->video = video;
    m_state->videoLoaded = true;
    startWatching();
    m_window->reload();
    waitForAll();
}

void Session::startWatching()
{
    m_frameWatch->start();
    m_timeLineWatch->start();
}

bool Session::waitForTimeLine()
{
    return wait(false);
}

bool Session::waitForAll()
{
    return wait(true);
}

bool Session::goTo(int frame)
{
    if (g_state->currentFrame == frame)
        return true;
    startWatching();
    g_state->setFrame(frame);
    return waitForAll();
}

bool Session::wait(bool forFrame)
{
    bool late = false;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &timer, [&late] { late = true; });
    timer.start(longestWait);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    while (!late && !(m_timeLineWatch->painted() && (m_frameWatch->painted() || !forFrame)))
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return !late;
}
