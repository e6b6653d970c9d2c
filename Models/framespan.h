// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

class TrackedObject;

/// A run of frames in which an object has one visibility state. Both ends are inclusive; adjacent spans share
/// their boundary frame.
class FrameSpan : public QObject
{
    Q_OBJECT

public:
    /// Visibility; the values are those of the project file.
    enum Type { Hidden = 0, Visible = 1, Occluded = 2 };
    Q_ENUM(Type)

    /// Bits of hasChanged().
    enum Change { TypeChanged = 1 };

    /// The owner becomes the Qt parent.
    FrameSpan(TrackedObject *object, FrameSpan::Type type, int start, int end);

    TrackedObject *object;
    FrameSpan::Type type;
    /// First frame, from 0.
    qint32 start;
    /// Last frame, inclusive.
    qint32 end;

public slots:
    /// Sets the type and announces it.
    void setType(FrameSpan::Type newType);

signals:
    /// Announces changes as Change bits, also when the new value equals the old one.
    void hasChanged(int flags);
};
