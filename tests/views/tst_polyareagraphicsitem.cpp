// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/dragrows.h"
#include "tests/support/framestage.h"
#include "tests/support/modelchecks.h"
#include "tests/support/mousedriver.h"
#include "tests/support/outlinerows.h"
#include "tests/support/signalprobe.h"
#include "tests/support/testproject.h"
#include "views/framegraphicsview.h"
#include "views/polyareagraphicsitem.h"
#include "views/polypointgraphicsitem.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QMetaMethod>
#include <QPointer>
#include <QSignalSpy>
#include <QtTest>

#include <algorithm>
#include <cmath>

namespace
{

const QPolygonF square = rectangle(100, 100, 60, 40);  // (100,100) (100,140) (160,140) (160,100)
const QPolygonF another = rectangle(200, 120, 50, 50); // apart from the square
const QPointF inSquare(130, 120);

/// The vertices in a fixed order: a moved outline is clipped to the frame, which may begin elsewhere.
QVector<QPointF> sorted(QPolygonF polygon)
{
    for (QPointF &p : polygon)
        p = QPointF(std::round(p.x() * 1e6) / 1e6, std::round(p.y() * 1e6) / 1e6);
    std::sort(polygon.begin(), polygon.end(),
              [](QPointF a, QPointF b) { return a.x() != b.x() ? a.x() < b.x() : a.y() < b.y(); });
    return std::move(polygon);
}

QStringList slotsOf(const QMetaObject &meta)
{
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == QMetaMethod::Slot)
            names.append(QString::fromLatin1(meta.method(i).methodSignature()));
    }
    return names;
}

QStringList signalsOf(const QMetaObject &meta)
{
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == QMetaMethod::Signal)
            names.append(QString::fromLatin1(meta.method(i).methodSignature()));
    }
    return names;
}

int visibleHandles(const PolyAreaGraphicsItem *item)
{
    return static_cast<int>(
        std::count_if(item->polyPoints.cbegin(), item->polyPoints.cend(),
                      [](const PolyPointGraphicsItem *handle) { return handle->isVisible(); }));
}

} // namespace

class TestPolyAreaGraphicsItem : public QObject
{
    Q_OBJECT

private slots:
    void declaresItsSlotsAndSignals();
    void isMovableAndInTheScene();
    void showsTheOutlineInTheObjectsColour();
    void theBoundsHoldAllThatIsDrawn_data();
    void theBoundsHoldAllThatIsDrawn();
    void theCurrentObjectLiesAboveAndShowsItsHandles();
    void newHandlesAreVisibleUntilTheNextStyleUpdate();
    void updatePolygonReplacesAllHandles();
    void followsPolygonChangesOnly_data();
    void followsPolygonChangesOnly();
    void followsSelectionChangesOnly_data();
    void followsSelectionChangesOnly();

    void pressingSetsTheBoundsOfTheDrag_data();
    void pressingSetsTheBoundsOfTheDrag();
    void draggingThePolygonMovesItAtTheEnd();
    void draggingThePolygonStopsAtTheFrame_data();
    void draggingThePolygonStopsAtTheFrame();
    void draggingThePolygonIgnoresTheFramesOwnLeftAndTop();
    void theMouseComingBackTakesThePolygonAlongAtOnce();
    void draggingThePolygonMakesAutomaticVisible_data();
    void draggingThePolygonMakesAutomaticVisible();
    void otherObjectsPolygonsCannotBeDragged();
    void losingTheSelectionDuringADragDropsIt();
    void aDragThatLosesTheMouseNeverWas();
    void aDroppedDragPutsTheHandlesBack();
    void sideButtonsDoNotDrag_data();
    void sideButtonsDoNotDrag();
    void releasingTheOtherButtonDoesNotEndADrag_data();
    void releasingTheOtherButtonDoesNotEndADrag();
    void leavingTheFrameDuringADragIsHarmless_data();
    void leavingTheFrameDuringADragIsHarmless();
    void otherButtonsDoNotDragThePolygon_data();
    void otherButtonsDoNotDragThePolygon();
    void aPlainClickDoesNothing();
    void ctrlClickMakesTheObjectCurrent();
    void ctrlDragMovesAndSelectsNothing();
    void theSmallestMovementCounts_data();
    void theSmallestMovementCounts();
    void movePolygonMovesTheKeyFrameAndResetsNothing_data();
    void movePolygonMovesTheKeyFrameAndResetsNothing();
    void theDeclaredSignalsAreNeverEmitted();

    void theOutlineIsDrawnWhereTheVerticesAre();
};

