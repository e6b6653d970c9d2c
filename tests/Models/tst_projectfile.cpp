// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/projectfile.h"
#include "tests/support/modelchecks.h"
#include "tests/support/projectimage.h"
#include "tests/support/testproject.h"

#include <QBuffer>
#include <QDataStream>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryFile>
#include <QtTest>

#include <functional>
#include <limits>

namespace
{

constexpr qint32 most = std::numeric_limits<qint32>::max();
constexpr qint32 least = std::numeric_limits<qint32>::min();

QByteArray written(const DataState &state)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    ProjectFile::write(stream, state);
    return bytes;
}

/// Reads a whole file into the state as the program does; returns whether it was accepted.
bool readInto(DataState &state, const QByteArray &bytes, QString *videoName = nullptr)
{
    QDataStream stream(bytes);
    const QString name = ProjectFile::readVideoName(stream);
    if (videoName)
        *videoName = name;
    return ProjectFile::read(stream, state);
}

bool accepted(const QByteArray &bytes, int frames, int width = 640, int height = 480)
{
    TestProject project(frames, width, height);
    return readInto(*project, bytes);
}

/// The bytes of the example in the description of the format: hexadecimal words at the beginning of every
/// line, each of whole code units, then a remark.
QByteArray documentedBytes()
{
    QFile file(QStringLiteral(PALU_SOURCE_DIR "/docs/file-format.md"));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return QByteArray();
    const QString document = QString::fromUtf8(file.readAll());
    const QStringList blocks =
        document.section(QStringLiteral("```palu-hex\n"), 1).split(QStringLiteral("```"));
    static const QRegularExpression word(
        QStringLiteral("\\G\\s*([0-9a-f]{16}|[0-9a-f]{8}|[0-9a-f]{4})(?=\\s|$)"));
    QByteArray bytes;
    const QStringList lines = blocks.first().split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        QRegularExpressionMatchIterator words = word.globalMatch(line);
        while (words.hasNext())
            bytes += QByteArray::fromHex(words.next().captured(1).toLatin1());
    }
    return bytes;
}

const QString unicodeName = QString::fromUtf8("Hände \xE6\x89\x8B \xF0\x9F\x96\x90");

ProjectImage emptyProject()
{
    ProjectImage image(12);
    image.currentFrame = 7;
    image.nextId = 5; // five objects were made and deleted
    return image;
}

ProjectImage oneFrameProject()
{
    ProjectImage image(1);
    ProjectImage::ObjectRecord &object = image.addObject(QStringLiteral("new object 1"), 0);
    object.keyFrames[0].type = KeyFrame::Visible;
    object.keyFrames[0].polygon = QPolygonF({QPointF(1.5, -2.25), QPointF(639.999, 480), QPointF(0, 1e-300)});
    return image;
}

/// Objects 0 and 2 of a video of 12 frames; object 1 was deleted.
ProjectImage twoObjectProject()
{
    ProjectImage image(12);
    image.videoName = QStringLiteral("my clip.avi");
    image.width = 320;
    image.height = 200;
    image.currentFrame = 11;

    ProjectImage::ObjectRecord &first = image.addObject(unicodeName, 0);
    first.keyFrames[0].type = KeyFrame::Visible;
    first.keyFrames[0].polygon = rectangle(0, 0, 10, 10);
    first.keyFrames[1].type = KeyFrame::Automatic;
    first.keyFrames[1].polygon = rectangle(0.1, -0.0, 10, 10);
    first.keyFrames[4].type = KeyFrame::Occluded;
    first.keyFrames[4].polygon = QPolygonF(QVector<QPointF>{QPointF(-5, 1e9)});
    first.keyFrames[10].type = KeyFrame::Visible;
    first.keyFrames[3].zOrder = -7;
    first.spans = {{FrameSpan::Visible, 0, 4}, {FrameSpan::Visible, 4, 10}, {FrameSpan::Occluded, 10, 11}};

    image.addObject(QString(), 2).keyFrames[11].zOrder = most;
    return image;
}

/// Builds in the program what an image describes; spans by their boundaries, then types by hand.
void build(TestProject &project, const ProjectImage &image)
{
    project->video->videoPath = QStringLiteral("/tmp/some folder/") + image.videoName;
    project->currentFrame = image.currentFrame;
    for (const ProjectImage::ObjectRecord &record : image.objects) {
        TrackedObject *object = project.addObject();
        object->name = record.name;
        object->id = record.id;
        for (int i = 1; i < record.spans.size(); ++i)
            object->keyFrames.at(record.spans.at(i).start)->setType(KeyFrame::Visible);
        for (int i = 0; i < record.spans.size(); ++i)
            ModelChecks::chain(object).at(i)->type = static_cast<FrameSpan::Type>(record.spans.at(i).type);
        for (int i = 0; i < record.keyFrames.size(); ++i) {
            object->keyFrames.at(i)->type = static_cast<KeyFrame::Type>(record.keyFrames.at(i).type);
            object->keyFrames.at(i)->polygon = record.keyFrames.at(i).polygon;
            object->keyFrames.at(i)->zOrder = record.keyFrames.at(i).zOrder;
        }
    }
    TrackedObject::newID = image.nextId;
}

