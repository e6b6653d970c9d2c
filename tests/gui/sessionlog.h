// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "core/recovery.h"

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QVector>

/// What an editing session writes down after every gesture, for whoever kills it.
namespace SessionLog
{

/// The project after a gesture.
struct Entry {
    qint64 time = 0;       ///< when it was done; now()
    QByteArray project;    ///< hash of the project as Save would write it
    QByteArray annotation; ///< hash of the same without the current frame, which is no work
    bool isSaved = false;  ///< a save has just ended
};

/// Milliseconds by a clock that all processes of the machine share and nobody sets.
qint64 now();
/// The project in use.
Entry entryOfProject();
/// Appends a line in one write, which a kill leaves whole or out.
void append(QFile &log, const Entry &entry);
QVector<Entry> read(const QString &path);

/// The program's own times, divided.
Recovery::Times times(int factor);
/// How old work may be that is lost in a kill, in milliseconds.
int limit(int factor);

} // namespace SessionLog
