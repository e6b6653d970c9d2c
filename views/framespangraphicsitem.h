// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "Models/framespan.h"

#include <QGraphicsPathItem>
#include <QObject>

/// Curve of one frame span on the time line.
class FrameSpanGraphicsItem : public QObject, public QGraphicsPathItem
{
    Q_OBJECT

public:
    /// Adds itself to `scene`, which owns it, as a curve from `start` to `end` in scene pixels.
    FrameSpanGraphicsItem(QGraphicsScene *scene, QPointF start, QPointF end, FrameSpan *frameSpan);
    /// The same below `parent`, and with it in its scene, if any.
    FrameSpanGraphicsItem(QGraphicsItem *parent, QPointF start, QPointF end, FrameSpan *frameSpan);

    /// Not owned; null once it is gone. The curve then stays as it was and takes no part in anything.
    FrameSpan *frameSpan;

    /// Leads the curve from `start` to `end`.
    void place(QPointF start, QPointF end);
    /// Sets the pen if the span has another type or colour than when it was set.
    void updateStyle();
    /// Sets the pen after the span's type.
    void loadStyle();

    /// Both wider than the curve itself, which is too thin to hit with the mouse.
    QRectF boundingRect() const override;
    QPainterPath shape() const override;

public slots:
    /// Takes the style over from the span again.
    void reload();

protected:
    void contextMenuEvent(QGraphicsSceneContextMenuEvent *event) override;

private:
    // What the style was made for.
    QRgb m_shownColor = 0;
    FrameSpan::Type m_shownType = FrameSpan::Hidden;
};
