// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "views/timelinegeometry.h"

#include <QVector>

class ItemBlock;
class QGraphicsScene;

/// The lines in the time line's body, one down the middle of every column.
class TimeLineGrid
{
public:
    explicit TimeLineGrid(QGraphicsScene *scene);

    /// Leads a line for every frame from 0 to `bottom`, in scene pixels.
    void update(const TimeLineGeometry &geometry, int frameCount, int bottom);
    /// Takes the lines away.
    void clear();

private:
    void addBlock(const TimeLineGeometry &geometry, int first, int end);
    void setBottom(int bottom);

    QGraphicsScene *m_scene;
    QVector<ItemBlock *> m_blocks;
    TimeLineGeometry m_geometry;
    int m_frameCount = 0;
    int m_bottom = 0;
};
