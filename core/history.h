// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "Models/objectdifference.h"
#include "Models/projectsnapshot.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QUndoStack>

#include <memory>

class DataState;
class HistoryStep;
class TrackedObject;
struct HistoryPlace;

/// Undo and redo of every change of one project, one step per gesture or run.
///
/// Nobody tells it of gestures: once one is over (the event loop has nothing to do, no mouse button is down,
/// no job runs), it compares the objects whose revision moved with what it last knew of them and keeps the
/// difference. Lives on the GUI thread.
class History : public QObject
{
    Q_OBJECT

public:
    /// Names the step that is made while it lives; a step of its own, even if the event loop runs meanwhile.
    class Run
    {
    public:
        /// `name` is the end of "Undone: ".
        Run(History &history, const QString &name);
        ~Run();
        Q_DISABLE_COPY(Run)

    private:
        History &m_history;
    };

    explicit History(QObject *parent = nullptr);
    ~History() override;

    /// Starts anew with the project as it stands, and without steps. With null, and where `state` has no
    /// video, there is no history.
    void follow(DataState *state);
    /// Whether it is this project that is followed.
    bool follows(const DataState *state) const { return m_state && m_state == state; }
    /// A value outside the project that comes back with the steps which changed it; not owned.
    void carry(qint32 *value);

    /// Makes a step of what has changed, if anything has and no job runs.
    void settle();
    bool canUndo() const;
    bool canRedo() const;
    /// Takes the last step back, or does the last one that was taken back again, and goes to the frame and
    /// object of the change. Returns the name of the step; empty when there is none, or while a job runs.
    QString undo();
    QString redo();

    /// Whether the project is as it was when last marked as saved, or when it was first followed.
    bool isClean() const;
    /// Marks the project as it stands as saved.
    void setSaved();
    /// Marks the project as unsaved, whatever is undone.
    void setUnsaved();

    /// The project as it stands, the middle of a gesture or job included. There must be one.
    ProjectSnapshot snapshot() const;

    /// Bytes that only the steps hold.
    qint64 bytes() const;
    /// Steps that can be undone or redone.
    int stepCount() const;
    /// What the steps may hold before the oldest are dropped; the newest one is always kept.
    static constexpr qint64 mostBytes = qint64(256) << 20;
    /// The same with another limit, for tests.
    void setMostBytes(qint64 limit) { m_mostBytes = limit; }

    bool eventFilter(QObject *receiver, QEvent *event) override;

signals:
    /// The project has changed: by a step made, undone or redone, or in the middle of a job.
    void changed();
    /// isClean() has another value.
    void cleanChanged();

private:
    friend class HistoryStep; // calls apply()

    /// What is known of an object.
    struct Known {
        ObjectSnapshot snapshot;
        quint32 revision = 0;
    };

    void lookIdle();
    bool differs() const;
    HistoryPlace place() const;
    void know(const TrackedObject *object);
    void collect(HistoryStep &step);
    void apply(const HistoryStep &step, ObjectDifference::Side side);
    void restore(const HistoryStep &step, ObjectDifference::Side side);
    void knowRestored(const HistoryStep &step);
    void announce(const HistoryStep &step, ObjectDifference::Side side);
    const HistoryStep *step(int index) const;
    QString move(bool back);
    void dropOldest();
    void tellClean();

    DataState *m_state = nullptr;
    QUndoStack m_stack;
    QHash<const TrackedObject *, Known> m_known;
    std::unique_ptr<HistoryPlace> m_place; // as of the last step, and the last idle moment
    qint32 *m_carried = nullptr;
    QString m_name;       // of the step that is being made
    QTimer m_secondClick; // runs while a click can still become a double click
    QTimer m_afterInput;
    quint32 m_announced = 0; // sum of the revisions at the last changed() of a job
    qint64 m_mostBytes = mostBytes;
    bool m_applying = false;
    bool m_told = false; // of changes in a job that are no step yet
    bool m_wasClean = true;
};
