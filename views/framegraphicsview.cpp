// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/framegraphicsview.h"

#include <QMouseEvent>

#include <cmath>

FrameGraphicsView::FrameGraphicsView(QWidget *parent)
    : QGraphicsView(parent)
{
}

void FrameGraphicsView::resizeEvent(QResizeEvent *event)
{
    QGraphicsView::resizeEvent(event);
    emit resized();
}

// The base handler would send the scene a second press, which has no meaning here.
void FrameGraphicsView::mouseDoubleClickEvent(QMouseEvent *event)
{
    const QPointF position = event->localPos();
    emit doubleClicked(static_cast<int>(std::lround(position.x())),
                       static_cast<int>(std::lround(position.y())),
                       event->modifiers().testFlag(Qt::ShiftModifier));
}
