// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "core/datastate.h"

#include <QPolygonF>

/// A project state in use (g_state) whose video was never loaded from a file: its fields are filled by hand.
/// Puts the previous state back when it goes out of scope.
class TestProject
{
public:
    explicit TestProject(int frameCount, int width = 640, int height = 480, double fps = 25);
    ~TestProject();

    DataState *state() { return &m_state; }
    DataState *operator->() { return &m_state; }
    DataState &operator*() { return m_state; }

    /// Adds an object and makes it the current one.
    TrackedObject *addObject();

private:
    DataState *m_previous;
    DataState m_state;
};

/// An axis-parallel rectangle with its top left corner at (x, y).
QPolygonF rectangle(double x, double y, double width, double height);
/// Sets a key frame's polygon and type through its slots.
void annotate(TrackedObject *object, int frame, const QPolygonF &polygon,
              KeyFrame::Type type = KeyFrame::Visible);
