// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/gui/programfixture.h"

#include "core/datastate.h"
#include "core/mainwindow.h"
#include "Models/projectfile.h"
#include "tests/support/clips.h"
#include "tests/support/dialogdriver.h"
#include "tests/support/modelchecks.h"
#include "views/clickablegraphicsview.h"
#include "views/framegraphicsview.h"
#include "views/frameviewer.h"
#include "views/keyframegraphicsitem.h"
#include "views/timeline.h"
#include "views/trackedobjectlabel.h"

#include <QAction>
#include <QDataStream>
#include <QDir>
#include <QMenu>
#include <QMenuBar>
#include <QScrollBar>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>
#include <QWindow>

const QStringList toolTexts{"&morph", "&iTrack", "&aTrack", "export XML", "segmentation"};
const QStringList alwaysEnabled{"&New",           "&Open",         "&Close",    "Next Frame",
                                "Previous Frame", "License Notes", "About Palu"};

const char polygonFilter[] = "Polygon lables - ViPER like (*.xml)";
const char boundingBoxFilter[] = "ViPER Bounding Box (*.xml )";

ProgramFixture::ProgramFixture()
{
    g_state = new DataState;
    window = std::make_unique<MainWindow>();
    g_mainWindow = window.get();
    window->show();
    activate();
}

ProgramFixture::~ProgramFixture()
{
    // Qt keeps the second shortcut of a deleted action registered where the platform has no key for the
    // first.
    action(QStringLiteral("&Close"))->setShortcuts(QList<QKeySequence>());
    delete g_state;
    g_state = nullptr;
    window.reset();
    g_mainWindow = nullptr;
}

QAction *ProgramFixture::action(const QString &text) const
{
    for (QAction *action : window->findChildren<QAction *>()) {
        if (action->text() == text)
            return action;
    }
    qFatal("no action %s", qUtf8Printable(text));
}

QMenu *ProgramFixture::menu(const QString &title) const
{
    for (QAction *action : window->menuBar()->actions()) {
        if (action->text() == title)
            return action->menu();
    }
    qFatal("no menu %s", qUtf8Printable(title));
}

void ProgramFixture::pretendVideo(int frames, double fps)
{
    auto *video = new VideoContainer(window.get());
    video->frameCount = frames;
    video->fps = fps;
    video->length = frames / fps;
    video->width = 320;
    video->height = 240;
    video->videoPath = QStringLiteral("/videos/clip.avi");
    video->chunkEnds = VideoContainer::splitIntoChunks(frames, 2);
    g_state->video = video;
    g_state->videoLoaded = true;
    window->reload();
}

void ProgramFixture::pretendTwoObjects()
{
    pretendVideo(6, 1000);
    g_state->addObject();
    g_state->addObject();
    window->reload();
    ModelChecks::flushDeferredDeletes();
    QCoreApplication::processEvents();
}

QString ProgramFixture::newProject(const QString &video)
{
    DialogDriver driver;
    driver.acceptFile(video);
    action(QStringLiteral("&New"))->trigger();
    return driver.problem();
}

QString ProgramFixture::saveAs(const QString &path)
{
    DialogDriver driver;
    driver.acceptFile(path);
    action(QStringLiteral("&Save"))->trigger();
    return driver.problem();
}

QString ProgramFixture::open(const QString &project, const QString &video)
{
    DialogDriver driver;
    driver.acceptFile(project);
    driver.acceptFile(video);
    action(QStringLiteral("&Open"))->trigger();
    return driver.problem();
}

QString ProgramFixture::exportXml(const QString &path, bool boundingBoxes)
{
    DialogDriver driver;
    driver.acceptFile(path, QLatin1String(boundingBoxes ? boundingBoxFilter : polygonFilter));
    action(QStringLiteral("export XML"))->trigger();
    return driver.problem();
}

