// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaType>
#include <QPointF>
#include <Qt>
#include <QVector>

class PolyAreaGraphicsItem;

/// What dragging an outline and dragging one of its vertices have in common.

Q_DECLARE_METATYPE(Qt::MouseButton)

/// Where the handles of an outline are.
QVector<QPointF> handlePoints(const PolyAreaGraphicsItem *item);

/// Rows with the type of a key frame `before` a drag and `after` it.
void addDragTypeRows();
/// Rows with every `button` that drags nothing.
void addOtherButtonRows();