void TestPolyAreaGraphicsItem::declaresItsSlotsAndSignals()
{
    QCOMPARE(slotsOf(PolyAreaGraphicsItem::staticMetaObject),
             QStringList({"redrawFromPolyPoints()", "polyPointsChanged()", "updateStyle()", "updatePolygon()",
                          "filterKeyFrameChange(int)", "filterStateChange(int)", "movePolygon()"}));
    QCOMPARE(signalsOf(PolyAreaGraphicsItem::staticMetaObject),
             QStringList({"moved(int)", "changed(int)", "clicked(int)"}));
    QCOMPARE(signalsOf(PolyPointGraphicsItem::staticMetaObject), QStringList({"moving()", "moved()"}));
}

void TestPolyAreaGraphicsItem::isMovableAndInTheScene()
{
    TestProject project(2);
    TrackedObject *object = project.addObject();
    annotate(object, 0, square);
    QGraphicsScene scene;
    auto *item = new PolyAreaGraphicsItem(&scene, object->keyFrames.at(0));
    QCOMPARE(item->scene(), &scene);
    QVERIFY(item->flags().testFlag(QGraphicsItem::ItemIsMovable));
    QCOMPARE(item->keyFrame, object->keyFrames.at(0));
    QCOMPARE(item->dragOffset, QPointF(0, 0));
    QCOMPARE(item->polygon(), square);
    QCOMPARE(handlePoints(item), square);
}

void TestPolyAreaGraphicsItem::showsTheOutlineInTheObjectsColour()
{
    FrameStage stage;
    TrackedObject *object = stage.addObject(square);
    object->color = QColor(10, 20, 30);
    const PolyAreaGraphicsItem *item = stage.itemOf(object);
    g_state->setCurrentObject(object->id);
    QCOMPARE(item->pen().color(), QColor(10, 20, 30));
    QCOMPARE(item->pen().widthF(), 2.0);
    QVERIFY(item->pen().isCosmetic());
    QCOMPARE(item->brush().style(), Qt::NoBrush);
}

void TestPolyAreaGraphicsItem::theBoundsHoldAllThatIsDrawn_data()
{
    QTest::addColumn<QPolygonF>("outline");
    QTest::newRow("nothing") << QPolygonF();
    QTest::newRow("a vertex") << polygonOf({QPointF(20, 30)});
    QTest::newRow("a line") << polygonOf({QPointF(20, 30), QPointF(60, 90)});
    QTest::newRow("a triangle") << polygonOf({QPointF(20, 30), QPointF(60, 32), QPointF(50, 90)});
    QTest::newRow("a needle") << polygonOf({QPointF(20, 30), QPointF(120, 31), QPointF(20, 32)});
    QTest::newRow("a square") << square;
}

void TestPolyAreaGraphicsItem::theBoundsHoldAllThatIsDrawn()
{
    QFETCH(QPolygonF, outline);
    FrameStage stage;
    const PolyAreaGraphicsItem *item = stage.itemOf(stage.addObject(outline));
    const QRectF line = item->shape().boundingRect();
    QCOMPARE(item->boundingRect().isEmpty(), outline.isEmpty());
    QVERIFY(line.isEmpty() || item->boundingRect().contains(line));
    QVERIFY(line.isEmpty() || item->boundingRect().width() < line.width() + 5);
    for (const PolyPointGraphicsItem *handle : item->polyPoints) {
        QVERIFY(handle->boundingRect().contains(handle->rect()));
        QVERIFY(
            handle->boundingRect().adjusted(-0.1, -0.1, 0.1, 0.1).contains(handle->shape().boundingRect()));
    }
}

void TestPolyAreaGraphicsItem::theCurrentObjectLiesAboveAndShowsItsHandles()
{
    FrameStage stage;
    TrackedObject *first = stage.addObject(square);
    TrackedObject *second = stage.addObject(another);
    for (TrackedObject *current : {first, second, first}) {
        const TrackedObject *other = current == first ? second : first;
        g_state->setCurrentObject(current->id);
        QCOMPARE(stage.itemOf(current)->zValue(), 1.0);
        QCOMPARE(visibleHandles(stage.itemOf(current)), 4);
        QCOMPARE(stage.itemOf(other)->zValue(), 0.0);
        QCOMPARE(visibleHandles(stage.itemOf(other)), 0);
    }
    // The same right after a reload.
    stage.project().viewer()->reload();
    QCOMPARE(stage.itemOf(first)->zValue(), 1.0);
    QCOMPARE(visibleHandles(stage.itemOf(first)), 4);
    QCOMPARE(stage.itemOf(second)->zValue(), 0.0);
    QCOMPARE(visibleHandles(stage.itemOf(second)), 0);
}

void TestPolyAreaGraphicsItem::newHandlesAreVisibleUntilTheNextStyleUpdate()
{
    FrameStage stage;
    TrackedObject *first = stage.addObject(square);
    TrackedObject *second = stage.addObject(another);
    QCOMPARE(visibleHandles(stage.itemOf(first)), 0);
    first->keyFrames.at(0)->setNewPolygon(square.translated(5, 5));
    QCOMPARE(visibleHandles(stage.itemOf(first)), 4);
    g_state->setCurrentObject(second->id);
    QCOMPARE(visibleHandles(stage.itemOf(first)), 0);
}

