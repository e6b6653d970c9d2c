// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/smalldisk.h"

#include <atomic>

#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace
{

std::atomic<qint64> g_free{-1}; // bytes; negative for what the disk says itself

} // namespace

/// Stands in front of the C library's function, for Qt's calls.
extern "C" int statvfs64(const char *path, struct statvfs64 *disk)
{
    struct statfs64 found = {};
    if (syscall(SYS_statfs, path, &found) != 0)
        return -1;
    const bool madeUp = g_free >= 0;
    *disk = {};
    disk->f_bsize = madeUp ? SmallDisk::blockSize : found.f_bsize;
    disk->f_frsize = disk->f_bsize;
    disk->f_blocks = found.f_blocks;
    disk->f_bfree = madeUp ? g_free / SmallDisk::blockSize : found.f_bfree;
    disk->f_bavail = madeUp ? disk->f_bfree : found.f_bavail;
    disk->f_namemax = found.f_namelen;
    return 0;
}

SmallDisk::SmallDisk(qint64 free)
{
    g_free = free;
}

SmallDisk::~SmallDisk()
{
    g_free = -1;
}
