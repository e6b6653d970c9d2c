// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/polyareagraphicsitem.h"

#include "core/datastate.h"
#include "core/framebounds.h"
#include "views/disc.h"
#include "views/polypointgraphicsitem.h"

#include <QGraphicsScene>
#include <QGraphicsSceneMouseEvent>
#include <QPen>

#include <algorithm>
#include <cmath>

namespace
{

constexpr double currentZ = 1.0;
constexpr double otherZ = 0.0;
constexpr int outlineWidth = 2;             // screen pixels
constexpr double movementTolerance = 1e-12; // scene pixels

/// Unlike Functions::clampToFrame(), with the right and bottom edges as upper limits.
QPointF clampedTo(const QRectF &bounds, QPointF p)
{
    return QPointF(std::min(std::max(p.x(), bounds.left()), bounds.right()),
                   std::min(std::max(p.y(), bounds.top()), bounds.bottom()));
}

} // namespace

PolyAreaGraphicsItem::PolyAreaGraphicsItem(QGraphicsScene *scene, KeyFrame *shownKeyFrame)
    : keyFrame(shownKeyFrame)
{
    setFlag(ItemIsMovable);
    scene->addItem(this);
    connect(keyFrame, &KeyFrame::hasChanged, this, &PolyAreaGraphicsItem::filterKeyFrameChange);
    connect(keyFrame, &QObject::destroyed, this, &PolyAreaGraphicsItem::letGo);
    connect(g_state, &DataState::hasChanged, this, &PolyAreaGraphicsItem::filterStateChange);
    updatePolygon();
    updateStyle();
}

QRectF PolyAreaGraphicsItem::boundingRect() const
{
    const QPolygonF outline = polygon();
    if (outline.isEmpty())
        return QRectF();
    const double reach = pen().widthF(); // the corners of the line's square ends among it
    return outline.boundingRect().adjusted(-reach, -reach, reach, reach);
}

void PolyAreaGraphicsItem::redrawFromPolyPoints()
{
    QPolygonF outline;
    for (const PolyPointGraphicsItem *handle : qAsConst(polyPoints))
        outline.append(handle->point + handle->offset);
    setPolygon(outline);
}

void PolyAreaGraphicsItem::polyPointsChanged()
{
    if (!keyFrame)
        return;
    QPolygonF outline;
    for (const PolyPointGraphicsItem *handle : qAsConst(polyPoints))
        outline.append(handle->point);
    keyFrame->setNewPolygon(outline);
    becomeVisibleIfAutomatic();
}

void PolyAreaGraphicsItem::updateStyle()
{
    if (!keyFrame)
        return;
    const bool current = isOfCurrentObject();
    setZValue(current ? currentZ : otherZ);
    QPen pen(keyFrame->object->color);
    pen.setWidth(outlineWidth);
    pen.setCosmetic(true);
    setPen(pen);
    setBrush(Qt::NoBrush);
    for (PolyPointGraphicsItem *handle : qAsConst(polyPoints))
        handle->setVisible(current);
}

// Leaves the style alone: new handles are visible until the next updateStyle().
void PolyAreaGraphicsItem::updatePolygon()
{
    if (!keyFrame)
        return;
    const QPolygonF outline = keyFrame->polygonSnapshot();
    setPolygon(outline);
    for (PolyPointGraphicsItem *handle : qAsConst(polyPoints)) {
        disconnect(handle, nullptr, this, nullptr);
        handle->discard();
    }
    polyPoints.clear();
    for (const QPointF &vertex : outline) {
        auto *handle = new PolyPointGraphicsItem(scene(), vertex);
        polyPoints.append(handle);
        connect(handle, &PolyPointGraphicsItem::moving, this, &PolyAreaGraphicsItem::redrawFromPolyPoints);
        connect(handle, &PolyPointGraphicsItem::moved, this, &PolyAreaGraphicsItem::polyPointsChanged);
    }
}

