// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/fuzz/fuzzproject.h"

FuzzProject::FuzzProject(int frameCount)
    : m_previous(g_state)
{
    static VideoContainer video;
    video.frameCount = frameCount;
    video.width = 640;
    video.height = 480;
    video.fps = 25;
    video.length = frameCount / video.fps;
    video.videoPath = QStringLiteral("/videos/clip.avi");
    m_state.video = &video;
    m_state.videoLoaded = true;
    g_state = &m_state;
}

FuzzProject::~FuzzProject()
{
    m_state.video = nullptr; // stays for the next one
    g_state = m_previous;
}
