// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/morph.h"
#include "tests/support/testproject.h"

#include <QSignalSpy>
#include <QtTest>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <vector>

namespace
{

using FramePairs = QList<QPair<int, int>>;

// Spells out the vertices; QPolygonF itself takes a list of two points for a rectangle.
QPolygonF poly(const QVector<QPointF> &vertices)
{
    return QPolygonF(vertices);
}

QPolygonF reversed(QPolygonF polygon)
{
    std::reverse(polygon.begin(), polygon.end());
    return polygon;
}

bool near(const QPolygonF &a, const QPolygonF &b)
{
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](const QPointF &left, const QPointF &right) {
               return std::abs(left.x() - right.x()) < 1e-9 && std::abs(left.y() - right.y()) < 1e-9;
           });
}

bool near(const QList<QPolygonF> &a, const QList<QPolygonF> &b)
{
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(),
                      [](const QPolygonF &left, const QPolygonF &right) { return near(left, right); });
}

bool isFinite(const QPolygonF &polygon)
{
    return std::all_of(polygon.begin(), polygon.end(), [](const QPointF &point) {
        return std::isfinite(point.x()) && std::isfinite(point.y());
    });
}

QPolygonF withoutRepeats(const QPolygonF &polygon)
{
    QPolygonF result;
    for (const QPointF &point : polygon) {
        if (result.isEmpty() || QLineF(result.last(), point).length() > 1e-9)
            result.append(point);
    }
    return result;
}

QByteArray text(const QPolygonF &polygon)
{
    QByteArray result;
    for (const QPointF &point : polygon) {
        result += "(" + QByteArray::number(point.x(), 'g', 17) + ", " +
                  QByteArray::number(point.y(), 'g', 17) + ") ";
    }
    return result;
}

// A second, slower account of the blend. A correspondence is a position on A with its position on B, each an
// edge index plus fraction; the blend runs through all correspondences in their order along A.
class BlendModel
{
public:
    BlendModel(const QPolygonF &from, const QPolygonF &to)
        : m_offset(centre(to) - centre(from))
        , m_a(sameWayRound(from.translated(m_offset)))
        , m_b(sameWayRound(to))
    {
        struct Match {
            double onA;
            double onB;
        };
        std::vector<Match> fromA;
        for (int i = 0; i < m_a.size(); ++i)
            fromA.push_back({double(i), nearest(m_a[i], m_b)});
        std::vector<Match> fromB;
        for (int i = 0; i < m_b.size(); ++i)
            fromB.push_back({nearest(m_b[i], m_a), double(i)});

        // A vertex that meets a vertex is one correspondence, not two.
        std::set<double> metByA;
        for (const Match &match : fromA)
            metByA.insert(match.onB);
        fromB.erase(std::remove_if(fromB.begin(), fromB.end(),
                                   [&](const Match &match) { return metByA.count(match.onB) > 0; }),
                    fromB.end());
        std::set<double> metByB;
        for (const Match &match : fromB)
            metByB.insert(match.onA);
        fromA.erase(std::remove_if(fromA.begin(), fromA.end(),
                                   [&](const Match &match) { return metByB.count(match.onA) > 0; }),
                    fromA.end());

        // Positions on the other outline never go back, beginning with the first smallest one.
        const auto byA = [](const Match &left, const Match &right) { return left.onA < right.onA; };
        const auto byB = [](const Match &left, const Match &right) { return left.onB < right.onB; };
        std::rotate(fromA.begin(), std::min_element(fromA.begin(), fromA.end(), byB), fromA.end());
        for (std::size_t i = 1; i < fromA.size(); ++i)
            fromA[i].onB = std::max(fromA[i].onB, fromA[i - 1].onB);
        std::sort(fromA.begin(), fromA.end(), byA);
        std::rotate(fromB.begin(), std::min_element(fromB.begin(), fromB.end(), byA), fromB.end());
        for (std::size_t i = 1; i < fromB.size(); ++i)
            fromB[i].onA = std::max(fromB[i].onA, fromB[i - 1].onA);

        std::vector<Match> all = fromB; // first, so that the stable sort puts them first on ties
        all.insert(all.end(), fromA.begin(), fromA.end());
        std::stable_sort(all.begin(), all.end(), byA);
        for (const Match &match : all) {
            m_start.append(at(m_a, match.onA) - m_offset);
            m_end.append(at(m_b, match.onB));
        }
    }

    QPolygonF blend(double weight) const
    {
        QPolygonF result;
        for (int i = 0; i < m_start.size(); ++i)
            result.append(m_start[i] + (m_end[i] - m_start[i]) * weight);
        return result;
    }

    static double nearest(const QPointF &point, const QPolygonF &outline)
    {
        std::vector<std::pair<double, double>> candidates; // distance, position
        for (int edge = 0; edge < outline.size(); ++edge) {
            const QPointF start = outline[edge];
            const QPointF direction = outline[(edge + 1) % outline.size()] - start;
            const double length = std::sqrt(direction.x() * direction.x() + direction.y() * direction.y());
            if (length == 0)
                continue;
            const double along = ((point.x() - start.x()) * (direction.x() / length) +
                                  (point.y() - start.y()) * (direction.y() / length)) /
                                 length;
            const double fraction = std::min(1.0, std::max(0.0, along));
            const QPointF gap = point - (start + fraction * direction);
            candidates.push_back({std::sqrt(gap.x() * gap.x() + gap.y() * gap.y()), edge + fraction});
        }
        if (candidates.empty())
            return 0;
        return std::min_element(candidates.begin(), candidates.end(),
                                [](const auto &left, const auto &right) { return left.first < right.first; })
            ->second;
    }

private:
    static QPointF centre(const QPolygonF &outline)
    {
        const QRectF box = outline.boundingRect();
        return QPointF(box.left() + box.width() * 0.5, box.top() + box.height() * 0.5);
    }

    static QPolygonF sameWayRound(const QPolygonF &outline)
    {
        int sum = 0;
        for (int i = 0; i < outline.size(); ++i) {
            const QPointF next = outline[(i + 1) % outline.size()];
            sum = static_cast<int>(sum + (next.x() - outline[i].x()) * (outline[i].y() + next.y()));
        }
        return sum < 0 ? reversed(outline) : outline;
    }

    static QPointF at(const QPolygonF &outline, double position)
    {
        const int edge = static_cast<int>(position);
        const QPointF start = outline[edge % outline.size()];
        return start + (outline[(edge + 1) % outline.size()] - start) * (position - edge);
    }

    QPointF m_offset;
    QPolygonF m_a;
    QPolygonF m_b;
    QPolygonF m_start;
    QPolygonF m_end;
};

enum class Kind { Convex, Concave, Star, Comb, WholePixels, RepeatedPoints, OneVertex, None };

