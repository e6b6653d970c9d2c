// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/processmark.h"

#include <QCoreApplication>
#include <QFile>
#include <QList>
#include <QSysInfo>

namespace
{

/// The fields of a mark, in this order, none of them empty and none with a blank.
enum Field { Machine, Boot, Namespace, Id, StartTime, FieldCount };

/// By its name only where it has no id: names change with the network.
QByteArray machine()
{
    const QByteArray id = QSysInfo::machineUniqueId();
    const QByteArray name = QSysInfo::machineHostName().toUtf8().simplified().replace(' ', '_');
    return id.isEmpty() ? "@name/" + name : "@id/" + id;
}

QByteArray boot()
{
    return '#' + QSysInfo::bootUniqueId();
}

/// Process ids mean something in their namespace only.
QByteArray processNamespace()
{
    const QString target = QFile::symLinkTarget(QStringLiteral("/proc/self/ns/pid"));
    return '&' + target.section(QLatin1Char('/'), -1).toUtf8();
}

/// When the process of this id started, in clock ticks since the boot; empty when there is none, or only the
/// dead one that its parent has not asked for yet.
QByteArray startTime(const QByteArray &id)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(QString::fromLatin1(id)));
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    const QByteArray text = file.readAll();
    // The second field is the program's name in brackets, which may hold anything.
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    constexpr int startTimeField = 22 - 3; // those up to the name are cut off, and they count from 1
    const bool dead = fields.first() == "Z" || fields.first() == "X";
    return dead ? QByteArray() : fields.value(startTimeField);
}

} // namespace

QByteArray ProcessMark::own()
{
    const QByteArray id = QByteArray::number(QCoreApplication::applicationPid());
    return machine() + ' ' + boot() + ' ' + processNamespace() + ' ' + id + ' ' + startTime(id);
}

bool ProcessMark::mayRun(const QByteArray &mark)
{
    const QList<QByteArray> fields = mark.split(' ');
    if (fields.size() != FieldCount || fields.at(Machine) != machine())
        return true;
    if (fields.at(Boot) != boot())
        return false;
    if (fields.at(Namespace) != processNamespace())
        return true;
    return startTime(fields.at(Id)) == fields.at(StartTime);
}
