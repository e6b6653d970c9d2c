// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "tests/gui/programfixture.h"
#include "tests/support/dialogdriver.h"
#include "tests/support/logcapture.h"
#include "tests/support/menudriver.h"
#include "tests/support/modelchecks.h"
#include "tests/support/testclips.h"
#include "views/clickablegraphicsview.h"
#include "views/framenav.h"
#include "views/frameviewer.h"
#include "views/timeline.h"
#include "views/trackedobjectlabel.h"

#include <QAction>
#include <QDir>
#include <QGraphicsPixmapItem>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSlider>
#include <QTemporaryDir>
#include <QtTest>
#include <QXmlStreamReader>

#include <opencv2/imgcodecs.hpp>

#include <functional>

namespace
{

constexpr int frameCount = 12;

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Number of elements with this name; -1 when the text is no well-formed XML.
int countElements(const QByteArray &xml, const QString &name)
{
    QXmlStreamReader reader(xml);
    int count = 0;
    while (!reader.atEnd()) {
        if (reader.readNext() == QXmlStreamReader::StartElement && reader.qualifiedName() == name)
            ++count;
    }
    return reader.hasError() ? -1 : count;
}

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

bool near(QPointF a, QPointF b)
{
    return QLineF(a, b).length() < 1.5; // a click is a whole pixel of the screen
}

/// First corner of `outline` that has no vertex of `polygon`; empty when they agree.
QString outlineProblem(const QPolygonF &polygon, const QPolygonF &outline)
{
    if (polygon.size() != outline.size())
        return QStringLiteral("%1 vertices instead of %2").arg(polygon.size()).arg(outline.size());
    for (const QPointF &corner : outline) {
        const bool found = std::any_of(polygon.cbegin(), polygon.cend(),
                                       [corner](QPointF vertex) { return near(vertex, corner); });
        if (!found)
            return QStringLiteral("no vertex near %1, %2").arg(corner.x()).arg(corner.y());
    }
    return QString();
}

} // namespace

class TestWorkflow : public QObject
{
    Q_OBJECT

public:
    static void initMain() { useTemporaryHome(); }

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void annotateSaveAndOpenAgain();
    void everyFrameShowsItsOwnImage();
    void newWhilePlayingEndsThePlayback();
    void openWhilePlayingEndsThePlayback();
    void closingWhilePlayingEndsThePlayback_data();
    void closingWhilePlayingEndsThePlayback();
    void cancelledNewWhilePlayingKeepsTheProject();
    void badInputLeavesTheProgramUsable_data();
    void badInputLeavesTheProgramUsable();
    void oddNamesAreLoaded_data();
    void oddNamesAreLoaded();

private:
    QString path(const QString &name) const { return m_folder->filePath(name); }
    /// Adds an object with the mouse and draws an outline on the first and the last frame.
    void annotateObject(const QPolygonF &first, const QPolygonF &last);
    void loadSlowClip();

    QTemporaryDir m_clips;
    QString m_clip;
    QString m_slowClip;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ProgramFixture> m_program;
};

void TestWorkflow::initTestCase()
{
    m_clip = encodeClip(m_clips.path(), "clip", frameCount);
    m_slowClip = encodeClip(m_clips.path(), "slow", frameCount, 5);
    QVERIFY(!m_clip.isEmpty());
    QVERIFY(!m_slowClip.isEmpty());
}

void TestWorkflow::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_program = std::make_unique<ProgramFixture>();
}

void TestWorkflow::cleanup()
{
    m_program.reset();
    m_folder.reset();
}

void TestWorkflow::annotateObject(const QPolygonF &first, const QPolygonF &last)
{
    m_program->click((*m_program)->timeLine()->addButton);
    TrackedObject *object = g_state->getCurrentObject();
    QVERIFY(object);
    m_program->clickFrameNumber(0);
    QCOMPARE(g_state->currentFrame, 0);
    m_program->draw(first);
    QCOMPARE(outlineProblem(object->keyFrames.first()->polygon, first), QString());
    QCOMPARE(object->keyFrames.first()->type, KeyFrame::Visible);
    m_program->clickFrameNumber(frameCount - 1);
    QCOMPARE(g_state->currentFrame, frameCount - 1);
    m_program->draw(last);
    QCOMPARE(outlineProblem(object->keyFrames.last()->polygon, last), QString());
    QCOMPARE(object->keyFrames.last()->type, KeyFrame::Visible);
}

