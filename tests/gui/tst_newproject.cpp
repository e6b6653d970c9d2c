// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "tests/gui/programtest.h"
#include "tests/support/dialogdriver.h"
#include "tests/support/logcapture.h"
#include "tests/support/progresswatch.h"
#include "views/framegraphicsview.h"
#include "views/framenav.h"
#include "views/frameviewer.h"
#include "views/timeline.h"

#include <QAction>
#include <QDir>
#include <QGraphicsPixmapItem>
#include <QPointer>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTranslator>
#include <QtTest>

#include <sys/stat.h>

namespace
{

/// Stands in for a translation and writes down what is looked up.
class RecordingTranslator : public QTranslator
{
public:
    QString translate(const char *context, const char *source, const char *, int) const override
    {
        asked.append(QLatin1String(context) + ":" + QString::fromUtf8(source));
        return QString();
    }
    bool isEmpty() const override { return false; }

    mutable QStringList asked;
};

} // namespace

class TestNewProject : public ProgramTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void newAsksForAVideo();
    void newTextsAreTranslatable();
    void cancellingNewKeepsTheProject();
    void cancellingNewWithoutProjectLeavesItEmpty();
    void theFocusReturnsAfterACancelledNew();
    void theFocusIsInTheFrameViewerAfterNew_data();
    void theFocusIsInTheFrameViewerAfterNew();
    void newShowsTheFirstFrame();
    void newReplacesTheProjectWithoutAsking();
    void newStartsAtTheFirstFrameAfterALongerVideo();
    void newReusesAStateWithoutVideo();
    void failingVideoLeavesAnEmptyProject();
    void whyAVideoWasNotLoadedStays();
    void abortingTheExtractionLeavesAnEmptyProject();
    void badInputLeavesTheProgramUsable_data();
    void badInputLeavesTheProgramUsable();

private:
    QTemporaryDir m_folder;
    QString m_clip;
};

void TestNewProject::initTestCase()
{
    m_clip = encodeClip(m_folder.path(), "clip", 12);
    QVERIFY(!m_clip.isEmpty());
}

void TestNewProject::newAsksForAVideo()
{
    DialogDriver driver;
    driver.rejectFile();
    m_program->action("&New")->trigger();
    QCOMPARE(driver.problem(), QString());
    const DialogDriver::FileDialogSeen seen = driver.fileDialogs.value(0);
    QCOMPARE(seen.title, QString("Video file"));
    QCOMPARE(seen.directory, QDir::homePath());
    QCOMPARE(
        seen.nameFilters,
        QStringList({"supported file types (*.avi *.mpeg *.mp4 *.m4a *.m4p *.m4b *.m4r *.m4v *.wmv *.h263)",
                     "AVI (*.avi)", "MPEG (*.mpeg)", "MPEG4 (*.mp4 *.m4a *.m4p *.m4b *.m4r *.m4v)",
                     "WMV (*.wmv)", "H.263 (*.h263)"}));
    QCOMPARE(seen.selectedNameFilter, seen.nameFilters.constFirst());
    QVERIFY(seen.options.testFlag(QFileDialog::DontUseNativeDialog));
    QCOMPARE(seen.acceptMode, QFileDialog::AcceptOpen);
    QCOMPARE(seen.fileMode, QFileDialog::ExistingFile);
    QVERIFY2(!seen.mainWindowEnabled, "the window is not disabled during the question");
}

void TestNewProject::newTextsAreTranslatable()
{
    RecordingTranslator translator;
    QCoreApplication::installTranslator(&translator);
    DialogDriver driver;
    driver.rejectFile();
    m_program->action("&New")->trigger();
    QCoreApplication::removeTranslator(&translator);
    QCOMPARE(driver.problem(), QString());
    // The blank at the end is part of the text; the dialog itself cuts it off.
    QVERIFY(translator.asked.contains(
        "MainWindow:supported file types (*.avi *.mpeg *.mp4 *.m4a *.m4p *.m4b *.m4r *.m4v *.wmv "
        "*.h263);;AVI (*.avi);;MPEG (*.mpeg);;MPEG4 (*.mp4 *.m4a *.m4p *.m4b *.m4r *.m4v);;WMV "
        "(*.wmv);;H.263 (*.h263) "));
}

void TestNewProject::cancellingNewKeepsTheProject()
{
    m_program->pretendTwoObjects();
    g_state->setFrame(2);
    const DataState *state = g_state;
    const VideoContainer *video = g_state->video;
    const QByteArray before = projectBytes();
    DialogDriver driver;
    driver.rejectFile();
    m_program->action("&New")->trigger();
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(g_state, state);
    QCOMPARE(g_state->video, video);
    QVERIFY(projectBytes() == before);
    QVERIFY((*m_program)->isEnabled());
    QCOMPARE(enabledProblem(*m_program, true, true), QString());
    QVERIFY((*m_program)->frameViewer()->isEnabled());
}

