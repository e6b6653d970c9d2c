// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QPointF>
#include <QPolygonF>
#include <QRectF>

#include <opencv2/core/types.hpp>

#include <Eigen/Geometry>

#include <vector>

/// Plane geometry on Qt points and polygons. Coordinates are image pixels, y grows downwards; the closing
/// edge of a polygon is implied. None of these fails.
namespace Functions
{

/// True when the sum of (y_i + y_j)(x_j - x_i) over the edges is not negative; also for outlines without
/// area.
bool isCounterClockwise(QPolygonF poly);
/// Angle opposite side `c` in radians; NaN for sides that make no triangle.
double triangleAngleCFromSidesABC(double a, double b, double c);
double vecLength(QPointF v);
/// Turn from `v2` to `v1` in the sense of growing atan2, in degrees in [0, 360).
double degAngleCounterClockwise(QPointF v1, QPointF v2);
/// Squared length by way of the length, so that it can differ from x*x + y*y in the last bits.
double vecLengthSquared(QPointF v);
double distance(QPointF p1, QPointF p2);
double dot(QPointF v1, QPointF v2);
/// Distance of `p` from the infinite line through `a` and `b`; not finite when `a` equals `b`.
double distToLine(QPointF p, QPointF a, QPointF b);
/// Distance of `p` from the segment between `a` and `b`.
double distToLineSegment(QPointF p, QPointF a, QPointF b);
/// Vertices rounded to whole pixels, halves away from zero; none is dropped.
std::vector<cv::Point> getOpenCvPolygon(QPolygonF poly);
QPolygonF getQPolygonF(std::vector<cv::Point> pts);
/// The polygon with every vertex moved by `t`.
QPolygonF transformPolygonAffine(QPolygonF poly, Eigen::Affine2d t);

/// `value` rounded to the nearest whole number, halves away from zero; cut to the range of int, 0 for NaN.
int roundToInt(double value);

/// The part of the polygon inside `rect`, again with every vertex once; empty when nothing is left. Takes
/// bounded time: an outline with thousands of crossings keeps them, and its parts stay joined along the edges
/// of `rect`.
QPolygonF clippedToRect(QPolygonF poly, QRectF rect);

/// `p` moved into `bounds`: x into [left, width], y into [top, height]. The upper limits are the size, not
/// the right and bottom edges; for a frame image, which lies at the origin, the two agree.
QPointF clampToFrame(QPointF p, QRectF bounds);

} // namespace Functions
