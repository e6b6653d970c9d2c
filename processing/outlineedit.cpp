// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/outlineedit.h"

#include "processing/functions.h"

#include <cmath>
#include <limits>

namespace
{

constexpr double halfStep = 0.5; // keeps a position at an edge's end inside that edge
constexpr int triangle = 3;

/// Where a point lies on one edge of a polygon.
struct EdgePosition {
    double raw;      ///< projection parameter on the line, 0 at the edge's start and 1 at its end
    double clamped;  ///< the same, limited to the edge
    QPointF foot;    ///< nearest point of the edge
    double distance; ///< of the point from the foot, in pixels
};

EdgePosition positionOnEdge(QPointF start, QPointF end, QPointF point)
{
    const QPointF d = end - start;
    const double length = Functions::vecLength(d);
    EdgePosition position;
    position.raw = Functions::dot(point - start, d) / length / length;
    position.clamped = position.raw;
    if (position.raw <= 0)
        position.clamped = 0;
    else if (position.raw >= 1)
        position.clamped = 1;
    position.foot = start + position.clamped * d;
    position.distance = Functions::distance(point, position.foot);
    return position;
}

/// Edge index plus fraction, moved inside the edge where the fraction is 0 or 1.
double insidePosition(int edge, const EdgePosition &position)
{
    double value = edge + position.clamped;
    if (position.raw <= 0)
        value += halfStep;
    else if (position.raw >= 1)
        value -= halfStep;
    return value;
}

/// For a point nearest to the vertex that edge `i` shares with the best edge so far: does it belong to edge
/// i?
bool angleFavoursEdge(const QPolygonF &polygon, int i, const EdgePosition &position, QPointF point)
{
    const int count = polygon.size();
    const QPointF a = polygon.at(i);
    const QPointF b = polygon.at((i + 1) % count);
    const QPointF v = point - position.foot;
    double angle1 = 0;
    double angle2 = 0;
    if (position.clamped == 0) {
        const QPointF w = b - a;
        const QPointF q = polygon.at((i - 1 + count) % count) - position.foot;
        angle1 = Functions::degAngleCounterClockwise(v, w);
        angle2 = Functions::degAngleCounterClockwise(q, w);
    } else {
        const QPointF w = a - b;
        const QPointF q = polygon.at((i + 2) % count) - position.foot;
        angle1 = Functions::degAngleCounterClockwise(w, v);
        angle2 = Functions::degAngleCounterClockwise(w, q);
    }
    // Degrees against the number pi, as it stands.
    constexpr double leastAngle = 3.141592653589793;
    return !(angle2 < leastAngle) && angle2 * 0.5 > angle1;
}

} // namespace

QPolygonF OutlineEdit::withVertex(QPolygonF outline, QPointF point)
{
    if (outline.size() >= triangle)
        outline.insert(insertionIndex(outline, point), point);
    else
        outline = withTriangleTurned(outline << point);
    return outline;
}

QPolygonF OutlineEdit::withoutNearestVertex(QPolygonF outline, QPointF point)
{
    if (outline.size() > 1)
        outline.remove(nearestVertex(outline, point));
    return outline;
}

QPolygonF OutlineEdit::withTriangleTurned(const QPolygonF &outline)
{
    if (outline.size() != triangle || Functions::isCounterClockwise(outline))
        return outline;
    return QPolygonF({outline.at(0), outline.at(2), outline.at(1)});
}

int OutlineEdit::nearestVertex(const QPolygonF &outline, QPointF point)
{
    int nearest = outline.isEmpty() ? -1 : 0;
    double best = std::numeric_limits<double>::max();
    for (int i = 0; i < outline.size(); ++i) {
        const double distance = Functions::distance(outline.at(i), point);
        if (distance < best) {
            best = distance;
            nearest = i;
        }
    }
    return nearest;
}

int OutlineEdit::insertionIndex(const QPolygonF &outline, QPointF point)
{
    double best = std::numeric_limits<double>::max();
    double chosen = 0;
    for (int i = 0; i < outline.size(); ++i) {
        const EdgePosition position =
            positionOnEdge(outline.at(i), outline.at((i + 1) % outline.size()), point);
        if (position.distance < best) {
            best = position.distance;
            chosen = insidePosition(i, position);
        } else if (position.distance == best && (position.clamped == 0 || position.clamped == 1)) {
            if (angleFavoursEdge(outline, i, position, point))
                chosen = insidePosition(i, position);
        }
    }
    return static_cast<int>(std::floor(chosen)) + 1;
}
