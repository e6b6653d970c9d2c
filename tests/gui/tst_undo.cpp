// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/history.h"
#include "core/mainwindow.h"
#include "core/modaljob.h"
#include "processing/abortgrace.h"
#include "processing/morph.h"
#include "tests/gui/projecttest.h"
#include "tests/support/clips.h"
#include "tests/support/dialogdriver.h"
#include "tests/support/heldjob.h"
#include "tests/support/logcapture.h"
#include "tests/support/menudriver.h"
#include "tests/support/modelchecks.h"
#include "tests/support/mousedriver.h"
#include "tests/support/projectfields.h"
#include "tests/support/testproject.h"
#include "views/clickablegraphicsview.h"
#include "views/framegraphicsview.h"
#include "views/framenav.h"
#include "views/frameviewer.h"
#include "views/keyframegraphicsitem.h"
#include "views/timeline.h"
#include "views/trackedobjectlabel.h"

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScopeGuard>
#include <QSpinBox>
#include <QStatusBar>
#include <QThreadPool>
#include <QTimer>
#include <QToolButton>
#include <QtTest>

#include <chrono>
#include <functional>

namespace
{

constexpr int patience = 30000; // milliseconds that a wait may take on a busy machine

/// Repaints a widget again and again while it is in scope.
class Repainting : public QObject
{
public:
    explicit Repainting(QWidget *widget)
    {
        widget->installEventFilter(this);
        connect(&m_timer, &QTimer::timeout, widget, QOverload<>::of(&QWidget::update));
        m_timer.start(0);
    }
    /// Whether it was painted while a job was running.
    bool isDone() const { return m_paintsInJob > 0; }

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        m_paintsInJob += event->type() == QEvent::Paint && ModalJob::isRunning();
        return false;
    }

private:
    QTimer m_timer;
    int m_paintsInJob = 0;
};

} // namespace

class TestUndo : public ProjectTest
{
    Q_OBJECT

private slots:
    void everyGestureOfTheWindowIsUndone_data();
    void everyGestureOfTheWindowIsUndone();
    void toolsAreUndone_data();
    void toolsAreUndone();
    void anInteractiveRunIsUndoneWithItsQuestion();
    void anAbortedRunIsOneStep();
    void anAbortedRunCanBeUndoneAtOnce_data();
    void anAbortedRunCanBeUndoneAtOnce();
    void aDoubleClickOnAHandleIsOneStep();
    void twoQuickClicksAreTwoSteps();
    void theViewsShowWhatIsUndone();
    void undoneDeletionEnablesTheToolsAgain();
    void nothingToUndoSaysNothing();
    void keysInATextFieldBelongToIt_data();
    void keysInATextFieldBelongToIt();
    void undoWaitsForTheMouse();
    void undoEndsAPlayback();
    void anotherProjectStartsAnew();
    void unsavedWorkIsShown();
    void aSaveIsShownForFiveSeconds();
    void aSaveThatFailedIsShownUntilOneWorks();
    void theStatusBarKeepsItsHeight();
    void theTitleStaysUnset();

private:
    using Gesture = void (TestUndo::*)();

    /// The project of ProjectTest, whose making is no step.
    void makeKnownProject();
    /// The same, filled, with an outline that features can be tracked in.
    void makeTrackableProject();
    QString message() const { return (*m_program)->statusBar()->currentMessage(); }
    QLabel *stateField() const { return (*m_program)->findChild<QLabel *>(QStringLiteral("projectState")); }
    QString shownState() const { return stateField()->isVisible() ? stateField()->text() : QString(); }
    void undo() { m_program->key(Qt::Key_Z, Qt::ControlModifier); }
    void redo() { m_program->key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier); }
    void redoTheOtherWay() { m_program->key(Qt::Key_Y, Qt::ControlModifier); }
    void checkUndoAndRedo(const QByteArray &before, const QString &name);
    void chooseAtMarker(int frame, const QStringList &path);
    QPoint vertexInView(int index) const;

    // Gestures, with the first object current on frame 2.
    void addVertex() { m_program->doubleClickFrame(QPointF(30, 18)); }
    void removeVertex() { m_program->doubleClickFrame(QPointF(11, 21), Qt::ShiftModifier); }
    void dragVertex();
    void dragOutline();
    void removeKeyFrame() { chooseAtMarker(2, {QStringLiteral("Remove Keyframe")}); }
    void occludeKeyFrame() { chooseAtMarker(2, {QStringLiteral("Occluded")}); }
    void switchOrder();
    void hideSpan();
    void rename();
    void deleteObject();
    void addObject() { m_program->click((*m_program)->timeLine()->addButton); }
    void morph() { m_program->key(Qt::Key_M, Qt::ControlModifier); }
};

