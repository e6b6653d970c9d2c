// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/modelchecks.h"
#include "tests/support/mousedriver.h"
#include "tests/support/projectwindow.h"
#include "tests/support/sceneprobe.h"
#include "tests/support/signalprobe.h"
#include "tests/support/testproject.h"
#include "tests/support/timelineprobe.h"
#include "views/clickablegraphicsview.h"
#include "views/framespangraphicsitem.h"
#include "views/keyframegraphicsitem.h"
#include "views/trackedobjectlabel.h"

#include <QAction>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGraphicsSimpleTextItem>
#include <QGridLayout>
#include <QLabel>
#include <QMetaMethod>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QSignalSpy>
#include <QtTest>

namespace
{

const QPolygonF outline = rectangle(20, 20, 40, 40);

bool toolsEnabled(const MainWindow &window)
{
    for (const QAction *action : window.findChildren<QAction *>()) {
        if (action->text() == QLatin1String("export XML"))
            return action->isEnabled();
    }
    qFatal("no such action");
}

QPalette darkPalette()
{
    return QPalette(QColor(40, 42, 46), QColor(30, 32, 36)); // buttons, windows; the rest is made to fit
}

/// Makes a palette that of the application, for windows to come.
class PaletteInUse
{
public:
    explicit PaletteInUse(const QPalette &palette) { QApplication::setPalette(palette); }
    ~PaletteInUse() { QApplication::setPalette(m_previous); }

private:
    const QPalette m_previous = QApplication::palette();
};

/// A change of the project that nothing announces: only a reload shows it.
class UnannouncedChange
{
public:
    explicit UnannouncedChange(TrackedObject *object)
        : m_keyFrame(object->keyFrames.last())
        , m_type(m_keyFrame->type == KeyFrame::None ? KeyFrame::Automatic : KeyFrame::None)
    {
        m_keyFrame->type = m_type;
    }

    bool isShown(const TimeLine *timeLine) const
    {
        return markerOf(timeLine, m_keyFrame)->isVisible() == (m_type != KeyFrame::None);
    }

private:
    KeyFrame *m_keyFrame;
    KeyFrame::Type m_type;
};

/// The least lightness of an image's pixels within an area, from 0 to 255.
int darkest(const QImage &image, const QRect &area)
{
    int least = 255;
    for (int x = area.left(); x <= area.right(); ++x) {
        for (int y = area.top(); y <= area.bottom(); ++y)
            least = qMin(least, image.pixelColor(x, y).lightness());
    }
    return least;
}

/// A window with more rows than it can show, scrolled to some row in the middle.
class ScrolledRows
{
public:
    ScrolledRows()
        : project(100, QSize(32, 24))
    {
        {
            const QSignalBlocker blocker(g_state); // one rebuild instead of twenty
            for (int i = 0; i < 20; ++i)
                project.addObject();
        }
        emit g_state->hasChanged(DataState::ObjectListChanged | DataState::ObjectSelectionChanged);
        if (!project.show())
            qFatal("the window does not get active");
        rows = project.timeLine()->bodyView->verticalScrollBar();
        labels = project.timeLine()->labelArea->verticalScrollBar();
        rows->setValue(position);
    }

    /// Where the rows are, if the labels are there too; -1 otherwise.
    int value() const { return rows->value() == labels->value() ? rows->value() : -1; }
    /// The same after all that was put off.
    int valueLater() const
    {
        ModelChecks::flushDeferredDeletes();
        QCoreApplication::processEvents();
        return value();
    }

    int height() const { return project.timeLine()->bodyView->viewport()->height(); }
    /// The position with a row at the lower border.
    int lowest(int row) const { return 40 * (row + 1) - height(); }

    static constexpr int position = 213; // pixels
    ProjectWindow project;
    QScrollBar *rows = nullptr;
    QScrollBar *labels = nullptr;
};

} // namespace

class TestTimeLine : public QObject
{
    Q_OBJECT

private slots:
    void declaresItsSlotsInOrder();
    void startsDisabledWithoutMarkers();
    void laysOutItsParts();
    void partsHaveTheirSizesAndPolicies();
    void scrollBarsMoveTogether();

    void theGroundIsLightUnderEveryPalette_data();
    void theGroundIsLightUnderEveryPalette();
    void withoutAVideoIsDisabledAndKeepsItsRows();
    void theHeaderNumbersTheFrames();
    void theBodyHasAGridLinePerFrame();
    void withoutObjectsThereAreOnlyLinesAndMarkers();
    void markersHighlightTheCurrentFrame();
    void theBodyScrollsToTheCurrentFrame();
    void steppingKeepsTheVerticalPosition();
    void aReloadKeepsTheVerticalPosition();
    void addingAnObjectShowsItsRow();
    void anotherCurrentObjectShowsItsRow_data();
    void anotherCurrentObjectShowsItsRow();
    void theSameObjectAgainKeepsTheVerticalPosition();
    void deletingAnObjectShowsTheCurrentRow();
    void theRowShownIsThatOfTheLabel();
    void anOpenedProjectShowsTheCurrentRow_data();
    void anOpenedProjectShowsTheCurrentRow();
    void clickingALabelInSightKeepsTheRows();
    void aViewLowerThanARowShowsItsTop();
    void rowsFollowTheStackingOrderOfEveryFrame();
    void labelsFollowTheStackingOrderOfTheFirstFrame();
    void spansCoverTheVideoOnceInOrder();
    void aVideoOfOneFrameHasNoSpanCurves();
    void everyFrameHasAMarker();
    void itemsAndLabelsStayWhereNothingDiffers();
    void itemsAndLabelsOfObjectsGoneAreDeletedLater();

