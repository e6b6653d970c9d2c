// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/history.h"
#include "core/mainwindow.h"
#include "core/processmark.h"
#include "core/recovery.h"
#include "tests/gui/projecttest.h"
#include "tests/support/clips.h"
#include "tests/support/dialogdriver.h"
#include "tests/support/failingdisk.h"
#include "tests/support/heldjob.h"
#include "tests/support/logcapture.h"
#include "tests/support/testproject.h"
#include "views/framegraphicsview.h"
#include "views/framenav.h"
#include "views/frameviewer.h"
#include "views/timeline.h"
#include "views/trackedobjectlabel.h"

#include <QAction>
#include <QDataStream>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QStatusBar>
#include <QToolButton>
#include <QtTest>

namespace
{

constexpr int never = 1000000; // milliseconds

const QPolygonF outline = rectangle(40, 40, 60, 50);

} // namespace

/// Programs one after the other that keep their unsaved work in the same folder.
class TestRecoveryWindow : public ProjectTest
{
    Q_OBJECT

private slots:
    void init();
    void aWindowKeepsAndOffersNothingByItself();
    void nothingIsShownUntilThereIsSomethingToOffer();
    void theOfferChangesNoGeometry();
    void theOfferTakesNoFocus();
    void anEditIsCopied();
    void looksAreNoEdits();
    void saveRemovesTheCopy();
    void undoToTheSavedStateRemovesTheCopy();
    void newOverUnsavedWorkOffersIt();
    void newOverSavedWorkOffersNothing();
    void openOverUnsavedWorkOffersIt();
    void closingKeepsTheNewestState();
    void endOfTheProgramKeepsTheNewestState();
    void aKilledProgramsWorkIsOfferedAtTheNextStart();
    void restoreBringsTheProjectBack();
    void restoredWorkIsUnsaved();
    void restoredWorkKeepsItsFile();
    void restoredWorkStaysUntilItIsSaved();
    void restoreKeepsTheWorkOfTheOpenProject();
    void discardDeletesTheCopyAndOffersTheNext();
    void restoreAsksForAVideoThatHasMoved();
    void cancellingThatQuestionChangesNothing();
    void aVideoThatDoesNotFitLeavesTheCopy();
    void aVideoThatCannotBeLoadedLeavesTheCopy();
    void restoreAsksAfterTheVideoCouldNotBeLoaded();
    void restoreAsksAfterTheVideoDidNotFit();
    void theOfferEndsAPlayback();
    void aCopyThatAnotherProgramTookIsNotOfferedAnyMore();
    void aJobIsCopiedWhileItRuns();
    void theOfferDoesNothingWhileAJobRuns();
    void workThatCannotBeKeptIsSaid();
    void closingWritesBesideTheProjectWhatCannotBeKept();
    void closingWritesToTemporaryFilesWhatCannotBeKept();
    void newSaysWhereTheWorkIsUntilTheNextCopy();
    void newSaysThatTheWorkCouldNotBeKeptAtAll();
    void closingKeepsAHalfTypedName_data();
    void closingKeepsAHalfTypedName();
    void restoringKeepsAHalfTypedName();

private:
    /// Starts the program anew; it keeps its unsaved work.
    void start();
    /// Ends it the way a kill does: nothing is written any more, and its locks are those of a dead process.
    void kill();
    /// Makes a project with unsaved work, draws `count` outlines in it.
    void makeUnsavedWork(int count = 1);
    /// Makes a project on a video, ends the program with unsaved work and starts it anew.
    void leaveWorkOn(const QString &clip);
    /// Puts something in the way of the folder of the copies.
    void blockFolder();
    QString failure() const;
    void typeHalfAName(const QString &name);
    QStringList files() const { return QDir(m_recovery).entryList({"*.palu"}, QDir::Files); }
    QString offered() const;
    QToolButton *button(const char *name) const;
    void click(const char *name) { m_program->click(button(name)); }

    QString m_recovery;
};

