// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/keyframe.h"
#include "Models/keyframewatcher.h"
#include "processing/functions.h"
#include "tests/support/testproject.h"

#include <QMetaMethod>
#include <QSignalSpy>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace
{

const QPolygonF smallBox = rectangle(10, 20, 30, 40);
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();

// Spells out the vertices; QPolygonF itself takes a list of two points for a rectangle.
QPolygonF poly(const QVector<QPointF> &vertices)
{
    return QPolygonF(vertices);
}

// Compares without the tolerance of Qt's own operators; two values that are no numbers count as equal.
bool same(const QPolygonF &a, const QPolygonF &b)
{
    const auto equal = [](double x, double y) { return x == y || (std::isnan(x) && std::isnan(y)); };
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [equal](const QPointF &left, const QPointF &right) {
               return equal(left.x(), right.x()) && equal(left.y(), right.y());
           });
}

// True when the outlines have the same vertices in the same cyclic order, wherever they begin.
bool sameRing(QPolygonF a, const QPolygonF &b)
{
    if (a.size() != b.size())
        return false;
    for (int turn = 0; turn < qMax(1, a.size()); ++turn) {
        if (same(a, b))
            return true;
        a.append(a.takeFirst());
    }
    return false;
}

QByteArray text(const QPolygonF &polygon)
{
    QByteArray result;
    for (const QPointF &point : polygon)
        result += "(" + QByteArray::number(point.x(), 'g', 17) + ", " +
                  QByteArray::number(point.y(), 'g', 17) + ") ";
    return result;
}

std::vector<double> vertexCosts(const QPolygonF &outline)
{
    std::vector<double> costs;
    const int count = outline.size();
    for (int i = 0; i < count; ++i) {
        const QPointF before = outline[(i + count - 1) % count];
        const QPointF after = outline[(i + 1) % count];
        const double distance = Functions::distToLineSegment(outline[i], before, after);
        costs.push_back(distance * distance / Functions::distance(before, after));
    }
    return costs;
}

QPolygonF removeAt(QPolygonF polygon, int index)
{
    polygon.remove(index);
    return polygon;
}

// A bump of `height` pixels in the middle of a side of 100 pixels costs height * height / 100.
QPolygonF squareWithBump(double height)
{
    return QPolygonF(
        {QPointF(0, 0), QPointF(50, -height), QPointF(100, 0), QPointF(100, 100), QPointF(0, 100)});
}

// Vertex 1 lies `height` pixels off a chord of length 1 and costs height * height. The rest of the outline
// goes to and fro so narrowly that every other vertex costs more than 1.3.
QPolygonF outlineWithShortChord(double height)
{
    return poly({QPointF(0, 0), QPointF(0.5, height), QPointF(1, 0), QPointF(0.25, height / 2), QPointF(1, 0),
                 QPointF(0, 0), QPointF(0.75, height / 2)});
}

/// Notes down what it hears.
class Watcher : private KeyFrameWatcher
{
public:
    explicit Watcher(KeyFrame *keyFrame)
        : KeyFrameWatcher(keyFrame)
    {
    }

    std::function<void()> onChange = [] {};
    QList<int> heard;

private:
    void keyFrameChanged(int flags) override
    {
        heard.append(flags);
        onChange();
    }
};

} // namespace

class TestKeyFrame : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void typeValuesAreThoseOfTheFile();
    void theChangeBits();
    void aKeyFrameStartsEmptyAtItsOwnersRank();
    void settingAPolygonAlwaysSignals();
    void settingAKeyFrameTypeAlwaysSignals();
    void annotatingSetsThePolygonThenTheType_data();
    void annotatingSetsThePolygonThenTheType();

    void watchersHearWhatIsAnnounced();
    void watchersHearOfChangesAfterTheObject();
    void watchersHearPoolThreadsOnTheirOwn();
    void watchersAndKeyFramesEndInAnyOrder();
    void snapshotsAreWholeWhileOtherThreadsWrite();
    void reductionRemovesVerticesOfCostOneOrLess_data();
    void reductionRemovesVerticesOfCostOneOrLess();
    void theLowerOfTwoEqualCostsGoesFirst_data();
    void theLowerOfTwoEqualCostsGoesFirst();
    void costsAreComputedAnewAfterEveryRemoval();
    void reductionAgreesWithItsRule();
    void reductionIsIdempotent();
    void reductionAnnouncesThePolygonOnce_data();
    void reductionAnnouncesThePolygonOnce();

    void transformMovesAnOutlineInsideTheFrame_data();
    void transformMovesAnOutlineInsideTheFrame();
    void transformClipsToTheFrame_data();
    void transformClipsToTheFrame();
    void transformAgreesWithQtsIntersection();
    void theFrameIsTheOneOfTheLoadedVideo();
    void transformStoresEveryVertexOnce();
    void outlineMovedOutOfTheFrameBecomesEmpty_data();
    void outlineMovedOutOfTheFrameBecomesEmpty();
    void transformAnnouncesThePolygonOnce();
    void transformIsASlotWithANamedArgument();
    void reductionIsNoSlot();
    void transformCanBeCalledThroughTheMetaObject();
    void transformsAddUp();
    void transformOfAnOutlineWithBrokenCoordinates_data();
    void transformOfAnOutlineWithBrokenCoordinates();

