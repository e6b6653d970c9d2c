// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "Models/framespan.h"
#include "Models/trackedobject.h"

#include <QPolygonF>
#include <QString>

#include <algorithm>
#include <cstddef>
#include <vector>

/// What an object should look like, kept as a plain list of spans and computed the slow way.
///
/// It has no per-frame index: spans are found by searching. The last frame's entry is the number of a span.
class SlowModel
{
public:
    struct Span {
        int number; // identity
        int start;
        int end;
        int type;
    };

    explicit SlowModel(int frames)
        : types(static_cast<size_t>(frames), KeyFrame::None)
        , polygons(static_cast<size_t>(frames))
        , m_last(frames - 1)
    {
        spans.push_back({0, 0, m_last, FrameSpan::Hidden});
    }

    /// Returns how often the object must announce changed spans.
    int setType(int frame, int type)
    {
        typeAt(frame) = type;
        if (type == KeyFrame::Automatic)
            return 0;
        return type == KeyFrame::None ? removed(frame) : userKeyFrameSet(frame);
    }

    void setPolygon(int frame, const QPolygonF &polygon) { polygons[static_cast<size_t>(frame)] = polygon; }

    void setSpanType(size_t position, int type) { spans[position].type = type; }

    /// The last frame names the last span, as in a project just read.
    void reload() { m_lastFramesSpan = spans.back().number; }

    const Span &lastFramesSpan() const { return spans[positionOf(m_lastFramesSpan)]; }

    std::vector<Span> spans;
    std::vector<int> types;
    std::vector<QPolygonF> polygons;

private:
    int &typeAt(int frame) { return types[static_cast<size_t>(frame)]; }

    bool isUser(int frame)
    {
        return typeAt(frame) == KeyFrame::Visible || typeAt(frame) == KeyFrame::Occluded;
    }

    size_t positionOf(int number) const
    {
        for (size_t i = 0; i < spans.size(); ++i) {
            if (spans[i].number == number)
                return i;
        }
        qFatal("the model lost span %d", number);
    }

    /// Position of the span that owns a frame: a boundary belongs to the later span, the last frame to the
    /// span that its entry names.
    size_t spanAt(int frame) const
    {
        if (frame == m_last)
            return positionOf(m_lastFramesSpan);
        size_t found = 0;
        for (size_t i = 0; i < spans.size(); ++i) {
            if (spans[i].start <= frame)
                found = i;
        }
        return found;
    }

    bool startsALaterSpan(int frame) const
    {
        return std::any_of(spans.begin() + 1, spans.end(),
                           [frame](const Span &span) { return span.start == frame; });
    }

    void clear(int start, int end)
    {
        for (int frame = start + 1; frame < end; ++frame) {
            typeAt(frame) = KeyFrame::None;
            setPolygon(frame, QPolygonF());
        }
    }

    void show(Span &span, int otherEnd)
    {
        if (span.type == FrameSpan::Hidden && isUser(otherEnd))
            span.type = FrameSpan::Visible;
    }

    int userKeyFrameSet(int frame)
    {
        const bool edge = frame == 0 || frame == m_last;
        if (!edge && startsALaterSpan(frame))
            return 0;
        if (!edge) {
            const size_t at = spanAt(frame);
            Span later = spans[at];
            later.number = m_nextNumber++;
            later.start = frame;
            spans[at].end = frame;
            spans.insert(spans.begin() + static_cast<std::ptrdiff_t>(at) + 1, later);
        }
        if (frame > 0) {
            Span &before = spans[spanAt(frame - 1)];
            show(before, before.start);
        }
        if (frame < m_last) {
            Span &behind = spans[spanAt(frame)];
            show(behind, behind.end);
        }
        if (frame > 0)
            clear(spans[spanAt(frame - 1)].start, frame);
        if (frame < m_last)
            clear(frame, spans[spanAt(frame)].end);
        return 1;
    }

    int removed(int frame)
    {
        const bool edge = frame == 0 || frame == m_last;
        if (!edge && !startsALaterSpan(frame))
            return 0;
        if (!edge) {
            const size_t at = spanAt(frame);
            Span &earlier = spans[at - 1];
            const Span later = spans[at];
            earlier.end = later.end;
            if (earlier.type != later.type)
                earlier.type = FrameSpan::Hidden;
            if (m_lastFramesSpan == later.number)
                m_lastFramesSpan = earlier.number;
            spans.erase(spans.begin() + static_cast<std::ptrdiff_t>(at));
        }
        Span &merged = spans[spanAt(frame)];
        if (frame == 0 || typeAt(merged.start) == KeyFrame::None)
            merged.type = FrameSpan::Hidden;
        if (frame == m_last || typeAt(merged.end) == KeyFrame::None)
            merged.type = FrameSpan::Hidden;
        clear(merged.start, merged.end);
        return 1;
    }

    int m_last;
    int m_lastFramesSpan = 0;
    int m_nextNumber = 1;
};

/// First difference between the object and the model; empty when there is none.
QString difference(const TrackedObject *object, const SlowModel &model, int frames);