void TestRecoveryWindow::init()
{
    ProjectTest::init();
    m_recovery = path("recovery");
    start();
}

void TestRecoveryWindow::start()
{
    m_program.reset();
    m_program = std::make_unique<ProgramFixture>();
    (*m_program)->setRecovery(m_recovery);
    (*m_program)->recovery()->setTimes({never, never});
}

void TestRecoveryWindow::kill()
{
    const QDir folder(m_recovery);
    const QStringList locks = folder.entryList({"*.lock"}, QDir::Files);
    QList<QByteArray> mark = ProcessMark::own().split(' ');
    mark.last() = "1";
    m_program.reset();
    for (const QString &name : locks)
        writeFile(folder.filePath(name), mark.join(' '));
}

void TestRecoveryWindow::makeUnsavedWork(int count)
{
    QCOMPARE(m_program->newProject(m_clip), QString());
    for (int i = 0; i < count; ++i)
        m_program->draw(outline.translated(10 * i, 0));
    (*m_program)->history().settle();
    QVERIFY(!(*m_program)->history().isClean());
}

void TestRecoveryWindow::leaveWorkOn(const QString &clip)
{
    QCOMPARE(m_program->newProject(clip), QString());
    m_program->draw(outline);
    m_program->action("&Close")->trigger();
    start();
}

void TestRecoveryWindow::blockFolder()
{
    QDir(m_recovery).removeRecursively();
    writeFile(m_recovery, "in the way of the folder");
}

QString TestRecoveryWindow::failure() const
{
    const auto *label = (*m_program)->findChild<QLabel *>("recoveryFailure");
    return label->isVisible() ? label->text() : QString();
}

void TestRecoveryWindow::typeHalfAName(const QString &name)
{
    TrackedObjectLabel *label = m_program->firstLabel();
    label->window()->activateWindow();
    QTRY_VERIFY(label->isActiveWindow());
    label->editButton->click();
    QVERIFY(label->nameEdit->hasFocus());
    label->nameEdit->selectAll();
    QTest::keyClicks(label->nameEdit, name);
}

QString TestRecoveryWindow::offered() const
{
    const auto *offer = (*m_program)->findChild<QWidget *>("recoveryOffer");
    const auto *text = (*m_program)->findChild<QLabel *>("recoveryText");
    return offer->isVisible() && text->isVisible() ? text->text() : QString();
}

QToolButton *TestRecoveryWindow::button(const char *name) const
{
    return (*m_program)->findChild<QToolButton *>(name);
}

void TestRecoveryWindow::aWindowKeepsAndOffersNothingByItself()
{
    makeUnsavedWork();
    (*m_program)->close();
    QCOMPARE(files().size(), 1);
    m_program.reset();
    m_program = std::make_unique<ProgramFixture>();
    QVERIFY(!(*m_program)->recovery());
    QVERIFY(!(*m_program)->findChild<QWidget *>("recoveryOffer"));
    makeUnsavedWork();
    (*m_program)->close();
    QCOMPARE(files().size(), 1);
}

void TestRecoveryWindow::nothingIsShownUntilThereIsSomethingToOffer()
{
    QCOMPARE(offered(), QString());
    QVERIFY(!(*m_program)->findChild<QWidget *>("recoveryOffer")->isVisible());
    QCOMPARE((*m_program)->frameViewer()->view->notice(), QString());
    makeUnsavedWork();
    QCOMPARE(offered(), QString());
}

void TestRecoveryWindow::theOfferChangesNoGeometry()
{
    m_program.reset();
    m_program = std::make_unique<ProgramFixture>();
    const auto geometries = [this] {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
        QList<QRect> all{(*m_program)->geometry()};
        for (QWidget *part : {static_cast<QWidget *>((*m_program)->statusBar()),
                              static_cast<QWidget *>((*m_program)->frameViewer()),
                              static_cast<QWidget *>((*m_program)->frameNav())})
            all.append(QRect(part->mapToGlobal(QPoint()), part->size()));
        return all;
    };
    const QList<QRect> without = geometries();
    const QSize smallest = (*m_program)->minimumSizeHint();
    (*m_program)->setRecovery(m_recovery);
    QCOMPARE(geometries(), without);
    m_program.reset();
    start();
    const QList<QRect> hidden = geometries();
    QCOMPARE(hidden, without);
    makeUnsavedWork();
    (*m_program)->recreateDataState();
    QVERIFY(!offered().isEmpty());
    QCOMPARE(geometries(), without);
    QCOMPARE((*m_program)->minimumSizeHint(), smallest);
}

