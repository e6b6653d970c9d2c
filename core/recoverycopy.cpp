// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/recoverycopy.h"

#include "Models/projectfile.h"

#include <QDataStream>
#include <QFile>

namespace
{

constexpr int streamVersion = QDataStream::Qt_5_2;
constexpr quint64 magic = 0x50414C55434F5059; // "PALUCOPY"
constexpr qint64 footerSize = 16;             // bytes: magic number, position
constexpr qint64 mostDetails = 65536;         // bytes: two paths and a time

/// Where the second part starts; -1 if the file does not end in a footer that can be right.
qint64 detailsPosition(QFile &file)
{
    const qint64 end = file.size() - footerSize;
    if (end <= 0 || !file.seek(end))
        return -1;
    QDataStream stream(&file);
    quint64 found = 0;
    qint64 position = -1;
    stream >> found >> position;
    const bool fits = found == magic && position > 0 && position < end && end - position <= mostDetails;
    return fits ? position : -1;
}

bool startsWithProject(QFile &file)
{
    QDataStream stream(&file);
    return file.seek(0) && ProjectFile::readVideoName(stream) != QLatin1String("error.error");
}

bool readDetails(QFile &file, qint64 position, RecoveryCopy &copy)
{
    if (!file.seek(position))
        return false;
    const QByteArray bytes = file.read(file.size() - footerSize - position);
    QDataStream stream(bytes);
    stream.setVersion(streamVersion);
    qint64 changed = 0; // milliseconds since 1970
    stream >> copy.videoPath >> copy.projectPath >> changed;
    copy.changed = QDateTime::fromMSecsSinceEpoch(changed);
    return stream.status() == QDataStream::Ok && stream.atEnd() && !copy.videoPath.isEmpty();
}

} // namespace

bool RecoveryCopy::appendTo(QIODevice &device) const
{
    const qint64 position = device.pos();
    QDataStream stream(&device);
    stream.setVersion(streamVersion);
    stream << videoPath << projectPath << changed.toMSecsSinceEpoch() << magic << position;
    return stream.status() == QDataStream::Ok;
}

std::optional<RecoveryCopy> RecoveryCopy::read(const QString &path)
{
    QFile file(path);
    RecoveryCopy copy;
    copy.path = path;
    if (!file.open(QIODevice::ReadOnly) || file.isSequential())
        return std::nullopt;
    const qint64 position = detailsPosition(file);
    if (position == -1 || !readDetails(file, position, copy) || !startsWithProject(file))
        return std::nullopt;
    return copy;
}
