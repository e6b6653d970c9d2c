// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/gui/monkey.h"

#include "core/datastate.h"
#include "core/history.h"
#include "core/mainwindow.h"
#include "core/modaljob.h"
#include "core/recovery.h"
#include "tests/gui/programfixture.h"
#include "tests/support/modelchecks.h"
#include "tests/support/mousedriver.h"
#include "tests/support/projectfields.h"
#include "tests/support/sceneprobe.h"
#include "views/clickablegraphicsview.h"
#include "views/framegraphicsview.h"
#include "views/framenav.h"
#include "views/framespangraphicsitem.h"
#include "views/frameviewer.h"
#include "views/keyframegraphicsitem.h"
#include "views/polyareagraphicsitem.h"
#include "views/timeline.h"
#include "views/trackedobjectlabel.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QScrollBar>
#include <QSlider>
#include <QSpinBox>
#include <QToolButton>
#include <QtTest>

#include <numeric>

namespace
{

constexpr int remembered = 60;  // steps that a report names
constexpr int mostObjects = 6;  // so that a step stays fast
constexpr int deepest = 2;      // steps inside of steps
constexpr int disturbEvery = 1; // milliseconds

template <class List>
QString wrongCount(const char *what, const List &list, int expected)
{
    return list.size() == expected ? QString()
                                   : QStringLiteral("%1 %2 instead of %3")
                                         .arg(list.size())
                                         .arg(QLatin1String(what))
                                         .arg(expected);
}

/// Whether a real mouse could be there: the driver's events go past what is hidden, disabled or blocked.
bool canBeReached(const QWidget *widget)
{
    return widget->isVisible() && widget->isEnabled() && !QApplication::activeModalWidget();
}

bool isInProject(const KeyFrame *keyFrame)
{
    return keyFrame && g_state->objects.contains(keyFrame->object) &&
           keyFrame->object->keyFrames.value(keyFrame->frame) == keyFrame;
}

} // namespace

Monkey::Monkey(unsigned seed, const QString &clip, const QString &folder)
    : m_random(seed)
    , m_clip(clip)
    , m_folder(folder)
{
    startProgram();
    m_deeds = deeds();
    for (const std::vector<Deed> &more : {mouseDeeds(), fileDeeds()})
        m_deeds.insert(m_deeds.end(), more.begin(), more.end());
    connect(&m_disturber, &QTimer::timeout, this, &Monkey::disturb);
    m_disturber.start(disturbEvery);
}

Monkey::~Monkey() = default;

QString Monkey::run(int steps)
{
    for (int i = 0; i < steps; ++i) {
        step();
        restartIfClosed();
        const QString found = problem();
        if (!found.isEmpty())
            return QStringLiteral("step %1: %2, after\n%3")
                .arg(i)
                .arg(found, m_lately.join(QLatin1Char('\n')));
    }
    return QString();
}

void Monkey::step()
{
    const int sum = std::accumulate(m_deeds.begin(), m_deeds.end(), 0,
                                    [](int total, const Deed &deed) { return total + deed.weight; });
    int number = below(sum);
    const Deed *chosen = nullptr;
    for (const Deed &deed : m_deeds) {
        chosen = &deed;
        number -= deed.weight;
        if (number < 0)
            break;
    }
    m_lately.append(QString(m_depth * 2, QLatin1Char(' ')) + QLatin1String(chosen->name));
    if (m_lately.size() > remembered)
        m_lately.removeFirst();
    ++m_depth;
    if (!g_state->videoLoaded && m_depth == 1 && chance(3))
        trigger("&New");
    else
        chosen->act();
    --m_depth;
    if (m_depth == 0) {
        QCoreApplication::processEvents();
        if (chance(4))
            ModelChecks::flushDeferredDeletes();
    }
}

void Monkey::restartIfClosed()
{
    if ((*m_program)->isVisible())
        return;
    m_lately.append(QStringLiteral("(a new program)"));
    m_pressed = nullptr;
    m_program.reset();
    startProgram();
}

void Monkey::startProgram()
{
    m_program = std::make_unique<ProgramFixture>();
    m_program->window->setRecovery(QDir(m_folder).filePath(QStringLiteral("recovery")));
    m_program->window->recovery()->setTimes({20, 100});
}

/// Restores or discards the unsaved work that is offered, if any is.
void Monkey::answerOffer()
{
    for (const QAbstractButton *button : m_program->window->findChildren<QAbstractButton *>()) {
        const bool wanted = button->text() == QLatin1String(chance(2) ? "Restore" : "Discard");
        if (wanted && button->isVisible()) {
            const_cast<QAbstractButton *>(button)->click();
            return;
        }
    }
}

