// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/modaljob.h"

#include "core/framebounds.h"
#include "core/mainwindow.h"

#include <QCoreApplication>
#include <QException>
#include <QFutureWatcher>
#include <QProgressDialog>
#include <QScopeGuard>
#include <QtConcurrentMap>
#include <QWindow>

#include <atomic>
#include <exception>
#include <string>

namespace
{

/// Carries the text of an exception from a pool thread; Qt hands on only exceptions that it can clone.
class JobError : public QException
{
public:
    explicit JobError(const char *text)
        : m_text(text)
    {
    }
    const char *what() const noexcept override { return m_text.c_str(); }
    void raise() const override { throw *this; }
    JobError *clone() const override { return new JobError(*this); }

private:
    std::string m_text;
};

// The dialog has no parent widget, so its window modality would block nothing. As a transient of the main
// window it keeps the user from editing what the pool threads work on, while the window goes on repainting.
void blockMainWindow(QProgressDialog &dialog)
{
    if (!g_mainWindow || !g_mainWindow->windowHandle())
        return;
    dialog.winId(); // creates the window handle
    dialog.windowHandle()->setTransientParent(g_mainWindow->windowHandle());
}

void callCarryingErrors(const std::function<void(int &)> &work, int &item)
{
    try {
        work(item);
    } catch (const std::exception &error) {
        throw JobError(error.what());
    } catch (...) {
        throw JobError("unknown exception");
    }
}

/// What the work items of one run share. What the GUI thread wrote before is for them to read, and the other
/// way round at the end; the thread pool sees to that too, but thread checkers cannot look into it.
struct Shared {
    const std::function<void(int &)> &work;
    std::atomic<int> handedOver{0}; // written by the GUI thread first and by every work item last
};

void runItem(Shared &shared, int &item)
{
    shared.handedOver.load(std::memory_order_acquire);
    const auto handBack =
        qScopeGuard([&shared] { shared.handedOver.fetch_add(1, std::memory_order_release); });
    callCarryingErrors(shared.work, item);
}

struct WorkItem {
    Shared *shared;
    // Unchecked because this object itself comes through the thread pool.
    __attribute__((no_sanitize("thread"))) void operator()(int &item) const { runItem(*shared, item); }
};

bool waitForEnd(QFuture<void> future)
{
    try {
        future.waitForFinished();
    } catch (const QException &error) {
        qWarning("%s", error.what());
        return false;
    }
    return true;
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

    Shared shared{work};
    shared.handedOver.store(1, std::memory_order_release);
    const QFuture<void> future = QtConcurrent::map(items, WorkItem{&shared});
    watcher.setFuture(future);
    dialog.exec();
    const bool succeeded = waitForEnd(future);
    shared.handedOver.load(std::memory_order_acquire);
    // What the work items announced reaches the window before the caller goes on.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
    return succeeded;
}
