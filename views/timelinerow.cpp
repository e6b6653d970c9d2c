// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/timelinerow.h"

#include "Models/trackedobject.h"
#include "views/framespangraphicsitem.h"
#include "views/itemblock.h"
#include "views/keyframegraphicsitem.h"
#include "views/prefetch.h"

#include <QGraphicsScene>

#include <algorithm>

namespace
{

constexpr double curveLayer = 1.0;
constexpr double markerLayer = 2.0;
constexpr double markerReach = 10.0; // pixels: no marker reaches further from its centre

/// Has the processor fetch the markers some way behind, with their places if they are going to move.
void prefetchMarkers(const QList<QGraphicsItem *> &markers, int index, bool moving)
{
    constexpr int far = 16; // markers
    constexpr int near = 8;
    const auto markerAt = [&markers](int i) {
        return static_cast<const KeyFrameGraphicsItem *>(markers.at(std::min(i, markers.size() - 1)));
    };
    prefetch(&markerAt(index + far)->keyFrame);
    if (moving)
        markerAt(index + near)->prefetchPlace();
}

/// Z value of a row in a layer, in which rows of higher rank lie in front.
double layerZ(double layer, int rank)
{
    return layer + rank / (rank + 1.0);
}

} // namespace

TimeLineRow::TimeLineRow(QGraphicsScene *scene, TrackedObject *object, const TimeLineGeometry &geometry,
                         int frameCount)
    : m_scene(scene)
    , m_object(object)
    , m_geometry(geometry)
    , m_heights(std::min(object->keyFrames.size(), frameCount))
    , m_markerBlocks(ItemBlock::count(m_heights.size()))
    , m_curveBlocks(m_markerBlocks.size())
{
}

bool TimeLineRow::isOf(const TrackedObject *object, int frameCount) const
{
    return m_object == object && m_heights.size() == std::min(object->keyFrames.size(), frameCount);
}

void TimeLineRow::setRank(int rank)
{
    if (rank == m_rank)
        return;
    m_rank = rank;
    for (ItemBlock *block : qAsConst(m_markerBlocks)) {
        if (block)
            block->setZValue(layerZ(markerLayer, rank));
    }
    for (ItemBlock *block : qAsConst(m_curveBlocks)) {
        if (block)
            block->setZValue(layerZ(curveLayer, rank));
    }
}

int TimeLineRow::blockEnd(int block) const
{
    return std::min((block + 1) * ItemBlock::columns, m_heights.size());
}

bool TimeLineRow::updateMarkers(int block, const int *heights)
{
    if (block >= m_markerBlocks.size())
        return false;
    if (!m_markerBlocks.at(block)) {
        makeMarkers(block, heights);
        return true;
    }
    const QList<QGraphicsItem *> markers = m_markerBlocks.at(block)->childItems();
    bool moved = false;
    bool others = false;
    for (int i = 0; i < markers.size(); ++i) {
        const int frame = block * ItemBlock::columns + i;
        const bool moving = heights[i] != m_heights.at(frame);
        prefetchMarkers(markers, i, moving);
        auto *marker = static_cast<KeyFrameGraphicsItem *>(markers.at(i));
        if (moving) {
            marker->setPos(m_geometry.frameToX(frame), heights[i]);
            m_heights[frame] = heights[i];
            moved = true;
        }
        others = updateMarker(marker, m_object->keyFrames.at(frame)) || others;
    }
    if (moved)
        fitMarkers(block);
    return others;
}

void TimeLineRow::makeMarkers(int block, const int *heights)
{
    auto *items = new ItemBlock;
    items->setZValue(layerZ(markerLayer, m_rank));
    for (int frame = block * ItemBlock::columns; frame < blockEnd(block); ++frame) {
        m_heights[frame] = *heights++;
        const QPointF position(m_geometry.frameToX(frame), m_heights.at(frame));
        new KeyFrameGraphicsItem(items, position, m_object->keyFrames.at(frame));
    }
    m_markerBlocks[block] = items;
    fitMarkers(block);
    m_scene->addItem(items);
}

/// Styles a marker. Returns whether it had to give way to another one, since its key frame did.
bool TimeLineRow::updateMarker(KeyFrameGraphicsItem *marker, KeyFrame *keyFrame)
{
    if (marker->isOf(keyFrame)) {
        marker->updateStyle();
        return false;
    }
    auto *other = new KeyFrameGraphicsItem(marker->parentItem(), marker->pos(), keyFrame);
    other->stackBefore(marker);
    ItemBlock::discard(marker);
    return true;
}

void TimeLineRow::fitMarkers(int block)
{
    const auto *const heights = m_heights.constData();
    const int first = block * ItemBlock::columns;
    const auto extremes = std::minmax_element(heights + first, heights + blockEnd(block));
    const QPointF topLeft(m_geometry.frameToX(first), *extremes.first);
    const QPointF bottomRight(m_geometry.frameToX(blockEnd(block) - 1), *extremes.second);
    const QPointF margin(markerReach, markerReach);
    m_markerBlocks.at(block)->setBox(QRectF(topLeft - margin, bottomRight + margin));
}

