// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/menudriver.h"
#include "tests/support/modelchecks.h"
#include "tests/support/mousedriver.h"
#include "tests/support/projectwindow.h"
#include "tests/support/testproject.h"
#include "views/clickablegraphicsview.h"
#include "views/framespangraphicsitem.h"
#include "views/keyframegraphicsitem.h"
#include "views/trackedobjectlabel.h"

#include <QAction>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGraphicsSimpleTextItem>
#include <QGraphicsWidget>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMetaMethod>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTextDocument>
#include <QToolButton>
#include <QtTest>
#include <QWindow>

namespace
{

const QPolygonF outline = rectangle(20, 20, 40, 40);

class CountingState : public DataState
{
public:
    int listeners() const { return receivers(SIGNAL(hasChanged(int))); }
};

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

QPointer<QGraphicsWidget> witness(QGraphicsScene *scene)
{
    auto *item = new QGraphicsWidget;
    scene->addItem(item);
    return item;
}

template <class Item>
QList<Item *> itemsOf(const QGraphicsScene *scene)
{
    QList<Item *> found;
    const QList<QGraphicsItem *> items = scene->items(Qt::AscendingOrder);
    for (QGraphicsItem *item : items) {
        if (auto *typed = dynamic_cast<Item *>(item))
            found.append(typed);
    }
    return found;
}

/// The labels that are still part of the list.
QList<TrackedObjectLabel *> labelsOf(const TimeLine *timeLine)
{
    QList<TrackedObjectLabel *> labels;
    const QLayout *list = timeLine->labelArea->widget()->layout();
    for (int i = 0; i < list->count(); ++i)
        labels.append(qobject_cast<TrackedObjectLabel *>(list->itemAt(i)->widget()));
    return labels;
}

QStringList namesOf(const TimeLine *timeLine)
{
    QStringList names;
    for (const TrackedObjectLabel *label : labelsOf(timeLine))
        names.append(label->nameLabel->text());
    return names;
}

KeyFrameGraphicsItem *markerOf(const TimeLine *timeLine, const KeyFrame *keyFrame)
{
    for (KeyFrameGraphicsItem *item : timeLine->keyFrameItems) {
        if (item->keyFrame == keyFrame)
            return item;
    }
    return nullptr;
}

QList<FrameSpanGraphicsItem *> curvesOf(const TimeLine *timeLine, const TrackedObject *object)
{
    QList<FrameSpanGraphicsItem *> curves;
    for (FrameSpanGraphicsItem *item : timeLine->spanItems) {
        if (item->frameSpan->object == object)
            curves.append(item);
    }
    return curves;
}

/// The y of an object's markers on all frames.
QList<double> rowsOf(const TimeLine *timeLine, const TrackedObject *object)
{
    QList<double> rows;
    for (const KeyFrame *keyFrame : object->keyFrames)
        rows.append(markerOf(timeLine, keyFrame)->pos().y());
    return rows;
}

QList<int> stackingOf(const TrackedObject *object)
{
    QList<int> values;
    for (const KeyFrame *keyFrame : object->keyFrames)
        values.append(keyFrame->zOrder);
    return values;
}

QList<int> flagsOf(const QSignalSpy &spy)
{
    QList<int> flags;
    for (const QList<QVariant> &arguments : spy)
        flags.append(arguments.first().toInt());
    return flags;
}

bool isSolidInAllGroups(const QWidget *widget, QColor color)
{
    const QPalette palette = widget->palette();
    return widget->autoFillBackground() && palette.color(QPalette::Active, QPalette::Window) == color &&
           palette.color(QPalette::Inactive, QPalette::Window) == color &&
           palette.color(QPalette::Disabled, QPalette::Window) == color;
}

bool toolsEnabled(const MainWindow &window)
{
    for (const QAction *action : window.findChildren<QAction *>()) {
        if (action->text() == QLatin1String("export XML"))
            return action->isEnabled();
    }
    qFatal("no such action");
}

/// Asks for the context menu of an item and handles it; false if none came.
bool withMenu(const TimeLine *timeLine, QPointF scenePoint, const std::function<void(QMenu *)> &handle)
{
    const MenuDriver driver(handle);
    MouseDriver::contextMenu(timeLine->bodyView->viewport(), timeLine->bodyView->mapFromScene(scenePoint));
    return driver.handled();
}

/// Chooses an entry of the context menu at a point.
bool chooseAt(const TimeLine *timeLine, QPointF scenePoint, const QStringList &path)
{
    bool chosen = false;
    return withMenu(timeLine, scenePoint, [&](QMenu *menu) { chosen = MenuDriver::choose(menu, path); }) &&
           chosen;
}

QPointF middleOf(const FrameSpanGraphicsItem *curve)
{
    return curve->path().pointAtPercent(0.5);
}

/// A window with more rows than it can show, scrolled to some row in the middle.
class ScrolledRows
{
public:
    ScrolledRows()
        : project(100, QSize(32, 24))
    {
        for (int i = 0; i < 20; ++i)
            project.addObject();
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

    static constexpr int position = 213; // pixels
    ProjectWindow project;
    QScrollBar *rows = nullptr;
    QScrollBar *labels = nullptr;
};

QImage pictureOf(const QIcon &icon)
{
    return icon.pixmap(32).toImage();
}

/// What a tool tip with this text shows.
QString shownInAToolTip(const QString &toolTip)
{
    if (!Qt::mightBeRichText(toolTip))
        return toolTip;
    QTextDocument document;
    document.setHtml(toolTip);
    return document.toPlainText();
}

void addMenuRows()
{
    QTest::addColumn<QPointF>("point");
    QTest::addColumn<QStringList>("entry");
    QTest::newRow("key frame, type") << QPointF(100, 20) << QStringList("Occluded");
    QTest::newRow("key frame, removal") << QPointF(100, 20) << QStringList("Remove Keyframe");
    QTest::newRow("key frame, order") << QPointF(100, 20) << QStringList({"switch order with", "other"});
    QTest::newRow("span") << QPointF(60, 20) << QStringList("Visible");
    QTest::newRow("nothing chosen") << QPointF(100, 20) << QStringList();
}

/// A shown window with two objects on eight frames, both with a key frame on frame 2; the first one is in the
/// row on top.
class TwoObjects
{
public:
    TwoObjects()
        : project(8)
    {
        object = project.addObject();
        other = project.addObject();
        other->name = QStringLiteral("other");
        annotate(object, 2, outline);
        annotate(other, 2, outline);
        if (!project.show())
            qFatal("the window does not get active");
    }

    ProjectWindow project;
    TrackedObject *object = nullptr;
    TrackedObject *other = nullptr;
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

