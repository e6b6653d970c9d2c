// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "Models/videocontainer.h"
#include "processing/imageprocess.h"

#include <QPointF>
#include <QPolygonF>
#include <QSize>
#include <QString>
#include <QVector>

#include <opencv2/core.hpp>

#include <functional>

/// Clips whose content is known: bodies with an outline that move on a path over a ground. They are rendered
/// image by image, encoded as a video, or written as the frame images of one.
namespace Clips
{

/// Where a body is: its outline and texture are turned and scaled around (0, 0) and then moved.
struct Pose {
    QPointF position;
    double angle = 0; ///< degrees
    double scale = 1;
};

/// The pose on every frame.
using Path = std::function<Pose(int)>;

enum class Look {
    Plain,    ///< of one colour
    Blotches, ///< of a few pixels and all colours, with corners of all strengths
    Paint     ///< rough paint for people to look at: bodies with a rim and a shadow, a soft landscape
};

struct Body {
    QPolygonF outline; ///< around (0, 0)
    Path path;
    int seed = 1; ///< of the texture, which moves with the body
    Look look = Look::Blotches;
    cv::Scalar color = cv::Scalar(190, 220, 240); ///< BGR, of all but blotches
    QString name = QString();

    /// True outline on `frame`, in frame pixels.
    QPolygonF outlineAt(int frame) const;
};

struct Clip {
    QSize size{320, 240};
    /// From back to front; the first one is the annotated object.
    QVector<Body> bodies;
    int seed = 7; ///< of the ground's texture
    Look look = Look::Blotches;
    cv::Scalar color = cv::Scalar(60, 90, 50); ///< BGR, of a plain ground
    double noise = 0;                          ///< standard deviation of the grey levels, new on every frame
    /// Writes the frame number into the first 16 columns as black and white 16 x 16 squares, least
    /// significant bit on top, so that frameNumber() can read it back after lossy coding.
    bool numbered = false;

    /// 8-bit BGR.
    cv::Mat render(int frame) const;
    /// True outline of the annotated object.
    QPolygonF truth(int frame) const { return bodies.first().outlineAt(frame); }
};

/// A straight path, `velocity` pixels per frame.
Path straight(QPointF start, QPointF velocity);
/// An outline with a vertex about every 40 pixels around (0, 0).
QPolygonF blockOutline(double width, double height);

/// A textured block of 150 by 130 pixels over a textured ground, on `path`.
Clip blockClip(const Path &path);
/// From left to right at constant speed, in whole pixels.
Clip translation(int frames);
/// From left to right on a bow, in whole pixels.
Clip curve(int frames);
/// A small block of one colour, with some grain, before a ground of another one.
Clip plainBlock();
/// A textured ground without any body, numbered.
Clip numberedGround(QSize size = QSize(320, 240));
/// A square that moves right over a numbered ground.
Clip movingSquare();

/// The frame number that is written into an image; -1 if the image is too small.
int frameNumber(const cv::Mat &image);

/// Encodes the first `frames` frames to `path` with a FourCC such as "avc1", "mp4v", "MJPG", "XVID" or
/// "WMV2". Returns false when OpenCV has no such encoder here.
bool encode(const QString &path, const Clip &clip, int frames, double fps, const char *fourcc);
/// The same with the first encoder for MP4 files that works here.
bool encodeMp4(const QString &path, const Clip &clip, int frames, double fps);

/// Writes the images of all frames of `video` as high quality JPEG files.
void write(const VideoContainer &video, const Clip &clip);
/// Replaces the image of one frame.
void writeFrame(const VideoContainer &video, int frame, const cv::Mat &image);
/// Replaces the image of a frame by one in which nothing can be found.
void makeFlat(const VideoContainer &video, int frame);
/// Replaces the image of a frame, of 320 by 240 pixels, by one without any contrast, for which a round of
/// GrabCut takes ten seconds. Returns the outline that it takes them from.
QPolygonF makeSlowToCut(const VideoContainer &video, int frame);

/// An image without a file.
ImageProcess processOf(const cv::Mat &image);

/// Intersection over union of the areas of two outlines; 0 if both are empty.
double overlap(const QPolygonF &a, const QPolygonF &b, QSize size);

} // namespace Clips