void TestWorkflow::annotateSaveAndOpenAgain()
{
    DialogDriver driver;
    driver.acceptFile(m_clip);
    m_program->key(Qt::Key_N, Qt::ControlModifier);
    QCOMPARE(driver.problem(), QString());
    QVERIFY(g_state->videoLoaded);

    // The first object follows the square of the clip, the second one comes from the other side.
    const TestClips::Scene scene = TestClips::movingSquare();
    const TestClips::Shape &square = scene.shapes.constFirst();
    annotateObject(square.outlineAt(0), square.outlineAt(frameCount - 1));
    const QPolygonF triangle({QPointF(250, 60), QPointF(230, 110), QPointF(290, 110)});
    annotateObject(triangle, triangle.translated(-120, 30));
    QCOMPARE(g_state->objects.size(), 2);
    TrackedObject *first = g_state->objects.at(0);
    TrackedObject *second = g_state->objects.at(1);
    QCOMPARE(ModelChecks::chainText(first), QString("0-11 Visible"));
    QCOMPARE(ModelChecks::stateProblem(*g_state), QString());

    // Morph the second one, click the first one's label, morph it, too.
    m_program->key(Qt::Key_M, Qt::ControlModifier);
    QCOMPARE(second->keyFrames.at(5)->type, KeyFrame::Automatic);
    QVERIFY(first->keyFrames.at(5)->polygon.isEmpty());
    ModelChecks::flushDeferredDeletes();
    QCoreApplication::processEvents();
    TrackedObjectLabel *label = nullptr;
    for (auto *candidate : (*m_program)->timeLine()->findChildren<TrackedObjectLabel *>()) {
        if (candidate->objectId == first->id)
            label = candidate;
    }
    QVERIFY(label);
    m_program->click(label->nameLabel);
    QCOMPARE(g_state->getCurrentObject(), first);
    m_program->key(Qt::Key_M, Qt::ControlModifier);
    for (int frame = 1; frame < frameCount - 1; ++frame) {
        const KeyFrame *keyFrame = first->keyFrames.at(frame);
        QCOMPARE(keyFrame->type, KeyFrame::Automatic);
        const QPointF center = keyFrame->polygon.boundingRect().center();
        QVERIFY2(near(center, square.outlineAt(frame).boundingRect().center()),
                 qPrintable(QString::number(frame)));
    }

    // The two change places from the last key frame on.
    ModelChecks::flushDeferredDeletes();
    QCoreApplication::processEvents();
    const QPoint marker = m_program->markerPosition(0, frameCount - 1);
    {
        bool chosen = false;
        const MenuDriver menu([&](QMenu *shown) {
            chosen = MenuDriver::choose(shown, {"switch order with", second->name});
        });
        m_program->click((*m_program)->timeLine()->bodyView->viewport(), marker, Qt::RightButton);
        QVERIFY(menu.handled());
        QVERIFY(chosen);
    }
    QCOMPARE(first->getZOrderRank(frameCount - 2), 0);
    QCOMPARE(first->getZOrderRank(frameCount - 1), 1);
    QCOMPARE(second->getZOrderRank(frameCount - 1), 0);

    // Play from the start to the end.
    m_program->click((*m_program)->frameNav()->buttonFirst);
    QCOMPARE(g_state->currentFrame, 0);
    m_program->key(Qt::Key_Space);
    QCOMPARE(g_state->currentFrame, frameCount - 1);
    QVERIFY((*m_program)->frameNav()->paused);
    QVERIFY((*m_program)->frameViewer()->isEnabled());
    m_program->clickFrameNumber(3);

    // Export and save, start the program again, open, export.
    QCOMPARE(m_program->exportXml(path("polygons before"), false), QString());
    QCOMPARE(m_program->exportXml(path("boxes before"), true), QString());
    const QByteArray project = projectBytes();
    DialogDriver saving;
    saving.acceptFile(path("work"));
    m_program->key(Qt::Key_S, Qt::ControlModifier);
    QCOMPARE(saving.problem(), QString());
    const QString frames = QFileInfo(g_state->video->getFramePath(0)).absolutePath();
    QVERIFY(QFile::exists(frames));
    {
        LogCapture log; // closing with a video is worth a warning
        m_program->action("&Close")->trigger();
    }
    QVERIFY(!(*m_program)->isVisible());
    m_program.reset();
    QVERIFY2(!QFile::exists(frames), "the frame images outlive the program");

    m_program = std::make_unique<ProgramFixture>();
    DialogDriver opening;
    opening.acceptFile(path("work.palu"));
    opening.acceptFile(m_clip);
    m_program->key(Qt::Key_O, Qt::ControlModifier);
    QCOMPARE(opening.problem(), QString());
    QCOMPARE(ModelChecks::stateProblem(*g_state), QString());
    QCOMPARE(m_program->exportXml(path("polygons after"), false), QString());
    QCOMPARE(m_program->exportXml(path("boxes after"), true), QString());
    const QByteArray polygons = contentOf(path("polygons after.xml"));
    const QByteArray boxes = contentOf(path("boxes after.xml"));
    QCOMPARE(countElements(polygons, "data:polygone"), 2 * frameCount);
    QCOMPARE(countElements(boxes, "data:bbox"), 2 * frameCount);
    QVERIFY(polygons == contentOf(path("polygons before.xml")));
    QVERIFY(boxes == contentOf(path("boxes before.xml")));
    QCOMPARE(g_state->currentFrame, 3);
    QVERIFY(projectBytes() == project);
}

