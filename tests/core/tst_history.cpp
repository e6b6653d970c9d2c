// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/history.h"

#include "core/modaljob.h"
#include "Models/projectfile.h"
#include "processing/morph.h"
#include "tests/support/modelchecks.h"
#include "tests/support/projectfields.h"
#include "tests/support/randomgestures.h"
#include "tests/support/testproject.h"

#include <QDataStream>
#include <QSignalSpy>
#include <QtTest>

#include <functional>
#include <utility>

#include <malloc.h>

namespace
{

using Gesture = std::function<void(DataState &)>;

QByteArray fileOf(const DataState &state)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    ProjectFile::write(stream, state);
    return bytes;
}

/// Two objects with key frames at 10 and 20 of 50 frames each; the second one is current.
void fill(TestProject &project)
{
    for (int i = 0; i < 2; ++i) {
        TrackedObject *object = project.addObject();
        annotate(object, 10, rectangle(10, 10, 20, 20));
        annotate(object, 20, rectangle(30, 10, 20, 20));
    }
    project->setFrame(10);
}

/// Runs an event loop until the history has changed.
void waitForChange(History &history)
{
    QSignalSpy changed(&history, &History::changed);
    QVERIFY(changed.wait());
}

/// A history that knows the project as it stands.
class Follower : public History
{
public:
    explicit Follower(TestProject &project) { follow(project.state()); }
};

/// Tries to make a step from a work item's announcement while the job runs.
class SettlingHost : public ModalJob::DialogHost
{
public:
    explicit SettlingHost(History &history)
        : m_history(history)
    {
        ModalJob::setDialogHost(this);
    }
    ~SettlingHost() override { ModalJob::setDialogHost(nullptr); }
    Q_DISABLE_COPY(SettlingHost)

    void run(const QString & /*label*/, QFutureWatcher<void> &watcher, const std::function<void()> &start,
             const std::function<void()> & /*onAbort*/) override
    {
        start();
        watcher.waitForFinished();
        QCoreApplication::sendPostedEvents();
        m_history.settle();
        undoneMeanwhile = m_history.undo();
        stepsMeanwhile = m_history.stepCount();
    }

    QString undoneMeanwhile;
    int stepsMeanwhile = -1;

private:
    History &m_history;
};

} // namespace

Q_DECLARE_METATYPE(Gesture)

class TestHistory : public QObject
{
    Q_OBJECT

private slots:
    void everyGestureIsOneStep_data();
    void everyGestureIsOneStep();
    void whatChangesNothingIsNoStep_data();
    void whatChangesNothingIsNoStep();
    void randomGesturesUndoneAndRedone_data();
    void randomGesturesUndoneAndRedone();
    void undoingAllGivesTheBytesOfTheFileRead();
    void theStaleEntryOfTheLastFrameComesBack();
    void undoGoesToFrameAndObjectOfTheChange_data();
    void undoGoesToFrameAndObjectOfTheChange();
    void undoOfADeletionChoosesTheObject();
    void undoOfAnAdditionChoosesThePreviousObject();
    void whatAListenerChangesIsAStepOfItsOwn();
    void whatIsUndoneIsAnnounced();
    void aStepIsMadeOnceTheEventLoopHasNothingToDo();
    void aJobIsOneStep();
    void aChangeInAJobIsAnnounced();
    void aJobThatComesToNothingIsAnnouncedAgain();
    void aNamedRunIsAStepOfItsOwn();
    void polygonsAreSharedWithTheProject();
    void twoHundredStepsAreKept();
    void theOldestStepsGoWhereMemoryEnds();
    void theNewestStepStaysHoweverLarge();
    void anObjectThatNobodyCanBringBackGoes();
    void undoingBackToTheSavedStateIsClean();
    void changesInTheMiddleOfAGestureAreNotClean();
    void anUnsavedProjectStaysUnsaved();
    void theCarriedValueComesBack();
    void theHistoryGoesWithTheProject();
    void theSnapshotHoldsWhatIsNoStepYet();
    void thousandsOfFramesAreKnownInFewBytes();
};