QString spansAsText(const ProjectImage::ObjectRecord &record)
{
    static const QStringList types{"Hidden", "Visible", "Occluded"};
    QStringList texts;
    for (const ProjectImage::SpanRecord &span : record.spans)
        texts.append(QStringLiteral("%1-%2 %3").arg(span.start).arg(span.end).arg(types.at(span.type)));
    return texts.join(QLatin1String(", "));
}

void compare(const TrackedObject *object, const ProjectImage::ObjectRecord &record)
{
    QCOMPARE(object->name, record.name);
    QCOMPARE(object->id, record.id);
    QCOMPARE(object->keyFrames.size(), record.keyFrames.size());
    for (int i = 0; i < record.keyFrames.size(); ++i) {
        QCOMPARE(object->keyFrames.at(i)->frame, record.keyFrames.at(i).frame);
        QCOMPARE(static_cast<int>(object->keyFrames.at(i)->type), record.keyFrames.at(i).type);
        QCOMPARE(object->keyFrames.at(i)->polygon, record.keyFrames.at(i).polygon);
        QCOMPARE(object->keyFrames.at(i)->zOrder, record.keyFrames.at(i).zOrder);
    }
    if (!record.spans.isEmpty())
        QCOMPARE(ModelChecks::chainText(object), spansAsText(record));
    QCOMPARE(ModelChecks::objectProblem(object, record.keyFrames.size()), QString());
}

/// The middle object of this project is what the rejection rows spoil.
ProjectImage soundProject()
{
    ProjectImage image(12);
    for (int id = 0; id < 3; ++id)
        image.addObject(QStringLiteral("object"), id).spans = {
            {FrameSpan::Hidden, 0, 4}, {FrameSpan::Visible, 4, 5}, {FrameSpan::Occluded, 5, 11}};
    image.objects[1].keyFrames[6].polygon = rectangle(0, 0, 5, 5);
    return image;
}

} // namespace

Q_DECLARE_METATYPE(ProjectImage *)

class TestProjectFile : public QObject
{
    Q_OBJECT

private slots:
    void theBytesOfAKnownFile();
    void theExampleOfTheDocumentationHolds();
    void writingMakesTheBytesOfTheFormat_data();
    void writingMakesTheBytesOfTheFormat();
    void readingGivesBackWhatTheBytesSay_data();
    void readingGivesBackWhatTheBytesSay();
    void aProjectThatWasReadIsWrittenUnchanged_data();
    void aProjectThatWasReadIsWrittenUnchanged();
    void theOperatorsCarryTheirShareOfTheFile();
    void theStreamVersionIsSetOnBothSides();
    void aRealFileIsReadBack();

    void theVideoNameIsTheLastPartOfThePath_data();
    void theVideoNameIsTheLastPartOfThePath();
    void everySpanIsWritten();
    void spansAreWrittenInSpiteOfAStaleLastEntry();
    void theLastFrameNamesTheLastSpanAfterReading();

    void shortDataHasNoVideoName_data();
    void shortDataHasNoVideoName();
    void blanksInTheVideoNameBecomeWildcards_data();
    void blanksInTheVideoNameBecomeWildcards();

    void theCurrentObjectIsTheLastOneByItsProvisionalId();
    void coloursFollowThePositionInTheFile();
    void theNextIdIsRestored();
    void theVersionOfTheStateIsTakenOver();
    void unusualIdsRanksAndOutlinesAreTakenOver();
    void readingSignalsOnlyNewObjects();
    void editingGoesOnAfterReading();

    void aCurrentFrameOutsideTheVideoMovesToTheNearestFrame_data();
    void aCurrentFrameOutsideTheVideoMovesToTheNearestFrame();

    void anotherVideoOrVersionIsRejected_data();
    void anotherVideoOrVersionIsRejected();
    void aFileOfALongerVideoIsRejected();
    void impossibleDataIsRejected_data();
    void impossibleDataIsRejected();
    void spanChainsOfTheShortestVideo();

    void shortDataReadsAsZeros_data();
    void shortDataReadsAsZeros();
};

namespace
{

void addProjects()
{
    QTest::addColumn<ProjectImage *>("image");
    static ProjectImage empty = emptyProject();
    static ProjectImage oneFrame = oneFrameProject();
    static ProjectImage twoObjects = twoObjectProject();
    static ProjectImage twoFrames(2);
    if (twoFrames.objects.isEmpty())
        twoFrames.addObject(QStringLiteral("a"), 0).spans = {{FrameSpan::Visible, 0, 1}};
    QTest::newRow("no objects") << &empty;
    QTest::newRow("one object on one frame") << &oneFrame;
    QTest::newRow("one object on two frames") << &twoFrames;
    QTest::newRow("two objects with several spans") << &twoObjects;
}

} // namespace

