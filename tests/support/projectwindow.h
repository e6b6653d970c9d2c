// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "core/datastate.h"
#include "core/mainwindow.h"
#include "views/framenav.h"
#include "views/frameviewer.h"
#include "views/timeline.h"

#include <QColor>
#include <QSize>

#include <memory>

/// The main window (g_mainWindow) on a project (g_state) whose video was never loaded from a file. Frame
/// images are plain pictures in the video's folder, each in a colour of its own.
class ProjectWindow
{
public:
    explicit ProjectWindow(int frameCount, QSize frameSize = QSize(320, 240), double fps = 25);
    ~ProjectWindow();

    MainWindow &window() { return *m_window; }
    FrameViewer *viewer() const { return m_window->frameViewer(); }
    FrameNav *nav() const { return m_window->frameNav(); }
    TimeLine *timeLine() const { return m_window->timeLine(); }

    /// Shows the window and waits until it has the focus. Returns false if it does not get it.
    bool show();

    /// Adds an object and makes it the current one.
    TrackedObject *addObject();

    /// The colour of a frame's picture, which comes back from the file within a few units.
    static QColor frameColor(int frame);
    /// True if no channel differs by more than `tolerance`.
    static bool similar(QColor a, QColor b, int tolerance = 6);

    /// Fills the fields of a video and writes its pictures.
    static VideoContainer *makeVideo(int frameCount, QSize frameSize, double fps);

private:
    std::unique_ptr<MainWindow> m_window;
};
