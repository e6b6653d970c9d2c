// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/framespangraphicsitem.h"

#include "Models/trackedobject.h"

#include <QActionGroup>
#include <QCoreApplication>
#include <QGraphicsScene>
#include <QGraphicsSceneContextMenuEvent>
#include <QHash>
#include <QMenu>
#include <QPen>
#include <QPointer>

namespace
{

constexpr double thinWidth = 1.0; // pixels
constexpr double thickWidth = 3.0;
constexpr double grabWidth = 9.0; // pixels around the curve that answer the mouse

QPainterPath curve(QPointF start, QPointF end)
{
    QPainterPath path(start);
    const double middle = (start.x() + end.x()) / 2;
    if (start.y() == end.y())
        path.lineTo(end);
    else
        path.cubicTo(QPointF(middle, start.y()), QPointF(middle, end.y()), end);
    return path;
}

} // namespace

FrameSpanGraphicsItem::FrameSpanGraphicsItem(QGraphicsScene *scene, QPointF start, QPointF end,
                                             FrameSpan *shownSpan)
    : FrameSpanGraphicsItem(static_cast<QGraphicsItem *>(nullptr), start, end, shownSpan)
{
    scene->addItem(this);
}

FrameSpanGraphicsItem::FrameSpanGraphicsItem(QGraphicsItem *parent, QPointF start, QPointF end,
                                             FrameSpan *shownSpan)
    : frameSpan(shownSpan)
{
    place(start, end);
    loadStyle();
    setParentItem(parent);
    connect(frameSpan, &FrameSpan::hasChanged, this, &FrameSpanGraphicsItem::reload);
    connect(frameSpan, &QObject::destroyed, this, [this] { frameSpan = nullptr; });
}

void FrameSpanGraphicsItem::place(QPointF start, QPointF end)
{
    setPath(curve(start, end));
}

void FrameSpanGraphicsItem::loadStyle()
{
    if (!frameSpan)
        return;
    double width = thickWidth;
    Qt::PenStyle style = Qt::SolidLine;
    switch (frameSpan->type) {
    case FrameSpan::Hidden:
        width = thinWidth;
        style = Qt::DotLine;
        break;
    case FrameSpan::Visible:
        break;
    case FrameSpan::Occluded:
        style = Qt::DashLine;
        break;
    }
    setPen(QPen(QBrush(frameSpan->object->color), width, style, Qt::SquareCap, Qt::BevelJoin));
    m_shownColor = frameSpan->object->color.rgba();
    m_shownType = frameSpan->type;
}

void FrameSpanGraphicsItem::reload()
{
    loadStyle();
}

void FrameSpanGraphicsItem::updateStyle()
{
    if (!frameSpan)
        return;
    if (m_shownType != frameSpan->type || m_shownColor != frameSpan->object->color.rgba())
        loadStyle();
}

QRectF FrameSpanGraphicsItem::boundingRect() const
{
    constexpr double margin = grabWidth / 2;
    return path().controlPointRect().adjusted(-margin, -margin, margin, margin);
}

QPainterPath FrameSpanGraphicsItem::shape() const
{
    QPainterPathStroker stroker;
    stroker.setWidth(grabWidth);
    return stroker.createStroke(path());
}

void FrameSpanGraphicsItem::contextMenuEvent(QGraphicsSceneContextMenuEvent *event)
{
    if (!frameSpan) {
        event->ignore();
        return;
    }
    // The time line may be rebuilt, and this item deleted, while the menu is open.
    const QPointer<FrameSpan> shown = frameSpan;
    const QPair<const char *, FrameSpan::Type> entries[] = {
        {"Visible", FrameSpan::Visible}, {"Occluded", FrameSpan::Occluded}, {"Hidden", FrameSpan::Hidden}};
    QMenu menu;
    QActionGroup group(nullptr);
    QHash<QAction *, FrameSpan::Type> types;
    for (const auto &entry : entries) {
        QAction *action = group.addAction(
            menu.addAction(QCoreApplication::translate("FrameSpanGraphicsItem", entry.first)));
        action->setCheckable(true);
        action->setChecked(shown->type == entry.second);
        types.insert(action, entry.second);
    }
    QAction *chosen = menu.exec(event->screenPos());
    if (chosen && shown && shown->type != types.value(chosen))
        shown->setType(types.value(chosen));
}
