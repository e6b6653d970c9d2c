// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/clips.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <QDir>
#include <QFileInfo>
#include <QtMath>
#include <QTransform>

#include <algorithm>
#include <cmath>
#include <vector>

namespace
{

using Clips::Body;
using Clips::Clip;
using Clips::Look;
using Clips::Pose;

constexpr int subpixelBits = 4;
constexpr int bitSize = 16;  // pixels of a square of the frame number
constexpr int bitCount = 12; // frame numbers up to 4095
constexpr int margin = 4;    // pixels of texture around an outline

/// Blotches of a few pixels, with corners of all strengths.
cv::Mat blotches(cv::Size size, int seed)
{
    constexpr int blotch = 4; // pixels
    cv::RNG random(static_cast<uint64>(seed));
    cv::Mat noise(size.height / blotch + 1, size.width / blotch + 1, CV_8UC3);
    random.fill(noise, cv::RNG::UNIFORM, 30, 226);
    cv::Mat image;
    cv::resize(noise, image, noise.size() * blotch, 0, 0, cv::INTER_CUBIC);
    return image(cv::Rect(cv::Point(), size)).clone();
}

/// Noise of several sizes around `color`, the way rough paint looks.
cv::Mat paint(cv::Size size, const cv::Scalar &color, double contrast, int seed)
{
    cv::Mat factor(size, CV_32F, cv::Scalar(1));
    cv::RNG random(static_cast<uint64>(seed));
    for (int cell : {48, 16, 6, 3}) {
        cv::Mat noise(size.height / cell + 2, size.width / cell + 2, CV_32F);
        random.fill(noise, cv::RNG::UNIFORM, -contrast, contrast);
        cv::Mat scaled;
        cv::resize(noise, scaled, size, 0, 0, cv::INTER_CUBIC);
        factor += scaled;
    }
    std::vector<cv::Mat> channels(3);
    for (int i = 0; i < 3; ++i)
        factor.convertTo(channels[static_cast<std::size_t>(i)], CV_8U, color[i]);
    cv::Mat image;
    cv::merge(channels, image);
    return image;
}

/// A sky that turns into a meadow.
cv::Mat landscape(cv::Size size, int seed)
{
    constexpr double share = 0.75;  // of the soft colours
    constexpr double horizon = 0.6; // of the height
    const cv::Scalar sky(225, 190, 150);
    const cv::Scalar haze(200, 225, 235);
    const cv::Scalar meadow(100, 130, 120);
    cv::Mat image = paint(size, cv::Scalar(160, 155, 150), 0.05, seed);
    for (int y = 0; y < size.height; ++y) {
        const double height = static_cast<double>(y) / size.height;
        const bool above = height < horizon;
        const double down = above ? height / horizon : (height - horizon) / (1 - horizon);
        const cv::Scalar color = above ? sky * (1 - down) + haze * down : haze * (1 - down) + meadow * down;
        cv::Mat row = image.row(y);
        row.convertTo(row, -1, 1 - share);
        cv::add(row, color * share, row);
    }
    return image;
}

cv::Mat surface(Look look, cv::Size size, const cv::Scalar &color, int seed)
{
    constexpr double contrast = 0.16;
    switch (look) {
    case Look::Plain:
        return cv::Mat(size, CV_8UC3, color);
    case Look::Blotches:
        return blotches(size, seed);
    case Look::Paint:
        return paint(size, color, contrast, seed);
    }
    return cv::Mat();
}

QTransform transformOf(const Pose &pose)
{
    return QTransform()
        .translate(pose.position.x(), pose.position.y())
        .rotate(pose.angle)
        .scale(pose.scale, pose.scale);
}

/// The vertices with `subpixelBits` binary places, `zoom` pixels per frame pixel.
std::vector<std::vector<cv::Point>> subpixels(const QPolygonF &outline, double zoom = 1)
{
    std::vector<cv::Point> points;
    for (const QPointF &p : outline)
        points.emplace_back(qRound(p.x() * zoom * (1 << subpixelBits)),
                            qRound(p.y() * zoom * (1 << subpixelBits)));
    return {points};
}

/// The area of an outline, `zoom` pixels per frame pixel.
cv::Mat areaOf(const QPolygonF &outline, cv::Size size, double zoom, int lineType = cv::LINE_8)
{
    cv::Mat area = cv::Mat::zeros(size, CV_8UC1);
    if (!outline.isEmpty())
        cv::fillPoly(area, subpixels(outline, zoom), cv::Scalar(255), lineType, subpixelBits);
    return area;
}

/// The body's surface where it is on `frame`.
cv::Mat placedSurface(const Body &body, int frame, cv::Size size)
{
    const QRectF box = body.outline.boundingRect();
    const cv::Mat pattern =
        surface(body.look, cv::Size(qCeil(box.width()) + 2 * margin, qCeil(box.height()) + 2 * margin),
                body.color, body.seed);
    const QTransform t =
        QTransform::fromTranslate(box.left() - margin, box.top() - margin) * transformOf(body.path(frame));
    const cv::Matx23d affine(t.m11(), t.m21(), t.dx(), t.m12(), t.m22(), t.dy());
    cv::Mat placed;
    cv::warpAffine(pattern, placed, affine, size, cv::INTER_LINEAR, cv::BORDER_REFLECT);
    return placed;
}

/// Lays `over` on the image where `area` is white, and in part where it is grey.
void blend(const cv::Mat &over, const cv::Mat &area, double opacity, cv::Mat &image)
{
    cv::Mat weight;
    area.convertTo(weight, CV_32F, opacity / 255);
    const cv::Mat rest = 1 - weight;
    cv::blendLinear(over, image.clone(), weight, rest, image);
}

/// With smooth edges, a dark rim and a shadow.
void drawPainted(const Body &body, int frame, cv::Mat &image)
{
    constexpr double shadowOpacity = 0.12;
    constexpr double rimDarkness = 1.7;
    constexpr int rimWidth = 2;       // pixels
    const QPointF shadowOffset(3, 4); // pixels
    const QPolygonF outline = body.outlineAt(frame);
    const cv::Mat black = cv::Mat::zeros(image.size(), image.type());
    blend(black, areaOf(outline.translated(shadowOffset), image.size(), 1, cv::LINE_AA), shadowOpacity,
          image);
    blend(placedSurface(body, frame, image.size()), areaOf(outline, image.size(), 1, cv::LINE_AA), 1, image);
    cv::polylines(image, subpixels(outline), true, body.color / rimDarkness, rimWidth, cv::LINE_AA,
                  subpixelBits);
}

void draw(const Body &body, int frame, cv::Mat &image)
{
    const cv::Mat area = areaOf(body.outlineAt(frame), image.size(), 1);
    switch (body.look) {
    case Look::Plain:
        image.setTo(body.color, area);
        break;
    case Look::Blotches:
        placedSurface(body, frame, image.size()).copyTo(image, area);
        break;
    case Look::Paint:
        drawPainted(body, frame, image);
        break;
    }
}

void addNoise(double deviation, int frame, cv::Mat &image)
{
    cv::RNG random(static_cast<uint64>(1000 + frame));
    cv::Mat grain(image.size(), CV_16SC3);
    random.fill(grain, cv::RNG::NORMAL, 0, deviation);
    cv::add(image, grain, image, cv::noArray(), CV_8UC3);
}

void drawFrameNumber(int frame, cv::Mat &image)
{
    for (int bit = 0; bit < bitCount && (bit + 1) * bitSize <= image.rows; ++bit) {
        const double value = (frame >> bit) & 1 ? 255 : 0;
        image(cv::Rect(0, bit * bitSize, bitSize, bitSize)).setTo(cv::Scalar::all(value));
    }
}

} // namespace