void TestHistory::everyGestureIsOneStep_data()
{
    QTest::addColumn<Gesture>("gesture");
    QTest::addColumn<QString>("name");
    const auto row = [](const char *name, const char *step, const Gesture &gesture) {
        QTest::newRow(name) << gesture << QString::fromLatin1(step);
    };
    row("vertex", "outline of new object 2 on frame 11",
        [](DataState &s) { s.getCurrentObject()->keyFrames.at(10)->setNewPolygon(rectangle(0, 0, 9, 9)); });
    row("new key frame", "key frame of new object 2 on frame 16", [](DataState &s) {
        s.getCurrentObject()->keyFrames.at(15)->annotate(rectangle(0, 0, 9, 9), KeyFrame::Visible);
    });
    row("type", "key frame of new object 2 on frame 11",
        [](DataState &s) { s.getCurrentObject()->keyFrames.at(10)->setType(KeyFrame::Occluded); });
    row("removed key frame", "key frame of new object 2 on frame 21",
        [](DataState &s) { s.getCurrentObject()->keyFrames.at(20)->annotate(QPolygonF(), KeyFrame::None); });
    row("span", "frame span of new object 1",
        [](DataState &s) { s.objects.first()->frameSpans.at(12)->setType(FrameSpan::Occluded); });
    row("order", "order of new object 2",
        [](DataState &s) { s.objects.first()->switchOrderWith(s.objects.last(), 5); });
    row("name", "renaming new object 1 to ball",
        [](DataState &s) { s.objects.first()->changeName(QStringLiteral("ball")); });
    row("added object", "adding new object 3", [](DataState &s) { s.addObject(); });
    row("deleted object", "deleting new object 1", [](DataState &s) { s.deleteObject(0); });
    row("morph", "outlines of new object 2", [](DataState &s) { Morph(&s).linearMorphing(0, -1); });
    row("first object and its first vertex", "adding new object 3", [](DataState &s) {
        s.addObject();
        s.getCurrentObject()->getCurrentKeyFrame()->annotate(rectangle(0, 0, 9, 9), KeyFrame::Visible);
    });
    row("renamed and deleted", "deleting other", [](DataState &s) {
        s.objects.first()->changeName(QStringLiteral("other"));
        s.deleteObject(0);
    });
}

void TestHistory::everyGestureIsOneStep()
{
    QFETCH(Gesture, gesture);
    QFETCH(QString, name);
    TestProject project(50);
    fill(project);
    Follower history(project);
    const QByteArray before = projectFields(*project);
    const qint32 currentBefore = project->currentObjectId;

    gesture(*project);
    const QByteArray after = projectFields(*project);
    QVERIFY(after != before);
    history.settle();
    history.settle();
    QCOMPARE(history.stepCount(), 1);

    QCOMPARE(history.undo(), name);
    QVERIFY(projectFields(*project) == before);
    QCOMPARE(ModelChecks::stateProblem(*project), QString());
    QVERIFY(!history.canUndo());
    QCOMPARE(history.undo(), QString());
    Q_UNUSED(currentBefore)

    QCOMPARE(history.redo(), name);
    QVERIFY(projectFields(*project) == after);
    QCOMPARE(ModelChecks::stateProblem(*project), QString());
    QVERIFY(!history.canRedo());
    QCOMPARE(history.redo(), QString());
}

void TestHistory::whatChangesNothingIsNoStep_data()
{
    QTest::addColumn<Gesture>("gesture");
    const auto row = [](const char *name, const Gesture &gesture) { QTest::newRow(name) << gesture; };
    row("another frame", [](DataState &s) { s.setFrame(30); });
    row("another object", [](DataState &s) { s.setCurrentObject(0); });
    row("the same outline",
        [](DataState &s) { s.objects.first()->keyFrames.at(10)->setNewPolygon(rectangle(10, 10, 20, 20)); });
    row("the same type",
        [](DataState &s) { s.objects.first()->keyFrames.at(10)->setType(KeyFrame::Visible); });
    row("the same name", [](DataState &s) { s.objects.first()->changeName(s.objects.first()->name); });
    row("there and back", [](DataState &s) {
        s.objects.first()->switchOrderWith(s.objects.last(), 0);
        s.objects.first()->switchOrderWith(s.objects.last(), 0);
    });
}

