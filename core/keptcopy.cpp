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
    quint64 inode = 0;  // of the file; the device's number is another one after the next start
    qint64 size = 0;    // of the old content, bytes; it follows
    qint64 newSize = 0; // of the new content, bytes; it follows the old one
};

QDataStream &operator<<(QDataStream &stream, const Head &head)
{
    return stream << magic << head.mark << head.path << head.inode << head.size << head.newSize;
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
    stream >> head->mark >> head->path >> head->inode >> head->size >> head->newSize;
    return stream.status() == QDataStream::Ok && file.bytesAvailable() == head->size + head->newSize;
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

QString writeHead(QFile &copy, const Head &head)
{
    QDataStream stream(&copy);
    stream.setVersion(streamVersion);
    stream << head;
    return stream.status() == QDataStream::Ok ? QString() : DiskSync::writeError(copy);
}

/// The head comes once more when the size of the new content is known.
QString writeCopy(QFile &old, const QString &path, const std::function<bool(QFileDevice &)> &write,
                  SiblingFile &copy)
{
    struct stat status;
    if (::fstat(old.handle(), &status) != 0)
        return qt_error_string(errno);
    Head head{ProcessMark::own(), path, status.st_ino, status.st_size, 0};
    QFile &device = copy.device();
    QString error = writeHead(device, head);
    if (error.isEmpty())
        error = copyContent(old, device, head.size);
    const qint64 newBegin = device.pos();
    if (error.isEmpty() && (!write(device) || !device.flush()))
        error = DiskSync::writeError(device);
    if (!error.isEmpty())
        return error;
    head.newSize = device.size() - newBegin;
    error = device.seek(0) ? writeHead(device, head) : device.errorString();
    return error.isEmpty() ? copy.replaceTarget() : error;
}

/// Writes what `kept` holds from where it stands. It goes over what is there before the rest is cut off, so
/// that the room is not given away first.
QString writeInto(QFile &file, QFile &kept, qint64 size)
{
    QString error = copyContent(kept, file, size);
    if (error.isEmpty() && !file.resize(size))
        error = DiskSync::writeError(file);
    return error.isEmpty() ? DiskSync::content(file) : error;
}

/// What a file holds that was being written over.
enum class State { Old, New, Mixture, OfOthers };

/// A piece of a file, and the same places of the contents that it can have.
struct Pieces {
    QByteArray found;
    QByteArray old;
    QByteArray fresh;
};

/// Whether an interrupted writing can leave a piece like this. On a machine that fails, pieces get to the
/// disk in any order, and the room behind the old content can stay empty.
bool isMixture(const Pieces &pieces)
{
    for (int i = 0; i < pieces.found.size(); ++i) {
        const char byte = pieces.found.at(i);
        const bool isOld = i < pieces.old.size() ? byte == pieces.old.at(i) : byte == 0;
        if (!isOld && (i >= pieces.fresh.size() || byte != pieces.fresh.at(i)))
            return false;
    }
    return true;
}

/// Reads up to `most` bytes at a place of one of the contents of `kept`, which begins at `begin`.
QByteArray pieceOf(QFile &kept, qint64 begin, qint64 size, qint64 place, qint64 most)
{
    const qint64 length = qMin(most, size - place);
    return length > 0 && kept.seek(begin + place) ? kept.read(length) : QByteArray();
}

/// Compares what `file` holds with the contents behind the head of `kept`, where that one stands.
State stateOf(QFile &file, QFile &kept, const Head &head)
{
    constexpr qint64 length = 65536;
    const qint64 size = file.size();
    const qint64 begin = kept.pos();
    bool isOld = size == head.size;
    bool isNew = size == head.newSize;
    if (size < qMin(head.size, head.newSize) || size > qMax(head.size, head.newSize))
        return State::OfOthers;
    for (qint64 place = 0; place < size; place += length) {
        const Pieces pieces{file.read(length), pieceOf(kept, begin, head.size, place, length),
                            pieceOf(kept, begin + head.size, head.newSize, place, length)};
        if (pieces.found.isEmpty() || !isMixture(pieces))
            return State::OfOthers;
        isOld = isOld && pieces.found == pieces.old;
        isNew = isNew && pieces.found == pieces.fresh;
    }
    return isNew ? State::New : isOld ? State::Old : State::Mixture;
}

/// Writes the new content that is kept for `path` over the file, or else the old one.
QString writeKept(const QString &path, State state)
{
    QFile kept(copyPath(path));
    Head head;
    if (!kept.open(QIODevice::ReadOnly) || !readHead(kept, &head))
        return QStringLiteral("%1 is damaged").arg(kept.fileName());
    if (state == State::New && !kept.seek(kept.pos() + head.size))
        return kept.errorString();
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly | QIODevice::Unbuffered))
        return file.errorString();
    return writeInto(file, kept, state == State::New ? head.newSize : head.size);
}

/// Puts a copy where nothing looks for it but the user.
void retire(const QString &copy)
{
    QString retired = copy + QStringLiteral(".unused");
    for (int i = 2; QFile::exists(retired); ++i)
        retired = copy + QStringLiteral(".unused-%1").arg(i);
    QFile::rename(copy, retired);
    qWarning("something else has taken the place of a file that was being saved; its old content is in %s",
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

QString KeptCopy::keep(const QString &path, const std::function<bool(QFileDevice &)> &write)
{
    QFile old(path);
    if (!old.open(QIODevice::ReadOnly))
        return old.errorString();
    QString error = makeFolder();
    if (!error.isEmpty())
        return error;
    SiblingFile::clearLeftovers(copyPath(path));
    SiblingFile copy(copyPath(path));
    const int openError = copy.open(ownerOnly);
    return openError == 0 ? writeCopy(old, path, write, copy) : qt_error_string(openError);
}

QString KeptCopy::writeOver(const QString &path)
{
    return writeKept(path, State::New);
}

QString KeptCopy::undo(const QString &path)
{
    const QString error = writeKept(path, State::Old);
    return error.isEmpty() ? drop(path) : error;
}

QString KeptCopy::restore(const QString &path, const FileLock &lock)
{
    QFile kept(copyPath(path));
    if (!kept.open(QIODevice::ReadOnly))
        return kept.exists() ? kept.errorString() : QString();
    Head head;
    if (!readHead(kept, &head) || head.path != path)
        return QStringLiteral("%1 is damaged").arg(kept.fileName());
    if (!lock.excludesOthers() && isOthers(head.mark))
        return QStringLiteral("another program is writing it");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return file.errorString();
    const State state = inodeOf(file) == head.inode ? stateOf(file, kept, head) : State::OfOthers;
    if (state == State::OfOthers) {
        retire(kept.fileName());
        return QString();
    }
    // What is whole is written once more, too: it need not have got to the disk.
    const QString error = writeKept(path, state);
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
    const QString error = lock.error().isEmpty() ? restore(file, lock) : lock.error();
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
