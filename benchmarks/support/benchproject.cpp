// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "benchmarks/support/benchproject.h"

#include "core/datastate.h"

#include <cmath>

namespace
{

constexpr double pi = 3.141592653589793;

/// The outline of object `index`, which drifts slowly inside the frame.
QPolygonF outlineOn(int frame, int index, const VideoContainer &video, int vertices)
{
    const double phase = 0.01 * frame + index;
    const QPointF centre(video.width * (0.5 + 0.3 * std::cos(phase)),
                         video.height * (0.5 + 0.3 * std::sin(phase)));
    return BenchProject::outline(centre, video.height * 0.1, vertices);
}

bool isUserKeyFrame(int frame, int lastFrame)
{
    return frame % BenchProject::keyFrameDistance == 0 || frame == lastFrame;
}

// Straight into the fields, as reading a project does: the slots would build the spans anew for every key
// frame.
void annotateAllFrames(TrackedObject &object, int index, const VideoContainer &video, int vertices)
{
    const int lastFrame = video.frameCount - 1;
    FrameSpan *span = object.frameSpans.first();
    span->type = FrameSpan::Visible;
    for (int frame = 0; frame <= lastFrame; ++frame) {
        const bool user = isUserKeyFrame(frame, lastFrame);
        object.keyFrames.at(frame)->polygon = outlineOn(frame, index, video, vertices);
        object.keyFrames.at(frame)->type = user ? KeyFrame::Visible : KeyFrame::Automatic;
        if (user && frame > 0 && frame < lastFrame) {
            span->end = frame;
            span = new FrameSpan(&object, FrameSpan::Visible, frame, lastFrame);
        }
        object.frameSpans[frame] = span;
    }
}

} // namespace

QPolygonF BenchProject::outline(QPointF centre, double radius, int vertices)
{
    QPolygonF polygon;
    for (int i = 0; i < vertices; ++i) {
        const double angle = -2 * pi * i / vertices; // the y axis points down
        polygon.append(centre + radius * QPointF(std::cos(angle), std::sin(angle)));
    }
    return polygon;
}

void BenchProject::addObjects(DataState &state, int vertices, int objects)
{
    for (int i = 0; i < objects; ++i) {
        state.addObject();
        annotateAllFrames(*state.objects.last(), i, *state.video, vertices);
    }
}
