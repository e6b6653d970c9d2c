// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QImage>
#include <QPolygonF>
#include <QSize>
#include <QString>
#include <QVector>

/// The clip of the demonstration: textured shapes that move over a landscape of soft colours. Where every
/// shape is on every frame is known.
class DemoClip
{
public:
    struct Shape {
        QString name;
        QPolygonF outline; ///< around (0, 0), convex
        QPointF start;
        QPointF velocity; ///< pixels per frame
        QColor color;

        QPolygonF outlineAt(int frame) const { return outline.translated(start + velocity * frame); }
    };

    static constexpr int frameCount = 60;
    static constexpr double fps = 25;

    DemoClip();

    QImage render(int frame) const;
    /// Encodes all frames with the first encoder that works here. Returns false when there is none.
    bool encode(const QString &path) const;

    QSize size{640, 480};
    /// From back to front.
    QVector<Shape> shapes;

private:
    QImage m_background;
    QVector<QImage> m_textures;
};
