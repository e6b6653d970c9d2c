// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/framebounds.h"

#include <QCoreApplication>
#include <QThread>

#include <mutex>

namespace
{

std::mutex g_mutex;                // guards all below
const void *g_window = nullptr;    // whose frame is shown
FrameBounds::Source g_shownFrame;  // set by the GUI thread
FrameBounds::Source g_loadedVideo; // set by the GUI thread
QRectF g_lastBounds;               // written by the GUI thread, read by pool threads

bool isGuiThread()
{
    const QCoreApplication *application = QCoreApplication::instance();
    return !application || QThread::currentThread() == application->thread();
}

QRectF rectangleFrom(const FrameBounds::Source &source)
{
    return source ? source() : QRectF();
}

} // namespace

QRectF frameBounds()
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (!g_shownFrame)
        return rectangleFrom(g_loadedVideo);
    if (isGuiThread()) {
        g_lastBounds = g_shownFrame();
        if (g_lastBounds.isEmpty())
            g_lastBounds = rectangleFrom(g_loadedVideo);
    }
    return g_lastBounds;
}

void FrameBounds::setShownFrame(const void *window, const Source &source)
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_window = window;
    g_shownFrame = source;
}

void FrameBounds::withdrawShownFrame(const void *window)
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (g_window != window)
        return;
    g_window = nullptr;
    g_shownFrame = nullptr;
}

void FrameBounds::setVideo(const Source &source)
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_loadedVideo = source;
}
