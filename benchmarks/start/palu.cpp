// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// The program up to its first painted window.
#include "benchmarks/start/firstpaint.h"
#include "core/datastate.h"
#include "core/mainwindow.h"

#include <QIcon>

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    QApplication::setWindowIcon(QIcon(QStringLiteral(":icons/mainicon.ico")));
    g_state = new DataState;
    MainWindow window;
    g_mainWindow = &window;
    const EndAtFirstPaint end(&window);
    window.show();
    return QApplication::exec();
}
