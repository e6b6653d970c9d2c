// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/framegraphicsview.h"

#include "processing/functions.h"

#include <QMouseEvent>

FrameGraphicsView::FrameGraphicsView(QWidget *parent)
    : QGraphicsView(parent)
{
}

void FrameGraphicsView::resizeEvent(QResizeEvent *event)
{
    QGraphicsView::resizeEvent(event);
    emit resized();
}

// Only the left button edits. The base handler would send the scene a second press, which has no meaning
// here.
void FrameGraphicsView::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    const QPointF position = event->localPos();
    emit doubleClicked(Functions::roundToInt(position.x()), Functions::roundToInt(position.y()),
                       event->modifiers().testFlag(Qt::ShiftModifier));
}
