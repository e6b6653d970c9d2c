// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/functions.h"

#include <QElapsedTimer>
#include <QLineF>
#include <QtTest>

#include <cmath>
#include <limits>
#include <random>

namespace
{

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double pi = 3.14159265358979323846;

// Spells out the vertices; QPolygonF itself takes a list of two points for a rectangle.
QPolygonF poly(const QVector<QPointF> &vertices)
{
    return QPolygonF(vertices);
}

// Compares without the tolerance of Qt's own operators.
bool same(const QPointF &a, const QPointF &b)
{
    return a.x() == b.x() && a.y() == b.y();
}

bool same(const QPolygonF &a, const QPolygonF &b)
{
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(),
                      [](const QPointF &left, const QPointF &right) { return same(left, right); });
}

const QRectF frame(0, 0, 640, 480);

QPolygonF randomOutline(int vertices, const QRectF &area, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> x(area.left(), area.right());
    std::uniform_real_distribution<double> y(area.top(), area.bottom());
    QPolygonF outline;
    for (int i = 0; i < vertices; ++i) {
        const double left = x(random);
        outline.append(QPointF(left, y(random)));
    }
    return outline;
}

/// Without crossings of its own, with vertices up to 3 pixels beside a circle.
QPolygonF jaggedCircle(int vertices, QPointF centre, double radius)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<double> jag(-3, 3);
    QPolygonF outline;
    for (int i = 0; i < vertices; ++i) {
        const double angle = 2 * pi * i / vertices;
        outline.append(centre + (radius + jag(random)) * QPointF(std::cos(angle), std::sin(angle)));
    }
    return outline;
}

QPolygonF intersectionWithFrame(const QPolygonF &outline)
{
    const QPolygonF corners({frame.topLeft(), frame.topRight(), frame.bottomRight(), frame.bottomLeft()});
    QPolygonF clipped = outline.intersected(corners);
    if (clipped.size() > 1 && QLineF(clipped.first(), clipped.last()).length() < 1e-12)
        clipped.removeLast();
    return clipped;
}

QPolygonF reversed(const QPolygonF &polygon)
{
    QPolygonF result;
    for (const QPointF &point : polygon)
        result.prepend(point);
    return result;
}

} // namespace

class TestFunctions : public QObject
{
    Q_OBJECT

private slots:
    void orientationIsTheSignOfTheEdgeSum_data();
    void orientationIsTheSignOfTheEdgeSum();
    void reversingAnOutlineWithAreaTurnsItsOrientation();
    void orientationDoesNotDependOnTheFirstVertex();
    void triangleAngleFollowsTheLawOfCosines_data();
    void triangleAngleFollowsTheLawOfCosines();
    void lengthIsTheRootOfTheSumOfSquares_data();
    void lengthIsTheRootOfTheSumOfSquares();
    void angleTurnsFromTheSecondVectorToTheFirst_data();
    void angleTurnsFromTheSecondVectorToTheFirst();
    void turningTheSecondVectorByTheAngleGivesTheFirst();
    void squaredLengthGoesThroughTheLength();
    void distanceIsSymmetric_data();
    void distanceIsSymmetric();
    void dotProduct_data();
    void dotProduct();
    void distanceToALineIgnoresItsEnds_data();
    void distanceToALineIgnoresItsEnds();
    void distanceToALineThroughOnePointIsNotFinite();
    void distanceToASegmentStopsAtItsEnds_data();
    void distanceToASegmentStopsAtItsEnds();
    void segmentParameterDividesByTheSquaredLength();
    void noPointOfTheSegmentIsNearer();
    void coordinatesRoundToWholePixelsHalvesAwayFromZero_data();
    void coordinatesRoundToWholePixelsHalvesAwayFromZero();
    void noVertexIsLostInTheOpenCvOutline();
    void openCvPointsBecomeTheSameQtPoints();
    void wholePixelsSurviveTheRoundTrip();
    void affineTransformMovesEveryVertex_data();
    void affineTransformMovesEveryVertex();
    void affineTransformLeavesItsInputAlone();
    void pointsAreClampedToOriginAndSize_data();
    void pointsAreClampedToOriginAndSize();
    void outlinesAreClippedToTheRectangle_data();
    void outlinesAreClippedToTheRectangle();
    void outlinesOfAnySizeAreClippedWithoutHarm_data();
    void outlinesOfAnySizeAreClippedWithoutHarm();
    void ordinaryOutlinesAreIntersectedWithTheRectangle();
    void tangledOutlinesAreCutSoon_data();
    void tangledOutlinesAreCutSoon();
    void tangledOutlinesInsideStayAsTheyAre();
    void cuttingATangleKeepsWhatIsInside();
    void everyNumberIsRoundedToAnInt_data();
    void everyNumberIsRoundedToAnInt();
};

