// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/keptcopy.h"
#include "core/mainwindow.h"
#include "core/processmark.h"
#include "core/recovery.h"

#include <QApplication>
#include <QDataStream>
#include <QDir>
#include <QFileDevice>
#include <QIcon>
#include <QPointer>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

/// The program's main(), which is compiled under this name here.
int paluMain(int argc, char *argv[]);

namespace
{

/// What to do in the program's event loop.
std::function<void()> g_inLoop;

/// Watches the program from the making of its application object on.
class Witness : public QObject
{
public:
    explicit Witness(QObject *parent)
        : QObject(parent)
    {
    }

    static bool windowSeen;
    static bool stateFirst; ///< the state was there, and the window not yet known, as its making began

protected:
    // The window's parts announce themselves to it while it is being made.
    bool eventFilter(QObject *watched, QEvent *) override
    {
        if (!windowSeen && watched->inherits("QMainWindow")) {
            windowSeen = true;
            stateFirst = g_state && !g_mainWindow;
        }
        return false;
    }
};

bool Witness::windowSeen = false;
bool Witness::stateFirst = false;

/// Called at the end of the making of every application object.
void watchProgram()
{
    auto *witness = new Witness(qApp);
    qApp->installEventFilter(witness);
    QTimer::singleShot(0, witness, [] {
        if (g_inLoop)
            g_inLoop();
        else
            QCoreApplication::quit();
    });
}

Q_COREAPP_STARTUP_FUNCTION(watchProgram)

/// Runs the program, with `inLoop` called once in its event loop. Returns its result.
int runProgram(const std::function<void()> &inLoop)
{
    g_inLoop = inLoop;
    Witness::windowSeen = false;
    Witness::stateFirst = false;
    char name[] = "palu";
    char *arguments[] = {name, nullptr};
    const int result = paluMain(1, arguments);
    g_inLoop = nullptr;
    return result;
}

} // namespace

class TestProgram : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void programSetsTheWindowIcon();
    void programCreatesStateThenWindow();
    void programReturnsTheLoopsResultAndDeletesTheState_data();
    void programReturnsTheLoopsResultAndDeletesTheState();
    void closingTheWindowEndsTheProgram();
    void theProgramPutsBackWhatAnInterruptedSaveLeft();
    void theProgramRemovesWhatAKilledOneLeft();
    void programOffersUnsavedWorkFromTheUsersFolder();

private:
    QTemporaryDir m_data; // of the user
};

void TestProgram::initTestCase()
{
    QVERIFY(qputenv("XDG_DATA_HOME", QFile::encodeName(m_data.path())));
}

void TestProgram::programSetsTheWindowIcon()
{
    QImage ofApplication;
    QImage ofWindow;
    QImage expected;
    runProgram([&] {
        const QSize size(32, 32);
        ofApplication = QApplication::windowIcon().pixmap(size).toImage();
        ofWindow = g_mainWindow->windowIcon().pixmap(size).toImage();
        expected = QIcon(":icons/mainicon.ico").pixmap(size).toImage();
        QCoreApplication::quit();
    });
    QVERIFY(!expected.isNull());
    QVERIFY(ofApplication == expected);
    QVERIFY(ofWindow == expected);
}

void TestProgram::programCreatesStateThenWindow()
{
    QVERIFY(!g_state && !g_mainWindow);
    bool looked = false;
    bool stateIsEmpty = false;
    bool windowIsShown = false;
    QObject *stateParent = nullptr;
    QObject *windowParent = nullptr;
    QWidgetList windows;
    MainWindow *known = nullptr;
    runProgram([&] {
        looked = true;
        stateIsEmpty = g_state && !g_state->videoLoaded && !g_state->hasObjects();
        stateParent = g_state ? g_state->parent() : qApp;
        known = g_mainWindow;
        if (known) {
            windowIsShown = known->isVisible() && known->isEnabled();
            windowParent = known->parent();
        }
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            if (widget->inherits("QMainWindow"))
                windows.append(widget);
        }
        QCoreApplication::quit();
    });
    QVERIFY(looked);
    QVERIFY(Witness::windowSeen);
    QVERIFY(Witness::stateFirst);
    QVERIFY(stateIsEmpty);
    QVERIFY(!stateParent);
    QVERIFY(known);
    QVERIFY(windowIsShown);
    QVERIFY(!windowParent);
    QCOMPARE(windows, QWidgetList({known}));
}

