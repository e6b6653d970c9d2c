// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "tests/gui/programtest.h"
#include "tests/support/dialogdriver.h"

#include <QAction>
#include <QTextDocument>
#include <QtTest>

class TestHelpPages : public ProgramTest
{
    Q_OBJECT

private slots:
    void licensePageNamesLicensesAndVersion();
    void aboutPageAsksForCitation();
    void aboutPageNamesTheProjectPageAndEndsWithACredit();
};

void TestHelpPages::licensePageNamesLicensesAndVersion()
{
    g_state->version = "1.2.3-test";
    DialogDriver driver;
    driver.clickButton(QMessageBox::Ok);
    m_program->action("License Notes")->trigger();
    QCOMPARE(driver.problem(), QString());
    const DialogDriver::BoxSeen box = driver.boxes.value(0);
    QCOMPARE(box.title, QString("Licenses Palu"));
    QVERIFY(box.hasParent);
    QVERIFY2(Qt::mightBeRichText(box.text), "the page is no rich text");
    QTextDocument page;
    page.setHtml(box.text);
    const QString text = page.toPlainText();
    for (const char *part : {"Palu", "1.2.3-test", "alpha", "MIT", "Qt", "OpenCV", "Eigen",
                             "GNU Lesser General Public License", "Apache", "Mozilla Public License"})
        QVERIFY2(text.contains(part), part);
    QVERIFY(!text.contains("%1"));
}

void TestHelpPages::aboutPageAsksForCitation()
{
    g_state->version = "1.2.3-test";
    DialogDriver driver;
    driver.clickButton(QMessageBox::Ok);
    m_program->action("About Palu")->trigger();
    QCOMPARE(driver.problem(), QString());
    const DialogDriver::BoxSeen box = driver.boxes.value(0);
    QCOMPARE(box.title, QString("About: Palu"));
    QVERIFY(box.hasParent);
    QVERIFY2(Qt::mightBeRichText(box.text), "the page is no rich text");
    QTextDocument page;
    page.setHtml(box.text);
    const QString text = page.toPlainText();
    for (const char *part : {"Palu", "1.2.3-test", "cite", "CITATION.cff"})
        QVERIFY2(text.contains(part), part);
    QVERIFY(!text.contains("%1"));
}

void TestHelpPages::aboutPageNamesTheProjectPageAndEndsWithACredit()
{
    DialogDriver driver;
    driver.clickButton(QMessageBox::Ok);
    m_program->action("About Palu")->trigger();
    QCOMPARE(driver.problem(), QString());
    QTextDocument page;
    page.setHtml(driver.boxes.value(0).text);
    const QStringList lines = page.toPlainText().split('\n', Qt::SkipEmptyParts);
    QVERIFY(lines.size() >= 4);
    const QStringList pointers = lines.filter("project page");
    QCOMPARE(pointers.size(), 1);
    QVERIFY2(pointers.constFirst().contains("README"), qPrintable(pointers.constFirst()));
    QVERIFY2(pointers.constFirst() != lines.last(), "the credit is not a line of its own");
    QVERIFY2(lines.last().contains("by the Palu developers"), qPrintable(lines.last()));
}

QTEST_MAIN(TestHelpPages)
#include "tst_helppages.moc"
