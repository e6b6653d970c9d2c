// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QTemporaryDir>

#include <atomic>

namespace cv
{
class Mat;
class VideoCapture;
} // namespace cv

/// Turns a video file into a temporary folder of numbered JPEG images, one per frame, which lives as long as
/// the container.
///
///     <temporary folder>/clip.avi                       copy of the video
///     <temporary folder>/frames/frame0000000042.jpg     image of frame 42 (from 0)
///     <temporary folder>/.palu-process                  whose it is, for the start after a crash
class VideoContainer : public QObject
{
    Q_OBJECT

public:
    /// Makes the temporary folder. Ends the process with status 1 if that is impossible.
    explicit VideoContainer(QObject *parent = nullptr);
    ~VideoContainer() override;

    /// Copies the video at `path`, reads its properties and extracts all frames behind a progress dialog.
    ///
    /// Returns false, with a warning in the log, when the file cannot be copied, is no usable video or is too
    /// large for memory or disk, and false without one when the user aborted. A frame that cannot be decoded
    /// leaves its image out.
    bool loadFile(QString path);
    /// Why the last import failed, for the user, as what follows a colon; empty if it did not or was aborted.
    QString failure() const { return m_failure; }
    /// Name of the video file without its folder.
    QString fileName() const;
    /// Path of the image of `frame` (from 0); neither the number nor the file is checked.
    QString getFramePath(int frame) const;
    /// Extracts the frames of the chunk that ends before `chunkEnd`. Runs on a pool thread.
    void videoToFrames(int &chunkEnd);
    /// First frame of the chunk that ends before `chunkEnd`: the entry before it in chunkEnds, or 0.
    int chunkStart(int chunkEnd) const;
    /// Splits frameCount frames into one chunk per thread; the last one takes the remainder.
    static QList<int> splitIntoChunks(int frameCount, int threads);

    /// Function object of the parallel map: extracts one chunk.
    struct videoToFramesWrapper {
        explicit videoToFramesWrapper(VideoContainer *owner)
            : container(owner)
        {
        }
        void operator()(int &chunkEnd) const { container->videoToFrames(chunkEnd); }

        VideoContainer *container;
    };

    /// Frames per second that the video reports.
    double fps = 0;
    /// Number of frames that the video reports.
    int frameCount = 0;
    /// Duration in seconds.
    double length = 0;
    /// Frame width in pixels.
    int width = -1;
    /// Frame height in pixels.
    int height = -1;
    /// Work items of the parallel jobs: exclusive ends of runs of frames.
    QList<int> chunkEnds;
    /// Path of the copy of the video.
    QString videoPath;

public slots:
    /// Makes a running extraction stop at the next frame of each worker.
    void setCancel();

private:
    class OpenedAhead;

    bool copy(const QString &path);
    const char *probe(cv::VideoCapture capture);
    const char *checkSize(cv::VideoCapture &capture);
    bool extract();
    bool writeFrame(int frame, const cv::Mat &image);
    QString writeFailure() const;

    QTemporaryDir m_temporaryDir;
    QString m_failure;
    double m_imageSize = 0;               // bytes, as estimated; 0 if no frame could be read
    OpenedAhead *m_openedAhead = nullptr; // during the extraction; each worker takes another capture
    std::atomic<bool> m_cancel{false};    // written by the GUI thread, read by the workers before each frame
    std::atomic<int> m_unwritten{-1};     // the first frame that could not be written; the same with workers
    std::atomic<int> m_written{0};        // images, by all workers
};