void TestNewProject::cancellingNewWithoutProjectLeavesItEmpty()
{
    const DataState *state = g_state;
    DialogDriver driver;
    driver.rejectFile();
    m_program->action("&New")->trigger();
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(g_state, state);
    QVERIFY(!g_state->videoLoaded);
    QVERIFY((*m_program)->isEnabled());
    QCOMPARE(enabledProblem(*m_program, false, false), QString());
    QVERIFY(!(*m_program)->frameNav()->isEnabled());
}

void TestNewProject::theFocusReturnsAfterACancelledNew()
{
    m_program->pretendTwoObjects();
    QWidget *viewer = (*m_program)->frameViewer()->view;
    for (QWidget *before : {static_cast<QWidget *>((*m_program)->frameNav()->buttonNext),
                            static_cast<QWidget *>((*m_program)->frameNav()->spinBox), viewer}) {
        before->setFocus();
        QVERIFY2(before->hasFocus(), qPrintable(nameOf(before)));
        DialogDriver driver;
        driver.rejectFile();
        m_program->action("&New")->trigger(); // disables the window meanwhile
        QCOMPARE(driver.problem(), QString());
        QCOMPARE((*m_program)->focusWidget(), viewer);
        g_state->setFrame(2);
        m_program->key(Qt::Key_Right);
        QCOMPARE(g_state->currentFrame, 3);
        QVERIFY(viewer->hasFocus());
    }
}

void TestNewProject::theFocusIsInTheFrameViewerAfterNew_data()
{
    QTest::addColumn<bool>("projectBefore");
    QTest::newRow("first video") << false;
    QTest::newRow("another video") << true;
}

void TestNewProject::theFocusIsInTheFrameViewerAfterNew()
{
    QFETCH(bool, projectBefore);
    if (projectBefore) {
        QCOMPARE(m_program->newProject(m_clip), QString());
        (*m_program)->frameNav()->slider->setFocus();
    }
    QCOMPARE(m_program->newProject(m_clip), QString());
    QCOMPARE((*m_program)->focusWidget(), static_cast<QWidget *>((*m_program)->frameViewer()->view));
    m_program->key(Qt::Key_Right);
    QCOMPARE(g_state->currentFrame, 1);
    QVERIFY((*m_program)->frameViewer()->view->hasFocus());
}

void TestNewProject::newShowsTheFirstFrame()
{
    QCOMPARE(m_program->newProject(m_clip), QString());
    QVERIFY(g_state->videoLoaded);
    QVERIFY(g_state->video);
    QCOMPARE(g_state->currentFrame, 0);
    QCOMPARE(g_state->video->frameCount, 12);
    QVERIFY((*m_program)->isEnabled());
    QCOMPARE(enabledProblem(*m_program, true, false), QString());
    QCOMPARE((*m_program)->frameViewer()->frameItem->pixmap().size(), QSize(320, 240));
    QCOMPARE((*m_program)->frameNav()->slider->maximum(), 12);
    QVERIFY((*m_program)->timeLine()->isEnabled());
}

void TestNewProject::newReplacesTheProjectWithoutAsking()
{
    m_program->pretendTwoObjects();
    g_state->setFrame(3);
    const QPointer<DataState> old = g_state;
    DialogDriver driver;
    driver.acceptFile(m_clip);
    m_program->action("&New")->trigger();
    QCOMPARE(driver.problem(), QString()); // a question would have been one
    QVERIFY(driver.boxes.isEmpty());
    QVERIFY(!old);
    QVERIFY(g_state->videoLoaded);
    QVERIFY(!g_state->hasObjects());
    QCOMPARE(g_state->currentFrame, 0);
    QCOMPARE(g_state->video->frameCount, 12);
    QCOMPARE(TrackedObject::newID, qint32(0));
    QCOMPARE(enabledProblem(*m_program, true, false), QString());
    g_state->addObject();
    QCOMPARE(g_state->objects.first()->id, 0);
    QCOMPARE((*m_program)->timeLine()->keyFrameItems.size(), 12);
}

void TestNewProject::newStartsAtTheFirstFrameAfterALongerVideo()
{
    m_program->pretendVideo(100);
    g_state->setFrame(90);
    QCOMPARE(m_program->newProject(m_clip), QString());
    QCOMPARE(g_state->currentFrame, 0);
    QCOMPARE((*m_program)->frameNav()->slider->value(), 1);
    QCOMPARE((*m_program)->frameNav()->spinBox->value(), 1);
}

void TestNewProject::newReusesAStateWithoutVideo()
{
    const DataState *state = g_state;
    QCOMPARE(m_program->newProject(m_clip), QString());
    QCOMPARE(g_state, state);
}

void TestNewProject::failingVideoLeavesAnEmptyProject()
{
    const QString path = m_folder.filePath("broken.avi");
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("no video at all");
    file.close();

    m_program->pretendTwoObjects();
    LogCapture log;
    QCOMPARE(m_program->newProject(path), QString());
    QVERIFY(!log.warnings().isEmpty());
    QVERIFY(!g_state->videoLoaded);
    QVERIFY(!g_state->video);
    QVERIFY(!g_state->hasObjects());
    QVERIFY((*m_program)->isEnabled());
    QCOMPARE(enabledProblem(*m_program, false, false), QString());
    QVERIFY(!(*m_program)->frameViewer()->isEnabled());
    // And the program goes on.
    QCOMPARE(m_program->newProject(m_clip), QString());
    QVERIFY(g_state->videoLoaded);
}

