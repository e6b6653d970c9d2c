// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QPolygonF>
#include <QSize>
#include <QString>

#include <vector>

class QDataStream;

/// What a project file holds, as plain values: the floor of reading and writing one.
struct PlainProject {
    struct KeyFrame {
        qint32 frame = 0;
        qint32 type = 0;
        QPolygonF polygon;
        qint32 zOrder = 0;
    };
    struct Span {
        qint32 type = 0;
        qint32 start = 0;
        qint32 end = 0;
    };
    struct Object {
        QString name;
        qint32 id = 0;
        std::vector<KeyFrame> keyFrames;
        std::vector<Span> spans;
    };

    QString videoName;
    QString fileVersion;
    qint32 frameCount = 0;
    QSize frameSize;
    QString stateVersion;
    qint32 currentFrame = 0;
    std::vector<Object> objects;
    qint32 nextId = 0;

    void write(QDataStream &stream) const;
    /// Takes every value as it stands.
    void read(QDataStream &stream);
    /// Reads the file at `path`; false when there is none or it is too short.
    bool load(const QString &path);
};