void PolyAreaGraphicsItem::filterKeyFrameChange(int flags)
{
    if (flags & KeyFrame::PolygonChanged)
        updatePolygon();
}

void PolyAreaGraphicsItem::filterStateChange(int flags)
{
    if (flags & DataState::ObjectSelectionChanged)
        updateStyle();
}

void PolyAreaGraphicsItem::movePolygon()
{
    if (!keyFrame)
        return;
    Eigen::Affine2d shift = Eigen::Affine2d::Identity();
    shift.translation() << dragOffset.x(), dragOffset.y();
    keyFrame->transformPolygon(shift);
    becomeVisibleIfAutomatic();
}

void PolyAreaGraphicsItem::mousePressEvent(QGraphicsSceneMouseEvent *event)
{
    if (!keyFrame || !isDragButton(event->button())) {
        event->ignore();
        return;
    }
    QGraphicsPolygonItem::mousePressEvent(event);
    dragOffset = QPointF();
    const QPointF mouse = event->scenePos();
    const QRectF frame = frameBounds();
    const QRectF box = polygon().boundingRect();
    // To the left and up the scene's origin is the limit, to the right and down the frame's own edges.
    dragBounds = QRectF(mouse - box.topLeft(), mouse + (frame.bottomRight() - box.bottomRight()));
}

void PolyAreaGraphicsItem::mouseMoveEvent(QGraphicsSceneMouseEvent *event)
{
    if (!isOfCurrentObject()) {
        event->ignore();
        return;
    }
    const QPointF delta =
        clampedTo(dragBounds, event->scenePos()) - clampedTo(dragBounds, event->lastScenePos());
    dragOffset += delta;
    for (PolyPointGraphicsItem *handle : qAsConst(polyPoints))
        handle->moveBy(delta.x(), delta.y());
    moveBy(delta.x(), delta.y());
}

void PolyAreaGraphicsItem::mouseReleaseEvent(QGraphicsSceneMouseEvent *event)
{
    QGraphicsPolygonItem::mouseReleaseEvent(event);
    if (!keyFrame || !isDragButton(event->button()))
        return;
    const bool stayed =
        std::abs(dragOffset.x()) <= movementTolerance && std::abs(dragOffset.y()) <= movementTolerance;
    if (stayed) {
        if (event->modifiers().testFlag(Qt::ControlModifier))
            g_state->setCurrentObject(keyFrame->object->id);
        return;
    }
    if (isOfCurrentObject())
        movePolygon();
    else
        takeBackDrag();
    dragOffset = QPointF();
    setPos(QPointF());
}

/// A drag that something else takes the mouse from, a dialog for instance, never was.
bool PolyAreaGraphicsItem::sceneEvent(QEvent *event)
{
    if (event->type() == QEvent::UngrabMouse && !dragOffset.isNull())
        takeBackDrag();
    return QGraphicsPolygonItem::sceneEvent(event);
}

void PolyAreaGraphicsItem::takeBackDrag()
{
    for (PolyPointGraphicsItem *handle : qAsConst(polyPoints))
        handle->moveBy(-dragOffset.x(), -dragOffset.y());
    dragOffset = QPointF();
    setPos(QPointF());
}

bool PolyAreaGraphicsItem::isOfCurrentObject() const
{
    return keyFrame && keyFrame->object->isCurrent();
}

/// The picture of a project that was dropped stays until there is another one; a drag of it ends here.
void PolyAreaGraphicsItem::letGo()
{
    keyFrame = nullptr;
    setEnabled(false);
    for (PolyPointGraphicsItem *handle : qAsConst(polyPoints))
        handle->setEnabled(false);
}

void PolyAreaGraphicsItem::becomeVisibleIfAutomatic()
{
    if (keyFrame->type == KeyFrame::Automatic)
        keyFrame->setType(KeyFrame::Visible);
}
