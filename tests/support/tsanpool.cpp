// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// Linked into tests under the thread sanitizer only. Qt's thread pool hands work over in library code that
// the checker cannot look into, so that what is in order looks like a race. These functions stand in front of
// the library's own ones and tell the checker of each hand-over, and of nothing else: races between work
// items, or between them and the thread that waits for them, are still found.
//
//     start of a runnable -> its run()        by the runnable
//     end of a work item  -> the last one     by the future's state
//     end of the last one -> a waiting thread by the future's state, and so for a result

#define QFUTURE_TEST // makes the state that a future and its copies share accessible
#include <QFutureInterface>
#undef QFUTURE_TEST
#include <QFutureWatcher>
#include <QRunnable>
#include <QtConcurrentMap>
#include <QThreadPool>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

#include <cstring>

namespace
{

/// The library's own version of a function.
template <typename Function>
Function libraryFunction(const char *mangledName)
{
    void *address = dlsym(RTLD_NEXT, mangledName);
    if (!address)
        qFatal("%s is not in the library", mangledName);
    Function function;
    static_assert(sizeof function == sizeof address);
    std::memcpy(&function, &address, sizeof function);
    return function;
}

} // namespace

void QThreadPool::start(QRunnable *runnable, int priority)
{
    static const auto library =
        libraryFunction<void (*)(QThreadPool *, QRunnable *, int)>("_ZN11QThreadPool5startEP9QRunnablei");
    __tsan_release(runnable);
    library(this, runnable, priority);
}

bool QThreadPool::tryStart(QRunnable *runnable)
{
    static const auto library =
        libraryFunction<bool (*)(QThreadPool *, QRunnable *)>("_ZN11QThreadPool8tryStartEP9QRunnable");
    __tsan_release(runnable);
    return library(this, runnable);
}

// The first thing that a task of QtConcurrent::run() does is to ask this; nobody else asks the task itself.
bool QFutureInterfaceBase::isCanceled() const
{
    static const auto library =
        libraryFunction<bool (*)(const QFutureInterfaceBase *)>("_ZNK20QFutureInterfaceBase10isCanceledEv");
    if (const auto *task = dynamic_cast<const QRunnable *>(this))
        __tsan_acquire(const_cast<QRunnable *>(task));
    return library(this);
}

void QFutureInterfaceBase::reportFinished()
{
    static const auto library =
        libraryFunction<void (*)(QFutureInterfaceBase *)>("_ZN20QFutureInterfaceBase14reportFinishedEv");
    __tsan_acquire(d);
    __tsan_release(d);
    library(this);
}

void QFutureInterfaceBase::reportResultsReady(int beginIndex, int endIndex)
{
    static const auto library = libraryFunction<void (*)(QFutureInterfaceBase *, int, int)>(
        "_ZN20QFutureInterfaceBase18reportResultsReadyEii");
    __tsan_release(d);
    library(this, beginIndex, endIndex);
}

void QFutureInterfaceBase::waitForResult(int resultIndex)
{
    static const auto library =
        libraryFunction<void (*)(QFutureInterfaceBase *, int)>("_ZN20QFutureInterfaceBase13waitForResultEi");
    library(this, resultIndex);
    __tsan_acquire(d);
}

void QFutureInterfaceBase::waitForFinished()
{
    static const auto library =
        libraryFunction<void (*)(QFutureInterfaceBase *)>("_ZN20QFutureInterfaceBase15waitForFinishedEv");
    library(this);
    __tsan_acquire(d);
}

// The library's own version does the same, but without a call that could be caught here.
void QFutureWatcherBase::waitForFinished()
{
    futureInterface().waitForFinished();
}

// What the library's own version does, between the two ends of a hand-over. Exceptions do not get here: work
// items of this program catch theirs.
void QtConcurrent::ThreadEngineBase::run()
{
    __tsan_acquire(static_cast<QRunnable *>(this));
    if (!isCanceled()) {
        while (threadFunction() == ThrottleThread) {
            __tsan_release(futureInterface->d);
            if (threadThrottleExit())
                return;
        }
    }
    __tsan_release(futureInterface->d);
    threadExit();
}
