// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QDockWidget>
#include <QPointer>

class QPushButton;
class QShortcut;
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

    /// Ends a running playback; its loop leaves as soon as control is back in it.
    void stopPlayback();

    /// The buttons, the number field among them, and the slider below.
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
    /// Listens to the project state in use, and to it alone.
    void connectToState();
    /// Reloads for DataState::FrameChanged.
    void filterStateChange(int flags);
    /// Shows the current frame; disabled without a video.
    void reload();
    /// Disables what would move through the video during playback: all but play button and number field.
    void setButtonPlaying();
    /// Enables everything again.
    void setButtonAllActive();
    /// These go where their button, the number or the slider says.
    void onButtonFirstClicked();
    void onButtonPrevClicked();
    void onSpinBoxEditingFinished();
    void onButtonNextClicked();
    void onButtonLastClicked();
    /// Starts playback and returns when it has ended, or ends the playback that is running.
    void onButtonPlayClicked();
    void onSliderValueChanged(int value);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void createWidgets();
    void createLayout();
    void createConnections();
    void createWindowShortcut();
    void updateWindowShortcut();
    QList<QWidget *> stoppedOnlyWidgets() const;
    void play();

    QMetaObject::Connection m_numberTyped;
    /// Space in the parent window while the play button cannot hear it; null without a parent.
    QPointer<QShortcut> m_windowShortcut;
};