QPolygonF randomOutline(Kind kind, std::mt19937 &random)
{
    std::uniform_real_distribution<double> unit(0, 1);
    const QPointF centre(50 + 500 * unit(random), 50 + 400 * unit(random));
    const double radius = 5 + 100 * unit(random);
    const int count = 3 + static_cast<int>(9 * unit(random));
    QPolygonF outline;
    switch (kind) {
    case Kind::Convex:
    case Kind::Concave:
    case Kind::Star:
        for (int i = 0; i < count * 2; ++i) {
            const double angle = (i + 0.5 * unit(random)) * 3.14159265358979323846 / count;
            double share = 1;
            if (kind == Kind::Concave)
                share = 0.3 + 0.7 * unit(random);
            else if (kind == Kind::Star)
                share = i % 2 == 0 ? 1 : 0.25;
            outline.append(centre + radius * share * QPointF(std::cos(angle), -std::sin(angle)));
        }
        break;
    case Kind::Comb:
        for (int i = 0; i < count; ++i) {
            outline.append(centre + QPointF(10 * i, i % 2 == 0 ? 0 : radius));
            outline.append(centre + QPointF(10 * i + 4 * unit(random), i % 2 == 0 ? 0 : radius));
        }
        outline.append(centre + QPointF(5 * count, -radius));
        break;
    case Kind::WholePixels:
        for (int i = 0; i < count; ++i)
            outline.append(QPointF(std::floor(8 * unit(random)), std::floor(8 * unit(random))));
        outline.append(QPointF(9, 9)); // never all at one place
        break;
    case Kind::RepeatedPoints:
        for (const QPointF &point : randomOutline(Kind::Convex, random)) {
            for (int copy = 0; copy < 1 + static_cast<int>(3 * unit(random)); ++copy)
                outline.append(point);
        }
        break;
    case Kind::OneVertex:
        outline.append(centre);
        break;
    case Kind::None:
        break;
    }
    return unit(random) < 0.5 ? outline : reversed(outline);
}

} // namespace

class TestMorph : public QObject
{
    Q_OBJECT

private slots:
    void assignFindsTheNearestPointOfTheOutline_data();
    void assignFindsTheNearestPointOfTheOutline();
    void assignOfNothingIsEmpty();
    void theEndOfTheLastEdgeIsNotVertexZero();
    void edgesWithoutLengthAreNeverTaken();
    void assignNamesEveryVertex();
    void noPointOfTheOutlineIsNearer();
    void parameterNamesEdgeAndFraction_data();
    void parameterNamesEdgeAndFraction();

    void pairsAreTheShownSpansInsideTheFrames_data();
    void pairsAreTheShownSpansInsideTheFrames();
    void occludedSpansArePairsToo();
    void withoutShownSpanThePairIsMinusOne();
    void spansLeftOutOfTheListAreNoPairs();
    void theEmptyEndOfASpanGetsACopyOfTheOther_data();
    void theEmptyEndOfASpanGetsACopyOfTheOther();
    void endsBothEmptyOrBothAnnotatedStayAsTheyAre_data();
    void endsBothEmptyOrBothAnnotatedStayAsTheyAre();
    void copiesGoOnToLaterSpansOnly();

    void innerFramesAreBlended();
    void framesWithoutAnyBetweenThemAreLeftAlone();
    void spanAnnotatedAtOneEndKeepsItsOutline_data();
    void spanAnnotatedAtOneEndKeepsItsOutline();
    void userKeyFramesInsideASpanAreOverwritten();
    void morphingGoesThroughTheSetters();
    void spanWithoutOutlinesFillsWithEmptyOnes();
    void hiddenSpansAreNotMorphed();
    void minusOneIsTheLastFrame();
    void onlySpansInsideTheFramesAreMorphed();
    void otherObjectsAreNotMorphed();
    void withoutACurrentObjectNothingHappens();
    void theGivenStateIsMorphedNotTheOneInUse();

    void blendOfAMovedSquareIsTheSquareOnItsWay();
    void blendOfEqualOutlinesIsTheOutline_data();
    void blendOfEqualOutlinesIsTheOutline();
    void reversedSquareDoesNotTurnOver();
    void triangleBecomesASquare();
    void triangleBecomesASquareElsewhere();
    void squareBecomesADiamond();
    void correspondencesNeverCross();
    void orientationSumIsAnInteger_data();
    void orientationSumIsAnInteger();
    void asManyPolygonsAsAskedFor_data();
    void asManyPolygonsAsAskedFor();
    void blendOfAnEmptyOutlineIsEmpty();
    void theEndsOfTheBlendLieOnTheOutlines();
    void blendAgreesWithTheModel_data();
    void blendAgreesWithTheModel();
    void blendOfNearlyEqualOutlinesAgreesWithTheModel();
    void outlinesWithoutLengthStayFinite();
    void outlinesWithBrokenCoordinatesAreBlended_data();
    void outlinesWithBrokenCoordinatesAreBlended();
    void hugeOutlinesKeepTheirOrientation_data();
    void hugeOutlinesKeepTheirOrientation();
    void noPointOfAnEmptyOutlineIsTheOrigin();
};

void TestMorph::assignFindsTheNearestPointOfTheOutline_data()
{
    QTest::addColumn<QPointF>("point");
    QTest::addColumn<double>("parameter");
    // The outline is (0, 0), (0, 10), (10, 10), (10, 0).
    QTest::newRow("vertex 0 is the start of edge 0") << QPointF(0, 0) << 0.0;
    QTest::newRow("vertex 1 is the end of edge 0") << QPointF(0, 10) << 1.0;
    QTest::newRow("vertex 2") << QPointF(10, 10) << 2.0;
    QTest::newRow("vertex 3") << QPointF(10, 0) << 3.0;
    QTest::newRow("on an edge") << QPointF(0, 2.5) << 0.25;
    QTest::newRow("on the closing edge") << QPointF(2.5, 0) << 3.75;
    QTest::newRow("outside an edge") << QPointF(5, 100) << 1.5;
    QTest::newRow("inside, nearest to an edge") << QPointF(9, 2.5) << 2.75;
    QTest::newRow("outside vertex 0") << QPointF(-3, -3) << 0.0;
    QTest::newRow("outside vertex 1") << QPointF(-3, 13) << 1.0;
    QTest::newRow("outside vertex 2") << QPointF(11, 15) << 2.0;
    QTest::newRow("all edges equally near") << QPointF(5, 5) << 0.5;
    QTest::newRow("last two edges equally near") << QPointF(8, 2) << 2.8;
    QTest::newRow("first and last edge equally near") << QPointF(2, 2) << 0.2;
}

void TestMorph::assignFindsTheNearestPointOfTheOutline()
{
    QFETCH(QPointF, point);
    QFETCH(double, parameter);
    const QMap<double, double> map = Morph(nullptr).assign(poly({point}), rectangle(0, 0, 10, 10));
    QCOMPARE(map.keys(), QList<double>{0.0});
    QCOMPARE(map.first(), parameter);
}

