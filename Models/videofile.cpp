// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/videofile.h"

#include <opencv2/videoio/registry.hpp>

#include <algorithm>
#include <iterator>

namespace
{

/// What decodes files besides FFmpeg. Asked for a file that is no video, the others would go on to look for
/// cameras and image sequences.
const std::vector<int> fileBackEnds{cv::CAP_GSTREAMER, cv::CAP_MSMF, cv::CAP_AVFOUNDATION, cv::CAP_INTEL_MFX,
                                    cv::CAP_OPENCV_MJPEG};

bool contains(const std::vector<int> &values, int value)
{
    return std::find(values.begin(), values.end(), value) != values.end();
}

std::vector<int> offeredBackEnds()
{
    const std::vector<cv::VideoCaptureAPIs> offered = cv::videoio_registry::getStreamBackends();
    return std::vector<int>(offered.begin(), offered.end());
}

} // namespace

std::vector<int> VideoFile::backEnds(const std::vector<int> &offered)
{
    if (contains(offered, cv::CAP_FFMPEG))
        return {cv::CAP_FFMPEG};
    std::vector<int> usable;
    std::copy_if(fileBackEnds.begin(), fileBackEnds.end(), std::back_inserter(usable),
                 [&offered](int backEnd) { return contains(offered, backEnd); });
    return usable;
}

cv::VideoCapture VideoFile::open(const QString &path)
{
    static const std::vector<int> usable = backEnds(offeredBackEnds());
    cv::VideoCapture capture;
    for (const int backEnd : usable) {
        if (capture.open(path.toUtf8().toStdString(), backEnd))
            break;
    }
    return capture;
}
