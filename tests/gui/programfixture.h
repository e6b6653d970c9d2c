// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QPoint>
#include <QPointF>
#include <QPolygonF>
#include <QString>
#include <QStringList>

#include <memory>

class DialogDriver;
class MainWindow;
class QAction;
class QMenu;
class QTemporaryDir;
class QWidget;
class TrackedObjectLabel;

/// The program as main() builds it: the project state and the shown main window, both known globally.
class ProgramFixture
{
public:
    ProgramFixture();
    ~ProgramFixture();

    MainWindow *operator->() const { return window.get(); }

    /// The action with this text ("&New").
    QAction *action(const QString &text) const;
    /// The menu with this title ("&File").
    QMenu *menu(const QString &title) const;

    /// Gives the project a video without any image, filled by hand, and reloads the window.
    void pretendVideo(int frames, double fps = 25);
    /// Pretends a video of six frames and adds two objects; the second one is current.
    void pretendTwoObjects();
    /// Starts a project from a video the way a user does. Returns what went wrong.
    QString newProject(const QString &video);
    /// Saves, opens or exports the way a user does. Returns what went wrong.
    QString saveAs(const QString &path);
    QString open(const QString &project, const QString &video);
    QString exportXml(const QString &path, bool boundingBoxes);

    /// Double-clicks the frame viewer at a position in frame pixels.
    void doubleClickFrame(QPointF position, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    /// Double-clicks the corners of an outline.
    void draw(const QPolygonF &outline);
    /// Clicks on a widget at a position of its own, through the window.
    void click(QWidget *widget, QPoint position, Qt::MouseButton button = Qt::LeftButton);
    void click(QWidget *widget);
    /// Clicks on the time line's header above a frame, which it scrolls into sight first.
    void clickFrameNumber(int frame);
    /// Presses a key in the window, wherever the focus is.
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    /// Position of an object's key frame marker in the time line's body, scrolled into sight.
    QPoint markerPosition(int objectIndex, int frame);

    /// The label of the topmost object in the time line.
    TrackedObjectLabel *firstLabel() const;

    std::unique_ptr<MainWindow> window;

private:
    void activate();
};

/// Texts of the tools, in their order.
extern const QStringList toolTexts;
/// Texts of the actions that need no project.
extern const QStringList alwaysEnabled;
/// First difference between the actions' enabled states and the wanted ones; empty when there is none.
QString enabledProblem(const ProgramFixture &program, bool save, bool tools);

/// A widget's class, accessible name and parent, for messages.
QString nameOf(const QWidget *widget);

/// A file's content; "(no such file)" when it cannot be read.
QByteArray contentOf(const QString &path);
void writeFile(const QString &path, const QByteArray &content);

/// Filters of the save dialog for the XML export.
extern const char polygonFilter[];
extern const char boundingBoxFilter[];

/// The bytes of the project as Save would write them now.
QByteArray projectBytes();

/// Keeps the tests away from the user's home folder and settings; to be called before the application is
/// made.
void useTemporaryHome();

/// Makes `path`.mp4 from a rendered scene with the first encoder that works. Returns the path, or nothing.
QString encodeClip(const QString &folder, const QString &name, int frames, double fps = 25);