/// The image builder itself, checked against bytes that were written down by hand.
void TestProjectFile::theBytesOfAKnownFile()
{
    ProjectImage image(1);
    image.videoName = QStringLiteral("a.b");
    image.width = 16;
    image.height = 9;
    ProjectImage::ObjectRecord &object = image.addObject(QStringLiteral("o"), 3);
    object.keyFrames[0].type = KeyFrame::Occluded;
    object.keyFrames[0].polygon = QPolygonF(QVector<QPointF>{QPointF(1, -2)});
    const QByteArray expected =
        QByteArray::fromHex("00000006 0061 002e 0062"           // video name
                            "0000000a 0030 002e 0030 002e 0035" // format version
                            "00000001 00000010 00000009"        // frame count, width, height
                            "0000000a 0030 002e 0030 002e 0035" // version of the state
                            "00000000 00000001"                 // current frame, number of objects
                            "00000002 006f 00000003"            // name, id
                            "00000000 00000002 00000001"        // frame, type, number of points
                            "3ff0000000000000 c000000000000000" // point
                            "00000003"                          // stacking value
                            "00000004");                        // next id
    QCOMPARE(image.bytes().toHex(' '), expected.toHex(' '));

    TestProject project(1, 16, 9);
    build(project, image);
    QCOMPARE(written(*project).toHex(' '), expected.toHex(' '));
}

void TestProjectFile::writingMakesTheBytesOfTheFormat_data()
{
    addProjects();
}

void TestProjectFile::writingMakesTheBytesOfTheFormat()
{
    QFETCH(ProjectImage *, image);
    TestProject project(image->frameCount, image->width, image->height);
    build(project, *image);
    QCOMPARE(written(*project).toHex(' '), image->bytes().toHex(' '));
}

void TestProjectFile::readingGivesBackWhatTheBytesSay_data()
{
    addProjects();
}

void TestProjectFile::readingGivesBackWhatTheBytesSay()
{
    QFETCH(ProjectImage *, image);
    TestProject project(image->frameCount, image->width, image->height);
    QString videoName;
    QVERIFY(readInto(*project, image->bytes(), &videoName));
    QCOMPARE(videoName, image->videoName);
    QCOMPARE(project->version, QStringLiteral("0.0.5"));
    QCOMPARE(project->currentFrame, image->currentFrame);
    QCOMPARE(TrackedObject::newID, image->nextId);
    QCOMPARE(project->objects.size(), image->objects.size());
    for (int i = 0; i < image->objects.size(); ++i) {
        compare(project->objects.at(i), image->objects.at(i));
        if (QTest::currentTestFailed())
            return;
    }
    QCOMPARE(ModelChecks::stateProblem(*project), QString());
}

void TestProjectFile::aProjectThatWasReadIsWrittenUnchanged_data()
{
    addProjects();
}

void TestProjectFile::aProjectThatWasReadIsWrittenUnchanged()
{
    QFETCH(ProjectImage *, image);
    TestProject project(image->frameCount, image->width, image->height);
    project->video->videoPath = QStringLiteral("/x/") + image->videoName;
    QVERIFY(readInto(*project, image->bytes()));
    QCOMPARE(written(*project).toHex(' '), image->bytes().toHex(' '));
}

void TestProjectFile::theOperatorsCarryTheirShareOfTheFile()
{
    const ProjectImage image = twoObjectProject();
    TestProject project(image.frameCount, image.width, image.height);
    build(project, image);

    QByteArray stateBytes;
    QDataStream stateStream(&stateBytes, QIODevice::WriteOnly);
    stateStream.setVersion(QDataStream::Qt_5_2);
    QDataStream &afterState = stateStream << *project;
    QCOMPARE(&afterState, &stateStream);
    QCOMPARE(stateBytes.toHex(' '), image.stateBytes().toHex(' '));

    QByteArray objectBytes;
    QDataStream objectStream(&objectBytes, QIODevice::WriteOnly);
    objectStream.setVersion(QDataStream::Qt_5_2);
    objectStream << *project->objects.at(0);
    QCOMPARE(objectBytes.toHex(' '), ProjectImage::objectBytes(image.objects.at(0)).toHex(' '));

    TestProject other(image.frameCount, image.width, image.height);
    QDataStream in(image.stateBytes());
    in.setVersion(QDataStream::Qt_5_2);
    QDataStream &afterReading = in >> *other;
    QCOMPARE(&afterReading, &in);
    QCOMPARE(in.status(), QDataStream::Ok);
    QVERIFY(in.atEnd());
    QCOMPARE(other->objects.size(), 2);
    compare(other->objects.at(1), image.objects.at(1));

    TrackedObject *single = other.addObject();
    QDataStream objectIn(ProjectImage::objectBytes(image.objects.at(0)));
    objectIn.setVersion(QDataStream::Qt_5_2);
    objectIn >> *single;
    QCOMPARE(objectIn.status(), QDataStream::Ok);
    QVERIFY(objectIn.atEnd());
    compare(single, image.objects.at(0));
}

