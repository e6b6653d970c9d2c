// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/trackingclips.h"

#include "processing/morph.h"

#include <QDir>
#include <QFileInfo>
#include <QtMath>
#include <QTransform>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>

namespace
{

constexpr int subpixelBits = 4;

/// Blotches of a few pixels, with corners of all strengths.
cv::Mat texture(cv::Size size, int seed)
{
    constexpr int blotch = 4; // pixels
    cv::RNG random(static_cast<uint64>(seed));
    cv::Mat noise(size.height / blotch + 1, size.width / blotch + 1, CV_8UC3);
    random.fill(noise, cv::RNG::UNIFORM, 30, 226);
    cv::Mat image;
    cv::resize(noise, image, noise.size() * blotch, 0, 0, cv::INTER_CUBIC);
    return image(cv::Rect(cv::Point(), size)).clone();
}

QTransform transformOf(const TrackingClips::Pose &pose)
{
    return QTransform()
        .translate(pose.position.x(), pose.position.y())
        .rotate(pose.angle)
        .scale(pose.scale, pose.scale);
}

/// The area of an outline, `zoom` pixels per frame pixel.
cv::Mat areaOf(const QPolygonF &outline, cv::Size size, double zoom)
{
    cv::Mat area = cv::Mat::zeros(size, CV_8UC1);
    std::vector<cv::Point> points;
    for (const QPointF &p : outline)
        points.emplace_back(qRound(p.x() * zoom * (1 << subpixelBits)),
                            qRound(p.y() * zoom * (1 << subpixelBits)));
    if (!points.empty())
        cv::fillPoly(area, std::vector<std::vector<cv::Point>>{points}, cv::Scalar(255), cv::LINE_8,
                     subpixelBits);
    return area;
}

void draw(const TrackingClips::Body &body, int frame, cv::Mat &image)
{
    const cv::Mat area = areaOf(body.outlineAt(frame), image.size(), 1);
    if (!body.textured) {
        image.setTo(body.color, area);
        return;
    }
    const QRectF box = body.outline.boundingRect();
    const int margin = 4; // pixels
    const cv::Mat pattern =
        texture(cv::Size(qCeil(box.width()) + 2 * margin, qCeil(box.height()) + 2 * margin), body.seed);
    const QTransform t =
        QTransform::fromTranslate(box.left() - margin, box.top() - margin) * transformOf(body.path(frame));
    const cv::Matx23d affine(t.m11(), t.m21(), t.dx(), t.m12(), t.m22(), t.dy());
    cv::Mat placed;
    cv::warpAffine(pattern, placed, affine, image.size(), cv::INTER_LINEAR, cv::BORDER_REFLECT);
    placed.copyTo(image, area);
}

} // namespace

QPolygonF TrackingClips::Body::outlineAt(int frame) const
{
    return transformOf(path(frame)).map(outline);
}

cv::Mat TrackingClips::Clip::render(int frame) const
{
    const cv::Size imageSize(size.width(), size.height());
    cv::Mat image = textured ? texture(imageSize, seed) : cv::Mat(imageSize, CV_8UC3, color);
    for (const Body &body : bodies)
        draw(body, frame, image);
    if (noise > 0) {
        cv::RNG random(static_cast<uint64>(1000 + frame));
        cv::Mat grain(imageSize, CV_16SC3);
        random.fill(grain, cv::RNG::NORMAL, 0, noise);
        cv::add(image, grain, image, cv::noArray(), CV_8UC3);
    }
    return image;
}

QPolygonF TrackingClips::blockOutline(double width, double height)
{
    const double x = width / 2;
    const double y = height / 2;
    return QPolygonF({QPointF(-x, -y), QPointF(-x, 0), QPointF(-x, y), QPointF(-x / 3, y), QPointF(x / 3, y),
                      QPointF(x, y), QPointF(x, 0), QPointF(x, -y), QPointF(x / 3, -y), QPointF(-x / 3, -y)});
}

TrackingClips::Clip TrackingClips::blockClip(const std::function<Pose(int)> &path)
{
    Body body;
    body.outline = blockOutline(150, 130);
    body.path = path;
    Clip clip;
    clip.bodies.append(body);
    return clip;
}

TrackingClips::Clip TrackingClips::translation(int frames)
{
    return blockClip([frames](int frame) {
        Pose pose;
        const double t = static_cast<double>(frame) / (frames - 1);
        pose.position = QPointF(qRound(80 + 155 * t), qRound(90 + 50 * t));
        return pose;
    });
}

TrackingClips::Clip TrackingClips::curve(int frames)
{
    return blockClip([frames](int frame) {
        const double t = static_cast<double>(frame) / (frames - 1);
        Pose pose;
        pose.position = QPointF(qRound(80 + 158 * t), qRound(80 + 60 * std::sin(3.14159265358979 * t)));
        return pose;
    });
}

