// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/outlineedit.h"

#include "tests/support/outlinerows.h"

#include <QRandomGenerator>
#include <QtTest>

#include <cmath>
#include <limits>

namespace
{

constexpr double pi = 3.141592653589793;

const QPointF p0(50, 50);
const QPointF p1(150, 150);
const QPolygonF square =
    polygonOf({QPointF(100, 100), QPointF(100, 200), QPointF(200, 200), QPointF(200, 100)});

/// Turn from v to u in degrees, in [0, 360).
double turn(QPointF u, QPointF v)
{
    double difference = std::atan2(u.y(), u.x()) - std::atan2(v.y(), v.x());
    if (difference < 0)
        difference += 6.283185307179586;
    return difference * 57.29577951308232;
}

/// The choice of the edge for a new vertex, step by step. `tie` tells whether an angle had to decide.
int modelInsertionIndex(const QPolygonF &P, QPointF s, bool *tie = nullptr)
{
    const int n = P.size();
    double best = std::numeric_limits<double>::max();
    double pos = 0;
    for (int i = 0; i < n; ++i) {
        const QPointF a = P[i];
        const QPointF b = P[(i + 1) % n];
        const double dx = b.x() - a.x();
        const double dy = b.y() - a.y();
        const double length = std::sqrt(dx * dx + dy * dy);
        const double t = ((s.x() - a.x()) * dx + (s.y() - a.y()) * dy) / length / length;
        const double tc = t <= 0 ? 0.0 : (t >= 1 ? 1.0 : t);
        const QPointF f(a.x() + tc * dx, a.y() + tc * dy);
        const double dist = std::sqrt((s.x() - f.x()) * (s.x() - f.x()) + (s.y() - f.y()) * (s.y() - f.y()));
        bool take = false;
        if (dist < best) {
            best = dist;
            take = true;
        } else if (dist == best && tc == 0) {
            const QPointF w = b - a;
            const QPointF q = P[(i - 1 + n) % n] - f;
            const double angle1 = turn(s - f, w);
            const double angle2 = turn(q, w);
            take = !(angle2 < pi) && angle2 * 0.5 > angle1;
            if (tie)
                *tie = true;
        } else if (dist == best && tc == 1) {
            const QPointF w = a - b;
            const QPointF q = P[(i + 2) % n] - f;
            const double angle1 = turn(w, s - f);
            const double angle2 = turn(w, q);
            take = !(angle2 < pi) && angle2 * 0.5 > angle1;
            if (tie)
                *tie = true;
        }
        if (take) {
            pos = i + tc;
            if (t <= 0)
                pos += 0.5;
            if (t >= 1)
                pos -= 0.5;
        }
    }
    return static_cast<int>(std::floor(pos)) + 1;
}

} // namespace

class TestOutlineEdit : public QObject
{
    Q_OBJECT

private slots:
    void theNearestEdgeTakesTheVertex_data();
    void theNearestEdgeTakesTheVertex();
    void theChoiceAgreesWithTheRuleOnRandomPolygons();
    void aVertexOnAVertexIsPlacedByTheAngles_data();
    void aVertexOnAVertexIsPlacedByTheAngles();
    void aClockwiseTriangleIsTurnedRound_data();
    void aClockwiseTriangleIsTurnedRound();
    void aVertexIsAppendedUpToThreeAndInsertedBeyond_data();
    void aVertexIsAppendedUpToThreeAndInsertedBeyond();
    void theNearestVertexIsTheLowestOfThose_data();
    void theNearestVertexIsTheLowestOfThose();
    void theLastVertexIsNotRemoved();
};

