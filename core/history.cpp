// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/history.h"

#include "core/datastate.h"
#include "core/historystep.h"
#include "core/modaljob.h"

#include <QAbstractEventDispatcher>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QScopedValueRollback>
#include <QStyleHints>

#include <algorithm>
#include <utility>

namespace
{

constexpr int mostSteps = 1000;
constexpr int lookAtJobEvery = 500; // milliseconds

} // namespace

History::Run::Run(History &history, const QString &name)
    : m_history(history)
{
    m_history.settle();
    m_history.m_name = name;
}

History::Run::~Run()
{
    m_history.settle();
    m_history.m_name.clear();
}

History::History(QObject *parent)
    : QObject(parent)
    , m_place(std::make_unique<HistoryPlace>())
{
    m_stack.setUndoLimit(mostSteps);
    m_secondClick.setSingleShot(true);
    connect(&m_secondClick, &QTimer::timeout, this, &History::lookIdle);
    m_afterInput.setSingleShot(true);
    connect(&m_afterInput, &QTimer::timeout, this, &History::lookIdle);
    if (QAbstractEventDispatcher *dispatcher = QAbstractEventDispatcher::instance())
        connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, &History::lookIdle);
    if (QCoreApplication *application = QCoreApplication::instance())
        application->installEventFilter(this);
}

History::~History() = default;

void History::follow(DataState *state)
{
    if (m_state) {
        disconnect(m_state, &QObject::destroyed, this, nullptr);
        disconnect(m_state, &DataState::hasChanged, &m_afterInput, nullptr);
    }
    m_state = nullptr;
    m_stack.clear();
    m_stack.setClean(); // clearing an empty stack leaves the mark of an unsaved project
    m_known.clear();
    m_secondClick.stop();
    *m_place = HistoryPlace();
    if (state && state->video) {
        m_state = state;
        connect(m_state, &QObject::destroyed, this, [this] { follow(nullptr); });
        connect(m_state, &DataState::hasChanged, &m_afterInput, [this] { m_afterInput.start(0); });
        for (const TrackedObject *object : qAsConst(m_state->objects))
            know(object);
        *m_place = place();
    }
    tellClean();
}

void History::carry(qint32 *value)
{
    m_carried = value;
}

HistoryPlace History::place() const
{
    return {m_state->objects, TrackedObject::newID, m_state->currentObjectId, m_state->currentFrame,
            m_carried ? *m_carried : -1};
}

void History::know(const TrackedObject *object)
{
    m_known.insert(object, {ObjectSnapshot(*object), object->revision()});
}

/// The gesture is over when nothing is left to do. A click can still become a double click, which is one
/// gesture with it.
void History::lookIdle()
{
    if (!m_state || m_applying)
        return;
    if (QGuiApplication::mouseButtons() != Qt::NoButton || m_secondClick.isActive())
        return;
    if (!ModalJob::isRunning()) {
        settle();
        return;
    }
    quint32 sum = 0;
    for (const TrackedObject *object : qAsConst(m_state->objects))
        sum += object->revision();
    if (sum != m_announced && differs()) {
        m_told = true;
        emit changed();
    }
    m_announced = sum;
    m_afterInput.start(lookAtJobEvery); // what pool threads change wakes nobody
}

/// Where events are processed without a wait for more, as playback does, nobody says that all are done; what
/// the user did is looked at all the same.
bool History::eventFilter(QObject *receiver, QEvent *event)
{
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        // The window hears of the second press of a double click as of a press, too.
        if (!static_cast<QMouseEvent *>(event)->flags().testFlag(Qt::MouseEventCreatedDoubleClick))
            settle();
        break;
    case QEvent::MouseButtonRelease:
        m_secondClick.start(QGuiApplication::styleHints()->mouseDoubleClickInterval());
        break;
    case QEvent::KeyRelease:
    case QEvent::Shortcut:
    case QEvent::FocusOut:
        m_afterInput.start(0);
        break;
    default:
        break;
    }
    return QObject::eventFilter(receiver, event);
}

bool History::differs() const
{
    if (m_state->objects != m_place->objects || TrackedObject::newID != m_place->nextId)
        return true;
    return std::any_of(m_state->objects.cbegin(), m_state->objects.cend(),
                       [this](const TrackedObject *object) {
                           return object->revision() != m_known.constFind(object)->revision;
                       });
}

void History::settle()
{
    if (!m_state || m_applying || ModalJob::isRunning())
        return;
    if (!differs()) {
        *m_place = place();
        return;
    }
    auto step = std::make_unique<HistoryStep>(*this);
    collect(*step);
    *m_place = step->after;
    if (step->isEmpty()) {
        tellClean();
        if (std::exchange(m_told, false))
            emit changed(); // those who heard of changes in a job that came to nothing
        return;
    }
    m_told = false;
    step->finish(m_name);
    m_stack.push(step.release());
    dropOldest();
    tellClean();
    emit changed();
}