void TestHistory::whatChangesNothingIsNoStep()
{
    QFETCH(Gesture, gesture);
    TestProject project(50);
    fill(project);
    Follower history(project);
    QSignalSpy changed(&history, &History::changed);
    gesture(*project);
    history.settle();
    QCOMPARE(history.stepCount(), 0);
    QVERIFY(history.isClean());
    QVERIFY(changed.isEmpty());
}

void TestHistory::randomGesturesUndoneAndRedone_data()
{
    QTest::addColumn<int>("frames");
    QTest::addColumn<int>("gestures");
    QTest::newRow("one frame") << 1 << 500;
    QTest::newRow("two frames") << 2 << 500;
    QTest::newRow("three frames") << 3 << 500;
    QTest::newRow("a few frames") << 12 << 4000;
    QTest::newRow("several blocks of frames") << 600 << 300;
}

void TestHistory::randomGesturesUndoneAndRedone()
{
    QFETCH(int, frames);
    QFETCH(int, gestures);
    TestProject project(frames);
    Follower history(project);
    RandomGestures random(static_cast<unsigned>(frames));
    QVector<QByteArray> states{projectFields(*project)}; // after every step
    int at = 0;
    for (int i = 0; i < gestures; ++i) {
        QString what;
        if (random.below(3) == 0) {
            const bool back = random.below(2) == 0;
            what = back ? history.undo() : history.redo();
            const int next = back ? at - 1 : at + 1;
            QCOMPARE(!what.isEmpty(), next >= 0 && next < states.size());
            at = what.isEmpty() ? at : next;
        } else {
            for (int part = random.below(3); part >= 0; --part) // a gesture can do several things
                what = random.make(*project);
            history.settle();
            const QByteArray now = projectFields(*project);
            if (now != states.at(at)) {
                states.resize(++at);
                states.append(now);
            }
        }
        const QByteArray problem = QByteArray::number(i) + ": " + what.toUtf8();
        QVERIFY2(projectFields(*project) == states.at(at), problem.constData());
        const QString broken = ModelChecks::stateProblem(*project);
        QVERIFY2(broken.isEmpty(), qPrintable(broken));
        if (i % 16 == 0)
            ModelChecks::flushDeferredDeletes();
        if (states.size() > 900) { // before the history forgets
            history.follow(project.state());
            states = {states.at(at)};
            at = 0;
        }
    }
    while (history.canUndo())
        history.undo();
    QVERIFY(projectFields(*project) == states.first());
}

void TestHistory::undoingAllGivesTheBytesOfTheFileRead()
{
    QByteArray file;
    {
        TestProject project(40);
        RandomGestures random(5);
        for (int i = 0; i < 200; ++i)
            random.make(*project);
        file = fileOf(*project);
    }
    TestProject project(40);
    QDataStream stream(file);
    ProjectFile::readVideoName(stream);
    QVERIFY(ProjectFile::read(stream, *project));
    const qint32 frame = project->currentFrame;
    Follower history(project);
    RandomGestures random(6);
    for (int i = 0; i < 300; ++i) {
        random.make(*project);
        history.settle();
    }
    QVERIFY(fileOf(*project) != file);
    QVERIFY(history.stepCount() > 100);
    while (history.canUndo())
        history.undo();
    project->setFrame(frame);
    QVERIFY(fileOf(*project) == file);
}

void TestHistory::theStaleEntryOfTheLastFrameComesBack()
{
    TestProject project(50);
    TrackedObject *object = project.addObject();
    annotate(object, 10, rectangle(0, 0, 9, 9));
    QCOMPARE(object->frameSpans.last(), object->frameSpans.first());
    Follower history(project);
    annotate(object, 30, rectangle(0, 0, 9, 9));
    history.settle();
    object->keyFrames.at(10)->annotate(QPolygonF(), KeyFrame::None);
    history.settle();
    history.undo();
    history.undo();
    QCOMPARE(ModelChecks::chainText(object), QString("0-10 Hidden, 10-49 Hidden"));
    QCOMPARE(object->frameSpans.last(), object->frameSpans.first());
}

