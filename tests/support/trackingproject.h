// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/clips.h"
#include "tests/support/testproject.h"

#include <QList>
#include <QPolygonF>
#include <QString>

/// A project on a rendered clip with one object, which is the current one.
class TrackingProject : public TestProject
{
public:
    TrackingProject(const Clips::Clip &clip, int frames);

    const VideoContainer &video() { return *state()->video; }
    /// Makes user key frames with the true outlines and fills the frames between them.
    void annotateTruth(const QList<int> &frames);
    /// Fills the frames between the key frames.
    void morph();
    QList<QPolygonF> polygons() const;
    /// Gives back polygons without touching the types.
    void setPolygons(const QList<QPolygonF> &polygons);
    /// Mean overlap with the truth over the frames `first` to `last`.
    double meanOverlap(int first, int last) const;

    Clips::Clip clip;
    TrackedObject *object;
};

/// Says where two lists of polygons differ in any bit of a coordinate; empty when they are equal.
QString firstDifference(const QList<QPolygonF> &actual, const QList<QPolygonF> &expected);
