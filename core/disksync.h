// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

class QFileDevice;

/// Waiting until something is on the disk. A file system that cannot sync has nothing to wait for.
namespace DiskSync
{

/// Hands the buffer of an open file over and waits until all of its content is on the disk. Returns what
/// went wrong, or nothing.
QString content(QFileDevice &file);

/// Waits until the names in a folder are on the disk. Returns what went wrong, or nothing; a folder that may
/// not be read is none of it.
QString names(const QString &folder);

/// What went wrong with the last write to `file`. One that came to an end too early says nothing by itself.
QString writeError(const QFileDevice &file);

} // namespace DiskSync
