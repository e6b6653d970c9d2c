// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/buildingsign.h"

#include "core/mainwindow.h"

#include <QApplication>
#include <QStatusBar>

namespace
{

bool g_signIsUp = false;

QString text()
{
    return QCoreApplication::translate("BuildingSign", "Preparing many frames. Please wait.");
}

} // namespace

BuildingSign::BuildingSign(qint64 items)
    : m_shown(items >= many && !g_signIsUp)
{
    if (!m_shown)
        return;
    g_signIsUp = true;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    if (!g_mainWindow)
        return;
    g_mainWindow->statusBar()->showMessage(text());
    g_mainWindow->statusBar()->repaint(); // no event is handled until the items are made
}

BuildingSign::~BuildingSign()
{
    if (!m_shown)
        return;
    g_signIsUp = false;
    QApplication::restoreOverrideCursor();
    if (g_mainWindow && g_mainWindow->statusBar()->currentMessage() == text())
        g_mainWindow->statusBar()->clearMessage();
}
