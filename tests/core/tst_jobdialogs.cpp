// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/jobdialogs.h"

#include "tests/support/jobitems.h"
#include "tests/support/logcapture.h"
#include "tests/support/poolthreads.h"
#include "tests/support/progresswatch.h"

#include <QApplication>
#include <QProgressDialog>
#include <QThread>
#include <QThreadPool>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>

namespace
{

using ModalJob::Outcome;

const QString label = QStringLiteral("Working. Please wait.");

Outcome run(QList<int> &items, const std::function<void(int &)> &work,
            const std::function<void()> &onAbort = {})
{
    return ModalJob::run(label, items, work, onAbort).outcome;
}

} // namespace

class TestJobDialogs : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_dialogs = std::make_unique<JobDialogs>(); }
    void cleanup() { m_dialogs.reset(); }

    void noItemsEndAtOnce();
    void dialogIsBusyAndModal();
    void withdrawnNoDialogIsShown();
    void theHostIsKnownWhileItLives();
    void exceptionsAreReported();
    void abortCallsBackOnTheGuiThread_data();
    void abortCallsBackOnTheGuiThread();
    void abortSkipsWaitingItems_data();
    void abortSkipsWaitingItems();
    void abortNeedsNoCallback();
    void eventsAreHandledWhileTheLastItemsEnd();
    void escapeAbortsToo();
    void abortFromOutsideEndsTheDialog();
    void withoutAbortNothingIsCalledBack();
    void noWorkRunsAfterReturn_data();
    void noWorkRunsAfterReturn();

private:
    std::unique_ptr<JobDialogs> m_dialogs;
};

void TestJobDialogs::noItemsEndAtOnce()
{
    // Were the dialog to stay, this would end it and be seen.
    bool tooLate = false;
    QTimer late;
    connect(&late, &QTimer::timeout, this, [&tooLate] {
        tooLate = true;
        if (auto *dialog = qobject_cast<QProgressDialog *>(QApplication::activeModalWidget()))
            dialog->reset();
    });
    late.start(timeLimit);
    int calls = 0;
    int callbacks = 0;
    QList<int> items;
    const LogCapture log;
    QCOMPARE(run(
                 items, [&calls](int &) { ++calls; }, [&callbacks] { ++callbacks; }),
             Outcome::Finished);
    QVERIFY(!tooLate);
    QCOMPARE(calls, 0);
    QCOMPARE(callbacks, 0);
    QCOMPARE(log.warnings(), QStringList());
}

void TestJobDialogs::dialogIsBusyAndModal()
{
    ProgressWatch watch;
    std::atomic<bool> released{false};
    watch.onShown = [&released] { released = true; };
    QList<int> items{1};
    bool inTime = false;
    QCOMPARE(run(items, [&](int &) { inTime = waitFor([&released] { return released.load(); }); }),
             Outcome::Finished);
    QVERIFY(inTime);
    QVERIFY(watch.seen);
    QCOMPARE(watch.label, label);
    QCOMPARE(watch.button, QStringLiteral("Abort"));
    QCOMPARE(watch.minimum, 0);
    QCOMPARE(watch.maximum, 0);
    QCOMPARE(watch.modality, Qt::WindowModal);
    QVERIFY(!watch.hasParent);
    QVERIFY(!QApplication::activeModalWidget());
    for (QWidget *widget : QApplication::topLevelWidgets())
        QVERIFY(!qobject_cast<QProgressDialog *>(widget));
}

void TestJobDialogs::withdrawnNoDialogIsShown()
{
    m_dialogs.reset();
    int dialogs = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this,
            [&dialogs] { dialogs += QApplication::activeModalWidget() ? 1 : 0; });
    timer.start(1);
    QList<int> items = itemList(20);
    QCOMPARE(run(items, [](int &) { QThread::msleep(2); }), Outcome::Finished);
    QCOMPARE(dialogs, 0);
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
}

void TestJobDialogs::theHostIsKnownWhileItLives()
{
    QCOMPARE(ModalJob::dialogHost(), m_dialogs.get());
    auto later = std::make_unique<JobDialogs>();
    QCOMPARE(ModalJob::dialogHost(), later.get());
    m_dialogs.reset(); // no longer the one
    QCOMPARE(ModalJob::dialogHost(), later.get());
    later.reset();
    QCOMPARE(ModalJob::dialogHost(), nullptr);
}

