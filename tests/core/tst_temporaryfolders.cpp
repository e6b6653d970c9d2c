// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/processmark.h"
#include "core/temporaryfolders.h"
#include "Models/videocontainer.h"
#include "tests/support/clips.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdio>
#include <cstdlib>
#include <thread>

#include <unistd.h>

namespace
{

// Arguments that make this program a child of one of its own tests.
const char importArgument[] = "--import";
const char importAndWaitArgument[] = "--import-and-wait";
const char markArgument[] = "--mark";
const char exitArgument[] = "--exit-while-cleaning";

const QString program = QStringLiteral("palu");
const auto never = [] { return false; };
constexpr auto everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;

QString rootOf(const VideoContainer &container)
{
    return QFileInfo(QFileInfo(container.getFramePath(0)).path()).path();
}

int import(const QString &video, bool wait)
{
    VideoContainer container;
    const bool loaded = container.loadFile(video);
    std::printf("%s\n", qPrintable(rootOf(container)));
    std::fflush(stdout);
    if (wait)
        std::getchar();
    return loaded ? 0 : 1;
}

int threads()
{
    return QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

/// Holds the exit up until a Cleaning that has not been ended is through.
void waitForThreads()
{
    while (threads() > 1)
        std::this_thread::yield();
}

/// As the program does that finds no place for another video.
int exitWhileCleaning(const QString &folder)
{
    std::atexit(&waitForThreads);
    const TemporaryFolders::Cleaning cleaning(QFileInfo(folder).path(), program);
    qputenv("TMPDIR", "/dev/null");
    const VideoContainer container;
    return 0;
}

} // namespace

class TestTemporaryFolders : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void aFolderInUseIsNotAbandoned();
    void aProgramThatEndsLeavesNothing();
    void whatAKilledProgramLeftIsRemovedLater();
    void onlyWhatAnEndedProcessMarkedIsAbandoned_data();
    void onlyWhatAnEndedProcessMarkedIsAbandoned();
    void whatAPersonCopiedIsLeftAlone();
    void foldersOfOtherUsersAreLeftAlone();
    void linksToFoldersAreLeftAlone();
    void anInterruptedRemovalCanBeTakenUpAgain();
    void whatCannotBeRemovedKeepsItsMark();
    void endingTheProgramEndsTheCleaning();
    void exitingEndsTheCleaningFirst();
    void aVideoNamedLikeTheMarkIsImported_data();
    void aVideoNamedLikeTheMarkIsImported();

private:
    QString makeFolder(const QString &name) const;
    QString makeAbandonedFolder(const QString &name) const;
    QStringList abandoned() const { return TemporaryFolders::abandoned(m_parent->path(), program); }
    std::unique_ptr<QProcess> startChild(const QStringList &arguments) const;

    QTemporaryDir m_folder;
    QString m_clip;
    std::unique_ptr<QTemporaryDir> m_parent; // in the place of the system's temporary folder
};

void TestTemporaryFolders::initTestCase()
{
    m_clip = m_folder.filePath(QStringLiteral("clip.avi"));
    QVERIFY(Clips::encode(m_clip, Clips::numberedGround(QSize(64, 64)), 5, 25, "MJPG"));
}

void TestTemporaryFolders::init()
{
    m_parent = std::make_unique<QTemporaryDir>();
}

/// As a video's folder that bears no mark yet.
QString TestTemporaryFolders::makeFolder(const QString &name) const
{
    const QString folder = m_parent->filePath(name);
    QDir().mkpath(folder + QStringLiteral("/frames"));
    for (const char *file : {"/clip.avi", "/frames/frame0000000000.jpg", "/frames/frame0000000001.jpg"})
        QFile::copy(m_clip, folder + QLatin1String(file));
    return folder;
}

/// As a killed process leaves it.
QString TestTemporaryFolders::makeAbandonedFolder(const QString &name) const
{
    const QString folder = makeFolder(name);
    startChild({markArgument, folder})->waitForFinished();
    return folder;
}

/// This program, under the name of the real one and with a temporary folder of its own.
std::unique_ptr<QProcess> TestTemporaryFolders::startChild(const QStringList &arguments) const
{
    auto child = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TMPDIR"), m_parent->path());
    child->setProcessEnvironment(environment);
    child->start(QCoreApplication::applicationFilePath(), arguments);
    return child;
}