/// What differs from what is known, which is then known.
void History::collect(HistoryStep &step)
{
    step.before = *m_place;
    step.after = place();
    const auto compare = [&](TrackedObject *object) {
        Known &known = m_known[object];
        if (object->revision() == known.revision)
            return;
        known.revision = object->revision();
        ObjectDifference difference = ObjectDifference::take(known.snapshot, *object);
        if (!difference.isEmpty())
            step.differences.emplace_back(object, std::move(difference));
    };
    for (TrackedObject *object : qAsConst(step.before.objects))
        compare(object);
    for (TrackedObject *object : qAsConst(step.before.objects)) {
        if (!step.after.objects.contains(object))
            m_known.remove(object);
    }
    for (const TrackedObject *object : qAsConst(step.after.objects)) {
        if (!m_known.contains(object))
            know(object);
    }
}

void History::apply(const HistoryStep &step, ObjectDifference::Side side)
{
    const QScopedValueRollback<bool> applying(m_applying, true);
    restore(step, side);
    knowRestored(step);
    announce(step, side);
    m_place->objectId = m_state->currentObjectId;
    m_place->frame = m_state->currentFrame;
}

/// Known before anybody hears of it: what a listener changes then is a step of its own.
void History::knowRestored(const HistoryStep &step)
{
    for (const auto &entry : step.differences)
        know(entry.first);
    for (const TrackedObject *object : qAsConst(m_state->objects)) {
        if (!m_known.contains(object))
            know(object);
    }
    for (TrackedObject *object : qAsConst(m_place->objects)) {
        if (!m_state->objects.contains(object))
            m_known.remove(object);
    }
    *m_place = place();
}

void History::restore(const HistoryStep &step, ObjectDifference::Side side)
{
    const HistoryPlace &target = side == ObjectDifference::Before ? step.before : step.after;
    m_state->objects = target.objects;
    TrackedObject::newID = target.nextId;
    if (m_carried && step.before.carried != step.after.carried)
        *m_carried = target.carried;
    for (const auto &entry : step.differences)
        entry.second.restore(*entry.first, side);
}

/// Once all is restored. The views hear of the objects first, since what they show may be gone.
void History::announce(const HistoryStep &step, ObjectDifference::Side side)
{
    const HistoryPlace &target = side == ObjectDifference::Before ? step.before : step.after;
    const bool objectIsThere = step.object && m_state->objects.contains(step.object);
    const qint32 objectId = objectIsThere ? step.object->id : target.objectId;
    if (step.changesList()) {
        m_state->currentObjectId = objectId;
        emit m_state->hasChanged(DataState::ObjectListChanged | DataState::ObjectSelectionChanged);
    } else if (objectId != m_state->currentObjectId) {
        m_state->setCurrentObject(objectId);
    }
    for (const auto &entry : step.differences)
        entry.second.announce(*entry.first);
    m_state->setFrame(step.frame);
}

const HistoryStep *History::step(int index) const
{
    return static_cast<const HistoryStep *>(m_stack.command(index));
}

bool History::canUndo() const
{
    return m_stack.canUndo() && !step(m_stack.index() - 1)->isReleased();
}

bool History::canRedo() const
{
    return m_stack.canRedo();
}

QString History::undo()
{
    return move(true);
}

QString History::redo()
{
    return move(false);
}

QString History::move(bool back)
{
    m_secondClick.stop();
    settle();
    if (!m_state || m_applying || ModalJob::isRunning() || !(back ? canUndo() : canRedo()))
        return QString();
    QString name = back ? m_stack.undoText() : m_stack.redoText();
    if (back)
        m_stack.undo();
    else
        m_stack.redo();
    tellClean();
    emit changed();
    return name;
}

bool History::isClean() const
{
    return !m_state || (m_stack.isClean() && !differs());
}

void History::setSaved()
{
    settle();
    m_stack.setClean();
    tellClean();
}

void History::setUnsaved()
{
    m_stack.resetClean();
    tellClean();
}

void History::tellClean()
{
    if (isClean() == m_wasClean)
        return;
    m_wasClean = !m_wasClean;
    emit cleanChanged();
}

ProjectSnapshot History::snapshot() const
{
    ProjectSnapshot project(*m_state);
    for (const TrackedObject *object : qAsConst(m_state->objects)) {
        const Known known = m_known.value(object);
        const bool upToDate = m_known.contains(object) && known.revision == object->revision();
        project.objects.append(upToDate ? known.snapshot : ObjectSnapshot(*object));
    }
    return project;
}

qint64 History::bytes() const
{
    qint64 sum = 0;
    for (int i = 0; i < m_stack.count(); ++i)
        sum += step(i)->bytes();
    return sum;
}

int History::stepCount() const
{
    int count = 0;
    for (int i = 0; i < m_stack.count(); ++i)
        count += step(i)->isReleased() ? 0 : 1;
    return count;
}

/// QUndoStack drops by number alone; what goes earlier stays as an empty step that ends the way back.
void History::dropOldest()
{
    qint64 sum = bytes();
    for (int i = 0; i < m_stack.index() - 1 && sum > m_mostBytes; ++i) {
        auto *oldest = const_cast<HistoryStep *>(step(i));
        sum -= oldest->bytes();
        oldest->release();
        sum += oldest->bytes();
    }
}
