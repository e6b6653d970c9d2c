// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "tests/gui/programfixture.h"
#include "tests/support/clips.h"
#include "tests/support/dialogdriver.h"
#include "tests/support/logcapture.h"
#include "tests/support/menudriver.h"
#include "tests/support/modelchecks.h"
#include "views/clickablegraphicsview.h"
#include "views/framenav.h"
#include "views/frameviewer.h"
#include "views/timeline.h"
#include "views/trackedobjectlabel.h"

#include <QAction>
#include <QGraphicsPixmapItem>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>
#include <QXmlStreamReader>

#include <opencv2/imgcodecs.hpp>

#include <functional>

namespace
{

constexpr int frameCount = 12;

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
    void oddNamesAreLoaded_data();
    void oddNamesAreLoaded();

private:
    QString path(const QString &name) const { return m_folder->filePath(name); }
    /// Adds an object with the mouse and draws an outline on the first and the last frame.
    void annotateObject(const QPolygonF &first, const QPolygonF &last);
    /// The label of an object in the time line, null if there is none.
    TrackedObjectLabel *labelOf(const TrackedObject *object) const;
    // Steps of the work on a project.
    void startProject();
    void annotateTwoObjects();
    void morphBothObjects();
    void switchOrderFromTheLastKeyFrameOn();
    void playFromTheStartToTheEnd();
    void saveAndCloseTheProgram();
    void openInANewProgram();

    QTemporaryDir m_clips;
    QString m_clip;
    const Clips::Body m_square = Clips::movingSquare().bodies.constFirst();
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ProgramFixture> m_program;
};

void TestWorkflow::initTestCase()
{
    m_clip = encodeClip(m_clips.path(), "clip", frameCount);
    QVERIFY(!m_clip.isEmpty());
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

TrackedObjectLabel *TestWorkflow::labelOf(const TrackedObject *object) const
{
    ModelChecks::flushDeferredDeletes();
    QCoreApplication::processEvents();
    for (auto *label : (*m_program)->timeLine()->findChildren<TrackedObjectLabel *>()) {
        if (label->objectId == object->id)
            return label;
    }
    return nullptr;
}

void TestWorkflow::startProject()
{
    DialogDriver driver;
    driver.acceptFile(m_clip);
    m_program->key(Qt::Key_N, Qt::ControlModifier);
    QCOMPARE(driver.problem(), QString());
    QVERIFY(g_state->videoLoaded);
}

// The first object follows the square of the clip, the second one comes from the other side.
void TestWorkflow::annotateTwoObjects()
{
    annotateObject(m_square.outlineAt(0), m_square.outlineAt(frameCount - 1));
    const QPolygonF triangle({QPointF(250, 60), QPointF(230, 110), QPointF(290, 110)});
    annotateObject(triangle, triangle.translated(-120, 30));
    QCOMPARE(g_state->objects.size(), 2);
    QCOMPARE(ModelChecks::chainText(g_state->objects.at(0)), QString("0-11 Visible"));
    QCOMPARE(ModelChecks::stateProblem(*g_state), QString());
}

// The second one, which is the current one, then the first one, chosen by a click on its label.
void TestWorkflow::morphBothObjects()
{
    TrackedObject *first = g_state->objects.at(0);
    m_program->key(Qt::Key_M, Qt::ControlModifier);
    QCOMPARE(g_state->objects.at(1)->keyFrames.at(5)->type, KeyFrame::Automatic);
    QVERIFY(first->keyFrames.at(5)->polygon.isEmpty());
    const TrackedObjectLabel *label = labelOf(first);
    QVERIFY(label);
    m_program->click(label->nameLabel);
    QCOMPARE(g_state->getCurrentObject(), first);
    m_program->key(Qt::Key_M, Qt::ControlModifier);
    for (int frame = 1; frame < frameCount - 1; ++frame) {
        const KeyFrame *keyFrame = first->keyFrames.at(frame);
        QCOMPARE(keyFrame->type, KeyFrame::Automatic);
        const QPointF center = keyFrame->polygon.boundingRect().center();
        QVERIFY2(near(center, m_square.outlineAt(frame).boundingRect().center()),
                 qPrintable(QString::number(frame)));
    }
}

void TestWorkflow::switchOrderFromTheLastKeyFrameOn()
{
    const TrackedObject *first = g_state->objects.at(0);
    const TrackedObject *second = g_state->objects.at(1);
    ModelChecks::flushDeferredDeletes();
    QCoreApplication::processEvents();
    const QPoint marker = m_program->markerPosition(0, frameCount - 1);
    bool chosen = false;
    const MenuDriver menu([&](QMenu *shown) {
        chosen = MenuDriver::choose(shown, {"switch order with", second->name});
    });
    m_program->click((*m_program)->timeLine()->bodyView->viewport(), marker, Qt::RightButton);
    QVERIFY(menu.handled());
    QVERIFY(chosen);
    QCOMPARE(first->getZOrderRank(frameCount - 2), 0);
    QCOMPARE(first->getZOrderRank(frameCount - 1), 1);
    QCOMPARE(second->getZOrderRank(frameCount - 1), 0);
}

void TestWorkflow::playFromTheStartToTheEnd()
{
    m_program->click((*m_program)->frameNav()->buttonFirst);
    QCOMPARE(g_state->currentFrame, 0);
    m_program->key(Qt::Key_Space);
    QCOMPARE(g_state->currentFrame, frameCount - 1);
    QVERIFY((*m_program)->frameNav()->paused);
    QVERIFY((*m_program)->frameViewer()->isEnabled());
}

void TestWorkflow::saveAndCloseTheProgram()
{
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
}

void TestWorkflow::openInANewProgram()
{
    m_program = std::make_unique<ProgramFixture>();
    DialogDriver opening;
    opening.acceptFile(path("work.palu"));
    opening.acceptFile(m_clip);
    m_program->key(Qt::Key_O, Qt::ControlModifier);
    QCOMPARE(opening.problem(), QString());
    QCOMPARE(ModelChecks::stateProblem(*g_state), QString());
}

void TestWorkflow::annotateSaveAndOpenAgain()
{
    QByteArray project;
    const auto exportBoth = [this](const QString &when) {
        QCOMPARE(m_program->exportXml(path("polygons " + when), false), QString());
        QCOMPARE(m_program->exportXml(path("boxes " + when), true), QString());
    };
    const std::function<void()> steps[]{[&] { startProject(); },
                                        [&] { annotateTwoObjects(); },
                                        [&] { morphBothObjects(); },
                                        [&] { switchOrderFromTheLastKeyFrameOn(); },
                                        [&] { playFromTheStartToTheEnd(); },
                                        [&] { m_program->clickFrameNumber(3); },
                                        [&] { exportBoth("before"); },
                                        [&] { project = projectBytes(); },
                                        [&] { saveAndCloseTheProgram(); },
                                        [&] { openInANewProgram(); },
                                        [&] { exportBoth("after"); }};
    for (const auto &step : steps) {
        step();
        if (QTest::currentTestFailed())
            return;
    }
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
        QCOMPARE(Clips::frameNumber(pixels), Clips::frameNumber(stored));
        shown.append(Clips::frameNumber(pixels));
    }
    QCOMPARE(shown.first(), 0);
    QVERIFY(std::is_sorted(shown.cbegin(), shown.cend()));
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
