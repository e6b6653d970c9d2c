// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QFile>
#include <QString>

/// Keeps other programs of this kind from writing a file over, as long as it lives. A file system that
/// knows no locks keeps nobody.
class FileLock
{
public:
    /// Does not wait for another program's lock.
    explicit FileLock(const QString &path);

    /// Why there is no lock; empty when there is one.
    QString error() const { return m_error; }
    /// Whether nobody else can have a lock; false where the file system knows none.
    bool excludesOthers() const { return m_excludesOthers; }

private:
    QFile m_file;
    QString m_error;
    bool m_excludesOthers = false;
};
