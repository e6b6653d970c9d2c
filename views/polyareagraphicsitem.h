// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QGraphicsPolygonItem>
#include <QList>
#include <QObject>

class KeyFrame;
class PolyPointGraphicsItem;

/// The drawn polygon of one key frame, with a handle per vertex.
class PolyAreaGraphicsItem : public QObject, public QGraphicsPolygonItem
{
    Q_OBJECT

public:
    /// Adds itself to `scene`, which owns it, and listens to the key frame and to the project state in use.
    PolyAreaGraphicsItem(QGraphicsScene *scene, KeyFrame *keyFrame);

    /// What the outline covers, found without stroking it.
    QRectF boundingRect() const override;

    /// Not owned; null once it is gone. The outline then stays as it was and takes no part in anything.
    KeyFrame *keyFrame;
    /// Displacement of the drag in progress.
    QPointF dragOffset;
    /// Where the mouse may go during the drag in progress, in scene coordinates.
    QRectF dragBounds;
    /// One handle per vertex, in vertex order.
    QList<PolyPointGraphicsItem *> polyPoints;

signals:
    // Declared for users of the class; nothing emits them.
    void moved(int id);
    void changed(int id);
    void clicked(int id);

public slots:
    /// Draws the outline through the handles where they are now; the key frame stays as it is.
    void redrawFromPolyPoints();
    /// Takes the outline through the handles over into the key frame.
    void polyPointsChanged();
    /// Takes colour and stacking over from the object; handles show on the current object only.
    void updateStyle();
    /// Takes the outline over from the key frame and makes new handles.
    void updatePolygon();
    /// Takes the outline over for KeyFrame::PolygonChanged.
    void filterKeyFrameChange(int flags);
    /// Takes the style over for DataState::ObjectSelectionChanged.
    void filterStateChange(int flags);
    /// Moves the key frame's polygon by the displacement of the drag.
    void movePolygon();

protected:
    void mousePressEvent(QGraphicsSceneMouseEvent *event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent *event) override;
    void mouseReleaseEvent(QGraphicsSceneMouseEvent *event) override;
    bool sceneEvent(QEvent *event) override;

private:
    bool isOfCurrentObject() const;
    void letGo();
    void takeBackDrag();
    void becomeVisibleIfAutomatic();
};
