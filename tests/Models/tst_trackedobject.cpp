// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/modelchecks.h"
#include "tests/support/testproject.h"

#include <QPointer>
#include <QSignalSpy>
#include <QtTest>

#include <functional>
#include <memory>
#include <thread>

using ModelChecks::chain;
using ModelChecks::chainText;

namespace
{

const QPolygonF outline = rectangle(10, 20, 30, 40);

void setTypes(TrackedObject *object, const QList<int> &frames, KeyFrame::Type type = KeyFrame::Visible)
{
    for (const int frame : frames)
        object->keyFrames.at(frame)->setType(type);
}

/// Gives frames a polygon of an automatic method.
void fill(TrackedObject *object, const QList<int> &frames)
{
    for (const int frame : frames)
        annotate(object, frame, outline, KeyFrame::Automatic);
}

/// The frames that have a polygon, as text.
QString framesWithPolygon(const TrackedObject *object)
{
    QStringList frames;
    for (const KeyFrame *key : object->keyFrames) {
        if (!key->polygon.isEmpty())
            frames.append(QString::number(key->frame));
    }
    return frames.join(QLatin1Char(' '));
}

QString listedSpans(const TrackedObject *object)
{
    QStringList texts;
    for (const FrameSpan *span : object->getFrameSpans())
        texts.append(QStringLiteral("%1-%2").arg(span->start).arg(span->end));
    return texts.join(QLatin1Char(' '));
}

/// Gives the last frame the entry it has in a project that was read from a file: the last span.
void nameTheLastSpan(TrackedObject *object)
{
    object->frameSpans.last() = chain(object).last();
}

/// The stacking values on all frames.
QList<int> stacking(const TrackedObject *object)
{
    QList<int> values;
    for (const KeyFrame *key : object->keyFrames)
        values.append(key->zOrder);
    return values;
}

void stack(TrackedObject *object, const QList<int> &values)
{
    for (int i = 0; i < values.size(); ++i)
        object->keyFrames.at(i)->zOrder = values.at(i);
}

using Emission = std::function<void(KeyFrame *)>;

/// Lets a key frame emit through the signal of another one.
void emitThroughASignal(KeyFrame *key)
{
    KeyFrame relay(key->object, 0, KeyFrame::None);
    QObject::connect(&relay, &KeyFrame::hasChanged, key, &KeyFrame::hasChanged);
    emit relay.hasChanged(KeyFrame::TypeChanged);
}

/// The same with the signals connected by their names.
void emitThroughANamedSignal(KeyFrame *key)
{
    KeyFrame relay(key->object, 0, KeyFrame::None);
    QObject::connect(&relay, SIGNAL(hasChanged(int)), key, SIGNAL(hasChanged(int)));
    emit relay.hasChanged(KeyFrame::TypeChanged);
}

void emitByName(KeyFrame *key)
{
    QMetaObject::invokeMethod(key, "hasChanged", Q_ARG(int, KeyFrame::TypeChanged));
}

} // namespace

Q_DECLARE_METATYPE(Emission)

class TestTrackedObject : public QObject
{
    Q_OBJECT

private slots:
    void theChangeBits();

    // Construction
    void objectsAreNumberedFromTheCounter();
    void aNewStateStartsTheCounterAgain();
    void aNewObjectHasOneEmptyKeyFramePerFrame_data();
    void aNewObjectHasOneEmptyKeyFramePerFrame();
    void aNewObjectIsHiddenOverTheWholeVideo_data();
    void aNewObjectIsHiddenOverTheWholeVideo();
    void coloursRepeatAfterThePalette();
    void theColourIsTakenAtConstruction();
    void anObjectOwnsItsKeyFramesAndSpans();

    // Small questions
    void changingTheNameSignals();
    void theCurrentKeyFrameIsThatOfTheCurrentFrame();
    void theCurrentObjectIsKnownByItsId();
    void theComparatorLooksAtOneFrame();
    void theRankIsThePlaceInTheStackingOrder();
    void theRankIsFoundById();
    void switchingTheOrderSwapsFromOneFrameOn_data();
    void switchingTheOrderSwapsFromOneFrameOn();

    // List of spans
    void theListOfSpans_data();
    void theListOfSpans();
    void aFreshObjectListsItsOneSpan();

    // Which changes count
    void aPolygonChangeLeavesSpansAlone();
    void flagsAreTestedAsBits();
    void everyWayOfEmittingReachesTheObject_data();
    void everyWayOfEmittingReachesTheObject();
    void theObjectHearsAKeyFrameFirst();
    void aBlockedKeyFrameTellsNobody();
    void aChangeOnAnotherThreadArrivesLater();
    void aKeyFrameMadeByHandTellsNoObject();
    void theObjectMayBeDeletedWhileItsKeyFrameAnnounces();
    void keyFramesOfADyingObjectMayStillChange();
    void theSlotActsOnItsSender();
    void automaticKeyFramesLeaveSpansAlone_data();
    void automaticKeyFramesLeaveSpansAlone();

    // Setting a key frame
    void settingAKeyFrameOnABoundaryChangesNothing_data();
    void settingAKeyFrameOnABoundaryChangesNothing();
    void settingAnInnerKeyFrameSplitsItsSpan();
    void bothHalvesOfASplitHaveTheOldType();
    void aSplitLeavesTheNextBoundaryAlone();
    void settingAnEdgeKeyFrameSplitsNothing_data();
    void settingAnEdgeKeyFrameSplitsNothing();
    void aHiddenSpanBeforeIsShownWhenItsStartIsAUserKeyFrame_data();
    void aHiddenSpanBeforeIsShownWhenItsStartIsAUserKeyFrame();
    void aHiddenSpanBehindIsShownWhenItsEndIsAUserKeyFrame_data();
    void aHiddenSpanBehindIsShownWhenItsEndIsAUserKeyFrame();
    void onlyHiddenSpansAreShown();
    void settingTheLastFrameShowsTheSpanBefore();
    void settingTheFirstFrameShowsTheSpanBehind();
    void settingClearsTheSpansThatTouchTheKeyFrame();
    void settingTheFirstFrameClearsTheFirstSpan();
    void settingTheLastFrameClearsTheLastSpan();
    void settingSignalsInOrder();
    void settingTheFirstFrameSignalsInOrder();
    void settingAnEdgeAgainSignalsAgain();
    void visibleAndOccludedKeyFramesPartitionAlike();

    // Removing a key frame
    void removingAnInnerKeyFrameChangesNothing();
    void removingABoundaryMergesItsSpans();
    void aMergeLeavesTheNextBoundaryAlone();
    void theMergedSpan_data();
    void theMergedSpan();
    void removingTheFirstKeyFrameHidesTheFirstSpan();
    void removingTheLastKeyFrameHidesTheLastSpan();
    void removingHidesASpanWithoutKeyFrameAtItsStart();
    void removingHidesASpanWithoutKeyFrameAtItsEnd();
    void anAutomaticKeyFrameAtTheEndsKeepsTheMergedSpan();
    void removingClearsTheMergedSpan();
    void removingAnEdgeKeepsItsOwnPolygon();
    void removingABoundarySignalsInOrder();
    void removingABoundaryOfEqualSpansSignalsNoSpan();
    void removingAnEdgeSignalsInOrder();
    void removingAnEdgeHidesOnceWhenTheOtherEndIsAKeyFrame();
    void aBoundaryThatWasMadeAutomaticCanBeRemoved();

