// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/framespan.h"

#include "Models/trackedobject.h"

FrameSpan::FrameSpan(TrackedObject *owner, FrameSpan::Type spanType, int first, int last)
    : QObject(owner)
    , object(owner)
    , type(spanType)
    , start(first)
    , end(last)
{
}

void FrameSpan::setType(FrameSpan::Type newType)
{
    type = newType;
    object->countChange();
    emit hasChanged(TypeChanged);
}