void TestPolyAreaGraphicsItem::updatePolygonReplacesAllHandles()
{
    FrameStage stage;
    TrackedObject *object = stage.addObject(square);
    const PolyAreaGraphicsItem *item = stage.itemOf(object);
    QList<QPointer<PolyPointGraphicsItem>> old;
    for (PolyPointGraphicsItem *handle : item->polyPoints)
        old.append(handle);
    const QPolygonF pentagon = QPolygonF(square) << QPointF(130, 90);
    object->keyFrames.at(0)->setNewPolygon(pentagon);
    QCOMPARE(item->polygon(), pentagon);
    QCOMPARE(handlePoints(item), pentagon);
    ModelChecks::flushDeferredDeletes();
    for (const QPointer<PolyPointGraphicsItem> &handle : qAsConst(old))
        QVERIFY(!handle);
    // The image, the outline, and per vertex a handle and its anchor.
    QCOMPARE(stage.scene()->items().size(), 2 + 2 * 5);
    object->keyFrames.at(0)->setNewPolygon(QPolygonF());
    QVERIFY(item->polyPoints.isEmpty());
    QCOMPARE(stage.scene()->items().size(), 2);
}

void TestPolyAreaGraphicsItem::followsPolygonChangesOnly_data()
{
    QTest::addColumn<int>("flags");
    QTest::addColumn<bool>("follows");
    QTest::newRow("nothing") << 0 << false;
    QTest::newRow("polygon") << int(KeyFrame::PolygonChanged) << true;
    QTest::newRow("type") << int(KeyFrame::TypeChanged) << false;
    QTest::newRow("polygon and type") << (KeyFrame::PolygonChanged | KeyFrame::TypeChanged) << true;
    QTest::newRow("a bit without meaning") << 4 << false;
}

void TestPolyAreaGraphicsItem::followsPolygonChangesOnly()
{
    QFETCH(int, flags);
    QFETCH(bool, follows);
    FrameStage stage;
    TrackedObject *object = stage.addObject(square);
    KeyFrame *keyFrame = object->keyFrames.at(0);
    keyFrame->polygon = another;
    emit keyFrame->hasChanged(flags);
    QCOMPARE(stage.itemOf(object)->polygon(), follows ? another : square);
    QCOMPARE(handlePoints(stage.itemOf(object)), follows ? another : square);
}

void TestPolyAreaGraphicsItem::followsSelectionChangesOnly_data()
{
    QTest::addColumn<int>("flags");
    QTest::addColumn<bool>("follows");
    QTest::newRow("nothing") << 0 << false;
    QTest::newRow("selection") << int(DataState::ObjectSelectionChanged) << true;
    QTest::newRow("frame") << int(DataState::FrameChanged) << false;
    QTest::newRow("list") << int(DataState::ObjectListChanged) << false;
    QTest::newRow("selection and list")
        << (DataState::ObjectSelectionChanged | DataState::ObjectListChanged) << true;
}

void TestPolyAreaGraphicsItem::followsSelectionChangesOnly()
{
    QFETCH(int, flags);
    QFETCH(bool, follows);
    TestProject project(2);
    TrackedObject *object = project.addObject();
    annotate(object, 0, square);
    QGraphicsScene scene;
    auto *item = new PolyAreaGraphicsItem(&scene, object->keyFrames.at(0));
    object->color = QColor(1, 2, 3);
    project->currentObjectId = -1;
    emit project->hasChanged(flags);
    QCOMPARE(item->pen().color() == QColor(1, 2, 3), follows);
    QCOMPARE(item->zValue(), follows ? 0.0 : 1.0);
    QCOMPARE(visibleHandles(item), follows ? 0 : 4);
}

void TestPolyAreaGraphicsItem::pressingSetsTheBoundsOfTheDrag_data()
{
    QTest::addColumn<QPointF>("framePos");
    QTest::addColumn<QRectF>("bounds");
    // The mouse is 30 right of and 20 below the polygon's top left, 30 left of and 20 above its bottom right.
    QTest::newRow("frame at the origin") << QPointF(0, 0) << QRectF(QPointF(30, 20), QPointF(290, 220));
    QTest::newRow("frame elsewhere") << QPointF(50, 25) << QRectF(QPointF(30, 20), QPointF(340, 245));
}

