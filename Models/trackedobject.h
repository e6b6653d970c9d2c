// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "Models/framespan.h"
#include "Models/keyframe.h"

#include <QColor>
#include <QList>
#include <QObject>
#include <QString>
#include <QVector>

#include <atomic>

class DataState;
struct SpanSnapshot;

/// An annotated object: one key frame per video frame and the chain of frame spans made from them.
///
/// Adjacent spans share their boundary frame: a key frame at f that separates two spans is the end of the
/// earlier one and the start of the later one.
///
///     key frames      |         K         K                          |
///     spans           [0 ------ 10][10 -- 20][20 ----------------- 99]
///
/// All of it lives on the GUI thread; only the polygons of its key frames are written by pool threads.
class TrackedObject : public QObject
{
    Q_OBJECT

public:
    /// Bits of hasChanged().
    enum Change {
        NameChanged = 1,  ///< another name
        SpansChanged = 2, ///< key frames or frame spans changed
        ZOrderChanged = 4 ///< stacking values were exchanged with another object
    };

    /// Orders objects by their stacking value on one frame.
    struct TrackedObjectLess {
        int frame;
        bool operator()(const TrackedObject *a, const TrackedObject *b) const;
    };

    /// Takes the next id, builds one empty key frame per frame of the video and one hidden span over all.
    /// `parent` is the project state the object belongs to; with another parent the state in use serves.
    explicit TrackedObject(QObject *parent);

    /// Sets the name and announces it.
    void changeName(QString newName);
    /// The key frame of the state's current frame; null when that frame is outside the video.
    KeyFrame *getCurrentKeyFrame() const;
    /// The spans in order, each once.
    ///
    /// From the second span on the walk continues one frame behind the listed span's end, so a span of only
    /// two frames that follows such a span is left out. Callers and files rely on it.
    QList<FrameSpan *> getFrameSpans() const;
    /// The spans in order, every one of them.
    QVector<FrameSpan *> spanChain() const;
    /// Comparator for the stacking order on `frame`.
    static TrackedObjectLess combareByZOrderOfFrame(int frame);
    /// Position in the stacking order on `frame`, 0 = backmost; 0 when the object is not in the project.
    int getZOrderRank(int frame) const;
    /// Whether this is the current object of its project.
    bool isCurrent() const;
    /// Exchanges the stacking values of the two objects from `firstFrame` to the end of the video, then
    /// announces ZOrderChanged, of this object only.
    void switchOrderWith(TrackedObject *other, int firstFrame);

    /// Puts a remembered chain of spans in the place of the present one; `lastEntry` is the index of the span
    /// that the last frame's entry names. Announces nothing.
    void restoreSpans(const QVector<SpanSnapshot> &spans, int lastEntry);
    /// Counts the changes of the object, its key frames and its spans; callable from any thread. Changes of a
    /// public field count only once they are announced.
    quint32 revision() const { return m_revision.load(std::memory_order_relaxed); }

    /// Id that the next object gets.
    static qint32 newID;

    QString name;
    qint32 id;
    /// One per video frame, index = frame number; none is added or removed later.
    QList<KeyFrame *> keyFrames;
    /// One entry per video frame: the span that the frame belongs to. A boundary frame names the later span.
    /// The last frame's entry is left alone by splits, so it can name an earlier span.
    QList<FrameSpan *> frameSpans;
    QColor color;

public slots:
    /// Rebuilds the spans after the sending key frame changed its type. The object's own key frames take a
    /// shorter way to the same rules.
    void keyFrameChanged(int flags);

signals:
    /// Announces changes as Change bits.
    void hasChanged(int flags);

private:
    friend class FrameSpan; // count their changes
    friend class KeyFrame;

    void countChange() { m_revision.fetch_add(1, std::memory_order_relaxed); }
    DataState *state() const;
    void handleKeyFrameChange(const KeyFrame &keyFrame, int flags);
    bool changesSpans(const KeyFrame &keyFrame) const;
    void rebuildSpans(const KeyFrame &keyFrame);
    bool isEdge(int frame) const;
    bool isBoundary(int frame) const;
    bool isUserKeyFrame(int frame) const;
    void userKeyFrameSet(int frame);
    void keyFrameRemoved(int frame);
    void splitSpanAt(int frame);
    void mergeSpansAt(int frame);
    void showIfHidden(FrameSpan *span, int otherEnd);
    void clearBetween(int first, int last);

    std::atomic<quint32> m_revision{0};
};
