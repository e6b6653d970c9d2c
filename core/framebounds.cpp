// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/framebounds.h"

#include "core/datastate.h"
#include "core/mainwindow.h"
#include "views/frameviewer.h"

#include <QCoreApplication>
#include <QGraphicsPixmapItem>
#include <QThread>

#include <mutex>

namespace
{

std::mutex g_mutex;  // guards g_lastBounds
QRectF g_lastBounds; // written by the GUI thread, read by pool threads

QRectF videoBounds()
{
    if (!g_state || !g_state->video)
        return QRectF();
    return QRectF(0, 0, g_state->video->width, g_state->video->height);
}

bool isGuiThread()
{
    const QCoreApplication *application = QCoreApplication::instance();
    return !application || QThread::currentThread() == application->thread();
}

} // namespace

QRectF frameBounds()
{
    if (!g_mainWindow)
        return videoBounds();
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (isGuiThread()) {
        const QGraphicsPixmapItem *item = g_mainWindow->frameViewer()->frameItem;
        g_lastBounds = item ? item->sceneBoundingRect() : QRectF();
    }
    return g_lastBounds;
}
