// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/processmark.h"
#include "core/recovery.h"
#include "tests/support/failingdisk.h"
#include "tests/support/logcapture.h"

#include <QDataStream>
#include <QDir>
#include <QElapsedTimer>
#include <QFileDevice>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <cerrno>
#include <cstdio>

#include <unistd.h>

namespace
{

std::atomic<int> g_copiesPutInPlace{0};

} // namespace

/// Stands in front of the C library's function, to count the copies that appear.
extern "C" int rename(const char *from, const char *to)
{
    if (QByteArray(to).endsWith(".palu"))
        ++g_copiesPutInPlace;
    constexpr int currentFolder = -100; // AT_FDCWD, whose header declares a struct flock
    return renameat(currentFolder, from, currentFolder, to);
}

namespace
{

constexpr int never = 1000000; // milliseconds

/// A project that is a name and a text.
bool writeProject(QIODevice &device, const QByteArray &text)
{
    QDataStream stream(&device);
    stream << QStringLiteral("clip.mp4");
    return device.write(text) == text.size();
}

/// The project part of a copy, without the name.
QByteArray projectIn(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    QDataStream stream(&file);
    QString name;
    stream >> name;
    const QByteArray rest = file.readAll();
    return rest.left(rest.indexOf('.'));
}

/// A program with a project: texts that end with a full stop.
struct Program {
    explicit Program(const QString &folder)
        : recovery(folder, [this] { return content(); })
    {
        recovery.setTimes({never, never});
    }
    ~Program() { gate.release(); } // whatever a test that failed has left there

    Recovery::Content content()
    {
        ++taken;
        return {video, project, [this, written = text](QFileDevice &file) {
                    ++running;
                    atOnce = qMax(atOnce.load(), running.load());
                    if (isHeld) {
                        started.release();
                        gate.acquire();
                    }
                    const bool ok = writeProject(file, written);
                    --running;
                    return ok;
                }};
    }
    void change(const QByteArray &newText)
    {
        text = newText + '.';
        recovery.noteChange();
    }
    /// A change that is on the disk.
    void changeAndFlush(const QByteArray &newText)
    {
        change(newText);
        recovery.flush();
    }
    /// Changes and drops the project.
    void drop(const QByteArray &newText)
    {
        change(newText);
        recovery.leaveProject();
        QThread::msleep(2); // the times of two copies differ
    }

    QString video = QStringLiteral("/videos/clip.mp4");
    QString project = QStringLiteral("/projects/clip.palu");
    QByteArray text;
    int taken = 0;
    std::atomic<bool> isHeld{false};
    QSemaphore started; // a held writing has begun
    QSemaphore gate;    // lets it go on
    std::atomic<int> running{0};
    std::atomic<int> atOnce{0}; // most writings at the same time
    Recovery recovery;
};

QStringList textsOf(const QVector<RecoveryCopy> &copies)
{
    QStringList texts;
    for (const RecoveryCopy &copy : copies)
        texts.append(QString::fromLatin1(projectIn(copy.path)));
    return texts;
}

/// The mark of a process that has ended.
QByteArray deadMark()
{
    QList<QByteArray> fields = ProcessMark::own().split(' ');
    fields.last() = "1";
    return fields.join(' ');
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), qint64(bytes.size()));
}

} // namespace

