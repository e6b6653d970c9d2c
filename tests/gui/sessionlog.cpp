// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/gui/sessionlog.h"

#include "core/datastate.h"
#include "tests/gui/programfixture.h"

#include <QCryptographicHash>
#include <QElapsedTimer>

namespace
{

constexpr int statedLimit = 30000; // milliseconds: what the user is promised

QByteArray hash(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex();
}

} // namespace

qint64 SessionLog::now()
{
    QElapsedTimer timer;
    timer.start();
    return timer.msecsSinceReference();
}

SessionLog::Entry SessionLog::entryOfProject()
{
    Entry entry;
    entry.project = hash(projectBytes());
    const qint32 frame = g_state->currentFrame;
    g_state->currentFrame = 0;
    entry.annotation = hash(projectBytes());
    g_state->currentFrame = frame;
    entry.time = now();
    return entry;
}

void SessionLog::append(QFile &log, const Entry &entry)
{
    const QByteArray line = QByteArray::number(entry.time) + ' ' + entry.project + ' ' + entry.annotation +
                            (entry.isSaved ? " saved\n" : " edited\n");
    if (log.write(line) != line.size() || !log.flush())
        qFatal("cannot write the log of the session");
}

QVector<SessionLog::Entry> SessionLog::read(const QString &path)
{
    QVector<Entry> entries;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return entries;
    for (const QByteArray &line : file.readAll().split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() == 4)
            entries.append({fields.at(0).toLongLong(), fields.at(1), fields.at(2), fields.at(3) == "saved"});
    }
    return entries;
}

Recovery::Times SessionLog::times(int factor)
{
    const Recovery::Times real;
    return {real.afterChange / factor, real.whileChanging / factor};
}

int SessionLog::limit(int factor)
{
    return statedLimit / factor;
}
