// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/abortgrace.h"
#include "processing/aoitracking.h"
#include "processing/imageprocess.h"
#include "processing/morph.h"
#include "tests/support/clips.h"
#include "tests/support/dialogdriver.h"
#include "tests/support/heldjob.h"
#include "tests/support/logcapture.h"
#include "tests/support/mousedriver.h"
#include "tests/support/plainsegmentation.h"
#include "tests/support/poolthreads.h"
#include "tests/support/progresswatch.h"
#include "tests/support/projectwindow.h"
#include "tests/support/trackingproject.h"
#include "views/framegraphicsview.h"
#include "views/framenav.h"

#include <QAction>
#include <QElapsedTimer>
#include <QPushButton>
#include <QScopeGuard>
#include <QSpinBox>
#include <QStatusBar>
#include <QThread>
#include <QThreadPool>
#include <QTimer>
#include <QtTest>
#include <QWindow>

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>

namespace
{

constexpr int frames = 13;
constexpr std::chrono::minutes wholeParcels(1); // of grace, which no parcel here takes
constexpr int patience = 30000;                 // milliseconds that a wait may take on a busy machine
const char interactiveDone[] = "Interactive AOI tracking complete.";
const char automaticDone[] = "Automatic AOI tracking complete.";
const char userRequired[] = "User interaction required!";

/// The shown main window on a rendered clip with one object, which is the current one.
class ClipWindow
{
public:
    ClipWindow()
        : project(frames)
        , clip(Clips::curve(frames))
    {
        Clips::write(video(), clip);
        object = project.addObject();
        project.window().reload();
        if (!project.show())
            qFatal("the window does not get active");
    }

    const VideoContainer &video() const { return *g_state->video; }
    KeyFrame *keyFrame(int frame) const { return object->keyFrames.at(frame); }
    void annotateTruth(const QList<int> &keyFrames)
    {
        for (int frame : keyFrames)
            annotate(object, frame, clip.truth(frame));
        trigger(QStringLiteral("&morph"));
    }
    QList<QPolygonF> polygons() const
    {
        QList<QPolygonF> all;
        for (const KeyFrame *key : qAsConst(object->keyFrames))
            all.append(key->polygon);
        return all;
    }
    void trigger(const QString &text)
    {
        for (QAction *action : project.window().findChildren<QAction *>()) {
            if (action->text() == text) {
                QVERIFY(action->isEnabled());
                action->trigger();
                return;
            }
        }
        QFAIL("no such action");
    }
    /// Presses Ctrl and a key in the window and answers the message box with this text. Returns what went
    /// wrong.
    QString press(Qt::Key key, const QString &box = QString())
    {
        if (!activate())
            return QStringLiteral("the window does not get active");
        DialogDriver driver;
        if (!box.isEmpty())
            driver.clickButton(QMessageBox::Ok);
        QTest::keyClick(project.window().windowHandle(), key, Qt::ControlModifier);
        if (!driver.problem().isEmpty())
            return driver.problem();
        if (box.isEmpty())
            return QString();
        const DialogDriver::BoxSeen &seen = driver.boxes.constFirst();
        if (seen.text != box)
            return seen.text;
        if (seen.icon != QMessageBox::Information || seen.hasParent)
            return QStringLiteral("wrong kind of box");
        return QString();
    }
    /// Gives the focus back to the window; a closed dialog takes it along on this platform.
    bool activate()
    {
        project.window().activateWindow();
        return QTest::qWaitForWindowActive(&project.window());
    }
    /// Where the first vertex of a frame's outline is in the window.
    QPoint positionOfVertex(int frame)
    {
        const FrameGraphicsView *view = project.viewer()->view;
        return view->viewport()->mapTo(&project.window(), view->mapFromScene(keyFrame(frame)->polygon.at(0)));
    }
    QString message() { return project.window().statusBar()->currentMessage(); }
    /// Whether the message goes only when another one comes.
    bool messageStays()
    {
        return !message().isEmpty() && project.window().statusBar()->findChildren<QTimer *>().isEmpty();
    }

    ProjectWindow project;
    Clips::Clip clip;
    TrackedObject *object = nullptr;
};

/// Counts the paint events of a widget.
class PaintCounter : public QObject
{
public:
    explicit PaintCounter(QWidget *widget) { widget->installEventFilter(this); }
    int count = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        count += event->type() == QEvent::Paint;
        return false;
    }
};

