// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/newobject.h"

#include "core/datastate.h"
#include "core/mainwindow.h"
#include "Models/projectlimits.h"
#include "views/buildingsign.h"

#include <QCoreApplication>
#include <QStatusBar>

void NewObject::add()
{
    const int frames = g_state->video ? g_state->video->frameCount : 0;
    if (!ProjectLimits::canHoldObjects(frames, 1, g_state->objects.size())) {
        const QString text = QCoreApplication::translate(
            "NewObject", "There is not enough memory for another object with %1 frames.");
        if (g_mainWindow)
            g_mainWindow->statusBar()->showMessage(text.arg(frames));
        return;
    }
    const BuildingSign sign(frames);
    const bool first = !g_state->hasObjects();
    g_state->addObject();
    if (first && g_mainWindow)
        g_mainWindow->reload();
}
