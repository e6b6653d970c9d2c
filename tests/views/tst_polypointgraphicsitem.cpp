// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/dragrows.h"
#include "tests/support/framestage.h"
#include "tests/support/mousedriver.h"
#include "tests/support/signalprobe.h"
#include "tests/support/testproject.h"
#include "views/framegraphicsview.h"
#include "views/polyareagraphicsitem.h"
#include "views/polypointgraphicsitem.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QSignalSpy>
#include <QtTest>

namespace
{

const QPolygonF square = rectangle(100, 100, 60, 40); // (100,100) (100,140) (160,140) (160,100)

} // namespace

class TestPolyPointGraphicsItem : public QObject
{
    Q_OBJECT

private slots:
    void aHandleHasItsPlaceSizeAndColour();
    void aHandleKeepsItsSizeOnTheScreen();
    void handlesLieAboveAllPolygons();

    void draggingAVertexMovesIt();
    void draggingAVertexLeavesTheKeyFrameAloneUntilItsEnd();
    void draggingAVertexStopsAtTheFrame_data();
    void draggingAVertexStopsAtTheFrame();
    void draggingAVertexIsLimitedByWidthAndHeight();
    void draggingAVertexMakesAutomaticVisible_data();
    void draggingAVertexMakesAutomaticVisible();
    void aClickOnAHandleStoresTheSameOutline();
    void shiftDoubleClickOnAHandleOnlyRemovesItsVertex_data();
    void shiftDoubleClickOnAHandleOnlyRemovesItsVertex();
    void withShiftAHandleTakesNoPress();
    void otherButtonsDoNotDragAVertex_data();
    void otherButtonsDoNotDragAVertex();
    void draggingInAScaledViewFollowsTheMouse();
    void aDragThatLosesTheMouseNeverWas();
};

void TestPolyPointGraphicsItem::aHandleHasItsPlaceSizeAndColour()
{
    QGraphicsScene scene;
    auto *handle = new PolyPointGraphicsItem(&scene, QPointF(12.5, 7.25));
    QCOMPARE(handle->radius, 3);
    QCOMPARE(handle->offset, QPointF(0, 0));
    QCOMPARE(handle->point, QPointF(12.5, 7.25));
    QCOMPARE(handle->rect(), QRectF(-1.414 * 3, -1.414 * 3, 2.824 * 3, 2.824 * 3));
    QCOMPARE(handle->brush(), QBrush(Qt::green, Qt::SolidPattern));
    QCOMPARE(handle->pen(), QGraphicsEllipseItem().pen());
    QVERIFY(handle->flags().testFlag(QGraphicsItem::ItemIsMovable));
    QVERIFY(handle->flags().testFlag(QGraphicsItem::ItemIgnoresTransformations));
    QCOMPARE(handle->pos(), QPointF(0, 0));
    QCOMPARE(handle->scenePos(), QPointF(12.5, 7.25));

    const auto *anchor = qgraphicsitem_cast<QGraphicsRectItem *>(handle->parentItem());
    QVERIFY(anchor);
    QCOMPARE(anchor->rect(), QRectF());
    QCOMPARE(anchor->pos(), QPointF(12.5, 7.25));
    QCOMPARE(anchor->zValue(), 2.0);
    QVERIFY(!anchor->parentItem());
    QCOMPARE(anchor->scene(), &scene);
}

void TestPolyPointGraphicsItem::aHandleKeepsItsSizeOnTheScreen()
{
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square);
    const PolyPointGraphicsItem *handle = stage.itemOf(object)->polyPoints.first();
    for (const double scale : {0.5, 1.0, 4.0}) {
        stage.view()->setTransform(QTransform::fromScale(scale, scale));
        const QRectF onScreen =
            handle->deviceTransform(stage.view()->viewportTransform()).mapRect(handle->rect());
        QVERIFY(qAbs(onScreen.width() - 2.824 * 3) < 1e-6);
        QVERIFY(qAbs(onScreen.height() - 2.824 * 3) < 1e-6);
    }
}

