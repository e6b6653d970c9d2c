// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/videofile.h"

#include <QByteArray>

#include <opencv2/videoio/registry.hpp>

#include <algorithm>
#include <iterator>

namespace
{

/// What decodes files besides FFmpeg. Asked for a file that is no video, the others would go on to look for
/// cameras and image sequences.
const std::vector<int> fileBackEnds{cv::CAP_GSTREAMER, cv::CAP_MSMF, cv::CAP_AVFOUNDATION, cv::CAP_INTEL_MFX,
                                    cv::CAP_OPENCV_MJPEG};

/// The containers, and streams without one, that hold all they need themselves, by FFmpeg's names. Playlists,
/// session descriptions, image sequences and whatever else names other files or addresses are left out.
const char *const formats[] = {
    "mov",  "avi", "matroska", "webm",      "mpeg", "mpegts", "mpegvideo", "m4v",  "h261", "h263", "h264",
    "hevc", "vc1", "mjpeg",    "jpeg_pipe", "asf",  "flv",    "live_flv",  "ogg",  "nut",  "ivf",  "obu",
    "dv",   "mxf", "gxf",      "rm",        "swf",  "wtv",    "cavsvideo", "dirac"};

/// OpenCV hands these options to FFmpeg. FFmpeg settles on a format by a file's content, whatever its name,
/// and opens what a playlist names. Replaces what the environment brings, which could undo it.
bool limitFormats()
{
    QByteArray list;
    for (const char *format : formats)
        list.append(list.isEmpty() ? "" : ",").append(format);
    return qputenv("OPENCV_FFMPEG_CAPTURE_OPTIONS", "format_whitelist;" + list + "|protocol_whitelist;file");
}

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
    static const bool limited = limitFormats();
    static const std::vector<int> usable = limited ? backEnds(offeredBackEnds()) : std::vector<int>();
    cv::VideoCapture capture;
    for (const int backEnd : usable) {
        if (capture.open(path.toUtf8().toStdString(), backEnd))
            break;
    }
    return capture;
}
