// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "tests/gui/programtest.h"
#include "tests/support/menudriver.h"
#include "tests/support/mousedriver.h"
#include "tests/support/sceneprobe.h"
#include "tests/support/testproject.h"
#include "tests/support/timelineprobe.h"
#include "views/clickablegraphicsview.h"
#include "views/framegraphicsview.h"
#include "views/framespangraphicsitem.h"
#include "views/frameviewer.h"
#include "views/keyframegraphicsitem.h"
#include "views/polyareagraphicsitem.h"
#include "views/polypointgraphicsitem.h"
#include "views/timeline.h"
#include "views/trackedobjectlabel.h"

#include <QHoverEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

namespace
{

enum class Drop { Recreated, LoadFailed };

const QPolygonF outline = rectangle(40, 40, 60, 50);

/// Everything that a user's hands can do to a view at one place.
void useAt(QWidget *viewport, QPoint place)
{
    using namespace MouseDriver;
    for (const Qt::KeyboardModifiers modifiers :
         {Qt::KeyboardModifiers(Qt::NoModifier), Qt::KeyboardModifiers(Qt::ControlModifier),
          Qt::KeyboardModifiers(Qt::ShiftModifier)}) {
        click(viewport, place, modifiers);
        doubleClick(viewport, place, modifiers);
        drag(viewport, {place, place + QPoint(7, 5), place + QPoint(20, 9)}, modifiers);
    }
    click(viewport, place, Qt::NoModifier, Qt::RightButton);
    contextMenu(viewport, place);
    QHoverEvent hover(QEvent::HoverMove, place, place - QPoint(1, 1));
    QCoreApplication::sendEvent(viewport, &hover);
    for (Qt::Key key : {Qt::Key_Delete, Qt::Key_Return, Qt::Key_Escape, Qt::Key_Left, Qt::Key_Tab})
        QTest::keyClick(viewport, key);
}

template <class Item, class Pointer>
QString stillPointing(const QGraphicsScene *scene, Pointer Item::*pointer)
{
    const QList<Item *> items = itemsOf<Item>(scene);
    for (const Item *item : items) {
        if (item->*pointer)
            return QStringLiteral("an item points at what is gone");
    }
    return items.isEmpty() ? QStringLiteral("there is no item") : QString();
}

} // namespace

Q_DECLARE_METATYPE(Drop)

class TestDroppedProject : public ProgramTest
{
    Q_OBJECT

private slots:
    void whatStaysIsOnlyAPicture_data() { addDropRows(); }
    void whatStaysIsOnlyAPicture();
    void noItemPointsAtWhatIsGone_data() { addDropRows(); }
    void noItemPointsAtWhatIsGone();
    void theFrameTakesNoInput_data() { addDropRows(); }
    void theFrameTakesNoInput();
    void theRowsTakeNoInput_data() { addDropRows(); }
    void theRowsTakeNoInput();
    void theLabelsTakeNoInput_data() { addDropRows(); }
    void theLabelsTakeNoInput();
    void aDragEndsWithItsOutline();
    void callsToItsItemsDoNothing();

private:
    static void addDropRows();
    void makeProject();
    void drop(Drop way);
    MainWindow &window() { return *m_program->window; }
    FrameGraphicsView *frameView() { return window().frameViewer()->view; }
};

void TestDroppedProject::addDropRows()
{
    QTest::addColumn<Drop>("way");
    QTest::newRow("started anew") << Drop::Recreated;
    QTest::newRow("load failed") << Drop::LoadFailed;
}

/// Two objects, with outlines on the frames 0 and 4; the second one is current.
void TestDroppedProject::makeProject()
{
    m_program->pretendTwoObjects();
    for (TrackedObject *object : qAsConst(g_state->objects)) {
        annotate(object, 0, outline.translated(80 * object->id, 0));
        annotate(object, 4, outline.translated(80 * object->id, 20));
    }
    window().reload();
    QCoreApplication::processEvents();
}

/// The views are disabled then. They are enabled again here: the items must be harmless by themselves.
void TestDroppedProject::drop(Drop way)
{
    if (way == Drop::Recreated) {
        window().recreateDataState();
    } else {
        const QTemporaryDir folder;
        const QString noVideo = folder.filePath(QStringLiteral("none.mp4"));
        writeFile(noVideo, "no video");
        QCOMPARE(m_program->newProject(noVideo), QString());
    }
    QVERIFY(!g_state->videoLoaded);
    QVERIFY(!window().frameViewer()->isEnabled());
    QVERIFY(!window().timeLine()->isEnabled());
    window().frameViewer()->setEnabled(true);
    window().timeLine()->setEnabled(true);
}

void TestDroppedProject::whatStaysIsOnlyAPicture()
{
    QFETCH(Drop, way);
    makeProject();
    const QList<QGraphicsItem *> before = window().frameViewer()->scene->items();
    const QImage picture = frameView()->viewport()->grab().toImage();
    const QImage rows = window().timeLine()->bodyView->viewport()->grab().toImage();
    drop(way);
    QCOMPARE(window().frameViewer()->scene->items(), before);
    window().frameViewer()->setNotice(QString()); // says over it why the load failed
    QCOMPARE(frameView()->viewport()->grab().toImage(), picture);
    QCOMPARE(window().timeLine()->bodyView->viewport()->grab().toImage(), rows);
}

