// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/gui/democlip.h"

#include <QtMath>

namespace
{

QPolygonF regularPolygon(int corners, double radius, double turn)
{
    QPolygonF polygon;
    for (int i = 0; i < corners; ++i) {
        const double angle = qDegreesToRadians(turn - 360.0 * i / corners);
        polygon.append(QPointF(radius * qCos(angle), radius * qSin(angle)));
    }
    return polygon;
}

/// With a vertex in the middle of every edge.
QPolygonF withMidpoints(const QPolygonF &polygon)
{
    QPolygonF result;
    for (int i = 0; i < polygon.size(); ++i) {
        const QPointF next = polygon.at((i + 1) % polygon.size());
        result << polygon.at(i) << (polygon.at(i) + next) / 2;
    }
    return result;
}

/// A path whose chord starts at `start` and goes on by `velocity` pixels per frame. It leaves the chord by
/// `bow` in the middle of the clip's first half, and by half as much to the other side in the second half. In
/// whole pixels, so that the texture looks the same on every frame.
Clips::Path bowPath(QPointF start, QPointF velocity, QPointF bow)
{
    return [=](int frame) {
        const int turn = DemoClip::turnFrame;
        const bool firstHalf = frame < turn;
        const double part = firstHalf ? static_cast<double>(frame) / turn
                                      : static_cast<double>(frame - turn) / (DemoClip::frameCount - 1 - turn);
        const QPointF aside = bow * qSin(M_PI * part) * (firstHalf ? 1.0 : -0.5);
        Clips::Pose pose;
        pose.position = (start + velocity * frame + aside).toPoint();
        return pose;
    };
}

Clips::Body painted(const QString &name, const QPolygonF &outline, const Clips::Path &path,
                    const cv::Scalar &color)
{
    Clips::Body body;
    body.name = name;
    body.outline = outline;
    body.path = path;
    body.look = Clips::Look::Paint;
    body.color = color;
    return body;
}

} // namespace

Clips::Clip DemoClip::make()
{
    Clips::Clip clip;
    clip.size = QSize(640, 480);
    clip.look = Clips::Look::Paint;
    clip.seed = 99;
    clip.bodies.append(painted(QStringLiteral("disc"), regularPolygon(32, 52, 0),
                               bowPath(QPointF(70, 70), QPointF(0.9, 6.9), QPointF(0, 0)),
                               cv::Scalar(120, 160, 70)));
    clip.bodies.append(painted(QStringLiteral("blue hexagon"), regularPolygon(6, 85, 0),
                               bowPath(QPointF(120, 200), QPointF(7.2, 1.2), QPointF(0, 34)),
                               cv::Scalar(190, 110, 60)));
    // Few of its features are left in a crop that is off to the side: the bow makes tracking stop.
    const QPolygonF kiteCorners({QPointF(0, -100), QPointF(-66, 0), QPointF(0, 100), QPointF(66, 0)});
    clip.bodies.append(painted(QStringLiteral("red kite"), withMidpoints(kiteCorners),
                               bowPath(QPointF(550, 120), QPointF(-2.4, 5.7), QPointF(-70, 0)),
                               cv::Scalar(60, 85, 205)));
    for (int i = 0; i < clip.bodies.size(); ++i)
        clip.bodies[i].seed = i + 1;
    return clip;
}
