// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/framenav.h"

#include "core/datastate.h"
#include "core/mainwindow.h"
#include "views/frameviewer.h"
#include "views/playbackclock.h"
#include "views/shortcutpassthrough.h"
#include "views/whilestatelives.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QGridLayout>
#include <QKeyEvent>
#include <QPushButton>
#include <QShortcut>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>

#include <algorithm>
#include <chrono>
#include <thread>

namespace
{

/// Buttons act on their shortcut only after showing themselves pressed for a while, and playback would have
/// to show another frame before it noticed. This makes the play button act at once.
class ImmediateShortcut : public QObject
{
public:
    explicit ImmediateShortcut(QPushButton *button)
        : QObject(button)
    {
        button->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() != QEvent::Shortcut)
            return QObject::eventFilter(watched, event);
        auto *button = static_cast<QPushButton *>(watched);
        // A key held down toggles once.
        button->setShortcutAutoRepeat(static_cast<QShortcutEvent *>(event)->shortcutId(), false);
        button->click();
        return true;
    }
};

QPushButton *createButton(const QString &icon, const QString &toolTip)
{
    auto *button = new QPushButton(QIcon(icon), QString());
    button->setToolTip(toolTip);
    button->setAccessibleName(toolTip);
    return button;
}

QIcon playIcon()
{
    return QIcon(QStringLiteral(":icons/play.ico"));
}

QIcon pauseIcon()
{
    return QIcon(QStringLiteral(":icons/pause.ico"));
}

/// Nothing but events can end the playback, and none are processed between two frames: nothing is missed
/// here.
void sleepUntil(const QElapsedTimer &timer, qint64 milliseconds)
{
    const std::chrono::nanoseconds left =
        std::chrono::milliseconds(milliseconds) - std::chrono::nanoseconds(timer.nsecsElapsed());
    if (left.count() > 0)
        std::this_thread::sleep_for(left);
}

void setFrameViewerEnabled(bool enabled)
{
    if (g_mainWindow)
        g_mainWindow->frameViewer()->setEnabled(enabled);
}

} // namespace

FrameNav::FrameNav(const QString &title, QWidget *parent, Qt::WindowFlags flags)
    : QDockWidget(title, parent, flags)
{
    createWidgets();
    createLayout();
    createConnections();
    if (parent)
        createWindowShortcut();
    setDisabled(true);
}

FrameNav::FrameNav(QWidget *parent, Qt::WindowFlags flags)
    : FrameNav(QString(), parent, flags)
{
}

void FrameNav::createWidgets()
{
    buttonFirst = createButton(QStringLiteral(":icons/goStart.ico"), tr("First frame"));
    buttonPrev = createButton(QStringLiteral(":icons/goPre.ico"), tr("Previous frame (Left)"));
    buttonNext = createButton(QStringLiteral(":icons/goNext.ico"), tr("Next frame (Right)"));
    buttonLast = createButton(QStringLiteral(":icons/goEnd.ico"), tr("Last frame"));
    buttonPlay = createButton(QStringLiteral(":icons/play.ico"), tr("Play or pause (Space)"));
    buttonPlay->setShortcut(QKeySequence(Qt::Key_Space));
    new ImmediateShortcut(buttonPlay);

    spinBox = new QSpinBox;
    spinBox->setButtonSymbols(QAbstractSpinBox::NoButtons);
    spinBox->setMinimum(1);
    spinBox->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    spinBox->setAlignment(Qt::AlignHCenter);
    spinBox->setToolTip(tr("Current frame"));
    spinBox->setAccessibleName(tr("Current frame"));
    // A frame number has no use for these two.
    new ShortcutPassThrough(spinBox, {QKeySequence(Qt::Key_Space), QKeySequence(Qt::CTRL | Qt::Key_A)});

    slider = new QSlider(Qt::Horizontal);
    slider->setToolTip(tr("Move through the video"));
    slider->setAccessibleName(tr("Position in the video"));
}

void FrameNav::createLayout()
{
    auto *container = new QWidget;
    auto *grid = new QGridLayout(container);
    int column = 0;
    for (QWidget *widget : {static_cast<QWidget *>(buttonFirst), static_cast<QWidget *>(buttonPrev),
                            static_cast<QWidget *>(spinBox), static_cast<QWidget *>(buttonNext),
                            static_cast<QWidget *>(buttonLast), static_cast<QWidget *>(buttonPlay)})
        grid->addWidget(widget, 0, column++);
    grid->addWidget(slider, 1, 0, 1, column);
    setWidget(container);
}

void FrameNav::createConnections()
{
    connect(buttonFirst, &QPushButton::clicked, this, &FrameNav::onButtonFirstClicked);
    connect(buttonPrev, &QPushButton::clicked, this, &FrameNav::onButtonPrevClicked);
    connect(buttonNext, &QPushButton::clicked, this, &FrameNav::onButtonNextClicked);
    connect(buttonLast, &QPushButton::clicked, this, &FrameNav::onButtonLastClicked);
    connect(buttonPlay, &QPushButton::clicked, this, &FrameNav::onButtonPlayClicked);
    connect(slider, &QSlider::valueChanged, this, &FrameNav::onSliderValueChanged);
    connectToState();
}

