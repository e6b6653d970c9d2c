// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/siblingfile.h"

#include "core/disksync.h"

#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr int tailLength = 6;      // letters behind the target's name and a dot
constexpr int fewestCaseSteps = 3; // between neighbours behind the first letter
constexpr int mostTries = 100;     // at a name that nobody has
constexpr mode_t ownerOnly = 0600;
constexpr mode_t permissionBits = 0777;

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isCapital(char c)
{
    return c >= 'A' && c <= 'Z';
}

/// Six letters that nobody picks: "rTgUuM", but not "backup", "Backup" or "BackUp".
bool looksRandom(const QByteArray &tail)
{
    if (tail.size() != tailLength || !isLetter(tail.at(0)))
        return false;
    int caseSteps = 0;
    for (int i = 1; i < tailLength; ++i) {
        if (!isLetter(tail.at(i)))
            return false;
        caseSteps += i > 1 && isCapital(tail.at(i)) != isCapital(tail.at(i - 1)) ? 1 : 0;
    }
    return caseSteps >= fewestCaseSteps;
}

QByteArray randomTail()
{
    static const char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    QByteArray tail(tailLength, 'a');
    while (!looksRandom(tail)) {
        for (char &letter : tail)
            letter = letters[QRandomGenerator::global()->bounded(int(sizeof letters) - 1)];
    }
    return tail;
}

/// A name for an open file that has none.
QByteArray descriptorPath(int descriptor)
{
    return "/proc/self/fd/" + QByteArray::number(descriptor);
}

/// Whether `descriptor` and `name` are the same file still.
bool isStillNamed(int descriptor, const QByteArray &name)
{
    struct stat opened;
    struct stat named;
    return ::fstat(descriptor, &opened) == 0 && ::lstat(name.constData(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

bool lock(int descriptor)
{
    return ::flock(descriptor, LOCK_EX | LOCK_NB) == 0;
}

/// A plain file of this user's with this one name that no program is writing.
bool isAbandoned(int descriptor, const QByteArray &name)
{
    struct stat status;
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
           status.st_uid == ::geteuid() && lock(descriptor) && isStillNamed(descriptor, name);
}

void clearLeftover(const QByteArray &name)
{
    const int descriptor = ::open(name.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC); // NOLINT
    if (descriptor < 0)
        return;
    if (isAbandoned(descriptor, name))
        ::unlink(name.constData());
    ::close(descriptor);
}

/// Gives the new file owner and permissions of the old one, as far as this process may: nobody but root may
/// give away, and only to groups of one's own. What the old group might do the process's own one may not.
int takeOver(int descriptor, const struct stat &old)
{
    constexpr auto same = static_cast<uid_t>(-1);
    const bool groupIsKept =
        ::fchown(descriptor, old.st_uid, old.st_gid) == 0 || ::fchown(descriptor, same, old.st_gid) == 0;
    const mode_t mode = old.st_mode & (groupIsKept ? permissionBits : permissionBits & ~S_IRWXG);
    return ::fchmod(descriptor, mode) == 0 ? 0 : errno;
}

} // namespace

SiblingFile::SiblingFile(QString target)
    : m_target(std::move(target))
{
}

SiblingFile::~SiblingFile()
{
    if (!m_name.isEmpty())
        ::unlink(m_name.constData());
}

int SiblingFile::open(mode_t newFileMode)
{
    const QByteArray path = randomSibling();
    if (path.size() - path.lastIndexOf('/') - 1 > NAME_MAX)
        return ENAMETOOLONG;
    struct stat old;
    const bool replaces = ::stat(QFile::encodeName(m_target).constData(), &old) == 0;
    if (!replaces && errno != ENOENT)
        return errno;
    // Until it has the old one's permissions nobody else may look into it.
    const mode_t mode = replaces ? ownerOnly : newFileMode;
    int descriptor = openUnnamed(mode);
    if (descriptor < 0)
        descriptor = openNamed(mode);
    if (descriptor < 0)
        return errno;
    m_device.open(descriptor, QIODevice::WriteOnly, QFileDevice::AutoCloseHandle);
    return replaces ? takeOver(descriptor, old) : 0;
}

int SiblingFile::openUnnamed(mode_t mode)
{
    const QByteArray folder = QFile::encodeName(QFileInfo(m_target).path());
    const int descriptor = ::open(folder.constData(), O_RDWR | O_TMPFILE | O_CLOEXEC, mode); // NOLINT
    if (descriptor < 0)
        return -1;
    if (::access(descriptorPath(descriptor).constData(), F_OK) == 0) {
        lock(descriptor);
        return descriptor;
    }
    ::close(descriptor); // it could not be given a name
    return -1;
}

int SiblingFile::openNamed(mode_t mode)
{
    for (int i = 0; i < mostTries; ++i) {
        const QByteArray name = randomSibling();
        const int flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
        const int descriptor = ::open(name.constData(), flags, mode); // NOLINT
        if (descriptor < 0 && errno != EEXIST)
            return -1;
        if (descriptor < 0)
            continue;
        // Another program may have taken it for a leftover in the moment before it was locked.
        lock(descriptor);
        if (isStillNamed(descriptor, name)) {
            m_name = name;
            return descriptor;
        }
        ::close(descriptor);
    }
    errno = EEXIST;
    return -1;
}

QString SiblingFile::giveName()
{
    const QByteArray unnamed = descriptorPath(m_device.handle());
    for (int i = 0; i < mostTries && m_name.isEmpty(); ++i) {
        const QByteArray name = randomSibling();
        if (::linkat(AT_FDCWD, unnamed.constData(), AT_FDCWD, name.constData(), AT_SYMLINK_FOLLOW) == 0)
            m_name = name;
        else if (errno != EEXIST)
            break;
    }
    return m_name.isEmpty() ? qt_error_string(errno) : QString();
}

QByteArray SiblingFile::randomSibling() const
{
    return QFile::encodeName(m_target) + '.' + randomTail();
}

QString SiblingFile::replaceTarget()
{
    QString error = DiskSync::content(m_device);
    if (error.isEmpty() && m_name.isEmpty())
        error = giveName();
    if (!error.isEmpty())
        return error;
    if (::rename(m_name.constData(), QFile::encodeName(m_target).constData()) != 0) {
        m_targetStays = errno == EPERM || errno == EACCES;
        return qt_error_string(errno);
    }
    m_name.clear();
    return DiskSync::names(QFileInfo(m_target).path());
}

void SiblingFile::clearLeftovers(const QString &target)
{
    const QFileInfo info(target);
    const QString stem = info.fileName() + QLatin1Char('.');
    const QDir folder(info.path());
    for (const QString &name : folder.entryList(QDir::Files | QDir::Hidden, QDir::Unsorted)) {
        if (name.startsWith(stem) && looksRandom(name.mid(stem.size()).toUtf8()))
            clearLeftover(QFile::encodeName(folder.filePath(name)));
    }
}
