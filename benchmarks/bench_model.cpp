// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// Edits of the model alone, without a window.
#include "benchmarks/support/benchproject.h"
#include "tests/support/testproject.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <cstddef>
#include <memory>
#include <string>

namespace
{

/// Bytes that the program has on the heap.
std::size_t heapBytes()
{
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

/// What each frame of a new object takes on the heap.
std::size_t bytesPerFrame(TestProject &project)
{
    const std::size_t before = heapBytes();
    const TrackedObject object(project.state());
    return (heapBytes() - before) / std::size_t(object.keyFrames.size());
}

/// A new object without annotations.
template <int frameCount>
void creation(benchmark::State &state)
{
    TestProject project(frameCount);
    state.SetLabel(std::to_string(bytesPerFrame(project)) + " bytes/frame");
    for (auto _ : state) {
        auto object = std::make_unique<TrackedObject>(project.state());
        state.PauseTiming();
        object.reset();
        state.ResumeTiming();
    }
}

template <int frameCount>
void deletion(benchmark::State &state)
{
    TestProject project(frameCount);
    for (auto _ : state) {
        state.PauseTiming();
        auto object = std::make_unique<TrackedObject>(project.state());
        state.ResumeTiming();
        object.reset();
    }
}

/// A new object in a long video: its one span over the whole video is split for the first time.
void firstKeyFrame(benchmark::State &state)
{
    TestProject project(BenchProject::frameCount);
    for (auto _ : state) {
        state.PauseTiming();
        TrackedObject *object = project.addObject();
        const QPolygonF outline = BenchProject::outline(QPointF(300, 200), 50);
        state.ResumeTiming();
        annotate(object, BenchProject::frameCount / 2, outline);
        state.PauseTiming();
        project->deleteObject(object->id);
        delete object;
        state.ResumeTiming();
    }
}

/// What tracking and segmentation do to the model: an automatic outline on every frame of one object.
void automaticOutlines(benchmark::State &state)
{
    TestProject project(BenchProject::frameCount);
    TrackedObject *object = project.addObject();
    const QPolygonF outline = BenchProject::outline(QPointF(300, 200), 50);
    for (auto _ : state) {
        for (int frame = 0; frame < BenchProject::frameCount; ++frame)
            annotate(object, frame, outline, KeyFrame::Automatic);
    }
    state.SetItemsProcessed(state.iterations() * BenchProject::frameCount);
}

} // namespace

BENCHMARK(creation<10000>)
    ->Name("create an object of 10000 frames")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(creation<50000>)
    ->Name("create an object of 50000 frames")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(deletion<10000>)
    ->Name("delete an object of 10000 frames")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(deletion<50000>)
    ->Name("delete an object of 50000 frames")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(firstKeyFrame)
    ->Name("first key frame of an object, 10000 frames")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(automaticOutlines)
    ->Name("automatic outlines on 10000 frames")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