void TestPolyAreaGraphicsItem::pressingSetsTheBoundsOfTheDrag()
{
    QFETCH(QPointF, framePos);
    QFETCH(QRectF, bounds);
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square);
    PolyAreaGraphicsItem *item = stage.itemOf(object);
    stage.frameItem()->setPos(framePos);
    item->dragOffset = QPointF(3, 4);
    stage.press(inSquare);
    QCOMPARE(item->dragBounds, bounds);
    QCOMPARE(item->dragOffset, QPointF(0, 0));
    stage.release(inSquare);
}

void TestPolyAreaGraphicsItem::draggingThePolygonMovesItAtTheEnd()
{
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square);
    KeyFrame *keyFrame = object->keyFrames.at(0);
    PolyAreaGraphicsItem *item = stage.itemOf(object);
    const QList<PolyPointGraphicsItem *> handles = item->polyPoints;
    const QSignalSpy changes(keyFrame, &KeyFrame::hasChanged);

    stage.press(inSquare);
    stage.move(inSquare + QPointF(10, 5));
    stage.move(inSquare + QPointF(-20, 30));
    QCOMPARE(item->dragOffset, QPointF(-20, 30));
    QCOMPARE(item->pos(), QPointF(-20, 30));
    QCOMPARE(item->polyPoints, handles);
    for (int i = 0; i < handles.size(); ++i)
        QCOMPARE(handles.at(i)->scenePos(), square.at(i) + QPointF(-20, 30));
    QCOMPARE(keyFrame->polygon, square);
    QCOMPARE(changes.size(), 0);

    stage.release(inSquare + QPointF(-20, 30));
    const QPolygonF expected = square.translated(-20, 30);
    QCOMPARE(sorted(keyFrame->polygon), sorted(expected));
    QCOMPARE(flagsOf(changes), QList<int>({KeyFrame::PolygonChanged}));
    QCOMPARE(keyFrame->type, KeyFrame::Visible);
    QCOMPARE(item->dragOffset, QPointF(0, 0));
    QCOMPARE(item->pos(), QPointF(0, 0));
    QCOMPARE(item->polygon(), keyFrame->polygon);
    QCOMPARE(handlePoints(item), keyFrame->polygon);

    // A second drag starts from there.
    stage.drag({inSquare + QPointF(-20, 30), inSquare, inSquare + QPointF(1, 2)});
    QCOMPARE(sorted(keyFrame->polygon), sorted(square.translated(1, 2)));
}

void TestPolyAreaGraphicsItem::draggingThePolygonStopsAtTheFrame_data()
{
    QTest::addColumn<QPointF>("way");
    QTest::addColumn<QPointF>("moved");
    QTest::newRow("left") << QPointF(-138, 3) << QPointF(-100, 3);
    QTest::newRow("right") << QPointF(197, 3) << QPointF(160, 3);
    QTest::newRow("up") << QPointF(3, -128) << QPointF(3, -100);
    QTest::newRow("down") << QPointF(3, 126) << QPointF(3, 100);
    QTest::newRow("down and right") << QPointF(197, 126) << QPointF(160, 100);
    QTest::newRow("within the frame") << QPointF(90, 70) << QPointF(90, 70);
}

void TestPolyAreaGraphicsItem::draggingThePolygonStopsAtTheFrame()
{
    QFETCH(QPointF, way);
    QFETCH(QPointF, moved);
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square);
    stage.press(inSquare);
    stage.move(inSquare + way / 2);
    stage.move(inSquare + way);
    QCOMPARE(stage.itemOf(object)->dragOffset, moved);
    stage.release(inSquare + way);
    QCOMPARE(sorted(object->keyFrames.at(0)->polygon), sorted(square.translated(moved)));
}

void TestPolyAreaGraphicsItem::draggingThePolygonIgnoresTheFramesOwnLeftAndTop()
{
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square);
    stage.frameItem()->setPos(40, 30);
    stage.press(inSquare);
    stage.move(inSquare + QPointF(-135, -125));
    QCOMPARE(stage.itemOf(object)->dragOffset, QPointF(-100, -100)); // to the origin
    stage.move(inSquare + QPointF(260, 170));
    QCOMPARE(stage.itemOf(object)->dragOffset, QPointF(200, 130)); // to the right and bottom edge
    stage.move(inSquare);
    stage.release(inSquare);
}

void TestPolyAreaGraphicsItem::theMouseComingBackTakesThePolygonAlongAtOnce()
{
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square);
    stage.press(inSquare);
    stage.move(QPointF(400, 120)); // far past the limit at 290
    stage.move(QPointF(300, 120));
    QCOMPARE(stage.itemOf(object)->dragOffset, QPointF(160, 0));
    stage.move(QPointF(280, 120));
    QCOMPARE(stage.itemOf(object)->dragOffset, QPointF(150, 0));
    stage.release(QPointF(280, 120));
    QCOMPARE(sorted(object->keyFrames.at(0)->polygon), sorted(square.translated(150, 0)));
}

