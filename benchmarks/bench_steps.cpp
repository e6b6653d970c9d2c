// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// Moving through a video of 1920 x 1080 and dragging on a frame of it: what the user waits for until it is
// painted, by the clock, since the decoding may go on beside it.
#include "benchmarks/support/benchproject.h"
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "Models/trackedobject.h"
#include "tests/support/clips.h"
#include "tests/support/mousedriver.h"
#include "views/framegraphicsview.h"
#include "views/framenav.h"
#include "views/frameviewer.h"

#include <benchmark/benchmark.h>

#include <opencv2/imgcodecs.hpp>

#include <QApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QEvent>
#include <QFile>
#include <QImage>
#include <QThread>

#include <cmath>
#include <ctime>
#include <memory>

namespace
{

constexpr int images = 25;        // that differ; the video shows them again and again
constexpr int frameCount = 76;    // three seconds and one frame
constexpr double fps = 25;        // 40 ms a frame
constexpr qint64 stepTime = 40;   // milliseconds from one step to the next
constexpr qint64 longWait = 5000; // milliseconds, more than any of this takes
const QSize fullHdSize(1920, 1080);

/// As an import leaves it: images of the coder's default quality, written a while ago.
VideoContainer *makeVideo()
{
    auto *video = new VideoContainer;
    video->frameCount = frameCount;
    video->width = fullHdSize.width();
    video->height = fullHdSize.height();
    video->fps = fps;
    Clips::Clip clip = Clips::movingSquare(); // as in the benchmark of the import
    clip.size = fullHdSize;
    Clips::writeFrame(*video, 0, cv::Mat(1, 1, CV_8UC3)); // makes the folder
    for (int i = 0; i < images; ++i) {
        std::vector<uchar> bytes;
        cv::imencode(".jpg", clip.render(i), bytes);
        for (int frame = i; frame < frameCount; frame += images) {
            QFile file(video->getFramePath(frame));
            if (!file.open(QIODevice::WriteOnly) || file.write(reinterpret_cast<const char *>(bytes.data()),
                                                               static_cast<qint64>(bytes.size())) < 0)
                qFatal("cannot write a frame image");
            file.setFileTime(QDateTime::currentDateTime().addSecs(-60), QFileDevice::FileModificationTime);
        }
    }
    return video;
}

/// The main window on a video with some objects whose outlines are the same on every frame.
class Session
{
public:
    Session(int objects, int vertices)
    {
        g_state = &m_state;
        m_state.video = makeVideo();
        m_state.videoLoaded = true;
        for (int i = 0; i < objects; ++i)
            addObject(i, vertices);
        m_window = std::make_unique<MainWindow>();
        g_mainWindow = m_window.get();
        m_window->show();
        m_window->reload();
        settle(stepTime);
    }
    ~Session()
    {
        g_mainWindow = nullptr;
        m_window.reset();
        g_state = nullptr;
    }

    DataState &state() { return m_state; }
    FrameNav *nav() { return m_window->frameNav(); }
    FrameGraphicsView *view() { return m_window->frameViewer()->view; }

    /// Processes events for so many milliseconds.
    static void settle(qint64 time)
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < time) {
            QCoreApplication::processEvents();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            QThread::msleep(1);
        }
    }

private:
    void addObject(int index, int vertices)
    {
        m_state.addObject();
        const QPointF centre(200 + 80 * index, 540 + 15 * (index - 10));
        const QPolygonF outline = BenchProject::outline(centre, 150, vertices);
        const QList<KeyFrame *> keyFrames = m_state.objects.last()->keyFrames;
        for (KeyFrame *keyFrame : keyFrames)
            keyFrame->polygon = outline;
    }

    DataState m_state;
    std::unique_ptr<MainWindow> m_window;
};

/// The session with these objects, kept for the next benchmark that asks for the same one.
Session &sessionWith(int objects, int vertices)
{
    static std::unique_ptr<Session> session;
    static QPair<int, int> current;
    if (!session)
        qAddPostRoutine([] { session.reset(); }); // the window must not outlive the application
    if (!session || current != qMakePair(objects, vertices)) {
        session.reset(); // there is one state and one window at a time
        session = std::make_unique<Session>(objects, vertices);
        current = qMakePair(objects, vertices);
    }
    return *session;
}

/// What most frames of most projects look like: the outline of one object.
Session &plainSession()
{
    return sessionWith(1, BenchProject::vertexCount);
}

Session &crowdedSession()
{
    return sessionWith(10, BenchProject::vertexCount);
}

/// Seconds from the call of `change` until the frame view was painted; negative if it never is.
class PaintTime : public QObject
{
public:
    explicit PaintTime(Session &session)
        : m_viewport(session.view()->viewport())
    {
        m_viewport->installEventFilter(this);
    }

    template <class Change>
    double of(Change change)
    {
        m_painted = false;
        QElapsedTimer timer;
        timer.start();
        change();
        while (!m_painted && timer.elapsed() < longWait)
            QCoreApplication::processEvents();
        return m_painted ? static_cast<double>(timer.nsecsElapsed()) * 1e-9 : -1;
    }

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        m_painted = m_painted || event->type() == QEvent::Paint;
        return false;
    }

private:
    QWidget *m_viewport;
    bool m_painted = false;
};

