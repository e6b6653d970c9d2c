// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <opencv2/videoio.hpp>

#include <vector>

/// Opening of video files through OpenCV.
namespace VideoFile
{

/// Those of the back ends `offered` (cv::VideoCaptureAPIs) that may open a file: FFmpeg alone where it is
/// there, else the other ones that decode files, never cameras or image sequences.
std::vector<int> backEnds(const std::vector<int> &offered);

/// Opens the video at `path`; the capture is closed where that fails. Formats that name other files or
/// addresses, such as playlists, are no videos here: nothing but the file itself is ever opened.
cv::VideoCapture open(const QString &path);

} // namespace VideoFile
