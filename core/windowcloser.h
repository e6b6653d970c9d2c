// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QTimer>

class QWidget;

/// Closes the main window at the next moment at which nothing stands in its way: aborts the job that runs and
/// answers open dialogs and menus as Escape does, and does not wait for them in an event loop of its own.
class WindowCloser : public QObject
{
    Q_OBJECT

public:
    explicit WindowCloser(QWidget *window);

public slots:
    /// Returns at once. The window is closed from the event loop.
    void closeSoon();

private:
    void look();

    QWidget *m_window;
    QTimer m_timer; // runs until the window is closed
};
