// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QImage>
#include <QString>
#include <QStringList>

#include <condition_variable>
#include <deque>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

/// Decoded frame images, as many as fit into a budget, least recently used out first. Images that will be
/// wanted next are decoded ahead, one at a time, on a thread of the cache's own.
///
/// One thread owns the cache and makes all calls.
class FrameCache
{
public:
    /// Reads an image file; a null image if that is impossible. The pixels of `spare`, an image of no further
    /// use or none, may be overwritten with the new ones. Called by the owner and by the cache's thread.
    using Decode = std::function<QImage(const QString &path, QImage spare)>;
    /// Whether the processors are needed for something else. Called by the cache's thread.
    using Busy = std::function<bool()>;

    static constexpr qint64 defaultBudget = qint64(256) * 1024 * 1024; // bytes
    /// Milliseconds. A file changed less than this long ago could change again without its time telling; its
    /// image is not kept.
    static constexpr qint64 settlingTime = 100;

    /// `budget` in bytes of pixels.
    explicit FrameCache(qint64 budget = defaultBudget, Decode decode = decodeFile, Busy busy = longJobRuns);
    /// Waits for the image that is being decoded ahead, if any.
    ~FrameCache();
    Q_DISABLE_COPY(FrameCache)

    /// The image in the file at `path` as it is now; null, and tried again the next time, if it cannot be
    /// read. If the image is being decoded ahead, waits for that.
    QImage image(const QString &path);
    /// Has the images in these files decoded ahead, in this order, as many as fit in beside the image last
    /// asked for. What waited to be decoded ahead before is given up; all of it is while a long job runs.
    void prepare(const QStringList &paths);
    /// Forgets all images and what waits. No file is in use afterwards.
    void clear();

    /// Bytes of pixels held.
    qint64 bytes() const;
    /// Whether the image of a file is held, as it is now or was once.
    bool holds(const QString &path) const;
    /// Whether nothing is being decoded ahead or waits for it.
    bool isIdle() const;

    /// The pixels that QImage reads from a file, in the format that is painted fastest.
    static QImage decodeFile(const QString &path, QImage spare = QImage());
    /// Whether work items of a long job run, all of which do so on the global thread pool.
    static bool longJobRuns();

private:
    /// Tells one content of a file from the next.
    struct Stamp {
        qint64 modified = 0; // milliseconds since 1970
        qint64 size = -1;    // bytes

        static Stamp of(const QString &path);
        bool isSettled() const;
        bool operator==(const Stamp &other) const;
    };
    struct Entry {
        QString path;
        Stamp stamp;
        QImage image;
    };
    using Lock = std::unique_lock<std::mutex>;

    Entry decode(const QString &path, Lock &lock);
    QImage makeRoom();
    bool holdsFresh(const QString &path);
    void keep(const Entry &entry);
    void remove(const QString &path);
    void touch(const QString &path);
    int placesBesideLastImage() const;
    void runThread();
    void decodeNext(Lock &lock);

    const qint64 m_budget;
    const Decode m_decode;
    const Busy m_busy;
    std::thread m_thread; // started when first needed

    mutable std::mutex m_mutex;        // guards all below
    std::condition_variable m_changed; // whenever something below has changed that somebody may wait for
    std::list<Entry> m_entries;        // most recently used first
    qint64 m_bytes = 0;                // of m_entries
    qint64 m_lastSize = 0;             // bytes of the last image asked for and found
    qint64 m_inWork = 0;               // bytes of the images being decoded, by both threads
    std::deque<QString> m_queue;
    QString m_decoding; // by the cache's thread; empty if nothing
    bool m_ending = false;
};
