// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QPointF>
#include <QPolygonF>

/// The rules of adding and removing single vertices of an outline. Coordinates are image pixels, y grows
/// downwards; the closing edge is implied. None of these fails.
namespace OutlineEdit
{

/// The outline with `point` as a further vertex: at the end of an outline of up to two vertices, inside the
/// nearest edge of a longer one. A triangle that comes out clockwise is turned round.
QPolygonF withVertex(QPolygonF outline, QPointF point);

/// The outline without the vertex nearest to `point`; an outline of at most one vertex as it is.
QPolygonF withoutNearestVertex(QPolygonF outline, QPointF point);

/// A clockwise triangle P0, P1, P2 as P0, P2, P1; any other outline as it is.
QPolygonF withTriangleTurned(const QPolygonF &outline);

/// Index of the vertex nearest to `point`, the lowest one of several as near; -1 for an outline without
/// vertices.
int nearestVertex(const QPolygonF &outline, QPointF point);

/// Index at which `point` becomes a vertex of `outline` (three or more vertices): inside the edge nearest to
/// it. Where a shared vertex is nearest, the angle there decides between its two edges.
int insertionIndex(const QPolygonF &outline, QPointF point);

} // namespace OutlineEdit