/// Calls a function whenever a widget is enabled or disabled.
class EnabledWatch : public QObject
{
public:
    EnabledWatch(QWidget *widget, const std::function<void(bool)> &function)
        : m_widget(widget)
        , m_function(function)
    {
        widget->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::EnabledChange)
            m_function(m_widget->isEnabled());
        return false;
    }

private:
    QWidget *m_widget;
    std::function<void(bool)> m_function;
};

bool isRepainted(QWidget *widget)
{
    QCoreApplication::processEvents();
    const PaintCounter paints(widget);
    widget->update();
    return QTest::qWaitFor([&paints] { return paints.count > 0; }, patience);
}

void drag(QWindow *window, QPoint from, QPoint by)
{
    QTest::mousePress(window, Qt::LeftButton, Qt::NoModifier, from);
    QTest::mouseMove(window, from + by);
    QTest::mouseRelease(window, Qt::LeftButton, Qt::NoModifier, from + by);
}

/// The warnings but those of the platform.
QStringList warningsIn(const LogCapture &log)
{
    QStringList warnings;
    for (const QString &warning : log.warnings()) {
        if (!warning.startsWith(QStringLiteral("This plugin")))
            warnings.append(warning);
    }
    return warnings;
}

/// Makes the work item that changes the outline of a frame fail, as long as it lives.
class AngryListener
{
public:
    explicit AngryListener(const KeyFrame *keyFrame)
    {
        QObject::connect(
            keyFrame, &KeyFrame::hasChanged, &m_context,
            [] {
                if (QThread::currentThread() != qApp->thread())
                    throw std::runtime_error("listener is angry");
            },
            Qt::DirectConnection);
    }

private:
    QObject m_context;
};

/// The thinned outline.
QPolygonF thinned(TrackedObject *object, const QPolygonF &polygon)
{
    KeyFrame scratch(object, 0, KeyFrame::Automatic);
    scratch.setNewPolygon(polygon);
    scratch.reducePolygonVertices();
    return scratch.polygon;
}

} // namespace

class TestTrackingWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { AbortGrace::setLength(wholeParcels); }

    void interactiveTrackingAsksForTheUser();
    void correctedTrackingRunsToTheEnd();
    void everyFrameInNeedIsAskedFor();
    void firstRunDoesNotMorph();
    void resumedRunMorphsFirst();
    void cutSpansAreTrackedByTheResumedRun();
    void otherSpansAreTrackedOnResuming();
    void automaticTrackingSaysSo();
    void segmentationSaysNothing();
    void nothingHappensWithoutCurrentObject_data();
    void nothingHappensWithoutCurrentObject();
    void unreadableFrameIsLeftOutOrAskedFor();
    void failedSegmentationIsTold();
    void failedTrackingIsToldBehindTheBox_data();
    void failedTrackingIsToldBehindTheBox();
    void aPendingStopOutlivesOtherRuns_data();
    void aPendingStopOutlivesOtherRuns();
    void windowTakesNoInputDuringAJob_data();
    void windowTakesNoInputDuringAJob();
    void abortKeepsTheWindowUsable();
    void abortGivesTheFocusBack();
    void trackingWhilePlayingEndsThePlayback_data();
    void trackingWhilePlayingEndsThePlayback();
    void aStopFrameBehindTheVideoIsHarmless_data();
    void aStopFrameBehindTheVideoIsHarmless();
    void theEndMessagesGoAfterTwoSeconds_data();
    void theEndMessagesGoAfterTwoSeconds();

private:
    static void trackDisplaced(ClipWindow &w, const QList<QPolygonF> &outlines);
};