/// Where the mouse works: the frame, the time line's body and header.
QWidget *Monkey::canvas()
{
    const MainWindow &window = *m_program->window;
    switch (below(5)) {
    case 0:
        return window.timeLine()->headerView->viewport();
    case 1:
        return window.timeLine()->bodyView->viewport();
    default:
        return window.frameViewer()->view->viewport();
    }
}

/// Somewhere on a widget, rather at a handle than anywhere else.
QPoint Monkey::place(const QWidget *widget)
{
    const FrameGraphicsView *view = m_program->window->frameViewer()->view;
    const TrackedObject *object = g_state->getCurrentObject();
    const KeyFrame *keyFrame = object ? object->getCurrentKeyFrame() : nullptr;
    if (widget == view->viewport() && keyFrame && !keyFrame->polygon.isEmpty() && !chance(3)) {
        const QPolygonF polygon = keyFrame->polygonSnapshot();
        return view->mapFromScene(chance(3) ? polygon.boundingRect().center()
                                            : polygon.at(below(polygon.size())));
    }
    return {below(widget->width() + 10) - 5, below(widget->height() + 10) - 5};
}

/// One of press, move and release, so that drags stay unfinished while other things happen.
void Monkey::mouse(int kind)
{
    const auto modifiers = chance(6) ? Qt::ControlModifier : chance(6) ? Qt::ShiftModifier : Qt::NoModifier;
    if (kind == 0) {
        QWidget *chosen = canvas();
        if (!canBeReached(chosen))
            return;
        m_pressed = chosen;
        MouseDriver::press(m_pressed, place(m_pressed), modifiers);
        return;
    }
    QWidget *target = m_pressed ? m_pressed : canvas();
    if (!canBeReached(target))
        return;
    if (kind == 1) {
        MouseDriver::move(target, place(target), modifiers);
        return;
    }
    MouseDriver::release(target, place(target), modifiers);
    m_pressed = nullptr;
}

void Monkey::contextMenu()
{
    TimeLine *timeLine = m_program->window->timeLine();
    if (timeLine->keyFrameItems.isEmpty() || !canBeReached(timeLine->bodyView->viewport()))
        return;
    const KeyFrameGraphicsItem *item = timeLine->keyFrameItems.at(below(timeLine->keyFrameItems.size()));
    timeLine->bodyView->ensureVisible(item, timeLine->frameWidth, 0);
    const QPoint aside(chance(2) ? timeLine->frameWidth / 2 : 0, 0); // there is a span
    const QPoint position = timeLine->bodyView->mapFromScene(item->scenePos()) + aside;
    MouseDriver::contextMenu(timeLine->bodyView->viewport(), position);
}

void Monkey::key(Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    m_program->window->activateWindow();
    QTest::keyClick(m_program->window->windowHandle(), key, modifiers);
}

void Monkey::trigger(const char *action)
{
    m_program->action(QLatin1String(action))->trigger();
}

void Monkey::typeName()
{
    const QList<TrackedObjectLabel *> labels =
        m_program->window->timeLine()->labelArea->findChildren<TrackedObjectLabel *>();
    if (labels.isEmpty())
        return;
    TrackedObjectLabel *label = labels.at(below(labels.size()));
    if (!label->nameEdit->hasFocus())
        label->editButton->click();
    if (!label->nameEdit->hasFocus())
        return;
    QTest::keyClick(label->nameEdit, Qt::Key(Qt::Key_A + below(26)));
    if (chance(2))
        QTest::keyClick(label->nameEdit, Qt::Key_Return);
}

