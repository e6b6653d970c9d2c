// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QtGlobal>

/// What fits onto the disk.
namespace DiskSpace
{

/// Bytes that `count` new files of `fileSize` bytes each need in `folder` beyond those that are free there;
/// not above 0 when they fit, or when it cannot be told what is free. Files take whole blocks.
qint64 missing(const QString &folder, double fileSize, qint64 count);

/// Says to the user how much is missing, in whole megabytes and at least one.
QString missingText(const QString &folder, qint64 bytes);

} // namespace DiskSpace