// The play button's own shortcut works in the button's window only, and only while the button is shown there.
void FrameNav::createWindowShortcut()
{
    m_windowShortcut = new QShortcut(QKeySequence(Qt::Key_Space), parentWidget());
    m_windowShortcut->setAutoRepeat(false); // a key held down toggles once
    connect(m_windowShortcut, &QShortcut::activated, buttonPlay, &QPushButton::click);
    connect(this, &QObject::destroyed, m_windowShortcut, &QObject::deleteLater);
    connect(this, &QDockWidget::topLevelChanged, this, &FrameNav::updateWindowShortcut);
    buttonPlay->installEventFilter(this);
    updateWindowShortcut();
}

/// Never two that hear the same key, which would be ambiguous. A floating dock that is active hears it
/// itself, and the parent window would hear it too.
void FrameNav::updateWindowShortcut()
{
    if (!m_windowShortcut)
        return;
    const QWidget *window = buttonPlay->window();
    const bool sameWindow = window == m_windowShortcut->parentWidget()->window();
    const bool heard = buttonPlay->isVisible() && (sameWindow || window == QApplication::activeWindow());
    m_windowShortcut->setEnabled(!heard);
}

bool FrameNav::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == buttonPlay && (event->type() == QEvent::Show || event->type() == QEvent::Hide))
        updateWindowShortcut();
    return QDockWidget::eventFilter(watched, event);
}

void FrameNav::changeEvent(QEvent *event)
{
    QDockWidget::changeEvent(event);
    if (event->type() == QEvent::ActivationChange)
        updateWindowShortcut();
}

void FrameNav::connectToState()
{
    disconnect(g_state, nullptr, this, nullptr);
    connect(g_state, &DataState::hasChanged, this, &FrameNav::filterStateChange);
    disconnect(m_numberTyped);
    m_numberTyped = connectWhileStateLives(spinBox, &QSpinBox::editingFinished, this,
                                           &FrameNav::onSpinBoxEditingFinished);
}

void FrameNav::filterStateChange(int flags)
{
    if (flags & DataState::FrameChanged)
        reload();
}

void FrameNav::reload()
{
    if (!g_state->videoLoaded) {
        setDisabled(true);
        return;
    }
    setDisabled(false);
    const int frameCount = g_state->video->frameCount;
    // The value before the maximum: beyond the old maximum it is cut to that one until the next reload.
    spinBox->setValue(g_state->currentFrame + 1);
    if (spinBox->maximum() != frameCount) // every setting lays the window out anew
        spinBox->setMaximum(frameCount);
    {
        // The old value may lie outside the new range; cutting it off must not change the frame.
        const QSignalBlocker blocker(slider);
        slider->setMinimum(1);
        slider->setMaximum(frameCount);
    }
    slider->setValue(g_state->currentFrame + 1);
}

void FrameNav::setButtonPlaying()
{
    for (QWidget *widget : stoppedOnlyWidgets())
        widget->setDisabled(true);
}

void FrameNav::setButtonAllActive()
{
    for (QWidget *widget : stoppedOnlyWidgets())
        widget->setEnabled(true);
    buttonPlay->setEnabled(true);
}

QList<QWidget *> FrameNav::stoppedOnlyWidgets() const
{
    return {buttonFirst, buttonLast, buttonNext, buttonPrev, slider};
}

void FrameNav::onButtonFirstClicked()
{
    g_state->setFrame(0);
}

void FrameNav::onButtonPrevClicked()
{
    g_state->prevFrame();
}

void FrameNav::onSpinBoxEditingFinished()
{
    g_state->setFrame(spinBox->value() - 1);
    if (spinBox->hasFocus()) // after Return: the arrow keys are to step frames again
        spinBox->clearFocus();
}

void FrameNav::onButtonNextClicked()
{
    g_state->nextFrame();
}

void FrameNav::onButtonLastClicked()
{
    if (g_state->video)
        g_state->setFrame(g_state->video->frameCount - 1);
}

void FrameNav::onSliderValueChanged(int value)
{
    g_state->setFrame(value - 1);
}

// A click while playing runs this a second time inside the loop's event processing.
void FrameNav::onButtonPlayClicked()
{
    if (!g_state->videoLoaded)
        return;
    paused = !paused;
    if (!paused) {
        buttonPlay->setIcon(pauseIcon());
        // Else the focus of a button now disabled would go to the spin box. A number half typed there is
        // taken over.
        if (buttonPlay->isVisible())
            buttonPlay->setFocus();
        setButtonPlaying();
        play();
    }
    stopPlayback();
}

void FrameNav::play()
{
    const VideoContainer &video = *g_state->video;
    const PlaybackClock clock{PlaybackClock::msPerFrame(video.fps), g_state->currentFrame, video.frameCount};
    if (clock.isBehindTheEnd(clock.startFrame))
        return;
    qint64 last = -1;
    QElapsedTimer timer;
    timer.start();
    while (!paused) {
        const qint64 frame = clock.frameAt(timer.elapsed());
        if (frame != last) {
            g_state->setFrame(static_cast<int>(std::min<qint64>(frame, clock.frameCount)));
            setFrameViewerEnabled(false); // showing a frame enables it again
            QApplication::processEvents();
            last = frame;
        }
        // The events may have ended the playback and replaced the project.
        if (!paused && clock.isBehindTheEnd(frame)) {
            g_state->setFrame(clock.frameCount - 1);
            break;
        }
        if (!paused)
            sleepUntil(timer, clock.dueAt(frame + 1));
    }
}

void FrameNav::stopPlayback()
{
    paused = true;
    buttonPlay->setIcon(playIcon());
    setFrameViewerEnabled(g_state->videoLoaded);
    setButtonAllActive();
}
