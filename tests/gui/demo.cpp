// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// Uses the program the way a user does, with mouse and keyboard on the real main window, and leaves what
// comes out of it in a folder: the clip, the project, both exports and a picture of the window after every
// step.
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "tests/gui/democlip.h"
#include "tests/gui/programfixture.h"
#include "tests/support/clips.h"
#include "tests/support/dialogdriver.h"
#include "tests/support/menudriver.h"
#include "tests/support/modelchecks.h"
#include "tests/support/mousedriver.h"
#include "views/clickablegraphicsview.h"
#include "views/framegraphicsview.h"
#include "views/framenav.h"
#include "views/frameviewer.h"
#include "views/timeline.h"
#include "views/trackedobjectlabel.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QIcon>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QStatusBar>
#include <QTextStream>
#include <QToolButton>
#include <QtTest>
#include <QXmlStreamReader>

#include <algorithm>
#include <functional>
#include <limits>

namespace
{

constexpr int swapFrame = DemoClip::turnFrame;
const QVector<int> keyFrames{0, DemoClip::turnFrame, DemoClip::frameCount - 1};
constexpr int bowFrame = DemoClip::turnFrame / 2; // where the paths are farthest off the straight line
constexpr double areaTolerance = 0.05;            // a click is a whole pixel of the screen
constexpr double morphTolerance = 1;              // pixels off the straight line from key frame to key frame
constexpr double leastTrackedOverlap = 0.9;
constexpr double leastSegmentedOverlap = 0.85;
constexpr int dragTolerance = 2; // pixels of the screen
constexpr int mostTrackingRuns = 8;
using DemoClip::hexagon;
using DemoClip::kite;

const char automaticDone[] = "Automatic AOI tracking complete.";
const char interactiveDone[] = "Interactive AOI tracking complete.";
const char userRequired[] = "User interaction required!";

double area(const QPolygonF &polygon)
{
    double twice = 0;
    for (int i = 0; i < polygon.size(); ++i) {
        const QPointF a = polygon.at(i);
        const QPointF b = polygon.at((i + 1) % polygon.size());
        twice += a.x() * b.y() - b.x() * a.y();
    }
    return qAbs(twice) / 2;
}

/// Number of elements with this name; -1 when the file is missing or no well-formed XML.
int countElements(const QString &path, const QString &name)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    QXmlStreamReader reader(&file);
    int count = 0;
    while (!reader.atEnd()) {
        if (reader.readNext() == QXmlStreamReader::StartElement && reader.qualifiedName() == name)
            ++count;
    }
    return reader.hasError() ? -1 : count;
}

/// The demonstration. A step returns what went wrong, or nothing.
class Demo
{
public:
    explicit Demo(const QString &folder)
        : m_folder(folder)
    {
    }

    QString run();

private:
    struct Step {
        const char *name;
        QString (Demo::*action)();
    };

    QString renderClip();
    QString start();
    QString newProject();
    QString firstObject();
    QString secondObject();
    QString morph();
    QString automaticTracking();
    QString automaticOutlines();
    QString interactiveStop();
    QString correction();
    QString interactiveTracking();
    QString interactiveOutlines();
    QString segmentation();
    QString zOrderMenu();
    QString zOrderSwapped();
    QString playback();
    QString save();
    QString reopen();
    QString exportPolygons();
    QString exportBoxes();
    QString about();
    QString checkResults();

    QString annotate(int shape);
    /// Makes the object of a shape the current one with a click on its label.
    QString choose(int shape);
    QString morphCurrentObject();
    /// Runs interactive tracking once. Tells whether it came to its end instead of stopping for the user.
    QString trackInteractively(bool &complete);
    /// Drags every vertex of the current object on the current frame to the corner of the shape that is
    /// nearest.
    QString correctOutline(int shape);
    QString dragVertex(int vertex, QPointF target);
    /// Mean overlap of the current object's outlines with a shape, which it prints.
    double reportOverlap(const char *after, int shape);
    /// Reports the overlap after tracking, which must be a good one and better than the last one.
    QString trackingProblem(const char *after, int shape);
    QString drawOn(int frame, const QPolygonF &outline);
    QString nameCurrentObject(const QString &name);
    int clipFrameShownOn(int frame) const;
    /// Where a shape is in the image that the program shows as `frame`.
    QPolygonF truth(int shape, int frame) const
    {
        return m_clip.bodies.at(shape).outlineAt(m_shownFrames.at(frame));
    }
    TrackedObjectLabel *labelOf(const TrackedObject *object) const;
    void settle() const;
    /// The window, with a popup or dialog over it if there is one.
    QImage picture(QWidget *above = nullptr) const;
    QString path(const QString &name) const { return m_folder.filePath(name); }
    /// The clip's own image of a frame.
    QImage rendered(int frame) const;
    QString clipPath() const { return path(QStringLiteral("clip.mp4")); }
    QString projectPath() const { return path(QStringLiteral("demo.palu")); }

