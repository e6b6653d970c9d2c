// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/functions.h"

#include <QLineF>

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{

constexpr double degreesPerRadian = 57.29577951308232;
constexpr double fullTurn = 6.283185307179586; // radians

constexpr double pointTolerance = 1e-12; // pixels per coordinate

/// Qt's polygon intersection crashes on coordinates that are not finite or absurdly large.
double tameCoordinate(double value)
{
    constexpr double greatest = 1e9; // pixels
    return std::isnan(value) ? 0 : std::clamp(value, -greatest, greatest);
}

bool almostEqual(QPointF a, QPointF b)
{
    return std::abs(a.x() - b.x()) <= pointTolerance && std::abs(a.y() - b.y()) <= pointTolerance;
}

// Qt's polygon intersection takes time with the cube of the crossings, of which an outline can have as many
// as its vertices squared. Outlines beyond these limits, as damaged projects have them, are cut edge by edge.
constexpr int mostVertices = 10000;
constexpr int mostCrossings = 5000;

/// On which side of the line from `a` to `b` a point lies, as the sign of the result.
double sideOf(QPointF a, QPointF b, QPointF p)
{
    return (b.x() - a.x()) * (p.y() - a.y()) - (b.y() - a.y()) * (p.x() - a.x());
}

bool meet(const QLineF &a, const QLineF &b)
{
    if (std::max(a.y1(), a.y2()) < std::min(b.y1(), b.y2()) ||
        std::max(b.y1(), b.y2()) < std::min(a.y1(), a.y2()))
        return false;
    return sideOf(a.p1(), a.p2(), b.p1()) * sideOf(a.p1(), a.p2(), b.p2()) <= 0 &&
           sideOf(b.p1(), b.p2(), a.p1()) * sideOf(b.p1(), b.p2(), a.p2()) <= 0;
}

/// The edges of both polygons, each from left to right, by their left ends.
std::vector<QLineF> sortedEdges(const QPolygonF &a, const QPolygonF &b)
{
    std::vector<QLineF> edges;
    for (const QPolygonF &polygon : {a, b}) {
        for (int i = 0; i < polygon.size(); ++i) {
            const QLineF edge(polygon.at(i), polygon.at((i + 1) % polygon.size()));
            edges.push_back(edge.x1() <= edge.x2() ? edge : QLineF(edge.p2(), edge.p1()));
        }
    }
    std::sort(edges.begin(), edges.end(), [](const QLineF &e, const QLineF &f) { return e.x1() < f.x1(); });
    return edges;
}

/// Whether the edges of both polygons meet too often for their intersection to be found soon. Edges that
/// follow each other meet, too.
bool areTangled(const QPolygonF &a, const QPolygonF &b)
{
    const int count = a.size() + b.size();
    if (count > mostVertices)
        return true;
    if (count * (count - 1) / 2 <= mostCrossings)
        return false;
    const std::vector<QLineF> edges = sortedEdges(a, b);
    int meetings = 0;
    for (auto edge = edges.begin(); edge != edges.end(); ++edge) {
        for (auto other = edge + 1; other != edges.end() && other->x1() <= edge->x2(); ++other)
            meetings += meet(*edge, *other);
        if (meetings > mostCrossings + count)
            return true;
    }
    return false;
}

/// The part of a polygon to the left of the line from `a` to `b`, as the y axis points down. Where it falls
/// into several parts they stay joined by edges on the line (Sutherland and Hodgman, "Reentrant polygon
/// clipping", 1974).
QPolygonF leftOf(const QPolygonF &polygon, QPointF a, QPointF b)
{
    QPolygonF left;
    for (int i = 0; i < polygon.size(); ++i) {
        const QPointF start = polygon.at(i);
        const QPointF end = polygon.at((i + 1) % polygon.size());
        const double startSide = sideOf(a, b, start);
        const double endSide = sideOf(a, b, end);
        if (startSide >= 0)
            left.append(start);
        if ((startSide > 0 && endSide < 0) || (startSide < 0 && endSide > 0))
            left.append(start + (end - start) * (startSide / (startSide - endSide)));
    }
    return left;
}

QPolygonF cutEdgeByEdge(QPolygonF polygon, const QPolygonF &corners)
{
    for (int i = 0; i < corners.size(); ++i)
        polygon = leftOf(polygon, corners.at(i), corners.at((i + 1) % corners.size()));
    const QRectF box = corners.boundingRect();
    for (QPointF &p : polygon) // where an edge is a billion pixels long, its cut is a hair beside the line
        p = QPointF(std::clamp(p.x(), box.left(), box.right()), std::clamp(p.y(), box.top(), box.bottom()));
    return polygon;
}

} // namespace

