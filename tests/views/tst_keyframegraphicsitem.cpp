// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/menudriver.h"
#include "tests/support/modelchecks.h"
#include "tests/support/projectwindow.h"
#include "tests/support/sceneprobe.h"
#include "tests/support/signalprobe.h"
#include "tests/support/testproject.h"
#include "tests/support/timelineprobe.h"
#include "views/clickablegraphicsview.h"
#include "views/framespangraphicsitem.h"
#include "views/keyframegraphicsitem.h"

#include <QAction>
#include <QGraphicsScene>
#include <QMenu>
#include <QPointer>
#include <QSignalSpy>
#include <QtTest>

namespace
{

const QPolygonF outline = rectangle(20, 20, 40, 40);

QList<int> stackingOf(const TrackedObject *object)
{
    QList<int> values;
    for (const KeyFrame *keyFrame : object->keyFrames)
        values.append(keyFrame->zOrder);
    return values;
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

class TestKeyFrameGraphicsItem : public QObject
{
    Q_OBJECT

private slots:
    void aKeyFrameMarkerShowsItsType_data();
    void aKeyFrameMarkerShowsItsType();
    void aMarkerWithoutKeyFrameKeepsItsBrush();

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
    void hiddenMarkersHaveNoMenu();
    void menuNamesKeepTheirAmpersands();
    void aMenuOutlivesARebuildOfTheRows_data();
    void aMenuOutlivesARebuildOfTheRows();
    void aMenuOutlivesTheProject_data();
    void aMenuOutlivesTheProject();
};

void TestKeyFrameGraphicsItem::aKeyFrameMarkerShowsItsType_data()
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

void TestKeyFrameGraphicsItem::aKeyFrameMarkerShowsItsType()
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

void TestKeyFrameGraphicsItem::aMarkerWithoutKeyFrameKeepsItsBrush()
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

void TestKeyFrameGraphicsItem::keyFrameMenuListsItsEntries()
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

void TestKeyFrameGraphicsItem::keyFrameMenuChecksTheType_data()
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

void TestKeyFrameGraphicsItem::keyFrameMenuChecksTheType()
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

void TestKeyFrameGraphicsItem::keyFrameMenuTypesAreExclusive()
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

void TestKeyFrameGraphicsItem::removingAKeyFrame()
{
    ProjectWindow project(8);
    TrackedObject *object = project.addObject();
    annotate(object, 2, outline);
    annotate(object, 5, outline);
    QVERIFY(project.show());
    TimeLine *timeLine = project.timeLine();
    const QSignalSpy changes(object->keyFrames.at(5), &KeyFrame::hasChanged);
    const QPointer<FrameSpanGraphicsItem> curve = curvesOf(timeLine, object).last();
    QVERIFY(chooseAt(timeLine, QPointF(220, 20), {QStringLiteral("Remove Keyframe")}));
    QCOMPARE(object->keyFrames.at(5)->type, KeyFrame::None);
    QVERIFY(object->keyFrames.at(5)->polygon.isEmpty());
    QCOMPARE(flagsOf(changes).first(), int(KeyFrame::PolygonChanged)); // the polygon goes first
    QVERIFY(flagsOf(changes).contains(KeyFrame::TypeChanged));
    // The spans were merged, hence the row changed, while the item was handling its event.
    QCOMPARE(ModelChecks::chainText(object), QStringLiteral("0-2 Hidden, 2-7 Hidden"));
    QCOMPARE(curvesOf(timeLine, object).size(), 2);
    QVERIFY(!timeLine->spanItems.contains(curve));
    ModelChecks::flushDeferredDeletes();
    QVERIFY(!curve);
    QVERIFY(!markerOf(timeLine, object->keyFrames.at(5))->isVisible());
    QVERIFY(markerOf(timeLine, object->keyFrames.at(2))->isVisible());
}

void TestKeyFrameGraphicsItem::choosingAType_data()
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

void TestKeyFrameGraphicsItem::choosingAType()
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
    QCOMPARE(flagsOf(changes), before == after ? QList<int>() : QList<int>({KeyFrame::TypeChanged}));
    ModelChecks::flushDeferredDeletes();
    const KeyFrameGraphicsItem *item = markerOf(project.timeLine(), object->keyFrames.at(2));
    QCOMPARE(item->rect().width(), 2.824 * (after == KeyFrame::Automatic ? 3 : 5));
}

void TestKeyFrameGraphicsItem::choosingNothing()
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

void TestKeyFrameGraphicsItem::switchOrderListsVisibleOthersOnly()
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

void TestKeyFrameGraphicsItem::switchOrderSwapsFromThisFrameOn()
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
    QCOMPARE(flagsOf(changesOfA), QList<int>({TrackedObject::ZOrderChanged}));
    QCOMPARE(changesOfB.size(), 0);
    QCOMPARE(rowsOf(timeLine, a), QList<double>({20, 20, 20, 60, 60, 60}));
    QCOMPARE(rowsOf(timeLine, b), QList<double>({60, 60, 60, 20, 20, 20}));
    QCOMPARE(namesOf(timeLine), QStringList({"new object 1", "new object 2"}));
    ModelChecks::flushDeferredDeletes();
    // And back from the other object's marker, which is in the first row now.
    QVERIFY(chooseAt(timeLine, QPointF(140, 20), {"switch order with", "new object 1"}));
    QCOMPARE(stackingOf(a), QList<int>({0, 0, 0, 0, 0, 0}));
    QCOMPARE(flagsOf(changesOfB), QList<int>({TrackedObject::ZOrderChanged}));
    QCOMPARE(changesOfA.size(), 1);
}

void TestKeyFrameGraphicsItem::switchOrderWithOneOfSeveral()
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

void TestKeyFrameGraphicsItem::hiddenMarkersHaveNoMenu()
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

void TestKeyFrameGraphicsItem::menuNamesKeepTheirAmpersands()
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

void TestKeyFrameGraphicsItem::aMenuOutlivesARebuildOfTheRows_data()
{
    addMenuRows();
}

void TestKeyFrameGraphicsItem::aMenuOutlivesARebuildOfTheRows()
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
        timeLine->frameWidth += 2; // all items are made anew
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

void TestKeyFrameGraphicsItem::aMenuOutlivesTheProject_data()
{
    addMenuRows();
}

void TestKeyFrameGraphicsItem::aMenuOutlivesTheProject()
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

QTEST_MAIN(TestKeyFrameGraphicsItem)
#include "tst_keyframegraphicsitem.moc"
