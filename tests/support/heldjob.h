// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/progresswatch.h"

#include <QObject>
#include <QSemaphore>

#include <atomic>
#include <functional>

class TrackedObject;

/// Holds the first work item that changes an outline of an object, until it is released.
class HeldJob
{
public:
    /// `onHeld` is called on the GUI thread while the work item waits.
    explicit HeldJob(const TrackedObject *object, std::function<void()> onHeld = {});
    ~HeldJob();
    Q_DISABLE_COPY(HeldJob)

    void release() { m_gate.release(); }
    /// Whether a work item was held and went on when it was released.
    bool wentOn() const { return m_wentOn; }

private:
    void hold();

    std::function<void()> m_onHeld;
    QObject m_context;
    QSemaphore m_gate;
    std::atomic<bool> m_held{false};
    std::atomic<bool> m_wentOn{false};
};

/// Presses "Abort" when a work item changes the first outline of an object, and holds the work item until
/// that has been done.
class AbortAtFirstChange
{
public:
    explicit AbortAtFirstChange(const TrackedObject *object)
        : m_job(object, [this] { m_watch.abort(); })
    {
        m_watch.onAborted = [this] { m_job.release(); };
    }

    /// Whether "Abort" was pressed and the work item went on after it.
    bool done() const { return m_watch.aborted && m_job.wentOn(); }

private:
    ProgressWatch m_watch;
    HeldJob m_job;
};
