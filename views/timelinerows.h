// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "views/timelinegeometry.h"
#include "views/timelinerow.h"

#include <QList>

#include <memory>
#include <vector>

/// The rows of all objects in the time line's body.
///
/// Items stay from one update to the next. An update looks at everything, announced or not, but makes,
/// places, styles and takes away only what differs; after it the scene holds what it would if all rows were
/// made anew.
class TimeLineRows
{
public:
    explicit TimeLineRows(QGraphicsScene *scene);

    /// Shows the objects of the project in use.
    void update(const TimeLineGeometry &geometry);
    /// Takes all items out of the scene, to be deleted later.
    void clear();

    /// All items, object by object in the stacking order of frame 0, frame by frame.
    const QList<FrameSpanGraphicsItem *> &curves() const { return m_curves; }
    const QList<KeyFrameGraphicsItem *> &markers() const { return m_markers; }

private:
    bool takeObjects(const QList<TrackedObject *> &objects, const TimeLineGeometry &geometry, int frameCount);
    bool updateMarkers(const QList<TrackedObject *> &objects, const TimeLineGeometry &geometry,
                       int frameCount);
    void listMarkers();
    void listCurves();

    QGraphicsScene *m_scene;
    std::vector<std::unique_ptr<TimeLineRow>> m_rows; // in the stacking order of frame 0
    QList<FrameSpanGraphicsItem *> m_curves;
    QList<KeyFrameGraphicsItem *> m_markers;
};