void TestMorph::assignOfNothingIsEmpty()
{
    QVERIFY(Morph(nullptr).assign(QPolygonF(), rectangle(0, 0, 10, 10)).isEmpty());
    QVERIFY(Morph(nullptr).assign(QPolygonF(), QPolygonF()).isEmpty());
}

void TestMorph::theEndOfTheLastEdgeIsNotVertexZero()
{
    // 1 - 1e-17 rounds to 1, so the last edge ends at (0, 0), nearer than vertex 0 itself.
    const QPolygonF outline = poly({QPointF(1e-17, 0), QPointF(0, -10), QPointF(1, 0)});
    const QMap<double, double> map = Morph(nullptr).assign(poly({QPointF(0, 0)}), outline);
    QVERIFY(map.value(0) == 3.0);
    QCOMPARE(Morph(nullptr).pointFromAssignment(outline, map.value(0)), outline.first());
}

void TestMorph::edgesWithoutLengthAreNeverTaken()
{
    const QPolygonF doubledFirst = poly({QPointF(10, 0), QPointF(10, 0), QPointF(10, 10), QPointF(0, 10)});
    QVERIFY(Morph(nullptr).assign(poly({QPointF(10, 0)}), doubledFirst).value(0) == 1.0);
    QVERIFY(Morph(nullptr).assign(poly({QPointF(11, -5)}), doubledFirst).value(0) == 1.0);
    const QPolygonF doubledLater = poly({QPointF(0, 0), QPointF(10, 0), QPointF(10, 0), QPointF(10, 10)});
    QVERIFY(Morph(nullptr).assign(poly({QPointF(10, 4)}), doubledLater).value(0) == 2.4);
    QVERIFY(Morph(nullptr).assign(poly({QPointF(12, 0)}), doubledLater).value(0) == 1.0);
    // Closed twice: the last edge has no length.
    const QPolygonF closed =
        poly({QPointF(0, 0), QPointF(0, 10), QPointF(10, 10), QPointF(10, 0), QPointF(0, 0)});
    QVERIFY(Morph(nullptr).assign(poly({QPointF(-1, -1)}), closed).value(0) == 0.0);
}

void TestMorph::assignNamesEveryVertex()
{
    const QPolygonF points = poly({QPointF(0, 0), QPointF(3, 0), QPointF(3, 0), QPointF(20, 20)});
    const QMap<double, double> map = Morph(nullptr).assign(points, rectangle(0, 0, 10, 10));
    QCOMPARE(map.keys(), (QList<double>{0, 1, 2, 3}));
    QCOMPARE(map.values(), (QList<double>{0, 3.7, 3.7, 2}));
    // One edge there and one back: the tie goes to the first.
    const QPolygonF line = poly({QPointF(0, 0), QPointF(10, 0)});
    QCOMPARE(Morph(nullptr).assign(points, line).values(), (QList<double>{0, 0.3, 0.3, 1}));
    // An outline of one vertex has no edge to choose.
    QCOMPARE(Morph(nullptr).assign(points, poly({QPointF(1, 1)})).keys(), (QList<double>{0, 1, 2, 3}));
}

void TestMorph::noPointOfTheOutlineIsNearer()
{
    std::mt19937 random(21);
    for (int run = 0; run < 100; ++run) {
        const QPolygonF outline = randomOutline(run % 2 == 0 ? Kind::Convex : Kind::Star, random);
        const QPolygonF points = randomOutline(Kind::Concave, random);
        const QMap<double, double> map = Morph(nullptr).assign(points, outline);
        QCOMPARE(map.size(), points.size());
        for (int i = 0; i < points.size(); ++i) {
            QVERIFY(map.value(i) >= 0 && map.value(i) <= outline.size());
            const double distance =
                QLineF(points[i], Morph(nullptr).pointFromAssignment(outline, map.value(i))).length();
            for (int step = 0; step < outline.size() * 50; ++step) {
                const QPointF other = Morph(nullptr).pointFromAssignment(outline, step / 50.0);
                QVERIFY(distance <= QLineF(points[i], other).length() + 1e-9);
            }
        }
    }
}

void TestMorph::parameterNamesEdgeAndFraction_data()
{
    QTest::addColumn<QPolygonF>("outline");
    QTest::addColumn<double>("parameter");
    QTest::addColumn<QPointF>("point");
    const QPolygonF box = rectangle(0, 0, 10, 20);
    QTest::newRow("first vertex") << box << 0.0 << QPointF(0, 0);
    QTest::newRow("last vertex") << box << 3.0 << QPointF(10, 0);
    QTest::newRow("on the first edge") << box << 0.25 << QPointF(0, 5);
    QTest::newRow("on the second edge") << box << 1.75 << QPointF(7.5, 20);
    QTest::newRow("on the closing edge") << box << 3.5 << QPointF(5, 0);
    QTest::newRow("number of vertices is vertex 0") << box << 4.0 << QPointF(0, 0);
    QTest::newRow("beyond the number of vertices") << box << 4.25 << QPointF(0, 5);
    QTest::newRow("single vertex") << poly({QPointF(3, 4)}) << 0.0 << QPointF(3, 4);
    QTest::newRow("single vertex, fraction") << poly({QPointF(3, 4)}) << 0.5 << QPointF(3, 4);
    QTest::newRow("two vertices, way back") << poly({QPointF(0, 0), QPointF(8, 4)}) << 1.25 << QPointF(6, 3);
}

void TestMorph::parameterNamesEdgeAndFraction()
{
    QFETCH(QPolygonF, outline);
    QFETCH(double, parameter);
    QFETCH(QPointF, point);
    QCOMPARE(Morph(nullptr).pointFromAssignment(outline, parameter), point);
}

void TestMorph::pairsAreTheShownSpansInsideTheFrames_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("last");
    QTest::addColumn<FramePairs>("pairs");
    // Shown are [10, 20] and [20, 30]; [0, 10] and [30, 99] are hidden.
    QTest::newRow("whole video") << 0 << 99 << FramePairs{{10, 20}, {20, 30}};
    QTest::newRow("exactly the spans") << 10 << 30 << FramePairs{{10, 20}, {20, 30}};
    QTest::newRow("from inside the first span") << 11 << 99 << FramePairs{{20, 30}};
    QTest::newRow("to inside the second span") << 0 << 29 << FramePairs{{10, 20}};
    QTest::newRow("second span only") << 20 << 30 << FramePairs{{20, 30}};
    QTest::newRow("inside a span") << 21 << 29 << FramePairs{{-1, -1}};
    QTest::newRow("hidden frames only") << 30 << 99 << FramePairs{{-1, -1}};
    QTest::newRow("no frames") << 30 << 10 << FramePairs{{-1, -1}};
    QTest::newRow("minus one is no frame here") << 0 << -1 << FramePairs{{-1, -1}};
}

void TestMorph::pairsAreTheShownSpansInsideTheFrames()
{
    QFETCH(int, first);
    QFETCH(int, last);
    QFETCH(FramePairs, pairs);
    TestProject project(100);
    TrackedObject *object = project.addObject();
    for (const int frame : {10, 20, 30})
        annotate(object, frame, rectangle(frame, 0, 10, 10));
    QCOMPARE(Morph(project.state()).getFramePairs(first, last), pairs);
}