void TestRecoveryWindow::theOfferTakesNoFocus()
{
    QVERIFY(!button("recoveryRestore")->isVisible()); // and so no stop of the Tab key
    makeUnsavedWork();
    makeUnsavedWork();
    makeUnsavedWork();
    QVERIFY(!offered().isEmpty());
    QVERIFY(!button("recoveryRestore")->hasFocus() && !button("recoveryDiscard")->hasFocus());
    QWidget *before = (*m_program)->focusWidget();
    QVERIFY(before);
    click("recoveryDiscard");
    QVERIFY(button("recoveryDiscard")->isVisible()); // for the other one
    QCOMPARE((*m_program)->focusWidget(), before);
}

void TestRecoveryWindow::anEditIsCopied()
{
    (*m_program)->recovery()->setTimes({100, never});
    makeUnsavedWork();
    QTRY_COMPARE(files().size(), 1);
    const QFileInfo file(m_recovery + '/' + files().value(0));
    QVERIFY(contentOf(file.filePath()).startsWith(projectBytes()));
    const auto copy = RecoveryCopy::read(file.filePath());
    QVERIFY(copy);
    QCOMPARE(copy->videoPath, m_clip);
    QCOMPARE(copy->projectPath, QString());
}

void TestRecoveryWindow::looksAreNoEdits()
{
    QCOMPARE(m_program->newProject(m_clip), QString());
    g_state->setFrame(4);
    (*m_program)->history().settle();
    QVERIFY(!(*m_program)->recovery()->isUnsaved());
    (*m_program)->close();
    QCOMPARE(files(), QStringList());
}

void TestRecoveryWindow::saveRemovesTheCopy()
{
    makeUnsavedWork();
    (*m_program)->recovery()->flush();
    QCOMPARE(files().size(), 1);
    QCOMPARE(m_program->saveAs(path("saved.palu")), QString());
    QCOMPARE(files(), QStringList());
    (*m_program)->close();
    QCOMPARE(files(), QStringList());
}

void TestRecoveryWindow::undoToTheSavedStateRemovesTheCopy()
{
    makeUnsavedWork();
    (*m_program)->recovery()->flush();
    QCOMPARE(files().size(), 1);
    while ((*m_program)->history().canUndo())
        m_program->key(Qt::Key_Z, Qt::ControlModifier);
    QCOMPARE(files(), QStringList());
    m_program->key(Qt::Key_Y, Qt::ControlModifier);
    (*m_program)->recovery()->flush();
    QCOMPARE(files().size(), 1);
}

void TestRecoveryWindow::newOverUnsavedWorkOffersIt()
{
    makeUnsavedWork();
    const QByteArray left = projectBytes();
    const QDateTime changed = QDateTime::currentDateTime();
    QCOMPARE(m_program->newProject(m_clip), QString());
    QCOMPARE(files().size(), 1);
    QVERIFY(contentOf(m_recovery + '/' + files().value(0)).startsWith(left));
    QVERIFY2(offered().startsWith("Unsaved work on my clip.mp4 from "), qPrintable(offered()));
    QVERIFY2(offered().endsWith(QLocale().toString(changed, QLocale::ShortFormat)) ||
                 offered().endsWith(QLocale().toString(changed.addSecs(-60), QLocale::ShortFormat)),
             qPrintable(offered()));
    QCOMPARE((*m_program)->frameViewer()->view->notice(), QString()); // a video is loaded
    (*m_program)->recreateDataState();
    QCOMPARE((*m_program)->frameViewer()->view->notice(), offered());
}

