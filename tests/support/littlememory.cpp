// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/littlememory.h"

#include <QByteArray>
#include <QFile>

#include <unistd.h>

namespace
{

qint64 addressSpaceInUse()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    const bool opened = file.open(QIODevice::ReadOnly);
    return opened ? file.readAll().split(' ').first().toLongLong() * sysconf(_SC_PAGESIZE) : 0;
}

} // namespace

LittleMemory::LittleMemory(qint64 bytes)
{
    getrlimit(RLIMIT_AS, &m_limit);
    const rlimit lower{static_cast<rlim_t>(addressSpaceInUse() + bytes), m_limit.rlim_max};
    if (setrlimit(RLIMIT_AS, &lower) != 0)
        qFatal("cannot limit the memory");
}

LittleMemory::~LittleMemory()
{
    setrlimit(RLIMIT_AS, &m_limit);
}
