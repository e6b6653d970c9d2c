// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// From the start of a process to its first painted window.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QProcess>

#include <string>

namespace
{

void start(benchmark::State &state, const QString &program)
{
    const QString path = QDir(QCoreApplication::applicationDirPath()).filePath(program);
    for (auto _ : state) {
        if (QProcess::execute(path, {}) != 0)
            state.SkipWithError("the window was not painted");
    }
}

void add(const char *name, const char *program)
{
    benchmark::RegisterBenchmark(name,
                                 [program](benchmark::State &state) { start(state, QLatin1String(program)); })
        ->Iterations(5)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

const bool registered = [] {
    add("start to the first painted window/palu", "palu_start");
    add("start to the first painted window/empty QMainWindow", "palu_start_empty");
    return true;
}();

} // namespace