void TestPolyPointGraphicsItem::handlesLieAboveAllPolygons()
{
    FrameStage stage;
    const TrackedObject *below = stage.addObject(square);
    stage.addObject(square);
    g_state->setCurrentObject(below->id);
    // Inside both polygons, beside the vertex: the handle, the two polygons and the image.
    const QList<QGraphicsItem *> items = stage.view()->items(stage.at(QPointF(102, 102)));
    QCOMPARE(items.size(), 4);
    QCOMPARE(items.first(), static_cast<QGraphicsItem *>(stage.itemOf(below)->polyPoints.first()));
    for (const PolyPointGraphicsItem *handle : stage.itemOf(below)->polyPoints)
        QVERIFY(handle->parentItem()->zValue() > stage.itemOf(below)->zValue());
}

void TestPolyPointGraphicsItem::draggingAVertexMovesIt()
{
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square);
    for (int i = 0; i < square.size(); ++i) {
        QPolygonF expected = object->keyFrames.at(0)->polygon;
        const QPointF start = expected.at(i);
        const QPointF end = start + QPointF(7 * i - 12, 9);
        stage.drag({start, start + QPointF(1, -1), start + QPointF(30, 20), end});
        expected[i] = end;
        QCOMPARE(object->keyFrames.at(0)->polygon, expected);
        QCOMPARE(stage.itemOf(object)->polygon(), expected);
        QCOMPARE(handlePoints(stage.itemOf(object)), expected);
        for (const PolyPointGraphicsItem *handle : stage.itemOf(object)->polyPoints) {
            QCOMPARE(handle->scenePos(), handle->point);
            QCOMPARE(handle->offset, QPointF(0, 0));
        }
    }
}

void TestPolyPointGraphicsItem::draggingAVertexLeavesTheKeyFrameAloneUntilItsEnd()
{
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square, KeyFrame::Automatic);
    KeyFrame *keyFrame = object->keyFrames.at(0);
    const PolyAreaGraphicsItem *item = stage.itemOf(object);
    PolyPointGraphicsItem *handle = item->polyPoints.at(2); // (160,140)
    const QSignalSpy changes(keyFrame, &KeyFrame::hasChanged);
    const QSignalSpy moving(handle, &PolyPointGraphicsItem::moving);
    const QSignalSpy moved(handle, &PolyPointGraphicsItem::moved);

    stage.press(QPointF(160, 140));
    QCOMPARE(moving.size(), 0);
    stage.move(QPointF(170, 150));
    stage.move(QPointF(175, 145));
    QPolygonF drawn = square;
    drawn[2] = QPointF(175, 145);
    QCOMPARE(item->polygon(), drawn);
    QCOMPARE(handle->offset, QPointF(15, 5));
    QCOMPARE(handle->point, QPointF(160, 140));
    QCOMPARE(handle->scenePos(), QPointF(175, 145));
    QCOMPARE(moving.size(), 2);
    QCOMPARE(moved.size(), 0);
    QCOMPARE(keyFrame->polygon, square);
    QCOMPARE(keyFrame->type, KeyFrame::Automatic);
    QCOMPARE(changes.size(), 0);
    QCOMPARE(item->polyPoints.at(2), handle);

    stage.release(QPointF(175, 145));
    QCOMPARE(moved.size(), 1);
    QCOMPARE(keyFrame->polygon, drawn);
    QCOMPARE(keyFrame->type, KeyFrame::Visible);
    QCOMPARE(flagsOf(changes), QList<int>({KeyFrame::PolygonChanged, KeyFrame::TypeChanged}));
    QVERIFY(!item->polyPoints.contains(handle));
}

void TestPolyPointGraphicsItem::draggingAVertexStopsAtTheFrame_data()
{
    QTest::addColumn<QPointF>("mouse");
    QTest::addColumn<QPointF>("stored");
    QTest::newRow("left") << QPointF(-9, 50) << QPointF(0, 50);
    QTest::newRow("right") << QPointF(328, 50) << QPointF(320, 50);
    QTest::newRow("above") << QPointF(50, -9) << QPointF(50, 0);
    QTest::newRow("below") << QPointF(50, 248) << QPointF(50, 240);
    QTest::newRow("corner") << QPointF(328, 248) << QPointF(320, 240);
}

