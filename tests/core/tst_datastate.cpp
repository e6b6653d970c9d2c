// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/logcapture.h"
#include "tests/support/modelchecks.h"
#include "tests/support/testproject.h"

#include <QMetaMethod>
#include <QPointer>
#include <QSet>
#include <QtTest>

#include <algorithm>
#include <limits>
#include <memory>

class TestDataState : public QObject
{
    Q_OBJECT

private slots:
    void aNewStateIsEmpty();
    void aNewStateRestartsTheIds();
    void thePaletteHasItsColoursInOrder();
    void theChangeBits();
    void theMetaObjectListsTheInvokables();

    void setFrameGoesThere_data();
    void setFrameGoesThere();
    void setFrameNeedsALoadedVideo();
    void nextFrameStopsAtTheLastFrame();
    void previousFrameStopsAtTheFirstFrame();
    void steppingDoesNotAskForALoadedVideo();
    void steppingWithoutAVideoDoesNothing();

    void addingAnObjectMakesItCurrent();
    void hasObjectsFollowsTheList();
    void objectsAreFoundById();
    void theCurrentObjectMayBeMissing();
    void choosingAnObjectAlwaysSignals();

    void deletingTheOnlyObjectLeavesNoCurrentOne();
    void deletingTheOnlyObjectWhileAnotherIdIsCurrent();
    void deletingAnotherObjectKeepsTheCurrentOne();
    void deletingTheCurrentObjectMakesTheFirstOneCurrent_data();
    void deletingTheCurrentObjectMakesTheFirstOneCurrent();
    void deletingOneOfTwinsSkipsItsTwin();
    void deletingOneOfTheLastTwins();
    void deletingRemovesTheFirstOfTwins();
    void aDeletedObjectLivesUntilTheStateGoes();
    void deletingAnUnknownIdWarns();
    void deletedIdsAndColoursAreNotReused();
    void newIdsAreKeptApartFromThoseInUse();

    void theStackingOrderIsThatOfTheFrame();
    void theStackingOrderIsACopy();
    void theStackingOrderOutsideTheVideo_data();
    void theStackingOrderOutsideTheVideo();
    void objectsWithoutAVideo();

    void destructionTakesObjectsAndVideoAlong();
    void destructionWithoutVideo();
    void aVideoThatItsParentDeletesIsForgotten();
    void onlyTheVideoInUseIsForgotten();
};

void TestDataState::aNewStateIsEmpty()
{
    const DataState state;
    QCOMPARE(state.parent(), nullptr);
    QCOMPARE(state.version, QStringLiteral("0.0.5"));
    QVERIFY(!state.videoLoaded);
    QCOMPARE(state.video, nullptr);
    QCOMPARE(state.currentFrame, 0);
    QVERIFY(state.objects.isEmpty());
    QVERIFY(!state.hasObjects());
    QCOMPARE(state.currentObjectId, -1);

    QObject parent;
    const auto *child = new DataState(&parent);
    QCOMPARE(child->parent(), &parent);
}

void TestDataState::aNewStateRestartsTheIds()
{
    TrackedObject::newID = 12;
    const DataState state;
    QCOMPARE(TrackedObject::newID, 0);
}

void TestDataState::thePaletteHasItsColoursInOrder()
{
    const QStringList expected{"#222222", "#f3c300", "#875692", "#f38400", "#a1caf1", "#be0032", "#c2b280",
                               "#848482", "#008856", "#e68fac", "#0067a5", "#f99379", "#604e97", "#f6a600",
                               "#b3446c", "#dcd300", "#882d17", "#8db600", "#654522", "#e25822", "#2b3d26"};
    const DataState state;
    QStringList names;
    for (const QColor &color : state.colors)
        names.append(color.name());
    QCOMPARE(names, expected);
}

void TestDataState::theChangeBits()
{
    QCOMPARE(static_cast<int>(DataState::ObjectSelectionChanged), 1);
    QCOMPARE(static_cast<int>(DataState::FrameChanged), 2);
    QCOMPARE(static_cast<int>(DataState::ObjectListChanged), 4);
}