private:
    KeyFrame *keyFrame() const { return m_object->keyFrames.at(1); }
    QPolygonF reduced(const QPolygonF &polygon) const
    {
        keyFrame()->polygon = polygon;
        keyFrame()->reducePolygonVertices();
        return keyFrame()->polygon;
    }
    QPolygonF transformed(const QPolygonF &polygon, const Eigen::Affine2d &transform) const
    {
        keyFrame()->polygon = polygon;
        keyFrame()->transformPolygon(transform);
        return keyFrame()->polygon;
    }

    std::unique_ptr<TestProject> m_project;
    TrackedObject *m_object = nullptr;
};

Q_DECLARE_METATYPE(Eigen::Affine2d)

namespace
{

Eigen::Affine2d shift(double x, double y)
{
    return Eigen::Affine2d(Eigen::Translation2d(x, y));
}

} // namespace

void TestKeyFrame::init()
{
    m_project = std::make_unique<TestProject>(3, 640, 480);
    m_object = m_project->addObject();
}

void TestKeyFrame::cleanup()
{
    m_project.reset();
}

void TestKeyFrame::typeValuesAreThoseOfTheFile()
{
    QCOMPARE(static_cast<int>(KeyFrame::None), 0);
    QCOMPARE(static_cast<int>(KeyFrame::Visible), 1);
    QCOMPARE(static_cast<int>(KeyFrame::Occluded), 2);
    QCOMPARE(static_cast<int>(KeyFrame::Automatic), 3);
}

void TestKeyFrame::theChangeBits()
{
    QCOMPARE(static_cast<int>(KeyFrame::PolygonChanged), 1);
    QCOMPARE(static_cast<int>(KeyFrame::TypeChanged), 2);
}

void TestKeyFrame::aKeyFrameStartsEmptyAtItsOwnersRank()
{
    TestProject project(10);
    TrackedObject *object = project.addObject();
    object->id = 12;
    const KeyFrame key(object, 7, KeyFrame::Occluded);
    QCOMPARE(key.object, object);
    QCOMPARE(key.parent(), object);
    QCOMPARE(key.frame, 7);
    QCOMPARE(key.type, KeyFrame::Occluded);
    QVERIFY(key.polygon.isEmpty());
    QCOMPARE(key.zOrder, 12);
}

void TestKeyFrame::settingAPolygonAlwaysSignals()
{
    TestProject project(10);
    KeyFrame *key = project.addObject()->keyFrames.at(4);
    QSignalSpy spy(key, &KeyFrame::hasChanged);
    key->setNewPolygon(smallBox);
    QCOMPARE(key->polygon, smallBox);
    key->setNewPolygon(smallBox);
    key->setNewPolygon(QPolygonF());
    QVERIFY(key->polygon.isEmpty());
    QCOMPARE(key->type, KeyFrame::None);
    QCOMPARE(spy.count(), 3);
    for (const QList<QVariant> &arguments : spy)
        QCOMPARE(arguments, QList<QVariant>{KeyFrame::PolygonChanged});
}

void TestKeyFrame::settingAKeyFrameTypeAlwaysSignals()
{
    TestProject project(10);
    KeyFrame *key = project.addObject()->keyFrames.at(4);
    key->setNewPolygon(smallBox);
    QSignalSpy spy(key, &KeyFrame::hasChanged);
    key->setType(KeyFrame::Automatic);
    QCOMPARE(key->type, KeyFrame::Automatic);
    key->setType(KeyFrame::Automatic);
    key->setType(KeyFrame::Occluded);
    key->setType(KeyFrame::Visible);
    QCOMPARE(key->type, KeyFrame::Visible);
    QCOMPARE(key->polygon, smallBox);
    QCOMPARE(spy.count(), 4);
    for (const QList<QVariant> &arguments : spy)
        QCOMPARE(arguments, QList<QVariant>{KeyFrame::TypeChanged});
}

// ---------------------------------------------------------------------------------------------------------

