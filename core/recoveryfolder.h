// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "core/recoverycopy.h"

#include <QHash>
#include <QSet>
#include <QString>
#include <QVector>

#include <functional>
#include <mutex>

class QFileDevice;

/// The folder with the copies of unsaved work of all programs of a user, and whose they are.
///
///     <folder>/<name>.palu       a copy
///     <folder>/<name>.palu.lock  the mark of the process that it belongs to, locked as long as that lives
///     <folder>/<name>.palu.next  what is to replace the copy, while it is being written
///     <folder>/.guard            held by the one that is changing who owns what
///
/// Whether that process lives is what the file lock says and, where there are no file locks, the mark.
/// A copy whose process has ended, or that has no lock, belongs to nobody, and the first who claims it gets
/// it. The copies of other processes that may still run are not seen. All calls may be made on any thread.
class RecoveryFolder
{
public:
    /// Of the copies that belong to nobody or to this object, damaged ones included, so many are kept.
    static constexpr int mostCopies = 10;

    /// Makes nothing yet; the folder comes with the first copy.
    explicit RecoveryFolder(QString path);
    /// Gives up what this object owns. The copies stay.
    ~RecoveryFolder();
    Q_DISABLE_COPY(RecoveryFolder)

    /// The path of another copy, this object's own, which nobody else will ever use.
    QString newCopy();
    /// Makes the copy at `path` this object's own. Returns false if it is gone, or has an owner that may
    /// still run.
    bool claim(const QString &path);
    /// Replaces a copy of this object's own by what `write` writes, once that is whole on the disk. Returns
    /// what went wrong, or nothing. Leaves no file if the copy is removed meanwhile.
    QString write(const QString &path, const std::function<bool(QFileDevice &)> &write);
    /// Removes a copy of this object's own.
    void remove(const QString &path);
    /// The copies that belong to nobody or to this object, those changed last first. Those from the future
    /// are the last: the clock went back since. Damaged ones are left out and logged once.
    QVector<RecoveryCopy> copies();
    /// The copy at `path` comes before all others from now on, whatever the clock did.
    void setNewest(const QString &path);
    /// Removes the oldest copies beyond the limit; `spared` stays and does not count. Clears away what
    /// killed programs left beside their copies.
    void prune(const QString &spared = QString());

private:
    QVector<RecoveryCopy> allCopies();
    void sortNewestFirst(QVector<RecoveryCopy> &copies);
    RecoveryCopy damagedCopy(const QString &path);
    bool isOwn(const QString &path);
    static bool isFree(const QString &path);
    QString putInPlace(const QString &next, const QString &path);
    void clearLeftovers();
    QString makeFolder() const;
    QString takeLock(const QString &path);
    void removeOwn(const QString &path);

    const QString m_path;
    std::mutex m_mutex; // guards what follows
    QSet<QString> m_own;
    QHash<QString, int> m_locks; // descriptors of the open lock files of own copies
    QSet<QString> m_damaged;     // logged already
    QString m_newest;
};
