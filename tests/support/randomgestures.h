// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QPolygonF>
#include <QString>

#include <random>

class DataState;
class KeyFrame;
class TrackedObject;

/// Changes a project the ways users do, through the model, at random but the same for the same seed.
class RandomGestures
{
public:
    explicit RandomGestures(unsigned seed)
        : m_random(seed)
    {
    }

    /// Makes one gesture, which may come to nothing, and says which.
    QString make(DataState &state);
    /// From 0 to `count` - 1.
    int below(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }

private:
    TrackedObject *object(DataState &state);
    KeyFrame *keyFrame(DataState &state);
    QPolygonF outline();

    std::mt19937 m_random;
};