void TestTrackingWindow::interactiveTrackingAsksForTheUser()
{
    ClipWindow w;
    w.annotateTruth({0, 12});
    Clips::makeFlat(w.video(), 4);
    const QPolygonF before = w.keyFrame(4)->polygon;
    QVERIFY(thinned(w.object, before).size() < before.size());
    QCOMPARE(w.project.window().trackingStopFrame, -1);
    QCOMPARE(g_state->currentFrame, 0);

    QCOMPARE(w.press(Qt::Key_I), QString());
    QCOMPARE(w.message(), QString(userRequired));
    QCOMPARE(w.project.window().trackingStopFrame, 4);
    QCOMPARE(g_state->currentFrame, 4);
    QCOMPARE(w.keyFrame(4)->type, KeyFrame::Visible);
    QCOMPARE(w.keyFrame(4)->polygon, thinned(w.object, before));
    // It splits the span, which empties the frames around.
    QCOMPARE(w.object->frameSpans.at(0)->end, 4);
    QCOMPARE(w.object->frameSpans.at(4)->start, 4);
    QVERIFY(w.keyFrame(3)->polygon.isEmpty());
    QVERIFY(w.keyFrame(5)->polygon.isEmpty());
    QTRY_VERIFY_WITH_TIMEOUT(w.message().isEmpty(), patience);
}

void TestTrackingWindow::correctedTrackingRunsToTheEnd()
{
    ClipWindow w;
    w.annotateTruth({0, 12});
    Clips::makeFlat(w.video(), 4);
    QCOMPARE(w.press(Qt::Key_I), QString());
    QCOMPARE(w.project.window().trackingStopFrame, 4);

    Clips::writeFrame(w.video(), 4,
                      w.clip.render(4)); // has its detail again, or it would ask once more

    // The user takes a corner to its place.
    FrameGraphicsView *view = w.project.viewer()->view;
    const QPolygonF asked = w.keyFrame(4)->polygon;
    const QPoint from = view->mapFromScene(asked.at(1));
    const QPoint to = from + QPoint(-11, 9);
    MouseDriver::drag(view->viewport(), {from, from + QPoint(-4, 3), to});
    const QPolygonF corrected = w.keyFrame(4)->polygon;
    QCOMPARE(corrected.size(), asked.size());
    const QPointF expected = view->mapToScene(to) + asked.at(1) - view->mapToScene(from);
    QVERIFY((corrected.at(1) - expected).manhattanLength() < 2);
    QCOMPARE(corrected.at(0), asked.at(0));
    QCOMPARE(corrected.at(2), asked.at(2));

    QCOMPARE(w.press(Qt::Key_I, QString(interactiveDone)), QString());
    QCOMPARE(w.message(), QString(interactiveDone));
    QCOMPARE(w.project.window().trackingStopFrame, -1);
    QCOMPARE(w.keyFrame(4)->polygon, corrected);
    QCOMPARE(w.keyFrame(4)->type, KeyFrame::Visible);
    for (int frame : {1, 2, 3, 5, 6, 11}) {
        QVERIFY(!w.keyFrame(frame)->polygon.isEmpty());
        QCOMPARE(w.keyFrame(frame)->type, KeyFrame::Automatic);
    }
}

// A frame that nothing matches puts both its neighbours in need of the user. The run after a question fills
// the frames that the answer emptied and tracks them.
void TestTrackingWindow::everyFrameInNeedIsAskedFor()
{
    ClipWindow w;
    w.annotateTruth({0, 12});
    Clips::makeFlat(w.video(), 4);
    for (int stop : {4, 3, 5, -1, -1}) {
        QCOMPARE(w.press(Qt::Key_I, stop == -1 ? QString(interactiveDone) : QString()), QString());
        QCOMPARE(w.project.window().trackingStopFrame, stop);
        if (stop != -1) {
            QCOMPARE(g_state->currentFrame, stop);
            w.keyFrame(stop)->setNewPolygon(w.clip.truth(stop));
        }
    }
    for (int frame = 0; frame < frames; ++frame) {
        QVERIFY2(Clips::overlap(w.keyFrame(frame)->polygon, w.clip.truth(frame), w.clip.size) > 0.7,
                 qPrintable(QString::number(frame)));
    }
}

void TestTrackingWindow::firstRunDoesNotMorph()
{
    ClipWindow w;
    annotate(w.object, 0, w.clip.truth(0));
    annotate(w.object, 12, w.clip.truth(12));
    QCOMPARE(w.press(Qt::Key_I, QString(interactiveDone)), QString());
    QCOMPARE(w.project.window().trackingStopFrame, -1);
    QVERIFY(w.keyFrame(5)->polygon.isEmpty());
    QCOMPARE(w.keyFrame(5)->type, KeyFrame::None);
}

