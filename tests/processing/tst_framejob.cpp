// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/framejob.h"

#include "tests/support/jobitems.h"
#include "tests/support/logcapture.h"
#include "tests/support/poolthreads.h"
#include "tests/support/progresswatch.h"

#include <QtTest>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace
{

using ModalJob::Outcome;

const QString label = QStringLiteral("Working. Please wait.");
const QString reason = QStringLiteral("a reason for people");

/// What a work item throws on `frame`.
FrameJob::Error errorOn(int frame)
{
    return FrameJob::Error(frame, reason, "step to frame " + std::to_string(frame));
}

/// An error that holds on to something as long as it lives.
class ErrorWithToken : public FrameJob::Error
{
public:
    ErrorWithToken(const FrameJob::Error &error, std::shared_ptr<void> token)
        : FrameJob::Error(error)
        , m_token(std::move(token))
    {
    }

private:
    std::shared_ptr<void> m_token;
};

} // namespace

class TestFrameJob : public QObject
{
    Q_OBJECT

private slots:
    void anErrorHoldsWhatUserAndLogAreTold();
    void everyItemIsWorked();
    void aFailureNamesItsFrameAndReason();
    void theFirstOfSeveralErrorsIsKept();
    void anotherExceptionNamesNoFrame();
    void abortingIsNoFailure();
};

void TestFrameJob::anErrorHoldsWhatUserAndLogAreTold()
{
    const FrameJob::Error error = errorOn(7);
    QCOMPARE(error.frame, 7);
    QCOMPARE(error.reason, reason);
    QCOMPARE(error.what(), "step to frame 7");
}

void TestFrameJob::everyItemIsWorked()
{
    QList<int> items = itemList(20);
    const LogCapture log;
    int callbacks = 0;
    const FrameJob::Result result = FrameJob::run(
        label, items, [](int &item) { item *= 3; }, [&callbacks] { ++callbacks; });
    QCOMPARE(result.outcome, Outcome::Finished);
    QCOMPARE(result.failedFrame, -1);
    QCOMPARE(result.reason, QString());
    for (int i = 0; i < items.size(); ++i)
        QCOMPARE(items.at(i), 3 * i);
    QCOMPARE(callbacks, 0);
    QCOMPARE(log.warnings(), QStringList());
}

void TestFrameJob::aFailureNamesItsFrameAndReason()
{
    const PoolThreads pool(1); // so that the items come one after the other
    QList<int> worked;
    QList<int> items = itemList(20);
    const LogCapture log;
    const FrameJob::Result result = FrameJob::run(label, items, [&worked](int &item) {
        worked.append(item);
        if (item == 3)
            throw errorOn(45);
    });
    QCOMPARE(result.outcome, Outcome::Failed);
    QCOMPARE(result.failedFrame, 45);
    QCOMPARE(result.reason, reason);
    QCOMPARE(worked, itemList(4));
    QCOMPARE(log.warnings(), QStringList{QStringLiteral("step to frame 45")});
}

// The second item throws when the first one's error has been handled, which is when it goes away.
void TestFrameJob::theFirstOfSeveralErrorsIsKept()
{
    const PoolThreads pool(2);
    std::atomic<bool> secondBegun{false};
    std::atomic<bool> firstHandled{false};
    const auto atItsEnd = [&firstHandled](void *) { firstHandled = true; };
    bool inTime = false;
    const LogCapture log;
    QList<int> items = itemList(2);
    const FrameJob::Result result = FrameJob::run(label, items, [&](int &item) {
        if (item == 1) {
            secondBegun = true;
            inTime = waitFor([&firstHandled] { return firstHandled.load(); });
            throw errorOn(11);
        }
        waitFor([&secondBegun] { return secondBegun.load(); });
        throw ErrorWithToken(errorOn(10), std::shared_ptr<void>(nullptr, atItsEnd));
    });
    QVERIFY(inTime);
    QCOMPARE(result.outcome, Outcome::Failed);
    QCOMPARE(result.failedFrame, 10);
    QCOMPARE(log.warnings(), QStringList{QStringLiteral("step to frame 10")});
}

void TestFrameJob::anotherExceptionNamesNoFrame()
{
    QList<int> items = itemList(5);
    const LogCapture log;
    const FrameJob::Result result =
        FrameJob::run(label, items, [](int &) { throw std::runtime_error("the disk is on fire"); });
    QCOMPARE(result.outcome, Outcome::Failed);
    QCOMPARE(result.failedFrame, -1);
    QCOMPARE(result.reason, QString());
    QCOMPARE(log.warnings(), QStringList{QStringLiteral("the disk is on fire")});
}

void TestFrameJob::abortingIsNoFailure()
{
    const PoolThreads pool(1);
    std::atomic<int> begun{0};
    std::atomic<bool> released{false};
    bool inTime = false;
    ProgressWatch watch;
    watch.abort(ProgressWatch::Way::Button, [&begun] { return begun > 0; });
    QList<int> items = itemList(1000);
    const FrameJob::Result result = FrameJob::run(
        label, items,
        [&](int &) {
            ++begun;
            inTime = waitFor([&released] { return released.load(); });
        },
        [&released] { released = true; }); // the item in work ends only because of the call
    QVERIFY(watch.aborted);
    QVERIFY(inTime);
    QCOMPARE(result.outcome, Outcome::Aborted);
    QCOMPARE(result.failedFrame, -1);
    QCOMPARE(begun.load(), 1);
}

QTEST_MAIN(TestFrameJob)
#include "tst_framejob.moc"
