// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/mainwindow.h"

#include "core/datastate.h"
#include "core/framebounds.h"
#include "core/history.h"
#include "core/jobdialogs.h"
#include "core/modaljob.h"
#include "core/windowcloser.h"
#include "views/framenav.h"
#include "views/frameviewer.h"
#include "views/timeline.h"

#include <QAction>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QGraphicsPixmapItem>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>
#include <QToolBar>

MainWindow *g_mainWindow = nullptr;

namespace
{

constexpr QSize windowSize(1024, 768);
constexpr QSize toolIconSize(48, 48);
constexpr int timeLineHeight = 205; // pixels: three rows
constexpr int messageTime = 5000;   // milliseconds

const char videoFilter[] = QT_TRANSLATE_NOOP(
    "MainWindow",
    "supported file types (*.avi *.mpeg *.mp4 *.m4a *.m4p *.m4b *.m4r *.m4v *.wmv *.h263);;AVI (*.avi);;"
    "MPEG (*.mpeg);;MPEG4 (*.mp4 *.m4a *.m4p *.m4b *.m4r *.m4v);;WMV (*.wmv);;H.263 (*.h263) ");

} // namespace

MainWindow::MainWindow(QWidget *parent, Qt::WindowFlags flags)
    : QMainWindow(parent, flags)
    , m_jobDialogs(std::make_unique<JobDialogs>(this))
    , m_closer(std::make_unique<WindowCloser>(this))
{
    resize(windowSize);
    m_toolBar = new QToolBar(tr("Toolbar"), this);
    m_toolBar->setObjectName(QStringLiteral("toolBar"));
    m_toolBar->setIconSize(toolIconSize);
    addToolBar(Qt::LeftToolBarArea, m_toolBar);
    setStatusBar(new QStatusBar(this));
    setMenuBar(new QMenuBar(this));
    createMenus();
    m_frameViewer = new FrameViewer(this);
    setCentralWidget(m_frameViewer);
    createDocks();
    createActions();
    createHistory();
    FrameBounds::setShownFrame(this, [this] {
        const QGraphicsPixmapItem *item = m_frameViewer->frameItem;
        return item ? item->sceneBoundingRect() : QRectF();
    });
}

MainWindow::~MainWindow()
{
    finishFields(); // while the views are still whole
    FrameBounds::withdrawShownFrame(this);
    if (g_mainWindow == this)
        g_mainWindow = nullptr;
}

/// What is half typed becomes part of the project.
void MainWindow::finishFields()
{
    for (const QWidget *part :
         {static_cast<QWidget *>(this), static_cast<QWidget *>(m_frameNav),
          static_cast<QWidget *>(m_timeLine)}) { // floating docks have a focus of their own
        if (QWidget *field = part->focusWidget())
            field->clearFocus();
    }
}

void MainWindow::createMenus()
{
    m_fileMenu = menuBar()->addMenu(tr("&File"));
    m_frameMenu = menuBar()->addMenu(tr("F&rame"));
    m_toolsMenu = menuBar()->addMenu(tr("&Tools"));
    m_windowsMenu = menuBar()->addMenu(tr("&Windows"));
    m_helpMenu = menuBar()->addMenu(tr("&Help"));
}

void MainWindow::createDocks()
{
    m_frameNav = new FrameNav(tr("Frame Navigation"), this);
    m_frameNav->setObjectName(QStringLiteral("frameNavigation"));
    m_frameNav->setAllowedAreas(Qt::AllDockWidgetAreas);
    addDockWidget(Qt::TopDockWidgetArea, m_frameNav);

    m_timeLine = new TimeLine(tr("Time Line"), this);
    m_timeLine->setObjectName(QStringLiteral("timeLine"));
    m_timeLine->setAllowedAreas(Qt::AllDockWidgetAreas);
    addDockWidget(Qt::BottomDockWidgetArea, m_timeLine, Qt::Vertical);

    resizeDocks({m_timeLine}, {timeLineHeight}, Qt::Vertical);
    m_windowsMenu->addAction(m_frameNav->toggleViewAction());
    m_windowsMenu->addAction(m_timeLine->toggleViewAction());
}

struct MainWindow::ActionRow {
    const char *text;
    const char *icon;
    QList<QKeySequence> shortcuts;
    QMenu *menu;
    EnabledWhen enabledWhen;
    Playback playback;
    void (MainWindow::*slot)();
    const char *toolTip; // those with one are on the tool bar
};

