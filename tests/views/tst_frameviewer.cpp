// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/modaljob.h"
#include "tests/support/framestage.h"
#include "tests/support/logcapture.h"
#include "tests/support/mousedriver.h"
#include "tests/support/outlinerows.h"
#include "tests/support/sceneprobe.h"
#include "tests/support/signalprobe.h"
#include "tests/support/testproject.h"
#include "views/framecache.h"
#include "views/framegraphicsview.h"
#include "views/polyareagraphicsitem.h"

#include <QAction>
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QHBoxLayout>
#include <QPointer>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include <cmath>

namespace
{

const QPolygonF square = rectangle(100, 100, 100, 100); // (100,100) (100,200) (200,200) (200,100)

} // namespace

class TestFrameViewer : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void startsDisabledWithAnEmptyViewThatFillsIt();
    void listensToTheStateFromTheStart();
    void connectToStateListensExactlyOnceToTheStateInUse();
    void reloadsForFrameAndListChangesOnly_data();
    void reloadsForFrameAndListChangesOnly();
    void withoutAVideoIsDisabledAndKeepsItsScene();
    void aNoticeIsPaintedWhileNoVideoIsLoaded();
    void aLongNoticeStaysInsideTheView();
    void reloadEnablesAndShowsTheImageOfTheCurrentFrame();
    void aMissingImageGivesAnEmptyPixmapWithoutAMessage();
    void everyObjectGetsAnItemWhateverItsKeyFrame();
    void equalPolygonsStackInListOrderWhateverTheirStackingValues();
    void theImageLiesBelowEverything();
    void reloadMakesAllItemsAnew();
    void fitsTheFrameIntoTheViewKeepingItsShape();
    void resizeWithoutAFrameDoesNothing();

    void manyHandlesGoWithoutAnIndex_data();
    void manyHandlesGoWithoutAnIndex();
    void preparesTheFramesInTheDirectionOfTheLastMove_data();
    void preparesTheFramesInTheDirectionOfTheLastMove();
    void whatKeepsTheImageDecodesNothing();
    void aChangedImageIsShown();
    void imagesGoWithTheirProject();
    void preparesNothingWhileAJobRuns();

    void clicksOutsideTheFrameLandOnItsBorder_data();
    void clicksOutsideTheFrameLandOnItsBorder();
    void theUpperBoundsAreWidthAndHeight();
    void anEmptyFrameCollapsesClicksToTheOrigin();
    void theFirstDoubleClickMakesTheFirstObject();
    void upToThreeVerticesAreAppended();
    void aClockwiseTriangleIsTurnedRound_data();
    void aClockwiseTriangleIsTurnedRound();
    void aLaterVertexGoesIntoTheNearestEdgeWithoutTurningAnything();
    void aVertexOnAVertexIsPlacedByTheAngles_data();
    void aVertexOnAVertexIsPlacedByTheAngles();
    void addingKeepsTheTypeUnlessThereWasNone_data();
    void addingKeepsTheTypeUnlessThereWasNone();
    void addingStoresThePolygonThenTheType();
    void removingTakesTheNearestVertex_data();
    void removingTakesTheNearestVertex();
    void removingKeepsTheType_data();
    void removingKeepsTheType();
    void removingFromShortPolygonsChangesNothing_data();
    void removingFromShortPolygonsChangesNothing();
    void removingWithoutObjectsMakesNone();
    void editsConcernTheCurrentObjectOnly();
    void withoutACurrentObjectNothingHappens_data();
    void withoutACurrentObjectNothingHappens();
    void beforeTheFirstFrameNothingHappens();
};

void TestFrameViewer::cleanup()
{
    QVERIFY(!g_mainWindow);
}