void TestMorph::occludedSpansArePairsToo()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    for (const int frame : {10, 20, 30})
        annotate(object, frame, rectangle(frame, 0, 10, 10));
    object->frameSpans.at(15)->setType(FrameSpan::Occluded);
    object->frameSpans.at(25)->setType(FrameSpan::Hidden);
    object->frameSpans.at(35)->setType(FrameSpan::Visible);
    QCOMPARE(Morph(project.state()).getFramePairs(0, 99), (FramePairs{{10, 20}, {30, 99}}));
}

void TestMorph::withoutShownSpanThePairIsMinusOne()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    QCOMPARE(Morph(project.state()).getFramePairs(0, 99), (FramePairs{{-1, -1}}));
    annotate(object, 10, rectangle(0, 0, 10, 10));
    QCOMPARE(Morph(project.state()).getFramePairs(0, 99), (FramePairs{{-1, -1}}));
}

void TestMorph::spansLeftOutOfTheListAreNoPairs()
{
    // A span of two frames at the end is left out when another one was listed behind the first.
    TestProject project(100);
    TrackedObject *object = project.addObject();
    for (const int frame : {10, 98, 99})
        annotate(object, frame, rectangle(frame, 0, 10, 10));
    QCOMPARE(object->frameSpans.at(98)->type, FrameSpan::Visible);
    QCOMPARE(Morph(project.state()).getFramePairs(0, 99), (FramePairs{{10, 98}}));
}

void TestMorph::theEmptyEndOfASpanGetsACopyOfTheOther_data()
{
    QTest::addColumn<int>("annotated");
    QTest::addColumn<int>("empty");
    QTest::newRow("start annotated") << 10 << 14;
    QTest::newRow("end annotated") << 14 << 10;
}

void TestMorph::theEmptyEndOfASpanGetsACopyOfTheOther()
{
    QFETCH(int, annotated);
    QFETCH(int, empty);
    TestProject project(30);
    TrackedObject *object = project.addObject();
    const QPolygonF outline = rectangle(1, 2, 30, 40);
    annotate(object, annotated, outline, KeyFrame::Occluded);
    annotate(object, empty, QPolygonF());
    QSignalSpy changes(object->keyFrames.at(empty), &KeyFrame::hasChanged);
    QSignalSpy otherChanges(object->keyFrames.at(annotated), &KeyFrame::hasChanged);
    QCOMPARE(Morph(project.state()).getFramePairs(0, 29), (FramePairs{{10, 14}}));
    QCOMPARE(object->keyFrames.at(empty)->polygon, outline);
    QCOMPARE(object->keyFrames.at(empty)->type, KeyFrame::Automatic);
    QCOMPARE(object->keyFrames.at(annotated)->polygon, outline);
    QCOMPARE(object->keyFrames.at(annotated)->type, KeyFrame::Occluded);
    QCOMPARE(changes.count(), 2);
    QCOMPARE(changes.at(0).first().toInt(), int(KeyFrame::PolygonChanged));
    QCOMPARE(changes.at(1).first().toInt(), int(KeyFrame::TypeChanged));
    QCOMPARE(otherChanges.count(), 0);
}

void TestMorph::endsBothEmptyOrBothAnnotatedStayAsTheyAre_data()
{
    QTest::addColumn<QPolygonF>("start");
    QTest::addColumn<QPolygonF>("end");
    QTest::newRow("both empty") << QPolygonF() << QPolygonF();
    QTest::newRow("both annotated") << rectangle(0, 0, 5, 5) << rectangle(100, 0, 5, 5);
}

void TestMorph::endsBothEmptyOrBothAnnotatedStayAsTheyAre()
{
    QFETCH(QPolygonF, start);
    QFETCH(QPolygonF, end);
    TestProject project(30);
    TrackedObject *object = project.addObject();
    annotate(object, 10, start);
    annotate(object, 14, end);
    int changes = 0;
    for (KeyFrame *keyFrame : qAsConst(object->keyFrames))
        connect(keyFrame, &KeyFrame::hasChanged, this, [&changes] { ++changes; });
    QCOMPARE(Morph(project.state()).getFramePairs(0, 29), (FramePairs{{10, 14}}));
    QCOMPARE(changes, 0);
    QCOMPARE(object->keyFrames.at(10)->polygon, start);
    QCOMPARE(object->keyFrames.at(14)->polygon, end);
    QCOMPARE(object->keyFrames.at(14)->type, KeyFrame::Visible);
}

void TestMorph::copiesGoOnToLaterSpansOnly()
{
    TestProject project(60);
    TrackedObject *object = project.addObject();
    const QPolygonF outline = rectangle(1, 2, 30, 40);
    for (const int frame : {10, 20, 30, 40, 50})
        annotate(object, frame, frame == 30 ? outline : QPolygonF());
    Morph(project.state()).getFramePairs(0, 59);
    // [10, 20] is completed before [20, 30] passes the outline to frame 20.
    QCOMPARE(object->keyFrames.at(10)->polygon, QPolygonF());
    QCOMPARE(object->keyFrames.at(10)->type, KeyFrame::Visible);
    QCOMPARE(object->keyFrames.at(20)->polygon, outline);
    QCOMPARE(object->keyFrames.at(40)->polygon, outline);
    QCOMPARE(object->keyFrames.at(50)->polygon, outline);
    QCOMPARE(object->keyFrames.at(50)->type, KeyFrame::Automatic);
}

void TestMorph::innerFramesAreBlended()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    annotate(object, 10, rectangle(0, 0, 8, 8));
    annotate(object, 14, rectangle(40, 20, 8, 8), KeyFrame::Occluded);
    Morph(project.state()).linearMorphing(0, -1);
    QVERIFY(near(object->keyFrames.at(11)->polygon, rectangle(10, 5, 8, 8)));
    QVERIFY(near(object->keyFrames.at(12)->polygon, rectangle(20, 10, 8, 8)));
    QVERIFY(near(object->keyFrames.at(13)->polygon, rectangle(30, 15, 8, 8)));
    for (const int frame : {11, 12, 13})
        QCOMPARE(object->keyFrames.at(frame)->type, KeyFrame::Automatic);
    QCOMPARE(object->keyFrames.at(10)->polygon, rectangle(0, 0, 8, 8));
    QCOMPARE(object->keyFrames.at(10)->type, KeyFrame::Visible);
    QCOMPARE(object->keyFrames.at(14)->polygon, rectangle(40, 20, 8, 8));
    QCOMPARE(object->keyFrames.at(14)->type, KeyFrame::Occluded);
    for (const int frame : {0, 9, 15, 99}) {
        QVERIFY(object->keyFrames.at(frame)->polygon.isEmpty());
        QCOMPARE(object->keyFrames.at(frame)->type, KeyFrame::None);
    }
}

