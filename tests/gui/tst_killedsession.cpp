// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "core/recovery.h"
#include "tests/gui/programfixture.h"
#include "tests/gui/sessionlog.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

#include <csignal>
#include <map>
#include <random>
#include <vector>

namespace
{

constexpr int clipFrames = 30;
constexpr int startTimeLimit = 60000; // milliseconds
constexpr int atOnce = 5;             // sessions that share the folder

int numberFrom(const char *variable, int byDefault)
{
    return qEnvironmentVariableIsSet(variable) ? qEnvironmentVariableIntValue(variable) : byDefault;
}

/// An editing session in a process of its own.
struct Session {
    QString clip;
    QString log;
    QProcess process;
    int killAfter = 0;   // milliseconds from the start of the editing
    qint64 killedAt = 0; // SessionLog::now()
    bool isRestored = false;
};

/// What the kills of one run came to.
struct Tally {
    int kills = 0;
    int restored = 0;
    int gestures = 0;
    qint64 worstLoss = 0; // milliseconds that the oldest lost change was old
};

} // namespace

/// Kills sessions of editing at random moments and restores their work the way a user does. The environment
/// can ask for more: PALU_KILLS sessions at PALU_KILL_FACTOR times the program's own pace, from
/// PALU_KILL_SEED on.
class TestKilledSession : public QObject
{
    Q_OBJECT

public:
    static void initMain() { useTemporaryHome(); }

private slots:
    void atMostTheLastHalfMinuteIsLost();

private:
    void killSessions(int count);
    void start(Session &session, int number);
    void edit(std::vector<std::unique_ptr<Session>> &sessions);
    void restore(std::vector<std::unique_ptr<Session>> &sessions);
    void judge(Session &session, const SessionLog::Entry &restored);
    void judgeUnrestored(const Session &session);
    void judgeLoss(const Session &session, const QVector<SessionLog::Entry> &log, int kept);

    const int m_factor = numberFrom("PALU_KILL_FACTOR", 6);
    std::mt19937 m_random{static_cast<unsigned>(numberFrom("PALU_KILL_SEED", 1))};
    QTemporaryDir m_folder;
    Tally m_tally;
};

void TestKilledSession::atMostTheLastHalfMinuteIsLost()
{
    const int kills = numberFrom("PALU_KILLS", 10);
    QVERIFY(m_factor > 0 && kills > 0);
    QVERIFY(!encodeClip(m_folder.path(), "clip", clipFrames).isEmpty());
    while (m_tally.kills < kills && !QTest::currentTestFailed())
        killSessions(qMin(atOnce, kills - m_tally.kills));
    qInfo("%d kills at %d times the pace: %d projects restored, %d gestures made, at most the last %lld ms "
          "lost (limit %d ms)",
          m_tally.kills, m_factor, m_tally.restored, m_tally.gestures, m_tally.worstLoss,
          SessionLog::limit(m_factor));
    QVERIFY(m_tally.restored > 0);
}

void TestKilledSession::killSessions(int count)
{
    std::vector<std::unique_ptr<Session>> sessions;
    for (int i = 0; i < count; ++i) {
        sessions.push_back(std::make_unique<Session>());
        start(*sessions.back(), m_tally.kills + i);
    }
    edit(sessions);
    if (QTest::currentTestFailed())
        return;
    restore(sessions);
    m_tally.kills += count;
}

void TestKilledSession::start(Session &session, int number)
{
    session.clip = m_folder.filePath(QStringLiteral("clip-%1.mp4").arg(number));
    session.log = m_folder.filePath(QStringLiteral("log-%1").arg(number));
    const int longest = SessionLog::times(m_factor).whileChanging * 3;
    session.killAfter = static_cast<int>(m_random() % static_cast<unsigned>(longest));
    QVERIFY(QFile::copy(m_folder.filePath("clip.mp4"), session.clip));
    const QString program = QCoreApplication::applicationDirPath() + "/palu_editingsession";
    session.process.setProcessChannelMode(QProcess::ForwardedChannels);
    session.process.start(program, {m_folder.filePath("recovery"), session.clip, QString::number(m_random()),
                                    QString::number(m_factor), session.log});
    QVERIFY2(session.process.waitForStarted(), qPrintable(session.process.errorString()));
}

