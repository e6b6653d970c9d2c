// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/keptcopy.h"

#include "core/disksync.h"
#include "core/filelock.h"
#include "core/processmark.h"
#include "core/siblingfile.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <array>
#include <cerrno>

#include <sys/stat.h>

namespace
{

constexpr int streamVersion = QDataStream::Qt_5_2;
constexpr quint32 magic = 0x50414b43;
constexpr mode_t ownerOnly = 0600;
constexpr mode_t ownerOnlyFolder = 0700;
const char suffix[] = ".kept";

/// What stands before the content in a copy.
struct Head {
    QByteArray mark; // of the process that keeps it
    QString path;
    quint64 inode = 0; // of the file; the device's number is another one after the next start
    qint64 size = 0;   // of the content, bytes
};

QDataStream &operator<<(QDataStream &stream, const Head &head)
{
    return stream << magic << head.mark << head.path << head.inode << head.size;
}

/// Whether what `file` holds from here on is a whole copy.
bool readHead(QFile &file, Head *head)
{
    QDataStream stream(&file);
    stream.setVersion(streamVersion);
    quint32 begin = 0;
    stream >> begin;
    if (begin != magic)
        return false;
    stream >> head->mark >> head->path >> head->inode >> head->size;
    return stream.status() == QDataStream::Ok && file.bytesAvailable() == head->size;
}

QString copyPath(const QString &path)
{
    const QByteArray name = QCryptographicHash::hash(QFile::encodeName(path), QCryptographicHash::Sha256);
    return QDir(KeptCopy::folder()).filePath(QString::fromLatin1(name.toHex()) + QLatin1String(suffix));
}

quint64 inodeOf(const QFile &file)
{
    struct stat status;
    return ::fstat(file.handle(), &status) == 0 ? status.st_ino : 0;
}

/// Copies `size` bytes from where `from` stands to where `to` stands. Returns what went wrong, or nothing.
QString copyContent(QFile &from, QFile &to, qint64 size)
{
    std::array<char, 65536> piece;
    for (qint64 left = size; left > 0;) {
        const qint64 got = from.read(piece.data(), qMin<qint64>(left, piece.size()));
        if (got <= 0)
            return got < 0 ? from.errorString() : QStringLiteral("%1 is cut off").arg(from.fileName());
        if (to.write(piece.data(), got) != got)
            return DiskSync::writeError(to);
        left -= got;
    }
    return QString();
}

QString makeFolder()
{
    const QFileInfo info(KeptCopy::folder());
    QDir().mkpath(info.path());
    const QByteArray name = QFile::encodeName(info.filePath());
    if (::mkdir(name.constData(), ownerOnlyFolder) != 0 && errno != EEXIST)
        return qt_error_string(errno);
    return QString();
}

QString writeCopy(QFile &old, const QString &path, SiblingFile &copy)
{
    struct stat status;
    if (::fstat(old.handle(), &status) != 0)
        return qt_error_string(errno);
    QDataStream stream(&copy.device());
    stream.setVersion(streamVersion);
    stream << Head{ProcessMark::own(), path, status.st_ino, status.st_size};
    if (stream.status() != QDataStream::Ok)
        return DiskSync::writeError(copy.device());
    const QString error = copyContent(old, copy.device(), status.st_size);
    return error.isEmpty() ? copy.replaceTarget() : error;
}

/// The content goes over what is there before the rest is cut off, so that the room is not given away first.
QString writeBack(QFile &kept, QFile &file, qint64 size)
{
    QString error = copyContent(kept, file, size);
    if (error.isEmpty() && !file.resize(size))
        error = DiskSync::writeError(file);
    return error.isEmpty() ? DiskSync::content(file) : error;
}

/// Puts a copy where nothing looks for it but the user.
void retire(const QString &copy)
{
    const QString retired = copy + QStringLiteral(".unused");
    QFile::remove(retired);
    QFile::rename(copy, retired);
    qWarning("another file has taken the place of one that was being saved; its old content is in %s",
             qUtf8Printable(retired));
}

bool isOthers(const QByteArray &mark)
{
    return mark != ProcessMark::own() && ProcessMark::mayRun(mark);
}

} // namespace

QString KeptCopy::folder()
{
    const QString state = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    return QDir(state).filePath(QStringLiteral("kept"));
}

QString KeptCopy::keep(const QString &path)
{
    QFile old(path);
    if (!old.open(QIODevice::ReadOnly))
        return old.errorString();
    const QString error = makeFolder();
    if (!error.isEmpty())
        return error;
    SiblingFile::clearLeftovers(copyPath(path));
    SiblingFile copy(copyPath(path));
    const int openError = copy.open(ownerOnly);
    return openError == 0 ? writeCopy(old, path, copy) : qt_error_string(openError);
}

QString KeptCopy::restore(const QString &path)
{
    QFile kept(copyPath(path));
    if (!kept.open(QIODevice::ReadOnly))
        return kept.exists() ? kept.errorString() : QString();
    Head head;
    if (!readHead(kept, &head) || head.path != path)
        return QStringLiteral("%1 is damaged").arg(kept.fileName());
    if (isOthers(head.mark))
        return QStringLiteral("another program is writing it");
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly | QIODevice::Unbuffered))
        return file.errorString();
    if (inodeOf(file) != head.inode) {
        retire(kept.fileName());
        return QString();
    }
    const QString error = writeBack(kept, file, head.size);
    return error.isEmpty() ? drop(path) : error;
}

// Without the sync a loss of power could bring the copy back, and the next start would put it over the new
// content.
QString KeptCopy::drop(const QString &path)
{
    QFile copy(copyPath(path));
    return copy.remove() ? DiskSync::names(folder()) : copy.errorString();
}

void KeptCopy::putBack(const QString &path)
{
    const QString file = QFileInfo(path).canonicalFilePath();
    if (file.isEmpty() || !QFile::exists(copyPath(file)))
        return;
    const FileLock lock(file);
    const QString error = lock.error().isEmpty() ? restore(file) : lock.error();
    if (!error.isEmpty())
        qWarning("could not put the old content of %s back: %s", qUtf8Printable(file), qUtf8Printable(error));
}

void KeptCopy::putAllBack()
{
    const QDir copies(folder());
    for (const QString &name : copies.entryList(QDir::Files)) {
        const QString path = copies.filePath(name.section(QLatin1Char('.'), 0, 0) + QLatin1String(suffix));
        SiblingFile::clearLeftovers(path);
        QFile copy(path);
        Head head;
        if (copy.open(QIODevice::ReadOnly) && readHead(copy, &head))
            putBack(head.path);
    }
}