    // Entry of the last frame
    void aSplitNeverRewritesTheLastFramesEntry();
    void removingTheLastKeyFrameActsOnTheSpanItsEntryNames();
    void aMergeKeepsALivingEntryOfTheLastFrame();
    void anEntryNeverOutlivesItsSpan();
    void anEntryOfTheLastFrameThatNamesAnEarlierRemovedSpanIsMoved();

    // Whole examples
    void keyFramesAtTenAndTwenty();
    void oneFrameVideo();
    void twoFrameVideo();
    void spansAreRebuiltBeforeTheSetterReturns();
};

// ---------------------------------------------------------------------------------------------------------

void TestTrackedObject::theChangeBits()
{
    QCOMPARE(static_cast<int>(TrackedObject::NameChanged), 1);
    QCOMPARE(static_cast<int>(TrackedObject::SpansChanged), 2);
    QCOMPARE(static_cast<int>(TrackedObject::ZOrderChanged), 4);
}

void TestTrackedObject::objectsAreNumberedFromTheCounter()
{
    TestProject project(3);
    TrackedObject first(project.state());
    QCOMPARE(first.id, 0);
    QCOMPARE(first.name, QStringLiteral("new object 1"));
    QCOMPARE(TrackedObject::newID, 1);
    TrackedObject second(project.state());
    QCOMPARE(second.id, 1);
    QCOMPARE(second.name, QStringLiteral("new object 2"));
    TrackedObject::newID = 41;
    TrackedObject third(project.state());
    QCOMPARE(third.id, 41);
    QCOMPARE(third.name, QStringLiteral("new object 42"));
    QCOMPARE(TrackedObject::newID, 42);
    QCOMPARE(third.parent(), project.state());
}

void TestTrackedObject::aNewStateStartsTheCounterAgain()
{
    TrackedObject::newID = 17;
    TestProject project(3);
    QCOMPARE(TrackedObject::newID, 0);
    QCOMPARE(project.addObject()->id, 0);
}

void TestTrackedObject::aNewObjectHasOneEmptyKeyFramePerFrame_data()
{
    QTest::addColumn<int>("frames");
    QTest::newRow("one frame") << 1;
    QTest::newRow("two frames") << 2;
    QTest::newRow("a hundred frames") << 100;
}

void TestTrackedObject::aNewObjectHasOneEmptyKeyFramePerFrame()
{
    QFETCH(int, frames);
    TestProject project(frames);
    TrackedObject::newID = 5;
    const TrackedObject *object = project.addObject();
    QCOMPARE(object->keyFrames.size(), frames);
    QVERIFY(object->keyFrames.count(object->keyFrames.last()) == 1);
    for (int frame = 0; frame < frames; ++frame) {
        const KeyFrame *key = object->keyFrames.at(frame);
        QCOMPARE(key->frame, frame);
        QCOMPARE(key->type, KeyFrame::None);
        QVERIFY(key->polygon.isEmpty());
        QCOMPARE(key->zOrder, 5);
        QCOMPARE(key->object, object);
        QCOMPARE(key->parent(), object);
    }
}

void TestTrackedObject::aNewObjectIsHiddenOverTheWholeVideo_data()
{
    aNewObjectHasOneEmptyKeyFramePerFrame_data();
}

void TestTrackedObject::aNewObjectIsHiddenOverTheWholeVideo()
{
    QFETCH(int, frames);
    TestProject project(frames);
    const TrackedObject *object = project.addObject();
    QCOMPARE(object->frameSpans.size(), frames);
    QCOMPARE(object->frameSpans.count(object->frameSpans.first()), frames);
    const FrameSpan *span = object->frameSpans.first();
    QCOMPARE(span->type, FrameSpan::Hidden);
    QCOMPARE(span->start, 0);
    QCOMPARE(span->end, frames - 1);
    QCOMPARE(span->object, object);
    QCOMPARE(span->parent(), object);
}

void TestTrackedObject::coloursRepeatAfterThePalette()
{
    TestProject project(1);
    for (int i = 0; i < 43; ++i)
        project.addObject();
    const QList<TrackedObject *> &objects = project->objects;
    QCOMPARE(objects.at(0)->color, QColor("#222222"));
    QCOMPARE(objects.at(1)->color, QColor("#F3C300"));
    QCOMPARE(objects.at(20)->color, QColor("#2B3D26"));
    QCOMPARE(objects.at(21)->color, objects.at(0)->color);
    QCOMPARE(objects.at(22)->color, objects.at(1)->color);
    QCOMPARE(objects.at(42)->color, objects.at(0)->color);
}

void TestTrackedObject::theColourIsTakenAtConstruction()
{
    TestProject project(1);
    TrackedObject *object = project.addObject();
    object->id = 3;
    project->colors.clear();
    project->colors.append(QColor("#010203"));
    QCOMPARE(object->color, QColor("#222222"));
    TrackedObject::newID = 7;
    QCOMPARE(project.addObject()->color, QColor("#010203")); // 7 modulo 1
}

void TestTrackedObject::anObjectOwnsItsKeyFramesAndSpans()
{
    TestProject project(20);
    auto *object = new TrackedObject(project.state());
    setTypes(object, {5, 10});
    QList<QPointer<QObject>> parts;
    for (KeyFrame *key : qAsConst(object->keyFrames))
        parts.append(key);
    for (FrameSpan *span : chain(object))
        parts.append(span);
    QCOMPARE(parts.size(), 23);
    delete object;
    for (const QPointer<QObject> &part : qAsConst(parts))
        QVERIFY(part.isNull());
}

// ---------------------------------------------------------------------------------------------------------

void TestTrackedObject::changingTheNameSignals()
{
    TestProject project(3);
    TrackedObject *object = project.addObject();
    SignalRecorder recorder;
    recorder.watch(object);
    object->changeName(QStringLiteral("left hand"));
    QCOMPARE(object->name, QStringLiteral("left hand"));
    object->changeName(QStringLiteral("left hand"));
    QCOMPARE(recorder.log, QStringList({"object: name", "object: name"}));
}

void TestTrackedObject::theCurrentKeyFrameIsThatOfTheCurrentFrame()
{
    TestProject project(10);
    TrackedObject *object = project.addObject();
    QCOMPARE(object->getCurrentKeyFrame(), object->keyFrames.at(0));
    project->setFrame(7);
    QCOMPARE(object->getCurrentKeyFrame(), object->keyFrames.at(7));
    project->currentFrame = 9;
    QCOMPARE(object->getCurrentKeyFrame(), object->keyFrames.at(9));
}

