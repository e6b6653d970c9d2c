// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QGraphicsView>

/// View that reports every mouse position while a button is held, so that dragging is a stream of clicks.
class ClickableGraphicsView : public QGraphicsView
{
    Q_OBJECT

public:
    explicit ClickableGraphicsView(QWidget *parent = nullptr);

    /// True while a mouse button is held in the view.
    bool pressed = false;

signals:
    /// Viewport position in pixels.
    void clicked(QPoint position);

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
};