void TestUndo::makeKnownProject()
{
    makeProject();
    g_state->objects.last()->changeName(QStringLiteral("blue bus"));
    g_state->setCurrentObject(g_state->objects.first()->id);
    g_state->setFrame(2);
    ModelChecks::flushDeferredDeletes();
    QCoreApplication::processEvents();
    (*m_program)->history().follow(g_state);
}

void TestUndo::makeTrackableProject()
{
    makeKnownProject();
    TrackedObject *object = g_state->getCurrentObject();
    const Clips::Clip clip = Clips::curve(g_state->video->frameCount);
    Clips::write(*g_state->video, clip);
    annotate(object, 2, clip.truth(2));
    annotate(object, 7, clip.truth(7));
    morph();
    (*m_program)->history().follow(g_state);
}

void TestUndo::checkUndoAndRedo(const QByteArray &before, const QString &name)
{
    const QByteArray after = projectFields(*g_state);
    QVERIFY2(after != before, "the gesture changed nothing");
    undo();
    QVERIFY(projectFields(*g_state) == before);
    QCOMPARE(message(), "Undone: " + name);
    QCOMPARE((*m_program)->history().stepCount(), 1);
    redo();
    QVERIFY(projectFields(*g_state) == after);
    QCOMPARE(message(), "Redone: " + name);
    undo();
    QVERIFY(projectFields(*g_state) == before);
    redoTheOtherWay();
    QVERIFY(projectFields(*g_state) == after);
    QCOMPARE(ModelChecks::stateProblem(*g_state), QString());
}

QPoint TestUndo::vertexInView(int index) const
{
    const QPolygonF polygon = g_state->getCurrentObject()->getCurrentKeyFrame()->polygon;
    return (*m_program)->frameViewer()->view->mapFromScene(polygon.at(index));
}

void TestUndo::dragVertex()
{
    const QPoint from = vertexInView(0);
    MouseDriver::drag((*m_program)->frameViewer()->view->viewport(),
                      {from, from + QPoint(5, 5), from + QPoint(9, 7)});
}

void TestUndo::dragOutline()
{
    const QPoint from = (vertexInView(0) + vertexInView(2)) / 2;
    MouseDriver::drag((*m_program)->frameViewer()->view->viewport(),
                      {from, from + QPoint(5, 5), from + QPoint(9, 7)});
}

void TestUndo::chooseAtMarker(int frame, const QStringList &path)
{
    const QPoint marker = m_program->markerPosition(0, frame);
    bool chosen = false;
    const MenuDriver menu([&](QMenu *shown) { chosen = MenuDriver::choose(shown, path); });
    m_program->click((*m_program)->timeLine()->bodyView->viewport(), marker, Qt::RightButton);
    QVERIFY(menu.handled());
    QVERIFY(chosen);
}

void TestUndo::switchOrder()
{
    chooseAtMarker(2, {QStringLiteral("switch order with"), g_state->objects.last()->name});
}

