// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/projectfields.h"

#include "core/datastate.h"

#include <QDataStream>

namespace
{

void write(QDataStream &stream, const KeyFrame &keyFrame)
{
    stream << keyFrame.frame << qint32(keyFrame.type) << keyFrame.polygon << keyFrame.zOrder;
}

void write(QDataStream &stream, const FrameSpan &span)
{
    stream << qint32(span.type) << span.start << span.end;
}

} // namespace

QByteArray projectFields(const DataState &state)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << state.version << TrackedObject::newID << state.objects.size();
    for (const TrackedObject *object : state.objects) {
        stream << quint64(reinterpret_cast<quintptr>(object)) << object->id << object->name << object->color;
        for (const KeyFrame *keyFrame : object->keyFrames)
            write(stream, *keyFrame);
        for (const FrameSpan *span : object->frameSpans)
            write(stream, *span);
    }
    return bytes;
}
