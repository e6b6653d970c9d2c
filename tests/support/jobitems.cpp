// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/jobitems.h"

#include <QElapsedTimer>
#include <QThread>

QList<int> itemList(int count)
{
    QList<int> items;
    for (int i = 0; i < count; ++i)
        items.append(i);
    return items;
}

bool waitFor(const std::function<bool()> &condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeLimit)
            return false;
        QThread::msleep(1);
    }
    return true;
}
