// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <functional>

class QFileDevice;

/// Files that are replaced whole or not at all, whatever ends the program in between.
namespace SafeFile
{

enum class Outcome {
    Replaced,
    /// The file could not be opened; nothing was touched.
    NotOpened,
    /// It could not be written; the old content is there, or is put back as soon as that is possible.
    Failed
};

struct Options {
    /// In a folder that takes no new file, or does not let it take the place of a colleague's (a sticky one),
    /// write the old one over, with its content kept aside until the new one is whole.
    bool writesOver = true;
    /// Nobody but the user may read a file that is made anew.
    bool forTheUserOnly = false;
};

/// Writes the content; false when that failed, for which the device may have the reason. May be called again
/// for another device.
using Writer = std::function<bool(QFileDevice &)>;

/// Replaces the file at `path`, or the one that a symbolic link there leads to, with what `write` writes.
/// When this returns, the new content and its name are on the disk. The file keeps its permissions.
///
/// `error` then says why it failed; it is empty otherwise. May be called on any thread.
Outcome replace(const QString &path, const Writer &write, QString *error, Options options = Options());

/// Puts the old content of the file at `path` back if a process that is gone was writing it over. To be
/// called before such a file is read. Failures are logged.
void putBack(const QString &path);
/// The same for all files that this user's programs wrote, for the start of the program.
void putAllBack();

} // namespace SafeFile