    QDir m_folder;
    const Clips::Clip m_clip = DemoClip::make();
    QVector<int> m_shownFrames;   // of the clip, for every frame of the program
    QMap<int, double> m_overlaps; // of the shapes, as last reported
    std::unique_ptr<ProgramFixture> m_program;
    QByteArray m_saved;
    QImage m_picture; // of this step, where it is not simply the window afterwards
    int m_pictures = 0;
};

QString Demo::run()
{
    const Step steps[] = {
        {"clip", &Demo::renderClip},
        {"start", &Demo::start},
        {"new-project", &Demo::newProject},
        {"first-object", &Demo::firstObject},
        {"second-object", &Demo::secondObject},
        {"morph", &Demo::morph},
        {"automatic-tracking", &Demo::automaticTracking},
        {"automatic-outlines", &Demo::automaticOutlines},
        {"interactive-tracking-stop", &Demo::interactiveStop},
        {"correction", &Demo::correction},
        {"interactive-tracking", &Demo::interactiveTracking},
        {"interactive-outlines", &Demo::interactiveOutlines},
        {"segmentation", &Demo::segmentation},
        {"z-order-menu", &Demo::zOrderMenu},
        {"z-order-swapped", &Demo::zOrderSwapped},
        {"playback", &Demo::playback},
        {"save", &Demo::save},
        {"reopen", &Demo::reopen},
        {"export-polygons", &Demo::exportPolygons},
        {"export-boxes", &Demo::exportBoxes},
        {"about", &Demo::about},
        {"check", &Demo::checkResults},
    };
    QTextStream out(stdout);
    int number = 0;
    for (const Step &step : steps) {
        m_picture = QImage();
        const QString problem = (this->*step.action)();
        settle();
        const QString pictureName =
            QStringLiteral("%1-%2.png").arg(++number, 2, 10, QLatin1Char('0')).arg(QLatin1String(step.name));
        const QImage image = m_picture.isNull() && m_program ? picture() : m_picture;
        if (!image.isNull()) {
            image.save(path(pictureName)); // whether it is there is checked at the end
            ++m_pictures;
        }
        out << step.name << ": " << (problem.isEmpty() ? QStringLiteral("ok") : problem) << Qt::endl;
        if (!problem.isEmpty())
            return problem;
    }
    return QString();
}

QString Demo::renderClip()
{
    if (!Clips::encodeMp4(clipPath(), m_clip, DemoClip::frameCount, DemoClip::fps))
        return QStringLiteral("no encoder for the clip");
    m_picture = rendered(DemoClip::frameCount / 2);
    return QString();
}

QImage Demo::rendered(int frame) const
{
    const cv::Mat image = m_clip.render(frame);
    return QImage(image.data, image.cols, image.rows, static_cast<int>(image.step), QImage::Format_RGB888)
        .rgbSwapped();
}

QString Demo::start()
{
    m_program = std::make_unique<ProgramFixture>();
    return QString();
}

QString Demo::newProject()
{
    const QString problem = m_program->newProject(clipPath());
    if (!problem.isEmpty())
        return problem;
    if (!g_state->videoLoaded || g_state->video->frameCount != DemoClip::frameCount)
        return QStringLiteral("the clip was not loaded");
    for (int frame = 0; frame < DemoClip::frameCount; ++frame)
        m_shownFrames.append(clipFrameShownOn(frame));
    return QString();
}

QString Demo::firstObject()
{
    return annotate(hexagon);
}

QString Demo::secondObject()
{
    return annotate(kite);
}

