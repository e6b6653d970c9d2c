// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "core/datastate.h"

/// Connects `signal` to `slot` of `receiver` for as long as the project state in use lives. For what writes
/// into the state when it loses the focus: fields do so even while the program ends and the
/// state is gone. `sender` belongs to `receiver`.
template <class Sender, class Signal, class Receiver>
QMetaObject::Connection connectWhileStateLives(Sender *sender, Signal signal, Receiver *receiver,
                                               void (Receiver::*slot)())
{
    return QObject::connect(sender, signal, g_state, [receiver, slot] { (receiver->*slot)(); });
}
