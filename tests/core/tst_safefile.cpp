// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/filelock.h"
#include "core/keptcopy.h"
#include "core/processmark.h"
#include "core/safefile.h"
#include "tests/support/failingdisk.h"
#include "tests/support/logcapture.h"

#include <QDir>
#include <QFile>
#include <QFileDevice>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <csignal>
#include <memory>
#include <vector>

#include <grp.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

const char path[] = "x.palu";
constexpr int longEnough = 300000; // bytes: more than any buffer holds

QByteArray contentOf(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no such file)");
}

void writeFile(const QString &name, const QByteArray &content)
{
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), qint64(content.size()));
}

SafeFile::Writer writes(const QByteArray &content)
{
    return [content](QFileDevice &file) { return file.write(content) == content.size(); };
}

/// Begins to write "new" over a file with "old", and gets no further than its first letter.
bool writeHalf(const QString &name)
{
    QFile file(name);
    return KeptCopy::keep(name, writes("new")).isEmpty() && file.open(QIODevice::ReadWrite) &&
           file.write("n") == 1;
}

/// Whether `action` came to its end in a process of its own.
bool endsInAChild(const std::function<void()> &action)
{
    const pid_t child = ::fork();
    if (child == 0) {
        action();
        ::_exit(0);
    }
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

mode_t modeOf(const QString &name)
{
    struct stat status;
    return ::lstat(QFile::encodeName(name).constData(), &status) == 0 ? status.st_mode & 07777 : 0;
}

gid_t groupOf(const QString &name)
{
    struct stat status;
    return ::stat(QFile::encodeName(name).constData(), &status) == 0 ? status.st_gid : gid_t(-1);
}

/// Gives a file to another user and to a group. Only root can.
bool give(const QString &name, uid_t owner, gid_t group)
{
    const uid_t user = ::geteuid();
    const bool given = ::seteuid(0) == 0 && ::chown(QFile::encodeName(name).constData(), owner, group) == 0;
    return ::seteuid(user) == 0 && given;
}

bool giveAway(const QString &name, gid_t group)
{
    constexpr uid_t colleague = 12345;
    return give(name, colleague, group);
}

bool takeBack(const QString &name)
{
    return give(name, ::geteuid(), ::getegid());
}

/// Makes this process that of a user who is in these groups alone, for good.
bool becomeMember(gid_t primary, const std::vector<gid_t> &others)
{
    const uid_t user = ::geteuid();
    return ::seteuid(0) == 0 && ::setgroups(others.size(), others.data()) == 0 && ::setgid(primary) == 0 &&
           ::setuid(user) == 0;
}

void setMode(const QString &name, mode_t mode)
{
    QCOMPARE(::chmod(QFile::encodeName(name).constData(), mode), 0);
}

} // namespace

/// A file is replaced whole or not at all. Every test runs in a folder of its own, as a user without root's
/// rights.
class TestSafeFile : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void theFileIsReplaced();
    void aNewFileIsMadeAsTheMaskSays();
    void aNewFileCanBeForTheUserOnly();
    void theFileKeepsItsPermissions();
    void aColleaguesFileKeepsItsGroup_data();
    void aColleaguesFileKeepsItsGroup();
    void linksAreKept_data();
    void linksAreKept();
    void aLinkLeadsFromTheFolderItIsIn_data();
    void aLinkLeadsFromTheFolderItIsIn();
    void aFailureLeavesTheOldFileAlone_data();
    void aFailureLeavesTheOldFileAlone();
    void whatCannotBeOpenedIsLeftAlone_data();
    void whatCannotBeOpenedIsLeftAlone();
    void leftoversAreCleared_data();
    void leftoversAreCleared();
    void whatIsBeingWrittenIsNoLeftover();
    void aNameTooLongForASiblingIsWrittenOver();
    void aClosedFolderIsWrittenOverOnlyIfAllowed();
    void aColleaguesFileInAStickyFolderIsWrittenOver();
    void writingOverKeepsTheContentAside();
    void theContentAsideIsForTheUserOnly();
    void withoutAContentAsideNothingIsTouched();
    void aFailureToWriteOverPutsTheContentBack_data();
    void aFailureToWriteOverPutsTheContentBack();
    void aKilledProgramsContentIsPutBack_data();
    void aKilledProgramsContentIsPutBack();
    void aRunningProgramsContentIsLeftAlone();
    void aLockTellsMoreThanAMark();
    void whatSomebodyElseWroteMeanwhileIsLeftAlone_data();
    void whatSomebodyElseWroteMeanwhileIsLeftAlone();
    void whatWasWrittenInAnyOrderIsPutBack_data();
    void whatWasWrittenInAnyOrderIsPutBack();
    void whatARunningProgramKeepsIsItsOwn();
    void anotherFileInThePlaceIsLeftAlone();
    void aDamagedCopyIsLeftAlone();
    void aFileThatIsBeingWrittenOverIsNotWrittenOverTwice();

