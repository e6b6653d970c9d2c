// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "export/exportxml.h"
#include "tests/gui/programfixture.h"
#include "tests/support/dialogdriver.h"
#include "tests/support/failingdisk.h"
#include "tests/support/logcapture.h"
#include "tests/support/modelchecks.h"
#include "tests/support/testproject.h"
#include "views/framenav.h"
#include "views/frameviewer.h"
#include "views/timeline.h"
#include "views/trackedobjectlabel.h"

#include <QAction>
#include <QDir>
#include <QGraphicsPixmapItem>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTextDocument>
#include <QTimer>
#include <QtTest>

namespace
{

const char mismatchText[] = "Palu file does not match the requierments (e.g. version of Palu, video frame "
                            "rate or video resolution)";

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no such file)");
}

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qUtf8Printable(path));
}

/// Text the way a project file holds it, without the length.
QByteArray utf16(const QString &text)
{
    QByteArray bytes;
    for (const QChar &character : text) {
        bytes.append(static_cast<char>(character.row()));
        bytes.append(static_cast<char>(character.cell()));
    }
    return bytes;
}

} // namespace

class TestProjectActions : public QObject
{
    Q_OBJECT

public:
    static void initMain() { useTemporaryHome(); }

private slots:
    void initTestCase();
    void init();
    void cleanup();

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

    void openAsksForProjectAndVideo();
    void openTurnsBlanksIntoWildcards();
    void openAsksForErrorErrorAfterAShortFile();
    void cancellingTheFirstQuestionKeepsTheProject();
    void cancellingTheSecondQuestionKeepsTheProject();
    void unreadableFileKeepsTheProject();
    void otherProjectsAreRejected_data();
    void otherProjectsAreRejected();
    void failingVideoLeavesAnEmptyProject();
    void openShowsEverything();
    void currentObjectAfterOpeningIsTheLastOneRead();
    void projectWithoutObjectsKeepsItsCounter();
    void gapsInTheIdsSurvive();
    void newObjectsShareNoIdAfterAFileWithoutItsLastBytes();
    void theNumberFieldShowsAnyOpenedFrame();
    void currentFrameOutsideTheVideoIsMovedIn_data();
    void currentFrameOutsideTheVideoIsMovedIn();
    void openReplacesAnOpenProject();
    void viewsFollowAnOpenedProject();
    void arrowKeysWorkRightAfterOpening();
    void everyTruncationIsSurvived();

    void morphFillsTheFramesBetween();

    void exportAsksForAName();
    void exportAppendsTheSuffix_data();
    void exportAppendsTheSuffix();
    void secondFilterExportsBoxes();
    void cancellingExportWritesNothing();
    void failingExportAsksForARetry();
    void retryAsksForTheNameAgain();

    void licensePageNamesLicensesAndVersion();
    void aboutPageAsksForCitation();
    void aboutPageNamesTheProjectPageAndEndsWithACredit();

    void aDialogDuringPlaybackEndsIt_data();
    void aDialogDuringPlaybackEndsIt();

private:
    /// A project on the clip with three objects (the middle one deleted) and two key frames each.
    void makeProject();
    /// Saves it and starts an empty one on the same clip.
    QString savedProject();
    QString path(const QString &name) const { return m_folder->filePath(name); }

    QTemporaryDir m_clips;
    QString m_clip;
    QString m_shorterClip;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ProgramFixture> m_program;
};

void TestProjectActions::initTestCase()
{
    m_clip = encodeClip(m_clips.path(), "my clip", 10);
    m_shorterClip = encodeClip(m_clips.path(), "shorter", 9);
    QVERIFY(!m_clip.isEmpty());
    QVERIFY(!m_shorterClip.isEmpty());
}

void TestProjectActions::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_program = std::make_unique<ProgramFixture>();
}

void TestProjectActions::cleanup()
{
    m_program.reset();
    m_folder.reset();
}

void TestProjectActions::makeProject()
{
    QCOMPARE(m_program->newProject(m_clip), QString());
    for (const char *name : {"red car", "gone", "Küche \"1\" & <2>"}) {
        g_state->addObject();
        g_state->objects.last()->changeName(QString::fromUtf8(name));
    }
    g_state->deleteObject(1);
    annotate(g_state->objects.at(0), 2, rectangle(10.25, 20.5, 40, 30));
    annotate(g_state->objects.at(0), 7, rectangle(60, 20, 40, 30), KeyFrame::Occluded);
    annotate(g_state->objects.at(1), 0, rectangle(100, 100, 20, 20));
    annotate(g_state->objects.at(1), 9, rectangle(150, 100, 20, 20));
    std::swap(g_state->objects.at(0)->keyFrames.at(5)->zOrder,
              g_state->objects.at(1)->keyFrames.at(5)->zOrder);
    g_state->setFrame(4);
    (*m_program)->reload();
}

