// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/mousedriver.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QMouseEvent>
#include <QWidget>

void MouseDriver::send(QWidget *target, QEvent::Type type, QPointF position, Qt::MouseButton button,
                       Qt::MouseButtons held, Qt::KeyboardModifiers modifiers)
{
    const QPointF global = position + target->mapToGlobal(QPoint(0, 0));
    QMouseEvent event(type, position, position, global, button, held, modifiers);
    QApplication::sendEvent(target, &event);
}

void MouseDriver::press(QWidget *target, QPointF position, Qt::KeyboardModifiers modifiers,
                        Qt::MouseButton button)
{
    send(target, QEvent::MouseButtonPress, position, button, button, modifiers);
}

void MouseDriver::move(QWidget *target, QPointF position, Qt::KeyboardModifiers modifiers,
                       Qt::MouseButton button)
{
    send(target, QEvent::MouseMove, position, Qt::NoButton, button, modifiers);
}

void MouseDriver::release(QWidget *target, QPointF position, Qt::KeyboardModifiers modifiers,
                          Qt::MouseButton button)
{
    send(target, QEvent::MouseButtonRelease, position, button, Qt::NoButton, modifiers);
}

void MouseDriver::click(QWidget *target, QPointF position, Qt::KeyboardModifiers modifiers,
                        Qt::MouseButton button)
{
    press(target, position, modifiers, button);
    release(target, position, modifiers, button);
}

void MouseDriver::doubleClick(QWidget *target, QPointF position, Qt::KeyboardModifiers modifiers,
                              Qt::MouseButton button)
{
    click(target, position, modifiers, button);
    send(target, QEvent::MouseButtonDblClick, position, button, button, modifiers);
    release(target, position, modifiers, button);
}

void MouseDriver::drag(QWidget *target, const QList<QPoint> &path, Qt::KeyboardModifiers modifiers,
                       Qt::MouseButton button)
{
    press(target, path.first(), modifiers, button);
    for (int i = 1; i < path.size(); ++i)
        move(target, path.at(i), modifiers, button);
    release(target, path.last(), modifiers, button);
}

void MouseDriver::contextMenu(QWidget *target, QPoint position)
{
    QContextMenuEvent event(QContextMenuEvent::Mouse, position, target->mapToGlobal(position));
    QApplication::sendEvent(target, &event);
}