void TestTrackedObject::theCurrentObjectIsKnownByItsId()
{
    TestProject project(3);
    TrackedObject *first = project.addObject();
    TrackedObject *second = project.addObject();
    QVERIFY(!first->isCurrent());
    QVERIFY(second->isCurrent());
    project->setCurrentObject(first->id);
    QVERIFY(first->isCurrent());
    QVERIFY(!second->isCurrent());
    project->setCurrentObject(-1);
    QVERIFY(!first->isCurrent());
    second->id = -1;
    QVERIFY(second->isCurrent());
}

void TestTrackedObject::theComparatorLooksAtOneFrame()
{
    TestProject project(10);
    TrackedObject *a = project.addObject();
    TrackedObject *b = project.addObject();
    a->keyFrames.at(4)->zOrder = 9;
    b->keyFrames.at(6)->zOrder = 0;

    const TrackedObject::TrackedObjectLess onFour = a->combareByZOrderOfFrame(4);
    QCOMPARE(onFour.frame, 4);
    QVERIFY(!onFour(a, b));
    QVERIFY(onFour(b, a));
    const TrackedObject::TrackedObjectLess onFive = a->combareByZOrderOfFrame(5);
    QVERIFY(onFive(a, b));
    QVERIFY(!onFive(b, a));
    const TrackedObject::TrackedObjectLess onSix = b->combareByZOrderOfFrame(6); // equal values
    QVERIFY(!onSix(a, b));
    QVERIFY(!onSix(b, a));
    QVERIFY(!onSix(a, a));
}

void TestTrackedObject::theRankIsThePlaceInTheStackingOrder()
{
    TestProject project(10);
    TrackedObject *a = project.addObject();
    TrackedObject *b = project.addObject();
    TrackedObject *c = project.addObject();
    QCOMPARE(a->getZOrderRank(3), 0);
    QCOMPARE(b->getZOrderRank(3), 1);
    QCOMPARE(c->getZOrderRank(3), 2);
    a->keyFrames.at(3)->zOrder = 50;
    c->keyFrames.at(3)->zOrder = -50;
    QCOMPARE(c->getZOrderRank(3), 0);
    QCOMPARE(b->getZOrderRank(3), 1);
    QCOMPARE(a->getZOrderRank(3), 2);
    QCOMPARE(a->getZOrderRank(4), 0);
    QCOMPARE(c->getZOrderRank(4), 2);
}

void TestTrackedObject::theRankIsFoundById()
{
    TestProject project(10);
    project.addObject();
    project.addObject();
    TrackedObject *third = project.addObject();
    QCOMPARE(third->getZOrderRank(0), 2);
    project->deleteObject(third->id);
    QCOMPARE(third->getZOrderRank(0), 0); // not in the project
    third->id = 1;
    QCOMPARE(third->getZOrderRank(0), 1);
}

// ---------------------------------------------------------------------------------------------------------

void TestTrackedObject::switchingTheOrderSwapsFromOneFrameOn_data()
{
    QTest::addColumn<int>("firstFrame");
    QTest::addColumn<QList<int>>("values");
    QTest::addColumn<QList<int>>("valuesOfTheOther");
    QTest::newRow("the whole video") << 0 << QList<int>({7, 7, 7, 9}) << QList<int>({1, 2, 1, 1});
    QTest::newRow("from the middle on") << 2 << QList<int>({1, 2, 7, 9}) << QList<int>({7, 7, 1, 1});
    QTest::newRow("the last frame") << 3 << QList<int>({1, 2, 1, 9}) << QList<int>({7, 7, 7, 1});
}

void TestTrackedObject::switchingTheOrderSwapsFromOneFrameOn()
{
    QFETCH(int, firstFrame);
    QFETCH(QList<int>, values);
    QFETCH(QList<int>, valuesOfTheOther);
    TestProject project(4);
    TrackedObject *object = project.addObject();
    TrackedObject *other = project.addObject();
    const TrackedObject *third = project.addObject();
    stack(object, {1, 2, 1, 1});
    stack(other, {7, 7, 7, 9});
    const QSignalSpy changes(object, &TrackedObject::hasChanged);
    const QSignalSpy otherChanges(other, &TrackedObject::hasChanged);
    QList<int> atTheSignal;
    connect(object, &TrackedObject::hasChanged, this, [&] { atTheSignal = stacking(other); });
    object->switchOrderWith(other, firstFrame);
    QCOMPARE(stacking(object), values);
    QCOMPARE(stacking(other), valuesOfTheOther);
    QCOMPARE(stacking(third), QList<int>({2, 2, 2, 2}));
    QCOMPARE(changes, QList<QList<QVariant>>({{int(TrackedObject::ZOrderChanged)}}));
    QCOMPARE(otherChanges.size(), 0);
    QCOMPARE(atTheSignal, valuesOfTheOther); // announced when all is exchanged
}

void TestTrackedObject::theListOfSpans_data()
{
    QTest::addColumn<int>("frames");
    QTest::addColumn<QList<int>>("boundaries");
    QTest::addColumn<QString>("expected");
    QTest::newRow("no boundary") << 100 << QList<int>{} << "0-99";
    QTest::newRow("long spans") << 100 << QList<int>{10, 20} << "0-10 10-20 20-99";
    QTest::newRow("short last span behind a listed later one") << 100 << QList<int>{10, 98} << "0-10 10-98";
    QTest::newRow("short last span behind the first one") << 100 << QList<int>{98} << "0-98 98-99";
    QTest::newRow("last span of three frames") << 100 << QList<int>{10, 97} << "0-10 10-97 97-99";
    QTest::newRow("short span behind the first one") << 100 << QList<int>{10, 11} << "0-10 10-11 11-99";
    QTest::newRow("short span behind a later one") << 100 << QList<int>{10, 20, 21} << "0-10 10-20 21-99";
    QTest::newRow("span of three frames behind a later one")
        << 100 << QList<int>{10, 20, 22} << "0-10 10-20 20-22 22-99";
    QTest::newRow("short first span") << 100 << QList<int>{1} << "0-1 1-99";
    QTest::newRow("only short spans") << 10 << QList<int>{1, 2, 3, 4, 5, 6, 7, 8} << "0-1 1-2 3-4 5-6 7-8";
    QTest::newRow("three frames, one boundary") << 3 << QList<int>{1} << "0-1 1-2";
    QTest::newRow("two frames") << 2 << QList<int>{} << "0-1";
    QTest::newRow("one frame") << 1 << QList<int>{} << "0-0";
}

void TestTrackedObject::theListOfSpans()
{
    QFETCH(int, frames);
    QFETCH(QList<int>, boundaries);
    QFETCH(QString, expected);
    TestProject project(frames);
    TrackedObject *object = project.addObject();
    setTypes(object, boundaries);
    QCOMPARE(chain(object).size(), boundaries.size() + 1);
    QCOMPARE(listedSpans(object), expected);
}

void TestTrackedObject::aFreshObjectListsItsOneSpan()
{
    TestProject project(100);
    const TrackedObject *object = project.addObject();
    QCOMPARE(object->getFrameSpans(), QList<FrameSpan *>{object->frameSpans.first()});
}

// ---------------------------------------------------------------------------------------------------------