void TestUndo::hideSpan()
{
    const QPoint marker = m_program->markerPosition(0, 4);
    bool chosen = false;
    const MenuDriver menu([&](QMenu *shown) { chosen = MenuDriver::choose(shown, {"Hidden"}); });
    m_program->click((*m_program)->timeLine()->bodyView->viewport(), marker, Qt::RightButton);
    QVERIFY(menu.handled());
    QVERIFY(chosen);
}

void TestUndo::rename()
{
    TrackedObjectLabel *label = m_program->firstLabel();
    m_program->click(label->editButton);
    QTest::keyClicks(label->nameEdit, "bus");
    QTest::keyClick(label->nameEdit, Qt::Key_Return);
    (*m_program)->frameViewer()->setFocus();
}

void TestUndo::deleteObject()
{
    m_program->click(m_program->firstLabel()->deleteButton);
}

void TestUndo::everyGestureOfTheWindowIsUndone_data()
{
    QTest::addColumn<int>("gesture");
    QTest::addColumn<QString>("name");
    int number = 0;
    for (const char *name :
         {"outline of red car on frame 3", "outline of red car on frame 3", "outline of red car on frame 3",
          "outline of red car on frame 3", "key frame of red car on frame 3",
          "key frame of red car on frame 3", "order of red car", "frame span of red car",
          "renaming red car to bus", "deleting red car", "adding new object 4", "morph of red car"}) {
        static const char *const gestures[] = {"add a vertex",     "remove a vertex",    "drag a vertex",
                                               "drag an outline",  "remove a key frame", "occlude",
                                               "switch order",     "hide a span",        "rename an object",
                                               "delete an object", "add an object",      "morph"};
        QTest::newRow(gestures[number]) << number << QString::fromLatin1(name);
        ++number;
    }
}

void TestUndo::everyGestureOfTheWindowIsUndone()
{
    static const Gesture gestures[] = {
        &TestUndo::addVertex,      &TestUndo::removeVertex,    &TestUndo::dragVertex,  &TestUndo::dragOutline,
        &TestUndo::removeKeyFrame, &TestUndo::occludeKeyFrame, &TestUndo::switchOrder, &TestUndo::hideSpan,
        &TestUndo::rename,         &TestUndo::deleteObject,    &TestUndo::addObject,   &TestUndo::morph};
    QFETCH(int, gesture);
    QFETCH(QString, name);
    makeKnownProject();
    annotate(g_state->objects.last(), 2, rectangle(1, 1, 5, 5)); // only what is visible can switch its order
    (*m_program)->history().follow(g_state);
    const QByteArray before = projectFields(*g_state);
    const Gesture make = gestures[gesture];
    QVERIFY(make);
    (this->*make)();
    checkUndoAndRedo(before, name);
}

void TestUndo::toolsAreUndone_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("name");
    QTest::newRow("aTrack") << "&aTrack"
                            << "automatic tracking of red car";
    QTest::newRow("segmentation") << "segmentation"
                                  << "segmentation of red car";
}

void TestUndo::toolsAreUndone()
{
    QFETCH(QString, action);
    QFETCH(QString, name);
    makeTrackableProject();
    const QByteArray before = projectFields(*g_state);
    DialogDriver driver;
    driver.tolerateMessageBoxes();
    const LogCapture log; // a segmentation may fail on a frame; what it did till then is undone
    m_program->action(action)->trigger();
    QCOMPARE(driver.problem(), QString());
    checkUndoAndRedo(before, name);
}

void TestUndo::anInteractiveRunIsUndoneWithItsQuestion()
{
    makeTrackableProject();
    Clips::makeFlat(*g_state->video, 4);
    (*m_program)->history().follow(g_state);
    const QByteArray before = projectFields(*g_state);
    const LogCapture log;
    m_program->action(QStringLiteral("&iTrack"))->trigger();
    const int stop = (*m_program)->trackingStopFrame;
    QVERIFY(stop != -1);
    undo();
    QVERIFY(projectFields(*g_state) == before);
    QCOMPARE((*m_program)->trackingStopFrame, -1);
    QCOMPARE(g_state->currentFrame, stop);
    redo();
    QCOMPARE((*m_program)->trackingStopFrame, stop);
    QCOMPARE(g_state->objects.first()->keyFrames.at(stop)->type, KeyFrame::Visible);
    QCOMPARE((*m_program)->history().stepCount(), 1);
}

