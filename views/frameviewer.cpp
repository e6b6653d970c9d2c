// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/frameviewer.h"

#include "core/datastate.h"
#include "core/mainwindow.h"
#include "processing/functions.h"
#include "processing/outlineedit.h"
#include "views/framegraphicsview.h"
#include "views/polyareagraphicsitem.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QHBoxLayout>

namespace
{

const QColor surround(64, 66, 70); // around the frame

} // namespace

FrameViewer::FrameViewer(QWidget *parent, Qt::WindowFlags flags)
    : QWidget(parent, flags)
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

    connectToState();
    setDisabled(true);
}

void FrameViewer::connectToState()
{
    disconnect(g_state, nullptr, this, nullptr);
    connect(g_state, &DataState::hasChanged, this, &FrameViewer::filterStateChange);
}

void FrameViewer::filterStateChange(int flags)
{
    if (flags & (DataState::FrameChanged | DataState::ObjectListChanged))
        reload();
}

void FrameViewer::reload()
{
    if (!g_state->videoLoaded) {
        setDisabled(true);
        return;
    }
    setDisabled(false);
    scene->clear();
    const QImage image(g_state->video->getFramePath(g_state->currentFrame));
    frameItem = scene->addPixmap(QPixmap::fromImage(image));
    for (const TrackedObject *object : qAsConst(g_state->objects)) {
        if (KeyFrame *keyFrame = object->getCurrentKeyFrame())
            new PolyAreaGraphicsItem(scene, keyFrame); // the scene owns it
    }
    resize();
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
    if (!g_state->hasObjects()) {
        g_state->addObject();
        if (g_mainWindow)
            g_mainWindow->reload();
    }
    const TrackedObject *object = g_state->getCurrentObject();
    KeyFrame *keyFrame = object ? object->getCurrentKeyFrame() : nullptr;
    if (!keyFrame)
        return;
    const QPolygonF polygon = OutlineEdit::withVertex(keyFrame->polygonSnapshot(), point);
    keyFrame->annotate(polygon, keyFrame->type == KeyFrame::None ? KeyFrame::Visible : keyFrame->type);
}
