// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "core/safefile.h"

#include <QApplication>
#include <QIcon>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QApplication::setWindowIcon(QIcon(QStringLiteral(":icons/mainicon.ico")));
    SafeFile::putAllBack();
    g_state = new DataState;
    MainWindow window;
    g_mainWindow = &window;
    window.show();
    const int result = QApplication::exec();
    delete g_state;
    g_state = nullptr;
    return result;
}
