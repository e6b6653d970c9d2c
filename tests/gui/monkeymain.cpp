// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/gui/monkey.h"
#include "tests/gui/programfixture.h"
#include "tests/support/clips.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>

namespace
{

constexpr int frames = 8;
constexpr double framesPerSecond = 200;

void ignoreMessages(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString & /*text*/) {}

} // namespace

/// palu_monkey STEPS [SEED]: uses the window at random for so many steps; fails with a report when something
/// is wrong after one of them.
int main(int argc, char *argv[])
{
    useTemporaryHome();
    QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    const int steps = arguments.value(1).toInt();
    const unsigned seed = arguments.value(2, QStringLiteral("1")).toUInt();
    if (steps < 1) {
        std::fprintf(stderr, "usage: palu_monkey STEPS [SEED]\n");
        return 2;
    }
    QApplication::setQuitOnLastWindowClosed(false);
    qInstallMessageHandler(ignoreMessages); // it provokes warnings all the time
    const QTemporaryDir folder;
    const QString clip = folder.filePath(QStringLiteral("clip.mp4"));
    Clips::Clip scene = Clips::numberedGround(QSize(96, 64));
    if (!Clips::encodeMp4(clip, scene, frames, framesPerSecond)) {
        std::fprintf(stderr, "cannot encode a clip\n");
        return 2;
    }
    QFile damaged(folder.filePath(QStringLiteral("damaged.palu")));
    if (damaged.open(QIODevice::WriteOnly))
        damaged.write(QByteArray(1000, 'x'));
    damaged.close();

    QElapsedTimer timer;
    timer.start();
    const QString problem = Monkey(seed, clip, folder.path()).run(steps);
    std::printf("%d steps with seed %u in %.1f s\n", steps, seed,
                static_cast<double>(timer.elapsed()) / 1000);
    if (!problem.isEmpty())
        std::fprintf(stderr, "%s\n", qUtf8Printable(problem));
    return problem.isEmpty() ? 0 : 1;
}