void TestRecoveryWindow::newOverSavedWorkOffersNothing()
{
    makeUnsavedWork();
    QCOMPARE(m_program->saveAs(path("saved.palu")), QString());
    QCOMPARE(m_program->newProject(m_clip), QString());
    QCOMPARE(files(), QStringList());
    QCOMPARE(offered(), QString());
}

void TestRecoveryWindow::openOverUnsavedWorkOffersIt()
{
    const QString project = savedProject();
    makeUnsavedWork();
    const QByteArray left = projectBytes();
    QCOMPARE(m_program->open(project, m_clip), QString());
    QCOMPARE(files().size(), 1);
    QVERIFY(contentOf(m_recovery + '/' + files().value(0)).startsWith(left));
    QVERIFY(!offered().isEmpty());
}

void TestRecoveryWindow::closingKeepsTheNewestState()
{
    makeUnsavedWork();
    const QByteArray left = projectBytes();
    m_program->action("&Close")->trigger();
    QCOMPARE(files().size(), 1);
    QVERIFY(contentOf(m_recovery + '/' + files().value(0)).startsWith(left));
    start();
    QVERIFY(!offered().isEmpty());
}

void TestRecoveryWindow::endOfTheProgramKeepsTheNewestState()
{
    makeUnsavedWork();
    const QByteArray left = projectBytes();
    QMetaObject::invokeMethod(qApp, "aboutToQuit");
    QCOMPARE(files().size(), 1);
    QVERIFY(contentOf(m_recovery + '/' + files().value(0)).startsWith(left));
    m_program.reset(); // the project first, as the program does
    QCOMPARE(files().size(), 1);
}

void TestRecoveryWindow::aKilledProgramsWorkIsOfferedAtTheNextStart()
{
    makeUnsavedWork();
    (*m_program)->recovery()->flush();
    kill();
    start();
    QVERIFY2(offered().startsWith("Unsaved work on my clip.mp4 from "), qPrintable(offered()));
    QCOMPARE((*m_program)->frameViewer()->view->notice(), offered());
}

void TestRecoveryWindow::restoreBringsTheProjectBack()
{
    makeUnsavedWork(3);
    g_state->objects.first()->changeName("van");
    g_state->setFrame(6);
    m_program->draw(outline);
    const QByteArray left = projectBytes();
    m_program->action("&Close")->trigger();
    start();
    click("recoveryRestore");
    QVERIFY(g_state->videoLoaded);
    QVERIFY(projectBytes() == left);
    QVERIFY((*m_program)->isEnabled());
    QCOMPARE(enabledProblem(*m_program, true, true), QString());
    QCOMPARE(offered(), QString());
    QCOMPARE((*m_program)->frameViewer()->view->notice(), QString());
    QCOMPARE(g_state->currentFrame, 6);
}

void TestRecoveryWindow::restoredWorkIsUnsaved()
{
    makeUnsavedWork();
    kill();
    start();
    QCOMPARE(offered(), QString()); // nothing was written before the kill
    makeUnsavedWork();
    m_program->action("&Close")->trigger();
    start();
    click("recoveryRestore");
    QVERIFY(!(*m_program)->history().isClean());
    QVERIFY((*m_program)->recovery()->isUnsaved());
    QVERIFY((*m_program)->findChild<QLabel *>("projectState")->text().contains("unsaved"));
}

void TestRecoveryWindow::restoredWorkKeepsItsFile()
{
    QCOMPARE(m_program->newProject(m_clip), QString());
    QCOMPARE(m_program->saveAs(path("kitchen.palu")), QString());
    m_program->draw(outline);
    m_program->action("&Close")->trigger();
    start();
    click("recoveryRestore");
    QVERIFY((*m_program)->findChild<QLabel *>("projectState")->text().contains("kitchen.palu"));
    m_program->draw(outline.translated(5, 5));
    (*m_program)->recovery()->flush();
    QCOMPARE(RecoveryCopy::read(m_recovery + '/' + files().value(0))->projectPath, path("kitchen.palu"));
}