void TestProjectFile::theStreamVersionIsSetOnBothSides()
{
    TestProject project(1);
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_3_0);
    ProjectFile::write(out, *project);
    QCOMPARE(out.version(), 15);
    QCOMPARE(out.status(), QDataStream::Ok);
    QCOMPARE(out.byteOrder(), QDataStream::BigEndian);
    QCOMPARE(out.floatingPointPrecision(), QDataStream::DoublePrecision);

    QDataStream in(bytes);
    in.setVersion(QDataStream::Qt_3_0);
    QCOMPARE(ProjectFile::readVideoName(in), QStringLiteral("clip.avi"));
    QCOMPARE(in.version(), 15);
    QVERIFY(ProjectFile::read(in, *project));
}

void TestProjectFile::aRealFileIsReadBack()
{
    const ProjectImage image = twoObjectProject();
    QTemporaryFile file;
    QVERIFY(file.open());
    {
        TestProject project(image.frameCount, image.width, image.height);
        build(project, image);
        QDataStream stream(&file);
        ProjectFile::write(stream, *project);
        QVERIFY(file.flush());
    }
    QCOMPARE(file.size(), image.bytes().size());
    QVERIFY(file.seek(0));
    TestProject project(image.frameCount, image.width, image.height);
    QDataStream stream(&file);
    QCOMPARE(ProjectFile::readVideoName(stream), image.videoName);
    QVERIFY(ProjectFile::read(stream, *project));
    compare(project->objects.at(0), image.objects.at(0));
    compare(project->objects.at(1), image.objects.at(1));
}

// ---------------------------------------------------------------------------------------------------------

void TestProjectFile::theVideoNameIsTheLastPartOfThePath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("name");
    QTest::newRow("absolute path") << "/home/user/my clip.avi"
                                   << "my clip.avi";
    QTest::newRow("name alone") << "clip.mp4"
                                << "clip.mp4";
    QTest::newRow("two dots") << "/a.b/c.d.avi"
                              << "c.d.avi";
    QTest::newRow("backslash") << "/a/b\\c.avi"
                               << "b\\c.avi";
}

void TestProjectFile::theVideoNameIsTheLastPartOfThePath()
{
    QFETCH(QString, path);
    QFETCH(QString, name);
    TestProject project(1);
    project->video->videoPath = path;
    const QByteArray bytes = written(*project);
    QCOMPARE(bytes.left(4 + 2 * name.size()).toHex(' '), ByteBuilder().string(name).bytes.toHex(' '));
    QDataStream stream(bytes);
    QCOMPARE(ProjectFile::readVideoName(stream), name);
}

void TestProjectFile::everySpanIsWritten()
{
    ProjectImage image(100);
    ProjectImage::ObjectRecord &record = image.addObject(QStringLiteral("new object 1"), 0);
    record.spans = {{FrameSpan::Hidden, 0, 10},
                    {FrameSpan::Visible, 10, 11},
                    {FrameSpan::Visible, 11, 12},
                    {FrameSpan::Visible, 12, 98},
                    {FrameSpan::Hidden, 98, 99}};
    for (const int frame : {10, 11, 12, 98})
        record.keyFrames[frame].type = KeyFrame::Visible;
    TestProject project(100);
    build(project, image);
    QVERIFY(project->objects.at(0)->getFrameSpans().size() < record.spans.size()); // the list skips some
    QCOMPARE(written(*project).toHex(' '), image.bytes().toHex(' '));
    TestProject other(100);
    QVERIFY(readInto(*other, image.bytes()));
    compare(other->objects.at(0), record);
}

void TestProjectFile::spansAreWrittenInSpiteOfAStaleLastEntry()
{
    TestProject project(10);
    TrackedObject *object = project.addObject();
    object->keyFrames.at(0)->setType(KeyFrame::Visible);
    object->keyFrames.at(5)->setType(KeyFrame::Visible);
    QCOMPARE(object->frameSpans.last(), object->frameSpans.first());

    ProjectImage image(10);
    ProjectImage::ObjectRecord &record = image.addObject(QStringLiteral("new object 1"), 0);
    record.keyFrames[0].type = KeyFrame::Visible;
    record.keyFrames[5].type = KeyFrame::Visible;
    record.spans = {{FrameSpan::Visible, 0, 5}, {FrameSpan::Hidden, 5, 9}};
    QCOMPARE(written(*project).toHex(' '), image.bytes().toHex(' '));
}

void TestProjectFile::theLastFrameNamesTheLastSpanAfterReading()
{
    TestProject project(12);
    QVERIFY(readInto(*project, soundProject().bytes()));
    for (TrackedObject *object : qAsConst(project->objects)) {
        const QList<FrameSpan *> spans = ModelChecks::chain(object);
        QCOMPARE(spans.size(), 3);
        QCOMPARE(object->frameSpans.last(), spans.last());
        QCOMPARE(object->frameSpans.at(4), spans.at(1)); // a boundary names the later span
        QCOMPARE(object->frameSpans.at(5), spans.at(2));
        for (FrameSpan *span : spans) {
            QCOMPARE(span->object, object);
            QCOMPARE(span->parent(), object);
        }
    }
}

// ---------------------------------------------------------------------------------------------------------

