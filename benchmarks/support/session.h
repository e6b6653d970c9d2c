// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "core/datastate.h"
#include "core/mainwindow.h"

#include <QObject>
#include <QSize>

#include <memory>

class QWidget;

/// Waits for the next time that a widget is painted.
class PaintWatch : public QObject
{
public:
    explicit PaintWatch(QWidget *widget);

    /// Forgets what was painted so far.
    void start() { m_painted = false; }
    bool painted() const { return m_painted; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool m_painted = false;
};

/// The main window with a project. Only the first frames have an image. Of several sessions one is in use:
/// its window is shown, its state is g_state.
class Session
{
public:
    static constexpr int images = 30; // frames that have an image

    Session(int frameCount, int objectCount);
    ~Session();
    Q_DISABLE_COPY(Session)

    /// The session of that size, made when it is asked for first, and in use from now on.
    static Session &with(int frameCount, int objectCount);

    /// Counts what was done with the session, so that nothing is done twice in the same place.
    int nextTurn() { return m_turn++; }

    MainWindow &window() { return *m_window; }
    TimeLine *timeLine() { return m_window->timeLine(); }

    /// To be called before what waitForTimeLine() and waitForAll() wait for.
    void startWatching();
    /// Runs the event loop until the rows of the time line were painted and nothing waits for its deletion
    /// any more. Returns false if that does not come about.
    bool waitForTimeLine();
    /// The same for the rows of the time line and the frame.
    bool waitForAll();
    /// Goes to a frame and waits; on the current one it does nothing.
    bool goTo(int frame);

    /// Ends the project and starts another one on the same video, without objects.
    void startAnew();

private:
    void use();
    void makeState();
    bool wait(bool forFrame);

    const int m_frameCount;
    DataState *m_state = nullptr;
    std::unique_ptr<MainWindow> m_window;
    std::unique_ptr<PaintWatch> m_frameWatch;
    std::unique_ptr<PaintWatch> m_timeLineWatch;
    int m_turn = 0;
};