void TestTrackingWindow::resumedRunMorphsFirst()
{
    ClipWindow w;
    w.annotateTruth({0, 12});
    const QList<QPolygonF> morphed = w.polygons();
    QCOMPARE(w.press(Qt::Key_I, QString(interactiveDone)), QString());
    const QList<QPolygonF> tracked = w.polygons();
    QVERIFY(!firstDifference(tracked, morphed).isEmpty());
    for (int frame = 1; frame < 12; ++frame)
        w.keyFrame(frame)->setNewPolygon(QPolygonF());
    w.project.window().trackingStopFrame = 6;
    QCOMPARE(w.press(Qt::Key_I, QString(interactiveDone)), QString());
    QCOMPARE(w.project.window().trackingStopFrame, -1);
    // The filled frames belong to a span that was tracked by this run.
    QCOMPARE(firstDifference(w.polygons(), tracked), QString());
}

// The user corrects an outline that is off, which cuts the span and empties the frames around it.
void TestTrackingWindow::cutSpansAreTrackedByTheResumedRun()
{
    ClipWindow w;
    w.annotateTruth({0, 12});
    Clips::makeFlat(w.video(), 4);
    QCOMPARE(w.press(Qt::Key_I), QString());
    QCOMPARE(w.project.window().trackingStopFrame, 4);
    Clips::writeFrame(w.video(), 4, w.clip.render(4)); // has its detail again
    w.keyFrame(4)->setNewPolygon(w.clip.truth(4));
    QCOMPARE(w.press(Qt::Key_I, QString(interactiveDone)), QString());
    const QList<QPolygonF> resumed = w.polygons();
    for (int frame : {1, 2, 3, 5, 6, 7, 8, 9, 10, 11}) {
        w.keyFrame(frame)->setNewPolygon(QPolygonF());
        QCOMPARE(w.keyFrame(frame)->type, KeyFrame::Automatic);
    }

    w.trigger(QStringLiteral("&morph"));
    const QList<QPolygonF> morphed = w.polygons();
    for (int frame : {1, 2, 3, 5, 6, 7, 8, 9, 10, 11})
        QVERIFY2(resumed.at(frame) != morphed.at(frame), qPrintable(QString::number(frame)));
    QCOMPARE(w.press(Qt::Key_I, QString(interactiveDone)), QString());
    QCOMPARE(firstDifference(w.polygons(), resumed), QString());
}

void TestTrackingWindow::otherSpansAreTrackedOnResuming()
{
    ClipWindow w;
    w.annotateTruth({0, 6, 12});
    const QList<QPolygonF> morphed = w.polygons();
    for (int frame = 7; frame < 12; ++frame)
        w.keyFrame(frame)->setNewPolygon(QPolygonF());
    w.project.window().trackingStopFrame = 8;
    QCOMPARE(w.press(Qt::Key_I, QString(interactiveDone)), QString());
    for (int frame : {1, 2, 3, 4, 5, 7, 8, 9, 10, 11})
        QVERIFY2(w.keyFrame(frame)->polygon != morphed.at(frame), qPrintable(QString::number(frame)));
}

void TestTrackingWindow::automaticTrackingSaysSo()
{
    ClipWindow w;
    w.annotateTruth({0, 12});
    Clips::makeFlat(w.video(), 4); // is no reason to stop
    const QList<QPolygonF> morphed = w.polygons();
    w.project.window().trackingStopFrame = 9;
    QCOMPARE(w.press(Qt::Key_A, QString(automaticDone)), QString());
    QCOMPARE(w.message(), QString(automaticDone));
    QCOMPARE(w.project.window().trackingStopFrame, 9); // is none of its business
    QCOMPARE(g_state->currentFrame, 0);
    QCOMPARE(w.keyFrame(4)->type, KeyFrame::Automatic);
    QVERIFY(!firstDifference(w.polygons(), morphed).isEmpty());
}

void TestTrackingWindow::segmentationSaysNothing()
{
    ClipWindow w;
    const Clips::Clip plain = Clips::plainBlock();
    for (int frame : {2, 3}) {
        cv::Mat image(240, 320, CV_8UC3, plain.color);
        plain.render(frame).copyTo(image(cv::Rect(0, 0, 160, 120)));
        Clips::writeFrame(w.video(), frame, image);
        annotate(w.object, frame, plain.truth(frame).translated(3, 3));
    }
    QList<QPolygonF> wanted;
    for (int frame : {2, 3}) {
        cv::setRNGSeed(frame);
        wanted.append(plainSegmentation(ImageProcess(w.video().getFramePath(frame)).image,
                                        w.keyFrame(frame)->polygon, 2));
    }
    DialogDriver driver; // complains about any message box
    w.trigger(QStringLiteral("segmentation"));
    QCOMPARE(driver.problem(), QString());
    QVERIFY(driver.boxes.isEmpty());
    QVERIFY(w.message().isEmpty());
    QCOMPARE(firstDifference({w.keyFrame(2)->polygon, w.keyFrame(3)->polygon}, wanted), QString());
}

