// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/temporaryfolders.h"

#include "core/processmark.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <iterator>

#include <unistd.h>

namespace
{

/// The second one is for folders of a video that is called like the first one.
const QString markNames[] = {QStringLiteral(".palu-process"), QStringLiteral(".palu-process-mark")};
constexpr int randomLetters = 6;                  // behind the program's name, as QTemporaryDir makes them
constexpr qint64 longestMark = 8192;              // a path in it takes up to 4096
TemporaryFolders::Cleaning *g_cleaning = nullptr; // used on its owner's thread alone
constexpr auto everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;

QString pathOf(const QString &folder, const QString &name)
{
    return folder + QLatin1Char('/') + name;
}

bool isMarkName(const QString &name)
{
    return std::find(std::begin(markNames), std::end(markNames), name) != std::end(markNames);
}

/// What tells one folder from its copies.
QByteArray ownPath(const QString &folder)
{
    return QFile::encodeName(QDir(folder).canonicalPath());
}

/// Whether a file in a folder is the mark of that folder and of a process that is gone. What a person copied
/// with its mark bears the path of another folder.
bool marksAsAbandoned(const QByteArray &content, const QString &folder)
{
    const int end = content.indexOf('\n');
    return end >= 0 && content.mid(end + 1) == ownPath(folder) && !ProcessMark::mayRun(content.left(end));
}

/// The marks in a folder, at least one of them a mark indeed.
QList<QByteArray> marksIn(const QString &folder)
{
    QList<QByteArray> marks;
    for (const QString &name : markNames) {
        QFile file(pathOf(folder, name));
        if (QFileInfo(file).isFile() && file.open(QIODevice::ReadOnly))
            marks.append(file.read(longestMark));
    }
    return marks;
}

bool isAbandoned(const QString &folder)
{
    const QList<QByteArray> marks = marksIn(folder);
    return !marks.isEmpty() && std::all_of(marks.cbegin(), marks.cend(), [&folder](const QByteArray &mark) {
        return marksAsAbandoned(mark, folder);
    });
}

} // namespace

// In one step: a folder that bears half a mark could be taken for anybody's.
void TemporaryFolders::mark(const QString &folder)
{
    const QString path = pathOf(folder, markNames[0]);
    const QByteArray content = ProcessMark::own() + '\n' + ownPath(folder);
    QFile file(path + QStringLiteral(".new"));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) < 0 || !file.flush() || !file.rename(path))
        file.remove();
}

void TemporaryFolders::makeWayFor(const QString &fileName, const QString &folder)
{
    if (fileName == markNames[0])
        QFile::rename(pathOf(folder, markNames[0]), pathOf(folder, markNames[1]));
}

QStringList TemporaryFolders::abandoned(const QString &parent, const QString &programName)
{
    QStringList found;
    QDirIterator it(parent, QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot | QDir::NoSymLinks);
    while (it.hasNext()) {
        const QString path = it.next();
        const bool named = it.fileName().startsWith(programName + QLatin1Char('-')) &&
                           it.fileName().size() == programName.size() + 1 + randomLetters;
        if (named && it.fileInfo().ownerId() == geteuid() && isAbandoned(path))
            found.append(path);
    }
    return found;
}

bool TemporaryFolders::remove(const QString &folder, const std::function<bool()> &interrupted)
{
    const QString frames = pathOf(folder, QStringLiteral("frames"));
    const auto removeFiles = [&](const QString &place) {
        const QFileInfoList entries = QDir(place).entryInfoList(everything);
        return std::all_of(entries.cbegin(), entries.cend(), [&](const QFileInfo &entry) {
            if (interrupted())
                return false;
            if (place == frames || !isMarkName(entry.fileName()))
                QFile::remove(entry.filePath());
            return true;
        });
    };
    if (!removeFiles(frames) || !removeFiles(folder))
        return false;
    QDir().rmdir(frames);
    const QStringList left = QDir(folder).entryList(everything);
    if (!std::all_of(left.cbegin(), left.cend(), isMarkName))
        return false;
    for (const QString &name : left)
        QFile::remove(pathOf(folder, name));
    return QDir().rmdir(folder);
}

TemporaryFolders::Cleaning::Cleaning(const QString &parent, const QString &programName)
    : m_thread([this, parent, programName] {
        const QStringList folders = abandoned(parent, programName);
        for (const QString &folder : folders)
            remove(folder, [this] { return m_end.load(); });
    })
{
    g_cleaning = this;
}

TemporaryFolders::Cleaning::~Cleaning()
{
    end();
    if (g_cleaning == this)
        g_cleaning = nullptr;
}

void TemporaryFolders::Cleaning::end()
{
    m_end = true;
    if (m_thread.joinable())
        m_thread.join();
}

void TemporaryFolders::endCleaning()
{
    if (g_cleaning)
        g_cleaning->end();
}
