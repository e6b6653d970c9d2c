// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>

#include <functional>

/// What the tests of long jobs work on.

constexpr int timeLimit = 30000; // milliseconds that any wait here may take

/// The numbers from 0 to `count` - 1.
QList<int> itemList(int count);
/// Waits on a pool thread until `condition` holds; false when the time is up.
bool waitFor(const std::function<bool()> &condition);