void TestDataState::theMetaObjectListsTheInvokables()
{
    const QMetaObject &meta = DataState::staticMetaObject;
    QStringList invokables;
    QStringList signalList;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        (method.methodType() == QMetaMethod::Signal ? signalList : invokables)
            .append(QString::fromLatin1(method.methodSignature()));
        if (method.name() == "getZOrderSortedList")
            QCOMPARE(method.parameterNames(), QList<QByteArray>{"frame"});
        if (method.name() == "hasChanged")
            QCOMPARE(method.parameterNames(), QList<QByteArray>{"flags"});
    }
    invokables.sort();
    QCOMPARE(invokables, QStringList({"addObject()", "deleteObject(int)", "getCurrentObject()",
                                      "getObjectById(int)", "getZOrderSortedList(int)", "nextFrame()",
                                      "prevFrame()", "setCurrentObject(int)", "setFrame(int)"}));
    QCOMPARE(signalList, QStringList("hasChanged(int)"));

    TestProject project(10);
    QVERIFY(QMetaObject::invokeMethod(project.state(), "setFrame", Q_ARG(int, 4)));
    QCOMPARE(project->currentFrame, 4);
    TrackedObject *object = project.addObject();
    TrackedObject *current = nullptr;
    QVERIFY(QMetaObject::invokeMethod(project.state(), "getCurrentObject",
                                      Q_RETURN_ARG(TrackedObject *, current)));
    QCOMPARE(current, object);
}

// ---------------------------------------------------------------------------------------------------------

void TestDataState::setFrameGoesThere_data()
{
    QTest::addColumn<int>("target");
    QTest::addColumn<int>("expected");
    QTest::addColumn<QStringList>("log");
    const QStringList moved("state: frame");
    QTest::newRow("forward") << 7 << 7 << moved;
    QTest::newRow("back to the first frame") << 0 << 0 << moved;
    QTest::newRow("to the last frame") << 9 << 9 << moved;
    QTest::newRow("to the frame behind the last one") << 10 << 3 << QStringList();
    QTest::newRow("to -1") << -1 << 3 << QStringList();
    QTest::newRow("far outside") << 2000000000 << 3 << QStringList();
    QTest::newRow("to the same frame") << 3 << 3 << QStringList();
}

void TestDataState::setFrameGoesThere()
{
    QFETCH(int, target);
    QFETCH(int, expected);
    QFETCH(QStringList, log);
    TestProject project(10);
    project->setFrame(3);
    SignalRecorder recorder;
    recorder.watch(project.state());
    project->setFrame(target);
    QCOMPARE(project->currentFrame, expected);
    QCOMPARE(recorder.log, log);
}

void TestDataState::setFrameNeedsALoadedVideo()
{
    TestProject project(10);
    project->videoLoaded = false;
    SignalRecorder recorder;
    recorder.watch(project.state());
    project->setFrame(5);
    QCOMPARE(project->currentFrame, 0);
    QVERIFY(recorder.log.isEmpty());

    DataState empty; // not even a video object
    empty.setFrame(5);
    QCOMPARE(empty.currentFrame, 0);
}

void TestDataState::nextFrameStopsAtTheLastFrame()
{
    TestProject project(3);
    SignalRecorder recorder;
    recorder.watch(project.state());
    project->nextFrame();
    QCOMPARE(project->currentFrame, 1);
    project->nextFrame();
    QCOMPARE(project->currentFrame, 2);
    QCOMPARE(recorder.log, QStringList({"state: frame", "state: frame"}));
    project->nextFrame();
    QCOMPARE(project->currentFrame, 2);
    QCOMPARE(recorder.log.size(), 2);
}

void TestDataState::previousFrameStopsAtTheFirstFrame()
{
    TestProject project(3);
    project->setFrame(2);
    SignalRecorder recorder;
    recorder.watch(project.state());
    project->prevFrame();
    project->prevFrame();
    QCOMPARE(project->currentFrame, 0);
    QCOMPARE(recorder.log, QStringList({"state: frame", "state: frame"}));
    project->prevFrame();
    QCOMPARE(project->currentFrame, 0);
    QCOMPARE(recorder.log.size(), 2);
}