void TestProjectFile::shortDataHasNoVideoName_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("name");
    const QByteArray whole = ByteBuilder().string(QStringLiteral("clip.avi")).bytes;
    for (int length = 0; length < whole.size(); ++length) {
        QTest::newRow(qPrintable(QStringLiteral("%1 bytes").arg(length)))
            << whole.left(length) << "error.error";
    }
    QTest::newRow("just the name") << whole << "clip.avi";
    QTest::newRow("huge length") << ByteBuilder().string(QStringLiteral("clip.avi"), 0x7ffffffeU).bytes
                                 << "error.error";
    QTest::newRow("empty name") << ByteBuilder().string(QStringLiteral("")).bytes << "";
    QTest::newRow("null name") << ByteBuilder().string(QString()).bytes << "";
}

void TestProjectFile::shortDataHasNoVideoName()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, name);
    QDataStream stream(bytes);
    QCOMPARE(ProjectFile::readVideoName(stream), name);
}

void TestProjectFile::blanksInTheVideoNameBecomeWildcards_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("filter");
    QTest::newRow("one blank") << "my clip.avi"
                               << "Video (my*clip.avi);;All files (*)";
    QTest::newRow("no blank") << "clip.avi"
                              << "Video (clip.avi);;All files (*)";
    QTest::newRow("several blanks") << " a  b .avi"
                                    << "Video (*a**b*.avi);;All files (*)";
    QTest::newRow("other white space") << "a\tb.avi"
                                       << "Video (a\tb.avi);;All files (*)";
    QTest::newRow("no name") << "error.error"
                             << "Video (error.error);;All files (*)";
    QTest::newRow("placeholder") << "%1 %2.avi"
                                 << "Video (%1*%2.avi);;All files (*)";
}

void TestProjectFile::blanksInTheVideoNameBecomeWildcards()
{
    QFETCH(QString, name);
    QFETCH(QString, filter);
    QCOMPARE(ProjectFile::videoFilter(name), filter);
}

// ---------------------------------------------------------------------------------------------------------

void TestProjectFile::theCurrentObjectIsTheLastOneByItsProvisionalId()
{
    ProjectImage image(3);
    image.addObject(QStringLiteral("a"), 7);
    image.addObject(QStringLiteral("b"), 1);
    image.addObject(QStringLiteral("c"), 9);
    TestProject project(3);
    QVERIFY(readInto(*project, image.bytes()));
    QCOMPARE(project->currentObjectId, 2);
    QCOMPARE(project->getCurrentObject(), nullptr);

    image.objects[0].id = 2;
    TestProject other(3);
    QVERIFY(readInto(*other, image.bytes()));
    QCOMPARE(other->currentObjectId, 2);
    QCOMPARE(other->getCurrentObject(), other->objects.at(0));

    TestProject none(3);
    QVERIFY(readInto(*none, ProjectImage(3).bytes()));
    QCOMPARE(none->currentObjectId, -1);
}

void TestProjectFile::coloursFollowThePositionInTheFile()
{
    ProjectImage image(1);
    for (int i = 0; i < 23; ++i)
        image.addObject(QStringLiteral("o"), 100 - 3 * i);
    TestProject project(1);
    QVERIFY(readInto(*project, image.bytes()));
    QCOMPARE(project->objects.size(), 23);
    for (int i = 0; i < 23; ++i)
        QCOMPARE(project->objects.at(i)->color, project->colors.at(i % 21));
}

void TestProjectFile::theNextIdIsRestored()
{
    TestProject project(12, 320, 200);
    ProjectImage image = twoObjectProject();
    image.nextId = 41;
    QVERIFY(readInto(*project, image.bytes()));
    QCOMPARE(TrackedObject::newID, 41);
    const TrackedObject *next = project.addObject();
    QCOMPARE(next->id, 41);
    QCOMPARE(next->name, QStringLiteral("new object 42"));
    QCOMPARE(project->objects.at(0)->id, 0);
    QCOMPARE(project->objects.at(1)->id, 2);
}

void TestProjectFile::theVersionOfTheStateIsTakenOver()
{
    ProjectImage image(1);
    image.stateVersion = QStringLiteral("another");
    TestProject project(1);
    QVERIFY(readInto(*project, image.bytes())); // only the file's own version counts
    QCOMPARE(project->version, QStringLiteral("another"));
    QCOMPARE(written(*project).toHex(' '), image.bytes().toHex(' '));
}

void TestProjectFile::unusualIdsRanksAndOutlinesAreTakenOver()
{
    ProjectImage image(2);
    image.addObject(QStringLiteral("twin"), 4);
    image.addObject(QStringLiteral("twin"), 4);
    image.addObject(QStringLiteral("negative"), -8);
    image.objects[1].keyFrames[0].zOrder = least;
    image.objects[1].keyFrames[1].polygon =
        QPolygonF(QVector<QPointF>{QPointF(-1e300, 1e300), QPointF(5e-324, -0.0)});
    TestProject project(2);
    QVERIFY(readInto(*project, image.bytes()));
    for (int i = 0; i < 3; ++i)
        compare(project->objects.at(i), image.objects.at(i));
}

