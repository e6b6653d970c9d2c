// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/mainwindow.h"

#include "core/datastate.h"
#include "core/disksync.h"
#include "core/history.h"
#include "core/safefile.h"
#include "export/formats.h"
#include "Models/projectfile.h"
#include "processing/aoicutsegmentation.h"
#include "processing/aoitracking.h"
#include "processing/morph.h"
#include "views/buildingsign.h"
#include "views/framenav.h"
#include "views/timeline.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QSignalBlocker>
#include <QStatusBar>
#include <QTimer>

#include <memory>

namespace
{

constexpr int goodMatchDistance = 18;     // Hamming distance of ORB descriptors, of 256 bits
constexpr int trackingMessageTime = 2000; // milliseconds

const char projectFilter[] = QT_TRANSLATE_NOOP("MainWindow", "Palu Data (*.palu);;All Files (*.palu)");

QString withSuffix(const QString &name, const QString &suffix)
{
    return QFileInfo(name).suffix() == suffix ? name : name + QLatin1Char('.') + suffix;
}

/// Keeps a file that is about to be replaced under a name that the dialog never asked about.
void keepBackup(const QString &path)
{
    const QString backup = path + QLatin1Char('~');
    if (!QFile::exists(path))
        return;
    QFile::remove(backup);
    if (!QFile::copy(path, backup))
        qWarning("could not keep a copy of %s", qUtf8Printable(path));
}

/// Names a run over the current object for the history.
QString onCurrentObject(const char *text)
{
    const TrackedObject *object = g_state->getCurrentObject();
    return object ? MainWindow::tr(text).arg(object->name) : QString();
}

/// Says that a run of `tool` failed and where; stays until another message comes.
void showFailure(QStatusBar &statusBar, const QString &tool, const FrameJob::Result &result)
{
    if (result.outcome != ModalJob::Outcome::Failed)
        return;
    statusBar.showMessage(result.failedFrame == -1
                              ? MainWindow::tr("%1 ended early; the log says why.").arg(tool)
                              : MainWindow::tr("%1 ended on frame %2: %3.")
                                    .arg(tool)
                                    .arg(result.failedFrame + 1)
                                    .arg(result.reason));
}

/// Says if a file that was written straight to its place is not whole; stays until another message comes.
void showUnfinishedFile(QStatusBar &statusBar, QFile &file)
{
    const bool failed = file.error() != QFileDevice::NoError;
    const QString error = failed ? file.errorString() : DiskSync::content(file);
    if (error.isEmpty())
        return;
    const QString name = QDir::toNativeSeparators(file.fileName());
    qWarning("could not write %s to its end: %s", qUtf8Printable(name), qUtf8Printable(error));
    statusBar.showMessage(MainWindow::tr("%1 could not be written to its end: %2").arg(name, error));
}

} // namespace

void MainWindow::onActionSave()
{
    if (!g_state->videoLoaded)
        return;
    const QString name =
        QFileDialog::getSaveFileName(this, tr("Save File"), QDir::homePath(), tr(projectFilter));
    if (name.isEmpty())
        return;
    const QString path = withSuffix(name, QStringLiteral("palu"));
    if (path != name)
        keepBackup(path);
    saveProject(path);
}

void MainWindow::saveProject(const QString &path)
{
    QString error;
    if (ProjectFile::save(path, *g_state, &error)) {
        m_savedNotice->start();
        projectIsOnDisk(path);
        return;
    }
    m_failedSave = path;
    showProjectState();
    if (error.isEmpty())
        return;
    QMessageBox::warning(
        this, tr("Palu"),
        tr("The project could not be saved as %1: %2").arg(QDir::toNativeSeparators(path), error));
}

void MainWindow::onActionOpen()
{
    const QString name =
        QFileDialog::getOpenFileName(this, tr("Select palu data file"), QDir::homePath(), tr(projectFilter),
                                     nullptr, QFileDialog::DontUseNativeDialog);
    QCoreApplication::processEvents();
    if (name.isEmpty()) {
        setDisabled(false);
        return;
    }
    if (QFile::exists(name) && !QFileInfo(name).isFile()) { // opening a pipe waits for whoever writes to it
        qWarning("could not open %s: not a regular file", qUtf8Printable(name));
        return;
    }
    SafeFile::putBack(name);
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning("could not open %s: %s", qUtf8Printable(name), qUtf8Printable(file.errorString()));
        return;
    }
    QDataStream stream(&file);
    const QString filter = ProjectFile::videoFilter(ProjectFile::readVideoName(stream));
    const QString videoPath = QFileDialog::getOpenFileName(this, tr("Select video file"), QString(), filter,
                                                           nullptr, QFileDialog::DontUseNativeDialog);
    QCoreApplication::processEvents();
    if (videoPath.isEmpty()) {
        setDisabled(false);
        return;
    }
    if (loadVideo(videoPath))
        readProject(stream, name);
}

void MainWindow::readProject(QDataStream &stream, const QString &path)
{
    bool accepted = false;
    QString problem;
    const BuildingSign sign(g_state->video->frameCount);
    {
        // The views would show every object while it is still being read; the reload below stands in for all
        // that the state would have announced.
        const QSignalBlocker blocker(g_state);
        accepted = ProjectFile::read(stream, *g_state, &problem);
    }
    if (!accepted) {
        if (!problem.isEmpty())
            statusBar()->showMessage(tr("The project was not opened: %1").arg(problem));
        QMessageBox::information(this, tr("Palu"),
                                 tr("Palu file does not match the requierments (e.g. version of Palu, video "
                                    "frame rate or video resolution)"));
        recreateDataState();
        reload();
        return;
    }
    g_state->keepNewIdsApart();
    m_timeLine->connectToObjects();
    enableAgain();
    m_frameNav->reload(); // the first reload cut a frame beyond its old maximum
    projectIsOnDisk(path);
}

