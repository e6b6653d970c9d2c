// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/framejob.h"

#include <mutex>
#include <utility>

FrameJob::Error::Error(int failedFrame, QString reasonForUser, const std::string &logText)
    : std::runtime_error(logText)
    , frame(failedFrame)
    , reason(std::move(reasonForUser))
{
}

FrameJob::Result FrameJob::run(const QString &label, QList<int> &items,
                               const std::function<void(int &)> &work, const std::function<void()> &onAbort)
{
    Result result;
    std::mutex mutex; // guards result between the work items
    const auto keepError = [&](int &item) {
        try {
            work(item);
        } catch (const Error &error) {
            const std::lock_guard<std::mutex> lock(mutex);
            if (result.failedFrame == -1) {
                result.failedFrame = error.frame;
                result.reason = error.reason;
            }
            throw;
        }
    };
    result.outcome = ModalJob::run(label, items, keepError, onAbort).outcome;
    return result;
}
