// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>

class TrackedObject;
class VideoContainer;

/// What tests of the tracker look at.

constexpr int matchDistance = 18;

/// Counts the polygon changes per frame, from whatever thread they come.
class ChangeCounter
{
public:
    explicit ChangeCounter(const TrackedObject *object);

    QList<int> counts();
    int total();

private:
    QMutex m_mutex;
    QList<int> m_counts;
    QObject m_context;
};

/// Replaces the image of a frame by these bytes, or removes it for a null array.
void spoilImage(const VideoContainer &video, int frame, const QByteArray &bytes);
/// Whether a warning names a frame and its image.
bool namesImage(const QString &warning, int frame, const VideoContainer &video);
