// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QPointF>
#include <QString>
#include <QWidget>

#include <memory>

class FrameCache;
class FrameGraphicsView;
class QGraphicsPixmapItem;
class QGraphicsScene;
class QTimer;

/// Shows the current frame with the polygon of every object on it and takes the user's edits of them.
class FrameViewer : public QWidget
{
    Q_OBJECT

public:
    explicit FrameViewer(QWidget *parent = nullptr, Qt::WindowFlags flags = Qt::WindowFlags());
    ~FrameViewer() override;

    /// Fills the widget and shows `scene`.
    FrameGraphicsView *view = nullptr;
    /// The frame image and the polygon of every object on it; owned.
    QGraphicsScene *scene = nullptr;
    /// The frame image; null before the first frame was shown.
    QGraphicsPixmapItem *frameItem = nullptr;

    using QWidget::resize;

    /// The images at hand, those of the frames that the user will most likely want next among them.
    const FrameCache &images() const { return *m_images; }

    /// Has the view tell the user something in its middle while no video is loaded. Stays until another
    /// notice comes; an empty one is none.
    void setNotice(const QString &notice);
    QString notice() const { return m_notice; }

public slots:
    /// Listens to the project state in use.
    void connectToState();
    /// Reloads for DataState::FrameChanged and DataState::ObjectListChanged.
    void filterStateChange(int flags);
    /// Builds the scene anew from the current frame.
    void reload();
    /// Fits the frame into the view.
    void resize();
    /// Adds a vertex to the current object's polygon at a view position, or removes the nearest one with
    /// `shift`.
    void doubleClicked(int x, int y, bool shift);

private:
    void showNotice();
    void chooseIndex();
    void prepareNextImages();
    void forgetImages();
    void removeNearestVertex(QPointF point);
    void addVertex(QPointF point);

    std::unique_ptr<FrameCache> m_images;
    QString m_notice;
    QTimer *m_preparation = nullptr; // once for all reloads of a turn
    int m_lastFrame = 0;             // whose image was shown before
    bool m_onward = true;            // the direction of the last move
};
