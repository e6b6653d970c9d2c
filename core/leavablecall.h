// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <stdexcept>

/// Calls into libraries that can take very long and know no way out. Each is made on a thread of its own,
/// which whoever waits for it can leave behind.
///
/// There are never more of these threads, those left behind included, than the global thread pool has.
namespace LeavableCall
{

/// Thrown when every thread that there may be is one that was left behind.
class TooManyLeft : public std::runtime_error
{
public:
    TooManyLeft();
};

/// Makes a call and returns true when it has ended; what it throws is thrown here. While the call, or its
/// turn, is waited for, `mayWait` is asked again and again. Where it says no, false is returned, and a call
/// that has begun goes on unheard: it must own all that it works on. May be called on every thread.
bool run(const std::function<void()> &call, const std::function<bool()> &mayWait);

/// How many calls that were left behind have not ended yet.
int leftBehind();
/// Whether a call was ever left behind. Then the program has to end without running static destructors, which
/// a thread on its last steps could still be using.
bool wasAnyLeft();

} // namespace LeavableCall
