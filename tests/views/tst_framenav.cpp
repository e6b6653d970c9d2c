// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/logcapture.h"
#include "tests/support/modelchecks.h"
#include "tests/support/projectwindow.h"
#include "tests/support/signalprobe.h"
#include "tests/support/testproject.h"
#include "views/clickablegraphicsview.h"
#include "views/trackedobjectlabel.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QGridLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QSignalSpy>
#include <QSlider>
#include <QSpinBox>
#include <QTimer>
#include <QToolButton>
#include <QtTest>
#include <QWindow>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <limits>

namespace
{

constexpr QSize smallFrame(32, 24);
constexpr int slack = 200; // milliseconds that a busy machine may be late

bool shows(const QPushButton *button, const char *icon)
{
    const QImage expected = QIcon(QString::fromLatin1(icon)).pixmap(32).toImage();
    return !expected.isNull() && button->icon().pixmap(32).toImage() == expected;
}

bool allNavigationEnabled(const FrameNav *nav)
{
    return nav->buttonFirst->isEnabled() && nav->buttonPrev->isEnabled() && nav->buttonNext->isEnabled() &&
           nav->buttonLast->isEnabled() && nav->buttonPlay->isEnabled() && nav->slider->isEnabled() &&
           nav->spinBox->isEnabled();
}

/// What is wrong with the stopped state; empty when all is well.
QString stoppedProblem(ProjectWindow &project)
{
    const FrameNav *nav = project.nav();
    if (!nav->paused)
        return QStringLiteral("still playing");
    if (!shows(nav->buttonPlay, ":icons/play.ico"))
        return QStringLiteral("not the play icon");
    if (!allNavigationEnabled(nav))
        return QStringLiteral("navigation disabled");
    if (!project.viewer()->isEnabled())
        return QStringLiteral("frame viewer disabled");
    return QString();
}

/// What is wrong with the playing state; empty when all is well.
QString playingProblem(ProjectWindow &project)
{
    const FrameNav *nav = project.nav();
    if (nav->paused)
        return QStringLiteral("not playing");
    if (!shows(nav->buttonPlay, ":icons/pause.ico"))
        return QStringLiteral("not the pause icon");
    if (nav->buttonFirst->isEnabled() || nav->buttonPrev->isEnabled() || nav->buttonNext->isEnabled() ||
        nav->buttonLast->isEnabled() || nav->slider->isEnabled())
        return QStringLiteral("navigation enabled");
    if (!nav->buttonPlay->isEnabled() || !nav->spinBox->isEnabled())
        return QStringLiteral("play button or spin box disabled");
    if (project.viewer()->isEnabled())
        return QStringLiteral("frame viewer enabled");
    return QString();
}

/// Calls `act` once while playback runs, as soon as it is time. Playback that has not ended some seconds
/// later is stopped.
class WhilePlaying : public QObject
{
public:
    /// It is time when frame `fromFrame` or a later one is shown.
    WhilePlaying(FrameNav *nav, int fromFrame, std::function<void()> act)
        : WhilePlaying(
              nav, [fromFrame] { return g_state->currentFrame >= fromFrame; }, std::move(act))
    {
    }

    /// It is time when `isTime` holds.
    WhilePlaying(FrameNav *nav, std::function<bool()> isTime, std::function<void()> act)
        : m_isTime(std::move(isTime))
        , m_act(std::move(act))
    {
        connect(&m_timer, &QTimer::timeout, this, [this, nav] {
            if (nav->paused)
                return;
            if (!acted && m_isTime()) {
                acted = true;
                m_act();
            } else if (m_age.hasExpired(5000)) {
                gaveUp = true;
                nav->stopPlayback();
            }
        });
        m_age.start();
        m_timer.start(0);
    }

    bool acted = false;
    bool gaveUp = false;

private:
    std::function<bool()> m_isTime;
    std::function<void()> m_act;
    QTimer m_timer;
    QElapsedTimer m_age;
};

/// Counts how often playback processes events.
class EventTurns : public QObject
{
public:
    explicit EventTurns(const FrameNav *nav)
    {
        connect(&m_timer, &QTimer::timeout, this, [this, nav] { count += nav->paused ? 0 : 1; });
        m_timer.start(0);
    }

    int count = 0;

private:
    QTimer m_timer;
};

/// The frames shown and when, in milliseconds since the recorder was made.
class FrameRecorder : public QObject
{
public:
    FrameRecorder()
    {
        m_age.start();
        connect(g_state, &DataState::hasChanged, this, [this](int flags) {
            if (flags & DataState::FrameChanged) {
                frames.append(g_state->currentFrame);
                times.append(m_age.elapsed());
            }
        });
    }

    qint64 elapsed() const { return m_age.elapsed(); }

    QList<int> frames;
    QList<qint64> times;

private:
    QElapsedTimer m_age;
};

} // namespace

class TestFrameNav : public QObject
{
    Q_OBJECT

private slots:
    void startsDisabledAndStopped();
    void hasItsWidgets();
    void laysOutItsWidgets();
    void connectToStateListensExactlyOnceToTheStateInUse();
    void reloadsForFrameChangesOnly_data();
    void reloadsForFrameChangesOnly();

    void withoutAVideoIsDisabled();
    void reloadShowsTheFrameCountingFromOne();
    void reloadChangesNoFrame_data();
    void reloadChangesNoFrame();
    void theSpinBoxIsCutToItsOldMaximum();

