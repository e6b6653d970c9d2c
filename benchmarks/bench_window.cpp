// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// What else the user waits for in the window of a large project, and the memory that it takes.
#include "benchmarks/support/benchproject.h"
#include "benchmarks/support/plainproject.h"
#include "benchmarks/support/session.h"
#include "Models/projectfile.h"
#include "views/framenav.h"
#include "views/timeline.h"

#include <benchmark/benchmark.h>

#include <QAction>
#include <QCoreApplication>
#include <QDataStream>
#include <QFile>
#include <QGraphicsEllipseItem>
#include <QGraphicsScene>
#include <QHash>
#include <QSignalBlocker>
#include <QTemporaryDir>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include <malloc.h>

namespace
{

constexpr int frameCount = BenchProject::frameCount;
constexpr int objectCount = BenchProject::objectCount;
constexpr int morphedVertices = 50;

/// Steps through the frames that have an image. Only the first objects have outlines there, as many as
/// `outlines`.
void stepFrame(benchmark::State &state, int frames, int objects, int outlines)
{
    Session &session = Session::with(frames, objects);
    QHash<KeyFrame *, QPolygonF> hidden;
    for (int i = outlines; i < objects; ++i) {
        for (int frame = 0; frame < Session::images; ++frame) {
            KeyFrame *keyFrame = g_state->objects.at(i)->keyFrames.at(frame);
            hidden.insert(keyFrame, std::exchange(keyFrame->polygon, QPolygonF()));
        }
    }
    bool good = session.goTo((g_state->currentFrame + 1) % Session::images);
    for (auto _ : state)
        good = good && session.goTo((g_state->currentFrame + 1) % Session::images);
    if (!good)
        state.SkipWithError("the frame was not painted");
    for (auto it = hidden.cbegin(); it != hidden.cend(); ++it)
        it.key()->polygon = it.value();
}

/// A project file of the session's project.
class SavedProject
{
public:
    SavedProject()
    {
        Session::with(frameCount, objectCount);
        QString error;
        if (!ProjectFile::save(m_path, *g_state, &error))
            qFatal("the project was not written");
    }
    QString path() const { return m_path; }

private:
    QTemporaryDir m_dir;
    const QString m_path = m_dir.filePath(QStringLiteral("project.palu"));
};

QString savedProject()
{
    static const SavedProject project;
    return project.path();
}

/// Reads a project into the window and shows it, as the action does when its dialogs are through.
bool openProject(Session &session, const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QDataStream stream(&file);
    ProjectFile::readVideoName(stream);
    session.startWatching();
    {
        const QSignalBlocker blocker(g_state);
        if (!ProjectFile::read(stream, *g_state))
            return false;
    }
    g_state->keepNewIdsApart();
    session.timeLine()->connectToObjects();
    session.window().reload();
    session.window().frameNav()->reload();
    return session.waitForAll();
}

void openInWindow(benchmark::State &state)
{
    const QString path = savedProject();
    Session &session = Session::with(frameCount, objectCount);
    bool good = true;
    for (auto _ : state) {
        state.PauseTiming();
        session.startAnew();
        state.ResumeTiming();
        good = good && openProject(session, path);
    }
    if (!good)
        state.SkipWithError("the project was not opened");
}

std::unique_ptr<QGraphicsScene> plainItems()
{
    auto scene = std::make_unique<QGraphicsScene>();
    for (int i = 0; i < objectCount; ++i) {
        for (int frame = 0; frame < frameCount; ++frame)
            scene->addItem(new QGraphicsEllipseItem(frame * 40.0, i * 40.0, 10, 10));
    }
    return scene;
}

void readAndAddPlainItems(benchmark::State &state)
{
    const QString path = savedProject();
    for (auto _ : state) {
        auto project = std::make_unique<PlainProject>();
        const bool good = project->load(path);
        auto scene = plainItems();
        state.PauseTiming();
        project.reset();
        QCoreApplication::processEvents(); // items that it has not seen yet take long to go
        scene.reset();
        state.ResumeTiming();
        if (!good)
            state.SkipWithError("the file was not read");
    }
}

/// Outlines on the first and the last frame only, with nothing between them.
void bareSpan(Session &session, int turn)
{
    const int lastFrame = g_state->video->frameCount - 1;
    const TrackedObject *object = g_state->objects.first();
    const QPolygonF start = BenchProject::outline(QPointF(150 + turn % 7, 180), 60, morphedVertices);
    session.startWatching();
    object->keyFrames.first()->annotate(start, KeyFrame::Visible);
    object->keyFrames.last()->annotate(start.translated(300, 20), KeyFrame::Visible);
    KeyFrame *middle = object->keyFrames.at(lastFrame / 2);
    middle->annotate(start, KeyFrame::Visible); // setting and removing it clears the span
    middle->annotate(QPolygonF(), KeyFrame::None);
    session.waitForTimeLine();
}

QAction *morphAction(const MainWindow &window)
{
    const auto actions = window.findChildren<QAction *>();
    const auto found = std::find_if(actions.cbegin(), actions.cend(), [](const QAction *action) {
        return action->text() == QLatin1String("&morph");
    });
    return found == actions.cend() ? nullptr : *found;
}

/// The session for morphing: one object with one span.
Session &morphSession()
{
    static bool prepared = false;
    Session &session = Session::with(frameCount, 1);
    if (!prepared) {
        session.startAnew();
        g_state->addObject();
        session.window().reload();
        session.goTo(Session::images / 2);
    }
    prepared = true;
    return session;
}

void morphInWindow(benchmark::State &state)
{
    Session &session = morphSession();
    QAction *action = morphAction(session.window());
    bool good = action && action->isEnabled();
    for (auto _ : state) {
        state.PauseTiming();
        bareSpan(session, session.nextTurn());
        session.startWatching();
        state.ResumeTiming();
        if (good)
            action->trigger();
        good = good && session.waitForAll();
    }
    if (!good || g_state->objects.first()->keyFrames.at(1)->polygon.size() < morphedVertices)
        state.SkipWithError("the span was not filled");
}

/// As one would write it down, point by point. With memory reserved beforehand it takes less than half.
QList<QPolygonF> interpolate(const QPolygonF &from, const QPolygonF &to, int count)
{
    QList<QPolygonF> polygons;
    for (int k = 1; k <= count; ++k) {
        const double weight = double(k) / (count + 1);
        QPolygonF polygon;
        for (int i = 0; i < from.size(); ++i)
            polygon.append(from.at(i) + (to.at(i) - from.at(i)) * weight);
        polygons.append(polygon);
    }
    return polygons;
}

void interpolateInLoop(benchmark::State &state)
{
    const QPolygonF from = BenchProject::outline(QPointF(150, 180), 60, morphedVertices);
    const QPolygonF to = from.translated(300, 20);
    for (auto _ : state) {
        QList<QPolygonF> polygons = interpolate(from, to, frameCount - 2);
        state.PauseTiming();
        polygons.clear();
        state.ResumeTiming();
    }
}

std::size_t heapBytes()
{
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

/// What a window has on the heap for a project, beyond what it has for one of two frames.
void memory(benchmark::State &state, bool annotated)
{
    Session &session = Session::with(2, 0);
    std::size_t bytes = 0;
    for (auto _ : state) {
        const std::size_t before = heapBytes();
        {
            const QSignalBlocker blocker(g_state);
            g_state->video->frameCount = frameCount;
            if (annotated)
                BenchProject::addObjects(*g_state);
            for (int i = 0; i < objectCount && !annotated; ++i)
                g_state->addObject();
        }
        session.timeLine()->connectToObjects();
        session.startWatching();
        session.window().reload();
        session.waitForAll();
        bytes = heapBytes() - before;
    }
    state.counters["bytes"] = double(bytes) / frameCount / objectCount;
}

template <class Function>
benchmark::internal::Benchmark *add(const std::string &name, Function function)
{
    return benchmark::RegisterBenchmark(name.c_str(), function)->UseRealTime()->Unit(benchmark::kMillisecond);
}

void addFrameSteps(int frames, int objects, int outlines = objectCount)
{
    const std::string name = "frame step/" + std::to_string(frames) + " x " + std::to_string(objects);
    add(outlines == objectCount ? name : name + " with all outlines",
        [=](benchmark::State &state) { stepFrame(state, frames, objects, outlines); });
}

const bool registered = [] {
    addFrameSteps(100, objectCount);
    addFrameSteps(50000, objectCount);
    addFrameSteps(frameCount, 50);
    addFrameSteps(frameCount, 50, 50);
    add("open a project of 10000 x 10 in the window/palu", openInWindow)->Iterations(1);
    add("open a project of 10000 x 10 in the window/plain reading and items", readAndAddPlainItems)
        ->Iterations(1);
    add("morph action, 10000 frames, 50 vertices/palu", morphInWindow)->Iterations(5);
    add("morph action, 10000 frames, 50 vertices/plain loop", interpolateInLoop)->Iterations(20);
    for (const bool annotated : {true, false}) {
        add(std::string("memory of a window with 10000 x 10 ") + (annotated ? "outlines" : "empty frames"),
            [annotated](benchmark::State &state) { memory(state, annotated); })
            ->Iterations(1)
            ->Repetitions(1);
    }
    return true;
}();

} // namespace
