// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <functional>

class FileLock;
class QFileDevice;

/// The old content of a file that is being written over, kept whole in the user's state folder until the new
/// content is whole. The new one lies beside it: what is neither of them nor a mixture was written by
/// somebody else meanwhile, and is left alone. If the process does not live to see that, whoever opens or
/// saves the file next, or the next start, puts the old content back.
///
/// Whoever calls these holds the file locked; putBack() and putAllBack() see to that themselves.
namespace KeptCopy
{

/// Where the copies lie. Readable for the user alone.
QString folder();

/// Keeps the content of the file at `path`, and what `write` writes to take its place. Returns what went
/// wrong, or nothing.
QString keep(const QString &path, const std::function<bool(QFileDevice &)> &write);

/// Writes what is kept to take the place of the old content over it, and waits until it is on the disk.
/// Returns what went wrong, or nothing.
QString writeOver(const QString &path);

/// Puts the old content back after writeOver() failed, and forgets both. Returns what went wrong, or nothing;
/// they are then still kept.
QString undo(const QString &path);

/// Puts the content kept for `path`, if there is any, back into the file and forgets it. Returns what went
/// wrong, or nothing; the content is then still kept.
///
/// Content that another process keeps, which still may run, is that one's, unless `lock` excludes it. What is
/// whole is left as it is. So is what somebody else has put there, in a file of its own or in this one; the
/// content then lies in the folder for the user's own hands.
QString restore(const QString &path, const FileLock &lock);

/// Forgets the content kept for `path`. Returns what went wrong, or nothing.
QString drop(const QString &path);

/// Puts back what a process that is gone left of a file. Failures are logged.
void putBack(const QString &path);
/// The same for all files.
void putAllBack();

} // namespace KeptCopy
