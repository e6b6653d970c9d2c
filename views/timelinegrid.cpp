// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/timelinegrid.h"

#include "views/itemblock.h"

#include <QGraphicsLineItem>
#include <QGraphicsScene>

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

} // namespace

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
