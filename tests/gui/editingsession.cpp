// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
//
// Edits a project in the real window until it is killed:
//
//     palu_editingsession FOLDER CLIP SEED FACTOR LOG
//
// FOLDER takes the copies of unsaved work, at FACTOR times the program's own pace; LOG gets a line after
// every gesture.
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "tests/gui/programfixture.h"
#include "tests/gui/sessionlog.h"
#include "tests/support/mousedriver.h"
#include "tests/support/randomgestures.h"
#include "views/framegraphicsview.h"
#include "views/frameviewer.h"

#include <QApplication>
#include <QFileInfo>
#include <QtTest>

namespace
{

constexpr int longestPause = 60; // milliseconds between two gestures of a busy user

class Session
{
public:
    Session(unsigned seed, const Recovery::Times &times, const QString &savedPath)
        : m_random(seed)
        , m_times(times)
        , m_savedPath(savedPath)
    {
    }

    /// Makes a gesture. Returns whether it ended in a save.
    bool gesture(ProgramFixture &program)
    {
        if (m_random.below(4 * steadyGestures()) == 0)
            return save(program);
        const int kind = m_random.below(1000);
        if (kind < 80)
            program.key(Qt::Key_Z, Qt::ControlModifier);
        else if (kind < 110)
            program.key(Qt::Key_Y, Qt::ControlModifier);
        else if (kind < 400)
            drawVertex(program);
        else
            m_random.make(*g_state);
        return false;
    }

    /// Mostly a short one; after a time of steady work one that is longer than a copy waits for.
    int pause()
    {
        if (m_random.below(steadyGestures()) == 0)
            return m_times.afterChange * 3 / 2;
        return 1 + m_random.below(longestPause);
    }

private:
    /// About as many as are made while no copy is due but by the longest time.
    int steadyGestures() const { return m_times.whileChanging * 2 / longestPause; }

    bool save(ProgramFixture &program)
    {
        const QString path = QStringLiteral("%1-%2.palu").arg(m_savedPath).arg(++m_saves);
        return program.saveAs(path).isEmpty();
    }

    void drawVertex(const ProgramFixture &program)
    {
        QWidget *viewport = program.window->frameViewer()->view->viewport();
        const QPointF position(m_random.below(viewport->width()), m_random.below(viewport->height()));
        MouseDriver::doubleClick(viewport, position);
    }

    RandomGestures m_random;
    Recovery::Times m_times;
    QString m_savedPath;
    int m_saves = 0;
};

} // namespace

int main(int argc, char *argv[])
{
    useTemporaryHome();
    QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 6)
        qFatal("usage: palu_editingsession FOLDER CLIP SEED FACTOR LOG");
    const Recovery::Times times = SessionLog::times(arguments.at(4).toInt());
    QFile log(arguments.at(5));
    if (!log.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered))
        qFatal("cannot open the log of the session");

    ProgramFixture program;
    program->setRecovery(arguments.at(1));
    program->recovery()->setTimes(times);
    if (!program.newProject(arguments.at(2)).isEmpty() || !g_state->videoLoaded)
        qFatal("cannot load the clip");
    SessionLog::append(log, SessionLog::entryOfProject());
    Session session(arguments.at(3).toUInt(), times, arguments.at(5));
    for (;;) {
        const bool isSaved = session.gesture(program);
        SessionLog::Entry entry = SessionLog::entryOfProject();
        entry.isSaved = isSaved;
        SessionLog::append(log, entry);
        QTest::qWait(session.pause());
    }
}
