// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/failingdisk.h"

#include <QtGlobal>

#include <atomic>
#include <cerrno>
#include <csignal>

#include <sys/syscall.h>
#include <unistd.h>

namespace
{

std::atomic<int> g_syncError{0};
std::atomic<int> g_lockError{0};

} // namespace

/// Stands in front of the C library's function, for the program's own calls and for Qt's.
extern "C" int fdatasync(int descriptor)
{
    if (g_syncError == 0)
        return static_cast<int>(syscall(SYS_fdatasync, descriptor));
    errno = g_syncError;
    return -1;
}

/// The same for locks.
extern "C" int flock(int descriptor, int operation) noexcept
{
    if (g_lockError == 0)
        return static_cast<int>(syscall(SYS_flock, descriptor, operation));
    errno = g_lockError;
    return -1;
}

FileSizeLimit::FileSizeLimit(rlim_t bytes)
    : m_handler(std::signal(SIGXFSZ, SIG_IGN))
{
    getrlimit(RLIMIT_FSIZE, &m_limit);
    const rlimit lower{bytes, m_limit.rlim_max};
    if (setrlimit(RLIMIT_FSIZE, &lower) != 0)
        qFatal("cannot limit the file size");
}

FileSizeLimit::~FileSizeLimit()
{
    setrlimit(RLIMIT_FSIZE, &m_limit);
    std::signal(SIGXFSZ, m_handler);
}

WithoutRootRights::WithoutRootRights()
    : m_wasRoot(geteuid() == 0)
{
    constexpr uid_t nobody = 65534;
    if (m_wasRoot && seteuid(nobody) != 0)
        qFatal("cannot give root's rights up");
}

WithoutRootRights::~WithoutRootRights()
{
    if (m_wasRoot && seteuid(0) != 0)
        qFatal("cannot get root's rights back");
}

FailingSync::FailingSync(int error)
{
    g_syncError = error;
}

FailingSync::~FailingSync()
{
    g_syncError = 0;
}

WithoutLocks::WithoutLocks(int error)
{
    g_lockError = error;
}

WithoutLocks::~WithoutLocks()
{
    g_lockError = 0;
}