void TestMorph::framesWithoutAnyBetweenThemAreLeftAlone()
{
    TestProject project(30);
    TrackedObject *object = project.addObject();
    annotate(object, 10, rectangle(0, 0, 8, 8));
    annotate(object, 11, rectangle(40, 20, 8, 8));
    int changes = 0;
    for (KeyFrame *keyFrame : qAsConst(object->keyFrames))
        connect(keyFrame, &KeyFrame::hasChanged, this, [&changes] { ++changes; });
    Morph(project.state()).linearMorphing(0, -1);
    QCOMPARE(changes, 0);
}

void TestMorph::spanAnnotatedAtOneEndKeepsItsOutline_data()
{
    theEmptyEndOfASpanGetsACopyOfTheOther_data();
}

void TestMorph::spanAnnotatedAtOneEndKeepsItsOutline()
{
    QFETCH(int, annotated);
    QFETCH(int, empty);
    TestProject project(30);
    TrackedObject *object = project.addObject();
    const QPolygonF outline = rectangle(10, 20, 30, 40);
    annotate(object, annotated, outline);
    annotate(object, empty, QPolygonF());
    Morph(project.state()).linearMorphing(0, -1);
    for (int frame = 10; frame <= 14; ++frame) {
        QVERIFY(near(object->keyFrames.at(frame)->polygon, outline));
        QCOMPARE(object->keyFrames.at(frame)->type,
                 frame == annotated ? KeyFrame::Visible : KeyFrame::Automatic);
    }
}

void TestMorph::userKeyFramesInsideASpanAreOverwritten()
{
    TestProject project(30);
    TrackedObject *object = project.addObject();
    annotate(object, 10, rectangle(0, 0, 8, 8));
    annotate(object, 14, rectangle(40, 0, 8, 8));
    // Written to the fields, so that the span is not split.
    object->keyFrames.at(12)->polygon = rectangle(300, 300, 50, 50);
    object->keyFrames.at(12)->type = KeyFrame::Visible;
    Morph(project.state()).linearMorphing(0, -1);
    QVERIFY(near(object->keyFrames.at(12)->polygon, rectangle(20, 0, 8, 8)));
    QCOMPARE(object->keyFrames.at(12)->type, KeyFrame::Automatic);
}

void TestMorph::morphingGoesThroughTheSetters()
{
    TestProject project(30);
    TrackedObject *object = project.addObject();
    annotate(object, 10, rectangle(0, 0, 8, 8));
    annotate(object, 14, rectangle(40, 0, 8, 8));
    QVector<QPair<int, int>> changes; // frame, flags
    for (KeyFrame *keyFrame : qAsConst(object->keyFrames)) {
        connect(keyFrame, &KeyFrame::hasChanged, this, [&changes, keyFrame](int flags) {
            changes.append({keyFrame->frame, flags});
        });
    }
    QSignalSpy objectChanges(object, &TrackedObject::hasChanged);
    Morph(project.state()).linearMorphing(0, -1);
    QCOMPARE(changes, (QVector<QPair<int, int>>{{11, KeyFrame::PolygonChanged},
                                                {11, KeyFrame::TypeChanged},
                                                {12, KeyFrame::PolygonChanged},
                                                {12, KeyFrame::TypeChanged},
                                                {13, KeyFrame::PolygonChanged},
                                                {13, KeyFrame::TypeChanged}}));
    QCOMPARE(objectChanges.count(), 0);
}

void TestMorph::spanWithoutOutlinesFillsWithEmptyOnes()
{
    TestProject project(30);
    TrackedObject *object = project.addObject();
    annotate(object, 10, QPolygonF());
    annotate(object, 14, QPolygonF());
    object->keyFrames.at(12)->polygon = rectangle(0, 0, 5, 5);
    Morph(project.state()).linearMorphing(0, -1);
    for (const int frame : {11, 12, 13}) {
        QVERIFY(object->keyFrames.at(frame)->polygon.isEmpty());
        QCOMPARE(object->keyFrames.at(frame)->type, KeyFrame::Automatic);
    }
    QCOMPARE(object->keyFrames.at(10)->type, KeyFrame::Visible);
}

void TestMorph::hiddenSpansAreNotMorphed()
{
    TestProject project(30);
    TrackedObject *object = project.addObject();
    annotate(object, 10, rectangle(0, 0, 8, 8));
    annotate(object, 14, rectangle(40, 0, 8, 8));
    annotate(object, 20, rectangle(80, 0, 8, 8));
    object->frameSpans.at(12)->setType(FrameSpan::Hidden);
    Morph(project.state()).linearMorphing(0, -1);
    for (const int frame : {0, 5, 11, 12, 13, 21, 29}) {
        QVERIFY(object->keyFrames.at(frame)->polygon.isEmpty());
        QCOMPARE(object->keyFrames.at(frame)->type, KeyFrame::None);
    }
    QVERIFY(!object->keyFrames.at(17)->polygon.isEmpty());
}

void TestMorph::minusOneIsTheLastFrame()
{
    TestProject project(5);
    TrackedObject *object = project.addObject();
    annotate(object, 0, rectangle(0, 0, 8, 8));
    annotate(object, 4, rectangle(40, 0, 8, 8));
    Morph(project.state()).linearMorphing(0, 3);
    QVERIFY(object->keyFrames.at(2)->polygon.isEmpty());
    Morph(project.state()).linearMorphing(0, -1);
    QVERIFY(near(object->keyFrames.at(2)->polygon, rectangle(20, 0, 8, 8)));
}

void TestMorph::onlySpansInsideTheFramesAreMorphed()
{
    TestProject project(60);
    TrackedObject *object = project.addObject();
    for (const int frame : {10, 20, 30})
        annotate(object, frame, rectangle(frame, 0, 8, 8));
    Morph(project.state()).linearMorphing(20, 30);
    QVERIFY(object->keyFrames.at(15)->polygon.isEmpty());
    QVERIFY(near(object->keyFrames.at(25)->polygon, rectangle(25, 0, 8, 8)));
    Morph(project.state()).linearMorphing(10, 20);
    QVERIFY(near(object->keyFrames.at(15)->polygon, rectangle(15, 0, 8, 8)));
}

void TestMorph::otherObjectsAreNotMorphed()
{
    TestProject project(30);
    TrackedObject *first = project.addObject();
    TrackedObject *second = project.addObject();
    for (TrackedObject *object : {first, second}) {
        annotate(object, 10, rectangle(0, 0, 8, 8));
        annotate(object, 14, rectangle(40, 0, 8, 8));
    }
    project->setCurrentObject(first->id);
    Morph(project.state()).linearMorphing(0, -1);
    QVERIFY(!first->keyFrames.at(12)->polygon.isEmpty());
    QVERIFY(second->keyFrames.at(12)->polygon.isEmpty());
}