void TestHistory::undoGoesToFrameAndObjectOfTheChange_data()
{
    QTest::addColumn<Gesture>("gesture");
    QTest::addColumn<int>("frame");
    const auto row = [](const char *name, int frame, const Gesture &gesture) {
        QTest::newRow(name) << gesture << frame;
    };
    row("an outline on the frame shown", 10,
        [](DataState &s) { s.objects.first()->keyFrames.at(10)->setNewPolygon(rectangle(0, 0, 9, 9)); });
    row("a key frame removed elsewhere", 20,
        [](DataState &s) { s.objects.first()->keyFrames.at(20)->annotate(QPolygonF(), KeyFrame::None); });
    row("a span elsewhere", 20,
        [](DataState &s) { s.objects.first()->frameSpans.at(30)->setType(FrameSpan::Occluded); });
    row("order from a later frame on", 25, [](DataState &s) {
        s.setCurrentObject(0);
        s.objects.first()->switchOrderWith(s.objects.last(), 25);
    });
    row("order from an earlier frame on", 10, [](DataState &s) {
        s.setCurrentObject(0);
        s.objects.first()->switchOrderWith(s.objects.last(), 2);
    });
    row("filled frames beside the frame shown", 11, [](DataState &s) {
        s.setCurrentObject(0);
        Morph(&s).linearMorphing(0, -1);
    });
}

void TestHistory::undoGoesToFrameAndObjectOfTheChange()
{
    QFETCH(Gesture, gesture);
    QFETCH(int, frame);
    TestProject project(50);
    fill(project);
    Follower history(project);
    gesture(*project);
    history.settle();
    project->setFrame(45);
    project->setCurrentObject(1);
    history.undo();
    QCOMPARE(project->currentFrame, frame);
    QCOMPARE(project->currentObjectId, 0);
    project->setFrame(45);
    project->setCurrentObject(1);
    history.redo();
    QCOMPARE(project->currentFrame, frame);
    QCOMPARE(project->currentObjectId, 0);
}

void TestHistory::undoOfADeletionChoosesTheObject()
{
    TestProject project(50);
    fill(project);
    TrackedObject *first = project->objects.first();
    Follower history(project);
    project->deleteObject(first->id);
    history.settle();
    project->setCurrentObject(1);
    history.undo();
    QCOMPARE(project->getCurrentObject(), first);
    history.redo();
    QCOMPARE(project->getCurrentObject(), project->objects.first());
    QVERIFY(!project->objects.contains(first));
}

void TestHistory::undoOfAnAdditionChoosesThePreviousObject()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    project->setCurrentObject(0);
    history.settle(); // as an idle moment would
    TrackedObject *added = project.addObject();
    history.settle();
    history.undo();
    QCOMPARE(project->currentObjectId, 0);
    history.redo();
    QCOMPARE(project->getCurrentObject(), added);
    QCOMPARE(project.addObject()->id, 3);
    history.undo();
    QCOMPARE(project->getCurrentObject(), added);
}

// Such as a name that is still being typed when its label is made anew.
void TestHistory::whatAListenerChangesIsAStepOfItsOwn()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    TrackedObject *object = project->objects.first();
    annotate(object, 15, rectangle(0, 0, 9, 9));
    history.settle();
    const QByteArray after = projectFields(*project);
    QObject context;
    bool renamed = false;
    connect(object, &TrackedObject::hasChanged, &context, [&] {
        if (!std::exchange(renamed, true))
            object->changeName(QStringLiteral("typed"));
    });
    history.undo();
    QCOMPARE(object->name, QString("typed"));
    QCOMPARE(history.undo(), QString("renaming new object 1 to typed"));
    QCOMPARE(object->name, QString("new object 1"));
    QVERIFY(projectFields(*project) != after);
}