class TestRecovery : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void aCopySaysWhatItIsACopyOf();
    void folderAndFilesAreTheUsersOnly();
    void aChangeIsCopiedWhenNoOtherFollows();
    void changesThatGoOnAreCopiedInBetween();
    void withoutAChangeNothingIsWritten();
    void aStandingProjectIsCopiedOnce();
    void twoCopiesAreNeverWrittenAtOnce();
    void changesDuringAWritingAreCopiedAfterIt();
    void savingRemovesTheCopy();
    void savingRemovesTheCopyThatIsBeingWritten();
    void aRemovedCopyNeverComesBack();
    void aDroppedProjectLeavesItsNewestState();
    void theProjectsOwnCopyIsNotOffered();
    void theEndOfTheProgramWaitsForTheWriting();
    void runningProgramsDoNotSeeEachOthersCopies();
    void copiesOfKilledProgramsAreSeen();
    void aCopyIsFreeOnceItsOwnersLockIs_data();
    void aCopyIsFreeOnceItsOwnersLockIs();
    void aLockedCopyIsNotFreeWhateverItsMarkSays();
    void aCopyIsClaimedOnce();
    void aClaimedCopyIsTheNextProjectsOwn();
    void discardingRemovesACopy();
    void theLastTenCopiesAreKept();
    void workIsKeptWhenTheClockWentBack();
    void theCopyJustLeftIsTheFirstWhateverTheClockSays();
    void damagedCopiesCountAndGoToo();
    void copiesOfRunningProgramsDoNotCount();
    void copiesAreKeptWhereThereAreNoLocks_data();
    void copiesAreKeptWhereThereAreNoLocks();
    void leftoversOfKilledProgramsAreCleared();
    void damagedCopiesAreLeftOut_data();
    void damagedCopiesAreLeftOut();
    void everyCutIsNoticed();
    void whatCannotBeWrittenIsSaidAsLongAsItIsTrue();
    void aFailedWriteIsTriedAgain();
    void aFullDiskLeavesTheOlderCopy();

private:
    QString path(const QString &name) const { return m_folder->filePath(name); }
    QStringList files(const QString &filter = QStringLiteral("*.palu")) const
    {
        return QDir(m_recovery).entryList({filter}, QDir::Files);
    }
    /// Puts a copy of a program that has ended into the folder.
    void makeCopy(const QByteArray &text, const QDateTime &changed) const;
    /// Makes this process's marks in the folder those of one that has ended.
    void killOwners();

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_recovery;
};

void TestRecovery::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_recovery = path("state/recovery");
}

void TestRecovery::cleanup()
{
    m_folder.reset();
}

void TestRecovery::killOwners()
{
    for (const QString &name : files("*.lock")) {
        QVERIFY(QFile::remove(m_recovery + '/' + name)); // the process has that one locked
        writeFile(m_recovery + '/' + name, deadMark());
    }
}

void TestRecovery::makeCopy(const QByteArray &text, const QDateTime &changed) const
{
    QVERIFY(QDir().mkpath(m_recovery));
    QFile file(m_recovery + '/' + QString::fromLatin1(text) + ".palu");
    QVERIFY(file.open(QIODevice::WriteOnly));
    const RecoveryCopy copy{file.fileName(), "/videos/clip.mp4", {}, changed};
    QVERIFY(writeProject(file, text + '.') && copy.appendTo(file));
}

void TestRecovery::aCopySaysWhatItIsACopyOf()
{
    const QDateTime before = QDateTime::currentDateTime();
    {
        Program program(m_recovery);
        program.video = QString::fromUtf8("/videos/Küche 1.mp4");
        program.changeAndFlush("one");
    }
    Program next(m_recovery);
    const QVector<RecoveryCopy> copies = next.recovery.copies();
    QCOMPARE(copies.size(), 1);
    QCOMPARE(copies.at(0).videoPath, QString::fromUtf8("/videos/Küche 1.mp4"));
    QCOMPARE(copies.at(0).projectPath, QString("/projects/clip.palu"));
    QVERIFY(copies.at(0).changed >= before && copies.at(0).changed <= QDateTime::currentDateTime());
    QCOMPARE(textsOf(copies), QStringList("one"));
}

void TestRecovery::folderAndFilesAreTheUsersOnly()
{
    Program program(m_recovery);
    program.changeAndFlush("one");
    constexpr auto othersRights = QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup |
                                  QFileDevice::ReadOther | QFileDevice::WriteOther | QFileDevice::ExeOther;
    QVERIFY(!(QFileInfo(m_recovery).permissions() & othersRights));
    const QFileInfoList all = QDir(m_recovery).entryInfoList(QDir::Files | QDir::Hidden);
    QCOMPARE(all.size(), 3); // the copy, its lock, the guard
    for (const QFileInfo &file : all)
        QVERIFY2(!(file.permissions() & (othersRights | QFileDevice::ExeOwner)), qPrintable(file.fileName()));
}

