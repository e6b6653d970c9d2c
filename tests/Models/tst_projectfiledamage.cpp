// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "export/exportxml.h"
#include "Models/projectfile.h"
#include "processing/morph.h"
#include "tests/support/modelchecks.h"
#include "tests/support/projectimage.h"
#include "tests/support/testproject.h"

#include <QDataStream>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>
#include <QXmlStreamReader>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <limits>
#include <random>

#include <sys/resource.h>

namespace
{

constexpr double longestRead = 5;        // seconds of the processor for one file
constexpr long mostMemory = 200L * 1024; // KiB above what the process had used before
constexpr int videoFrames = 12;

const QVector<quint32> extremeValues{0U,          1U,          2U,          3U,          4U,
                                     11U,         12U,         13U,         100U,        1000U,
                                     0x0000ffffU, 0x000f4240U, 0x00ffffffU, 0x0fffffffU, 0x10000000U,
                                     0x3fffffffU, 0x40000000U, 0x7ffffffeU, 0x7fffffffU, 0x80000000U,
                                     0x80000001U, 0xc0000000U, 0xfffffff0U, 0xfffffffeU, 0xffffffffU};

long peakMemory()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

/// Time of the processor, so that other programs do not count.
double secondsSince(std::clock_t begin)
{
    return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

/// A project with all kinds of records, small enough to be damaged everywhere.
QByteArray soundFile()
{
    ProjectImage image(videoFrames);
    image.currentFrame = 3;
    ProjectImage::ObjectRecord &first = image.addObject(QStringLiteral("new object 1"), 0);
    first.spans = {{FrameSpan::Visible, 0, 4}, {FrameSpan::Occluded, 4, 5}, {FrameSpan::Hidden, 5, 11}};
    first.keyFrames[0].type = KeyFrame::Visible;
    first.keyFrames[0].polygon = rectangle(10, 10, 20, 20);
    first.keyFrames[2].type = KeyFrame::Automatic;
    first.keyFrames[2].polygon = rectangle(12, 10, 20, 20);
    first.keyFrames[4].type = KeyFrame::Occluded;
    first.keyFrames[5].type = KeyFrame::Visible;
    image.addObject(QStringLiteral("b"), 4).keyFrames[11].polygon = rectangle(0, 0, 1, 1);
    return image.bytes();
}

/// A fresh state in use on the video of another project: thousands of them need no folder each.
class BorrowedVideo
{
public:
    explicit BorrowedVideo(VideoContainer *video)
        : m_previous(g_state)
    {
        state.video = video;
        state.videoLoaded = true;
        g_state = &state;
    }

    ~BorrowedVideo()
    {
        state.video = nullptr;
        g_state = m_previous;
    }

    DataState state;

private:
    DataState *m_previous;
};

/// Sets and removes key frames: damage that slipped in would show in the chain.
void edit(TrackedObject *object)
{
    for (const int frame : {0, 3, 6, videoFrames - 1})
        object->keyFrames.at(frame)->setType(KeyFrame::Visible);
    for (const int frame : {videoFrames - 1, 6, 3, 0})
        object->keyFrames.at(frame)->setType(KeyFrame::None);
    ModelChecks::flushDeferredDeletes();
}

/// What is wrong with an accepted project; empty when it can be worked with.
QString acceptedProblem(DataState &state)
{
    const QString problem = ModelChecks::stateProblem(state);
    if (!problem.isEmpty())
        return problem;
    QByteArray copy;
    QDataStream out(&copy, QIODevice::WriteOnly);
    ProjectFile::write(out, state);
    BorrowedVideo again(state.video);
    QDataStream in(copy);
    ProjectFile::readVideoName(in);
    if (!ProjectFile::read(in, again.state))
        return QStringLiteral("saved again, it cannot be read");
    QByteArray secondCopy;
    QDataStream secondOut(&secondCopy, QIODevice::WriteOnly);
    ProjectFile::write(secondOut, again.state);
    if (secondCopy != copy)
        return QStringLiteral("saved again, it differs");
    for (TrackedObject *object : qAsConst(state.objects)) {
        edit(object);
        const QString afterwards = ModelChecks::objectProblem(object, videoFrames);
        if (!afterwards.isEmpty())
            return QStringLiteral("after editing: ") + afterwards;
    }
    return QString();
}

/// Counts and checks the reading of damaged files.
class Reader
{
public:
    /// Reads one file; returns what went wrong.
    QString read(const QByteArray &bytes)
    {
        BorrowedVideo project(m_lender->video);
        const std::clock_t begin = std::clock();
        QDataStream stream(bytes);
        ProjectFile::readVideoName(stream);
        const bool isAccepted = ProjectFile::read(stream, project.state);
        if (secondsSince(begin) > longestRead)
            return QStringLiteral("reading took %1 s").arg(secondsSince(begin));
        if (peakMemory() - m_memoryBefore > mostMemory)
            return QStringLiteral("memory grew by %1 KiB").arg(peakMemory() - m_memoryBefore);
        ++files;
        if (!isAccepted)
            return QString();
        ++accepted;
        return acceptedProblem(project.state);
    }

    int files = 0;
    int accepted = 0;

private:
    TestProject m_lender{videoFrames};
    long m_memoryBefore = peakMemory();
};

QByteArray overwritten(QByteArray bytes, int offset, quint32 value)
{
    return bytes.replace(offset, 4, ByteBuilder().u32(value).bytes);
}

/// One to four random injuries.
QByteArray damaged(QByteArray bytes, std::mt19937 &random)
{
    const auto below = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(qMax(1, limit)));
    };
    for (int left = 1 + below(4); left > 0 && bytes.size() > 4; --left) {
        const int at = below(bytes.size());
        switch (below(6)) {
        case 0: // one bit
            bytes[at] = static_cast<char>(bytes.at(at) ^ (1 << below(8)));
            break;
        case 1: // one byte
            bytes[at] = static_cast<char>(below(256));
            break;
        case 2:
            bytes.remove(at, 1 + below(20));
            break;
        case 3:
            bytes.insert(at, QByteArray(1 + below(20), static_cast<char>(below(256))));
            break;
        case 4: // a part of the file twice
            bytes.insert(at, bytes.mid(below(bytes.size()), below(200)));
            break;
        default:
            bytes =
                overwritten(bytes, qMin(at, bytes.size() - 4), extremeValues.at(below(extremeValues.size())));
        }
    }
    return bytes;
}

