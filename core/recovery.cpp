// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/recovery.h"

#include "core/recoveryrescue.h"

#include <QDir>
#include <QFileDevice>
#include <QFileInfo>
#include <QtDebug>

#include <algorithm>
#include <atomic>
#include <utility>

/// One copy being written. The error is the writing thread's until `done` is set.
class Recovery::Writing
{
public:
    RecoveryCopy copy;
    Content content;
    QString error;
    std::atomic<bool> done{false};

    void run(RecoveryFolder &folder)
    {
        error = folder.write(
            copy.path, [this](QFileDevice &file) { return content.write(file) && copy.appendTo(file); });
        content = Content(); // the last holder of what only the copy needed
        done = true;
    }
};

Recovery::Recovery(const QString &folder, TakeContent take, QObject *parent)
    : QObject(parent)
    , m_folder(folder)
    , m_take(std::move(take))
{
    for (QTimer *timer : {&m_afterChange, &m_whileChanging}) {
        timer->setSingleShot(true);
        timer->setTimerType(Qt::PreciseTimer);
        connect(timer, &QTimer::timeout, this, &Recovery::startWriting);
    }
    m_folder.prune();
}

Recovery::~Recovery()
{
    if (m_thread.joinable())
        m_thread.join();
}

void Recovery::noteChange()
{
    m_unsaved = true;
    m_ahead = true;
    m_rescued.clear();
    m_changed = QDateTime::currentDateTime();
    m_afterChange.start(m_times.afterChange);
    if (!m_whileChanging.isActive())
        m_whileChanging.start(m_times.whileChanging);
}

void Recovery::noteClean()
{
    if (!m_current.isEmpty())
        m_folder.remove(m_current);
    startOver();
}

/// Nothing is unsaved and no copy is the project's.
void Recovery::startOver()
{
    m_afterChange.stop();
    m_whileChanging.stop();
    m_unsaved = false;
    m_ahead = false;
    m_due = false;
    m_current.clear();
    m_rescued.clear();
    setError(QString());
}

/// Takes the project as it stands and has it written; while another writing goes on, after that.
void Recovery::startWriting()
{
    m_afterChange.stop();
    m_whileChanging.stop();
    m_due = m_writing && m_ahead;
    if (m_writing || !m_ahead)
        return;
    m_ahead = false;
    Content content = m_take();
    if (!content.write)
        return;
    if (m_current.isEmpty())
        m_current = m_folder.newCopy();
    m_writing = std::make_shared<Writing>();
    m_writing->content = std::move(content);
    m_writing->copy = {m_current, m_writing->content.videoPath, m_writing->content.projectPath, m_changed};
    m_thread = std::thread([this, writing = m_writing] {
        writing->run(m_folder);
        QMetaObject::invokeMethod(this, &Recovery::finishWriting, Qt::QueuedConnection);
    });
}

/// The call may be about a writing that somebody has waited for meanwhile.
void Recovery::finishWriting()
{
    if (m_writing && m_writing->done)
        endWriting();
}

void Recovery::endWriting()
{
    m_thread.join();
    const std::shared_ptr<Writing> ended = std::exchange(m_writing, nullptr);
    if (ended->copy.path == m_current) { // neither removed nor left meanwhile
        setError(ended->error);
        m_ahead = m_ahead || !ended->error.isEmpty();
        if (ended->error.isEmpty())
            emit written();
    }
    if (m_due)
        startWriting();
    else if (m_ahead && !m_whileChanging.isActive())
        m_whileChanging.start(m_times.whileChanging);
}

void Recovery::waitForWriting()
{
    if (m_writing)
        endWriting();
}

void Recovery::flush()
{
    waitForWriting();
    startWriting();
    waitForWriting();
}

QString Recovery::flushOrRescue()
{
    flush();
    if (m_error.isEmpty() || !m_rescued.isEmpty())
        return m_rescued;
    const Content content = m_take();
    if (!content.write)
        return QString();
    QStringList folders{QDir::tempPath()};
    if (!content.projectPath.isEmpty())
        folders.prepend(QFileInfo(content.projectPath).path());
    const QString &named = content.projectPath.isEmpty() ? content.videoPath : content.projectPath;
    m_rescued = RecoveryRescue::write(folders, QFileInfo(named).completeBaseName(), content.write);
    if (!m_rescued.isEmpty())
        qWarning("the unsaved work was written to %s instead", qUtf8Printable(m_rescued));
    return m_rescued;
}

QString Recovery::leaveProject()
{
    flush();
    QString error = m_error;
    if (!m_current.isEmpty())
        m_folder.setNewest(m_current);
    startOver();
    m_folder.prune(m_claimed);
    return error;
}

QVector<RecoveryCopy> Recovery::copies()
{
    QVector<RecoveryCopy> found = m_folder.copies();
    found.erase(std::remove_if(found.begin(), found.end(),
                               [this](const RecoveryCopy &copy) { return copy.path == m_current; }),
                found.end());
    return found;
}

bool Recovery::claim(const RecoveryCopy &copy)
{
    if (!m_folder.claim(copy.path))
        return false;
    m_claimed = copy.path;
    return true;
}

void Recovery::adopt(const RecoveryCopy &copy)
{
    startOver();
    m_current = copy.path;
    m_unsaved = true;
    m_changed = copy.changed;
}

bool Recovery::discard(const RecoveryCopy &copy)
{
    if (!claim(copy))
        return false;
    m_folder.remove(copy.path);
    return true;
}

void Recovery::setError(const QString &error)
{
    if (error == m_error)
        return;
    if (m_error.isEmpty())
        qWarning("no copy of the unsaved work could be written: %s", qUtf8Printable(error));
    m_error = error;
    emit errorChanged();
}