QString TestProjectActions::savedProject()
{
    makeProject();
    const QString file = path("saved.palu");
    if (!m_program->saveAs(file).isEmpty() || !m_program->newProject(m_clip).isEmpty())
        qFatal("cannot prepare a saved project");
    return file;
}

void TestProjectActions::saveAsksForAName()
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

void TestProjectActions::saveWithoutVideoAsksNothing()
{
    m_program->pretendVideo(5);
    g_state->videoLoaded = false;
    DialogDriver driver;
    (*m_program)->onActionSave();
    QCOMPARE(driver.problem(), QString());
    QVERIFY(driver.fileDialogs.isEmpty());
}

void TestProjectActions::cancellingSaveWritesNothing()
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

void TestProjectActions::saveAppendsTheSuffix_data()
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

void TestProjectActions::saveAppendsTheSuffix()
{
    QFETCH(QString, name);
    QFETCH(QString, written);
    makeProject();
    QCOMPARE(m_program->saveAs(path(name)), QString());
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden), QStringList(written));
    QVERIFY(contentOf(path(written)) == projectBytes());
}

void TestProjectActions::saveReplacesAChosenFile()
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

void TestProjectActions::decliningToReplaceKeepsTheFile()
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

void TestProjectActions::fileTheDialogCouldNotAskAboutIsKept()
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

void TestProjectActions::savingToAnUnopenableFileIsSilent_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("folder that does not exist") << "nowhere/project.palu";
    QTest::newRow("a folder has the name") << "folder";
}

void TestProjectActions::savingToAnUnopenableFileIsSilent()
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

void TestProjectActions::failingWriteKeepsTheOldFileAndSaysSo()
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

void TestProjectActions::saveLeavesTheProjectAlone()
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

void TestProjectActions::openAsksForProjectAndVideo()
{
    const QString file = savedProject();
    DialogDriver driver;
    driver.acceptFile(file);
    driver.beforeAnswer(
        [this](QWidget *dialog) { qobject_cast<QFileDialog *>(dialog)->setDirectory(m_folder->path()); });
    driver.rejectFile();
    m_program->action("&Open")->trigger();
    QCOMPARE(driver.problem(), QString());
    const DialogDriver::FileDialogSeen first = driver.fileDialogs.value(0);
    QCOMPARE(first.title, QString("Select palu data file"));
    QCOMPARE(first.directory, QDir::homePath());
    QCOMPARE(first.nameFilters, QStringList({"Palu Data (*.palu)", "All Files (*.palu)"}));
    QVERIFY(first.options.testFlag(QFileDialog::DontUseNativeDialog));
    QCOMPARE(first.acceptMode, QFileDialog::AcceptOpen);
    QCOMPARE(first.fileMode, QFileDialog::ExistingFile);
    const DialogDriver::FileDialogSeen second = driver.fileDialogs.value(1);
    QCOMPARE(second.title, QString("Select video file"));
    QVERIFY(second.options.testFlag(QFileDialog::DontUseNativeDialog));
    QCOMPARE(second.acceptMode, QFileDialog::AcceptOpen);
    QCOMPARE(second.fileMode, QFileDialog::ExistingFile);
    // Without a folder of its own a dialog opens where the one before it was.
    QCOMPARE(second.directory, QFileInfo(file).absolutePath());
}

void TestProjectActions::openTurnsBlanksIntoWildcards()
{
    const QString file = savedProject();
    DialogDriver driver;
    driver.acceptFile(file);
    driver.rejectFile();
    m_program->action("&Open")->trigger();
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(driver.fileDialogs.value(1).nameFilters, QStringList({"Video (my*clip.mp4)", "All files (*)"}));
}

void TestProjectActions::openAsksForErrorErrorAfterAShortFile()
{
    writeFile(path("short.palu"), "\0\0");
    DialogDriver driver;
    driver.acceptFile(path("short.palu"));
    driver.rejectFile();
    m_program->action("&Open")->trigger();
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(driver.fileDialogs.value(1).nameFilters, QStringList({"Video (error.error)", "All files (*)"}));
}