    void withoutAVideoIsDisabledAndKeepsItsRows();
    void theHeaderNumbersTheFrames();
    void theBodyHasAGridLinePerFrame();
    void withoutObjectsThereAreOnlyLinesAndMarkers();
    void markersHighlightTheCurrentFrame();
    void theBodyScrollsToTheCurrentFrame();
    void steppingKeepsTheVerticalPosition();
    void aRebuildKeepsTheVerticalPosition();
    void rowsFollowTheStackingOrderOfEveryFrame();
    void labelsFollowTheStackingOrderOfTheFirstFrame();
    void spansAreStraightOrSCurves();
    void spansCoverTheVideoOnceInOrder();
    void aVideoOfOneFrameHasNoSpanCurves();
    void spanCurvesAreHitBesideTheLine();
    void everyFrameHasAMarker();
    void aKeyFrameMarkerShowsItsType_data();
    void aKeyFrameMarkerShowsItsType();
    void aMarkerWithoutKeyFrameKeepsItsBrush();
    void aSpanCurveShowsItsType_data();
    void aSpanCurveShowsItsType();
    void oldItemsAndLabelsAreDeletedLater();

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
    void theViewReportsPositionsOnlyWhilePressed();
    void theViewKeepsMovesFromTheScene();
    void aContextMenuEndsTheDrag();

    void addingTheFirstObjectReloadsTheWindow();
    void aLabelShowsTheName();
    void buttonsShowTheirOwnIcons();
    void aNameIsNoMarkupInTheToolTip_data();
    void aNameIsNoMarkupInTheToolTip();
    void aLabelIsRedForTheCurrentObject();
    void pressingALabelSelectsItsObject();
    void editingRenamesTheObject();
    void editButtonEndsTheEditing();
    void returnClosesTheNameField_data();
    void returnClosesTheNameField();
    void anUnfinishedNameSurvivesARebuild();
    void anUnchangedNameIsNotAnnounced();
    void doubleClickOnALabelEdits();
    void deletingKeepsTheOthers();
    void deletingTheLastObjectResetsTheWindow();
    void longNamesLeaveTheButtonsInPlace();