void TestDataState::steppingDoesNotAskForALoadedVideo()
{
    TestProject project(3);
    project->videoLoaded = false;
    project->nextFrame();
    QCOMPARE(project->currentFrame, 1);
    project->prevFrame();
    QCOMPARE(project->currentFrame, 0);
}

// ---------------------------------------------------------------------------------------------------------

void TestDataState::addingAnObjectMakesItCurrent()
{
    TestProject project(10);
    SignalRecorder recorder;
    recorder.watch(project.state());
    project->addObject();
    QCOMPARE(project->objects.size(), 1);
    QCOMPARE(project->objects.at(0)->id, 0);
    QCOMPARE(project->currentObjectId, 0);
    QCOMPARE(project->objects.at(0)->parent(), project.state());
    QCOMPARE(project->objects.at(0)->keyFrames.size(), 10);
    project->addObject();
    QCOMPARE(project->objects.size(), 2);
    QCOMPARE(project->objects.at(1)->id, 1);
    QCOMPARE(project->currentObjectId, 1);
    QCOMPARE(recorder.log, QStringList({"state: selection|objects", "state: selection|objects"}));
}

void TestDataState::hasObjectsFollowsTheList()
{
    TestProject project(10);
    QVERIFY(!project->hasObjects());
    TrackedObject *object = project.addObject();
    QVERIFY(project->hasObjects());
    project->deleteObject(object->id);
    QVERIFY(!project->hasObjects());
}

void TestDataState::objectsAreFoundById()
{
    TestProject project(1);
    QCOMPARE(project->getObjectById(0), nullptr);
    TrackedObject *first = project.addObject();
    TrackedObject *second = project.addObject();
    TrackedObject *third = project.addObject();
    QCOMPARE(project->getObjectById(0), first);
    QCOMPARE(project->getObjectById(2), third);
    QCOMPARE(project->getObjectById(3), nullptr);
    QCOMPARE(project->getObjectById(-1), nullptr);
    third->id = 1;
    QCOMPARE(project->getObjectById(1), second); // the first one in the list
    QCOMPARE(project->getObjectById(2), nullptr);
}

void TestDataState::theCurrentObjectMayBeMissing()
{
    TestProject project(1);
    QCOMPARE(project->getCurrentObject(), nullptr);
    TrackedObject *first = project.addObject();
    project.addObject();
    project->setCurrentObject(0);
    QCOMPARE(project->getCurrentObject(), first);
    project->setCurrentObject(99);
    QCOMPARE(project->currentObjectId, 99);
    QCOMPARE(project->getCurrentObject(), nullptr);
    first->id = -1;
    project->setCurrentObject(-1);
    QCOMPARE(project->getCurrentObject(), nullptr); // -1 is nobody, even if an object has that id
}

void TestDataState::choosingAnObjectAlwaysSignals()
{
    TestProject project(1);
    project.addObject();
    SignalRecorder recorder;
    recorder.watch(project.state());
    project->setCurrentObject(0);
    project->setCurrentObject(0);
    project->setCurrentObject(7);
    project->setCurrentObject(-1);
    QCOMPARE(project->currentObjectId, -1);
    QCOMPARE(recorder.log,
             QStringList({"state: selection", "state: selection", "state: selection", "state: selection"}));
}

// ---------------------------------------------------------------------------------------------------------

void TestDataState::deletingTheOnlyObjectLeavesNoCurrentOne()
{
    TestProject project(1);
    project.addObject();
    SignalRecorder recorder;
    recorder.watch(project.state());
    project->deleteObject(0);
    QVERIFY(project->objects.isEmpty());
    QCOMPARE(project->currentObjectId, -1);
    QCOMPARE(recorder.log, QStringList("state: selection|objects"));
}

