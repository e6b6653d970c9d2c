// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/timelinecolumns.h"

#include "views/itemblock.h"

#include <QGraphicsLineItem>
#include <QGraphicsScene>
#include <QGraphicsSimpleTextItem>
#include <QPen>

#include <algorithm>

namespace
{

/// A vertical line.
class GridLine : public QGraphicsLineItem
{
public:
    using QGraphicsLineItem::QGraphicsLineItem;

    /// Without the base class's stroking of the line, which is slow for the many lines of a long video.
    QRectF boundingRect() const override
    {
        constexpr double margin = 1.0; // pixels
        return QRectF(line().p1(), line().p2()).adjusted(-margin, -margin, margin, margin);
    }
};

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

TimeLineGrid::TimeLineGrid(QGraphicsScene *scene)
    : m_scene(scene)
{
}

void TimeLineGrid::update(const TimeLineGeometry &geometry, int frameCount, int bottom)
{
    if (geometry != m_geometry || frameCount != m_frameCount) {
        clear();
        m_geometry = geometry;
        m_frameCount = frameCount;
        for (int first = 0; first < frameCount; first += ItemBlock::columns)
            addBlock(geometry, first, std::min(first + ItemBlock::columns, frameCount));
    }
    if (bottom != m_bottom)
        setBottom(bottom);
}

void TimeLineGrid::addBlock(const TimeLineGeometry &geometry, int first, int end)
{
    auto *block = new ItemBlock;
    for (int frame = first; frame < end; ++frame) {
        const int x = geometry.frameToX(frame);
        new GridLine(x, 0, x, 0, block);
    }
    m_scene->addItem(block);
    m_blocks.append(block);
}

void TimeLineGrid::setBottom(int bottom)
{
    for (ItemBlock *block : qAsConst(m_blocks)) {
        const QList<QGraphicsItem *> lines = block->childItems();
        for (QGraphicsItem *item : lines) {
            auto *line = static_cast<QGraphicsLineItem *>(item);
            const double x = line->line().x1();
            line->setLine(x, 0, x, bottom);
        }
        block->setBox(lines.first()->boundingRect() | lines.last()->boundingRect());
    }
    m_bottom = bottom;
}

void TimeLineGrid::clear()
{
    qDeleteAll(m_blocks);
    m_blocks.clear();
    m_frameCount = 0;
    m_bottom = 0;
}
