// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/signalprobe.h"

#include <QSignalSpy>

QList<int> flagsOf(const QSignalSpy &spy)
{
    QList<int> flags;
    for (const QList<QVariant> &arguments : spy)
        flags.append(arguments.first().toInt());
    return flags;
}
