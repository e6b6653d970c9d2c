// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/mousedriver.h"
#include "tests/support/projectwindow.h"
#include "tests/support/testproject.h"
#include "tests/support/timelineprobe.h"
#include "views/clickablegraphicsview.h"

#include <QGraphicsScene>
#include <QHash>
#include <QMenu>
#include <QtTest>

namespace
{

const QPolygonF outline = rectangle(20, 20, 40, 40);

/// Counts the mouse events that reach a scene.
class SceneMouse : public QObject
{
public:
    QHash<int, int> count;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        ++count[event->type()];
        return false;
    }
};

} // namespace

class TestClickableGraphicsView : public QObject
{
    Q_OBJECT

private slots:
    void theViewReportsPositionsOnlyWhilePressed();
    void theViewKeepsMovesFromTheScene();
    void aContextMenuEndsTheDrag();
};

void TestClickableGraphicsView::theViewReportsPositionsOnlyWhilePressed()
{
    ClickableGraphicsView view;
    view.resize(200, 100);
    QVERIFY(!view.pressed);
    QList<QPoint> positions;
    QObject::connect(&view, &ClickableGraphicsView::clicked, &view,
                     [&positions](QPoint p) { positions.append(p); });
    QWidget *port = view.viewport();
    MouseDriver::send(port, QEvent::MouseMove, QPointF(1, 1), Qt::NoButton, Qt::NoButton);
    QCOMPARE(positions, QList<QPoint>());
    MouseDriver::press(port, QPointF(10, 10));
    QVERIFY(view.pressed);
    QCOMPARE(positions, QList<QPoint>());
    MouseDriver::move(port, QPointF(10.5, 11.4));
    MouseDriver::move(port, QPointF(12.49, 12.51));
    QCOMPARE(positions, QList<QPoint>({QPoint(11, 11), QPoint(12, 13)}));
    MouseDriver::release(port, QPointF(20.5, 7.2));
    QVERIFY(!view.pressed);
    QCOMPARE(positions, QList<QPoint>({QPoint(11, 11), QPoint(12, 13), QPoint(21, 7)}));
    MouseDriver::send(port, QEvent::MouseMove, QPointF(30, 30), Qt::NoButton, Qt::NoButton);
    QCOMPARE(positions.size(), 3);
}

void TestClickableGraphicsView::theViewKeepsMovesFromTheScene()
{
    QGraphicsScene scene(0, 0, 200, 100);
    SceneMouse mouse;
    scene.installEventFilter(&mouse);
    ClickableGraphicsView view;
    view.setScene(&scene);
    view.resize(220, 120);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    MouseDriver::drag(view.viewport(), {QPoint(50, 50), QPoint(60, 60), QPoint(70, 70)});
    QCOMPARE(mouse.count.value(QEvent::GraphicsSceneMousePress), 1);
    QCOMPARE(mouse.count.value(QEvent::GraphicsSceneMouseMove), 0);
    QCOMPARE(mouse.count.value(QEvent::GraphicsSceneMouseRelease), 1);
}

void TestClickableGraphicsView::aContextMenuEndsTheDrag()
{
    ProjectWindow project(6);
    annotate(project.addObject(), 2, outline);
    QVERIFY(project.show());
    const TimeLine *timeLine = project.timeLine();
    QWidget *body = timeLine->bodyView->viewport();
    for (const QPointF &point : {QPointF(100, 20), QPointF(180, 20)}) {
        g_state->setFrame(0);
        MouseDriver::press(body, timeLine->bodyView->mapFromScene(point), Qt::NoModifier, Qt::RightButton);
        QVERIFY(timeLine->bodyView->pressed);
        QVERIFY(withMenu(timeLine, point, [](QMenu *menu) { QTest::keyClick(menu, Qt::Key_Escape); }));
        // The menu got the release.
        QVERIFY(!timeLine->bodyView->pressed);
        MouseDriver::send(body, QEvent::MouseMove, QPointF(230, 20), Qt::NoButton, Qt::NoButton);
        QCOMPARE(g_state->currentFrame, 0);
        MouseDriver::click(body, QPointF(170, 10)); // the next click works as ever
        QCOMPARE(g_state->currentFrame, 4);
    }
}

QTEST_MAIN(TestClickableGraphicsView)
#include "tst_clickablegraphicsview.moc"