/// Exports with polygons and with boxes; returns what is wrong with the documents.
QString exportProblem(DataState *state, int outlines)
{
    const QTemporaryDir folder;
    for (const bool boxes : {false, true}) {
        QFile file(folder.filePath(QStringLiteral("export.xml")));
        if (!ExportXML(state, &file, boxes).saveXML())
            return QStringLiteral("not exported");
        file.close();
        file.open(QIODevice::ReadOnly);
        QXmlStreamReader xml(&file);
        int found = 0;
        while (!xml.atEnd()) {
            xml.readNext();
            const bool isOutline = xml.isStartElement() && (xml.name() == QLatin1String("bbox") ||
                                                            xml.name() == QLatin1String("polygone"));
            found += isOutline ? 1 : 0;
        }
        if (xml.hasError())
            return xml.errorString();
        if (found != outlines)
            return QStringLiteral("%1 outlines instead of %2").arg(found).arg(outlines);
    }
    return QString();
}

/// A project with broken outlines on the frames 0, 4 and 10 and a sound one on frame 8.
QByteArray fileWithBrokenOutlines(const QPolygonF &broken)
{
    ProjectImage image(videoFrames);
    ProjectImage::ObjectRecord &record = image.addObject(QStringLiteral("object"), 0);
    record.spans = {{FrameSpan::Visible, 0, 4}, {FrameSpan::Occluded, 4, 8}, {FrameSpan::Hidden, 8, 11}};
    for (const int frame : {0, 4, 10}) {
        record.keyFrames[frame].type = KeyFrame::Visible;
        record.keyFrames[frame].polygon = broken;
    }
    record.keyFrames[8].type = KeyFrame::Occluded;
    record.keyFrames[8].polygon = rectangle(200, 120, 60, 40);
    return image.bytes();
}

int outlineCount(const TrackedObject *object)
{
    return static_cast<int>(
        std::count_if(object->keyFrames.begin(), object->keyFrames.end(),
                      [](const KeyFrame *keyFrame) { return !keyFrame->polygon.isEmpty(); }));
}