void TestUndo::anAbortedRunIsOneStep()
{
    makeTrackableProject();
    const QByteArray before = projectFields(*g_state);
    DialogDriver driver;
    driver.tolerateMessageBoxes();
    {
        const AbortAtFirstChange abort(g_state->objects.first());
        m_program->action(QStringLiteral("&aTrack"))->trigger();
        QVERIFY(abort.done());
    }
    QVERIFY(projectFields(*g_state) != before);
    undo();
    QVERIFY(projectFields(*g_state) == before);
    QCOMPARE((*m_program)->history().stepCount(), 1);
}

void TestUndo::anAbortedRunCanBeUndoneAtOnce_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<int>("grace");
    for (const char *action : {"&iTrack", "&aTrack", "segmentation"}) {
        QTest::addRow("%s, left at the first frame", action) << QString::fromLatin1(action) << 0;
        QTest::addRow("%s, what is in progress ends", action) << QString::fromLatin1(action) << 60000;
    }
}

// Whatever the work items still do and announce then, and with the window repainting what they change.
void TestUndo::anAbortedRunCanBeUndoneAtOnce()
{
    QFETCH(QString, action);
    QFETCH(int, grace);
    AbortGrace::setLength(std::chrono::milliseconds(grace));
    const auto usualGrace = qScopeGuard([] { AbortGrace::setLength(std::chrono::seconds(1)); });
    makeTrackableProject();
    const QByteArray before = projectFields(*g_state);
    DialogDriver driver;
    driver.tolerateMessageBoxes();
    const LogCapture log;
    Repainting repainting((*m_program)->frameViewer()->view->viewport());
    {
        const AbortAtFirstChange abort(g_state->objects.first());
        m_program->action(action)->trigger();
        QVERIFY(abort.done());
    }
    undo();
    QVERIFY(projectFields(*g_state) == before);
    QVERIFY(message().startsWith("Undone: "));
    QVERIFY(repainting.isDone());
    QVERIFY(QThreadPool::globalInstance()->waitForDone(patience));
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
    QVERIFY(projectFields(*g_state) == before);
    QCOMPARE((*m_program)->history().stepCount(), 1);
    QCOMPARE(driver.problem(), QString());
    redo();
    QVERIFY(projectFields(*g_state) != before);
}

// Its first click alone turns an automatic outline into the user's own.
void TestUndo::aDoubleClickOnAHandleIsOneStep()
{
    makeKnownProject();
    morph();
    g_state->setFrame(4);
    (*m_program)->history().follow(g_state);
    const QByteArray before = projectFields(*g_state);
    m_program->doubleClickFrame(g_state->getCurrentObject()->getCurrentKeyFrame()->polygon.first());
    QCOMPARE(g_state->getCurrentObject()->getCurrentKeyFrame()->type, KeyFrame::Visible);
    QCOMPARE(g_state->getCurrentObject()->getCurrentKeyFrame()->polygon.size(), 5);
    undo();
    QVERIFY(projectFields(*g_state) == before);
    QCOMPARE((*m_program)->history().stepCount(), 1);
}

void TestUndo::twoQuickClicksAreTwoSteps()
{
    makeKnownProject();
    dragVertex();
    const QByteArray between = projectFields(*g_state);
    dragOutline();
    undo();
    QVERIFY(projectFields(*g_state) == between);
    QCOMPARE((*m_program)->history().stepCount(), 2);
}

