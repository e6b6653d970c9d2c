// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/abortatchange.h"

#include "Models/trackedobject.h"

#include <QCoreApplication>
#include <QThread>

namespace
{
constexpr int timeLimit = 10000; // milliseconds
}

AbortAtFirstChange::AbortAtFirstChange(const TrackedObject *object)
{
    for (const KeyFrame *keyFrame : object->keyFrames) {
        QObject::connect(
            keyFrame, &KeyFrame::hasChanged, &m_context, [this] { hold(); }, Qt::DirectConnection);
    }
    m_watch.onAborted = [this] { m_pressed.release(); };
}

void AbortAtFirstChange::hold()
{
    if (QThread::currentThread() == qApp->thread() || m_held.exchange(true))
        return;
    QMetaObject::invokeMethod(&m_watch, [this] { m_watch.abort(); });
    m_done = m_pressed.tryAcquire(1, timeLimit);
}