void TestProjectFile::readingSignalsOnlyNewObjects()
{
    const ProjectImage image = twoObjectProject();
    TestProject project(12, 320, 200);
    SignalRecorder recorder;
    recorder.watch(project.state());
    // An object is announced before its data are read into it: from then on everything is watched.
    connect(project.state(), &DataState::hasChanged, project.state(), [&] {
        if (!project->objects.isEmpty())
            recorder.watch(project->objects.last());
    });
    QVERIFY(readInto(*project, image.bytes()));
    QCOMPARE(recorder.log, QStringList({"state: selection|objects", "state: selection|objects"}));
    project->objects.last()->keyFrames.first()->setNewPolygon(QPolygonF());
    QCOMPARE(recorder.log.last(), QStringLiteral("key 0: polygon")); // the watch works
}

void TestProjectFile::editingGoesOnAfterReading()
{
    TestProject project(12, 320, 200);
    QVERIFY(readInto(*project, twoObjectProject().bytes()));
    TrackedObject *object = project->objects.at(0);
    object->keyFrames.at(7)->setType(KeyFrame::Visible);
    QCOMPARE(ModelChecks::chainText(object),
             QStringLiteral("0-4 Visible, 4-7 Visible, 7-10 Visible, 10-11 Occluded"));
    object->keyFrames.at(10)->setType(KeyFrame::None);
    QCOMPARE(ModelChecks::chainText(object), QStringLiteral("0-4 Visible, 4-7 Visible, 7-11 Hidden"));
    ModelChecks::flushDeferredDeletes();
    QCOMPARE(ModelChecks::stateProblem(*project), QString());
}

// ---------------------------------------------------------------------------------------------------------

void TestProjectFile::aCurrentFrameOutsideTheVideoMovesToTheNearestFrame_data()
{
    QTest::addColumn<int>("stored");
    QTest::addColumn<int>("current");
    QTest::newRow("first frame") << 0 << 0;
    QTest::newRow("last frame") << 11 << 11;
    QTest::newRow("behind the last frame") << 12 << 11;
    QTest::newRow("far behind") << std::numeric_limits<int>::max() << 11;
    QTest::newRow("before the first frame") << -1 << 0;
    QTest::newRow("far before") << std::numeric_limits<int>::min() << 0;
}

void TestProjectFile::aCurrentFrameOutsideTheVideoMovesToTheNearestFrame()
{
    QFETCH(int, stored);
    QFETCH(int, current);
    ProjectImage image = soundProject();
    image.currentFrame = stored;
    TestProject project(12);
    QVERIFY(readInto(*project, image.bytes()));
    QCOMPARE(project->currentFrame, current);
    QCOMPARE(project->objects.size(), 3);

    TestProject raw(12); // the operator alone takes the number as it is
    QDataStream stream(image.stateBytes());
    stream.setVersion(QDataStream::Qt_5_2);
    stream >> *raw;
    QCOMPARE(raw->currentFrame, stored);
}

void TestProjectFile::anotherVideoOrVersionIsRejected_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<int>("frames");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<bool>("fits");
    QTest::newRow("all as expected") << "0.0.5" << 12 << 640 << 480 << true;
    QTest::newRow("older version") << "0.0.4" << 12 << 640 << 480 << false;
    QTest::newRow("longer version") << "0.0.5 " << 12 << 640 << 480 << false;
    QTest::newRow("empty version") << "" << 12 << 640 << 480 << false;
    QTest::newRow("one frame less") << "0.0.5" << 11 << 640 << 480 << false;
    QTest::newRow("one frame more") << "0.0.5" << 13 << 640 << 480 << false;
    QTest::newRow("negative frame count") << "0.0.5" << -12 << 640 << 480 << false;
    QTest::newRow("another width") << "0.0.5" << 12 << 641 << 480 << false;
    QTest::newRow("another height") << "0.0.5" << 12 << 640 << 479 << false;
    QTest::newRow("turned by 90 degrees") << "0.0.5" << 12 << 480 << 640 << false;
}

void TestProjectFile::anotherVideoOrVersionIsRejected()
{
    QFETCH(QString, version);
    QFETCH(int, frames);
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(bool, fits);
    for (ProjectImage image : {ProjectImage(12), soundProject()}) {
        image.version = version;
        image.frameCount = frames;
        image.width = width;
        image.height = height;
        QCOMPARE(accepted(image.bytes(), 12), fits);
    }
}

void TestProjectFile::aFileOfALongerVideoIsRejected()
{
    for (const int frames : {100, 98}) {
        ProjectImage image(frames);
        image.addObject(QStringLiteral("a"), 0);
        image.addObject(QStringLiteral("b"), 1);
        QVERIFY(accepted(image.bytes(), frames));
        QVERIFY(!accepted(image.bytes(), 99));
    }
    ProjectImage empty(100);
    QVERIFY(!accepted(empty.bytes(), 99));
}