void TestWorkflow::everyFrameShowsItsOwnImage()
{
    QCOMPARE(m_program->newProject(m_clip), QString());
    QList<int> shown;
    for (int frame = 0; frame < frameCount; ++frame) {
        m_program->clickFrameNumber(frame);
        QCOMPARE(g_state->currentFrame, frame);
        const QImage image =
            (*m_program)->frameViewer()->frameItem->pixmap().toImage().convertToFormat(QImage::Format_RGB888);
        const cv::Mat pixels(image.height(), image.width(), CV_8UC3, const_cast<uchar *>(image.constBits()),
                             static_cast<size_t>(image.bytesPerLine()));
        const cv::Mat stored = cv::imread(g_state->video->getFramePath(frame).toStdString());
        QCOMPARE(TestClips::frameNumber(pixels), TestClips::frameNumber(stored));
        shown.append(TestClips::frameNumber(pixels));
    }
    QCOMPARE(shown.first(), 0);
    QVERIFY(std::is_sorted(shown.cbegin(), shown.cend()));
}

void TestWorkflow::loadSlowClip()
{
    QCOMPARE(m_program->newProject(m_slowClip), QString());
    g_state->addObject();
    g_state->setFrame(2);
}

void TestWorkflow::newWhilePlayingEndsThePlayback()
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

