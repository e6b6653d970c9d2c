// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/frameviewer.h"

#include "core/datastate.h"
#include "processing/functions.h"
#include "processing/outlineedit.h"
#include "views/framecache.h"
#include "views/framegraphicsview.h"
#include "views/newobject.h"
#include "views/polyareagraphicsitem.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QHBoxLayout>
#include <QTimer>

#include <cstdlib>

namespace
{

const QColor surround(64, 66, 70); // around the frame
constexpr int mostIndexedHandles = 500;
constexpr int framesAhead = 4; // prepared in the direction of the last move

} // namespace

FrameViewer::FrameViewer(QWidget *parent, Qt::WindowFlags flags)
    : QWidget(parent, flags)
    , m_images(std::make_unique<FrameCache>())
{
    view = new FrameGraphicsView(this);
    view->setObjectName(QStringLiteral("frameView"));
    view->setFrameStyle(0);
    view->setAccessibleName(tr("Frame"));
    setFocusProxy(view);
    connect(view, &FrameGraphicsView::resized, this, qOverload<>(&FrameViewer::resize));
    connect(view, &FrameGraphicsView::doubleClicked, this, &FrameViewer::doubleClicked);

    scene = new QGraphicsScene(this);
    view->setScene(scene);
    view->setRenderHint(QPainter::Antialiasing);
    view->setRenderHint(QPainter::SmoothPixmapTransform);
    view->setBackgroundBrush(surround);

    delete layout();
    auto *box = new QHBoxLayout(this);
    box->setContentsMargins(0, 0, 0, 0);
    box->addWidget(view);

    m_preparation = new QTimer(this);
    m_preparation->setSingleShot(true);
    connect(m_preparation, &QTimer::timeout, this, &FrameViewer::prepareNextImages);

    connectToState();
    setDisabled(true);
}

FrameViewer::~FrameViewer() = default;

/// Before every painting the scene's index compares each handle with all others, since handles keep their
/// size on the screen. With many of them it is faster to do without: all items are looked at then.
void FrameViewer::chooseIndex()
{
    int handles = 0;
    for (const TrackedObject *object : qAsConst(g_state->objects)) {
        if (const KeyFrame *keyFrame = object->getCurrentKeyFrame())
            handles += keyFrame->polygonSnapshot().size();
    }
    scene->setItemIndexMethod(handles > mostIndexedHandles ? QGraphicsScene::NoIndex
                                                           : QGraphicsScene::BspTreeIndex);
}

void FrameViewer::connectToState()
{
    disconnect(g_state, nullptr, this, nullptr);
    connect(g_state, &DataState::hasChanged, this, &FrameViewer::filterStateChange);
    connect(g_state, &QObject::destroyed, this, &FrameViewer::forgetImages);
}

void FrameViewer::filterStateChange(int flags)
{
    if (flags & (DataState::FrameChanged | DataState::ObjectListChanged))
        reload();
}

void FrameViewer::setNotice(const QString &notice)
{
    m_notice = notice;
    showNotice();
}

void FrameViewer::showNotice()
{
    view->setNotice(g_state->videoLoaded ? QString() : m_notice);
}

void FrameViewer::reload()
{
    showNotice();
    if (!g_state->videoLoaded) {
        setDisabled(true);
        return;
    }
    setDisabled(false);
    scene->clear();
    chooseIndex();
    const QImage image = m_images->image(g_state->video->getFramePath(g_state->currentFrame));
    frameItem = scene->addPixmap(QPixmap::fromImage(image));
    for (const TrackedObject *object : qAsConst(g_state->objects)) {
        if (KeyFrame *keyFrame = object->getCurrentKeyFrame())
            new PolyAreaGraphicsItem(scene, keyFrame); // the scene owns it
    }
    resize();
    m_preparation->start(); // this one is to be painted first
}

void FrameViewer::forgetImages()
{
    m_images->clear();
    m_lastFrame = 0;
    m_onward = true;
}

/// Those that the user will most likely want next: whoever steps goes on, or back by one. After a jump, which
/// can be one of many while the slider is dragged, only the neighbours.
void FrameViewer::prepareNextImages()
{
    if (!g_state || !g_state->videoLoaded)
        return;
    const int frame = g_state->currentFrame;
    const int distance = std::abs(frame - m_lastFrame);
    if (distance > 0)
        m_onward = frame > m_lastFrame;
    m_lastFrame = frame;
    const int direction = m_onward ? 1 : -1;
    QStringList paths;
    const auto add = [&](int next) {
        if (next >= 0 && next < g_state->video->frameCount)
            paths.append(g_state->video->getFramePath(next));
    };
    for (int i = 1; i <= (distance > framesAhead ? 1 : framesAhead); ++i)
        add(frame + i * direction);
    add(frame - direction);
    m_images->prepare(paths);
}

void FrameViewer::resize()
{
    if (!frameItem)
        return;
    view->setSceneRect(frameItem->sceneBoundingRect());
    view->fitInView(frameItem->sceneBoundingRect(), Qt::KeepAspectRatio);
}

void FrameViewer::doubleClicked(int x, int y, bool shift)
{
    if (!frameItem || !g_state->videoLoaded)
        return;
    const QPointF point = Functions::clampToFrame(view->mapToScene(x, y), frameItem->sceneBoundingRect());
    if (shift)
        removeNearestVertex(point);
    else
        addVertex(point);
}

void FrameViewer::removeNearestVertex(QPointF point)
{
    const TrackedObject *object = g_state->getCurrentObject();
    KeyFrame *keyFrame = object ? object->getCurrentKeyFrame() : nullptr;
    if (!keyFrame)
        return;
    const QPolygonF outline = keyFrame->polygonSnapshot();
    const QPolygonF reduced = OutlineEdit::withoutNearestVertex(outline, point);
    if (reduced.size() < outline.size())
        keyFrame->setNewPolygon(reduced);
}

void FrameViewer::addVertex(QPointF point)
{
    if (!g_state->hasObjects())
        NewObject::add();
    const TrackedObject *object = g_state->getCurrentObject();
    KeyFrame *keyFrame = object ? object->getCurrentKeyFrame() : nullptr;
    if (!keyFrame)
        return;
    const QPolygonF polygon = OutlineEdit::withVertex(keyFrame->polygonSnapshot(), point);
    keyFrame->annotate(polygon, keyFrame->type == KeyFrame::None ? KeyFrame::Visible : keyFrame->type);
}