void TestTrackingWindow::nothingHappensWithoutCurrentObject_data()
{
    QTest::addColumn<int>("id");
    QTest::newRow("none") << -1;
    QTest::newRow("one that does not exist") << 77;
}

void TestTrackingWindow::nothingHappensWithoutCurrentObject()
{
    QFETCH(int, id);
    ClipWindow w;
    w.annotateTruth({0, 12});
    const QList<QPolygonF> before = w.polygons();
    g_state->setCurrentObject(id);
    LogCapture log;
    for (int stopFrame : {-1, 5}) {
        w.project.window().trackingStopFrame = stopFrame;
        QCOMPARE(w.press(Qt::Key_I, QString(interactiveDone)), QString());
        QCOMPARE(w.press(Qt::Key_A, QString(automaticDone)), QString());
        DialogDriver driver;
        w.trigger(QStringLiteral("segmentation"));
        w.trigger(QStringLiteral("&morph"));
        QCOMPARE(driver.problem(), QString());
    }
    QCOMPARE(firstDifference(w.polygons(), before), QString());
    QCOMPARE(warningsIn(log), QStringList());
}

void TestTrackingWindow::unreadableFrameIsLeftOutOrAskedFor()
{
    ClipWindow w;
    w.annotateTruth({0, 12});
    QVERIFY(QFile::remove(w.video().getFramePath(3)));
    const QList<QPolygonF> morphed = w.polygons();
    LogCapture log;
    QCOMPARE(w.press(Qt::Key_A, QString(automaticDone)), QString());
    QCOMPARE(warningsIn(log).size(), 1);
    QVERIFY(warningsIn(log).constFirst().contains(QStringLiteral("frame 3")));
    for (int frame = 0; frame < frames; ++frame) {
        const bool left = frame == 0 || frame == 3 || frame == 4 || frame == 12;
        QVERIFY2((w.keyFrame(frame)->polygon == morphed.at(frame)) == left,
                 qPrintable(QString::number(frame)));
    }
    QCOMPARE(w.press(Qt::Key_I), QString());
    QCOMPARE(w.message(), QString(userRequired));
    QCOMPARE(w.project.window().trackingStopFrame, 3);
    QCOMPARE(g_state->currentFrame, 3);
    QCOMPARE(w.keyFrame(3)->type, KeyFrame::Visible);
    QCOMPARE(warningsIn(log).size(), 2);
}

void TestTrackingWindow::failedSegmentationIsTold()
{
    ClipWindow w;
    w.annotateTruth({0, 12});
    g_state->video->chunkEnds = {frames};
    QVERIFY(QFile::remove(w.video().getFramePath(3)));
    DialogDriver driver; // complains about any message box
    w.trigger(QStringLiteral("segmentation"));
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(w.message(), QStringLiteral("Segmentation ended on frame 4: its image cannot be read."));
    QVERIFY(w.messageStays());
}

void TestTrackingWindow::failedTrackingIsToldBehindTheBox_data()
{
    QTest::addColumn<Qt::Key>("key");
    QTest::addColumn<QString>("box");
    QTest::newRow("iTrack") << Qt::Key_I << QString(interactiveDone);
    QTest::newRow("aTrack") << Qt::Key_A << QString(automaticDone);
}

void TestTrackingWindow::failedTrackingIsToldBehindTheBox()
{
    QFETCH(Qt::Key, key);
    QFETCH(QString, box);
    ClipWindow w;
    w.annotateTruth({0, 12});
    {
        const AngryListener listener(w.keyFrame(5));
        const LogCapture log;
        QCOMPARE(w.press(key, box), QString());
        QCOMPARE(warningsIn(log).size(), 1);
    }
    QCOMPARE(w.message(),
             QStringLiteral("Tracking ended on frame 6: an internal error, which the log describes."));
    QVERIFY(w.messageStays());

    QCOMPARE(w.press(key, box), QString());
    QCOMPARE(w.message(), box);
    QVERIFY(!w.messageStays());
}

