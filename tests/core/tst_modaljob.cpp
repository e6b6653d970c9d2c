// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/jobdialogs.h"
#include "core/modaljob.h"
#include "tests/support/logcapture.h"
#include "tests/support/poolthreads.h"
#include "tests/support/progresswatch.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProgressDialog>
#include <QThread>
#include <QThreadPool>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using ModalJob::Outcome;

constexpr int timeLimit = 30000; // milliseconds that any wait here may take
const QString label = QStringLiteral("Working. Please wait.");

QList<int> itemList(int count)
{
    QList<int> items;
    for (int i = 0; i < count; ++i)
        items.append(i);
    return items;
}

// Waits until `condition` holds; false when the time is up.
bool waitFor(const std::function<bool()> &condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeLimit)
            return false;
        QThread::msleep(1);
    }
    return true;
}

using Thrower = void (*)();

void throwRuntimeError()
{
    throw std::runtime_error("the disk is on fire");
}

void throwOutOfRange()
{
    throw std::out_of_range("index 7 of 3");
}

void throwNumber()
{
    throw 42;
}

void throwText()
{
    throw "a text";
}

void throwEmptyText()
{
    throw std::runtime_error("");
}

void throwPlain()
{
    throw std::exception();
}

Outcome run(QList<int> &items, const std::function<void(int &)> &work,
            const std::function<void()> &onAbort = {})
{
    return ModalJob::run(label, items, work, onAbort).outcome;
}

} // namespace

Q_DECLARE_METATYPE(Thrower)

class TestModalJob : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_dialogs = std::make_unique<JobDialogs>(); }
    void cleanup() { m_dialogs.reset(); }

    void everyItemIsWorkedOnce_data();
    void everyItemIsWorkedOnce();
    void workMayChangeItsItem();
    void workRunsOnPoolThreads();
    void noItemsEndAtOnce();
    void dialogIsBusyAndModal();

    void anExceptionEndsTheRunAndIsLogged_data();
    void anExceptionEndsTheRunAndIsLogged();
    void oneOfSeveralExceptionsIsLogged();
    void aRunAfterAFailedOneSucceeds();

    void abortCallsBackOnTheGuiThread_data();
    void abortCallsBackOnTheGuiThread();
    void abortSkipsWaitingItems_data();
    void abortSkipsWaitingItems();
    void abortNeedsNoCallback();
    void eventsAreHandledWhileTheLastItemsEnd();
    void escapeAbortsToo();
    void withoutAbortNothingIsCalledBack();
    void noWorkRunsAfterReturn_data();
    void noWorkRunsAfterReturn();

    void withoutAHostNoDialogIsShown();
    void withoutAHostEventsAreProcessed();
    void withoutAHostExceptionsAreReported();
    void theHostIsKnownWhileItLives();

private:
    std::unique_ptr<JobDialogs> m_dialogs;
};

void TestModalJob::everyItemIsWorkedOnce_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("threads");
    QTest::newRow("one item") << 1 << 2;
    QTest::newRow("one thread") << 50 << 1;
    QTest::newRow("fewer items than threads") << 3 << 8;
    QTest::newRow("many items") << 5000 << 4;
}

void TestModalJob::everyItemIsWorkedOnce()
{
    QFETCH(int, count);
    QFETCH(int, threads);
    const PoolThreads pool(threads);
    std::vector<std::atomic<int>> counters(static_cast<std::size_t>(count));
    QList<int> items = itemList(count);
    const LogCapture log;
    QCOMPARE(run(items, [&counters](int &item) { ++counters[static_cast<std::size_t>(item)]; }),
             Outcome::Finished);
    for (const std::atomic<int> &counter : counters)
        QCOMPARE(counter.load(), 1);
    QCOMPARE(items, itemList(count));
    QCOMPARE(log.warnings(), QStringList());
}

void TestModalJob::workMayChangeItsItem()
{
    QList<int> items = itemList(20);
    QCOMPARE(run(items, [](int &item) { item *= 3; }), Outcome::Finished);
    for (int i = 0; i < items.size(); ++i)
        QCOMPARE(items.at(i), 3 * i);
}

void TestModalJob::workRunsOnPoolThreads()
{
    std::atomic<int> onGuiThread{0};
    QList<int> items = itemList(20);
    QCOMPARE(run(items, [&onGuiThread](
                            int &) { onGuiThread += QThread::currentThread() == qApp->thread() ? 1 : 0; }),
             Outcome::Finished);
    QCOMPARE(onGuiThread.load(), 0);
}

void TestModalJob::noItemsEndAtOnce()
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

void TestModalJob::dialogIsBusyAndModal()
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

// ---------------------------------------------------------------------------------------------------------

void TestModalJob::anExceptionEndsTheRunAndIsLogged_data()
{
    QTest::addColumn<Thrower>("fail");
    QTest::addColumn<QString>("warning");
    QTest::newRow("std::runtime_error") << &throwRuntimeError << "the disk is on fire";
    QTest::newRow("std::out_of_range") << &throwOutOfRange << "index 7 of 3";
    QTest::newRow("std::exception") << &throwPlain << QString::fromLatin1(std::exception().what());
    QTest::newRow("empty text") << &throwEmptyText << QString();
    // These types have no text of their own.
    QTest::newRow("number") << &throwNumber << "unknown exception";
    QTest::newRow("characters") << &throwText << "unknown exception";
}

