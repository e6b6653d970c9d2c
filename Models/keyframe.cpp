// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/keyframe.h"

#include "Models/trackedobject.h"

KeyFrame::KeyFrame(TrackedObject *owner, int frameNumber, KeyFrame::Type frameType)
    : QObject(owner)
    , object(owner)
    , frame(frameNumber)
    , type(frameType)
    , zOrder(owner->id)
{
}

QPolygonF KeyFrame::polygonSnapshot() const
{
    const std::lock_guard<std::mutex> lock(m_polygonMutex);
    return polygon;
}

void KeyFrame::setNewPolygon(QPolygonF newPolygon)
{
    {
        const std::lock_guard<std::mutex> lock(m_polygonMutex);
        polygon = newPolygon;
    }
    emit hasChanged(PolygonChanged);
}

void KeyFrame::setType(KeyFrame::Type newType)
{
    type = newType;
    emit hasChanged(TypeChanged);
}