void TestRecoveryWindow::restoredWorkStaysUntilItIsSaved()
{
    makeUnsavedWork();
    m_program->action("&Close")->trigger();
    const QStringList copies = files();
    start();
    click("recoveryRestore");
    QCOMPARE(files(), copies);
    kill(); // at once
    start();
    QVERIFY(!offered().isEmpty());
    click("recoveryRestore");
    m_program->draw(outline.translated(5, 5));
    const QByteArray newer = projectBytes();
    (*m_program)->recovery()->flush();
    QCOMPARE(files(), copies);
    QVERIFY(contentOf(m_recovery + '/' + files().value(0)).startsWith(newer));
    QCOMPARE(m_program->saveAs(path("saved.palu")), QString());
    QCOMPARE(files(), QStringList());
}

void TestRecoveryWindow::restoreKeepsTheWorkOfTheOpenProject()
{
    makeUnsavedWork(1);
    const QByteArray first = projectBytes();
    QCOMPARE(m_program->newProject(m_clip), QString());
    m_program->draw(outline.translated(20, 20));
    const QByteArray second = projectBytes();
    click("recoveryRestore");
    QVERIFY(projectBytes() == first);
    QVERIFY(!offered().isEmpty()); // the other one
    click("recoveryRestore");
    QVERIFY(projectBytes() == second);
    QCOMPARE(files().size(), 2);
}

void TestRecoveryWindow::discardDeletesTheCopyAndOffersTheNext()
{
    makeUnsavedWork();
    const QString other = encodeClip(m_folder->path(), "other", 10);
    QCOMPARE(m_program->newProject(other), QString());
    m_program->draw(outline);
    m_program->action("&Close")->trigger();
    start();
    QCOMPARE(files().size(), 2);
    QVERIFY2(offered().contains("other.mp4"), qPrintable(offered()));
    click("recoveryDiscard");
    QCOMPARE(files().size(), 1);
    QVERIFY2(offered().contains("my clip.mp4"), qPrintable(offered()));
    click("recoveryDiscard");
    QCOMPARE(files(), QStringList());
    QCOMPARE(offered(), QString());
    QCOMPARE((*m_program)->frameViewer()->view->notice(), QString());
    QVERIFY(!g_state->videoLoaded);
}

void TestRecoveryWindow::restoreAsksForAVideoThatHasMoved()
{
    const QString clip = path("a clip.mp4");
    QVERIFY(QFile::copy(m_clip, clip));
    QCOMPARE(m_program->newProject(clip), QString());
    m_program->draw(outline);
    const QByteArray left = projectBytes();
    m_program->action("&Close")->trigger();
    start();
    QVERIFY(QDir().mkdir(path("moved")));
    QVERIFY(QFile::rename(clip, path("moved/a clip.mp4")));
    DialogDriver driver;
    driver.acceptFile(path("moved/a clip.mp4"));
    click("recoveryRestore");
    QCOMPARE(driver.problem(), QString());
    const DialogDriver::FileDialogSeen seen = driver.fileDialogs.value(0);
    QCOMPARE(seen.title, QString("Select video file"));
    QCOMPARE(seen.nameFilters, QStringList({"Video (a*clip.mp4)", "All files (*)"}));
    QVERIFY(seen.options.testFlag(QFileDialog::DontUseNativeDialog));
    QVERIFY(projectBytes() == left);
    (*m_program)->recovery()->flush(); // the next Restore shall not ask again
    QCOMPARE(RecoveryCopy::read(m_recovery + '/' + files().value(0))->videoPath, path("moved/a clip.mp4"));
}