namespace
{

void addOutlinesWithVerticesOnASide()
{
    const QPolygonF square = rectangle(0, 0, 10, 10);
    QTest::newRow("square") << square << square;
    const QPolygonF withMiddle(
        {QPointF(0, 0), QPointF(0, 10), QPointF(5, 10), QPointF(10, 10), QPointF(10, 0)});
    QTest::newRow("square with a vertex on a side") << withMiddle << removeAt(withMiddle, 2);
    const QPolygonF middleLast(
        {QPointF(0, 0), QPointF(0, 10), QPointF(10, 10), QPointF(10, 0), QPointF(5, 0)});
    QTest::newRow("square with a vertex on the closing side") << middleLast << removeAt(middleLast, 4);
    const QPolygonF middleFirst(
        {QPointF(5, 0), QPointF(0, 0), QPointF(0, 10), QPointF(10, 10), QPointF(10, 0)});
    QTest::newRow("square that begins inside a side") << middleFirst << removeAt(middleFirst, 0);
    QTest::newRow("square with three vertices on a side")
        << poly({QPointF(0, 0), QPointF(2, 0), QPointF(5, 0), QPointF(9, 0), QPointF(10, 0), QPointF(10, 10),
                 QPointF(0, 10)})
        << poly({QPointF(0, 0), QPointF(10, 0), QPointF(10, 10), QPointF(0, 10)});
    QTest::newRow("closing vertex repeated")
        << poly({QPointF(0, 0), QPointF(0, 10), QPointF(10, 10), QPointF(10, 0), QPointF(0, 0)})
        << poly({QPointF(0, 10), QPointF(10, 10), QPointF(10, 0), QPointF(0, 0)});
}

void addCostsAroundTheThreshold()
{
    QTest::newRow("long chord, cost just below one")
        << squareWithBump(9.99) << removeAt(squareWithBump(10), 1);
    QTest::newRow("long chord, cost exactly one") << squareWithBump(10) << removeAt(squareWithBump(10), 1);
    QTest::newRow("long chord, cost just above one") << squareWithBump(10.01) << squareWithBump(10.01);
    QTest::newRow("dent, cost exactly one") << squareWithBump(-10) << removeAt(squareWithBump(-10), 1);
    QTest::newRow("dent, cost just above one") << squareWithBump(-10.01) << squareWithBump(-10.01);
    QTest::newRow("chord of one pixel, cost 0.81")
        << outlineWithShortChord(0.9) << removeAt(outlineWithShortChord(0.9), 1);
    QTest::newRow("chord of one pixel, cost exactly one")
        << outlineWithShortChord(1) << removeAt(outlineWithShortChord(1), 1);
    const double aboveOne = std::nextafter(1.0, 2.0);
    QTest::newRow("chord of one pixel, cost the least bit above one")
        << outlineWithShortChord(aboveOne) << outlineWithShortChord(aboveOne);
    QTest::newRow("chord of one pixel, cost 1.21")
        << outlineWithShortChord(1.1) << outlineWithShortChord(1.1);
}

void addCostsThatAreNoNumbers()
{
    // Neighbours that coincide leave a chord of no length: the cost is infinite however near the vertex is.
    const QPolygonF toAndFro({QPointF(0, 0), QPointF(0.1, 0), QPointF(0, 0), QPointF(0.1, 0)});
    QTest::newRow("infinite costs only") << toAndFro << toAndFro;
    const QPolygonF spike({QPointF(0, 0), QPointF(-50, -50), QPointF(0, 0), QPointF(100, 0),
                           QPointF(100, 100), QPointF(0, 100)});
    QTest::newRow("spike of infinite cost") << spike << spike;

    // A vertex 0 whose cost is not a number is no greater than the threshold, and nothing is smaller.
    QTest::newRow("vertex 0 between two copies of itself")
        << poly({QPointF(0, 0), QPointF(0, 0), QPointF(100, 0), QPointF(100, 100), QPointF(0, 100),
                 QPointF(0, 0)})
        << poly({QPointF(100, 0), QPointF(100, 100), QPointF(0, 100), QPointF(0, 0)});
    QTest::newRow("vertex 1 is not a number")
        << poly({QPointF(0, 0), QPointF(notANumber, 5), QPointF(100, 0), QPointF(100, 100), QPointF(0, 100)})
        << poly({QPointF(100, 0), QPointF(100, 100), QPointF(0, 100)});
    QTest::newRow("vertex 0 is not a number")
        << poly({QPointF(notANumber, 5), QPointF(0, 0), QPointF(100, 0), QPointF(100, 100), QPointF(0, 100)})
        << poly({QPointF(0, 0), QPointF(100, 0), QPointF(100, 100), QPointF(0, 100)});
    const QPolygonF brokenLater(
        {QPointF(0, 0), QPointF(100, 0), QPointF(notANumber, 5), QPointF(100, 100), QPointF(0, 100)});
    QTest::newRow("later cost is not a number") << brokenLater << brokenLater;
}

void addOutlinesOfFewVertices()
{
    QTest::newRow("empty") << QPolygonF() << QPolygonF();
    QTest::newRow("one vertex") << poly({QPointF(3, 4)}) << poly({QPointF(3, 4)});
    QTest::newRow("two vertices") << poly({QPointF(3, 4), QPointF(3.1, 4)})
                                  << poly({QPointF(3, 4), QPointF(3.1, 4)});
    QTest::newRow("two equal vertices")
        << poly({QPointF(3, 4), QPointF(3, 4)}) << poly({QPointF(3, 4), QPointF(3, 4)});
    QTest::newRow("tiny triangle keeps two vertices")
        << poly({QPointF(0, 0), QPointF(0.5, 0.1), QPointF(1, 0)}) << poly({QPointF(0, 0), QPointF(1, 0)});
    QTest::newRow("all vertices at one point")
        << poly({QPointF(7, 7), QPointF(7, 7), QPointF(7, 7), QPointF(7, 7)})
        << poly({QPointF(7, 7), QPointF(7, 7)});
}

} // namespace

