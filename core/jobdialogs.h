// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "core/modaljob.h"

class QWidget;

/// Shows running jobs in a busy dialog, as long as it lives, and keeps the window's user from editing what
/// they work on.
class JobDialogs : public ModalJob::DialogHost
{
public:
    /// `window` is the window that takes no input while a job runs; there may be none.
    explicit JobDialogs(QWidget *window = nullptr);
    ~JobDialogs() override;
    Q_DISABLE_COPY(JobDialogs)

    void run(const QString &label, QFutureWatcher<void> &watcher, const std::function<void()> &start,
             const std::function<void()> &onAbort) override;

private:
    void waitForRunningItems(QFutureWatcher<void> &watcher);

    QWidget *m_window;
};