    void reactsToListAndFrameChanges_data();
    void reactsToListAndFrameChanges();
    void connectToStateListensExactlyOnceToTheStateInUse();
    void connectToObjectsReplacesItsConnections();
    void anyObjectChangeReloads();

    void aPositionBecomesAFrame_data();
    void aPositionBecomesAFrame();
    void clicksGoToTheFrameUnderThem();
    void clicksCountTheScrolledPart();
    void draggingScrubsThroughTheFrames();
    void clicksOutsideTheVideoDoNothing();

    void addingTheFirstObjectReloadsTheWindow();
};

void TestTimeLine::declaresItsSlotsInOrder()
{
    const QMetaObject &meta = TimeLine::staticMetaObject;
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == QMetaMethod::Slot)
            names.append(QString::fromLatin1(meta.method(i).methodSignature()));
    }
    QCOMPARE(names,
             QStringList({"reload()", "reloadList()", "reloadMarkers()", "addObject()", "connectToState()",
                          "filterStateChange(int)", "connectToObjects()", "filterObjectsChange(int)",
                          "viewClicked(QPoint)", "scrollPosToFrame(int)"}));
}

void TestTimeLine::startsDisabledWithoutMarkers()
{
    TestProject project(3);
    project.addObject();
    const TimeLine timeLine(QStringLiteral("Time Line"));
    QCOMPARE(timeLine.windowTitle(), QStringLiteral("Time Line"));
    QVERIFY(!timeLine.isEnabled());
    QVERIFY(!timeLine.headerMarker && !timeLine.bodyMarker);
    QCOMPARE(timeLine.frameWidth, 40);
    QCOMPARE(timeLine.rowHeight, 40);
    QCOMPARE(timeLine.objectConnections.size(), 1);
    QVERIFY(!timeLine.headerView->pressed && !timeLine.bodyView->pressed);
    QCOMPARE(timeLine.headerScene->parent(), &timeLine);
    QCOMPARE(timeLine.bodyScene->parent(), &timeLine);
    QCOMPARE(timeLine.headerView->scene(), timeLine.headerScene);
    QCOMPARE(timeLine.bodyView->scene(), timeLine.bodyScene);
    // Listens to the state all the same.
    project.addObject();
    QVERIFY(timeLine.isEnabled());
    QVERIFY(timeLine.headerMarker && timeLine.bodyMarker);
}

void TestTimeLine::laysOutItsParts()
{
    TestProject project(3);
    const TimeLine timeLine(QStringLiteral("Time Line"));
    auto *grid = qobject_cast<QGridLayout *>(timeLine.widget()->layout());
    QVERIFY(grid);
    QCOMPARE(grid->horizontalSpacing(), 0);
    QCOMPARE(grid->verticalSpacing(), 0);
    QCOMPARE(grid->columnStretch(1), 1);
    const auto cell = [grid](QWidget *widget) {
        int row = -1;
        int column = -1;
        int rows = -1;
        int columns = -1;
        const int index = grid->indexOf(widget);
        if (index >= 0)
            grid->getItemPosition(index, &row, &column, &rows, &columns);
        return QList<int>({row, column, rows, columns});
    };
    QCOMPARE(grid->count(), 6);
    QCOMPARE(cell(timeLine.addButton), QList<int>({0, 0, 1, 2}));
    QCOMPARE(cell(timeLine.headerView), QList<int>({0, 2, 1, 1}));
    QCOMPARE(cell(timeLine.labelArea->verticalScrollBar()), QList<int>({1, 0, 1, 1}));
    QCOMPARE(cell(timeLine.labelArea), QList<int>({1, 1, 1, 1}));
    QCOMPARE(cell(timeLine.bodyView), QList<int>({1, 2, 1, 1}));
    QCOMPARE(cell(timeLine.bodyView->horizontalScrollBar()), QList<int>({2, 2, 1, 1}));
}