void TestProgram::programReturnsTheLoopsResultAndDeletesTheState_data()
{
    QTest::addColumn<int>("result");
    QTest::newRow("success") << 0;
    QTest::newRow("another result") << 7;
}

void TestProgram::programReturnsTheLoopsResultAndDeletesTheState()
{
    QFETCH(int, result);
    QPointer<DataState> state;
    QPointer<MainWindow> window;
    QStringList deleted;
    bool applicationThere = true;
    const int returned = runProgram([&] {
        state = g_state;
        window = g_mainWindow;
        const auto note = [&](const char *what) {
            deleted.append(QString::fromLatin1(what));
            applicationThere = applicationThere && QCoreApplication::instance();
        };
        QObject::connect(g_state, &QObject::destroyed, g_state, [note] { note("state"); });
        QObject::connect(g_mainWindow, &QObject::destroyed, g_mainWindow, [note] { note("window"); });
        QCoreApplication::exit(result);
    });
    QCOMPARE(returned, result);
    QVERIFY(!state && !window);
    QCOMPARE(deleted, QStringList({"state", "window"}));
    QVERIFY(applicationThere);
    QVERIFY(!g_state);
    QVERIFY(!g_mainWindow);
    QVERIFY(!QCoreApplication::instance());
}

void TestProgram::closingTheWindowEndsTheProgram()
{
    bool closed = false;
    const int returned = runProgram([&] {
        // Were the window not the last one, the program would go on.
        QTimer::singleShot(30000, qApp, [] { QCoreApplication::exit(99); });
        closed = g_mainWindow->close();
    });
    QVERIFY(closed);
    QCOMPARE(returned, 0);
}

void TestProgram::theProgramPutsBackWhatAnInterruptedSaveLeft()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath("x.palu"));
    QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    file.write("old");
    QString error(QStringLiteral("not kept"));
    runProgram([&] {
        error =
            KeptCopy::keep(file.fileName(), [](QFileDevice &device) { return device.write("newer") == 5; });
        QCoreApplication::quit();
    });
    QCOMPARE(error, QString());
    file.seek(0);
    file.write("new");
    runProgram(&QCoreApplication::quit);
    file.seek(0);
    QCOMPARE(file.readAll(), QByteArray("old"));
}

void TestProgram::theProgramRemovesWhatAKilledOneLeft()
{
    const QTemporaryDir folder;
    const QByteArray previous = qgetenv("TMPDIR");
    qputenv("TMPDIR", QFile::encodeName(folder.path()));
    QVERIFY(QDir(folder.path()).mkpath("palu-abcdef/frames"));
    QFile mark(folder.filePath("palu-abcdef/.palu-process"));
    QVERIFY(mark.open(QIODevice::WriteOnly));
    mark.write(ProcessMark::own() + '0'); // started later than this process: it has ended
    mark.write('\n' + QFile::encodeName(QDir(folder.filePath("palu-abcdef")).canonicalPath()));
    mark.close();
    bool removed = false;
    runProgram([&] {
        removed = QTest::qWaitFor([&] { return !QFile::exists(folder.filePath("palu-abcdef")); });
        QCoreApplication::quit();
    });
    if (previous.isNull())
        qunsetenv("TMPDIR");
    else
        qputenv("TMPDIR", previous);
    QVERIFY(removed);
}

void TestProgram::programOffersUnsavedWorkFromTheUsersFolder()
{
    const auto isOffered = [] {
        bool offered = false;
        runProgram([&offered] {
            const auto *offer = g_mainWindow->findChild<QWidget *>("recoveryOffer");
            offered = offer && offer->isVisible();
            QCoreApplication::quit();
        });
        return offered;
    };
    QVERIFY(!isOffered());
    const auto write = [](QFileDevice &file) {
        QDataStream stream(&file);
        stream << QStringLiteral("clip.mp4");
        return true;
    };
    RecoveryFolder folder(m_data.filePath("palu/recovery"));
    const QString path = folder.newCopy();
    const RecoveryCopy copy{path, "/videos/clip.mp4", QString(), QDateTime::currentDateTime()};
    const auto writeCopy = [&](QFileDevice &file) { return write(file) && copy.appendTo(file); };
    QCOMPARE(folder.write(path, writeCopy), QString());
    QVERIFY(!isOffered()); // it belongs to this process
    QVERIFY(QFile::remove(path + ".lock"));
    QVERIFY(isOffered());
}

QTEST_APPLESS_MAIN(TestProgram)
#include "tst_program.moc"
