// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QGraphicsView>

/// View of the frame scene that reports its resizing and double-clicks.
class FrameGraphicsView : public QGraphicsView
{
    Q_OBJECT

public:
    explicit FrameGraphicsView(QWidget *parent = nullptr);

signals:
    /// After the view has got another size.
    void resized();
    /// By the left button. Viewport position in pixels; `shift` is true while the Shift key is held.
    void doubleClicked(int x, int y, bool shift);

protected:
    void resizeEvent(QResizeEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
};