void TestKeyFrame::annotatingSetsThePolygonThenTheType_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<KeyFrame::Type>("type");
    QTest::newRow("visible") << smallBox.translated(5, 5) << KeyFrame::Visible;
    QTest::newRow("automatic") << smallBox.translated(5, 5) << KeyFrame::Automatic;
    QTest::newRow("nothing") << QPolygonF() << KeyFrame::None;
    QTest::newRow("as before") << smallBox << KeyFrame::Occluded;
}

void TestKeyFrame::annotatingSetsThePolygonThenTheType()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(KeyFrame::Type, type);
    TestProject project(3);
    KeyFrame *keyFrame = project.addObject()->keyFrames.at(1);
    keyFrame->polygon = smallBox;
    keyFrame->type = KeyFrame::Occluded;
    QStringList steps;
    connect(keyFrame, &KeyFrame::hasChanged, this, [&](int flags) {
        steps.append(QStringLiteral("%1: %2, type %3")
                         .arg(flags)
                         .arg(keyFrame->polygon == polygon ? "new outline" : "old outline")
                         .arg(keyFrame->type));
    });
    keyFrame->annotate(polygon, type);
    QCOMPARE(
        steps,
        QStringList(
            {QStringLiteral("%1: new outline, type %2")
                 .arg(int(KeyFrame::PolygonChanged))
                 .arg(int(KeyFrame::Occluded)),
             QStringLiteral("%1: new outline, type %2").arg(int(KeyFrame::TypeChanged)).arg(int(type))}));
}

void TestKeyFrame::watchersHearWhatIsAnnounced()
{
    const Watcher first(keyFrame());
    const Watcher second(keyFrame());
    const Watcher elsewhere(m_object->keyFrames.at(2));
    keyFrame()->annotate(QPolygonF({QPointF(1, 2)}), KeyFrame::Automatic);
    emit keyFrame()->hasChanged(0);
    {
        const QSignalBlocker blocker(keyFrame());
        keyFrame()->setType(KeyFrame::None);
    }
    QCOMPARE(first.heard, QList<int>({KeyFrame::PolygonChanged, KeyFrame::TypeChanged, 0}));
    QCOMPARE(second.heard, first.heard);
    QCOMPARE(elsewhere.heard, QList<int>());
}

void TestKeyFrame::watchersHearOfChangesAfterTheObject()
{
    QStringList order;
    Watcher watcher(keyFrame());
    watcher.onChange = [&order] { order.append(QStringLiteral("watcher")); };
    const QObject context;
    connect(m_object, &TrackedObject::hasChanged, &context,
            [&order] { order.append(QStringLiteral("object")); });
    connect(keyFrame(), &KeyFrame::hasChanged, &context,
            [&order] { order.append(QStringLiteral("receiver")); });
    keyFrame()->setType(KeyFrame::Visible);
    QCOMPARE(order, QStringList({"object", "watcher", "receiver"}));
}

void TestKeyFrame::watchersHearPoolThreadsOnTheirOwn()
{
    Watcher watcher(keyFrame());
    const QThread *heardOn = nullptr;
    watcher.onChange = [&heardOn] { heardOn = QThread::currentThread(); };
    std::thread([this] { keyFrame()->setNewPolygon(QPolygonF({QPointF(1, 2)})); }).join();
    QCOMPARE(watcher.heard, QList<int>());
    QCoreApplication::sendPostedEvents();
    QCOMPARE(watcher.heard, QList<int>({KeyFrame::PolygonChanged}));
    QCOMPARE(heardOn, QThread::currentThread());
}

void TestKeyFrame::watchersAndKeyFramesEndInAnyOrder()
{
    auto other = std::make_unique<KeyFrame>(m_object, 1, KeyFrame::None);
    QList<std::shared_ptr<Watcher>> watchers;
    for (int i = 0; i < 3; ++i)
        watchers.append(std::make_shared<Watcher>(other.get()));
    for (const int ended : {1, 1, 0}) { // the one in the middle, at the front, the last
        watchers.removeAt(ended);
        emit other->hasChanged(KeyFrame::TypeChanged);
        for (const auto &watcher : qAsConst(watchers))
            QCOMPARE(watcher->heard.size(), 3 - watchers.size());
    }
    const Watcher lonely(other.get());
    other.reset();
    QCOMPARE(lonely.heard, QList<int>());
}

