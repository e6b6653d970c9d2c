// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/leavablecall.h"

#include "tests/support/jobitems.h"
#include "tests/support/poolthreads.h"

#include <QSemaphore>
#include <QThread>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace
{

bool yes()
{
    return true;
}

bool no()
{
    return false;
}

/// Calls that wait until they are let go, and are left behind. Waits for their ends.
class LeftCalls
{
public:
    explicit LeftCalls(int count)
    {
        for (int i = 0; i < count; ++i)
            m_allLeft = !LeavableCall::run([gate = m_gate] { gate->acquire(); }, no) && m_allLeft;
        m_count = count;
    }
    ~LeftCalls() { letGo(); }
    Q_DISABLE_COPY(LeftCalls)

    bool areLeft() const { return m_allLeft && LeavableCall::leftBehind() == m_count; }
    bool letGo()
    {
        m_gate->release(m_count);
        return waitFor([] { return LeavableCall::leftBehind() == 0; });
    }

private:
    std::shared_ptr<QSemaphore> m_gate = std::make_shared<QSemaphore>();
    int m_count = 0;
    bool m_allLeft = true;
};

/// Of calls made at the same time on several threads.
class Concurrency
{
public:
    void call()
    {
        const int now = ++m_now;
        int most = m_most;
        while (now > most && !m_most.compare_exchange_weak(most, now)) {
        }
        waitFor([this] { return m_most >= 2; });
        QThread::msleep(5); // in which a third one could begin
        --m_now;
        ++m_calls;
    }
    int most() const { return m_most; }
    int calls() const { return m_calls; }

private:
    std::atomic<int> m_now{0};
    std::atomic<int> m_most{0};
    std::atomic<int> m_calls{0};
};

} // namespace

class TestLeavableCall : public QObject
{
    Q_OBJECT

private slots:
    void aCallIsMadeOnAnotherThread();
    void aLongCallIsAskedAboutAgainAndAgain();
    void whatACallThrowsIsThrownHere();
    void aCallThatMayNotBeWaitedForIsLeft();
    void aCallThatHasEndedIsNotLeft();
    void whatALeftCallOwnsLivesAsLongAsTheCall();
    void whatALeftCallThrowsIsNotHeard();
    void leftCallsKeepTheirPlaces();
    void whereAllAreLeftTheNextIsRefused();
    void aTurnNeedNotBeWaitedFor();
};

void TestLeavableCall::aCallIsMadeOnAnotherThread()
{
    std::thread::id thread;
    QVERIFY(LeavableCall::run([&thread] { thread = std::this_thread::get_id(); }, yes));
    QVERIFY(thread != std::thread::id());
    QVERIFY(thread != std::this_thread::get_id());
    QCOMPARE(LeavableCall::leftBehind(), 0);
    QVERIFY(!LeavableCall::wasAnyLeft());
}

void TestLeavableCall::aLongCallIsAskedAboutAgainAndAgain()
{
    QSemaphore gate;
    int asked = 0;
    const auto ask = [&] {
        if (++asked == 3)
            gate.release();
        return true;
    };
    bool inTime = false;
    QVERIFY(LeavableCall::run([&] { inTime = gate.tryAcquire(1, timeLimit); }, ask));
    QVERIFY(inTime);
    QVERIFY(!LeavableCall::wasAnyLeft());
}

void TestLeavableCall::whatACallThrowsIsThrownHere()
{
    QString text;
    try {
        LeavableCall::run([] { throw std::runtime_error("the disk is on fire"); }, yes);
    } catch (const std::runtime_error &error) {
        text = QString::fromLatin1(error.what());
    }
    QCOMPARE(text, QStringLiteral("the disk is on fire"));
    QVERIFY(LeavableCall::run([] {}, yes));
}

void TestLeavableCall::aCallThatMayNotBeWaitedForIsLeft()
{
    LeftCalls calls(1);
    QVERIFY(calls.areLeft());
    QVERIFY(LeavableCall::wasAnyLeft());
    QVERIFY(calls.letGo());
    QVERIFY(LeavableCall::wasAnyLeft()); // its thread may still be there
}

// However late the question is answered. The call ends a little after what it does, so that it may be left
// all the same at times.
void TestLeavableCall::aCallThatHasEndedIsNotLeft()
{
    bool heard = false;
    for (int i = 0; i < 20 && !heard; ++i) {
        QSemaphore gate;
        std::atomic<bool> done{false};
        const auto refuseAtTheEnd = [&] {
            gate.release();
            while (!done)
                QThread::yieldCurrentThread();
            QThread::msleep(1);
            return false;
        };
        heard = LeavableCall::run([&] { gate.acquire(), done = true; }, refuseAtTheEnd);
        QVERIFY(waitFor([] { return LeavableCall::leftBehind() == 0; }));
    }
    QVERIFY(heard);
}

void TestLeavableCall::whatALeftCallOwnsLivesAsLongAsTheCall()
{
    auto gate = std::make_shared<QSemaphore>();
    auto owned = std::make_shared<int>(0);
    const std::weak_ptr<int> seen = owned;
    QVERIFY(!LeavableCall::run([gate, owned] { gate->acquire(); }, no));
    owned.reset();
    QVERIFY(!seen.expired());
    gate->release();
    QVERIFY(waitFor([&seen] { return seen.expired(); }));
    QCOMPARE(LeavableCall::leftBehind(), 0);
}

void TestLeavableCall::whatALeftCallThrowsIsNotHeard()
{
    auto gate = std::make_shared<QSemaphore>();
    const auto fail = [gate] {
        gate->acquire();
        throw std::runtime_error("too late");
    };
    QVERIFY(!LeavableCall::run(fail, no));
    gate->release();
    QVERIFY(waitFor([] { return LeavableCall::leftBehind() == 0; }));
}

// Those who come later share what is left of the threads.
void TestLeavableCall::leftCallsKeepTheirPlaces()
{
    const PoolThreads pool(3);
    const LeftCalls calls(1);
    QVERIFY(calls.areLeft());
    Concurrency concurrency;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] { LeavableCall::run([&] { concurrency.call(); }, yes); });
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(concurrency.calls(), 8);
    QCOMPARE(concurrency.most(), 2);
}

void TestLeavableCall::whereAllAreLeftTheNextIsRefused()
{
    const PoolThreads pool(2);
    LeftCalls calls(2);
    QVERIFY(calls.areLeft());
    bool made = false;
    const auto make = [&made] { made = true; };
    QVERIFY_EXCEPTION_THROWN(LeavableCall::run(make, yes), LeavableCall::TooManyLeft);
    QVERIFY(!made);
    QVERIFY(calls.letGo());
    QVERIFY(LeavableCall::run(make, yes));
    QVERIFY(made);
}

void TestLeavableCall::aTurnNeedNotBeWaitedFor()
{
    const PoolThreads pool(1);
    QSemaphore begun;
    QSemaphore gate;
    std::thread first([&] { LeavableCall::run([&] { begun.release(), gate.acquire(); }, yes); });
    begun.acquire();
    bool made = false;
    const bool waitedFor = LeavableCall::run([&made] { made = true; }, no);
    gate.release();
    first.join();
    QVERIFY(!waitedFor);
    QVERIFY(!made);
    QCOMPARE(LeavableCall::leftBehind(), 0);
}

QTEST_GUILESS_MAIN(TestLeavableCall)
#include "tst_leavablecall.moc"