void TestTemporaryFolders::aFolderInUseIsNotAbandoned()
{
    const QString folder = makeFolder(QStringLiteral("palu-abcdef"));
    TemporaryFolders::mark(folder);
    QCOMPARE(abandoned(), QStringList());
    QCOMPARE(QDir(folder).entryList(), QStringList({".", "..", "clip.avi", "frames"})); // the mark is hidden
    QCOMPARE(QDir(folder).entryList(everything).size(), 3);
}

void TestTemporaryFolders::aProgramThatEndsLeavesNothing()
{
    const auto child = startChild({importArgument, m_clip});
    QVERIFY(child->waitForFinished());
    QCOMPARE(child->exitCode(), 0);
    QVERIFY(child->readAllStandardOutput().startsWith(QFile::encodeName(m_parent->filePath(program))));
    QCOMPARE(QDir(m_parent->path()).entryList(everything), QStringList());
}

void TestTemporaryFolders::whatAKilledProgramLeftIsRemovedLater()
{
    const auto child = startChild({importAndWaitArgument, m_clip});
    QVERIFY(child->waitForReadyRead());
    const QString root = QString::fromUtf8(child->readAllStandardOutput()).trimmed();
    QCOMPARE(QDir(root + QStringLiteral("/frames")).entryList(QDir::Files).size(), 5);
    QCOMPARE(abandoned(), QStringList());
    child->kill();
    QVERIFY(child->waitForFinished());
    QCOMPARE(child->exitStatus(), QProcess::CrashExit);

    QCOMPARE(abandoned(), QStringList(root));
    const TemporaryFolders::Cleaning cleaning(m_parent->path(), program);
    QTRY_VERIFY(!QFile::exists(root));
}

void TestTemporaryFolders::onlyWhatAnEndedProcessMarkedIsAbandoned_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("marked");
    QTest::addColumn<bool>("isAbandoned");
    QTest::newRow("marked by an ended process") << "palu-abcdef"
                                                << "ended" << true;
    QTest::newRow("without a mark") << "palu-abcdef"
                                    << "no" << false;
    QTest::newRow("an empty mark") << "palu-abcdef"
                                   << "" << false;
    QTest::newRow("a mark of another machine") << "palu-abcdef"
                                               << "@elsewhere/1 #2 &3 4 5" << false;
    QTest::newRow("a mark that names no folder") << "palu-abcdef"
                                                 << "without a path" << false;
    QTest::newRow("of another program") << "tool-abcdef"
                                        << "ended" << false;
    QTest::newRow("of a program with a longer name") << "palu-tool-abcdef"
                                                     << "ended" << false;
    QTest::newRow("of a person's choice") << "palu-my-clips"
                                          << "ended" << false;
}

void TestTemporaryFolders::onlyWhatAnEndedProcessMarkedIsAbandoned()
{
    QFETCH(QString, name);
    QFETCH(QString, marked);
    QFETCH(bool, isAbandoned);
    const QByteArray ended = ProcessMark::own() + '0'; // of one that started later and is not there
    const QString folder = marked == "ended" ? makeAbandonedFolder(name) : makeFolder(name);
    if (marked != "ended" && marked != "no") {
        QFile mark(folder + "/.palu-process");
        QVERIFY(mark.open(QIODevice::WriteOnly));
        mark.write(marked == "without a path" ? ended : marked.toUtf8() + '\n' + QFile::encodeName(folder));
    }
    QCOMPARE(abandoned(), isAbandoned ? QStringList(folder) : QStringList());
}

// With all that is in it, as a person does who rescues a video.
void TestTemporaryFolders::whatAPersonCopiedIsLeftAlone()
{
    const QString folder = makeAbandonedFolder(QStringLiteral("palu-AbCdEf"));
    const QString copy = makeFolder(QStringLiteral("palu-rescue"));
    QVERIFY(QFile::copy(folder + "/.palu-process", copy + "/.palu-process"));
    QCOMPARE(abandoned(), QStringList(folder));
    QVERIFY(QFile::rename(folder, m_parent->filePath(QStringLiteral("palu-keptby"))));
    QCOMPARE(abandoned(), QStringList());
}

void TestTemporaryFolders::foldersOfOtherUsersAreLeftAlone()
{
    const QString folder = makeAbandonedFolder(QStringLiteral("palu-abcdef"));
    constexpr uid_t nobody = 65534;
    if (chown(QFile::encodeName(folder).constData(), nobody, gid_t(-1)) != 0)
        QSKIP("only root can give a folder to another user");
    QCOMPARE(abandoned(), QStringList());
}

