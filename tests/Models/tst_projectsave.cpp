// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/projectfile.h"
#include "tests/support/failingdisk.h"
#include "tests/support/logcapture.h"
#include "tests/support/testproject.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <cstring>
#include <memory>

#include <sys/mount.h>

namespace
{

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no such file)");
}

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), qint64(content.size()));
}

void letAllWrite(const QString &folder)
{
    const int everything = 0x7777; // for owner, user, group and others
    QVERIFY(QFile::setPermissions(folder, QFile::Permissions(everything)));
}

QByteArray bytesOf(const DataState &state)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    ProjectFile::write(stream, state);
    return bytes;
}

} // namespace

/// Saving replaces the file whole or not at all.
class TestProjectSave : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void savingReplacesTheFile();
    void savingThroughALinkKeepsTheLink();
    void aFullDiskKeepsTheOldFile_data();
    void aFullDiskKeepsTheOldFile();
    void aFailingSyncKeepsTheOldFile();
    void aDiskThatCannotSyncIsGoodEnough();
    void aFileThatCannotBeOpenedIsOnlyLogged();
    void whereNoNewFileCanBeMadeTheOldOneIsWrittenOver();
    void aFailureToWriteOverTheOldFileIsToldAndCostsNothing_data();
    void aFailureToWriteOverTheOldFileIsToldAndCostsNothing();

    void aDeviceThatFailsAfterAnyNumberOfBytesCostsNothing_data();
    void aDeviceThatFailsAfterAnyNumberOfBytesCostsNothing();
    void aFullDiskOfItsOwnKeepsTheOldFile();

private:
    /// Makes the folder take no new file, while the old one can still be written.
    void closeTheFolder();
    QStringList filesLeft() const { return QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden); }

    QTemporaryDir m_state;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<TestProject> m_project;
    QString m_path;
};

void TestProjectSave::initTestCase()
{
    letAllWrite(m_state.path()); // also where the user is nobody
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_state.path()));
}

void TestProjectSave::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_project = std::make_unique<TestProject>(50);
    (*m_project)->video->videoPath = QStringLiteral("/videos/clip.avi");
    annotate(m_project->addObject(), 3, rectangle(10, 20, 30, 40));
    m_path = m_folder->filePath(QStringLiteral("old.palu"));
    writeFile(m_path, "old");
}

