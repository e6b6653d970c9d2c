// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <csignal>
#include <vector>

/// Hears the signals that ask the program to end: SIGTERM, SIGINT and SIGHUP, where they are not ignored. The
/// first one is announced; the second one, of whatever kind, ends the process at once. One instance at a
/// time.
class EndSignals : public QObject
{
    Q_OBJECT

public:
    EndSignals();
    /// Signals do again what they did before.
    ~EndSignals() override;

signals:
    /// From the event loop.
    void received();

private:
    struct Former {
        int number;
        struct sigaction action;
    };

    void take();

    std::vector<Former> m_former;
    QSocketNotifier m_notifier;
};
