// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QGraphicsEllipseItem>
#include <QObject>

class KeyFrame;
class QMenu;

/// Marker of one key frame on the time line.
class KeyFrameGraphicsItem : public QObject, public QGraphicsEllipseItem
{
    Q_OBJECT

public:
    /// Adds itself to `scene`, which owns it, at `pos` in scene pixels.
    KeyFrameGraphicsItem(QGraphicsScene *scene, QPointF pos, KeyFrame *keyFrame);

    /// Not owned.
    KeyFrame *keyFrame;

    /// Without the base class's stroking of the outline, which is slow for the many items of a long video.
    QRectF boundingRect() const override;

    /// Sets pen, brush, size and visibility after the key frame's type.
    void loadStyle();

public slots:
    /// Takes the style over from the key frame again.
    void reload();

protected:
    void contextMenuEvent(QGraphicsSceneContextMenuEvent *event) override;
};
