// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/safefile.h"
#include "tests/support/failingdisk.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr mode_t fileMode = 0666; // another one than a new file gets
constexpr int everyNth = 5;       // of the system calls, unless all are asked for
const char old[] = "the old project";

/// A system call of a save: the nth one of this name since the process began.
struct Call {
    QByteArray name;
    int number = 0;
    QByteArray text;
};

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no such file)");
}

/// Calls that no disk can fail.
bool isAboutMemory(const QByteArray &name)
{
    return name == "brk" || name == "mmap" || name == "munmap";
}

/// The system calls between the two marks of palu_save.
QVector<Call> callsOfTheSave(const QByteArray &trace)
{
    QVector<Call> calls;
    QHash<QByteArray, int> counts;
    bool saving = false;
    for (const QByteArray &line : trace.split('\n')) {
        const QByteArray name = line.left(line.indexOf('('));
        if (!line.contains('('))
            continue;
        const int number = ++counts[name];
        if (line.contains("the save has ended"))
            break;
        if (saving && !isAboutMemory(name))
            calls.append({name, number, line});
        saving = saving || line.contains("the save begins");
    }
    return calls;
}

/// First call from `from` on whose text has `pattern`; -1 when there is none.
int callLike(const QVector<Call> &calls, const char *pattern, int from = 0)
{
    const QRegularExpression expression(QString::fromLatin1(pattern));
    for (int i = from; i < calls.size(); ++i) {
        if (expression.match(QString::fromUtf8(calls.at(i).text)).hasMatch())
            return i;
    }
    return -1;
}

} // namespace

/// A save that is killed, or that a disk fails, at any system call leaves the whole old project or the whole
/// new one. With PALU_ALL_CALLS set every single call is tried, else some of them.
class TestKilledSave : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void contentIsSyncedBeforeTheRenameAndTheFolderBehindIt_data() { routes(); }
    void contentIsSyncedBeforeTheRenameAndTheFolderBehindIt();
    void theOldContentIsKeptAsideBeforeItIsWrittenOver();
    void killedAtAnyCallTheProjectIsWhole_data() { routes(); }
    void killedAtAnyCallTheProjectIsWhole();
    void whateverCallFailsTheProjectIsWhole_data() { routes(); }
    void whateverCallFailsTheProjectIsWhole();

private:
    /// The ways in which a file is replaced.
    static void routes();
    void prepare();
    void layOut();
    /// Saves under strace with these options of it. Returns the exit code, -1 for a killed process.
    int save(const QStringList &options);
    int saveWithFault(const Call &call, const char *fault);
    QVector<Call> tracedSave();
    QStringList filesLeft() const;
    /// What is wrong with what a save left behind; empty when all is well. A next start comes first.
    QString problem(bool mustBeNew) const;
    void tryCalls(const char *fault, const std::function<bool(int)> &endsWell);

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_file;
    QString m_path; // what is saved to: the file, or a link to it
    QString m_trace;
    QByteArray m_new;
    bool m_closed = false;
};

void TestKilledSave::initTestCase()
{
    if (QStandardPaths::findExecutable("strace").isEmpty())
        QSKIP("strace is not installed");
    QProcess strace;
    strace.start("strace", {"-o", "/dev/null", "true"});
    if (!strace.waitForFinished() || strace.exitCode() != 0)
        QSKIP("processes may not be traced here");
    QCoreApplication::setApplicationName("palu"); // whose state folder palu_save has
}

void TestKilledSave::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    const auto everybody = QFile::Permissions(0x7777);
    for (const char *name : {"state", "place"}) {
        QVERIFY(QDir(m_folder->path()).mkdir(name));
        QVERIFY(QFile::setPermissions(m_folder->filePath(name), everybody));
    }
    QVERIFY(QFile::setPermissions(m_folder->path(), everybody));
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_folder->filePath("state")));
    m_trace = m_folder->filePath("trace");
    m_file = m_folder->filePath("place/x.palu");
}

void TestKilledSave::cleanup()
{
    ::chmod(QFile::encodeName(m_folder->filePath("place")).constData(), 0777);
    m_folder.reset();
}

void TestKilledSave::routes()
{
    QTest::addColumn<QString>("route");
    for (const char *route : {"plain file", "symbolic link", "folder that takes no new file"})
        QTest::newRow(route) << QString(route);
}

/// Lays the old project out as the row of the data says, and makes a first save that tells what the new one
/// is.
void TestKilledSave::prepare()
{
    QFETCH(QString, route);
    m_closed = route.startsWith("folder");
    m_path = route == "symbolic link" ? m_folder->filePath("place/link.palu") : m_file;
    if (m_path != m_file)
        QVERIFY(QFile::link("x.palu", m_path));
    QCOMPARE(save({}), 0);
    m_new = contentOf(m_file);
    QVERIFY(m_new.size() > 20000);
    QCOMPARE(QFileInfo(m_path).isSymLink(), m_path != m_file);
}

/// The old project again, in a folder as it was before the first save.
void TestKilledSave::layOut()
{
    const QByteArray place = QFile::encodeName(m_folder->filePath("place"));
    ::chmod(place.constData(), 0777);
    QFile file(m_file);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(old), qint64(sizeof old - 1));
    file.close();
    QCOMPARE(::chmod(QFile::encodeName(m_file).constData(), fileMode), 0);
    QCOMPARE(::chmod(place.constData(), m_closed ? 0555 : 0777), 0);
}