private:
    QStringList filesLeft() const
    {
        return QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden | QDir::System);
    }
    QStringList keptFiles() const { return QDir(KeptCopy::folder()).entryList(QDir::Files | QDir::Hidden); }
    /// Makes the folder take no new file, while those in it can be written.
    void closeTheFolder() { setMode(m_folder->path(), 0555); }
    void openTheFolder() { setMode(m_folder->path(), 0755); }

    std::unique_ptr<WithoutRootRights> m_rights;
    std::unique_ptr<QTemporaryDir> m_state;
    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_path;
    QString m_error;
};

void TestSafeFile::init()
{
    m_rights = std::make_unique<WithoutRootRights>();
    m_state = std::make_unique<QTemporaryDir>();
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_state->path()));
    m_folder = std::make_unique<QTemporaryDir>();
    m_path = m_folder->filePath(QLatin1String(path));
    writeFile(m_path, "old");
    m_error = QStringLiteral("from before");
}

void TestSafeFile::cleanup()
{
    takeBack(m_folder->path());
    openTheFolder();
    m_folder.reset();
    m_state.reset();
    m_rights.reset();
}

void TestSafeFile::theFileIsReplaced()
{
    QCOMPARE(SafeFile::replace(m_path, writes("new"), &m_error), SafeFile::Outcome::Replaced);
    QCOMPARE(m_error, QString());
    QCOMPARE(contentOf(m_path), QByteArray("new"));
    QCOMPARE(filesLeft(), QStringList(path));
    QCOMPARE(keptFiles(), QStringList());
}

void TestSafeFile::aNewFileIsMadeAsTheMaskSays()
{
    const mode_t before = ::umask(027);
    const QString made = m_folder->filePath("new.palu");
    const SafeFile::Outcome outcome = SafeFile::replace(made, writes("new"), &m_error);
    ::umask(before);
    QCOMPARE(outcome, SafeFile::Outcome::Replaced);
    QCOMPARE(modeOf(made), mode_t(0640));
}

void TestSafeFile::aNewFileCanBeForTheUserOnly()
{
    const QString made = m_folder->filePath("new.palu");
    QCOMPARE(SafeFile::replace(made, writes("new"), &m_error, {false, true}), SafeFile::Outcome::Replaced);
    QCOMPARE(modeOf(made), mode_t(0600));
}

void TestSafeFile::theFileKeepsItsPermissions()
{
    for (const mode_t mode : {mode_t(0600), mode_t(0664), mode_t(0755)}) {
        setMode(m_path, mode);
        QCOMPARE(SafeFile::replace(m_path, writes("new"), &m_error), SafeFile::Outcome::Replaced);
        QCOMPARE(modeOf(m_path), mode);
    }
}

void TestSafeFile::aColleaguesFileKeepsItsGroup_data()
{
    QTest::addColumn<bool>("isMember");
    QTest::addColumn<int>("mode");
    QTest::newRow("the saver is in it") << true << 0666;
    QTest::newRow("the saver is not in it") << false << 0606;
}