void TestProjectSave::cleanup()
{
    m_project.reset();
    QFile::setPermissions(m_folder->path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    m_folder.reset();
}

void TestProjectSave::savingReplacesTheFile()
{
    QString error(QStringLiteral("from before"));
    QVERIFY(ProjectFile::save(m_path, **m_project, &error));
    QCOMPARE(error, QString());
    QCOMPARE(contentOf(m_path), bytesOf(**m_project));
    QCOMPARE(filesLeft(), QStringList("old.palu"));
}

void TestProjectSave::savingThroughALinkKeepsTheLink()
{
    const QString link = m_folder->filePath(QStringLiteral("link.palu"));
    QVERIFY(QFile::link(m_path, link));
    QString error;
    QVERIFY(ProjectFile::save(link, **m_project, &error));
    QVERIFY(QFileInfo(link).isSymLink());
    QCOMPARE(contentOf(m_path), bytesOf(**m_project));
}

void TestProjectSave::aFullDiskKeepsTheOldFile_data()
{
    QTest::addColumn<int>("vertices");
    QTest::addColumn<int>("room");
    QTest::newRow("no room, all in one buffer") << 4 << 0;
    QTest::newRow("some room, all in one buffer") << 4 << 100;
    QTest::newRow("no room, several buffers") << 20000 << 0;
    QTest::newRow("full in the middle") << 20000 << 65536;
    QTest::newRow("full in the last buffer") << 20000 << 320000;
}

void TestProjectSave::aFullDiskKeepsTheOldFile()
{
    QFETCH(int, vertices);
    QFETCH(int, room);
    QPolygonF outline;
    for (int i = 0; i < vertices; ++i)
        outline.append(QPointF(i % 300, i / 300));
    annotate((*m_project)->objects.first(), 7, outline);
    QVERIFY(bytesOf(**m_project).size() > room);

    LogCapture log;
    QString error;
    {
        const FileSizeLimit limit(static_cast<rlim_t>(room));
        QVERIFY(!ProjectFile::save(m_path, **m_project, &error));
    }
    QVERIFY(!error.isEmpty());
    QVERIFY2(log.contains(error), qPrintable(log.warnings().join(QLatin1Char('\n'))));
    QCOMPARE(contentOf(m_path), QByteArray("old"));
    QCOMPARE(filesLeft(), QStringList("old.palu"));

    QVERIFY(ProjectFile::save(m_path, **m_project, &error));
    QCOMPARE(contentOf(m_path), bytesOf(**m_project));
}

void TestProjectSave::aFailingSyncKeepsTheOldFile()
{
    LogCapture log;
    QString error;
    {
        const FailingSync disk(EIO);
        QVERIFY(!ProjectFile::save(m_path, **m_project, &error));
    }
    QCOMPARE(error, QString::fromLocal8Bit(std::strerror(EIO)));
    QVERIFY(log.contains(error));
    QCOMPARE(contentOf(m_path), QByteArray("old"));
    QCOMPARE(filesLeft(), QStringList("old.palu"));
}

void TestProjectSave::aDiskThatCannotSyncIsGoodEnough()
{
    const FailingSync disk(EINVAL);
    QString error;
    QVERIFY(ProjectFile::save(m_path, **m_project, &error));
    QCOMPARE(contentOf(m_path), bytesOf(**m_project));
}

void TestProjectSave::aFileThatCannotBeOpenedIsOnlyLogged()
{
    LogCapture log;
    QString error;
    QVERIFY(!ProjectFile::save(m_folder->filePath(QStringLiteral("none/such.palu")), **m_project, &error));
    QCOMPARE(error, QString());
    QCOMPARE(log.warnings().size(), 1);
    QVERIFY(log.contains(QStringLiteral("such.palu")));
}

void TestProjectSave::closeTheFolder()
{
    const auto everybody = QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther;
    const auto writable = QFile::WriteOwner | QFile::WriteGroup | QFile::WriteOther;
    const auto enterable = QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther;
    QVERIFY(QFile::setPermissions(m_path, everybody | writable));
    QVERIFY(QFile::setPermissions(m_folder->path(), everybody | enterable));
}

void TestProjectSave::whereNoNewFileCanBeMadeTheOldOneIsWrittenOver()
{
    closeTheFolder();
    const WithoutRootRights rights;
    QVERIFY(!QFile(m_folder->filePath(QStringLiteral("new"))).open(QIODevice::WriteOnly));
    QString error;
    QVERIFY(ProjectFile::save(m_path, **m_project, &error));
    QCOMPARE(error, QString());
    QCOMPARE(contentOf(m_path), bytesOf(**m_project));
}

void TestProjectSave::aFailureToWriteOverTheOldFileIsToldAndCostsNothing_data()
{
    QTest::addColumn<int>("room");
    QTest::addColumn<bool>("syncs");
    QTest::newRow("no room") << 0 << true;
    QTest::newRow("room for the old content alone") << 500 << true;
    QTest::newRow("a failing sync") << 1000000 << false;
}

void TestProjectSave::aFailureToWriteOverTheOldFileIsToldAndCostsNothing()
{
    QFETCH(int, room);
    QFETCH(bool, syncs);
    QVERIFY(bytesOf(**m_project).size() > 500);
    closeTheFolder();
    const WithoutRootRights rights;
    LogCapture log;
    QString error;
    {
        const FileSizeLimit limit(static_cast<rlim_t>(room));
        const FailingSync disk(syncs ? 0 : EIO);
        QVERIFY(!ProjectFile::save(m_path, **m_project, &error));
    }
    QVERIFY(!error.isEmpty());
    QVERIFY(log.contains(error));
    QCOMPARE(contentOf(m_path), QByteArray("old"));
}

void TestProjectSave::aDeviceThatFailsAfterAnyNumberOfBytesCostsNothing_data()
{
    QTest::addColumn<bool>("folderIsClosed");
    QTest::newRow("beside the old file") << false;
    QTest::newRow("over the old file") << true;
}

void TestProjectSave::aDeviceThatFailsAfterAnyNumberOfBytesCostsNothing()
{
    QFETCH(bool, folderIsClosed);
    if (folderIsClosed)
        closeTheFolder();
    const auto rights = folderIsClosed ? std::make_unique<WithoutRootRights>() : nullptr;
    const QByteArray whole = bytesOf(**m_project);
    constexpr int step = 11; // bytes
    LogCapture log;
    for (int missing = whole.size(); missing > 0; missing -= step) {
        QString error;
        {
            const FileSizeLimit disk(static_cast<rlim_t>(whole.size() - missing));
            QVERIFY(!ProjectFile::save(m_path, **m_project, &error));
        }
        QVERIFY(!error.isEmpty());
        QCOMPARE(contentOf(m_path), QByteArray("old"));
    }
}

void TestProjectSave::aFullDiskOfItsOwnKeepsTheOldFile()
{
    const QByteArray disk = QFile::encodeName(m_folder->filePath("disk"));
    QVERIFY(QDir().mkdir(QFile::decodeName(disk)));
    if (::mount("none", disk.constData(), "tmpfs", 0, "size=64k") != 0)
        QSKIP("file systems may not be mounted here");
    const QString path = QFile::decodeName(disk) + "/x.palu";
    writeFile(path, QByteArray(30000, 'o'));
    QPolygonF outline(3000);
    annotate((*m_project)->objects.first(), 7, outline);
    LogCapture log;
    QString error;
    const bool saved = ProjectFile::save(path, **m_project, &error);
    const QByteArray content = contentOf(path);
    const QStringList left = QDir(QFile::decodeName(disk)).entryList(QDir::Files | QDir::Hidden);
    ::umount(disk.constData());
    QVERIFY(!saved);
    QCOMPARE(error, QString::fromLocal8Bit(std::strerror(ENOSPC)));
    QCOMPARE(content, QByteArray(30000, 'o'));
    QCOMPARE(left, QStringList("x.palu"));
}

QTEST_GUILESS_MAIN(TestProjectSave)
#include "tst_projectsave.moc"
