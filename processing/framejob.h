// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "core/modaljob.h"

#include <QList>
#include <QString>

#include <functional>
#include <stdexcept>
#include <string>

/// Long jobs over the frames of a video, which can say on what frame they failed.
namespace FrameJob
{

/// Thrown by a work item that cannot go on. what() is for the log and names frames from 0.
class Error : public std::runtime_error
{
public:
    /// `reasonForUser` is the end of a sentence.
    Error(int failedFrame, QString reasonForUser, const std::string &logText);

    int frame;
    QString reason;
};

/// How a run ended.
struct Result {
    ModalJob::Outcome outcome = ModalJob::Outcome::Finished;
    /// Frame of the first Error of a failed run, from 0; -1 when something else was thrown.
    int failedFrame = -1;
    /// What the user can be told about it.
    QString reason;
};

/// ModalJob::run() that keeps the first Error.
Result run(const QString &label, QList<int> &items, const std::function<void(int &)> &work,
           const std::function<void()> &onAbort = {});

} // namespace FrameJob