void TestTrackedObject::aPolygonChangeLeavesSpansAlone()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    KeyFrame *key = object->keyFrames.at(50);
    key->type = KeyFrame::Visible; // behind the object's back: a type change would split here
    SignalRecorder recorder;
    recorder.watch(object);
    key->setNewPolygon(outline);
    emit key->hasChanged(KeyFrame::PolygonChanged | 4); // no bit of a key frame
    QCOMPARE(recorder.log, QStringList({"key 50: polygon", "key 50: polygon|4"}));
    QCOMPARE(chainText(object), QStringLiteral("0-99 Hidden"));
    QCOMPARE(key->polygon, outline);
}

void TestTrackedObject::flagsAreTestedAsBits()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    KeyFrame *key = object->keyFrames.at(50);
    key->type = KeyFrame::Visible;
    emit key->hasChanged(KeyFrame::PolygonChanged | KeyFrame::TypeChanged);
    QCOMPARE(chainText(object), QStringLiteral("0-50 Hidden, 50-99 Hidden"));
}

void TestTrackedObject::everyWayOfEmittingReachesTheObject_data()
{
    QTest::addColumn<Emission>("send");
    QTest::newRow("the setter") << Emission([](KeyFrame *key) { key->setType(KeyFrame::Visible); });
    QTest::newRow("an annotation") << Emission([](KeyFrame *key) { annotate(key->object, 5, outline); });
    QTest::newRow("from outside") << Emission(
        [](KeyFrame *key) { emit key->hasChanged(KeyFrame::TypeChanged); });
    QTest::newRow("by its name") << Emission(emitByName);
    QTest::newRow("by another signal") << Emission(emitThroughASignal);
    QTest::newRow("by another signal, both by name") << Emission(emitThroughANamedSignal);
}

void TestTrackedObject::everyWayOfEmittingReachesTheObject()
{
    QFETCH(Emission, send);
    TestProject project(10);
    TrackedObject *object = project.addObject();
    KeyFrame *key = object->keyFrames.at(5);
    key->type = KeyFrame::Visible; // for the ways that only announce it
    QSignalSpy changes(object, &TrackedObject::hasChanged);
    QSignalSpy keyChanges(key, &KeyFrame::hasChanged);
    send(key);
    QCOMPARE(chainText(object), QStringLiteral("0-5 Hidden, 5-9 Hidden"));
    QCOMPARE(changes.count(), 1);
    QCOMPARE(keyChanges.last().first().toInt(), int(KeyFrame::TypeChanged));
}

void TestTrackedObject::theObjectHearsAKeyFrameFirst()
{
    TestProject project(10);
    TrackedObject *object = project.addObject();
    SignalRecorder recorder;
    recorder.watch(object);
    object->keyFrames.at(0)->type = KeyFrame::Visible;
    fill(object, {3});
    recorder.log.clear();
    emit object->keyFrames.at(0)->hasChanged(KeyFrame::TypeChanged);
    QCOMPARE(recorder.log.first(), QStringLiteral("key 1: polygon"));
    QCOMPARE(recorder.log.mid(recorder.log.size() - 2), QStringList({"object: spans", "key 0: type"}));
}

void TestTrackedObject::aBlockedKeyFrameTellsNobody()
{
    TestProject project(10);
    TrackedObject *object = project.addObject();
    SignalRecorder recorder;
    recorder.watch(object);
    KeyFrame *key = object->keyFrames.at(5);
    const QSignalBlocker blocker(key);
    key->setType(KeyFrame::Visible);
    QCOMPARE(chainText(object), QStringLiteral("0-9 Hidden"));
    QCOMPARE(recorder.log, QStringList());
}

void TestTrackedObject::aChangeOnAnotherThreadArrivesLater()
{
    TestProject project(10);
    TrackedObject *object = project.addObject();
    SignalRecorder recorder;
    recorder.watch(object);
    std::thread([object] { object->keyFrames.at(5)->setType(KeyFrame::Visible); }).join();
    QCOMPARE(chainText(object), QStringLiteral("0-9 Hidden"));
    QCOMPARE(recorder.log, QStringList());
    QCoreApplication::processEvents();
    QCOMPARE(chainText(object), QStringLiteral("0-5 Hidden, 5-9 Hidden"));
    QCOMPARE(recorder.log.mid(recorder.log.size() - 2), QStringList({"object: spans", "key 5: type"}));
}

void TestTrackedObject::aKeyFrameMadeByHandTellsNoObject()
{
    TestProject project(10);
    TrackedObject *object = project.addObject();
    KeyFrame handMade(object, 5, KeyFrame::None);
    handMade.annotate(outline, KeyFrame::Visible);
    QCOMPARE(chainText(object), QStringLiteral("0-9 Hidden"));
}

void TestTrackedObject::theObjectMayBeDeletedWhileItsKeyFrameAnnounces()
{
    TestProject project(10);
    auto *object = new TrackedObject(project.state());
    KeyFrame *key = object->keyFrames.at(5);
    int heard = 0;
    connect(object, &TrackedObject::hasChanged, this, [object] { delete object; });
    connect(key, &KeyFrame::hasChanged, this, [&heard] { ++heard; });
    key->setType(KeyFrame::Visible);
    QCOMPARE(heard, 0);
}

void TestTrackedObject::keyFramesOfADyingObjectMayStillChange()
{
    TestProject project(10);
    auto object = std::make_unique<TrackedObject>(project.state());
    KeyFrame *last = object->keyFrames.last();
    QSignalSpy changes(last, &KeyFrame::hasChanged);
    connect(object->keyFrames.first(), &QObject::destroyed, last,
            [last] { last->setType(KeyFrame::Visible); });
    object.reset();
    QCOMPARE(changes.count(), 1);
}

void TestTrackedObject::theSlotActsOnItsSender()
{
    TestProject project(10);
    TrackedObject *object = project.addObject();
    auto *handMade = new KeyFrame(object, 5, KeyFrame::None);
    connect(handMade, &KeyFrame::hasChanged, object, &TrackedObject::keyFrameChanged);
    fill(object, {3, 5, 7});

    SignalRecorder recorder;
    recorder.watch(object);
    object->keyFrameChanged(KeyFrame::TypeChanged); // no signal leads here
    QCOMPARE(chainText(object), QStringLiteral("0-9 Hidden"));
    QCOMPARE(recorder.log, QStringList());
    QCOMPARE(framesWithPolygon(object), QStringLiteral("3 5 7"));

    FrameSpan notAKeyFrame(object, FrameSpan::Hidden, 5, 6);
    connect(&notAKeyFrame, &FrameSpan::hasChanged, object, &TrackedObject::keyFrameChanged);
    notAKeyFrame.setType(FrameSpan::Visible);
    emit handMade->hasChanged(KeyFrame::PolygonChanged);
    QCOMPARE(chainText(object), QStringLiteral("0-9 Hidden"));
    QCOMPARE(recorder.log, QStringList());

    handMade->setType(KeyFrame::Visible);
    QCOMPARE(chainText(object), QStringLiteral("0-5 Hidden, 5-9 Hidden"));
    QCOMPARE(framesWithPolygon(object), QStringLiteral("5"));
    QCOMPARE(recorder.log.count(QStringLiteral("object: spans")), 1);
    handMade->setType(KeyFrame::None);
    QCOMPARE(chainText(object), QStringLiteral("0-9 Hidden"));
    QCOMPARE(recorder.log.count(QStringLiteral("object: spans")), 2);
    ModelChecks::flushDeferredDeletes();
    QCOMPARE(ModelChecks::objectProblem(object, 10), QString());
}

