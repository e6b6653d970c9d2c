// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QKeySequence>
#include <QList>
#include <QMainWindow>
#include <QPair>
#include <QString>

#include <memory>
#include <vector>

class DataState;
class FrameNav;
class FrameViewer;
class History;
class JobDialogs;
class QAction;
class QDataStream;
class QLabel;
class QMenu;
class QTimer;
class QToolBar;
class Recovery;
class RecoveryOffer;
class TimeLine;
class WindowCloser;
struct RecoveryCopy;

/// The one window: menus, tool bar, frame viewer and docks, and the actions of the program.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget *parent = nullptr, Qt::WindowFlags flags = Qt::WindowFlags());
    ~MainWindow() override;

    FrameViewer *frameViewer() const { return m_frameViewer; }
    FrameNav *frameNav() const { return m_frameNav; }
    TimeLine *timeLine() const { return m_timeLine; }
    /// Closes the window, whatever goes on in it: open dialogs are canceled and a job is aborted. Returns at
    /// once.
    void closeSoon();
    /// Undo and redo of the open project.
    History &history() { return *m_history; }

    /// Keeps copies of unsaved work in `folder`, which all programs of the user share, and offers those that
    /// are there. Without this call the window does neither. To be called once.
    void setRecovery(const QString &folder);
    /// The keeper of the copies; null without setRecovery().
    Recovery *recovery() const { return m_recovery; }

    /// Frame at which interactive tracking last stopped for the user, from 0; -1 when no run is pending.
    qint32 trackingStopFrame = -1;

public slots:
    /// The actions of the menus, in their order; `onActionTmpDebugAction` belongs to none and thins the
    /// current outline.
    void onActionNew();
    void onActionSave();
    void onActionOpen();
    void onActionClose();
    void onActionNextFrame();
    void onActionPrevFrame();
    void onActionLinearMorphing();
    void onActionInteractiveTracking();
    void onActionAutomaticTracking();
    void onActionExportXML();
    void onActionSegmentation();
    void onActionHelpLicense();
    void onActionHelpAbout();
    void onActionTmpDebugAction();
    /// Reloads the views and brings the actions' enabled states in line with the project.
    void reload();
    /// Discards the project and starts an empty one.
    void recreateDataState();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    /// What an action needs to be of use.
    enum class EnabledWhen { Always, VideoLoaded, HasObjects };
    /// What triggering an action does to a running playback.
    enum class Playback { GoesOn, Ends };
    struct ActionRow;

    void createMenus();
    void createDocks();
    void createActions();
    void createHistory();
    std::vector<ActionRow> actionRows() const;
    void createAction(const ActionRow &row);
    void updateActions();
    void enableAgain();
    bool loadVideo(const QString &path);
    void showLoadFailure(const QString &path, const QString &reason);
    void saveProject(const QString &path);
    void readProject(QDataStream &stream, const QString &path);
    void moveInHistory(bool back);
    void showProjectState();
    void projectIsOnDisk(const QString &path);
    void forgetProject();
    void followHistory();
    void finishFields();
    QString keepUnsavedWork();
    void leaveUnsavedWork();
    void showLostWork();
    void updateOffer();
    void updateNotice();
    void discard(const RecoveryCopy &copy);
    void restore(const RecoveryCopy &copy);
    QString videoOf(const RecoveryCopy &copy, const QString &videoName);
    void goOnWith(const RecoveryCopy &copy);
    void askForCorrection(int frame);
    void announceTrackingEnd(const QString &text);
    static QString withShortcut(const QString &toolTip, const QList<QKeySequence> &shortcuts);

    std::unique_ptr<JobDialogs> m_jobDialogs;
    std::unique_ptr<WindowCloser> m_closer;
    QMenu *m_fileMenu = nullptr;
    QMenu *m_frameMenu = nullptr;
    QMenu *m_toolsMenu = nullptr;
    QMenu *m_windowsMenu = nullptr;
    QMenu *m_helpMenu = nullptr;
    QToolBar *m_toolBar = nullptr;
    FrameViewer *m_frameViewer = nullptr;
    FrameNav *m_frameNav = nullptr;
    TimeLine *m_timeLine = nullptr;
    QList<QPair<QAction *, EnabledWhen>> m_actions;
    History *m_history = nullptr;
    QLabel *m_projectState = nullptr; // right in the status bar: whether the project is saved
    QTimer *m_savedNotice = nullptr;  // runs while that says so after a save
    QString m_projectPath;            // file of the project; empty before it has one
    QString m_failedSave;             // file that the last save could not write
    QString m_videoPath;              // video of the project, as the user chose it
    QString m_loadFailure;            // what the last import ended with; empty if all went well
    QString m_leftWork;               // what became of work that no copy holds; empty once the next has one
    QString m_otherVideo;             // copy whose video is not the one at its place any more
    Recovery *m_recovery = nullptr;
    RecoveryOffer *m_offer = nullptr; // left of the project's state
};

/// The main window; null in programs without one.
extern MainWindow *g_mainWindow;
