// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "tests/gui/programtest.h"
#include "tests/support/dialogdriver.h"
#include "tests/support/logcapture.h"
#include "views/framenav.h"
#include "views/frameviewer.h"

#include <QAction>
#include <QPushButton>
#include <QSlider>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <functional>

namespace
{

constexpr int frameCount = 12;

/// Does something once the playback runs.
class DuringPlayback : public QObject
{
public:
    explicit DuringPlayback(FrameNav *nav, std::function<void()> action)
        : m_nav(nav)
        , m_action(std::move(action))
    {
        connect(&m_timer, &QTimer::timeout, this, &DuringPlayback::look);
        m_timer.start(1);
    }

    bool done = false;

private:
    void look()
    {
        if (m_nav->paused || done)
            return;
        done = true;
        m_timer.stop();
        m_action();
    }

    FrameNav *m_nav;
    std::function<void()> m_action;
    QTimer m_timer;
};

} // namespace

class TestEndOfPlayback : public ProgramTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void newWhilePlayingEndsThePlayback();
    void openWhilePlayingEndsThePlayback();
    void closingWhilePlayingEndsThePlayback_data();
    void closingWhilePlayingEndsThePlayback();
    void cancelledNewWhilePlayingKeepsTheProject();
    void aDialogDuringPlaybackEndsIt_data();
    void aDialogDuringPlaybackEndsIt();

private:
    void loadSlowClip();

    QTemporaryDir m_clips;
    QString m_clip;
    QString m_slowClip;
};

void TestEndOfPlayback::initTestCase()
{
    m_clip = encodeClip(m_clips.path(), "clip", frameCount);
    m_slowClip = encodeClip(m_clips.path(), "slow", frameCount, 5);
    QVERIFY(!m_clip.isEmpty());
    QVERIFY(!m_slowClip.isEmpty());
}

void TestEndOfPlayback::loadSlowClip()
{
    QCOMPARE(m_program->newProject(m_slowClip), QString());
    g_state->addObject();
    g_state->setFrame(2);
}

void TestEndOfPlayback::newWhilePlayingEndsThePlayback()
{
    loadSlowClip();
    DialogDriver driver;
    driver.acceptFile(m_clip);
    int frameBehindTheDialog = -1;
    DuringPlayback during((*m_program)->frameNav(), [&] {
        m_program->action("&New")->trigger();
        frameBehindTheDialog = g_state->currentFrame;
    });
    m_program->click((*m_program)->frameNav()->buttonPlay);
    QTRY_VERIFY(during.done);
    QCOMPARE(driver.problem(), QString());
    QVERIFY((*m_program)->frameNav()->paused);
    QVERIFY(g_state->videoLoaded);
    QVERIFY(!g_state->hasObjects());
    QCOMPARE(frameBehindTheDialog, 0);
    QCOMPARE(g_state->currentFrame, 0); // the old playback moves nothing any more
    QCOMPARE(g_state->video->fps, 25.0);
    QVERIFY((*m_program)->isEnabled());
    QVERIFY((*m_program)->frameViewer()->isEnabled());
    QVERIFY((*m_program)->frameNav()->buttonNext->isEnabled());
    QVERIFY((*m_program)->frameNav()->slider->isEnabled());
    // Playing works in the new project.
    m_program->key(Qt::Key_Space);
    QCOMPARE(g_state->currentFrame, frameCount - 1);
}

void TestEndOfPlayback::openWhilePlayingEndsThePlayback()
{
    loadSlowClip();
    const QTemporaryDir folder;
    QCOMPARE(m_program->saveAs(folder.filePath("slow.palu")), QString());
    DialogDriver driver;
    driver.acceptFile(folder.filePath("slow.palu"));
    driver.acceptFile(m_slowClip);
    DuringPlayback during((*m_program)->frameNav(), [&] { m_program->action("&Open")->trigger(); });
    m_program->click((*m_program)->frameNav()->buttonPlay);
    QTRY_VERIFY(during.done);
    QCOMPARE(driver.problem(), QString());
    QVERIFY((*m_program)->frameNav()->paused);
    QCOMPARE(g_state->objects.size(), 1);
    QCOMPARE(g_state->currentFrame, 2);
    QVERIFY((*m_program)->isEnabled());
    QVERIFY((*m_program)->frameViewer()->isEnabled());
    QVERIFY((*m_program)->frameNav()->buttonNext->isEnabled());
}

void TestEndOfPlayback::closingWhilePlayingEndsThePlayback_data()
{
    QTest::addColumn<bool>("byAction");
    QTest::newRow("by Close") << true;
    QTest::newRow("by the window's own button") << false;
}

void TestEndOfPlayback::closingWhilePlayingEndsThePlayback()
{
    QFETCH(bool, byAction);
    loadSlowClip();
    LogCapture log;
    int frameWhenClosed = -1;
    DuringPlayback during((*m_program)->frameNav(), [&] {
        frameWhenClosed = g_state->currentFrame;
        if (byAction)
            m_program->action("&Close")->trigger();
        else
            (*m_program)->close();
    });
    m_program->click((*m_program)->frameNav()->buttonPlay);
    QTRY_VERIFY(during.done);
    QVERIFY((*m_program)->frameNav()->paused);
    QVERIFY(!(*m_program)->isVisible());
    QVERIFY(frameWhenClosed < 5);
    QVERIFY2(g_state->currentFrame == frameWhenClosed, "the playback went on without a window");
}

void TestEndOfPlayback::cancelledNewWhilePlayingKeepsTheProject()
{
    loadSlowClip();
    const DataState *state = g_state;
    DialogDriver driver;
    driver.rejectFile();
    DuringPlayback during((*m_program)->frameNav(), [&] { m_program->action("&New")->trigger(); });
    m_program->click((*m_program)->frameNav()->buttonPlay);
    QTRY_VERIFY(during.done);
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(g_state, state);
    QCOMPARE(g_state->objects.size(), 1);
    QVERIFY((*m_program)->frameNav()->paused);
    QVERIFY((*m_program)->isEnabled());
    QVERIFY((*m_program)->frameViewer()->isEnabled());
}

void TestEndOfPlayback::aDialogDuringPlaybackEndsIt_data()
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

void TestEndOfPlayback::aDialogDuringPlaybackEndsIt()
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

QTEST_MAIN(TestEndOfPlayback)
#include "tst_endofplayback.moc"