void TestTrackedObject::automaticKeyFramesLeaveSpansAlone_data()
{
    QTest::addColumn<int>("frame");
    QTest::newRow("first frame") << 0;
    QTest::newRow("inside the first span") << 5;
    QTest::newRow("on a boundary") << 10;
    QTest::newRow("inside a visible span") << 15;
    QTest::newRow("last frame") << 99;
}

void TestTrackedObject::automaticKeyFramesLeaveSpansAlone()
{
    QFETCH(int, frame);
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {0, 10, 20, 99});
    fill(object, {3, 12, 30});
    const QString before = chainText(object);
    SignalRecorder recorder;
    recorder.watch(object);
    object->keyFrames.at(frame)->setType(KeyFrame::Automatic);
    QCOMPARE(recorder.log, QStringList(QStringLiteral("key %1: type").arg(frame)));
    QCOMPARE(chainText(object), before);
    QCOMPARE(framesWithPolygon(object), QStringLiteral("3 12 30"));
}

// ---------------------------------------------------------------------------------------------------------

void TestTrackedObject::settingAKeyFrameOnABoundaryChangesNothing_data()
{
    QTest::addColumn<KeyFrame::Type>("from");
    QTest::addColumn<KeyFrame::Type>("to");
    QTest::newRow("visible to occluded") << KeyFrame::Visible << KeyFrame::Occluded;
    QTest::newRow("occluded to visible") << KeyFrame::Occluded << KeyFrame::Visible;
    QTest::newRow("visible again") << KeyFrame::Visible << KeyFrame::Visible;
    QTest::newRow("automatic to visible") << KeyFrame::Automatic << KeyFrame::Visible;
}

void TestTrackedObject::settingAKeyFrameOnABoundaryChangesNothing()
{
    QFETCH(KeyFrame::Type, from);
    QFETCH(KeyFrame::Type, to);
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {10, 20});
    object->keyFrames.at(20)->setType(from);
    fill(object, {5, 15, 25});
    const QList<FrameSpan *> before = object->frameSpans;
    SignalRecorder recorder;
    recorder.watch(object);
    object->keyFrames.at(20)->setType(to);
    QCOMPARE(recorder.log, QStringList("key 20: type"));
    QCOMPARE(object->frameSpans, before);
    QCOMPARE(chainText(object), QStringLiteral("0-10 Hidden, 10-20 Visible, 20-99 Hidden"));
    QCOMPARE(framesWithPolygon(object), QStringLiteral("5 15 25"));
}

void TestTrackedObject::settingAnInnerKeyFrameSplitsItsSpan()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    FrameSpan *old = object->frameSpans.first();
    setTypes(object, {30});
    QCOMPARE(chainText(object), QStringLiteral("0-30 Hidden, 30-99 Hidden"));
    QCOMPARE(object->frameSpans.at(0), old);
    QCOMPARE(object->frameSpans.at(29), old);
    FrameSpan *later = object->frameSpans.at(30);
    QVERIFY(later != old);
    QCOMPARE(object->frameSpans.at(98), later);
    QCOMPARE(later->object, object);
    QCOMPARE(later->parent(), object);
    QCOMPARE(ModelChecks::objectProblem(object, 100), QString());
}

void TestTrackedObject::bothHalvesOfASplitHaveTheOldType()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    object->frameSpans.first()->setType(FrameSpan::Occluded);
    setTypes(object, {30});
    QCOMPARE(chainText(object), QStringLiteral("0-30 Occluded, 30-99 Occluded"));
    object->frameSpans.at(0)->setType(FrameSpan::Visible);
    setTypes(object, {15});
    QCOMPARE(chainText(object), QStringLiteral("0-15 Visible, 15-30 Visible, 30-99 Occluded"));
}

void TestTrackedObject::aSplitLeavesTheNextBoundaryAlone()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {20});
    FrameSpan *behind = object->frameSpans.at(20);
    setTypes(object, {10});
    QCOMPARE(object->frameSpans.at(20), behind);
    QCOMPARE(object->frameSpans.at(19)->start, 10);
    QCOMPARE(object->frameSpans.at(19)->end, 20);
}

void TestTrackedObject::settingAnEdgeKeyFrameSplitsNothing_data()
{
    QTest::addColumn<int>("frame");
    QTest::newRow("first frame") << 0;
    QTest::newRow("last frame") << 99;
}

void TestTrackedObject::settingAnEdgeKeyFrameSplitsNothing()
{
    QFETCH(int, frame);
    TestProject project(100);
    TrackedObject *object = project.addObject();
    const QList<FrameSpan *> before = object->frameSpans;
    QSignalSpy spy(object, &TrackedObject::hasChanged);
    object->keyFrames.at(frame)->setType(KeyFrame::Visible);
    QCOMPARE(object->frameSpans, before);
    QCOMPARE(chainText(object), QStringLiteral("0-99 Hidden"));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.first(), QList<QVariant>{TrackedObject::SpansChanged});
}

void TestTrackedObject::aHiddenSpanBeforeIsShownWhenItsStartIsAUserKeyFrame_data()
{
    QTest::addColumn<KeyFrame::Type>("start");
    QTest::addColumn<bool>("shown");
    QTest::newRow("no key frame") << KeyFrame::None << false;
    QTest::newRow("visible") << KeyFrame::Visible << true;
    QTest::newRow("occluded") << KeyFrame::Occluded << true;
    QTest::newRow("automatic") << KeyFrame::Automatic << false;
}

void TestTrackedObject::aHiddenSpanBeforeIsShownWhenItsStartIsAUserKeyFrame()
{
    QFETCH(KeyFrame::Type, start);
    QFETCH(bool, shown);
    TestProject project(100);
    TrackedObject *object = project.addObject();
    object->keyFrames.at(0)->setType(start);
    setTypes(object, {40});
    QCOMPARE(chainText(object), shown ? QStringLiteral("0-40 Visible, 40-99 Hidden")
                                      : QStringLiteral("0-40 Hidden, 40-99 Hidden"));
}

void TestTrackedObject::aHiddenSpanBehindIsShownWhenItsEndIsAUserKeyFrame_data()
{
    aHiddenSpanBeforeIsShownWhenItsStartIsAUserKeyFrame_data();
}

void TestTrackedObject::aHiddenSpanBehindIsShownWhenItsEndIsAUserKeyFrame()
{
    QFETCH(KeyFrame::Type, start);
    QFETCH(bool, shown);
    TestProject project(100);
    TrackedObject *object = project.addObject();
    object->keyFrames.at(99)->setType(start);
    setTypes(object, {40}, KeyFrame::Occluded);
    QCOMPARE(chainText(object), shown ? QStringLiteral("0-40 Hidden, 40-99 Visible")
                                      : QStringLiteral("0-40 Hidden, 40-99 Hidden"));
}

