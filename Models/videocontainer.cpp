// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/videocontainer.h"

#include "core/datastate.h"
#include "core/modaljob.h"
#include "Models/videofile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <opencv2/imgcodecs.hpp>

#include <cmath>
#include <cstdlib>
#include <future>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

namespace
{

// The codec throws instead of returning false for some failures, such as a full disk.
bool writeImage(const QString &path, const cv::Mat &image)
{
    try {
        return cv::imwrite(path.toUtf8().toStdString(), image);
    } catch (const cv::Exception &) {
        return false;
    }
}

/// A property cut to a whole number; 0 for what no int can hold.
int wholeProperty(const cv::VideoCapture &capture, int property)
{
    const double value = capture.get(property);
    const bool fits = std::abs(value) <= std::numeric_limits<int>::max(); // false for NaN
    return fits ? static_cast<int>(value) : 0;
}

int workerCount()
{
    constexpr int countIfUnknown = 4;
    const int threads = QThread::idealThreadCount();
    return threads == -1 ? countIfUnknown : threads;
}

} // namespace

/// A capture for each worker of an extraction, opened all at the same time: opening one takes as long as
/// decoding several frames, and reading the properties of the video would hold up the workers as long again.
/// Not on the thread pool, which gives a job no more threads than are idle as it starts.
class VideoContainer::OpenedAhead
{
public:
    OpenedAhead(QString path, int count)
        : m_path(std::move(path))
    {
        for (int i = 0; i < count; ++i)
            m_opening.push_back(std::async(std::launch::async, VideoFile::open, m_path));
    }

    /// Hands one over, as soon as it is open. When all are taken, opens another one.
    cv::VideoCapture take()
    {
        std::future<cv::VideoCapture> opening;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_opening.empty())
                return VideoFile::open(m_path);
            opening = std::move(m_opening.back());
            m_opening.pop_back();
        }
        return opening.get();
    }

    /// Takes one back that was looked at only.
    void giveBack(const cv::VideoCapture &capture)
    {
        std::promise<cv::VideoCapture> opened;
        opened.set_value(capture);
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_opening.push_back(opened.get_future());
    }

private:
    const QString m_path;
    std::mutex m_mutex; // guards the captures
    std::vector<std::future<cv::VideoCapture>> m_opening;
};

VideoContainer::VideoContainer(QObject *parent)
    : QObject(parent)
{
    if (!m_temporaryDir.isValid()) {
        qWarning("Could not create temporary folder!");
        std::exit(1); // NOLINT(concurrency-mt-unsafe): there are no work items yet
    }
}

VideoContainer::~VideoContainer()
{
    if (!g_state || g_state->video != this)
        return;
    g_state->video = nullptr;
    g_state->videoLoaded = false;
}

bool VideoContainer::loadFile(QString path)
{
    const QDir root(m_temporaryDir.path());
    videoPath = root.path() + QLatin1Char('/') + QFileInfo(path).fileName();
    if (!QFile::copy(path, videoPath)) {
        qWarning("could not copy video");
        return false;
    }
    if (!root.mkdir(QStringLiteral("frames"))) {
        qWarning("could not create frames folder");
        return false;
    }

    const int workers = workerCount();
    OpenedAhead ahead(videoPath, workers);
    cv::VideoCapture capture = ahead.take();
    fps = capture.get(cv::CAP_PROP_FPS);
    if (!(fps > 0)) {
        qWarning("invalid fps");
        return false;
    }
    frameCount = wholeProperty(capture, cv::CAP_PROP_FRAME_COUNT);
    if (frameCount <= 0) {
        qWarning("invalid framecount");
        return false;
    }
    length = frameCount / fps;
    height = wholeProperty(capture, cv::CAP_PROP_FRAME_HEIGHT);
    width = wholeProperty(capture, cv::CAP_PROP_FRAME_WIDTH);

    chunkEnds.append(splitIntoChunks(frameCount, workers));
    ahead.giveBack(capture);
    capture = cv::VideoCapture(); // a worker closes it with its chunk
    m_openedAhead = &ahead;
    const bool extracted = extract();
    m_openedAhead = nullptr;
    return extracted;
}

/// Behind a progress dialog; false when it failed or was aborted.
bool VideoContainer::extract()
{
    const ModalJob::Result extraction =
        ModalJob::run(tr("Extracting %1 frames. Please wait.").arg(frameCount), chunkEnds,
                      videoToFramesWrapper(this), [this] { setCancel(); });
    return extraction.outcome != ModalJob::Outcome::Failed && !m_cancel.load(std::memory_order_relaxed);
}

QString VideoContainer::fileName() const
{
    return videoPath.section(QLatin1Char('/'), -1);
}

QString VideoContainer::getFramePath(int frame) const
{
    return m_temporaryDir.path() + QStringLiteral("/frames/frame%1.jpg").arg(frame, 10, 10, QLatin1Char('0'));
}

void VideoContainer::videoToFrames(int &chunkEnd)
{
    const int start = chunkStart(chunkEnd);
    if (start >= chunkEnd)
        return;
    cv::VideoCapture capture = m_openedAhead ? m_openedAhead->take() : VideoFile::open(videoPath);
    // One before the first frame on purpose: where the back end seeks exactly, every chunk but the first
    // starts with a repeat of the frame before it.
    capture.set(cv::CAP_PROP_POS_FRAMES, start - 1);
    bool writable = true;
    for (int frame = start; frame < chunkEnd; ++frame) {
        if (m_cancel.load(std::memory_order_relaxed))
            break;
        cv::Mat image; // of this frame only: a failed read may leave the one before
        capture.read(image);
        if (image.rows == 0 || image.cols == 0)
            continue;
        const QString path = getFramePath(frame);
        if (writeImage(path, image))
            continue;
        QFile::remove(path); // no half-written image stays behind
        if (writable)
            qWarning("could not write frame image %s", qUtf8Printable(path));
        writable = false;
    }
}

int VideoContainer::chunkStart(int chunkEnd) const
{
    const int index = chunkEnds.indexOf(chunkEnd);
    return index > 0 ? chunkEnds.at(index - 1) : 0;
}

QList<int> VideoContainer::splitIntoChunks(int frameCount, int threads)
{
    const int chunk = frameCount / threads;
    QList<int> ends;
    for (int i = 1; i < threads; ++i)
        ends.append(i * chunk);
    ends.append(frameCount);
    return ends;
}

void VideoContainer::setCancel()
{
    m_cancel.store(true, std::memory_order_relaxed);
}
