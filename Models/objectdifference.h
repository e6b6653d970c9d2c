// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "Models/projectsnapshot.h"

#include <QString>

#include <vector>

class TrackedObject;

/// What a gesture changed in one object, to be taken back and done again. Holds only what differs; polygons
/// are shared.
class ObjectDifference
{
public:
    enum Side { Before, After };

    template <class Value>
    struct Change {
        int frame;
        Value before;
        Value after;

        const Value &value(Side side) const { return side == Before ? before : after; }
    };

    /// The difference between `known` and the object as it stands, which `known` becomes. An object of
    /// another number of frames is taken over without a difference.
    static ObjectDifference take(ObjectSnapshot &known, const TrackedObject &object);

    bool isEmpty() const;
    bool chainDiffers() const;
    bool nameDiffers() const;
    /// Brings one side back, announcing nothing.
    void restore(TrackedObject &object, Side side) const;
    /// Announces what was brought back.
    void announce(TrackedObject &object) const;
    /// Bytes that only this difference holds while the object is as it was on the other side.
    qint64 bytes(Side side) const;

    /// By ascending frames.
    std::vector<Change<QPolygonF>> polygons;
    std::vector<Change<KeyFrame::Type>> types;
    std::vector<Change<qint32>> ranks;
    /// Both sides are equal where the spans did not change; likewise the names.
    ChainSnapshot chainBefore;
    ChainSnapshot chainAfter;
    QString nameBefore;
    QString nameAfter;

private:
    void takeFrames(ObjectSnapshot &known, const TrackedObject &object);
};
