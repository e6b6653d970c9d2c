// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/projectimage.h"

#include <cstring>

ByteBuilder &ByteBuilder::u32(quint32 value)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.append(static_cast<char>((value >> shift) & 0xff));
    return *this;
}

ByteBuilder &ByteBuilder::i32(qint32 value)
{
    return u32(static_cast<quint32>(value));
}

ByteBuilder &ByteBuilder::real(double value)
{
    quint64 bits = 0;
    static_assert(sizeof bits == sizeof value, "doubles have 64 bits");
    std::memcpy(&bits, &value, sizeof bits);
    u32(static_cast<quint32>(bits >> 32));
    return u32(static_cast<quint32>(bits & 0xffffffffU));
}

ByteBuilder &ByteBuilder::string(const QString &text, std::optional<quint32> length)
{
    u32(length.value_or(text.isNull() ? 0xffffffffU : static_cast<quint32>(text.size()) * 2));
    for (const QChar unit : text) {
        bytes.append(static_cast<char>(unit.unicode() >> 8));
        bytes.append(static_cast<char>(unit.unicode() & 0xff));
    }
    return *this;
}

ByteBuilder &ByteBuilder::polygon(const QPolygonF &polygon, std::optional<quint32> count)
{
    u32(count.value_or(static_cast<quint32>(polygon.size())));
    for (const QPointF &point : polygon)
        real(point.x()).real(point.y());
    return *this;
}

ProjectImage::ProjectImage(int frames)
    : frameCount(frames)
{
}

ProjectImage::ObjectRecord &ProjectImage::addObject(const QString &name, qint32 id)
{
    ObjectRecord object;
    object.name = name;
    object.id = id;
    for (int frame = 0; frame < frameCount; ++frame) {
        KeyFrameRecord key;
        key.frame = frame;
        key.zOrder = id;
        object.keyFrames.append(key);
    }
    if (frameCount > 1)
        object.spans.append({0, 0, frameCount - 1});
    objects.append(object);
    nextId = qMax(nextId, id + 1);
    return objects.last();
}

QByteArray ProjectImage::bytes() const
{
    ByteBuilder file;
    file.string(videoName).string(version, versionLength).i32(frameCount).i32(width).i32(height);
    return file.bytes + stateBytes();
}

QByteArray ProjectImage::stateBytes() const
{
    ByteBuilder state;
    state.string(stateVersion, stateVersionLength)
        .i32(currentFrame)
        .i32(objectCount.value_or(objects.size()));
    for (const ObjectRecord &object : objects)
        state.bytes += objectBytes(object);
    state.i32(nextId);
    return state.bytes;
}

QByteArray ProjectImage::objectBytes(const ObjectRecord &object)
{
    ByteBuilder builder;
    builder.string(object.name, object.nameLength).i32(object.id);
    for (const KeyFrameRecord &key : object.keyFrames)
        builder.i32(key.frame).i32(key.type).polygon(key.polygon, key.pointCount).i32(key.zOrder);
    for (const SpanRecord &span : object.spans)
        builder.i32(span.type).i32(span.start).i32(span.end);
    return builder.bytes;
}
