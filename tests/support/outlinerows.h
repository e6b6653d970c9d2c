// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QPointF>
#include <QPolygonF>
#include <QtTest>
#include <QVector>

#include <initializer_list>

/// What the tests of the geometry alone and those of the whole view say of outlines. Inline, so that it needs
/// no library.

inline QPolygonF polygonOf(std::initializer_list<QPointF> points)
{
    return QPolygonF(QVector<QPointF>(points));
}

/// Rows for a square that begins at its top left corner and runs counter-clockwise on the screen: a new
/// vertex put on an old one, `vertex`, gets the place `index`.
inline void addVertexOnVertexRows()
{
    QTest::addColumn<int>("vertex");
    QTest::addColumn<int>("index");
    QTest::newRow("second vertex: the later edge") << 1 << 2;
    QTest::newRow("third vertex: the later edge") << 2 << 3;
    QTest::newRow("fourth vertex: the earlier edge") << 3 << 3;
    QTest::newRow("first vertex: the closing edge") << 0 << 4;
}
