// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/randomgestures.h"

#include "core/datastate.h"
#include "processing/morph.h"

#include <functional>
#include <utility>
#include <vector>

TrackedObject *RandomGestures::object(DataState &state)
{
    if (state.objects.isEmpty())
        state.addObject();
    return state.objects.at(below(state.objects.size()));
}

KeyFrame *RandomGestures::keyFrame(DataState &state)
{
    TrackedObject *owner = object(state);
    const int last = owner->keyFrames.size() - 1;
    switch (below(6)) { // both ends of the video have rules of their own
    case 0:
        return owner->keyFrames.first();
    case 1:
        return owner->keyFrames.at(last);
    default:
        return owner->keyFrames.at(below(last + 1));
    }
}

QPolygonF RandomGestures::outline()
{
    QPolygonF polygon;
    for (int i = below(6); i >= 0; --i)
        polygon.append(QPointF(below(640) / 3.0, below(480) / 7.0));
    return polygon;
}

QString RandomGestures::make(DataState &state)
{
    using Gesture = std::pair<const char *, std::function<void()>>;
    const std::vector<Gesture> gestures = {
        {"draw", [&] { keyFrame(state)->annotate(outline(), KeyFrame::Visible); }},
        {"draw elsewhere", [&] { keyFrame(state)->annotate(outline(), KeyFrame::Occluded); }},
        {"change an outline", [&] { keyFrame(state)->setNewPolygon(outline()); }},
        {"change a type", [&] { keyFrame(state)->setType(static_cast<KeyFrame::Type>(below(4))); }},
        {"remove a key frame", [&] { keyFrame(state)->annotate(QPolygonF(), KeyFrame::None); }},
        {"thin an outline", [&] { keyFrame(state)->reducePolygonVertices(); }},
        {"change a span",
         [&] {
             const TrackedObject *owner = object(state);
             owner->frameSpans.at(below(owner->frameSpans.size()))
                 ->setType(static_cast<FrameSpan::Type>(below(3)));
         }},
        {"switch the order",
         [&] {
             TrackedObject *owner = object(state);
             owner->switchOrderWith(object(state), below(owner->keyFrames.size()));
         }},
        {"rename", [&] { object(state)->changeName(QStringLiteral("name %1").arg(below(1000))); }},
        {"add an object", [&] { state.addObject(); }},
        {"delete an object", [&] { state.deleteObject(object(state)->id); }},
        {"morph", [&] { Morph(&state).linearMorphing(0, -1); }},
        {"choose an object", [&] { state.setCurrentObject(object(state)->id); }},
        {"go to a frame", [&] { state.setFrame(keyFrame(state)->frame); }},
    };
    const Gesture &gesture = gestures.at(static_cast<std::size_t>(below(static_cast<int>(gestures.size()))));
    gesture.second();
    return QLatin1String(gesture.first);
}
