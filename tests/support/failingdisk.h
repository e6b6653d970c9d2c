// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

#include <sys/resource.h>

/// Makes every write beyond `bytes` of a file fail while it is in scope, as on a full disk.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes);
    ~FileSizeLimit();

private:
    rlimit m_limit{};
    void (*m_handler)(int);
};

/// Takes root's right to write anywhere away while it is in scope.
class WithoutRootRights
{
public:
    WithoutRootRights();
    ~WithoutRootRights();

private:
    bool m_wasRoot;
};

/// Makes fdatasync() fail with `error` while it is in scope, as on a disk that goes bad.
class FailingSync
{
public:
    explicit FailingSync(int error);
    ~FailingSync();
};

/// Makes flock() fail with `error` while it is in scope, as on a file system that knows no locks.
class WithoutLocks
{
public:
    explicit WithoutLocks(int error = ENOLCK);
    ~WithoutLocks();
};
