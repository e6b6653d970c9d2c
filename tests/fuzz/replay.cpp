// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include <QByteArray>
#include <QDir>
#include <QFile>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace
{

bool replay(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray input = file.readAll();
    std::printf("%s\n", qUtf8Printable(path));
    std::fflush(stdout); // a fault ends the process
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(input.constData()),
                           static_cast<std::size_t>(input.size()));
    return true;
}

} // namespace

/// Gives every file of the folder named to the fuzz target that this is linked with.
int main(int argc, char **argv)
{
    LLVMFuzzerInitialize(&argc, &argv);
    const QDir folder(QString::fromLocal8Bit(argc > 1 ? argv[1] : ""));
    const QStringList names = folder.entryList(QDir::Files, QDir::Name);
    int replayed = 0;
    for (const QString &name : names)
        replayed += replay(folder.filePath(name)) ? 1 : 0;
    std::printf("%d of %d inputs replayed\n", replayed, int(names.size()));
    return names.isEmpty() || replayed != names.size() ? 1 : 0;
}