namespace
{

/// A row of the sound project with one thing spoiled.
void spoiledRow(const char *name, const std::function<void(ProjectImage &)> &spoil)
{
    ProjectImage image = soundProject();
    spoil(image);
    QTest::newRow(name) << image.bytes();
}

/// A row of the sound project in which the second object has another chain of spans.
void chainRow(const char *name, const QVector<ProjectImage::SpanRecord> &records)
{
    spoiledRow(name, [&records](ProjectImage &image) { image.objects[1].spans = records; });
}

void addImpossibleSizes()
{
    spoiledRow("object count -1", [](ProjectImage &image) { image.objectCount = -1; });
    spoiledRow("most negative object count", [](ProjectImage &image) { image.objectCount = least; });
    spoiledRow("greatest object count", [](ProjectImage &image) { image.objectCount = most; });
    spoiledRow("a million objects", [](ProjectImage &image) { image.objectCount = 1000000; });
    spoiledRow("one object too many", [](ProjectImage &image) { image.objectCount = 4; });

    spoiledRow("polygon one point too long for the file",
               [](ProjectImage &image) { image.objects[2].keyFrames[11].pointCount = 4; });
    spoiledRow("polygon of a million points",
               [](ProjectImage &image) { image.objects[1].keyFrames[6].pointCount = 1000000; });
    spoiledRow("polygon of 2^28 points",
               [](ProjectImage &image) { image.objects[1].keyFrames[6].pointCount = 0x10000000U; });
    spoiledRow("polygon of 2^31 points",
               [](ProjectImage &image) { image.objects[1].keyFrames[6].pointCount = 0x80000000U; });
    spoiledRow("polygon of 2^32 - 1 points",
               [](ProjectImage &image) { image.objects[1].keyFrames[6].pointCount = 0xffffffffU; });

    spoiledRow("name longer than the file", [](ProjectImage &image) { image.objects[2].nameLength = 2000; });
    spoiledRow("name of 2 GiB", [](ProjectImage &image) { image.objects[1].nameLength = 0x7ffffffeU; });
    spoiledRow("name of 4 GiB", [](ProjectImage &image) { image.objects[1].nameLength = 0xfffffffeU; });
    spoiledRow("version longer than the file", [](ProjectImage &image) { image.versionLength = 100000; });
    spoiledRow("version of the state longer than the file",
               [](ProjectImage &image) { image.stateVersionLength = 0x40000000U; });
}

void addImpossibleRecords()
{
    spoiledRow("key frame type 4", [](ProjectImage &image) { image.objects[1].keyFrames[3].type = 4; });
    spoiledRow("key frame type -1", [](ProjectImage &image) { image.objects[1].keyFrames[3].type = -1; });
    spoiledRow("greatest key frame type",
               [](ProjectImage &image) { image.objects[1].keyFrames[3].type = most; });
    spoiledRow("span type 3", [](ProjectImage &image) { image.objects[1].spans[1].type = 3; });
    spoiledRow("span type -1", [](ProjectImage &image) { image.objects[1].spans[1].type = -1; });
    spoiledRow("type of the first span", [](ProjectImage &image) { image.objects[1].spans[0].type = 3; });

    spoiledRow("key frame with the number of the next one",
               [](ProjectImage &image) { image.objects[1].keyFrames[3].frame = 4; });
    spoiledRow("first key frame not 0", [](ProjectImage &image) { image.objects[1].keyFrames[0].frame = 1; });
    spoiledRow("key frame with a negative number",
               [](ProjectImage &image) { image.objects[1].keyFrames[3].frame = -3; });
    spoiledRow("key frame outside the video",
               [](ProjectImage &image) { image.objects[1].keyFrames[11].frame = 12; });

    spoiledRow("next id -1", [](ProjectImage &image) { image.nextId = -1; });
    spoiledRow("most negative next id", [](ProjectImage &image) { image.nextId = least; });
}

void addImpossibleChains()
{
    constexpr FrameSpan::Type hidden = FrameSpan::Hidden;
    constexpr FrameSpan::Type visible = FrameSpan::Visible;
    constexpr FrameSpan::Type occluded = FrameSpan::Occluded;
    chainRow("chain that starts at 1", {{hidden, 1, 4}, {visible, 4, 11}});
    chainRow("chain that starts at -1", {{hidden, -1, 4}, {visible, 4, 11}});
    chainRow("one span that starts at 1", {{hidden, 1, 11}});
    chainRow("chain with a gap", {{hidden, 0, 4}, {visible, 5, 11}});
    chainRow("chain with an overlap", {{hidden, 0, 4}, {visible, 3, 11}});
    chainRow("chain that starts again", {{hidden, 0, 4}, {visible, 0, 11}});
    chainRow("span of one frame", {{hidden, 0, 4}, {visible, 4, 4}, {occluded, 4, 11}});
    chainRow("first span of one frame", {{hidden, 0, 0}, {visible, 0, 11}});
    chainRow("span that runs backwards", {{hidden, 0, 4}, {visible, 4, 2}, {occluded, 2, 11}});
    chainRow("span with a negative end", {{hidden, 0, -5}, {hidden, 0, 11}});
    chainRow("span that ends behind the video", {{hidden, 0, 4}, {visible, 4, 12}});
    chainRow("only span that ends behind the video", {{hidden, 0, 12}});
    chainRow("span that ends far behind the video", {{hidden, 0, 4}, {visible, 4, most}});
}

} // namespace