void TestKeyFrame::snapshotsAreWholeWhileOtherThreadsWrite()
{
    TestProject project(200); // more key frames than mutexes: some share one
    const TrackedObject *object = project.addObject();
    std::atomic<bool> done{false};
    const auto write = [&](int parity) {
        for (int round = 0; round < 200; ++round) {
            for (int frame = parity; frame < 200; frame += 2)
                object->keyFrames.at(frame)->setNewPolygon(rectangle(round, round, 1, 1));
        }
        done = true;
    };
    std::thread even(write, 0);
    std::thread odd(write, 1);
    int torn = 0;
    for (int frame = 0; !done; frame = (frame + 1) % 200) {
        const QPolygonF seen = object->keyFrames.at(frame)->polygonSnapshot();
        if (!seen.isEmpty() && seen != rectangle(seen.first().x(), seen.first().x(), 1, 1))
            ++torn;
    }
    even.join();
    odd.join();
    QCOMPARE(torn, 0);
    for (const KeyFrame *keyFrame : object->keyFrames)
        QVERIFY(same(keyFrame->polygonSnapshot(), rectangle(199, 199, 1, 1)));
}

void TestKeyFrame::reductionRemovesVerticesOfCostOneOrLess_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<QPolygonF>("reducedPolygon");
    addOutlinesWithVerticesOnASide();
    addCostsAroundTheThreshold();
    addCostsThatAreNoNumbers();
    addOutlinesOfFewVertices();
}

void TestKeyFrame::reductionRemovesVerticesOfCostOneOrLess()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(QPolygonF, reducedPolygon);
    const QPolygonF result = reduced(polygon);
    QVERIFY2(same(result, reducedPolygon), text(result));
}

void TestKeyFrame::theLowerOfTwoEqualCostsGoesFirst_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<int>("removed");
    // A cut corner whose two vertices cost the same; without one of them the other costs more than 1.
    const QPolygonF cutCorner(
        {QPointF(0, 0), QPointF(119, 0), QPointF(128, 9), QPointF(128, 128), QPointF(0, 128)});
    QTest::newRow("neighbouring indices") << cutCorner << 1;
    QPolygonF wrapped = cutCorner; // begins with (128, 9) and ends with (119, 0)
    wrapped.append(wrapped.takeFirst());
    wrapped.append(wrapped.takeFirst());
    QTest::newRow("first and last index") << wrapped << 0;
}

void TestKeyFrame::theLowerOfTwoEqualCostsGoesFirst()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(int, removed);
    const std::vector<double> costs = vertexCosts(polygon);
    const double lowest = *std::min_element(costs.begin(), costs.end());
    QCOMPARE(std::count(costs.begin(), costs.end(), lowest), 2);
    QVERIFY(lowest <= 1);
    const QPolygonF result = reduced(polygon);
    QVERIFY2(same(result, removeAt(polygon, removed)), text(result));
}

void TestKeyFrame::costsAreComputedAnewAfterEveryRemoval()
{
    // A flat arc of 33 vertices, each of them far cheaper than 1: removing all that are cheap at first would
    // leave nothing of it.
    QPolygonF arc;
    for (int i = 0; i <= 32; ++i)
        arc.append(QPointF(i * 10, -0.01 * (i * 10) * (320 - i * 10)));
    const std::vector<double> costs = vertexCosts(arc);
    QVERIFY(*std::max_element(costs.begin() + 1, costs.end() - 1) < 1);
    const QPolygonF result = reduced(arc);
    QVERIFY(result.size() > 4 && result.size() < arc.size());
    const std::vector<double> left = vertexCosts(result);
    QVERIFY(*std::min_element(left.begin(), left.end()) > 1);
}

void TestKeyFrame::reductionAgreesWithItsRule()
{
    std::mt19937 random(11);
    for (int run = 0; run < 300; ++run) {
        // Small outlines give vertices of all costs; whole coordinates give ties and repeated points.
        const bool whole = run % 2 == 0;
        std::uniform_real_distribution<double> coordinate(0, whole ? 6 : 4 + run);
        QPolygonF outline;
        for (int i = 0; i < run % 23; ++i) {
            const QPointF point(coordinate(random), coordinate(random));
            outline.append(whole ? QPointF(std::floor(point.x()), std::floor(point.y())) : point);
        }
        QPolygonF expected = outline;
        while (expected.size() >= 3) {
            const std::vector<double> costs = vertexCosts(expected);
            const auto cheapest = std::min_element(costs.begin(), costs.end());
            if (*cheapest > 1)
                break;
            expected.remove(static_cast<int>(cheapest - costs.begin()));
        }
        const QPolygonF result = reduced(outline);
        QVERIFY2(same(result, expected), text(outline) + "became " + text(result));
    }
}