void TestSafeFile::aColleaguesFileKeepsItsGroup()
{
    QFETCH(bool, isMember);
    QFETCH(int, mode);
    constexpr gid_t team = 23456;
    constexpr gid_t savers = 34567;
    setMode(m_path, 0666);
    if (!giveAway(m_path, team))
        QSKIP("only root can give a file to another user");
    setMode(m_folder->path(), 0777);
    QVERIFY(endsInAChild([&] {
        const std::vector<gid_t> others(isMember ? 1 : 0, team);
        if (!becomeMember(savers, others) ||
            SafeFile::replace(m_path, writes("new"), &m_error) != SafeFile::Outcome::Replaced)
            ::_exit(1);
    }));
    QCOMPARE(contentOf(m_path), QByteArray("new"));
    QCOMPARE(groupOf(m_path), isMember ? team : savers);
    QCOMPARE(modeOf(m_path), static_cast<mode_t>(mode));
}

void TestSafeFile::linksAreKept_data()
{
    QTest::addColumn<QByteArray>("leadsTo");
    QTest::newRow("a file beside it") << QByteArray("x.palu");
    QTest::newRow("another link") << QByteArray("second.palu");
    QTest::newRow("no file yet") << QByteArray("none.palu");
}

void TestSafeFile::linksAreKept()
{
    QFETCH(QByteArray, leadsTo);
    const QByteArray link = QFile::encodeName(m_folder->filePath("link.palu"));
    QCOMPARE(::symlink(leadsTo.constData(), link.constData()), 0);
    QCOMPARE(::symlink(path, QFile::encodeName(m_folder->filePath("second.palu")).constData()), 0);
    QCOMPARE(SafeFile::replace(QFile::decodeName(link), writes("new"), &m_error),
             SafeFile::Outcome::Replaced);
    QVERIFY(QFileInfo(QFile::decodeName(link)).isSymLink());
    QVERIFY(QFileInfo(m_folder->filePath("second.palu")).isSymLink());
    QCOMPARE(contentOf(m_folder->filePath(QFile::decodeName(leadsTo))), QByteArray("new"));
}

void TestSafeFile::aLinkLeadsFromTheFolderItIsIn_data()
{
    QTest::addColumn<bool>("dangles");
    QTest::newRow("a file") << false;
    QTest::newRow("no file yet") << true;
}

// The folder's own path is another than the one that leads to it through a link.
void TestSafeFile::aLinkLeadsFromTheFolderItIsIn()
{
    QFETCH(bool, dangles);
    const auto inFolder = [this](const char *name) { return m_folder->filePath(name); };
    for (const char *made : {"home/archive", "disk/projects", "disk/archive"})
        QVERIFY(QDir(m_folder->path()).mkpath(made));
    writeFile(inFolder("home/archive/v3.palu"), "another project");
    if (!dangles)
        writeFile(inFolder("disk/archive/v3.palu"), "old");
    QVERIFY(QFile::link("../disk/projects", inFolder("home/projects")));
    QVERIFY(QFile::link("../archive/v3.palu", inFolder("disk/projects/current.palu")));
    QCOMPARE(SafeFile::replace(inFolder("home/projects/current.palu"), writes("new"), &m_error),
             SafeFile::Outcome::Replaced);
    QCOMPARE(contentOf(inFolder("disk/archive/v3.palu")), QByteArray("new"));
    QCOMPARE(contentOf(inFolder("home/archive/v3.palu")), QByteArray("another project"));
    QVERIFY(QFileInfo(inFolder("disk/projects/current.palu")).isSymLink());
}

void TestSafeFile::aFailureLeavesTheOldFileAlone_data()
{
    QTest::addColumn<int>("room");
    QTest::addColumn<int>("syncError");
    QTest::newRow("no room") << 0 << 0;
    QTest::newRow("room for a part") << 70000 << 0;
    QTest::newRow("no room for the last byte") << longEnough - 1 << 0;
    QTest::newRow("a failing sync") << 2 * longEnough << EIO;
}

void TestSafeFile::aFailureLeavesTheOldFileAlone()
{
    QFETCH(int, room);
    QFETCH(int, syncError);
    {
        const FileSizeLimit limit(static_cast<rlim_t>(room));
        const FailingSync disk(syncError);
        QCOMPARE(SafeFile::replace(m_path, writes(QByteArray(longEnough, 'n')), &m_error),
                 SafeFile::Outcome::Failed);
    }
    QVERIFY(!m_error.isEmpty());
    QCOMPARE(contentOf(m_path), QByteArray("old"));
    QCOMPARE(filesLeft(), QStringList(path));
}

