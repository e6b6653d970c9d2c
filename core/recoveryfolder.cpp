// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/recoveryfolder.h"

#include "core/disksync.h"
#include "core/processmark.h"
#include "core/safefile.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QThread>
#include <QUuid>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace
{

constexpr int guardTimeLimit = 1000; // milliseconds; others hold it for a few
constexpr int guardPause = 5;        // milliseconds between two attempts

const QStringList copyFilter{QStringLiteral("*.palu")};

QString lockPath(const QString &copyPath)
{
    return copyPath + QStringLiteral(".lock");
}

/// Asks for a lock on an open file without waiting. Where there are none, nobody holds one.
bool isHeldByAnother(int file, int kind)
{
    return ::flock(file, kind | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

/// Keeps every other program and thread from changing who owns which copy, while it is in scope. The system
/// lets go for a program that is killed. A file system that knows no locks keeps nobody.
class Guard
{
public:
    explicit Guard(const QString &folder)
        : m_file(::open(QFile::encodeName(folder + QStringLiteral("/.guard")).constData(),
                        O_RDWR | O_CREAT | O_CLOEXEC, 0600))
    {
        QElapsedTimer waiting;
        waiting.start();
        while (m_file != -1 && !(m_held = !isHeldByAnother(m_file, LOCK_EX))) {
            if (waiting.hasExpired(guardTimeLimit))
                return;
            QThread::msleep(guardPause);
        }
    }
    ~Guard()
    {
        if (m_file != -1)
            ::close(m_file);
    }
    Q_DISABLE_COPY(Guard)

    bool isHeld() const { return m_held; }

private:
    int m_file;
    bool m_held = false;
};

/// The mark in an open lock file.
QByteArray markIn(QFile &lock)
{
    constexpr qint64 mostOfMark = 4096; // bytes
    return lock.read(mostOfMark);
}

/// Replaces the file at `path`, which only the user can read. Returns what went wrong, or nothing.
QString replace(const QString &path, const SafeFile::Writer &write)
{
    SafeFile::Options options;
    options.writesOver = false;
    options.forTheUserOnly = true;
    QString error;
    SafeFile::replace(path, write, &error, options);
    return error;
}

} // namespace

RecoveryFolder::RecoveryFolder(QString path)
    : m_path(std::move(path))
{
}

RecoveryFolder::~RecoveryFolder()
{
    for (const QString &path : qAsConst(m_own))
        QFile::remove(lockPath(path));
    for (const int lock : qAsConst(m_locks))
        ::close(lock);
}

QString RecoveryFolder::newCopy()
{
    const QString name = QUuid::createUuid().toString(QUuid::WithoutBraces);
    QString path = QStringLiteral("%1/%2.palu").arg(m_path, name);
    const std::lock_guard lock(m_mutex);
    m_own.insert(path);
    return path;
}

QString RecoveryFolder::makeFolder() const
{
    constexpr auto ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;
    if (!QDir().mkpath(m_path) || !QFile::setPermissions(m_path, ownerOnly))
        return QStringLiteral("the folder %1 cannot be made").arg(m_path);
    return QString();
}

/// Puts this process's mark beside a copy that is free. The file is locked before it gets its name.
QString RecoveryFolder::takeLock(const QString &path)
{
    const QByteArray mark = ProcessMark::own();
    const Guard guard(m_path);
    if (!guard.isHeld() || !isFree(path))
        return QStringLiteral("another program holds %1").arg(path);
    int lock = -1;
    QString error = replace(lockPath(path), [&](QFileDevice &file) {
        lock = ::fcntl(file.handle(), F_DUPFD_CLOEXEC, 0); // NOLINT: it is a function of many arguments
        return lock != -1 && !isHeldByAnother(lock, LOCK_EX) && file.write(mark) == mark.size();
    });
    const std::lock_guard mutexLock(m_mutex);
    if (error.isEmpty())
        lock = std::exchange(*m_locks.insert(path, m_locks.value(path, -1)), lock);
    if (lock != -1)
        ::close(lock);
    return error;
}

bool RecoveryFolder::claim(const QString &path)
{
    if (isOwn(path))
        return true;
    if (!QFile::exists(path))
        return false;
    const QString error = takeLock(path);
    if (!error.isEmpty()) {
        qWarning("%s", qUtf8Printable(error));
        return false;
    }
    // The one who had it may have removed it just before.
    const std::lock_guard lock(m_mutex);
    const bool isThere = QFile::exists(path);
    if (isThere)
        m_own.insert(path);
    else
        removeOwn(path); // its lock
    return isThere;
}

QString RecoveryFolder::write(const QString &path, const std::function<bool(QFileDevice &)> &write)
{
    QString error = makeFolder();
    if (error.isEmpty() && !QFile::exists(lockPath(path)))
        error = takeLock(path);
    const QString next = path + QStringLiteral(".next");
    if (error.isEmpty())
        error = replace(next, write);
    if (error.isEmpty())
        error = putInPlace(next, path);
    QFile::remove(next);
    if (isOwn(path))
        return error;
    const std::lock_guard lock(m_mutex);
    removeOwn(path); // its lock, as the copy was while it was being written
    return QString();
}

/// A copy that is removed meanwhile does not come back, not even for a moment.
QString RecoveryFolder::putInPlace(const QString &next, const QString &path)
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_own.contains(path) &&
            std::rename(QFile::encodeName(next).constData(), QFile::encodeName(path).constData()) != 0)
            return qt_error_string(errno);
    }
    return DiskSync::names(m_path);
}