void TestKeyFrame::reductionIsIdempotent()
{
    std::mt19937 random(12);
    std::uniform_real_distribution<double> coordinate(0, 60);
    for (int run = 0; run < 50; ++run) {
        QPolygonF outline;
        for (int i = 0; i < 15; ++i)
            outline.append(QPointF(coordinate(random), coordinate(random)));
        const QPolygonF once = reduced(outline);
        QVERIFY(same(reduced(once), once));
    }
}

void TestKeyFrame::reductionAnnouncesThePolygonOnce_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<int>("verticesLeft");
    QTest::newRow("nothing to remove") << rectangle(0, 0, 10, 10) << 4;
    QTest::newRow("one vertex removed") << squareWithBump(1) << 4;
    QTest::newRow("several vertices removed")
        << poly({QPointF(0, 0), QPointF(1, 0), QPointF(2, 0), QPointF(50, 0), QPointF(50, 50)}) << 3;
    QTest::newRow("fewer than three vertices") << poly({QPointF(0, 0), QPointF(1, 0)}) << 2;
    QTest::newRow("empty") << QPolygonF() << 0;
}

void TestKeyFrame::reductionAnnouncesThePolygonOnce()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(int, verticesLeft);
    keyFrame()->polygon = polygon;
    keyFrame()->type = KeyFrame::Automatic;
    keyFrame()->zOrder = 42;
    int verticesWhenAnnounced = -1;
    connect(keyFrame(), &KeyFrame::hasChanged, this,
            [&] { verticesWhenAnnounced = keyFrame()->polygon.size(); });
    QSignalSpy changes(keyFrame(), &KeyFrame::hasChanged);
    keyFrame()->reducePolygonVertices();
    QCOMPARE(changes.count(), 1);
    QCOMPARE(changes.first().first().toInt(), int(KeyFrame::PolygonChanged));
    QCOMPARE(verticesWhenAnnounced, verticesLeft);
    QCOMPARE(keyFrame()->type, KeyFrame::Automatic);
    QCOMPARE(keyFrame()->zOrder, 42);
}

void TestKeyFrame::transformMovesAnOutlineInsideTheFrame_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<Eigen::Affine2d>("transform");
    QTest::addColumn<QPolygonF>("moved");
    const QPolygonF box = rectangle(100, 50, 60, 40);
    const QPolygonF concave({QPointF(100, 100), QPointF(200, 100), QPointF(120, 120), QPointF(100, 200)});
    QTest::newRow("not moved") << box << shift(0, 0) << box;
    QTest::newRow("not moved, other way round")
        << poly({box[3], box[2], box[1], box[0]}) << shift(0, 0) << poly({box[3], box[2], box[1], box[0]});
    QTest::newRow("moved") << box << shift(7, -11) << box.translated(7, -11);
    QTest::newRow("moved by fractions") << box << shift(0.25, 0.5) << box.translated(0.25, 0.5);
    QTest::newRow("concave outline") << concave << shift(10, 20) << concave.translated(10, 20);
    Eigen::Affine2d quarterTurn = Eigen::Affine2d::Identity();
    quarterTurn.matrix().topRows<2>() << 0, -1, 300, 1, 0, 0;
    QTest::newRow("turned") << box << quarterTurn
                            << poly({QPointF(250, 100), QPointF(210, 100), QPointF(210, 160),
                                     QPointF(250, 160)});
}

void TestKeyFrame::transformMovesAnOutlineInsideTheFrame()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(Eigen::Affine2d, transform);
    QFETCH(QPolygonF, moved);
    const QPolygonF result = transformed(polygon, transform);
    QVERIFY2(sameRing(result, moved), text(result));
}

void TestKeyFrame::transformClipsToTheFrame_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<QPointF>("translation");
    QTest::addColumn<QPolygonF>("clipped"); // counter-clockwise on screen, like rectangle()
    const QPolygonF box = rectangle(100, 100, 60, 40);
    QTest::newRow("past the left border") << box << QPointF(-130, 0) << rectangle(0, 100, 30, 40);
    QTest::newRow("past the top border") << box << QPointF(0, -110) << rectangle(100, 0, 60, 30);
    QTest::newRow("past the right border") << box << QPointF(500, 0) << rectangle(600, 100, 40, 40);
    QTest::newRow("past the bottom border") << box << QPointF(0, 365) << rectangle(100, 465, 60, 15);
    QTest::newRow("past a corner") << box << QPointF(500, 365) << rectangle(600, 465, 40, 15);
    QTest::newRow("larger than the frame")
        << rectangle(-50, -50, 1000, 1000) << QPointF(0, 0) << rectangle(0, 0, 640, 480);
    QTest::newRow("triangle cut to a trapezium")
        << poly({QPointF(50, 100), QPointF(150, 200), QPointF(150, 0)}) << QPointF(-100, 100)
        << poly({QPointF(0, 150), QPointF(0, 250), QPointF(50, 300), QPointF(50, 100)});
}

