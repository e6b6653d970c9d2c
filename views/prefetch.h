// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

/// Has the processor fetch an object that is looked at soon. A walk over a hundred thousand objects waits for
/// memory most of the time otherwise.
inline void prefetch(const void *object)
{
#if defined(__GNUC__)
    __builtin_prefetch(object);
#else
    static_cast<void>(object);
#endif
}