void TestRecovery::aChangeIsCopiedWhenNoOtherFollows()
{
    Program program(m_recovery);
    program.recovery.setTimes({300, never});
    QElapsedTimer sinceChange;
    sinceChange.start();
    program.change("one");
    QTRY_COMPARE(files().size(), 1);
    QVERIFY(sinceChange.elapsed() >= 300);
    QCOMPARE(projectIn(m_recovery + '/' + files().value(0)), QByteArray("one"));
}

void TestRecovery::changesThatGoOnAreCopiedInBetween()
{
    Program program(m_recovery);
    program.recovery.setTimes({never, 200});
    QElapsedTimer time;
    time.start();
    for (int i = 0; program.taken < 3; ++i) {
        program.change(QByteArray::number(i));
        QTest::qWait(1);
        QVERIFY2(time.elapsed() < 30000, "no copies while changes go on");
    }
    QVERIFY(time.elapsed() >= 3 * 200);
}

void TestRecovery::withoutAChangeNothingIsWritten()
{
    Program program(m_recovery);
    program.recovery.flush();
    program.recovery.leaveProject();
    QCOMPARE(program.taken, 0);
    QVERIFY(!QDir(m_recovery).exists());
}

void TestRecovery::aStandingProjectIsCopiedOnce()
{
    Program program(m_recovery);
    program.changeAndFlush("one");
    program.recovery.flush();
    QCOMPARE(program.taken, 1);
    program.changeAndFlush("two");
    QCOMPARE(program.taken, 2);
    QCOMPARE(files().size(), 1);
    QCOMPARE(projectIn(m_recovery + '/' + files().value(0)), QByteArray("two"));
}

void TestRecovery::twoCopiesAreNeverWrittenAtOnce()
{
    Program program(m_recovery);
    program.recovery.setTimes({1, 1});
    program.isHeld = true;
    program.change("one");
    QTRY_COMPARE(program.started.available(), 1);
    program.change("two");
    QTest::qWait(50); // the second one is due
    QCOMPARE(program.taken, 1);
    program.isHeld = false;
    program.gate.release();
    QTRY_COMPARE(program.taken, 2);
    program.recovery.flush();
    QCOMPARE(program.atOnce.load(), 1);
}

void TestRecovery::changesDuringAWritingAreCopiedAfterIt()
{
    Program program(m_recovery);
    program.recovery.setTimes({1, never});
    program.isHeld = true;
    program.change("one");
    QTRY_COMPARE(program.started.available(), 1);
    program.recovery.setTimes({20, never});
    program.change("two");
    QTest::qWait(100); // due while the first one is being written, and not asked for again
    program.isHeld = false;
    program.gate.release();
    QTRY_COMPARE(projectIn(m_recovery + '/' + files().value(0)), QByteArray("two"));
}

void TestRecovery::savingRemovesTheCopy()
{
    Program program(m_recovery);
    program.changeAndFlush("one");
    QVERIFY(program.recovery.isUnsaved());
    program.recovery.noteClean();
    QVERIFY(!program.recovery.isUnsaved());
    QCOMPARE(files("*"), QStringList());
    program.recovery.leaveProject();
    QCOMPARE(files("*"), QStringList());
    program.changeAndFlush("two");
    QCOMPARE(files().size(), 1);
}

void TestRecovery::savingRemovesTheCopyThatIsBeingWritten()
{
    Program program(m_recovery);
    program.recovery.setTimes({1, never});
    program.isHeld = true;
    program.change("one");
    QTRY_COMPARE(program.started.available(), 1);
    program.recovery.noteClean();
    program.isHeld = false;
    program.gate.release();
    program.recovery.flush(); // waits
    QCOMPARE(files("*"), QStringList());
    QCOMPARE(program.recovery.error(), QString());
}

