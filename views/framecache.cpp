// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/framecache.h"

#include <QDateTime>
#include <QFileInfo>
#include <QImageReader>
#include <QThreadPool>

#include <algorithm>
#include <utility>

FrameCache::Stamp FrameCache::Stamp::of(const QString &path)
{
    const QFileInfo file(path);
    Stamp stamp;
    if (file.exists()) {
        stamp.modified = file.lastModified().toMSecsSinceEpoch();
        stamp.size = file.size();
    }
    return stamp;
}

bool FrameCache::Stamp::isSettled() const
{
    return qAbs(QDateTime::currentMSecsSinceEpoch() - modified) >= settlingTime;
}

bool FrameCache::Stamp::operator==(const Stamp &other) const
{
    return modified == other.modified && size == other.size;
}

FrameCache::FrameCache(qint64 budget, Decode decode, Busy busy)
    : m_budget(budget)
    , m_decode(std::move(decode))
    , m_busy(std::move(busy))
{
}

FrameCache::~FrameCache()
{
    {
        const Lock lock(m_mutex);
        m_queue.clear();
        m_ending = true;
    }
    m_changed.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

QImage FrameCache::image(const QString &path)
{
    Lock lock(m_mutex);
    m_queue.erase(std::remove(m_queue.begin(), m_queue.end(), path), m_queue.end());
    m_changed.wait(lock, [&] { return m_decoding != path; });
    QImage found;
    if (holdsFresh(path)) {
        touch(path);
        found = m_entries.front().image;
    } else {
        const Entry entry = decode(path, lock);
        keep(entry);
        found = entry.image;
    }
    if (!found.isNull())
        m_lastSize = found.sizeInBytes();
    return found;
}

void FrameCache::prepare(const QStringList &paths)
{
    QStringList fitting;
    {
        const Lock lock(m_mutex);
        fitting = paths.mid(0, placesBesideLastImage());
        m_queue.assign(fitting.cbegin(), fitting.cend());
        // What is there already must not make room for the rest.
        std::for_each(fitting.crbegin(), fitting.crend(), [this](const QString &path) { touch(path); });
    }
    if (fitting.isEmpty())
        return;
    if (!m_thread.joinable())
        m_thread = std::thread([this] { runThread(); });
    m_changed.notify_all();
}

void FrameCache::clear()
{
    Lock lock(m_mutex);
    m_queue.clear();
    m_changed.wait(lock, [this] { return m_decoding.isEmpty(); });
    m_entries.clear();
    m_bytes = 0;
}

qint64 FrameCache::bytes() const
{
    const Lock lock(m_mutex);
    return m_bytes;
}

bool FrameCache::holds(const QString &path) const
{
    const Lock lock(m_mutex);
    return std::any_of(m_entries.cbegin(), m_entries.cend(),
                       [&](const Entry &entry) { return entry.path == path; });
}

bool FrameCache::isIdle() const
{
    const Lock lock(m_mutex);
    return m_queue.empty() && m_decoding.isEmpty();
}

QImage FrameCache::decodeFile(const QString &path, QImage spare)
{
    if (!QImageReader(path).read(&spare))
        return QImage();
    return spare.hasAlphaChannel() ? spare : std::move(spare).convertToFormat(QImage::Format_RGB32);
}

bool FrameCache::longJobRuns()
{
    return QThreadPool::globalInstance()->activeThreadCount() > 0;
}

// The stamp is older than the image: a file that changes between the two is read again.
FrameCache::Entry FrameCache::decode(const QString &path, Lock &lock)
{
    Entry entry{path, Stamp::of(path), QImage()};
    if (entry.stamp.size < 0)
        return entry;
    const qint64 expected = m_lastSize;
    m_inWork += expected;
    QImage spare = makeRoom();
    lock.unlock();
    entry.image = m_decode(path, std::move(spare));
    lock.lock();
    m_inWork -= expected;
    return entry;
}

/// Gives up images until there is room for those being decoded, which are as large as the last. Returns one
/// of them that nobody shows: memory that is in use already takes new pixels a good deal faster than memory
/// fresh from the system.
QImage FrameCache::makeRoom()
{
    QImage spare;
    while (!m_entries.empty() && m_lastSize <= m_budget && m_bytes + m_inWork > m_budget) {
        Entry &last = m_entries.back();
        m_bytes -= last.image.sizeInBytes();
        spare = std::move(last.image);
        m_entries.pop_back();
    }
    return spare.isDetached() ? std::move(spare) : QImage();
}

bool FrameCache::holdsFresh(const QString &path)
{
    const Stamp stamp = Stamp::of(path);
    return std::any_of(m_entries.cbegin(), m_entries.cend(),
                       [&](const Entry &entry) { return entry.path == path && entry.stamp == stamp; });
}

void FrameCache::keep(const Entry &entry)
{
    remove(entry.path);
    const qint64 size = entry.image.sizeInBytes();
    if (entry.image.isNull() || size > m_budget || !entry.stamp.isSettled())
        return;
    m_entries.push_front(entry);
    m_bytes += size;
    while (m_bytes > m_budget) {
        m_bytes -= m_entries.back().image.sizeInBytes();
        m_entries.pop_back();
    }
}

void FrameCache::remove(const QString &path)
{
    m_entries.remove_if([&](const Entry &entry) {
        const bool found = entry.path == path;
        m_bytes -= found ? entry.image.sizeInBytes() : 0;
        return found;
    });
}

/// Makes an image the most recently used one.
void FrameCache::touch(const QString &path)
{
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&](const Entry &entry) { return entry.path == path; });
    if (found != m_entries.end())
        m_entries.splice(m_entries.begin(), m_entries, found);
}

/// The images of a video all have one size.
int FrameCache::placesBesideLastImage() const
{
    if (m_lastSize <= 0)
        return 0;
    return static_cast<int>(std::max<qint64>(m_budget / m_lastSize - 1, 0));
}

void FrameCache::runThread()
{
    Lock lock(m_mutex);
    while (!m_ending) {
        if (m_queue.empty())
            m_changed.wait(lock);
        else
            decodeNext(lock);
    }
}

void FrameCache::decodeNext(Lock &lock)
{
    if (m_busy()) {
        m_queue.clear();
        return;
    }
    const QString path = m_queue.front();
    m_queue.pop_front();
    if (holdsFresh(path))
        return;
    m_decoding = path;
    keep(decode(path, lock));
    m_decoding.clear();
    m_changed.notify_all();
}
