// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/timelinegeometry.h"

#include <cmath>

namespace
{

int floored(double value)
{
    return static_cast<int>(std::floor(value));
}

} // namespace

int TimeLineGeometry::columnLeft(int frame) const
{
    return frameWidth * frame;
}

double TimeLineGeometry::columnCentre(int frame) const
{
    return frameWidth * (frame + 0.5);
}

int TimeLineGeometry::frameToX(int frame) const
{
    return static_cast<int>(columnCentre(frame));
}

int TimeLineGeometry::xToFrame(int x) const
{
    return floored(static_cast<double>(x) / frameWidth);
}

int TimeLineGeometry::rowTop(int rank) const
{
    return rowHeight * rank;
}

int TimeLineGeometry::rankToY(int rank) const
{
    return static_cast<int>((rank + 0.5) * rowHeight);
}

int TimeLineGeometry::yToRank(int y) const
{
    return floored(static_cast<double>(y) / rowHeight);
}

int TimeLineGeometry::width(int frameCount) const
{
    return frameWidth * frameCount;
}

int TimeLineGeometry::height(int rowCount) const
{
    return rowHeight * rowCount;
}

bool TimeLineGeometry::operator==(const TimeLineGeometry &other) const
{
    return frameWidth == other.frameWidth && rowHeight == other.rowHeight;
}