void TestPolyAreaGraphicsItem::draggingThePolygonMakesAutomaticVisible_data()
{
    addDragTypeRows();
}

void TestPolyAreaGraphicsItem::draggingThePolygonMakesAutomaticVisible()
{
    QFETCH(KeyFrame::Type, before);
    QFETCH(KeyFrame::Type, after);
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square, before);
    stage.press(inSquare);
    stage.move(inSquare + QPointF(4, 5));
    QCOMPARE(object->keyFrames.at(0)->type, before);
    stage.release(inSquare + QPointF(4, 5));
    QCOMPARE(object->keyFrames.at(0)->type, after);
    QCOMPARE(sorted(object->keyFrames.at(0)->polygon), sorted(square.translated(4, 5)));
}

void TestPolyAreaGraphicsItem::otherObjectsPolygonsCannotBeDragged()
{
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square, KeyFrame::Automatic);
    const TrackedObject *current = stage.addObject(another);
    const QSignalSpy changes(object->keyFrames.at(0), &KeyFrame::hasChanged);
    stage.press(inSquare);
    stage.move(inSquare + QPointF(20, 20));
    QCOMPARE(stage.itemOf(object)->pos(), QPointF(0, 0));
    QCOMPARE(stage.itemOf(object)->dragOffset, QPointF(0, 0));
    stage.release(inSquare + QPointF(20, 20));
    QCOMPARE(changes.size(), 0);
    QCOMPARE(object->keyFrames.at(0)->polygon, square);
    QCOMPARE(current->keyFrames.at(0)->polygon, another);
    QVERIFY(current->isCurrent());
}

void TestPolyAreaGraphicsItem::aDragThatLosesTheMouseNeverWas()
{
    FrameStage frame;
    const QPolygonF outline = rectangle(100, 100, 60, 40);
    TrackedObject *object = frame.addObject(outline, KeyFrame::Automatic);
    const PolyAreaGraphicsItem *item = frame.itemOf(object);
    frame.press(QPointF(130, 120));
    frame.move(QPointF(150, 130));
    QCOMPARE(item->pos(), QPointF(20, 10));
    QGraphicsItem *grabber = frame.scene()->mouseGrabberItem();
    QVERIFY(grabber);
    grabber->ungrabMouse();
    QCOMPARE(item->pos(), QPointF());
    QCOMPARE(item->polyPoints.at(0)->scenePos(), outline.at(0));
    frame.release(QPointF(150, 130));
    QCOMPARE(frame.polygon(), outline);
    QCOMPARE(frame.currentKeyFrame()->type, KeyFrame::Automatic);
}

void TestPolyAreaGraphicsItem::losingTheSelectionDuringADragDropsIt()
{
    FrameStage stage;
    const TrackedObject *other = stage.addObject(another);
    const TrackedObject *object = stage.addObject(square, KeyFrame::Automatic);
    PolyAreaGraphicsItem *item = stage.itemOf(object);
    stage.press(inSquare);
    stage.move(inSquare + QPointF(20, 20));
    g_state->setCurrentObject(other->id);
    stage.move(inSquare + QPointF(40, 40));
    QCOMPARE(item->dragOffset, QPointF(20, 20));
    stage.release(inSquare + QPointF(40, 40));
    QCOMPARE(object->keyFrames.at(0)->polygon, square);
    QCOMPARE(object->keyFrames.at(0)->type, KeyFrame::Automatic);
    QCOMPARE(item->dragOffset, QPointF(0, 0));
    QCOMPARE(item->pos(), QPointF(0, 0));
}

void TestPolyAreaGraphicsItem::aDroppedDragPutsTheHandlesBack()
{
    FrameStage stage;
    const TrackedObject *other = stage.addObject(another);
    TrackedObject *object = stage.addObject(square);
    const PolyAreaGraphicsItem *item = stage.itemOf(object);
    const QList<PolyPointGraphicsItem *> handles = item->polyPoints;
    stage.press(inSquare);
    stage.move(inSquare + QPointF(20, 15));
    g_state->setCurrentObject(other->id);
    stage.move(inSquare + QPointF(40, 40));
    stage.release(inSquare + QPointF(40, 40));
    QCOMPARE(item->polyPoints, handles);
    for (int i = 0; i < handles.size(); ++i) {
        QCOMPARE(handles.at(i)->scenePos(), square.at(i));
        QCOMPARE(handles.at(i)->point, square.at(i));
    }
    QCOMPARE(item->polygon(), square);
    // The handles are found there when the object is current again.
    g_state->setCurrentObject(object->id);
    stage.drag({square.at(0), QPointF(90, 95), QPointF(80, 90)});
    QPolygonF expected = square;
    expected[0] = QPointF(80, 90);
    QCOMPARE(object->keyFrames.at(0)->polygon, expected);
}