// Another program that looks at that moment would offer it.
void TestRecovery::aRemovedCopyNeverComesBack()
{
    g_copiesPutInPlace = 0;
    Program program(m_recovery);
    program.changeAndFlush("one");
    QCOMPARE(g_copiesPutInPlace.load(), 1);
    program.recovery.setTimes({1, never});
    program.isHeld = true;
    program.change("two");
    QTRY_COMPARE(program.started.available(), 1);
    program.recovery.noteClean();
    QCOMPARE(files(), QStringList());
    program.isHeld = false;
    program.gate.release();
    program.recovery.flush(); // waits
    QCOMPARE(g_copiesPutInPlace.load(), 1);
}

void TestRecovery::aDroppedProjectLeavesItsNewestState()
{
    Program program(m_recovery);
    program.changeAndFlush("older");
    program.drop("newest");
    QVERIFY(!program.recovery.isUnsaved());
    QCOMPARE(textsOf(program.recovery.copies()), QStringList("newest"));
    program.changeAndFlush("next project");
    QCOMPARE(files().size(), 2);
    program.recovery.noteClean();
    QCOMPARE(textsOf(program.recovery.copies()), QStringList("newest"));
}

void TestRecovery::theProjectsOwnCopyIsNotOffered()
{
    Program program(m_recovery);
    program.changeAndFlush("one");
    QCOMPARE(files().size(), 1);
    QVERIFY(program.recovery.copies().isEmpty());
}

void TestRecovery::theEndOfTheProgramWaitsForTheWriting()
{
    auto program = std::make_unique<Program>(m_recovery);
    program->recovery.setTimes({1, never});
    program->isHeld = true;
    program->change("one");
    QTRY_COMPARE(program->started.available(), 1);
    program->gate.release();
    program.reset();
    QCOMPARE(files("*").size(), 1); // whole, and no lock
    QCOMPARE(projectIn(m_recovery + '/' + files().value(0)), QByteArray("one"));
}

void TestRecovery::runningProgramsDoNotSeeEachOthersCopies()
{
    Program a(m_recovery);
    Program b(m_recovery);
    a.drop("dropped by a");
    a.changeAndFlush("of a");
    b.changeAndFlush("of b");
    QVERIFY(b.recovery.copies().isEmpty());
    const RecoveryCopy dropped = a.recovery.copies().value(0);
    QVERIFY(!b.recovery.claim(dropped));
    QVERIFY(!b.recovery.discard(dropped));
    QCOMPARE(textsOf(a.recovery.copies()), QStringList("dropped by a"));
    QCOMPARE(files().size(), 3);
}

void TestRecovery::copiesOfKilledProgramsAreSeen()
{
    Program killed(m_recovery);
    killed.drop("dropped");
    killed.changeAndFlush("open");
    killOwners();
    Program next(m_recovery);
    QCOMPARE(textsOf(next.recovery.copies()), QStringList({"open", "dropped"})); // those changed last first
}

void TestRecovery::aCopyIsFreeOnceItsOwnersLockIs_data()
{
    QTest::addColumn<QByteArray>("mark");
    QTest::newRow("of a process that runs") << ProcessMark::own();
    QTest::newRow("of another machine") << "@elsewhere/1" + ProcessMark::own();
    QTest::newRow("no mark") << QByteArray("x");
}

// A machine that was renamed, or a process id that was given again: the mark alone would keep it for good.
void TestRecovery::aCopyIsFreeOnceItsOwnersLockIs()
{
    QFETCH(QByteArray, mark);
    makeCopy("left", QDateTime::currentDateTime());
    writeFile(m_recovery + "/left.palu.lock", mark);
    Program next(m_recovery);
    QCOMPARE(textsOf(next.recovery.copies()), QStringList("left"));
    QVERIFY(next.recovery.claim(next.recovery.copies().value(0)));
    Program other(m_recovery);
    QVERIFY(other.recovery.copies().isEmpty());
}

void TestRecovery::aLockedCopyIsNotFreeWhateverItsMarkSays()
{
    Program running(m_recovery);
    running.changeAndFlush("open");
    writeFile(m_recovery + '/' + files("*.lock").value(0), deadMark()); // the same file, still locked
    Program other(m_recovery);
    QVERIFY(other.recovery.copies().isEmpty());
    running.recovery.noteClean();
    QCOMPARE(files("*"), QStringList());
}