void TestDataState::deletingTheOnlyObjectWhileAnotherIdIsCurrent()
{
    TestProject project(1);
    project.addObject();
    project->setCurrentObject(8);
    SignalRecorder recorder;
    recorder.watch(project.state());
    project->deleteObject(0);
    QCOMPARE(project->currentObjectId, -1);
    QCOMPARE(recorder.log, QStringList("state: selection|objects"));
}

void TestDataState::deletingAnotherObjectKeepsTheCurrentOne()
{
    TestProject project(1);
    TrackedObject *first = project.addObject();
    project.addObject();
    TrackedObject *third = project.addObject();
    SignalRecorder recorder;
    recorder.watch(project.state());
    project->deleteObject(1);
    QCOMPARE(project->objects, QList<TrackedObject *>({first, third}));
    QCOMPARE(project->currentObjectId, 2);
    QCOMPARE(recorder.log, QStringList("state: objects"));
    project->setCurrentObject(50); // nobody
    recorder.log.clear();
    project->deleteObject(0);
    QCOMPARE(project->currentObjectId, 50);
    QCOMPARE(recorder.log, QStringList("state: objects"));
}

void TestDataState::deletingTheCurrentObjectMakesTheFirstOneCurrent_data()
{
    QTest::addColumn<int>("deleted");
    QTest::addColumn<int>("current");
    QTest::newRow("first of three") << 0 << 1;
    QTest::newRow("second of three") << 1 << 0;
    QTest::newRow("last of three") << 2 << 0;
}

void TestDataState::deletingTheCurrentObjectMakesTheFirstOneCurrent()
{
    QFETCH(int, deleted);
    QFETCH(int, current);
    TestProject project(1);
    for (int i = 0; i < 3; ++i)
        project.addObject();
    project->setCurrentObject(deleted);
    SignalRecorder recorder;
    recorder.watch(project.state());
    project->deleteObject(deleted);
    QCOMPARE(project->objects.size(), 2);
    QCOMPARE(project->currentObjectId, current);
    QCOMPARE(recorder.log, QStringList("state: selection|objects"));
}

void TestDataState::deletingOneOfTwinsSkipsItsTwin()
{
    TestProject project(1);
    project.addObject()->id = 4;
    project.addObject()->id = 4;
    project.addObject()->id = 6;
    project->setCurrentObject(4);
    SignalRecorder recorder;
    recorder.watch(project.state());
    project->deleteObject(4);
    QCOMPARE(project->objects.size(), 2);
    QCOMPARE(project->currentObjectId, 6);
    QCOMPARE(recorder.log, QStringList("state: selection|objects"));
}

void TestDataState::deletingOneOfTheLastTwins()
{
    TestProject project(1);
    project.addObject()->id = 4;
    TrackedObject *twin = project.addObject();
    twin->id = 4;
    project->setCurrentObject(4);
    SignalRecorder recorder;
    recorder.watch(project.state());
    project->deleteObject(4);
    QCOMPARE(project->objects, QList<TrackedObject *>{twin});
    QCOMPARE(recorder.log, QStringList("state: selection|objects"));
}

void TestDataState::deletingRemovesTheFirstOfTwins()
{
    TestProject project(1);
    TrackedObject *first = project.addObject();
    TrackedObject *second = project.addObject();
    TrackedObject *third = project.addObject();
    third->id = 1;
    project->setCurrentObject(0);
    project->deleteObject(1);
    QCOMPARE(project->objects, QList<TrackedObject *>({first, third}));
    QVERIFY(!project->objects.contains(second));
}

void TestDataState::aDeletedObjectLivesUntilTheStateGoes()
{
    auto project = std::make_unique<TestProject>(5);
    const QPointer<TrackedObject> object = project->addObject();
    (*project)->deleteObject(object->id);
    ModelChecks::flushDeferredDeletes();
    QVERIFY(!object.isNull());
    QCOMPARE(object->parent(), project->state());
    QCOMPARE(object->keyFrames.size(), 5);
    project.reset();
    QVERIFY(object.isNull());
}

