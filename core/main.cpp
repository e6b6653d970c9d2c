// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/endsignals.h"
#include "core/leavablecall.h"
#include "core/mainwindow.h"
#include "core/safefile.h"
#include "core/temporaryfolders.h"

#include <QApplication>
#include <QDir>
#include <QIcon>
#include <QStandardPaths>

#include <cstdlib>

namespace
{

/// Where the copies of unsaved work lie; empty where the user has no place for such things.
QString recoveryFolder()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    return folder.isEmpty() ? QString() : folder + QStringLiteral("/recovery");
}

/// The program from its application object to that one's end. Nothing is left to clean up afterwards.
int runProgram(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QApplication::setWindowIcon(QIcon(QStringLiteral(":icons/mainicon.ico")));
    SafeFile::putAllBack();
    const TemporaryFolders::Cleaning cleaning(QDir::tempPath(), QCoreApplication::applicationName());
    g_state = new DataState;
    MainWindow window;
    g_mainWindow = &window;
    const EndSignals endSignals;
    QObject::connect(&endSignals, &EndSignals::received, &window, &MainWindow::closeSoon);
    if (const QString folder = recoveryFolder(); !folder.isEmpty())
        window.setRecovery(folder);
    window.show();
    const int result = QApplication::exec();
    delete g_state;
    g_state = nullptr;
    return result;
}

} // namespace

int main(int argc, char *argv[])
{
    const int result = runProgram(argc, argv);
    if (LeavableCall::wasAnyLeft())
        std::_Exit(result);
    return result;
}
