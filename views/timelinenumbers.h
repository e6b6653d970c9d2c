// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "views/timelinegeometry.h"

#include <QFont>
#include <QVector>

class ItemBlock;
class QGraphicsScene;

/// The numbers of the frames in the time line's header, from 1, each in the middle of its column.
class TimeLineNumbers
{
public:
    explicit TimeLineNumbers(QGraphicsScene *scene);

    /// Makes numbers anew where they differ.
    void update(const TimeLineGeometry &geometry, int frameCount);

private:
    void addBlock(const TimeLineGeometry &geometry, int first, int end);

    QGraphicsScene *m_scene;
    QVector<ItemBlock *> m_blocks;
    TimeLineGeometry m_geometry;
    int m_frameCount = 0;
    QFont m_font;
};