void TestRecoveryWindow::cancellingThatQuestionChangesNothing()
{
    const QString clip = path("a clip.mp4");
    QVERIFY(QFile::copy(m_clip, clip));
    QCOMPARE(m_program->newProject(clip), QString());
    m_program->draw(outline);
    QCOMPARE(m_program->newProject(m_clip), QString());
    m_program->draw(outline.translated(7, 7));
    const QByteArray open = projectBytes();
    const QString offer = offered();
    QVERIFY(QFile::remove(clip));
    DialogDriver driver;
    driver.rejectFile();
    click("recoveryRestore");
    QCOMPARE(driver.problem(), QString());
    QVERIFY(projectBytes() == open);
    QCOMPARE(offered(), offer);
    QVERIFY((*m_program)->isEnabled());
}

void TestRecoveryWindow::aVideoThatDoesNotFitLeavesTheCopy()
{
    const QString clip = path("a clip.mp4");
    QVERIFY(QFile::copy(m_clip, clip));
    QCOMPARE(m_program->newProject(clip), QString());
    m_program->draw(outline);
    m_program->action("&Close")->trigger();
    start();
    QVERIFY(QFile::remove(clip));
    const QString longer = encodeClip(m_folder->path(), "longer", 14);
    DialogDriver driver;
    driver.acceptFile(longer);
    driver.clickButton(QMessageBox::Ok);
    click("recoveryRestore");
    QCOMPARE(driver.problem(), QString());
    QVERIFY(driver.boxes.value(0).text.startsWith("Palu file does not match the requierments"));
    QVERIFY(!g_state->videoLoaded);
    QCOMPARE(files().size(), 1);
    QVERIFY(!offered().isEmpty());
    QVERIFY(!(*m_program)->recovery()->isUnsaved());
}

void TestRecoveryWindow::aVideoThatCannotBeLoadedLeavesTheCopy()
{
    const QString clip = path("a clip.mp4");
    QVERIFY(QFile::copy(m_clip, clip));
    QCOMPARE(m_program->newProject(clip), QString());
    m_program->draw(outline);
    m_program->action("&Close")->trigger();
    start();
    writeFile(clip, "no video");
    LogCapture log;
    click("recoveryRestore");
    QVERIFY(!g_state->videoLoaded);
    QVERIFY((*m_program)->isEnabled());
    QCOMPARE(files().size(), 1);
    QVERIFY(!offered().isEmpty());
    const QString notice = (*m_program)->frameViewer()->view->notice();
    QVERIFY2(notice.contains(offered()) && notice.contains("The video was not loaded"), qPrintable(notice));
}

void TestRecoveryWindow::restoreAsksAfterTheVideoCouldNotBeLoaded()
{
    const QString clip = path("a clip.mp4");
    QVERIFY(QFile::copy(m_clip, clip));
    leaveWorkOn(clip);
    writeFile(clip, "no video");
    LogCapture log;
    click("recoveryRestore");
    QVERIFY(!g_state->videoLoaded);
    DialogDriver driver;
    driver.acceptFile(m_clip);
    click("recoveryRestore");
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(driver.fileDialogs.value(0).title, QString("Select video file"));
    QVERIFY(g_state->videoLoaded);
    QCOMPARE(g_state->objects.size(), 1);
}

void TestRecoveryWindow::restoreAsksAfterTheVideoDidNotFit()
{
    const QString clip = path("a clip.mp4");
    QVERIFY(QFile::copy(m_clip, clip));
    leaveWorkOn(clip);
    const QString longer = encodeClip(m_folder->path(), "longer", 14);
    QVERIFY(QFile::remove(clip) && QFile::rename(longer, clip));
    {
        DialogDriver driver;
        driver.clickButton(QMessageBox::Ok);
        click("recoveryRestore");
        QCOMPARE(driver.problem(), QString());
    }
    QVERIFY(!g_state->videoLoaded);
    DialogDriver driver;
    driver.acceptFile(m_clip);
    click("recoveryRestore");
    QCOMPARE(driver.problem(), QString());
    QVERIFY(g_state->videoLoaded);
    QCOMPARE(g_state->objects.size(), 1);
}