void TestKeyFrame::transformClipsToTheFrame()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(QPointF, translation);
    QFETCH(QPolygonF, clipped);
    const QPolygonF result = transformed(polygon, shift(translation.x(), translation.y()));
    QPolygonF otherWay = clipped;
    std::reverse(otherWay.begin(), otherWay.end());
    QVERIFY2(sameRing(result, clipped) || sameRing(result, otherWay), text(result));
}

void TestKeyFrame::transformAgreesWithQtsIntersection()
{
    std::mt19937 random(13);
    std::uniform_real_distribution<double> x(-200, 840);
    std::uniform_real_distribution<double> y(-200, 680);
    const QPolygonF frame({QPointF(0, 0), QPointF(640, 0), QPointF(640, 480), QPointF(0, 480)});
    int clipped = 0;
    for (int run = 0; run < 200; ++run) {
        QPolygonF outline;
        for (int i = 0; i < 1 + run % 9; ++i)
            outline.append(QPointF(x(random), y(random)));
        Eigen::Affine2d transform = Eigen::Affine2d::Identity();
        transform.translate(Eigen::Vector2d(x(random) / 10, y(random) / 10)).rotate(run * 0.01);
        QPolygonF expected = Functions::transformPolygonAffine(outline, transform).intersected(frame);
        if (!expected.isEmpty() && std::abs(expected.first().x() - expected.last().x()) <= 1e-12 &&
            std::abs(expected.first().y() - expected.last().y()) <= 1e-12)
            expected.removeLast();
        clipped += expected.isEmpty() ? 0 : 1;
        const QPolygonF result = transformed(outline, transform);
        QVERIFY2(sameRing(result, expected), text(result) + "instead of " + text(expected));
        for (const QPointF &point : result) {
            QVERIFY(point.x() >= -1e-9 && point.x() <= 640 + 1e-9);
            QVERIFY(point.y() >= -1e-9 && point.y() <= 480 + 1e-9);
        }
    }
    QVERIFY(clipped > 100);
}

void TestKeyFrame::theFrameIsTheOneOfTheLoadedVideo()
{
    TestProject small(2, 80, 60);
    KeyFrame *smallKeyFrame = small.addObject()->keyFrames.first();
    smallKeyFrame->polygon = rectangle(50, 30, 100, 100);
    smallKeyFrame->transformPolygon(Eigen::Affine2d::Identity());
    QCOMPARE(smallKeyFrame->polygon.boundingRect(), QRectF(50, 30, 30, 30));
}

void TestKeyFrame::transformStoresEveryVertexOnce()
{
    QPolygonF outline = rectangle(100, 100, 60, 40);
    for (int run = 0; run < 5; ++run) {
        outline = transformed(outline, shift(1, 1));
        QCOMPARE(outline.size(), 4);
        QVERIFY(outline.first() != outline.last());
    }
    // A closing vertex that the outline brought along goes as well.
    outline.append(outline.first());
    QCOMPARE(transformed(outline, shift(1, 1)).size(), 4);
}

void TestKeyFrame::outlineMovedOutOfTheFrameBecomesEmpty_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<QPointF>("translation");
    QTest::newRow("empty outline") << QPolygonF() << QPointF(0, 0);
    QTest::newRow("moved past the left border") << rectangle(10, 10, 50, 50) << QPointF(-1000, 0);
    QTest::newRow("moved past the bottom border") << rectangle(10, 10, 50, 50) << QPointF(0, 5000);
}

void TestKeyFrame::outlineMovedOutOfTheFrameBecomesEmpty()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(QPointF, translation);
    keyFrame()->polygon = polygon;
    QSignalSpy changes(keyFrame(), &KeyFrame::hasChanged);
    keyFrame()->transformPolygon(shift(translation.x(), translation.y()));
    QVERIFY(keyFrame()->polygon.isEmpty());
    QCOMPARE(changes.count(), 1);
    QCOMPARE(changes.first().first().toInt(), int(KeyFrame::PolygonChanged));
}

void TestKeyFrame::transformAnnouncesThePolygonOnce()
{
    keyFrame()->polygon = rectangle(10, 10, 50, 50);
    keyFrame()->type = KeyFrame::Occluded;
    keyFrame()->zOrder = 42;
    QRectF boundsWhenAnnounced;
    connect(keyFrame(), &KeyFrame::hasChanged, this,
            [&] { boundsWhenAnnounced = keyFrame()->polygon.boundingRect(); });
    QSignalSpy changes(keyFrame(), &KeyFrame::hasChanged);
    QSignalSpy objectChanges(m_object, &TrackedObject::hasChanged);
    keyFrame()->transformPolygon(shift(5, 5));
    QCOMPARE(changes.count(), 1);
    QCOMPARE(changes.first().first().toInt(), int(KeyFrame::PolygonChanged));
    QCOMPARE(boundsWhenAnnounced, QRectF(15, 15, 50, 50));
    QCOMPARE(objectChanges.count(), 0);
    QCOMPARE(keyFrame()->type, KeyFrame::Occluded);
    QCOMPARE(keyFrame()->zOrder, 42);
}