void TestTrackedObject::onlyHiddenSpansAreShown()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {0, 99});
    object->frameSpans.first()->setType(FrameSpan::Occluded);
    setTypes(object, {40});
    QCOMPARE(chainText(object), QStringLiteral("0-40 Occluded, 40-99 Occluded"));
}

void TestTrackedObject::settingTheLastFrameShowsTheSpanBefore()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {40});
    setTypes(object, {99}, KeyFrame::Occluded);
    QCOMPARE(chainText(object), QStringLiteral("0-40 Hidden, 40-99 Visible"));
}

void TestTrackedObject::settingTheFirstFrameShowsTheSpanBehind()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {40});
    setTypes(object, {0}, KeyFrame::Occluded);
    QCOMPARE(chainText(object), QStringLiteral("0-40 Visible, 40-99 Hidden"));
}

void TestTrackedObject::settingClearsTheSpansThatTouchTheKeyFrame()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {10, 60, 80});
    for (const int frame : {0, 10, 60, 80, 99})
        object->keyFrames.at(frame)->setNewPolygon(outline);
    fill(object, {5, 11, 20, 29, 31, 45, 59, 70, 90});
    object->keyFrames.at(46)->setNewPolygon(outline); // a polygon without key frame goes as well
    object->keyFrames.at(30)->setNewPolygon(outline);
    object->keyFrames.at(30)->setType(KeyFrame::Visible);
    QCOMPARE(framesWithPolygon(object), QStringLiteral("0 5 10 30 60 70 80 90 99"));
    QCOMPARE(object->keyFrames.at(20)->type, KeyFrame::None);
    QCOMPARE(object->keyFrames.at(45)->type, KeyFrame::None);
    QCOMPARE(object->keyFrames.at(5)->type, KeyFrame::Automatic);
    QCOMPARE(object->keyFrames.at(70)->type, KeyFrame::Automatic);
    QCOMPARE(object->keyFrames.at(30)->type, KeyFrame::Visible);
    QCOMPARE(object->keyFrames.at(10)->type, KeyFrame::Visible);
}

void TestTrackedObject::settingTheFirstFrameClearsTheFirstSpan()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {40});
    fill(object, {1, 39, 41, 98});
    object->keyFrames.at(40)->setNewPolygon(outline);
    annotate(object, 0, outline);
    QCOMPARE(framesWithPolygon(object), QStringLiteral("0 40 41 98"));
    QCOMPARE(object->keyFrames.at(1)->type, KeyFrame::None);
    QCOMPARE(object->keyFrames.at(41)->type, KeyFrame::Automatic);
}

void TestTrackedObject::settingTheLastFrameClearsTheLastSpan()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {40});
    fill(object, {1, 39, 41, 98});
    object->keyFrames.at(40)->setNewPolygon(outline);
    annotate(object, 99, outline);
    QCOMPARE(framesWithPolygon(object), QStringLiteral("1 39 40 99"));
    QCOMPARE(object->keyFrames.at(39)->type, KeyFrame::Automatic);
    QCOMPARE(object->keyFrames.at(98)->type, KeyFrame::None);
}

void TestTrackedObject::settingSignalsInOrder()
{
    TestProject project(7);
    TrackedObject *object = project.addObject();
    setTypes(object, {0, 6});
    object->frameSpans.first()->setType(FrameSpan::Hidden);
    SignalRecorder recorder;
    recorder.watch(object);
    object->keyFrames.at(3)->setType(KeyFrame::Visible);
    QCOMPARE(recorder.log, QStringList({"span 0-3: type", "key 1: polygon", "key 1: type", "key 2: polygon",
                                        "key 2: type", "key 4: polygon", "key 4: type", "key 5: polygon",
                                        "key 5: type", "object: spans", "key 3: type"}));
    QCOMPARE(chainText(object), QStringLiteral("0-3 Visible, 3-6 Visible"));
}

void TestTrackedObject::settingTheFirstFrameSignalsInOrder()
{
    TestProject project(4);
    TrackedObject *object = project.addObject();
    setTypes(object, {3});
    SignalRecorder recorder;
    recorder.watch(object);
    object->keyFrames.at(0)->setType(KeyFrame::Visible);
    QCOMPARE(recorder.log, QStringList({"span 0-3: type", "key 1: polygon", "key 1: type", "key 2: polygon",
                                        "key 2: type", "object: spans", "key 0: type"}));
}

void TestTrackedObject::settingAnEdgeAgainSignalsAgain()
{
    TestProject project(3);
    TrackedObject *object = project.addObject();
    setTypes(object, {0, 2});
    SignalRecorder recorder;
    recorder.watch(object);
    object->keyFrames.at(0)->setType(KeyFrame::Occluded);
    object->keyFrames.at(2)->setType(KeyFrame::Visible);
    QCOMPARE(recorder.log, QStringList({"key 1: polygon", "key 1: type", "object: spans", "key 0: type",
                                        "key 1: polygon", "key 1: type", "object: spans", "key 2: type"}));
}

void TestTrackedObject::visibleAndOccludedKeyFramesPartitionAlike()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {10, 20}, KeyFrame::Occluded);
    QCOMPARE(chainText(object), QStringLiteral("0-10 Hidden, 10-20 Visible, 20-99 Hidden"));
}

// ---------------------------------------------------------------------------------------------------------

void TestTrackedObject::removingAnInnerKeyFrameChangesNothing()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {10, 20});
    fill(object, {14, 15, 16});
    SignalRecorder recorder;
    recorder.watch(object);
    object->keyFrames.at(15)->setType(KeyFrame::None);
    QCOMPARE(recorder.log, QStringList("key 15: type"));
    QCOMPARE(chainText(object), QStringLiteral("0-10 Hidden, 10-20 Visible, 20-99 Hidden"));
    QCOMPARE(framesWithPolygon(object), QStringLiteral("14 15 16"));
}

void TestTrackedObject::removingABoundaryMergesItsSpans()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {10, 20, 30});
    FrameSpan *earlier = object->frameSpans.at(10);
    const QPointer<FrameSpan> later = object->frameSpans.at(20);
    setTypes(object, {20}, KeyFrame::None);
    QCOMPARE(object->frameSpans.at(10), earlier);
    QCOMPARE(object->frameSpans.at(20), earlier);
    QCOMPARE(object->frameSpans.at(29), earlier);
    QCOMPARE(ModelChecks::spanText(earlier), QStringLiteral("10-30 Visible"));
    QCOMPARE(ModelChecks::objectProblem(object, 100), QString());
    QVERIFY(!later.isNull()); // views may still be showing it
    ModelChecks::flushDeferredDeletes();
    QVERIFY(later.isNull());
    QCOMPARE(ModelChecks::objectProblem(object, 100), QString());
}

void TestTrackedObject::aMergeLeavesTheNextBoundaryAlone()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {10, 20, 30});
    FrameSpan *behind = object->frameSpans.at(30);
    setTypes(object, {20}, KeyFrame::None);
    QCOMPARE(object->frameSpans.at(30), behind);
    QCOMPARE(ModelChecks::spanText(behind), QStringLiteral("30-99 Hidden"));
}