void TestWorkflow::openWhilePlayingEndsThePlayback()
{
    loadSlowClip();
    QCOMPARE(m_program->saveAs(path("slow.palu")), QString());
    DialogDriver driver;
    driver.acceptFile(path("slow.palu"));
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

void TestWorkflow::closingWhilePlayingEndsThePlayback_data()
{
    QTest::addColumn<bool>("byAction");
    QTest::newRow("by Close") << true;
    QTest::newRow("by the window's own button") << false;
}

void TestWorkflow::closingWhilePlayingEndsThePlayback()
{
    QFETCH(bool, byAction);
    loadSlowClip();
    LogCapture log;
    DuringPlayback during((*m_program)->frameNav(), [&] {
        if (byAction)
            m_program->action("&Close")->trigger();
        else
            (*m_program)->close();
    });
    QElapsedTimer timer;
    timer.start();
    m_program->click((*m_program)->frameNav()->buttonPlay);
    QTRY_VERIFY(during.done);
    QVERIFY((*m_program)->frameNav()->paused);
    QVERIFY(!(*m_program)->isVisible());
    QVERIFY2(g_state->currentFrame < 5, "the playback went on without a window");
    QVERIFY(timer.elapsed() < 1500);
}

void TestWorkflow::cancelledNewWhilePlayingKeepsTheProject()
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

void TestWorkflow::badInputLeavesTheProgramUsable_data()
{
    QTest::addColumn<QString>("input");
    for (const char *input : {"text", "empty file", "cut off video", "noise"})
        QTest::newRow(input) << QString(input);
    QTest::newRow("vanished file") << "vanished";
    QTest::newRow("folder") << "folder";
}

void TestWorkflow::badInputLeavesTheProgramUsable()
{
    QFETCH(QString, input);
    const QString bad = path("bad.mp4");
    QFile file(bad);
    QVERIFY(file.open(QIODevice::WriteOnly));
    if (input == "text" || input == "vanished")
        file.write("This is no video.\n");
    else if (input == "cut off video")
        file.write(contentOf(m_clip).left(200));
    else if (input == "noise")
        file.write(QByteArray(100000, '\xa5'));
    file.close();
    QVERIFY(QDir(m_folder->path()).mkdir("folder"));

    QCOMPARE(m_program->newProject(m_clip), QString());
    g_state->addObject();
    {
        LogCapture log;
        DialogDriver driver;
        driver.acceptFile(input == "folder" ? path("folder") : bad);
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

void TestWorkflow::oddNamesAreLoaded_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("blanks") << "my best  clip.mp4";
    QTest::newRow("single quotes") << "the 'clip'.mp4";
    QTest::newRow("umlauts") << QString::fromUtf8("Übergröße äöü.mp4");
    QTest::newRow("other scripts") << QString::fromUtf8("видео 動画.mp4");
    QTest::newRow("percent signs") << "100%1 clip%04d.mp4";
    QTest::newRow("200 characters") << QString(196, 'x') + ".mp4";
    QTest::newRow("dots") << "clip.v1.final.mp4";
    QTest::newRow("suffix in capitals") << "CLIP.MP4";
    QTest::newRow("shell characters") << "a;b&c(d)[e]{f}#g!.mp4";
}

void TestWorkflow::oddNamesAreLoaded()
{
    QFETCH(QString, name);
    QVERIFY(QFile::copy(m_clip, path(name)));
    QCOMPARE(m_program->newProject(path(name)), QString());
    QVERIFY(g_state->videoLoaded);
    QCOMPARE(g_state->video->frameCount, frameCount);
    QVERIFY(QFile::exists(g_state->video->getFramePath(frameCount - 1)));
    m_program->doubleClickFrame(QPointF(50, 50));
    QCOMPARE(m_program->saveAs(path("saved.palu")), QString());
    QCOMPARE(m_program->exportXml(path("saved.xml"), false), QString());
    const QByteArray xml = contentOf(path("saved.xml"));
    QXmlStreamReader reader(xml);
    QString fileName;
    while (!reader.atEnd()) {
        if (reader.readNext() == QXmlStreamReader::StartElement &&
            reader.name() == QLatin1String("sourcefile"))
            fileName = reader.attributes().value("filename").toString();
    }
    QVERIFY(!reader.hasError());
    QCOMPARE(fileName, name);
    // The name of the video comes first in a project file.
    const QByteArray project = projectBytes();
    DialogDriver driver;
    driver.acceptFile(path("saved.palu"));
    driver.acceptFile(path(name));
    m_program->action("&Open")->trigger();
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(driver.fileDialogs.value(1).nameFilters.value(0).section('(', 0, 0), QString("Video "));
    QVERIFY(projectBytes() == project);
}

QTEST_MAIN(TestWorkflow)
#include "tst_workflow.moc"
