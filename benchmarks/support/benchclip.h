// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/clips.h"
#include <QSize>
#include <QString>

#include <QTemporaryDir>

/// A synthetic H.264 clip of 25 frames per second in a temporary folder of its own.
class BenchClip
{
public:
    BenchClip(QSize size, int frames);

    /// Empty when OpenCV has no H.264 encoder here.
    QString path() const { return m_path; }

private:
    QTemporaryDir m_dir;
    QString m_path;
};

/// An object full of corners before a soft ground, 1920 x 1080, whose images are as large as those of a
/// camera.
Clips::Clip cameraClip();
