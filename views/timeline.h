// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "views/timelinegeometry.h"

#include <QDockWidget>
#include <QList>
#include <QMetaObject>
#include <QPointer>

#include <memory>

class ClickableGraphicsView;
class FrameSpanGraphicsItem;
class KeyFrameGraphicsItem;
class QGraphicsLineItem;
class QGraphicsRectItem;
class QGraphicsScene;
class QPushButton;
class QScrollArea;
class TimeLineGrid;
class TimeLineNumbers;
class TimeLineRows;
class TrackedObject;

/// Dock that shows every object as a row over all frames of the video.
class TimeLine : public QDockWidget
{
    Q_OBJECT

public:
    explicit TimeLine(const QString &title, QWidget *parent = nullptr,
                      Qt::WindowFlags flags = Qt::WindowFlags());
    ~TimeLine() override;

    /// Builds the parts and connects them; called once, by the constructor.
    void Init();

    /// "ADD Object".
    QPushButton *addButton = nullptr;
    /// The labels of the objects, in the stacking order of frame 0.
    QScrollArea *labelArea = nullptr;
    /// The frame numbers.
    ClickableGraphicsView *headerView = nullptr;
    QGraphicsScene *headerScene = nullptr;
    /// The rows of the objects.
    ClickableGraphicsView *bodyView = nullptr;
    QGraphicsScene *bodyScene = nullptr;
    /// Highlight of the current frame; null until the first reload.
    QGraphicsRectItem *headerMarker = nullptr;
    QGraphicsRectItem *bodyMarker = nullptr;
    /// Pixels per frame.
    int frameWidth = 40;
    /// Pixels per object row.
    int rowHeight = 40;
    /// To the hasChanged() of every object.
    QList<QMetaObject::Connection> objectConnections;
    /// The curves and markers in the body, owned by its scene: object by object in the stacking order of
    /// frame 0, frame by frame.
    QList<FrameSpanGraphicsItem *> spanItems;
    QList<KeyFrameGraphicsItem *> keyFrameItems;

public slots:
    /// Shows list, header, body and markers as the project is now; disabled without a video.
    void reload();
    /// Shows the objects' labels as they are now.
    void reloadList();
    /// Moves the highlights to the current frame and scrolls it into sight, sideways only.
    void reloadMarkers();
    /// Adds an object to the project; the first one makes the window reload.
    void addObject();
    /// Listens to the project state in use and its objects, and to them alone.
    void connectToState();
    /// Reloads for DataState::ObjectListChanged, moves the highlights for DataState::FrameChanged and shows
    /// the current object's row for DataState::ObjectSelectionChanged.
    void filterStateChange(int flags);
    /// Listens to the objects that the project has now.
    void connectToObjects();
    /// Reloads, whatever has changed.
    void filterObjectsChange(int flags);
    /// Goes to the frame under a viewport position.
    void viewClicked(QPoint position);
    /// Frame (from 0) at a scene x in pixels.
    int scrollPosToFrame(int pos);

private:
    qint64 itemsToMake() const;
    void reloadHeader();
    void reloadBody();
    void setBodySize(int width, int height);
    void showCurrentRow();
    QGraphicsRectItem *addMarker(QGraphicsScene *scene);
    /// Made from frameWidth and rowHeight.
    TimeLineGeometry raster() const { return {frameWidth, rowHeight}; }

    // The parts of the scenes that stay from one reload to the next.
    std::unique_ptr<TimeLineNumbers> m_numbers;
    std::unique_ptr<TimeLineGrid> m_grid;
    std::unique_ptr<TimeLineRows> m_rows;
    QGraphicsLineItem *m_headerWidth = nullptr; // transparent, as wide as the video
    QGraphicsLineItem *m_bodyWidth = nullptr;

    // What the rows were last moved for.
    QList<QPointer<TrackedObject>> m_shownObjects;
    QPointer<TrackedObject> m_shownCurrent;
};
