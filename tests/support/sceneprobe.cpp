// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/sceneprobe.h"

QPointer<QGraphicsWidget> witness(QGraphicsScene *scene)
{
    auto *item = new QGraphicsWidget;
    scene->addItem(item);
    return item;
}
