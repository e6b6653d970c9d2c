// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "benchmarks/support/plainproject.h"

#include <QDataStream>
#include <QFile>

namespace
{

void readObject(QDataStream &stream, PlainProject::Object &object, int frameCount)
{
    stream >> object.name >> object.id;
    object.keyFrames.resize(std::size_t(frameCount));
    for (PlainProject::KeyFrame &keyFrame : object.keyFrames)
        stream >> keyFrame.frame >> keyFrame.type >> keyFrame.polygon >> keyFrame.zOrder;
    PlainProject::Span span;
    while (span.end < frameCount - 1 && stream.status() == QDataStream::Ok) {
        stream >> span.type >> span.start >> span.end;
        object.spans.push_back(span);
    }
}

void writeObject(QDataStream &stream, const PlainProject::Object &object)
{
    stream << object.name << object.id;
    for (const PlainProject::KeyFrame &keyFrame : object.keyFrames)
        stream << keyFrame.frame << keyFrame.type << keyFrame.polygon << keyFrame.zOrder;
    for (const PlainProject::Span &span : object.spans)
        stream << span.type << span.start << span.end;
}

} // namespace

void PlainProject::write(QDataStream &stream) const
{
    stream.setVersion(QDataStream::Qt_5_2);
    stream << videoName << fileVersion << frameCount << frameSize << stateVersion << currentFrame
           << qint32(objects.size());
    for (const Object &object : objects)
        writeObject(stream, object);
    stream << nextId;
}

void PlainProject::read(QDataStream &stream)
{
    stream.setVersion(QDataStream::Qt_5_2);
    qint32 objectCount = 0;
    stream >> videoName >> fileVersion >> frameCount >> frameSize >> stateVersion >> currentFrame >>
        objectCount;
    objects.resize(std::size_t(objectCount));
    for (Object &object : objects)
        readObject(stream, object, frameCount);
    stream >> nextId;
}

bool PlainProject::load(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QDataStream stream(&file);
    read(stream);
    return stream.status() == QDataStream::Ok;
}