void TestTrackingWindow::aPendingStopOutlivesOtherRuns_data()
{
    QTest::addColumn<bool>("aborted");
    QTest::newRow("an aborted one") << true;
    QTest::newRow("a failed one") << false;
}

// What they have not tracked is left for the next press, which fills cut spans first only for a pending stop.
void TestTrackingWindow::aPendingStopOutlivesOtherRuns()
{
    QFETCH(bool, aborted);
    ClipWindow w;
    w.annotateTruth({0, 4, 8, 12});
    w.project.window().trackingStopFrame = 8;
    if (aborted) {
        const AbortAtFirstChange abort(w.object);
        QCOMPARE(w.press(Qt::Key_I, QString(interactiveDone)), QString());
        QVERIFY(abort.done());
    } else {
        const AngryListener listener(w.keyFrame(2));
        QCOMPARE(w.press(Qt::Key_I, QString(interactiveDone)), QString());
    }
    QCOMPARE(w.project.window().trackingStopFrame, 8);
    QCOMPARE(w.press(Qt::Key_I, QString(interactiveDone)), QString());
    QCOMPARE(w.project.window().trackingStopFrame, -1);
}

void TestTrackingWindow::windowTakesNoInputDuringAJob_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("box");
    QTest::newRow("iTrack") << QStringLiteral("&iTrack") << QString(interactiveDone);
    QTest::newRow("aTrack") << QStringLiteral("&aTrack") << QString(automaticDone);
    QTest::newRow("segmentation") << QStringLiteral("segmentation") << QString();
}

void TestTrackingWindow::windowTakesNoInputDuringAJob()
{
    QFETCH(QString, action);
    QFETCH(QString, box);
    ClipWindow w;
    w.annotateTruth({0, 12});
    g_state->setFrame(6);
    QCoreApplication::processEvents();
    QWindow *window = w.project.window().windowHandle();
    const QPoint vertex = w.positionOfVertex(6);

    // The same input works when no job is running.
    QVERIFY(w.activate());
    QTest::keyClick(window, Qt::Key_Right);
    QCOMPARE(g_state->currentFrame, 7);
    QTest::keyClick(window, Qt::Key_Left);
    QCOMPARE(g_state->currentFrame, 6);

    int frameDuring = -1;
    bool typeKept = false;
    bool repainted = false;
    HeldJob job(w.object);
    ProgressWatch watch;
    watch.onShown = [&] {
        QTest::keyClick(window, Qt::Key_Right);
        QTest::keyClick(window, Qt::Key_M, Qt::ControlModifier);
        drag(window, vertex, QPoint(20, 20)); // would make the key frame the user's own
        frameDuring = g_state->currentFrame;
        typeKept = w.keyFrame(6)->type == KeyFrame::Automatic;
        repainted = isRepainted(w.project.viewer()->view->viewport());
        job.release();
    };
    DialogDriver driver;
    if (!box.isEmpty())
        driver.clickButton(QMessageBox::Ok);
    w.trigger(action);
    QCOMPARE(driver.problem(), QString());
    QVERIFY(watch.seen);
    QCOMPARE(frameDuring, 6);
    QVERIFY(typeKept);
    QVERIFY(repainted);
    QVERIFY(w.project.window().isVisible());

    // And works again afterwards.
    QVERIFY(w.activate());
    drag(window, w.positionOfVertex(6), QPoint(9, 9));
    QCOMPARE(w.keyFrame(6)->type, KeyFrame::Visible);
    QTest::keyClick(window, Qt::Key_Right);
    QCOMPARE(g_state->currentFrame, 7);
}