    void keyFrameMenuListsItsEntries();
    void keyFrameMenuChecksTheType_data();
    void keyFrameMenuChecksTheType();
    void keyFrameMenuTypesAreExclusive();
    void removingAKeyFrame();
    void choosingAType_data();
    void choosingAType();
    void choosingNothing();
    void switchOrderListsVisibleOthersOnly();
    void switchOrderSwapsFromThisFrameOn();
    void switchOrderWithOneOfSeveral();
    void spanMenuChangesTheType_data();
    void spanMenuChangesTheType();
    void hiddenMarkersHaveNoMenu();
    void menuNamesKeepTheirAmpersands();
    void aMenuOutlivesARebuildOfTheRows_data();
    void aMenuOutlivesARebuildOfTheRows();
    void aMenuOutlivesTheProject_data();
    void aMenuOutlivesTheProject();
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

void TestTimeLine::withoutAVideoIsDisabledAndKeepsItsRows()
{
    ProjectWindow project(4);
    project.addObject();
    TimeLine *timeLine = project.timeLine();
    QVERIFY(timeLine->isEnabled());
    const QPointer<QGraphicsWidget> item = witness(timeLine->bodyScene);
    g_state->videoLoaded = false;
    timeLine->reload();
    QVERIFY(!timeLine->isEnabled());
    QVERIFY(item);
    QCOMPARE(timeLine->keyFrameItems.size(), 4);
    QCOMPARE(labelsOf(timeLine).size(), 1);
    g_state->videoLoaded = true;
    timeLine->reload();
    QVERIFY(timeLine->isEnabled());
    QVERIFY(!item);
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

void TestTimeLine::aRebuildKeepsTheVerticalPosition()
{
    ScrolledRows scrolled;
    TimeLine *timeLine = scrolled.project.timeLine();
    const QList<std::function<void()>> rebuilds = {
        [timeLine] { timeLine->reload(); },
        [] { g_state->objects.at(7)->changeName(QStringLiteral("ball")); },
        [] { annotate(g_state->objects.at(3), 40, outline); },
        [] { g_state->addObject(); },
        [] { g_state->deleteObject(g_state->objects.at(2)->id); },
        [&scrolled] { scrolled.project.window().reload(); },
    };
    for (int i = 0; i < rebuilds.size(); ++i) {
        const QPointer<QGraphicsWidget> item = witness(timeLine->bodyScene);
        rebuilds.at(i)();
        QVERIFY2(!item, "the rows were not rebuilt");
        QVERIFY2(scrolled.value() == ScrolledRows::position, qPrintable(QString::number(i)));
        QVERIFY2(scrolled.valueLater() == ScrolledRows::position, qPrintable(QString::number(i)));
    }
    // With too few rows left there is nothing to scroll.
    while (g_state->objects.size() > 1)
        g_state->deleteObject(g_state->objects.last()->id);
    QCOMPARE(scrolled.valueLater(), 0);
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

void TestTimeLine::spansAreStraightOrSCurves()
{
    ProjectWindow project(6);
    TrackedObject *a = project.addObject();
    TrackedObject *b = project.addObject();
    annotate(a, 2, outline);
    for (int frame = 3; frame < 6; ++frame)
        std::swap(a->keyFrames.at(frame)->zOrder, b->keyFrames.at(frame)->zOrder);
    project.timeLine()->reload();
    const QList<FrameSpanGraphicsItem *> curves = curvesOf(project.timeLine(), a);
    QCOMPARE(curves.size(), 2);

    QPainterPath straight(QPointF(20, 20));
    straight.lineTo(QPointF(100, 20));
    QCOMPARE(curves.at(0)->path(), straight);
    QPainterPath curved(QPointF(100, 20));
    curved.cubicTo(QPointF(160, 20), QPointF(160, 60), QPointF(220, 60));
    QCOMPARE(curves.at(1)->path(), curved);
    QPainterPath upwards(QPointF(20, 60));
    upwards.cubicTo(QPointF(120, 60), QPointF(120, 20), QPointF(220, 20));
    QCOMPARE(curvesOf(project.timeLine(), b).first()->path(), upwards);
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

void TestTimeLine::spanCurvesAreHitBesideTheLine()
{
    ProjectWindow project(6);
    FrameSpan *span = project.addObject()->frameSpans.first();
    QVERIFY(project.show());
    const auto answers = [&project](double y) {
        return withMenu(project.timeLine(), QPointF(113, y), [](QMenu *) {});
    };
    for (const FrameSpan::Type type : {FrameSpan::Hidden, FrameSpan::Occluded, FrameSpan::Visible}) {
        span->setType(type); // the thickness drawn does not matter
        for (const int y : {16, 18, 20, 22, 24})
            QVERIFY2(answers(y), qPrintable(QString::number(y)));
        for (const int y : {8, 14, 26, 32})
            QVERIFY2(!answers(y), qPrintable(QString::number(y)));
    }

    // Only along the curve, not in the bow between it and its ends.
    QGraphicsScene scene;
    const auto *curve = new FrameSpanGraphicsItem(&scene, QPointF(20, 20), QPointF(220, 180), span);
    for (const double part : {0.1, 0.25, 0.5, 0.8}) {
        const QPointF on = curve->path().pointAtPercent(part);
        const double angle = curve->path().angleAtPercent(part);
        const QPointF aside = QLineF::fromPolar(4, angle + 90).p2();
        for (const QPointF &point : {on, on + aside, on - aside}) {
            QVERIFY(curve->contains(point));
            QVERIFY(curve->boundingRect().contains(point));
            QCOMPARE(scene.itemAt(point, QTransform()), static_cast<const QGraphicsItem *>(curve));
        }
        QVERIFY(!curve->contains(on + aside * 1.5));
        QVERIFY(!curve->contains(on - aside * 1.5));
    }
    QVERIFY(!curve->contains(QPointF(80, 62)));
    QVERIFY(!curve->contains(QPointF(160, 138)));
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

void TestTimeLine::aKeyFrameMarkerShowsItsType_data()
{
    QTest::addColumn<KeyFrame::Type>("type");
    QTest::addColumn<QPen>("pen");
    QTest::addColumn<QBrush>("brush");
    QTest::addColumn<int>("radius");
    const QColor color(200, 100, 50);
    const QPen black(Qt::black);
    const QPen gray(QBrush(Qt::gray), 1.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
    QTest::newRow("visible") << KeyFrame::Visible << black << QBrush(color, Qt::SolidPattern) << 5;
    QTest::newRow("occluded") << KeyFrame::Occluded << black << QBrush(color, Qt::Dense3Pattern) << 5;
    QTest::newRow("automatic") << KeyFrame::Automatic << gray
                               << QBrush(QColor(200, 100, 50, 127), Qt::SolidPattern) << 3;
}

void TestTimeLine::aKeyFrameMarkerShowsItsType()
{
    QFETCH(KeyFrame::Type, type);
    QFETCH(QPen, pen);
    QFETCH(QBrush, brush);
    QFETCH(int, radius);
    TestProject project(3);
    TrackedObject *object = project.addObject();
    object->color = QColor(200, 100, 50);
    QGraphicsScene scene;
    auto *item = new KeyFrameGraphicsItem(&scene, QPointF(7, 9), object->keyFrames.at(1));
    QCOMPARE(item->scene(), &scene);
    QCOMPARE(item->pos(), QPointF(7, 9));
    QVERIFY(!item->isVisible());
    object->keyFrames.at(1)->setType(type); // the item follows by itself
    QVERIFY(item->isVisible());
    QCOMPARE(item->pen(), pen);
    QCOMPARE(item->brush(), brush);
    QCOMPARE(item->rect(), QRectF(-1.414 * radius, -1.414 * radius, 2.824 * radius, 2.824 * radius));
}

void TestTimeLine::aMarkerWithoutKeyFrameKeepsItsBrush()
{
    TestProject project(3);
    TrackedObject *object = project.addObject();
    QGraphicsScene scene;
    auto *item = new KeyFrameGraphicsItem(&scene, QPointF(), object->keyFrames.at(1));
    QCOMPARE(item->brush().style(), Qt::NoBrush);
    object->keyFrames.at(1)->setType(KeyFrame::Automatic);
    const QBrush brush = item->brush();
    object->keyFrames.at(1)->setType(KeyFrame::None);
    QVERIFY(!item->isVisible());
    QCOMPARE(item->brush(), brush);
    QCOMPARE(item->pen(), QPen(Qt::black));
    QCOMPARE(item->rect(), QRectF(-1.414, -1.414, 2.824, 2.824));
}

void TestTimeLine::aSpanCurveShowsItsType_data()
{
    QTest::addColumn<FrameSpan::Type>("type");
    QTest::addColumn<double>("width");
    QTest::addColumn<Qt::PenStyle>("style");
    QTest::newRow("hidden") << FrameSpan::Hidden << 1.0 << Qt::DotLine;
    QTest::newRow("visible") << FrameSpan::Visible << 3.0 << Qt::SolidLine;
    QTest::newRow("occluded") << FrameSpan::Occluded << 3.0 << Qt::DashLine;
}

void TestTimeLine::aSpanCurveShowsItsType()
{
    QFETCH(FrameSpan::Type, type);
    QFETCH(double, width);
    QFETCH(Qt::PenStyle, style);
    TestProject project(3);
    TrackedObject *object = project.addObject();
    QGraphicsScene scene;
    FrameSpan *span = object->frameSpans.first();
    span->type = FrameSpan::Visible;
    auto *item = new FrameSpanGraphicsItem(&scene, QPointF(0, 0), QPointF(80, 0), span);
    QCOMPARE(item->scene(), &scene);
    span->setType(FrameSpan::Occluded);
    span->setType(type);
    QCOMPARE(item->pen().color(), object->color);
    QCOMPARE(item->pen().widthF(), width);
    QCOMPARE(item->pen().style(), style);
    QCOMPARE(item->pen().capStyle(), Qt::SquareCap);
    QCOMPARE(item->pen().joinStyle(), Qt::BevelJoin);
}

void TestTimeLine::oldItemsAndLabelsAreDeletedLater()
{
    ProjectWindow project(3);
    project.addObject();
    TimeLine *timeLine = project.timeLine();
    const QPointer<KeyFrameGraphicsItem> keyFrameItem = timeLine->keyFrameItems.first();
    const QPointer<FrameSpanGraphicsItem> spanItem = timeLine->spanItems.first();
    const QPointer<TrackedObjectLabel> label = labelsOf(timeLine).first();
    timeLine->reload();
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
    QTest::newRow("selection") << 1 << false << false;
    QTest::newRow("frame") << 2 << false << true;
    QTest::newRow("selection and frame") << 3 << false << true;
    QTest::newRow("list") << 4 << true << true;
    QTest::newRow("selection and list") << 5 << true << true;
    QTest::newRow("frame and list") << 6 << true << true;
    QTest::newRow("a bit without meaning") << 8 << false << false;
}

void TestTimeLine::reactsToListAndFrameChanges()
{
    QFETCH(int, flags);
    QFETCH(bool, reloads);
    QFETCH(bool, movesMarkers);
    ProjectWindow project(5);
    project.addObject();
    const TimeLine *timeLine = project.timeLine();
    const QPointer<QGraphicsWidget> item = witness(timeLine->bodyScene);
    g_state->objects.append(new TrackedObject(g_state)); // unannounced
    g_state->currentFrame = 2;
    emit g_state->hasChanged(flags);
    QCOMPARE(item.isNull(), reloads);
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
    const QPointer<QGraphicsWidget> item = witness(timeLine->bodyScene);
    emit removed->hasChanged(1);
    QVERIFY(item);
    emit g_state->objects.first()->hasChanged(1);
    QVERIFY(!item);
    g_state->objects.clear();
    timeLine->connectToObjects();
    QVERIFY(timeLine->objectConnections.isEmpty());
    g_state->objects.append(removed); // the state owns it
}

void TestTimeLine::anyObjectChangeReloads()
{
    ProjectWindow project(3);
    TrackedObject *object = project.addObject();
    for (const int flags : {0, 1, 2, 4, 8}) {
        const QPointer<QGraphicsWidget> item = witness(project.timeLine()->bodyScene);
        emit object->hasChanged(flags);
        QVERIFY(!item);
    }
}

void TestTimeLine::aPositionBecomesAFrame_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<int>("frame");
    QTest::newRow("left edge") << 0 << 0;
    QTest::newRow("end of the first column") << 39 << 0;
    QTest::newRow("start of the second column") << 40 << 1;
    QTest::newRow("end of the second column") << 79 << 1;
    QTest::newRow("far to the right") << 4000 << 100;
    QTest::newRow("just left of the video") << -1 << -1;
    QTest::newRow("a column left of the video") << -40 << -1;
    QTest::newRow("more than a column left of the video") << -41 << -2;
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

void TestTimeLine::theViewReportsPositionsOnlyWhilePressed()
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

void TestTimeLine::theViewKeepsMovesFromTheScene()
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

void TestTimeLine::aContextMenuEndsTheDrag()
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

void TestTimeLine::aLabelShowsTheName()
{
    TestProject project(3);
    TrackedObject *object = project.addObject();
    object->name = QStringLiteral("a <b>ball</b> & more");
    const TrackedObjectLabel label(object->id);
    QCOMPARE(label.objectId, object->id);
    QCOMPARE(label.minimumHeight(), 40);
    QCOMPARE(label.maximumHeight(), 40);
    QCOMPARE(label.stack->count(), 2);
    QCOMPARE(label.stack->widget(0), label.nameLabel);
    QCOMPARE(label.stack->widget(1), label.nameEdit);
    QCOMPARE(label.stack->currentWidget(), label.nameLabel);
    QCOMPARE(label.nameLabel->text(), object->name);
    QCOMPARE(label.nameEdit->text(), object->name);
    QCOMPARE(label.editButton->text(), QStringLiteral("Edit"));
    QCOMPARE(label.deleteButton->text(), QStringLiteral("Del"));
    for (const QToolButton *button : {label.editButton, label.deleteButton}) {
        QVERIFY(!button->icon().availableSizes().isEmpty());
        QCOMPARE(button->iconSize(), QSize(29, 29));
    }
    auto *box = qobject_cast<QBoxLayout *>(label.layout());
    QVERIFY(box);
    QCOMPARE(box->direction(), QBoxLayout::LeftToRight);
    QCOMPARE(box->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(box->spacing(), 0);
    QCOMPARE(box->count(), 3);
    QCOMPARE(box->itemAt(0)->widget(), label.stack);
    QCOMPARE(box->itemAt(1)->widget(), label.editButton);
    QCOMPARE(box->itemAt(2)->widget(), label.deleteButton);
}

void TestTimeLine::buttonsShowTheirOwnIcons()
{
    TestProject project(3);
    const TrackedObject *object = project.addObject();
    const TimeLine timeLine(QStringLiteral("Time Line"));
    const TrackedObjectLabel label(object->id);
    const QPair<const QAbstractButton *, const char *> buttons[] = {{timeLine.addButton, ":icons/add.ico"},
                                                                    {label.editButton, ":icons/edit.ico"},
                                                                    {label.deleteButton, ":icons/del.ico"}};
    QList<QImage> pictures;
    for (const auto &button : buttons) {
        const QImage picture = pictureOf(button.first->icon());
        QVERIFY2(!picture.isNull(), button.second);
        QVERIFY2(picture == pictureOf(QIcon(QString::fromLatin1(button.second))), button.second);
        QVERIFY2(!pictures.contains(picture), button.second);
        pictures.append(picture);
    }
}

void TestTimeLine::aNameIsNoMarkupInTheToolTip_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << "red ball";
    QTest::newRow("markup") << "<b>red</b> ball";
    QTest::newRow("markup at the end") << "ball <i>red</i>";
    QTest::newRow("ampersand and markup") << "<u>R&D</u>";
    QTest::newRow("less than") << "size < 3";
    QTest::newRow("ampersand") << "cat & dog";
    QTest::newRow("quotes") << "the \"big\" one";
    QTest::newRow("greater than") << "size > 3";
    QTest::newRow("an entity") << "&lt;b&gt;";
    QTest::newRow("another entity") << "&amp;";
}

void TestTimeLine::aNameIsNoMarkupInTheToolTip()
{
    QFETCH(QString, name);
    TestProject project(3);
    TrackedObject *object = project.addObject();
    object->name = name;
    const TrackedObjectLabel label(object->id);
    QCOMPARE(shownInAToolTip(label.nameLabel->toolTip()), name);
    QCOMPARE(label.nameLabel->textFormat(), Qt::PlainText);
    QCOMPARE(label.nameLabel->text(), name);
}

void TestTimeLine::aLabelIsRedForTheCurrentObject()
{
    TestProject project(3);
    const TrackedObject *a = project.addObject();
    const TrackedObject *b = project.addObject();
    const TrackedObjectLabel labelA(a->id);
    const TrackedObjectLabel labelB(b->id);
    QVERIFY(isSolidInAllGroups(&labelA, Qt::white));
    QVERIFY(isSolidInAllGroups(&labelB, Qt::red));
    project->setCurrentObject(a->id);
    QVERIFY(isSolidInAllGroups(&labelA, Qt::red));
    QVERIFY(isSolidInAllGroups(&labelB, Qt::white));
    // Other changes do not bring the colour up to date.
    project->currentObjectId = b->id;
    for (const int flags : {0, 2, 4, 6}) {
        emit project->hasChanged(flags);
        QVERIFY(isSolidInAllGroups(&labelA, Qt::red));
    }
    emit project->hasChanged(5);
    QVERIFY(isSolidInAllGroups(&labelA, Qt::white));
}

void TestTimeLine::pressingALabelSelectsItsObject()
{
    ProjectWindow project(3);
    const TrackedObject *a = project.addObject();
    const TrackedObject *b = project.addObject();
    QVERIFY(project.show());
    const QSignalSpy changes(g_state, &DataState::hasChanged);
    const QList<TrackedObjectLabel *> labels = labelsOf(project.timeLine());
    MouseDriver::press(labels.at(0)->nameLabel, QPointF(10, 10));
    QCOMPARE(g_state->currentObjectId, a->id);
    QCOMPARE(flagsOf(changes), QList<int>({1}));
    MouseDriver::release(labels.at(0)->nameLabel, QPointF(10, 10));
    MouseDriver::click(labels.at(0)->nameLabel, QPointF(10, 10)); // the current one already
    QCOMPARE(changes.size(), 1);
    MouseDriver::click(labels.at(1)->nameLabel, QPointF(10, 10));
    QCOMPARE(g_state->currentObjectId, b->id);
    QVERIFY(isSolidInAllGroups(labels.at(0), Qt::white));
    QVERIFY(isSolidInAllGroups(labels.at(1), Qt::red));
}

void TestTimeLine::editingRenamesTheObject()
{
    ProjectWindow project(3);
    TrackedObject *object = project.addObject();
    project.addObject();
    QVERIFY(project.show());
    const QPointer<TrackedObjectLabel> label = labelsOf(project.timeLine()).first();
    const QSignalSpy changes(object, &TrackedObject::hasChanged);
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QCOMPARE(label->stack->currentWidget(), label->nameEdit);
    QVERIFY(label->nameEdit->hasFocus());
    QCOMPARE(label->nameEdit->selectedText(), QStringLiteral("new object 1"));
    QTest::keyClicks(label->nameEdit, QStringLiteral("red ball"));
    QCOMPARE(object->name, QStringLiteral("new object 1"));
    QTest::keyClick(label->nameEdit, Qt::Key_Return);
    QCOMPARE(object->name, QStringLiteral("red ball"));
    QCOMPARE(flagsOf(changes), QList<int>({1}));
    QCOMPARE(namesOf(project.timeLine()), QStringList({"red ball", "new object 2"}));
    ModelChecks::flushDeferredDeletes();
    QCoreApplication::processEvents();
    QVERIFY(!label); // replaced by a new one
    QCOMPARE(changes.size(), 1);
}

void TestTimeLine::editButtonEndsTheEditing()
{
    ProjectWindow project(3);
    TrackedObject *object = project.addObject();
    QVERIFY(project.show());
    const QPointer<TrackedObjectLabel> label = labelsOf(project.timeLine()).first();
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QCOMPARE(label->stack->currentWidget(), label->nameLabel);
    QVERIFY(!label->nameEdit->hasFocus());
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QTest::keyClicks(label->nameEdit, QStringLiteral("dog"));
    QTest::mouseClick(label->editButton, Qt::LeftButton); // losing the focus finishes the editing
    QCOMPARE(object->name, QStringLiteral("dog"));
    QCOMPARE(namesOf(project.timeLine()), QStringList({"dog"}));
}

void TestTimeLine::returnClosesTheNameField_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("name");
    QTest::newRow("another name") << "red ball"
                                  << "red ball";
    QTest::newRow("the same name") << QString() << "new object 1";
}

void TestTimeLine::returnClosesTheNameField()
{
    QFETCH(QString, typed);
    QFETCH(QString, name);
    ProjectWindow project(3);
    const TrackedObject *object = project.addObject();
    QVERIFY(project.show());
    QPointer<TrackedObjectLabel> label = labelsOf(project.timeLine()).first();
    const QSignalSpy changes(object, &TrackedObject::hasChanged);
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QVERIFY(label->nameEdit->hasFocus());
    QTest::keyClicks(label->nameEdit, typed);
    QTest::keyClick(label->nameEdit, Qt::Key_Return);
    QCOMPARE(object->name, name);
    QCOMPARE(changes.size(), typed.isEmpty() ? 0 : 1);
    ModelChecks::flushDeferredDeletes();
    QCOMPARE(label.isNull(), !typed.isEmpty());
    label = labelsOf(project.timeLine()).first();
    QCOMPARE(label->stack->currentWidget(), label->nameLabel);
    QCOMPARE(label->nameLabel->text(), name);
    QVERIFY(!label->nameEdit->hasFocus());
    // The keys belong to the window again.
    QTest::keyClick(project.window().windowHandle(), Qt::Key_Right);
    QCOMPARE(g_state->currentFrame, 1);
}

void TestTimeLine::anUnfinishedNameSurvivesARebuild()
{
    ProjectWindow project(3);
    TrackedObject *object = project.addObject();
    TrackedObject *other = project.addObject();
    QVERIFY(project.show());
    TimeLine *timeLine = project.timeLine();
    const QSignalSpy changes(object, &TrackedObject::hasChanged);
    const TrackedObjectLabel *label = labelsOf(timeLine).first();
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QTest::keyClicks(label->nameEdit, QStringLiteral("red ball"));
    QCOMPARE(object->name, QStringLiteral("new object 1"));
    emit other->hasChanged(TrackedObject::ZOrderChanged);
    QCOMPARE(object->name, QStringLiteral("red ball"));
    QCOMPARE(flagsOf(changes), QList<int>({1}));
    // The name was taken over in the middle of the rebuild, which made the rows anew.
    QCOMPARE(namesOf(timeLine), QStringList({"red ball", "new object 2"}));
    QCOMPARE(timeLine->keyFrameItems.size(), 6);
    QCOMPARE(itemsOf<KeyFrameGraphicsItem>(timeLine->bodyScene).size(), 6);
    QCOMPARE(itemsOf<FrameSpanGraphicsItem>(timeLine->bodyScene).size(), 2);
    ModelChecks::flushDeferredDeletes();
    QCOMPARE(timeLine->labelArea->findChildren<TrackedObjectLabel *>().size(), 2);
    QCOMPARE(namesOf(timeLine), QStringList({"red ball", "new object 2"}));
    QCOMPARE(timeLine->bodyMarker->scene(), timeLine->bodyScene);
}

void TestTimeLine::anUnchangedNameIsNotAnnounced()
{
    ProjectWindow project(3);
    TrackedObject *object = project.addObject();
    QVERIFY(project.show());
    TrackedObjectLabel *label = labelsOf(project.timeLine()).first();
    const QSignalSpy changes(object, &TrackedObject::hasChanged);
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QTest::keyClick(label->nameEdit, Qt::Key_Return);
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QCOMPARE(changes.size(), 0);
    QCOMPARE(labelsOf(project.timeLine()).first(), label);
}

void TestTimeLine::doubleClickOnALabelEdits()
{
    ProjectWindow project(3);
    project.addObject();
    const TrackedObject *other = project.addObject();
    QVERIFY(project.show());
    const TrackedObjectLabel *label = labelsOf(project.timeLine()).first();
    MouseDriver::doubleClick(label->nameLabel, QPointF(12, 12));
    QCOMPARE(label->stack->currentWidget(), label->nameEdit);
    QVERIFY(label->nameEdit->hasFocus());
    QCOMPARE(label->nameEdit->selectedText(), label->nameLabel->text());
    QVERIFY(!other->isCurrent());
}

void TestTimeLine::deletingKeepsTheOthers()
{
    ProjectWindow project(3);
    project.addObject();
    project.addObject();
    QVERIFY(project.show());
    const QPointer<TrackedObjectLabel> label = labelsOf(project.timeLine()).first();
    project.nav()->setEnabled(false); // shows whether the window is reloaded
    QTest::mouseClick(label->deleteButton, Qt::LeftButton);
    QCOMPARE(g_state->objects.size(), 1);
    QCOMPARE(namesOf(project.timeLine()), QStringList({"new object 2"}));
    QCOMPARE(project.timeLine()->keyFrameItems.size(), 3);
    QVERIFY(!project.nav()->isEnabled());
    ModelChecks::flushDeferredDeletes();
    QVERIFY(!label);
}

void TestTimeLine::deletingTheLastObjectResetsTheWindow()
{
    ProjectWindow project(3);
    project.addObject();
    project.window().reload();
    QVERIFY(project.show());
    QVERIFY(toolsEnabled(project.window()));
    QTest::mouseClick(labelsOf(project.timeLine()).first()->deleteButton, Qt::LeftButton);
    QVERIFY(!g_state->hasObjects());
    QVERIFY(!toolsEnabled(project.window()));
    const TimeLine *timeLine = project.timeLine();
    QVERIFY(labelsOf(timeLine).isEmpty());
    QVERIFY(timeLine->keyFrameItems.isEmpty() && timeLine->spanItems.isEmpty());
    QCOMPARE(timeLine->bodyScene->items().size(), 2);
    QVERIFY(timeLine->isEnabled());
    ModelChecks::flushDeferredDeletes();
    QCOMPARE(timeLine->labelArea->findChildren<TrackedObjectLabel *>().size(), 0);
}

void TestTimeLine::longNamesLeaveTheButtonsInPlace()
{
    ProjectWindow project(3);
    TrackedObject *object = project.addObject();
    QVERIFY(project.show());
    object->changeName(QString(300, QLatin1Char('W')));
    QCoreApplication::processEvents();
    const TrackedObjectLabel *label = labelsOf(project.timeLine()).first();
    const QWidget *area = project.timeLine()->labelArea->viewport();
    for (const bool editing : {false, true}) {
        if (editing)
            QTest::mouseClick(label->editButton, Qt::LeftButton);
        QCoreApplication::processEvents();
        for (const QToolButton *button : {label->editButton, label->deleteButton}) {
            const QRect place(button->mapTo(area, QPoint(0, 0)), button->size());
            QVERIFY(area->rect().contains(place));
            QVERIFY(place.width() >= 29);
        }
    }
}

void TestTimeLine::keyFrameMenuListsItsEntries()
{
    ProjectWindow project(6);
    TrackedObject *object = project.addObject();
    object->name = QStringLiteral("ball");
    annotate(object, 2, outline);
    QVERIFY(project.show());
    QStringList entries;
    int left = -1;
    const TimeLine *timeLine = project.timeLine();
    QVERIFY(withMenu(timeLine, QPointF(100, 20), [&](QMenu *menu) {
        entries = MenuDriver::entries(menu);
        left = menu->x();
    }));
    QCOMPARE(entries, QStringList({"(ball)", "---", "Remove Keyframe", "---", "[x Visible]", "[Occluded]",
                                   "[Automatic]", "---", "switch order with >"}));
    const ClickableGraphicsView *body = timeLine->bodyView;
    QCOMPARE(left, body->viewport()->mapToGlobal(body->mapFromScene(QPointF(100, 20))).x());
}

void TestTimeLine::keyFrameMenuChecksTheType_data()
{
    QTest::addColumn<KeyFrame::Type>("type");
    QTest::addColumn<QStringList>("entries");
    QTest::newRow("visible") << KeyFrame::Visible
                             << QStringList({"[x Visible]", "[Occluded]", "[Automatic]"});
    QTest::newRow("occluded") << KeyFrame::Occluded
                              << QStringList({"[Visible]", "[x Occluded]", "[Automatic]"});
    QTest::newRow("automatic") << KeyFrame::Automatic
                               << QStringList({"[Visible]", "[Occluded]", "[x Automatic]"});
}

void TestTimeLine::keyFrameMenuChecksTheType()
{
    QFETCH(KeyFrame::Type, type);
    QFETCH(QStringList, entries);
    ProjectWindow project(6);
    annotate(project.addObject(), 2, outline, type);
    QVERIFY(project.show());
    QStringList found;
    QVERIFY(withMenu(project.timeLine(), QPointF(100, 20),
                     [&](QMenu *menu) { found = MenuDriver::entries(menu).mid(4, 3); }));
    QCOMPARE(found, entries);
}

void TestTimeLine::keyFrameMenuTypesAreExclusive()
{
    ProjectWindow project(6);
    annotate(project.addObject(), 2, outline);
    QVERIFY(project.show());
    bool exclusive = false;
    QVERIFY(withMenu(project.timeLine(), QPointF(100, 20), [&](QMenu *menu) {
        QAction *visible = MenuDriver::entry(menu, QStringLiteral("Visible"));
        QAction *occluded = MenuDriver::entry(menu, QStringLiteral("Occluded"));
        QAction *automatic = MenuDriver::entry(menu, QStringLiteral("Automatic"));
        exclusive = visible->actionGroup() && visible->actionGroup()->isExclusive() &&
                    visible->actionGroup() == occluded->actionGroup() &&
                    visible->actionGroup() == automatic->actionGroup();
    }));
    QVERIFY(exclusive);
}

void TestTimeLine::removingAKeyFrame()
{
    ProjectWindow project(8);
    TrackedObject *object = project.addObject();
    annotate(object, 2, outline);
    annotate(object, 5, outline);
    QVERIFY(project.show());
    TimeLine *timeLine = project.timeLine();
    const QSignalSpy changes(object->keyFrames.at(5), &KeyFrame::hasChanged);
    const QPointer<KeyFrameGraphicsItem> item = markerOf(timeLine, object->keyFrames.at(5));
    QVERIFY(chooseAt(timeLine, QPointF(220, 20), {QStringLiteral("Remove Keyframe")}));
    QCOMPARE(object->keyFrames.at(5)->type, KeyFrame::None);
    QVERIFY(object->keyFrames.at(5)->polygon.isEmpty());
    QCOMPARE(flagsOf(changes).first(), 1); // the polygon goes first
    QVERIFY(flagsOf(changes).contains(2));
    // The spans were merged, hence the rows rebuilt, while the item was handling its event.
    QCOMPARE(ModelChecks::chainText(object), QStringLiteral("0-2 Hidden, 2-7 Hidden"));
    QCOMPARE(curvesOf(timeLine, object).size(), 2);
    QVERIFY(!timeLine->keyFrameItems.contains(item));
    ModelChecks::flushDeferredDeletes();
    QVERIFY(!item);
    QVERIFY(!markerOf(timeLine, object->keyFrames.at(5))->isVisible());
    QVERIFY(markerOf(timeLine, object->keyFrames.at(2))->isVisible());
}

void TestTimeLine::choosingAType_data()
{
    QTest::addColumn<KeyFrame::Type>("before");
    QTest::addColumn<QString>("entry");
    QTest::addColumn<KeyFrame::Type>("after");
    const QList<QPair<const char *, KeyFrame::Type>> types = {
        {"Visible", KeyFrame::Visible}, {"Occluded", KeyFrame::Occluded}, {"Automatic", KeyFrame::Automatic}};
    for (const auto &before : types) {
        for (const auto &after : types) {
            QTest::addRow("%s to %s", before.first, after.first)
                << before.second << QString::fromLatin1(after.first) << after.second;
        }
    }
}

void TestTimeLine::choosingAType()
{
    QFETCH(KeyFrame::Type, before);
    QFETCH(QString, entry);
    QFETCH(KeyFrame::Type, after);
    ProjectWindow project(8);
    TrackedObject *object = project.addObject();
    annotate(object, 2, outline, before);
    QVERIFY(project.show());
    const QSignalSpy changes(object->keyFrames.at(2), &KeyFrame::hasChanged);
    QVERIFY(chooseAt(project.timeLine(), QPointF(100, 20), {entry}));
    QCOMPARE(object->keyFrames.at(2)->type, after);
    QCOMPARE(object->keyFrames.at(2)->polygon, outline);
    QCOMPARE(flagsOf(changes), before == after ? QList<int>() : QList<int>({2}));
    ModelChecks::flushDeferredDeletes();
    const KeyFrameGraphicsItem *item = markerOf(project.timeLine(), object->keyFrames.at(2));
    QCOMPARE(item->rect().width(), 2.824 * (after == KeyFrame::Automatic ? 3 : 5));
}

void TestTimeLine::choosingNothing()
{
    ProjectWindow project(8);
    TrackedObject *object = project.addObject();
    annotate(object, 2, outline);
    QVERIFY(project.show());
    const QSignalSpy changes(object->keyFrames.at(2), &KeyFrame::hasChanged);
    const QSignalSpy objectChanges(object, &TrackedObject::hasChanged);
    const QSignalSpy spanChanges(object->frameSpans.at(4), &FrameSpan::hasChanged);
    for (const QPointF &point : {QPointF(100, 20), QPointF(200, 20)}) {
        QVERIFY(
            withMenu(project.timeLine(), point, [](QMenu *menu) { QTest::keyClick(menu, Qt::Key_Escape); }));
    }
    QCOMPARE(changes.size() + objectChanges.size() + spanChanges.size(), 0);
}

void TestTimeLine::switchOrderListsVisibleOthersOnly()
{
    ProjectWindow project(6);
    const QList<KeyFrame::Type> types = {KeyFrame::Visible,   KeyFrame::None,    KeyFrame::Visible,
                                         KeyFrame::Automatic, KeyFrame::Visible, KeyFrame::Occluded};
    for (const KeyFrame::Type type : types)
        annotate(project.addObject(), 2, outline, type);
    annotate(g_state->objects.at(1), 3, outline);         // visible on another frame only
    g_state->objects.at(4)->keyFrames.at(2)->zOrder = -5; // the list does not follow the stacking order
    g_state->objects.at(2)->name = QStringLiteral("dog");
    QVERIFY(project.show());
    project.timeLine()->reload();
    const auto othersOf = [&](int index) {
        QStringList names;
        const KeyFrame *keyFrame = g_state->objects.at(index)->keyFrames.at(2);
        QPointF place = markerOf(project.timeLine(), keyFrame)->pos();
        project.timeLine()->bodyView->ensureVisible(QRectF(place, QSizeF(1, 1)));
        const bool came = withMenu(project.timeLine(), place, [&](QMenu *menu) {
            names = MenuDriver::entries(menu->actions().last()->menu());
        });
        return came ? names : QStringList({"no menu"});
    };
    QCOMPARE(othersOf(0), QStringList({"dog", "new object 5"}));
    QCOMPARE(othersOf(2), QStringList({"new object 1", "new object 5"}));
    QCOMPARE(othersOf(3), QStringList({"new object 1", "dog", "new object 5"}));
    for (const int index : {0, 2, 4})
        g_state->objects.at(index)->keyFrames.at(2)->setType(KeyFrame::Occluded);
    QCOMPARE(othersOf(5), QStringList());
}

void TestTimeLine::switchOrderSwapsFromThisFrameOn()
{
    ProjectWindow project(6);
    TrackedObject *a = project.addObject();
    TrackedObject *b = project.addObject();
    annotate(a, 3, outline);
    annotate(b, 3, outline);
    QVERIFY(project.show());
    const QSignalSpy changesOfA(a, &TrackedObject::hasChanged);
    const QSignalSpy changesOfB(b, &TrackedObject::hasChanged);
    TimeLine *timeLine = project.timeLine();
    QVERIFY(chooseAt(timeLine, QPointF(140, 20), {"switch order with", "new object 2"}));
    QCOMPARE(stackingOf(a), QList<int>({0, 0, 0, 1, 1, 1}));
    QCOMPARE(stackingOf(b), QList<int>({1, 1, 1, 0, 0, 0}));
    QCOMPARE(flagsOf(changesOfA), QList<int>({4}));
    QCOMPARE(changesOfB.size(), 0);
    QCOMPARE(rowsOf(timeLine, a), QList<double>({20, 20, 20, 60, 60, 60}));
    QCOMPARE(rowsOf(timeLine, b), QList<double>({60, 60, 60, 20, 20, 20}));
    QCOMPARE(namesOf(timeLine), QStringList({"new object 1", "new object 2"}));
    ModelChecks::flushDeferredDeletes();
    // And back from the other object's marker, which is in the first row now.
    QVERIFY(chooseAt(timeLine, QPointF(140, 20), {"switch order with", "new object 1"}));
    QCOMPARE(stackingOf(a), QList<int>({0, 0, 0, 0, 0, 0}));
    QCOMPARE(flagsOf(changesOfB), QList<int>({4}));
    QCOMPARE(changesOfA.size(), 1);
}

void TestTimeLine::switchOrderWithOneOfSeveral()
{
    ProjectWindow project(4);
    for (int i = 0; i < 3; ++i)
        annotate(project.addObject(), 1, outline);
    QVERIFY(project.show());
    QVERIFY(chooseAt(project.timeLine(), QPointF(60, 20), {"switch order with", "new object 3"}));
    QCOMPARE(stackingOf(g_state->objects.at(0)), QList<int>({0, 2, 2, 2}));
    QCOMPARE(stackingOf(g_state->objects.at(1)), QList<int>({1, 1, 1, 1}));
    QCOMPARE(stackingOf(g_state->objects.at(2)), QList<int>({2, 0, 0, 0}));
}

void TestTimeLine::spanMenuChangesTheType_data()
{
    QTest::addColumn<FrameSpan::Type>("before");
    QTest::addColumn<QStringList>("entries");
    QTest::addColumn<QString>("entry");
    QTest::addColumn<FrameSpan::Type>("after");
    const QStringList visible = {"[x Visible]", "[Occluded]", "[Hidden]"};
    const QStringList occluded = {"[Visible]", "[x Occluded]", "[Hidden]"};
    const QStringList hidden = {"[Visible]", "[Occluded]", "[x Hidden]"};
    QTest::newRow("hidden to visible")
        << FrameSpan::Hidden << hidden << QStringLiteral("Visible") << FrameSpan::Visible;
    QTest::newRow("hidden to occluded")
        << FrameSpan::Hidden << hidden << QStringLiteral("Occluded") << FrameSpan::Occluded;
    QTest::newRow("visible to hidden")
        << FrameSpan::Visible << visible << QStringLiteral("Hidden") << FrameSpan::Hidden;
    QTest::newRow("occluded to visible")
        << FrameSpan::Occluded << occluded << QStringLiteral("Visible") << FrameSpan::Visible;
    QTest::newRow("visible again") << FrameSpan::Visible << visible << QStringLiteral("Visible")
                                   << FrameSpan::Visible;
    QTest::newRow("hidden again") << FrameSpan::Hidden << hidden << QStringLiteral("Hidden")
                                  << FrameSpan::Hidden;
    QTest::newRow("occluded again") << FrameSpan::Occluded << occluded << QStringLiteral("Occluded")
                                    << FrameSpan::Occluded;
}

void TestTimeLine::spanMenuChangesTheType()
{
    QFETCH(FrameSpan::Type, before);
    QFETCH(QStringList, entries);
    QFETCH(QString, entry);
    QFETCH(FrameSpan::Type, after);
    ProjectWindow project(6);
    TrackedObject *object = project.addObject();
    FrameSpan *span = object->frameSpans.first();
    span->setType(before);
    QVERIFY(project.show());
    const FrameSpanGraphicsItem *curve = project.timeLine()->spanItems.first();
    QStringList found;
    bool exclusive = false;
    QVERIFY(withMenu(project.timeLine(), middleOf(curve), [&](QMenu *menu) {
        found = MenuDriver::entries(menu);
        const QActionGroup *group = menu->actions().first()->actionGroup();
        exclusive = group && group->isExclusive() && group->actions().size() == 3;
    }));
    QCOMPARE(found, entries);
    QVERIFY(exclusive);
    const QSignalSpy changes(span, &FrameSpan::hasChanged);
    QVERIFY(chooseAt(project.timeLine(), middleOf(curve), {entry}));
    QCOMPARE(span->type, after);
    QCOMPARE(flagsOf(changes), before == after ? QList<int>() : QList<int>({1}));
    QCOMPARE(curve->pen().widthF(), after == FrameSpan::Hidden ? 1.0 : 3.0);
}

void TestTimeLine::hiddenMarkersHaveNoMenu()
{
    ProjectWindow project(6);
    project.addObject();
    QVERIFY(project.show());
    QStringList entries;
    // A marker without a key frame lies on the span's curve and leaves the menu to it.
    QVERIFY(withMenu(project.timeLine(), QPointF(100, 20),
                     [&](QMenu *menu) { entries = MenuDriver::entries(menu); }));
    QCOMPARE(entries, QStringList({"[Visible]", "[Occluded]", "[x Hidden]"}));
}

void TestTimeLine::menuNamesKeepTheirAmpersands()
{
    TwoObjects two;
    two.object->name = QStringLiteral("R&D");
    two.other->name = QStringLiteral("&cat && dog&");
    QStringList shown;
    bool mnemonics = false;
    QVERIFY(withMenu(two.project.timeLine(), QPointF(100, 20), [&](QMenu *menu) {
        const QMenu *others = menu->actions().last()->menu();
        for (const QAction *action : {menu->actions().first(), others->actions().first()}) {
            shown.append(action->iconText()); // the text without what marks a mnemonic
            mnemonics = mnemonics || !QKeySequence::mnemonic(action->text()).isEmpty();
        }
    }));
    QCOMPARE(shown, QStringList({"R&D", "&cat && dog&"}));
    QVERIFY(!mnemonics);
}

void TestTimeLine::aMenuOutlivesARebuildOfTheRows_data()
{
    addMenuRows();
}

void TestTimeLine::aMenuOutlivesARebuildOfTheRows()
{
    QFETCH(QPointF, point);
    QFETCH(QStringList, entry);
    TwoObjects two;
    TimeLine *timeLine = two.project.timeLine();
    const QPointer<KeyFrameGraphicsItem> marker = markerOf(timeLine, two.object->keyFrames.at(2));
    const QPointer<FrameSpanGraphicsItem> curve = curvesOf(timeLine, two.object).first();
    bool gone = false;
    bool chosen = false;
    QVERIFY(withMenu(timeLine, point, [&](QMenu *menu) {
        timeLine->reload();
        ModelChecks::flushDeferredDeletes();
        gone = !marker && !curve;
        chosen = entry.isEmpty() || MenuDriver::choose(menu, entry);
    }));
    QVERIFY(gone);
    QVERIFY(chosen);
    const KeyFrame *keyFrame = two.object->keyFrames.at(2);
    const QString choice = entry.isEmpty() ? QString() : entry.last();
    QCOMPARE(keyFrame->type, choice == QLatin1String("Occluded")          ? KeyFrame::Occluded
                             : choice == QLatin1String("Remove Keyframe") ? KeyFrame::None
                                                                          : KeyFrame::Visible);
    QCOMPARE(keyFrame->polygon.isEmpty(), choice == QLatin1String("Remove Keyframe"));
    QCOMPARE(stackingOf(two.object), choice == QLatin1String("other") ? QList<int>({0, 0, 1, 1, 1, 1, 1, 1})
                                                                      : QList<int>({0, 0, 0, 0, 0, 0, 0, 0}));
    QCOMPARE(two.object->frameSpans.first()->type,
             choice == QLatin1String("Visible") ? FrameSpan::Visible : FrameSpan::Hidden);
    QCOMPARE(ModelChecks::stateProblem(*g_state), QString());
    ModelChecks::flushDeferredDeletes();
    QCOMPARE(markerOf(timeLine, keyFrame)->isVisible(), keyFrame->type != KeyFrame::None);
}

void TestTimeLine::aMenuOutlivesTheProject_data()
{
    addMenuRows();
}

void TestTimeLine::aMenuOutlivesTheProject()
{
    QFETCH(QPointF, point);
    QFETCH(QStringList, entry);
    TwoObjects two;
    const QPointer<TrackedObject> object = two.object;
    const QPointer<TrackedObject> other = two.other;
    bool chosen = false;
    QVERIFY(withMenu(two.project.timeLine(), point, [&](QMenu *menu) {
        two.project.window().recreateDataState();
        ModelChecks::flushDeferredDeletes();
        chosen = entry.isEmpty() || MenuDriver::choose(menu, entry);
    }));
    QVERIFY(chosen);
    QVERIFY(!object && !other);
    QVERIFY(!g_state->videoLoaded);
    QVERIFY(!g_state->hasObjects());
    QVERIFY(!two.project.timeLine()->isEnabled());
    // The next project takes the rows over.
    g_state->video = ProjectWindow::makeVideo(5, QSize(32, 24), 25);
    g_state->videoLoaded = true;
    g_state->addObject();
    two.project.window().reload();
    ModelChecks::flushDeferredDeletes();
    QCOMPARE(itemsOf<KeyFrameGraphicsItem>(two.project.timeLine()->bodyScene).size(), 5);
    QCOMPARE(namesOf(two.project.timeLine()), QStringList("new object 1"));
}

QTEST_MAIN(TestTimeLine)
#include "tst_timeline.moc"