void TestOutlineEdit::theNearestEdgeTakesTheVertex_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<QPointF>("point");
    QTest::addColumn<int>("index");
    const QPolygonF small = polygonOf({QPointF(0, 0), QPointF(0, 10), QPointF(10, 10), QPointF(10, 0)});
    QTest::newRow("first edge, from inside") << small << QPointF(1, 5) << 1;
    QTest::newRow("first edge, from outside") << small << QPointF(-3, 5) << 1;
    QTest::newRow("second edge") << small << QPointF(5, 9) << 2;
    QTest::newRow("third edge") << small << QPointF(9, 4) << 3;
    QTest::newRow("closing edge") << small << QPointF(5, 1) << 4;
    QTest::newRow("as near to all edges") << small << QPointF(5, 5) << 1;
    QTest::newRow("as near to the second and third edge") << small << QPointF(8, 8) << 2;
    // Nearest to the corner (0,10): the turn from the second edge decides, half of 270 degrees.
    QTest::newRow("corner, on the second edge's side") << small << QPointF(-2, 15) << 2;
    QTest::newRow("corner, on the first edge's side") << small << QPointF(-5, 12) << 1;
    // Nearest to the corner (0,0), which the first edge and the closing edge share.
    QTest::newRow("first corner, on the closing edge's side") << small << QPointF(-2, -5) << 4;
    QTest::newRow("first corner, on the first edge's side") << small << QPointF(-5, -2) << 1;
    QTest::newRow("exactly on (0,10)") << small << QPointF(0, 10) << 2;
    QTest::newRow("exactly on (10,10)") << small << QPointF(10, 10) << 3;
    QTest::newRow("exactly on (10,0), the lower edge stays") << small << QPointF(10, 0) << 3;
    QTest::newRow("exactly on (0,0)") << small << QPointF(0, 0) << 4;
    // The angle at the middle vertex is measured in degrees and has to be at least the number pi.
    QTest::newRow("spike of 2.86 degrees, both tests fail")
        << polygonOf({QPointF(1599, 80), QPointF(0, 0), QPointF(100, 0)}) << QPointF(0, 0) << 1;
    QTest::newRow("spike of 3.18 degrees")
        << polygonOf({QPointF(1295, 72), QPointF(0, 0), QPointF(100, 0)}) << QPointF(0, 0) << 2;
    QTest::newRow("angle of 90 degrees")
        << polygonOf({QPointF(0, 50), QPointF(0, 0), QPointF(100, 0)}) << QPointF(0, 0) << 2;
    QTest::newRow("triangle, closing edge")
        << polygonOf({QPointF(0, 0), QPointF(10, 0), QPointF(5, 9)}) << QPointF(1, 5) << 3;
}

void TestOutlineEdit::theNearestEdgeTakesTheVertex()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(QPointF, point);
    QFETCH(int, index);
    QCOMPARE(OutlineEdit::insertionIndex(polygon, point), index);
    QCOMPARE(modelInsertionIndex(polygon, point), index);
}

void TestOutlineEdit::theChoiceAgreesWithTheRuleOnRandomPolygons()
{
    QRandomGenerator random(20260101);
    const auto coordinate = [&random](int least, int most) { return random.bounded(least, most + 1); };
    int ties = 0;
    for (int round = 0; round < 20000; ++round) {
        const bool coarse = round % 2; // a coarse grid brings exact ties, fractions the general case
        QPolygonF polygon;
        const int size = coordinate(3, 9);
        while (polygon.size() < size) {
            QPointF p(coordinate(0, 6), coordinate(0, 6));
            if (!coarse)
                p += QPointF(random.generateDouble(), random.generateDouble());
            const bool repeats = !polygon.isEmpty() &&
                                 (p == polygon.last() || (polygon.size() == size - 1 && p == polygon[0]));
            if (!repeats)
                polygon.append(p);
        }
        QPointF point(coordinate(-2, 8), coordinate(-2, 8));
        if (round % 3 == 0)
            point = polygon.at(random.bounded(size));
        bool tie = false;
        const int expected = modelInsertionIndex(polygon, point, &tie);
        ties += tie ? 1 : 0;
        QVERIFY(expected >= 1 && expected <= size);
        const int chosen = OutlineEdit::insertionIndex(polygon, point);
        if (chosen != expected) {
            qWarning() << polygon << point;
            QCOMPARE(chosen, expected);
        }
    }
    QVERIFY(ties > 1000);
}

void TestOutlineEdit::aVertexOnAVertexIsPlacedByTheAngles_data()
{
    addVertexOnVertexRows();
}

void TestOutlineEdit::aVertexOnAVertexIsPlacedByTheAngles()
{
    QFETCH(int, vertex);
    QFETCH(int, index);
    QCOMPARE(OutlineEdit::insertionIndex(square, square.at(vertex)), index);
}