bool isInsideTheFrame(const QPolygonF &polygon)
{
    constexpr double tolerance = 1e-5; // pixels: sides a billion pixels long meet the frame
    const QRectF frame = QRectF(0, 0, 640, 480).adjusted(-tolerance, -tolerance, tolerance, tolerance);
    return std::all_of(polygon.begin(), polygon.end(), [frame](const QPointF &point) {
        return std::isfinite(point.x()) && std::isfinite(point.y()) && frame.contains(point);
    });
}

QByteArray problemText(const QString &what, const QString &problem)
{
    return QStringLiteral("%1: %2").arg(what, problem).toUtf8();
}

} // namespace

class TestProjectFileDamage : public QObject
{
    Q_OBJECT

private slots:
    void theSoundFileIsAccepted();
    void filesCutOffAnywhere();
    void anOutlineThatEndsEarlyRejectsTheFile_data();
    void anOutlineThatEndsEarlyRejectsTheFile();
    void fieldsWithExtremeValues();
    void flippedBits();
    void randomDamage();
    void randomBytes();
    void hugeObjectCounts_data();
    void hugeObjectCounts();
    void aHalfReadObjectIsStillWhole();
    void objectsCanBeAddedAfterTheGreatestNextId();
    void brokenCoordinatesSurviveEditing_data();
    void brokenCoordinatesSurviveEditing();

private:
    void morphBrokenOutlines(DataState &state);
    void reduceBrokenOutlines(DataState &state);
    void moveBrokenOutlines(DataState &state);
};

void TestProjectFileDamage::theSoundFileIsAccepted()
{
    Reader reader;
    QCOMPARE(reader.read(soundFile()), QString());
    QCOMPARE(reader.accepted, 1);
}

void TestProjectFileDamage::filesCutOffAnywhere()
{
    const QByteArray sound = soundFile();
    Reader reader;
    for (int length = 0; length <= sound.size(); ++length) {
        const QString problem = reader.read(sound.left(length));
        QVERIFY2(problem.isEmpty(), problemText(QStringLiteral("cut at %1").arg(length), problem));
    }
    QCOMPARE(reader.files, sound.size() + 1);
    QVERIFY(reader.accepted > 0);
    QVERIFY(reader.accepted < reader.files);
}

void TestProjectFileDamage::anOutlineThatEndsEarlyRejectsTheFile_data()
{
    QTest::addColumn<int>("points");
    QTest::newRow("few points") << 4;
    QTest::newRow("more than are read unasked") << 5000;
}

// In a video of one frame nothing behind the outline would give it away.
void TestProjectFileDamage::anOutlineThatEndsEarlyRejectsTheFile()
{
    QFETCH(int, points);
    constexpr int behind = 8; // bytes: the stacking value and the next id
    ProjectImage image(1);
    image.addObject(QStringLiteral("a"), 0).keyFrames[0].polygon = QPolygonF(points);
    for (const int missing : {0, behind + 1}) {
        TestProject project(1);
        const QByteArray bytes = image.bytes().chopped(missing);
        QDataStream stream(bytes);
        ProjectFile::readVideoName(stream);
        QCOMPARE(ProjectFile::read(stream, *project), missing == 0);
    }
}

void TestProjectFileDamage::fieldsWithExtremeValues()
{
    const QByteArray sound = soundFile();
    Reader reader;
    for (int offset = 0; offset + 4 <= sound.size(); ++offset) {
        for (const quint32 value : extremeValues) {
            const QString problem = reader.read(overwritten(sound, offset, value));
            QVERIFY2(problem.isEmpty(),
                     problemText(QStringLiteral("%1 at %2").arg(value).arg(offset), problem));
        }
    }
    QVERIFY(reader.accepted > 0);
    QVERIFY(reader.accepted < reader.files);
}

void TestProjectFileDamage::flippedBits()
{
    const QByteArray sound = soundFile();
    Reader reader;
    for (int bit = 0; bit < sound.size() * 8; ++bit) {
        QByteArray bytes = sound;
        bytes[bit / 8] = static_cast<char>(bytes.at(bit / 8) ^ (1 << (bit % 8)));
        const QString problem = reader.read(bytes);
        QVERIFY2(problem.isEmpty(), problemText(QStringLiteral("bit %1").arg(bit), problem));
    }
    QVERIFY(reader.accepted > 0);
    QVERIFY(reader.accepted < reader.files);
}

