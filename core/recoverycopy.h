// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

class QIODevice;

/// A copy of a project with unsaved work. Its file is a project file, which holds the rest of this behind
/// the project, where no reader of project files looks:
///
///     project | paths and time | magic number, position of the second part
struct RecoveryCopy {
    /// The file of the copy itself; it does not stand in it.
    QString path;
    /// The video, as the user chose it.
    QString videoPath;
    /// The file that the project was last saved as or opened from; empty if there is none.
    QString projectPath;
    /// When the project was changed last.
    QDateTime changed;

    /// Writes what follows the project, which ends where `device` stands. Returns false if that fails.
    bool appendTo(QIODevice &device) const;
    /// What the file at `path` says of itself; nothing if it is no whole copy. The project in it is not
    /// looked at but for its first item. Takes little time and memory whatever the file holds.
    static std::optional<RecoveryCopy> read(const QString &path);
};
