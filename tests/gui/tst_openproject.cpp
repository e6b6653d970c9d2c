// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/keptcopy.h"
#include "core/mainwindow.h"
#include "tests/gui/projecttest.h"
#include "tests/support/dialogdriver.h"
#include "tests/support/logcapture.h"
#include "tests/support/modelchecks.h"
#include "views/framenav.h"
#include "views/frameviewer.h"
#include "views/timeline.h"
#include "views/trackedobjectlabel.h"

#include <QAction>
#include <QDir>
#include <QGraphicsPixmapItem>
#include <QPointer>
#include <QSlider>
#include <QSpinBox>
#include <QtTest>

#include <sys/stat.h>

namespace
{

const char mismatchText[] = "Palu file does not match the requierments (e.g. version of Palu, video frame "
                            "rate or video resolution)";

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

class TestOpenProject : public ProjectTest
{
    Q_OBJECT

private slots:
    void openAsksForProjectAndVideo();
    void openTurnsBlanksIntoWildcards();
    void openAsksForErrorErrorAfterAShortFile();
    void cancellingTheFirstQuestionKeepsTheProject();
    void cancellingTheSecondQuestionKeepsTheProject();
    void unreadableFileKeepsTheProject();
    void aPipeAsProjectKeepsTheProject();
    void otherProjectsAreRejected_data();
    void otherProjectsAreRejected();
    void failingVideoLeavesAnEmptyProject();
    void whatAnInterruptedSaveLeftIsPutBackFirst();
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
};

void TestOpenProject::openAsksForProjectAndVideo()
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

void TestOpenProject::openTurnsBlanksIntoWildcards()
{
    const QString file = savedProject();
    DialogDriver driver;
    driver.acceptFile(file);
    driver.rejectFile();
    m_program->action("&Open")->trigger();
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(driver.fileDialogs.value(1).nameFilters, QStringList({"Video (my*clip.mp4)", "All files (*)"}));
}

void TestOpenProject::openAsksForErrorErrorAfterAShortFile()
{
    writeFile(path("short.palu"), "\0\0");
    DialogDriver driver;
    driver.acceptFile(path("short.palu"));
    driver.rejectFile();
    m_program->action("&Open")->trigger();
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(driver.fileDialogs.value(1).nameFilters, QStringList({"Video (error.error)", "All files (*)"}));
}

void TestOpenProject::cancellingTheFirstQuestionKeepsTheProject()
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

void TestOpenProject::cancellingTheSecondQuestionKeepsTheProject()
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

void TestOpenProject::unreadableFileKeepsTheProject()
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

void TestOpenProject::aPipeAsProjectKeepsTheProject()
{
    m_program->pretendTwoObjects();
    const QByteArray before = projectBytes();
    const QString pipe = path("pipe.palu");
    QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    const LogCapture log;
    DialogDriver driver;
    driver.acceptFile(pipe);
    m_program->action("&Open")->trigger();
    QCOMPARE(driver.problem(), QString());
    QVERIFY(log.contains("could not open " + pipe + ": not a regular file"));
    QVERIFY(projectBytes() == before);
    QVERIFY((*m_program)->isEnabled());
}

void TestOpenProject::otherProjectsAreRejected_data()
{
    QTest::addColumn<QString>("fault");
    for (const char *fault : {"another version", "another frame count", "another width", "another height",
                              "another clip", "empty file", "not a project", "cut off"})
        QTest::newRow(fault) << QString(fault);
}

void TestOpenProject::otherProjectsAreRejected()
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
        video = encodeClip(m_folder->path(), "shorter", 9);
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

void TestOpenProject::failingVideoLeavesAnEmptyProject()
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

void TestOpenProject::whatAnInterruptedSaveLeftIsPutBackFirst()
{
    const QString file = savedProject();
    const QByteArray before = contentOf(file);
    const QByteArray saved(50, 'x');
    const auto write = [&saved](QFileDevice &device) { return device.write(saved) == saved.size(); };
    QCOMPARE(KeptCopy::keep(file, write), QString());
    writeFile(file, saved + before.mid(saved.size()));
    QCOMPARE(m_program->open(file, m_clip), QString());
    QCOMPARE(g_state->objects.size(), 2);
    QVERIFY(contentOf(file) == before);
}

void TestOpenProject::openShowsEverything()
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

void TestOpenProject::currentObjectAfterOpeningIsTheLastOneRead()
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

void TestOpenProject::projectWithoutObjectsKeepsItsCounter()
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

void TestOpenProject::gapsInTheIdsSurvive()
{
    const QString file = savedProject();
    QCOMPARE(m_program->open(file, m_clip), QString());
    QCOMPARE(g_state->objects.at(0)->id, 0);
    QCOMPARE(g_state->objects.at(1)->id, 2);
    g_state->addObject();
    QCOMPARE(g_state->objects.at(2)->id, 3);
}

void TestOpenProject::newObjectsShareNoIdAfterAFileWithoutItsLastBytes()
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

void TestOpenProject::theNumberFieldShowsAnyOpenedFrame()
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

void TestOpenProject::currentFrameOutsideTheVideoIsMovedIn_data()
{
    QTest::addColumn<int>("saved");
    QTest::addColumn<int>("opened");
    QTest::newRow("behind the end") << 10 << 9;
    QTest::newRow("far behind the end") << 2000000000 << 9;
    QTest::newRow("before the start") << -1 << 0;
    QTest::newRow("the last one") << 9 << 9;
}

void TestOpenProject::currentFrameOutsideTheVideoIsMovedIn()
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

void TestOpenProject::openReplacesAnOpenProject()
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

void TestOpenProject::viewsFollowAnOpenedProject()
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

void TestOpenProject::arrowKeysWorkRightAfterOpening()
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

void TestOpenProject::everyTruncationIsSurvived()
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

QTEST_MAIN(TestOpenProject)
#include "tst_openproject.moc"
