// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class QFileDevice;

/// Project files for unsaved work that its proper place does not take.
namespace RecoveryRescue
{

/// Writes "`name` (unsaved work).palu", or the same with a number, into the first of `folders` that takes
/// it, for the user alone and never in place of a file that is there. Returns its path, whole and on the
/// disk; empty if no folder takes it. Failures are logged.
QString write(const QStringList &folders, const QString &name,
              const std::function<bool(QFileDevice &)> &write);

} // namespace RecoveryRescue