void TestFunctions::orientationIsTheSignOfTheEdgeSum_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<bool>("counterClockwise");
    const QPolygonF square({QPointF(0, 0), QPointF(10, 0), QPointF(10, 10), QPointF(0, 10)});
    // y grows downwards and is not turned round: the sum of this square is -200.
    QTest::newRow("square, clockwise on screen") << square << false;
    QTest::newRow("square, counter-clockwise on screen") << reversed(square) << true;
    QTest::newRow("square in negative coordinates") << square.translated(-100, -100) << false;
    QTest::newRow("triangle") << poly({QPointF(0, 0), QPointF(0, 10), QPointF(10, 0)}) << true;
    QTest::newRow("concave outline, clockwise on screen")
        << poly({QPointF(0, 0), QPointF(9, 0), QPointF(9, 9), QPointF(5, 1)}) << false;
    // A sum of -0.02 would be 0 if it were kept as an integer.
    QTest::newRow("area far below one pixel")
        << poly({QPointF(0, 0), QPointF(0.1, 0), QPointF(0.1, 0.1), QPointF(0, 0.1)}) << false;
    QTest::newRow("empty") << QPolygonF() << true;
    QTest::newRow("one point") << poly({QPointF(3, -4)}) << true;
    QTest::newRow("two points") << poly({QPointF(3, 4), QPointF(8, 1)}) << true;
    QTest::newRow("collinear points") << poly({QPointF(0, 0), QPointF(2, 2), QPointF(6, 6)}) << true;
    QTest::newRow("figure of eight without area")
        << poly({QPointF(0, 0), QPointF(4, 4), QPointF(4, 0), QPointF(0, 4)}) << true;
    QTest::newRow("coordinate that is not a number")
        << poly({QPointF(0, 0), QPointF(notANumber, 5), QPointF(3, 3)}) << false;
}

void TestFunctions::orientationIsTheSignOfTheEdgeSum()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(bool, counterClockwise);
    QCOMPARE(Functions::isCounterClockwise(polygon), counterClockwise);
}

void TestFunctions::reversingAnOutlineWithAreaTurnsItsOrientation()
{
    std::mt19937 random(1);
    std::uniform_real_distribution<double> coordinate(-500, 500);
    for (int run = 0; run < 200; ++run) {
        const QPolygonF triangle({QPointF(coordinate(random), coordinate(random)),
                                  QPointF(coordinate(random), coordinate(random)),
                                  QPointF(coordinate(random), coordinate(random))});
        QVERIFY(Functions::isCounterClockwise(triangle) != Functions::isCounterClockwise(reversed(triangle)));
    }
}

void TestFunctions::orientationDoesNotDependOnTheFirstVertex()
{
    QPolygonF outline({QPointF(0, 0), QPointF(0, 20), QPointF(7, 6), QPointF(20, 0), QPointF(9, 1)});
    for (int i = 0; i < outline.size(); ++i) {
        QVERIFY(Functions::isCounterClockwise(outline));
        outline.append(outline.takeFirst());
    }
}

void TestFunctions::triangleAngleFollowsTheLawOfCosines_data()
{
    QTest::addColumn<double>("a");
    QTest::addColumn<double>("b");
    QTest::addColumn<double>("c");
    QTest::addColumn<double>("angle");
    QTest::newRow("right angle") << 3.0 << 4.0 << 5.0 << pi / 2;
    QTest::newRow("angle opposite another side") << 4.0 << 5.0 << 3.0 << std::acos(0.8);
    QTest::newRow("equal sides") << 7.0 << 7.0 << 7.0 << pi / 3;
    QTest::newRow("obtuse") << 1.0 << 1.0 << std::sqrt(3.0) << 2 * pi / 3;
    QTest::newRow("folded flat") << 1.0 << 1.0 << 2.0 << pi;
    QTest::newRow("no opposite side") << 2.0 << 2.0 << 0.0 << 0.0;
    QTest::newRow("sides that do not meet") << 1.0 << 1.0 << 3.0 << notANumber;
    QTest::newRow("opposite side too short") << 1.0 << 5.0 << 1.0 << notANumber;
    QTest::newRow("side of length zero") << 0.0 << 2.0 << 2.0 << notANumber;
    QTest::newRow("all sides zero") << 0.0 << 0.0 << 0.0 << notANumber;
    QTest::newRow("infinite side") << infinite << 1.0 << 1.0 << notANumber;
    QTest::newRow("side that is not a number") << 1.0 << notANumber << 1.0 << notANumber;
}

void TestFunctions::triangleAngleFollowsTheLawOfCosines()
{
    QFETCH(double, a);
    QFETCH(double, b);
    QFETCH(double, c);
    QFETCH(double, angle);
    QCOMPARE(Functions::triangleAngleCFromSidesABC(a, b, c), angle);
}

void TestFunctions::lengthIsTheRootOfTheSumOfSquares_data()
{
    QTest::addColumn<QPointF>("vector");
    QTest::addColumn<double>("length");
    QTest::newRow("zero") << QPointF(0, 0) << 0.0;
    QTest::newRow("along x") << QPointF(-7.5, 0) << 7.5;
    QTest::newRow("along y") << QPointF(0, -2) << 2.0;
    QTest::newRow("slanted") << QPointF(-3, 4) << 5.0;
    QTest::newRow("diagonal") << QPointF(1, 1) << std::sqrt(2.0);
    QTest::newRow("infinite") << QPointF(-infinite, 1) << infinite;
    QTest::newRow("squares too large") << QPointF(1e200, 0) << infinite;
    QTest::newRow("squares too small") << QPointF(1e-200, 0) << 0.0;
    QTest::newRow("not a number") << QPointF(notANumber, 1) << notANumber;
    QTest::newRow("infinite and not a number") << QPointF(infinite, notANumber) << notANumber;
}

