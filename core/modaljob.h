// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QFutureWatcher>
#include <QList>
#include <QString>

#include <functional>

/// The one way in which long jobs run: a parallel map that the caller waits for, behind a modal progress
/// dialog where there is a window to show one.
namespace ModalJob
{

/// How a job ended.
enum class Outcome {
    Finished, ///< every item was worked
    Aborted,  ///< the user pressed "Abort" before the job was known to be done
    Failed    ///< a work item threw an exception
};

struct Result {
    Outcome outcome = Outcome::Finished;
    /// The text of the first exception of a failed job, else empty.
    QString error;
};

/// Shows running jobs to the user.
class DialogHost
{
public:
    virtual ~DialogHost();

    /// Shows a dialog with `label` and the button "Abort", calls `start`, which sets the watcher's future,
    /// and returns when the watcher has finished. "Abort" cancels the watcher and calls `onAbort`; a watcher
    /// that is canceled by others ends the dialog, too.
    virtual void run(const QString &label, QFutureWatcher<void> &watcher, const std::function<void()> &start,
                     const std::function<void()> &onAbort) = 0;
};

/// Makes `host` the one that shows jobs from now on. Not owned; null for none, as in programs without a
/// window.
void setDialogHost(DialogHost *host);
/// The host in use, or null.
DialogHost *dialogHost();

/// Calls `work` for every item on the global thread pool and returns when no call is running any more. Events
/// are processed meanwhile. To be called on the GUI thread.
///
/// Aborting skips the items not yet started; `onAbort` is then called on the GUI thread. An exception in a
/// work item skips them too and is logged as a warning.
Result run(const QString &label, QList<int> &items, const std::function<void(int &)> &work,
           const std::function<void()> &onAbort = {});

/// Whether run() has not returned yet: work items may still be changing what they work on, also after
/// "Abort", or what they announced is still on its way. To be called on the GUI thread, as abort() is.
bool isRunning();
/// Does what "Abort" does to the job that runs, if there is one and it was not aborted yet.
void abort();

} // namespace ModalJob
