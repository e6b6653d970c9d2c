// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "views/timelinegeometry.h"

#include <QDockWidget>
#include <QList>
#include <QMetaObject>
#include <QPointer>
#include <QVector>

class ClickableGraphicsView;
class FrameSpanGraphicsItem;
class KeyFrameGraphicsItem;
class QGraphicsRectItem;
class QGraphicsScene;
class QPushButton;
class QScrollArea;
class TrackedObject;

/// Dock that shows every object as a row over all frames of the video.
class TimeLine : public QDockWidget
{
    Q_OBJECT

public:
    explicit TimeLine(const QString &title, QWidget *parent = nullptr,
                      Qt::WindowFlags flags = Qt::WindowFlags());

    void Init();

    QPushButton *addButton = nullptr;
    QScrollArea *labelArea = nullptr;
    ClickableGraphicsView *headerView = nullptr;
    QGraphicsScene *headerScene = nullptr;
    ClickableGraphicsView *bodyView = nullptr;
    QGraphicsScene *bodyScene = nullptr;
    /// Highlight of the current frame; null until the first reload.
    QGraphicsRectItem *headerMarker = nullptr;
    QGraphicsRectItem *bodyMarker = nullptr;
    /// Pixels per frame.
    int frameWidth = 40;
    /// Pixels per object row.
    int rowHeight = 40;
    QList<QMetaObject::Connection> objectConnections;
    QList<FrameSpanGraphicsItem *> spanItems;
    QList<KeyFrameGraphicsItem *> keyFrameItems;

public slots:
    void reload();
    void reloadList();
    void reloadMarkers();
    void addObject();
    void connectToState();
    void filterStateChange(int flags);
    void connectToObjects();
    void filterObjectsChange(int flags);
    /// Goes to the frame under a viewport position.
    void viewClicked(QPoint position);
    /// Frame (from 0) at a scene x in pixels.
    int scrollPosToFrame(int pos);

private:
    void reloadHeader();
    void reloadBody();
    void addRows();
    void addSpans(const TrackedObject *object, const QVector<int> &rows);
    void addKeyFrames(const TrackedObject *object, const QVector<int> &rows);
    void showCurrentRow();
    QGraphicsRectItem *addMarker(QGraphicsScene *scene, double height);
    /// Made from frameWidth and rowHeight.
    TimeLineGeometry raster() const { return {frameWidth, rowHeight}; }

    // What the rows were last moved for.
    QList<QPointer<TrackedObject>> m_shownObjects;
    QPointer<TrackedObject> m_shownCurrent;
};