void MainWindow::onActionLinearMorphing()
{
    const History::Run run(*m_history, onCurrentObject(QT_TR_NOOP("morph of %1")));
    Morph(g_state).linearMorphing(0, -1);
}

// The frames that a correction emptied are filled before the tracker collects its spans, so that this very
// run tracks the spans that the correction cut.
void MainWindow::onActionInteractiveTracking()
{
    const History::Run run(*m_history, onCurrentObject(QT_TR_NOOP("interactive tracking of %1")));
    if (trackingStopFrame != -1) // an earlier run stopped for the user
        Morph(g_state).linearMorphing(0, -1);
    AOItracking tracking(g_state, true, goodMatchDistance);
    const int stopFrame = tracking.interactiveTracking(trackingStopFrame);
    // What an aborted or failed run has not reached is still waiting for the user's next press.
    if (stopFrame != -1 || tracking.result().outcome == ModalJob::Outcome::Finished)
        trackingStopFrame = stopFrame;
    if (stopFrame == -1) {
        announceTrackingEnd(tr("Interactive AOI tracking complete."));
        showFailure(*statusBar(), tr("Tracking"), tracking.result());
        return;
    }
    askForCorrection(stopFrame);
    // Another span may have failed meanwhile; the question comes first.
    QTimer::singleShot(trackingMessageTime, this, [this, result = tracking.result()] {
        showFailure(*statusBar(), tr("Tracking"), result);
    });
}

/// Makes the outline of a frame the user's own, with few vertices to correct, and goes there.
void MainWindow::askForCorrection(int frame)
{
    if (const TrackedObject *object = g_state->getCurrentObject()) {
        object->keyFrames.at(frame)->reducePolygonVertices();
        object->keyFrames.at(frame)->setType(KeyFrame::Visible);
    }
    g_state->setFrame(frame);
    statusBar()->showMessage(tr("User interaction required!"), trackingMessageTime);
}

void MainWindow::announceTrackingEnd(const QString &text)
{
    statusBar()->showMessage(text, trackingMessageTime);
    QMessageBox box(QMessageBox::Information, QString(), text);
    box.exec();
}

void MainWindow::onActionAutomaticTracking()
{
    const History::Run run(*m_history, onCurrentObject(QT_TR_NOOP("automatic tracking of %1")));
    AOItracking tracking(g_state, false, goodMatchDistance);
    tracking.automaticTracking();
    announceTrackingEnd(tr("Automatic AOI tracking complete."));
    showFailure(*statusBar(), tr("Tracking"), tracking.result());
}

void MainWindow::onActionSegmentation()
{
    const History::Run run(*m_history, onCurrentObject(QT_TR_NOOP("segmentation of %1")));
    showFailure(*statusBar(), tr("Segmentation"), AoiCutSegmentation(g_state).runSegmenation());
}

void MainWindow::onActionExportXML()
{
    QString filter;
    const QString name = QFileDialog::getSaveFileName(this, tr("QFileDialog::getSaveFileName()"), QString(),
                                                      ExportFormats::dialogFilters(), &filter);
    if (name.isEmpty() || filter.isEmpty())
        return;
    const ExportFormat &format = ExportFormats::fromFilter(filter);
    QFile file(withSuffix(name, QLatin1String(format.suffix)));
    if (format.write(g_state, &file)) {
        showUnfinishedFile(*statusBar(), file);
        return;
    }
    QMessageBox question;
    question.setText(tr("Could not write .xml file."));
    question.setInformativeText(tr("Do you want to retry saving?"));
    question.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
    question.setDefaultButton(QMessageBox::Yes);
    if (question.exec() == QMessageBox::Yes)
        onActionExportXML();
}

void MainWindow::onActionHelpLicense()
{
    const QString page =
        tr("<h3>Palu %1 alpha</h3>"
           "<p>Copyright 2026 the Palu developers.</p>"
           "<p>Palu is free software under the terms of the MIT License. It comes without "
           "warranty of any kind.</p>"
           "<p>It is built with these libraries:</p>"
           "<ul>"
           "<li>Qt 5, under the GNU Lesser General Public License, version 3</li>"
           "<li>OpenCV, under the Apache License 2.0 (version 4.5 and newer) or the 3-clause BSD "
           "License (older versions)</li>"
           "<li>Eigen 3, under the Mozilla Public License 2.0</li>"
           "</ul>");
    QMessageBox::about(this, tr("Licenses Palu"), page.arg(g_state->version));
}

void MainWindow::onActionHelpAbout()
{
    const QString page =
        tr("<h3>Palu %1</h3>"
           "<p>Annotates video with polygons: outlines on a few key frames, the frames "
           "between filled, tracked and refined by the program.</p>"
           "<p>If Palu helped your research, please cite it in your publications as the file "
           "CITATION.cff of the project says.</p>"
           "<p>The project page is the README that comes with the program.</p>"
           "<p><i>Made by the Palu developers.</i></p>");
    QMessageBox::about(this, tr("About: Palu"), page.arg(g_state->version));
}
