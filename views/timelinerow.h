// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "views/timelinegeometry.h"

#include <QList>
#include <QPoint>
#include <QPointer>
#include <QVector>

#include <vector>

class FrameSpan;
class FrameSpanGraphicsItem;
class ItemBlock;
class KeyFrame;
class KeyFrameGraphicsItem;
class QGraphicsScene;
class TrackedObject;

/// What the time line's body holds of one object: a curve per frame span and a marker per key frame.
class TimeLineRow
{
public:
    /// Of an object's first frames, as many as `frameCount` says and the object has.
    TimeLineRow(QGraphicsScene *scene, TrackedObject *object, const TimeLineGeometry &geometry,
                int frameCount);

    /// Whether it was made for this object, with so many frames.
    bool isOf(const TrackedObject *object, int frameCount) const;

    int frameCount() const { return m_heights.size(); }

    /// Puts the row in front of those of lower rank, its curves behind all markers.
    void setRank(int rank);
    /// Makes, places and styles the markers of one block of columns. `heights` holds the y of each in scene
    /// pixels. Returns whether there are others than before.
    bool updateMarkers(int block, const int *heights);
    /// Makes, places, styles and takes away curves; the markers are in their places. Returns whether there
    /// are others than before.
    bool updateCurves();
    /// Takes all items out of the scene, to be deleted later.
    void discard();

    void appendMarkers(QList<KeyFrameGraphicsItem *> &list) const;
    void appendCurves(QList<FrameSpanGraphicsItem *> &list) const;

private:
    struct Curve {
        QPointer<FrameSpan> span;
        int startFrame = 0;
        QPoint start; // scene pixels
        QPoint end;
        FrameSpanGraphicsItem *item = nullptr;

        bool leadsLike(const Curve &other) const;
        bool startsLike(const Curve &other) const;
        int block() const;
    };

    int blockEnd(int block) const;
    void makeMarkers(int block, const int *heights);
    static bool updateMarker(KeyFrameGraphicsItem *marker, KeyFrame *keyFrame);
    void fitMarkers(int block);
    std::vector<Curve> wantedCurves() const;
    bool replaceCurves(std::vector<Curve> wanted, size_t first, size_t behind);
    void makeCurveBlocks();
    void makeCurve(size_t index);
    void fitCurves();

    QGraphicsScene *m_scene;
    QPointer<TrackedObject> m_object;
    TimeLineGeometry m_geometry;
    int m_rank = -1;
    QVector<int> m_heights;              // of the markers
    QVector<ItemBlock *> m_markerBlocks; // null until made; the markers inside stand in their frames' order
    std::vector<Curve> m_curves;
    QVector<ItemBlock *> m_curveBlocks; // by the column of a curve's start; null until made
};
