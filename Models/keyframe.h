// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QPolygonF>

#include <Eigen/Geometry>

#include <atomic>

class KeyFrameWatcher;
class TrackedObject;

/// What is annotated for one object on one video frame.
///
/// Tracking and segmentation write polygons from pool threads while the window repaints them: writers go
/// through the slots below, and everybody who may run at the same time reads through polygonSnapshot().
class KeyFrame : public QObject
{
    Q_OBJECT

public:
    /// Kind of annotation; the values are those of the project file.
    enum Type {
        None = 0,     ///< no key frame
        Visible = 1,  ///< drawn by the user, object visible
        Occluded = 2, ///< drawn by the user, object occluded
        Automatic = 3 ///< polygon produced by an automatic method
    };
    Q_ENUM(Type)

    /// Bits of hasChanged().
    enum Change { PolygonChanged = 1, TypeChanged = 2 };

    /// An empty polygon with the owner's id as stacking value. The owner becomes the Qt parent.
    KeyFrame(TrackedObject *object, int frame, KeyFrame::Type type);
    ~KeyFrame() override;

    /// Removes, one after the other, the vertices that add almost nothing to the outline.
    ///
    /// The cost of a vertex is its squared distance from the chord between its neighbours divided by that
    /// chord's length, in pixels; vertices of cost 1 or less go, cheapest (then lowest index) first. An
    /// outline of fewer than three vertices is left as it is.
    void reducePolygonVertices();

    /// Sets the polygon, then the type; each announces its change by itself.
    void annotate(const QPolygonF &newPolygon, KeyFrame::Type newType);

    /// Puts a remembered polygon in the place of the present one. Announces nothing.
    void restorePolygon(const QPolygonF &oldPolygon);
    /// Announces what was restored to all but the object, whose spans come back by themselves.
    void announceRestored(int flags);

    /// Consistent copy of the polygon, callable from any thread.
    QPolygonF polygonSnapshot() const;

    /// Owner.
    TrackedObject *object;
    /// Frame number, from 0.
    qint32 frame;
    KeyFrame::Type type;
    /// Outline in frame pixels, origin top left; every vertex once, the closing edge implied.
    QPolygonF polygon;
    /// Stacking value of the owner on this frame; greater is further in front.
    qint32 zOrder;

public slots:
    /// Replaces the outline and announces it.
    void setNewPolygon(QPolygonF newPolygon);
    /// Sets the type and announces it; the object then rebuilds its spans.
    void setType(KeyFrame::Type newType);
    /// Moves the outline by `affineTransform` and clips it to the frame image now shown.
    void transformPolygon(Eigen::Affine2d affineTransform);

signals:
    /// Announces changes as Change bits, also when the new value equals the old one.
    ///
    /// Whoever emits it, the object that made this key frame hears of it first and the watchers next, as if
    /// they were connected. A connection per key frame would take twice the memory of all else in it, so the
    /// signal has a body of its own: to the meta-object compiler, which writes the others, it is a pure one.
#ifdef Q_MOC_RUN
    void hasChanged(int flags) = 0;
#else
    void hasChanged(int flags);
#endif

private:
    friend class KeyFrameWatcher;
    friend class TrackedObject;

    TrackedObject *listeningObject() const;
    bool tellObject(int flags);
    void tellWatchers(int flags);
    void tellReceivers(int flags);
    void countChange() const;

    // In this order a key frame takes 8 bytes less.
    bool m_madeByObject = false;                        // key frames that others make tell no object
    std::atomic<KeyFrameWatcher *> m_watchers{nullptr}; // the first one, not owned
};