QString Demo::annotate(int shape)
{
    m_program->click((*m_program)->timeLine()->addButton);
    QString problem = nameCurrentObject(m_clip.bodies.at(shape).name);
    for (int frame : keyFrames) {
        if (problem.isEmpty())
            problem = drawOn(frame, truth(shape, frame));
    }
    m_program->clickFrameNumber(swapFrame);
    return problem;
}

QString Demo::nameCurrentObject(const QString &name)
{
    settle();
    TrackedObjectLabel *label = labelOf(g_state->getCurrentObject());
    if (!label)
        return QStringLiteral("the object has no label");
    m_program->click(label->editButton);
    QTest::keyClicks(label->nameEdit, name);
    m_program->key(Qt::Key_Return);
    settle();
    return g_state->getCurrentObject()->name == name ? QString()
                                                     : QStringLiteral("the object was not renamed");
}

/// The frame of the clip that the program shows as `frame`: people draw what they see, and behind the first
/// chunk of the import that is one frame earlier.
int Demo::clipFrameShownOn(int frame) const
{
    const QImage shown = QImage(g_state->video->getFramePath(frame)).convertToFormat(QImage::Format_RGB32);
    int best = frame;
    qint64 leastDifference = std::numeric_limits<qint64>::max();
    for (int candidate : {frame, qMax(frame - 1, 0)}) {
        const QImage image = rendered(candidate);
        qint64 difference = 0;
        for (int y = 0; y < image.height(); y += 2) {
            for (int x = 0; x < image.width(); x += 2)
                difference += qAbs(qGray(image.pixel(x, y)) - qGray(shown.pixel(x, y)));
        }
        if (difference < leastDifference) {
            leastDifference = difference;
            best = candidate;
        }
    }
    return best;
}

QString Demo::drawOn(int frame, const QPolygonF &outline)
{
    m_program->clickFrameNumber(frame);
    // Every second corner first: the others then go into the edges that are nearest to them.
    for (int first : {0, 1}) {
        for (int i = first; i < outline.size(); i += 2)
            m_program->doubleClickFrame(outline.at(i));
    }
    const KeyFrame *keyFrame = g_state->getCurrentObject()->keyFrames.at(frame);
    if (keyFrame->type != KeyFrame::Visible || keyFrame->polygon.size() != outline.size())
        return QStringLiteral("the outline was not drawn on frame %1").arg(frame);
    if (qAbs(area(keyFrame->polygon) / area(outline) - 1) > areaTolerance)
        return QStringLiteral("the outline on frame %1 is not the one drawn").arg(frame);
    return QString();
}

QString Demo::choose(int shape)
{
    settle();
    for (TrackedObject *object : qAsConst(g_state->objects)) {
        if (object->name != m_clip.bodies.at(shape).name)
            continue;
        m_program->click(labelOf(object), QPoint(10, 20));
        if (object->isCurrent())
            return QString();
    }
    return QStringLiteral("the click on the label did not choose the object");
}

QString Demo::morph()
{
    for (int shape : {hexagon, kite}) {
        QString problem = choose(shape);
        if (problem.isEmpty())
            problem = morphCurrentObject();
        if (!problem.isEmpty())
            return problem;
        reportOverlap("morph", shape);
    }
    m_program->clickFrameNumber(bowFrame);
    return QString();
}

/// The outlines between the key frames must lie on straight lines.
QString Demo::morphCurrentObject()
{
    m_program->key(Qt::Key_M, Qt::ControlModifier);
    const TrackedObject *object = g_state->getCurrentObject();
    const auto centre = [object](int frame) {
        return object->keyFrames.at(frame)->polygon.boundingRect().center();
    };
    for (int i = 1; i < keyFrames.size(); ++i) {
        const int first = keyFrames.at(i - 1);
        const int last = keyFrames.at(i);
        for (int frame = first + 1; frame < last; ++frame) {
            const double part = static_cast<double>(frame - first) / (last - first);
            const QPointF expected = centre(first) + (centre(last) - centre(first)) * part;
            if (object->keyFrames.at(frame)->polygon.isEmpty() ||
                (centre(frame) - expected).manhattanLength() > morphTolerance)
                return QStringLiteral("frame %1 of %2 is off").arg(frame).arg(object->name);
        }
    }
    return QString();
}

