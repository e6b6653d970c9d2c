// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "Models/framespan.h"
#include "Models/keyframe.h"
#include "Models/trackedobject.h"
#include "Models/videocontainer.h"

#include <QColor>
#include <QList>
#include <QObject>
#include <QString>

/// The whole state of one open project: video, current frame, annotated objects and current object.
///
/// Exactly one instance is in use at a time, reached through g_state. It owns its video and its objects and
/// lives on the GUI thread.
class DataState : public QObject
{
    Q_OBJECT

public:
    /// Bits of hasChanged(); listeners test the bits they care about.
    enum Change {
        ObjectSelectionChanged = 1, ///< another object became the current one
        FrameChanged = 2,           ///< the current frame changed
        ObjectListChanged = 4       ///< an object was added or removed
    };

    /// An empty project without video. Resets TrackedObject::newID to 0.
    explicit DataState(QObject *parent = nullptr);
    ~DataState() override;

    bool hasObjects() const { return !objects.isEmpty(); }
    /// Takes over `newVideo` as the video. Where another owner deletes it first, the state is left without
    /// one.
    void setVideo(VideoContainer *newVideo);
    /// Raises TrackedObject::newID above every id in use, so that no new object shares one.
    void keepNewIdsApart() const;

    /// Version of the project files that this program writes and reads.
    static QString formatVersion() { return QStringLiteral("0.0.5"); }

    /// Format version of the project.
    QString version = formatVersion();
    /// True once a video has been loaded successfully.
    bool videoLoaded = false;
    /// The loaded video, owned; null until one is chosen. Its frame count is the one of the whole model. The
    /// state in use forgets a video that its Qt parent deletes first.
    VideoContainer *video = nullptr;
    /// Frame shown, from 0.
    qint32 currentFrame = 0;
    /// The annotated objects in order of creation, owned.
    QList<TrackedObject *> objects;
    /// Id of the current object, -1 for none. May name no object at all after a project was read.
    qint32 currentObjectId = -1;
    /// Palette for new objects, taken in order of their ids.
    QList<QColor> colors;

public slots:
    /// Goes to `frame` (from 0). Does nothing without a video, outside the video or on the current frame.
    void setFrame(int frame);
    /// Goes one frame on, unless on the last one.
    void nextFrame();
    /// Goes one frame back, unless on the first one.
    void prevFrame();
    /// Creates an object for the loaded video and makes it the current one.
    void addObject();
    /// The current object, or null if there is none.
    TrackedObject *getCurrentObject() const;
    /// Makes `id` the current object id, without checking that such an object exists.
    void setCurrentObject(int id);
    /// The first object with this id, or null.
    TrackedObject *getObjectById(int id) const;
    /// Takes the object out of the project; the first remaining one becomes current if this one was.
    ///
    /// Logs a warning for an unknown id. The object itself lives on as a child of this state, so that views
    /// may still be showing it while they react.
    void deleteObject(int id);
    /// The objects by ascending stacking value on `frame`, backmost first; equal values in no defined order.
    QList<TrackedObject *> getZOrderSortedList(int frame) const;

signals:
    /// Announces changes as Change bits.
    void hasChanged(int flags);
};

/// The project state in use.
extern DataState *g_state;