void TestPolyAreaGraphicsItem::sideButtonsDoNotDrag_data()
{
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::addColumn<QPointF>("start");
    const QPair<const char *, Qt::MouseButton> buttons[] = {
        {"back", Qt::BackButton}, {"forward", Qt::ForwardButton}, {"task", Qt::TaskButton}};
    for (const auto &button : buttons) {
        QTest::addRow("%s, outline", button.first) << button.second << inSquare;
        QTest::addRow("%s, vertex", button.first) << button.second << square.at(0);
    }
}

void TestPolyAreaGraphicsItem::sideButtonsDoNotDrag()
{
    QFETCH(Qt::MouseButton, button);
    QFETCH(QPointF, start);
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square, KeyFrame::Automatic);
    const PolyAreaGraphicsItem *item = stage.itemOf(object);
    const QSignalSpy changes(object->keyFrames.at(0), &KeyFrame::hasChanged);
    stage.drag({start, start + QPointF(-10, 10), start + QPointF(-30, 10)}, Qt::NoModifier, button);
    QCOMPARE(changes.size(), 0);
    QCOMPARE(item->pos(), QPointF(0, 0));
    QCOMPARE(item->polygon(), square);
    QCOMPARE(object->keyFrames.at(0)->type, KeyFrame::Automatic);
    for (int i = 0; i < square.size(); ++i)
        QCOMPARE(item->polyPoints.at(i)->scenePos(), square.at(i));
}

void TestPolyAreaGraphicsItem::releasingTheOtherButtonDoesNotEndADrag_data()
{
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::addColumn<bool>("vertex");
    const QPair<const char *, Qt::MouseButton> buttons[] = {
        {"right", Qt::RightButton}, {"middle", Qt::MiddleButton}, {"back", Qt::BackButton}};
    for (const auto &button : buttons) {
        QTest::addRow("%s, outline", button.first) << button.second << false;
        QTest::addRow("%s, vertex", button.first) << button.second << true;
    }
}

void TestPolyAreaGraphicsItem::releasingTheOtherButtonDoesNotEndADrag()
{
    QFETCH(Qt::MouseButton, button);
    QFETCH(bool, vertex);
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square);
    const PolyAreaGraphicsItem *item = stage.itemOf(object);
    const QList<PolyPointGraphicsItem *> handles = item->polyPoints;
    KeyFrame *keyFrame = object->keyFrames.at(0);
    const QSignalSpy changes(keyFrame, &KeyFrame::hasChanged);
    const QPointF start = vertex ? square.at(0) : inSquare;
    stage.press(start);
    stage.move(start + QPointF(-10, 5));
    const QPoint here = stage.at(start + QPointF(-10, 5));
    MouseDriver::send(stage.viewport(), QEvent::MouseButtonPress, here, button, Qt::LeftButton | button);
    MouseDriver::send(stage.viewport(), QEvent::MouseButtonRelease, here, button, Qt::LeftButton);
    QCOMPARE(changes.size(), 0);
    QCOMPARE(item->polyPoints, handles);
    QCOMPARE(handles.at(0)->scenePos(), square.at(0) + QPointF(-10, 5));
    QCOMPARE(item->pos(), vertex ? QPointF(0, 0) : QPointF(-10, 5));

    stage.move(start + QPointF(-25, -7));
    QCOMPARE(changes.size(), 0);
    stage.release(start + QPointF(-25, -7));
    QPolygonF expected = square;
    if (vertex)
        expected[0] += QPointF(-25, -7);
    else
        expected.translate(-25, -7);
    QCOMPARE(sorted(keyFrame->polygon), sorted(expected));
    QCOMPARE(flagsOf(changes), QList<int>({KeyFrame::PolygonChanged}));
    QCOMPARE(handlePoints(item), keyFrame->polygon);
    QCOMPARE(item->pos(), QPointF(0, 0));
}

void TestPolyAreaGraphicsItem::leavingTheFrameDuringADragIsHarmless_data()
{
    QTest::addColumn<bool>("vertex");
    QTest::newRow("outline") << false;
    QTest::newRow("vertex") << true;
}