void TestMorph::withoutACurrentObjectNothingHappens()
{
    TestProject project(30);
    TrackedObject *object = project.addObject();
    annotate(object, 10, rectangle(0, 0, 8, 8));
    annotate(object, 14, rectangle(40, 0, 8, 8));
    for (const int id : {-1, 17}) {
        project->setCurrentObject(id);
        Morph(project.state()).linearMorphing(0, -1);
        QCOMPARE(Morph(project.state()).getFramePairs(0, 29), (FramePairs{{-1, -1}}));
    }
    QVERIFY(object->keyFrames.at(12)->polygon.isEmpty());

    DataState empty; // no video either
    Morph(&empty).linearMorphing(0, -1);
    QVERIFY(!empty.hasObjects());
}

void TestMorph::theGivenStateIsMorphedNotTheOneInUse()
{
    TestProject given(30);
    TrackedObject *object = given.addObject();
    annotate(object, 10, rectangle(0, 0, 8, 8));
    annotate(object, 29, rectangle(40, 0, 8, 8));
    TestProject inUse(20);
    TrackedObject *other = inUse.addObject();
    annotate(other, 10, rectangle(0, 0, 8, 8));
    annotate(other, 14, rectangle(40, 0, 8, 8));
    Morph(given.state()).linearMorphing(0, -1);
    QVERIFY(!object->keyFrames.at(25)->polygon.isEmpty());
    QVERIFY(other->keyFrames.at(12)->polygon.isEmpty());
}

void TestMorph::blendOfAMovedSquareIsTheSquareOnItsWay()
{
    // Centred onto one another the squares agree: every vertex meets its twin.
    const QList<QPolygonF> blends =
        Morph(nullptr).getMorphedPolygons(rectangle(0, 0, 8, 8), rectangle(40, 20, 8, 8), 3);
    QVERIFY(near(blends, {rectangle(10, 5, 8, 8), rectangle(20, 10, 8, 8), rectangle(30, 15, 8, 8)}));
}

void TestMorph::blendOfEqualOutlinesIsTheOutline_data()
{
    QTest::addColumn<QPolygonF>("outline");
    QTest::newRow("square") << rectangle(10, 20, 30, 30);
    QTest::newRow("concave") << poly(
        {QPointF(0, 0), QPointF(3, 9), QPointF(20, 20), QPointF(20, 0), QPointF(9, 3)});
    QTest::newRow("triangle") << poly({QPointF(1, 1), QPointF(4, 9), QPointF(11, 2)});
}

void TestMorph::blendOfEqualOutlinesIsTheOutline()
{
    QFETCH(QPolygonF, outline);
    const QList<QPolygonF> blends = Morph(nullptr).getMorphedPolygons(outline, outline, 4);
    QVERIFY2(near(blends, {outline, outline, outline, outline}), text(blends.value(0)));
}

void TestMorph::reversedSquareDoesNotTurnOver()
{
    // from = (0,0) (8,0) (8,8) (0,8) has the sum -128 and is turned round: A = (0,8) (8,8) (8,0) (0,0).
    // A's vertices meet B's vertices 1, 2, 3, 0, and no vertex of B is left over.
    const QPolygonF square = rectangle(0, 0, 8, 8);
    const QPolygonF other = poly({QPointF(0, 0), QPointF(8, 0), QPointF(8, 8), QPointF(0, 8)});
    const QPolygonF turned = poly({QPointF(0, 8), QPointF(8, 8), QPointF(8, 0), QPointF(0, 0)});
    const QList<QPolygonF> blends = Morph(nullptr).getMorphedPolygons(other, square, 2);
    QVERIFY2(near(blends, {turned, turned}), text(blends.value(0)));
    // The other way about it is B that is turned round; the blend begins with A's vertex 0.
    const QList<QPolygonF> back = Morph(nullptr).getMorphedPolygons(square, other, 2);
    QVERIFY2(near(back, {square, square}), text(back.value(0)));
}

void TestMorph::triangleBecomesASquare()
{
    // A = (4,0) (0,8) (8,8), B = (0,0) (0,8) (8,8) (8,0); both boxes have the centre (4, 4), both sums are
    // positive.
    //   A's vertices on B:  0 -> 3.5, 1 -> 1, 2 -> 2
    //   B's vertices on A:  0 -> 0.2 = (3.2, 1.6), 1 and 2 are met already, 3 -> 2.8 = (4.8, 1.6)
    // Along A: 0 (A), 0.2 (B), 1 (A), 2 (A), 2.8 (B).
    const QList<QPolygonF> blends = Morph(nullptr).getMorphedPolygons(
        poly({QPointF(4, 0), QPointF(0, 8), QPointF(8, 8)}), rectangle(0, 0, 8, 8), 3);
    const QPolygonF quarter =
        poly({QPointF(4, 0), QPointF(2.4, 1.2), QPointF(0, 8), QPointF(8, 8), QPointF(5.6, 1.2)});
    const QPolygonF half =
        poly({QPointF(4, 0), QPointF(1.6, 0.8), QPointF(0, 8), QPointF(8, 8), QPointF(6.4, 0.8)});
    const QPolygonF threeQuarters =
        poly({QPointF(4, 0), QPointF(0.8, 0.4), QPointF(0, 8), QPointF(8, 8), QPointF(7.2, 0.4)});
    QVERIFY2(near(blends, {quarter, half, threeQuarters}), text(blends.value(0)));
}

void TestMorph::triangleBecomesASquareElsewhere()
{
    // The same, with the triangle 100 to the right and 40 below: half of the way is left at half time.
    const QList<QPolygonF> blends = Morph(nullptr).getMorphedPolygons(
        poly({QPointF(104, 40), QPointF(100, 48), QPointF(108, 48)}), rectangle(0, 0, 8, 8), 1);
    const QPolygonF half =
        poly({QPointF(54, 20), QPointF(51.6, 20.8), QPointF(50, 28), QPointF(58, 28), QPointF(56.4, 20.8)});
    QVERIFY2(near(blends, {half}), text(blends.value(0)));
}

void TestMorph::squareBecomesADiamond()
{
    // A = (0,0) (0,8) (8,8) (8,0), B = (8,4) (4,0) (0,4) (4,8).
    //   A's vertices on B:  0 -> 1.5 = (2,2), 1 -> 2.5 = (2,6), 2 -> 3.5 = (6,6), 3 -> 0.5 = (6,2)
    //   B's vertices on A:  0 -> 2.5, 1 -> 3.5, 2 -> 0.5, 3 -> 1.5; B's list therefore begins with vertex 2
    const QList<QPolygonF> blends = Morph(nullptr).getMorphedPolygons(
        rectangle(0, 0, 8, 8), poly({QPointF(8, 4), QPointF(4, 0), QPointF(0, 4), QPointF(4, 8)}), 1);
    const QPolygonF half = poly({QPointF(1, 1), QPointF(0, 4), QPointF(1, 7), QPointF(4, 8), QPointF(7, 7),
                                 QPointF(8, 4), QPointF(7, 1), QPointF(4, 0)});
    QVERIFY2(near(blends, {half}), text(blends.value(0)));
}

