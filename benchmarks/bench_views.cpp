// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// What the user waits for in the window: the next frame, and the time line after an edit.
#include "benchmarks/support/benchclip.h"
#include "benchmarks/support/benchproject.h"
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "views/clickablegraphicsview.h"
#include "views/framegraphicsview.h"
#include "views/frameviewer.h"
#include "views/timeline.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QEvent>

#include <memory>
#include <string>

namespace
{

constexpr int images = 30;                // frames of the clip
constexpr qint64 longestWait = 60 * 1000; // milliseconds
constexpr int editedFrame = 17;           // between two key frames of the user
const QSize fullHdSize(1920, 1080);

/// Notices that a widget is being painted.
class PaintWatch : public QObject
{
public:
    explicit PaintWatch(QWidget *widget) { widget->installEventFilter(this); }

    /// Runs the event loop until the widget was painted and nothing is waiting for its deletion any more.
    bool wait()
    {
        QElapsedTimer timer;
        timer.start();
        m_painted = false;
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        while (!m_painted && timer.elapsed() < longestWait)
            QCoreApplication::processEvents();
        return m_painted;
    }

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        m_painted = m_painted || event->type() == QEvent::Paint;
        return false;
    }

private:
    bool m_painted = false;
};

/// The main window with a large project. Only the first frames have an image, so only these can be shown.
class Session
{
public:
    explicit Session(int frameCount)
    {
        g_state = &m_state;
        m_state.video = new VideoContainer(&m_state);
        const BenchClip clip(fullHdSize, images);
        if (clip.path().isEmpty() || !m_state.video->loadFile(clip.path()))
            return;
        m_state.video->frameCount = frameCount;
        m_state.videoLoaded = true;
        BenchProject::addObjects(m_state);
        m_window = std::make_unique<MainWindow>();
        g_mainWindow = m_window.get();
        m_window->show();
        PaintWatch watch(frameViewport());
        m_window->reload();
        m_ready = watch.wait();
    }
    ~Session()
    {
        g_mainWindow = nullptr;
        m_window.reset();
        g_state = nullptr;
    }

    bool ready() const { return m_ready; }
    DataState &state() { return m_state; }
    TimeLine *timeLine() { return m_window->timeLine(); }
    QWidget *frameViewport() { return m_window->frameViewer()->view->viewport(); }
    QWidget *timeLineViewport() { return m_window->timeLine()->bodyView->viewport(); }

private:
    DataState m_state;
    std::unique_ptr<MainWindow> m_window;
    bool m_ready = false;
};

std::unique_ptr<Session> g_session;

/// The session with `frameCount` frames, kept for the next benchmark that asks for the same one.
Session &sessionWith(int frameCount)
{
    static int current = -1;
    if (current == frameCount)
        return *g_session;
    if (!g_session)
        qAddPostRoutine([] { g_session.reset(); }); // the window must not outlive the application
    g_session.reset();                              // there is one state and one window at a time
    g_session = std::make_unique<Session>(frameCount);
    current = frameCount;
    return *g_session;
}

void nextFrame(benchmark::State &state, int frameCount)
{
    Session &session = sessionWith(frameCount);
    PaintWatch watch(session.frameViewport());
    bool good = session.ready();
    for (auto _ : state) {
        session.state().setFrame((session.state().currentFrame + 1) % images);
        good = good && watch.wait();
    }
    if (!good)
        state.SkipWithError("the frame was not painted");
}

void reloadTimeLine(benchmark::State &state, int frameCount)
{
    Session &session = sessionWith(frameCount);
    PaintWatch watch(session.timeLineViewport());
    bool good = session.ready();
    for (auto _ : state) {
        session.timeLine()->reload();
        good = good && watch.wait();
    }
    if (!good)
        state.SkipWithError("the time line was not painted");
}

/// A new key frame of the user in the middle of a span, as a double click in the frame makes it.
void editKeyFrame(benchmark::State &state, int frameCount)
{
    Session &session = sessionWith(frameCount);
    PaintWatch watch(session.timeLineViewport());
    session.state().setFrame(editedFrame);
    session.timeLine()->reload();
    bool good = session.ready() && watch.wait();
    KeyFrame *keyFrame = session.state().objects.first()->keyFrames.at(editedFrame);
    const QPolygonF outline = BenchProject::outline(QPointF(800, 500), 100);
    for (auto _ : state) {
        keyFrame->setNewPolygon(outline);
        keyFrame->setType(KeyFrame::Visible);
        good = good && watch.wait();

        state.PauseTiming();
        keyFrame->setType(KeyFrame::None);
        good = good && watch.wait();
        state.ResumeTiming();
    }
    if (!good)
        state.SkipWithError("the time line was not painted");
}

void add(const char *title, void (*function)(benchmark::State &, int), int frameCount)
{
    const std::string name = std::string(title) + ", " + std::to_string(frameCount) + " frames x 10 objects";
    benchmark::RegisterBenchmark(
        name.c_str(), [function, frameCount](benchmark::State &state) { function(state, frameCount); })
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

const bool registered = [] {
    for (int frameCount : {100, BenchProject::frameCount}) {
        add("show the next frame (1080p)", nextFrame, frameCount);
        add("rebuild the time line", reloadTimeLine, frameCount);
        add("add a key frame", editKeyFrame, frameCount);
    }
    return true;
}();

} // namespace