void TestFrameViewer::startsDisabledWithAnEmptyViewThatFillsIt()
{
    TestProject project(3);
    FrameViewer viewer;
    QVERIFY(!viewer.isEnabled());
    QVERIFY(!viewer.frameItem);
    QCOMPARE(viewer.scene->parent(), &viewer);
    QVERIFY(viewer.scene->items().isEmpty());
    QCOMPARE(viewer.view->scene(), viewer.scene);
    QCOMPARE(viewer.view->parentWidget(), &viewer);
    QCOMPARE(viewer.view->frameStyle(), 0);
    QVERIFY(viewer.view->renderHints().testFlag(QPainter::Antialiasing));
    QVERIFY(viewer.view->renderHints().testFlag(QPainter::SmoothPixmapTransform));

    auto *box = qobject_cast<QBoxLayout *>(viewer.layout());
    QVERIFY(box);
    QCOMPARE(box->direction(), QBoxLayout::LeftToRight);
    QCOMPARE(box->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(box->count(), 1);
    QCOMPARE(box->itemAt(0)->widget(), viewer.view);
}

void TestFrameViewer::listensToTheStateFromTheStart()
{
    TestProject project(3);
    FrameViewer viewer;
    project->setFrame(1);
    QVERIFY(viewer.isEnabled());
    QVERIFY(viewer.frameItem);
}

void TestFrameViewer::connectToStateListensExactlyOnceToTheStateInUse()
{
    TestProject oldProject(3);
    FrameViewer viewer;
    CountingState state;
    state.video = ProjectWindow::makeVideo(3, QSize(32, 24), 25);
    state.videoLoaded = true;
    DataState *const previous = g_state;
    g_state = &state;
    QCOMPARE(state.listeners(), 0);
    viewer.connectToState();
    QCOMPARE(state.listeners(), 1);
    viewer.connectToState();
    QCOMPARE(state.listeners(), 1);
    state.setFrame(2);
    QVERIFY(viewer.isEnabled());
    QCOMPARE(viewer.frameItem->pixmap().size(), QSize(32, 24));
    g_state = previous;
}

void TestFrameViewer::reloadsForFrameAndListChangesOnly_data()
{
    QTest::addColumn<int>("flags");
    QTest::addColumn<bool>("reloads");
    QTest::newRow("nothing") << 0 << false;
    QTest::newRow("selection") << int(DataState::ObjectSelectionChanged) << false;
    QTest::newRow("frame") << int(DataState::FrameChanged) << true;
    QTest::newRow("object list") << int(DataState::ObjectListChanged) << true;
    QTest::newRow("selection and frame")
        << (DataState::ObjectSelectionChanged | DataState::FrameChanged) << true;
    QTest::newRow("selection and list")
        << (DataState::ObjectSelectionChanged | DataState::ObjectListChanged) << true;
    QTest::newRow("frame and list") << (DataState::FrameChanged | DataState::ObjectListChanged) << true;
    QTest::newRow("a bit without meaning") << 8 << false;
    QTest::newRow("selection and a bit without meaning") << (DataState::ObjectSelectionChanged | 8) << false;
}

void TestFrameViewer::reloadsForFrameAndListChangesOnly()
{
    QFETCH(int, flags);
    QFETCH(bool, reloads);
    ProjectWindow project(2);
    const QPointer<QGraphicsWidget> item = witness(project.viewer()->scene);
    emit g_state->hasChanged(flags);
    QCOMPARE(item.isNull(), reloads);
}

void TestFrameViewer::withoutAVideoIsDisabledAndKeepsItsScene()
{
    ProjectWindow project(2);
    FrameViewer *viewer = project.viewer();
    QVERIFY(viewer->isEnabled());
    const QPointer<QGraphicsWidget> item = witness(viewer->scene);
    QGraphicsPixmapItem *const shown = viewer->frameItem;
    g_state->videoLoaded = false;
    viewer->reload();
    QVERIFY(!viewer->isEnabled());
    QVERIFY(item);
    QCOMPARE(viewer->frameItem, shown);
    QVERIFY(viewer->scene->items().contains(shown));
}

void TestFrameViewer::aNoticeIsPaintedWhileNoVideoIsLoaded()
{
    FrameStage stage;
    FrameViewer *viewer = stage.project().viewer();
    const QImage withVideo = viewer->grab().toImage();
    viewer->setNotice(QStringLiteral("to be told"));
    QCOMPARE(viewer->notice(), QStringLiteral("to be told"));
    QCOMPARE(viewer->grab().toImage(), withVideo);

    g_state->videoLoaded = false;
    viewer->reload();
    const QImage told = viewer->grab().toImage();
    viewer->setNotice(QString());
    const QImage untold = viewer->grab().toImage();
    QVERIFY(told != untold);
    QCOMPARE(told.copy(0, 0, told.width(), told.height() / 3),
             untold.copy(0, 0, untold.width(), untold.height() / 3)); // it is in the middle
    viewer->setNotice(QStringLiteral("to be TOLD"));
    QVERIFY(viewer->grab().toImage() != told);
    viewer->setNotice(QStringLiteral("to be told"));
    QCOMPARE(viewer->grab().toImage(), told);

    g_state->videoLoaded = true;
    viewer->reload();
    stage.unscale();
    QCOMPARE(viewer->grab().toImage(), withVideo);
}

void TestFrameViewer::aLongNoticeStaysInsideTheView()
{
    FrameStage stage;
    FrameViewer *viewer = stage.project().viewer();
    g_state->videoLoaded = false;
    viewer->reload();
    const QImage untold = viewer->grab().toImage();
    viewer->setNotice(QStringLiteral("many words ").repeated(60));
    const QImage told = viewer->grab().toImage();
    QVERIFY(told != untold);
    constexpr int border = 10; // pixels
    QCOMPARE(told.copy(0, 0, border, told.height()), untold.copy(0, 0, border, untold.height()));
    QCOMPARE(told.copy(told.width() - border, 0, border, told.height()),
             untold.copy(untold.width() - border, 0, border, untold.height()));
}

void TestFrameViewer::reloadEnablesAndShowsTheImageOfTheCurrentFrame()
{
    ProjectWindow project(4, QSize(64, 48));
    FrameViewer *viewer = project.viewer();
    for (const int frame : {3, 0, 2}) {
        viewer->setEnabled(false);
        g_state->currentFrame = frame;
        viewer->reload();
        QVERIFY(viewer->isEnabled());
        const QImage shown = viewer->frameItem->pixmap().toImage();
        QCOMPARE(shown.size(), QSize(64, 48));
        QVERIFY(ProjectWindow::similar(shown.pixelColor(30, 20), ProjectWindow::frameColor(frame)));
        QCOMPARE(viewer->frameItem->sceneBoundingRect(), QRectF(0, 0, 64, 48));
    }
}

void TestFrameViewer::aMissingImageGivesAnEmptyPixmapWithoutAMessage()
{
    ProjectWindow project(3);
    QVERIFY(QFile::remove(g_state->video->getFramePath(1)));
    QFile unreadable(g_state->video->getFramePath(2));
    QVERIFY(unreadable.open(QIODevice::WriteOnly | QIODevice::Truncate));
    unreadable.write("not an image");
    unreadable.close();
    for (const int frame : {1, 2}) {
        const LogCapture log;
        g_state->setFrame(frame);
        QVERIFY(project.viewer()->isEnabled());
        QVERIFY(project.viewer()->frameItem);
        QVERIFY(project.viewer()->frameItem->pixmap().isNull());
        QVERIFY(project.viewer()->frameItem->sceneBoundingRect().size().isEmpty());
        QCOMPARE(log.warnings(), QStringList());
    }
    project.addObject();
    project.viewer()->doubleClicked(40, 30, false);
    QCOMPARE(g_state->getCurrentObject()->keyFrames.at(2)->polygon, polygonOf({QPointF(0, 0)}));
}

void TestFrameViewer::everyObjectGetsAnItemWhateverItsKeyFrame()
{
    ProjectWindow project(3);
    const QList<KeyFrame::Type> types = {KeyFrame::Visible, KeyFrame::None, KeyFrame::Occluded,
                                         KeyFrame::Automatic};
    for (const KeyFrame::Type type : types) {
        KeyFrame *keyFrame = project.addObject()->keyFrames.at(1);
        keyFrame->type = type;
        keyFrame->polygon = type == KeyFrame::None ? QPolygonF() : square.translated(10 * type, 0);
    }
    g_state->currentObjectId = -1;
    g_state->setFrame(1);
    const QList<PolyAreaGraphicsItem *> items = itemsOf<PolyAreaGraphicsItem>(project.viewer()->scene);
    QCOMPARE(items.size(), 4);
    for (int i = 0; i < items.size(); ++i) {
        QCOMPARE(items.at(i)->keyFrame, g_state->objects.at(i)->keyFrames.at(1));
        QCOMPARE(items.at(i)->polygon(), g_state->objects.at(i)->keyFrames.at(1)->polygon);
    }
}

void TestFrameViewer::equalPolygonsStackInListOrderWhateverTheirStackingValues()
{
    ProjectWindow project(2);
    for (int i = 0; i < 4; ++i)
        project.addObject()->keyFrames.at(0)->zOrder = 10 - i;
    g_state->setCurrentObject(1);
    project.viewer()->reload();
    QList<int> ids;
    for (const PolyAreaGraphicsItem *item : itemsOf<PolyAreaGraphicsItem>(project.viewer()->scene))
        ids.append(item->keyFrame->object->id);
    QCOMPARE(ids, QList<int>({0, 2, 3, 1})); // the current one on top
}

void TestFrameViewer::theImageLiesBelowEverything()
{
    ProjectWindow project(2);
    annotate(project.addObject(), 0, square);
    annotate(project.addObject(), 0, square);
    project.viewer()->reload();
    QCOMPARE(project.viewer()->frameItem->zValue(), 0.0);
    QCOMPARE(project.viewer()->scene->items(Qt::AscendingOrder).first(), project.viewer()->frameItem);
}

void TestFrameViewer::reloadMakesAllItemsAnew()
{
    ProjectWindow project(2);
    annotate(project.addObject(), 0, square);
    const QPointer<PolyAreaGraphicsItem> old = itemsOf<PolyAreaGraphicsItem>(project.viewer()->scene).first();
    const int count = project.viewer()->scene->items().size();
    project.viewer()->reload();
    QVERIFY(!old);
    QCOMPARE(project.viewer()->scene->items().size(), count);
    QCOMPARE(itemsOf<PolyAreaGraphicsItem>(project.viewer()->scene).size(), 1);
    // An old item's connections ended with it.
    g_state->objects.first()->keyFrames.first()->setNewPolygon(rectangle(1, 2, 3, 4));
    QCOMPARE(itemsOf<PolyAreaGraphicsItem>(project.viewer()->scene).first()->polygon(),
             rectangle(1, 2, 3, 4));
}

void TestFrameViewer::fitsTheFrameIntoTheViewKeepingItsShape()
{
    ProjectWindow project(2, QSize(300, 100));
    QVERIFY(project.show());
    FrameGraphicsView *view = project.viewer()->view;
    for (const QSize size : {QSize(1200, 900), QSize(700, 1000)}) {
        project.window().resize(size);
        QCoreApplication::processEvents();
        QCOMPARE(view->sceneRect(), QRectF(0, 0, 300, 100));
        QCOMPARE(view->transform().m11(), view->transform().m22());
        const QRect viewport = view->viewport()->rect();
        const QRect shown = view->mapFromScene(QRectF(0, 0, 300, 100)).boundingRect();
        QVERIFY(viewport.adjusted(-1, -1, 1, 1).contains(shown));
        const int spare = qMin(viewport.width() - shown.width(), viewport.height() - shown.height());
        QVERIFY2(spare <= 6, qPrintable(QString::number(spare)));
    }
    // A reload fits as well, whatever the view showed.
    const QTransform fitted = view->transform();
    view->scale(3, 2);
    view->setSceneRect(0, 0, 10, 10);
    project.viewer()->reload();
    QCOMPARE(view->sceneRect(), QRectF(0, 0, 300, 100));
    QCOMPARE(view->transform().m11(), view->transform().m22());
    QVERIFY(qAbs(view->transform().m11() - fitted.m11()) < 1e-6);
    // So does resize(), for the frame where it lies now.
    project.viewer()->frameItem->setPos(20, 30);
    project.viewer()->resize();
    QCOMPARE(view->sceneRect(), QRectF(20, 30, 300, 100));
}

void TestFrameViewer::resizeWithoutAFrameDoesNothing()
{
    TestProject project(3);
    FrameViewer viewer;
    viewer.view->setSceneRect(1, 2, 3, 4);
    viewer.view->scale(2, 2);
    viewer.resize();
    QCOMPARE(viewer.view->sceneRect(), QRectF(1, 2, 3, 4));
    QCOMPARE(viewer.view->transform(), QTransform::fromScale(2, 2));
}

namespace
{

/// Waits until everything is prepared that the viewer wants for the frame it shows.
bool isPrepared(const FrameViewer *viewer)
{
    QCoreApplication::processEvents();
    return QTest::qWaitFor([viewer] { return viewer->images().isIdle(); }, 30000);
}

/// The frames whose images are at hand.
QList<int> framesAtHand(const FrameViewer *viewer)
{
    QList<int> frames;
    for (int frame = 0; frame < g_state->video->frameCount; ++frame) {
        if (viewer->images().holds(g_state->video->getFramePath(frame)))
            frames.append(frame);
    }
    return frames;
}

} // namespace

void TestFrameViewer::manyHandlesGoWithoutAnIndex_data()
{
    QTest::addColumn<int>("vertices");
    QTest::addColumn<bool>("indexed");
    QTest::newRow("few") << 4 << true;
    QTest::newRow("as many as an index helps with") << 250 << true;
    QTest::newRow("one more each") << 251 << false;
}

void TestFrameViewer::manyHandlesGoWithoutAnIndex()
{
    QFETCH(int, vertices);
    QFETCH(bool, indexed);
    FrameStage stage;
    QPolygonF circle;
    for (int i = 0; i < vertices; ++i) {
        const double angle = -2 * M_PI * i / vertices;
        circle.append(QPointF(160, 120) + 80 * QPointF(std::cos(angle), std::sin(angle)));
    }
    stage.addObject(circle);
    stage.addObject(circle.translated(15, 5));
    stage.project().viewer()->reload();
    stage.unscale();
    QCOMPARE(stage.scene()->itemIndexMethod() == QGraphicsScene::BspTreeIndex, indexed);

    // Either way the same is seen, and found by the mouse.
    const QImage seen = stage.viewport()->grab().toImage();
    stage.drag({circle.first() + QPointF(15, 5), QPointF(290, 100)});
    QVERIFY(stage.polygon().contains(QPointF(290, 100)));
    stage.currentKeyFrame()->setNewPolygon(circle.translated(15, 5));
    stage.scene()->setItemIndexMethod(indexed ? QGraphicsScene::NoIndex : QGraphicsScene::BspTreeIndex);
    QCOMPARE(stage.viewport()->grab().toImage(), seen);
}

void TestFrameViewer::preparesTheFramesInTheDirectionOfTheLastMove_data()
{
    QTest::addColumn<QList<int>>("way");
    QTest::addColumn<QList<int>>("atHand");
    QTest::newRow("at the start") << QList<int>() << QList<int>({0, 1, 2, 3, 4});
    QTest::newRow("onwards") << QList<int>({1, 2}) << QList<int>({0, 1, 2, 3, 4, 5, 6});
    QTest::newRow("onwards with frames left out")
        << QList<int>({4}) << QList<int>({0, 1, 2, 3, 4, 5, 6, 7, 8});
    QTest::newRow("far") << QList<int>({20}) << QList<int>({0, 1, 2, 3, 4, 19, 20, 21});
    QTest::newRow("far, then back") << QList<int>({20, 19})
                                    << QList<int>({0, 1, 2, 3, 4, 15, 16, 17, 18, 19, 20, 21});
    QTest::newRow("far, then onwards")
        << QList<int>({20, 21}) << QList<int>({0, 1, 2, 3, 4, 19, 20, 21, 22, 23, 24, 25});
    QTest::newRow("to the end") << QList<int>({29}) << QList<int>({0, 1, 2, 3, 4, 28, 29});
}

void TestFrameViewer::preparesTheFramesInTheDirectionOfTheLastMove()
{
    QFETCH(QList<int>, way);
    ProjectWindow project(30, QSize(32, 24));
    QVERIFY(isPrepared(project.viewer()));
    for (const int frame : qAsConst(way)) {
        g_state->setFrame(frame);
        const QColor shown = project.viewer()->frameItem->pixmap().toImage().pixelColor(5, 5);
        QVERIFY(ProjectWindow::similar(shown, ProjectWindow::frameColor(frame)));
        QVERIFY(isPrepared(project.viewer()));
    }
    QTEST(framesAtHand(project.viewer()), "atHand");
}

void TestFrameViewer::whatKeepsTheImageDecodesNothing()
{
    ProjectWindow project(3);
    const FrameViewer *viewer = project.viewer();
    const qint64 key = viewer->frameItem->pixmap().cacheKey();
    project.addObject();
    QCOMPARE(viewer->frameItem->pixmap().cacheKey(), key);
    project.window().reload();
    QCOMPARE(viewer->frameItem->pixmap().cacheKey(), key);
    g_state->deleteObject(0);
    QCOMPARE(viewer->frameItem->pixmap().cacheKey(), key);
    g_state->setFrame(1);
    QVERIFY(viewer->frameItem->pixmap().cacheKey() != key);
    g_state->setFrame(0);
    QCOMPARE(viewer->frameItem->pixmap().cacheKey(), key);
}

void TestFrameViewer::aChangedImageIsShown()
{
    ProjectWindow project(3, QSize(32, 24));
    QVERIFY(isPrepared(project.viewer()));
    QCOMPARE(framesAtHand(project.viewer()), QList<int>({0, 1, 2}));
    QImage image(32, 24, QImage::Format_RGB32);
    image.fill(Qt::white);
    QVERIFY(image.save(g_state->video->getFramePath(1), "jpg", 100));
    g_state->setFrame(1);
    QCOMPARE(project.viewer()->frameItem->pixmap().toImage().pixelColor(5, 5), QColor(Qt::white));
}

void TestFrameViewer::imagesGoWithTheirProject()
{
    ProjectWindow project(10);
    g_state->setFrame(2);
    QVERIFY(project.viewer()->images().bytes() > 0);
    project.window().recreateDataState();
    QCOMPARE(project.viewer()->images().bytes(), 0);
    QVERIFY(project.viewer()->images().isIdle());
    g_state->video = ProjectWindow::makeVideo(4, QSize(32, 24), 25);
    g_state->videoLoaded = true;
    project.window().reload();
    QVERIFY(isPrepared(project.viewer()));
    QCOMPARE(framesAtHand(project.viewer()), QList<int>({0, 1, 2, 3}));
}

void TestFrameViewer::preparesNothingWhileAJobRuns()
{
    ProjectWindow project(30, QSize(32, 24));
    QVERIFY(isPrepared(project.viewer()));
    QSemaphore end;
    QList<int> atHand;
    QTimer::singleShot(0, &project.window(), [&] {
        g_state->setFrame(20);
        isPrepared(project.viewer());
        atHand = framesAtHand(project.viewer());
        end.release();
    });
    QList<int> items = {0};
    ModalJob::run(QStringLiteral("Working"), items, [&end](int &) { end.acquire(); });
    QCOMPARE(atHand, QList<int>({0, 1, 2, 3, 4, 20}));
    g_state->setFrame(21);
    QTRY_VERIFY(framesAtHand(project.viewer()).contains(25));
}

void TestFrameViewer::clicksOutsideTheFrameLandOnItsBorder_data()
{
    QTest::addColumn<QPointF>("clicked");
    QTest::addColumn<QPointF>("stored");
    QTest::newRow("inside") << QPointF(20, 30) << QPointF(20, 30);
    QTest::newRow("left") << QPointF(-8, 30) << QPointF(0, 30);
    QTest::newRow("right") << QPointF(327, 30) << QPointF(320, 30);
    QTest::newRow("above") << QPointF(20, -6) << QPointF(20, 0);
    QTest::newRow("below") << QPointF(20, 246) << QPointF(20, 240);
    QTest::newRow("top left corner") << QPointF(-5, -5) << QPointF(0, 0);
    QTest::newRow("bottom right corner") << QPointF(325, 245) << QPointF(320, 240);
    QTest::newRow("on the border") << QPointF(320, 240) << QPointF(320, 240);
}

void TestFrameViewer::clicksOutsideTheFrameLandOnItsBorder()
{
    QFETCH(QPointF, clicked);
    QFETCH(QPointF, stored);
    FrameStage frame;
    frame.doubleClick(clicked);
    QCOMPARE(frame.polygon(), polygonOf({stored}));
}

void TestFrameViewer::theUpperBoundsAreWidthAndHeight()
{
    FrameStage frame;
    frame.addObject();
    frame.project().viewer()->frameItem->setPos(50, 30);
    frame.view()->setSceneRect(0, 0, 380, 300);
    frame.doubleClick(QPointF(360, 265)); // inside the image as it lies now
    frame.doubleClick(QPointF(10, 20));
    QCOMPARE(frame.polygon(), polygonOf({QPointF(320, 240), QPointF(50, 30)}));
}

void TestFrameViewer::anEmptyFrameCollapsesClicksToTheOrigin()
{
    FrameStage frame;
    QVERIFY(QFile::remove(g_state->video->getFramePath(1)));
    g_state->setFrame(1);
    frame.view()->resetTransform();
    QVERIFY(frame.project().viewer()->frameItem->sceneBoundingRect().isEmpty());
    const QWidget *viewport = frame.view()->viewport();
    const LogCapture log;
    QPolygonF expected;
    for (const QPoint &position :
         {QPoint(3, 4), viewport->rect().center(), viewport->rect().bottomRight(), QPoint(40, 200)}) {
        MouseDriver::doubleClick(frame.view()->viewport(), position);
        expected.append(QPointF(0, 0));
        QCOMPARE(frame.polygon(), expected);
    }
    QCOMPARE(g_state->objects.size(), 1);
    QCOMPARE(frame.currentKeyFrame()->type, KeyFrame::Visible);
    MouseDriver::doubleClick(frame.view()->viewport(), QPointF(70, 70), Qt::ShiftModifier);
    QCOMPARE(frame.polygon().size(), 3);
    QCOMPARE(log.warnings(), QStringList());
    // Frames with an image are not concerned.
    g_state->setFrame(0);
    frame.view()->resetTransform();
    frame.doubleClick(QPointF(50, 60));
    QCOMPARE(frame.polygon(), polygonOf({QPointF(50, 60)}));
}

void TestFrameViewer::theFirstDoubleClickMakesTheFirstObject()
{
    FrameStage frame;
    g_state->setFrame(1);
    frame.view()->resetTransform();
    QAction *tool = nullptr;
    for (QAction *action : frame.project().window().findChildren<QAction *>()) {
        if (action->text() == QLatin1String("export XML"))
            tool = action;
    }
    QVERIFY(tool);
    QVERIFY(!tool->isEnabled());

    frame.doubleClick(QPointF(70, 60));
    QCOMPARE(g_state->objects.size(), 1);
    QCOMPARE(g_state->currentObjectId, g_state->objects.first()->id);
    const KeyFrame *keyFrame = g_state->objects.first()->keyFrames.at(1);
    QCOMPARE(keyFrame->polygon, polygonOf({QPointF(70, 60)}));
    QCOMPARE(keyFrame->type, KeyFrame::Visible);
    QCOMPARE(g_state->objects.first()->keyFrames.at(0)->type, KeyFrame::None);
    QVERIFY(tool->isEnabled()); // the window was reloaded

    frame.doubleClick(QPointF(90, 60));
    QCOMPARE(g_state->objects.size(), 1);
    QCOMPARE(keyFrame->polygon.size(), 2);
}

void TestFrameViewer::upToThreeVerticesAreAppended()
{
    FrameStage frame;
    frame.doubleClick(QPointF(50, 50));
    frame.doubleClick(QPointF(50, 150));
    QCOMPARE(frame.polygon(), polygonOf({QPointF(50, 50), QPointF(50, 150)}));
    frame.doubleClick(QPointF(150, 150));
    QCOMPARE(frame.polygon(), polygonOf({QPointF(50, 50), QPointF(50, 150), QPointF(150, 150)}));
}

void TestFrameViewer::aClockwiseTriangleIsTurnedRound_data()
{
    QTest::addColumn<QPointF>("third");
    QTest::addColumn<QPolygonF>("stored");
    const QPointF p0(50, 50);
    const QPointF p1(150, 150);
    QTest::newRow("counter-clockwise") << QPointF(150, 50) << polygonOf({p0, p1, QPointF(150, 50)});
    QTest::newRow("clockwise") << QPointF(50, 150) << polygonOf({p0, QPointF(50, 150), p1});
    QTest::newRow("on one line") << QPointF(100, 100) << polygonOf({p0, p1, QPointF(100, 100)});
}

void TestFrameViewer::aClockwiseTriangleIsTurnedRound()
{
    QFETCH(QPointF, third);
    QFETCH(QPolygonF, stored);
    FrameStage frame;
    frame.doubleClick(QPointF(50, 50));
    frame.doubleClick(QPointF(150, 150));
    frame.doubleClick(third);
    QCOMPARE(frame.polygon(), stored);
}

void TestFrameViewer::aLaterVertexGoesIntoTheNearestEdgeWithoutTurningAnything()
{
    FrameStage frame;
    const QPolygonF clockwise =
        polygonOf({QPointF(100, 100), QPointF(200, 100), QPointF(200, 200), QPointF(100, 200)});
    annotate(frame.addObject(), 0, clockwise);
    frame.doubleClick(QPointF(220, 150));
    QCOMPARE(frame.polygon(), polygonOf({QPointF(100, 100), QPointF(200, 100), QPointF(220, 150),
                                         QPointF(200, 200), QPointF(100, 200)}));
    frame.doubleClick(QPointF(90, 150)); // the closing edge
    QCOMPARE(frame.polygon().size(), 6);
    QCOMPARE(frame.polygon().last(), QPointF(90, 150));

    annotate(g_state->getCurrentObject(), 0,
             polygonOf({QPointF(100, 100), QPointF(200, 100), QPointF(200, 200)}));
    frame.doubleClick(QPointF(150, 100)); // clockwise triangles stay as well
    QCOMPARE(frame.polygon(),
             polygonOf({QPointF(100, 100), QPointF(150, 100), QPointF(200, 100), QPointF(200, 200)}));
}

void TestFrameViewer::aVertexOnAVertexIsPlacedByTheAngles_data()
{
    addVertexOnVertexRows();
}

void TestFrameViewer::aVertexOnAVertexIsPlacedByTheAngles()
{
    QFETCH(int, vertex);
    QFETCH(int, index);
    FrameStage frame;
    annotate(frame.addObject(), 0, square);
    frame.doubleClick(square.at(vertex));
    QPolygonF expected = square;
    expected.insert(index, square.at(vertex));
    QCOMPARE(frame.polygon(), expected);
}

void TestFrameViewer::addingKeepsTheTypeUnlessThereWasNone_data()
{
    QTest::addColumn<KeyFrame::Type>("before");
    QTest::addColumn<KeyFrame::Type>("after");
    QTest::newRow("none") << KeyFrame::None << KeyFrame::Visible;
    QTest::newRow("visible") << KeyFrame::Visible << KeyFrame::Visible;
    QTest::newRow("occluded") << KeyFrame::Occluded << KeyFrame::Occluded;
    QTest::newRow("automatic") << KeyFrame::Automatic << KeyFrame::Automatic;
}

void TestFrameViewer::addingKeepsTheTypeUnlessThereWasNone()
{
    QFETCH(KeyFrame::Type, before);
    QFETCH(KeyFrame::Type, after);
    for (const QPolygonF &polygon : {QPolygonF(), square}) {
        FrameStage frame;
        annotate(frame.addObject(), 0, polygon, before);
        frame.doubleClick(QPointF(150, 90));
        QCOMPARE(frame.polygon().size(), polygon.size() + 1);
        QCOMPARE(frame.currentKeyFrame()->type, after);
    }
}

void TestFrameViewer::addingStoresThePolygonThenTheType()
{
    FrameStage frame;
    annotate(frame.addObject(), 0, square, KeyFrame::Automatic);
    const QSignalSpy spy(frame.currentKeyFrame(), &KeyFrame::hasChanged);
    frame.doubleClick(QPointF(150, 90));
    QCOMPARE(flagsOf(spy), QList<int>({KeyFrame::PolygonChanged, KeyFrame::TypeChanged}));
}

void TestFrameViewer::removingTakesTheNearestVertex_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<QPointF>("clicked");
    QTest::addColumn<int>("removed");
    QTest::newRow("on the first") << square << QPointF(100, 100) << 0;
    QTest::newRow("near the third") << square << QPointF(190, 180) << 2;
    QTest::newRow("near the last") << square << QPointF(190, 110) << 3;
    QTest::newRow("as near to all four") << square << QPointF(150, 150) << 0;
    QTest::newRow("as near to the second and third") << square << QPointF(150, 190) << 1;
    QTest::newRow("as near to the third and fourth") << square << QPointF(190, 150) << 2;
    QTest::newRow("from outside the frame") << rectangle(10, 10, 300, 220) << QPointF(326, 246) << 2;
    QTest::newRow("the nearest to the border, not to the click")
        << polygonOf({QPointF(320, 100), QPointF(301, 119), QPointF(10, 10)}) << QPointF(329, 120) << 1;
    QTest::newRow("one of two") << polygonOf({QPointF(50, 50), QPointF(90, 90)}) << QPointF(80, 80) << 1;
    QTest::newRow("far away from all") << square << QPointF(10, 230) << 1;
}