// After "Abort" the frames in progress are finished, and the window takes no input until they are.
void TestTrackingWindow::abortKeepsTheWindowUsable()
{
    const PoolThreads pool(1);
    ClipWindow w;
    w.annotateTruth({0, 12});
    g_state->video->chunkEnds = {6, 8, 9, 10, 11, 12, 13};
    g_state->setFrame(6);
    MainWindow &window = w.project.window();
    const QList<QPolygonF> before = w.polygons();

    QObject context;
    auto watch = std::make_unique<ProgressWatch>();
    HeldJob job(w.object, [&watch] { watch->abort(); });
    QList<bool> enabled;
    bool dialogGone = false;
    int threadsDuring = 0;
    bool inputTried = false;
    const EnabledWatch enabledWatch(&window, [&](bool isEnabled) {
        enabled.append(isEnabled);
        if (isEnabled)
            return;
        dialogGone = !QApplication::activeModalWidget();
        QTimer::singleShot(0, &context, [&] {
            const auto release = qScopeGuard([&] { job.release(); });
            if (window.isEnabled())
                return;
            threadsDuring = QThreadPool::globalInstance()->activeThreadCount();
            QTest::keyClick(window.windowHandle(), Qt::Key_Right);
            inputTried = g_state->currentFrame == 6 && !window.isEnabled();
        });
    });
    DialogDriver driver; // complains about any message box
    w.trigger(QStringLiteral("segmentation"));
    const QList<QPolygonF> after = w.polygons();
    QCOMPARE(driver.problem(), QString());
    QVERIFY(watch->seen);
    watch.reset(); // it would press the button of the next dialog too
    QCOMPARE(enabled, (QList<bool>{false, true}));
    QVERIFY(dialogGone);
    QCOMPARE(threadsDuring, 1);
    QVERIFY(inputTried);
    QVERIFY(window.isEnabled());
    QVERIFY(!QApplication::activeModalWidget());
    QVERIFY(!QApplication::overrideCursor());
    QTRY_COMPARE(QThreadPool::globalInstance()->activeThreadCount(), 0);
    QCOMPARE(firstDifference(w.polygons(), after), QString()); // nothing was still running
    for (int frame = 0; frame < 6; ++frame)
        QVERIFY2(after.at(frame) != before.at(frame), qPrintable(QString::number(frame)));
    QCOMPARE(firstDifference(after.mid(12), before.mid(12)), QString());

    QVERIFY(w.activate());
    QCOMPARE(g_state->currentFrame, 6);
    QTest::keyClick(window.windowHandle(), Qt::Key_Right);
    QCOMPARE(g_state->currentFrame, 7);
    trackDisplaced(w, before);
    QVERIFY(window.isEnabled());
}

// Tracking starts from outlines that are off everywhere, so that it has to change each of them.
void TestTrackingWindow::trackDisplaced(ClipWindow &w, const QList<QPolygonF> &outlines)
{
    for (int frame = 1; frame < 12; ++frame)
        w.keyFrame(frame)->setNewPolygon(outlines.at(frame).translated(3, 2));
    const QList<QPolygonF> displaced = w.polygons();
    QCOMPARE(w.press(Qt::Key_A, QString(automaticDone)), QString());
    for (int frame = 1; frame < 12; ++frame)
        QVERIFY2(w.polygons().at(frame) != displaced.at(frame), qPrintable(QString::number(frame)));
}

void TestTrackingWindow::abortGivesTheFocusBack()
{
    const PoolThreads pool(1);
    ClipWindow w;
    w.annotateTruth({0, 5});
    QVERIFY(w.activate());
    QSpinBox *focused = w.project.nav()->spinBox; // not where the focus goes by itself
    focused->setFocus();
    QCOMPARE(QApplication::focusWidget(), focused);
    bool disabled = false;
    const EnabledWatch enabledWatch(&w.project.window(), [&](bool enabled) { disabled |= !enabled; });
    ProgressWatch watch;
    watch.abort();
    w.trigger(QStringLiteral("segmentation"));
    QVERIFY(watch.seen);
    QVERIFY(disabled);
    QVERIFY(w.activate());
    QCOMPARE(QApplication::focusWidget(), focused);
}

void TestTrackingWindow::trackingWhilePlayingEndsThePlayback_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("box");
    QTest::addColumn<int>("stopFrame");
    QTest::newRow("iTrack, which stops") << QStringLiteral("&iTrack") << QString() << 9;
    QTest::newRow("aTrack") << QStringLiteral("&aTrack") << QString(automaticDone) << -1;
    QTest::newRow("segmentation") << QStringLiteral("segmentation") << QString() << -1;
}

