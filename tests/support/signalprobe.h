// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "core/datastate.h"

#include <QList>

class QSignalSpy;

/// The numbers that a signal with one int was emitted with.
QList<int> flagsOf(const QSignalSpy &spy);

/// A state that tells how many listeners it has.
class CountingState : public DataState
{
public:
    int listeners() const { return receivers(SIGNAL(hasChanged(int))); }
};