void TestProjectActions::cancellingTheFirstQuestionKeepsTheProject()
{
    makeProject();
    const QByteArray before = projectBytes();
    const DataState *state = g_state;
    DialogDriver driver;
    driver.rejectFile();
    m_program->action("&Open")->trigger();
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(g_state, state);
    QVERIFY(projectBytes() == before);
    QVERIFY((*m_program)->isEnabled());
}

void TestProjectActions::cancellingTheSecondQuestionKeepsTheProject()
{
    const QString file = savedProject();
    g_state->addObject();
    g_state->setFrame(3);
    const QByteArray before = projectBytes();
    const DataState *state = g_state;
    DialogDriver driver;
    driver.acceptFile(file);
    driver.rejectFile();
    m_program->action("&Open")->trigger();
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(g_state, state);
    QVERIFY(g_state->videoLoaded);
    QVERIFY(projectBytes() == before);
    QVERIFY((*m_program)->isEnabled());
}

void TestProjectActions::unreadableFileKeepsTheProject()
{
    const QString file = savedProject();
    const QByteArray before = projectBytes();
    const DataState *state = g_state;
    LogCapture log;
    DialogDriver driver;
    driver.acceptFile(file);
    driver.beforeAnswer([&](QWidget *dialog) {
        connect(qobject_cast<QDialog *>(dialog), &QDialog::accepted, this, [file] { QFile::remove(file); });
    });
    m_program->action("&Open")->trigger();
    QCOMPARE(driver.problem(), QString()); // neither a second dialog nor a box
    QVERIFY(!QFile::exists(file));
    QCOMPARE(g_state, state);
    QVERIFY(projectBytes() == before);
    QVERIFY((*m_program)->isEnabled());
}

void TestProjectActions::otherProjectsAreRejected_data()
{
    QTest::addColumn<QString>("fault");
    for (const char *fault : {"another version", "another frame count", "another width", "another height",
                              "another clip", "empty file", "not a project", "cut off"})
        QTest::newRow(fault) << QString(fault);
}

