// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/projectfile.h"
#include "tests/support/testproject.h"

#include <QCoreApplication>

#include <cstdio>

#include <unistd.h>

namespace
{

constexpr int frames = 150;
constexpr uid_t nobody = 65534;

void fill(TestProject &project)
{
    for (int i = 0; i < 2; ++i) {
        TrackedObject *object = project.addObject();
        for (int frame = 0; frame < frames; ++frame)
            annotate(object, frame, rectangle(frame, i, 30, 40), KeyFrame::Occluded);
    }
}

/// A system call that is seen in a trace.
void mark(const char *what)
{
    static_cast<void>(::access(what, F_OK) == 0);
}

} // namespace

/// palu_save PATH [nobody]: saves a project there, without root's rights where asked, with system calls
/// around it that tell where in a trace it is. Returns 0 when the project was saved.
int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("palu"));
    TestProject project(frames);
    fill(project);
    if (argc > 2 && ::geteuid() == 0 && ::setuid(nobody) != 0)
        return 2;
    QString error;
    mark("the save begins");
    const bool saved = ProjectFile::save(QString::fromLocal8Bit(argv[1]), *project, &error);
    mark("the save has ended");
    return saved ? 0 : 1;
}
