// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "tests/gui/programtest.h"
#include "tests/support/dialogdriver.h"
#include "tests/support/logcapture.h"
#include "tests/support/testproject.h"

#include <QAction>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

class TestActions : public ProgramTest
{
    Q_OBJECT

private slots:
    void frameActionsStopAtTheEnds();
    void frameActionsDoNothingWithoutVideo();
    void morphFillsTheFramesBetween();
    void debugActionReducesTheCurrentKeyFrame();
    void everyActionSurvivesANullCurrentObject_data();
    void everyActionSurvivesANullCurrentObject();
    void closeWarnsWhenAVideoIsLoaded();
    void closeWithoutVideoIsSilent();
};

void TestActions::frameActionsStopAtTheEnds()
{
    m_program->pretendVideo(3);
    QAction *next = m_program->action("Next Frame");
    QAction *previous = m_program->action("Previous Frame");
    previous->trigger();
    QCOMPARE(g_state->currentFrame, 0);
    next->trigger();
    QCOMPARE(g_state->currentFrame, 1);
    next->trigger();
    next->trigger();
    QCOMPARE(g_state->currentFrame, 2);
    previous->trigger();
    QCOMPARE(g_state->currentFrame, 1);
}

void TestActions::frameActionsDoNothingWithoutVideo()
{
    // A container that failed to load, and a frame to go back to.
    m_program->pretendVideo(3);
    g_state->videoLoaded = false;
    g_state->currentFrame = 1;
    const QSignalSpy changes(g_state, &DataState::hasChanged);
    m_program->action("Next Frame")->trigger();
    m_program->action("Previous Frame")->trigger();
    QCOMPARE(g_state->currentFrame, 1);
    QCOMPARE(changes.size(), 0);
}

void TestActions::morphFillsTheFramesBetween()
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

void TestActions::debugActionReducesTheCurrentKeyFrame()
{
    m_program->pretendTwoObjects();
    g_state->setFrame(3);
    const QPolygonF outline(
        {QPointF(10, 10), QPointF(10, 50), QPointF(10, 90), QPointF(90, 90), QPointF(90, 10)});
    for (TrackedObject *object : qAsConst(g_state->objects)) {
        for (int frame : {2, 3})
            object->keyFrames.at(frame)->setNewPolygon(outline);
    }
    (*m_program)->onActionTmpDebugAction();
    const QPolygonF reduced({QPointF(10, 10), QPointF(10, 90), QPointF(90, 90), QPointF(90, 10)});
    QCOMPARE(g_state->objects.at(1)->keyFrames.at(3)->polygon, reduced);
    QCOMPARE(g_state->objects.at(1)->keyFrames.at(2)->polygon, outline);
    QCOMPARE(g_state->objects.at(0)->keyFrames.at(3)->polygon, outline);
}

void TestActions::everyActionSurvivesANullCurrentObject_data()
{
    QTest::addColumn<int>("currentId");
    QTest::newRow("no object has this id") << 99;
    QTest::newRow("none") << -1;
}

void TestActions::everyActionSurvivesANullCurrentObject()
{
    QFETCH(int, currentId);
    m_program->pretendTwoObjects();
    annotate(g_state->objects.at(0), 0, rectangle(10, 10, 30, 30));
    annotate(g_state->objects.at(0), 5, rectangle(40, 10, 30, 30));
    g_state->setCurrentObject(currentId);
    QVERIFY(!g_state->getCurrentObject());
    const QTemporaryDir folder;
    const QByteArray before = projectBytes();

    for (const QString &text : QStringList({"&morph", "&iTrack", "&aTrack", "segmentation"})) {
        DialogDriver driver;
        driver.tolerateMessageBoxes();
        m_program->action(text)->trigger();
        QVERIFY2(driver.problem().isEmpty(), qPrintable(text + ": " + driver.problem()));
        QVERIFY2(projectBytes() == before, qPrintable(text));
    }
    (*m_program)->onActionTmpDebugAction();
    QVERIFY(projectBytes() == before);
    m_program->action("Next Frame")->trigger();
    QCOMPARE(g_state->currentFrame, 1);
    m_program->action("Previous Frame")->trigger();
    QCOMPARE(g_state->currentFrame, 0);
    (*m_program)->reload();
    QCOMPARE(enabledProblem(*m_program, true, true), QString());
    QCOMPARE(m_program->exportXml(folder.filePath("nobody.xml"), false), QString());
    QVERIFY(QFile::remove(folder.filePath("nobody.xml")));
    QCOMPARE(m_program->saveAs(folder.filePath("nobody.palu")), QString());
    QFile saved(folder.filePath("nobody.palu"));
    QVERIFY(saved.open(QIODevice::ReadOnly));
    QVERIFY(saved.readAll() == before);
    QVERIFY(saved.remove());
    // Drawing, with nobody to draw for.
    m_program->doubleClickFrame(QPointF(5, 5));
    QVERIFY(projectBytes() == before);
}

void TestActions::closeWarnsWhenAVideoIsLoaded()
{
    m_program->pretendTwoObjects();
    DialogDriver driver;
    LogCapture log;
    QTimer::singleShot(0, m_program->action("&Close"), &QAction::trigger);
    QTimer guard;
    connect(&guard, &QTimer::timeout, qApp, [] { QCoreApplication::exit(1); });
    guard.start(30000);
    QVERIFY2(QApplication::exec() == 0, "closing the window does not end the program");
    QCOMPARE(driver.problem(), QString()); // unsaved work is not asked about
    QVERIFY(!(*m_program)->isVisible());
    QCOMPARE(log.messages().size(), 1);
    const LogCapture::Message message = log.messages().constFirst();
    QCOMPARE(message.type, QtWarningMsg);
    QCOMPARE(message.text, QString("already loaded. TODO"));
    QCOMPARE(message.category, QString("default"));
    QCOMPARE(message.function, QString("void MainWindow::onActionClose()"));
    QCOMPARE(message.file, QString("core/mainwindow.cpp"));
}

void TestActions::closeWithoutVideoIsSilent()
{
    LogCapture log;
    m_program->action("&Close")->trigger();
    QVERIFY(!(*m_program)->isVisible());
    QVERIFY(log.messages().isEmpty());
}

QTEST_MAIN(TestActions)
#include "tst_actions.moc"