void TestTrackingWindow::trackingWhilePlayingEndsThePlayback()
{
    QFETCH(QString, action);
    QFETCH(QString, box);
    QFETCH(int, stopFrame);
    ClipWindow w;
    if (stopFrame != -1) {
        w.annotateTruth({0, 12});
        Clips::makeFlat(w.video(), stopFrame);
    } else {
        w.annotateTruth({0, 4});
    }
    g_state->video->fps = 4;
    FrameNav *nav = w.project.nav();
    DialogDriver driver;
    if (!box.isEmpty())
        driver.clickButton(QMessageBox::Ok);
    bool pausedDuring = false;
    bool pausedAfter = false;
    int shown = -1;
    ProgressWatch watch;
    watch.onShown = [&] { pausedDuring = nav->paused; };
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] {
        if (nav->paused || g_state->currentFrame < 1 || shown != -1)
            return;
        shown = g_state->currentFrame;
        w.trigger(action);
        pausedAfter = nav->paused;
    });
    timer.start(0);
    nav->onButtonPlayClicked();
    QCOMPARE(driver.problem(), QString());
    QVERIFY(shown >= 1 && shown < 9);
    QVERIFY(watch.seen);
    QVERIFY(pausedDuring && pausedAfter);
    QVERIFY(nav->paused);
    QCOMPARE(w.project.window().trackingStopFrame, stopFrame);
    QCOMPARE(g_state->currentFrame, stopFrame != -1 ? stopFrame : shown);
    if (stopFrame != -1) {
        QCOMPARE(w.message(), QString(userRequired));
        QCOMPARE(w.keyFrame(stopFrame)->type, KeyFrame::Visible);
    }
    QVERIFY(w.project.viewer()->isEnabled());
    QVERIFY(nav->buttonNext->isEnabled());
}

void TestTrackingWindow::aStopFrameBehindTheVideoIsHarmless_data()
{
    QTest::addColumn<int>("stopFrame");
    QTest::newRow("right behind the last frame") << frames;
    QTest::newRow("far behind") << 100000;
}

// It stays when a shorter video replaces the one that was tracked.
void TestTrackingWindow::aStopFrameBehindTheVideoIsHarmless()
{
    QFETCH(int, stopFrame);
    ClipWindow w;
    w.annotateTruth({0, 12});
    const QList<QPolygonF> morphed = w.polygons();
    w.project.window().trackingStopFrame = stopFrame;
    const LogCapture log;
    QCOMPARE(w.press(Qt::Key_I, QString(interactiveDone)), QString());
    QCOMPARE(w.project.window().trackingStopFrame, -1);
    QCOMPARE(g_state->currentFrame, 0);
    QCOMPARE(warningsIn(log), QStringList());
    QVERIFY(!firstDifference(w.polygons(), morphed).isEmpty()); // tracked all the same
    for (int frame = 1; frame < 12; ++frame)
        QCOMPARE(w.keyFrame(frame)->type, KeyFrame::Automatic);
}

void TestTrackingWindow::theEndMessagesGoAfterTwoSeconds_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("message");
    QTest::newRow("iTrack") << QStringLiteral("&iTrack") << QString(interactiveDone);
    QTest::newRow("aTrack") << QStringLiteral("&aTrack") << QString(automaticDone);
}

void TestTrackingWindow::theEndMessagesGoAfterTwoSeconds()
{
    QFETCH(QString, action);
    QFETCH(QString, message);
    ClipWindow w; // without key frames there is nothing to track
    QElapsedTimer timer;
    QStringList messages;
    qint64 gone = -1;
    connect(w.project.window().statusBar(), &QStatusBar::messageChanged, this, [&](const QString &text) {
        messages.append(text);
        if (text == message)
            timer.start();
        else if (timer.isValid())
            gone = timer.elapsed();
    });
    DialogDriver driver;
    driver.clickButton(QMessageBox::Ok);
    w.trigger(action);
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(w.message(), message);
    // How late it goes depends on the machine, what was asked for does not.
    const auto timers = w.project.window().statusBar()->findChildren<QTimer *>();
    QCOMPARE(timers.size(), 1);
    QCOMPARE(timers.first()->interval(), 2000);
    QTRY_VERIFY_WITH_TIMEOUT(gone >= 0, patience);
    QCOMPARE(messages, QStringList({message, QString()}));
    // The timer is up to a twentieth early.
    QVERIFY2(gone >= 1880, qPrintable(QString::number(gone)));
}

QTEST_MAIN(TestTrackingWindow)
#include "tst_trackingwindow.moc"