void TestJobDialogs::exceptionsAreReported()
{
    QList<int> items = itemList(5);
    const LogCapture log;
    const ModalJob::Result result =
        ModalJob::run(label, items, [](int &) { throw std::runtime_error("the disk is on fire"); });
    QCOMPARE(result.outcome, Outcome::Failed);
    QCOMPARE(result.error, QStringLiteral("the disk is on fire"));
    QCOMPARE(log.warnings(), QStringList{result.error});
    QVERIFY(!QApplication::activeModalWidget());
}

void TestJobDialogs::abortCallsBackOnTheGuiThread_data()
{
    QTest::addColumn<ProgressWatch::Way>("way");
    QTest::newRow("button") << ProgressWatch::Way::Button;
    QTest::newRow("Escape key") << ProgressWatch::Way::EscapeKey;
    QTest::newRow("window closed") << ProgressWatch::Way::WindowButton;
}

void TestJobDialogs::abortCallsBackOnTheGuiThread()
{
    QFETCH(ProgressWatch::Way, way);
    const PoolThreads pool(1);
    std::atomic<bool> started{false};
    std::atomic<bool> released{false};
    bool inTime = false;
    QList<QThread *> threads;
    ProgressWatch watch;
    watch.abort(way, [&started] { return started.load(); });
    QList<int> items = itemList(5);
    const LogCapture log;
    QCOMPARE(run(
                 items,
                 [&](int &) {
                     started = true;
                     inTime = waitFor([&released] { return released.load(); });
                 },
                 [&] {
                     threads.append(QThread::currentThread());
                     released = true; // the item in work ends only because of the call
                 }),
             Outcome::Aborted);
    QVERIFY(watch.aborted);
    QVERIFY(inTime);
    QCOMPARE(threads, QList<QThread *>{qApp->thread()});
    QCOMPARE(log.warnings(), QStringList());
}

void TestJobDialogs::abortSkipsWaitingItems_data()
{
    QTest::addColumn<int>("threads");
    QTest::newRow("one thread") << 1;
    QTest::newRow("three threads") << 3;
}

void TestJobDialogs::abortSkipsWaitingItems()
{
    QFETCH(int, threads);
    const PoolThreads pool(threads);
    std::atomic<int> begun{0};
    std::atomic<int> ended{0};
    std::atomic<bool> released{false};
    ProgressWatch watch;
    watch.abort(ProgressWatch::Way::Button, [&] { return begun == threads; });
    QList<int> items = itemList(1000);
    QCOMPARE(run(
                 items,
                 [&](int &) {
                     ++begun;
                     waitFor([&released] { return released.load(); });
                     ++ended;
                 },
                 [&released] { released = true; }),
             Outcome::Aborted);
    QVERIFY(watch.aborted);
    QCOMPARE(begun.load(), threads);
    QCOMPARE(ended.load(), threads); // what was in work is finished
}

void TestJobDialogs::abortNeedsNoCallback()
{
    const PoolThreads pool(1);
    std::atomic<bool> released{false};
    std::atomic<int> begun{0};
    ProgressWatch watch;
    watch.abort(ProgressWatch::Way::Button, [&begun] { return begun > 0; });
    watch.onAborted = [&released] { released = true; };
    QList<int> items = itemList(1000);
    QCOMPARE(run(items,
                 [&](int &) {
                     ++begun;
                     waitFor([&released] { return released.load(); });
                 }),
             Outcome::Aborted);
    QVERIFY(watch.aborted);
    QCOMPARE(begun.load(), 1);
}

void TestJobDialogs::eventsAreHandledWhileTheLastItemsEnd()
{
    const PoolThreads pool(1);
    std::atomic<bool> begun{false};
    std::atomic<bool> released{false};
    bool inTime = false;
    ProgressWatch watch;
    watch.abort(ProgressWatch::Way::Button, [&begun] { return begun.load(); });
    QList<int> items = itemList(5);
    QCOMPARE(run(
                 items,
                 [&](int &) {
                     begun = true;
                     inTime = waitFor([&released] { return released.load(); });
                 },
                 [this, &released] {
                     // Only an event loop that still runs lets the item in work end.
                     QTimer::singleShot(50, this, [&released] { released = true; });
                 }),
             Outcome::Aborted);
    QVERIFY(watch.aborted);
    QVERIFY(inTime);
    QVERIFY(!QApplication::overrideCursor());
}