void TestRecoveryWindow::theOfferEndsAPlayback()
{
    makeUnsavedWork();
    QCOMPARE(m_program->newProject(m_clip), QString());
    bool clicked = false;
    QTimer::singleShot(0, m_program->window.get(), [&] {
        clicked = true;
        click("recoveryDiscard");
    });
    (*m_program)->frameNav()->onButtonPlayClicked(); // returns when the playback has ended
    QVERIFY(clicked);
    QCOMPARE(files(), QStringList());
    QVERIFY(g_state->currentFrame < g_state->video->frameCount - 1);
}

void TestRecoveryWindow::aCopyThatAnotherProgramTookIsNotOfferedAnyMore()
{
    makeUnsavedWork();
    m_program->action("&Close")->trigger();
    start();
    QVERIFY(!offered().isEmpty());
    RecoveryFolder other(m_recovery);
    QVERIFY(other.claim(m_recovery + '/' + files().value(0)));
    LogCapture log;
    click("recoveryRestore");
    QCOMPARE(offered(), QString());
    QVERIFY(!g_state->videoLoaded);
    QCOMPARE(files().size(), 1);
}

void TestRecoveryWindow::aJobIsCopiedWhileItRuns()
{
    makeUnsavedWork();
    const QByteArray before = projectBytes();
    bool copied = false;
    {
        HeldJob job(g_state->objects.first(), [&] {
            (*m_program)->recovery()->setTimes({1, 1});
            copied = QTest::qWaitFor([&] {
                return files().size() == 1 &&
                       !contentOf(m_recovery + '/' + files().value(0)).startsWith(before);
            });
            job.release();
        });
        m_program->action("segmentation")->trigger();
        QVERIFY(job.wentOn());
    }
    QVERIFY(copied);
}

void TestRecoveryWindow::theOfferDoesNothingWhileAJobRuns()
{
    makeUnsavedWork();
    QCOMPARE(m_program->newProject(m_clip), QString());
    m_program->draw(outline);
    const DataState *open = g_state;
    bool tried = false;
    {
        HeldJob job(g_state->objects.first(), [&] {
            button("recoveryRestore")->click();
            button("recoveryDiscard")->click();
            tried = true;
            job.release();
        });
        m_program->action("segmentation")->trigger();
        QVERIFY(job.wentOn());
    }
    QVERIFY(tried);
    QCOMPARE(g_state, open);
    QCOMPARE(files().size(), 1);
    QVERIFY(!offered().isEmpty());
}

void TestRecoveryWindow::workThatCannotBeKeptIsSaid()
{
    makeUnsavedWork();
    writeFile(m_recovery, "in the way of the folder");
    LogCapture log;
    (*m_program)->recovery()->flush();
    const auto *failure = (*m_program)->findChild<QLabel *>("recoveryFailure");
    QVERIFY(failure->isVisible());
    QVERIFY2(failure->text().startsWith("Unsaved work is not kept: "), qPrintable(failure->text()));
    QCOMPARE(offered(), QString());
    QVERIFY(QFile::remove(m_recovery));
    (*m_program)->recovery()->flush();
    QVERIFY(!failure->isVisible());
    QVERIFY(!(*m_program)->findChild<QWidget *>("recoveryOffer")->isVisible());
}

void TestRecoveryWindow::closingWritesBesideTheProjectWhatCannotBeKept()
{
    QCOMPARE(m_program->newProject(m_clip), QString());
    QCOMPARE(m_program->saveAs(path("kitchen.palu")), QString());
    m_program->draw(outline);
    const QByteArray left = projectBytes();
    writeFile(path("kitchen (unsaved work).palu"), "of an earlier time");
    blockFolder();
    LogCapture log;
    m_program->action("&Close")->trigger();
    QVERIFY(!(*m_program)->isVisible());
    const QString rescued = path("kitchen (unsaved work 2).palu");
    QVERIFY(contentOf(rescued) == left);
    QCOMPARE(contentOf(path("kitchen (unsaved work).palu")), QByteArray("of an earlier time"));
    QVERIFY2(log.warnings().join('\n').contains(rescued), qPrintable(log.warnings().join('\n')));
    QMetaObject::invokeMethod(qApp, "aboutToQuit"); // as it comes next
    QCOMPARE(QDir(m_folder->path()).entryList({"kitchen (*"}).size(), 2);
    QVERIFY(!(QFileInfo(rescued).permissions() & (QFile::ReadGroup | QFile::ReadOther)));
    start();
    QCOMPARE(m_program->open(rescued, m_clip), QString());
    QVERIFY(projectBytes() == left);
}