void TestModalJob::anExceptionEndsTheRunAndIsLogged()
{
    QFETCH(Thrower, fail);
    QFETCH(QString, warning);
    constexpr int failing = 3;
    const PoolThreads pool(1); // so that the items come one after the other
    QList<int> worked;
    int callbacks = 0;
    QList<int> items = itemList(200);
    const LogCapture log;
    const ModalJob::Result result = ModalJob::run(
        label, items,
        [&](int &item) {
            worked.append(item);
            if (item == failing)
                fail();
        },
        [&callbacks] { ++callbacks; });
    QCOMPARE(result.outcome, Outcome::Failed);
    QCOMPARE(result.error, warning);
    QCOMPARE(worked, itemList(failing + 1));
    QCOMPARE(callbacks, 0); // nobody pressed "Abort"
    QCOMPARE(log.warnings(), QStringList{warning});
    const LogCapture::Message message = log.messages().last();
    QCOMPARE(message.category, QStringLiteral("default"));
    QVERIFY2(message.file.startsWith(QLatin1String("core/modaljob")), qPrintable(message.file));
    QVERIFY(!QApplication::activeModalWidget());
}

void TestModalJob::oneOfSeveralExceptionsIsLogged()
{
    const PoolThreads pool(4);
    std::atomic<int> inWork{0};
    QList<int> items = itemList(4);
    const LogCapture log;
    QCOMPARE(run(items,
                 [&inWork](int &item) {
                     ++inWork;
                     waitFor([&inWork] { return inWork == 4; });
                     throw std::runtime_error("item " + std::to_string(item));
                 }),
             Outcome::Failed);
    QCOMPARE(inWork.load(), 4);
    QCOMPARE(log.warnings().size(), 1);
    QVERIFY2(log.warnings().first().startsWith(QLatin1String("item ")), qPrintable(log.warnings().first()));
}

void TestModalJob::aRunAfterAFailedOneSucceeds()
{
    QList<int> items = itemList(10);
    {
        const LogCapture log;
        QCOMPARE(run(items, [](int &) { throwNumber(); }), Outcome::Failed);
    }
    std::atomic<int> calls{0};
    const LogCapture log;
    QCOMPARE(run(items, [&calls](int &) { ++calls; }), Outcome::Finished);
    QCOMPARE(calls.load(), 10);
    QCOMPARE(log.warnings(), QStringList());
}

// ---------------------------------------------------------------------------------------------------------

void TestModalJob::abortCallsBackOnTheGuiThread_data()
{
    QTest::addColumn<ProgressWatch::Way>("way");
    QTest::newRow("button") << ProgressWatch::Way::Button;
    QTest::newRow("Escape key") << ProgressWatch::Way::EscapeKey;
    QTest::newRow("window closed") << ProgressWatch::Way::WindowButton;
}

void TestModalJob::abortCallsBackOnTheGuiThread()
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

void TestModalJob::abortSkipsWaitingItems_data()
{
    QTest::addColumn<int>("threads");
    QTest::newRow("one thread") << 1;
    QTest::newRow("three threads") << 3;
}

void TestModalJob::abortSkipsWaitingItems()
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

void TestModalJob::abortNeedsNoCallback()
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

void TestModalJob::eventsAreHandledWhileTheLastItemsEnd()
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

void TestModalJob::escapeAbortsToo()
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

void TestModalJob::withoutAbortNothingIsCalledBack()
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

void TestModalJob::noWorkRunsAfterReturn_data()
{
    QTest::addColumn<bool>("fails");
    QTest::newRow("aborted") << false;
    QTest::newRow("failed") << true;
}

void TestModalJob::noWorkRunsAfterReturn()
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
            throwOutOfRange();
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

// ---------------------------------------------------------------------------------------------------------

void TestModalJob::withoutAHostNoDialogIsShown()
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

void TestModalJob::withoutAHostEventsAreProcessed()
{
    m_dialogs.reset();
    std::atomic<bool> released{false};
    bool inTime = false;
    QTimer::singleShot(0, this, [&released] { released = true; });
    QList<int> items{1};
    QCOMPARE(run(items, [&](int &) { inTime = waitFor([&released] { return released.load(); }); }),
             Outcome::Finished);
    QVERIFY(inTime);
}

void TestModalJob::withoutAHostExceptionsAreReported()
{
    m_dialogs.reset();
    QList<int> items = itemList(5);
    const LogCapture log;
    const ModalJob::Result result = ModalJob::run(label, items, [](int &) { throwRuntimeError(); });
    QCOMPARE(result.outcome, Outcome::Failed);
    QCOMPARE(result.error, QStringLiteral("the disk is on fire"));
    QCOMPARE(log.warnings(), QStringList{result.error});
}

void TestModalJob::theHostIsKnownWhileItLives()
{
    QCOMPARE(ModalJob::dialogHost(), m_dialogs.get());
    auto later = std::make_unique<JobDialogs>();
    QCOMPARE(ModalJob::dialogHost(), later.get());
    m_dialogs.reset(); // no longer the one
    QCOMPARE(ModalJob::dialogHost(), later.get());
    later.reset();
    QCOMPARE(ModalJob::dialogHost(), nullptr);
}

QTEST_MAIN(TestModalJob)
#include "tst_modaljob.moc"