TrackingClips::Clip TrackingClips::plainBlock()
{
    Clip clip = blockClip([](int frame) {
        Pose pose;
        pose.position = QPointF(50 + 3 * frame, 50 + frame);
        return pose;
    });
    clip.size = QSize(160, 120);
    clip.bodies.first().outline = blockOutline(60, 50);
    clip.bodies.first().textured = false;
    clip.textured = false;
    clip.noise = 6;
    return clip;
}

void TrackingClips::write(const VideoContainer &video, const Clip &clip)
{
    for (int frame = 0; frame < video.frameCount; ++frame)
        writeFrame(video, frame, clip.render(frame));
}

void TrackingClips::writeFrame(const VideoContainer &video, int frame, const cv::Mat &image)
{
    const QString path = video.getFramePath(frame);
    QDir().mkpath(QFileInfo(path).path());
    if (!cv::imwrite(path.toStdString(), image, {cv::IMWRITE_JPEG_QUALITY, 98}))
        qFatal("cannot write a frame image");
}

void TrackingClips::makeFlat(const VideoContainer &video, int frame)
{
    writeFrame(video, frame, cv::Mat(video.height, video.width, CV_8UC3, cv::Scalar::all(128)));
}

ImageProcess TrackingClips::processOf(const cv::Mat &image)
{
    static const ImageProcess nothing((QString()));
    ImageProcess process = nothing;
    process.image = image;
    return process;
}

double TrackingClips::overlap(const QPolygonF &a, const QPolygonF &b, QSize size)
{
    constexpr int zoom = 4; // pixels per frame pixel
    const cv::Size areaSize(size.width() * zoom, size.height() * zoom);
    const cv::Mat areaA = areaOf(a, areaSize, zoom);
    const cv::Mat areaB = areaOf(b, areaSize, zoom);
    const int together = cv::countNonZero(areaA | areaB);
    return together == 0 ? 0 : static_cast<double>(cv::countNonZero(areaA & areaB)) / together;
}

TrackingProject::TrackingProject(const TrackingClips::Clip &rendered, int frames)
    : TestProject(frames, rendered.size.width(), rendered.size.height())
    , clip(rendered)
    , object(addObject())
{
    TrackingClips::write(video(), clip);
}

void TrackingProject::annotateTruth(const QList<int> &frames)
{
    for (int frame : frames)
        annotate(object, frame, clip.truth(frame));
    morph();
}

void TrackingProject::morph()
{
    Morph(state()).linearMorphing(0, -1);
}

QList<QPolygonF> TrackingProject::polygons() const
{
    QList<QPolygonF> all;
    for (const KeyFrame *keyFrame : object->keyFrames)
        all.append(keyFrame->polygon);
    return all;
}

void TrackingProject::setPolygons(const QList<QPolygonF> &polygons)
{
    for (int frame = 0; frame < polygons.size(); ++frame)
        object->keyFrames.at(frame)->setNewPolygon(polygons.at(frame));
}

double TrackingProject::meanOverlap(int first, int last) const
{
    double sum = 0;
    for (int frame = first; frame <= last; ++frame)
        sum += TrackingClips::overlap(object->keyFrames.at(frame)->polygon, clip.truth(frame), clip.size);
    return sum / (last - first + 1);
}

QString firstDifference(const QList<QPolygonF> &actual, const QList<QPolygonF> &expected)
{
    if (actual.size() != expected.size())
        return QStringLiteral("%1 instead of %2 polygons").arg(actual.size()).arg(expected.size());
    for (int frame = 0; frame < actual.size(); ++frame) {
        const QPolygonF &a = actual.at(frame);
        const QPolygonF &b = expected.at(frame);
        if (a.size() != b.size())
            return QStringLiteral("frame %1: %2 instead of %3 points").arg(frame).arg(a.size()).arg(b.size());
        for (int i = 0; i < a.size(); ++i) {
            const bool same = !(a.at(i).x() < b.at(i).x() || a.at(i).x() > b.at(i).x() ||
                                a.at(i).y() < b.at(i).y() || a.at(i).y() > b.at(i).y());
            if (!same)
                return QStringLiteral("frame %1, point %2: (%3, %4) instead of (%5, %6)")
                    .arg(frame)
                    .arg(i)
                    .arg(a.at(i).x(), 0, 'g', 17)
                    .arg(a.at(i).y(), 0, 'g', 17)
                    .arg(b.at(i).x(), 0, 'g', 17)
                    .arg(b.at(i).y(), 0, 'g', 17);
        }
    }
    return QString();
}
