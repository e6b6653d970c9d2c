// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QGraphicsScene>
#include <QGraphicsWidget>
#include <QList>
#include <QPointer>

/// Something that goes away when its scene is cleared.
QPointer<QGraphicsWidget> witness(QGraphicsScene *scene);

/// The items of one class, lowest in the stack first.
template <class Item>
QList<Item *> itemsOf(const QGraphicsScene *scene)
{
    QList<Item *> found;
    const QList<QGraphicsItem *> items = scene->items(Qt::AscendingOrder);
    for (QGraphicsItem *item : items) {
        if (auto *typed = dynamic_cast<Item *>(item))
            found.append(typed);
    }
    return found;
}
