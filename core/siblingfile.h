// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QFile>
#include <QString>

#include <sys/types.h>

/// A new file in the folder of the one that it is to replace, which it does whole or not at all.
///
/// Where the file system can, it has no name until then, so that a program that is killed leaves nothing
/// behind. Its name is that of the target with a dot and six letters of a kind that nobody picks, and it is
/// locked as long as it is being written: so leftovers can be told from the files of others.
class SiblingFile
{
public:
    /// `target` is no symbolic link; it need not exist.
    explicit SiblingFile(QString target);
    /// Takes the new file away unless it has replaced the target.
    ~SiblingFile();
    SiblingFile(const SiblingFile &) = delete;
    SiblingFile &operator=(const SiblingFile &) = delete;

    /// Makes the file, with the permissions of the target or, where there is none yet, with those that
    /// `newFileMode` and the process's mask leave. Returns 0 or the system's error.
    int open(mode_t newFileMode);

    /// Open for writing after open().
    QFile &device() { return m_device; }

    /// Waits until the content is on the disk, then puts the file into the target's place, and waits until
    /// the folder is on the disk, too. Returns what went wrong, or nothing.
    QString replaceTarget();
    /// Whether replaceTarget() failed because the folder gives the target up to its owner alone.
    bool targetStays() const { return m_targetStays; }

    /// Takes away what killed programs left of files that were to replace `target`.
    static void clearLeftovers(const QString &target);

private:
    int openUnnamed(mode_t mode);
    int openNamed(mode_t mode);
    QString giveName();
    QByteArray randomSibling() const;

    QString m_target;
    QByteArray m_name; // while there is a file of this name
    QFile m_device;
    bool m_targetStays = false;
};