QPolygonF Clips::Body::outlineAt(int frame) const
{
    return transformOf(path(frame)).map(outline);
}

cv::Mat Clips::Clip::render(int frame) const
{
    const cv::Size imageSize(size.width(), size.height());
    cv::Mat image = look == Look::Paint ? landscape(imageSize, seed) : surface(look, imageSize, color, seed);
    for (const Body &body : bodies)
        draw(body, frame, image);
    if (noise > 0)
        addNoise(noise, frame, image);
    if (numbered)
        drawFrameNumber(frame, image);
    return image;
}

Clips::Path Clips::straight(QPointF start, QPointF velocity)
{
    return [start, velocity](int frame) {
        Pose pose;
        pose.position = start + velocity * frame;
        return pose;
    };
}

QPolygonF Clips::blockOutline(double width, double height)
{
    const double x = width / 2;
    const double y = height / 2;
    return QPolygonF({QPointF(-x, -y), QPointF(-x, 0), QPointF(-x, y), QPointF(-x / 3, y), QPointF(x / 3, y),
                      QPointF(x, y), QPointF(x, 0), QPointF(x, -y), QPointF(x / 3, -y), QPointF(-x / 3, -y)});
}

Clips::Clip Clips::blockClip(const Path &path)
{
    Body body;
    body.outline = blockOutline(150, 130);
    body.path = path;
    Clip clip;
    clip.bodies.append(body);
    return clip;
}

Clips::Clip Clips::translation(int frames)
{
    return blockClip([frames](int frame) {
        Pose pose;
        const double t = static_cast<double>(frame) / (frames - 1);
        pose.position = QPointF(qRound(80 + 155 * t), qRound(90 + 50 * t));
        return pose;
    });
}

