// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "tests/gui/projecttest.h"
#include "tests/support/dialogdriver.h"
#include "tests/support/failingdisk.h"
#include "tests/support/logcapture.h"

#include <QAction>
#include <QDir>
#include <QSignalSpy>
#include <QStatusBar>
#include <QtTest>

class TestSaveProject : public ProjectTest
{
    Q_OBJECT

private slots:
    void saveAsksForAName();
    void saveWithoutVideoAsksNothing();
    void cancellingSaveWritesNothing();
    void saveAppendsTheSuffix_data();
    void saveAppendsTheSuffix();
    void saveReplacesAChosenFile();
    void decliningToReplaceKeepsTheFile();
    void fileTheDialogCouldNotAskAboutIsKept();
    void savingToAnUnopenableFileIsSilent_data();
    void savingToAnUnopenableFileIsSilent();
    void failingWriteKeepsTheOldFileAndSaysSo();
    void saveLeavesTheProjectAlone();
};

void TestSaveProject::saveAsksForAName()
{
    m_program->pretendVideo(5);
    DialogDriver driver;
    driver.rejectFile();
    m_program->action("&Save")->trigger();
    QCOMPARE(driver.problem(), QString());
    const DialogDriver::FileDialogSeen seen = driver.fileDialogs.value(0);
    QCOMPARE(seen.title, QString("Save File"));
    QCOMPARE(seen.directory, QDir::homePath());
    QCOMPARE(seen.nameFilters, QStringList({"Palu Data (*.palu)", "All Files (*.palu)"}));
    QCOMPARE(seen.acceptMode, QFileDialog::AcceptSave);
    QVERIFY2(!seen.options.testFlag(QFileDialog::DontUseNativeDialog), "the native dialog is allowed here");
    QVERIFY2(!seen.options.testFlag(QFileDialog::DontConfirmOverwrite), "replacing a file has to be asked");
}

void TestSaveProject::saveWithoutVideoAsksNothing()
{
    m_program->pretendVideo(5);
    g_state->videoLoaded = false;
    DialogDriver driver;
    (*m_program)->onActionSave();
    QCOMPARE(driver.problem(), QString());
    QVERIFY(driver.fileDialogs.isEmpty());
}

void TestSaveProject::cancellingSaveWritesNothing()
{
    makeProject();
    const QByteArray before = projectBytes();
    DialogDriver driver;
    driver.rejectFile();
    driver.beforeAnswer(
        [this](QWidget *dialog) { qobject_cast<QFileDialog *>(dialog)->selectFile(path("typed.palu")); });
    m_program->action("&Save")->trigger();
    QCOMPARE(driver.problem(), QString());
    QVERIFY(QDir(m_folder->path()).isEmpty());
    QVERIFY(projectBytes() == before);
    QVERIFY((*m_program)->isEnabled());
}

void TestSaveProject::saveAppendsTheSuffix_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("written");
    QTest::newRow("no suffix") << "project"
                               << "project.palu";
    QTest::newRow("the suffix") << "project.palu"
                                << "project.palu";
    QTest::newRow("the suffix in capitals") << "project.PALU"
                                            << "project.PALU.palu";
    QTest::newRow("another suffix") << "project.xml"
                                    << "project.xml.palu";
    QTest::newRow("a longer suffix") << "project.palu2"
                                     << "project.palu2.palu";
    QTest::newRow("a dot at the end") << "project."
                                      << "project..palu";
    QTest::newRow("blanks and quotes") << "my 'best' project"
                                       << "my 'best' project.palu";
    QTest::newRow("other letters") << QString::fromUtf8("Übung Nr. 1")
                                   << QString::fromUtf8("Übung Nr. 1.palu");
}

void TestSaveProject::saveAppendsTheSuffix()
{
    QFETCH(QString, name);
    QFETCH(QString, written);
    makeProject();
    QCOMPARE(m_program->saveAs(path(name)), QString());
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden), QStringList(written));
    QVERIFY(contentOf(path(written)) == projectBytes());
}

void TestSaveProject::saveReplacesAChosenFile()
{
    makeProject();
    writeFile(path("old.palu"), QByteArray(100000, 'x'));
    DialogDriver driver;
    driver.acceptFile(path("old.palu"));
    driver.clickButton(QMessageBox::Yes); // the dialog's own question
    m_program->action("&Save")->trigger();
    QCOMPARE(driver.problem(), QString());
    QVERIFY(contentOf(path("old.palu")) == projectBytes());
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden), QStringList("old.palu"));
}

