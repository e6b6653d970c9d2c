// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QEvent>
#include <QList>
#include <QPointF>

class QWidget;

/// Mouse events as the window system sends them: every event says which buttons are held. Positions are those
/// of the widget that gets the events; of a graphics view that is its viewport.
namespace MouseDriver
{

void send(QWidget *target, QEvent::Type type, QPointF position, Qt::MouseButton button, Qt::MouseButtons held,
          Qt::KeyboardModifiers modifiers = Qt::NoModifier);

void press(QWidget *target, QPointF position, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
           Qt::MouseButton button = Qt::LeftButton);
/// Moves with `button` held.
void move(QWidget *target, QPointF position, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
          Qt::MouseButton button = Qt::LeftButton);
void release(QWidget *target, QPointF position, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
             Qt::MouseButton button = Qt::LeftButton);
void click(QWidget *target, QPointF position, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
           Qt::MouseButton button = Qt::LeftButton);
/// Press, release, double-click, release.
void doubleClick(QWidget *target, QPointF position, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
                 Qt::MouseButton button = Qt::LeftButton);
/// Presses at the first point, moves over the others and releases at the last one.
void drag(QWidget *target, const QList<QPoint> &path, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
          Qt::MouseButton button = Qt::LeftButton);
/// Asks for the context menu; returns when that menu is closed.
void contextMenu(QWidget *target, QPoint position);

} // namespace MouseDriver
