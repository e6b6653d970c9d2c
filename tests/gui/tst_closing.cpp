// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/mainwindow.h"
#include "core/modaljob.h"
#include "tests/support/jobitems.h"
#include "tests/support/poolthreads.h"
#include "tests/support/progresswatch.h"
#include "tests/support/projectwindow.h"
#include "views/timeline.h"

#include <QMessageBox>
#include <QStatusBar>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <functional>

namespace
{

const char closesLater[] = "The program closes as soon as the work in progress has ended.";

/// A job whose first work item waits until it is released.
class LongJob
{
public:
    /// Aborts it and calls `whileEnding` once the dialog is gone, with the work item still at it.
    void abortedThen(const std::function<void()> &whileEnding)
    {
        m_watch.abort(ProgressWatch::Way::Button, [this] { return m_begun > 0; });
        m_watch.onAborted = [this, whileEnding] { QTimer::singleShot(0, &m_context, whileEnding); };
    }
    /// Calls `whileRunning` with the dialog up and the work item at it.
    void shownThen(const std::function<void()> &whileRunning)
    {
        m_watch.onShown = [this, whileRunning] {
            QVERIFY(waitFor([this] { return m_begun > 0; }));
            whileRunning();
        };
    }
    void release() { m_released = true; }
    ModalJob::Outcome run()
    {
        const PoolThreads pool(1);
        QList<int> items = itemList(100);
        return ModalJob::run(QStringLiteral("Working"), items,
                             [this](int &) {
                                 ++m_begun;
                                 m_inTime = waitFor([this] { return m_released.load(); });
                             })
            .outcome;
    }
    int begun() const { return m_begun; }
    bool wasReleased() const { return m_inTime; }

private:
    ProgressWatch m_watch;
    QObject m_context;
    std::atomic<int> m_begun{0};
    std::atomic<bool> m_released{false};
    std::atomic<bool> m_inTime{false};
};

} // namespace

class TestClosing : public QObject
{
    Q_OBJECT

private slots:
    void withoutAJobTheWindowClosesAtOnce();
    void aRunningJobIsAbortedFirst();
    void aJobThatEndsIsWaitedFor();
    void whatTheJobSaysAtItsEndDoesNotHoldTheWindow();
    void floatingDocksTakeNoInputWhileAJobEnds();
    void aJobThatNobodyClosedLeavesTheWindow();
};

void TestClosing::withoutAJobTheWindowClosesAtOnce()
{
    ProjectWindow project(3);
    QVERIFY(project.show());
    QVERIFY(project.window().close());
    QVERIFY(!project.window().isVisible());
}

void TestClosing::aRunningJobIsAbortedFirst()
{
    ProjectWindow project(3);
    QVERIFY(project.show());
    bool refused = false;
    LongJob job;
    job.shownThen([&] {
        refused = !project.window().close();
        QTimer::singleShot(0, &project.window(), [&job] { job.release(); });
    });
    QCOMPARE(job.run(), ModalJob::Outcome::Aborted);
    QVERIFY(refused);
    QVERIFY(job.wasReleased());
    QCOMPARE(job.begun(), 1);
    QTRY_VERIFY(!project.window().isVisible());
}

void TestClosing::aJobThatEndsIsWaitedFor()
{
    ProjectWindow project(3);
    QVERIFY(project.show());
    bool refused = false;
    bool stayed = false;
    QString message;
    LongJob job;
    job.abortedThen([&] {
        refused = !project.window().close();
        message = project.window().statusBar()->currentMessage();
        QTimer::singleShot(100, &project.window(), [&] { // many looks of the window's
            stayed = project.window().isVisible();
            job.release();
        });
    });
    QCOMPARE(job.run(), ModalJob::Outcome::Aborted);
    QVERIFY(refused);
    QCOMPARE(message, QString(closesLater));
    QVERIFY(stayed);
    QVERIFY(job.wasReleased());
    QTRY_VERIFY(!project.window().isVisible());
}

void TestClosing::whatTheJobSaysAtItsEndDoesNotHoldTheWindow()
{
    ProjectWindow project(3);
    QVERIFY(project.show());
    LongJob job;
    job.abortedThen([&] {
        project.window().close();
        job.release();
    });
    job.run();
    QMessageBox box(QMessageBox::Information, QString(), QStringLiteral("done"));
    QTimer::singleShot(timeLimit, &box, [&box] { box.done(-1); });
    QCOMPARE(box.exec(), static_cast<int>(QDialog::Rejected));
    QTRY_VERIFY(!project.window().isVisible());
}

void TestClosing::floatingDocksTakeNoInputWhileAJobEnds()
{
    ProjectWindow project(3);
    project.timeLine()->setFloating(true);
    QVERIFY(project.show());
    QVERIFY(project.timeLine()->isVisible());
    bool enabled = true;
    LongJob job;
    job.abortedThen([&] {
        enabled = project.timeLine()->isEnabled();
        project.window().close();
        job.release();
    });
    job.run();
    QVERIFY(!enabled);
    QTRY_VERIFY(!project.window().isVisible());
}

void TestClosing::aJobThatNobodyClosedLeavesTheWindow()
{
    ProjectWindow project(3);
    QVERIFY(project.show());
    LongJob job;
    job.abortedThen([&job] { job.release(); });
    QCOMPARE(job.run(), ModalJob::Outcome::Aborted);
    QTest::qWait(50); // many looks of a window that is to be closed
    QVERIFY(project.window().isVisible());
    QCOMPARE(project.window().statusBar()->currentMessage(), QString());
}

QTEST_MAIN(TestClosing)
#include "tst_closing.moc"