void TestSafeFile::whatCannotBeOpenedIsLeftAlone_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("in no folder") << "none/x.palu";
    QTest::newRow("a folder") << "folder";
    QTest::newRow("a pipe") << "pipe";
    QTest::newRow("a file that may not be written") << "locked";
    QTest::newRow("links in a circle") << "circle";
}

void TestSafeFile::whatCannotBeOpenedIsLeftAlone()
{
    QFETCH(QString, name);
    const auto encoded = [this](const char *file) { return QFile::encodeName(m_folder->filePath(file)); };
    QVERIFY(QDir(m_folder->path()).mkdir("folder"));
    QCOMPARE(::mkfifo(encoded("pipe").constData(), 0600), 0);
    writeFile(m_folder->filePath("locked"), "old");
    setMode(m_folder->filePath("locked"), 0444);
    QCOMPARE(::symlink("circle", encoded("circle").constData()), 0);
    const QStringList before = filesLeft();
    QCOMPARE(SafeFile::replace(m_folder->filePath(name), writes("new"), &m_error),
             SafeFile::Outcome::NotOpened);
    QVERIFY(!m_error.isEmpty());
    QCOMPARE(filesLeft(), before);
    QCOMPARE(contentOf(m_folder->filePath("locked")), QByteArray("old"));
}

void TestSafeFile::leftoversAreCleared_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("cleared");
    QTest::newRow("of a killed save") << "x.palu.rTgUuM" << true;
    QTest::newRow("of another file") << "y.palu.rTgUuM" << false;
    QTest::newRow("a longer name") << "x.palu.rTgUuMx" << false;
    QTest::newRow("a word") << "x.palu.backup" << false;
    QTest::newRow("a word with a capital") << "x.palu.Backup" << false;
    QTest::newRow("two words") << "x.palu.BackUp" << false;
    QTest::newRow("in capitals") << "x.palu.BACKUP" << false;
    QTest::newRow("a date") << "x.palu.202611" << false;
    QTest::newRow("behind more") << "x.palu.old.rTgUuM" << false;
}

void TestSafeFile::leftoversAreCleared()
{
    QFETCH(QString, name);
    QFETCH(bool, cleared);
    writeFile(m_folder->filePath(name), "half");
    QCOMPARE(SafeFile::replace(m_path, writes("new"), &m_error), SafeFile::Outcome::Replaced);
    QCOMPARE(QFile::exists(m_folder->filePath(name)), !cleared);
}

void TestSafeFile::whatIsBeingWrittenIsNoLeftover()
{
    QFile other(m_folder->filePath("x.palu.rTgUuM"));
    QVERIFY(other.open(QIODevice::WriteOnly));
    QCOMPARE(::flock(other.handle(), LOCK_EX), 0);
    const QByteArray link = QFile::encodeName(m_folder->filePath("x.palu.aBcDeF"));
    QCOMPARE(::symlink("elsewhere", link.constData()), 0);
    QCOMPARE(SafeFile::replace(m_path, writes("new"), &m_error), SafeFile::Outcome::Replaced);
    QVERIFY(other.exists());
    other.close();
    QCOMPARE(SafeFile::replace(m_path, writes("new"), &m_error), SafeFile::Outcome::Replaced);
    QVERIFY(!other.exists());
}

void TestSafeFile::aNameTooLongForASiblingIsWrittenOver()
{
    const QString longName = m_folder->filePath(QString(245, 'x') + ".palu");
    writeFile(longName, "old");
    QCOMPARE(SafeFile::replace(longName, writes("new"), &m_error), SafeFile::Outcome::Replaced);
    QCOMPARE(contentOf(longName), QByteArray("new"));
}

