// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QMap>
#include <QPair>
#include <QPolygonF>

class DataState;

/// Fills the frames between annotated frames of the current object with interpolated polygons.
class Morph
{
public:
    explicit Morph(DataState *state);

    /// Morphs every visible or occluded span of the current object that lies within the frames `first` to
    /// `last` (inclusive, from 0; -1 = last frame of the video). The inner frames become automatic, whatever
    /// they held. Does nothing without a current object.
    void linearMorphing(int first, int last);

    /// First and last frames of the spans to morph; the pair (-1, -1) alone when there is none. A span with
    /// an outline at one end only gets a copy of it, as automatic key frame, at the other.
    QList<QPair<int, int>> getFramePairs(int first, int last);

    /// `count` polygons that blend `from` into `to`, both ends left out. Empty ones if an outline is empty.
    QList<QPolygonF> getMorphedPolygons(QPolygonF from, QPolygonF to, int count);

    /// For every vertex index of `p` the nearest point of the outline `q`, as edge index plus fraction. The
    /// end of the last edge is the number of vertices, not 0.
    QMap<double, double> assign(QPolygonF p, QPolygonF q);

    /// The point of the outline at edge index plus fraction; the origin for an empty outline.
    QPointF pointFromAssignment(QPolygonF polygon, double parameter);

private:
    struct Correspondences;
    /// Points of two outlines that go with each other.
    struct PointPairs {
        QPolygonF from;
        QPolygonF to;
    };

    PointPairs merged(const QPolygonF &a, Correspondences listA, const QPolygonF &b, Correspondences listB);
    static QList<QPolygonF> blended(const PointPairs &pairs, int count);

    DataState *m_state;
};
