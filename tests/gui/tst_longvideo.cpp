// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "Models/projectfile.h"
#include "Models/projectlimits.h"
#include "tests/gui/programtest.h"
#include "tests/support/littlememory.h"
#include "views/buildingsign.h"
#include "views/timeline.h"

#include <QApplication>
#include <QBuffer>
#include <QGraphicsScene>
#include <QPushButton>
#include <QStatusBar>
#include <QtTest>

namespace
{

constexpr int manyFrames = BuildingSign::many;
constexpr qint64 megabyte = 1024 * 1024;
const QString signText = QStringLiteral("Preparing many frames. Please wait.");

/// Watches a status bar being painted.
class PaintWatch : public QObject
{
public:
    explicit PaintWatch(MainWindow *window)
        : m_window(window)
    {
        window->statusBar()->installEventFilter(this);
    }

    int signs = 0;               ///< paintings that show the sign under a wait cursor
    int objectsAtFirstSign = -1; ///< how many the project and the time line had
    int numbersAtFirstSign = -1;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() != QEvent::Paint || m_window->statusBar()->currentMessage() != signText ||
            !QApplication::overrideCursor())
            return false;
        if (signs++ == 0) {
            objectsAtFirstSign = g_state->objects.size();
            numbersAtFirstSign = m_window->timeLine()->headerScene->items().size();
        }
        return false;
    }

private:
    MainWindow *m_window;
};

} // namespace

class TestLongVideo : public ProgramTest
{
    Q_OBJECT

private slots:
    void aSignIsPaintedBeforeManyFramesAreShown();
    void aSignIsPaintedBeforeAnObjectIsAdded();
    void fewFramesBringNoSign();
    void whatIsShownAlreadyBringsNoSign();
    void anObjectThatDoesNotFitIsNotAdded_data();
    void anObjectThatDoesNotFitIsNotAdded();
    void objectsThatDoNotFitAreNotRead();
    void placesStayWholeInTheLongestVideo();

private:
    /// Leaves the new items to the scenes, which take long to let go of those that no event loop has seen.
    void pretendVideo(int frames)
    {
        m_program->pretendVideo(frames);
        QCoreApplication::processEvents();
    }
    bool signIsGone() const
    {
        return !QApplication::overrideCursor() && (*m_program)->statusBar()->currentMessage().isEmpty();
    }
};

void TestLongVideo::aSignIsPaintedBeforeManyFramesAreShown()
{
    PaintWatch watch(m_program->window.get());
    pretendVideo(manyFrames);
    QCOMPARE(watch.signs, 1);
    QCOMPARE(watch.numbersAtFirstSign, 0);
    QVERIFY(signIsGone());
}

void TestLongVideo::aSignIsPaintedBeforeAnObjectIsAdded()
{
    pretendVideo(manyFrames);
    PaintWatch watch(m_program->window.get());
    (*m_program)->timeLine()->addButton->click();
    QCoreApplication::processEvents();
    QCOMPARE(g_state->objects.size(), 1);
    QCOMPARE(watch.signs, 1);
    QCOMPARE(watch.objectsAtFirstSign, 0);
    QVERIFY(signIsGone());
}

void TestLongVideo::fewFramesBringNoSign()
{
    PaintWatch watch(m_program->window.get());
    pretendVideo(manyFrames - 1);
    (*m_program)->timeLine()->addButton->click();
    QCoreApplication::processEvents();
    QCOMPARE(watch.signs, 0);
}

void TestLongVideo::whatIsShownAlreadyBringsNoSign()
{
    pretendVideo(manyFrames);
    g_state->addObject();
    QCoreApplication::processEvents();
    PaintWatch watch(m_program->window.get());
    (*m_program)->reload();
    g_state->objects.first()->changeName(QStringLiteral("other"));
    g_state->setFrame(5);
    QCOMPARE(watch.signs, 0);
}

void TestLongVideo::anObjectThatDoesNotFitIsNotAdded_data()
{
    QTest::addColumn<bool>("byButton");
    QTest::newRow("by the button") << true;
    QTest::newRow("by the first vertex") << false;
}

void TestLongVideo::anObjectThatDoesNotFitIsNotAdded()
{
    QFETCH(bool, byButton);
    pretendVideo(300'000);
    const auto add = [&] {
        if (byButton)
            (*m_program)->timeLine()->addButton->click();
        else
            m_program->doubleClickFrame(QPointF(0, 0));
    };
    {
        const LittleMemory memory(600 * megabyte);
        add();
    }
    QVERIFY(g_state->videoLoaded);
    QVERIFY(!g_state->hasObjects());
    QCOMPARE((*m_program)->statusBar()->currentMessage(),
             QString("There is not enough memory for another object with 300000 frames."));
    add();
    QCOMPARE(g_state->objects.size(), 1);
    QCoreApplication::processEvents();
}

void TestLongVideo::objectsThatDoNotFitAreNotRead()
{
    pretendVideo(150'000);
    g_state->addObject();
    g_state->addObject();
    QCoreApplication::processEvents();
    const QByteArray bytes = projectBytes();
    for (const bool fits : {false, true}) {
        (*m_program)->recreateDataState();
        pretendVideo(150'000);
        QDataStream stream(bytes);
        ProjectFile::readVideoName(stream);
        QString problem = "unset";
        bool read = false;
        {
            const LittleMemory memory((fits ? 1000 : 400) * megabyte);
            const QSignalBlocker blocker(g_state);
            read = ProjectFile::read(stream, *g_state, &problem);
        }
        QCoreApplication::processEvents();
        QCOMPARE(read, fits);
        QCOMPARE(problem, QString(fits ? "" : "there is not enough memory for 2 objects with 150000 frames"));
        QCOMPARE(g_state->objects.size(), fits ? 2 : 0);
    }
}

void TestLongVideo::placesStayWholeInTheLongestVideo()
{
    const TimeLineGeometry geometry;
    const int last = ProjectLimits::mostFrames - 1;
    QVERIFY(geometry.width(last + 1) > 0);
    QCOMPARE(geometry.xToFrame(geometry.frameToX(last)), last);
    QCOMPARE(geometry.xToFrame(geometry.columnLeft(last)), last);
}

QTEST_MAIN(TestLongVideo)
#include "tst_longvideo.moc"