std::vector<Monkey::Deed> Monkey::mouseDeeds()
{
    return {
        {14, "press", [this] { mouse(0); }},
        {18, "move", [this] { mouse(1); }},
        {16, "release", [this] { mouse(2); }},
        {14, "double-click",
         [this] {
             QWidget *target = canvas();
             const auto modifiers = chance(5) ? Qt::ShiftModifier : Qt::NoModifier;
             if (canBeReached(target))
                 MouseDriver::doubleClick(target, place(target), modifiers);
         }},
        {4, "context menu", [this] { contextMenu(); }},
        {2, "type a name", [this] { typeName(); }},
        {2, "click a label",
         [this] {
             const auto labels = m_program->window->timeLine()->findChildren<TrackedObjectLabel *>();
             if (!labels.isEmpty() && canBeReached(labels.first()))
                 MouseDriver::click(labels.at(below(labels.size())), QPoint(5, 5));
         }},
        {2, "delete an object",
         [this] {
             const auto labels = m_program->window->timeLine()->findChildren<TrackedObjectLabel *>();
             if (!labels.isEmpty())
                 labels.at(below(labels.size()))->deleteButton->click();
         }},
        {2, "add an object",
         [this] {
             if (g_state->objects.size() < mostObjects)
                 m_program->window->timeLine()->addButton->click();
         }},
        {2, "slide", [this] { m_program->window->frameNav()->slider->setValue(below(12)); }},
        {1, "go to the first frame", [this] { m_program->window->frameNav()->buttonFirst->click(); }},
        {1, "go to the last frame", [this] { m_program->window->frameNav()->buttonLast->click(); }},
        {1, "type a frame number",
         [this] {
             QSpinBox *box = m_program->window->frameNav()->spinBox;
             QTest::keyClick(box, Qt::Key(Qt::Key_0 + below(10)));
             QTest::keyClick(box, Qt::Key_Return);
         }},
        {1, "hide or show a dock",
         [this] {
             QDockWidget *dock = chance(2) ? static_cast<QDockWidget *>(m_program->window->timeLine())
                                           : m_program->window->frameNav();
             dock->toggleViewAction()->trigger();
         }},
        {1, "float a dock",
         [this] {
             QDockWidget *dock = chance(2) ? static_cast<QDockWidget *>(m_program->window->timeLine())
                                           : m_program->window->frameNav();
             dock->setFloating(!dock->isFloating());
         }},
    };
}

std::vector<Monkey::Deed> Monkey::deeds()
{
    return {
        {10, "next frame", [this] { key(Qt::Key_Right); }},
        {8, "previous frame", [this] { key(Qt::Key_Left); }},
        {10, "undo", [this] { key(Qt::Key_Z, Qt::ControlModifier); }},
        {4, "redo", [this] { key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier); }},
        {2, "redo the other way", [this] { key(Qt::Key_Y, Qt::ControlModifier); }},
        {4, "morph", [this] { key(Qt::Key_M, Qt::ControlModifier); }},
        {2, "iTrack", [this] { key(Qt::Key_I, Qt::ControlModifier); }},
        {2, "aTrack", [this] { key(Qt::Key_A, Qt::ControlModifier); }},
        {2, "segmentation", [this] { trigger("segmentation"); }},
        {2, "play", [this] { key(Qt::Key_Space); }},
        {1, "escape", [this] { key(Qt::Key_Escape); }},
    };
}

// One step in some hundreds: a file dialog alone takes as long as fifty other steps.
std::vector<Monkey::Deed> Monkey::fileDeeds()
{
    return {
        {1, "answer the offer",
         [this] {
             if (chance(8) && m_depth <= deepest)
                 answerOffer();
         }},
        {1, "a file action",
         [this] {
             if (!chance(8) || m_depth > deepest)
                 return;
             static const char *const actions[] = {"&New", "&Open", "&Save", "export XML", "&Close"};
             const char *action = actions[below(5)];
             m_lately.append(QLatin1String(action));
             trigger(action);
         }},
    };
}

void Monkey::answerMenu(QWidget *popup)
{
    auto *menu = qobject_cast<QMenu *>(popup);
    if (!menu || chance(5) || menu->actions().isEmpty()) {
        popup->close();
        return;
    }
    QAction *action = menu->actions().at(below(menu->actions().size()));
    if (action->menu() && !action->menu()->actions().isEmpty()) {
        menu->setActiveAction(action);
        QTest::keyClick(menu, Qt::Key_Right);
        return; // the submenu's turn comes next
    }
    if (!action->isEnabled() || action->isSeparator())
        return;
    menu->setActiveAction(action);
    QTest::keyClick(menu, Qt::Key_Return);
}

