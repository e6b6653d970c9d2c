// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QDockWidget>

class QPushButton;
class QSlider;
class QSpinBox;

/// Dock with which the user steps, jumps and plays through the video. Frame numbers shown start at 1.
class FrameNav : public QDockWidget
{
    Q_OBJECT

public:
    explicit FrameNav(const QString &title, QWidget *parent = nullptr,
                      Qt::WindowFlags flags = Qt::WindowFlags());
    explicit FrameNav(QWidget *parent = nullptr, Qt::WindowFlags flags = Qt::WindowFlags());

    /// Milliseconds that playback shows one frame: whole, at least 1 whatever the frame rate.
    static int msPerFrame(double fps);

    /// Ends a running playback; its loop leaves as soon as control is back in it.
    void stopPlayback();

    QPushButton *buttonFirst = nullptr;
    QPushButton *buttonPrev = nullptr;
    QPushButton *buttonNext = nullptr;
    QPushButton *buttonLast = nullptr;
    QPushButton *buttonPlay = nullptr;
    QSpinBox *spinBox = nullptr;
    QSlider *slider = nullptr;
    /// False only while the playback loop runs.
    bool paused = true;

public slots:
    void connectToState();
    void filterStateChange(int flags);
    void reload();
    void setButtonPlaying();
    void setButtonAllActive();
    void onButtonFirstClicked();
    void onButtonPrevClicked();
    void onSpinBoxEditingFinished();
    void onButtonNextClicked();
    void onButtonLastClicked();
    /// Starts playback and returns when it has ended, or ends the playback that is running.
    void onButtonPlayClicked();
    void onSliderValueChanged(int value);

private:
    void createWidgets();
    void createLayout();
    void createConnections();
    QList<QWidget *> stoppedOnlyWidgets() const;
    void play();

    QMetaObject::Connection m_numberTyped;
};