void TestSafeFile::aClosedFolderIsWrittenOverOnlyIfAllowed()
{
    closeTheFolder();
    QVERIFY(!QFile(m_folder->filePath("y")).open(QIODevice::WriteOnly));
    QCOMPARE(SafeFile::replace(m_path, writes("new"), &m_error, {false, true}), SafeFile::Outcome::NotOpened);
    QCOMPARE(contentOf(m_path), QByteArray("old"));
    QCOMPARE(SafeFile::replace(m_path, writes("n"), &m_error), SafeFile::Outcome::Replaced);
    QCOMPARE(m_error, QString());
    QCOMPARE(contentOf(m_path), QByteArray("n")); // shorter than the old one
    QCOMPARE(keptFiles(), QStringList());
    QCOMPARE(SafeFile::replace(m_folder->filePath("y"), writes("new"), &m_error),
             SafeFile::Outcome::NotOpened);
}

void TestSafeFile::aColleaguesFileInAStickyFolderIsWrittenOver()
{
    setMode(m_path, 0666);
    setMode(m_folder->path(), 01777);
    if (!giveAway(m_path, ::getegid()) || !giveAway(m_folder->path(), ::getegid()))
        QSKIP("only root can give a file to another user");
    QCOMPARE(SafeFile::replace(m_path, writes("new"), &m_error, {false, true}), SafeFile::Outcome::Failed);
    QVERIFY(!m_error.isEmpty());
    QCOMPARE(contentOf(m_path), QByteArray("old"));
    QCOMPARE(SafeFile::replace(m_path, writes("new"), &m_error), SafeFile::Outcome::Replaced);
    QCOMPARE(m_error, QString());
    QCOMPARE(contentOf(m_path), QByteArray("new"));
    QCOMPARE(filesLeft(), QStringList(path));
    QCOMPARE(keptFiles(), QStringList());
}

void TestSafeFile::writingOverKeepsTheContentAside()
{
    QVERIFY(writeHalf(m_path));
    const QByteArray aside = contentOf(QDir(KeptCopy::folder()).filePath(keptFiles().value(0)));
    QVERIFY(aside.endsWith("oldnew"));
    QCOMPARE(KeptCopy::writeOver(m_path), QString());
    QCOMPARE(contentOf(m_path), QByteArray("new"));
    QCOMPARE(KeptCopy::undo(m_path), QString());
    QCOMPARE(contentOf(m_path), QByteArray("old"));
    QCOMPARE(keptFiles(), QStringList());
}

void TestSafeFile::theContentAsideIsForTheUserOnly()
{
    QVERIFY(writeHalf(m_path));
    QCOMPARE(modeOf(KeptCopy::folder()), mode_t(0700));
    QCOMPARE(modeOf(QDir(KeptCopy::folder()).filePath(keptFiles().value(0))), mode_t(0600));
}

void TestSafeFile::withoutAContentAsideNothingIsTouched()
{
    closeTheFolder();
    setMode(m_state->path(), 0555);
    bool written = false;
    const auto write = [&written](QFileDevice &) { return written = true; };
    const SafeFile::Outcome outcome = SafeFile::replace(m_path, write, &m_error);
    setMode(m_state->path(), 0755);
    QCOMPARE(outcome, SafeFile::Outcome::Failed);
    QVERIFY2(m_error.contains("kept aside"), qPrintable(m_error));
    QVERIFY(!written);
    QCOMPARE(contentOf(m_path), QByteArray("old"));
}

void TestSafeFile::aFailureToWriteOverPutsTheContentBack_data()
{
    QTest::addColumn<int>("room");
    QTest::newRow("room for the old content alone") << 1000;
    QTest::newRow("room for a part") << 70000;
    QTest::newRow("no room for the last byte") << longEnough - 1;
}

void TestSafeFile::aFailureToWriteOverPutsTheContentBack()
{
    QFETCH(int, room);
    closeTheFolder();
    {
        const FileSizeLimit limit(static_cast<rlim_t>(room));
        QCOMPARE(SafeFile::replace(m_path, writes(QByteArray(longEnough, 'n')), &m_error),
                 SafeFile::Outcome::Failed);
    }
    QVERIFY(!m_error.isEmpty());
    QCOMPARE(contentOf(m_path), QByteArray("old"));
    QCOMPARE(keptFiles(), QStringList());
}

