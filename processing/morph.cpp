// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/morph.h"

#include "core/datastate.h"
#include "processing/functions.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{

const QPair<int, int> nothingToMorph(-1, -1);

QPointF boxCentre(const QPolygonF &polygon)
{
    const QRectF box = polygon.boundingRect();
    return QPointF(box.left() + box.width() * 0.5, box.top() + box.height() * 0.5);
}

/// `value` cut to a whole number and to the range of the result; 0 for NaN.
qint64 wholePart(double value)
{
    constexpr double greatest = 9e18;
    return std::isnan(value) ? 0 : static_cast<qint64>(std::clamp(value, -greatest, greatest));
}

/// Twice the signed area with the running sum cut to a whole number after every edge; other than
/// Functions::isCounterClockwise(), on purpose.
qint64 wholeSignedArea(const QPolygonF &polygon)
{
    qint64 sum = 0;
    for (int i = 0; i < polygon.size(); ++i) {
        const QPointF p = polygon.at(i);
        const QPointF next = polygon.at((i + 1) % polygon.size());
        sum = wholePart(static_cast<double>(sum) + (next.x() - p.x()) * (p.y() + next.y()));
    }
    return sum;
}

QPolygonF oriented(QPolygonF polygon)
{
    if (wholeSignedArea(polygon) < 0)
        std::reverse(polygon.begin(), polygon.end());
    return polygon;
}

/// Drops the pairings of `other` that a vertex-to-vertex pairing of `map` already stands for.
void removeTwins(const QMap<double, double> &map, QMap<double, double> &other)
{
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        const double parameter = it.value();
        if (static_cast<int>(std::floor(parameter)) == parameter)
            other.remove(parameter);
    }
}

int indexOfSmallest(const QList<double> &values)
{
    return static_cast<int>(std::min_element(values.cbegin(), values.cend()) - values.cbegin());
}

/// Raises, in a cyclic walk from the smallest value on, every value that is below the one before it, so that
/// no two correspondences cross. Returns the index of the smallest value, 0 for an empty list.
int repairMonotony(QList<double> &values)
{
    if (values.isEmpty())
        return 0;
    const int smallest = indexOfSmallest(values);
    for (int step = 1; step < values.size(); ++step) {
        const double before = values.at((smallest + step - 1) % values.size());
        double &value = values[(smallest + step) % values.size()];
        if (value < before)
            value = before;
    }
    return smallest;
}

void rotateLeft(QList<double> &values, int count)
{
    std::rotate(values.begin(), values.begin() + count, values.end());
}

} // namespace

/// Vertices of one outline, each with the point of the other outline that it goes with.
struct Morph::Correspondences {
    QList<double> keys;   ///< vertex indices, ascending
    QList<double> values; ///< outline parameters on the other outline

    explicit Correspondences(const QMap<double, double> &map)
        : keys(map.keys())
        , values(map.values())
    {
    }
    bool isEmpty() const { return keys.isEmpty(); }
};

Morph::Morph(DataState *state)
    : m_state(state)
{
}

void Morph::linearMorphing(int first, int last)
{
    const TrackedObject *object = m_state->getCurrentObject();
    if (!object)
        return;
    if (last == -1)
        last = m_state->video->frameCount - 1;
    for (const QPair<int, int> &pair : getFramePairs(first, last)) {
        if (pair.first == -1 || pair.second == -1)
            continue;
        const QList<QPolygonF> polygons = getMorphedPolygons(
            object->keyFrames.at(pair.first)->polygonSnapshot(),
            object->keyFrames.at(pair.second)->polygonSnapshot(), pair.second - pair.first - 1);
        for (int i = 0; i < polygons.size(); ++i) {
            KeyFrame *keyFrame = object->keyFrames.at(pair.first + 1 + i);
            keyFrame->annotate(polygons.at(i), KeyFrame::Automatic);
        }
    }
}