void TestDroppedProject::noItemPointsAtWhatIsGone()
{
    QFETCH(Drop, way);
    makeProject();
    drop(way);
    const TimeLine *timeLine = window().timeLine();
    QCOMPARE(stillPointing(window().frameViewer()->scene, &PolyAreaGraphicsItem::keyFrame), QString());
    QCOMPARE(stillPointing(timeLine->bodyScene, &KeyFrameGraphicsItem::keyFrame), QString());
    QCOMPARE(stillPointing(timeLine->bodyScene, &FrameSpanGraphicsItem::frameSpan), QString());
}

void TestDroppedProject::theFrameTakesNoInput()
{
    QFETCH(Drop, way);
    makeProject();
    drop(way);
    const QList<PolyAreaGraphicsItem *> areas = itemsOf<PolyAreaGraphicsItem>(window().frameViewer()->scene);
    QCOMPARE(areas.size(), 2);
    for (const PolyAreaGraphicsItem *area : areas) {
        const QPolygonF drawn = area->polygon();
        QCOMPARE(drawn.size(), 4);
        useAt(frameView()->viewport(), frameView()->mapFromScene(drawn.at(0))); // a handle, if it is current
        useAt(frameView()->viewport(), frameView()->mapFromScene((drawn.at(0) + drawn.at(1)) / 2));
        QCOMPARE(area->polygon(), drawn);
        QCOMPARE(area->pos(), QPointF());
    }
    QCOMPARE(g_state->currentObjectId, -1);
    QVERIFY(!g_state->hasObjects());
}

void TestDroppedProject::theRowsTakeNoInput()
{
    QFETCH(Drop, way);
    makeProject();
    const TimeLine *timeLine = window().timeLine();
    QList<QPointF> places;
    for (const TrackedObject *object : qAsConst(g_state->objects)) {
        places.append(markerOf(timeLine, object->keyFrames.at(4))->scenePos());
        places.append(curvesOf(timeLine, object).constFirst()->path().pointAtPercent(0.5));
    }
    drop(way);
    int menus = 0;
    for (const QPointF &place : qAsConst(places)) {
        MenuDriver menu([&menus](QMenu *) { ++menus; });
        useAt(timeLine->bodyView->viewport(), timeLine->bodyView->mapFromScene(place));
    }
    QCOMPARE(menus, 0);
    QCOMPARE(g_state->currentFrame, 0);
    QCOMPARE(g_state->currentObjectId, -1);
}

void TestDroppedProject::theLabelsTakeNoInput()
{
    QFETCH(Drop, way);
    makeProject();
    drop(way);
    const QList<TrackedObjectLabel *> labels = labelsOf(window().timeLine());
    QCOMPARE(labels.size(), 2);
    for (TrackedObjectLabel *label : labels) {
        useAt(label, label->rect().center());
        label->nameEdit->setText(QStringLiteral("another name"));
        label->changeName();
        label->deleteButton->click();
    }
    QCOMPARE(g_state->currentObjectId, -1);
    QVERIFY(!g_state->hasObjects());
}

void TestDroppedProject::aDragEndsWithItsOutline()
{
    makeProject();
    QWidget *viewport = frameView()->viewport();
    const QPoint vertex = frameView()->mapFromScene(outline.translated(80, 0).at(0));
    MouseDriver::press(viewport, vertex);
    MouseDriver::move(viewport, vertex + QPoint(9, 9));
    QVERIFY(window().frameViewer()->scene->mouseGrabberItem());
    drop(Drop::Recreated);
    QVERIFY(!window().frameViewer()->scene->mouseGrabberItem());
    MouseDriver::move(viewport, vertex + QPoint(30, 12));
    MouseDriver::release(viewport, vertex + QPoint(30, 12));
}

void TestDroppedProject::callsToItsItemsDoNothing()
{
    makeProject();
    drop(Drop::Recreated);
    for (PolyAreaGraphicsItem *area : itemsOf<PolyAreaGraphicsItem>(window().frameViewer()->scene)) {
        const QPolygonF drawn = area->polygon();
        area->updatePolygon();
        area->updateStyle();
        area->polyPointsChanged();
        area->movePolygon();
        emit area->polyPoints.constFirst()->moved();
        QCOMPARE(area->polygon(), drawn);
    }
    for (KeyFrameGraphicsItem *marker : window().timeLine()->keyFrameItems) {
        const bool visible = marker->isVisible();
        marker->reload();
        marker->updateStyle();
        QCOMPARE(marker->isVisible(), visible);
    }
    for (FrameSpanGraphicsItem *curve : window().timeLine()->spanItems) {
        const QPen pen = curve->pen();
        curve->reload();
        curve->updateStyle();
        QCOMPARE(curve->pen(), pen);
    }
}

QTEST_MAIN(TestDroppedProject)
#include "tst_droppedproject.moc"