// Two programs that were started at once offer the same copy.
void TestRecovery::aCopyIsClaimedOnce()
{
    {
        Program ended(m_recovery);
        ended.drop("one");
    }
    Program a(m_recovery);
    Program b(m_recovery);
    const RecoveryCopy copy = a.recovery.copies().value(0);
    QCOMPARE(b.recovery.copies().value(0).path, copy.path);
    QVERIFY(a.recovery.claim(copy));
    QVERIFY(!b.recovery.claim(copy));
    QVERIFY(!b.recovery.discard(copy));
    QVERIFY(b.recovery.copies().isEmpty());
    QCOMPARE(textsOf(a.recovery.copies()), QStringList("one"));
}

void TestRecovery::aClaimedCopyIsTheNextProjectsOwn()
{
    {
        Program ended(m_recovery);
        ended.drop("one");
    }
    Program program(m_recovery);
    const RecoveryCopy copy = program.recovery.copies().value(0);
    QVERIFY(program.recovery.claim(copy));
    program.recovery.adopt(copy);
    QVERIFY(program.recovery.isUnsaved());
    QVERIFY(program.recovery.copies().isEmpty());
    program.recovery.flush();
    QCOMPARE(program.taken, 0); // it is that copy still
    program.changeAndFlush("two");
    QCOMPARE(files().size(), 1);
    QCOMPARE(projectIn(copy.path), QByteArray("two"));
    program.recovery.noteClean();
    QCOMPARE(files("*"), QStringList());
}

void TestRecovery::discardingRemovesACopy()
{
    Program program(m_recovery);
    program.drop("one");
    program.drop("two");
    QVERIFY(program.recovery.discard(program.recovery.copies().value(0)));
    QCOMPARE(textsOf(program.recovery.copies()), QStringList("one"));
    QCOMPARE(files("*").size(), 2); // the other one and its lock
    QVERIFY(!program.recovery.discard({path("nowhere.palu"), {}, {}, {}}));
}

void TestRecovery::theLastTenCopiesAreKept()
{
    Program program(m_recovery);
    QStringList newest;
    for (int i = 0; i < 13; ++i) {
        program.drop(QByteArray::number(i));
        newest.prepend(QString::number(i));
    }
    QCOMPARE(textsOf(program.recovery.copies()), newest.mid(0, 10));
    QCOMPARE(files("*").size(), 20); // and their locks

    program.changeAndFlush("open");
    killOwners();
    Program next(m_recovery); // the open one of the killed program counts from now on
    QCOMPARE(textsOf(next.recovery.copies()), QStringList("open") + newest.mid(0, 9));
}

void TestRecovery::workIsKeptWhenTheClockWentBack()
{
    const QDateTime tomorrow = QDateTime::currentDateTime().addDays(1);
    for (int i = 0; i < 10; ++i)
        makeCopy("from the future " + QByteArray::number(i), tomorrow.addSecs(i));
    {
        Program program(m_recovery);
        program.drop("newest");
        QCOMPARE(textsOf(program.recovery.copies()).value(0), QString("newest"));
    }
    Program next(m_recovery);
    const QStringList kept = textsOf(next.recovery.copies());
    QCOMPARE(kept.size(), 10);
    QCOMPARE(kept.value(0), QString("newest"));
    QVERIFY(!kept.contains("from the future 0")); // the oldest
}

void TestRecovery::theCopyJustLeftIsTheFirstWhateverTheClockSays()
{
    Program program(m_recovery);
    const QDateTime soon = QDateTime::currentDateTime().addSecs(1);
    for (int i = 0; i < 12; ++i)
        makeCopy("of another program " + QByteArray::number(i), soon);
    program.drop("just left");
    QTRY_VERIFY(QDateTime::currentDateTime() > soon); // all the others are newer now
    QCOMPARE(textsOf(program.recovery.copies()).value(0), QString("just left"));
    program.recovery.leaveProject(); // an empty one
    const QStringList kept = textsOf(program.recovery.copies());
    QCOMPARE(kept.size(), 10);
    QCOMPARE(kept.value(0), QString("just left"));
}