Clips::Clip Clips::curve(int frames)
{
    return blockClip([frames](int frame) {
        const double t = static_cast<double>(frame) / (frames - 1);
        Pose pose;
        pose.position = QPointF(qRound(80 + 158 * t), qRound(80 + 60 * std::sin(3.14159265358979 * t)));
        return pose;
    });
}

Clips::Clip Clips::plainBlock()
{
    Clip clip = blockClip([](int frame) {
        Pose pose;
        pose.position = QPointF(50 + 3 * frame, 50 + frame);
        return pose;
    });
    clip.size = QSize(160, 120);
    clip.bodies.first().outline = blockOutline(60, 50);
    clip.bodies.first().look = Look::Plain;
    clip.look = Look::Plain;
    clip.noise = 6;
    return clip;
}

Clips::Clip Clips::numberedGround(QSize size)
{
    Clip clip;
    clip.size = size;
    clip.numbered = true;
    return clip;
}

Clips::Clip Clips::movingSquare()
{
    Body square;
    square.outline = QPolygonF({QPointF(-30, -30), QPointF(-30, 30), QPointF(30, 30), QPointF(30, -30)});
    square.path = straight(QPointF(80, 120), QPointF(3, 0));
    Clip clip = numberedGround();
    clip.bodies.append(square);
    return clip;
}

int Clips::frameNumber(const cv::Mat &image)
{
    if (image.cols < bitSize)
        return -1;
    int frame = 0;
    for (int bit = 0; bit < bitCount && (bit + 1) * bitSize <= image.rows; ++bit) {
        const cv::Scalar mean = cv::mean(image(cv::Rect(4, bit * bitSize + 4, bitSize - 8, bitSize - 8)));
        if (mean[0] + mean[1] + mean[2] > 3 * 127)
            frame |= 1 << bit;
    }
    return frame;
}

bool Clips::encode(const QString &path, const Clip &clip, int frames, double fps, const char *fourcc)
{
    cv::VideoWriter writer(path.toStdString(), cv::CAP_FFMPEG,
                           cv::VideoWriter::fourcc(fourcc[0], fourcc[1], fourcc[2], fourcc[3]), fps,
                           cv::Size(clip.size.width(), clip.size.height()));
    if (!writer.isOpened())
        return false;
    for (int frame = 0; frame < frames; ++frame)
        writer.write(clip.render(frame));
    writer.release();
    return QFileInfo(path).size() > 0;
}

bool Clips::encodeMp4(const QString &path, const Clip &clip, int frames, double fps)
{
    const char *const encoders[]{"avc1", "mp4v"};
    return std::any_of(std::begin(encoders), std::end(encoders),
                       [&](const char *fourcc) { return encode(path, clip, frames, fps, fourcc); });
}

void Clips::write(const VideoContainer &video, const Clip &clip)
{
    for (int frame = 0; frame < video.frameCount; ++frame)
        writeFrame(video, frame, clip.render(frame));
}

void Clips::writeFrame(const VideoContainer &video, int frame, const cv::Mat &image)
{
    const QString path = video.getFramePath(frame);
    QDir().mkpath(QFileInfo(path).path());
    if (!cv::imwrite(path.toStdString(), image, {cv::IMWRITE_JPEG_QUALITY, 98}))
        qFatal("cannot write a frame image");
}

void Clips::makeFlat(const VideoContainer &video, int frame)
{
    writeFrame(video, frame, cv::Mat(video.height, video.width, CV_8UC3, cv::Scalar::all(128)));
}

// It is the colour: on a grey ground the minimum cut is found at once.
QPolygonF Clips::makeSlowToCut(const VideoContainer &video, int frame)
{
    constexpr int vertices = 100;
    constexpr double outer = 100; // pixels
    constexpr double inner = 30;
    writeFrame(video, frame, cv::Mat(240, 320, CV_8UC3, cv::Scalar(60, 90, 50)));
    QPolygonF star;
    for (int i = 0; i < vertices; ++i) {
        const double angle = qDegreesToRadians(360.0 * i / vertices);
        const double radius = i % 2 ? inner : outer;
        star.append(QPointF(160 + radius * std::cos(angle), 120 + radius * std::sin(angle)));
    }
    return star;
}

ImageProcess Clips::processOf(const cv::Mat &image)
{
    static const ImageProcess nothing((QString()));
    ImageProcess process = nothing;
    process.image = image;
    return process;
}

double Clips::overlap(const QPolygonF &a, const QPolygonF &b, QSize size)
{
    constexpr int zoom = 4; // pixels per frame pixel
    const cv::Size areaSize(size.width() * zoom, size.height() * zoom);
    const cv::Mat areaA = areaOf(a, areaSize, zoom);
    const cv::Mat areaB = areaOf(b, areaSize, zoom);
    const int together = cv::countNonZero(areaA | areaB);
    return together == 0 ? 0 : static_cast<double>(cv::countNonZero(areaA & areaB)) / together;
}
