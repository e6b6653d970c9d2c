// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/heldjob.h"

#include "Models/trackedobject.h"

#include <QCoreApplication>
#include <QThread>

#include <utility>

namespace
{
constexpr int timeLimit = 30000; // milliseconds
} // namespace

HeldJob::HeldJob(const TrackedObject *object, std::function<void()> onHeld)
    : m_onHeld(std::move(onHeld))
{
    for (const KeyFrame *keyFrame : object->keyFrames) {
        QObject::connect(
            keyFrame, &KeyFrame::hasChanged, &m_context, [this] { hold(); }, Qt::DirectConnection);
    }
}

HeldJob::~HeldJob()
{
    release();
}

void HeldJob::hold()
{
    if (QThread::currentThread() == qApp->thread() || m_held.exchange(true))
        return;
    if (m_onHeld)
        QMetaObject::invokeMethod(&m_context, m_onHeld, Qt::QueuedConnection);
    m_wentOn = m_gate.tryAcquire(1, timeLimit);
}
