// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// Edits of the model alone, without a window.
#include "benchmarks/support/benchproject.h"
#include "tests/support/testproject.h"

#include <benchmark/benchmark.h>

namespace
{

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

BENCHMARK(firstKeyFrame)
    ->Name("first key frame of an object, 10000 frames")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(automaticOutlines)
    ->Name("automatic outlines on 10000 frames")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