std::vector<MainWindow::ActionRow> MainWindow::actionRows() const
{
    using W = MainWindow;
    using Keys = QList<QKeySequence>;
    constexpr auto always = EnabledWhen::Always;
    constexpr auto loaded = EnabledWhen::VideoLoaded;
    constexpr auto objects = EnabledWhen::HasObjects;
    constexpr auto ends = Playback::Ends;
    constexpr auto goesOn = Playback::GoesOn;
    const char *const morph = QT_TR_NOOP("Morph: fill the frames between the current object's key frames");
    const char *const iTrack =
        QT_TR_NOOP("Interactive tracking: stops where the outline needs your correction");
    const char *const segmentation = QT_TR_NOOP("Segmentation: refine the current object's outlines");
    return {
        {QT_TR_NOOP("&New"), "new", Keys{QKeySequence::New}, m_fileMenu, always, ends, &W::onActionNew,
         QT_TR_NOOP("New project from a video")},
        {QT_TR_NOOP("&Save"), "save", Keys{QKeySequence::Save}, m_fileMenu, loaded, ends, &W::onActionSave,
         QT_TR_NOOP("Save the project")},
        {QT_TR_NOOP("&Open"), "open", Keys{QKeySequence::Open}, m_fileMenu, always, ends, &W::onActionOpen,
         QT_TR_NOOP("Open a project")},
        {QT_TR_NOOP("&Close"), nullptr, Keys{QKeySequence::Quit, QKeySequence::Close}, m_fileMenu, always,
         ends, &W::onActionClose, nullptr},
        {QT_TR_NOOP("Next Frame"), "goNext", Keys{Qt::Key_Right}, m_frameMenu, always, goesOn,
         &W::onActionNextFrame, nullptr},
        {QT_TR_NOOP("Previous Frame"), "goPre", Keys{Qt::Key_Left}, m_frameMenu, always, goesOn,
         &W::onActionPrevFrame, nullptr},
        {QT_TR_NOOP("&morph"), "morph", Keys{Qt::CTRL | Qt::Key_M}, m_toolsMenu, objects, ends,
         &W::onActionLinearMorphing, morph},
        {QT_TR_NOOP("&iTrack"), "iTrack", Keys{Qt::CTRL | Qt::Key_I}, m_toolsMenu, objects, ends,
         &W::onActionInteractiveTracking, iTrack},
        {QT_TR_NOOP("&aTrack"), "aTrack", Keys{Qt::CTRL | Qt::Key_A}, m_toolsMenu, objects, ends,
         &W::onActionAutomaticTracking, QT_TR_NOOP("Automatic tracking")},
        {QT_TR_NOOP("export XML"), "export", Keys{}, m_toolsMenu, objects, ends, &W::onActionExportXML,
         QT_TR_NOOP("Export the annotation as ViPER XML")},
        {QT_TR_NOOP("segmentation"), "scissors", Keys{}, m_toolsMenu, objects, ends, &W::onActionSegmentation,
         segmentation},
        {QT_TR_NOOP("License Notes"), nullptr, Keys{}, m_helpMenu, always, ends, &W::onActionHelpLicense,
         nullptr},
        {QT_TR_NOOP("About Palu"), nullptr, Keys{}, m_helpMenu, always, ends, &W::onActionHelpAbout, nullptr},
    };
}

void MainWindow::createActions()
{
    for (const ActionRow &row : actionRows())
        createAction(row);
}

void MainWindow::createAction(const ActionRow &row)
{
    auto *action = new QAction(tr(row.text), this);
    if (row.icon)
        action->setIcon(QIcon(QStringLiteral(":icons/%1.ico").arg(QLatin1String(row.icon))));
    if (row.toolTip)
        action->setToolTip(withShortcut(tr(row.toolTip), row.shortcuts));
    action->setShortcuts(row.shortcuts);
    action->setEnabled(row.enabledWhen == EnabledWhen::Always);
    if (row.playback == Playback::Ends)
        connect(action, &QAction::triggered, m_frameNav, &FrameNav::stopPlayback);
    connect(action, &QAction::triggered, this, row.slot);
    if (row.slot == &MainWindow::onActionClose)
        row.menu->addSeparator();
    row.menu->addAction(action);
    if (row.toolTip)
        m_toolBar->addAction(action);
    m_actions.append(qMakePair(action, row.enabledWhen));
}

