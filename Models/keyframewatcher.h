// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

class KeyFrame;

/// Hears of the changes of one key frame as if connected to its hasChanged(), for 24 bytes instead of some
/// 300: the time line has one for every frame of every object.
class KeyFrameWatcher
{
public:
    KeyFrameWatcher(const KeyFrameWatcher &) = delete;
    KeyFrameWatcher &operator=(const KeyFrameWatcher &) = delete;
    virtual ~KeyFrameWatcher();

protected:
    /// Watches `keyFrame` until one of both ends.
    explicit KeyFrameWatcher(KeyFrame *keyFrame);

    /// Whether it is this key frame that is watched. Another one may come to lie where one has ended.
    bool watches(const KeyFrame *keyFrame) const { return m_watched == keyFrame; }

private:
    friend class KeyFrame;

    /// On the key frame's thread, with the bits of KeyFrame::Change. Must not end any watcher.
    virtual void keyFrameChanged(int flags) = 0;
    /// The key frame is gone. Must not end any watcher.
    virtual void keyFrameEnded() {}

    KeyFrame *m_watched; // null once it is gone
    KeyFrameWatcher *m_next;
};