void TestPolyAreaGraphicsItem::leavingTheFrameDuringADragIsHarmless()
{
    QFETCH(bool, vertex);
    FrameStage stage;
    TrackedObject *object = stage.addObject(square, KeyFrame::Automatic);
    annotate(object, 1, another);
    const QPointer<PolyAreaGraphicsItem> item = stage.itemOf(object);
    const QPointF start = vertex ? square.at(0) : inSquare;
    stage.press(start);
    stage.move(start + QPointF(10, 5));
    g_state->nextFrame(); // by its key
    stage.unscale();
    ModelChecks::flushDeferredDeletes();
    QVERIFY(!item);
    stage.move(start + QPointF(20, 20));
    stage.release(start + QPointF(20, 20));
    QCOMPARE(object->keyFrames.at(0)->polygon, square);
    QCOMPARE(object->keyFrames.at(0)->type, KeyFrame::Automatic);
    QCOMPARE(object->keyFrames.at(1)->polygon, another);
    QCOMPARE(handlePoints(stage.itemOf(object)), another);
    QVERIFY(!stage.scene()->mouseGrabberItem());
    // The frame left can be edited as ever.
    g_state->prevFrame();
    stage.unscale();
    QCOMPARE(handlePoints(stage.itemOf(object)), square);
    stage.drag({start, start + QPointF(5, 5), start + QPointF(-8, 6)});
    QPolygonF expected = square;
    if (vertex)
        expected[0] += QPointF(-8, 6);
    else
        expected.translate(-8, 6);
    QCOMPARE(sorted(object->keyFrames.at(0)->polygon), sorted(expected));
}

void TestPolyAreaGraphicsItem::otherButtonsDoNotDragThePolygon_data()
{
    addOtherButtonRows();
}

void TestPolyAreaGraphicsItem::otherButtonsDoNotDragThePolygon()
{
    QFETCH(Qt::MouseButton, button);
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square);
    const QSignalSpy changes(object->keyFrames.at(0), &KeyFrame::hasChanged);
    stage.drag({inSquare, inSquare + QPointF(10, 10), inSquare + QPointF(30, 10)}, Qt::NoModifier, button);
    QCOMPARE(changes.size(), 0);
    QCOMPARE(stage.itemOf(object)->pos(), QPointF(0, 0));
    QCOMPARE(object->keyFrames.at(0)->polygon, square);
}

void TestPolyAreaGraphicsItem::aPlainClickDoesNothing()
{
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square, KeyFrame::Automatic);
    const TrackedObject *current = stage.addObject(another, KeyFrame::Automatic);
    const QSignalSpy stateChanges(g_state, &DataState::hasChanged);
    for (const TrackedObject *clicked : {object, current}) {
        const QSignalSpy changes(clicked->keyFrames.at(0), &KeyFrame::hasChanged);
        const QPointF inside = clicked == object ? inSquare : QPointF(220, 140);
        stage.drag({inside, inside});
        QCOMPARE(changes.size(), 0);
        QCOMPARE(clicked->keyFrames.at(0)->type, KeyFrame::Automatic);
    }
    stage.drag({inSquare, inSquare}, Qt::ShiftModifier);
    QCOMPARE(stateChanges.size(), 0);
    QVERIFY(current->isCurrent());
}

void TestPolyAreaGraphicsItem::ctrlClickMakesTheObjectCurrent()
{
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square, KeyFrame::Automatic);
    const TrackedObject *before = stage.addObject(another);
    const QSignalSpy changes(object->keyFrames.at(0), &KeyFrame::hasChanged);
    stage.drag({inSquare, inSquare}, Qt::ControlModifier);
    QCOMPARE(g_state->currentObjectId, object->id);
    QCOMPARE(stage.itemOf(object)->zValue(), 1.0);
    QCOMPARE(visibleHandles(stage.itemOf(object)), 4);
    QCOMPARE(stage.itemOf(before)->zValue(), 0.0);
    QCOMPARE(visibleHandles(stage.itemOf(before)), 0);
    QCOMPARE(changes.size(), 0);
    QCOMPARE(object->keyFrames.at(0)->type, KeyFrame::Automatic);
    // It can be dragged now.
    stage.drag({inSquare, inSquare + QPointF(9, 9)});
    QCOMPARE(sorted(object->keyFrames.at(0)->polygon), sorted(square.translated(9, 9)));
}

void TestPolyAreaGraphicsItem::ctrlDragMovesAndSelectsNothing()
{
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square);
    const QSignalSpy stateChanges(g_state, &DataState::hasChanged);
    stage.drag({inSquare, inSquare + QPointF(9, 9)}, Qt::ControlModifier);
    QCOMPARE(stateChanges.size(), 0);
    QCOMPARE(sorted(object->keyFrames.at(0)->polygon), sorted(square.translated(9, 9)));
}

void TestPolyAreaGraphicsItem::theSmallestMovementCounts_data()
{
    QTest::addColumn<QPointF>("offset");
    QTest::addColumn<bool>("moves");
    QTest::newRow("none") << QPointF(0, 0) << false;
    QTest::newRow("at the tolerance") << QPointF(1e-12, -1e-12) << false;
    QTest::newRow("to the right") << QPointF(1.5e-12, 0) << true;
    QTest::newRow("up") << QPointF(0, -1.5e-12) << true;
}