QString Demo::automaticTracking()
{
    const QString problem = choose(hexagon);
    if (!problem.isEmpty())
        return problem;
    DialogDriver driver;
    driver.clickButton(QMessageBox::Ok);
    driver.beforeAnswer([this](QWidget *box) { m_picture = picture(box); });
    m_program->key(Qt::Key_A, Qt::ControlModifier);
    if (!driver.problem().isEmpty())
        return driver.problem();
    if (driver.boxes.constFirst().text != QLatin1String(automaticDone))
        return driver.boxes.constFirst().text;
    return QString();
}

QString Demo::automaticOutlines()
{
    m_program->clickFrameNumber(bowFrame);
    return trackingProblem("automatic tracking", hexagon);
}

QString Demo::trackingProblem(const char *after, int shape)
{
    const double before = m_overlaps.value(shape);
    const double tracked = reportOverlap(after, shape);
    return tracked > qMax(before, leastTrackedOverlap)
               ? QString()
               : QStringLiteral("the tracked outlines do not fit better than the morphed ones");
}

QString Demo::trackInteractively(bool &complete)
{
    DialogDriver driver;
    driver.clickButton(QMessageBox::Ok);
    driver.beforeAnswer([this](QWidget *box) { m_picture = picture(box); });
    m_program->key(Qt::Key_I, Qt::ControlModifier);
    complete = !driver.boxes.isEmpty();
    if (complete && !driver.problem().isEmpty())
        return driver.problem();
    const QString expected = QLatin1String(complete ? interactiveDone : userRequired);
    if ((*m_program)->statusBar()->currentMessage() != expected)
        return QStringLiteral("the status bar does not say: ") + expected;
    if (complete && driver.boxes.constFirst().text != expected)
        return driver.boxes.constFirst().text;
    return QString();
}

QString Demo::interactiveStop()
{
    const QString problem = choose(kite);
    if (!problem.isEmpty())
        return problem;
    m_program->clickFrameNumber(0);
    bool complete = false;
    const QString runProblem = trackInteractively(complete);
    if (!runProblem.isEmpty())
        return runProblem;
    const KeyFrame *stop = g_state->getCurrentObject()->getCurrentKeyFrame();
    if (complete || stop->frame != (*m_program)->trackingStopFrame || stop->type != KeyFrame::Visible)
        return QStringLiteral("the tracking did not stop");
    if (stop->polygon.isEmpty() || stop->polygon.size() >= m_clip.bodies.at(kite).outline.size())
        return QStringLiteral("the outline was not thinned");
    QTextStream(stdout) << "  stopped on frame " << stop->frame << Qt::endl;
    return QString();
}

QString Demo::correction()
{
    return correctOutline(kite);
}

QString Demo::correctOutline(int shape)
{
    settle();
    const KeyFrame *keyFrame = g_state->getCurrentObject()->getCurrentKeyFrame();
    const QPolygonF target = truth(shape, keyFrame->frame);
    const QPointF offset = target.boundingRect().center() - keyFrame->polygon.boundingRect().center();
    for (int i = 0; i < keyFrame->polygon.size(); ++i) {
        const QPointF wanted = keyFrame->polygon.at(i) + offset;
        const auto nearer = [wanted](QPointF a, QPointF b) {
            return QLineF(a, wanted).length() < QLineF(b, wanted).length();
        };
        const QString problem = dragVertex(i, *std::min_element(target.cbegin(), target.cend(), nearer));
        if (!problem.isEmpty())
            return problem;
    }
    return QString();
}

QString Demo::dragVertex(int vertex, QPointF target)
{
    const KeyFrame *keyFrame = g_state->getCurrentObject()->getCurrentKeyFrame();
    const FrameGraphicsView *view = (*m_program)->frameViewer()->view;
    const QPoint from = view->mapFromScene(keyFrame->polygon.at(vertex));
    const QPoint to = view->mapFromScene(target);
    MouseDriver::drag(view->viewport(), {from, (from + to) / 2, to});
    settle();
    const QPoint now = view->mapFromScene(keyFrame->polygon.at(vertex));
    return (now - to).manhattanLength() <= dragTolerance
               ? QString()
               : QStringLiteral("vertex %1 was not dragged to its place").arg(vertex);
}

