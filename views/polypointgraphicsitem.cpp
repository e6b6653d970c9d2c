// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/polypointgraphicsitem.h"

#include "core/framebounds.h"
#include "processing/functions.h"
#include "views/disc.h"

#include <QBrush>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGraphicsSceneMouseEvent>
#include <QPen>

namespace
{

constexpr double anchorZ = 2.0; // above all polygons

} // namespace

PolyPointGraphicsItem::PolyPointGraphicsItem(QGraphicsScene *scene, QPointF vertex)
    : point(vertex)
{
    // All of this before the scene knows the handle, which would take every change by itself.
    setFlags(ItemIsMovable | ItemIgnoresTransformations);
    static const QBrush green(Qt::green); // shared by all handles
    setBrush(green);
    setRect(discRect(radius));
    auto *anchor = new QGraphicsRectItem;
    anchor->setFlag(ItemHasNoContents);
    anchor->setPos(point);
    anchor->setZValue(anchorZ);
    setParentItem(anchor);
    scene->addItem(anchor);
}

QRectF PolyPointGraphicsItem::boundingRect() const
{
    const double rim = pen().widthF() / 2;
    return rect().adjusted(-rim, -rim, rim, rim);
}

void PolyPointGraphicsItem::discard()
{
    QGraphicsItem *anchor = parentItem();
    if (QGraphicsScene *graphicsScene = scene())
        graphicsScene->removeItem(anchor);
    setParentItem(nullptr);
    delete anchor;
    deleteLater();
}

// A handle taken announces a move when it is let go, also one that has not moved. With Shift held the press
// is the first of a double-click that removes a vertex, which is no edit of the outline by its handles.
void PolyPointGraphicsItem::mousePressEvent(QGraphicsSceneMouseEvent *event)
{
    const bool removing = event->modifiers().testFlag(Qt::ShiftModifier);
    if (isDragButton(event->button()) && !removing)
        QGraphicsEllipseItem::mousePressEvent(event);
    else
        event->ignore();
}

void PolyPointGraphicsItem::mouseMoveEvent(QGraphicsSceneMouseEvent *event)
{
    const QPointF target = Functions::clampToFrame(event->scenePos(), frameBounds());
    const QPointF delta = target - scenePos();
    m_dragging = true;
    offset += delta;
    setPos(pos() + delta);
    emit moving();
}

void PolyPointGraphicsItem::mouseReleaseEvent(QGraphicsSceneMouseEvent *event)
{
    if (!isDragButton(event->button())) {
        QGraphicsEllipseItem::mouseReleaseEvent(event);
        return;
    }
    m_dragging = false;
    point += offset; // the drag is over; this handle is replaced as soon as the outline is taken over
    QGraphicsEllipseItem::mouseReleaseEvent(event);
    emit moved();
}

/// A drag that something else takes the mouse from, a dialog for instance, never was.
bool PolyPointGraphicsItem::sceneEvent(QEvent *event)
{
    if (event->type() == QEvent::UngrabMouse && m_dragging) {
        m_dragging = false;
        offset = QPointF();
        setPos(QPointF());
        emit moving();
    }
    return QGraphicsEllipseItem::sceneEvent(event);
}