void TestPolyAreaGraphicsItem::theSmallestMovementCounts()
{
    QFETCH(QPointF, offset);
    QFETCH(bool, moves);
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square);
    const QSignalSpy selections(g_state, &DataState::hasChanged);
    const QSignalSpy changes(object->keyFrames.at(0), &KeyFrame::hasChanged);
    stage.press(inSquare, Qt::ControlModifier);
    stage.itemOf(object)->dragOffset = offset;
    stage.release(inSquare, Qt::ControlModifier);
    QCOMPARE(flagsOf(selections), moves ? QList<int>() : QList<int>({DataState::ObjectSelectionChanged}));
    QCOMPARE(flagsOf(changes), moves ? QList<int>({KeyFrame::PolygonChanged}) : QList<int>());
}

void TestPolyAreaGraphicsItem::movePolygonMovesTheKeyFrameAndResetsNothing_data()
{
    addDragTypeRows();
}

void TestPolyAreaGraphicsItem::movePolygonMovesTheKeyFrameAndResetsNothing()
{
    QFETCH(KeyFrame::Type, before);
    QFETCH(KeyFrame::Type, after);
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square, before);
    PolyAreaGraphicsItem *item = stage.itemOf(object);
    item->dragOffset = QPointF(11, -7);
    item->setPos(2, 3);
    QVERIFY(QMetaObject::invokeMethod(item, "movePolygon"));
    QCOMPARE(sorted(object->keyFrames.at(0)->polygon), sorted(square.translated(11, -7)));
    QCOMPARE(object->keyFrames.at(0)->type, after);
    QCOMPARE(item->dragOffset, QPointF(11, -7));
    QCOMPARE(item->pos(), QPointF(2, 3));
}

void TestPolyAreaGraphicsItem::theDeclaredSignalsAreNeverEmitted()
{
    FrameStage stage;
    const TrackedObject *other = stage.addObject(another);
    const TrackedObject *object = stage.addObject(square, KeyFrame::Automatic);
    PolyAreaGraphicsItem *item = stage.itemOf(object);
    const QSignalSpy moved(item, &PolyAreaGraphicsItem::moved);
    const QSignalSpy changed(item, &PolyAreaGraphicsItem::changed);
    const QSignalSpy clicked(item, &PolyAreaGraphicsItem::clicked);
    QVERIFY(moved.isValid() && changed.isValid() && clicked.isValid());
    stage.drag({inSquare, inSquare + QPointF(10, 0)});
    stage.drag({inSquare, inSquare}, Qt::ControlModifier);
    stage.drag({QPointF(110, 100), QPointF(90, 90)});
    item->movePolygon();
    g_state->setCurrentObject(other->id);
    stage.drag({inSquare, inSquare}, Qt::ControlModifier);
    QVERIFY(object->isCurrent());
    QVERIFY(object->keyFrames.at(0)->polygon.contains(QPointF(90, 90)));
    QCOMPARE(moved.size() + changed.size() + clicked.size(), 0);
}

void TestPolyAreaGraphicsItem::theOutlineIsDrawnWhereTheVerticesAre()
{
    FrameStage stage;
    TrackedObject *plain = stage.addObject(square);
    TrackedObject *current = stage.addObject(another);
    plain->color = QColor(250, 20, 20);
    current->color = QColor(20, 20, 250);
    stage.project().viewer()->reload(); // fits the frame into the view
    const QImage image = stage.viewport()->grab().toImage();
    QVERIFY(stage.view()->transform().m11() > 1.2);
    const auto colorAt = [&](QPointF scenePoint) { return image.pixelColor(stage.at(scenePoint)); };
    const auto isDrawn = [&](QPointF scenePoint, QColor color) {
        const QPoint centre = stage.at(scenePoint);
        for (int x = -1; x <= 1; ++x) {
            for (int y = -1; y <= 1; ++y) {
                if (ProjectWindow::similar(image.pixelColor(centre + QPoint(x, y)), color, 40))
                    return true;
            }
        }
        return false;
    };
    const QColor frameColor = ProjectWindow::frameColor(0);
    for (int i = 0; i < 4; ++i) {
        QVERIFY2(isDrawn(square.at(i), plain->color), "the outline of another object at a vertex");
        QVERIFY2(ProjectWindow::similar(colorAt(another.at(i)), Qt::green), "the current object's handles");
        QVERIFY(isDrawn((square.at(i) + square.at((i + 1) % 4)) / 2, plain->color));
        QVERIFY(isDrawn((another.at(i) + another.at((i + 1) % 4)) / 2, current->color));
    }
    for (const QPointF &away : {inSquare, QPointF(220, 140), QPointF(90, 120), QPointF(180, 150),
                                QPointF(10, 10), QPointF(310, 230), QPointF(225, 180)})
        QVERIFY2(ProjectWindow::similar(colorAt(away), frameColor), "the frame itself");
}

QTEST_MAIN(TestPolyAreaGraphicsItem)
#include "tst_polyareagraphicsitem.moc"
