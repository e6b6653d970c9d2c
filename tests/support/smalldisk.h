// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// Has every disk say that it has `free` bytes left, in blocks of `blockSize`, while it is in scope.
class SmallDisk
{
public:
    static constexpr int blockSize = 4096; // bytes

    explicit SmallDisk(qint64 free);
    ~SmallDisk();
};
