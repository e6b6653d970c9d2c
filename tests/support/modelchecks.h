// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

class DataState;
class FrameSpan;
class TrackedObject;

/// Looks at annotated objects from outside: their span chain as text, and what is wrong with it.
namespace ModelChecks
{

/// All spans in order, found by walking from boundary to boundary. Ends early at a broken chain.
QList<FrameSpan *> chain(const TrackedObject *object);
/// The chain as text, such as "0-10 Hidden, 10-99 Visible".
QString chainText(const TrackedObject *object);
/// One span as text, such as "0-10 Hidden".
QString spanText(const FrameSpan *span);

/// First fault of the object's key frames and spans; empty when all is well: one key frame and one entry per
/// frame, a chain without gap or overlap over the whole video, every frame's entry right (the last one may
/// name any span of the chain), all types valid.
QString objectProblem(const TrackedObject *object, int frameCount);
/// First fault of the state or of one of its objects; empty when all is well.
QString stateProblem(const DataState &state);

/// Really deletes what deleteLater() was called for.
void flushDeferredDeletes();

} // namespace ModelChecks

/// Writes the change signals of the watched objects into one list, in the order of their arrival.
class SignalRecorder
{
public:
    /// Watches the object, its key frames and the spans it has now: "object: spans", "key 5: polygon",
    /// "span 0-10: type" (first and last frame at the time of the signal). Several bits of one signal are
    /// joined as in "polygon|type"; what is left of the flags stands as a number.
    void watch(TrackedObject *object);
    /// Watches the state: "state: selection|objects".
    void watch(DataState *state);

    QStringList log;

private:
    QObject m_context;
};
