// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <qnamespace.h>
#include <QRectF>

/// Rectangle of the ellipse of a vertex handle or key-frame marker around the origin, for a radius in pixels.
inline QRectF discRect(int radius)
{
    constexpr double cornerFactor = -1.414;
    constexpr double sizeFactor = 2.824;
    return QRectF(cornerFactor * radius, cornerFactor * radius, sizeFactor * radius, sizeFactor * radius);
}

/// Whether a mouse button drags outlines and vertices: the left one, or none in an event without a button.
inline bool isDragButton(Qt::MouseButton button)
{
    return button == Qt::LeftButton || button == Qt::NoButton;
}
