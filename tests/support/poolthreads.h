// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QThreadPool>

/// Sets the number of threads of the global pool, all idle at first, while it is in scope.
class PoolThreads
{
public:
    explicit PoolThreads(int count)
        : m_previous(QThreadPool::globalInstance()->maxThreadCount())
    {
        // A map takes the threads only that are idle as it starts.
        QThreadPool::globalInstance()->waitForDone();
        QThreadPool::globalInstance()->setMaxThreadCount(count);
    }
    ~PoolThreads() { QThreadPool::globalInstance()->setMaxThreadCount(m_previous); }
    Q_DISABLE_COPY(PoolThreads)

private:
    int m_previous;
};
