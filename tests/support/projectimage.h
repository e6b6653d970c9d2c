// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QPolygonF>
#include <QString>
#include <QVector>

#include <optional>

/// Puts values into bytes the way project files hold them: integers and doubles with the highest byte first.
class ByteBuilder
{
public:
    ByteBuilder &u32(quint32 value);
    ByteBuilder &i32(qint32 value);
    ByteBuilder &real(double value);
    /// Length in bytes, then UTF-16 code units. `length` replaces the stated length, not the characters.
    ByteBuilder &string(const QString &text, std::optional<quint32> length = {});
    /// Number of points, then their x and y. `count` replaces the stated number, not the points.
    ByteBuilder &polygon(const QPolygonF &polygon, std::optional<quint32> count = {});

    QByteArray bytes;
};

/// A project file assembled field by field, without the code of the program. Every field can be made wrong.
struct ProjectImage {
    struct KeyFrameRecord {
        qint32 frame = 0;
        qint32 type = 0;
        QPolygonF polygon;
        qint32 zOrder = 0;
        std::optional<quint32> pointCount;
    };
    struct SpanRecord {
        qint32 type = 0;
        qint32 start = 0;
        qint32 end = 0;
    };
    struct ObjectRecord {
        QString name;
        qint32 id = 0;
        QVector<KeyFrameRecord> keyFrames;
        QVector<SpanRecord> spans;
        std::optional<quint32> nameLength;
    };

    QString videoName = QStringLiteral("clip.avi");
    QString version = QStringLiteral("0.0.5");
    qint32 frameCount = 0;
    qint32 width = 640;
    qint32 height = 480;
    QString stateVersion = QStringLiteral("0.0.5");
    qint32 currentFrame = 0;
    std::optional<qint32> objectCount;
    QVector<ObjectRecord> objects;
    qint32 nextId = 0;
    std::optional<quint32> versionLength;
    std::optional<quint32> stateVersionLength;

    explicit ProjectImage(int frames);

    /// An object without annotation: one hidden span over the video (none at all for a single frame).
    ObjectRecord &addObject(const QString &name, qint32 id);

    /// The whole file.
    QByteArray bytes() const;
    /// The project state alone, without the four items in front of it.
    QByteArray stateBytes() const;
    /// One object.
    static QByteArray objectBytes(const ObjectRecord &object);
};