void TestFunctions::lengthIsTheRootOfTheSumOfSquares()
{
    QFETCH(QPointF, vector);
    QFETCH(double, length);
    const double actual = Functions::vecLength(vector);
    QVERIFY2(actual == length || (std::isnan(actual) && std::isnan(length)),
             qPrintable(QString::number(actual, 'g', 17)));
}

void TestFunctions::angleTurnsFromTheSecondVectorToTheFirst_data()
{
    QTest::addColumn<QPointF>("v1");
    QTest::addColumn<QPointF>("v2");
    QTest::addColumn<double>("degrees");
    QTest::newRow("y axis seen from x axis") << QPointF(0, 1) << QPointF(1, 0) << 90.0;
    QTest::newRow("x axis seen from y axis") << QPointF(1, 0) << QPointF(0, 1) << 270.0;
    QTest::newRow("opposite") << QPointF(-1, 0) << QPointF(1, 0) << 180.0;
    QTest::newRow("opposite, swapped") << QPointF(1, 0) << QPointF(-1, 0) << 180.0;
    QTest::newRow("equal") << QPointF(-3, -4) << QPointF(-3, -4) << 0.0;
    QTest::newRow("same direction, other length") << QPointF(2, 2) << QPointF(1, 1) << 0.0;
    QTest::newRow("across the cut of atan2") << QPointF(-1, -1) << QPointF(-1, 1) << 90.0;
    QTest::newRow("across the cut, swapped") << QPointF(-1, 1) << QPointF(-1, -1) << 270.0;
    QTest::newRow("eighth of a turn") << QPointF(5, 5) << QPointF(3, 0) << 45.0;
    QTest::newRow("zero vectors") << QPointF(0, 0) << QPointF(0, 0) << 0.0;
    QTest::newRow("zero vector points along x") << QPointF(0, 0) << QPointF(0, -1) << 90.0;
    QTest::newRow("a hair below zero") << QPointF(1, -1e-20) << QPointF(1, 0) << 0.0;
    QTest::newRow("the two signs of zero") << QPointF(-1, 0.0) << QPointF(-1, -0.0) << 0.0;
    QTest::newRow("infinite coordinate") << QPointF(0, infinite) << QPointF(1, 0) << 90.0;
    QTest::newRow("not a number") << QPointF(notANumber, 0) << QPointF(1, 0) << notANumber;
}

void TestFunctions::angleTurnsFromTheSecondVectorToTheFirst()
{
    QFETCH(QPointF, v1);
    QFETCH(QPointF, v2);
    QFETCH(double, degrees);
    QCOMPARE(Functions::degAngleCounterClockwise(v1, v2), degrees);
}

void TestFunctions::turningTheSecondVectorByTheAngleGivesTheFirst()
{
    std::mt19937 random(2);
    std::uniform_real_distribution<double> coordinate(-10, 10);
    for (int run = 0; run < 500; ++run) {
        const QPointF v1(coordinate(random), coordinate(random));
        const QPointF v2(coordinate(random), coordinate(random));
        const double degrees = Functions::degAngleCounterClockwise(v1, v2);
        QVERIFY(degrees >= 0 && degrees < 360);
        const double direction = std::atan2(v2.y(), v2.x()) + degrees * pi / 180;
        QVERIFY(std::abs(std::cos(direction) - v1.x() / std::hypot(v1.x(), v1.y())) < 1e-9);
        QVERIFY(std::abs(std::sin(direction) - v1.y() / std::hypot(v1.x(), v1.y())) < 1e-9);
        QCOMPARE(Functions::degAngleCounterClockwise(v1, v1), 0.0);
    }
}

void TestFunctions::squaredLengthGoesThroughTheLength()
{
    QVERIFY(Functions::vecLengthSquared(QPointF(3, -4)) == 25.0);
    QVERIFY(Functions::vecLengthSquared(QPointF(0, 0)) == 0.0);
    // The root of 2 squared is one bit more than 2.
    QVERIFY(Functions::vecLengthSquared(QPointF(1, 1)) == 2.0000000000000004);
    QVERIFY(Functions::vecLengthSquared(QPointF(1, 1)) != 2.0);
    QVERIFY(std::isinf(Functions::vecLengthSquared(QPointF(infinite, 0))));
    QVERIFY(std::isnan(Functions::vecLengthSquared(QPointF(0, notANumber))));

    std::mt19937 random(3);
    std::uniform_real_distribution<double> coordinate(-1000, 1000);
    int differing = 0;
    for (int run = 0; run < 200; ++run) {
        const QPointF v(coordinate(random), coordinate(random));
        const double square = v.x() * v.x() + v.y() * v.y();
        const double length = std::sqrt(square);
        QVERIFY(Functions::vecLengthSquared(v) == length * length);
        differing += length * length != square ? 1 : 0;
    }
    QVERIFY(differing > 20);
}

void TestFunctions::distanceIsSymmetric_data()
{
    QTest::addColumn<QPointF>("p1");
    QTest::addColumn<QPointF>("p2");
    QTest::addColumn<double>("distance");
    QTest::newRow("same point") << QPointF(5, -2) << QPointF(5, -2) << 0.0;
    QTest::newRow("slanted") << QPointF(1, 2) << QPointF(4, 6) << 5.0;
    QTest::newRow("across the origin") << QPointF(-3, -4) << QPointF(3, 4) << 10.0;
    QTest::newRow("vertical") << QPointF(7, 1.5) << QPointF(7, -1) << 2.5;
    QTest::newRow("infinite") << QPointF(infinite, 0) << QPointF(0, 0) << infinite;
    QTest::newRow("squares too large") << QPointF(1e200, 0) << QPointF(0, 0) << infinite;
    QTest::newRow("two infinite points") << QPointF(infinite, 0) << QPointF(infinite, 0) << notANumber;
    QTest::newRow("not a number") << QPointF(0, 0) << QPointF(0, notANumber) << notANumber;
}

