// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/processmark.h"

#include <QProcess>
#include <QSysInfo>
#include <QtTest>

#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

class TestProcessMark : public QObject
{
    Q_OBJECT

private slots:
    void aRunningProcessMayRun();
    void aProcessThatHasEndedMayNot();
    void aDeadProcessThatNobodyAskedForMayNot();
    void whatCannotBeToldMayRun_data();
    void whatCannotBeToldMayRun();
    void aMarkFromBeforeTheLastBootIsOver();
    void theMachineMayBeRenamed();
};

namespace
{

/// This process's mark with another text in one of its fields.
QByteArray markWith(int field, const QByteArray &text)
{
    QList<QByteArray> fields = ProcessMark::own().split(' ');
    fields[field] = text;
    return fields.join(' ');
}

} // namespace

void TestProcessMark::aRunningProcessMayRun()
{
    const QByteArray mark = ProcessMark::own();
    QVERIFY(mark.contains(QByteArray::number(QCoreApplication::applicationPid())));
    QVERIFY(!mark.contains('\n'));
    QVERIFY(ProcessMark::mayRun(mark));
}

// Its id alone says nothing: another process can have got it meanwhile.
void TestProcessMark::aProcessThatHasEndedMayNot()
{
    QVERIFY(!ProcessMark::mayRun(markWith(4, "1"))); // same id, another start
    QProcess other;
    other.start(QStringLiteral("true"), QStringList());
    QVERIFY(other.waitForStarted());
    const QByteArray id = QByteArray::number(other.processId());
    QVERIFY(other.waitForFinished());
    QVERIFY(!ProcessMark::mayRun(markWith(3, id)));
}

// What is killed stays in the list of processes until its parent asks for its end.
void TestProcessMark::aDeadProcessThatNobodyAskedForMayNot()
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    QVERIFY(child > 0);
    siginfo_t ended;
    QCOMPARE(::waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
    QFile stat(QStringLiteral("/proc/%1/stat").arg(child));
    QVERIFY(stat.open(QIODevice::ReadOnly));
    const QByteArray startTime = stat.readAll().split(' ').value(21);
    QVERIFY(!startTime.isEmpty());
    QList<QByteArray> fields = ProcessMark::own().split(' ');
    fields[3] = QByteArray::number(child);
    fields[4] = startTime;
    const bool mayRun = ProcessMark::mayRun(fields.join(' '));
    ::waitpid(child, nullptr, 0);
    QVERIFY(!mayRun);
}

void TestProcessMark::whatCannotBeToldMayRun_data()
{
    QTest::addColumn<QByteArray>("mark");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("no mark") << QByteArray("12345");
    QTest::newRow("another machine") << markWith(0, "@elsewhere/1");
    QTest::newRow("another namespace") << markWith(2, "&pid:[1]");
    QTest::newRow("cut off") << ProcessMark::own().left(20);
}

void TestProcessMark::whatCannotBeToldMayRun()
{
    QFETCH(QByteArray, mark);
    QVERIFY(ProcessMark::mayRun(mark));
}

void TestProcessMark::aMarkFromBeforeTheLastBootIsOver()
{
    QVERIFY(!ProcessMark::mayRun(markWith(1, "#an-earlier-one")));
}

// As the network does it, and a container that is made anew.
void TestProcessMark::theMachineMayBeRenamed()
{
    if (QSysInfo::machineUniqueId().isEmpty())
        QSKIP("this machine has no id");
    const QByteArray ended = markWith(4, "1");
    const pid_t child = ::fork();
    if (child == 0) {
        const char name[] = "renamed-meanwhile";
        if (::unshare(CLONE_NEWUTS) != 0 || ::sethostname(name, sizeof name - 1) != 0)
            ::_exit(2);
        ::_exit(ProcessMark::mayRun(ended) ? 1 : 0);
    }
    int status = 0;
    QCOMPARE(::waitpid(child, &status, 0), child);
    QVERIFY(WIFEXITED(status));
    if (WEXITSTATUS(status) == 2)
        QSKIP("this user cannot rename the machine for a process");
    QCOMPARE(WEXITSTATUS(status), 0);
}

QTEST_GUILESS_MAIN(TestProcessMark)
#include "tst_processmark.moc"
