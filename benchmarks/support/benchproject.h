// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QPointF>
#include <QPolygonF>

class DataState;

/// Projects of the size that a long annotation session leaves behind.
namespace BenchProject
{

constexpr int frameCount = 10000;
constexpr int objectCount = 10;
constexpr int vertexCount = 20;       // of every outline, unless another number is asked for
constexpr int keyFrameDistance = 100; // frames between two key frames of the user

/// A round outline, counter-clockwise.
QPolygonF outline(QPointF centre, double radius, int vertices = vertexCount);

/// Adds the objects to a state whose video is loaded. Every frame carries an outline: each of
/// keyFrameDistance frames one of the user, the others automatic ones.
void addObjects(DataState &state, int vertices = vertexCount, int objects = objectCount);

} // namespace BenchProject