void ProgramFixture::doubleClickFrame(QPointF position, Qt::KeyboardModifiers modifiers)
{
    QWidget *viewport = window->frameViewer()->view->viewport();
    const QPoint inView = window->frameViewer()->view->mapFromScene(position);
    QTest::mouseDClick(window->windowHandle(), Qt::LeftButton, modifiers,
                       viewport->mapTo(window.get(), inView));
}

void ProgramFixture::draw(const QPolygonF &outline)
{
    for (const QPointF &corner : outline)
        doubleClickFrame(corner);
}

void ProgramFixture::click(QWidget *widget, QPoint position, Qt::MouseButton button)
{
    QTest::mouseClick(window->windowHandle(), button, Qt::NoModifier, widget->mapTo(window.get(), position));
}

void ProgramFixture::click(QWidget *widget)
{
    click(widget, widget->rect().center());
}

void ProgramFixture::clickFrameNumber(int frame)
{
    const TimeLine *timeLine = window->timeLine();
    const int x = frame * timeLine->frameWidth + timeLine->frameWidth / 2;
    timeLine->bodyView->ensureVisible(QRectF(x, 0, 1, 1), timeLine->frameWidth, 0);
    click(timeLine->headerView->viewport(),
          QPoint(x - timeLine->bodyView->horizontalScrollBar()->value(), timeLine->headerView->height() / 2));
}

TrackedObjectLabel *ProgramFixture::firstLabel() const
{
    return window->timeLine()->findChildren<TrackedObjectLabel *>().constFirst();
}

void ProgramFixture::activate()
{
    if (window->isActiveWindow())
        return;
    // Without a window manager nobody gives the focus back when a dialog closes.
    window->activateWindow();
    if (!QTest::qWaitForWindowActive(window.get()))
        qFatal("the main window does not become active");
}

void ProgramFixture::key(Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    activate();
    QTest::keyClick(window->windowHandle(), key, modifiers);
}

QPoint ProgramFixture::markerPosition(int objectIndex, int frame)
{
    const TimeLine *timeLine = window->timeLine();
    const KeyFrame *keyFrame = g_state->objects.at(objectIndex)->keyFrames.at(frame);
    for (const KeyFrameGraphicsItem *item : timeLine->keyFrameItems) {
        if (item->keyFrame != keyFrame)
            continue;
        timeLine->bodyView->ensureVisible(item, timeLine->frameWidth, 0);
        return timeLine->bodyView->mapFromScene(item->scenePos());
    }
    qFatal("no marker for frame %d", frame);
}

QByteArray projectBytes()
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    ProjectFile::write(stream, *g_state);
    return bytes;
}

void useTemporaryHome()
{
    static QTemporaryDir home;
    if (!home.isValid())
        qFatal("no temporary folder");
    QDir(home.path()).mkdir(QStringLiteral("home"));
    qputenv("HOME", QFile::encodeName(home.filePath(QStringLiteral("home"))));
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.filePath(QStringLiteral("data"))));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.filePath(QStringLiteral("config"))));
    qputenv("TMPDIR", QFile::encodeName(home.path()));
}

QString encodeClip(const QString &folder, const QString &name, int frames, double fps)
{
    const QString path = QStringLiteral("%1/%2.mp4").arg(folder, name);
    return Clips::encodeMp4(path, Clips::movingSquare(), frames, fps) ? path : QString();
}

QString enabledProblem(const ProgramFixture &program, bool save, bool tools)
{
    for (const QString &text : alwaysEnabled) {
        if (!program.action(text)->isEnabled())
            return text + " is disabled";
    }
    if (program.action("&Save")->isEnabled() != save)
        return QStringLiteral("&Save is wrong");
    for (const QString &text : toolTexts) {
        if (program.action(text)->isEnabled() != tools)
            return text + " is wrong";
    }
    return QString();
}

QString nameOf(const QWidget *widget)
{
    return QStringLiteral("%1 \"%2\" in %3")
        .arg(QLatin1String(widget->metaObject()->className()), widget->accessibleName(),
             QLatin1String(widget->parentWidget()->metaObject()->className()));
}

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