void TestHistory::whatIsUndoneIsAnnounced()
{
    TestProject project(50);
    fill(project);
    project->setCurrentObject(0);
    TrackedObject *object = project->objects.first();
    Follower history(project);
    annotate(object, 15, rectangle(0, 0, 9, 9));
    history.settle();
    project->setFrame(15);
    SignalRecorder recorder;
    recorder.watch(object);
    recorder.watch(project.state());
    history.undo();
    QCOMPARE(recorder.log, QStringList({"key 15: polygon", "key 15: type", "object: spans"}));
}

void TestHistory::aStepIsMadeOnceTheEventLoopHasNothingToDo()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    project->objects.first()->changeName(QStringLiteral("one"));
    project->objects.last()->changeName(QStringLiteral("two"));
    QCOMPARE(history.stepCount(), 0);
    waitForChange(history);
    QCOMPARE(history.stepCount(), 1);
    project->objects.first()->changeName(QStringLiteral("three"));
    waitForChange(history);
    QCOMPARE(history.stepCount(), 2);
}

void TestHistory::aJobIsOneStep()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    const QByteArray before = projectFields(*project);
    annotate(project->objects.first(), 30, rectangle(0, 0, 9, 9)); // what the action does first
    QList<int> items{0, 1, 2, 3};
    TrackedObject *object = project->objects.last();
    SettlingHost host(history);
    ModalJob::run(QString(), items, [object](int &item) {
        object->keyFrames.at(10 + item)->setNewPolygon(rectangle(0, 0, 5, 5));
    });
    QCOMPARE(host.stepsMeanwhile, 0);
    QCOMPARE(host.undoneMeanwhile, QString());
    history.settle();
    QCOMPARE(history.stepCount(), 1);
    history.undo();
    QVERIFY(projectFields(*project) == before);
}

// Without a dialog host a job runs in an event loop of its own.
void TestHistory::aChangeInAJobIsAnnounced()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    QSignalSpy changed(&history, &History::changed);
    QList<int> items{0};
    QSemaphore heard;
    connect(&history, &History::changed, this, [&heard] { heard.release(); });
    KeyFrame *keyFrame = project->objects.last()->keyFrames.at(10);
    ModalJob::run(QString(), items, [&](int &) {
        keyFrame->setNewPolygon(rectangle(0, 0, 5, 5));
        QVERIFY(heard.tryAcquire(1, 10000));
    });
    QVERIFY(!changed.isEmpty());
}

// Who heard of unsaved work in its middle has to hear that there is none.
void TestHistory::aJobThatComesToNothingIsAnnouncedAgain()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    QVector<bool> clean; // at every announcement
    QSemaphore heard;
    connect(&history, &History::changed, this, [&] {
        clean.append(history.isClean());
        heard.release();
    });
    KeyFrame *keyFrame = project->objects.last()->keyFrames.at(10);
    const QPolygonF before = keyFrame->polygon;
    QList<int> items{0};
    ModalJob::run(QString(), items, [&](int &) {
        keyFrame->setNewPolygon(rectangle(0, 0, 5, 5));
        QVERIFY(heard.tryAcquire(1, 10000));
        keyFrame->setNewPolygon(before);
    });
    history.settle();
    QCOMPARE(history.stepCount(), 0);
    QVERIFY(clean.size() > 1);
    QVERIFY(!clean.first());
    QVERIFY(clean.last());
}

void TestHistory::aNamedRunIsAStepOfItsOwn()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    annotate(project->objects.first(), 30, rectangle(0, 0, 9, 9));
    {
        const History::Run run(history, QStringLiteral("a run"));
        annotate(project->objects.first(), 40, rectangle(0, 0, 9, 9));
        waitForChange(history); // a message box lets the event loop run
        QCOMPARE(history.stepCount(), 2);
    }
    annotate(project->objects.first(), 35, rectangle(0, 0, 9, 9));
    QCOMPARE(history.undo(), QString("key frame of new object 1 on frame 36"));
    QCOMPARE(history.undo(), QString("a run"));
    QCOMPARE(history.undo(), QString("key frame of new object 1 on frame 31"));
}