void TestRecovery::damagedCopiesCountAndGoToo()
{
    const QDateTime lastYear = QDateTime::currentDateTime().addYears(-1);
    QVERIFY(QDir().mkpath(m_recovery));
    for (int i = 0; i < 12; ++i) {
        const QString name = QStringLiteral("state/recovery/damaged %1.palu").arg(i, 2, 10, QLatin1Char('0'));
        writeFile(path(name), "half");
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(lastYear.addDays(i), QFileDevice::FileModificationTime));
    }
    LogCapture log;
    Program program(m_recovery);
    QCOMPARE(files().size(), 10);
    QVERIFY(!files().contains("damaged 01.palu"));
    makeCopy("whole", QDateTime::currentDateTime());
    program.recovery.leaveProject();
    QCOMPARE(files().size(), 10);
    QVERIFY(!files().contains("damaged 02.palu"));
    QCOMPARE(textsOf(program.recovery.copies()), QStringList("whole"));
}

void TestRecovery::copiesOfRunningProgramsDoNotCount()
{
    Program running(m_recovery);
    for (int i = 0; i < 6; ++i)
        running.drop("of the other");
    Program program(m_recovery);
    for (int i = 0; i < 7; ++i)
        program.drop("own");
    QCOMPARE(running.recovery.copies().size(), 6);
    QCOMPARE(program.recovery.copies().size(), 7);
}

void TestRecovery::copiesAreKeptWhereThereAreNoLocks_data()
{
    QTest::addColumn<int>("error");
    QTest::newRow("none left") << ENOLCK;
    QTest::newRow("not known to the system") << ENOSYS;
    QTest::newRow("not known to the file system") << EOPNOTSUPP;
}

void TestRecovery::copiesAreKeptWhereThereAreNoLocks()
{
    QFETCH(int, error);
    const WithoutLocks lockless(error);
    Program running(m_recovery);
    running.drop("dropped");
    running.changeAndFlush("open");
    QCOMPARE(running.recovery.error(), QString());
    QCOMPARE(textsOf(running.recovery.copies()), QStringList("dropped"));
    Program next(m_recovery);
    QVERIFY(next.recovery.copies().isEmpty()); // the marks say whose they are
    killOwners();
    QCOMPARE(textsOf(next.recovery.copies()), QStringList({"open", "dropped"}));
    QVERIFY(next.recovery.discard(next.recovery.copies().value(0)));
}

void TestRecovery::leftoversOfKilledProgramsAreCleared()
{
    Program running(m_recovery);
    running.changeAndFlush("one");
    const QString ownCopy = m_recovery + '/' + files().value(0);
    writeFile(ownCopy + ".aBcDeF", "half");                  // of a writing that goes on
    writeFile(path("state/recovery/x.palu.ghIjkl"), "half"); // of one that does not
    writeFile(path("state/recovery/x.palu.lock"), deadMark());
    writeFile(path("state/recovery/x.palu.lock.mnOpqr"), "");
    writeFile(path("state/recovery/notes.txt"), "not ours");
    {
        Program next(m_recovery);
    }
    QStringList left = files("*");
    left.removeOne("notes.txt");
    QCOMPARE(left.size(), 3);
    for (const QString &name : left)
        QVERIFY2((m_recovery + '/' + name).startsWith(ownCopy), qPrintable(name));
}

void TestRecovery::damagedCopiesAreLeftOut_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray project("\0\0\0\x02\0a", 6);
    const auto footer = [](qint64 position, quint64 magic = 0x50414C55434F5059) {
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream << magic << position;
        return bytes;
    };
    const auto details = [](const QString &video) {
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream << video << QString() << qint64(1);
        return bytes;
    };
    const QByteArray good = details("v.mp4");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("noise") << QByteArray(1000, 'x');
    QTest::newRow("zeros") << QByteArray(1000, '\0');
    QTest::newRow("a project file") << project;
    QTest::newRow("another magic number") << project + good + footer(6, 1);
    QTest::newRow("position before the file") << project + good + footer(-6);
    QTest::newRow("position at its start") << good + footer(0);
    QTest::newRow("position behind its end") << project + good + footer(1 << 20);
    QTest::newRow("greatest position") << project + good + footer(std::numeric_limits<qint64>::max());
    QTest::newRow("details too short") << project + good.left(10) + footer(6);
    QTest::newRow("details too long") << project + good + "more" + footer(6);
    QTest::newRow("details of a megabyte") << project + details(QString(1 << 19, 'v')) + footer(6);
    QTest::newRow("path longer than the file")
        << project + QByteArray("\x7f\xff\xff\xf0", 4) + good + footer(6);
    QTest::newRow("no video") << project + details(QString()) + footer(6);
    QTest::newRow("no project") << QByteArray(4, '\xf0') + good + footer(4);
}