void TestRecoveryWindow::closingWritesToTemporaryFilesWhatCannotBeKept()
{
    QVERIFY(QDir().mkpath(path("temporary")));
    makeUnsavedWork();
    const QByteArray left = projectBytes();
    blockFolder();
    const QByteArray before = qgetenv("TMPDIR");
    qputenv("TMPDIR", QFile::encodeName(path("temporary")));
    LogCapture log;
    m_program->action("&Close")->trigger();
    before.isEmpty() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", before);
    QVERIFY(!(*m_program)->isVisible());
    QVERIFY(contentOf(path("temporary/my clip (unsaved work).palu")) == left);
}

void TestRecoveryWindow::newSaysWhereTheWorkIsUntilTheNextCopy()
{
    QCOMPARE(m_program->newProject(m_clip), QString());
    QCOMPARE(m_program->saveAs(path("kitchen.palu")), QString());
    m_program->draw(outline);
    const QByteArray left = projectBytes();
    blockFolder();
    LogCapture log;
    (*m_program)->recreateDataState();
    const QString rescued = path("kitchen (unsaved work).palu");
    QVERIFY(contentOf(rescued) == left);
    QVERIFY2(failure().contains(rescued), qPrintable(failure()));
    QVERIFY((*m_program)->frameViewer()->view->notice().contains(rescued));
    (*m_program)->statusBar()->clearMessage();
    makeUnsavedWork();
    (*m_program)->recovery()->flush();
    QVERIFY2(failure().contains(rescued), qPrintable(failure()));
    QVERIFY(failure().contains("Unsaved work is not kept: ")); // of the new project
    QVERIFY(QFile::remove(m_recovery));
    (*m_program)->recovery()->flush();
    QCOMPARE(failure(), QString());
    (*m_program)->recreateDataState();
    QVERIFY(!(*m_program)->frameViewer()->view->notice().contains(rescued));
}

void TestRecoveryWindow::newSaysThatTheWorkCouldNotBeKeptAtAll()
{
    makeUnsavedWork();
    blockFolder();
    const QByteArray before = qgetenv("TMPDIR");
    qputenv("TMPDIR", "/proc"); // which takes no files, not even from root
    LogCapture log;
    (*m_program)->recreateDataState();
    before.isEmpty() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", before);
    QVERIFY2(failure().startsWith("The unsaved work could not be kept: "), qPrintable(failure()));
    QCOMPARE((*m_program)->frameViewer()->view->notice(), failure());
}

void TestRecoveryWindow::closingKeepsAHalfTypedName_data()
{
    QTest::addColumn<bool>("floating");
    QTest::newRow("in the window") << false;
    QTest::newRow("in a floating dock") << true;
}

void TestRecoveryWindow::closingKeepsAHalfTypedName()
{
    QFETCH(bool, floating);
    makeUnsavedWork();
    (*m_program)->timeLine()->setFloating(floating);
    typeHalfAName("van");
    m_program->action("&Close")->trigger();
    start();
    click("recoveryRestore");
    QCOMPARE(g_state->objects.first()->name, QString("van"));
}

void TestRecoveryWindow::restoringKeepsAHalfTypedName()
{
    leaveWorkOn(m_clip);
    makeUnsavedWork();
    typeHalfAName("van");
    click("recoveryRestore");
    click("recoveryRestore");
    QCOMPARE(g_state->objects.first()->name, QString("van"));
}

QTEST_MAIN(TestRecoveryWindow)
#include "tst_recoverywindow.moc"