void MainWindow::updateActions()
{
    const bool loaded = g_state->videoLoaded;
    for (const QPair<QAction *, EnabledWhen> &entry : qAsConst(m_actions)) {
        switch (entry.second) {
        case EnabledWhen::Always:
            break;
        case EnabledWhen::VideoLoaded:
            entry.first->setEnabled(loaded);
            break;
        case EnabledWhen::HasObjects:
            entry.first->setEnabled(loaded && g_state->hasObjects());
            break;
        }
    }
}

QString MainWindow::withShortcut(const QString &toolTip, const QList<QKeySequence> &shortcuts)
{
    if (shortcuts.isEmpty())
        return toolTip;
    return QStringLiteral("%1 (%2)").arg(toolTip, shortcuts.first().toString(QKeySequence::NativeText));
}

void MainWindow::reload()
{
    if (g_state->videoLoaded) {
        m_frameViewer->reload();
        m_frameNav->reload();
        m_timeLine->reload();
        if (!m_history->follows(g_state))
            m_history->follow(g_state);
    }
    updateActions();
}

void MainWindow::recreateDataState()
{
    m_frameNav->stopPlayback();
    leaveUnsavedWork();
    forgetProject();
    delete g_state;
    g_state = nullptr;
    g_state = new DataState;
    m_frameNav->reload();
    m_frameViewer->reload();
    m_timeLine->reload();
    setDisabled(false);
    reload();
    m_frameNav->connectToState();
    m_frameViewer->connectToState();
    m_timeLine->connectToState();
}

void MainWindow::onActionNew()
{
    setDisabled(true);
    const QString path = QFileDialog::getOpenFileName(
        this, tr("Video file"), QDir::homePath(), tr(videoFilter), nullptr, QFileDialog::DontUseNativeDialog);
    QCoreApplication::processEvents();
    if (path.isEmpty()) {
        enableAgain();
        return;
    }
    if (loadVideo(path))
        enableAgain();
}

/// Disabling took the focus from whatever had it.
void MainWindow::enableAgain()
{
    setDisabled(false);
    reload();
    if (!focusWidget())
        m_frameViewer->setFocus();
}

/// Replaces the project by an empty one on the video at `path`. Returns false, with an empty project without
/// video, when the video cannot be loaded.
bool MainWindow::loadVideo(const QString &path)
{
    if (g_state->videoLoaded)
        recreateDataState();
    setDisabled(true); // until the video is loaded
    m_loadFailure.clear();
    updateNotice();
    g_state->video = new VideoContainer(this);
    if (!g_state->video->loadFile(path)) {
        const QString reason = g_state->video->failure();
        recreateDataState();
        showLoadFailure(path, reason);
        return false;
    }
    g_state->videoLoaded = true;
    g_state->currentFrame = 0;
    m_videoPath = path;
    return true;
}

/// Stays until the next import, in the status bar until the next message. Who aborted knows why.
void MainWindow::showLoadFailure(const QString &path, const QString &reason)
{
    const QString text = tr("The video was not loaded: %1").arg(QDir::toNativeSeparators(path));
    if (reason.isEmpty()) {
        statusBar()->showMessage(text, messageTime);
        return;
    }
    m_loadFailure = text + QStringLiteral(": ") + reason;
    statusBar()->showMessage(m_loadFailure);
    updateNotice();
}

void MainWindow::onActionClose()
{
    if (g_state->videoLoaded)
        qWarning("already loaded. TODO");
    close();
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    m_frameNav->stopPlayback();
    if (ModalJob::isRunning()) { // a window that is gone would leave the job, and with it the program, behind
        event->ignore();
        closeSoon();
        return;
    }
    finishFields();
    keepUnsavedWork();
    QMainWindow::closeEvent(event);
}

void MainWindow::closeSoon()
{
    if (ModalJob::isRunning())
        statusBar()->showMessage(tr("The program closes as soon as the work in progress has ended."));
    m_closer->closeSoon();
}

void MainWindow::onActionNextFrame()
{
    if (g_state->videoLoaded)
        g_state->nextFrame();
}

void MainWindow::onActionPrevFrame()
{
    if (g_state->videoLoaded)
        g_state->prevFrame();
}

void MainWindow::onActionTmpDebugAction()
{
    const TrackedObject *object = g_state->getCurrentObject();
    if (KeyFrame *keyFrame = object ? object->getCurrentKeyFrame() : nullptr)
        keyFrame->reducePolygonVertices();
}
