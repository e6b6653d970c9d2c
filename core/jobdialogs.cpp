// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/jobdialogs.h"

#include <QApplication>
#include <QEventLoop>
#include <QPointer>
#include <QProgressDialog>
#include <QWindow>

namespace
{

// The dialog has no parent widget, so its window modality would block nothing. As a transient of the main
// window it keeps the user from editing what the pool threads work on, while the window goes on repainting.
void blockWindow(QProgressDialog &dialog, const QWidget *window)
{
    if (!window || !window->windowHandle())
        return;
    dialog.winId(); // creates the window handle
    dialog.windowHandle()->setTransientParent(window->windowHandle());
}

} // namespace

JobDialogs::JobDialogs(QWidget *window)
    : m_window(window)
{
    ModalJob::setDialogHost(this);
}

JobDialogs::~JobDialogs()
{
    if (ModalJob::dialogHost() == this)
        ModalJob::setDialogHost(nullptr);
}

void JobDialogs::run(const QString &label, QFutureWatcher<void> &watcher, const std::function<void()> &start,
                     const std::function<void()> &onAbort)
{
    QProgressDialog dialog(label, QCoreApplication::translate("ModalJob", "Abort"), 0, 0);
    dialog.setWindowModality(Qt::WindowModal);
    blockWindow(dialog, m_window);
    QObject::connect(&watcher, &QFutureWatcher<void>::finished, &dialog, &QProgressDialog::reset);
    QObject::connect(&dialog, &QProgressDialog::canceled, &watcher, &QFutureWatcher<void>::cancel);
    QObject::connect(&dialog, &QProgressDialog::canceled, &watcher, onAbort);
    QObject::connect(&watcher, &QFutureWatcher<void>::canceled, &dialog, &QProgressDialog::cancel);
    start();
    dialog.exec();
    waitForRunningItems(watcher);
}

// After "Abort": the window goes on repainting but takes no input, which would only be acted on later.
void JobDialogs::waitForRunningItems(QFutureWatcher<void> &watcher)
{
    if (watcher.isFinished())
        return;
    const bool disable = m_window && m_window->isEnabled();
    // The application has no focus widget right after the dialog; the window remembers its own.
    const QPointer<QWidget> focus = disable ? m_window->focusWidget() : nullptr;
    if (disable)
        m_window->setDisabled(true);
    QApplication::setOverrideCursor(Qt::WaitCursor);
    QEventLoop loop;
    QObject::connect(&watcher, &QFutureWatcher<void>::finished, &loop, &QEventLoop::quit);
    loop.exec();
    QApplication::restoreOverrideCursor();
    if (disable)
        m_window->setDisabled(false);
    if (focus)
        focus->setFocus();
}
