// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "core/recoveryfolder.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVector>

#include <functional>
#include <memory>
#include <thread>

class QFileDevice;

/// Keeps a copy of the project on the disk as long as it has unsaved changes, and gives access to the copies
/// of projects that were dropped or whose program has ended.
///
/// All calls are made on the GUI thread, which takes the content as it stands; a thread of this class's own
/// writes it, one copy at a time.
class Recovery : public QObject
{
    Q_OBJECT

public:
    /// A project as it stands.
    struct Content {
        QString videoPath;
        QString projectPath; ///< the file it was saved as; empty if there is none
        /// Writes the project; called on the writing thread. Null if there is none.
        std::function<bool(QFileDevice &)> write;
    };
    using TakeContent = std::function<Content()>;

    /// Milliseconds. What is lost when the program is killed was done at most `whileChanging`, and the time
    /// of a write, before.
    struct Times {
        int afterChange = 5000;
        int whileChanging = 25000; // so that the copy is on the disk before 30 s are over
    };

    /// `folder` is the one that all programs of the user share. `take` is called when a copy is due.
    Recovery(const QString &folder, TakeContent take, QObject *parent = nullptr);
    /// Waits for the writing. The copies stay and belong to nobody from now on.
    ~Recovery() override;

    void setTimes(const Times &times) { m_times = times; }

    /// The project has changed and has unsaved changes now.
    void noteChange();
    /// The project has none any more: its copy goes, also one that is being written.
    void noteClean();
    /// Whether the project has unsaved changes.
    bool isUnsaved() const { return m_unsaved; }
    /// Writes what no copy holds yet and returns when all is on the disk, or error() says why it is not.
    void flush();
    /// Does that and, where it fails, writes the project to a file beside the one it was saved as or, if that
    /// cannot be done, for temporary files. Returns the path of that file, or nothing if there is none. A
    /// project that has not changed since is not written again.
    QString flushOrRescue();
    /// Does that for a project that is about to be dropped. Its copy becomes one of the dropped ones. Returns
    /// what went wrong, or nothing.
    QString leaveProject();

    /// The copies of dropped projects and ended programs, the one just left first, then those changed last.
    QVector<RecoveryCopy> copies();
    /// Keeps every other program from taking a copy, and this one from dropping it as too old. Returns false
    /// if another has it already or it is gone.
    bool claim(const RecoveryCopy &copy);
    /// A claimed copy has become the project, with all its changes unsaved.
    void adopt(const RecoveryCopy &copy);
    /// Removes a copy. Returns false if another program has it or it is gone.
    bool discard(const RecoveryCopy &copy);

    /// Why there is no copy of the newest changes; empty when all is well.
    QString error() const { return m_error; }

signals:
    /// error() is another one.
    void errorChanged();
    /// A copy of the project is whole on the disk.
    void written();

private:
    class Writing;

    void startOver();
    void startWriting();
    void finishWriting();
    void waitForWriting();
    void endWriting();
    void setError(const QString &error);

    RecoveryFolder m_folder;
    const TakeContent m_take;
    Times m_times;
    QTimer m_afterChange;
    QTimer m_whileChanging;
    QString m_current; // path of the project's copy; empty if it has none
    QString m_claimed; // path of the copy last claimed
    bool m_unsaved = false;
    bool m_ahead = false; // the project, of what was last taken to be written
    bool m_due = false;   // another copy, as soon as the writing has ended
    QDateTime m_changed;
    std::shared_ptr<Writing> m_writing; // null when none is going on
    std::thread m_thread;
    QString m_error;
    QString m_rescued; // path of the file that has the newest changes instead of the copy
};
