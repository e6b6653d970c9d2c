// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// The old content of a file that is being written over, kept whole in the user's state folder until the new
/// content is whole. If the process does not live to see that, whoever opens or saves the file next, or the
/// next start, puts the old content back.
///
/// Whoever calls these holds the file locked; putBack() and putAllBack() see to that themselves.
namespace KeptCopy
{

/// Where the copies lie. Readable for the user alone.
QString folder();

/// Keeps the content of the file at `path`. Returns what went wrong, or nothing.
QString keep(const QString &path);

/// Puts the content kept for `path`, if there is any, back into the file and forgets it. Returns what went
/// wrong, or nothing; the content is then still kept.
///
/// Content that another process keeps, which still may run, is that one's. Where another file has taken the
/// place of the one it was kept for, that one stays as it is, and the content lies in the folder for the
/// user's own hands.
QString restore(const QString &path);

/// Forgets the content kept for `path`. Returns what went wrong, or nothing.
QString drop(const QString &path);

/// Puts back what a process that is gone left of a file. Failures are logged.
void putBack(const QString &path);
/// The same for all files.
void putAllBack();

} // namespace KeptCopy
