// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "benchmarks/support/benchproject.h"

#include "core/datastate.h"
#include "tests/support/testproject.h"

#include <cmath>

namespace
{

constexpr double pi = 3.141592653589793;

/// The outline of object `index`, which drifts slowly inside the frame.
QPolygonF outlineOn(int frame, int index, const VideoContainer &video)
{
    const double phase = 0.01 * frame + index;
    const QPointF centre(video.width * (0.5 + 0.3 * std::cos(phase)),
                         video.height * (0.5 + 0.3 * std::sin(phase)));
    return BenchProject::outline(centre, video.height * 0.1);
}

void annotateAllFrames(TrackedObject *object, int index, const VideoContainer &video)
{
    // A key frame of the user clears the frames around it, so all of these come first.
    for (int frame = 0; frame < video.frameCount; frame += BenchProject::keyFrameDistance)
        annotate(object, frame, outlineOn(frame, index, video));
    for (int frame = 0; frame < video.frameCount; ++frame) {
        if (frame % BenchProject::keyFrameDistance != 0)
            annotate(object, frame, outlineOn(frame, index, video), KeyFrame::Automatic);
    }
}

} // namespace

QPolygonF BenchProject::outline(QPointF centre, double radius)
{
    QPolygonF polygon;
    for (int i = 0; i < vertexCount; ++i) {
        const double angle = -2 * pi * i / vertexCount; // the y axis points down
        polygon.append(centre + radius * QPointF(std::cos(angle), std::sin(angle)));
    }
    return polygon;
}

void BenchProject::addObjects(DataState &state)
{
    for (int i = 0; i < objectCount; ++i) {
        state.addObject();
        annotateAllFrames(state.objects.last(), i, *state.video);
    }
}