void TestProjectFileDamage::randomDamage()
{
    const QByteArray sound = soundFile();
    Reader reader;
    for (unsigned seed = 0; seed < 6000; ++seed) {
        std::mt19937 random(seed);
        const QString problem = reader.read(damaged(sound, random));
        QVERIFY2(problem.isEmpty(), problemText(QStringLiteral("seed %1").arg(seed), problem));
    }
    QVERIFY(reader.accepted > 0);
    QVERIFY(reader.accepted < reader.files);
}

void TestProjectFileDamage::randomBytes()
{
    // Everything behind the four items that must agree with the video is noise.
    ProjectImage image(videoFrames);
    const QByteArray head = image.bytes().chopped(image.stateBytes().size());
    Reader reader;
    for (unsigned seed = 0; seed < 2000; ++seed) {
        std::mt19937 random(seed);
        QByteArray noise(static_cast<int>(random() % 400), '\0');
        for (char &byte : noise)
            byte = static_cast<char>(random() % 4 == 0 ? random() % 256 : 0);
        const QString problem = reader.read(head + noise);
        QVERIFY2(problem.isEmpty(), problemText(QStringLiteral("seed %1").arg(seed), problem));
    }
    QCOMPARE(reader.files, 2000);
}

void TestProjectFileDamage::hugeObjectCounts_data()
{
    QTest::addColumn<int>("frames");
    QTest::addColumn<int>("objects");
    // Every object costs one key frame per frame of the video, whatever the file holds.
    QTest::newRow("a thousand in a long video") << 20000 << 1000;
    QTest::newRow("a hundred thousand in a long video") << 20000 << 100000;
    QTest::newRow("the greatest number in a long video") << 20000 << 0x7fffffff;
    // On a single frame, objects made of nothing but zeros would be sound.
    QTest::newRow("a hundred thousand on one frame") << 1 << 100000;
    QTest::newRow("the greatest number on one frame") << 1 << 0x7fffffff;
}

void TestProjectFileDamage::hugeObjectCounts()
{
    QFETCH(int, frames);
    QFETCH(int, objects);
    ProjectImage image(frames);
    image.addObject(QStringLiteral("a"), 0);
    image.objectCount = objects;
    image.nextId = 0; // what follows the first object reads as zeros too
    const QByteArray bytes = image.bytes();
    const long before = peakMemory();
    const std::clock_t begin = std::clock();
    {
        TestProject project(frames);
        QDataStream stream(bytes);
        ProjectFile::readVideoName(stream);
        QVERIFY(!ProjectFile::read(stream, *project));
        QVERIFY2(project->objects.size() <= 2, qPrintable(QString::number(project->objects.size())));
    }
    QVERIFY2(secondsSince(begin) < longestRead, qPrintable(QString::number(secondsSince(begin))));
    QVERIFY2(peakMemory() - before < mostMemory, qPrintable(QString::number(peakMemory() - before)));
}

void TestProjectFileDamage::aHalfReadObjectIsStillWhole()
{
    const QByteArray sound = soundFile();
    TestProject lender(videoFrames);
    for (int length = 0; length < sound.size(); ++length) {
        BorrowedVideo project(lender->video);
        QDataStream stream(sound.left(length));
        ProjectFile::readVideoName(stream);
        ProjectFile::read(stream, project.state);
        for (const TrackedObject *object : qAsConst(project.state.objects)) {
            QCOMPARE(object->keyFrames.size(), videoFrames);
            QCOMPARE(object->frameSpans.size(), videoFrames);
            for (FrameSpan *span : object->frameSpans)
                QCOMPARE(span->parent(), object);
        }
    }
}

void TestProjectFileDamage::objectsCanBeAddedAfterTheGreatestNextId()
{
    ProjectImage image(videoFrames);
    image.nextId = std::numeric_limits<qint32>::max();
    TestProject project(videoFrames);
    QDataStream stream(image.bytes());
    ProjectFile::readVideoName(stream);
    if (!ProjectFile::read(stream, *project))
        return;
    for (int i = 0; i < 3; ++i)
        QVERIFY(project->colors.contains(project.addObject()->color));
}