void TestProjectActions::otherProjectsAreRejected()
{
    QFETCH(QString, fault);
    const QString file = savedProject();
    g_state->addObject(); // the project that gets lost
    QByteArray bytes = contentOf(file);
    // Name, version, frame count, width and height stand one after the other.
    const int version = 4 + 2 * QString("my clip.mp4").size() + 4;
    const int frameCount = version + 2 * QString("0.0.5").size();
    QCOMPARE(bytes.mid(version, 10), utf16("0.0.5"));
    QString video = m_clip;
    if (fault == "another version")
        bytes.replace(version, 10, utf16("0.0.6"));
    else if (fault == "another frame count")
        bytes[frameCount + 3] = 11;
    else if (fault == "another width")
        bytes[frameCount + 7] = static_cast<char>(bytes[frameCount + 7] + 1);
    else if (fault == "another height")
        bytes[frameCount + 11] = static_cast<char>(bytes[frameCount + 11] + 1);
    else if (fault == "another clip")
        video = m_shorterClip;
    else if (fault == "empty file")
        bytes.clear();
    else if (fault == "not a project")
        bytes = QByteArray(5000, '\x7f');
    else
        bytes.truncate(version + 4);
    writeFile(path("other.palu"), bytes);

    LogCapture log;
    DialogDriver driver;
    driver.acceptFile(path("other.palu"));
    driver.acceptFile(video);
    driver.clickButton(QMessageBox::Ok);
    m_program->action("&Open")->trigger();
    QCOMPARE(driver.problem(), QString());
    const DialogDriver::BoxSeen box = driver.boxes.value(0);
    QCOMPARE(box.title, QString("Palu"));
    QCOMPARE(box.text, QString(mismatchText));
    QCOMPARE(box.icon, QMessageBox::Information);
    QCOMPARE(box.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    // The freshly loaded video is dropped with the project.
    QVERIFY(!g_state->videoLoaded);
    QVERIFY(!g_state->video);
    QVERIFY(!g_state->hasObjects());
    QCOMPARE(g_state->version, QString("0.0.5"));
    QCOMPARE(TrackedObject::newID, qint32(0));
    QVERIFY((*m_program)->isEnabled());
    QVERIFY(!m_program->action("&Save")->isEnabled());
    QVERIFY(!m_program->action("&morph")->isEnabled());
    QVERIFY(!(*m_program)->frameNav()->isEnabled());
    QVERIFY(contentOf(path("other.palu")) == bytes);
    // The program goes on.
    QCOMPARE(m_program->open(file, m_clip), QString());
    QCOMPARE(g_state->objects.size(), 2);
}

void TestProjectActions::failingVideoLeavesAnEmptyProject()
{
    const QString file = savedProject();
    g_state->addObject();
    writeFile(path("broken.mp4"), "no video");
    LogCapture log;
    QCOMPARE(m_program->open(file, path("broken.mp4")), QString()); // no message box
    QVERIFY(!g_state->videoLoaded);
    QVERIFY(!g_state->video);
    QVERIFY(!g_state->hasObjects());
    QVERIFY((*m_program)->isEnabled());
    QVERIFY(!m_program->action("&Save")->isEnabled());
    QCOMPARE(m_program->open(file, m_clip), QString());
    QCOMPARE(g_state->objects.size(), 2);
}

void TestProjectActions::openShowsEverything()
{
    makeProject();
    const QByteArray before = projectBytes();
    QCOMPARE(m_program->saveAs(path("a.palu")), QString());
    m_program.reset();
    m_program = std::make_unique<ProgramFixture>(); // the program is started again
    QCOMPARE(m_program->open(path("a.palu"), m_clip), QString());

    QVERIFY(g_state->videoLoaded);
    QVERIFY2(projectBytes() == before, "the opened project differs from the saved one");
    QCOMPARE(g_state->currentFrame, 4);
    QCOMPARE(g_state->objects.at(1)->name, QString::fromUtf8("Küche \"1\" & <2>"));
    QVERIFY((*m_program)->isEnabled());
    for (const char *text : {"&Save", "&morph", "&iTrack", "&aTrack", "export XML", "segmentation"})
        QVERIFY2(m_program->action(text)->isEnabled(), text);
    QCOMPARE((*m_program)->frameNav()->slider->value(), 5);
    QCOMPARE((*m_program)->frameViewer()->frameItem->pixmap().size(), QSize(320, 240));
    QCOMPARE((*m_program)->timeLine()->keyFrameItems.size(), 20);
    ModelChecks::flushDeferredDeletes();
    QCOMPARE((*m_program)->timeLine()->findChildren<TrackedObjectLabel *>().size(), 2);
    // Colours go by the position in the file, not by the id.
    QCOMPARE(g_state->objects.at(0)->color, g_state->colors.at(0));
    QCOMPARE(g_state->objects.at(1)->color, g_state->colors.at(1));
}

void TestProjectActions::currentObjectAfterOpeningIsTheLastOneRead()
{
    // By its provisional id 1, which the deleted object had.
    const QString file = savedProject();
    QCOMPARE(m_program->open(file, m_clip), QString());
    QCOMPARE(g_state->objects.at(1)->id, 2);
    QCOMPARE(g_state->currentObjectId, 1);
    QVERIFY(!g_state->getCurrentObject());
    // The program can live with it.
    m_program->action("&morph")->trigger();
    m_program->doubleClickFrame(QPointF(50, 50));
    QVERIFY((*m_program)->isEnabled());
}

void TestProjectActions::projectWithoutObjectsKeepsItsCounter()
{
    makeProject();
    g_state->deleteObject(0);
    g_state->deleteObject(2);
    QCOMPARE(m_program->saveAs(path("empty.palu")), QString());
    (*m_program)->recreateDataState();
    QCOMPARE(m_program->open(path("empty.palu"), m_clip), QString());
    QVERIFY(!g_state->hasObjects());
    QCOMPARE(TrackedObject::newID, qint32(3));
    QVERIFY(m_program->action("&Save")->isEnabled());
    QVERIFY(!m_program->action("&morph")->isEnabled());
    g_state->addObject();
    QCOMPARE(g_state->objects.first()->id, 3);
}

void TestProjectActions::gapsInTheIdsSurvive()
{
    const QString file = savedProject();
    QCOMPARE(m_program->open(file, m_clip), QString());
    QCOMPARE(g_state->objects.at(0)->id, 0);
    QCOMPARE(g_state->objects.at(1)->id, 2);
    g_state->addObject();
    QCOMPARE(g_state->objects.at(2)->id, 3);
}

void TestProjectActions::newObjectsShareNoIdAfterAFileWithoutItsLastBytes()
{
    const QString file = savedProject();
    const QByteArray whole = contentOf(file);
    const int nextIdSize = 4; // bytes, the last ones
    writeFile(file, whole.left(whole.size() - nextIdSize));
    QCOMPARE(m_program->open(file, m_clip), QString());
    QCOMPARE(g_state->objects.size(), 2);
    g_state->addObject();
    QCOMPARE(g_state->objects.at(2)->id, 3);
    QCOMPARE(g_state->getCurrentObject(), g_state->objects.at(2));
}

void TestProjectActions::theNumberFieldShowsAnyOpenedFrame()
{
    constexpr int frames = 120; // more than the field's first maximum of 99
    const QString clip = encodeClip(m_folder->path(), QStringLiteral("long"), frames);
    QVERIFY(!clip.isEmpty());
    QCOMPARE(m_program->newProject(clip), QString());
    g_state->setFrame(110);
    const QString file = path("late.palu");
    QCOMPARE(m_program->saveAs(file), QString());

    m_program.reset();
    m_program = std::make_unique<ProgramFixture>();
    QCOMPARE(m_program->open(file, clip), QString());
    QCOMPARE(g_state->currentFrame, 110);
    QSpinBox *field = (*m_program)->frameNav()->spinBox;
    QCOMPARE(field->value(), 111);
    field->setFocus();
    QTest::keyClick(field, Qt::Key_Return); // entering and leaving it stays there
    QCOMPARE(g_state->currentFrame, 110);
}

void TestProjectActions::currentFrameOutsideTheVideoIsMovedIn_data()
{
    QTest::addColumn<int>("saved");
    QTest::addColumn<int>("opened");
    QTest::newRow("behind the end") << 10 << 9;
    QTest::newRow("far behind the end") << 2000000000 << 9;
    QTest::newRow("before the start") << -1 << 0;
    QTest::newRow("the last one") << 9 << 9;
}

void TestProjectActions::currentFrameOutsideTheVideoIsMovedIn()
{
    QFETCH(int, saved);
    QFETCH(int, opened);
    makeProject();
    g_state->currentFrame = saved;
    QCOMPARE(m_program->saveAs(path("a.palu")), QString());
    g_state->currentFrame = 0;
    QCOMPARE(m_program->open(path("a.palu"), m_clip), QString());
    QVERIFY(g_state->videoLoaded);
    QCOMPARE(g_state->objects.size(), 2);
    QCOMPARE(g_state->currentFrame, opened);
    QCOMPARE((*m_program)->frameNav()->slider->value(), opened + 1);
    QVERIFY((*m_program)->isEnabled());
}

void TestProjectActions::openReplacesAnOpenProject()
{
    const QString file = savedProject();
    for (int i = 0; i < 5; ++i)
        g_state->addObject();
    const QPointer<DataState> old = g_state;
    const QPointer<VideoContainer> oldVideo = g_state->video;
    QCOMPARE(m_program->open(file, m_clip), QString());
    QVERIFY(!old);
    QVERIFY(!oldVideo);
    QCOMPARE(g_state->objects.size(), 2);
}

void TestProjectActions::viewsFollowAnOpenedProject()
{
    const QString file = savedProject();
    QCOMPARE(m_program->open(file, m_clip), QString());
    m_program->key(Qt::Key_Right);
    QCOMPARE(g_state->currentFrame, 5);
    QCOMPARE((*m_program)->frameNav()->slider->value(), 6);
    // A change of an object that was read brings the time line up to date.
    g_state->objects.at(0)->changeName("renamed");
    ModelChecks::flushDeferredDeletes();
    QStringList names;
    for (const auto *label : (*m_program)->timeLine()->findChildren<TrackedObjectLabel *>())
        names.append(g_state->getObjectById(label->objectId)->name);
    QVERIFY(names.contains("renamed"));
    QCOMPARE((*m_program)->timeLine()->objectConnections.size(), 2);
}

void TestProjectActions::arrowKeysWorkRightAfterOpening()
{
    const QString file = savedProject();
    m_program.reset();
    m_program = std::make_unique<ProgramFixture>();
    QCOMPARE(m_program->newProject(m_clip), QString());
    m_program->key(Qt::Key_Right);
    QCOMPARE(g_state->currentFrame, 1);
    QCOMPARE(m_program->open(file, m_clip), QString());
    g_state->setFrame(4);
    m_program->key(Qt::Key_Right);
    QCOMPARE(g_state->currentFrame, 5);
}

void TestProjectActions::everyTruncationIsSurvived()
{
    const QString file = savedProject();
    const QByteArray bytes = contentOf(file);
    LogCapture log;
    for (int size = 0; size < bytes.size(); size += bytes.size() / 7) {
        writeFile(path("cut.palu"), bytes.left(size));
        DialogDriver driver;
        driver.acceptFile(path("cut.palu"));
        driver.acceptFile(m_clip);
        driver.tolerateMessageBoxes();
        m_program->action("&Open")->trigger();
        QVERIFY2(driver.problem().isEmpty(), qPrintable(driver.problem()));
        QVERIFY((*m_program)->isEnabled());
        QCOMPARE(g_state->videoLoaded, driver.boxes.isEmpty());
        if (g_state->videoLoaded)
            QCOMPARE(ModelChecks::stateProblem(*g_state), QString());
    }
}

void TestProjectActions::morphFillsTheFramesBetween()
{
    m_program->pretendVideo(7);
    g_state->addObject();
    g_state->addObject();
    for (TrackedObject *object : qAsConst(g_state->objects)) {
        annotate(object, 1, rectangle(10, 10, 20, 20));
        annotate(object, 5, rectangle(50, 10, 20, 20));
    }
    (*m_program)->reload();
    DialogDriver driver;
    m_program->key(Qt::Key_M, Qt::ControlModifier);
    QCOMPARE(driver.problem(), QString()); // no message
    const TrackedObject *morphed = g_state->objects.at(1);
    QList<int> types;
    for (const KeyFrame *keyFrame : morphed->keyFrames)
        types.append(keyFrame->type);
    QCOMPARE(types, QList<int>({KeyFrame::None, KeyFrame::Visible, KeyFrame::Automatic, KeyFrame::Automatic,
                                KeyFrame::Automatic, KeyFrame::Visible, KeyFrame::None}));
    QCOMPARE(morphed->keyFrames.at(3)->polygon.boundingRect(), QRectF(30, 10, 20, 20));
    // Only the current object, on all of its spans.
    QVERIFY(g_state->objects.at(0)->keyFrames.at(3)->polygon.isEmpty());
    QVERIFY((*m_program)->statusBar()->currentMessage().isEmpty());
}

void TestProjectActions::exportAsksForAName()
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

void TestProjectActions::exportAppendsTheSuffix_data()
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

void TestProjectActions::exportAppendsTheSuffix()
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

void TestProjectActions::secondFilterExportsBoxes()
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

void TestProjectActions::cancellingExportWritesNothing()
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

void TestProjectActions::failingExportAsksForARetry()
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

void TestProjectActions::retryAsksForTheNameAgain()
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

void TestProjectActions::licensePageNamesLicensesAndVersion()
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

void TestProjectActions::aboutPageAsksForCitation()
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

void TestProjectActions::aboutPageNamesTheProjectPageAndEndsWithACredit()
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

void TestProjectActions::aDialogDuringPlaybackEndsIt_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("asksForAFile");
    QTest::newRow("new") << "&New" << true;
    QTest::newRow("save") << "&Save" << true;
    QTest::newRow("open") << "&Open" << true;
    QTest::newRow("export") << "export XML" << true;
    QTest::newRow("license") << "License Notes" << false;
    QTest::newRow("about") << "About Palu" << false;
}