void TestFrameViewer::removingTakesTheNearestVertex()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(QPointF, clicked);
    QFETCH(int, removed);
    FrameStage frame;
    annotate(frame.addObject(), 0, polygon);
    frame.shiftDoubleClick(clicked);
    polygon.remove(removed);
    QCOMPARE(frame.polygon(), polygon);
}

void TestFrameViewer::removingKeepsTheType_data()
{
    QTest::addColumn<KeyFrame::Type>("type");
    QTest::newRow("none") << KeyFrame::None;
    QTest::newRow("visible") << KeyFrame::Visible;
    QTest::newRow("occluded") << KeyFrame::Occluded;
    QTest::newRow("automatic") << KeyFrame::Automatic;
}

void TestFrameViewer::removingKeepsTheType()
{
    QFETCH(KeyFrame::Type, type);
    FrameStage frame;
    annotate(frame.addObject(), 0, square, type);
    const QSignalSpy spy(frame.currentKeyFrame(), &KeyFrame::hasChanged);
    for (int left = 3; left >= 1; --left) {
        frame.shiftDoubleClick(QPointF(20, 20));
        QCOMPARE(frame.polygon().size(), left);
        QCOMPARE(frame.currentKeyFrame()->type, type);
    }
    QCOMPARE(flagsOf(spy),
             QList<int>({KeyFrame::PolygonChanged, KeyFrame::PolygonChanged, KeyFrame::PolygonChanged}));
}

