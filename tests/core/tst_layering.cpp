// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QtTest>

#include <algorithm>

namespace
{

/// Who may include what. `files` and the entries of the lists are prefixes of paths from the root.
struct Rule {
    QString files;
    /// Allowed in headers and sources.
    QStringList anywhere;
    /// Allowed in sources (.cpp) on top of that.
    QStringList inSources;
};

const QStringList folders{"Models", "core", "processing", "export", "views"};

const QStringList geometry{"processing/functions.h", "processing/outlineedit.h"};
const QStringList jobs{"core/modaljob.h",         "core/framebounds.h", "core/processmark.h",
                       "core/temporaryfolders.h", "core/safefile.h",    "core/keptcopy.h",
                       "core/siblingfile.h",      "core/filelock.h",    "core/disksync.h",
                       "core/leavablecall.h"};
const QStringList model{"Models/", "core/datastate.h"};
const QStringList tools{"processing/"}; // and geometry

/// The first rule that fits a file holds for it.
const QVector<Rule> rules{
    {"processing/functions.", geometry, {}},
    {"processing/outlineedit.", geometry, {}},
    {"core/modaljob.", jobs, {}},
    {"core/leavablecall.", jobs, {}},
    {"core/framebounds.", jobs, {}},
    {"core/processmark.", jobs, {}},
    {"core/safefile.", jobs, {}},
    {"core/temporaryfolders.", jobs, {}},
    {"core/keptcopy.", jobs, {}},
    {"core/siblingfile.", jobs, {}},
    {"core/filelock.", jobs, {}},
    {"core/disksync.", jobs, {}},
    {"Models/", geometry + jobs + QStringList{"Models/"}, {"core/datastate.h"}},
    {"core/datastate.", geometry + jobs + model, {}},
    {"core/history", geometry + jobs + model + QStringList{"core/history"}, {}},
    {"core/recoveryoffer.", {"core/recoveryoffer.h", "core/recoverycopy.h"}, {}},
    {"core/recovery", geometry + jobs + model + QStringList{"core/recovery"}, {}},
    {"processing/", tools + jobs + model, {}},
    {"export/", geometry + model + QStringList{"export/"}, {}},
    {"views/", geometry + model + QStringList{"views/", "core/framebounds.h"}, {"core/mainwindow.h"}},
    {"core/jobdialogs.", {"core/jobdialogs.h", "core/modaljob.h"}, {}},
    {"core/windowcloser.", {"core/windowcloser.h", "core/modaljob.h"}, {}},
    {"core/endsignals.", {"core/endsignals.h"}, {}},
    {"core/mainwindow", folders, {}},
    {"core/main.cpp", {"core/"}, {}},
};

bool startsWithOneOf(const QString &path, const QStringList &prefixes)
{
    return std::any_of(prefixes.begin(), prefixes.end(),
                       [&path](const QString &prefix) { return path.startsWith(prefix); });
}

/// Project files among the includes of a text: whatever is in quotation marks, and what lies in our folders.
QStringList projectIncludes(const QString &text)
{
    static const QRegularExpression include(
        QStringLiteral("^[ \\t]*#[ \\t]*include[ \\t]*([\"<])([^\">]+)[\">]"),
        QRegularExpression::MultilineOption);
    QStringList roots = folders;
    roots.append({"tests", "benchmarks", "icons"});
    QStringList found;
    for (auto it = include.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        const QString path = match.captured(2);
        if (match.captured(1) == QLatin1String("\"") || roots.contains(path.section(QLatin1Char('/'), 0, 0)))
            found.append(path);
    }
    return found;
}

/// The includes of a file that its rule forbids; a file without rule is an error of its own.
QStringList violations(const QString &file, const QString &text)
{
    const auto rule =
        std::find_if(rules.begin(), rules.end(), [&file](const Rule &r) { return file.startsWith(r.files); });
    if (rule == rules.end())
        return {file + QStringLiteral(" is in no row of the table")};
    QStringList allowed = rule->anywhere;
    if (file.endsWith(QLatin1String(".cpp"))) {
        allowed += rule->inSources;
        allowed += file.left(file.lastIndexOf(QLatin1Char('.'))) + QStringLiteral(".h"); // its own header
    }
    QStringList found;
    for (const QString &path : projectIncludes(text)) {
        if (!startsWithOneOf(path, allowed))
            found.append(QStringLiteral("%1 includes %2").arg(file, path));
    }
    return found;
}

QString contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

class TestLayering : public QObject
{
    Q_OBJECT

private slots:
    void noFolderIncludesWhatItMayNotKnow_data();
    void noFolderIncludesWhatItMayNotKnow();
    void includesAreFoundInAllTheirForms();
    void theRulesFindViolations_data();
    void theRulesFindViolations();
};

void TestLayering::noFolderIncludesWhatItMayNotKnow_data()
{
    QTest::addColumn<QString>("folder");
    for (const QString &folder : folders)
        QTest::newRow(qPrintable(folder)) << folder;
}

void TestLayering::noFolderIncludesWhatItMayNotKnow()
{
    QFETCH(QString, folder);
    const QDir root(QStringLiteral(PALU_SOURCE_DIR));
    QStringList found;
    int headers = 0;
    int sources = 0;
    int includes = 0;
    QDirIterator it(root.filePath(folder), {"*.h", "*.cpp"}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString text = contents(path);
        QVERIFY2(!text.isEmpty(), qPrintable(path));
        (path.endsWith(QLatin1String(".h")) ? headers : sources)++;
        includes += projectIncludes(text).size();
        found += violations(root.relativeFilePath(path), text);
    }
    QVERIFY2(headers > 0, qPrintable(folder));
    QVERIFY2(sources > 0, qPrintable(folder));
    QVERIFY2(includes > 0, qPrintable(folder));
    QVERIFY2(found.isEmpty(), qPrintable(found.join(QLatin1Char('\n'))));
}

void TestLayering::includesAreFoundInAllTheirForms()
{
    const QString text = QStringLiteral("#include \"Models/keyframe.h\"\n"
                                        "  #  include <views/timeline.h>\n"
                                        "#include <QObject>\n"
                                        "#include <opencv2/core.hpp>\n"
                                        "#include \"../core/mainwindow.h\"\n"
                                        "// #include \"views/a.h\"\n");
    QCOMPARE(projectIncludes(text),
             QStringList({"Models/keyframe.h", "views/timeline.h", "../core/mainwindow.h"}));
}

void TestLayering::theRulesFindViolations_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("include");
    QTest::addColumn<bool>("allowed");
    const auto row = [](const char *file, const char *include, bool allowed) {
        QTest::newRow(
            qPrintable(QStringLiteral("%1 and %2").arg(QLatin1String(file), QLatin1String(include))))
            << QString::fromLatin1(file) << QString::fromLatin1(include) << allowed;
    };
    row("processing/functions.cpp", "processing/functions.h", true);
    row("processing/functions.cpp", "Models/keyframe.h", false);
    row("processing/outlineedit.cpp", "processing/functions.h", true);
    row("processing/outlineedit.cpp", "processing/morph.h", false);
    row("processing/morph.cpp", "processing/functions.h", true);
    row("processing/morph.cpp", "core/modaljob.h", true);
    row("processing/morph.cpp", "views/timeline.h", false);
    row("processing/morph.cpp", "core/mainwindow.h", false);
    row("processing/morph.h", "core/mainwindow.h", false);
    row("Models/trackedobject.cpp", "core/datastate.h", true);
    row("Models/trackedobject.h", "core/datastate.h", false);
    row("Models/keyframe.cpp", "processing/functions.h", true);
    row("Models/keyframe.cpp", "processing/morph.h", false);
    row("Models/keyframe.cpp", "core/mainwindow.h", false);
    row("Models/keyframe.cpp", "keyframe.h", false);
    row("core/datastate.h", "Models/trackedobject.h", true);
    row("core/datastate.cpp", "core/framebounds.h", true);
    row("core/datastate.cpp", "core/mainwindow.h", false);
    row("core/recovery.cpp", "core/recoveryfolder.h", true);
    row("core/recoverycopy.cpp", "Models/projectfile.h", true);
    row("core/recovery.cpp", "core/mainwindow.h", false);
    row("core/recoveryoffer.cpp", "core/recovery.h", false);
    row("core/framebounds.cpp", "views/frameviewer.h", false);
    row("core/framebounds.cpp", "core/datastate.h", false);
    row("core/modaljob.cpp", "core/framebounds.h", true);
    row("core/modaljob.cpp", "core/mainwindow.h", false);
    row("core/modaljob.h", "core/datastate.h", false);
    row("core/leavablecall.cpp", "processing/grabcut.h", false);
    row("processing/grabcut.cpp", "core/leavablecall.h", true);
    row("core/history.cpp", "core/datastate.h", true);
    row("core/history.cpp", "core/mainwindow.h", false);
    row("core/jobdialogs.cpp", "core/modaljob.h", true);
    row("core/jobdialogs.cpp", "core/mainwindow.h", false);
    row("core/windowcloser.cpp", "core/mainwindow.h", false);
    row("core/endsignals.cpp", "core/modaljob.h", false);
    row("export/exportxml.cpp", "processing/functions.h", true);
    row("export/exportxml.cpp", "processing/morph.h", false);
    row("export/exportxml.cpp", "core/modaljob.h", false);
    row("views/timeline.cpp", "core/mainwindow.h", true);
    row("views/timeline.h", "core/mainwindow.h", false);
    row("views/timeline.cpp", "core/modaljob.h", false);
    row("views/timeline.cpp", "processing/morph.h", false);
    row("core/mainwindow.cpp", "processing/morph.h", true);
    row("core/newfile.cpp", "core/datastate.h", false);
}

void TestLayering::theRulesFindViolations()
{
    QFETCH(QString, file);
    QFETCH(QString, include);
    QFETCH(bool, allowed);
    const QString text = QStringLiteral("#include \"%1\"\n").arg(include);
    QCOMPARE(violations(file, text).isEmpty(), allowed);
}

QTEST_APPLESS_MAIN(TestLayering)
#include "tst_layering.moc"
