// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/windowcloser.h"

#include "core/modaljob.h"

#include <QApplication>
#include <QDialog>

namespace
{

constexpr int interval = 10; // milliseconds between two looks

/// What has to go before the window can: the innermost menu, or the last dialog that was opened. Null if
/// there is none.
QWidget *inTheWay()
{
    if (QWidget *menu = QApplication::activePopupWidget())
        return menu;
    if (QWidget *modal = QApplication::activeModalWidget())
        return modal;
    const QWidgetList windows = QApplication::topLevelWidgets(); // native dialogs are modal in their own way
    for (QWidget *window : windows) {
        if (window->isVisible() && window->isModal())
            return window;
    }
    return nullptr;
}

void dismiss(QWidget *widget)
{
    if (auto *dialog = qobject_cast<QDialog *>(widget))
        dialog->reject();
    else
        widget->close();
}

} // namespace

WindowCloser::WindowCloser(QWidget *window)
    : m_window(window)
{
    m_timer.setInterval(interval);
    connect(&m_timer, &QTimer::timeout, this, &WindowCloser::look);
}

void WindowCloser::closeSoon()
{
    ModalJob::abort();
    m_timer.start();
}

// What goes leaves its own event loop, and what waited for it may open the next dialog or start a job, so
// that one step is made at a time.
void WindowCloser::look()
{
    if (ModalJob::isRunning()) {
        ModalJob::abort();
    } else if (QWidget *widget = inTheWay()) {
        dismiss(widget);
    } else {
        m_timer.stop();
        m_window->close();
    }
}