void TestHistory::polygonsAreSharedWithTheProject()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    KeyFrame *keyFrame = project->objects.first()->keyFrames.at(10);
    const QPointF *old = qAsConst(keyFrame->polygon).constData();
    keyFrame->setNewPolygon(rectangle(1, 2, 3, 4));
    const QPointF *fresh = qAsConst(keyFrame->polygon).constData();
    history.settle();
    history.undo();
    QCOMPARE(qAsConst(keyFrame->polygon).constData(), old);
    history.redo();
    QCOMPARE(qAsConst(keyFrame->polygon).constData(), fresh);
}

void TestHistory::twoHundredStepsAreKept()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    const QByteArray before = projectFields(*project);
    for (int i = 0; i < 200; ++i) {
        project->objects.first()->changeName(QString::number(i));
        history.settle();
    }
    for (int i = 0; i < 200; ++i)
        QVERIFY(!history.undo().isEmpty());
    QVERIFY(projectFields(*project) == before);
}

void TestHistory::theOldestStepsGoWhereMemoryEnds()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    history.setMostBytes(200000);
    KeyFrame *keyFrame = project->objects.first()->keyFrames.at(10);
    for (int i = 0; i < 50; ++i) { // 16 KB each
        keyFrame->setNewPolygon(QPolygonF(QVector<QPointF>(1000, QPointF(i, i))));
        history.settle();
        QVERIFY2(history.bytes() <= 200000, qPrintable(QString::number(history.bytes())));
    }
    QVERIFY2(history.stepCount() >= 10, qPrintable(QString::number(history.stepCount())));
    const int kept = history.stepCount();
    int undone = 0;
    while (!history.undo().isEmpty()) {
        ++undone;
        QVERIFY2(history.bytes() <= 200000, qPrintable(QString::number(history.bytes())));
    }
    QCOMPARE(undone, kept);
    QCOMPARE(keyFrame->polygon.first(), QPointF(49 - kept, 49 - kept));
}

void TestHistory::theNewestStepStaysHoweverLarge()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    history.setMostBytes(100);
    KeyFrame *keyFrame = project->objects.first()->keyFrames.at(10);
    keyFrame->setNewPolygon(rectangle(1, 2, 3, 4));
    history.settle();
    keyFrame->setNewPolygon(rectangle(5, 6, 7, 8));
    QVERIFY(!history.undo().isEmpty());
    QCOMPARE(keyFrame->polygon, rectangle(1, 2, 3, 4));
    QVERIFY(history.undo().isEmpty());
}

void TestHistory::anObjectThatNobodyCanBringBackGoes()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    QPointer<TrackedObject> added = project.addObject();
    history.undo();
    ModelChecks::flushDeferredDeletes();
    QVERIFY(added);
    project->objects.first()->changeName(QStringLiteral("no way back"));
    history.settle();
    ModelChecks::flushDeferredDeletes();
    QVERIFY(!added);
    const QPointer<TrackedObject> deleted = project->objects.first();
    project->deleteObject(deleted->id);
    history.settle();
    history.follow(project.state());
    ModelChecks::flushDeferredDeletes();
    QVERIFY2(deleted, "a deleted object stays until its project goes");
}

void TestHistory::undoingBackToTheSavedStateIsClean()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    QSignalSpy cleanChanged(&history, &History::cleanChanged);
    QVERIFY(history.isClean());
    project->objects.first()->changeName(QStringLiteral("one"));
    history.settle();
    QVERIFY(!history.isClean());
    QCOMPARE(cleanChanged.size(), 1);
    history.undo();
    QVERIFY(history.isClean());
    QCOMPARE(cleanChanged.size(), 2);
    annotate(project->objects.first(), 10, rectangle(1, 2, 3, 4));
    history.undo();
    QVERIFY2(history.isClean(), "what is announced of an outline is no change of it");
    QCOMPARE(cleanChanged.size(), 4);
    project->objects.first()->changeName(QStringLiteral("one"));
    history.settle();
    history.setSaved();
    QVERIFY(history.isClean());
    history.undo();
    QVERIFY(!history.isClean());
    history.redo();
    QVERIFY(history.isClean());
    history.undo();
    project->objects.first()->changeName(QStringLiteral("no way to the saved state"));
    history.settle();
    history.undo();
    QVERIFY(!history.isClean());
}

