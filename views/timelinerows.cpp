// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/timelinerows.h"

#include "core/datastate.h"
#include "views/itemblock.h"
#include "views/prefetch.h"

#include <QHash>
#include <QVector>

#include <algorithm>
#include <numeric>
#include <utility>

namespace
{

/// The ranks of objects on one frame after the other.
class Ranks
{
public:
    /// Of objects in the stacking order of frame 0.
    explicit Ranks(const QList<TrackedObject *> &objects)
        : m_objects(objects)
        , m_values(objects.size())
        , m_ranks(objects.size())
    {
        for (int i = 0; i < objects.size(); ++i)
            m_indexes.insert(objects.at(i), i);
    }

    /// By the objects' order on frame 0. Sorts only where a stacking value is not that of the last frame
    /// asked for.
    const QVector<int> &on(int frame)
    {
        if (takeValues(frame) || frame == 0)
            sort(frame);
        return m_ranks;
    }

private:
    bool takeValues(int frame)
    {
        constexpr int ahead = 8; // frames
        bool others = false;
        int *value = m_values.data();
        for (const TrackedObject *object : m_objects) {
            const bool known = frame < object->keyFrames.size();
            if (frame + ahead < object->keyFrames.size())
                prefetch(&object->keyFrames.at(frame + ahead)->zOrder);
            const int now = known ? object->keyFrames.at(frame)->zOrder : 0;
            others = others || !known || now != *value;
            *value++ = now;
        }
        return others;
    }

    void sort(int frame)
    {
        const QList<TrackedObject *> sorted = g_state->getZOrderSortedList(frame);
        for (int rank = 0; rank < sorted.size(); ++rank)
            m_ranks[m_indexes.value(sorted.at(rank))] = rank;
    }

    const QList<TrackedObject *> m_objects;
    QHash<const TrackedObject *, int> m_indexes;
    QVector<int> m_values;
    QVector<int> m_ranks;
};

} // namespace

TimeLineRows::TimeLineRows(QGraphicsScene *scene)
    : m_scene(scene)
{
}

void TimeLineRows::update(const TimeLineGeometry &geometry)
{
    const int frameCount = g_state->video->frameCount;
    const QList<TrackedObject *> objects = g_state->getZOrderSortedList(0);
    const bool otherRows = takeObjects(objects, geometry, frameCount);
    const bool otherMarkers = updateMarkers(objects, geometry, frameCount);
    bool otherCurves = false;
    for (const auto &row : m_rows)
        otherCurves = row->updateCurves() || otherCurves;
    if (otherRows || otherMarkers)
        listMarkers();
    if (otherRows || otherCurves)
        listCurves();
}

/// Brings the rows into the order of the objects: keeps those of objects still there, takes those of others
/// away. Returns whether there are others than before, or in another order.
bool TimeLineRows::takeObjects(const QList<TrackedObject *> &objects, const TimeLineGeometry &geometry,
                               int frameCount)
{
    std::vector<std::unique_ptr<TimeLineRow>> old = std::move(m_rows);
    m_rows.clear();
    bool others = static_cast<int>(old.size()) != objects.size();
    for (TrackedObject *object : objects) {
        const auto found = std::find_if(
            old.begin(), old.end(), [&](const auto &row) { return row && row->isOf(object, frameCount); });
        others = others || found - old.begin() != static_cast<std::ptrdiff_t>(m_rows.size());
        if (found == old.end())
            m_rows.push_back(std::make_unique<TimeLineRow>(m_scene, object, geometry, frameCount));
        else
            m_rows.push_back(std::move(*found));
        m_rows.back()->setRank(static_cast<int>(m_rows.size()) - 1);
    }
    for (const auto &row : old) {
        if (row)
            row->discard();
    }
    return others;
}

bool TimeLineRows::updateMarkers(const QList<TrackedObject *> &objects, const TimeLineGeometry &geometry,
                                 int frameCount)
{
    bool others = false;
    Ranks ranks(objects);
    QVector<int> heights(objects.size() * ItemBlock::columns);
    for (int block = 0; block < ItemBlock::count(frameCount); ++block) {
        const int first = block * ItemBlock::columns;
        const int last = std::min(first + ItemBlock::columns, frameCount) - 1;
        for (int frame = first; frame <= last; ++frame) {
            const QVector<int> &ranksNow = ranks.on(frame);
            for (int i = 0; i < objects.size(); ++i)
                heights[i * ItemBlock::columns + frame - first] = geometry.rankToY(ranksNow.at(i));
        }
        for (int i = 0; i < objects.size(); ++i)
            others = m_rows[i]->updateMarkers(block, &heights.at(i * ItemBlock::columns)) || others;
    }
    return others;
}

void TimeLineRows::clear()
{
    for (const auto &row : m_rows)
        row->discard();
    m_rows.clear();
    listMarkers();
    listCurves();
}

void TimeLineRows::listMarkers()
{
    m_markers.clear();
    m_markers.reserve(std::accumulate(m_rows.begin(), m_rows.end(), 0,
                                      [](int count, const auto &row) { return count + row->frameCount(); }));
    for (const auto &row : m_rows)
        row->appendMarkers(m_markers);
}

void TimeLineRows::listCurves()
{
    m_curves.clear();
    for (const auto &row : m_rows)
        row->appendCurves(m_curves);
}