void TestTemporaryFolders::linksToFoldersAreLeftAlone()
{
    const QString folder = makeAbandonedFolder(QStringLiteral("elsewhere"));
    QVERIFY(QFile::link(folder, m_parent->filePath(QStringLiteral("palu-abcdef"))));
    QCOMPARE(abandoned(), QStringList());
}

void TestTemporaryFolders::anInterruptedRemovalCanBeTakenUpAgain()
{
    const QString folder = makeAbandonedFolder(QStringLiteral("palu-abcdef"));
    int files = 0;
    QVERIFY(!TemporaryFolders::remove(folder, [&files] { return files++ == 2; }));
    QCOMPARE(files, 3);
    QCOMPARE(abandoned(), QStringList(folder));
    QVERIFY(TemporaryFolders::remove(folder, never));
    QVERIFY(!QFile::exists(folder));
}

void TestTemporaryFolders::whatCannotBeRemovedKeepsItsMark()
{
    const QString folder = makeAbandonedFolder(QStringLiteral("palu-abcdef"));
    QVERIFY(QDir().mkdir(folder + QStringLiteral("/not of this program")));
    QVERIFY(!TemporaryFolders::remove(folder, never));
    QVERIFY(!QFile::exists(folder + QStringLiteral("/clip.avi")));
    QCOMPARE(abandoned(), QStringList(folder));
}

void TestTemporaryFolders::endingTheProgramEndsTheCleaning()
{
    const QString folder = makeAbandonedFolder(QStringLiteral("palu-abcdef"));
    for (int i = 0; i < 1000; ++i)
        QVERIFY(QFile::link(m_clip, folder + QStringLiteral("/frames/%1.jpg").arg(i)));
    {
        const TemporaryFolders::Cleaning cleaning(m_parent->path(), program);
    }
    QCOMPARE(abandoned(), QStringList(folder));
    const TemporaryFolders::Cleaning cleaning(m_parent->path(), program);
    QTRY_VERIFY(!QFile::exists(folder));
}

// What the thread uses must not be taken away under it.
void TestTemporaryFolders::exitingEndsTheCleaningFirst()
{
    const QString folder = makeAbandonedFolder(QStringLiteral("palu-abcdef"));
    for (int i = 0; i < 5000; ++i)
        QVERIFY(QFile::link(m_clip, folder + QStringLiteral("/frames/%1.jpg").arg(i)));
    const auto child = startChild({exitArgument, folder});
    QVERIFY(child->waitForFinished());
    QCOMPARE(child->exitStatus(), QProcess::NormalExit);
    QCOMPARE(child->exitCode(), 1);
    QCOMPARE(abandoned(), QStringList(folder));
}

void TestTemporaryFolders::aVideoNamedLikeTheMarkIsImported_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("the mark") << ".palu-process";
    QTest::newRow("the mark that makes way") << ".palu-process-mark";
    QTest::newRow("the mark being written") << ".palu-process.new";
}

void TestTemporaryFolders::aVideoNamedLikeTheMarkIsImported()
{
    QFETCH(QString, name);
    const QTemporaryDir videos;
    QVERIFY(QFile::copy(m_clip, videos.filePath(name)));
    const auto child = startChild({importAndWaitArgument, videos.filePath(name)});
    QVERIFY(child->waitForReadyRead());
    const QString root = QString::fromUtf8(child->readAllStandardOutput()).trimmed();
    QCOMPARE(QFileInfo(root + '/' + name).size(), QFileInfo(m_clip).size());
    QCOMPARE(QDir(root + "/frames").entryList(QDir::Files).size(), 5);
    QCOMPARE(QDir(root).entryList(everything).size(), 3);
    QCOMPARE(abandoned(), QStringList());
    child->kill();
    QVERIFY(child->waitForFinished());
    if (name == ".palu-process.new") // no mark itself
        QCOMPARE(abandoned(), QStringList(root));
}

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 3) {
        QCoreApplication::setApplicationName(program);
        if (arguments.at(1) == QLatin1String(importArgument))
            return import(arguments.at(2), false);
        if (arguments.at(1) == QLatin1String(importAndWaitArgument))
            return import(arguments.at(2), true);
        if (arguments.at(1) == QLatin1String(exitArgument))
            return exitWhileCleaning(arguments.at(2));
        if (arguments.at(1) == QLatin1String(markArgument)) {
            TemporaryFolders::mark(arguments.at(2));
            return 0;
        }
    }
    TestTemporaryFolders test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_temporaryfolders.moc"
