// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "benchmarks/support/benchclip.h"

#include "tests/support/clips.h"

BenchClip::BenchClip(QSize size, int frames)
{
    Clips::Clip clip = Clips::movingSquare();
    clip.size = size;
    const QString path = m_dir.filePath(QStringLiteral("clip.mp4"));
    if (Clips::encode(path, clip, frames, 25, "avc1"))
        m_path = path;
}
