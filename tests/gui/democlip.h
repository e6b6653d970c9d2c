// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QImage>
#include <QPolygonF>
#include <QSize>
#include <QString>
#include <QVector>

/// The clip of the demonstration: textured shapes that move on bows over a landscape of soft colours. Where
/// every shape is on every frame is known.
class DemoClip
{
public:
    struct Shape {
        QString name;
        QPolygonF outline; ///< around (0, 0), convex
        QPointF start;
        QPointF velocity; ///< pixels per frame, along the bows' chord
        /// By how much the path leaves its chord in the middle of the clip's first half, and half as much to
        /// the other side in the second half.
        QPointF bow;
        QColor color;

        /// In whole pixels, so that the texture looks the same on every frame.
        QPointF positionAt(int frame) const;
        QPolygonF outlineAt(int frame) const { return outline.translated(positionAt(frame)); }
    };

    static constexpr int frameCount = 40;
    static constexpr int turnFrame = frameCount / 2; ///< from one bow to the other
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
