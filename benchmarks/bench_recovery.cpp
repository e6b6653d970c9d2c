// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// Keeping a copy of a large project with unsaved work. The processor time is that of the GUI thread, which
// takes the project as it stands; the time that passes is that until the copy is on the disk.
#include "benchmarks/support/benchproject.h"
#include "core/history.h"
#include "core/recovery.h"
#include "Models/projectfile.h"
#include "tests/support/testproject.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDataStream>
#include <QFileDevice>
#include <QTemporaryDir>

#include <memory>

namespace
{

/// A large project whose unsaved work is kept.
struct Fixture {
    Fixture()
    {
        BenchProject::addObjects(*project);
        history.follow(project.state());
        recovery.setTimes({never, never});
    }

    Recovery::Content content() const
    {
        return {QStringLiteral("clip.mp4"), QString(), [taken = history.snapshot()](QFileDevice &file) {
                    QDataStream stream(&file);
                    ProjectFile::write(stream, taken);
                    return stream.status() == QDataStream::Ok;
                }};
    }

    static constexpr int never = 1000000000; // milliseconds
    TestProject project{BenchProject::frameCount};
    History history;
    QTemporaryDir folder;
    Recovery recovery{folder.path(), [this] { return content(); }};
};

void keep(benchmark::State &state, int changedObjects, bool isSettled)
{
    Fixture fixture;
    int x = 0;
    for (auto _ : state) {
        state.PauseTiming();
        ++x;
        for (int i = 0; i < changedObjects; ++i)
            fixture.project->objects.at(i)->keyFrames.at(5)->setNewPolygon(
                BenchProject::outline({50.0 + x, 50}, 20));
        if (isSettled)
            fixture.history.settle();
        fixture.recovery.noteChange();
        state.ResumeTiming();
        fixture.recovery.flush();
    }
    if (!fixture.recovery.error().isEmpty())
        state.SkipWithError("no copy was written");
}

template <class Function>
void add(const char *name, Function function)
{
    benchmark::RegisterBenchmark(name, function)->UseRealTime()->Unit(benchmark::kMillisecond);
}

const bool registered = [] {
    add("copy of unsaved work, 10000 x 10/after an edit",
        [](benchmark::State &state) { keep(state, 1, true); });
    add("copy of unsaved work, 10000 x 10/amid a job on one object",
        [](benchmark::State &state) { keep(state, 1, false); });
    add("copy of unsaved work, 10000 x 10/amid changes of all objects",
        [](benchmark::State &state) { keep(state, BenchProject::objectCount, false); });
    return true;
}();

} // namespace