void TestPolyPointGraphicsItem::draggingAVertexStopsAtTheFrame()
{
    QFETCH(QPointF, mouse);
    QFETCH(QPointF, stored);
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square);
    stage.press(square.at(1));
    stage.move(mouse);
    QCOMPARE(stage.itemOf(object)->polyPoints.at(1)->scenePos(), stored);
    QCOMPARE(stage.itemOf(object)->polygon().at(1), stored);
    stage.release(mouse);
    QPolygonF expected = square;
    expected[1] = stored;
    QCOMPARE(object->keyFrames.at(0)->polygon, expected);
}

void TestPolyPointGraphicsItem::draggingAVertexIsLimitedByWidthAndHeight()
{
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square);
    stage.frameItem()->setPos(40, 30);
    stage.view()->setSceneRect(0, 0, 380, 300);
    stage.press(square.at(2));
    stage.move(QPointF(350, 260)); // inside the image as it lies now
    QCOMPARE(stage.itemOf(object)->polyPoints.at(2)->scenePos(), QPointF(320, 240));
    stage.move(QPointF(20, 10));
    QCOMPARE(stage.itemOf(object)->polyPoints.at(2)->scenePos(), QPointF(40, 30));
    stage.release(QPointF(20, 10));
    QCOMPARE(object->keyFrames.at(0)->polygon.at(2), QPointF(40, 30));
}

void TestPolyPointGraphicsItem::draggingAVertexMakesAutomaticVisible_data()
{
    addDragTypeRows();
}

void TestPolyPointGraphicsItem::draggingAVertexMakesAutomaticVisible()
{
    QFETCH(KeyFrame::Type, before);
    QFETCH(KeyFrame::Type, after);
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square, before);
    stage.drag({square.at(0), QPointF(90, 95)});
    QCOMPARE(object->keyFrames.at(0)->polygon.at(0), QPointF(90, 95));
    QCOMPARE(object->keyFrames.at(0)->type, after);
}

void TestPolyPointGraphicsItem::aClickOnAHandleStoresTheSameOutline()
{
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square, KeyFrame::Automatic);
    const QSignalSpy changes(object->keyFrames.at(0), &KeyFrame::hasChanged);
    stage.drag({square.at(0), square.at(0)});
    QCOMPARE(object->keyFrames.at(0)->polygon, square);
    QCOMPARE(flagsOf(changes), QList<int>({KeyFrame::PolygonChanged, KeyFrame::TypeChanged}));
    QCOMPARE(object->keyFrames.at(0)->type, KeyFrame::Visible);
}

void TestPolyPointGraphicsItem::shiftDoubleClickOnAHandleOnlyRemovesItsVertex_data()
{
    QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
    QTest::newRow("shift") << Qt::KeyboardModifiers(Qt::ShiftModifier);
    QTest::newRow("shift and control") << (Qt::ShiftModifier | Qt::ControlModifier);
}

// In the middle of a filled span, which a key frame of the user's would cut and empty.
void TestPolyPointGraphicsItem::shiftDoubleClickOnAHandleOnlyRemovesItsVertex()
{
    QFETCH(Qt::KeyboardModifiers, modifiers);
    FrameStage stage(5);
    TrackedObject *object = stage.addObject(square);
    annotate(object, 4, square);
    for (const int frame : {1, 2, 3})
        annotate(object, frame, square, KeyFrame::Automatic);
    g_state->setFrame(2);
    stage.unscale();
    const QSignalSpy changes(object->keyFrames.at(2), &KeyFrame::hasChanged);
    const QSignalSpy objectChanges(object, &TrackedObject::hasChanged);
    stage.doubleClick(square.at(1), modifiers);
    QPolygonF expected = square;
    expected.remove(1);
    QCOMPARE(stage.polygon(), expected);
    QCOMPARE(flagsOf(changes), QList<int>({KeyFrame::PolygonChanged}));
    QCOMPARE(objectChanges.size(), 0);
    for (const int frame : {1, 2, 3})
        QCOMPARE(object->keyFrames.at(frame)->type, KeyFrame::Automatic);
    QCOMPARE(object->keyFrames.at(1)->polygon, square);
    QCOMPARE(object->keyFrames.at(3)->polygon, square);
}

