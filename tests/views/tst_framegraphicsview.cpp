// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/framestage.h"
#include "tests/support/mousedriver.h"
#include "tests/support/testproject.h"
#include "views/framegraphicsview.h"

#include <QGraphicsScene>
#include <QScrollBar>
#include <QSignalSpy>
#include <QtTest>

Q_DECLARE_METATYPE(Qt::MouseButton)

namespace
{

/// Notes the double-clicks that reach a scene.
class DoubleClickCounter : public QObject
{
public:
    int count = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::GraphicsSceneMouseDoubleClick)
            ++count;
        return false;
    }
};

const QPolygonF square = rectangle(100, 100, 100, 100); // (100,100) (100,200) (200,200) (200,100)

} // namespace

class TestFrameGraphicsView : public QObject
{
    Q_OBJECT

private slots:
    void theViewReportsDoubleClicksRounded_data();
    void theViewReportsDoubleClicksRounded();
    void onlyTheLeftButtonsDoubleClickEdits_data();
    void onlyTheLeftButtonsDoubleClickEdits();
    void theViewReportsResizing();
    void doubleClicksDoNotReachTheScene();
};

void TestFrameGraphicsView::theViewReportsDoubleClicksRounded_data()
{
    QTest::addColumn<QPointF>("position");
    QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
    QTest::addColumn<QPoint>("reported");
    QTest::addColumn<bool>("shift");
    const Qt::KeyboardModifiers none = Qt::NoModifier;
    const Qt::KeyboardModifiers shift = Qt::ShiftModifier;
    QTest::newRow("whole") << QPointF(10, 20) << none << QPoint(10, 20) << false;
    QTest::newRow("below the half") << QPointF(10.49, 20.49) << none << QPoint(10, 20) << false;
    QTest::newRow("above the half") << QPointF(10.51, 20.9) << none << QPoint(11, 21) << false;
    QTest::newRow("halves") << QPointF(10.5, 21.5) << none << QPoint(11, 22) << false;
    QTest::newRow("shift") << QPointF(10, 20) << shift << QPoint(10, 20) << true;
    QTest::newRow("shift among others")
        << QPointF(10, 20) << (shift | Qt::ControlModifier) << QPoint(10, 20) << true;
    QTest::newRow("other modifiers") << QPointF(10, 20)
                                     << (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)
                                     << QPoint(10, 20) << false;
}

void TestFrameGraphicsView::theViewReportsDoubleClicksRounded()
{
    QFETCH(QPointF, position);
    QFETCH(Qt::KeyboardModifiers, modifiers);
    QFETCH(QPoint, reported);
    QFETCH(bool, shift);
    FrameGraphicsView view;
    view.resize(200, 100);
    const QSignalSpy spy(&view, &FrameGraphicsView::doubleClicked);
    MouseDriver::doubleClick(view.viewport(), position, modifiers);
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy.first(), QList<QVariant>({reported.x(), reported.y(), shift}));
}

void TestFrameGraphicsView::onlyTheLeftButtonsDoubleClickEdits_data()
{
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::addColumn<bool>("edits");
    QTest::newRow("left") << Qt::LeftButton << true;
    QTest::newRow("right") << Qt::RightButton << false;
    QTest::newRow("middle") << Qt::MiddleButton << false;
    QTest::newRow("back") << Qt::BackButton << false;
}

void TestFrameGraphicsView::onlyTheLeftButtonsDoubleClickEdits()
{
    QFETCH(Qt::MouseButton, button);
    QFETCH(bool, edits);
    FrameStage frame;
    frame.addObject(square);
    const QPoint outside = frame.at(QPointF(250, 150));
    MouseDriver::doubleClick(frame.viewport(), outside, Qt::NoModifier, button);
    QCOMPARE(frame.polygon().size(), edits ? 5 : 4);
    MouseDriver::doubleClick(frame.viewport(), outside, Qt::ShiftModifier, button);
    QCOMPARE(frame.polygon(), square); // the new vertex was the nearest one
}

void TestFrameGraphicsView::theViewReportsResizing()
{
    FrameGraphicsView view;
    QGraphicsScene scene(0, 0, 1000, 1000);
    view.setScene(&scene);
    view.resize(200, 100);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    const QSignalSpy spy(&view, &FrameGraphicsView::resized);
    const int step = view.horizontalScrollBar()->pageStep();
    view.resize(300, 150);
    QTRY_VERIFY(spy.size() >= 1);
    QCOMPARE(view.horizontalScrollBar()->pageStep(), step + 100); // the base handler has run
}

void TestFrameGraphicsView::doubleClicksDoNotReachTheScene()
{
    FrameStage frame;
    annotate(frame.addObject(), 0, square);
    DoubleClickCounter counter;
    frame.project().viewer()->scene->installEventFilter(&counter);
    frame.doubleClick(QPointF(150, 150));
    QCOMPARE(frame.polygon().size(), 5);
    QCOMPARE(counter.count, 0);
}

QTEST_MAIN(TestFrameGraphicsView)
#include "tst_framegraphicsview.moc"