void TestFunctions::distanceIsSymmetric()
{
    QFETCH(QPointF, p1);
    QFETCH(QPointF, p2);
    QFETCH(double, distance);
    for (const double actual : {Functions::distance(p1, p2), Functions::distance(p2, p1)}) {
        QVERIFY2(actual == distance || (std::isnan(actual) && std::isnan(distance)),
                 qPrintable(QString::number(actual, 'g', 17)));
    }
}

void TestFunctions::dotProduct_data()
{
    QTest::addColumn<QPointF>("v1");
    QTest::addColumn<QPointF>("v2");
    QTest::addColumn<double>("product");
    QTest::newRow("perpendicular") << QPointF(2, 3) << QPointF(-3, 2) << 0.0;
    QTest::newRow("parallel") << QPointF(2, 3) << QPointF(4, 6) << 26.0;
    QTest::newRow("opposite") << QPointF(2, 3) << QPointF(-2, -3) << -13.0;
    QTest::newRow("x with x and y with y") << QPointF(1, 10) << QPointF(100, 1000) << 10100.0;
    QTest::newRow("zero vector") << QPointF(0, 0) << QPointF(5, 9) << 0.0;
    QTest::newRow("infinite times zero") << QPointF(infinite, 1) << QPointF(0, 1) << notANumber;
    QTest::newRow("infinite") << QPointF(-infinite, 1) << QPointF(2, 1) << -infinite;
    QTest::newRow("not a number") << QPointF(notANumber, 0) << QPointF(1, 1) << notANumber;
}

void TestFunctions::dotProduct()
{
    QFETCH(QPointF, v1);
    QFETCH(QPointF, v2);
    QFETCH(double, product);
    QCOMPARE(Functions::dot(v1, v2), product);
    QCOMPARE(Functions::dot(v2, v1), product);
}

void TestFunctions::distanceToALineIgnoresItsEnds_data()
{
    QTest::addColumn<QPointF>("p");
    QTest::addColumn<QPointF>("a");
    QTest::addColumn<QPointF>("b");
    QTest::addColumn<double>("distance");
    QTest::newRow("above the middle") << QPointF(5, 5) << QPointF(0, 0) << QPointF(10, 0) << 5.0;
    QTest::newRow("below") << QPointF(5, -5) << QPointF(0, 0) << QPointF(10, 0) << 5.0;
    QTest::newRow("before a") << QPointF(-3, 4) << QPointF(0, 0) << QPointF(10, 0) << 4.0;
    QTest::newRow("behind b") << QPointF(1000, 4) << QPointF(0, 0) << QPointF(10, 0) << 4.0;
    QTest::newRow("on the line") << QPointF(30, 30) << QPointF(1, 1) << QPointF(2, 2) << 0.0;
    QTest::newRow("slanted line off the origin")
        << QPointF(12, 21) << QPointF(10, 20) << QPointF(13, 24) << 1.0;
    QTest::newRow("vertical line") << QPointF(-2, 9) << QPointF(4, 0) << QPointF(4, 1) << 6.0;
    QTest::newRow("not a number") << QPointF(notANumber, 0) << QPointF(0, 0) << QPointF(1, 1) << notANumber;
    QTest::newRow("infinite point") << QPointF(0, infinite) << QPointF(0, 0) << QPointF(1, 0) << infinite;
}

void TestFunctions::distanceToALineIgnoresItsEnds()
{
    QFETCH(QPointF, p);
    QFETCH(QPointF, a);
    QFETCH(QPointF, b);
    QFETCH(double, distance);
    QCOMPARE(Functions::distToLine(p, a, b), distance);
    QCOMPARE(Functions::distToLine(p, b, a), distance);
}

void TestFunctions::distanceToALineThroughOnePointIsNotFinite()
{
    QVERIFY(!std::isfinite(Functions::distToLine(QPointF(5, 5), QPointF(1, 2), QPointF(1, 2))));
    QVERIFY(!std::isfinite(Functions::distToLine(QPointF(1, 2), QPointF(1, 2), QPointF(1, 2))));
}

