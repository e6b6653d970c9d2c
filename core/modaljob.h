// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

#include <functional>

/// The one way in which long jobs run: a parallel map behind a modal progress dialog.
namespace ModalJob
{

/// Calls `work` for every item on the global thread pool while a busy dialog with the button "Abort" is
/// shown, and returns when no call is running any more.
///
/// Aborting skips the items not yet started; `onCanceled` is then called on the GUI thread. An exception in a
/// work item skips them too and is logged as a warning. Returns false after an exception.
bool run(const QString &label, QList<int> &items, const std::function<void(int &)> &work,
         const std::function<void()> &onCanceled = {});

} // namespace ModalJob