void TestMorph::correspondencesNeverCross()
{
    // A's vertices 0 to 5 lie nearest to 0, 1, 1.6, 1.4, 2, 3 of B. The 1.4 would go back and becomes 1.6, so
    // that vertex 3 = (4,3) moves to (6,4), not to (4,4).
    const QPolygonF folded =
        poly({QPointF(0, 0), QPointF(0, 4), QPointF(6, 3.5), QPointF(4, 3), QPointF(10, 4), QPointF(10, 0)});
    const QList<QPolygonF> blends = Morph(nullptr).getMorphedPolygons(folded, rectangle(0, 0, 10, 4), 1);
    const QPolygonF half = poly(
        {QPointF(0, 0), QPointF(0, 4), QPointF(6, 3.75), QPointF(5, 3.5), QPointF(10, 4), QPointF(10, 0)});
    QVERIFY2(near(blends, {half}), text(blends.value(0)));
}

void TestMorph::orientationSumIsAnInteger_data()
{
    QTest::addColumn<QPolygonF>("outline");
    QTest::addColumn<bool>("turnedRound");
    // The comments give the terms, and the sum after each of them.
    // 0, -0.75, -0.75: 0, 0, 0; without truncation -1.5.
    QTest::newRow("negative terms that vanish")
        << poly({QPointF(0, 0), QPointF(1, 0), QPointF(0.5, 1.5)}) << false;
    // 0.75, 1.75, -2: 0, 1, -1; without truncation 0.5.
    QTest::newRow("positive fractions that vanish")
        << poly({QPointF(0, 0), QPointF(0.5, 1.5), QPointF(1, 2)}) << true;
    // 4, -1.75, -3.75: 4, 2, -1; with each term truncated alone 0.
    QTest::newRow("the sum is truncated, not the terms")
        << poly({QPointF(0, 0.5), QPointF(2, 1.5), QPointF(1.5, 2)}) << true;
    // -2.5, 1.5, -0.75: -2, 0, 0; with each term truncated alone -1.
    QTest::newRow("truncation goes toward zero")
        << poly({QPointF(1, 1.5), QPointF(0, 1), QPointF(1.5, 0)}) << false;
    // 3.75, -1.25, -2: 3, 1, -1; without truncation 0.5.
    QTest::newRow("a little at every step")
        << poly({QPointF(0, 1), QPointF(1.5, 1.5), QPointF(1, 1)}) << true;
    QTest::newRow("large outline, clockwise on screen")
        << poly({QPointF(0, 0), QPointF(10, 0), QPointF(10, 10), QPointF(0, 10)}) << true;
    QTest::newRow("large outline, counter-clockwise on screen") << rectangle(0, 0, 10, 10) << false;
}

void TestMorph::orientationSumIsAnInteger()
{
    QFETCH(QPolygonF, outline);
    QFETCH(bool, turnedRound);
    // The blend of an outline into itself shows the order that was chosen. Where a projection is a bit short
    // of a corner, that corner is matched from both sides and occurs twice.
    const QList<QPolygonF> blends = Morph(nullptr).getMorphedPolygons(outline, outline, 1);
    QCOMPARE(blends.size(), 1);
    const QPolygonF blend = withoutRepeats(blends.first());
    QVERIFY2(near(blend, turnedRound ? reversed(outline) : outline), text(blend));
}

void TestMorph::asManyPolygonsAsAskedFor_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("polygons");
    QTest::newRow("none") << 0 << 0;
    QTest::newRow("fewer than none") << -3 << 0;
    QTest::newRow("one") << 1 << 1;
    QTest::newRow("many") << 1000 << 1000;
}

void TestMorph::asManyPolygonsAsAskedFor()
{
    QFETCH(int, count);
    QFETCH(int, polygons);
    QCOMPARE(Morph(nullptr).getMorphedPolygons(rectangle(0, 0, 8, 8), rectangle(9, 9, 3, 5), count).size(),
             polygons);
    QCOMPARE(Morph(nullptr).getMorphedPolygons(QPolygonF(), QPolygonF(), count).size(), polygons);
}

void TestMorph::blendOfAnEmptyOutlineIsEmpty()
{
    const QList<QPolygonF> three{QPolygonF(), QPolygonF(), QPolygonF()};
    QCOMPARE(Morph(nullptr).getMorphedPolygons(QPolygonF(), QPolygonF(), 3), three);
    QCOMPARE(Morph(nullptr).getMorphedPolygons(QPolygonF(), rectangle(0, 0, 8, 8), 3), three);
    QCOMPARE(Morph(nullptr).getMorphedPolygons(rectangle(0, 0, 8, 8), QPolygonF(), 3), three);
}

void TestMorph::theEndsOfTheBlendLieOnTheOutlines()
{
    // One step of twenty thousand away from an outline every point of the blend is practically on it.
    std::mt19937 random(22);
    for (int run = 0; run < 20; ++run) {
        const QPolygonF from = randomOutline(Kind::Star, random);
        const QPolygonF to = randomOutline(Kind::Convex, random);
        const QList<QPolygonF> blends = Morph(nullptr).getMorphedPolygons(from, to, 20000);
        const auto gap = [](const QPolygonF &points, const QPolygonF &outline) {
            double largest = 0;
            for (const QPointF &point : points) {
                const QPointF foot =
                    Morph(nullptr).pointFromAssignment(outline, BlendModel::nearest(point, outline));
                largest = std::max(largest, QLineF(point, foot).length());
            }
            return largest;
        };
        QVERIFY(gap(blends.first(), from) < 0.1);
        QVERIFY(gap(blends.last(), to) < 0.1);
        QVERIFY(gap(blends.first(), to) > 0.1 || gap(from, to) < 0.2);
    }
}

void TestMorph::blendAgreesWithTheModel_data()
{
    QTest::addColumn<int>("fromKind");
    QTest::addColumn<int>("toKind");
    const QVector<QPair<Kind, QByteArray>> kinds{{Kind::Convex, "convex"},
                                                 {Kind::Concave, "concave"},
                                                 {Kind::Star, "star"},
                                                 {Kind::Comb, "comb"},
                                                 {Kind::WholePixels, "whole pixels"},
                                                 {Kind::RepeatedPoints, "repeated points"}};
    for (const auto &from : kinds) {
        for (const auto &to : kinds)
            QTest::newRow(from.second + " to " + to.second) << int(from.first) << int(to.first);
    }
}

