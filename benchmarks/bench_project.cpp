// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// Writing and reading a large project file.
#include "benchmarks/support/benchproject.h"
#include "Models/projectfile.h"
#include "tests/support/testproject.h"

#include <benchmark/benchmark.h>

#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QTemporaryDir>

#include <memory>

namespace
{

bool write(const QString &path, const DataState &state)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QDataStream stream(&file);
    ProjectFile::write(stream, state);
    return stream.status() == QDataStream::Ok && file.commit();
}

bool read(const QString &path, DataState &state)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QDataStream stream(&file);
    ProjectFile::readVideoName(stream);
    return ProjectFile::read(stream, state);
}

/// A large project and a file for it.
struct Fixture {
    Fixture() { BenchProject::addObjects(*project); }

    TestProject project{BenchProject::frameCount};
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("project.palu"));
};

void writeProject(benchmark::State &state)
{
    Fixture fixture;
    for (auto _ : state) {
        if (!write(fixture.path, *fixture.project)) {
            state.SkipWithError("the project was not written");
            return;
        }
    }
    state.SetBytesProcessed(state.iterations() * QFileInfo(fixture.path).size());
}

void readProject(benchmark::State &state)
{
    Fixture fixture;
    bool good = write(fixture.path, *fixture.project);
    for (auto _ : state) {
        state.PauseTiming();
        auto target = std::make_unique<TestProject>(BenchProject::frameCount);
        state.ResumeTiming();
        good = good && read(fixture.path, **target);
        state.PauseTiming();
        good = good && target->state()->objects.size() == BenchProject::objectCount;
        target.reset();
        state.ResumeTiming();
        if (!good) {
            state.SkipWithError("the project was not read");
            return;
        }
    }
    state.SetBytesProcessed(state.iterations() * QFileInfo(fixture.path).size());
}

} // namespace

BENCHMARK(writeProject)
    ->Name("write a project, 10000 frames x 10 objects")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(readProject)
    ->Name("read a project, 10000 frames x 10 objects")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
