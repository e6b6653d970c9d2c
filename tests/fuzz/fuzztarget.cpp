// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/fuzz/fuzztarget.h"

#include "tests/support/modelchecks.h"

#include <QCoreApplication>

#include <cstdint>
#include <cstdio>

namespace
{

/// Millions of inputs would log millions of warnings.
void logOnlyTheEnd(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtFatalMsg)
        std::fprintf(stderr, "%s\n", qUtf8Printable(message));
}

} // namespace

void FuzzTarget::require(const QString &problem)
{
    if (!problem.isEmpty())
        qFatal("%s", qUtf8Printable(problem));
}

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    static QCoreApplication application(*argc, *argv);
    qInstallMessageHandler(logOnlyTheEnd);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    FuzzTarget::run(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size)));
    // There is no event loop, and what piles up costs every further input more.
    QCoreApplication::sendPostedEvents();
    ModelChecks::flushDeferredDeletes();
    return 0;
}
