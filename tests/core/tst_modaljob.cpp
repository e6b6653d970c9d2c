// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/modaljob.h"
#include "tests/support/jobitems.h"
#include "tests/support/logcapture.h"
#include "tests/support/poolthreads.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using ModalJob::Outcome;

const QString label = QStringLiteral("Working. Please wait.");

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

/// Leaves every event to what follows it.
class NoEvents : public ModalJob::DialogHost
{
public:
    NoEvents() { ModalJob::setDialogHost(this); }
    ~NoEvents() override { ModalJob::setDialogHost(nullptr); }
    Q_DISABLE_COPY(NoEvents)

    void run(const QString & /*label*/, QFutureWatcher<void> &watcher, const std::function<void()> &start,
             const std::function<void()> & /*onAbort*/) override
    {
        start();
        watcher.waitForFinished();
    }
};

Outcome run(QList<int> &items, const std::function<void(int &)> &work)
{
    return ModalJob::run(label, items, work).outcome;
}

} // namespace

Q_DECLARE_METATYPE(Thrower)

class TestModalJob : public QObject
{
    Q_OBJECT

private slots:
    void everyItemIsWorkedOnce_data();
    void everyItemIsWorkedOnce();
    void workMayChangeItsItem();
    void workRunsOnPoolThreads();

    void anExceptionEndsTheRunAndIsLogged_data();
    void anExceptionEndsTheRunAndIsLogged();
    void oneOfSeveralExceptionsIsLogged();
    void aRunAfterAFailedOneSucceeds();

    void withoutAHostEventsAreProcessed();

    void aJobRunsUntilItsLastAnnouncementArrived();
    void aJobWithinAJobLeavesTheOuterOneRunning();
    void aJobIsAbortedFromOutside();
    void withoutAJobThereIsNothingToAbort();
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
    QCOMPARE(run(items,
                 [&onGuiThread](int &) {
                     onGuiThread +=
                         QThread::currentThread() == QCoreApplication::instance()->thread() ? 1 : 0;
                 }),
             Outcome::Finished);
    QCOMPARE(onGuiThread.load(), 0);
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

void TestModalJob::withoutAHostEventsAreProcessed()
{
    std::atomic<bool> released{false};
    bool inTime = false;
    QTimer::singleShot(0, this, [&released] { released = true; });
    QList<int> items{1};
    QCOMPARE(run(items, [&](int &) { inTime = waitFor([&released] { return released.load(); }); }),
             Outcome::Finished);
    QVERIFY(inTime);
}

// ---------------------------------------------------------------------------------------------------------

void TestModalJob::aJobRunsUntilItsLastAnnouncementArrived()
{
    const NoEvents host;
    QVERIFY(!ModalJob::isRunning());
    QList<bool> seen;
    QList<int> items{1};
    QCOMPARE(run(items,
                 [this, &seen](int &) {
                     QMetaObject::invokeMethod(
                         this, [&seen] { seen.append(ModalJob::isRunning()); }, Qt::QueuedConnection);
                 }),
             Outcome::Finished);
    QCOMPARE(seen, QList<bool>{true});
    QVERIFY(!ModalJob::isRunning());
    const LogCapture log;
    QCOMPARE(run(items, [](int &) { throwNumber(); }), Outcome::Failed);
    QVERIFY(!ModalJob::isRunning());
}

void TestModalJob::aJobWithinAJobLeavesTheOuterOneRunning()
{
    const PoolThreads pool(2);
    std::atomic<bool> released{false};
    bool stillRunning = false;
    QTimer::singleShot(0, this, [&] {
        QList<int> inner = itemList(3);
        QCOMPARE(run(inner, [](int &) {}), Outcome::Finished);
        stillRunning = ModalJob::isRunning();
        released = true;
    });
    QList<int> items{1};
    QCOMPARE(run(items, [&released](int &) { waitFor([&released] { return released.load(); }); }),
             Outcome::Finished);
    QVERIFY(stillRunning);
    QVERIFY(!ModalJob::isRunning());
}

void TestModalJob::aJobIsAbortedFromOutside()
{
    const PoolThreads pool(1);
    int callbacks = 0;
    std::atomic<int> begun{0};
    std::atomic<bool> released{false};
    QList<int> items = itemList(100);
    const ModalJob::Result result = ModalJob::run(
        label, items,
        [&](int &) {
            ++begun;
            QMetaObject::invokeMethod(
                this,
                [] {
                    ModalJob::abort();
                    ModalJob::abort(); // once is enough
                },
                Qt::QueuedConnection);
            waitFor([&released] { return released.load(); });
        },
        [&] {
            ++callbacks;
            released = true;
        });
    QCOMPARE(result.outcome, Outcome::Aborted);
    QCOMPARE(begun.load(), 1);
    QCOMPARE(callbacks, 1);
}

void TestModalJob::withoutAJobThereIsNothingToAbort()
{
    ModalJob::abort();
    QList<int> items = itemList(3);
    std::atomic<int> calls{0};
    QCOMPARE(run(items, [&calls](int &) { ++calls; }), Outcome::Finished);
    QCOMPARE(calls.load(), 3);
}

QTEST_GUILESS_MAIN(TestModalJob)
#include "tst_modaljob.moc"