void TestRecovery::damagedCopiesAreLeftOut()
{
    QFETCH(QByteArray, bytes);
    QVERIFY(QDir().mkpath(m_recovery));
    writeFile(path("state/recovery/damaged.palu"), bytes);
    LogCapture log;
    Program program(m_recovery);
    program.drop("whole");
    QCOMPARE(textsOf(program.recovery.copies()), QStringList("whole"));
    QCOMPARE(log.warnings().size(), 1);
    QVERIFY2(log.warnings().at(0).contains("damaged.palu"), qPrintable(log.warnings().at(0)));
    QVERIFY(QFile::exists(path("state/recovery/damaged.palu")));
}

void TestRecovery::everyCutIsNoticed()
{
    Program program(m_recovery);
    program.drop("a project");
    const QString whole = program.recovery.copies().value(0).path;
    QFile file(whole);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    for (int size = 0; size < bytes.size(); ++size) {
        writeFile(path("cut.palu"), bytes.left(size));
        QVERIFY2(!RecoveryCopy::read(path("cut.palu")), qPrintable(QString::number(size)));
    }
    writeFile(path("cut.palu"), bytes);
    QVERIFY(RecoveryCopy::read(path("cut.palu")).has_value());
}

void TestRecovery::whatCannotBeWrittenIsSaidAsLongAsItIsTrue()
{
    writeFile(path("state"), "in the way of the folder");
    LogCapture log;
    Program program(m_recovery);
    QSignalSpy told(&program.recovery, &Recovery::errorChanged);
    program.changeAndFlush("one");
    program.changeAndFlush("two");
    QVERIFY(!program.recovery.error().isEmpty());
    QCOMPARE(told.size(), 1);
    QCOMPARE(log.warnings().size(), 1);

    QVERIFY(QFile::remove(path("state")));
    program.recovery.flush();
    QCOMPARE(program.recovery.error(), QString());
    QCOMPARE(told.size(), 2);
    QCOMPARE(projectIn(m_recovery + '/' + files().value(0)), QByteArray("two"));
}

void TestRecovery::aFailedWriteIsTriedAgain()
{
    writeFile(path("state"), "in the way of the folder");
    LogCapture log;
    Program program(m_recovery);
    program.recovery.setTimes({1, 50});
    program.change("one");
    QTRY_VERIFY(!program.recovery.error().isEmpty());
    QVERIFY(QFile::remove(path("state")));
    QTRY_COMPARE(program.recovery.error(), QString());
    QCOMPARE(files().size(), 1);
}

void TestRecovery::aFullDiskLeavesTheOlderCopy()
{
    LogCapture log;
    Program program(m_recovery);
    program.changeAndFlush("older");
    {
        const FileSizeLimit full(10000);
        program.changeAndFlush(QByteArray(100000, 'x'));
        QVERIFY(!program.recovery.error().isEmpty());
        const FailingSync failing(EIO);
        const QString first = program.recovery.error();
        program.changeAndFlush("newer");
        QVERIFY(!program.recovery.error().isEmpty());
        QVERIFY(program.recovery.error() != first);
        QCOMPARE(log.warnings().size(), 1); // once for both
    }
    QCOMPARE(projectIn(m_recovery + '/' + files().value(0)), QByteArray("older"));
    program.recovery.flush();
    QCOMPARE(projectIn(m_recovery + '/' + files().value(0)), QByteArray("newer"));
}

QTEST_GUILESS_MAIN(TestRecovery)
#include "tst_recovery.moc"
