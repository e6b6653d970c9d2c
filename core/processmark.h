// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

/// Marks that a process leaves on its files, so that others know whose they are and whether it is still
/// there.
namespace ProcessMark
{

/// The mark of this process: machine, boot, process namespace, process id and start time, as one line of
/// text. No other process ever has the same one.
QByteArray own();

/// Whether the process that left `mark` may still run: it does, or it cannot be told from here (a process of
/// another machine, a text that is no mark). False is certain.
bool mayRun(const QByteArray &mark);

} // namespace ProcessMark
