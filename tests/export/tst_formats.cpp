// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "export/exportxml.h"
#include "export/formats.h"
#include "tests/support/testproject.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace
{

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no such file)");
}

} // namespace

class TestFormats : public QObject
{
    Q_OBJECT

private slots:
    void theFiltersAreOfferedInOrder();
    void aFilterNamesItsFormat_data();
    void aFilterNamesItsFormat();
    void everyFormatWritesItsFile_data();
    void everyFormatWritesItsFile();
    void aFileThatCannotBeOpenedIsAFailure();
};

void TestFormats::theFiltersAreOfferedInOrder()
{
    QCOMPARE(ExportFormats::dialogFilters(),
             QStringLiteral("Polygon lables - ViPER like (*.xml);;ViPER Bounding Box (*.xml )"));
}

void TestFormats::aFilterNamesItsFormat_data()
{
    QTest::addColumn<QString>("filter");
    QTest::addColumn<int>("format");
    QTest::newRow("polygons") << "Polygon lables - ViPER like (*.xml)" << 0;
    QTest::newRow("boxes") << "ViPER Bounding Box (*.xml )" << 1;
    QTest::newRow("boxes without the pattern") << "ViPER Bounding Box" << 1;
    QTest::newRow("any other") << "All files (*)" << 0;
    QTest::newRow("none") << "" << 0;
}

void TestFormats::aFilterNamesItsFormat()
{
    QFETCH(QString, filter);
    QFETCH(int, format);
    QCOMPARE(&ExportFormats::fromFilter(filter), &ExportFormats::all().at(static_cast<std::size_t>(format)));
}

void TestFormats::everyFormatWritesItsFile_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<bool>("boundingBoxes");
    QTest::newRow("polygons") << 0 << false;
    QTest::newRow("boxes") << 1 << true;
}

void TestFormats::everyFormatWritesItsFile()
{
    QFETCH(int, format);
    QFETCH(bool, boundingBoxes);
    TestProject project(5);
    annotate(project.addObject(), 2, rectangle(10, 20, 30, 40));
    const QTemporaryDir folder;
    const ExportFormat &written = ExportFormats::all().at(static_cast<std::size_t>(format));
    QCOMPARE(QString::fromUtf8(written.suffix), QStringLiteral("xml"));

    QFile file(folder.filePath(QStringLiteral("a.xml")));
    QVERIFY(written.write(project.state(), &file));
    file.close();
    QFile expected(folder.filePath(QStringLiteral("b.xml")));
    QVERIFY(ExportXML(project.state(), &expected, boundingBoxes).saveXML());
    expected.close();
    QCOMPARE(contentOf(file.fileName()), contentOf(expected.fileName()));
    QCOMPARE(contentOf(file.fileName()).contains("<data:bbox"), boundingBoxes);
}

void TestFormats::aFileThatCannotBeOpenedIsAFailure()
{
    TestProject project(5);
    const QTemporaryDir folder;
    for (const ExportFormat &format : ExportFormats::all()) {
        QFile file(folder.filePath(QStringLiteral("none/such.xml")));
        QVERIFY(!format.write(project.state(), &file));
    }
}

QTEST_GUILESS_MAIN(TestFormats)
#include "tst_formats.moc"
