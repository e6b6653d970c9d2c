// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// A program with an empty window up to the first painting of it.
#include "benchmarks/start/firstpaint.h"

#include <QMainWindow>

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    QMainWindow window;
    window.resize(1024, 768);
    const EndAtFirstPaint end(&window);
    window.show();
    return QApplication::exec();
}
