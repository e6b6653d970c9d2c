// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QGraphicsEllipseItem>
#include <QObject>

/// The handle of one vertex. It keeps its size on the screen; an invisible anchor item places it in the
/// scene.
class PolyPointGraphicsItem : public QObject, public QGraphicsEllipseItem
{
    Q_OBJECT

public:
    /// Adds its anchor, and with it itself, to `scene`, which owns both; `point` in frame pixels.
    PolyPointGraphicsItem(QGraphicsScene *scene, QPointF point);

    /// The disc with its rim, found without stroking it.
    QRectF boundingRect() const override;

    /// Takes the handle and its anchor out of the scene; the handle itself is deleted once control is back in
    /// the event loop, since it may be handling an event.
    void discard();

    /// Screen pixels.
    int radius = 3;
    /// Displacement by the drag so far.
    QPointF offset;
    /// Vertex in frame pixels.
    QPointF point;

signals:
    /// During a drag.
    void moving();
    /// At the end of a drag.
    void moved();

protected:
    void mousePressEvent(QGraphicsSceneMouseEvent *event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent *event) override;
    void mouseReleaseEvent(QGraphicsSceneMouseEvent *event) override;
    bool sceneEvent(QEvent *event) override;

private:
    bool m_dragging = false; // from the first move to the release
};
