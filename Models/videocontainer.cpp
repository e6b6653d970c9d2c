// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/videocontainer.h"

#include "core/datastate.h"
#include "core/modaljob.h"
#include "core/temporaryfolders.h"
#include "Models/diskspace.h"
#include "Models/projectlimits.h"
#include "Models/videofile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <future>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

namespace
{

// A header can claim any number of frames.
constexpr int mostFailedReads = 1000; // in a row

// The codec throws instead of returning false for some failures, such as a full disk.
bool writeImage(const QString &path, const cv::Mat &image)
{
    try {
        return cv::imwrite(path.toUtf8().toStdString(), image);
    } catch (const cv::Exception &) {
        return false;
    }
}

/// Whether an image was written to its last byte. Some disks tell of being full no sooner than in closing.
bool isWhole(const QString &path)
{
    constexpr int endSize = 2; // bytes
    QFile file(path);
    return file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) && file.size() > endSize &&
           file.seek(file.size() - endSize) && file.read(endSize) == "\xFF\xD9";
}

/// How many bytes the image of a frame will take on average, as the first frames have it; 0 if that cannot be
/// told.
double averageImageSize(cv::VideoCapture &capture)
{
    constexpr int sample = 5; // frames
    double bytes = 0;
    int read = 0;
    try {
        for (int i = 0; i < sample; ++i) {
            cv::Mat image;
            std::vector<uchar> encoded;
            if (!capture.read(image) || !cv::imencode(".jpg", image, encoded))
                continue;
            bytes += static_cast<double>(encoded.size());
            ++read;
        }
    } catch (const std::exception &) { // the extraction will meet it again, and tell
        return 0;
    }
    return read == 0 ? 0 : bytes / read;
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

/// A capture for each worker of an extraction, opened all at the same time, while the properties of the video
/// are read from another one: opening one takes as long as decoding several frames.
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
        TemporaryFolders::endCleaning();
        std::exit(1); // NOLINT(concurrency-mt-unsafe): there are no work items yet
    }
    TemporaryFolders::mark(m_temporaryDir.path());
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
    m_failure.clear();
    const QDir root(m_temporaryDir.path());
    videoPath = root.path() + QLatin1Char('/') + QFileInfo(path).fileName();
    if (!copy(path)) {
        qWarning("could not copy video");
        return false;
    }
    if (!root.mkdir(QStringLiteral("frames"))) {
        m_failure = tr("no folder for its frames could be made");
        qWarning("could not create frames folder");
        return false;
    }

    const int workers = workerCount();
    OpenedAhead ahead(videoPath, workers);
    if (const char *problem = probe(VideoFile::open(videoPath))) {
        qWarning("%s", problem);
        return false;
    }
    chunkEnds.append(splitIntoChunks(frameCount, workers));
    m_openedAhead = &ahead;
    const bool extracted = extract();
    m_openedAhead = nullptr;
    return extracted;
}

/// Opening anything but a regular file can wait for ever.
bool VideoContainer::copy(const QString &path)
{
    const QFileInfo video(path);
    TemporaryFolders::makeWayFor(video.fileName(), m_temporaryDir.path());
    if (!video.isFile()) {
        m_failure = video.exists() ? tr("it is not a regular file") : tr("there is no such file");
        return false;
    }
    const qint64 missing = DiskSpace::missing(m_temporaryDir.path(), static_cast<double>(video.size()), 1);
    if (missing > 0)
        m_failure = DiskSpace::missingText(QDir::tempPath(), missing);
    else if (!QFile::copy(path, videoPath))
        m_failure = tr("it could not be copied into the temporary folder");
    return m_failure.isEmpty();
}

/// Takes over what the video says of itself. Returns the warning for the log, or null if it can be imported.
const char *VideoContainer::probe(cv::VideoCapture capture)
{
    fps = capture.get(cv::CAP_PROP_FPS);
    if (!(fps > 0)) {
        m_failure = capture.isOpened() ? tr("it does not say its frame rate") : tr("it is no video");
        return "invalid fps";
    }
    frameCount = wholeProperty(capture, cv::CAP_PROP_FRAME_COUNT);
    if (frameCount <= 0) {
        m_failure = tr("it does not say how many frames it has");
        return "invalid framecount";
    }
    length = frameCount / fps;
    height = wholeProperty(capture, cv::CAP_PROP_FRAME_HEIGHT);
    width = wholeProperty(capture, cv::CAP_PROP_FRAME_WIDTH);
    return checkSize(capture);
}

/// Whether the video fits into memory, and its images onto the disk.
const char *VideoContainer::checkSize(cv::VideoCapture &capture)
{
    if (!ProjectLimits::canHoldVideo(frameCount)) {
        m_failure = tr("it says that it has %1 frames, too many for this machine").arg(frameCount);
        return "too many frames";
    }
    constexpr double margin = 1.1; // what follows the first frames may hold more detail
    m_imageSize = margin * averageImageSize(capture);
    const qint64 missing = DiskSpace::missing(m_temporaryDir.path(), m_imageSize, frameCount);
    if (missing <= 0)
        return nullptr;
    m_failure = tr("there is no room for its %1 frames, %2")
                    .arg(frameCount)
                    .arg(DiskSpace::missingText(QDir::tempPath(), missing));
    return "no room for the frames";
}

/// Behind a progress dialog; false when it failed or was aborted.
bool VideoContainer::extract()
{
    const ModalJob::Result extraction =
        ModalJob::run(tr("Extracting %1 frames. Please wait.").arg(frameCount), chunkEnds,
                      videoToFramesWrapper(this), [this] { setCancel(); });
    if (m_cancel.load(std::memory_order_relaxed))
        return false;
    if (m_unwritten != -1)
        m_failure = writeFailure();
    else if (extraction.outcome == ModalJob::Outcome::Failed)
        m_failure = tr("its frames could not be read (%1)").arg(extraction.error);
    return m_failure.isEmpty();
}

/// Says why an image could not be written.
QString VideoContainer::writeFailure() const
{
    const qint64 missing =
        DiskSpace::missing(m_temporaryDir.path(), std::max(m_imageSize, 1.0), frameCount - m_written);
    return missing > 0 ? tr("there is no more room for its %1 frames, %2")
                             .arg(frameCount)
                             .arg(DiskSpace::missingText(QDir::tempPath(), missing))
                       : tr("the image of frame %1 could not be written").arg(m_unwritten + 1);
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
    int failedReads = 0; // in a row
    for (int frame = start; frame < chunkEnd && failedReads < mostFailedReads; ++frame) {
        if (m_cancel.load(std::memory_order_relaxed) || m_unwritten != -1)
            break;
        cv::Mat image; // of this frame only: a failed read may leave the one before
        capture.read(image);
        if (image.rows == 0 || image.cols == 0) {
            ++failedReads;
            continue;
        }
        failedReads = 0;
        if (!writeFrame(frame, image))
            break;
    }
}

/// A frame that cannot be written ends the import: its image would be missing where the video has it.
bool VideoContainer::writeFrame(int frame, const cv::Mat &image)
{
    const QString path = getFramePath(frame);
    if (writeImage(path, image) && isWhole(path)) {
        ++m_written;
        return true;
    }
    QFile::remove(path); // no half-written image stays behind
    int none = -1;
    if (m_unwritten.compare_exchange_strong(none, frame))
        qWarning("could not write frame image %s", qUtf8Printable(path));
    return false;
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