void TestTimeLine::partsHaveTheirSizesAndPolicies()
{
    TestProject project(3);
    const TimeLine timeLine(QStringLiteral("Time Line"));
    QCOMPARE(timeLine.addButton->text(), QStringLiteral("ADD Object"));
    QVERIFY(!timeLine.addButton->icon().isNull());
    QVERIFY(!timeLine.addButton->icon().availableSizes().isEmpty());
    QCOMPARE(timeLine.addButton->iconSize(), QSize(20, 20));
    QCOMPARE(timeLine.addButton->sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
    QCOMPARE(timeLine.addButton->sizePolicy().verticalPolicy(), QSizePolicy::Ignored);
    QCOMPARE(timeLine.headerView->minimumHeight(), 30);
    QCOMPARE(timeLine.headerView->maximumHeight(), 30);
    QCOMPARE(timeLine.labelArea->minimumWidth(), 200);
    QCOMPARE(timeLine.labelArea->maximumWidth(), 200);
    QVERIFY(timeLine.labelArea->widgetResizable());
    QCOMPARE(timeLine.labelArea->horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    QCOMPARE(timeLine.labelArea->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    auto *list = qobject_cast<QBoxLayout *>(timeLine.labelArea->widget()->layout());
    QVERIFY(list);
    QCOMPARE(list->direction(), QBoxLayout::TopToBottom);
    QCOMPARE(list->spacing(), 0);
    QCOMPARE(list->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(list->alignment(), Qt::Alignment(Qt::AlignTop));
    for (const ClickableGraphicsView *view : {timeLine.headerView, timeLine.bodyView}) {
        QCOMPARE(view->frameStyle(), 0);
        QCOMPARE(view->horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
        QCOMPARE(view->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
        QCOMPARE(view->alignment(), Qt::AlignLeft | Qt::AlignTop);
        QCOMPARE(view->viewportUpdateMode(), QGraphicsView::FullViewportUpdate);
    }
}

void TestTimeLine::scrollBarsMoveTogether()
{
    ProjectWindow project(100);
    for (int i = 0; i < 20; ++i)
        project.addObject();
    QVERIFY(project.show());
    const TimeLine *timeLine = project.timeLine();
    QScrollBar *header = timeLine->headerView->horizontalScrollBar();
    QScrollBar *body = timeLine->bodyView->horizontalScrollBar();
    QScrollBar *list = timeLine->labelArea->verticalScrollBar();
    QScrollBar *rows = timeLine->bodyView->verticalScrollBar();
    QVERIFY(body->maximum() > 500 && rows->maximum() > 100);
    QCOMPARE(header->maximum(), body->maximum());
    header->setValue(321);
    QCOMPARE(body->value(), 321);
    body->setValue(123);
    QCOMPARE(header->value(), 123);
    list->setValue(77);
    QCOMPARE(rows->value(), 77);
    rows->setValue(42);
    QCOMPARE(list->value(), 42);
    QCOMPARE(header->value(), 123);
}

void TestTimeLine::theGroundIsLightUnderEveryPalette_data()
{
    QTest::addColumn<QPalette>("palette");
    QTest::newRow("that of the system") << QApplication::palette();
    QTest::newRow("dark") << darkPalette();
}

void TestTimeLine::theGroundIsLightUnderEveryPalette()
{
    QFETCH(QPalette, palette);
    const PaletteInUse inUse(palette);
    ProjectWindow project(10);
    project.addObject();
    QVERIFY(project.show());
    const TimeLine *timeLine = project.timeLine();
    const QImage header = timeLine->headerView->viewport()->grab().toImage();
    QCOMPARE(header.pixelColor(4 * 40 + 2, 15), QColor(Qt::white));
    QVERIFY(darkest(header, QRect(4 * 40, 0, 40, 30)) < 60); // the number
    const QImage body = timeLine->bodyView->viewport()->grab().toImage();
    QCOMPARE(body.pixelColor(4 * 40 + 2, 10), QColor(Qt::white));
    QCOMPARE(body.pixelColor(4 * 40 + 2, body.height() - 2), QColor(Qt::white)); // below the rows
    QVERIFY(darkest(body, QRect(4 * 40 + 19, 5, 3, 5)) < 60);                    // the grid line
    // Still light, but to be told from it, where there is no video.
    g_state->videoLoaded = false;
    project.timeLine()->reload();
    const QColor disabled = timeLine->bodyView->viewport()->grab().toImage().pixelColor(4 * 40 + 2, 10);
    QVERIFY(disabled.lightness() > 220 && disabled.lightness() < 255);
}

void TestTimeLine::withoutAVideoIsDisabledAndKeepsItsRows()
{
    ProjectWindow project(4);
    const UnannouncedChange change(project.addObject());
    TimeLine *timeLine = project.timeLine();
    QVERIFY(timeLine->isEnabled());
    g_state->videoLoaded = false;
    timeLine->reload();
    QVERIFY(!timeLine->isEnabled());
    QVERIFY(!change.isShown(timeLine));
    QCOMPARE(timeLine->keyFrameItems.size(), 4);
    QCOMPARE(labelsOf(timeLine).size(), 1);
    g_state->videoLoaded = true;
    timeLine->reload();
    QVERIFY(timeLine->isEnabled());
    QVERIFY(change.isShown(timeLine));
}

void TestTimeLine::theHeaderNumbersTheFrames()
{
    ProjectWindow project(120, QSize(32, 24));
    const QGraphicsScene *scene = project.timeLine()->headerScene;
    const QList<QGraphicsSimpleTextItem *> texts = itemsOf<QGraphicsSimpleTextItem>(scene);
    QCOMPARE(texts.size(), 120);
    for (int i = 0; i < texts.size(); ++i) {
        QCOMPARE(texts.at(i)->text(), QString::number(i + 1));
        QCOMPARE(texts.at(i)->font(), QGraphicsSimpleTextItem().font());
        const int left = static_cast<int>(40 * (i + 0.5) - texts.at(i)->boundingRect().width() / 2);
        QCOMPARE(texts.at(i)->pos(), QPointF(left, 0));
    }
    const QList<QGraphicsLineItem *> lines = itemsOf<QGraphicsLineItem>(scene);
    QCOMPARE(lines.size(), 1);
    QCOMPARE(lines.first()->line(), QLineF(0, 0, 40 * 120, 0));
    QCOMPARE(lines.first()->pen().color(), QColor(0, 0, 0, 0));
    QCOMPARE(scene->sceneRect().left(), 0.0);
    QCOMPARE(scene->sceneRect().right(), 4800.0);
}

void TestTimeLine::theBodyHasAGridLinePerFrame()
{
    ProjectWindow project(7);
    for (int i = 0; i < 3; ++i)
        project.addObject();
    QList<QGraphicsLineItem *> lines = itemsOf<QGraphicsLineItem>(project.timeLine()->bodyScene);
    QCOMPARE(lines.size(), 8);
    const QGraphicsLineItem *across = lines.takeFirst();
    QCOMPARE(across->line(), QLineF(0, 0, 280, 0));
    QCOMPARE(across->pen().color(), QColor(0, 0, 0, 0));
    for (int i = 0; i < 7; ++i) {
        QCOMPARE(lines.at(i)->line(), QLineF(40 * i + 20, 0, 40 * i + 20, 119));
        QCOMPARE(lines.at(i)->pen(), QPen());
    }
}

void TestTimeLine::withoutObjectsThereAreOnlyLinesAndMarkers()
{
    ProjectWindow project(5);
    const TimeLine *timeLine = project.timeLine();
    QCOMPARE(timeLine->bodyScene->items().size(), 2);
    QCOMPARE(itemsOf<QGraphicsLineItem>(timeLine->bodyScene).size(), 1);
    QCOMPARE(timeLine->bodyMarker->rect(), QRectF(0, 0, 40, 0));
    QCOMPARE(timeLine->headerMarker->rect(), QRectF(0, 0, 40, 30));
    QCOMPARE(itemsOf<QGraphicsSimpleTextItem>(timeLine->headerScene).size(), 5);
    QVERIFY(labelsOf(timeLine).isEmpty());
    QVERIFY(timeLine->spanItems.isEmpty() && timeLine->keyFrameItems.isEmpty());
}

void TestTimeLine::markersHighlightTheCurrentFrame()
{
    ProjectWindow project(5);
    project.addObject();
    project.addObject();
    const TimeLine *timeLine = project.timeLine();
    for (const int frame : {0, 3, 1}) {
        g_state->setFrame(frame);
        for (const QGraphicsRectItem *marker : {timeLine->headerMarker, timeLine->bodyMarker}) {
            QCOMPARE(marker->pos(), QPointF(40 * frame, 0));
            QCOMPARE(marker->pen().style(), Qt::NoPen);
            QCOMPARE(marker->brush(), QBrush(QColor(255, 127, 127, 255), Qt::SolidPattern));
            QCOMPARE(marker->zValue(), -1.0);
        }
        QCOMPARE(timeLine->headerMarker->scene(), timeLine->headerScene);
        QCOMPARE(timeLine->headerMarker->rect(), QRectF(0, 0, 40, 30));
        QCOMPARE(timeLine->bodyMarker->scene(), timeLine->bodyScene);
        QCOMPARE(timeLine->bodyMarker->rect(), QRectF(0, 0, 40, 80));
    }
    project.timeLine()->reload();
    QCOMPARE(timeLine->bodyMarker->pos(), QPointF(40, 0));
}

void TestTimeLine::theBodyScrollsToTheCurrentFrame()
{
    ProjectWindow project(200, QSize(32, 24));
    project.addObject();
    QVERIFY(project.show());
    const ClickableGraphicsView *body = project.timeLine()->bodyView;
    const QScrollBar *bar = body->horizontalScrollBar();
    QCOMPARE(bar->value(), 0);
    g_state->setFrame(100);
    QCOMPARE(bar->value(), 101 * 40 + 50 - body->viewport()->width());
    g_state->setFrame(99); // in sight already
    QCOMPARE(bar->value(), 101 * 40 + 50 - body->viewport()->width());
    g_state->setFrame(50);
    QVERIFY(qAbs(bar->value() - (50 * 40 - 50)) <= 1);
    QCOMPARE(project.timeLine()->headerView->horizontalScrollBar()->value(), bar->value());
}

void TestTimeLine::steppingKeepsTheVerticalPosition()
{
    ScrolledRows scrolled;
    const QScrollBar *columns = scrolled.project.timeLine()->bodyView->horizontalScrollBar();
    QVERIFY(scrolled.rows->maximum() > 2 * ScrolledRows::position);
    QCOMPARE(scrolled.value(), ScrolledRows::position);
    const int left = columns->value();
    for (const int frame : {1, 2, 99, 50, 51, 0}) {
        g_state->setFrame(frame);
        QCOMPARE(scrolled.value(), ScrolledRows::position);
        QCOMPARE(columns->value() == left, frame < 3); // still follows to the side
        QCOMPARE(scrolled.valueLater(), ScrolledRows::position);
    }
}

void TestTimeLine::aReloadKeepsTheVerticalPosition()
{
    ScrolledRows scrolled;
    TimeLine *timeLine = scrolled.project.timeLine();
    const QList<std::function<void()>> reloads = {
        [timeLine] { timeLine->reload(); },
        [] { g_state->objects.at(7)->changeName(QStringLiteral("ball")); },
        [] { annotate(g_state->objects.at(3), 40, outline); },
        [] { emit g_state->objects.at(5)->hasChanged(TrackedObject::ZOrderChanged); },
        [] { emit g_state->hasChanged(DataState::ObjectListChanged); },
        [&scrolled] { scrolled.project.window().reload(); },
    };
    for (int i = 0; i < reloads.size(); ++i) {
        const UnannouncedChange change(g_state->objects.at(1));
        reloads.at(i)();
        QVERIFY2(change.isShown(timeLine), "the rows were not reloaded");
        QVERIFY2(scrolled.value() == ScrolledRows::position, qPrintable(QString::number(i)));
        QVERIFY2(scrolled.valueLater() == ScrolledRows::position, qPrintable(QString::number(i)));
    }
    // With too few rows left there is nothing to scroll.
    while (g_state->objects.size() > 1)
        g_state->deleteObject(g_state->objects.last()->id);
    QCOMPARE(scrolled.valueLater(), 0);
}

void TestTimeLine::addingAnObjectShowsItsRow()
{
    ProjectWindow project(100, QSize(32, 24));
    QVERIFY(project.show());
    TimeLine *timeLine = project.timeLine();
    const int height = timeLine->bodyView->viewport()->height();
    QVERIFY(height >= 40 && height < 200);
    for (int count = 1; count <= 12; ++count) {
        QTest::mouseClick(timeLine->addButton, Qt::LeftButton);
        for (const bool later : {false, true}) {
            if (later)
                QCoreApplication::processEvents();
            QCOMPARE(timeLine->bodyView->verticalScrollBar()->value(), qMax(0, 40 * count - height));
            QCOMPARE(timeLine->labelArea->verticalScrollBar()->value(), qMax(0, 40 * count - height));
        }
        const TrackedObjectLabel *label = labelsOf(timeLine).last();
        QCOMPARE(label->objectId, g_state->currentObjectId);
        QCOMPARE(label->visibleRegion(), QRegion(label->rect()));
    }
}

void TestTimeLine::anotherCurrentObjectShowsItsRow_data()
{
    // The rows 0 to 4 lie above the rows in sight, row 5 is cut by the upper border.
    QTest::addColumn<int>("row");
    QTest::addColumn<bool>("fromAbove");
    QTest::addColumn<bool>("moves");
    QTest::newRow("the first") << 0 << true << true;
    QTest::newRow("above") << 3 << true << true;
    QTest::newRow("cut at the top") << 5 << true << true;
    QTest::newRow("the first whole one") << 6 << true << false;
    QTest::newRow("below") << 15 << false << true;
    QTest::newRow("the last but one") << 18 << false << true;
}

void TestTimeLine::anotherCurrentObjectShowsItsRow()
{
    QFETCH(int, row);
    QFETCH(bool, fromAbove);
    QFETCH(bool, moves);
    const ScrolledRows scrolled;
    QVERIFY(scrolled.lowest(15) > ScrolledRows::position);
    const QPointer<QGraphicsWidget> item = witness(scrolled.project.timeLine()->bodyScene);
    g_state->setCurrentObject(row);
    QVERIFY(item); // without a rebuild
    const int expected = !moves ? ScrolledRows::position : fromAbove ? 40 * row : scrolled.lowest(row);
    QCOMPARE(scrolled.value(), expected);
    QCOMPARE(scrolled.valueLater(), expected);
    g_state->setFrame(50);
    QCOMPARE(scrolled.valueLater(), expected);
}

void TestTimeLine::theSameObjectAgainKeepsTheVerticalPosition()
{
    const ScrolledRows scrolled;
    g_state->setCurrentObject(g_state->currentObjectId);
    QCOMPARE(scrolled.valueLater(), ScrolledRows::position);
    g_state->setCurrentObject(-1); // has no row
    QCOMPARE(scrolled.valueLater(), ScrolledRows::position);
}

void TestTimeLine::deletingAnObjectShowsTheCurrentRow()
{
    const ScrolledRows scrolled;
    g_state->deleteObject(2); // the last one is current
    QCOMPARE(scrolled.value(), scrolled.lowest(18));
    QCOMPARE(scrolled.valueLater(), scrolled.lowest(18));
    g_state->deleteObject(g_state->currentObjectId); // now the first one is
    QCOMPARE(scrolled.value(), 0);
    QCOMPARE(scrolled.valueLater(), 0);
}

void TestTimeLine::theRowShownIsThatOfTheLabel()
{
    const ScrolledRows scrolled;
    for (TrackedObject *object : qAsConst(g_state->objects))
        object->keyFrames.first()->zOrder = -object->id; // on the other frames as before
    g_state->setFrame(30);
    scrolled.project.timeLine()->reload();
    QCOMPARE(scrolled.valueLater(), ScrolledRows::position);
    QCOMPARE(labelsOf(scrolled.project.timeLine()).at(18)->objectId, 1);
    g_state->setCurrentObject(1);
    QCOMPARE(scrolled.valueLater(), scrolled.lowest(18));
}

void TestTimeLine::anOpenedProjectShowsTheCurrentRow_data()
{
    QTest::addColumn<int>("before");
    QTest::addColumn<int>("current");
    QTest::newRow("another object than before") << 0 << 17;
    QTest::newRow("an object with the same id") << 17 << 17;
}

void TestTimeLine::anOpenedProjectShowsTheCurrentRow()
{
    QFETCH(int, before);
    QFETCH(int, current);
    const ScrolledRows scrolled;
    g_state->setCurrentObject(before);
    scrolled.rows->setValue(0);
    MainWindow &window = *g_mainWindow;
    window.recreateDataState();
    {
        const QSignalBlocker blocker(g_state); // as while a project is read
        g_state->video = ProjectWindow::makeVideo(100, QSize(32, 24), 25);
        g_state->videoLoaded = true;
        for (int i = 0; i < 20; ++i)
            g_state->addObject();
        g_state->currentObjectId = current;
    }
    window.reload();
    QCOMPARE(scrolled.value(), scrolled.lowest(current));
    QCOMPARE(scrolled.valueLater(), scrolled.lowest(current));
}

void TestTimeLine::clickingALabelInSightKeepsTheRows()
{
    const ScrolledRows scrolled;
    const QList<TrackedObjectLabel *> labels = labelsOf(scrolled.project.timeLine());
    int whole = 0;
    for (const TrackedObjectLabel *label : labels) {
        if (label->visibleRegion() != QRegion(label->rect()))
            continue;
        ++whole;
        MouseDriver::click(label->nameLabel, QPointF(5, 5));
        QCOMPARE(g_state->currentObjectId, label->objectId);
        QCOMPARE(scrolled.valueLater(), ScrolledRows::position);
    }
    QVERIFY(whole >= 2);
}

void TestTimeLine::aViewLowerThanARowShowsItsTop()
{
    TestProject project(10);
    for (int i = 0; i < 5; ++i)
        project.addObject();
    TimeLine timeLine(QStringLiteral("Time Line"));
    timeLine.reload();
    timeLine.bodyView->setFixedHeight(25);
    timeLine.labelArea->setFixedHeight(25);
    timeLine.show();
    QVERIFY(QTest::qWaitForWindowExposed(&timeLine));
    for (const int row : {3, 0, 2}) {
        project->setCurrentObject(row);
        QCOMPARE(timeLine.bodyView->verticalScrollBar()->value(), 40 * row);
    }
}

void TestTimeLine::rowsFollowTheStackingOrderOfEveryFrame()
{
    ProjectWindow project(4);
    TrackedObject *a = project.addObject();
    TrackedObject *b = project.addObject();
    TrackedObject *c = project.addObject();
    const QList<QList<int>> values = {{0, 1, 2}, {2, 1, 0}, {5, 9, 7}, {0, -1, 1}};
    for (int frame = 0; frame < 4; ++frame) {
        a->keyFrames.at(frame)->zOrder = values.at(frame).at(0);
        b->keyFrames.at(frame)->zOrder = values.at(frame).at(1);
        c->keyFrames.at(frame)->zOrder = values.at(frame).at(2);
    }
    const TimeLine *timeLine = project.timeLine();
    project.timeLine()->reload();
    QCOMPARE(rowsOf(timeLine, a), QList<double>({20, 100, 20, 60}));
    QCOMPARE(rowsOf(timeLine, b), QList<double>({60, 60, 100, 20}));
    QCOMPARE(rowsOf(timeLine, c), QList<double>({100, 20, 60, 100}));
    for (const TrackedObject *object : {a, b, c}) {
        for (const KeyFrame *keyFrame : object->keyFrames)
            QCOMPARE(markerOf(timeLine, keyFrame)->pos().x(), 40.0 * keyFrame->frame + 20);
    }
}

void TestTimeLine::labelsFollowTheStackingOrderOfTheFirstFrame()
{
    ProjectWindow project(4);
    for (int i = 0; i < 3; ++i)
        project.addObject();
    QCOMPARE(namesOf(project.timeLine()), QStringList({"new object 1", "new object 2", "new object 3"}));
    g_state->objects.at(0)->keyFrames.at(0)->zOrder = 9;
    g_state->objects.at(2)->keyFrames.at(1)->zOrder = -9; // another frame's order does not matter
    g_state->setFrame(1);
    project.timeLine()->reloadList();
    QCOMPARE(namesOf(project.timeLine()), QStringList({"new object 2", "new object 3", "new object 1"}));
}

void TestTimeLine::spansCoverTheVideoOnceInOrder()
{
    ProjectWindow project(12);
    TrackedObject *object = project.addObject();
    for (const int frame : {3, 4, 10})
        annotate(object, frame, outline);
    const TimeLine *timeLine = project.timeLine();
    QList<double> ends;
    const QList<FrameSpan *> chain = ModelChecks::chain(object);
    const QList<FrameSpanGraphicsItem *> curves = curvesOf(timeLine, object);
    QCOMPARE(curves.size(), 4);
    for (int i = 0; i < curves.size(); ++i) {
        QCOMPARE(curves.at(i)->frameSpan, chain.at(i));
        ends.append(curves.at(i)->path().currentPosition().x());
        QCOMPARE(curves.at(i)->scene(), timeLine->bodyScene);
    }
    QCOMPARE(ends, QList<double>({140, 180, 420, 460}));
}

void TestTimeLine::aVideoOfOneFrameHasNoSpanCurves()
{
    ProjectWindow project(1);
    TrackedObject *object = project.addObject();
    annotate(object, 0, outline);
    const TimeLine *timeLine = project.timeLine();
    QVERIFY(timeLine->spanItems.isEmpty());
    QCOMPARE(timeLine->keyFrameItems.size(), 1);
    QVERIFY(timeLine->keyFrameItems.first()->isVisible());
    QCOMPARE(timeLine->keyFrameItems.first()->pos(), QPointF(20, 20));
}

void TestTimeLine::everyFrameHasAMarker()
{
    ProjectWindow project(5);
    const TrackedObject *a = project.addObject();
    TrackedObject *b = project.addObject();
    annotate(b, 3, outline);
    const TimeLine *timeLine = project.timeLine();
    QCOMPARE(timeLine->keyFrameItems.size(), 10);
    QCOMPARE(itemsOf<KeyFrameGraphicsItem>(timeLine->bodyScene).size(), 10);
    for (const TrackedObject *object : {a, static_cast<const TrackedObject *>(b)}) {
        for (const KeyFrame *keyFrame : object->keyFrames)
            QCOMPARE(markerOf(timeLine, keyFrame)->isVisible(), object == b && keyFrame->frame == 3);
    }
}

void TestTimeLine::itemsAndLabelsStayWhereNothingDiffers()
{
    ProjectWindow project(300, QSize(32, 24));
    TrackedObject *object = project.addObject();
    project.addObject();
    TimeLine *timeLine = project.timeLine();
    const QList<KeyFrameGraphicsItem *> markers = timeLine->keyFrameItems;
    const QList<FrameSpanGraphicsItem *> curves = timeLine->spanItems;
    const QList<TrackedObjectLabel *> labels = labelsOf(timeLine);
    timeLine->reload();
    QCOMPARE(timeLine->spanItems, curves);
    annotate(object, 200, outline);
    object->changeName(QStringLiteral("ball"));
    QCOMPARE(labelsOf(timeLine), labels);
    g_state->objects.last()->switchOrderWith(object, 0);
    g_state->objects.last()->switchOrderWith(object, 0);
    QCOMPARE(timeLine->keyFrameItems, markers);
    QCOMPARE(timeLine->spanItems.first(), curves.first()); // shorter now
    QCOMPARE(timeLine->spanItems.last(), curves.last());
}

// One of them may have brought about the reload.
void TestTimeLine::itemsAndLabelsOfObjectsGoneAreDeletedLater()
{
    ProjectWindow project(3);
    const TrackedObject *object = project.addObject();
    project.addObject();
    TimeLine *timeLine = project.timeLine();
    const QPointer<KeyFrameGraphicsItem> keyFrameItem = timeLine->keyFrameItems.first();
    const QPointer<FrameSpanGraphicsItem> spanItem = timeLine->spanItems.first();
    const QPointer<TrackedObjectLabel> label = labelsOf(timeLine).first();
    g_state->deleteObject(object->id);
    QVERIFY(keyFrameItem && spanItem && label);
    QVERIFY(!keyFrameItem->scene());
    QVERIFY(!spanItem->scene());
    QVERIFY(labelsOf(timeLine).first() != label);
    QVERIFY(!timeLine->keyFrameItems.contains(keyFrameItem));
    QVERIFY(!timeLine->spanItems.contains(spanItem));
    ModelChecks::flushDeferredDeletes();
    QVERIFY(!keyFrameItem && !spanItem && !label);
    QCOMPARE(timeLine->labelArea->findChildren<TrackedObjectLabel *>().size(), 1);
}

void TestTimeLine::reactsToListAndFrameChanges_data()
{
    QTest::addColumn<int>("flags");
    QTest::addColumn<bool>("reloads");
    QTest::addColumn<bool>("movesMarkers");
    QTest::newRow("nothing") << 0 << false << false;
    QTest::newRow("selection") << int(DataState::ObjectSelectionChanged) << false << false;
    QTest::newRow("frame") << int(DataState::FrameChanged) << false << true;
    QTest::newRow("selection and frame")
        << (DataState::ObjectSelectionChanged | DataState::FrameChanged) << false << true;
    QTest::newRow("list") << int(DataState::ObjectListChanged) << true << true;
    QTest::newRow("selection and list")
        << (DataState::ObjectSelectionChanged | DataState::ObjectListChanged) << true << true;
    QTest::newRow("frame and list") << (DataState::FrameChanged | DataState::ObjectListChanged) << true
                                    << true;
    QTest::newRow("a bit without meaning") << 8 << false << false;
}

void TestTimeLine::reactsToListAndFrameChanges()
{
    QFETCH(int, flags);
    QFETCH(bool, reloads);
    QFETCH(bool, movesMarkers);
    ProjectWindow project(5);
    const UnannouncedChange change(project.addObject());
    const TimeLine *timeLine = project.timeLine();
    g_state->objects.append(new TrackedObject(g_state)); // unannounced too
    g_state->currentFrame = 2;
    emit g_state->hasChanged(flags);
    QCOMPARE(change.isShown(timeLine), reloads);
    QCOMPARE(timeLine->objectConnections.size(), reloads ? 2 : 1);
    QCOMPARE(labelsOf(timeLine).size(), reloads ? 2 : 1);
    QCOMPARE(timeLine->headerMarker->pos(), QPointF(movesMarkers ? 80 : 0, 0));
    QCOMPARE(timeLine->bodyMarker->pos(), QPointF(movesMarkers ? 80 : 0, 0));
}

void TestTimeLine::connectToStateListensExactlyOnceToTheStateInUse()
{
    TestProject oldProject(3);
    oldProject.addObject();
    TimeLine timeLine(QStringLiteral("Time Line"));
    CountingState state;
    DataState *const previous = g_state;
    state.video = ProjectWindow::makeVideo(3, QSize(32, 24), 25);
    state.videoLoaded = true;
    g_state = &state;
    state.addObject();
    state.addObject();
    timeLine.connectToState();
    QCOMPARE(state.listeners(), 1);
    timeLine.connectToState();
    QCOMPARE(state.listeners(), 1);
    QCOMPARE(timeLine.objectConnections.size(), 2);
    state.objects.last()->changeName(QStringLiteral("ball"));
    QCOMPARE(namesOf(&timeLine), QStringList({"new object 1", "ball"}));
    g_state = previous;
}

void TestTimeLine::connectToObjectsReplacesItsConnections()
{
    ProjectWindow project(3);
    project.addObject();
    project.addObject();
    TimeLine *timeLine = project.timeLine();
    const QList<QMetaObject::Connection> old = timeLine->objectConnections;
    QCOMPARE(old.size(), 2);
    for (const QMetaObject::Connection &connection : old)
        QVERIFY(connection);
    TrackedObject *removed = g_state->objects.takeFirst();
    timeLine->connectToObjects();
    for (const QMetaObject::Connection &connection : old)
        QVERIFY(!connection);
    QCOMPARE(timeLine->objectConnections.size(), 1);
    const UnannouncedChange change(g_state->objects.first());
    emit removed->hasChanged(TrackedObject::NameChanged);
    QVERIFY(!change.isShown(timeLine));
    emit g_state->objects.first()->hasChanged(TrackedObject::NameChanged);
    QVERIFY(change.isShown(timeLine));
    g_state->objects.clear();
    timeLine->connectToObjects();
    QVERIFY(timeLine->objectConnections.isEmpty());
    g_state->objects.append(removed); // the state owns it
}

void TestTimeLine::anyObjectChangeReloads()
{
    ProjectWindow project(3);
    TrackedObject *object = project.addObject();
    for (const int flags : {0, int(TrackedObject::NameChanged), int(TrackedObject::SpansChanged),
                            int(TrackedObject::ZOrderChanged), 8}) {
        const UnannouncedChange change(object);
        emit object->hasChanged(flags);
        QVERIFY(change.isShown(project.timeLine()));
    }
}

void TestTimeLine::aPositionBecomesAFrame_data()
{
    addPositionRows();
}

void TestTimeLine::aPositionBecomesAFrame()
{
    QFETCH(int, position);
    QFETCH(int, frame);
    TestProject project(3);
    TimeLine timeLine(QStringLiteral("Time Line"));
    QCOMPARE(timeLine.scrollPosToFrame(position), frame);
}

void TestTimeLine::clicksGoToTheFrameUnderThem()
{
    ProjectWindow project(6);
    project.addObject();
    QVERIFY(project.show());
    for (const ClickableGraphicsView *view : {project.timeLine()->headerView, project.timeLine()->bodyView}) {
        MouseDriver::click(view->viewport(), QPointF(200, 5));
        QCOMPARE(g_state->currentFrame, 5);
        MouseDriver::click(view->viewport(), QPointF(79, 5));
        QCOMPARE(g_state->currentFrame, 1);
        MouseDriver::click(view->viewport(), QPointF(79.6, 5)); // 80 in whole pixels
        QCOMPARE(g_state->currentFrame, 2);
    }
}

void TestTimeLine::clicksCountTheScrolledPart()
{
    ProjectWindow project(200, QSize(32, 24));
    project.addObject();
    QVERIFY(project.show());
    const TimeLine *timeLine = project.timeLine();
    for (const ClickableGraphicsView *view : {timeLine->headerView, timeLine->bodyView}) {
        for (const int x : {100, 119, 120}) {
            timeLine->bodyView->horizontalScrollBar()->setValue(1000);
            MouseDriver::click(view->viewport(), QPointF(x, 5));
            QCOMPARE(g_state->currentFrame, (1000 + x) / 40);
        }
    }
}

void TestTimeLine::draggingScrubsThroughTheFrames()
{
    ProjectWindow project(6);
    project.addObject();
    QVERIFY(project.show());
    for (const ClickableGraphicsView *view : {project.timeLine()->headerView, project.timeLine()->bodyView}) {
        g_state->setFrame(0);
        QList<int> frames;
        const QObject context;
        QObject::connect(g_state, &DataState::hasChanged, &context,
                         [&frames](int) { frames.append(g_state->currentFrame); });
        MouseDriver::press(view->viewport(), QPointF(170, 10));
        QCOMPARE(frames, QList<int>()); // the press alone goes nowhere
        for (const int x : {170, 130, 90, 95, 50, 130})
            MouseDriver::move(view->viewport(), QPointF(x, 10));
        QCOMPARE(frames, QList<int>({4, 3, 2, 1, 3}));
        MouseDriver::release(view->viewport(), QPointF(210, 10));
        QCOMPARE(frames, QList<int>({4, 3, 2, 1, 3, 5}));
        MouseDriver::send(view->viewport(), QEvent::MouseMove, QPointF(10, 10), Qt::NoButton, Qt::NoButton);
        QCOMPARE(g_state->currentFrame, 5);
    }
}

void TestTimeLine::clicksOutsideTheVideoDoNothing()
{
    ProjectWindow project(3);
    project.addObject();
    QVERIFY(project.show());
    g_state->setFrame(1);
    const QSignalSpy changes(g_state, &DataState::hasChanged);
    QWidget *body = project.timeLine()->bodyView->viewport();
    MouseDriver::click(body, QPointF(120, 5));
    MouseDriver::drag(body, {QPoint(60, 5), QPoint(-1, 5), QPoint(-100, 5)});
    QCOMPARE(changes.size(), 0);
    QCOMPARE(g_state->currentFrame, 1);
}

void TestTimeLine::addingTheFirstObjectReloadsTheWindow()
{
    ProjectWindow project(3);
    QVERIFY(project.show());
    QVERIFY(!toolsEnabled(project.window()));
    QTest::mouseClick(project.timeLine()->addButton, Qt::LeftButton);
    QCOMPARE(g_state->objects.size(), 1);
    QVERIFY(g_state->objects.first()->isCurrent());
    QVERIFY(toolsEnabled(project.window()));
    QCOMPARE(labelsOf(project.timeLine()).size(), 1);
    // The navigation shows a reload of the window.
    project.nav()->setEnabled(false);
    QTest::mouseClick(project.timeLine()->addButton, Qt::LeftButton);
    QCOMPARE(g_state->objects.size(), 2);
    QVERIFY(g_state->objects.last()->isCurrent());
    QVERIFY(!project.nav()->isEnabled());
    QCOMPARE(labelsOf(project.timeLine()).size(), 2);
}

QTEST_MAIN(TestTimeLine)
#include "tst_timeline.moc"