QString Demo::interactiveTracking()
{
    // A run morphs the spans that the correction has cut and tracks the others, the next one tracks them
    // all.
    int runs = 0;
    int completeInARow = 0;
    while (completeInARow < 2) {
        if (++runs > mostTrackingRuns)
            return QStringLiteral("the tracking does not come to an end");
        bool complete = false;
        QString problem = trackInteractively(complete);
        if (problem.isEmpty() && !complete)
            problem = correctOutline(kite);
        if (!problem.isEmpty())
            return problem;
        completeInARow = complete ? completeInARow + 1 : 0;
    }
    QTextStream(stdout) << "  complete after " << runs << " further runs" << Qt::endl;
    return QString();
}

QString Demo::interactiveOutlines()
{
    m_program->clickFrameNumber(bowFrame);
    return trackingProblem("interactive tracking", kite);
}

QString Demo::segmentation()
{
    const QString problem = choose(hexagon);
    if (!problem.isEmpty())
        return problem;
    const TrackedObject *object = g_state->getCurrentObject();
    QVector<QPolygonF> before;
    for (const KeyFrame *keyFrame : object->keyFrames)
        before.append(keyFrame->polygon);
    m_program->action(QStringLiteral("segmentation"))->trigger();
    for (const KeyFrame *keyFrame : object->keyFrames) {
        if (keyFrame->polygon == before.at(keyFrame->frame))
            return QStringLiteral("frame %1 was not segmented").arg(keyFrame->frame);
    }
    m_program->clickFrameNumber(bowFrame);
    return reportOverlap("segmentation", hexagon) > leastSegmentedOverlap
               ? QString()
               : QStringLiteral("the segmented outlines do not fit");
}

double Demo::reportOverlap(const char *after, int shape)
{
    const TrackedObject *object = g_state->getCurrentObject();
    double sum = 0;
    double least = 1;
    for (int frame = 0; frame < DemoClip::frameCount; ++frame) {
        const double overlap =
            Clips::overlap(object->keyFrames.at(frame)->polygon, truth(shape, frame), m_clip.size);
        sum += overlap;
        least = qMin(least, overlap);
    }
    const double mean = sum / DemoClip::frameCount;
    m_overlaps[shape] = mean;
    QTextStream(stdout) << "  " << object->name << " after " << after << ": mean overlap "
                        << QString::number(mean, 'f', 3) << ", least " << QString::number(least, 'f', 3)
                        << Qt::endl;
    return mean;
}

QString Demo::zOrderMenu()
{
    TrackedObject *object = g_state->objects.at(0);
    m_program->clickFrameNumber(swapFrame);
    settle();
    const QPoint marker = m_program->markerPosition(0, swapFrame);
    bool chosen = false;
    const MenuDriver driver([&](QMenu *menu) {
        QAction *submenu = MenuDriver::entry(menu, QStringLiteral("switch order with"));
        if (!submenu)
            return;
        menu->setActiveAction(submenu);
        m_picture = picture(menu);
        chosen = MenuDriver::choose(menu, {submenu->text(), g_state->objects.at(1)->name});
    });
    m_program->click((*m_program)->timeLine()->bodyView->viewport(), marker, Qt::RightButton);
    if (!driver.handled() || !chosen)
        return QStringLiteral("the context menu has no such entry");
    if (object->getZOrderRank(swapFrame - 1) != 0 || object->getZOrderRank(swapFrame) != 1)
        return QStringLiteral("the objects did not change places");
    return QString();
}

QString Demo::zOrderSwapped()
{
    return ModelChecks::stateProblem(*g_state);
}

QString Demo::playback()
{
    m_program->click((*m_program)->frameNav()->buttonFirst);
    if (g_state->currentFrame != 0)
        return QStringLiteral("not on the first frame");
    m_program->key(Qt::Key_Space);
    if (g_state->currentFrame != DemoClip::frameCount - 1 || !(*m_program)->frameNav()->paused)
        return QStringLiteral("the playback did not reach the last frame");
    return QString();
}

QString Demo::save()
{
    m_program->clickFrameNumber(swapFrame);
    m_saved = projectBytes();
    return m_program->saveAs(projectPath());
}

