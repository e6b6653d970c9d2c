// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QFuture>
#include <QHash>
#include <QMap>
#include <QPointF>
#include <QPolygonF>
#include <QSet>

#include <array>
#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

class DataState;
class FeatureMatching;
class ImageProcess;
class KeyFrame;
class TrackedObject;

/// The images of a video's frames, as one run loads them. Callable from any thread.
class FrameImages
{
public:
    explicit FrameImages(const DataState &state);

    /// Null when the image of `frame` cannot be read; a warning says so once per frame. An image that
    /// somebody still holds is not read again.
    std::shared_ptr<const ImageProcess> load(int frame);
    /// Forgets which frames have been warned about.
    void startRun();

private:
    std::shared_ptr<const ImageProcess> held(int frame) const;
    void warn(int frame);

    const DataState &m_state;
    mutable std::mutex m_mutex;                             // guards what follows
    QHash<int, std::weak_ptr<const ImageProcess>> m_images; // by frame
    QSet<int> m_unreadable;                                 // frames that have been warned about
};

/// What the steps of one run have in common. Outlives the passes made with it.
struct TrackingSetup {
    FrameImages &images;
    const TrackedObject &object;
    /// Matches of a descriptor distance below it count as good.
    int maxDistance;
    /// Whether a step that fails on an automatic key frame ends its pass.
    bool interactive;
};

/// By how much to move the second polygon of a matching: its bounding box's centre goes where the first one's
/// lands when moved by the mean displacement of the good matches. None for fewer than 8 of them.
std::optional<QPointF> trackingTranslation(const FeatureMatching &matching, const ImageProcess &first,
                                           const ImageProcess &second);

/// Steps along a run of frames in one direction. A frame's image is loaded once: the target of a step is the
/// source of the next one.
class TrackingPass
{
public:
    enum class Writing {
        AtOnce,    ///< every step writes into the key frame
        OnTakeOver ///< the steps put their outlines aside for takeOver()
    };

    explicit TrackingPass(const TrackingSetup &setup, Writing writing = Writing::AtOnce);

    /// Moves the outline of frame `to` by what the features inside the outline of frame `from` have moved.
    /// Returns false, with nothing changed, when there are fewer than 8 good matches or a frame has no image.
    bool step(int from, int to);

    /// Steps from frame `from` to frame `to`, one frame at a time, while `mayGoOn` says so before a step.
    /// Returns the frame at which the user must act, where the pass ends, or -1.
    int walk(int from, int to, const std::function<bool()> &mayGoOn);

    /// Gives the key frames the outlines put aside; from now on every step writes at once.
    void takeOver();

private:
    KeyFrame &keyFrame(int frame) const;
    QPolygonF outline(int frame) const;
    std::optional<QPointF> displacement(int from, int to);
    void move(int frame, QPointF offset);

    const TrackingSetup m_setup;
    Writing m_writing;
    QMap<int, QPolygonF> m_aside; // outlines for takeOver(), by frame
    int m_frame = -1;
    std::shared_ptr<const ImageProcess> m_image; // of m_frame
};

/// The backward pass of a span. In a long span another thread works ahead on the frames that the forward pass
/// does not touch, and then loads the images of the two that are left, which the forward pass comes to last;
/// the outcome is that of a pass that starts when the forward pass is through.
class BackwardPass
{
public:
    /// From frame `last` down to frame `middle`, when the forward pass moves the frames up to `middle` + 1.
    /// `mayGoOnAhead`, if given, is asked before each step of the part that is worked ahead.
    BackwardPass(const TrackingSetup &setup, int last, int middle, std::function<bool()> mayGoOnAhead = {});
    /// Drops what finish() has not taken over.
    ~BackwardPass();

    /// Makes the pass, or what is left of it, once the forward pass is through. Takes and returns what
    /// TrackingPass::walk() does.
    int finish(const std::function<bool()> &mayGoOn);

private:
    void workAhead(int from, int to);
    void loadMiddle();

    FrameImages &m_images;
    TrackingPass m_pass;
    std::function<bool()> m_mayGoOnAhead;
    int m_next; // frame from which finish() goes on
    int m_middle;
    int m_askedFrame = -1;      // written by the steps ahead, read when they have ended
    std::exception_ptr m_error; // likewise
    /// The images of the frames that both passes move; written by the thread ahead, held to the end.
    std::array<std::shared_ptr<const ImageProcess>, 2> m_middleImages;
    std::atomic<bool> m_abandoned{false}; // set by the owner, read before each step ahead
    QFuture<void> m_ahead;
};