int TestKilledSave::save(const QStringList &options)
{
    layOut();
    QProcess strace;
    const QStringList always{"-qq", "-s", "4096", "-y", "-o", m_trace};
    strace.start("strace", always + options + QStringList{PALU_SAVE, m_path, "nobody"});
    if (!strace.waitForFinished(60000))
        return -2;
    return strace.exitStatus() == QProcess::NormalExit ? strace.exitCode() : -1;
}

QVector<Call> TestKilledSave::tracedSave()
{
    save({});
    return callsOfTheSave(contentOf(m_trace));
}

int TestKilledSave::saveWithFault(const Call &call, const char *fault)
{
    const QString name = QString::fromLatin1(call.name);
    return save({"-e", "trace=" + name, "-e",
                 QString("inject=%1:%2:when=%3").arg(name, QLatin1String(fault)).arg(call.number)});
}

QString TestKilledSave::problem(bool mustBeNew) const
{
    {
        const WithoutRootRights rights; // as the save before
        SafeFile::putAllBack();
    }
    const QByteArray content = contentOf(m_file);
    if (content != m_new && (mustBeNew || content != old))
        return QString("%1 bytes that are not the project").arg(content.size());
    struct stat status;
    if (::stat(QFile::encodeName(m_file).constData(), &status) != 0 || (status.st_mode & 0777) != fileMode)
        return QString("other permissions");
    if (m_path != m_file && QFile::symLinkTarget(m_path) != m_file)
        return QString("the link is gone");
    const QStringList kept = QDir(m_folder->filePath("state/palu/kept")).entryList({"*.kept*"}, QDir::Files);
    return kept.isEmpty() ? QString() : QString("old content is still kept");
}

/// Puts `fault` into the system calls of a save, one save for each, and looks at what is left after each.
void TestKilledSave::tryCalls(const char *fault, const std::function<bool(int)> &endsWell)
{
    const QVector<Call> calls = tracedSave();
    const int step = qEnvironmentVariableIsSet("PALU_ALL_CALLS") ? 1 : everyNth;
    int tried = 0;
    for (int i = 0; i < calls.size(); i += step, ++tried) {
        const int result = saveWithFault(calls.at(i), fault);
        const QString seen = QString("call %1, %2 %3: ").arg(i).arg(QString(calls.at(i).text)).arg(result);
        QVERIFY2(endsWell(result), qPrintable(seen));
        const QString left = problem(result == 0);
        QVERIFY2(left.isEmpty(), qPrintable(seen + left));
    }
    qInfo("%d of %d system calls", tried, int(calls.size()));
    QVERIFY(tried > 3);
    // The next save clears whatever is left.
    QCOMPARE(save({}), 0);
    QCOMPARE(contentOf(m_file), m_new);
    const QStringList files = QDir(m_folder->filePath("place")).entryList(QDir::Files | QDir::Hidden);
    QCOMPARE(files.size(), m_path == m_file ? 1 : 2);
}

void TestKilledSave::contentIsSyncedBeforeTheRenameAndTheFolderBehindIt()
{
    prepare();
    const QVector<Call> calls = tracedSave();
    // In a closed folder the old content is what gets a new name, in a folder of its own.
    const char *file = m_closed ? "kept" : "x\\.palu";
    const char *folder = m_closed ? "/kept>" : "/place>";
    const int renamed = callLike(calls, qPrintable(QString("^rename.*%1").arg(file)));
    QVERIFY(renamed > 0);
    const int synced = callLike(calls, "^fdatasync.* = 0");
    QVERIFY(synced >= 0 && synced < renamed);
    QCOMPARE(callLike(calls.mid(synced, renamed - synced), "^write"), -1);
    QVERIFY(callLike(calls, qPrintable(QString("^fsync.*%1.* = 0").arg(folder)), renamed) > renamed);
}

void TestKilledSave::theOldContentIsKeptAsideBeforeItIsWrittenOver()
{
    m_closed = true;
    m_path = m_file;
    QCOMPARE(save({}), 0);
    const QVector<Call> calls = tracedSave();
    const int kept = callLike(calls, "^fsync.*/kept>.* = 0");
    const int written = callLike(calls, "^(write|ftruncate).*/place/x\\.palu>");
    const int synced = callLike(calls, "^fdatasync.*/place/x\\.palu>.* = 0");
    const int dropped = callLike(calls, "^unlink.*/kept/");
    QVERIFY(0 <= kept && kept < written);
    QVERIFY(written < synced && synced < dropped);
    QCOMPARE(callLike(calls, "^(write|ftruncate).*/place/x\\.palu>", synced), -1);
    QVERIFY(callLike(calls, "^fsync.*/kept>.* = 0", dropped) > dropped);
}

void TestKilledSave::killedAtAnyCallTheProjectIsWhole()
{
    prepare();
    tryCalls("signal=KILL", [](int result) { return result == -1; });
}

void TestKilledSave::whateverCallFailsTheProjectIsWhole()
{
    prepare();
    tryCalls("error=EIO", [](int result) { return result == 0 || result == 1; });
}

QTEST_GUILESS_MAIN(TestKilledSave)
#include "tst_killedsave.moc"