void TestKeyFrame::transformIsASlotWithANamedArgument()
{
    const QMetaObject &meta = KeyFrame::staticMetaObject;
    const int index = meta.indexOfSlot("transformPolygon(Eigen::Affine2d)");
    QVERIFY(index >= 0);
    const QMetaMethod method = meta.method(index);
    QCOMPARE(method.access(), QMetaMethod::Public);
    QCOMPARE(method.parameterNames(), QList<QByteArray>{"affineTransform"});
    QCOMPARE(method.parameterTypes(), QList<QByteArray>{"Eigen::Affine2d"});
    QCOMPARE(QByteArray(method.typeName()), QByteArray("void"));
}

void TestKeyFrame::reductionIsNoSlot()
{
    QCOMPARE(KeyFrame::staticMetaObject.indexOfMethod("reducePolygonVertices()"), -1);
}

void TestKeyFrame::transformCanBeCalledThroughTheMetaObject()
{
    keyFrame()->polygon = rectangle(10, 10, 50, 50);
    QVERIFY(QMetaObject::invokeMethod(keyFrame(), "transformPolygon", Qt::DirectConnection,
                                      Q_ARG(Eigen::Affine2d, shift(5, 6))));
    QCOMPARE(keyFrame()->polygon.boundingRect(), QRectF(15, 16, 50, 50));
}

void TestKeyFrame::transformsAddUp()
{
    keyFrame()->polygon = rectangle(10, 10, 50, 50);
    for (int step = 0; step < 10; ++step)
        keyFrame()->transformPolygon(shift(3, 2));
    QVERIFY(sameRing(keyFrame()->polygon, rectangle(40, 30, 50, 50)));
}

void TestKeyFrame::transformOfAnOutlineWithBrokenCoordinates_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<Eigen::Affine2d>("transform");
    QTest::addColumn<QRectF>("box"); // inside the frame of 640 by 480 pixels
    const Eigen::Affine2d rest = Eigen::Affine2d::Identity();
    const QPolygonF square = rectangle(100, 100, 50, 50);
    const auto withFirst = [square](QPointF point) {
        QPolygonF outline = square;
        outline.first() = point;
        return outline;
    };
    // Even a transform that moves nothing mixes the coordinates, so that the whole vertex is lost and counts
    // as the origin.
    QTest::newRow("one x that is not a number, at rest")
        << withFirst(QPointF(notANumber, 100)) << rest << QRectF(0, 0, 150, 150);
    QTest::newRow("one x that is not a number, moved")
        << withFirst(QPointF(notANumber, 100)) << shift(10, 20) << QRectF(0, 0, 160, 170);
    QTest::newRow("nothing but what is not a number")
        << QPolygonF(QVector<QPointF>(4, QPointF(notANumber, notANumber))) << shift(10, 20) << QRectF();
    QTest::newRow("all in one place far away")
        << QPolygonF(QVector<QPointF>(4, QPointF(1e300, 1e300))) << shift(10, 20) << QRectF();
    QTest::newRow("around the frame, far away")
        << rectangle(-1e160, -1e160, 2e160, 2e160) << shift(10, 20) << QRectF(0, 0, 640, 480);
    QTest::newRow("from the frame to far away")
        << rectangle(100, 100, 1e300, 50) << shift(10, 20) << QRectF(110, 120, 530, 50);
    QTest::newRow("moved infinitely far") << square << shift(infinite, 0) << QRectF();
    QTest::newRow("scaled beyond all numbers")
        << square << Eigen::Affine2d(Eigen::Scaling(1e300, 1e300)) << QRectF();
    QTest::newRow("moved by what is not a number") << square << shift(notANumber, notANumber) << QRectF();
}

void TestKeyFrame::transformOfAnOutlineWithBrokenCoordinates()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(Eigen::Affine2d, transform);
    QFETCH(QRectF, box);
    constexpr double tolerance = 1e-5; // pixels: sides a billion pixels long meet the frame
    QSignalSpy changes(keyFrame(), &KeyFrame::hasChanged);
    const QPolygonF result = transformed(polygon, transform);
    QCOMPARE(changes.count(), 1);
    for (const QPointF &point : result)
        QVERIFY2(std::isfinite(point.x()) && std::isfinite(point.y()), text(result));
    QVERIFY2(result.isEmpty() == box.isEmpty(), text(result));
    const QRectF actual = result.boundingRect();
    QVERIFY2(std::abs(actual.left() - box.left()) < tolerance, text(result));
    QVERIFY2(std::abs(actual.top() - box.top()) < tolerance, text(result));
    QVERIFY2(std::abs(actual.right() - box.right()) < tolerance, text(result));
    QVERIFY2(std::abs(actual.bottom() - box.bottom()) < tolerance, text(result));
}

QTEST_GUILESS_MAIN(TestKeyFrame)
#include "tst_keyframe.moc"