void TestNewProject::whyAVideoWasNotLoadedStays()
{
    const QString pipe = m_folder.filePath("pipe.mp4");
    QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    const LogCapture log;
    QCOMPARE(m_program->newProject(pipe), QString());
    const QString text = "The video was not loaded: " + pipe + ": it is not a regular file";
    QCOMPARE((*m_program)->statusBar()->currentMessage(), text);
    QCOMPARE((*m_program)->frameViewer()->view->notice(), text);
    for (const QTimer *timer : (*m_program)->statusBar()->findChildren<QTimer *>())
        QVERIFY2(!timer->isActive(), "the message will go by itself");

    QCOMPARE(m_program->newProject(m_clip), QString());
    QCOMPARE((*m_program)->frameViewer()->view->notice(), QString());
    g_state->videoLoaded = false;
    (*m_program)->frameViewer()->reload();
    QCOMPARE((*m_program)->frameViewer()->view->notice(), QString()); // it does not come back
}

void TestNewProject::abortingTheExtractionLeavesAnEmptyProject()
{
    const QString longClip = encodeClip(m_folder.path(), "long", 300);
    QVERIFY(!longClip.isEmpty());
    m_program->pretendTwoObjects();
    DialogDriver driver;
    driver.acceptFile(longClip);
    bool enabledMeanwhile = true;
    ProgressWatch watch;
    watch.onShown = [&] { enabledMeanwhile = (*m_program)->isEnabled(); };
    watch.abort();
    m_program->action("&New")->trigger();
    QCOMPARE(driver.problem(), QString());
    QVERIFY2(!enabledMeanwhile, "the window is enabled while the video is loaded");
    QVERIFY(watch.aborted);
    QCOMPARE(watch.label, QString("Extracting 300 frames. Please wait."));
    QCOMPARE(watch.button, QString("Abort"));
    QCOMPARE(watch.minimum, 0);
    QCOMPARE(watch.maximum, 0);
    QCOMPARE(watch.modality, Qt::WindowModal);
    QVERIFY(!g_state->videoLoaded);
    QVERIFY(!g_state->hasObjects());
    QVERIFY((*m_program)->isEnabled());
    QCOMPARE(enabledProblem(*m_program, false, false), QString());
    QCOMPARE((*m_program)->statusBar()->currentMessage(), "The video was not loaded: " + longClip);
    QCOMPARE((*m_program)->frameViewer()->view->notice(), QString());
}

void TestNewProject::badInputLeavesTheProgramUsable_data()
{
    QTest::addColumn<QString>("input");
    for (const char *input : {"text", "empty file", "cut off video", "noise"})
        QTest::newRow(input) << QString(input);
    QTest::newRow("vanished file") << "vanished";
    QTest::newRow("folder") << "folder";
}

void TestNewProject::badInputLeavesTheProgramUsable()
{
    QFETCH(QString, input);
    const QTemporaryDir folder;
    const QString bad = folder.filePath("bad.mp4");
    QFile file(bad);
    QVERIFY(file.open(QIODevice::WriteOnly));
    if (input == "text" || input == "vanished")
        file.write("This is no video.\n");
    else if (input == "cut off video")
        file.write(contentOf(m_clip).left(200));
    else if (input == "noise")
        file.write(QByteArray(100000, '\xa5'));
    file.close();
    QVERIFY(QDir(folder.path()).mkdir("folder"));

    QCOMPARE(m_program->newProject(m_clip), QString());
    g_state->addObject();
    {
        LogCapture log;
        DialogDriver driver;
        driver.acceptFile(input == "folder" ? folder.filePath("folder") : bad);
        if (input == "vanished") {
            driver.beforeAnswer([&](QWidget *dialog) {
                connect(qobject_cast<QDialog *>(dialog), &QDialog::accepted, this,
                        [&] { QFile::remove(bad); });
            });
        }
        if (input == "folder")
            driver.rejectFile(); // the dialog goes into the folder instead of choosing it
        m_program->action("&New")->trigger();
        QCOMPARE(driver.problem(), QString());
    }
    QVERIFY((*m_program)->isEnabled());
    if (input == "folder") {
        QVERIFY(g_state->videoLoaded);
    } else {
        QVERIFY(!g_state->videoLoaded);
        QVERIFY(!g_state->hasObjects());
        QVERIFY(!m_program->action("&Save")->isEnabled());
    }
    // Everything works afterwards.
    QCOMPARE(m_program->newProject(m_clip), QString());
    QVERIFY(g_state->videoLoaded);
    m_program->doubleClickFrame(QPointF(50, 50));
    QCOMPARE(g_state->objects.size(), 1);
    m_program->key(Qt::Key_Right);
    QCOMPARE(g_state->currentFrame, 1);
}

QTEST_MAIN(TestNewProject)
#include "tst_newproject.moc"
