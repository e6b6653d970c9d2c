// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "benchmarks/support/benchclip.h"

#include "tests/support/testclips.h"

BenchClip::BenchClip(QSize size, int frames)
{
    TestClips::Scene scene = TestClips::movingSquare();
    scene.size = size;
    const QString path = m_dir.filePath(QStringLiteral("clip.mp4"));
    if (TestClips::encode(path, scene, frames, 25, "avc1"))
        m_path = path;
}
