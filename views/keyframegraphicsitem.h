// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "Models/keyframe.h"
#include "Models/keyframewatcher.h"

#include <QGraphicsEllipseItem>
#include <QObject>

/// Marker of one key frame on the time line.
class KeyFrameGraphicsItem : public QObject, public QGraphicsEllipseItem, private KeyFrameWatcher
{
    Q_OBJECT

public:
    /// Adds itself to `scene`, which owns it, at `pos` in scene pixels.
    KeyFrameGraphicsItem(QGraphicsScene *scene, QPointF pos, KeyFrame *keyFrame);
    /// The same below `parent`, and with it in its scene, if any.
    KeyFrameGraphicsItem(QGraphicsItem *parent, QPointF pos, KeyFrame *keyFrame);

    /// Not owned; null once it is gone. The marker then stays as it was and takes no part in anything.
    KeyFrame *keyFrame;

    /// Without the base class's stroking of the outline, which is slow for the many items of a long video.
    QRectF boundingRect() const override;

    /// Whether it is the marker of this very key frame, not of one gone that lay in the same place.
    bool isOf(const KeyFrame *other) const { return watches(other); }
    /// Sets pen, brush, size and visibility if the key frame has another type or colour than when they were
    /// set.
    void updateStyle();
    /// Has the processor fetch what moving the item looks at.
    void prefetchPlace() const;
    /// Sets pen, brush, size and visibility after the key frame's type.
    void loadStyle();

public slots:
    /// Takes the style over from the key frame again.
    void reload();

protected:
    void contextMenuEvent(QGraphicsSceneContextMenuEvent *event) override;

private:
    void keyFrameChanged(int flags) override;
    void keyFrameEnded() override { keyFrame = nullptr; }

    // What the style was made for.
    QRgb m_shownColor = 0;
    KeyFrame::Type m_shownType = KeyFrame::None;
};
