// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/projectwindow.h"

#include <QList>
#include <QPointF>
#include <QPolygonF>

class FrameGraphicsView;
class PolyAreaGraphicsItem;
class QGraphicsPixmapItem;
class QGraphicsScene;

/// A shown window whose frame (320 x 240) is drawn at one screen pixel per frame pixel. Positions are those
/// of the scene.
class FrameStage
{
public:
    explicit FrameStage(int frameCount = 3);

    ProjectWindow &project() { return m_window; }
    FrameGraphicsView *view() const;
    QWidget *viewport() const;
    QGraphicsScene *scene() const { return m_window.viewer()->scene; }
    QGraphicsPixmapItem *frameItem() const { return m_window.viewer()->frameItem; }
    /// To be called after what fits the frame into the view anew.
    void unscale();
    /// Where a scene point lies in the viewport.
    QPoint at(QPointF scenePoint) const;

    /// Adds an object, which becomes the current one.
    TrackedObject *addObject();
    /// The same with this outline on the current frame.
    TrackedObject *addObject(const QPolygonF &outline, KeyFrame::Type type = KeyFrame::Visible);
    /// The item of an object's current key frame; null if there is none.
    PolyAreaGraphicsItem *itemOf(const TrackedObject *object) const;
    /// The current object's key frame on the current frame, and its outline.
    KeyFrame *currentKeyFrame() const;
    QPolygonF polygon() const;

    void press(QPointF scenePoint, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    void move(QPointF scenePoint, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    void release(QPointF scenePoint, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    void drag(const QList<QPointF> &scenePath, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
              Qt::MouseButton button = Qt::LeftButton);
    void doubleClick(QPointF scenePoint, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    void shiftDoubleClick(QPointF scenePoint) { doubleClick(scenePoint, Qt::ShiftModifier); }

private:
    ProjectWindow m_window;
};
