// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/testclips.h"

#include "processing/functions.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <QFileInfo>

namespace
{

constexpr int bitSize = 16;  // pixels
constexpr int bitCount = 12; // frame numbers up to 4095

cv::Mat texture(cv::Size size, int seed)
{
    cv::RNG random(static_cast<uint64>(seed));
    cv::Mat noise(size.height / 4 + 1, size.width / 4 + 1, CV_8UC3);
    random.fill(noise, cv::RNG::UNIFORM, 40, 216);
    cv::Mat image;
    cv::resize(noise, image, size, 0, 0, cv::INTER_CUBIC);
    return image;
}

void drawFrameNumber(cv::Mat &image, int frame)
{
    for (int bit = 0; bit < bitCount && (bit + 1) * bitSize <= image.rows; ++bit) {
        const double value = (frame >> bit) & 1 ? 255 : 0;
        image(cv::Rect(0, bit * bitSize, bitSize, bitSize)).setTo(cv::Scalar::all(value));
    }
}

} // namespace

QPolygonF TestClips::Shape::outlineAt(int frame) const
{
    return outline.translated(start + velocity * frame);
}

cv::Mat TestClips::Scene::render(int frame) const
{
    const cv::Size cvSize(size.width(), size.height());
    cv::Mat image = texture(cvSize, seed);
    for (const Shape &shape : shapes) {
        // The texture moves with the shape: it is drawn around the shape's own origin.
        const QRectF box = shape.outline.boundingRect();
        const int side = qRound(qMax(box.width(), box.height())) + 8;
        const cv::Mat pattern = texture(cv::Size(side, side), shape.seed);
        const QPointF corner = shape.start + shape.velocity * frame + box.topLeft() - QPointF(4, 4);
        cv::Mat placed;
        cv::Matx23d shift(1, 0, corner.x(), 0, 1, corner.y());
        cv::warpAffine(pattern, placed, shift, cvSize, cv::INTER_LINEAR, cv::BORDER_REFLECT);
        cv::Mat mask = cv::Mat::zeros(cvSize, CV_8UC1);
        cv::fillPoly(mask,
                     std::vector<std::vector<cv::Point>>{Functions::getOpenCvPolygon(shape.outlineAt(frame))},
                     cv::Scalar(255));
        placed.copyTo(image, mask);
    }
    drawFrameNumber(image, frame);
    return image;
}

int TestClips::frameNumber(const cv::Mat &image)
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

bool TestClips::encode(const QString &path, const Scene &scene, int frames, double fps, const char *fourcc)
{
    cv::VideoWriter writer(path.toStdString(), cv::CAP_FFMPEG,
                           cv::VideoWriter::fourcc(fourcc[0], fourcc[1], fourcc[2], fourcc[3]), fps,
                           cv::Size(scene.size.width(), scene.size.height()));
    if (!writer.isOpened())
        return false;
    for (int frame = 0; frame < frames; ++frame)
        writer.write(scene.render(frame));
    writer.release();
    return QFileInfo(path).size() > 0;
}

TestClips::Scene TestClips::movingSquare()
{
    Scene scene;
    Shape square;
    square.outline = QPolygonF({QPointF(-30, -30), QPointF(-30, 30), QPointF(30, 30), QPointF(30, -30)});
    square.start = QPointF(80, 120);
    square.velocity = QPointF(3, 0);
    scene.shapes.append(square);
    return scene;
}
