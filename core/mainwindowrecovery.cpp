// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/mainwindow.h"

#include "core/datastate.h"
#include "core/history.h"
#include "core/modaljob.h"
#include "core/recovery.h"
#include "core/recoveryoffer.h"
#include "Models/projectfile.h"
#include "Models/projectsnapshot.h"
#include "views/framenav.h"
#include "views/frameviewer.h"

#include <QApplication>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QStatusBar>

namespace
{

bool writeProject(QFileDevice &file, const ProjectSnapshot &project)
{
    QDataStream stream(&file);
    ProjectFile::write(stream, project);
    return stream.status() == QDataStream::Ok;
}

} // namespace

void MainWindow::setRecovery(const QString &folder)
{
    const auto take = [this]() -> Recovery::Content {
        if (!m_history->follows(g_state))
            return {};
        return {m_videoPath, m_projectPath,
                [project = m_history->snapshot()](QFileDevice &file) { return writeProject(file, project); }};
    };
    m_recovery = new Recovery(folder, take, this);
    m_offer = new RecoveryOffer(this);
    statusBar()->insertPermanentWidget(0, m_offer);
    m_offer->hide();
    connect(m_history, &History::changed, this, &MainWindow::followHistory);
    connect(m_history, &History::cleanChanged, this, &MainWindow::followHistory);
    connect(m_recovery, &Recovery::errorChanged, this, &MainWindow::showLostWork);
    connect(m_recovery, &Recovery::written, this, [this] {
        m_leftWork.clear();
        showLostWork();
    });
    connect(m_offer, &RecoveryOffer::restoreClicked, this, &MainWindow::restore);
    connect(m_offer, &RecoveryOffer::discardClicked, this, &MainWindow::discard);
    connect(qApp, &QCoreApplication::aboutToQuit, this, &MainWindow::keepUnsavedWork);
    updateOffer();
}

/// A history that follows no project says that it is clean, which means nothing for the copy of the last one.
void MainWindow::followHistory()
{
    if (!m_history->follows(g_state))
        return;
    if (m_history->isClean())
        m_recovery->noteClean();
    else
        m_recovery->noteChange();
}

/// Has what the history does not know yet, the middle of a job included, written with the rest. Returns when
/// it is on the disk; if that is another file than the copy, its path.
QString MainWindow::keepUnsavedWork()
{
    if (!m_recovery || !m_history->follows(g_state))
        return QString();
    m_history->settle();
    if (ModalJob::isRunning())
        followHistory();
    return m_recovery->flushOrRescue();
}

/// To be called before the project is dropped. What could not be kept is said until the next project has a
/// copy.
void MainWindow::leaveUnsavedWork()
{
    if (!m_recovery)
        return;
    const QString rescued = keepUnsavedWork();
    const QString error = m_recovery->leaveProject();
    if (!error.isEmpty() && rescued.isEmpty())
        m_leftWork = tr("The unsaved work could not be kept: %1").arg(error);
    else if (!error.isEmpty())
        m_leftWork = tr("The unsaved work is in %1: %2").arg(QDir::toNativeSeparators(rescued), error);
    showLostWork();
    updateOffer();
}

/// Says which unsaved work is not kept, and why.
void MainWindow::showLostWork()
{
    const QString error = m_recovery->error();
    QStringList texts{m_leftWork,
                      error.isEmpty() ? QString() : tr("Unsaved work is not kept: %1").arg(error)};
    texts.removeAll(QString());
    m_offer->setFailure(texts.join(QStringLiteral("; ")));
    updateNotice();
}

void MainWindow::updateOffer()
{
    const QVector<RecoveryCopy> copies = m_recovery->copies();
    m_offer->offer(copies.isEmpty() ? std::nullopt : std::make_optional(copies.first()));
    updateNotice();
}

/// The empty frame view says why it is empty and what could be in it.
void MainWindow::updateNotice()
{
    QStringList paragraphs{m_loadFailure, m_leftWork, m_offer ? m_offer->text() : QString()};
    paragraphs.removeAll(QString());
    m_frameViewer->setNotice(paragraphs.join(QStringLiteral("\n\n")));
}

void MainWindow::discard(const RecoveryCopy &copy)
{
    m_frameNav->stopPlayback();
    if (ModalJob::isRunning())
        return;
    m_recovery->discard(copy);
    updateOffer();
}

/// Another program may have got the copy first.
void MainWindow::restore(const RecoveryCopy &copy)
{
    m_frameNav->stopPlayback();
    if (ModalJob::isRunning())
        return;
    QFile file(copy.path);
    if (!m_recovery->claim(copy) || !file.open(QIODevice::ReadOnly)) {
        updateOffer();
        return;
    }
    QDataStream stream(&file);
    const QString videoName = ProjectFile::readVideoName(stream);
    const QString videoPath = videoOf(copy, videoName);
    if (videoPath.isEmpty())
        return;
    finishFields();
    const bool loaded = loadVideo(videoPath);
    if (loaded)
        readProject(stream, copy.projectPath);
    if (g_state->videoLoaded)
        goOnWith(copy);
    else if (loaded || !m_loadFailure.isEmpty()) // not aborted
        m_otherVideo = copy.path;
    updateOffer();
}

/// The path of the video that a copy belongs to, from the user where it is not there any more, or is another
/// one now; empty if the user does not say.
QString MainWindow::videoOf(const RecoveryCopy &copy, const QString &videoName)
{
    if (copy.path != m_otherVideo && QFileInfo(copy.videoPath).isFile())
        return copy.videoPath;
    QString path = QFileDialog::getOpenFileName(this, tr("Select video file"), QString(),
                                                ProjectFile::videoFilter(videoName), nullptr,
                                                QFileDialog::DontUseNativeDialog);
    QCoreApplication::processEvents();
    return path;
}

/// The project that was read from a copy has its changes still unsaved.
void MainWindow::goOnWith(const RecoveryCopy &copy)
{
    m_otherVideo.clear();
    m_history->setUnsaved();
    m_recovery->adopt(copy);
    if (m_videoPath != copy.videoPath)
        m_recovery->noteChange(); // the copy is to name the place where the video is now
}