void TestDataState::deletingAnUnknownIdWarns()
{
    TestProject project(1);
    project.addObject();
    SignalRecorder recorder;
    recorder.watch(project.state());
    QVector<LogCapture::Message> messages;
    {
        LogCapture capture;
        project->deleteObject(5);
        messages = capture.messages();
    }
    QCOMPARE(messages.size(), 1);
    const LogCapture::Message &message = messages.first();
    QCOMPARE(message.type, QtWarningMsg);
    QCOMPARE(message.text, QStringLiteral("Could not find object with this ID"));
    QCOMPARE(message.category, QStringLiteral("default"));
    QVERIFY2(message.file.startsWith(QLatin1String("core/datastate")), qPrintable(message.file));
    QCOMPARE(message.function, QStringLiteral("void DataState::deleteObject(int)"));
    QCOMPARE(project->objects.size(), 1);
    QCOMPARE(project->currentObjectId, 0);
    QVERIFY(recorder.log.isEmpty());
}

void TestDataState::deletedIdsAndColoursAreNotReused()
{
    TestProject project(1);
    project.addObject();
    project.addObject();
    project->deleteObject(1);
    TrackedObject *next = project.addObject();
    QCOMPARE(next->id, 2);
    QCOMPARE(next->color, project->colors.at(2));
}

void TestDataState::newIdsAreKeptApartFromThoseInUse()
{
    TestProject project(1);
    project.addObject()->id = 7;
    project.addObject()->id = 3;
    TrackedObject::newID = 2;
    project->keepNewIdsApart();
    QCOMPARE(TrackedObject::newID, 8);
    TrackedObject::newID = 20; // a counter that is ahead stays
    project->keepNewIdsApart();
    QCOMPARE(TrackedObject::newID, 20);
    project->objects.first()->id = std::numeric_limits<qint32>::max(); // nothing is above
    project->keepNewIdsApart();
    QCOMPARE(TrackedObject::newID, 20);
}

// ---------------------------------------------------------------------------------------------------------

void TestDataState::theStackingOrderIsThatOfTheFrame()
{
    TestProject project(10);
    QVERIFY(project->getZOrderSortedList(0).isEmpty());
    TrackedObject *a = project.addObject();
    TrackedObject *b = project.addObject();
    TrackedObject *c = project.addObject();
    a->keyFrames.at(6)->zOrder = 9;
    c->keyFrames.at(6)->zOrder = -9;
    QCOMPARE(project->getZOrderSortedList(5), QList<TrackedObject *>({a, b, c}));
    QCOMPARE(project->getZOrderSortedList(6), QList<TrackedObject *>({c, b, a}));

    for (int i = 0; i < 40; ++i)
        project.addObject()->keyFrames.at(2)->zOrder = (i * 17) % 40 - 20;
    const QList<TrackedObject *> sorted = project->getZOrderSortedList(2);
    QCOMPARE(sorted.size(), 43);
    QVERIFY(std::is_permutation(sorted.begin(), sorted.end(), project->objects.begin()));
    QVERIFY(std::is_sorted(sorted.begin(), sorted.end(), [](TrackedObject *x, TrackedObject *y) {
        return x->keyFrames.at(2)->zOrder < y->keyFrames.at(2)->zOrder;
    }));
}

void TestDataState::theStackingOrderIsACopy()
{
    TestProject project(10);
    TrackedObject *a = project.addObject();
    TrackedObject *b = project.addObject();
    a->keyFrames.at(0)->zOrder = 5;
    SignalRecorder recorder;
    recorder.watch(project.state());
    QCOMPARE(project->getZOrderSortedList(0), QList<TrackedObject *>({b, a}));
    QCOMPARE(project->objects, QList<TrackedObject *>({a, b}));
    QVERIFY(recorder.log.isEmpty());
}

// ---------------------------------------------------------------------------------------------------------

void TestDataState::steppingWithoutAVideoDoesNothing()
{
    DataState state;
    SignalRecorder recorder;
    recorder.watch(&state);
    state.nextFrame();
    state.prevFrame();
    for (const int frame : {-1, 0, 1})
        state.setFrame(frame);
    QCOMPARE(state.currentFrame, 0);
    QCOMPARE(recorder.log, QStringList());
}