void TestHistory::changesInTheMiddleOfAGestureAreNotClean()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    project->objects.first()->changeName(QStringLiteral("one"));
    QVERIFY(!history.isClean());
    history.setSaved(); // what is saved is the project as it stands
    QVERIFY(history.isClean());
    QVERIFY(history.canUndo());
}

void TestHistory::anUnsavedProjectStaysUnsaved()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    history.setUnsaved();
    QVERIFY(!history.isClean());
    project->objects.first()->changeName(QStringLiteral("one"));
    history.undo();
    QVERIFY(!history.isClean());
    history.setSaved();
    QVERIFY(history.isClean());
    history.setUnsaved();
    history.follow(nullptr);
    history.follow(project.state());
    history.setUnsaved();
    history.follow(project.state());
    QVERIFY2(history.isClean(), "another project starts clean");
}

void TestHistory::theCarriedValueComesBack()
{
    TestProject project(50);
    fill(project);
    History history;
    qint32 value = -1;
    history.carry(&value);
    history.follow(project.state());
    project->objects.first()->changeName(QStringLiteral("stopped"));
    value = 20;
    history.settle();
    project->objects.first()->changeName(QStringLiteral("corrected"));
    history.settle();
    project->objects.first()->changeName(QStringLiteral("finished"));
    value = -1;
    history.settle();
    history.undo();
    QCOMPARE(value, 20);
    history.undo();
    QCOMPARE(value, 20);
    history.undo();
    QCOMPARE(value, -1);
    history.redo();
    QCOMPARE(value, 20);
}

void TestHistory::theHistoryGoesWithTheProject()
{
    History history;
    {
        TestProject project(50);
        fill(project);
        history.follow(project.state());
        project->objects.first()->changeName(QStringLiteral("one"));
        history.settle();
        project.addObject();
        history.undo();
        QVERIFY(history.follows(project.state()));
    }
    QCOMPARE(history.stepCount(), 0);
    QVERIFY(history.isClean());
    QCOMPARE(history.undo(), QString());
    QCOMPARE(history.redo(), QString());
    history.settle();
    TestProject withoutVideo(5);
    delete withoutVideo->video;
    history.follow(withoutVideo.state());
    QVERIFY(!history.follows(withoutVideo.state()));
}

void TestHistory::theSnapshotHoldsWhatIsNoStepYet()
{
    TestProject project(50);
    fill(project);
    Follower history(project);
    annotate(project->objects.first(), 30, rectangle(0, 0, 9, 9));
    project.addObject();
    QByteArray written;
    QDataStream stream(&written, QIODevice::WriteOnly);
    ProjectFile::write(stream, history.snapshot());
    QVERIFY(written == fileOf(*project));
    QCOMPARE(history.stepCount(), 0);
}

void TestHistory::thousandsOfFramesAreKnownInFewBytes()
{
    constexpr int frames = 10000;
    constexpr int objects = 5;
    TestProject project(frames);
    for (int i = 0; i < objects; ++i)
        project.addObject();
    History history;
    const size_t before = mallinfo2().uordblks;
    if (before == 0)
        QSKIP("this build has an allocator of its own, which does not say how much is taken");
    history.follow(project.state());
    const double perFrame = double(mallinfo2().uordblks - before) / (frames * objects);
    QVERIFY2(perFrame > sizeof(QPolygonF), qPrintable(QString::number(perFrame)));
    QVERIFY2(perFrame <= 60, qPrintable(QString::number(perFrame)));
}

QTEST_GUILESS_MAIN(TestHistory)
#include "tst_history.moc"
