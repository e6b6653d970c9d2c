// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <thread>

/// The temporary folders of videos. Each holds a hidden file with the mark of the process that made it and
/// the folder's own path, so that what a killed process has left can be told from what is in use.
namespace TemporaryFolders
{

/// Leaves this process's mark in a folder.
void mark(const QString &folder);
/// Gives up the mark's name in a folder for a file of that name, which gets another one.
void makeWayFor(const QString &fileName, const QString &folder);

/// The folders in `parent` that a program of this name made for this user and that nobody uses any more. What
/// bears no mark is not among them.
QStringList abandoned(const QString &parent, const QString &programName);
/// Removes a folder with all that is in it, its mark last: what is interrupted can be taken up again. Asks
/// `interrupted` before each file; returns false when that ended it, or a file could not be removed.
bool remove(const QString &folder, const std::function<bool()> &interrupted);

/// Removes what programs of this name have abandoned, on a thread of its own: there may be many thousand
/// images. Ends early when it goes out of scope; the next one takes that up.
class Cleaning
{
public:
    Cleaning(const QString &parent, const QString &programName);
    ~Cleaning();
    Cleaning(const Cleaning &) = delete;
    Cleaning &operator=(const Cleaning &) = delete;

    /// Returns when the thread has ended.
    void end();

private:
    std::atomic<bool> m_end{false}; // written by the owner, read by the thread before each file
    std::thread m_thread;
};

/// Ends the Cleaning that there is, if any. To be called on its owner's thread before the program exits
/// without leaving main(), which would take away what the thread still uses.
void endCleaning();

} // namespace TemporaryFolders