void TestProjectActions::aDialogDuringPlaybackEndsIt()
{
    QFETCH(QString, text);
    QFETCH(bool, asksForAFile);
    m_program->pretendVideo(30, 10);
    g_state->addObject();
    (*m_program)->reload();
    const FrameNav *nav = (*m_program)->frameNav();
    bool pausedDuring = false;
    int shown = -1;
    DialogDriver driver;
    if (asksForAFile)
        driver.rejectFile();
    else
        driver.clickButton(QMessageBox::Ok);
    driver.beforeAnswer([&](QWidget *) { pausedDuring = nav->paused; });
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] {
        if (nav->paused || g_state->currentFrame < 2 || shown != -1)
            return;
        shown = g_state->currentFrame;
        m_program->action(text)->trigger();
    });
    timer.start(0);
    (*m_program)->frameNav()->onButtonPlayClicked();
    QCOMPARE(driver.problem(), QString());
    QVERIFY(shown >= 2);
    QVERIFY(pausedDuring);
    QVERIFY(nav->paused);
    QCOMPARE(g_state->currentFrame, shown);
    QVERIFY((*m_program)->isEnabled());
    QVERIFY((*m_program)->frameViewer()->isEnabled());
    QVERIFY(nav->buttonNext->isEnabled());
}

QTEST_MAIN(TestProjectActions)
#include "tst_projectactions.moc"