void TestUndo::theViewsShowWhatIsUndone()
{
    makeKnownProject();
    const QGraphicsScene *scene = (*m_program)->frameViewer()->scene;
    const int itemsBefore = scene->items().size();
    addVertex();
    QVERIFY(scene->items().size() > itemsBefore);
    g_state->setFrame(8);
    undo();
    QCOMPARE(g_state->currentFrame, 2);
    QCOMPARE(scene->items().size(), itemsBefore);
    removeKeyFrame();
    const int marker = 2;
    QVERIFY(!(*m_program)->timeLine()->keyFrameItems.at(marker)->isVisible());
    undo();
    QVERIFY((*m_program)->timeLine()->keyFrameItems.at(marker)->isVisible());
    QCOMPARE((*m_program)->timeLine()->spanItems.size(),
             g_state->objects.at(0)->spanChain().size() + g_state->objects.at(1)->spanChain().size());
}

void TestUndo::undoneDeletionEnablesTheToolsAgain()
{
    makeKnownProject();
    while (g_state->hasObjects())
        m_program->click(m_program->firstLabel()->deleteButton);
    QCOMPARE(enabledProblem(*m_program, true, false), QString());
    undo();
    QCOMPARE(enabledProblem(*m_program, true, true), QString());
    QCOMPARE(g_state->objects.size(), 1);
    undo();
    QCOMPARE(g_state->objects.size(), 2);
    redo();
    redo();
    QCOMPARE(enabledProblem(*m_program, true, false), QString());
}

void TestUndo::nothingToUndoSaysNothing()
{
    undo();
    redo();
    QCOMPARE(message(), QString());
    makeKnownProject();
    const QByteArray before = projectFields(*g_state);
    undo();
    redo();
    QCOMPARE(message(), QString());
    QVERIFY(projectFields(*g_state) == before);
}

void TestUndo::keysInATextFieldBelongToIt_data()
{
    QTest::addColumn<bool>("spinBox");
    QTest::newRow("name") << false;
    QTest::newRow("frame number") << true;
}

void TestUndo::keysInATextFieldBelongToIt()
{
    QFETCH(bool, spinBox);
    makeKnownProject();
    addVertex();
    const QByteArray after = projectFields(*g_state);
    QLineEdit *field = m_program->firstLabel()->nameEdit;
    QWidget *typedIn = field;
    if (spinBox) {
        typedIn = (*m_program)->frameNav()->spinBox;
        field = typedIn->findChild<QLineEdit *>();
        typedIn->setFocus();
    } else {
        m_program->click(m_program->firstLabel()->editButton);
    }
    const QString old = field->text();
    field->selectAll();
    QTest::keyClicks(typedIn, "5");
    QCOMPARE(field->text(), QString("5"));
    undo();
    QCOMPARE(field->text(), old);
    redoTheOtherWay();
    QCOMPARE(field->text(), QString("5"));
    undo();
    redo();
    QCOMPARE(field->text(), QString("5"));
    QVERIFY(projectFields(*g_state) == after);
}

void TestUndo::undoWaitsForTheMouse()
{
    makeKnownProject();
    addVertex();
    const QByteArray after = projectFields(*g_state);
    QWindow *window = (*m_program)->windowHandle();
    const QWidget *viewport = (*m_program)->frameViewer()->view->viewport();
    const QPoint handle = viewport->mapTo(m_program->window.get(), vertexInView(0));
    QTest::mousePress(window, Qt::LeftButton, Qt::NoModifier, handle);
    QTest::mouseMove(window, handle + QPoint(8, 8));
    undo();
    QVERIFY(projectFields(*g_state) == after);
    QTest::mouseRelease(window, Qt::LeftButton, Qt::NoModifier, handle + QPoint(8, 8));
    QVERIFY(projectFields(*g_state) != after);
    undo();
    QVERIFY(projectFields(*g_state) == after);
}

void TestUndo::undoEndsAPlayback()
{
    makeKnownProject();
    addVertex();
    QTimer::singleShot(0, this, [this] { undo(); });
    (*m_program)->frameNav()->onButtonPlayClicked();
    QVERIFY((*m_program)->frameNav()->paused);
    QCOMPARE(g_state->currentFrame, 2);
    QCOMPARE(message(), QString("Undone: outline of red car on frame 3"));
}