void TestPolyPointGraphicsItem::withShiftAHandleTakesNoPress()
{
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square);
    PolyPointGraphicsItem *handle = stage.itemOf(object)->polyPoints.first();
    const QSignalSpy moved(handle, &PolyPointGraphicsItem::moved);
    stage.press(square.first(), Qt::ShiftModifier);
    QVERIFY(stage.scene()->mouseGrabberItem() != handle);
    stage.release(square.first(), Qt::ShiftModifier);
    QCOMPARE(moved.size(), 0);
    // Shift pressed later does not end a drag.
    stage.press(square.first());
    QCOMPARE(stage.scene()->mouseGrabberItem(), static_cast<QGraphicsItem *>(handle));
    stage.move(QPointF(90, 95), Qt::ShiftModifier);
    stage.release(QPointF(90, 95), Qt::ShiftModifier);
    QCOMPARE(moved.size(), 1);
    QCOMPARE(stage.polygon().first(), QPointF(90, 95));
}

void TestPolyPointGraphicsItem::otherButtonsDoNotDragAVertex_data()
{
    addOtherButtonRows();
}

void TestPolyPointGraphicsItem::otherButtonsDoNotDragAVertex()
{
    QFETCH(Qt::MouseButton, button);
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square, KeyFrame::Automatic);
    const QSignalSpy changes(object->keyFrames.at(0), &KeyFrame::hasChanged);
    stage.drag({square.at(0), QPointF(50, 60), QPointF(20, 30)}, Qt::NoModifier, button);
    QCOMPARE(object->keyFrames.at(0)->polygon, square);
    QCOMPARE(stage.itemOf(object)->polygon(), square);
    QCOMPARE(stage.itemOf(object)->pos(), QPointF(0, 0));
    QCOMPARE(changes.size(), 0);
}

void TestPolyPointGraphicsItem::draggingInAScaledViewFollowsTheMouse()
{
    FrameStage stage;
    const TrackedObject *object = stage.addObject(square);
    for (const double scale : {0.8, 1.25}) {
        stage.view()->setTransform(QTransform::fromScale(scale, scale));
        object->keyFrames.at(0)->setNewPolygon(square);
        const QPoint start = stage.at(square.at(2));
        const QPoint end = start + QPoint(13, -6);
        MouseDriver::drag(stage.viewport(), {start, start + QPoint(4, 4), end});
        const QPointF expected = stage.view()->mapToScene(end);
        const QPointF stored = object->keyFrames.at(0)->polygon.at(2);
        QVERIFY(QLineF(stored, expected).length() < 1e-6);
    }
}

// A dialog takes it, for instance, that a shortcut opens in the middle of the drag.
void TestPolyPointGraphicsItem::aDragThatLosesTheMouseNeverWas()
{
    FrameStage frame;
    TrackedObject *object = frame.addObject(square, KeyFrame::Automatic);
    frame.press(square.at(0));
    frame.move(square.at(0) + QPointF(20, 10));
    const PolyAreaGraphicsItem *item = frame.itemOf(object);
    QVERIFY(item->polygon() != square);
    QGraphicsItem *handle = frame.scene()->mouseGrabberItem();
    QCOMPARE(handle, static_cast<QGraphicsItem *>(item->polyPoints.at(0)));
    handle->ungrabMouse();
    QCOMPARE(item->polygon(), square);
    QCOMPARE(handle->scenePos(), square.at(0));
    frame.release(square.at(0) + QPointF(20, 10));
    QCOMPARE(frame.polygon(), square);
    QCOMPARE(frame.currentKeyFrame()->type, KeyFrame::Automatic);
}

QTEST_MAIN(TestPolyPointGraphicsItem)
#include "tst_polypointgraphicsitem.moc"
