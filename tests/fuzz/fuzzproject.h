// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "core/datastate.h"

/// A project state in use (g_state) with a video that was never loaded. Puts the previous state back when it
/// goes out of scope.
///
/// All of them share one video, with the frame count of the last one: making a video makes a folder, which
/// would take most of a run's time.
class FuzzProject
{
public:
    explicit FuzzProject(int frameCount);
    ~FuzzProject();

    DataState *operator->() { return &m_state; }
    DataState &operator*() { return m_state; }

private:
    DataState *m_previous;
    DataState m_state;
};
