// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/leavablecall.h"

#include <QThreadPool>

#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

namespace
{

constexpr std::chrono::milliseconds askingInterval(50);

/// Shared by the thread that makes the call and the one that waits for it.
struct Call {
    std::function<void()> work;
    std::exception_ptr error{};
    bool ended = false;
    bool left = false;
};

std::mutex g_mutex; // guards the following, and of each call all but its work
std::condition_variable g_oneEnded;
int g_running = 0; // those left behind included
int g_left = 0;
bool g_wasAnyLeft = false;

void make(Call &call)
{
    std::exception_ptr error;
    try {
        call.work();
    } catch (...) {
        error = std::current_exception();
    }
    const std::lock_guard<std::mutex> lock(g_mutex);
    call.error = error;
    call.ended = true;
    --g_running;
    if (call.left)
        --g_left;
    g_oneEnded.notify_all();
}

/// Waits for a condition on what the mutex guards. Returns false when `mayWait` ended that.
template <typename Condition>
bool waitFor(std::unique_lock<std::mutex> &lock, const std::function<bool()> &mayWait, Condition condition)
{
    while (!g_oneEnded.wait_for(lock, askingInterval, condition)) {
        lock.unlock();
        const bool goOn = mayWait();
        lock.lock();
        if (!goOn)
            return condition();
    }
    return true;
}

void leave(Call &call)
{
    call.left = true;
    ++g_left;
    g_wasAnyLeft = true;
}

} // namespace

LeavableCall::TooManyLeft::TooManyLeft()
    : std::runtime_error("too many calls were left behind and have not ended yet")
{
}

bool LeavableCall::run(const std::function<void()> &work, const std::function<bool()> &mayWait)
{
    const int limit = QThreadPool::globalInstance()->maxThreadCount();
    std::unique_lock<std::mutex> lock(g_mutex);
    if (!waitFor(lock, mayWait, [limit] { return g_running < limit || g_left >= limit; }))
        return false;
    if (g_left >= limit)
        throw TooManyLeft();
    const auto call = std::make_shared<Call>(Call{work});
    std::thread thread([call] { make(*call); });
    ++g_running;
    if (!waitFor(lock, mayWait, [&call] { return call->ended; })) {
        leave(*call);
        thread.detach();
        return false;
    }
    lock.unlock();
    thread.join();
    if (call->error)
        std::rethrow_exception(call->error);
    return true;
}

int LeavableCall::leftBehind()
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    return g_left;
}

bool LeavableCall::wasAnyLeft()
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    return g_wasAnyLeft;
}
