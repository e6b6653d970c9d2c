// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/modaljob.h"

#include "core/framebounds.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QtConcurrentMap>

#include <atomic>
#include <exception>
#include <string>

namespace
{

ModalJob::DialogHost *g_dialogHost = nullptr;

/// The job that run() has not returned from, on the GUI thread only.
struct RunningJob;
RunningJob *g_runningJob = nullptr;

/// What the work items of one run share.
struct Shared {
    const std::function<void(int &)> &work;
    std::atomic<bool> failed{false}; // set by the first work item that fails, read by each before its work
    std::string error{};             // written by the one that set failed, read when all have ended
};

void fail(Shared &shared, const char *error)
{
    if (!shared.failed.exchange(true))
        shared.error = error;
}

struct WorkItem {
    using result_type = void;
    Shared *shared;

    // Exceptions do not cross the thread pool, which would lose their text.
    void operator()(int &item) const
    {
        try {
            if (!shared->failed)
                shared->work(item);
        } catch (const std::exception &exception) {
            fail(*shared, exception.what());
        } catch (...) {
            fail(*shared, "unknown exception");
        }
    }
};

struct RunningJob {
    explicit RunningJob(const std::function<void()> &callback)
        : onAbort(callback)
        , outer(g_runningJob)
    {
        g_runningJob = this;
    }
    ~RunningJob() { g_runningJob = outer; }
    Q_DISABLE_COPY(RunningJob)

    void abort()
    {
        if (aborted)
            return;
        aborted = true;
        watcher.cancel();
        if (onAbort)
            onAbort();
    }

    QFutureWatcher<void> watcher;
    const std::function<void()> &onAbort;
    RunningJob *outer; // an event handler of a running job may run one of its own
    bool aborted = false;
};

void runWithoutDialog(QFutureWatcher<void> &watcher, const std::function<void()> &start)
{
    QEventLoop loop;
    QObject::connect(&watcher, &QFutureWatcher<void>::finished, &loop, &QEventLoop::quit);
    start();
    loop.exec(QEventLoop::ExcludeUserInputEvents);
}

} // namespace

ModalJob::DialogHost::~DialogHost() = default;

void ModalJob::setDialogHost(DialogHost *host)
{
    g_dialogHost = host;
}

ModalJob::DialogHost *ModalJob::dialogHost()
{
    return g_dialogHost;
}

ModalJob::Result ModalJob::run(const QString &label, QList<int> &items,
                               const std::function<void(int &)> &work, const std::function<void()> &onAbort)
{
    frameBounds(); // pool threads get the bounds as they are now

    Shared shared{work};
    RunningJob job(onAbort);
    const auto start = [&] { job.watcher.setFuture(QtConcurrent::map(items, WorkItem{&shared})); };
    if (g_dialogHost)
        g_dialogHost->run(label, job.watcher, start, [&job] { job.abort(); });
    else
        runWithoutDialog(job.watcher, start);
    job.watcher.waitForFinished();
    // What the work items announced reaches the window before the caller goes on.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
    if (shared.failed) {
        qWarning("%s", shared.error.c_str());
        return {Outcome::Failed, QString::fromStdString(shared.error)};
    }
    return {job.aborted ? Outcome::Aborted : Outcome::Finished, QString()};
}

bool ModalJob::isRunning()
{
    return g_runningJob != nullptr;
}

void ModalJob::abort()
{
    if (g_runningJob)
        g_runningJob->abort();
}
