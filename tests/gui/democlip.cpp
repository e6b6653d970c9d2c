// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/gui/democlip.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <QFileInfo>
#include <QLinearGradient>
#include <QPainter>
#include <QtMath>

namespace
{

constexpr int textureExtent = 256; // pixels

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

/// Noise of several sizes around `color`, the way rough paint looks.
QImage texture(QSize size, const QColor &color, double contrast, int seed)
{
    cv::Mat sum = cv::Mat::zeros(size.height(), size.width(), CV_32F);
    cv::RNG random(static_cast<uint64>(seed));
    for (int cell : {48, 16, 6, 3}) {
        cv::Mat noise(size.height() / cell + 2, size.width() / cell + 2, CV_32F);
        random.fill(noise, cv::RNG::UNIFORM, -1, 1);
        cv::Mat scaled;
        cv::resize(noise, scaled, sum.size(), 0, 0, cv::INTER_CUBIC);
        sum += scaled * contrast;
    }
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            const double factor = 1.0 + static_cast<double>(sum.at<float>(y, x));
            const auto channel = [factor](int value) { return qBound(0, qRound(value * factor), 255); };
            line[x] = qRgb(channel(color.red()), channel(color.green()), channel(color.blue()));
        }
    }
    return image;
}

} // namespace

QPointF DemoClip::Shape::positionAt(int frame) const
{
    const bool firstHalf = frame < turnFrame;
    const double turn = firstHalf ? static_cast<double>(frame) / turnFrame
                                  : static_cast<double>(frame - turnFrame) / (frameCount - 1 - turnFrame);
    const QPointF aside = bow * qSin(M_PI * turn) * (firstHalf ? 1.0 : -0.5);
    return (start + velocity * frame + aside).toPoint();
}

DemoClip::DemoClip()
{
    shapes.append({QStringLiteral("disc"), regularPolygon(32, 52, 0), QPointF(70, 70), QPointF(0.9, 6.9),
                   QPointF(0, 0), QColor(70, 160, 120)});
    shapes.append({QStringLiteral("blue hexagon"), regularPolygon(6, 85, 0), QPointF(120, 200),
                   QPointF(7.2, 1.2), QPointF(0, 34), QColor(60, 110, 190)});
    // Few of its features are left in a crop that is off to the side: the bow makes tracking stop.
    shapes.append(
        {QStringLiteral("red kite"),
         withMidpoints(QPolygonF({QPointF(0, -100), QPointF(-66, 0), QPointF(0, 100), QPointF(66, 0)})),
         QPointF(550, 120), QPointF(-2.4, 5.7), QPointF(-70, 0), QColor(205, 85, 60)});
    for (const Shape &shape : qAsConst(shapes)) {
        m_textures.append(
            texture(QSize(textureExtent, textureExtent), shape.color, 0.16, m_textures.size() + 1));
    }

    m_background = texture(size, QColor(150, 155, 160), 0.05, 99);
    QPainter painter(&m_background);
    QLinearGradient sky(0, 0, 0, size.height());
    sky.setColorAt(0, QColor(150, 190, 225, 190));
    sky.setColorAt(0.6, QColor(235, 225, 200, 190));
    sky.setColorAt(1, QColor(120, 130, 100, 190));
    painter.fillRect(m_background.rect(), sky);
}

QImage DemoClip::render(int frame) const
{
    QImage image = m_background;
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    for (int i = 0; i < shapes.size(); ++i) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0, 0, 0, 30)); // shadow
        painter.drawPolygon(shapes.at(i).outlineAt(frame).translated(3, 4));
        painter.save();
        // The texture moves with the shape.
        painter.translate(shapes.at(i).positionAt(frame));
        painter.setBrushOrigin(-textureExtent / 2, -textureExtent / 2);
        painter.setBrush(QBrush(m_textures.at(i)));
        painter.setPen(QPen(shapes.at(i).color.darker(170), 2));
        painter.drawPolygon(shapes.at(i).outline);
        painter.restore();
    }
    return image;
}

bool DemoClip::encode(const QString &path) const
{
    for (const char *codec : {"avc1", "mp4v"}) {
        cv::VideoWriter writer(path.toStdString(), cv::CAP_FFMPEG,
                               cv::VideoWriter::fourcc(codec[0], codec[1], codec[2], codec[3]), fps,
                               cv::Size(size.width(), size.height()));
        if (!writer.isOpened())
            continue;
        for (int frame = 0; frame < frameCount; ++frame) {
            const QImage image = render(frame);
            const cv::Mat pixels(image.height(), image.width(), CV_8UC4,
                                 const_cast<uchar *>(image.constBits()),
                                 static_cast<size_t>(image.bytesPerLine()));
            cv::Mat bgr;
            cv::cvtColor(pixels, bgr, cv::COLOR_BGRA2BGR);
            writer.write(bgr);
        }
        writer.release();
        if (QFileInfo(path).size() > 0)
            return true;
    }
    return false;
}
