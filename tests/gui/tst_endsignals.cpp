// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/leavablecall.h"
#include "core/mainwindow.h"
#include "core/modaljob.h"
#include "tests/gui/programfixture.h"
#include "tests/support/clips.h"
#include "tests/support/dialogdriver.h"
#include "tests/support/jobitems.h"
#include "tests/support/progresswatch.h"
#include "tests/support/testproject.h"
#include "views/framenav.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QDockWidget>
#include <QElapsedTimer>
#include <QMenu>
#include <QMenuBar>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>

/// The program's main(), which is compiled under this name here.
int paluMain(int argc, char *argv[]);

namespace
{

constexpr int patience = 30000;  // milliseconds that a program may take on a busy machine
constexpr int longestEnd = 3000; // milliseconds that one may take where work is at hand that takes longer

// What runs in the program that gets the signals.

QString g_clip;
std::function<void()> g_scene; // called once in the program's event loop

void say(const QByteArray &what)
{
    std::puts(what.constData());
    std::fflush(stdout);
}

void sayReady()
{
    say("ready");
}

void trigger(const QString &text)
{
    for (QAction *action : g_mainWindow->findChildren<QAction *>()) {
        if (action->text() == text)
            return action->trigger();
    }
    qFatal("no such action");
}

void load()
{
    DialogDriver driver;
    driver.acceptFile(g_clip);
    trigger(QStringLiteral("&New"));
    if (!driver.problem().isEmpty() || !g_state->videoLoaded)
        qFatal("the clip was not loaded");
}

void floatDocks()
{
    for (QDockWidget *dock : g_mainWindow->findChildren<QDockWidget *>())
        dock->setFloating(true);
}

void importVideo()
{
    ProgressWatch watch;
    watch.onShown = sayReady;
    DialogDriver driver;
    driver.acceptFile(g_clip);
    trigger(QStringLiteral("&New"));
}

void play()
{
    load();
    QObject::connect(g_state, &DataState::hasChanged, g_mainWindow, [] {
        static const bool said = (sayReady(), true);
        Q_UNUSED(said);
    });
    g_mainWindow->frameNav()->buttonPlay->click();
}

/// Says so once a dialog or menu is up.
void openAndWait(const std::function<void()> &open)
{
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &look, [&look] {
        if (!QApplication::activeModalWidget() && !QApplication::activePopupWidget())
            return;
        look.stop();
        sayReady();
    });
    look.start(1);
    open();
}

/// A job whose work item ends some time after "Abort", or never.
void work(bool ends)
{
    std::atomic<bool> aborted{false};
    ProgressWatch watch;
    watch.onShown = sayReady;
    QList<int> items{1};
    ModalJob::run(
        QStringLiteral("Working"), items, [&](int &) { waitFor([&] { return ends && aborted; }); },
        [&aborted] { aborted = true; });
    QMessageBox(QMessageBox::Information, QString(), QStringLiteral("done")).exec();
}

/// Two frames in one parcel, of which the second one may take many seconds. Says how the program ends.
void segment(bool slow)
{
    QObject::connect(qApp, &QObject::destroyed, qApp,
                     [] { say("left behind: " + QByteArray::number(LeavableCall::leftBehind())); });
    std::atexit([] { say("exit handlers"); });
    load();
    g_state->video->chunkEnds = {g_state->video->frameCount};
    g_state->addObject();
    TrackedObject *object = g_state->getCurrentObject();
    annotate(object, 0, rectangle(100, 60, 120, 90));
    annotate(object, 1, slow ? Clips::makeSlowToCut(*g_state->video, 1) : rectangle(100, 60, 120, 90));
    QObject::connect(
        object->keyFrames.first(), &KeyFrame::hasChanged, qApp, [] { sayReady(); }, Qt::DirectConnection);
    trigger(QStringLiteral("segmentation"));
}

const QMap<QString, std::function<void()>> scenes{
    {"idle", sayReady},
    {"video loaded", [] { load(), sayReady(); }},
    {"floating docks", [] { floatDocks(), sayReady(); }},
    {"import", importVideo},
    {"playback", play},
    {"file dialog", [] { openAndWait([] { trigger(QStringLiteral("&New")); }); }},
    {"save dialog over a project", [] { load(), openAndWait([] { trigger(QStringLiteral("&Save")); }); }},
    {"message box", [] { openAndWait([] { trigger(QStringLiteral("License Notes")); }); }},
    {"menu", [] { openAndWait([] { g_mainWindow->menuBar()->actions().constFirst()->menu()->exec(); }); }},
    {"job that asks at its end", [] { work(true); }},
    {"job that does not end", [] { work(false); }},
    {"segmentation", [] { segment(false); }},
    {"slow segmentation", [] { segment(true); }},
};

void startScene()
{
    if (g_scene)
        QTimer::singleShot(0, qApp, [] { g_scene(); });
}

Q_COREAPP_STARTUP_FUNCTION(startScene)