void TestSafeFile::aKilledProgramsContentIsPutBack_data()
{
    QTest::addColumn<bool>("folderOpens");
    QTest::addColumn<int>("by"); // 0: an Open, 1: a start, 2: a save
    QTest::newRow("by an Open") << false << 0;
    QTest::newRow("by a start") << false << 1;
    QTest::newRow("by a save that fails") << false << 2;
    QTest::newRow("by a save that fails beside it") << true << 2;
}

void TestSafeFile::aKilledProgramsContentIsPutBack()
{
    QFETCH(bool, folderOpens);
    QFETCH(int, by);
    closeTheFolder();
    QVERIFY(endsInAChild([this] { writeHalf(m_path); }));
    QCOMPARE(contentOf(m_path), QByteArray("nld"));
    QCOMPARE(keptFiles().size(), 1);
    if (folderOpens)
        openTheFolder();
    if (by == 0)
        SafeFile::putBack(m_path);
    else if (by == 1)
        SafeFile::putAllBack();
    else
        SafeFile::replace(
            m_path, [](QFileDevice &) { return false; }, &m_error);
    QCOMPARE(contentOf(m_path), QByteArray("old"));
    QCOMPARE(keptFiles(), QStringList());
}

void TestSafeFile::aRunningProgramsContentIsLeftAlone()
{
    closeTheFolder();
    LogCapture log;
    bool looked = false;
    {
        const FileLock lock(m_path);
        QVERIFY(writeHalf(m_path));
        looked = endsInAChild([this] {
            SafeFile::putAllBack();
            SafeFile::putBack(m_path);
        });
    }
    QVERIFY(looked);
    QCOMPARE(contentOf(m_path), QByteArray("nld"));
    SafeFile::putBack(m_path);
    QCOMPARE(contentOf(m_path), QByteArray("old"));
}

void TestSafeFile::aLockTellsMoreThanAMark()
{
    const QByteArray own = ProcessMark::own().split(' ').first();
    QVERIFY(endsInAChild([this] { writeHalf(m_path); }));
    const QString copy = QDir(KeptCopy::folder()).filePath(keptFiles().value(0));
    writeFile(copy, contentOf(copy).replace(own, QByteArray(own.size(), 'x'))); // of another machine
    QVERIFY(ProcessMark::mayRun("xx " + ProcessMark::own()));
    SafeFile::putBack(m_path);
    QCOMPARE(contentOf(m_path), QByteArray("old"));
    QCOMPARE(keptFiles(), QStringList());
}

void TestSafeFile::whatSomebodyElseWroteMeanwhileIsLeftAlone_data()
{
    QTest::addColumn<QByteArray>("found");
    QTest::addColumn<bool>("isOthers");
    QTest::newRow("the new content") << QByteArray("new") << false;
    QTest::newRow("the old content") << QByteArray("old") << false;
    QTest::newRow("another one as long") << QByteArray("one") << true;
    QTest::newRow("a longer one") << QByteArray("older") << true;
    QTest::newRow("a shorter one") << QByteArray("ol") << true;
    QTest::newRow("nothing") << QByteArray() << true;
}

// Into the same file: its number says nothing then.
void TestSafeFile::whatSomebodyElseWroteMeanwhileIsLeftAlone()
{
    QFETCH(QByteArray, found);
    QFETCH(bool, isOthers);
    QVERIFY(endsInAChild([this] { writeHalf(m_path); }));
    writeFile(m_path, found);
    LogCapture log;
    SafeFile::putBack(m_path);
    QCOMPARE(contentOf(m_path), found);
    QCOMPARE(log.warnings().size(), isOthers ? 1 : 0);
    QCOMPARE(keptFiles().size(), isOthers ? 1 : 0);
    if (isOthers)
        QVERIFY2(log.contains(keptFiles().first()), "the log says where the old content is");
}

void TestSafeFile::whatWasWrittenInAnyOrderIsPutBack_data()
{
    QTest::addColumn<int>("oldSize");
    QTest::addColumn<int>("newSize");
    QTest::newRow("a longer content") << 200000 << 300000;
    QTest::newRow("a shorter content") << 300000 << 200000;
}