void TestFunctions::distanceToASegmentStopsAtItsEnds_data()
{
    QTest::addColumn<QPointF>("p");
    QTest::addColumn<QPointF>("a");
    QTest::addColumn<QPointF>("b");
    QTest::addColumn<double>("distance");
    const QPointF origin(0, 0);
    const QPointF right(10, 0);
    QTest::newRow("over the middle") << QPointF(5, 5) << origin << right << 5.0;
    QTest::newRow("nearest to a") << QPointF(-3, 4) << origin << right << 5.0;
    QTest::newRow("nearest to b") << QPointF(13, 4) << origin << right << 5.0;
    QTest::newRow("over a") << QPointF(0, 7) << origin << right << 7.0;
    QTest::newRow("over b") << QPointF(10, -7) << origin << right << 7.0;
    QTest::newRow("on the segment") << QPointF(2.5, 0) << origin << right << 0.0;
    QTest::newRow("on the line, outside") << QPointF(-6, 0) << origin << right << 6.0;
    QTest::newRow("slanted segment") << QPointF(12, 21) << QPointF(10, 20) << QPointF(13, 24) << 1.0;
    QTest::newRow("one point, off it") << QPointF(4, 6) << QPointF(1, 2) << QPointF(1, 2) << 5.0;
    QTest::newRow("one point, at it") << QPointF(1, 2) << QPointF(1, 2) << QPointF(1, 2) << 0.0;
    // The square of the length underflows to 0, so that a alone counts.
    QTest::newRow("shorter than doubles can square") << QPointF(3, 4) << origin << QPointF(1e-200, 0) << 5.0;
    QTest::newRow("not a number") << QPointF(notANumber, 0) << origin << right << notANumber;
    QTest::newRow("segment that is not a number")
        << QPointF(1, 1) << origin << QPointF(notANumber, 0) << notANumber;
    QTest::newRow("infinitely far before a") << QPointF(-infinite, 0) << origin << right << infinite;
    QTest::newRow("infinitely far behind b") << QPointF(infinite, 0) << origin << right << infinite;
}

void TestFunctions::distanceToASegmentStopsAtItsEnds()
{
    QFETCH(QPointF, p);
    QFETCH(QPointF, a);
    QFETCH(QPointF, b);
    QFETCH(double, distance);
    QCOMPARE(Functions::distToLineSegment(p, a, b), distance);
}

void TestFunctions::segmentParameterDividesByTheSquaredLength()
{
    // The squared length of (1, 1) is one bit more than 2, so that the foot of b is one bit short of b.
    const double bit = std::numeric_limits<double>::epsilon();
    QVERIFY(Functions::distToLineSegment(QPointF(1, 1), QPointF(0, 0), QPointF(1, 1)) ==
            std::sqrt(bit * bit + bit * bit));
}

void TestFunctions::noPointOfTheSegmentIsNearer()
{
    std::mt19937 random(4);
    std::uniform_real_distribution<double> coordinate(-100, 100);
    for (int run = 0; run < 200; ++run) {
        const QPointF p(coordinate(random), coordinate(random));
        const QPointF a(coordinate(random), coordinate(random));
        const QPointF b(coordinate(random), coordinate(random));
        double nearest = infinite;
        for (int step = 0; step <= 2000; ++step) {
            const QPointF onSegment = a + (b - a) * (step / 2000.0);
            nearest = std::min(nearest, std::hypot(p.x() - onSegment.x(), p.y() - onSegment.y()));
        }
        const double distance = Functions::distToLineSegment(p, a, b);
        QVERIFY(distance <= nearest + 1e-9);
        QVERIFY(distance >= nearest - 0.15); // half a step of the longest segment
    }
}

void TestFunctions::coordinatesRoundToWholePixelsHalvesAwayFromZero_data()
{
    QTest::addColumn<double>("coordinate");
    QTest::addColumn<int>("pixel");
    QTest::newRow("half up") << 2.5 << 3;
    QTest::newRow("half down below zero") << -2.5 << -3;
    QTest::newRow("odd half") << 3.5 << 4;
    QTest::newRow("odd half below zero") << -3.5 << -4;
    QTest::newRow("just below half") << 2.4999 << 2;
    QTest::newRow("just below half, negative") << -2.4999 << -2;
    QTest::newRow("largest number below one half") << 0.49999999999999994 << 0;
    QTest::newRow("half") << 0.5 << 1;
    QTest::newRow("minus half") << -0.5 << -1;
    QTest::newRow("whole") << 639.0 << 639;
    QTest::newRow("minus zero") << -0.0 << 0;
}

void TestFunctions::coordinatesRoundToWholePixelsHalvesAwayFromZero()
{
    QFETCH(double, coordinate);
    QFETCH(int, pixel);
    const std::vector<cv::Point> points =
        Functions::getOpenCvPolygon(poly({QPointF(coordinate, 7), QPointF(7, coordinate)}));
    QCOMPARE(points.size(), std::size_t(2));
    QCOMPARE(points[0].x, pixel);
    QCOMPARE(points[0].y, 7);
    QCOMPARE(points[1].x, 7);
    QCOMPARE(points[1].y, pixel);
}

void TestFunctions::noVertexIsLostInTheOpenCvOutline()
{
    QVERIFY(Functions::getOpenCvPolygon(QPolygonF()).empty());
    const std::vector<cv::Point> expected{{1, 1}, {1, 1}, {1, 1}, {5, 9}, {1, 1}};
    QVERIFY(Functions::getOpenCvPolygon(poly({QPointF(1, 1), QPointF(1.2, 0.9), QPointF(1, 1), QPointF(5, 9),
                                              QPointF(0.8, 1)})) == expected);
}

void TestFunctions::openCvPointsBecomeTheSameQtPoints()
{
    QVERIFY(Functions::getQPolygonF({}).isEmpty());
    const int lowest = std::numeric_limits<int>::min();
    const int highest = std::numeric_limits<int>::max();
    QVERIFY(same(Functions::getQPolygonF({{3, -4}, {3, -4}, {0, 0}, {lowest, highest}}),
                 poly({QPointF(3, -4), QPointF(3, -4), QPointF(0, 0), QPointF(lowest, highest)})));
}