/// Kills every session at its time after its first line.
void TestKilledSession::edit(std::vector<std::unique_ptr<Session>> &sessions)
{
    for (const auto &session : sessions) {
        QTRY_VERIFY_WITH_TIMEOUT(!SessionLog::read(session->log).isEmpty(), startTimeLimit);
        QTimer::singleShot(session->killAfter, Qt::PreciseTimer, &session->process, [&session] {
            session->killedAt = SessionLog::now();
            ::kill(static_cast<pid_t>(session->process.processId()), SIGKILL);
        });
    }
    for (const auto &session : sessions) {
        QTRY_COMPARE_WITH_TIMEOUT(session->process.state(), QProcess::NotRunning,
                                  session->killAfter + startTimeLimit);
        QVERIFY2(session->killedAt > 0, "the session has ended by itself");
        QCOMPARE(session->process.exitStatus(), QProcess::CrashExit);
    }
}

/// Restores whatever is offered at the next start, and saves it.
void TestKilledSession::restore(std::vector<std::unique_ptr<Session>> &sessions)
{
    ProgramFixture program;
    program->setRecovery(m_folder.filePath("recovery"));
    auto *button = program->findChild<QToolButton *>("recoveryRestore");
    for (int i = 0; button->isVisible(); ++i) {
        QVERIFY2(i < atOnce, "more copies than sessions");
        program.click(button);
        QVERIFY2(g_state->videoLoaded, "a copy does not open");
        const SessionLog::Entry restored = SessionLog::entryOfProject();
        for (const auto &session : sessions) {
            if (QFileInfo(session->clip).fileName() == g_state->video->fileName())
                judge(*session, restored);
        }
        QCOMPARE(program.saveAs(m_folder.filePath(QStringLiteral("restored-%1").arg(m_tally.restored))),
                 QString());
    }
    for (const auto &session : sessions) {
        if (!session->isRestored)
            judgeUnrestored(*session);
        m_tally.gestures += SessionLog::read(session->log).size();
    }
    QCOMPARE(QDir(m_folder.filePath("recovery")).entryList(QDir::Files), QStringList());
}

void TestKilledSession::judge(Session &session, const SessionLog::Entry &restored)
{
    QVERIFY2(!session.isRestored, "two copies of one session");
    session.isRestored = true;
    ++m_tally.restored;
    const QVector<SessionLog::Entry> log = SessionLog::read(session.log);
    int kept = log.size() - 1;
    while (kept >= 0 && log.at(kept).project != restored.project)
        --kept;
    QVERIFY2(kept >= 0, "what was restored never was");
    judgeLoss(session, log, kept);
}

/// Without a copy there is what was saved last, or the project as it began.
void TestKilledSession::judgeUnrestored(const Session &session)
{
    const QVector<SessionLog::Entry> log = SessionLog::read(session.log);
    int kept = log.size() - 1;
    while (kept > 0 && !log.at(kept).isSaved)
        --kept;
    judgeLoss(session, log, kept);
}

void TestKilledSession::judgeLoss(const Session &session, const QVector<SessionLog::Entry> &log, int kept)
{
    for (int i = kept + 1; i < log.size(); ++i) {
        QVERIFY2(!log.at(i).isSaved, "older than what was saved");
        if (log.at(i).annotation == log.at(i - 1).annotation)
            continue;
        const qint64 age = session.killedAt - log.at(i).time;
        m_tally.worstLoss = qMax(m_tally.worstLoss, age);
        QVERIFY2(age <= SessionLog::limit(m_factor), qPrintable(QString::number(age) + " ms are lost"));
        break; // those after it are younger
    }
}

QTEST_MAIN(TestKilledSession)
#include "tst_killedsession.moc"