void Monkey::answerFileDialog(QWidget *widget)
{
    auto *dialog = static_cast<QFileDialog *>(widget);
    const bool project = dialog->nameFilters().join(QLatin1Char(' ')).contains(QLatin1String(".palu"));
    const QString projectFile = QDir(m_folder).filePath(chance(8) ? "damaged.palu" : "monkey.palu");
    QString name = m_clip;
    if (project)
        name = projectFile;
    else if (dialog->acceptMode() == QFileDialog::AcceptSave)
        name = QDir(m_folder).filePath(QStringLiteral("monkey.xml"));
    else if (chance(10))
        name = projectFile; // no video at all
    if (chance(8) || (dialog->acceptMode() == QFileDialog::AcceptOpen && !QFile::exists(name))) {
        dialog->reject();
        return;
    }
    if (auto *edit = dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit")))
        edit->setText(name);
    static_cast<QDialog *>(dialog)->accept();
}

void Monkey::answerProgress(QWidget *dialog)
{
    if (chance(3))
        static_cast<QProgressDialog *>(dialog)->cancel();
    else if (chance(20))
        m_program->window->close();
}

void Monkey::disturb()
{
    // A timer does not go off again before its receivers return, and what is done here opens more dialogs.
    QTimer next;
    connect(&next, &QTimer::timeout, this, &Monkey::disturb);
    next.start(disturbEvery);
    if (QWidget *popup = QApplication::activePopupWidget()) {
        answerMenu(popup);
        return;
    }
    if (QWidget *modal = QApplication::activeModalWidget()) {
        if (qobject_cast<QFileDialog *>(modal))
            answerFileDialog(modal);
        else if (qobject_cast<QProgressDialog *>(modal))
            answerProgress(modal);
        else
            modal->close();
        return;
    }
    if (!m_program) // a new one is just being made
        return;
    const bool playing = !m_program->window->frameNav()->paused;
    if (m_depth > 0 && m_depth <= deepest && (playing || ModalJob::isRunning()) && chance(3))
        step();
}

QString Monkey::problem()
{
    if (!g_state->videoLoaded)
        return g_state->hasObjects() ? QStringLiteral("objects without a video") : QString();
    const QString state = ModelChecks::stateProblem(*g_state);
    if (!state.isEmpty())
        return state;
    if (g_state->currentFrame < 0 || g_state->currentFrame >= g_state->video->frameCount)
        return QStringLiteral("the current frame is %1").arg(g_state->currentFrame);
    if (g_state->currentObjectId == -1 && g_state->hasObjects() && !g_state->objects.isEmpty())
        return QStringLiteral("no object is the current one");
    if (m_program->window->recovery()->isUnsaved() && !ModalJob::isRunning()) {
        m_program->window->history().settle();
        if (m_program->window->history().isClean())
            return QStringLiteral("a copy is kept of what is saved");
    }
    const QString views = viewProblem();
    return views.isEmpty() && chance(5) ? undoProblem() : views;
}

/// Whether the views hold the items of the project and of nothing else.
QString Monkey::viewProblem() const
{
    const MainWindow &window = *m_program->window;
    const auto outlines = itemsOf<PolyAreaGraphicsItem>(window.frameViewer()->scene);
    for (const PolyAreaGraphicsItem *item : outlines) {
        if (!isInProject(item->keyFrame) || item->keyFrame->frame != g_state->currentFrame)
            return QStringLiteral("an outline of another key frame");
        if (!window.frameViewer()->scene->mouseGrabberItem() && item->polygon() != item->keyFrame->polygon)
            return QStringLiteral("an outline drawn in another way");
    }
    QString wrong = wrongCount("outlines", outlines, g_state->objects.size());
    if (!wrong.isEmpty())
        return wrong;
    int spans = 0;
    for (const TrackedObject *object : qAsConst(g_state->objects))
        spans += g_state->video->frameCount > 1 ? object->spanChain().size() : 0;
    wrong = wrongCount("curves", window.timeLine()->spanItems, spans);
    if (!wrong.isEmpty())
        return wrong;
    for (const FrameSpanGraphicsItem *item : qAsConst(window.timeLine()->spanItems)) {
        if (!item->frameSpan || !item->frameSpan->object->spanChain().contains(item->frameSpan))
            return QStringLiteral("a curve of another span");
    }
    for (const KeyFrameGraphicsItem *item : qAsConst(window.timeLine()->keyFrameItems)) {
        if (!isInProject(item->keyFrame))
            return QStringLiteral("a marker of another key frame");
    }
    const int markers = g_state->objects.size() * g_state->video->frameCount;
    return wrongCount("markers", window.timeLine()->keyFrameItems, markers);
}

/// Whether the last step can be taken back and done again.
QString Monkey::undoProblem()
{
    if (qobject_cast<QLineEdit *>(QApplication::focusWidget()))
        return QString(); // there the keys belong to the field
    History &history = m_program->window->history();
    history.settle();
    const QByteArray before = projectFields(*g_state);
    if (!history.canUndo())
        return QString();
    const QString name = history.undo();
    const QString undone = ModelChecks::stateProblem(*g_state);
    if (!undone.isEmpty())
        return undone;
    history.redo();
    return projectFields(*g_state) == before ? QString() : "undo and redo of " + name;
}