bool TimeLineRow::Curve::leadsLike(const Curve &other) const
{
    return span == other.span && start == other.start && end == other.end;
}

/// With a span that may have changed its end, or its rows.
bool TimeLineRow::Curve::startsLike(const Curve &other) const
{
    return span == other.span && startFrame == other.startFrame;
}

int TimeLineRow::Curve::block() const
{
    return startFrame / ItemBlock::columns;
}

std::vector<TimeLineRow::Curve> TimeLineRow::wantedCurves() const
{
    std::vector<Curve> curves;
    const int lastFrame = std::min(m_heights.size(), m_object->frameSpans.size()) - 1;
    for (int frame = 0; frame < lastFrame;) {
        FrameSpan *span = m_object->frameSpans.at(frame);
        if (span->end <= frame || span->end > lastFrame)
            break;
        Curve curve;
        curve.span = span;
        curve.startFrame = frame;
        curve.start = QPoint(m_geometry.frameToX(frame), m_heights.at(frame));
        curve.end = QPoint(m_geometry.frameToX(span->end), m_heights.at(span->end));
        curves.push_back(curve);
        frame = span->end;
    }
    return curves;
}

bool TimeLineRow::updateCurves()
{
    std::vector<Curve> wanted = wantedCurves();
    const size_t common = std::min(wanted.size(), m_curves.size());
    size_t first = 0;
    while (first < common && wanted[first].leadsLike(m_curves[first]))
        ++first;
    size_t behind = 0;
    while (behind < common - first &&
           wanted[wanted.size() - 1 - behind].leadsLike(m_curves[m_curves.size() - 1 - behind]))
        ++behind;
    bool others = false;
    if (first + behind < std::max(wanted.size(), m_curves.size()))
        others = replaceCurves(std::move(wanted), first, behind);
    for (const Curve &curve : m_curves)
        curve.item->updateStyle();
    return others;
}

/// Takes over the wanted curves. The first ones and those behind the changed ones keep their items, and so do
/// those between whose spans come in the old order.
bool TimeLineRow::replaceCurves(std::vector<Curve> wanted, size_t first, size_t behind)
{
    const size_t oldEnd = m_curves.size() - behind;
    const size_t wantedEnd = wanted.size() - behind;
    if (!m_curveBlocks.first())
        makeCurveBlocks();
    for (size_t i = 0; i < first; ++i)
        wanted[i].item = m_curves[i].item;
    for (size_t i = 0; i < behind; ++i)
        wanted[wantedEnd + i].item = m_curves[oldEnd + i].item;
    size_t old = first;
    for (size_t i = first; i < wantedEnd && old < oldEnd; ++i) {
        if (wanted[i].startsLike(m_curves[old])) {
            wanted[i].item = m_curves[old++].item;
            wanted[i].item->place(wanted[i].start, wanted[i].end);
        }
    }
    const bool others = old < oldEnd || wanted.size() > m_curves.size();
    for (; old < oldEnd; ++old)
        ItemBlock::discard(m_curves[old].item);
    m_curves = std::move(wanted);
    for (size_t i = wantedEnd; i > first; --i) { // from behind: each is stacked below the next one
        if (!m_curves[i - 1].item)
            makeCurve(i - 1);
    }
    fitCurves();
    return others;
}

/// The curve in front of it, if there is one in its block, has its item already.
void TimeLineRow::makeCurve(size_t index)
{
    Curve &curve = m_curves[index];
    curve.item =
        new FrameSpanGraphicsItem(m_curveBlocks.at(curve.block()), curve.start, curve.end, curve.span);
    if (index + 1 < m_curves.size() && m_curves[index + 1].block() == curve.block())
        curve.item->stackBefore(m_curves[index + 1].item);
}

void TimeLineRow::makeCurveBlocks()
{
    for (ItemBlock *&block : m_curveBlocks) {
        block = new ItemBlock;
        block->setZValue(layerZ(curveLayer, m_rank));
        m_scene->addItem(block);
    }
}

void TimeLineRow::fitCurves()
{
    QVector<QRectF> boxes(m_curveBlocks.size());
    for (const Curve &curve : m_curves)
        boxes[curve.block()] |= curve.item->boundingRect();
    for (int i = 0; i < boxes.size(); ++i)
        m_curveBlocks.at(i)->setBox(boxes.at(i));
}

void TimeLineRow::discard()
{
    for (const QVector<ItemBlock *> &blocks : {m_curveBlocks, m_markerBlocks}) {
        for (ItemBlock *block : blocks) {
            if (block)
                ItemBlock::discard(block);
        }
    }
}

void TimeLineRow::appendMarkers(QList<KeyFrameGraphicsItem *> &list) const
{
    for (const ItemBlock *block : m_markerBlocks) {
        const QList<QGraphicsItem *> markers = block->childItems();
        for (QGraphicsItem *marker : markers)
            list.append(static_cast<KeyFrameGraphicsItem *>(marker));
    }
}

void TimeLineRow::appendCurves(QList<FrameSpanGraphicsItem *> &list) const
{
    for (const Curve &curve : m_curves)
        list.append(curve.item);
}