void TestOutlineEdit::aClockwiseTriangleIsTurnedRound_data()
{
    QTest::addColumn<QPolygonF>("outline");
    QTest::addColumn<QPolygonF>("turned");
    const QPolygonF clockwise = polygonOf({p0, p1, QPointF(50, 150)});
    const QPolygonF counterClockwise = polygonOf({p0, QPointF(50, 150), p1});
    const QPolygonF line = polygonOf({p0, p1, QPointF(100, 100)});
    const QPolygonF clockwiseSquare = polygonOf({square.at(0), square.at(3), square.at(2), square.at(1)});
    QTest::newRow("clockwise") << clockwise << counterClockwise;
    QTest::newRow("counter-clockwise") << counterClockwise << counterClockwise;
    QTest::newRow("on one line") << line << line;
    QTest::newRow("two vertices") << polygonOf({p0, p1}) << polygonOf({p0, p1});
    QTest::newRow("four vertices") << clockwiseSquare << clockwiseSquare;
    QTest::newRow("none") << QPolygonF() << QPolygonF();
}

void TestOutlineEdit::aClockwiseTriangleIsTurnedRound()
{
    QFETCH(QPolygonF, outline);
    QFETCH(QPolygonF, turned);
    QCOMPARE(OutlineEdit::withTriangleTurned(outline), turned);
}

void TestOutlineEdit::aVertexIsAppendedUpToThreeAndInsertedBeyond_data()
{
    QTest::addColumn<QPolygonF>("outline");
    QTest::addColumn<QPointF>("point");
    QTest::addColumn<QPolygonF>("edited");
    const QPointF below(50, 150);
    const QPointF above(150, 50);
    QTest::newRow("first") << QPolygonF() << p0 << polygonOf({p0});
    QTest::newRow("second") << polygonOf({p0}) << p1 << polygonOf({p0, p1});
    QTest::newRow("third, counter-clockwise") << polygonOf({p0, p1}) << above << polygonOf({p0, p1, above});
    QTest::newRow("third, clockwise") << polygonOf({p0, p1}) << below << polygonOf({p0, below, p1});
    const QPolygonF clockwise = polygonOf({p0, p1, below});
    QTest::newRow("into a clockwise triangle, which stays")
        << clockwise << QPointF(100, 90) << polygonOf({p0, QPointF(100, 90), p1, below});
    QTest::newRow("into an edge of a square")
        << square << QPointF(90, 150)
        << polygonOf({square.at(0), QPointF(90, 150), square.at(1), square.at(2), square.at(3)});
}

void TestOutlineEdit::aVertexIsAppendedUpToThreeAndInsertedBeyond()
{
    QFETCH(QPolygonF, outline);
    QFETCH(QPointF, point);
    QFETCH(QPolygonF, edited);
    QCOMPARE(OutlineEdit::withVertex(outline, point), edited);
}

void TestOutlineEdit::theNearestVertexIsTheLowestOfThose_data()
{
    QTest::addColumn<QPolygonF>("outline");
    QTest::addColumn<QPointF>("point");
    QTest::addColumn<int>("index");
    QTest::newRow("on the first") << square << QPointF(100, 100) << 0;
    QTest::newRow("near the third") << square << QPointF(190, 180) << 2;
    QTest::newRow("near the last") << square << QPointF(190, 110) << 3;
    QTest::newRow("as near to all four") << square << QPointF(150, 150) << 0;
    QTest::newRow("as near to the third and fourth") << square << QPointF(190, 150) << 2;
    QTest::newRow("the only one") << polygonOf({p0}) << p1 << 0;
    QTest::newRow("none") << QPolygonF() << p1 << -1;
    QTest::newRow("nowhere") << square << QPointF(std::nan(""), 0) << 0;
}

void TestOutlineEdit::theNearestVertexIsTheLowestOfThose()
{
    QFETCH(QPolygonF, outline);
    QFETCH(QPointF, point);
    QFETCH(int, index);
    QCOMPARE(OutlineEdit::nearestVertex(outline, point), index);
    if (outline.size() < 2)
        return;
    const QPolygonF reduced = OutlineEdit::withoutNearestVertex(outline, point);
    outline.remove(index);
    QCOMPARE(reduced, outline);
}

void TestOutlineEdit::theLastVertexIsNotRemoved()
{
    QCOMPARE(OutlineEdit::withoutNearestVertex(polygonOf({p0, p1}), p0), polygonOf({p1}));
    QCOMPARE(OutlineEdit::withoutNearestVertex(polygonOf({p0}), p0), polygonOf({p0}));
    QCOMPARE(OutlineEdit::withoutNearestVertex(QPolygonF(), p0), QPolygonF());
}

QTEST_APPLESS_MAIN(TestOutlineEdit)
#include "tst_outlineedit.moc"
