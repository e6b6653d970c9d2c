// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <atomic>
#include <chrono>

/// How long work items that are in progress go on after "Abort": to their end where that takes no longer than
/// a grace period, so that short parcels of work stay whole, and else to the next place at which they can
/// leave.
class AbortGrace
{
public:
    /// Sets the period of all jobs to come; a second at first.
    static void setLength(std::chrono::milliseconds length) { s_length = length.count(); }

    /// Before the work items start.
    void reset() { m_end.store(0, std::memory_order_relaxed); }
    /// On the GUI thread, with "Abort".
    void start() { m_end.store(now() + s_length, std::memory_order_relaxed); }
    /// Asked by the work items on pool threads.
    bool isOver() const
    {
        const qint64 end = m_end.load(std::memory_order_relaxed);
        return end != 0 && now() >= end;
    }

private:
    static qint64 now() // milliseconds on a clock that nobody sets
    {
        const auto time = std::chrono::steady_clock::now().time_since_epoch();
        return std::chrono::duration_cast<std::chrono::milliseconds>(time).count() + 1;
    }

    static inline std::atomic<qint64> s_length{1000}; // milliseconds
    std::atomic<qint64> m_end{0};                     // 0 without "Abort"
};