void TestTrackedObject::theMergedSpan_data()
{
    QTest::addColumn<FrameSpan::Type>("earlier");
    QTest::addColumn<FrameSpan::Type>("later");
    QTest::addColumn<QString>("merged");
    QTest::newRow("both hidden") << FrameSpan::Hidden << FrameSpan::Hidden << "10-30 Hidden";
    QTest::newRow("both visible") << FrameSpan::Visible << FrameSpan::Visible << "10-30 Visible";
    QTest::newRow("both occluded") << FrameSpan::Occluded << FrameSpan::Occluded << "10-30 Occluded";
    QTest::newRow("visible and hidden") << FrameSpan::Visible << FrameSpan::Hidden << "10-30 Hidden";
    QTest::newRow("hidden and visible") << FrameSpan::Hidden << FrameSpan::Visible << "10-30 Hidden";
    QTest::newRow("visible and occluded") << FrameSpan::Visible << FrameSpan::Occluded << "10-30 Hidden";
    QTest::newRow("occluded and visible") << FrameSpan::Occluded << FrameSpan::Visible << "10-30 Hidden";
}

void TestTrackedObject::theMergedSpan()
{
    QFETCH(FrameSpan::Type, earlier);
    QFETCH(FrameSpan::Type, later);
    QFETCH(QString, merged);
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {10, 20, 30});
    object->frameSpans.at(10)->setType(earlier);
    object->frameSpans.at(20)->setType(later);
    SignalRecorder recorder;
    recorder.watch(object);
    setTypes(object, {20}, KeyFrame::None);
    QCOMPARE(ModelChecks::spanText(object->frameSpans.at(10)), merged);
    QCOMPARE(recorder.log.count(QStringLiteral("span 10-30: type")), earlier == later ? 0 : 1);
    QCOMPARE(recorder.log.count(QStringLiteral("object: spans")), 1);
}

void TestTrackedObject::removingTheFirstKeyFrameHidesTheFirstSpan()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {0, 40, 99});
    QCOMPARE(chainText(object), QStringLiteral("0-40 Visible, 40-99 Visible"));
    setTypes(object, {0}, KeyFrame::None);
    QCOMPARE(chainText(object), QStringLiteral("0-40 Hidden, 40-99 Visible"));
}

void TestTrackedObject::removingTheLastKeyFrameHidesTheLastSpan()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {0, 40, 99});
    nameTheLastSpan(object);
    fill(object, {20, 60});
    setTypes(object, {99}, KeyFrame::None);
    QCOMPARE(chainText(object), QStringLiteral("0-40 Visible, 40-99 Hidden"));
    QCOMPARE(framesWithPolygon(object), QStringLiteral("20"));
}

void TestTrackedObject::removingHidesASpanWithoutKeyFrameAtItsStart()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {20, 30});
    object->frameSpans.at(0)->setType(FrameSpan::Visible);
    setTypes(object, {20}, KeyFrame::None);
    QCOMPARE(chainText(object), QStringLiteral("0-30 Hidden, 30-99 Hidden"));
}

void TestTrackedObject::removingHidesASpanWithoutKeyFrameAtItsEnd()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {10, 20});
    object->frameSpans.at(20)->setType(FrameSpan::Visible);
    setTypes(object, {20}, KeyFrame::None);
    QCOMPARE(chainText(object), QStringLiteral("0-10 Hidden, 10-99 Hidden"));
}

void TestTrackedObject::anAutomaticKeyFrameAtTheEndsKeepsTheMergedSpan()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {10, 20, 30});
    setTypes(object, {10, 30}, KeyFrame::Automatic);
    setTypes(object, {20}, KeyFrame::None);
    QCOMPARE(chainText(object), QStringLiteral("0-10 Hidden, 10-30 Visible, 30-99 Hidden"));
}

void TestTrackedObject::removingClearsTheMergedSpan()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {10, 20, 30});
    for (const int frame : {10, 20, 30})
        object->keyFrames.at(frame)->setNewPolygon(outline);
    fill(object, {9, 11, 19, 21, 29, 31});
    setTypes(object, {20}, KeyFrame::None);
    QCOMPARE(framesWithPolygon(object), QStringLiteral("9 10 30 31"));
    for (const int frame : {11, 19, 20, 21, 29})
        QCOMPARE(object->keyFrames.at(frame)->type, KeyFrame::None);
    QCOMPARE(object->keyFrames.at(9)->type, KeyFrame::Automatic);
    QCOMPARE(object->keyFrames.at(31)->type, KeyFrame::Automatic);
}

void TestTrackedObject::removingAnEdgeKeepsItsOwnPolygon()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    annotate(object, 0, outline);
    annotate(object, 40, outline);
    fill(object, {1, 39, 41});
    setTypes(object, {0}, KeyFrame::None);
    QCOMPARE(framesWithPolygon(object), QStringLiteral("0 40 41"));
}

void TestTrackedObject::removingABoundarySignalsInOrder()
{
    TestProject project(6);
    TrackedObject *object = project.addObject();
    setTypes(object, {0, 3});
    SignalRecorder recorder;
    recorder.watch(object);
    object->keyFrames.at(3)->setType(KeyFrame::None);
    // Once for the types that differ, once for the end without key frame.
    QCOMPARE(recorder.log, QStringList({"span 0-5: type", "span 0-5: type", "key 1: polygon", "key 1: type",
                                        "key 2: polygon", "key 2: type", "key 3: polygon", "key 3: type",
                                        "key 4: polygon", "key 4: type", "object: spans", "key 3: type"}));
}

void TestTrackedObject::removingABoundaryOfEqualSpansSignalsNoSpan()
{
    TestProject project(5);
    TrackedObject *object = project.addObject();
    setTypes(object, {0, 2, 4});
    QCOMPARE(chainText(object), QStringLiteral("0-2 Visible, 2-4 Visible"));
    SignalRecorder recorder;
    recorder.watch(object);
    object->keyFrames.at(2)->setType(KeyFrame::None);
    QCOMPARE(recorder.log, QStringList({"key 1: polygon", "key 1: type", "key 2: polygon", "key 2: type",
                                        "key 3: polygon", "key 3: type", "object: spans", "key 2: type"}));
    QCOMPARE(chainText(object), QStringLiteral("0-4 Visible"));
}

void TestTrackedObject::removingAnEdgeSignalsInOrder()
{
    TestProject project(4);
    TrackedObject *object = project.addObject();
    SignalRecorder recorder;
    recorder.watch(object);
    object->keyFrames.at(0)->setType(KeyFrame::None);
    QCOMPARE(recorder.log, QStringList({"span 0-3: type", "span 0-3: type", "key 1: polygon", "key 1: type",
                                        "key 2: polygon", "key 2: type", "object: spans", "key 0: type"}));
    recorder.log.clear();
    object->keyFrames.at(3)->setType(KeyFrame::None);
    QCOMPARE(recorder.log, QStringList({"span 0-3: type", "span 0-3: type", "key 1: polygon", "key 1: type",
                                        "key 2: polygon", "key 2: type", "object: spans", "key 3: type"}));
}