void TestFrameViewer::removingFromShortPolygonsChangesNothing_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::newRow("one vertex") << polygonOf({QPointF(50, 50)});
    QTest::newRow("no vertex") << QPolygonF();
}

void TestFrameViewer::removingFromShortPolygonsChangesNothing()
{
    QFETCH(QPolygonF, polygon);
    FrameStage frame;
    annotate(frame.addObject(), 0, polygon, KeyFrame::Visible);
    frame.shiftDoubleClick(QPointF(50, 50));
    QCOMPARE(frame.polygon(), polygon);
    QCOMPARE(frame.currentKeyFrame()->type, KeyFrame::Visible);
}

void TestFrameViewer::removingWithoutObjectsMakesNone()
{
    FrameStage frame;
    frame.shiftDoubleClick(QPointF(50, 50));
    QVERIFY(g_state->objects.isEmpty());
}

void TestFrameViewer::editsConcernTheCurrentObjectOnly()
{
    FrameStage frame;
    annotate(frame.addObject(), 0, square);
    annotate(frame.addObject(), 0, square);
    annotate(frame.addObject(), 0, square);
    g_state->setCurrentObject(1);
    frame.doubleClick(QPointF(150, 90));
    frame.shiftDoubleClick(QPointF(100, 200));
    QCOMPARE(g_state->objects.at(0)->keyFrames.at(0)->polygon, square);
    QCOMPARE(g_state->objects.at(2)->keyFrames.at(0)->polygon, square);
    QCOMPARE(g_state->objects.at(1)->keyFrames.at(0)->polygon,
             polygonOf({QPointF(100, 100), QPointF(200, 200), QPointF(200, 100), QPointF(150, 90)}));
}

void TestFrameViewer::withoutACurrentObjectNothingHappens_data()
{
    QTest::addColumn<int>("currentId");
    QTest::newRow("none") << -1;
    QTest::newRow("one that does not exist") << 77;
}

void TestFrameViewer::withoutACurrentObjectNothingHappens()
{
    QFETCH(int, currentId);
    FrameStage frame;
    annotate(frame.addObject(), 0, square);
    g_state->setCurrentObject(currentId);
    frame.doubleClick(QPointF(150, 90));
    frame.shiftDoubleClick(QPointF(100, 200));
    QCOMPARE(g_state->objects.size(), 1);
    QCOMPARE(g_state->objects.first()->keyFrames.first()->polygon, square);
}

void TestFrameViewer::beforeTheFirstFrameNothingHappens()
{
    TestProject project(3);
    FrameViewer viewer;
    viewer.doubleClicked(5, 5, false);
    viewer.doubleClicked(5, 5, true);
    QVERIFY(project->objects.isEmpty());
}

QTEST_MAIN(TestFrameViewer)
#include "tst_frameviewer.moc"
