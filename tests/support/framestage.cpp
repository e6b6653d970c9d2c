// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/framestage.h"

#include "tests/support/mousedriver.h"
#include "tests/support/sceneprobe.h"
#include "tests/support/testproject.h"
#include "views/framegraphicsview.h"
#include "views/polyareagraphicsitem.h"

#include <QtTest>

FrameStage::FrameStage(int frameCount)
    : m_window(frameCount)
{
    QVERIFY2(m_window.show(), "the window does not get active");
    unscale();
    QVERIFY(viewport()->width() > 340);
    QVERIFY(viewport()->height() > 260);
    QCOMPARE(view()->mapToScene(at(QPointF(50, 70))), QPointF(50, 70));
}

FrameGraphicsView *FrameStage::view() const
{
    return m_window.viewer()->view;
}

QWidget *FrameStage::viewport() const
{
    return view()->viewport();
}

void FrameStage::unscale()
{
    view()->resetTransform();
}

QPoint FrameStage::at(QPointF scenePoint) const
{
    return view()->mapFromScene(scenePoint);
}

TrackedObject *FrameStage::addObject()
{
    TrackedObject *object = m_window.addObject();
    unscale();
    return object;
}

TrackedObject *FrameStage::addObject(const QPolygonF &outline, KeyFrame::Type type)
{
    TrackedObject *object = addObject();
    annotate(object, g_state->currentFrame, outline, type);
    return object;
}

PolyAreaGraphicsItem *FrameStage::itemOf(const TrackedObject *object) const
{
    for (PolyAreaGraphicsItem *item : itemsOf<PolyAreaGraphicsItem>(scene())) {
        if (item->keyFrame == object->getCurrentKeyFrame())
            return item;
    }
    return nullptr;
}

KeyFrame *FrameStage::currentKeyFrame() const
{
    return g_state->getCurrentObject()->getCurrentKeyFrame();
}

QPolygonF FrameStage::polygon() const
{
    return currentKeyFrame()->polygon;
}

void FrameStage::press(QPointF scenePoint, Qt::KeyboardModifiers modifiers)
{
    MouseDriver::press(viewport(), at(scenePoint), modifiers);
}

void FrameStage::move(QPointF scenePoint, Qt::KeyboardModifiers modifiers)
{
    MouseDriver::move(viewport(), at(scenePoint), modifiers);
}

void FrameStage::release(QPointF scenePoint, Qt::KeyboardModifiers modifiers)
{
    MouseDriver::release(viewport(), at(scenePoint), modifiers);
}

void FrameStage::drag(const QList<QPointF> &scenePath, Qt::KeyboardModifiers modifiers,
                      Qt::MouseButton button)
{
    QList<QPoint> path;
    for (const QPointF &point : scenePath)
        path.append(at(point));
    MouseDriver::drag(viewport(), path, modifiers, button);
}

void FrameStage::doubleClick(QPointF scenePoint, Qt::KeyboardModifiers modifiers)
{
    MouseDriver::doubleClick(viewport(), at(scenePoint), modifiers);
    unscale(); // creating the first object fits the frame into the view anew
}