void TestUndo::anotherProjectStartsAnew()
{
    makeKnownProject();
    addVertex();
    QCOMPARE(m_program->newProject(m_clip), QString());
    QCOMPARE((*m_program)->history().stepCount(), 0);
    undo();
    QCOMPARE(message(), QString());
    QVERIFY(g_state->objects.isEmpty());
    QCOMPARE(shownState(), QString());
}

void TestUndo::unsavedWorkIsShown()
{
    QCOMPARE(shownState(), QString());
    QCOMPARE(m_program->newProject(m_clip), QString());
    QCOMPARE(shownState(), QString());
    m_program->doubleClickFrame(QPointF(50, 50));
    QTRY_COMPARE(shownState(), QString("my clip.mp4 unsaved"));
    undo();
    QCOMPARE(shownState(), QString());
    redo();
    QCOMPARE(shownState(), QString("my clip.mp4 unsaved"));
    QCOMPARE(m_program->saveAs(path("work.palu")), QString());
    m_program->doubleClickFrame(QPointF(90, 50));
    (*m_program)->history().settle();
    undo();
    undo();
    QTRY_COMPARE_WITH_TIMEOUT(shownState(), QString("work.palu unsaved"), 10000);
    redo();
    QVERIFY(!shownState().contains(QLatin1String("unsaved")));
    QCOMPARE(m_program->open(path("work.palu"), m_clip), QString());
    QCOMPARE(shownState(), QString());
    m_program->doubleClickFrame(QPointF(70, 90));
    QTRY_COMPARE(shownState(), QString("work.palu unsaved"));
}

void TestUndo::aSaveIsShownForFiveSeconds()
{
    makeKnownProject();
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(m_program->saveAs(path("work")), QString());
    QCOMPARE(shownState(), QString("Saved work.palu"));
    QTRY_COMPARE_WITH_TIMEOUT(shownState(), QString(), 10000);
    QVERIFY2(timer.elapsed() >= 5000, qPrintable(QString::number(timer.elapsed())));
}

void TestUndo::aSaveThatFailedIsShownUntilOneWorks()
{
    makeKnownProject();
    addVertex();
    const LogCapture log;
    QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("folder.palu")));
    DialogDriver driver;
    driver.acceptFile(path("nowhere/work.palu"));
    driver.tolerateMessageBoxes();
    m_program->action(QStringLiteral("&Save"))->trigger();
    QCOMPARE(shownState(), QString("work.palu could not be saved"));
    undo();
    QTest::qWait(50);
    QCOMPARE(shownState(), QString("work.palu could not be saved"));
    QCOMPARE(m_program->saveAs(path("work.palu")), QString());
    QCOMPARE(shownState(), QString("Saved work.palu"));
}

void TestUndo::theStatusBarKeepsItsHeight()
{
    makeKnownProject();
    const int height = (*m_program)->statusBar()->height();
    const QRect geometry = (*m_program)->geometry();
    const QRect viewer = (*m_program)->frameViewer()->geometry();
    const int leastWidth = (*m_program)->minimumSizeHint().width();
    addVertex();
    QTRY_VERIFY(stateField()->isVisible());
    QCoreApplication::processEvents();
    QCOMPARE((*m_program)->statusBar()->height(), height);
    QCOMPARE((*m_program)->geometry(), geometry);
    QCOMPARE((*m_program)->frameViewer()->geometry(), viewer);
    QCOMPARE((*m_program)->minimumSizeHint().width(), leastWidth);
}

void TestUndo::theTitleStaysUnset()
{
    makeKnownProject();
    addVertex();
    QTRY_VERIFY(stateField()->isVisible());
    QCOMPARE((*m_program)->windowTitle(), QString());
    QVERIFY(!(*m_program)->isWindowModified());
}

QTEST_MAIN(TestUndo)
#include "tst_undo.moc"
