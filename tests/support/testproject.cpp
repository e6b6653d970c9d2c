// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/testproject.h"

TestProject::TestProject(int frameCount, int width, int height, double fps)
    : m_previous(g_state)
{
    auto *video = new VideoContainer(&m_state);
    video->frameCount = frameCount;
    video->width = width;
    video->height = height;
    video->fps = fps;
    video->length = frameCount / fps;
    video->videoPath = QStringLiteral("/videos/clip.avi");
    video->chunkEnds = VideoContainer::splitIntoChunks(frameCount, 2);
    m_state.video = video;
    m_state.videoLoaded = true;
    g_state = &m_state;
}

TestProject::~TestProject()
{
    g_state = m_previous;
}

TrackedObject *TestProject::addObject()
{
    m_state.addObject();
    return m_state.objects.last();
}

QPolygonF rectangle(double x, double y, double width, double height)
{
    return QPolygonF(
        {QPointF(x, y), QPointF(x, y + height), QPointF(x + width, y + height), QPointF(x + width, y)});
}

void annotate(TrackedObject *object, int frame, const QPolygonF &polygon, KeyFrame::Type type)
{
    object->keyFrames.at(frame)->setNewPolygon(polygon);
    object->keyFrames.at(frame)->setType(type);
}