QList<QPair<int, int>> Morph::getFramePairs(int first, int last)
{
    QList<QPair<int, int>> pairs;
    const TrackedObject *object = m_state->getCurrentObject();
    if (!object)
        return {nothingToMorph};
    for (const FrameSpan *span : object->getFrameSpans()) {
        if (span->type != FrameSpan::Hidden && span->start >= first && span->end <= last)
            pairs.append(qMakePair(span->start, span->end));
    }
    for (const QPair<int, int> &pair : qAsConst(pairs)) {
        KeyFrame *start = object->keyFrames.at(pair.first);
        KeyFrame *end = object->keyFrames.at(pair.second);
        const QPolygonF startPolygon = start->polygonSnapshot();
        const QPolygonF endPolygon = end->polygonSnapshot();
        if (startPolygon.isEmpty() == endPolygon.isEmpty())
            continue;
        KeyFrame *bare = startPolygon.isEmpty() ? start : end;
        bare->annotate(startPolygon.isEmpty() ? endPolygon : startPolygon, KeyFrame::Automatic);
    }
    if (pairs.isEmpty())
        pairs.append(nothingToMorph);
    return pairs;
}

QList<QPolygonF> Morph::getMorphedPolygons(QPolygonF from, QPolygonF to, int count)
{
    if (from.isEmpty() || to.isEmpty())
        return blended(PointPairs(), count);

    const QPointF offset = boxCentre(to) - boxCentre(from);
    const QPolygonF a = oriented(from.translated(offset));
    const QPolygonF b = oriented(to);

    QMap<double, double> mapAB = assign(a, b);
    QMap<double, double> mapBA = assign(b, a);
    removeTwins(mapAB, mapBA);
    removeTwins(mapBA, mapAB);

    Correspondences listA(mapAB);
    Correspondences listB(mapBA);
    repairMonotony(listA.values); // the keys are in order already, so that nothing needs rotating here
    const int smallestB = repairMonotony(listB.values);
    rotateLeft(listB.keys, smallestB);
    rotateLeft(listB.values, smallestB);

    PointPairs pairs = merged(a, listA, b, listB);
    pairs.from.translate(-offset);
    return blended(pairs, count);
}

/// The vertices of both outlines in the order of `a`, each with its point on the other one.
Morph::PointPairs Morph::merged(const QPolygonF &a, Correspondences listA, const QPolygonF &b,
                                Correspondences listB)
{
    PointPairs pairs;
    while (!listA.isEmpty() || !listB.isEmpty()) {
        const bool takeB =
            listA.isEmpty() || (!listB.isEmpty() && listB.values.first() <= listA.keys.first());
        if (takeB) {
            pairs.from.append(pointFromAssignment(a, listB.values.takeFirst()));
            pairs.to.append(pointFromAssignment(b, listB.keys.takeFirst()));
        } else {
            pairs.from.append(pointFromAssignment(a, listA.keys.takeFirst()));
            pairs.to.append(pointFromAssignment(b, listA.values.takeFirst()));
        }
    }
    return pairs;
}

QList<QPolygonF> Morph::blended(const PointPairs &pairs, int count)
{
    QList<QPolygonF> polygons;
    for (int k = 1; k <= count; ++k) {
        const double weight = static_cast<double>(k) / (count + 1);
        QPolygonF polygon;
        polygon.reserve(pairs.from.size());
        for (int i = 0; i < pairs.from.size(); ++i)
            polygon.append(pairs.from.at(i) + (pairs.to.at(i) - pairs.from.at(i)) * weight);
        polygons.append(polygon);
    }
    return polygons;
}

QMap<double, double> Morph::assign(QPolygonF p, QPolygonF q)
{
    QMap<double, double> nearest;
    for (int i = 0; i < p.size(); ++i) {
        const QPointF vertex = p.at(i);
        double best = std::numeric_limits<double>::max();
        double parameter = 0;
        for (int j = 0; j < q.size(); ++j) {
            const QPointF a = q.at(j);
            const QPointF d = q.at((j + 1) % q.size()) - a;
            const double length = Functions::vecLength(d);
            // Not a number on an edge without length, which is therefore never taken.
            double t =
                ((vertex.x() - a.x()) * (d.x() / length) + (vertex.y() - a.y()) * (d.y() / length)) / length;
            if (t <= 0)
                t = 0;
            else if (t >= 1)
                t = 1;
            const double distance = Functions::distance(vertex, a + t * d);
            if (distance < best) {
                best = distance;
                parameter = j + t;
            }
        }
        nearest.insert(i, parameter);
    }
    return nearest;
}

QPointF Morph::pointFromAssignment(QPolygonF polygon, double parameter)
{
    if (polygon.isEmpty())
        return QPointF();
    const int edge = static_cast<int>(std::floor(parameter));
    const QPointF start = polygon.at(edge % polygon.size());
    const QPointF end = polygon.at((edge + 1) % polygon.size());
    return start + (end - start) * (parameter - edge);
}
