// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <sys/resource.h>

#include <QtGlobal>

/// Leaves this process so many bytes of address space beyond what it has while it is in scope.
class LittleMemory
{
public:
    explicit LittleMemory(qint64 bytes);
    ~LittleMemory();

private:
    rlimit m_limit{};
};
