// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "benchmarks/support/benchclip.h"

#include <cmath>

BenchClip::BenchClip(QSize size, int frames)
{
    Clips::Clip clip = Clips::movingSquare();
    clip.size = size;
    const QString path = m_dir.filePath(QStringLiteral("clip.mp4"));
    if (Clips::encode(path, clip, frames, 25, "avc1"))
        m_path = path;
}

Clips::Clip cameraClip()
{
    Clips::Clip clip;
    clip.size = QSize(1920, 1080);
    clip.look = Clips::Look::Paint;
    Clips::Body body;
    body.outline = Clips::blockOutline(240, 200);
    body.path = [](int frame) {
        Clips::Pose pose;
        pose.position = QPointF(400 + 18 * frame, 500 + std::round(60 * std::sin(frame / 8.0)));
        return pose;
    };
    clip.bodies.append(body);
    return clip;
}
