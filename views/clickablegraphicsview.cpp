// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/clickablegraphicsview.h"

#include "processing/functions.h"

#include <QContextMenuEvent>
#include <QMouseEvent>

namespace
{

QPoint rounded(QPointF position)
{
    return QPoint(Functions::roundToInt(position.x()), Functions::roundToInt(position.y()));
}

} // namespace

ClickableGraphicsView::ClickableGraphicsView(QWidget *parent)
    : QGraphicsView(parent)
{
}

void ClickableGraphicsView::mousePressEvent(QMouseEvent *event)
{
    pressed = true;
    QGraphicsView::mousePressEvent(event);
}

void ClickableGraphicsView::mouseMoveEvent(QMouseEvent *event)
{
    if (pressed)
        emit clicked(rounded(event->localPos()));
}

void ClickableGraphicsView::mouseReleaseEvent(QMouseEvent *event)
{
    pressed = false;
    emit clicked(rounded(event->localPos()));
    QGraphicsView::mouseReleaseEvent(event);
}

void ClickableGraphicsView::contextMenuEvent(QContextMenuEvent *event)
{
    pressed = false; // the menu takes the release
    QGraphicsView::contextMenuEvent(event);
}
