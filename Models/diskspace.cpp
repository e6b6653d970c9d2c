// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/diskspace.h"

#include <QCoreApplication>
#include <QDir>
#include <QStorageInfo>

#include <cmath>

qint64 DiskSpace::missing(const QString &folder, double fileSize, qint64 count)
{
    const QStorageInfo disk(folder);
    if (!disk.isValid() || disk.bytesTotal() <= 0) // some network disks tell nothing
        return 0;
    const double block = disk.blockSize() > 0 ? disk.blockSize() : 1;
    const double needed = std::ceil(fileSize / block) * block * static_cast<double>(count);
    return static_cast<qint64>(needed - static_cast<double>(disk.bytesAvailable()));
}

QString DiskSpace::missingText(const QString &folder, qint64 bytes)
{
    constexpr qint64 megabyte = 1000000;
    return QCoreApplication::translate("DiskSpace", "%1 MB are missing in %2")
        .arg((bytes + megabyte - 1) / megabyte)
        .arg(QDir::toNativeSeparators(folder));
}
