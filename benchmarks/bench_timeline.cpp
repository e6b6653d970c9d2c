// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// What the user waits for in the window of a large project: edits, until the time line is painted again.
#include "benchmarks/support/benchproject.h"
#include "benchmarks/support/session.h"
#include "views/timeline.h"
#include "views/trackedobjectlabel.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QGraphicsEllipseItem>
#include <QGraphicsScene>
#include <QScrollArea>

#include <algorithm>
#include <memory>
#include <string>

namespace
{

struct Size {
    int frames;
    int objects;
};

TrackedObject *objectAt(int turn)
{
    return g_state->objects.at(turn % g_state->objects.size());
}

/// Makes the object of this turn the current one, in the middle of a span that was not edited before.
bool chooseSpan(Session &session, int turn)
{
    const int spans = std::max(1, g_state->video->frameCount / BenchProject::keyFrameDistance);
    const int span = turn / g_state->objects.size() % spans;
    g_state->setCurrentObject(objectAt(turn)->id);
    return session.goTo(span * BenchProject::keyFrameDistance + BenchProject::keyFrameDistance / 2);
}

/// A new key frame of the user in the middle of a span, as a double click in the frame makes it.
void editKeyFrame(benchmark::State &state, Session &session)
{
    const QPolygonF outline = BenchProject::outline(QPointF(300, 200), 50);
    bool good = true;
    for (auto _ : state) {
        state.PauseTiming();
        good = good && chooseSpan(session, session.nextTurn());
        KeyFrame *keyFrame = g_state->getCurrentObject()->getCurrentKeyFrame();
        session.startWatching();
        state.ResumeTiming();
        keyFrame->annotate(outline, KeyFrame::Visible);
        good = good && session.waitForTimeLine();

        state.PauseTiming();
        session.startWatching();
        keyFrame->annotate(QPolygonF(), KeyFrame::None);
        good = good && session.waitForTimeLine();
        state.ResumeTiming();
    }
    if (!good)
        state.SkipWithError("the time line was not painted");
}

/// Exchanges two objects in all frames.
void switchOrder(benchmark::State &state, Session &session)
{
    bool good = true;
    for (auto _ : state) {
        const int turn = session.nextTurn();
        session.startWatching();
        objectAt(turn)->switchOrderWith(objectAt(turn + 1), 0);
        good = good && session.waitForTimeLine();
    }
    if (!good)
        state.SkipWithError("the time line was not painted");
}

void addObject(benchmark::State &state, Session &session)
{
    bool good = true;
    for (auto _ : state) {
        session.startWatching();
        session.timeLine()->addObject();
        good = good && session.waitForTimeLine();

        state.PauseTiming();
        const std::unique_ptr<TrackedObject> added(g_state->objects.last());
        session.startWatching();
        g_state->deleteObject(added->id);
        session.timeLine()->reload();
        good = good && session.waitForTimeLine();
        state.ResumeTiming();
    }
    if (!good)
        state.SkipWithError("the time line was not painted");
}

TrackedObjectLabel *labelOf(Session &session, const TrackedObject *object)
{
    const auto labels = session.timeLine()->labelArea->widget()->findChildren<TrackedObjectLabel *>();
    const auto found =
        std::find_if(labels.cbegin(), labels.cend(), [object](const TrackedObjectLabel *label) {
            return label->objectId == object->id && !label->isHidden();
        });
    return found == labels.cend() ? nullptr : *found;
}

/// Puts a deleted object back where it was.
void restore(TrackedObject *object, int index, int currentObjectId)
{
    g_state->objects.insert(index, object);
    g_state->currentObjectId = currentObjectId;
    emit g_state->hasChanged(DataState::ObjectListChanged | DataState::ObjectSelectionChanged);
}

void deleteObject(benchmark::State &state, Session &session)
{
    bool good = true;
    for (auto _ : state) {
        state.PauseTiming();
        TrackedObject *object = objectAt(session.nextTurn());
        const int index = g_state->objects.indexOf(object);
        const int currentObjectId = g_state->currentObjectId;
        TrackedObjectLabel *label = labelOf(session, object);
        session.startWatching();
        state.ResumeTiming();
        if (label)
            label->deleteObj();
        good = good && label && session.waitForTimeLine();

        state.PauseTiming();
        session.startWatching();
        restore(object, index, currentObjectId);
        good = good && session.waitForTimeLine();
        state.ResumeTiming();
    }
    if (!good)
        state.SkipWithError("the time line was not painted");
}

/// The floor of the others: as many plain items in a scene. Those that the event loop has not seen yet would
/// take minutes to go.
void addPlainItems(benchmark::State &state, Size size)
{
    for (auto _ : state) {
        auto scene = std::make_unique<QGraphicsScene>();
        for (int object = 0; object < size.objects; ++object) {
            for (int frame = 0; frame < size.frames; ++frame)
                scene->addItem(new QGraphicsEllipseItem(frame * 40.0, object * 40.0, 10, 10));
        }
        state.PauseTiming();
        QCoreApplication::processEvents();
        scene.reset();
        state.ResumeTiming();
    }
}

struct Operation {
    const char *name;
    void (*function)(benchmark::State &, Session &);
    int leastObjects;
    int iterations;
};

const Operation operations[] = {
    {"edit a key frame", editKeyFrame, 1, 20},
    {"switch the order", switchOrder, 2, 10},
    {"add an object", addObject, 1, 5},
    {"delete an object", deleteObject, 1, 5},
};

void add(const Operation &operation, Size size, const std::string &title)
{
    benchmark::RegisterBenchmark((title + operation.name).c_str(),
                                 [operation, size](benchmark::State &state) {
                                     operation.function(state, Session::with(size.frames, size.objects));
                                 })
        ->Iterations(operation.iterations)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

void addItems(Size size, const std::string &title)
{
    benchmark::RegisterBenchmark((title + "plain items").c_str(),
                                 [size](benchmark::State &state) { addPlainItems(state, size); })
        ->Iterations(3)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

const bool registered = [] {
    for (const Size size :
         {Size{1000, 10}, Size{10000, 1}, Size{10000, 10}, Size{10000, 50}, Size{50000, 10}}) {
        const std::string title =
            "time line of " + std::to_string(size.frames) + " x " + std::to_string(size.objects) + "/";
        for (const Operation &operation : operations) {
            if (size.objects >= operation.leastObjects)
                add(operation, size, title);
        }
    }
    addItems({10000, 10}, "time line of 10000 x 10/");
    return true;
}();

} // namespace
