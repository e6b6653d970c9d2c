// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/videocontainer.h"
#include "tests/support/clips.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <opencv2/videoio.hpp>

#include <cstdio>

#include <sys/resource.h>
#include <sys/stat.h>

namespace
{

// Argument that makes this program a child of its own test.
const char importArgument[] = "--import";

constexpr int frames = 24;
constexpr int mostSeconds = 30;
constexpr int mostMegabytes = 2000;

/// Imports a video and says how it ended and what it took.
int import(const QString &path)
{
    VideoContainer container;
    const bool loaded = container.loadFile(path);
    const QDir images(QFileInfo(container.getFramePath(0)).path());
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%ld MB\n", usage.ru_maxrss / 1024);
    if (loaded)
        std::printf("imported %d of %d", images.entryList(QDir::Files).size(), container.frameCount);
    else
        std::printf("failed: %s", qPrintable(container.failure()));
    return 0;
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool write(const QString &path, const QByteArray &data)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

QByteArray encoded(QSize size, int count, const char *fourcc, const char *ending)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("clip.") + QLatin1String(ending));
    return Clips::encode(path, Clips::numberedGround(size), count, 25, fourcc) ? contents(path)
                                                                               : QByteArray();
}

QByteArray avi()
{
    return encoded(QSize(128, 96), frames, "MJPG", "avi");
}

QByteArray mp4()
{
    return encoded(QSize(128, 96), frames, "mp4v", "mp4");
}

/// Overwrites numbers of an AVI file's headers, `offset` bytes behind the name of a chunk.
QByteArray patched(QByteArray data, const char *chunk, int offset, quint32 value)
{
    const int position = data.indexOf(chunk);
    if (position < 0)
        return QByteArray();
    qToLittleEndian(value, data.data() + position + offset);
    return data;
}

QByteArray claiming(quint32 count)
{
    return patched(patched(avi(), "avih", 8 + 16, count), "strh", 8 + 32, count);
}

/// The rate of an AVI file is a fraction.
QByteArray ofRate(quint32 rate, quint32 scale)
{
    return patched(patched(avi(), "strh", 8 + 20, scale), "strh", 8 + 24, rate);
}

/// Turned by a quarter, as telephones write it.
QByteArray turned()
{
    constexpr int matrixInHeader = 4 + 40; // bytes from the name of the box
    const qint32 matrix[] = {0, 0x10000, 0, -0x10000, 0, 0, 0, 0, 0x40000000};
    QByteArray data = mp4();
    const int header = data.indexOf("tkhd");
    if (header < 0)
        return QByteArray();
    for (int i = 0; i < 9; ++i)
        qToBigEndian(matrix[i], data.data() + header + matrixInHeader + 4 * i);
    return data;
}

/// With a duration of its own for every frame. The boxes around the table grow with it; the images lie before
/// them in the file.
QByteArray ofVariableRate()
{
    QByteArray data = mp4();
    const int table = data.indexOf("stts");
    if (table < 0 || data.indexOf("mdat") > table)
        return QByteArray();
    QByteArray entries;
    for (int i = 0; i < frames; ++i) {
        char entry[8];
        qToBigEndian<quint32>(1, entry);
        qToBigEndian<quint32>(i % 3 == 0 ? 2000 : 300, entry + 4);
        entries.append(entry, sizeof entry);
    }
    constexpr int countInTable = 8; // bytes from the name of the box
    constexpr int entriesInTable = 12;
    const int growth = entries.size() - 8; // one entry was there
    for (const char *box : {"moov", "trak", "mdia", "minf", "stbl", "stts"}) {
        const int position = data.lastIndexOf(box, table) - 4;
        qToBigEndian(qFromBigEndian<quint32>(data.constData() + position) + growth, data.data() + position);
    }
    qToBigEndian<quint32>(frames, data.data() + table + countInTable);
    return data.replace(table + entriesInTable, 8, entries);
}

QByteArray picture(const char *format)
{
    QImage image(64, 48, QImage::Format_RGB32);
    image.fill(Qt::red);
    QByteArray data;
    QBuffer buffer(&data);
    image.save(&buffer, format);
    return data;
}

/// A second of silence.
QByteArray sound()
{
    return QByteArray::fromHex("524946466420000057415645666d74201000000001000100401f0000401f000001000800"
                               "64617461401f0000") +
           QByteArray(8000, '\x80');
}

using Make = QByteArray (*)();
struct Row {
    const char *name;
    Make make;
    const char *ending; ///< a regular expression for what the import says
};

const char noVideo[] = "failed: it is no video";
const char tooMany[] = "failed: it says that it has \\d+ frames, too many for this machine";

