// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QGraphicsView>
#include <QString>

/// View of the frame scene that reports its resizing and double-clicks.
class FrameGraphicsView : public QGraphicsView
{
    Q_OBJECT

public:
    explicit FrameGraphicsView(QWidget *parent = nullptr);

    /// Text in the middle of the view, in front of the scene and not part of it; empty for none.
    QString notice() const { return m_notice; }
    void setNotice(const QString &notice);

signals:
    /// After the view has got another size.
    void resized();
    /// By the left button. Viewport position in pixels; `shift` is true while the Shift key is held.
    void doubleClicked(int x, int y, bool shift);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;

private:
    QString m_notice;
};