void TestDataState::theStackingOrderOutsideTheVideo_data()
{
    QTest::addColumn<int>("frame");
    QTest::newRow("before the first frame") << -1;
    QTest::newRow("behind the last frame") << 10;
    QTest::newRow("far behind the last frame") << std::numeric_limits<int>::max();
    QTest::newRow("far before the first frame") << std::numeric_limits<int>::min();
}

void TestDataState::theStackingOrderOutsideTheVideo()
{
    QFETCH(int, frame);
    TestProject project(10);
    QSet<TrackedObject *> expected;
    for (int i = 0; i < 40; ++i) // enough that sorting takes its longer way
        expected.insert(project.addObject());
    const QList<TrackedObject *> sorted = project->getZOrderSortedList(frame);
    QCOMPARE(sorted.size(), 40);
    QCOMPARE(QSet<TrackedObject *>(sorted.begin(), sorted.end()), expected);
    for (const TrackedObject *object : sorted) {
        QVERIFY(object->getZOrderRank(frame) >= 0);
        QVERIFY(object->getZOrderRank(frame) < 40);
    }
}

void TestDataState::objectsWithoutAVideo()
{
    DataState state;
    state.addObject();
    state.addObject();
    QCOMPARE(state.objects.size(), 2);
    TrackedObject *first = state.objects.first();
    TrackedObject *second = state.objects.last();
    QCOMPARE(state.getCurrentObject(), second);
    for (const TrackedObject *object : {first, second}) {
        QVERIFY(object->keyFrames.isEmpty());
        QVERIFY(object->frameSpans.isEmpty());
        QVERIFY(object->getFrameSpans().isEmpty());
        QCOMPARE(object->getCurrentKeyFrame(), nullptr);
    }
    for (const int frame : {-1, 0, 1}) {
        const QList<TrackedObject *> sorted = state.getZOrderSortedList(frame);
        QCOMPARE(sorted.size(), 2);
        QVERIFY(sorted.contains(first) && sorted.contains(second));
        QCOMPARE(first->getZOrderRank(frame) + second->getZOrderRank(frame), 1); // 0 and 1 in some order
    }
    state.deleteObject(second->id);
    QCOMPARE(state.getCurrentObject(), first);
}

// ---------------------------------------------------------------------------------------------------------

void TestDataState::destructionTakesObjectsAndVideoAlong()
{
    auto *state = new DataState;
    DataState *previous = g_state;
    g_state = state;
    state->video = new VideoContainer;
    state->video->frameCount = 4;
    const QPointer<VideoContainer> video = state->video;
    state->addObject();
    state->addObject();
    state->objects.last()->setParent(nullptr); // owned by the list, too
    const QPointer<TrackedObject> first = state->objects.first();
    const QPointer<TrackedObject> second = state->objects.last();
    const QPointer<KeyFrame> key = first->keyFrames.first();
    delete state;
    g_state = previous;
    QVERIFY(first.isNull());
    QVERIFY(second.isNull());
    QVERIFY(key.isNull());
    QVERIFY(video.isNull());
}

void TestDataState::destructionWithoutVideo()
{
    const QPointer<DataState> state = new DataState;
    delete state.data();
    QVERIFY(state.isNull());
}

void TestDataState::aVideoThatItsParentDeletesIsForgotten()
{
    TestProject project(3);
    delete project->video;
    QCOMPARE(project->video, nullptr);
    {
        QObject window;
        project->video = new VideoContainer(&window);
        project->videoLoaded = true;
    }
    QCOMPARE(project->video, nullptr);
    QVERIFY(!project->videoLoaded);
}

void TestDataState::onlyTheVideoInUseIsForgotten()
{
    const TestProject project(3);
    {
        const VideoContainer another;
    }
    QVERIFY(g_state->video);
    QVERIFY(g_state->videoLoaded);
}

QTEST_GUILESS_MAIN(TestDataState)
#include "tst_datastate.moc"
