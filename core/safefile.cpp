// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/safefile.h"

#include "core/disksync.h"
#include "core/filelock.h"
#include "core/keptcopy.h"
#include "core/siblingfile.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr int mostLinks = 40; // as the system follows them
constexpr mode_t everybody = 0666;
constexpr mode_t ownerOnly = 0600;

using SafeFile::Outcome;

QString text(const char *source)
{
    return QCoreApplication::translate("SafeFile", source);
}

/// The path as the system resolves it, all links in it included; empty, with the reason in errno, where there
/// is nothing.
QByteArray realPath(const QByteArray &path)
{
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.constData(), nullptr), &std::free);
    return QByteArray(real.get());
}

/// What the symbolic link at `path` says; empty where there is none.
QByteArray linkText(const QByteArray &path)
{
    QByteArray text(PATH_MAX, '\0');
    const ssize_t size = ::readlink(path.constData(), text.data(), static_cast<size_t>(text.size()));
    return text.left(static_cast<int>(qMax<ssize_t>(size, 0)));
}

/// Where the text of a link in the same folder as `link` leads. ".." stays in it: behind a link to a folder
/// it means the folder around the one that the link leads to. Empty, with the reason in errno, if the folder
/// is gone.
QByteArray besideLink(const QByteArray &link, const QByteArray &text)
{
    if (text.startsWith('/'))
        return text;
    const QByteArray folder = realPath(link.left(link.lastIndexOf('/') + 1) + '.');
    return folder.isEmpty() ? QByteArray() : folder + '/' + text;
}

/// Where the links at `path` lead, also when there is no file yet. `error` says if that cannot be told.
QString behindLinks(const QString &path, QString *error)
{
    QByteArray file = QFile::encodeName(path);
    for (int i = 0; i < mostLinks; ++i) {
        const QByteArray real = realPath(file);
        if (!real.isEmpty())
            return QFile::decodeName(real);
        if (errno != ENOENT)
            break;
        const QByteArray text = linkText(file);
        if (text.isEmpty())
            return QFile::decodeName(file);
        file = besideLink(file, text);
        if (file.isEmpty())
            break;
        errno = ELOOP; // unless this one leads somewhere
    }
    *error = qt_error_string(errno);
    return path;
}

/// Why the file at `path` may not be replaced, or nothing.
QString obstacle(const QString &path)
{
    struct stat status;
    const QByteArray name = QFile::encodeName(path);
    if (::stat(name.constData(), &status) != 0)
        return errno == ENOENT ? QString() : qt_error_string(errno);
    if (!S_ISREG(status.st_mode))
        return text("it is no file");
    const bool writable = ::faccessat(AT_FDCWD, name.constData(), W_OK, AT_EACCESS) == 0;
    return writable ? QString() : qt_error_string(errno);
}

/// Whether the folder of a new file is what it failed at.
bool takesNoNewFile(int error)
{
    return error == EACCES || error == EPERM || error == ENAMETOOLONG;
}

/// Writes the content over the file's. Returns what went wrong, or nothing; the old content is then put back.
QString writeOver(const QString &path, const SafeFile::Writer &write)
{
    const QString kept = KeptCopy::keep(path, write);
    if (!kept.isEmpty())
        return text("its old content could not be kept aside: %1").arg(kept);
    QString error = KeptCopy::writeOver(path);
    if (error.isEmpty())
        error = KeptCopy::drop(path);
    if (error.isEmpty())
        return QString();
    const QString back = KeptCopy::undo(path);
    return back.isEmpty()
               ? error
               : text("%1; its old content is kept, since putting it back failed, too: %2").arg(error, back);
}

Outcome replaceInPlace(const QString &path, const SafeFile::Writer &write, QString *error)
{
    const QString file = QFileInfo(path).canonicalFilePath();
    const FileLock lock(file);
    *error = lock.error();
    if (!error->isEmpty())
        return Outcome::Failed;
    *error = KeptCopy::restore(file, lock); // what an earlier attempt could not put back
    if (error->isEmpty())
        *error = writeOver(file, write);
    return error->isEmpty() ? Outcome::Replaced : Outcome::Failed;
}

Outcome replaceByRename(SiblingFile &file, const SafeFile::Writer &write, QString *error)
{
    *error = write(file.device()) ? file.replaceTarget() : DiskSync::writeError(file.device());
    return error->isEmpty() ? Outcome::Replaced : Outcome::Failed;
}

} // namespace

Outcome SafeFile::replace(const QString &path, const Writer &write, QString *error, Options options)
{
    error->clear();
    const QString target = behindLinks(path, error);
    if (error->isEmpty())
        *error = obstacle(target);
    if (!error->isEmpty())
        return Outcome::NotOpened;
    KeptCopy::putBack(target);
    SiblingFile::clearLeftovers(target);
    SiblingFile file(target);
    const int openError = file.open(options.forTheUserOnly ? ownerOnly : everybody);
    if (openError == 0) {
        const Outcome outcome = replaceByRename(file, write, error);
        return options.writesOver && file.targetStays() ? replaceInPlace(target, write, error) : outcome;
    }
    if (options.writesOver && takesNoNewFile(openError) && QFile::exists(target))
        return replaceInPlace(target, write, error);
    *error = qt_error_string(openError);
    return Outcome::NotOpened;
}

void SafeFile::putBack(const QString &path)
{
    KeptCopy::putBack(path);
}

void SafeFile::putAllBack()
{
    KeptCopy::putAllBack();
}
