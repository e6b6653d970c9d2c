// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/recoveryrescue.h"

#include "core/safefile.h"

#include <QDir>
#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace
{

constexpr int mostNames = 1000; // that may be taken in a folder

QString numbered(const QString &name, int number)
{
    return number == 1 ? QStringLiteral("%1 (unsaved work).palu").arg(name)
                       : QStringLiteral("%1 (unsaved work %2).palu").arg(name).arg(number);
}

/// Makes an empty file of a name that nobody has. Returns its path; empty if the folder takes none.
QString takeName(const QString &folder, const QString &name)
{
    for (int number = 1; number <= mostNames; ++number) {
        QString path = QDir(folder).absoluteFilePath(numbered(name, number));
        const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
        const int descriptor = ::open(QFile::encodeName(path).constData(), flags, 0600); // NOLINT
        if (descriptor >= 0) {
            ::close(descriptor);
            return path;
        }
        if (errno != EEXIST)
            break;
    }
    qWarning("no unsaved work can be written to %s: %s", qUtf8Printable(folder),
             qUtf8Printable(qt_error_string(errno)));
    return QString();
}

} // namespace

QString RecoveryRescue::write(const QStringList &folders, const QString &name,
                              const std::function<bool(QFileDevice &)> &write)
{
    SafeFile::Options options;
    options.writesOver = false;
    options.forTheUserOnly = true;
    for (const QString &folder : folders) {
        QString path = takeName(folder, name);
        QString error;
        if (path.isEmpty())
            continue;
        if (SafeFile::replace(path, write, &error, options) == SafeFile::Outcome::Replaced)
            return path;
        qWarning("no unsaved work can be written to %s: %s", qUtf8Printable(path), qUtf8Printable(error));
        QFile::remove(path);
    }
    return QString();
}
