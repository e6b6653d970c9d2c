// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/projectlimits.h"

#include <QByteArray>
#include <QFile>
#include <QString>

#include <algorithm>
#include <limits>

#include <sys/resource.h>

namespace
{

constexpr qint64 megabyte = qint64(1) << 20;
// As measured, and a little more (docs/reliability.md): a number above the time line; the line of the grid
// that the first object brings; a key frame with its span entry and its marker, and undo.
constexpr qint64 bytesPerFrame = 600;
constexpr qint64 bytesPerFrameOfTheGrid = 500;
constexpr qint64 bytesPerObjectAndFrame = 900;
constexpr qint64 reserve = 256 * megabyte; // for images and all else
constexpr qint64 unlimited = std::numeric_limits<qint64>::max();

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The number behind `name` in a table with a row per name, such as those of the kernel; `otherwise` if there
/// is none.
qint64 rowOf(const QByteArray &table, const QByteArray &name, qint64 otherwise)
{
    for (const QByteArray &line : table.split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() > 1 && fields.first() == name)
            return fields.at(1).toLongLong();
    }
    return otherwise;
}

qint64 freeInAddressSpace()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur > rlim_t(unlimited))
        return unlimited;
    const qint64 kilobytes = rowOf(contents(QStringLiteral("/proc/self/status")), "VmSize:", 0);
    return static_cast<qint64>(limit.rlim_cur) - kilobytes * 1024;
}

/// In the control group of a folder; what it keeps of files can be given up.
qint64 freeInGroup(const QString &folder)
{
    bool limited = false;
    const qint64 most = contents(folder + QStringLiteral("/memory.max")).trimmed().toLongLong(&limited);
    if (!limited)
        return unlimited;
    const qint64 used = contents(folder + QStringLiteral("/memory.current")).trimmed().toLongLong();
    const qint64 files = rowOf(contents(folder + QStringLiteral("/memory.stat")), "inactive_file", 0);
    return most - used + files;
}

/// The least of the process's control group and those around it.
qint64 freeInGroups()
{
    const QString text = QString::fromUtf8(contents(QStringLiteral("/proc/self/cgroup")));
    QString group = text.section(QStringLiteral("0::"), 1).section(QLatin1Char('\n'), 0, 0);
    qint64 least = unlimited;
    for (; !group.isEmpty(); group = group.left(group.lastIndexOf(QLatin1Char('/'))))
        least = std::min(least, freeInGroup(QStringLiteral("/sys/fs/cgroup") + group));
    return least;
}

bool canHold(qint64 bytes)
{
    constexpr qint64 little = 64 * megabyte; // not worth asking the kernel
    return bytes <= little || bytes <= ProjectLimits::memoryAvailable() - reserve;
}

} // namespace

qint64 ProjectLimits::memoryNeeded(int frames, int objects)
{
    const qint64 grid = objects > 0 ? bytesPerFrameOfTheGrid : 0;
    return frames * (bytesPerFrame + grid + objects * bytesPerObjectAndFrame);
}

qint64 ProjectLimits::freeInMachine(const QByteArray &memoryInfo)
{
    const qint64 kilobytes = rowOf(memoryInfo, "MemAvailable:", -1);
    return kilobytes < 0 ? unlimited : (kilobytes + rowOf(memoryInfo, "SwapFree:", 0)) * 1024;
}

qint64 ProjectLimits::memoryAvailable()
{
    return std::min(
        {freeInMachine(contents(QStringLiteral("/proc/meminfo"))), freeInAddressSpace(), freeInGroups()});
}

bool ProjectLimits::canHoldVideo(int frames)
{
    return frames <= mostFrames && canHold(memoryNeeded(frames, 0));
}

bool ProjectLimits::canHoldObjects(int frames, int objects, int loaded)
{
    return canHold(memoryNeeded(frames, loaded + objects) - memoryNeeded(frames, loaded));
}
