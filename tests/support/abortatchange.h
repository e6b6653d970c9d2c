// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/progresswatch.h"

#include <QObject>
#include <QSemaphore>

#include <atomic>

class TrackedObject;

/// Presses "Abort" when a work item changes the first outline of an object, and holds the work item until
/// that has been done.
class AbortAtFirstChange
{
public:
    explicit AbortAtFirstChange(const TrackedObject *object);

    /// Whether "Abort" was pressed and the work item went on after it.
    bool done() const { return m_done; }

private:
    void hold();

    ProgressWatch m_watch;
    QObject m_context;
    QSemaphore m_pressed;
    std::atomic<bool> m_held{false};
    std::atomic<bool> m_done{false};
};