void TestProjectFile::impossibleDataIsRejected_data()
{
    QTest::addColumn<QByteArray>("bytes");
    addImpossibleSizes();
    addImpossibleRecords();
    addImpossibleChains();
}

void TestProjectFile::impossibleDataIsRejected()
{
    QVERIFY(accepted(soundProject().bytes(), 12));
    QFETCH(QByteArray, bytes);
    TestProject project(12);
    QVERIFY(!readInto(*project, bytes));
}

void TestProjectFile::spanChainsOfTheShortestVideo()
{
    ProjectImage image(2);
    image.addObject(QStringLiteral("a"), 0);
    QVERIFY(accepted(image.bytes(), 2));
    image.objects[0].spans = {{FrameSpan::Hidden, 0, 0}, {FrameSpan::Hidden, 0, 1}};
    QVERIFY(!accepted(image.bytes(), 2));
    image.objects[0].spans = {{FrameSpan::Hidden, 0, 2}};
    QVERIFY(!accepted(image.bytes(), 2));
}

// ---------------------------------------------------------------------------------------------------------

void TestProjectFile::shortDataReadsAsZeros_data()
{
    QTest::addColumn<int>("missing");
    QTest::addColumn<bool>("fits");
    QTest::addColumn<int>("objects");
    // From the end: next id 4 bytes, stacking value 4, point count 4, type 4, frame 4, id 4, name 2 + 4,
    // object count 4, current frame 4, version of the state 10 + 4, height 4.
    QTest::newRow("nothing missing") << 0 << true << 1;
    QTest::newRow("cut within the next id") << 1 << true << 1;
    QTest::newRow("without next id") << 4 << true << 1;
    QTest::newRow("cut within the stacking value") << 6 << true << 1;
    QTest::newRow("cut within the name") << 25 << false << 0;
    QTest::newRow("cut within the number of objects") << 32 << true << 0;
    QTest::newRow("cut within the current frame") << 37 << true << 0;
    QTest::newRow("without current frame") << 38 << true << 0;
    QTest::newRow("cut within the version of the state") << 40 << false << 0;
    QTest::newRow("without version of the state") << 52 << true << 0;
    QTest::newRow("cut within the height") << 54 << false << 0;
    QTest::newRow("without height") << 56 << false << 0;
}

void TestProjectFile::shortDataReadsAsZeros()
{
    QFETCH(int, missing);
    QFETCH(bool, fits);
    QFETCH(int, objects);
    ProjectImage image(1);
    image.addObject(QStringLiteral("o"), 0x01010101).keyFrames[0].zOrder = 0x01010101;
    image.nextId = 0x01010101;
    image.currentFrame = 0x01010101;
    QByteArray bytes = image.bytes();
    bytes.chop(missing);
    TestProject project(1);
    QCOMPARE(readInto(*project, bytes), fits);
    if (!fits)
        return;
    QCOMPARE(project->objects.size(), objects);
    QCOMPARE(project->currentFrame, 0);
    QCOMPARE(TrackedObject::newID, missing == 0 ? 0x01010101 : 0);
    if (objects > 0)
        QCOMPARE(project->objects.at(0)->keyFrames.at(0)->zOrder, missing < 5 ? 0x01010101 : 0);
    QCOMPARE(ModelChecks::stateProblem(*project), QString());
}

void TestProjectFile::theExampleOfTheDocumentationHolds()
{
    const QByteArray documented = documentedBytes();
    QVERIFY(!documented.isEmpty());
    const QPolygonF onePoint(QVector<QPointF>{QPointF(1.5, 2)});
    {
        TestProject project(2, 8, 6);
        project->video->videoPath = QStringLiteral("/videos/a.avi");
        project.addObject()->changeName(QStringLiteral("x"));
        annotate(project->objects.first(), 0, onePoint);
        project->setFrame(1);
        QCOMPARE(written(*project).toHex(' '), documented.toHex(' '));
    }

    TestProject project(2, 8, 6);
    project->video->videoPath = QStringLiteral("/elsewhere/a.avi");
    QString videoName;
    QVERIFY(readInto(*project, documented, &videoName));
    QCOMPARE(videoName, QStringLiteral("a.avi"));
    QCOMPARE(project->currentFrame, 1);
    QCOMPARE(TrackedObject::newID, 1);
    QCOMPARE(project->objects.size(), 1);
    const TrackedObject *object = project->objects.first();
    QCOMPARE(object->name, QStringLiteral("x"));
    QCOMPARE(object->id, 0);
    QCOMPARE(object->keyFrames.at(0)->type, KeyFrame::Visible);
    QVERIFY(object->keyFrames.at(0)->polygon == onePoint);
    QCOMPARE(object->keyFrames.at(1)->type, KeyFrame::None);
    QVERIFY(object->keyFrames.at(1)->polygon.isEmpty());
    QCOMPARE(ModelChecks::chainText(object), QStringLiteral("0-1 Hidden"));
    QCOMPARE(written(*project).toHex(' '), documented.toHex(' '));
}

QTEST_GUILESS_MAIN(TestProjectFile)
#include "tst_projectfile.moc"
