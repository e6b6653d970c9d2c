// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
// Prints how well the outlines follow objects whose true outlines are known, after morphing alone, after
// automatic tracking, and after segmentation of the tracked outlines.

#include "processing/aoicutsegmentation.h"
#include "processing/aoitracking.h"
#include "tests/support/clips.h"
#include "tests/support/trackingproject.h"

#include <QApplication>

#include <cmath>
#include <cstdio>

namespace
{

constexpr int maxDistance = 18;
constexpr int frames = 31;
constexpr double pi = 3.141592653589793;

using Clips::Clip;
using Clips::Pose;

Pose at(double x, double y, double angle = 0, double scale = 1)
{
    Pose pose;
    pose.position = QPointF(x, y);
    pose.angle = angle;
    pose.scale = scale;
    return pose;
}

Clip crossing()
{
    Clip clip = Clips::curve(frames);
    Clips::Body other;
    other.outline = Clips::blockOutline(30, 60);
    other.seed = 23;
    other.path = [](int frame) { return at(300 - 9 * frame, 60 + 4 * frame); };
    clip.bodies.append(other);
    return clip;
}

Clip withNoise()
{
    Clip clip = Clips::curve(frames);
    clip.noise = 4;
    return clip;
}

/// A path with a wobble of one pixel that nobody can annotate on two key frames.
Clip jittering()
{
    return Clips::blockClip(
        [](int frame) { return at(100 + 4 * frame + (frame * 7) % 3 - 1, 120 + (frame * 5) % 3 - 1); });
}

Clip cleanObject()
{
    Clip clip = Clips::plainBlock();
    return clip;
}

struct Row {
    const char *name;
    Clip clip;
};

void print(const Row &row)
{
    TrackingProject project(row.clip, frames);
    project.annotateTruth({0, frames - 1});
    project.morph();
    const double morphed = project.meanOverlap(1, frames - 2);
    AOItracking(project.state(), false, maxDistance).automaticTracking();
    const double tracked = project.meanOverlap(1, frames - 2);
    AoiCutSegmentation(project.state()).runSegmenation();
    const double segmented = project.meanOverlap(1, frames - 2);
    std::printf("| %-28s | %6.3f | %7.3f | %22.3f |\n", row.name, morphed, tracked, segmented);
}

} // namespace

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    const Row rows[] = {
        {"translation", Clips::translation(frames)},
        {"curved path", Clips::curve(frames)},
        {"slight rotation", Clips::blockClip([](int frame) {
             return at(100 + 4 * frame, 120 + std::round(30 * std::sin(frame * pi / 30)),
                       10 * std::sin(frame * pi / 15));
         })},
        {"growing", Clips::blockClip([](int frame) {
             return at(100 + 4 * frame, 120 + std::round(30 * std::sin(frame * pi / 30)), 0,
                       0.9 + 0.006 * frame);
         })},
        {"stop halfway", Clips::blockClip([](int frame) { return at(100 + 8 * std::min(frame, 15), 120); })},
        {"another object crosses", crossing()},
        {"one pixel of jitter", jittering()},
        {"noise", withNoise()},
        {"plain object, plain ground", cleanObject()},
    };
    std::printf("Mean overlap (intersection over union) with the true outline, key frames at both ends of %d "
                "frames\n\n",
                frames);
    std::printf("| %-28s | %6s | %7s | %22s |\n", "clip", "morph", "aTrack", "aTrack + segmentation");
    std::printf("|---|---|---|---|\n");
    for (const Row &row : rows)
        print(row);
    return 0;
}
