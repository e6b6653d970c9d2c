// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/endsignals.h"

#include <atomic>

#include <fcntl.h>
#include <unistd.h>

namespace
{

constexpr int endSignals[] = {SIGTERM, SIGINT, SIGHUP};

// A signal handler may do next to nothing: it writes a byte, which the event loop reads.
int g_pipe[2] = {-1, -1};
std::atomic<bool> g_received{false}; // set by the handler
static_assert(std::atomic<bool>::is_always_lock_free, "signal handlers must not wait");

extern "C" void handleEndSignal(int number)
{
    if (g_received.exchange(true)) {
        std::signal(number, SIG_DFL);
        std::raise(number); // takes effect as soon as this returns
        return;
    }
    const char byte = 0;
    const ssize_t written = write(g_pipe[1], &byte, 1);
    static_cast<void>(written); // the pipe is empty, and there is no one to tell
}

int openedPipe()
{
    if (pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
        qFatal("could not make a pipe");
    g_received = false;
    return g_pipe[0];
}

} // namespace

EndSignals::EndSignals()
    : m_notifier(openedPipe(), QSocketNotifier::Read)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, &EndSignals::take);
    struct sigaction handled = {};
    handled.sa_handler = handleEndSignal;
    handled.sa_flags = SA_RESTART;
    sigemptyset(&handled.sa_mask);
    for (int number : endSignals) {
        Former former = {number, {}};
        sigaction(number, nullptr, &former.action);
        if (former.action.sa_handler == SIG_IGN) // as under nohup
            continue;
        sigaction(number, &handled, nullptr);
        m_former.push_back(former);
    }
}

EndSignals::~EndSignals()
{
    for (const Former &former : m_former)
        sigaction(former.number, &former.action, nullptr);
    m_notifier.setEnabled(false);
    close(g_pipe[0]);
    close(g_pipe[1]);
}

void EndSignals::take()
{
    char byte = 0;
    if (read(g_pipe[0], &byte, 1) == 1)
        emit received();
}
