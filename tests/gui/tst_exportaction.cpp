// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "export/exportxml.h"
#include "tests/gui/projecttest.h"
#include "tests/support/dialogdriver.h"
#include "tests/support/failingdisk.h"
#include "tests/support/logcapture.h"

#include <QAction>
#include <QDir>
#include <QStatusBar>
#include <QtTest>

#include <cerrno>

class TestExportAction : public ProjectTest
{
    Q_OBJECT

private slots:
    void exportAsksForAName();
    void exportAppendsTheSuffix_data();
    void exportAppendsTheSuffix();
    void secondFilterExportsBoxes();
    void cancellingExportWritesNothing();
    void failingExportAsksForARetry();
    void retryAsksForTheNameAgain();
    void aFileThatIsNotWholeIsTold_data();
    void aFileThatIsNotWholeIsTold();
};

void TestExportAction::exportAsksForAName()
{
    makeProject();
    DialogDriver driver;
    driver.rejectFile();
    driver.beforeAnswer(
        [this](QWidget *dialog) { qobject_cast<QFileDialog *>(dialog)->setDirectory(m_folder->path()); });
    m_program->action("&Save")->trigger();
    driver.rejectFile();
    m_program->action("export XML")->trigger();
    QCOMPARE(driver.problem(), QString());
    const DialogDriver::FileDialogSeen seen = driver.fileDialogs.value(1);
    QCOMPARE(seen.title, QString("QFileDialog::getSaveFileName()"));
    QCOMPARE(seen.nameFilters,
             QStringList({"Polygon lables - ViPER like (*.xml)", "ViPER Bounding Box (*.xml )"}));
    QCOMPARE(seen.selectedNameFilter, QString("Polygon lables - ViPER like (*.xml)"));
    QCOMPARE(seen.acceptMode, QFileDialog::AcceptSave);
    QVERIFY(!seen.options.testFlag(QFileDialog::DontUseNativeDialog));
    // Without a folder of its own the dialog opens where the one before it was.
    QCOMPARE(seen.directory, m_folder->path());
}

void TestExportAction::exportAppendsTheSuffix_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("written");
    QTest::newRow("no suffix") << "export"
                               << "export.xml";
    QTest::newRow("the suffix") << "export.xml"
                                << "export.xml";
    QTest::newRow("the suffix in capitals") << "export.XML"
                                            << "export.XML.xml";
    QTest::newRow("another suffix") << "export.palu"
                                    << "export.palu.xml";
}

void TestExportAction::exportAppendsTheSuffix()
{
    QFETCH(QString, name);
    QFETCH(QString, written);
    makeProject();
    DialogDriver driver;
    driver.acceptFile(path(name)); // with the filter that the dialog starts with
    m_program->action("export XML")->trigger();
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden), QStringList(written));
    const QByteArray xml = contentOf(path(written));
    QVERIFY(xml.contains("data:polygone"));
    QVERIFY(!xml.contains("data:bbox"));
}

void TestExportAction::secondFilterExportsBoxes()
{
    makeProject();
    for (const char *name : {"boxes", "boxes2.xml"}) {
        DialogDriver driver;
        driver.acceptFile(path(name), boundingBoxFilter);
        m_program->action("export XML")->trigger();
        QCOMPARE(driver.problem(), QString());
    }
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList({"boxes.xml", "boxes2.xml"}));
    const QByteArray xml = contentOf(path("boxes.xml"));
    QVERIFY(xml.contains("data:bbox"));
    QVERIFY(!xml.contains("data:polygone"));
    QVERIFY(contentOf(path("boxes2.xml")) == xml);

    // The window writes what the exporter writes.
    QFile direct(path("direct.xml"));
    QVERIFY(ExportXML(g_state, &direct, true).saveXML());
    direct.close();
    QVERIFY(contentOf(path("direct.xml")) == xml);
}

void TestExportAction::cancellingExportWritesNothing()
{
    makeProject();
    DialogDriver driver;
    driver.rejectFile();
    driver.beforeAnswer(
        [this](QWidget *dialog) { qobject_cast<QFileDialog *>(dialog)->selectFile(path("typed.xml")); });
    m_program->action("export XML")->trigger();
    QCOMPARE(driver.problem(), QString());
    QVERIFY(QDir(m_folder->path()).isEmpty());
}

void TestExportAction::failingExportAsksForARetry()
{
    makeProject();
    QVERIFY(QDir(m_folder->path()).mkdir("folder.xml"));
    LogCapture log;
    DialogDriver driver;
    driver.acceptFile(path("folder"));
    driver.clickButton(QMessageBox::No);
    m_program->action("export XML")->trigger();
    QCOMPARE(driver.problem(), QString());
    const DialogDriver::BoxSeen box = driver.boxes.value(0);
    QCOMPARE(box.text, QString("Could not write .xml file."));
    QCOMPARE(box.informativeText, QString("Do you want to retry saving?"));
    QCOMPARE(box.buttons, QMessageBox::StandardButtons(QMessageBox::Yes | QMessageBox::No));
    QCOMPARE(box.defaultButton, QMessageBox::Yes);
    QVERIFY(!box.hasParent);
    QCOMPARE(driver.fileDialogs.size(), 1); // No ends it
}

void TestExportAction::retryAsksForTheNameAgain()
{
    makeProject();
    QVERIFY(QDir(m_folder->path()).mkdir("folder.xml"));
    LogCapture log;
    DialogDriver driver;
    driver.acceptFile(path("folder"), boundingBoxFilter);
    driver.clickButton(QMessageBox::Yes);
    driver.acceptFile(path("nowhere/again.xml"));
    driver.clickButton(QMessageBox::Yes);
    driver.acceptFile(path("good"), polygonFilter);
    m_program->action("export XML")->trigger();
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(driver.fileDialogs.size(), 3);
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList("good.xml"));
    QVERIFY(contentOf(path("good.xml")).contains("data:polygone"));
}

void TestExportAction::aFileThatIsNotWholeIsTold_data()
{
    QTest::addColumn<int>("room");
    QTest::addColumn<int>("syncError");
    QTest::newRow("no room") << 0 << 0;
    QTest::newRow("room for a part") << 300 << 0;
    QTest::newRow("a failing sync") << 1000000 << EIO;
}

void TestExportAction::aFileThatIsNotWholeIsTold()
{
    QFETCH(int, room);
    QFETCH(int, syncError);
    makeProject();
    LogCapture log;
    DialogDriver driver;
    driver.acceptFile(path("export"));
    {
        const FileSizeLimit disk(static_cast<rlim_t>(room));
        const FailingSync sync(syncError);
        m_program->action("export XML")->trigger();
    }
    QCOMPARE(driver.problem(), QString()); // no box
    QVERIFY(log.contains("export.xml"));
    const QString told = (*m_program)->statusBar()->currentMessage();
    QVERIFY2(told.contains("export.xml could not be written to its end"), qPrintable(told));
    // The next one that is whole says nothing.
    (*m_program)->statusBar()->clearMessage();
    driver.acceptFile(path("export"));
    m_program->action("export XML")->trigger();
    QCOMPARE((*m_program)->statusBar()->currentMessage(), QString());
}

QTEST_MAIN(TestExportAction)
#include "tst_exportaction.moc"