// As a machine that fails leaves it: the room of the new content is there, but only some of its pieces.
void TestSafeFile::whatWasWrittenInAnyOrderIsPutBack()
{
    QFETCH(int, oldSize);
    QFETCH(int, newSize);
    const QByteArray old(oldSize, 'o');
    const QByteArray found = old.left(4096) + QByteArray(100000, 'n') + old.mid(104096, 50000);
    writeFile(m_path, old);
    QCOMPARE(KeptCopy::keep(m_path, writes(QByteArray(newSize, 'n'))), QString());
    writeFile(m_path, found.leftJustified(qMin(oldSize, newSize), 'n') +
                          QByteArray(qMax(0, newSize - oldSize), '\0'));
    SafeFile::putBack(m_path);
    QVERIFY(contentOf(m_path) == old);
    QCOMPARE(keptFiles(), QStringList());
}

// Also where the file system knows no locks.
void TestSafeFile::whatARunningProgramKeepsIsItsOwn()
{
    const WithoutLocks fileSystem;
    int ends[2];
    QCOMPARE(::pipe(ends), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const bool kept = writeHalf(m_path);
        static_cast<void>(::write(ends[1], kept ? "k" : "-", 1) == 1);
        ::pause();
    }
    char answer = 0;
    const bool answered = ::read(ends[0], &answer, 1) == 1;
    LogCapture log;
    SafeFile::putAllBack();
    const QByteArray meanwhile = contentOf(m_path);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    QVERIFY(answered && answer == 'k');
    QCOMPARE(meanwhile, QByteArray("nld"));
    SafeFile::putAllBack();
    QCOMPARE(contentOf(m_path), QByteArray("old"));
}

void TestSafeFile::anotherFileInThePlaceIsLeftAlone()
{
    closeTheFolder();
    QVERIFY(endsInAChild([this] { writeHalf(m_path); }));
    QCOMPARE(contentOf(m_path), QByteArray("nld"));
    openTheFolder();
    writeFile(m_folder->filePath("other"), "other");
    QCOMPARE(std::rename(QFile::encodeName(m_folder->filePath("other")).constData(),
                         QFile::encodeName(m_path).constData()),
             0);
    LogCapture log;
    SafeFile::putBack(m_path);
    QCOMPARE(contentOf(m_path), QByteArray("other"));
    QCOMPARE(keptFiles().size(), 1);
    QVERIFY2(log.contains(keptFiles().first()), "the log says where the old content is");
    SafeFile::putAllBack();
    QCOMPARE(log.warnings().size(), 1);
    QCOMPARE(contentOf(m_path), QByteArray("other"));
}

void TestSafeFile::aDamagedCopyIsLeftAlone()
{
    closeTheFolder();
    QVERIFY(endsInAChild([this] { writeHalf(m_path); }));
    QCOMPARE(contentOf(m_path), QByteArray("nld"));
    const QByteArray torn = contentOf(m_path);
    const QString copy = QDir(KeptCopy::folder()).filePath(keptFiles().value(0));
    QVERIFY(QFile::resize(copy, QFileInfo(copy).size() - 1));
    LogCapture log;
    SafeFile::putBack(m_path);
    QCOMPARE(contentOf(m_path), torn);
    QCOMPARE(log.warnings().size(), 1);
    QCOMPARE(keptFiles().size(), 1);
}

void TestSafeFile::aFileThatIsBeingWrittenOverIsNotWrittenOverTwice()
{
    closeTheFolder();
    QFile other(m_path);
    QVERIFY(other.open(QIODevice::ReadOnly));
    QCOMPARE(::flock(other.handle(), LOCK_EX), 0);
    QCOMPARE(SafeFile::replace(m_path, writes("new"), &m_error), SafeFile::Outcome::Failed);
    QVERIFY(!m_error.isEmpty());
    QCOMPARE(contentOf(m_path), QByteArray("old"));
    other.close();
    QCOMPARE(SafeFile::replace(m_path, writes("new"), &m_error), SafeFile::Outcome::Replaced);
}

QTEST_GUILESS_MAIN(TestSafeFile)
#include "tst_safefile.moc"