void TestFunctions::wholePixelsSurviveTheRoundTrip()
{
    const QPolygonF outline({QPointF(0, 0), QPointF(639, 0), QPointF(639, 479), QPointF(-5, 1000)});
    QVERIFY(same(Functions::getQPolygonF(Functions::getOpenCvPolygon(outline)), outline));
}

void TestFunctions::affineTransformMovesEveryVertex_data()
{
    QTest::addColumn<QVector<double>>("matrix"); // m00 m01 m02 m10 m11 m12
    QTest::addColumn<QPolygonF>("moved");
    QTest::newRow("identity") << QVector<double>{1, 0, 0, 0, 1, 0}
                              << QPolygonF(
                                     {QPointF(1, 2), QPointF(3, 5), QPointF(-4, 0.5), QPointF(-4, 0.5)});
    QTest::newRow("translation") << QVector<double>{1, 0, 10, 0, 1, -20}
                                 << poly({QPointF(11, -18), QPointF(13, -15), QPointF(6, -19.5),
                                          QPointF(6, -19.5)});
    QTest::newRow("quarter turn") << QVector<double>{0, -1, 0, 1, 0, 0}
                                  << poly({QPointF(-2, 1), QPointF(-5, 3), QPointF(-0.5, -4),
                                           QPointF(-0.5, -4)});
    QTest::newRow("mirror image") << QVector<double>{-1, 0, 0, 0, 1, 0}
                                  << QPolygonF(
                                         {QPointF(-1, 2), QPointF(-3, 5), QPointF(4, 0.5), QPointF(4, 0.5)});
    QTest::newRow("all six numbers different")
        << QVector<double>{2, 3, 5, 7, 11, 13}
        << poly({QPointF(13, 42), QPointF(26, 89), QPointF(-1.5, -9.5), QPointF(-1.5, -9.5)});
    QTest::newRow("all onto one point") << QVector<double>{0, 0, 8, 0, 0, 9}
                                        << poly({QPointF(8, 9), QPointF(8, 9), QPointF(8, 9), QPointF(8, 9)});
}

void TestFunctions::affineTransformMovesEveryVertex()
{
    QFETCH(QVector<double>, matrix);
    QFETCH(QPolygonF, moved);
    Eigen::Affine2d transform = Eigen::Affine2d::Identity();
    transform.matrix().topRows<2>() << matrix[0], matrix[1], matrix[2], matrix[3], matrix[4], matrix[5];
    const QPolygonF outline({QPointF(1, 2), QPointF(3, 5), QPointF(-4, 0.5), QPointF(-4, 0.5)});
    QVERIFY(same(Functions::transformPolygonAffine(outline, transform), moved));
    QVERIFY(Functions::transformPolygonAffine(QPolygonF(), transform).isEmpty());
}

void TestFunctions::affineTransformLeavesItsInputAlone()
{
    const QPolygonF outline = poly({QPointF(1, 2), QPointF(3, 5)});
    const QPolygonF copy = outline;
    const Eigen::Affine2d shift(Eigen::Translation2d(5, 5));
    const QPolygonF moved = Functions::transformPolygonAffine(outline, shift);
    QVERIFY(same(outline, copy));
    QVERIFY(same(moved, poly({QPointF(6, 7), QPointF(8, 10)})));

    const QPolygonF broken = Functions::transformPolygonAffine(poly({QPointF(notANumber, 1)}), shift);
    QCOMPARE(broken.size(), 1);
    QVERIFY(std::isnan(broken.first().x()));
}

void TestFunctions::pointsAreClampedToOriginAndSize_data()
{
    QTest::addColumn<QPointF>("point");
    QTest::addColumn<QRectF>("bounds");
    QTest::addColumn<QPointF>("clamped");
    const QRectF frame(0, 0, 640, 480);
    QTest::newRow("inside") << QPointF(12.25, 479.5) << frame << QPointF(12.25, 479.5);
    QTest::newRow("above and left") << QPointF(-5, -0.5) << frame << QPointF(0, 0);
    QTest::newRow("below and right") << QPointF(1000, 480.5) << frame << QPointF(640, 480);
    QTest::newRow("one coordinate outside") << QPointF(100, 900) << frame << QPointF(100, 480);
    QTest::newRow("on the far corner") << QPointF(640, 480) << frame << QPointF(640, 480);
    QTest::newRow("empty frame") << QPointF(7, -7) << QRectF() << QPointF(0, 0);
    // The upper limits are the size, not the right and bottom edges (110 and 70).
    QTest::newRow("frame off the origin, far side")
        << QPointF(105, 65) << QRectF(10, 20, 100, 50) << QPointF(100, 50);
    QTest::newRow("frame off the origin, near side")
        << QPointF(5, 5) << QRectF(10, 20, 100, 50) << QPointF(10, 20);
    QTest::newRow("frame farther off than it is large")
        << QPointF(5, 5) << QRectF(100, 200, 50, 60) << QPointF(50, 60);
}

void TestFunctions::pointsAreClampedToOriginAndSize()
{
    QFETCH(QPointF, point);
    QFETCH(QRectF, bounds);
    QFETCH(QPointF, clamped);
    QVERIFY(same(Functions::clampToFrame(point, bounds), clamped));
}