void TestMorph::blendAgreesWithTheModel()
{
    QFETCH(int, fromKind);
    QFETCH(int, toKind);
    std::mt19937 random(static_cast<unsigned>(100 * fromKind + toKind));
    for (int run = 0; run < 25; ++run) {
        const QPolygonF from = randomOutline(static_cast<Kind>(fromKind), random);
        const QPolygonF to = randomOutline(static_cast<Kind>(toKind), random);
        const BlendModel model(from, to);
        const QList<QPolygonF> blends = Morph(nullptr).getMorphedPolygons(from, to, run % 5);
        QCOMPARE(blends.size(), run % 5);
        for (int k = 0; k < blends.size(); ++k) {
            const QPolygonF expected = model.blend((k + 1.0) / (blends.size() + 1.0));
            QVERIFY(isFinite(blends[k]));
            QVERIFY(blends[k].size() <= from.size() + to.size());
            QVERIFY2(near(blends[k], expected), text(from) + "to " + text(to) + "gave " + text(blends[k]) +
                                                    "instead of " + text(expected));
        }
    }
}

void TestMorph::blendOfNearlyEqualOutlinesAgreesWithTheModel()
{
    // Outlines that share most vertices, in another order or with another first vertex.
    std::mt19937 random(23);
    std::uniform_real_distribution<double> unit(0, 1);
    for (int run = 0; run < 300; ++run) {
        const QPolygonF from = randomOutline(run % 3 == 0 ? Kind::WholePixels : Kind::Concave, random);
        QPolygonF to = unit(random) < 0.5 ? from : reversed(from);
        std::rotate(to.begin(), to.begin() + static_cast<int>(unit(random) * to.size()), to.end());
        for (int moved = 0; moved < run % 4; ++moved)
            to[static_cast<int>(unit(random) * to.size())] += QPointF(unit(random), -unit(random)) * 5;
        if (run % 5 == 0)
            to.translate(13, -7);
        const QList<QPolygonF> blends = Morph(nullptr).getMorphedPolygons(from, to, 1);
        QCOMPARE(blends.size(), 1);
        QVERIFY(isFinite(blends.first()));
        const QPolygonF expected = BlendModel(from, to).blend(0.5);
        QVERIFY2(near(blends.first(), expected), text(from) + "to " + text(to) + "gave " +
                                                     text(blends.first()) + "instead of " + text(expected));
    }
}

void TestMorph::outlinesWithoutLengthStayFinite()
{
    std::mt19937 random(24);
    const QPolygonF pile = poly({QPointF(5, 5), QPointF(5, 5), QPointF(5, 5)});
    for (int run = 0; run < 100; ++run) {
        const QPolygonF other = randomOutline(static_cast<Kind>(run % 8), random);
        for (const QPolygonF &point : {randomOutline(Kind::OneVertex, random), pile}) {
            for (const QList<QPolygonF> &blends : {Morph(nullptr).getMorphedPolygons(point, other, 3),
                                                   Morph(nullptr).getMorphedPolygons(other, point, 3)}) {
                QCOMPARE(blends.size(), 3);
                for (const QPolygonF &blend : blends)
                    QVERIFY(isFinite(blend));
            }
        }
    }
}

void TestMorph::outlinesWithBrokenCoordinatesAreBlended_data()
{
    QTest::addColumn<QPolygonF>("broken");
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    const double infinite = std::numeric_limits<double>::infinity();
    const QPolygonF square = rectangle(100, 100, 50, 50);
    const auto withSecond = [square](QPointF point) {
        QPolygonF outline = square;
        outline[1] = point;
        return outline;
    };
    QTest::newRow("one x that is not a number") << withSecond(QPointF(notANumber, 150));
    QTest::newRow("first vertex that is not a number")
        << poly({QPointF(notANumber, notANumber), square[1], square[2], square[3]});
    QTest::newRow("nothing but what is not a number")
        << QPolygonF(QVector<QPointF>(4, QPointF(notANumber, notANumber)));
    QTest::newRow("one infinite x") << withSecond(QPointF(infinite, 150));
    QTest::newRow("one minus infinite y") << withSecond(QPointF(100, -infinite));
    QTest::newRow("one vertex far away") << withSecond(QPointF(1e300, -1e300));
    QTest::newRow("all in one place far away") << QPolygonF(QVector<QPointF>(4, QPointF(1e300, 1e300)));
    QTest::newRow("square of 1e160 pixels") << rectangle(-1e160, -1e160, 2e160, 2e160);
    QTest::newRow("one vertex that is not a number") << poly({QPointF(notANumber, 3)});
}

void TestMorph::outlinesWithBrokenCoordinatesAreBlended()
{
    QFETCH(QPolygonF, broken);
    const QPolygonF square = rectangle(200, 120, 60, 40);
    const auto check = [](const QPolygonF &from, const QPolygonF &to) {
        const QList<QPolygonF> blends = Morph(nullptr).getMorphedPolygons(from, to, 3);
        QCOMPARE(blends.size(), 3);
        for (const QPolygonF &blend : blends) {
            QCOMPARE(blend.size(), blends.first().size());
            QVERIFY(blend.size() >= 1);
            QVERIFY(blend.size() <= from.size() + to.size());
        }
    };
    check(broken, square);
    check(square, broken);
    check(broken, broken);

    // The same through the frames of an object; the outlines at the ends stay what they are.
    TestProject project(6);
    TrackedObject *object = project.addObject();
    annotate(object, 0, broken);
    annotate(object, 5, square);
    Morph(project.state()).linearMorphing(0, -1);
    for (int frame = 1; frame < 5; ++frame) {
        QCOMPARE(object->keyFrames.at(frame)->type, KeyFrame::Automatic);
        QVERIFY(!object->keyFrames.at(frame)->polygon.isEmpty());
    }
    QCOMPARE(object->keyFrames.at(0)->polygon.size(), broken.size());
    QVERIFY(object->keyFrames.at(5)->polygon == square);
}

void TestMorph::hugeOutlinesKeepTheirOrientation_data()
{
    QTest::addColumn<double>("side"); // pixels
    QTest::newRow("sum within 64 bits") << 1e9;
    QTest::newRow("sum beyond 64 bits") << 1e10;
    QTest::newRow("sum far beyond 64 bits") << 1e100;
}

void TestMorph::hugeOutlinesKeepTheirOrientation()
{
    QFETCH(double, side);
    const QPolygonF square = rectangle(0, 0, side, side);
    // Blended with itself the other way round, a square collapses unless one of the two is turned back.
    for (const QPolygonF &blend : Morph(nullptr).getMorphedPolygons(square, reversed(square), 3)) {
        QCOMPARE(blend.size(), 4);
        double area = 0;
        for (int i = 0; i < blend.size(); ++i) {
            const QPointF p = blend.at(i) / side;
            const QPointF next = blend.at((i + 1) % blend.size()) / side;
            area += (next.x() - p.x()) * (p.y() + next.y()) / 2;
        }
        QVERIFY2(std::abs(std::abs(area) - 1) < 1e-9, text(blend));
    }
}

void TestMorph::noPointOfAnEmptyOutlineIsTheOrigin()
{
    for (const double parameter : {0.0, 0.5, 3.0})
        QVERIFY(Morph(nullptr).pointFromAssignment(QPolygonF(), parameter) == QPointF(0, 0));
}

QTEST_APPLESS_MAIN(TestMorph)
#include "tst_morph.moc"
