// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QPolygonF>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QVector>

#include <opencv2/core.hpp>

/// Synthetic video whose content is known: textured shapes that move over a textured background.
namespace TestClips
{

/// One shape: an outline around (0, 0) in pixels, placed at `path(frame)`.
struct Shape {
    QPolygonF outline;
    QPointF start;
    /// Pixels per frame.
    QPointF velocity;
    /// Seeds the texture.
    int seed = 1;

    /// True outline on `frame`, in frame pixels.
    QPolygonF outlineAt(int frame) const;
};

struct Scene {
    QSize size{320, 240};
    QVector<Shape> shapes;
    int seed = 7;

    /// The image of `frame` (8-bit BGR). The frame number is written into its first 16 columns as black and
    /// white 16 x 16 squares, least significant bit on top, so that frameNumber() can read it back after
    /// lossy coding.
    cv::Mat render(int frame) const;
};

/// The frame number that Scene::render() drew into an image; -1 if the image is too small.
int frameNumber(const cv::Mat &image);

/// Encodes `frames` frames of `scene` to `path` with a FourCC such as "avc1", "mp4v", "MJPG", "XVID" or
/// "WMV2". Returns false when OpenCV has no such encoder here.
bool encode(const QString &path, const Scene &scene, int frames, double fps, const char *fourcc);

/// A square that moves right across the default scene.
Scene movingSquare();

} // namespace TestClips
