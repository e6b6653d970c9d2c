// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// Turning a video into one image per frame: VideoContainer with and without its dialog, the ffmpeg program
// and a plain loop per thread.
#include "benchmarks/support/benchclip.h"
#include "core/datastate.h"
#include "core/jobdialogs.h"
#include "Models/videocontainer.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace
{

constexpr int frames = 200;
const QSize palSize(768, 576);
const QSize fullHdSize(1920, 1080);

/// Extracts all frames of the clip; the images disappear with the object.
class Extraction
{
public:
    virtual ~Extraction() = default;
    virtual bool run(const QString &clip) = 0;
    virtual QString imageFolder() const = 0;
};

class PlainPaluExtraction : public Extraction
{
public:
    PlainPaluExtraction() { g_state = &m_state; }
    ~PlainPaluExtraction() override { g_state = nullptr; }
    bool run(const QString &clip) override { return m_video.loadFile(clip); }
    QString imageFolder() const override { return QFileInfo(m_video.getFramePath(0)).path(); }

private:
    DataState m_state;
    VideoContainer m_video;
};

/// Behind the dialog that says so, as in the window.
class PaluExtraction : public PlainPaluExtraction
{
private:
    JobDialogs m_dialogs;
};

class FfmpegExtraction : public Extraction
{
public:
    bool run(const QString &clip) override
    {
        const QString images = m_dir.filePath(QStringLiteral("frame%010d.jpg"));
        return QProcess::execute(QStringLiteral("ffmpeg"),
                                 {QStringLiteral("-nostdin"), QStringLiteral("-loglevel"),
                                  QStringLiteral("error"), QStringLiteral("-i"), clip, QStringLiteral("-q:v"),
                                  QStringLiteral("2"), QStringLiteral("-start_number"), QStringLiteral("0"),
                                  images}) == 0;
    }
    QString imageFolder() const override { return m_dir.path(); }

private:
    QTemporaryDir m_dir;
};

/// A thread for each processor, each with a capture of its own for an equal part of the clip.
class LoopExtraction : public Extraction
{
public:
    bool run(const QString &clip) override
    {
        const int count = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
        std::vector<std::thread> threads;
        for (int i = 0; i < count; ++i)
            threads.emplace_back([=] { extractFrames(clip, i * frames / count, (i + 1) * frames / count); });
        for (std::thread &thread : threads)
            thread.join();
        return true;
    }
    QString imageFolder() const override { return m_dir.path(); }

private:
    void extractFrames(const QString &clip, int first, int end) const
    {
        cv::VideoCapture capture(clip.toStdString());
        capture.set(cv::CAP_PROP_POS_FRAMES, first - 1); // where the import starts a part too
        cv::Mat image;
        for (int frame = first; frame < end && capture.read(image); ++frame) {
            const QString name = QStringLiteral("frame%1.jpg").arg(frame, 10, 10, QLatin1Char('0'));
            cv::imwrite(m_dir.filePath(name).toStdString(), image);
        }
    }

    QTemporaryDir m_dir;
};

QString fullHdClip()
{
    static const BenchClip clip(fullHdSize, frames);
    return clip.path();
}

QString palClip()
{
    static const BenchClip clip(palSize, frames);
    return clip.path();
}

template <class Method>
void extract(benchmark::State &state, QSize size)
{
    const QString clip = size == fullHdSize ? fullHdClip() : palClip();
    if (clip.isEmpty()) {
        state.SkipWithError("no H.264 encoder");
        return;
    }
    for (auto _ : state) {
        state.PauseTiming();
        auto method = std::make_unique<Method>();
        state.ResumeTiming();
        const bool done = method->run(clip);
        state.PauseTiming();
        const int images = QDir(method->imageFolder()).entryList({QStringLiteral("*.jpg")}).size();
        method.reset();
        state.ResumeTiming();
        if (!done || images != frames) {
            state.SkipWithError("not all frames were extracted");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

void extractWithFfmpeg(benchmark::State &state, QSize size)
{
    if (QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty())
        state.SkipWithError("ffmpeg is not installed");
    else
        extract<FfmpegExtraction>(state, size);
}

benchmark::internal::Benchmark *onceInRealTime(benchmark::internal::Benchmark *entry)
{
    return entry->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
}

const bool registered = [] {
    for (const QSize &size : {palSize, fullHdSize}) {
        const std::string title =
            "import " + std::to_string(size.width()) + " x " + std::to_string(size.height()) + "/";
        onceInRealTime(benchmark::RegisterBenchmark((title + "palu").c_str(), extract<PaluExtraction>, size));
        onceInRealTime(benchmark::RegisterBenchmark((title + "palu without its dialog").c_str(),
                                                    extract<PlainPaluExtraction>, size));
        onceInRealTime(benchmark::RegisterBenchmark((title + "ffmpeg").c_str(), extractWithFfmpeg, size));
        onceInRealTime(benchmark::RegisterBenchmark((title + "bare loop per thread").c_str(),
                                                    extract<LoopExtraction>, size));
    }
    return true;
}();

} // namespace
