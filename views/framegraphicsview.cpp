// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/framegraphicsview.h"

#include "processing/functions.h"

#include <QMouseEvent>
#include <QPainter>

namespace
{

constexpr int noticeMargin = 20; // pixels: around the text, and between its ground and the view's border
const QColor noticeColor(235, 235, 235);
const QColor noticeGround(32, 33, 35, 230); // for the text to be read on whatever picture

} // namespace

FrameGraphicsView::FrameGraphicsView(QWidget *parent)
    : QGraphicsView(parent)
{
}

void FrameGraphicsView::setNotice(const QString &notice)
{
    if (notice == m_notice)
        return;
    m_notice = notice;
    setAccessibleDescription(notice);
    viewport()->update();
}

void FrameGraphicsView::paintEvent(QPaintEvent *event)
{
    QGraphicsView::paintEvent(event);
    if (m_notice.isEmpty())
        return;
    const QMargins margins(noticeMargin, noticeMargin, noticeMargin, noticeMargin);
    const QRect room = viewport()->rect() - 2 * margins;
    constexpr int layout = Qt::AlignCenter | Qt::TextWordWrap;
    QPainter painter(viewport());
    painter.setFont(font());
    const QRect text = painter.boundingRect(room, layout, m_notice);
    painter.fillRect(text + margins, noticeGround);
    painter.setPen(noticeColor);
    painter.drawText(text, layout, m_notice);
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