// The lock goes last: nobody else may find the copy without one meanwhile.
void RecoveryFolder::remove(const QString &path)
{
    const std::lock_guard lock(m_mutex);
    if (m_own.contains(path))
        removeOwn(path);
}

/// To be called with the mutex locked.
void RecoveryFolder::removeOwn(const QString &path)
{
    m_own.remove(path);
    QFile::remove(path);
    QFile::remove(lockPath(path));
    if (m_locks.contains(path))
        ::close(m_locks.take(path));
}

bool RecoveryFolder::isOwn(const QString &path)
{
    const std::lock_guard lock(m_mutex);
    return m_own.contains(path);
}

/// A look at a lock is shared, so that two at once do not take each other for the owner.
bool RecoveryFolder::isFree(const QString &path)
{
    QFile lock(lockPath(path));
    if (!lock.open(QIODevice::ReadOnly))
        return !lock.exists();
    if (::flock(lock.handle(), LOCK_SH | LOCK_NB) == 0)
        return true;
    return errno != EWOULDBLOCK && !ProcessMark::mayRun(markIn(lock));
}

/// Damaged ones, which have no video, are among them.
QVector<RecoveryCopy> RecoveryFolder::allCopies()
{
    QVector<RecoveryCopy> found;
    for (const QFileInfo &file : QDir(m_path).entryInfoList(copyFilter, QDir::Files | QDir::NoSymLinks)) {
        const QString path = m_path + QLatin1Char('/') + file.fileName();
        if (!isOwn(path) && !isFree(path))
            continue;
        const std::optional<RecoveryCopy> copy = RecoveryCopy::read(path);
        if (copy || QFile::exists(path))
            found.append(copy ? *copy : damagedCopy(path));
    }
    sortNewestFirst(found);
    return found;
}

void RecoveryFolder::sortNewestFirst(QVector<RecoveryCopy> &copies)
{
    const std::lock_guard lock(m_mutex);
    const QDateTime now = QDateTime::currentDateTime();
    const auto rank = [&](const RecoveryCopy &copy) {
        return std::make_tuple(copy.path == m_newest, copy.changed <= now, copy.changed);
    };
    std::stable_sort(copies.begin(), copies.end(),
                     [&rank](const RecoveryCopy &a, const RecoveryCopy &b) { return rank(a) > rank(b); });
}

RecoveryCopy RecoveryFolder::damagedCopy(const QString &path)
{
    const std::lock_guard lock(m_mutex);
    if (!m_damaged.contains(path))
        qWarning("%s is no whole copy of unsaved work", qUtf8Printable(path));
    m_damaged.insert(path);
    return {path, QString(), QString(), QFileInfo(path).lastModified()};
}

QVector<RecoveryCopy> RecoveryFolder::copies()
{
    QVector<RecoveryCopy> found = allCopies();
    const auto isDamaged = [](const RecoveryCopy &copy) { return copy.videoPath.isEmpty(); };
    found.erase(std::remove_if(found.begin(), found.end(), isDamaged), found.end());
    return found;
}

void RecoveryFolder::setNewest(const QString &path)
{
    const std::lock_guard lock(m_mutex);
    m_newest = path;
}

void RecoveryFolder::prune(const QString &spared)
{
    if (!QFileInfo::exists(m_path))
        return;
    const Guard guard(m_path);
    if (!guard.isHeld())
        return;
    clearLeftovers();
    QVector<RecoveryCopy> kept = allCopies();
    const auto isSpared = [&spared](const RecoveryCopy &copy) { return copy.path == spared; };
    kept.erase(std::remove_if(kept.begin(), kept.end(), isSpared), kept.end());
    const std::lock_guard lock(m_mutex);
    for (int i = mostCopies; i < kept.size(); ++i)
        removeOwn(kept.at(i).path);
}

/// Removes the locks of nobody without a copy, and the halves of files (`<name>.XXXXXX`) that were being
/// written for one. To be called with the guard held, or it would take a lock from under its maker.
void RecoveryFolder::clearLeftovers()
{
    static const QStringList filter{QStringLiteral("*.palu.*")};
    for (const QString &name : QDir(m_path).entryList(filter, QDir::Files)) {
        const QString file = m_path + QLatin1Char('/') + name;
        const QString copy =
            m_path + QLatin1Char('/') + name.section(QStringLiteral(".palu"), 0, 0) + QStringLiteral(".palu");
        const bool isLock = file == lockPath(copy);
        if (!isOwn(copy) && isFree(copy) && !(isLock && QFile::exists(copy)))
            QFile::remove(file);
    }
}
