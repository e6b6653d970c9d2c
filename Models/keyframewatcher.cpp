// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/keyframewatcher.h"

#include "Models/keyframe.h"

// Watchers come and go on the GUI thread. Pool threads only ask whether there is one.
KeyFrameWatcher::KeyFrameWatcher(KeyFrame *keyFrame)
    : m_watched(keyFrame)
    , m_next(keyFrame->m_watchers.load(std::memory_order_relaxed))
{
    keyFrame->m_watchers.store(this, std::memory_order_relaxed);
}

KeyFrameWatcher::~KeyFrameWatcher()
{
    if (!m_watched)
        return;
    KeyFrameWatcher *first = m_watched->m_watchers.load(std::memory_order_relaxed);
    if (first == this) {
        m_watched->m_watchers.store(m_next, std::memory_order_relaxed);
        return;
    }
    while (first->m_next != this)
        first = first->m_next;
    first->m_next = m_next;
}