bool Functions::isCounterClockwise(QPolygonF poly)
{
    double sum = 0;
    for (int i = 0; i < poly.size(); ++i) {
        const QPointF &p = poly.at(i);
        const QPointF &next = poly.at((i + 1) % poly.size());
        sum += (p.y() + next.y()) * (next.x() - p.x());
    }
    return sum >= 0;
}

double Functions::triangleAngleCFromSidesABC(double a, double b, double c)
{
    return std::acos((a * a + b * b - c * c) / (2 * a * b));
}

double Functions::vecLength(QPointF v)
{
    return std::sqrt(v.x() * v.x() + v.y() * v.y());
}

double Functions::degAngleCounterClockwise(QPointF v1, QPointF v2)
{
    double turn = std::atan2(v1.y(), v1.x()) - std::atan2(v2.y(), v2.x());
    if (turn < 0)
        turn += fullTurn;
    if (turn >= fullTurn) // a hair below zero rounds up to it, and so do the two signs of zero
        turn = 0;
    return turn * degreesPerRadian;
}

double Functions::vecLengthSquared(QPointF v)
{
    // The way through the root is kept: the last bits differ from the plain sum of squares.
    const double length = vecLength(v);
    return length * length;
}

double Functions::distance(QPointF p1, QPointF p2)
{
    return vecLength(p1 - p2);
}

double Functions::dot(QPointF v1, QPointF v2)
{
    return v1.x() * v2.x() + v1.y() * v2.y();
}

double Functions::distToLine(QPointF p, QPointF a, QPointF b)
{
    const double area =
        std::abs((b.y() - a.y()) * p.x() - (b.x() - a.x()) * p.y() + b.x() * a.y() - b.y() * a.x());
    return area / distance(a, b);
}

double Functions::distToLineSegment(QPointF p, QPointF a, QPointF b)
{
    const QPointF d = b - a;
    const double lengthSquared = vecLengthSquared(d);
    if (lengthSquared == 0)
        return distance(p, a);
    const double t = dot(p - a, d) / lengthSquared;
    if (t < 0)
        return distance(p, a);
    if (t > 1)
        return distance(p, b);
    return distance(p, a + t * d);
}

std::vector<cv::Point> Functions::getOpenCvPolygon(QPolygonF poly)
{
    std::vector<cv::Point> points;
    points.reserve(static_cast<std::size_t>(poly.size()));
    for (const QPointF &p : qAsConst(poly))
        points.emplace_back(roundToInt(p.x()), roundToInt(p.y()));
    return points;
}

QPolygonF Functions::getQPolygonF(std::vector<cv::Point> pts)
{
    QPolygonF polygon;
    polygon.reserve(static_cast<int>(pts.size()));
    for (const cv::Point &p : pts)
        polygon.append(QPointF(p.x, p.y));
    return polygon;
}

QPolygonF Functions::transformPolygonAffine(QPolygonF poly, Eigen::Affine2d t)
{
    const Eigen::Matrix3d &m = t.matrix();
    QPolygonF transformed;
    transformed.reserve(poly.size());
    for (const QPointF &p : qAsConst(poly)) {
        transformed.append(QPointF(m(0, 0) * p.x() + m(0, 1) * p.y() + m(0, 2),
                                   m(1, 0) * p.x() + m(1, 1) * p.y() + m(1, 2)));
    }
    return transformed;
}

int Functions::roundToInt(double value)
{
    constexpr double least = std::numeric_limits<int>::min();
    constexpr double greatest = std::numeric_limits<int>::max();
    if (std::isnan(value))
        return 0;
    return static_cast<int>(std::clamp(std::round(value), least, greatest));
}

QPolygonF Functions::clippedToRect(QPolygonF poly, QRectF rect)
{
    for (QPointF &p : poly)
        p = QPointF(tameCoordinate(p.x()), tameCoordinate(p.y()));
    const QPolygonF corners({rect.topLeft(), rect.topRight(), rect.bottomRight(), rect.bottomLeft()});
    if (areTangled(poly, corners))
        return rect.isEmpty() ? QPolygonF() : cutEdgeByEdge(poly, corners);
    QPolygonF clipped = poly.intersected(corners);
    if (clipped.size() > 1 && almostEqual(clipped.first(), clipped.last()))
        clipped.removeLast(); // the intersection is a closed ring
    return clipped;
}

QPointF Functions::clampToFrame(QPointF p, QRectF bounds)
{
    return QPointF(std::min(std::max(p.x(), bounds.x()), bounds.width()),
                   std::min(std::max(p.y(), bounds.y()), bounds.height()));
}