void TestJobDialogs::escapeAbortsToo()
{
    const PoolThreads pool(1);
    std::atomic<int> begun{0};
    std::atomic<bool> released{false};
    ProgressWatch watch;
    watch.abort(ProgressWatch::Way::EscapeKey, [&begun] { return begun == 1; });
    QList<int> items = itemList(1000);
    QCOMPARE(run(
                 items,
                 [&](int &) {
                     ++begun;
                     waitFor([&released] { return released.load(); });
                 },
                 [&released] { released = true; }),
             Outcome::Aborted);
    QVERIFY(watch.aborted);
    QCOMPARE(begun.load(), 1);
}

void TestJobDialogs::abortFromOutsideEndsTheDialog()
{
    const PoolThreads pool(1);
    std::atomic<int> begun{0};
    std::atomic<bool> released{false};
    bool inTime = false;
    ProgressWatch watch;
    watch.onShown = [&begun] {
        QTRY_VERIFY(begun > 0);
        ModalJob::abort();
    };
    QTimer gone;
    connect(&gone, &QTimer::timeout, this,
            [&] { released = released || (watch.seen && !QApplication::activeModalWidget()); });
    gone.start(1);
    int callbacks = 0;
    QList<int> items = itemList(1000);
    QCOMPARE(run(
                 items,
                 [&](int &) {
                     ++begun;
                     inTime = waitFor([&released] { return released.load(); });
                 },
                 [&callbacks] { ++callbacks; }),
             Outcome::Aborted);
    QVERIFY(inTime);
    QCOMPARE(begun.load(), 1);
    QCOMPARE(callbacks, 1);
}

void TestJobDialogs::withoutAbortNothingIsCalledBack()
{
    int callbacks = 0;
    std::atomic<bool> released{false};
    ProgressWatch watch;
    watch.onShown = [&released] { released = true; };
    QList<int> items = itemList(10);
    QCOMPARE(run(
                 items, [&released](int &) { waitFor([&released] { return released.load(); }); },
                 [&callbacks] { ++callbacks; }),
             Outcome::Finished);
    QVERIFY(released);
    QCoreApplication::processEvents();
    QCOMPARE(callbacks, 0);
}

void TestJobDialogs::noWorkRunsAfterReturn_data()
{
    QTest::addColumn<bool>("fails");
    QTest::newRow("aborted") << false;
    QTest::newRow("failed") << true;
}

void TestJobDialogs::noWorkRunsAfterReturn()
{
    QFETCH(bool, fails);
    const PoolThreads pool(3);
    std::atomic<int> begun{0};
    std::atomic<int> inWork{0};
    std::atomic<bool> leaving{false};
    ProgressWatch watch;
    watch.abort(ProgressWatch::Way::Button, [&] { return !fails && begun >= 3; });
    watch.onAborted = [&leaving] { leaving = true; };
    QList<int> items = itemList(1000);
    const LogCapture log;
    const Outcome outcome = run(items, [&](int &item) {
        ++begun;
        ++inWork;
        if (fails && item == 0) {
            waitFor([&begun] { return begun >= 3; });
            leaving = true;
            --inWork;
            throw std::out_of_range("index 7 of 3");
        }
        waitFor([&leaving] { return leaving.load(); });
        QThread::msleep(100); // the others go on for a while
        --inWork;
    });
    const int stillInWork = inWork;
    const int begunAtReturn = begun;
    QCOMPARE(outcome, fails ? Outcome::Failed : Outcome::Aborted);
    QCOMPARE(watch.aborted, !fails);
    QCOMPARE(stillInWork, 0);
    QVERIFY(begunAtReturn < 1000);
    QVERIFY(QThreadPool::globalInstance()->waitForDone(timeLimit));
    QCOMPARE(begun.load(), begunAtReturn);
}

QTEST_MAIN(TestJobDialogs)
#include "tst_jobdialogs.moc"