void TestTrackedObject::removingAnEdgeHidesOnceWhenTheOtherEndIsAKeyFrame()
{
    TestProject project(3);
    TrackedObject *object = project.addObject();
    setTypes(object, {0, 2});
    SignalRecorder recorder;
    recorder.watch(object);
    object->keyFrames.at(0)->setType(KeyFrame::None);
    QCOMPARE(recorder.log, QStringList({"span 0-2: type", "key 1: polygon", "key 1: type", "object: spans",
                                        "key 0: type"}));
    setTypes(object, {0});
    recorder.log.clear();
    object->keyFrames.at(2)->setType(KeyFrame::None);
    QCOMPARE(recorder.log, QStringList({"span 0-2: type", "key 1: polygon", "key 1: type", "object: spans",
                                        "key 2: type"}));
}

void TestTrackedObject::aBoundaryThatWasMadeAutomaticCanBeRemoved()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {10, 20});
    setTypes(object, {20}, KeyFrame::Automatic);
    QCOMPARE(chainText(object), QStringLiteral("0-10 Hidden, 10-20 Visible, 20-99 Hidden"));
    setTypes(object, {20}, KeyFrame::None);
    QCOMPARE(chainText(object), QStringLiteral("0-10 Hidden, 10-99 Hidden"));
}

// ---------------------------------------------------------------------------------------------------------

void TestTrackedObject::aSplitNeverRewritesTheLastFramesEntry()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    FrameSpan *original = object->frameSpans.first();
    setTypes(object, {10, 50, 98});
    QCOMPARE(object->frameSpans.last(), original);
    QCOMPARE(ModelChecks::spanText(original), QStringLiteral("0-10 Hidden"));
    QCOMPARE(ModelChecks::spanText(object->frameSpans.at(98)), QStringLiteral("98-99 Hidden"));
}

void TestTrackedObject::removingTheLastKeyFrameActsOnTheSpanItsEntryNames()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {0, 99, 10});
    QCOMPARE(chainText(object), QStringLiteral("0-10 Visible, 10-99 Visible"));
    fill(object, {5, 50});
    QSignalSpy spy(object, &TrackedObject::hasChanged);
    setTypes(object, {99}, KeyFrame::None);
    // The entry names the span before the split.
    QCOMPARE(chainText(object), QStringLiteral("0-10 Hidden, 10-99 Visible"));
    QCOMPARE(framesWithPolygon(object), QStringLiteral("50"));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.first(), QList<QVariant>{TrackedObject::SpansChanged});
}

void TestTrackedObject::aMergeKeepsALivingEntryOfTheLastFrame()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    FrameSpan *original = object->frameSpans.first();
    setTypes(object, {10, 50});
    setTypes(object, {50}, KeyFrame::None); // the removed span ends at the last frame
    QCOMPARE(object->frameSpans.last(), original);
    QCOMPARE(chainText(object), QStringLiteral("0-10 Hidden, 10-99 Hidden"));
}

void TestTrackedObject::anEntryNeverOutlivesItsSpan()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {10, 50});
    nameTheLastSpan(object);
    FrameSpan *merged = object->frameSpans.at(10);
    setTypes(object, {50}, KeyFrame::None);
    QCOMPARE(object->frameSpans.last(), merged);
    ModelChecks::flushDeferredDeletes();
    setTypes(object, {99});
    setTypes(object, {99}, KeyFrame::None);
    QCOMPARE(chainText(object), QStringLiteral("0-10 Hidden, 10-99 Hidden"));
}

void TestTrackedObject::anEntryOfTheLastFrameThatNamesAnEarlierRemovedSpanIsMoved()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {10, 50});
    nameTheLastSpan(object);
    setTypes(object, {70}); // the last frame still names 50-70
    QCOMPARE(object->frameSpans.last(), object->frameSpans.at(50));
    setTypes(object, {50}, KeyFrame::None);
    QCOMPARE(chainText(object), QStringLiteral("0-10 Hidden, 10-70 Visible, 70-99 Hidden"));
    QCOMPARE(object->frameSpans.last(), object->frameSpans.at(10));
    ModelChecks::flushDeferredDeletes();
    QCOMPARE(ModelChecks::objectProblem(object, 100), QString());
}

// ---------------------------------------------------------------------------------------------------------

void TestTrackedObject::keyFramesAtTenAndTwenty()
{
    TestProject project(100);
    TrackedObject *object = project.addObject();
    setTypes(object, {10});
    setTypes(object, {20});
    QCOMPARE(chainText(object), QStringLiteral("0-10 Hidden, 10-20 Visible, 20-99 Hidden"));
    setTypes(object, {20}, KeyFrame::None);
    QCOMPARE(chainText(object), QStringLiteral("0-10 Hidden, 10-99 Hidden"));
    setTypes(object, {10}, KeyFrame::None);
    QCOMPARE(chainText(object), QStringLiteral("0-99 Hidden"));
    QCOMPARE(ModelChecks::objectProblem(object, 100), QString());

    TrackedObject *backwards = project.addObject();
    setTypes(backwards, {20, 10});
    QCOMPARE(chainText(backwards), QStringLiteral("0-10 Hidden, 10-20 Visible, 20-99 Hidden"));
}

void TestTrackedObject::oneFrameVideo()
{
    TestProject project(1);
    TrackedObject *object = project.addObject();
    SignalRecorder recorder;
    recorder.watch(object);
    object->keyFrames.at(0)->setType(KeyFrame::Visible);
    QCOMPARE(chainText(object), QStringLiteral("0-0 Hidden"));
    QCOMPARE(recorder.log, QStringList({"object: spans", "key 0: type"}));
    object->frameSpans.first()->type = FrameSpan::Visible;
    recorder.log.clear();
    object->keyFrames.at(0)->setType(KeyFrame::None);
    QCOMPARE(chainText(object), QStringLiteral("0-0 Hidden"));
    QCOMPARE(recorder.log, QStringList({"span 0-0: type", "span 0-0: type", "object: spans", "key 0: type"}));
}

void TestTrackedObject::twoFrameVideo()
{
    TestProject project(2);
    TrackedObject *object = project.addObject();
    setTypes(object, {1});
    QCOMPARE(chainText(object), QStringLiteral("0-1 Hidden"));
    setTypes(object, {0});
    QCOMPARE(chainText(object), QStringLiteral("0-1 Visible"));
    setTypes(object, {1}, KeyFrame::None);
    QCOMPARE(chainText(object), QStringLiteral("0-1 Hidden"));
    QCOMPARE(object->keyFrames.at(0)->type, KeyFrame::Visible);
}

void TestTrackedObject::spansAreRebuiltBeforeTheSetterReturns()
{
    TestProject project(10);
    TrackedObject *object = project.addObject();
    QString seen;
    connect(object->keyFrames.at(5), &KeyFrame::hasChanged, this, [&] { seen = chainText(object); });
    object->keyFrames.at(5)->setType(KeyFrame::Visible);
    QCOMPARE(seen, QStringLiteral("0-5 Hidden, 5-9 Hidden"));
}

QTEST_GUILESS_MAIN(TestTrackedObject)
#include "tst_trackedobject.moc"