const Row rows[] = {
    {"AVI cut in the middle", [] { return avi().left(avi().size() / 2); }, "imported \\d+ of 24"},
    {"MP4 cut in the middle", [] { return mp4().left(mp4().size() / 2); }, noVideo},
    {"a million frames claimed", [] { return claiming(1'000'000); },
     "imported \\d\\d? of 1000000|failed: there is no room for its 1000000 frames, .*"},
    {"2^31-1 frames claimed", [] { return claiming(0x7fffffff); }, tooMany},
    {"0 frames per second", [] { return ofRate(0, 1); },
     "imported \\d+ of 24|failed: it does not say its frame rate"},
    {"100,000 frames per second", [] { return ofRate(100'000, 1); }, "imported \\d+ of 24"},
    {"2 by 2 pixels", [] { return encoded(QSize(2, 2), frames, "MJPG", "avi"); }, "imported \\d+ of 24"},
    {"8192 by 4320 pixels", [] { return encoded(QSize(8192, 4320), 2, "MJPG", "avi"); }, "imported 2 of 2"},
    {"turned by a quarter", turned, "imported \\d+ of 24"},
    {"of variable rate", ofVariableRate, "imported \\d+ of 24"},
    {"sound alone", sound, noVideo},
    {"MP4 with sound alone", [] { return mp4().replace("vide", "soun"); }, noVideo},
    {"HLS playlist", [] { return QByteArray("#EXTM3U\n#EXTINF:1.0,\n/etc/passwd\n#EXT-X-ENDLIST\n"); },
     noVideo},
    {"list of files", [] { return QByteArray("ffconcat version 1.0\nfile /etc/passwd\n"); }, noVideo},
    {"session description",
     [] {
         return QByteArray(
             "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\nm=video 5004 RTP/AVP 96\n"
             "a=rtpmap:96 H264/90000\n");
     },
     noVideo},
    {"address", [] { return QByteArray("http://127.0.0.1:9/clip.mp4\n"); }, noVideo},
    {"PNG picture", [] { return picture("PNG"); }, noVideo},
    {"JPEG picture", [] { return picture("JPEG"); }, "failed: it .*"},
    {"empty file", [] { return QByteArray(""); }, noVideo},
    {"zeros", [] { return QByteArray(1'000'000, '\0'); }, noVideo},
};

} // namespace

class TestHostileVideos : public QObject
{
    Q_OBJECT

private slots:
    void everyImportComesToAnEnd_data();
    void everyImportComesToAnEnd();
    void everyImportOfWhatIsNoFileComesToAnEnd_data();
    void everyImportOfWhatIsNoFileComesToAnEnd();

private:
    void checkImport(const QString &path, const QString &ending);
    QTemporaryDir m_folder;
};

/// The child is given a time, and tells its memory.
void TestHostileVideos::checkImport(const QString &path, const QString &ending)
{
    QProcess child;
    QElapsedTimer clock;
    clock.start();
    child.start(QCoreApplication::applicationFilePath(), {importArgument, path});
    const bool ended = child.waitForFinished(mostSeconds * 1000);
    const qint64 time = clock.elapsed();
    QVERIFY2(ended, "it takes too long");
    QCOMPARE(child.exitStatus(), QProcess::NormalExit);
    QCOMPARE(child.exitCode(), 0);
    const QStringList lines = QString::fromUtf8(child.readAllStandardOutput()).split('\n');
    QCOMPARE(lines.size(), 2);
    const int megabytes = lines.first().section(' ', 0, 0).toInt();
    qInfo("| %s | %s | %.1f s | %d MB |", QTest::currentDataTag(), qPrintable(lines.last()),
          static_cast<double>(time) / 1000, megabytes);
    QVERIFY2(QRegularExpression("^(" + ending + ")$").match(lines.last()).hasMatch(),
             qPrintable(lines.last()));
    QVERIFY(megabytes > 0 && megabytes <= mostMegabytes);
}

void TestHostileVideos::everyImportComesToAnEnd_data()
{
    QTest::addColumn<int>("row");
    for (int i = 0; i < static_cast<int>(std::size(rows)); ++i)
        QTest::newRow(rows[i].name) << i;
}

/// By its own name and, where that takes no time, through a symbolic link.
void TestHostileVideos::everyImportComesToAnEnd()
{
    QFETCH(int, row);
    const QByteArray data = rows[row].make();
    if (data.isNull())
        QSKIP("no such encoder here");
    const QString path = m_folder.filePath(QString::number(row) + ".mp4");
    QVERIFY(write(path, data));
    checkImport(path, rows[row].ending);
    if (data.size() > 10'000)
        return;
    const QString link = m_folder.filePath("link to " + QString::number(row) + ".mp4");
    QVERIFY(QFile::link(path, link));
    checkImport(link, rows[row].ending);
}

void TestHostileVideos::everyImportOfWhatIsNoFileComesToAnEnd_data()
{
    QTest::addColumn<QString>("path");
    mknod(QFile::encodeName(m_folder.filePath("pipe.mp4")).constData(), S_IFIFO | 0600, 0);
    mknod(QFile::encodeName(m_folder.filePath("socket.mp4")).constData(), S_IFSOCK | 0600, 0);
    QDir(m_folder.path()).mkdir("folder.mp4");
    QTest::newRow("pipe") << m_folder.filePath("pipe.mp4");
    QTest::newRow("socket") << m_folder.filePath("socket.mp4");
    QTest::newRow("folder") << m_folder.filePath("folder.mp4");
    QTest::newRow("endless device") << "/dev/zero";
}

void TestHostileVideos::everyImportOfWhatIsNoFileComesToAnEnd()
{
    QFETCH(QString, path);
    const QString ending = "failed: it is not a regular file";
    checkImport(path, ending);
    const QString link = m_folder.filePath(QString("link to ") + QTest::currentDataTag() + ".mp4");
    QVERIFY(QFile::link(path, link));
    checkImport(link, ending);
}

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 3 && arguments.at(1) == QLatin1String(importArgument))
        return import(arguments.at(2));
    TestHostileVideos test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_hostilevideos.moc"