    void buttonsMoveThroughTheVideo();
    void theSpinBoxGoesToTheFrameTyped();
    void returnInTheSpinBoxGivesTheArrowKeysBack();
    void theSpinBoxAcceptsNoFrameOutsideTheVideo();
    void theSliderGoesToItsFrame();
    void playingDisablesAllButPlayAndSpinBox();

    void playbackFollowsTheClock_data();
    void playbackFollowsTheClock();
    void playbackEndsOnTheLastFrame();
    void playingOnTheLastFrameStopsAtOnce();
    void playingBehindTheLastFrameDoesNotStart();
    void whilePlayingOnlyPauseIsOffered();
    void eventsAreProcessedOncePerFrame();
    void betweenTwoFramesNothingIsComputed();
    void aClickPauses();
    void spacePausesWhereverTheFocusIs_data();
    void spacePausesWhereverTheFocusIs();
    void spaceStartsWhereverTheFocusIs_data();
    void spaceStartsWhereverTheFocusIs();
    void aHeldSpaceTogglesOnce();
    void spaceTogglesOnceWhereverTheDockIs_data();
    void spaceTogglesOnceWhereverTheDockIs();
    void aHeldSpaceTogglesOnceWithTheDockClosed();
    void namesKeepTheirSpacesWithTheDockClosed();
    void spaceGoesWithItsDock();
    void aTypedNumberIsWherePlaybackStarts_data();
    void aTypedNumberIsWherePlaybackStarts();
    void playbackContinuesFromWhereItPaused();
    void impossibleFrameRatesPlayToTheEnd_data();
    void impossibleFrameRatesPlayToTheEnd();
    void replacingTheProjectEndsPlayback();
    void closingTheWindowEndsPlayback();
    void withoutAVideoPlayDoesNothing();
};

void TestFrameNav::startsDisabledAndStopped()
{
    TestProject project(10);
    const FrameNav titled(QStringLiteral("Frame Navigation"));
    QCOMPARE(titled.windowTitle(), QStringLiteral("Frame Navigation"));
    QWidget parent;
    const FrameNav untitled(&parent, Qt::Tool);
    QCOMPARE(untitled.windowTitle(), QString());
    QCOMPARE(untitled.parentWidget(), &parent);
    QVERIFY(untitled.windowFlags().testFlag(Qt::Tool));
    for (const FrameNav *nav : {&titled, &untitled}) {
        QVERIFY(!nav->isEnabled());
        QVERIFY(nav->paused);
        QVERIFY(nav->buttonFirst && nav->slider);
    }
}

