// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "Models/framespan.h"
#include "Models/keyframe.h"

#include <QPolygonF>
#include <QSize>
#include <QString>
#include <QVector>

class DataState;
class TrackedObject;

/// One key frame as it stood. The polygon is shared, not copied.
struct FrameSnapshot {
    QPolygonF polygon;
    qint32 zOrder = 0;
    KeyFrame::Type type = KeyFrame::None;
};

/// One frame span as it stood.
struct SpanSnapshot {
    FrameSpan::Type type = FrameSpan::Hidden;
    qint32 start = 0;
    qint32 end = 0;

    bool operator==(const SpanSnapshot &other) const
    {
        return type == other.type && start == other.start && end == other.end;
    }
    bool operator!=(const SpanSnapshot &other) const { return !(*this == other); }
};

/// The chain of spans of an object as it stood.
struct ChainSnapshot {
    ChainSnapshot() = default;
    explicit ChainSnapshot(const TrackedObject &object);

    /// The spans in order, every one of them.
    QVector<SpanSnapshot> spans;
    /// Index in `spans` of the one that the last frame's entry names, which need not be the last one.
    int lastEntry = 0;

    bool operator==(const ChainSnapshot &other) const
    {
        return lastEntry == other.lastEntry && spans == other.spans;
    }
    bool operator!=(const ChainSnapshot &other) const { return !(*this == other); }
};

/// An object as it stood. Copies share everything and are cheap, also where one of them is changed later.
class ObjectSnapshot
{
public:
    ObjectSnapshot() = default;
    explicit ObjectSnapshot(const TrackedObject &object);

    int frameCount() const { return m_frameCount; }
    const FrameSnapshot &frame(int number) const
    {
        return m_blocks.at(number / blockSize).at(number % blockSize);
    }
    void setFrame(int number, const FrameSnapshot &frame);

    QString name;
    qint32 id = 0;
    ChainSnapshot chain;

private:
    static constexpr int blockSize = 256; // frames that are copied where one of them changes

    QVector<QVector<FrameSnapshot>> m_blocks;
    int m_frameCount = 0;
};

/// Everything that stands in a project file, as it stood. May be read on any thread.
struct ProjectSnapshot {
    ProjectSnapshot() = default;
    /// `state` must have a video. The objects are left to the caller.
    explicit ProjectSnapshot(const DataState &state);

    QString videoName;
    qint32 frameCount = 0;
    QSize frameSize;
    QString version;
    qint32 currentFrame = 0;
    QVector<ObjectSnapshot> objects;
    qint32 nextId = 0;
};
