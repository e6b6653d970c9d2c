// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/modaljob.h"

#include "core/framebounds.h"
#include "core/mainwindow.h"

#include <QApplication>
#include <QEventLoop>
#include <QFutureWatcher>
#include <QPointer>
#include <QProgressDialog>
#include <QtConcurrentMap>
#include <QWindow>

#include <atomic>
#include <exception>
#include <string>

namespace
{

// The dialog has no parent widget, so its window modality would block nothing. As a transient of the main
// window it keeps the user from editing what the pool threads work on, while the window goes on repainting.
void blockMainWindow(QProgressDialog &dialog)
{
    if (!g_mainWindow || !g_mainWindow->windowHandle())
        return;
    dialog.winId(); // creates the window handle
    dialog.windowHandle()->setTransientParent(g_mainWindow->windowHandle());
}

/// What the work items of one run share. What the GUI thread wrote before is for them to read, and the other
/// way round at the end; the thread pool sees to that too, but thread checkers cannot look into it.
struct Shared {
    explicit Shared(const std::function<void(int &)> &function)
        : work(function)
    {
    }

    const std::function<void(int &)> &work;
    std::atomic<int> handedOver{0};  // written by the GUI thread first and by every work item last
    std::atomic<bool> failed{false}; // set by the first work item that fails, read by each before its work
    std::string error;               // written by the one that set failed
};

void fail(Shared &shared, const char *error)
{
    if (!shared.failed.exchange(true))
        shared.error = error;
}

// Exceptions do not cross the thread pool, which would lose their text.
void runItem(Shared &shared, int &item)
{
    shared.handedOver.load(std::memory_order_acquire);
    try {
        if (!shared.failed)
            shared.work(item);
    } catch (const std::exception &exception) {
        fail(shared, exception.what());
    } catch (...) {
        fail(shared, "unknown exception");
    }
    shared.handedOver.fetch_add(1, std::memory_order_release);
}

struct WorkItem {
    Shared *shared;
    // Unchecked because this object itself comes through the thread pool.
    __attribute__((no_sanitize("thread"))) void operator()(int &item) const { runItem(*shared, item); }
};

// After "Abort": the window goes on repainting but takes no input, which would only be acted on later.
void waitForRunningItems(QFutureWatcher<void> &watcher)
{
    if (watcher.isFinished())
        return;
    const bool disable = g_mainWindow && g_mainWindow->isEnabled();
    // The application has no focus widget right after the dialog; the window remembers its own.
    const QPointer<QWidget> focus = disable ? g_mainWindow->focusWidget() : nullptr;
    if (disable)
        g_mainWindow->setDisabled(true);
    QApplication::setOverrideCursor(Qt::WaitCursor);
    QEventLoop loop;
    QObject::connect(&watcher, &QFutureWatcher<void>::finished, &loop, &QEventLoop::quit);
    loop.exec();
    QApplication::restoreOverrideCursor();
    if (disable)
        g_mainWindow->setDisabled(false);
    if (focus)
        focus->setFocus();
}

} // namespace

bool ModalJob::run(const QString &label, QList<int> &items, const std::function<void(int &)> &work,
                   const std::function<void()> &onCanceled)
{
    frameBounds(); // pool threads get the bounds as they are now

    QProgressDialog dialog(label, QCoreApplication::translate("ModalJob", "Abort"), 0, 0);
    dialog.setWindowModality(Qt::WindowModal);
    blockMainWindow(dialog);

    QFutureWatcher<void> watcher;
    QObject::connect(&watcher, &QFutureWatcher<void>::finished, &dialog, &QProgressDialog::reset);
    QObject::connect(&dialog, &QProgressDialog::canceled, &watcher, &QFutureWatcher<void>::cancel);
    if (onCanceled)
        QObject::connect(&dialog, &QProgressDialog::canceled, &watcher, onCanceled);

    Shared shared(work);
    shared.handedOver.store(1, std::memory_order_release);
    QFuture<void> future = QtConcurrent::map(items, WorkItem{&shared});
    watcher.setFuture(future);
    dialog.exec();
    waitForRunningItems(watcher);
    future.waitForFinished();
    shared.handedOver.load(std::memory_order_acquire);
    // What the work items announced reaches the window before the caller goes on.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
    if (shared.failed)
        qWarning("%s", shared.error.c_str());
    return !shared.failed;
}