void TestFrameNav::hasItsWidgets()
{
    TestProject project(10);
    const FrameNav nav;
    QVERIFY(shows(nav.buttonFirst, ":icons/goStart.ico"));
    QVERIFY(shows(nav.buttonPrev, ":icons/goPre.ico"));
    QVERIFY(shows(nav.buttonNext, ":icons/goNext.ico"));
    QVERIFY(shows(nav.buttonLast, ":icons/goEnd.ico"));
    QVERIFY(shows(nav.buttonPlay, ":icons/play.ico"));
    QVERIFY(!shows(nav.buttonPlay, ":icons/pause.ico"));
    QCOMPARE(nav.buttonPlay->shortcut(), QKeySequence(Qt::Key_Space));
    QCOMPARE(nav.spinBox->buttonSymbols(), QAbstractSpinBox::NoButtons);
    QCOMPARE(nav.spinBox->minimum(), 1);
    QCOMPARE(nav.spinBox->maximum(), 99);
    QCOMPARE(nav.spinBox->sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
    QCOMPARE(nav.spinBox->sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
    QCOMPARE(nav.slider->orientation(), Qt::Horizontal);
}

void TestFrameNav::laysOutItsWidgets()
{
    TestProject project(10);
    const FrameNav nav;
    auto *grid = qobject_cast<QGridLayout *>(nav.widget()->layout());
    QVERIFY(grid);
    QCOMPARE(grid->count(), 7);
    const QList<QWidget *> row = {nav.buttonFirst, nav.buttonPrev, nav.spinBox,
                                  nav.buttonNext,  nav.buttonLast, nav.buttonPlay};
    for (int column = 0; column < row.size(); ++column)
        QCOMPARE(grid->itemAtPosition(0, column)->widget(), row.at(column));
    int place[4] = {};
    grid->getItemPosition(grid->indexOf(nav.slider), place, place + 1, place + 2, place + 3);
    QCOMPARE(QList<int>({place[0], place[1], place[2], place[3]}), QList<int>({1, 0, 1, 6}));
}

void TestFrameNav::connectToStateListensExactlyOnceToTheStateInUse()
{
    TestProject oldProject(10);
    FrameNav nav;
    CountingState state;
    DataState *const previous = g_state;
    state.video = ProjectWindow::makeVideo(20, smallFrame, 25);
    state.videoLoaded = true;
    g_state = &state;
    nav.connectToState();
    QCOMPARE(state.listeners(), 1);
    nav.connectToState();
    QCOMPARE(state.listeners(), 1);
    state.setFrame(0);
    state.setFrame(4);
    state.setFrame(5);
    QVERIFY(nav.isEnabled());
    QCOMPARE(nav.spinBox->value(), 6);
    g_state = previous;
}

void TestFrameNav::reloadsForFrameChangesOnly_data()
{
    QTest::addColumn<int>("flags");
    QTest::addColumn<bool>("reloads");
    QTest::newRow("nothing") << 0 << false;
    QTest::newRow("selection") << int(DataState::ObjectSelectionChanged) << false;
    QTest::newRow("frame") << int(DataState::FrameChanged) << true;
    QTest::newRow("selection and frame")
        << (DataState::ObjectSelectionChanged | DataState::FrameChanged) << true;
    QTest::newRow("list") << int(DataState::ObjectListChanged) << false;
    QTest::newRow("frame and list") << (DataState::FrameChanged | DataState::ObjectListChanged) << true;
    QTest::newRow("a bit without meaning") << 8 << false;
}

void TestFrameNav::reloadsForFrameChangesOnly()
{
    QFETCH(int, flags);
    QFETCH(bool, reloads);
    TestProject project(10);
    const FrameNav nav;
    emit project->hasChanged(flags);
    QCOMPARE(nav.isEnabled(), reloads);
    QCOMPARE(nav.spinBox->maximum(), reloads ? 10 : 99);
}

void TestFrameNav::withoutAVideoIsDisabled()
{
    TestProject project(10);
    FrameNav nav;
    nav.reload();
    QVERIFY(nav.isEnabled());
    project->setFrame(4);
    project->videoLoaded = false;
    project->currentFrame = 7;
    nav.reload();
    QVERIFY(!nav.isEnabled());
    QCOMPARE(nav.spinBox->value(), 5);
    QCOMPARE(nav.slider->value(), 5);
}

void TestFrameNav::reloadShowsTheFrameCountingFromOne()
{
    TestProject project(60);
    FrameNav nav;
    nav.reload();
    QVERIFY(nav.isEnabled());
    for (const int frame : {0, 17, 59, 3}) {
        project->setFrame(frame);
        QCOMPARE(nav.spinBox->value(), frame + 1);
        QCOMPARE(nav.spinBox->minimum(), 1);
        QCOMPARE(nav.spinBox->maximum(), 60);
        QCOMPARE(nav.slider->minimum(), 1);
        QCOMPARE(nav.slider->maximum(), 60);
        QCOMPARE(nav.slider->value(), frame + 1);
        QCOMPARE(project->currentFrame, frame);
    }
    const QSignalSpy changes(project.state(), &DataState::hasChanged);
    nav.reload();
    QCOMPARE(changes.size(), 0);
}

void TestFrameNav::reloadChangesNoFrame_data()
{
    QTest::addColumn<int>("framesBefore");
    QTest::addColumn<int>("frameBefore");
    QTest::addColumn<int>("frames");
    QTest::addColumn<int>("frame");
    QTest::newRow("a fresh dock") << 0 << 0 << 60 << 40;
    QTest::newRow("a longer video than before") << 60 << 20 << 90 << 70;
    QTest::newRow("a shorter video than before") << 90 << 80 << 60 << 40;
}

void TestFrameNav::reloadChangesNoFrame()
{
    QFETCH(int, framesBefore);
    QFETCH(int, frameBefore);
    QFETCH(int, frames);
    QFETCH(int, frame);
    TestProject project(100);
    FrameNav nav;
    if (framesBefore > 0) {
        project->video->frameCount = framesBefore;
        nav.reload();
        project->setFrame(frameBefore);
        QCOMPARE(nav.slider->value(), frameBefore + 1);
    }
    project->video->frameCount = frames;
    project->currentFrame = frame; // as when a project is opened
    nav.reload();
    QCOMPARE(project->currentFrame, frame);
    QCOMPARE(nav.slider->value(), frame + 1);
    QCOMPARE(nav.slider->maximum(), frames);
}

void TestFrameNav::theSpinBoxIsCutToItsOldMaximum()
{
    TestProject project(50);
    FrameNav nav;
    nav.reload();
    QCOMPARE(nav.spinBox->maximum(), 50);
    project->video->frameCount = 200;
    project->currentFrame = 120;
    nav.reload();
    QCOMPARE(nav.spinBox->value(), 50);
    QCOMPARE(nav.spinBox->maximum(), 200);
    QCOMPARE(nav.slider->value(), 121);
    QCOMPARE(project->currentFrame, 120);
    nav.reload();
    QCOMPARE(nav.spinBox->value(), 121);
}

void TestFrameNav::buttonsMoveThroughTheVideo()
{
    ProjectWindow project(10, smallFrame);
    QVERIFY(project.show());
    const FrameNav *nav = project.nav();
    const QSignalSpy changes(g_state, &DataState::hasChanged);
    const auto click = [](QPushButton *button) {
        QTest::mouseClick(button, Qt::LeftButton);
        return g_state->currentFrame;
    };
    QCOMPARE(click(nav->buttonPrev), 0);
    QCOMPARE(click(nav->buttonFirst), 0);
    QCOMPARE(changes.size(), 0);
    QCOMPARE(click(nav->buttonNext), 1);
    QCOMPARE(click(nav->buttonNext), 2);
    QCOMPARE(click(nav->buttonPrev), 1);
    QCOMPARE(click(nav->buttonLast), 9);
    QCOMPARE(changes.size(), 4);
    QCOMPARE(click(nav->buttonNext), 9);
    QCOMPARE(click(nav->buttonLast), 9);
    QCOMPARE(changes.size(), 4);
    QCOMPARE(click(nav->buttonFirst), 0);
    QCOMPARE(nav->spinBox->value(), 1);
}

void TestFrameNav::theSpinBoxGoesToTheFrameTyped()
{
    ProjectWindow project(30, smallFrame);
    QVERIFY(project.show());
    QSpinBox *spinBox = project.nav()->spinBox;
    spinBox->setFocus();
    spinBox->selectAll();
    QTest::keyClicks(spinBox, QStringLiteral("17"));
    QCOMPARE(g_state->currentFrame, 0); // not while typing
    QTest::keyClick(spinBox, Qt::Key_Return);
    QCOMPARE(g_state->currentFrame, 16);
    QCOMPARE(project.nav()->slider->value(), 17);
    spinBox->setFocus(); // which Return gave up
    spinBox->selectAll();
    QTest::keyClicks(spinBox, QStringLiteral("5"));
    project.nav()->buttonNext->setFocus();
    QCOMPARE(g_state->currentFrame, 4); // losing the focus ends the editing
}

void TestFrameNav::returnInTheSpinBoxGivesTheArrowKeysBack()
{
    ProjectWindow project(30, smallFrame);
    QVERIFY(project.show());
    QSpinBox *spinBox = project.nav()->spinBox;
    QWindow *window = project.window().windowHandle();
    // The second time the number stays the same.
    for (const int turn : {0, 1}) {
        g_state->setFrame(turn == 0 ? 0 : 16);
        spinBox->setFocus();
        QVERIFY(spinBox->hasFocus());
        const QSignalSpy changes(g_state, &DataState::hasChanged);
        spinBox->selectAll();
        QTest::keyClicks(spinBox, QStringLiteral("17"));
        QTest::keyClick(window, Qt::Key_Return);
        QCOMPARE(g_state->currentFrame, 16);
        QCOMPARE(changes.size(), turn == 0 ? 1 : 0);
        QVERIFY(!spinBox->hasFocus());
        QTest::keyClick(window, Qt::Key_Right);
        QCOMPARE(g_state->currentFrame, 17);
        QTest::keyClick(window, Qt::Key_Left);
        QTest::keyClick(window, Qt::Key_Left);
        QCOMPARE(g_state->currentFrame, 15);
    }
    // The focus that ends the editing by itself stays where it goes.
    spinBox->setFocus();
    spinBox->selectAll();
    QTest::keyClicks(spinBox, QStringLiteral("5"));
    project.nav()->buttonNext->setFocus();
    QCOMPARE(g_state->currentFrame, 4);
    QVERIFY(project.nav()->buttonNext->hasFocus());
}

void TestFrameNav::theSpinBoxAcceptsNoFrameOutsideTheVideo()
{
    ProjectWindow project(30, smallFrame);
    QVERIFY(project.show());
    QSpinBox *spinBox = project.nav()->spinBox;
    for (const char *typed : {"0", "31", "999", "-3"}) {
        spinBox->setFocus();
        spinBox->selectAll();
        QTest::keyClicks(spinBox, QString::fromLatin1(typed));
        QTest::keyClick(spinBox, Qt::Key_Return);
        QVERIFY(spinBox->value() >= 1 && spinBox->value() <= 30);
        QCOMPARE(g_state->currentFrame, spinBox->value() - 1);
    }
}

void TestFrameNav::theSliderGoesToItsFrame()
{
    ProjectWindow project(30, smallFrame);
    QVERIFY(project.show());
    QSlider *slider = project.nav()->slider;
    slider->setValue(12);
    QCOMPARE(g_state->currentFrame, 11);
    slider->setFocus();
    QTest::keyClick(slider, Qt::Key_End);
    QCOMPARE(g_state->currentFrame, 29);
    QCOMPARE(project.nav()->spinBox->value(), 30);
}

void TestFrameNav::playingDisablesAllButPlayAndSpinBox()
{
    TestProject project(10);
    FrameNav nav;
    nav.reload();
    nav.setButtonPlaying();
    const QList<QWidget *> disabled = {nav.buttonFirst, nav.buttonPrev, nav.buttonNext, nav.buttonLast,
                                       nav.slider};
    for (const QWidget *widget : disabled)
        QVERIFY(!widget->isEnabled());
    QVERIFY(nav.spinBox->isEnabled());
    QVERIFY(nav.buttonPlay->isEnabled());
    nav.buttonPlay->setEnabled(false);
    nav.spinBox->setEnabled(false);
    nav.setButtonAllActive();
    for (const QWidget *widget : disabled)
        QVERIFY(widget->isEnabled());
    QVERIFY(nav.buttonPlay->isEnabled());
    QVERIFY(!nav.spinBox->isEnabled()); // not one of them
}

void TestFrameNav::playbackFollowsTheClock_data()
{
    QTest::addColumn<double>("fps");
    QTest::addColumn<int>("msPerFrame");
    QTest::addColumn<int>("start");
    QTest::newRow("25 from the first frame") << 25.0 << 40 << 0;
    QTest::newRow("25 from the middle") << 25.0 << 40 << 9;
    QTest::newRow("12 from the middle") << 12.0 << 83 << 15;
}

void TestFrameNav::playbackFollowsTheClock()
{
    QFETCH(double, fps);
    QFETCH(int, msPerFrame);
    QFETCH(int, start);
    constexpr int frameCount = 20;
    ProjectWindow project(frameCount, smallFrame, fps);
    QVERIFY(project.show());
    g_state->setFrame(start);
    const FrameRecorder recorder;
    QTest::mouseClick(project.nav()->buttonPlay, Qt::LeftButton);
    const qint64 duration = recorder.elapsed();

    QVERIFY(recorder.frames.size() >= 3);
    int last = start;
    for (int i = 0; i < recorder.frames.size(); ++i) {
        const int frame = recorder.frames.at(i);
        const qint64 time = recorder.times.at(i);
        QVERIFY2(frame > last || frame == frameCount - 1, "frames go on in order");
        const qint64 latest = qMin<qint64>(start + time / msPerFrame, frameCount - 1);
        const qint64 earliest = start + (time - slack) / msPerFrame;
        QVERIFY2(frame <= latest, qPrintable(QStringLiteral("frame %1 at %2 ms").arg(frame).arg(time)));
        QVERIFY2(frame >= qMin<qint64>(earliest, frameCount - 1),
                 qPrintable(QStringLiteral("frame %1 at %2 ms").arg(frame).arg(time)));
        last = frame;
    }
    QCOMPARE(last, frameCount - 1);
    const int whole = (frameCount - start) * msPerFrame;
    QVERIFY2(duration >= whole && duration < whole + slack + 300, qPrintable(QString::number(duration)));
}

void TestFrameNav::playbackEndsOnTheLastFrame()
{
    ProjectWindow project(6, smallFrame, 50);
    QVERIFY(project.show());
    QCOMPARE(stoppedProblem(project), QString());
    QTest::mouseClick(project.nav()->buttonPlay, Qt::LeftButton);
    QCOMPARE(g_state->currentFrame, 5);
    QCOMPARE(project.nav()->spinBox->value(), 6);
    QCOMPARE(project.nav()->slider->value(), 6);
    QCOMPARE(stoppedProblem(project), QString());
}

void TestFrameNav::playingOnTheLastFrameStopsAtOnce()
{
    ProjectWindow project(6, smallFrame, 25);
    QVERIFY(project.show());
    g_state->setFrame(5);
    const FrameRecorder recorder;
    const EventTurns turns(project.nav());
    QTest::mouseClick(project.nav()->buttonPlay, Qt::LeftButton);
    QVERIFY2(turns.count <= 2, qPrintable(QString::number(turns.count))); // the frame and the end
    QVERIFY(recorder.frames.isEmpty());
    QCOMPARE(g_state->currentFrame, 5);
    QCOMPARE(stoppedProblem(project), QString());
}

void TestFrameNav::playingBehindTheLastFrameDoesNotStart()
{
    ProjectWindow project(6, smallFrame, 1);
    QVERIFY(project.show());
    g_state->currentFrame = 6;
    const FrameRecorder recorder;
    const EventTurns turns(project.nav());
    project.nav()->onButtonPlayClicked();
    QCOMPARE(turns.count, 0);
    QVERIFY(recorder.frames.isEmpty());
    QCOMPARE(stoppedProblem(project), QString());
}

void TestFrameNav::whilePlayingOnlyPauseIsOffered()
{
    ProjectWindow project(200, smallFrame, 25);
    QVERIFY(project.show());
    QStringList problems;
    int looks = 0;
    const auto look = [&] {
        const QString problem = playingProblem(project);
        if (!problem.isEmpty())
            problems.append(problem);
        return ++looks == 12;
    };
    const WhilePlaying pause(project.nav(), look, [&] { project.nav()->onButtonPlayClicked(); });
    QTest::mouseClick(project.nav()->buttonPlay, Qt::LeftButton);
    QVERIFY(pause.acted && !pause.gaveUp);
    QVERIFY(looks >= 3);
    QCOMPARE(problems, QStringList());
    QCOMPARE(stoppedProblem(project), QString());
}

void TestFrameNav::eventsAreProcessedOncePerFrame()
{
    ProjectWindow project(8, smallFrame, 20);
    QVERIFY(project.show());
    const EventTurns turns(project.nav());
    const FrameRecorder recorder;
    project.nav()->onButtonPlayClicked();
    QVERIFY(turns.count >= recorder.frames.size());
    QVERIFY2(turns.count <= 8 + 1, qPrintable(QString::number(turns.count))); // frames 0 to 7 and the end
}

void TestFrameNav::betweenTwoFramesNothingIsComputed()
{
    ProjectWindow project(5, smallFrame, 10);
    QVERIFY(project.show());
    const FrameRecorder recorder;
    const std::clock_t before = std::clock(); // processor time of all threads
    project.nav()->onButtonPlayClicked();
    const double computed = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
    const double passed = static_cast<double>(recorder.elapsed()) / 1000;
    QCOMPARE(recorder.frames.last(), 4);
    QVERIFY2(computed < passed / 2, qPrintable(QString::number(computed)));
}

void TestFrameNav::aClickPauses()
{
    ProjectWindow project(200, smallFrame, 25);
    QVERIFY(project.show());
    int frameAtClick = -1;
    const WhilePlaying pause(project.nav(), 4, [&] {
        frameAtClick = g_state->currentFrame;
        QTest::mouseClick(project.nav()->buttonPlay, Qt::LeftButton);
    });
    QTest::mouseClick(project.nav()->buttonPlay, Qt::LeftButton);
    QVERIFY(pause.acted && !pause.gaveUp);
    QVERIFY(frameAtClick >= 4);
    QCOMPARE(g_state->currentFrame, frameAtClick);
    QCOMPARE(stoppedProblem(project), QString());
}

void TestFrameNav::spacePausesWhereverTheFocusIs_data()
{
    QTest::addColumn<QString>("focus");
    QTest::newRow("play button") << "play";
    QTest::newRow("spin box") << "spin";
    QTest::newRow("add button of the time line") << "add";
    QTest::newRow("edit button of an object") << "edit";
    QTest::newRow("delete button of an object") << "delete";
    QTest::newRow("body of the time line") << "body";
    QTest::newRow("nothing") << "window";
}

namespace
{

/// Gives a widget the focus; the widget that gets keys then.
QWidget *focused(ProjectWindow &project, const QString &name)
{
    const FrameNav *nav = project.nav();
    const auto *label = project.timeLine()->findChild<TrackedObjectLabel *>();
    const QHash<QString, QWidget *> widgets = {{"play", nav->buttonPlay},
                                               {"spin", nav->spinBox},
                                               {"first", nav->buttonFirst},
                                               {"prev", nav->buttonPrev},
                                               {"next", nav->buttonNext},
                                               {"last", nav->buttonLast},
                                               {"slider", nav->slider},
                                               {"add", project.timeLine()->addButton},
                                               {"edit", label->editButton},
                                               {"delete", label->deleteButton},
                                               {"body", project.timeLine()->bodyView},
                                               {"window", &project.window()}};
    QWidget *widget = widgets.value(name);
    if (QWidget *focus = QApplication::focusWidget())
        focus->clearFocus();
    widget->setFocus();
    return widget;
}

} // namespace

void TestFrameNav::spacePausesWhereverTheFocusIs()
{
    QFETCH(QString, focus);
    ProjectWindow project(200, smallFrame, 25);
    project.addObject();
    QVERIFY(project.show());
    int frameAtKey = -1;
    bool hasFocus = false;
    const WhilePlaying pause(project.nav(), 2, [&] {
        QWidget *widget = focused(project, focus);
        hasFocus = widget->hasFocus();
        frameAtKey = g_state->currentFrame;
        QTest::keyClick(widget, Qt::Key_Space);
    });
    project.nav()->onButtonPlayClicked();
    QVERIFY(pause.acted && !pause.gaveUp);
    QVERIFY(hasFocus || focus == QLatin1String("window"));
    QCOMPARE(g_state->currentFrame, frameAtKey);
    QCOMPARE(stoppedProblem(project), QString());
    QCOMPARE(g_state->objects.size(), 1); // the focused button did nothing of its own
}

void TestFrameNav::spaceStartsWhereverTheFocusIs_data()
{
    spacePausesWhereverTheFocusIs_data();
    QTest::newRow("first button") << "first";
    QTest::newRow("previous button") << "prev";
    QTest::newRow("next button") << "next";
    QTest::newRow("last button") << "last";
    QTest::newRow("slider") << "slider";
}

void TestFrameNav::spaceStartsWhereverTheFocusIs()
{
    QFETCH(QString, focus);
    ProjectWindow project(200, smallFrame, 25);
    project.addObject();
    QVERIFY(project.show());
    g_state->setFrame(1);
    int frameAtPause = -1;
    const WhilePlaying pause(project.nav(), 2, [&] {
        frameAtPause = g_state->currentFrame;
        project.nav()->onButtonPlayClicked();
    });
    QWidget *widget = focused(project, focus);
    QTest::keyClick(widget, Qt::Key_Space);
    QVERIFY(pause.acted && !pause.gaveUp);
    QCOMPARE(g_state->currentFrame, frameAtPause);
    QCOMPARE(stoppedProblem(project), QString());
    QCOMPARE(g_state->objects.size(), 1);
}

namespace
{

/// One event of the space bar as the window system sends it, to the widget with the focus.
void sendSpace(ProjectWindow &project, bool press, bool repeated)
{
    QWidget *focus = QApplication::focusWidget();
    QTest::simulateEvent(focus ? focus : &project.window(), press, Qt::Key_Space, Qt::NoModifier,
                         QStringLiteral(" "), repeated);
}

} // namespace

void TestFrameNav::aHeldSpaceTogglesOnce()
{
    ProjectWindow project(200, smallFrame, 25);
    QVERIFY(project.show());
    project.nav()->buttonNext->setFocus();
    int frameAtPause = -1;
    int goesOn = 0;
    const auto repeat = [&] {
        sendSpace(project, false, true);
        sendSpace(project, true, true);
    };
    const WhilePlaying hold(project.nav(), 2, [&] {
        for (int i = 0; i < 5; ++i) {
            repeat();
            goesOn += project.nav()->paused ? 0 : 1;
        }
        sendSpace(project, false, false);
        goesOn += project.nav()->paused ? 0 : 1;
    });
    const WhilePlaying pause(project.nav(), 5, [&] {
        frameAtPause = g_state->currentFrame;
        sendSpace(project, true, false);
    });
    sendSpace(project, true, false);
    QVERIFY(hold.acted && !hold.gaveUp);
    QCOMPARE(goesOn, 6);
    QVERIFY(pause.acted && !pause.gaveUp);
    QCOMPARE(stoppedProblem(project), QString());
    // Held again, now that it has paused.
    for (int i = 0; i < 5; ++i)
        repeat();
    sendSpace(project, false, false);
    QCOMPARE(stoppedProblem(project), QString());
    QCOMPARE(g_state->currentFrame, frameAtPause);
}

namespace
{

void activate(QWidget *window)
{
    window->activateWindow();
    QTRY_COMPARE(QApplication::activeWindow(), window);
}

/// Brings the dock into a state named in the rows; the window that gets the keys then.
QWidget *arrange(ProjectWindow &project, const QString &state)
{
    FrameNav *nav = project.nav();
    MainWindow *window = &project.window();
    if (state.contains(QLatin1String("closed")))
        nav->close();
    if (state.contains(QLatin1String("shown again")))
        nav->show();
    if (state.contains(QLatin1String("tab")))
        window->tabifyDockWidget(nav, project.timeLine());
    if (state.contains(QLatin1String("floating")))
        nav->setFloating(true);
    QCoreApplication::processEvents();
    if (state.contains(QLatin1String("tab in front")))
        nav->raise();
    if (state.contains(QLatin1String("time line"))) {
        project.timeLine()->setFloating(true);
        activate(project.timeLine());
        return project.timeLine();
    }
    if (state.contains(QLatin1String("dock active"))) {
        activate(nav);
        return nav;
    }
    activate(window);
    if (state.contains(QLatin1String("docked again")))
        nav->setFloating(false);
    QCoreApplication::processEvents();
    return window;
}

} // namespace

void TestFrameNav::spaceTogglesOnceWhereverTheDockIs_data()
{
    QTest::addColumn<QString>("state");
    for (const char *state :
         {"docked", "closed", "closed and shown again", "floating, main window active",
          "floating, dock active", "floating, time line active", "floating and closed",
          "floating and closed, time line active", "floating and docked again",
          "closed, floating and docked again", "docked, time line active", "tab behind", "tab in front"})
        QTest::newRow(state) << QString::fromLatin1(state);
}

void TestFrameNav::spaceTogglesOnceWhereverTheDockIs()
{
    QFETCH(QString, state);
    ProjectWindow project(200, smallFrame, 25);
    QVERIFY(project.show());
    QWidget *window = arrange(project, state);
    QCOMPARE(QApplication::activeWindow(), window);
    const QSignalSpy clicks(project.nav()->buttonPlay, &QPushButton::clicked);
    int frameAtKey = -1;
    const WhilePlaying pause(project.nav(), 2, [&] {
        frameAtKey = g_state->currentFrame;
        QTest::keyClick(window->windowHandle(), Qt::Key_Space);
    });
    QTest::keyClick(window->windowHandle(), Qt::Key_Space);
    QVERIFY(pause.acted && !pause.gaveUp);
    QCOMPARE(clicks.size(), 2);
    QCOMPARE(g_state->currentFrame, frameAtKey);
    QCOMPARE(stoppedProblem(project), QString());
}

void TestFrameNav::aHeldSpaceTogglesOnceWithTheDockClosed()
{
    ProjectWindow project(6, smallFrame, 100);
    QVERIFY(project.show());
    project.nav()->close();
    const QSignalSpy clicks(project.nav()->buttonPlay, &QPushButton::clicked);
    sendSpace(project, true, false);
    for (int i = 0; i < 5; ++i) {
        sendSpace(project, false, true);
        sendSpace(project, true, true);
    }
    sendSpace(project, false, false);
    QCOMPARE(clicks.size(), 1);
    QCOMPARE(g_state->currentFrame, 5);
}

void TestFrameNav::namesKeepTheirSpacesWithTheDockClosed()
{
    ProjectWindow project(6, smallFrame, 100);
    project.addObject();
    QVERIFY(project.show());
    project.nav()->close();
    auto *label = project.timeLine()->findChild<TrackedObjectLabel *>();
    label->toggleEdit();
    QVERIFY(label->nameEdit->hasFocus());
    const QSignalSpy clicks(project.nav()->buttonPlay, &QPushButton::clicked);
    QTest::keyClick(project.window().windowHandle(), Qt::Key_Space);
    QCOMPARE(label->nameEdit->text(), QStringLiteral(" "));
    QCOMPARE(clicks.size(), 0);
    label->toggleEdit(); // takes the name over
}

void TestFrameNav::spaceGoesWithItsDock()
{
    TestProject project(6);
    QWidget window;
    auto *nav = new FrameNav(&window);
    QCOMPARE(window.findChildren<QShortcut *>().size(), 1);
    delete nav;
    ModelChecks::flushDeferredDeletes();
    QCOMPARE(window.findChildren<QShortcut *>().size(), 0);
}

void TestFrameNav::aTypedNumberIsWherePlaybackStarts_data()
{
    QTest::addColumn<bool>("byKey");
    QTest::newRow("space") << true;
    QTest::newRow("click") << false;
}

void TestFrameNav::aTypedNumberIsWherePlaybackStarts()
{
    QFETCH(bool, byKey);
    ProjectWindow project(200, smallFrame, 25);
    QVERIFY(project.show());
    g_state->setFrame(3);
    QSpinBox *spinBox = project.nav()->spinBox;
    spinBox->setFocus();
    spinBox->selectAll();
    QTest::keyClicks(spinBox, QStringLiteral("17"));
    QCOMPARE(g_state->currentFrame, 3); // not finished
    const FrameRecorder recorder;
    int frameAtPause = -1;
    const WhilePlaying pause(
        project.nav(), [&recorder] { return recorder.frames.size() > 2; },
        [&] {
            frameAtPause = g_state->currentFrame;
            project.nav()->onButtonPlayClicked();
        });
    if (byKey)
        QTest::keyClick(spinBox, Qt::Key_Space);
    else
        QTest::mouseClick(project.nav()->buttonPlay, Qt::LeftButton);
    QCOMPARE(recorder.frames.value(0), 16);
    QVERIFY(recorder.frames.size() > 2);
    QVERIFY(std::is_sorted(recorder.frames.cbegin(), recorder.frames.cend()));
    QVERIFY(pause.acted && !pause.gaveUp);
    QVERIFY(recorder.elapsed() >= (frameAtPause - 16) * 40);
    QCOMPARE(g_state->currentFrame, frameAtPause);
    QCOMPARE(stoppedProblem(project), QString());
}

void TestFrameNav::playbackContinuesFromWhereItPaused()
{
    ProjectWindow project(200, smallFrame, 25);
    QVERIFY(project.show());
    {
        const WhilePlaying pause(project.nav(), 4, [&] { project.nav()->buttonPlay->click(); });
        project.nav()->buttonPlay->click();
        QVERIFY(pause.acted && !pause.gaveUp);
    }
    const int paused = g_state->currentFrame;
    QVERIFY(paused >= 4 && paused < 199);
    const int frameCount = paused + 6; // a short rest
    g_state->video->frameCount = frameCount;
    const FrameRecorder recorder;
    project.nav()->buttonPlay->click();
    QCOMPARE(g_state->currentFrame, frameCount - 1);
    QVERIFY(recorder.frames.first() > paused);
    QVERIFY(recorder.elapsed() >= (frameCount - paused) * 40);
    QCOMPARE(stoppedProblem(project), QString());
}

void TestFrameNav::impossibleFrameRatesPlayToTheEnd_data()
{
    QTest::addColumn<double>("fps");
    QTest::newRow("zero") << 0.0;
    QTest::newRow("negative") << -25.0;
    QTest::newRow("not a number") << std::nan("");
    QTest::newRow("5000") << 5000.0;
    QTest::newRow("infinite") << std::numeric_limits<double>::infinity();
}

void TestFrameNav::impossibleFrameRatesPlayToTheEnd()
{
    QFETCH(double, fps);
    ProjectWindow project(50, smallFrame);
    g_state->video->fps = fps;
    QVERIFY(project.show());
    const FrameRecorder recorder;
    QTest::mouseClick(project.nav()->buttonPlay, Qt::LeftButton);
    QCOMPARE(g_state->currentFrame, 49);
    QVERIFY(recorder.elapsed() >= 50 && recorder.elapsed() < 50 + 1000);
    QCOMPARE(stoppedProblem(project), QString());
}

void TestFrameNav::replacingTheProjectEndsPlayback()
{
    ProjectWindow project(200, smallFrame, 25);
    project.addObject();
    QVERIFY(project.show());
    const WhilePlaying replace(project.nav(), 3, [&] { project.window().recreateDataState(); });
    const LogCapture log;
    project.nav()->onButtonPlayClicked();
    QVERIFY(replace.acted && !replace.gaveUp);
    QVERIFY(project.nav()->paused);
    QVERIFY(shows(project.nav()->buttonPlay, ":icons/play.ico"));
    QVERIFY(!g_state->videoLoaded);
    QVERIFY(!project.nav()->isEnabled());
    QVERIFY(!project.viewer()->isEnabled());
    QCOMPARE(g_state->currentFrame, 0);
    QCOMPARE(log.warnings(), QStringList());
    // The new project can be played.
    g_state->video = ProjectWindow::makeVideo(5, smallFrame, 100);
    g_state->videoLoaded = true;
    project.window().reload();
    project.nav()->onButtonPlayClicked();
    QCOMPARE(g_state->currentFrame, 4);
    QCOMPARE(stoppedProblem(project), QString());
}

void TestFrameNav::closingTheWindowEndsPlayback()
{
    ProjectWindow project(200, smallFrame, 25);
    QVERIFY(project.show());
    int frameAtClose = -1;
    const WhilePlaying close(project.nav(), 3, [&] {
        frameAtClose = g_state->currentFrame;
        QVERIFY(project.window().close());
    });
    project.nav()->onButtonPlayClicked();
    QVERIFY(close.acted && !close.gaveUp);
    QVERIFY(project.nav()->paused);
    QVERIFY(!project.window().isVisible());
    QCOMPARE(g_state->currentFrame, frameAtClose);
}

void TestFrameNav::withoutAVideoPlayDoesNothing()
{
    DataState state;
    DataState *const previous = g_state;
    g_state = &state;
    {
        FrameNav nav;
        nav.onButtonPlayClicked();
        QVERIFY(nav.paused);
        nav.onButtonLastClicked();
        nav.onButtonNextClicked();
        nav.onButtonPrevClicked();
        nav.onButtonFirstClicked();
        QCOMPARE(state.currentFrame, 0);
    }
    g_state = previous;
}

QTEST_MAIN(TestFrameNav)
#include "tst_framenav.moc"
