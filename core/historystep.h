// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "Models/objectdifference.h"

#include <QList>
#include <QUndoCommand>

#include <utility>
#include <vector>

class History;
class TrackedObject;

/// The project besides the objects' content.
struct HistoryPlace {
    QList<TrackedObject *> objects;
    qint32 nextId = 0;
    qint32 objectId = -1;
    qint32 frame = 0;
    /// The value that the history carries along.
    qint32 carried = -1;
};

/// One step of the history: what a gesture or run changed. Objects outside the project's list are still there
/// as children of its state, so that a step can name them.
class HistoryStep : public QUndoCommand
{
public:
    using Entry = std::pair<TrackedObject *, ObjectDifference>;

    explicit HistoryStep(History &history)
        : m_history(history)
    {
    }
    /// A step that is dropped while taken back takes the objects along that nobody can bring back any more.
    ~HistoryStep() override;

    /// Done already when it is made: the first call does nothing.
    void redo() override;
    void undo() override;

    bool isEmpty() const;
    bool changesList() const;
    /// Finds out the frame and object of the change and, unless `name` is given, a name.
    void finish(const QString &name);
    /// Bytes that it holds alone, and in the present state of the project.
    qint64 bytes() const;
    /// Gives up what it holds; it cannot be taken back any more.
    void release();
    bool isReleased() const { return m_released; }

    HistoryPlace before;
    HistoryPlace after;
    std::vector<Entry> differences;
    /// The object that was changed; null when the change cannot say.
    TrackedObject *object = nullptr;
    /// The frame of the change.
    qint32 frame = 0;

private:
    const Entry &mainDifference() const;
    qint32 frameOf(const ObjectDifference &difference) const;
    QString describe() const;

    History &m_history;
    bool m_done = false;
    bool m_released = false;
};