void TestSaveProject::decliningToReplaceKeepsTheFile()
{
    makeProject();
    writeFile(path("old.palu"), "old");
    DialogDriver driver;
    driver.acceptFile(path("old.palu"));
    driver.clickButton(QMessageBox::No);
    driver.rejectFile();
    m_program->action("&Save")->trigger();
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(contentOf(path("old.palu")), QByteArray("old"));
}

void TestSaveProject::fileTheDialogCouldNotAskAboutIsKept()
{
    makeProject();
    writeFile(path("old.palu"), "old");
    DialogDriver driver;
    driver.acceptFile(path("old"));
    m_program->action("&Save")->trigger();
    QCOMPARE(driver.problem(), QString());
    QVERIFY(contentOf(path("old.palu")) == projectBytes());
    QCOMPARE(contentOf(path("old.palu~")), QByteArray("old"));

    // The next one takes its place.
    const QByteArray first = projectBytes();
    g_state->setFrame(8);
    QCOMPARE(m_program->saveAs(path("old")), QString());
    QVERIFY(contentOf(path("old.palu")) == projectBytes());
    QVERIFY(contentOf(path("old.palu~")) == first);
}

void TestSaveProject::savingToAnUnopenableFileIsSilent_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("folder that does not exist") << "nowhere/project.palu";
    QTest::newRow("a folder has the name") << "folder";
}

void TestSaveProject::savingToAnUnopenableFileIsSilent()
{
    QFETCH(QString, name);
    makeProject();
    QVERIFY(QDir(m_folder->path()).mkdir("folder.palu"));
    const QByteArray before = projectBytes();
    LogCapture log;
    DialogDriver driver;
    driver.acceptFile(path(name));
    m_program->action("&Save")->trigger();
    QCOMPARE(driver.problem(), QString()); // no message box
    QVERIFY(driver.boxes.isEmpty());
    QVERIFY((*m_program)->statusBar()->currentMessage().isEmpty());
    QVERIFY((*m_program)->isEnabled());
    QVERIFY(projectBytes() == before);
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden), QStringList());
}

void TestSaveProject::failingWriteKeepsTheOldFileAndSaysSo()
{
    makeProject();
    // More than any buffer on the way holds.
    QPolygonF outline;
    for (int i = 0; i < 20000; ++i)
        outline.append(QPointF(i % 300, i / 300));
    g_state->objects.first()->keyFrames.at(2)->setNewPolygon(outline);
    QVERIFY(projectBytes().size() > 300000);
    writeFile(path("old.palu"), "old");

    LogCapture log;
    DialogDriver driver;
    driver.acceptFile(path("old.palu"));
    driver.clickButton(QMessageBox::Yes); // replace it
    driver.clickButton(QMessageBox::Ok);  // it failed
    {
        const FileSizeLimit limit(65536);
        m_program->action("&Save")->trigger();
    }
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(driver.boxes.size(), 2);
    QVERIFY(driver.boxes.at(1).icon == QMessageBox::Warning ||
            driver.boxes.at(1).icon == QMessageBox::Critical);
    QVERIFY2(driver.boxes.at(1).text.contains("old.palu"), qPrintable(driver.boxes.at(1).text));
    QCOMPARE(contentOf(path("old.palu")), QByteArray("old"));
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden), QStringList("old.palu"));

    // With room again, saving works.
    DialogDriver again;
    again.acceptFile(path("old.palu"));
    again.clickButton(QMessageBox::Yes);
    m_program->action("&Save")->trigger();
    QCOMPARE(again.problem(), QString());
    QVERIFY(contentOf(path("old.palu")) == projectBytes());
}

void TestSaveProject::saveLeavesTheProjectAlone()
{
    makeProject();
    const QByteArray before = projectBytes();
    const DataState *state = g_state;
    const QSignalSpy changes(g_state, &DataState::hasChanged);
    QCOMPARE(m_program->saveAs(path("a.palu")), QString());
    QCOMPARE(g_state, state);
    QVERIFY(projectBytes() == before);
    QCOMPARE(changes.size(), 0);
    QVERIFY((*m_program)->isEnabled());
}

QTEST_MAIN(TestSaveProject)
#include "tst_saveproject.moc"