QString Demo::reopen()
{
    m_program.reset();
    m_program = std::make_unique<ProgramFixture>();
    const QString problem = m_program->open(projectPath(), clipPath());
    if (!problem.isEmpty())
        return problem;
    return projectBytes() == m_saved ? QString() : QStringLiteral("the project is not the saved one");
}

QString Demo::exportPolygons()
{
    return m_program->exportXml(path(QStringLiteral("polygons.xml")), false);
}

QString Demo::exportBoxes()
{
    return m_program->exportXml(path(QStringLiteral("boxes.xml")), true);
}

QString Demo::about()
{
    DialogDriver driver;
    driver.clickButton(QMessageBox::Ok);
    driver.beforeAnswer([this](QWidget *box) { m_picture = picture(box); });
    m_program->action(QStringLiteral("About Palu"))->trigger();
    return driver.problem();
}

QString Demo::checkResults()
{
    m_program.reset();
    QFile project(projectPath());
    if (!project.open(QIODevice::ReadOnly) || project.readAll() != m_saved)
        return QStringLiteral("the project file is not the project");
    const int outlines = 2 * DemoClip::frameCount;
    if (countElements(path(QStringLiteral("polygons.xml")), QStringLiteral("data:polygone")) != outlines)
        return QStringLiteral("the export of the polygons is not complete");
    if (countElements(path(QStringLiteral("boxes.xml")), QStringLiteral("data:bbox")) != outlines)
        return QStringLiteral("the export of the boxes is not complete");
    const QStringList pictures = m_folder.entryList({QStringLiteral("[0-9][0-9]-*.png")}, QDir::Files);
    if (pictures.isEmpty() || pictures.size() != m_pictures)
        return QStringLiteral("pictures are missing");
    for (const QString &name : pictures) {
        if (QImage(path(name)).isNull())
            return QStringLiteral("%1 is no picture").arg(name);
    }
    return QString();
}

TrackedObjectLabel *Demo::labelOf(const TrackedObject *object) const
{
    for (auto *label : (*m_program)->timeLine()->findChildren<TrackedObjectLabel *>()) {
        if (label->objectId == object->id)
            return label;
    }
    return nullptr;
}

void Demo::settle() const
{
    QCoreApplication::processEvents();
    ModelChecks::flushDeferredDeletes();
    QCoreApplication::processEvents();
}

QImage Demo::picture(QWidget *above) const
{
    QImage image = (*m_program)->grab().toImage();
    if (above) {
        QPainter painter(&image);
        const QPoint corner = above->mapToGlobal(QPoint(0, 0)) - (*m_program)->mapToGlobal(QPoint(0, 0));
        painter.drawPixmap(corner, above->grab());
        painter.setPen(Qt::darkGray);
        painter.drawRect(QRect(corner, above->size()).adjusted(-1, -1, 0, 0));
    }
    return image;
}

/// Removes what an earlier run left, so that nothing old passes for a result.
bool cleanFolder(QDir &folder)
{
    const QStringList old = folder.entryList({QStringLiteral("clip.mp4"), QStringLiteral("demo.palu"),
                                              QStringLiteral("polygons.xml"), QStringLiteral("boxes.xml"),
                                              QStringLiteral("[0-9][0-9]-*.png")},
                                             QDir::Files);
    return std::all_of(old.cbegin(), old.cend(),
                       [&folder](const QString &name) { return folder.remove(name); });
}

} // namespace

int main(int argc, char *argv[])
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    useTemporaryHome();
    QApplication application(argc, argv);
    QApplication::setWindowIcon(QIcon(QStringLiteral(":icons/mainicon.ico")));
    QTextStream out(stdout);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 2) {
        out << "usage: palu_demo <folder for the results>" << Qt::endl;
        return 2;
    }
    QDir folder(QDir::current().absoluteFilePath(arguments.at(1)));
    if (!QDir().mkpath(folder.path()) || !cleanFolder(folder)) {
        out << "cannot use the folder " << folder.path() << Qt::endl;
        return 2;
    }
    const QString problem = Demo(folder.path()).run();
    out << folder.path() << Qt::endl;
    return problem.isEmpty() ? 0 : 1;
}
