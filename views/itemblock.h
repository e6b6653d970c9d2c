// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QGraphicsItem>
#include <QRectF>

/// Neighbouring items of the time line, which are one to their scene: it finds and places the block, and
/// looks at the items inside only where the block is exposed or clicked. A scene of a hundred thousand items
/// then moves its marker as fast as an empty one, and takes a row out without searching for its items.
///
/// Shows nothing itself and stays at the origin, so that positions inside are those of the scene.
class ItemBlock : public QGraphicsItem
{
public:
    /// How many columns of the time line make a block.
    static constexpr int columns = 256;

    /// How many blocks so many columns take.
    static int count(int columnCount);
    /// Takes an item out of its scene. It is deleted once control is back in the event loop, since it may be
    /// handling an event.
    static void discard(QGraphicsItem *item);

    ItemBlock();

    /// Says where the items inside lie; none may reach out of it, not even later.
    void setBox(const QRectF &box);

    QRectF boundingRect() const override { return m_box; }
    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;

private:
    QRectF m_box;
};