void TestProjectFileDamage::brokenCoordinatesSurviveEditing_data()
{
    QTest::addColumn<QPolygonF>("broken");
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    const double infinite = std::numeric_limits<double>::infinity();
    QPolygonF square = rectangle(100, 100, 50, 50);
    square[1] = QPointF(notANumber, 150);
    QTest::newRow("one x that is not a number") << square;
    square[1] = QPointF(infinite, 150);
    QTest::newRow("one infinite x") << square;
    square[1] = QPointF(1e300, -1e300);
    QTest::newRow("one vertex far away") << square;
    QTest::newRow("all in one place far away") << QPolygonF(QVector<QPointF>(4, QPointF(1e300, 1e300)));
    QTest::newRow("around the frame, far away") << rectangle(-1e160, -1e160, 2e160, 2e160);
    QTest::newRow("nothing but what is not a number")
        << QPolygonF(QVector<QPointF>(4, QPointF(notANumber, notANumber)));
    QTest::newRow("signalling bits") << QPolygonF(
        QVector<QPointF>(3, QPointF(std::numeric_limits<double>::signaling_NaN(), -notANumber)));
}

void TestProjectFileDamage::morphBrokenOutlines(DataState &state)
{
    const TrackedObject *object = state.getCurrentObject();
    Morph(&state).linearMorphing(0, -1);
    QCOMPARE(outlineCount(object), 10); // 0 to 8 and 10
    QCOMPARE(object->keyFrames.at(6)->type, KeyFrame::Automatic);
    QCOMPARE(exportProblem(&state, 10), QString());
}

void TestProjectFileDamage::reduceBrokenOutlines(DataState &state)
{
    const TrackedObject *object = state.getCurrentObject();
    const int outlines = outlineCount(object);
    for (KeyFrame *keyFrame : object->keyFrames) {
        const int vertices = keyFrame->polygon.size();
        keyFrame->reducePolygonVertices();
        QVERIFY(keyFrame->polygon.size() <= vertices);
    }
    QCOMPARE(outlineCount(object), outlines); // at least two vertices of each are left
    QCOMPARE(exportProblem(&state, outlines), QString());
}

void TestProjectFileDamage::moveBrokenOutlines(DataState &state)
{
    const TrackedObject *object = state.getCurrentObject();
    for (KeyFrame *keyFrame : object->keyFrames) {
        keyFrame->transformPolygon(Eigen::Affine2d(Eigen::Translation2d(5, 5)));
        QVERIFY2(isInsideTheFrame(keyFrame->polygon), QByteArray::number(keyFrame->frame));
    }
    QCOMPARE(object->keyFrames.at(8)->polygon.boundingRect(), QRectF(205, 125, 60, 40));
    QCOMPARE(exportProblem(&state, outlineCount(object)), QString());
}

void TestProjectFileDamage::brokenCoordinatesSurviveEditing()
{
    QFETCH(QPolygonF, broken);
    const QByteArray bytes = fileWithBrokenOutlines(broken);
    Reader reader;
    QCOMPARE(reader.read(bytes), QString());
    QCOMPARE(reader.accepted, 1);

    // Each way of editing starts from the outlines of the file, and the last one goes all the ways.
    using Way = void (TestProjectFileDamage::*)(DataState &);
    const Way morph = &TestProjectFileDamage::morphBrokenOutlines;
    const Way reduce = &TestProjectFileDamage::reduceBrokenOutlines;
    const Way move = &TestProjectFileDamage::moveBrokenOutlines;
    for (const QVector<Way> &ways : QVector<QVector<Way>>{{morph}, {reduce}, {move}, {morph, reduce, move}}) {
        TestProject project(videoFrames);
        QDataStream stream(bytes);
        ProjectFile::readVideoName(stream);
        QVERIFY(ProjectFile::read(stream, *project));
        const TrackedObject *object = project->getCurrentObject();
        QVERIFY(object);
        QCOMPARE(object->keyFrames.at(0)->polygon.size(), broken.size());
        QCOMPARE(outlineCount(object), 4);
        QCOMPARE(exportProblem(project.state(), 4), QString());
        for (const Way way : ways) {
            (this->*way)(*project);
            if (QTest::currentTestFailed())
                return;
        }
        QCOMPARE(ModelChecks::stateProblem(*project), QString());
    }
}

QTEST_GUILESS_MAIN(TestProjectFileDamage)
#include "tst_projectfiledamage.moc"