/// Goes to one frame after the other, `stepTime` apart.
void goTo(benchmark::State &state, Session &session, int distance)
{
    session.state().setFrame(0);
    Session::settle(stepTime);
    PaintTime paintTime(session);
    for (auto _ : state) {
        const int next = (session.state().currentFrame + distance) % frameCount;
        const double time = paintTime.of([&] { session.state().setFrame(next); });
        if (time < 0)
            state.SkipWithError("the frame was not painted");
        state.SetIterationTime(time);
        Session::settle(stepTime - static_cast<qint64>(time * 1000));
    }
}

void step(benchmark::State &state)
{
    goTo(state, plainSession(), 1);
}

void crowdedStep(benchmark::State &state)
{
    goTo(state, crowdedSession(), 1);
}

void crowdedJump(benchmark::State &state)
{
    goTo(state, crowdedSession(), 31);
}

void jump(benchmark::State &state)
{
    goTo(state, plainSession(), 31);
}

void decodeOnce(benchmark::State &state, Session &session)
{
    int frame = 0;
    for (auto _ : state) {
        const QString path = session.state().video->getFramePath(frame++ % frameCount);
        QElapsedTimer timer;
        timer.start();
        const QImage image(path);
        state.SetIterationTime(static_cast<double>(timer.nsecsElapsed()) * 1e-9);
        if (image.size() != fullHdSize)
            state.SkipWithError("the image was not read");
        Session::settle(stepTime / 2);
    }
}

void plainDecode(benchmark::State &state)
{
    decodeOnce(state, plainSession());
}

void crowdedDecode(benchmark::State &state)
{
    decodeOnce(state, crowdedSession());
}

/// What one playback of the whole video took.
struct Playback {
    double wall = 0;      // seconds
    double processor = 0; // seconds of all threads
    int shown = 0;        // frames that were painted
};

double processorTime()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Counts the frames of which the frame view was painted.
class ShownFrames : public QObject
{
public:
    explicit ShownFrames(Session &session)
        : m_state(session.state())
    {
        session.view()->viewport()->installEventFilter(this);
    }

    int count = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Paint && m_state.currentFrame != m_last) {
            m_last = m_state.currentFrame;
            ++count;
        }
        return false;
    }

private:
    const DataState &m_state;
    int m_last = -1;
};

Playback play()
{
    Session &session = crowdedSession();
    session.state().setFrame(0);
    Session::settle(stepTime);
    ShownFrames shown(session);
    Playback playback;
    QElapsedTimer timer;
    timer.start();
    playback.processor = -processorTime();
    session.nav()->onButtonPlayClicked();
    playback.processor += processorTime();
    playback.wall = static_cast<double>(timer.nsecsElapsed()) * 1e-9;
    playback.shown = shown.count;
    return playback;
}

void playback(benchmark::State &state)
{
    using benchmark::Counter;
    double shown = 0;
    double cores = 0;
    for (auto _ : state) {
        const Playback playback = play();
        state.SetIterationTime(playback.wall);
        shown += 100.0 * playback.shown / frameCount;
        cores += playback.processor / playback.wall;
    }
    state.counters["shown"] = Counter(shown, Counter::kAvgIterations); // percent of the frames
    state.counters["cores"] = Counter(cores, Counter::kAvgIterations); // processors busy on average
}

void dragVertex(benchmark::State &state)
{
    constexpr int round = 60; // moves around a circle; the mouse is asked for 60 positions a second
    Session &session = sessionWith(20, 200);
    session.state().setFrame(1);
    session.state().setCurrentObject(session.state().objects.at(10)->id);
    Session::settle(stepTime);
    QWidget *viewport = session.view()->viewport();
    const QPointF vertex = session.state().getCurrentObject()->keyFrames.at(1)->polygon.first();
    PaintTime paintTime(session);
    MouseDriver::press(viewport, session.view()->mapFromScene(vertex));
    int moves = 0;
    double all = 0;
    for (auto _ : state) {
        const double angle = 2 * M_PI * (++moves % round) / round;
        const QPointF target = vertex + 60 * QPointF(std::cos(angle), std::sin(angle));
        const double time =
            paintTime.of([&] { MouseDriver::move(viewport, session.view()->mapFromScene(target)); });
        if (time < 0)
            state.SkipWithError("the move was not painted");
        state.SetIterationTime(time);
        all += time;
    }
    MouseDriver::release(viewport, session.view()->mapFromScene(vertex));
    state.counters["sixteenths"] = benchmark::Counter(all / 0.016, benchmark::Counter::kAvgIterations);
}

void add(const char *name, void (*function)(benchmark::State &), int iterations)
{
    benchmark::RegisterBenchmark(name, function)
        ->UseManualTime()
        ->Iterations(iterations)
        ->Unit(benchmark::kMillisecond);
}

const bool registered = [] {
    add("step to the next frame, 1080p/palu", step, 40);
    add("step to the next frame, 1080p/decode with QImage", plainDecode, 40);
    add("jump, 1080p/palu", jump, 40);
    add("jump, 1080p/decode with QImage", plainDecode, 40);
    add("step among 10 objects, 1080p/palu", crowdedStep, 40);
    add("step among 10 objects, 1080p/decode with QImage", crowdedDecode, 40);
    add("jump among 10 objects, 1080p/palu", crowdedJump, 40);
    add("jump among 10 objects, 1080p/decode with QImage", crowdedDecode, 40);
    add("playback, 1080p 25 frames/s", playback, 1);
    add("drag of a vertex, 20 x 200", dragVertex, 200);
    return true;
}();

} // namespace