void TestFunctions::outlinesAreClippedToTheRectangle_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<int>("vertices");
    QTest::addColumn<QRectF>("box");
    const QPolygonF square = poly({QPointF(0, 0), QPointF(0, 10), QPointF(10, 10), QPointF(10, 0)});
    // The rectangle goes from (-5, 5) to (15, 30).
    QTest::newRow("inside") << square.translated(2, 8) << 4 << QRectF(2, 8, 10, 10);
    QTest::newRow("over one side") << square << 4 << QRectF(0, 5, 10, 5);
    QTest::newRow("over a corner") << square.translated(10, 25) << 4 << QRectF(10, 25, 5, 5);
    QTest::newRow("corner cut off") << poly({QPointF(-10, 20), QPointF(0, 30), QPointF(0, 10)}) << 4
                                    << QRectF(-5, 10, 5, 20);
    QTest::newRow("around the rectangle")
        << poly({QPointF(-90, -90), QPointF(-90, 90), QPointF(90, 90), QPointF(90, -90)}) << 4
        << QRectF(-5, 5, 20, 25);
    QTest::newRow("outside") << square.translated(100, 100) << 0 << QRectF();
    QTest::newRow("empty") << QPolygonF() << 0 << QRectF();
}

void TestFunctions::outlinesAreClippedToTheRectangle()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(int, vertices);
    QFETCH(QRectF, box);
    const QPolygonF clipped = Functions::clippedToRect(polygon, QRectF(-5, 5, 20, 25));
    QCOMPARE(clipped.size(), vertices);
    QCOMPARE(clipped.boundingRect(), box);
    if (vertices > 0)
        QVERIFY(clipped.first() != clipped.last());
}

void TestFunctions::outlinesOfAnySizeAreClippedWithoutHarm_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<QRectF>("box");
    // The rectangle goes from (-5, 5) to (15, 30).
    const QRectF whole(-5, 5, 20, 25);
    QTest::newRow("ordinary") << poly({QPointF(2, 8), QPointF(2, 18), QPointF(12, 18), QPointF(12, 8)})
                              << QRectF(2, 8, 10, 10);
    // What is not a number counts as 0.
    QTest::newRow("one x that is not a number")
        << poly({QPointF(notANumber, 8), QPointF(0, 18), QPointF(12, 18), QPointF(12, 8)})
        << QRectF(0, 8, 12, 10);
    QTest::newRow("one y that is not a number")
        << poly({QPointF(2, notANumber), QPointF(2, 18), QPointF(12, 18), QPointF(12, 0)})
        << QRectF(2, 5, 10, 13);
    QTest::newRow("nothing but what is not a number")
        << QPolygonF(QVector<QPointF>(4, QPointF(notANumber, notANumber))) << QRectF();
    QTest::newRow("side at infinity")
        << poly({QPointF(2, 8), QPointF(2, 18), QPointF(infinite, 18), QPointF(infinite, 8)})
        << QRectF(2, 8, 13, 10);
    QTest::newRow("side at minus infinity")
        << poly({QPointF(2, -infinite), QPointF(2, 18), QPointF(12, 18), QPointF(12, -infinite)})
        << QRectF(2, 5, 10, 13);
    QTest::newRow("all infinite") << poly({QPointF(-infinite, -infinite), QPointF(-infinite, infinite),
                                           QPointF(infinite, infinite), QPointF(infinite, -infinite)})
                                  << whole;
    QTest::newRow("all in one place far away")
        << QPolygonF(QVector<QPointF>(4, QPointF(1e300, 1e300))) << QRectF();
    QTest::newRow("around the rectangle, far away") << poly({QPointF(-1e160, -1e160), QPointF(-1e160, 1e160),
                                                             QPointF(1e160, 1e160), QPointF(1e160, -1e160)})
                                                    << whole;
    QTest::newRow("beside the rectangle, far away") << poly({QPointF(1e160, -1e160), QPointF(1e160, 1e160),
                                                             QPointF(1e161, 1e160), QPointF(1e161, -1e160)})
                                                    << QRectF();
    QTest::newRow("greatest of all") << poly({QPointF(std::numeric_limits<double>::lowest(), 8),
                                              QPointF(std::numeric_limits<double>::lowest(), 18),
                                              QPointF(std::numeric_limits<double>::max(), 18),
                                              QPointF(std::numeric_limits<double>::max(), 8)})
                                     << QRectF(-5, 8, 20, 10);
}

void TestFunctions::outlinesOfAnySizeAreClippedWithoutHarm()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(QRectF, box);
    constexpr double tolerance = 1e-6; // pixels: sides a billion pixels long meet the rectangle
    const QPolygonF clipped = Functions::clippedToRect(polygon, QRectF(-5, 5, 20, 25));
    for (const QPointF &point : clipped)
        QVERIFY(std::isfinite(point.x()) && std::isfinite(point.y()));
    QCOMPARE(clipped.isEmpty(), box.isEmpty());
    const QRectF actual = clipped.boundingRect();
    QVERIFY(std::abs(actual.left() - box.left()) < tolerance);
    QVERIFY(std::abs(actual.top() - box.top()) < tolerance);
    QVERIFY(std::abs(actual.right() - box.right()) < tolerance);
    QVERIFY(std::abs(actual.bottom() - box.bottom()) < tolerance);
}

