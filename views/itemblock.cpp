// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/itemblock.h"

#include <QGraphicsScene>
#include <QObject>

#include <memory>

namespace
{

/// Deletes an item together with itself.
class DiscardedItem : public QObject
{
public:
    explicit DiscardedItem(QGraphicsItem *item)
        : m_item(item)
    {
    }

private:
    const std::unique_ptr<QGraphicsItem> m_item;
};

} // namespace

int ItemBlock::count(int columnCount)
{
    return (columnCount + columns - 1) / columns;
}

void ItemBlock::discard(QGraphicsItem *item)
{
    if (QGraphicsScene *scene = item->scene())
        scene->removeItem(item);
    (new DiscardedItem(item))->deleteLater();
}

ItemBlock::ItemBlock()
{
    setFlag(ItemContainsChildrenInShape);
    setAcceptedMouseButtons(Qt::NoButton);
}

void ItemBlock::setBox(const QRectF &box)
{
    if (box == m_box)
        return;
    prepareGeometryChange();
    m_box = box;
}

void ItemBlock::paint(QPainter * /*painter*/, const QStyleOptionGraphicsItem * /*option*/,
                      QWidget * /*widget*/)
{
}
