// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/timelinenumbers.h"

#include "views/itemblock.h"

#include <QGraphicsScene>
#include <QGraphicsSimpleTextItem>
#include <QPen>

#include <algorithm>

namespace
{

/// A text whose pen and brush, though as every text's, are shared by all of them: a third of its memory.
QGraphicsSimpleTextItem *createNumber(const QString &text)
{
    static const QPen pen = QGraphicsSimpleTextItem().pen();
    static const QBrush brush = QGraphicsSimpleTextItem().brush();
    auto *number = new QGraphicsSimpleTextItem;
    number->setPen(QPen(Qt::red)); // one that is equal would not be taken
    number->setPen(pen);
    number->setBrush(Qt::NoBrush);
    number->setBrush(brush);
    number->setText(text);
    return number;
}

} // namespace

TimeLineNumbers::TimeLineNumbers(QGraphicsScene *scene)
    : m_scene(scene)
{
}

void TimeLineNumbers::update(const TimeLineGeometry &geometry, int frameCount)
{
    const QFont font = QGraphicsSimpleTextItem().font();
    if (geometry == m_geometry && frameCount == m_frameCount && font == m_font)
        return;
    qDeleteAll(m_blocks);
    m_blocks.clear();
    m_geometry = geometry;
    m_frameCount = frameCount;
    m_font = font;
    for (int first = 0; first < frameCount; first += ItemBlock::columns)
        addBlock(geometry, first, std::min(first + ItemBlock::columns, frameCount));
}

void TimeLineNumbers::addBlock(const TimeLineGeometry &geometry, int first, int end)
{
    auto *block = new ItemBlock;
    for (int frame = first; frame < end; ++frame) {
        auto *number = createNumber(QString::number(frame + 1));
        number->setParentItem(block);
        const double left = geometry.columnCentre(frame) - number->boundingRect().width() / 2;
        number->setPos(static_cast<int>(left), 0);
    }
    block->setBox(block->childrenBoundingRect());
    m_scene->addItem(block);
    m_blocks.append(block);
}
