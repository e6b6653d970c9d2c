// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/projectfile.h"
#include "tests/fuzz/fuzzproject.h"
#include "tests/fuzz/fuzztarget.h"
#include "tests/support/modelchecks.h"

#include <QDataStream>

#include <array>

namespace
{

/// Videos to open a project with; the first byte of an input says which one.
constexpr std::array<int, 4> frameCounts{1, 2, 3, 9};

bool readProject(const QByteArray &file, DataState &state)
{
    QDataStream stream(file);
    ProjectFile::videoFilter(ProjectFile::readVideoName(stream));
    return ProjectFile::read(stream, state);
}

QByteArray bytesOf(const DataState &state)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    ProjectFile::write(stream, state);
    return bytes;
}

/// What was accepted is sound, can be written, and reads back as it was.
void checkAccepted(const DataState &state)
{
    FuzzTarget::require(ModelChecks::stateProblem(state));
    const QByteArray written = bytesOf(state);
    FuzzProject again(state.video->frameCount);
    FuzzTarget::require(readProject(written, *again) ? QString()
                                                     : QStringLiteral("what was written is rejected"));
    FuzzTarget::require(ModelChecks::stateProblem(*again));
    FuzzTarget::require(bytesOf(*again) == written ? QString()
                                                   : QStringLiteral("what was written reads differently"));
}

} // namespace

/// Opens the input, but for its first byte, as a project file.
void FuzzTarget::run(const QByteArray &input)
{
    if (input.isEmpty())
        return;
    const auto choice = static_cast<unsigned char>(input.at(0)) % frameCounts.size();
    FuzzProject project(frameCounts.at(choice));
    if (readProject(input.mid(1), *project))
        checkAccepted(*project);
}
