// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "processing/imageprocess.h"
#include "tests/support/testproject.h"

#include <QList>
#include <QPolygonF>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QVector>

#include <opencv2/core.hpp>

#include <functional>

/// Rendered frame sequences of moving objects whose outline is known on every frame, written as the frame
/// images of a video.
namespace TrackingClips
{

/// Where a body is: its outline and texture are turned and scaled around (0, 0) and then moved.
struct Pose {
    QPointF position;
    double angle = 0; ///< degrees
    double scale = 1;
};

struct Body {
    QPolygonF outline;
    std::function<Pose(int)> path;
    int seed = 1; ///< of the texture
    bool textured = true;
    cv::Scalar color = cv::Scalar(190, 220, 240); ///< of a body without texture

    /// True outline on `frame`, in frame pixels.
    QPolygonF outlineAt(int frame) const;
};

struct Clip {
    QSize size{320, 240};
    /// Drawn in this order; the first one is the annotated object.
    QVector<Body> bodies;
    int seed = 7; ///< of the background's texture
    bool textured = true;
    cv::Scalar color = cv::Scalar(60, 90, 50); ///< of a background without texture
    double noise = 0;                          ///< standard deviation of the grey levels, new on every frame

    /// 8-bit BGR.
    cv::Mat render(int frame) const;
    /// True outline of the annotated object.
    QPolygonF truth(int frame) const { return bodies.first().outlineAt(frame); }
};

/// An outline with a vertex about every 40 pixels around (0, 0).
QPolygonF blockOutline(double width, double height);

/// A textured block of 150 by 130 pixels over a textured background, on `path`.
Clip blockClip(const std::function<Pose(int)> &path);
/// From left to right at constant speed, in whole pixels.
Clip translation(int frames);
/// From left to right on a bow, in whole pixels.
Clip curve(int frames);
/// A small block of one colour, with some grain, before a background of another one.
Clip plainBlock();

/// Writes the images of all frames of `video` as high quality JPEG files.
void write(const VideoContainer &video, const Clip &clip);
/// Replaces the image of one frame.
void writeFrame(const VideoContainer &video, int frame, const cv::Mat &image);
/// Replaces the image of a frame by one in which nothing can be found.
void makeFlat(const VideoContainer &video, int frame);

/// An image without a file.
ImageProcess processOf(const cv::Mat &image);

/// Intersection over union of the areas of two outlines; 0 if both are empty.
double overlap(const QPolygonF &a, const QPolygonF &b, QSize size);

} // namespace TrackingClips

/// A project on a rendered clip with one object, which is the current one.
class TrackingProject : public TestProject
{
public:
    TrackingProject(const TrackingClips::Clip &clip, int frames);

    const VideoContainer &video() { return *state()->video; }
    /// Makes user key frames with the true outlines and fills the frames between them.
    void annotateTruth(const QList<int> &frames);
    /// Fills the frames between the key frames.
    void morph();
    QList<QPolygonF> polygons() const;
    /// Gives back polygons without touching the types.
    void setPolygons(const QList<QPolygonF> &polygons);
    /// Mean overlap with the truth over the frames `first` to `last`.
    double meanOverlap(int first, int last) const;

    TrackingClips::Clip clip;
    TrackedObject *object;
};

/// Says where two lists of polygons differ in any bit of a coordinate; empty when they are equal.
QString firstDifference(const QList<QPolygonF> &actual, const QList<QPolygonF> &expected);
