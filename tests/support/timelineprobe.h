// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QPointF>
#include <QStringList>

#include <functional>

class FrameSpanGraphicsItem;
class KeyFrame;
class KeyFrameGraphicsItem;
class QMenu;
class TimeLine;
class TrackedObject;
class TrackedObjectLabel;

/// What a time line shows, and its context menus.

/// The labels that are still part of the list.
QList<TrackedObjectLabel *> labelsOf(const TimeLine *timeLine);
QStringList namesOf(const TimeLine *timeLine);
/// The marker of a key frame; null if there is none.
KeyFrameGraphicsItem *markerOf(const TimeLine *timeLine, const KeyFrame *keyFrame);
QList<FrameSpanGraphicsItem *> curvesOf(const TimeLine *timeLine, const TrackedObject *object);
/// The y of an object's markers on all frames.
QList<double> rowsOf(const TimeLine *timeLine, const TrackedObject *object);

/// Asks for the context menu of an item and handles it; false if none came.
bool withMenu(const TimeLine *timeLine, QPointF scenePoint, const std::function<void(QMenu *)> &handle);
/// Chooses an entry of the context menu at a point.
bool chooseAt(const TimeLine *timeLine, QPointF scenePoint, const QStringList &path);

/// Rows with a `position`, in pixels from the left edge of the video, and the `frame` it belongs to.
void addPositionRows();