// A user's outlines have few crossings, however many vertices.
void TestFunctions::ordinaryOutlinesAreIntersectedWithTheRectangle()
{
    const QRectF around = frame.adjusted(-200, -200, 200, 200);
    for (unsigned seed = 0; seed < 300; ++seed) {
        const QPolygonF outline = randomOutline(1 + static_cast<int>(seed) / 4, around, seed);
        QVERIFY(same(Functions::clippedToRect(outline, frame), intersectionWithFrame(outline)));
    }
    for (int vertices : {50, 500, 3000, 9000}) {
        for (const QPointF centre : {QPointF(320, 240), QPointF(600, 100), QPointF(10, 470)}) {
            const QPolygonF outline = jaggedCircle(vertices, centre, 180);
            QVERIFY(same(Functions::clippedToRect(outline, frame), intersectionWithFrame(outline)));
        }
    }
}

void TestFunctions::tangledOutlinesAreCutSoon_data()
{
    QTest::addColumn<QPolygonF>("outline");
    QTest::newRow("3000 in the frame") << randomOutline(3000, frame, 1);
    QTest::newRow("3000 around the frame") << randomOutline(3000, frame.adjusted(-400, -400, 400, 400), 2);
    QTest::newRow("3000 in a billion pixels") << randomOutline(3000, QRectF(-1e9, -1e9, 2e9, 2e9), 3);
    QTest::newRow("10000 in the frame") << randomOutline(9990, frame, 4);
    QTest::newRow("200000 in the frame") << randomOutline(200000, frame, 5);
    QTest::newRow("a million beside a circle") << jaggedCircle(1000000, QPointF(600, 400), 300);
    QPolygonF again;
    for (int i = 0; i < 9000; ++i)
        again.append(QPointF(i % 2 ? 700 : 10, i % 3 ? 20 : 470));
    QTest::newRow("the same edges again and again") << again;
    QTest::newRow("9000 times the same point") << QPolygonF(QVector<QPointF>(9000, QPointF(50, 50)));
}

void TestFunctions::tangledOutlinesAreCutSoon()
{
    QFETCH(QPolygonF, outline);
    QElapsedTimer timer;
    timer.start();
    const QPolygonF cut = Functions::clippedToRect(outline, frame);
    QVERIFY2(timer.elapsed() < 10000, qPrintable(QString::number(timer.elapsed())));
    QVERIFY(!cut.isEmpty());
    QVERIFY(cut.size() <= 5 * outline.size());
    const QRectF box = cut.boundingRect();
    QVERIFY(box.left() >= 0 && box.top() >= 0 && box.right() <= 640 && box.bottom() <= 480);
    QVERIFY(Functions::clippedToRect(outline, QRectF()).isEmpty());
}

void TestFunctions::tangledOutlinesInsideStayAsTheyAre()
{
    const QPolygonF outline = randomOutline(1000, frame, 6);
    QVERIFY(same(Functions::clippedToRect(outline, frame), outline));
    QVERIFY(Functions::clippedToRect(outline.translated(1000, 0), frame).isEmpty());
}

void TestFunctions::cuttingATangleKeepsWhatIsInside()
{
    const QPolygonF outline = randomOutline(400, frame.adjusted(-300, -300, 300, 300), 8);
    const QPolygonF cut = Functions::clippedToRect(outline, frame);
    QVERIFY(frame.contains(cut.boundingRect()));
    int inside = 0;
    for (double x = 3.3; x < 640; x += 7) {
        for (double y = 3.7; y < 480; y += 7) {
            const bool wanted = outline.containsPoint(QPointF(x, y), Qt::OddEvenFill);
            QCOMPARE(cut.containsPoint(QPointF(x, y), Qt::OddEvenFill), wanted);
            inside += wanted ? 1 : 0;
        }
    }
    QVERIFY(inside > 1000);
}

void TestFunctions::everyNumberIsRoundedToAnInt_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<int>("rounded");
    const int least = std::numeric_limits<int>::min();
    const int most = std::numeric_limits<int>::max();
    QTest::newRow("half") << 0.5 << 1;
    QTest::newRow("minus half") << -0.5 << -1;
    QTest::newRow("even half") << 2.5 << 3;
    QTest::newRow("even half below zero") << -2.5 << -3;
    QTest::newRow("largest number below one half") << 0.49999999999999994 << 0;
    QTest::newRow("not a number") << notANumber << 0;
    QTest::newRow("infinite") << infinite << most;
    QTest::newRow("minus infinite") << -infinite << least;
    QTest::newRow("greatest int") << 2147483647.0 << most;
    QTest::newRow("less than half above the greatest int") << 2147483647.25 << most;
    QTest::newRow("one above the greatest int") << 2147483648.0 << most;
    QTest::newRow("half below the greatest int") << 2147483646.5 << most;
    QTest::newRow("one below the greatest int") << 2147483646.25 << most - 1;
    QTest::newRow("least int") << -2147483648.0 << least;
    QTest::newRow("one below the least int") << -2147483649.0 << least;
    QTest::newRow("far above") << 1e300 << most;
    QTest::newRow("far below") << -1e300 << least;
}

void TestFunctions::everyNumberIsRoundedToAnInt()
{
    QFETCH(double, value);
    QFETCH(int, rounded);
    QCOMPARE(Functions::roundToInt(value), rounded);
}

QTEST_APPLESS_MAIN(TestFunctions)
#include "tst_functions.moc"