/// The program in a process of its own.
class Program : public QProcess
{
public:
    Program(const QString &scene, const QString &clip, int ignoredSignal = 0)
        : m_ignoredSignal(ignoredSignal)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TMPDIR"), m_temporary.path());
        setProcessEnvironment(environment);
        setProcessChannelMode(QProcess::ForwardedErrorChannel);
        start(QCoreApplication::applicationFilePath(), {QStringLiteral("--scene"), scene, clip});
    }
    ~Program() override
    {
        kill();
        waitForFinished();
    }

    bool isReady()
    {
        return QTest::qWaitFor([this] { return bytesAvailable() > 0; }, patience);
    }
    void send(int signal) { ::kill(static_cast<pid_t>(processId()), signal); }
    bool ends() { return state() == NotRunning || waitForFinished(patience); }
    /// Of the temporary folder; those of the toolkit's own are none of the program's.
    QStringList leftovers() const
    {
        QStringList names = QDir(m_temporary.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
        names.removeAll(QStringLiteral("runtime-root"));
        return names;
    }

protected:
    void setupChildProcess() override
    {
        if (m_ignoredSignal)
            std::signal(m_ignoredSignal, SIG_IGN);
    }

private:
    QTemporaryDir m_temporary;
    int m_ignoredSignal;
};

} // namespace

class TestEndSignals : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void aSignalEndsTheProgram_data();
    void aSignalEndsTheProgram();
    void theVideoIsThereWhileTheProgramRuns();
    void aSecondSignalEndsItAtOnce();
    void whatCannotBeInterruptedDoesNotHoldTheProgram_data();
    void whatCannotBeInterruptedDoesNotHoldTheProgram();
    void anIgnoredSignalStaysIgnored();

private:
    QTemporaryDir m_clips;
    QString m_clip;
};

void TestEndSignals::initTestCase()
{
    m_clip = encodeClip(m_clips.path(), QStringLiteral("clip"), 400);
    QVERIFY(!m_clip.isEmpty());
}

void TestEndSignals::aSignalEndsTheProgram_data()
{
    QTest::addColumn<QString>("scene");
    QTest::addColumn<int>("signal");
    const QPair<const char *, int> signalNumbers[] = {
        {"SIGTERM", SIGTERM}, {"SIGINT", SIGINT}, {"SIGHUP", SIGHUP}};
    for (const auto &number : signalNumbers)
        QTest::addRow("%s, idle", number.first) << QStringLiteral("idle") << number.second;
    for (const QString &scene : scenes.keys()) {
        if (scene != QLatin1String("idle") && scene != QLatin1String("job that does not end"))
            QTest::addRow("%s", qPrintable(scene)) << scene << SIGTERM;
    }
}

void TestEndSignals::aSignalEndsTheProgram()
{
    QFETCH(QString, scene);
    QFETCH(int, signal);
    Program program(scene, m_clip);
    QVERIFY(program.isReady());
    program.send(signal);
    QVERIFY(program.ends());
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(program.leftovers(), QStringList());
}

// Or else nothing left behind would mean nothing.
void TestEndSignals::theVideoIsThereWhileTheProgramRuns()
{
    Program program(QStringLiteral("video loaded"), m_clip);
    QVERIFY(program.isReady());
    QVERIFY(!program.leftovers().isEmpty());
    program.send(SIGKILL);
    QVERIFY(program.ends());
    QCOMPARE(program.exitStatus(), QProcess::CrashExit);
    QVERIFY(!program.leftovers().isEmpty());
}

void TestEndSignals::aSecondSignalEndsItAtOnce()
{
    Program program(QStringLiteral("job that does not end"), m_clip);
    QVERIFY(program.isReady());
    program.send(SIGTERM);
    QVERIFY(!program.waitForFinished(500));
    program.send(SIGINT);
    QVERIFY(program.ends());
    QCOMPARE(program.exitStatus(), QProcess::CrashExit);
    QCOMPARE(program.exitCode(), SIGINT);
}

void TestEndSignals::whatCannotBeInterruptedDoesNotHoldTheProgram_data()
{
    QTest::addColumn<QString>("scene");
    QTest::addColumn<QByteArray>("end");
    QTest::newRow("over in time") << QStringLiteral("segmentation")
                                  << QByteArray("left behind: 0\nexit handlers\n");
    QTest::newRow("left behind") << QStringLiteral("slow segmentation") << QByteArray("left behind: 1\n");
}

// Static objects must outlive what is left behind, so that they never end then.
void TestEndSignals::whatCannotBeInterruptedDoesNotHoldTheProgram()
{
    QFETCH(QString, scene);
    QFETCH(QByteArray, end);
    Program program(scene, m_clip);
    QVERIFY(program.isReady());
    QElapsedTimer timer;
    timer.start();
    program.send(SIGTERM);
    QVERIFY(program.ends());
    const qint64 time = timer.elapsed();
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(program.leftovers(), QStringList());
    qInfo("ended after %lld ms", time);
    QVERIFY2(time < longestEnd, qPrintable(QString::number(time)));
    const QByteArray said = program.readAllStandardOutput();
    if (said.startsWith("ready\nleft behind: 0") && !end.startsWith("left behind: 0"))
        QSKIP("the slow round was over too soon");
    QCOMPARE(said, "ready\n" + end);
}

void TestEndSignals::anIgnoredSignalStaysIgnored()
{
    Program program(QStringLiteral("idle"), m_clip, SIGHUP);
    QVERIFY(program.isReady());
    program.send(SIGHUP);
    QVERIFY(!program.waitForFinished(500));
    program.send(SIGTERM);
    QVERIFY(program.ends());
    QCOMPARE(program.exitCode(), 0);
}

int main(int argc, char *argv[])
{
    if (argc == 4 && qstrcmp(argv[1], "--scene") == 0) {
        g_scene = scenes.value(QString::fromUtf8(argv[2]));
        g_clip = QString::fromUtf8(argv[3]);
        return paluMain(1, argv);
    }
    useTemporaryHome();
    QGuiApplication application(argc, argv);
    TestEndSignals test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_endsignals.moc"
