// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/keyframe.h"

#include "core/framebounds.h"
#include "Models/keyframewatcher.h"
#include "Models/trackedobject.h"
#include "processing/functions.h"

#include <QPointer>
#include <QThread>

#include <array>
#include <functional>
#include <mutex>

namespace
{

/// The mutex that guards the polygon of `keyFrame` between pool threads and the GUI thread. Many key frames
/// share one: it is held for one assignment, and never together with another one.
std::mutex &polygonMutex(const KeyFrame *keyFrame)
{
    static std::array<std::mutex, 61> mutexes; // a prime number: neighbours in memory get different ones
    return mutexes[std::hash<const KeyFrame *>()(keyFrame) % mutexes.size()];
}

constexpr double reductionThreshold = 1.0; // pixels: squared distance over chord length
constexpr int leastVertices = 3;

/// Squared distance of vertex `i` from the chord that would replace it, over the chord's length. Infinite or
/// NaN where the neighbours coincide.
double vertexCost(const QPolygonF &polygon, int i)
{
    const int count = polygon.size();
    const QPointF previous = polygon.at((i - 1 + count) % count);
    const QPointF next = polygon.at((i + 1) % count);
    const double distance = Functions::distToLineSegment(polygon.at(i), previous, next);
    return distance * distance / Functions::distance(previous, next);
}

} // namespace

KeyFrame::KeyFrame(TrackedObject *owner, int frameNumber, KeyFrame::Type frameType)
    : QObject(owner)
    , object(owner)
    , frame(frameNumber)
    , type(frameType)
    , zOrder(owner->id)
{
}

KeyFrame::~KeyFrame()
{
    for (KeyFrameWatcher *watcher = m_watchers.load(std::memory_order_relaxed); watcher;
         watcher = watcher->m_next) {
        watcher->m_watched = nullptr;
        watcher->keyFrameEnded();
    }
}

void KeyFrame::annotate(const QPolygonF &newPolygon, KeyFrame::Type newType)
{
    setNewPolygon(newPolygon);
    setType(newType);
}

void KeyFrame::hasChanged(int flags)
{
    countChange();
    if (signalsBlocked() || !tellObject(flags))
        return;
    tellReceivers(flags);
}

void KeyFrame::restorePolygon(const QPolygonF &oldPolygon)
{
    const std::lock_guard<std::mutex> lock(polygonMutex(this));
    polygon = oldPolygon;
}

void KeyFrame::announceRestored(int flags)
{
    if (!signalsBlocked())
        tellReceivers(flags);
}

/// Watchers and connections.
void KeyFrame::tellReceivers(int flags)
{
    if (m_watchers.load(std::memory_order_relaxed))
        tellWatchers(flags);
    constexpr int signalIndex = 0; // the only signal of this class
    void *arguments[] = {nullptr, &flags};
    QMetaObject::activate(this, &staticMetaObject, signalIndex, arguments);
}

void KeyFrame::countChange() const
{
    if (TrackedObject *owner = listeningObject())
        owner->countChange();
}

/// Null for a key frame made by others, and while the object takes its key frames along into its end: then
/// nothing is left of it but the QObject.
TrackedObject *KeyFrame::listeningObject() const
{
    return m_madeByObject ? qobject_cast<TrackedObject *>(parent()) : nullptr;
}

/// False when a receiver of the object's own changes deleted this key frame.
bool KeyFrame::tellObject(int flags)
{
    // Asked first: pool threads announce polygons by the thousand, and the object has no use for them.
    if (!(flags & TypeChanged))
        return true;
    TrackedObject *listener = listeningObject();
    if (!listener)
        return true;
    if (QThread::currentThread() != listener->thread()) {
        QMetaObject::invokeMethod(
            listener, [listener, this, flags] { listener->handleKeyFrameChange(*this, flags); },
            Qt::QueuedConnection);
        return true;
    }
    if (!listener->changesSpans(*this))
        return true;
    const QPointer<KeyFrame> self(this); // takes memory for good: only here, where receivers may run
    listener->rebuildSpans(*this);
    return self;
}

void KeyFrame::tellWatchers(int flags)
{
    if (QThread::currentThread() != thread()) {
        QMetaObject::invokeMethod(
            this, [this, flags] { tellWatchers(flags); }, Qt::QueuedConnection);
        return;
    }
    for (KeyFrameWatcher *watcher = m_watchers.load(std::memory_order_relaxed); watcher;
         watcher = watcher->m_next)
        watcher->keyFrameChanged(flags);
}

QPolygonF KeyFrame::polygonSnapshot() const
{
    const std::lock_guard<std::mutex> lock(polygonMutex(this));
    return polygon;
}

void KeyFrame::setNewPolygon(QPolygonF newPolygon)
{
    {
        const std::lock_guard<std::mutex> lock(polygonMutex(this));
        polygon = newPolygon;
    }
    emit hasChanged(PolygonChanged);
}

void KeyFrame::setType(KeyFrame::Type newType)
{
    type = newType;
    emit hasChanged(TypeChanged);
}

void KeyFrame::reducePolygonVertices()
{
    QPolygonF reduced = polygonSnapshot();
    while (reduced.size() >= leastVertices) {
        int cheapest = 0;
        double least = vertexCost(reduced, 0);
        for (int i = 1; i < reduced.size(); ++i) {
            const double cost = vertexCost(reduced, i);
            if (cost < least) {
                cheapest = i;
                least = cost;
            }
        }
        if (least > reductionThreshold)
            break;
        reduced.remove(cheapest);
    }
    setNewPolygon(reduced);
}

void KeyFrame::transformPolygon(Eigen::Affine2d affineTransform)
{
    const QPolygonF moved = Functions::transformPolygonAffine(polygonSnapshot(), affineTransform);
    setNewPolygon(Functions::clippedToRect(moved, frameBounds()));
}
