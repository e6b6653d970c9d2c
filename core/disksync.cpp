// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/disksync.h"

#include <QFile>
#include <QFileDevice>

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace
{

/// What a sync that returned `result` says of the disk.
QString syncError(int result)
{
    if (result == 0 || errno == EINVAL || errno == ENOSYS)
        return QString();
    return qt_error_string(errno);
}

} // namespace

QString DiskSync::content(QFileDevice &file)
{
    if (!file.flush())
        return writeError(file);
    return syncError(::fdatasync(file.handle()));
}

QString DiskSync::names(const QString &folder)
{
    const int descriptor =
        ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); // NOLINT
    if (descriptor < 0)
        return QString();
    QString error = syncError(::fsync(descriptor));
    ::close(descriptor);
    return error;
}

QString DiskSync::writeError(const QFileDevice &file)
{
    return file.error() == QFileDevice::NoError ? qt_error_string(ENOSPC) : file.errorString();
}
