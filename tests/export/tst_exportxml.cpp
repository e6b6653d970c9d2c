// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "export/exportxml.h"
#include "tests/export/plainexport.h"
#include "tests/support/failingdisk.h"
#include "tests/support/testproject.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>
#include <QXmlStreamReader>

#include <limits>
#include <random>

namespace
{

const QString dataNamespace = QStringLiteral("http://lamp.cfar.umd.edu/viperdata#");

// Spells out the vertices; QPolygonF itself takes a list of two points for a rectangle.
QPolygonF poly(const QVector<QPointF> &vertices)
{
    return QPolygonF(vertices);
}

struct Element {
    QString name; // with its prefix
    QString nameSpace;
    QXmlStreamAttributes attributes;

    QString value(const char *attribute) const
    {
        return attributes.value(QLatin1String(attribute)).toString();
    }
    QStringList attributeNames() const
    {
        QStringList names;
        for (const QXmlStreamAttribute &attribute : attributes)
            names.append(attribute.qualifiedName().toString());
        return names;
    }
};

// The elements of a document in the order in which they begin; empty if it is not well-formed.
QVector<Element> parse(const QByteArray &document)
{
    QXmlStreamReader reader(document);
    QVector<Element> elements;
    while (!reader.atEnd()) {
        if (reader.readNext() == QXmlStreamReader::StartElement)
            elements.append(
                {reader.qualifiedName().toString(), reader.namespaceUri().toString(), reader.attributes()});
    }
    if (!reader.hasError())
        return elements;
    qWarning("%s", qPrintable(reader.errorString()));
    return {};
}

QVector<Element> named(const QVector<Element> &elements, const char *name)
{
    QVector<Element> result;
    for (const Element &element : elements) {
        if (element.name == QLatin1String(name))
            result.append(element);
    }
    return result;
}

// One object "my car", shown from frame 3 to 9, drawn on frame 3, tracked on frame 4, drawn as occluded on
// frame 9, and one object without any outline.
void annotateExample(TestProject &project)
{
    TrackedObject *car = project.addObject();
    car->changeName(QStringLiteral("my car"));
    annotate(car, 3, poly({QPointF(10.4, 20.5), QPointF(10.5, 60), QPointF(50.5, 60.4)}));
    annotate(car, 9, rectangle(0, 0, 639.5, 479.49), KeyFrame::Occluded);
    annotate(car, 4, rectangle(-2.5, 3, 10, 20), KeyFrame::Automatic);
    car->keyFrames.at(4)->zOrder = 7;
    project.addObject()->changeName(QStringLiteral("left out"));
}

// The line with the double slashes is no raw string: moc would take the rest of the file for a comment.
const char goldenHead[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<viper xmlns=\"http://lamp.cfar.umd.edu/viper#\" xmlns:data=\"http://lamp.cfar.umd.edu/viperdata#\">\n"
    R"(    <config>
        <descriptor type="FILE" name="Information">
            <attribute dynamic="false" type="dvalue" name="NUMFRAMES"/>
            <attribute dynamic="false" type="dvalue" name="FPS"/>
            <attribute dynamic="false" type="dvalue" name="H-FRAME-SIZE"/>
            <attribute dynamic="false" type="dvalue" name="V-FRAME-SIZE"/>
        </descriptor>
)";

const char goldenDescriptors[] = R"(        <descriptor type="OBJECT" name="my_car">
            <attribute dynamic="true" type="bbox" name="BoundingBox"/>
        </descriptor>
        <descriptor type="OBJECT" name="left_out">
            <attribute dynamic="false" type="bbox" name="BoundingBox"/>
        </descriptor>
)";

const char goldenInformation[] = R"(    </config>
    <data>
        <sourcefile filename="clip.avi">
            <file id="0" name="Information">
                <attribute name="NUMFRAMES">
                    <data:dvalue value="12"/>
                </attribute>
                <attribute name="FPS">
                    <data:dvalue value="25"/>
                </attribute>
                <attribute name="H-FRAME-SIZE">
                    <data:dvalue value="480"/>
                </attribute>
                <attribute name="V-FRAME-SIZE">
                    <data:dvalue value="640"/>
                </attribute>
            </file>
)";

const char goldenPolygons[] = R"(            <object id="0" framespan="3:9" name="my_car">
                <attribute name="my_car">
                    <data:polygone x="10" y="21" width="40" height="40" zorder="0" annotationmode="Manual" objectmode="Visible" framespan="3:3">
                        <data:point x="10" y="21"/>
                        <data:point x="11" y="60"/>
                        <data:point x="51" y="60"/>
                    </data:polygone>
                    <data:polygone x="-3" y="3" width="10" height="20" zorder="7" annotationmode="Automatic" objectmode="Visible" framespan="4:4">
                        <data:point x="-3" y="3"/>
                        <data:point x="-3" y="23"/>
                        <data:point x="8" y="23"/>
                        <data:point x="8" y="3"/>
                    </data:polygone>
                    <data:polygone x="0" y="0" width="640" height="479" zorder="0" annotationmode="Manual" objectmode="Occluded" framespan="9:9">
                        <data:point x="0" y="0"/>
                        <data:point x="0" y="479"/>
                        <data:point x="640" y="479"/>
                        <data:point x="640" y="0"/>
                    </data:polygone>
                </attribute>
            </object>
)";

const char goldenBoxes[] = R"(            <object id="0" framespan="3:9" name="my_car">
                <attribute name="my_car">
                    <data:bbox x="10" y="21" width="40" height="40" framespan="3:3"/>
                    <data:bbox x="-3" y="3" width="10" height="20" framespan="4:4"/>
                    <data:bbox x="0" y="0" width="640" height="479" framespan="9:9"/>
                </attribute>
            </object>
)";

const char goldenTail[] = R"(        </sourcefile>
    </data>
</viper>
)";

using Random = std::mt19937;

int below(Random &random, int end)
{
    return static_cast<int>(random() % static_cast<unsigned>(end));
}

/// What a random project is made of.
struct Mixture {
    int projects;
    int mostFrames;
    int mostVertices;
    bool oddNumbers;  // as damaged projects hold them
    bool oddNames;    // all kinds of characters
    bool brokenNames; // half surrogate pairs
};

double oddNumber(Random &random)
{
    using Limits = std::numeric_limits<double>;
    static const QVector<double> numbers{-0.0,
                                         -0.3,
                                         -0.5,
                                         0.49999999999999994,
                                         999999.4,
                                         999999.5,
                                         -999999.5,
                                         -999999.4,
                                         1e6,
                                         -1e6,
                                         2147483647.0,
                                         -2147483648.0,
                                         9.3e18,
                                         1e300,
                                         Limits::max(),
                                         Limits::lowest(),
                                         Limits::denorm_min(),
                                         Limits::infinity(),
                                         -Limits::infinity(),
                                         Limits::quiet_NaN(),
                                         1234565.0};
    return numbers.at(below(random, numbers.size()));
}

double coordinate(Random &random, const Mixture &mixture)
{
    if (mixture.oddNumbers && below(random, 2) == 0)
        return oddNumber(random);
    return (below(random, 300000) - 50000) / 100.0;
}

int wholeNumber(Random &random, const Mixture &mixture)
{
    return mixture.oddNumbers ? static_cast<int>(random()) : below(random, 5000);
}

QString oddCharacter(Random &random)
{
    switch (below(random, 5)) {
    case 0:
        return QChar(below(random, 0x80)); // control characters, blanks, marks of XML
    case 1:
        return QChar(0x80 + below(random, 0xd800 - 0x80));
    case 2:
        return QChar(0xe000 + below(random, 0x2000));
    case 3:
        return QChar(0xffff - below(random, 4)); // among them two that are no characters
    default:
        const uint character = 0x10000 + random() % 0x100000;
        return QString::fromUcs4(&character, 1);
    }
}

QString randomName(Random &random, const Mixture &mixture)
{
    QString name;
    for (int left = below(random, 10); left > 0; --left)
        name += mixture.oddNames ? oddCharacter(random) : QString(QLatin1Char("a b_"[below(random, 4)]));
    if (mixture.brokenNames && below(random, 3) == 0)
        name.insert(below(random, name.size() + 1), QChar(0xd800 + below(random, 0x800)));
    return name;
}

QPolygonF randomOutline(Random &random, const Mixture &mixture)
{
    QPolygonF outline;
    for (int left = below(random, mixture.mostVertices + 1); left > 0; --left) {
        const double x = coordinate(random, mixture);
        outline.append(QPointF(x, coordinate(random, mixture)));
    }
    return outline;
}

void randomizeSpans(Random &random, TrackedObject *object)
{
    for (int left = below(random, 4); left > 0; --left)
        object->keyFrames.at(below(random, object->keyFrames.size()))->setType(KeyFrame::Visible);
    for (FrameSpan *span : qAsConst(object->frameSpans))
        span->type = static_cast<FrameSpan::Type>(below(random, 3));
}

void addRandomObject(Random &random, const Mixture &mixture, TestProject &project)
{
    TrackedObject *object = project.addObject();
    object->name = randomName(random, mixture);
    object->id = wholeNumber(random, mixture);
    randomizeSpans(random, object);
    for (KeyFrame *keyFrame : qAsConst(object->keyFrames)) {
        keyFrame->polygon = randomOutline(random, mixture);
        keyFrame->type = static_cast<KeyFrame::Type>(below(random, 4));
        keyFrame->zOrder = wholeNumber(random, mixture);
    }
}

void fillRandomly(Random &random, const Mixture &mixture, TestProject &project)
{
    project->video->videoPath = QStringLiteral("/videos/") + randomName(random, mixture);
    project->video->width = wholeNumber(random, mixture);
    project->video->height = wholeNumber(random, mixture);
    project->video->fps = mixture.oddNumbers ? oddNumber(random) : below(random, 60000) / 1001.0;
    for (int left = below(random, 5); left > 0; --left)
        addRandomObject(random, mixture, project);
}

/// A project whose document fills many of the pieces in which it is written.
void annotateAtLength(TestProject &project)
{
    TrackedObject *object = project.addObject();
    for (KeyFrame *keyFrame : qAsConst(object->keyFrames))
        keyFrame->polygon = rectangle(keyFrame->frame, 0, 5, 5);
}

/// A file whose second write fails, and that one alone.
class StumblingFile : public QFile
{
public:
    using QFile::QFile;

    int writes = 0;

protected:
    qint64 writeData(const char *data, qint64 size) override
    {
        return ++writes == 2 ? -1 : QFile::writeData(data, size);
    }
};

} // namespace

Q_DECLARE_METATYPE(Mixture)

class TestExportXml : public QObject
{
    Q_OBJECT

private slots:
    void wholeDocument_data();
    void wholeDocument();
    void projectWithoutObjectsHasTheHeaderOnly_data();
    void projectWithoutObjectsHasTheHeaderOnly();
    void objectsWithoutOutlinesAreDeclaredOnly_data();
    void objectsWithoutOutlinesAreDeclaredOnly();
    void onlyObjectsHiddenThroughoutAreNotDynamic_data();
    void onlyObjectsHiddenThroughoutAreNotDynamic();
    void frameSizesAreSwapped();
    void frameRateHasSixDigits_data();
    void frameRateHasSixDigits();
    void sourceFileIsTheLastPartOfThePath_data();
    void sourceFileIsTheLastPartOfThePath();
    void modesFollowKeyFrameAndSpan_data();
    void modesFollowKeyFrameAndSpan();
    void automaticOnASharedFrameTakesTheLaterSpan();
    void automaticOnTheLastFrameTakesTheLastSpan();
    void coordinatesAreRoundedAndHaveSixDigits_data();
    void coordinatesAreRoundedAndHaveSixDigits();
    void boxesAreRoundedFromTheUnroundedOutline();
    void everyAnnotatedFrameHasItsOwnElement();
    void objectSpanGoesFromTheFirstToTheLastAnnotatedFrame();
    void stackingValueIsTheKeyFrames();
    void objectsComeInListOrder();
    void blanksBecomeUnderscores();
    void namesOfAllKindsSurvive_data();
    void namesOfAllKindsSurvive();
    void dataElementsAreInTheDataNamespace();
    void fileIsLeftOpen();
    void olderContentIsReplaced();
    void fileThatCannotBeOpenedIsLeftAlone();
    void fileThatIsOpenAlreadyIsLeftAlone();
    void exportChangesNothing();
    void documentsAreThoseOfAPlainWriter_data();
    void documentsAreThoseOfAPlainWriter();
    void fullDiskIsToldAndToldAgain_data();
    void fullDiskIsToldAndToldAgain();
    void nothingFollowsAFailedWrite();

private:
    QByteArray exported(DataState *state, bool boundingBoxes)
    {
        QFile file(m_folder.filePath(QStringLiteral("export.xml")));
        if (!ExportXML(state, &file, boundingBoxes).saveXML())
            return QByteArray();
        file.close();
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir m_folder;
};

void TestExportXml::wholeDocument_data()
{
    QTest::addColumn<bool>("boundingBoxes");
    QTest::addColumn<QByteArray>("golden");
    const QByteArray start = QByteArray(goldenHead) + goldenDescriptors + goldenInformation;
    QTest::newRow("polygons") << false << start + goldenPolygons + goldenTail;
    QTest::newRow("bounding boxes") << true << start + goldenBoxes + goldenTail;
}

void TestExportXml::wholeDocument()
{
    QFETCH(bool, boundingBoxes);
    QFETCH(QByteArray, golden);
    TestProject project(12);
    annotateExample(project);
    const QByteArray document = exported(project.state(), boundingBoxes);
    const QList<QByteArray> lines = document.split('\n');
    const QList<QByteArray> goldenLines = golden.split('\n');
    for (int i = 0; i < qMin(lines.size(), goldenLines.size()); ++i)
        QCOMPARE(lines.at(i), goldenLines.at(i));
    QCOMPARE(document, golden);
}

void TestExportXml::projectWithoutObjectsHasTheHeaderOnly_data()
{
    QTest::addColumn<bool>("boundingBoxes");
    QTest::newRow("polygons") << false;
    QTest::newRow("bounding boxes") << true;
}

void TestExportXml::projectWithoutObjectsHasTheHeaderOnly()
{
    QFETCH(bool, boundingBoxes);
    TestProject project(12);
    QCOMPARE(exported(project.state(), boundingBoxes),
             QByteArray(goldenHead) + goldenInformation + goldenTail);
}

void TestExportXml::objectsWithoutOutlinesAreDeclaredOnly_data()
{
    projectWithoutObjectsHasTheHeaderOnly_data();
}

void TestExportXml::objectsWithoutOutlinesAreDeclaredOnly()
{
    QFETCH(bool, boundingBoxes);
    TestProject project(12);
    project.addObject();
    TrackedObject *shown = project.addObject();
    annotate(shown, 3, QPolygonF());
    annotate(shown, 9, QPolygonF());
    const QVector<Element> elements = parse(exported(project.state(), boundingBoxes));
    QCOMPARE(named(elements, "descriptor").size(), 3);
    QCOMPARE(named(elements, "file").size(), 1);
    QCOMPARE(named(elements, "object").size(), 0);
}

void TestExportXml::onlyObjectsHiddenThroughoutAreNotDynamic_data()
{
    QTest::addColumn<QList<int>>("keyFrames");
    QTest::addColumn<int>("firstSpanType"); // -1: as it came out
    QTest::addColumn<QString>("dynamic");
    QTest::newRow("hidden throughout") << QList<int>{} << -1 << "false";
    QTest::newRow("hidden, first frame annotated") << QList<int>{0} << -1 << "false";
    QTest::newRow("one visible span") << QList<int>{0, 11} << -1 << "true";
    QTest::newRow("one occluded span") << QList<int>{} << int(FrameSpan::Occluded) << "true";
    QTest::newRow("one span hidden again") << QList<int>{0, 11} << int(FrameSpan::Hidden) << "false";
    QTest::newRow("two hidden spans") << QList<int>{5} << -1 << "true";
    QTest::newRow("hidden, visible, hidden") << QList<int>{3, 9} << -1 << "true";
}

void TestExportXml::onlyObjectsHiddenThroughoutAreNotDynamic()
{
    QFETCH(QList<int>, keyFrames);
    QFETCH(int, firstSpanType);
    QFETCH(QString, dynamic);
    TestProject project(12);
    TrackedObject *object = project.addObject();
    for (const int frame : keyFrames)
        annotate(object, frame, rectangle(0, 0, 5, 5));
    if (firstSpanType >= 0)
        object->frameSpans.first()->setType(static_cast<FrameSpan::Type>(firstSpanType));
    for (const bool boundingBoxes : {false, true}) {
        const QVector<Element> attributes =
            named(parse(exported(project.state(), boundingBoxes)), "attribute");
        QCOMPARE(attributes.at(4).value("name"), QStringLiteral("BoundingBox"));
        QCOMPARE(attributes.at(4).value("dynamic"), dynamic);
    }
}

void TestExportXml::frameSizesAreSwapped()
{
    TestProject project(3, 1920, 1080);
    const QVector<Element> values = named(parse(exported(project.state(), false)), "data:dvalue");
    QCOMPARE(values.size(), 4);
    QCOMPARE(values.at(2).value("value"), QStringLiteral("1080")); // H-FRAME-SIZE
    QCOMPARE(values.at(3).value("value"), QStringLiteral("1920")); // V-FRAME-SIZE
}

void TestExportXml::frameRateHasSixDigits_data()
{
    QTest::addColumn<double>("fps");
    QTest::addColumn<QString>("text");
    QTest::newRow("whole") << 30.0 << "30";
    QTest::newRow("film on television") << 30000.0 / 1001 << "29.97";
    QTest::newRow("film") << 24000.0 / 1001 << "23.976";
    QTest::newRow("half") << 12.5 << "12.5";
    QTest::newRow("less than one") << 0.5 << "0.5";
    QTest::newRow("a million") << 1e6 << "1e+06";
}

void TestExportXml::frameRateHasSixDigits()
{
    QFETCH(double, fps);
    QFETCH(QString, text);
    TestProject project(1234567, 640, 480, fps);
    const QVector<Element> values = named(parse(exported(project.state(), false)), "data:dvalue");
    QCOMPARE(values.size(), 4);
    QCOMPARE(values.at(0).value("value"), QStringLiteral("1234567"));
    QCOMPARE(values.at(1).value("value"), text);
}

void TestExportXml::sourceFileIsTheLastPartOfThePath_data()
{
    QTest::addColumn<QString>("videoPath");
    QTest::addColumn<QString>("filename");
    QTest::newRow("plain") << "/tmp/palu-x/clip.avi"
                           << "clip.avi";
    QTest::newRow("blanks stay") << "/tmp/a b/my clip.mp4"
                                 << "my clip.mp4";
    QTest::newRow("without folder") << "clip.avi"
                                    << "clip.avi";
    QTest::newRow("marks of XML") << "/tmp/a<b&\"c\".avi"
                                  << "a<b&\"c\".avi";
    QTest::newRow("umlauts") << QString::fromUtf8("/tmp/Übung/Straße.avi") << QString::fromUtf8("Straße.avi");
}

void TestExportXml::sourceFileIsTheLastPartOfThePath()
{
    QFETCH(QString, videoPath);
    QFETCH(QString, filename);
    TestProject project(3);
    project->video->videoPath = videoPath;
    const QVector<Element> sources = named(parse(exported(project.state(), true)), "sourcefile");
    QCOMPARE(sources.size(), 1);
    QCOMPARE(sources.first().value("filename"), filename);
}

void TestExportXml::modesFollowKeyFrameAndSpan_data()
{
    QTest::addColumn<KeyFrame::Type>("keyFrameType");
    QTest::addColumn<FrameSpan::Type>("spanType");
    QTest::addColumn<QString>("annotationMode");
    QTest::addColumn<QString>("objectMode");
    QTest::newRow("no key frame, visible span") << KeyFrame::None << FrameSpan::Visible << "NA"
                                                << "NA";
    QTest::newRow("no key frame, hidden span") << KeyFrame::None << FrameSpan::Hidden << "NA"
                                               << "NA";
    QTest::newRow("visible, hidden span") << KeyFrame::Visible << FrameSpan::Hidden << "Manual"
                                          << "Visible";
    QTest::newRow("visible, occluded span") << KeyFrame::Visible << FrameSpan::Occluded << "Manual"
                                            << "Visible";
    QTest::newRow("occluded, visible span") << KeyFrame::Occluded << FrameSpan::Visible << "Manual"
                                            << "Occluded";
    QTest::newRow("automatic, hidden span") << KeyFrame::Automatic << FrameSpan::Hidden << "Automatic"
                                            << "NA";
    QTest::newRow("automatic, visible span") << KeyFrame::Automatic << FrameSpan::Visible << "Automatic"
                                             << "Visible";
    QTest::newRow("automatic, occluded span") << KeyFrame::Automatic << FrameSpan::Occluded << "Automatic"
                                              << "Occluded";
}

void TestExportXml::modesFollowKeyFrameAndSpan()
{
    QFETCH(KeyFrame::Type, keyFrameType);
    QFETCH(FrameSpan::Type, spanType);
    QFETCH(QString, annotationMode);
    QFETCH(QString, objectMode);
    TestProject project(12);
    TrackedObject *object = project.addObject();
    annotate(object, 3, rectangle(0, 0, 5, 5));
    annotate(object, 9, rectangle(0, 0, 5, 5));
    object->frameSpans.at(6)->type = spanType;
    object->keyFrames.at(6)->polygon = rectangle(1, 1, 5, 5);
    object->keyFrames.at(6)->type = keyFrameType;
    const QVector<Element> frames = named(parse(exported(project.state(), false)), "data:polygone");
    QCOMPARE(frames.size(), 3);
    QCOMPARE(frames.at(1).value("framespan"), QStringLiteral("6:6"));
    QCOMPARE(frames.at(1).value("annotationmode"), annotationMode);
    QCOMPARE(frames.at(1).value("objectmode"), objectMode);
}

void TestExportXml::automaticOnASharedFrameTakesTheLaterSpan()
{
    TestProject project(12);
    TrackedObject *object = project.addObject();
    for (const int frame : {3, 6, 9})
        annotate(object, frame, rectangle(0, 0, 5, 5));
    object->frameSpans.at(6)->type = FrameSpan::Occluded; // [6, 9]
    object->keyFrames.at(6)->type = KeyFrame::Automatic;
    const QVector<Element> frames = named(parse(exported(project.state(), false)), "data:polygone");
    QCOMPARE(frames.at(1).value("framespan"), QStringLiteral("6:6"));
    QCOMPARE(frames.at(1).value("objectmode"), QStringLiteral("Occluded"));
}

void TestExportXml::automaticOnTheLastFrameTakesTheLastSpan()
{
    TestProject project(12);
    TrackedObject *object = project.addObject();
    annotate(object, 3, rectangle(0, 0, 5, 5));
    annotate(object, 11, rectangle(0, 0, 5, 5));
    object->frameSpans.at(3)->type = FrameSpan::Occluded; // [3, 11]
    object->keyFrames.at(11)->type = KeyFrame::Automatic;
    const QVector<Element> frames = named(parse(exported(project.state(), false)), "data:polygone");
    QCOMPARE(frames.last().value("framespan"), QStringLiteral("11:11"));
    QCOMPARE(frames.last().value("objectmode"), QStringLiteral("Occluded"));
}

void TestExportXml::coordinatesAreRoundedAndHaveSixDigits_data()
{
    QTest::addColumn<double>("coordinate");
    QTest::addColumn<QString>("text");
    QTest::newRow("whole") << 42.0 << "42";
    QTest::newRow("zero") << 0.0 << "0";
    QTest::newRow("half up") << 2.5 << "3";
    QTest::newRow("odd half") << 3.5 << "4";
    QTest::newRow("half below zero, away from zero") << -2.5 << "-3";
    QTest::newRow("below half") << 2.4999 << "2";
    QTest::newRow("largest number below one half") << 0.49999999999999994 << "0";
    QTest::newRow("six digits") << 999999.0 << "999999";
    QTest::newRow("rounded to a million") << 999999.5 << "1e+06";
    QTest::newRow("a million") << 1e6 << "1e+06";
    QTest::newRow("seven digits") << 1234567.0 << "1.23457e+06";
}

void TestExportXml::coordinatesAreRoundedAndHaveSixDigits()
{
    QFETCH(double, coordinate);
    QFETCH(QString, text);
    TestProject project(3);
    TrackedObject *object = project.addObject();
    annotate(object, 1,
             poly({QPointF(coordinate, 0), QPointF(coordinate, 10), QPointF(coordinate + 100, 10)}));
    annotate(object, 2,
             poly({QPointF(0, coordinate), QPointF(10, coordinate), QPointF(10, coordinate + 100)}));
    const QVector<Element> elements = parse(exported(project.state(), false));
    const QVector<Element> points = named(elements, "data:point");
    const QVector<Element> frames = named(elements, "data:polygone");
    const QVector<Element> boxes = named(parse(exported(project.state(), true)), "data:bbox");
    QCOMPARE(points.size(), 6);
    QCOMPARE(points.at(0).value("x"), text);
    QCOMPARE(points.at(0).value("y"), QStringLiteral("0"));
    QCOMPARE(points.at(3).value("x"), QStringLiteral("0"));
    QCOMPARE(points.at(3).value("y"), text);
    QCOMPARE(frames.at(0).value("x"), text);
    QCOMPARE(frames.at(1).value("y"), text);
    QCOMPARE(boxes.at(0).value("x"), text);
    QCOMPARE(boxes.at(1).value("y"), text);
}

void TestExportXml::boxesAreRoundedFromTheUnroundedOutline()
{
    // Left 1 and right 3 once rounded, but the width is 1.2.
    TestProject project(3);
    annotate(project.addObject(), 1, rectangle(1.4, 1.3, 1.2, 1000000));
    for (const bool boundingBoxes : {false, true}) {
        const QVector<Element> frames = named(parse(exported(project.state(), boundingBoxes)),
                                              boundingBoxes ? "data:bbox" : "data:polygone");
        QCOMPARE(frames.size(), 1);
        QCOMPARE(frames.first().value("x"), QStringLiteral("1"));
        QCOMPARE(frames.first().value("width"), QStringLiteral("1"));
        QCOMPARE(frames.first().value("height"), QStringLiteral("1e+06"));
    }
}

void TestExportXml::everyAnnotatedFrameHasItsOwnElement()
{
    TestProject project(12);
    TrackedObject *object = project.addObject();
    for (const int frame : {3, 4, 9})
        object->keyFrames.at(frame)->setNewPolygon(rectangle(0, 0, 5, 5));
    for (const bool boundingBoxes : {false, true}) {
        const QVector<Element> elements = parse(exported(project.state(), boundingBoxes));
        const QVector<Element> frames = named(elements, boundingBoxes ? "data:bbox" : "data:polygone");
        QCOMPARE(frames.size(), 3);
        QCOMPARE(frames.at(0).value("framespan"), QStringLiteral("3:3"));
        QCOMPARE(frames.at(1).value("framespan"), QStringLiteral("4:4"));
        QCOMPARE(frames.at(2).value("framespan"), QStringLiteral("9:9"));
        QCOMPARE(frames.at(0).attributeNames(),
                 boundingBoxes ? QStringList({"x", "y", "width", "height", "framespan"})
                               : QStringList({"x", "y", "width", "height", "zorder", "annotationmode",
                                              "objectmode", "framespan"}));
        QCOMPARE(named(elements, boundingBoxes ? "data:polygone" : "data:bbox").size(), 0);
        QCOMPARE(named(elements, "object").first().value("framespan"), QStringLiteral("3:9"));
        QCOMPARE(named(elements, "object").first().attributeNames(),
                 QStringList({"id", "framespan", "name"}));
    }
}

void TestExportXml::objectSpanGoesFromTheFirstToTheLastAnnotatedFrame()
{
    TestProject project(12);
    TrackedObject *single = project.addObject();
    single->keyFrames.at(0)->setNewPolygon(poly({QPointF(7, 8)}));
    TrackedObject *whole = project.addObject();
    whole->keyFrames.at(0)->setNewPolygon(rectangle(0, 0, 5, 5));
    whole->keyFrames.at(11)->setNewPolygon(rectangle(0, 0, 5, 5));
    const QVector<Element> elements = parse(exported(project.state(), false));
    QCOMPARE(named(elements, "object").at(0).value("framespan"), QStringLiteral("0:0"));
    QCOMPARE(named(elements, "object").at(1).value("framespan"), QStringLiteral("0:11"));
    // One vertex is an outline, too.
    QCOMPARE(named(elements, "data:polygone").at(0).value("width"), QStringLiteral("0"));
    QCOMPARE(named(elements, "data:point").at(0).value("y"), QStringLiteral("8"));
}

void TestExportXml::stackingValueIsTheKeyFrames()
{
    TestProject project(4);
    project.addObject();
    TrackedObject *object = project.addObject();
    for (const int frame : {0, 1, 2})
        object->keyFrames.at(frame)->setNewPolygon(rectangle(0, 0, 5, 5));
    object->keyFrames.at(1)->zOrder = -4;
    object->keyFrames.at(2)->zOrder = 1234567;
    const QVector<Element> frames = named(parse(exported(project.state(), false)), "data:polygone");
    QCOMPARE(frames.at(0).value("zorder"), QStringLiteral("1"));
    QCOMPARE(frames.at(1).value("zorder"), QStringLiteral("-4"));
    QCOMPARE(frames.at(2).value("zorder"), QStringLiteral("1234567"));
}

void TestExportXml::objectsComeInListOrder()
{
    TestProject project(4);
    for (int i = 0; i < 4; ++i) {
        TrackedObject *object = project.addObject();
        object->keyFrames.at(0)->setNewPolygon(rectangle(0, 0, 5, 5));
        object->keyFrames.at(0)->zOrder = -i;
    }
    project->deleteObject(1);
    project->objects.move(2, 0); // ids 3, 0, 2
    const QVector<Element> elements = parse(exported(project.state(), false));
    const QVector<Element> descriptors = named(elements, "descriptor");
    const QVector<Element> objects = named(elements, "object");
    QCOMPARE(descriptors.size(), 4);
    QCOMPARE(objects.size(), 3);
    const QStringList ids{"3", "0", "2"};
    const QStringList names{"new_object_4", "new_object_1", "new_object_3"};
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(descriptors.at(i + 1).value("name"), names.at(i));
        QCOMPARE(objects.at(i).value("id"), ids.at(i));
        QCOMPARE(objects.at(i).value("name"), names.at(i));
    }
}

void TestExportXml::blanksBecomeUnderscores()
{
    TestProject project(4);
    TrackedObject *object = project.addObject();
    object->changeName(QStringLiteral(" my  old_car "));
    object->keyFrames.at(0)->setNewPolygon(rectangle(0, 0, 5, 5));
    const QVector<Element> elements = parse(exported(project.state(), false));
    const QString name = QStringLiteral("_my__old_car_");
    QCOMPARE(named(elements, "descriptor").last().value("name"), name);
    QCOMPARE(named(elements, "object").first().value("name"), name);
    QCOMPARE(named(elements, "attribute").last().value("name"), name);
    QCOMPARE(object->name, QStringLiteral(" my  old_car "));
}

void TestExportXml::namesOfAllKindsSurvive_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("empty") << QString("");
    QTest::newRow("marks of XML") << "<a>&\"b'&amp;]]>";
    QTest::newRow("umlauts") << QString::fromUtf8("Zoë_Bär_ß");
    QTest::newRow("Chinese") << QString::fromUtf8("汽车");
    QTest::newRow("right to left") << QString::fromUtf8("سيارة");
    QTest::newRow("beyond the basic plane") << QString::fromUtf8("🚗🚙");
}

void TestExportXml::namesOfAllKindsSurvive()
{
    QFETCH(QString, name);
    TestProject project(4);
    TrackedObject *object = project.addObject();
    object->changeName(name);
    object->keyFrames.at(0)->setNewPolygon(rectangle(0, 0, 5, 5));
    for (const bool boundingBoxes : {false, true}) {
        const QByteArray document = exported(project.state(), boundingBoxes);
        QCOMPARE(QString::fromUtf8(document).toUtf8(), document);
        const QVector<Element> elements = parse(document);
        QVERIFY(!elements.isEmpty());
        QCOMPARE(named(elements, "descriptor").last().value("name"), name);
        QCOMPARE(named(elements, "object").first().value("name"), name);
    }
}

void TestExportXml::dataElementsAreInTheDataNamespace()
{
    TestProject project(12);
    annotateExample(project);
    for (const bool boundingBoxes : {false, true}) {
        for (const Element &element : parse(exported(project.state(), boundingBoxes))) {
            const bool isData = element.name.startsWith(QLatin1String("data:"));
            QCOMPARE(element.nameSpace,
                     isData ? dataNamespace : QStringLiteral("http://lamp.cfar.umd.edu/viper#"));
        }
    }
}

void TestExportXml::fileIsLeftOpen()
{
    TestProject project(12);
    QFile file(m_folder.filePath(QStringLiteral("open.xml")));
    QVERIFY(ExportXML(project.state(), &file, false).saveXML());
    QVERIFY(file.isOpen());
    QCOMPARE(file.openMode() & QIODevice::ReadWrite, QIODevice::WriteOnly);
}

void TestExportXml::olderContentIsReplaced()
{
    TestProject project(12);
    QFile old(m_folder.filePath(QStringLiteral("export.xml")));
    QVERIFY(old.open(QIODevice::WriteOnly));
    QCOMPARE(old.write(QByteArray(100000, 'x')), qint64(100000));
    old.close();
    QCOMPARE(exported(project.state(), false), QByteArray(goldenHead) + goldenInformation + goldenTail);
}

void TestExportXml::fileThatCannotBeOpenedIsLeftAlone()
{
    TestProject project(12);
    annotateExample(project);
    QFile inMissingFolder(m_folder.filePath(QStringLiteral("missing/export.xml")));
    QVERIFY(!ExportXML(project.state(), &inMissingFolder, false).saveXML());
    QVERIFY(!inMissingFolder.isOpen());
    QVERIFY(!QFile::exists(m_folder.filePath(QStringLiteral("missing"))));

    QVERIFY(QDir(m_folder.path()).mkpath(QStringLiteral("folder.xml")));
    QFile folder(m_folder.filePath(QStringLiteral("folder.xml")));
    QVERIFY(!ExportXML(project.state(), &folder, true).saveXML());
    QVERIFY(QDir(folder.fileName()).isEmpty());
}

void TestExportXml::fileThatIsOpenAlreadyIsLeftAlone()
{
    TestProject project(12);
    QFile file(m_folder.filePath(QStringLiteral("busy.xml")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write("keep"), qint64(4));
    file.close();
    QVERIFY(file.open(QIODevice::ReadOnly));
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("QFile::open: File .*already open")));
    QVERIFY(!ExportXML(project.state(), &file, false).saveXML());
    QCOMPARE(file.readAll(), QByteArray("keep"));
}

void TestExportXml::exportChangesNothing()
{
    TestProject project(12);
    annotateExample(project);
    int changes = 0;
    for (TrackedObject *object : qAsConst(project->objects)) {
        connect(object, &TrackedObject::hasChanged, this, [&changes] { ++changes; });
        for (KeyFrame *keyFrame : qAsConst(object->keyFrames))
            connect(keyFrame, &KeyFrame::hasChanged, this, [&changes] { ++changes; });
    }
    const QByteArray first = exported(project.state(), false);
    QVERIFY(!first.isEmpty());
    QCOMPARE(exported(project.state(), false), first);
    QCOMPARE(changes, 0);
    QCOMPARE(project->objects.first()->name, QStringLiteral("my car"));
}

void TestExportXml::documentsAreThoseOfAPlainWriter_data()
{
    QTest::addColumn<Mixture>("mixture");
    QTest::newRow("sound projects") << Mixture{100, 40, 6, false, false, false};
    QTest::newRow("long documents") << Mixture{8, 400, 30, false, true, false};
    QTest::newRow("odd numbers") << Mixture{100, 40, 6, true, false, false};
    QTest::newRow("odd names") << Mixture{300, 4, 3, false, true, false};
    QTest::newRow("names with half surrogate pairs") << Mixture{200, 4, 3, false, true, true};
}

void TestExportXml::documentsAreThoseOfAPlainWriter()
{
    QFETCH(Mixture, mixture);
    for (int seed = 0; seed < mixture.projects; ++seed) {
        Random random(static_cast<unsigned>(seed));
        TestProject project(1 + below(random, mixture.mostFrames));
        fillRandomly(random, mixture, project);
        for (const bool boundingBoxes : {false, true}) {
            const QByteArray expected = plainExport(*project, boundingBoxes);
            const QByteArray document = exported(project.state(), boundingBoxes);
            const QList<QByteArray> lines = document.split('\n');
            const QList<QByteArray> expectedLines = expected.split('\n');
            for (int i = 0; i < qMin(lines.size(), expectedLines.size()); ++i)
                QVERIFY2(lines.at(i) == expectedLines.at(i),
                         QStringLiteral("project %1, line %2: %3 instead of %4")
                             .arg(QString::number(seed), QString::number(i + 1),
                                  QString::fromUtf8(lines.at(i)), QString::fromUtf8(expectedLines.at(i)))
                             .toUtf8());
            QCOMPARE(document.size(), expected.size());
        }
    }
}

void TestExportXml::fullDiskIsToldAndToldAgain_data()
{
    QTest::addColumn<int>("room"); // bytes, from the end where negative
    QTest::newRow("no room") << 0;
    QTest::newRow("room for a part of the first piece") << 1000;
    QTest::newRow("room for a few pieces") << 65536;
    QTest::newRow("room for a few pieces and a part") << 100000;
    QTest::newRow("one byte too little") << -1;
}

void TestExportXml::fullDiskIsToldAndToldAgain()
{
    QFETCH(int, room);
    TestProject project(1000);
    annotateAtLength(project);
    const QByteArray document = exported(project.state(), false);
    QVERIFY(document.size() > 200000);
    const int written = room < 0 ? document.size() + room : room;
    QFile file(m_folder.filePath(QStringLiteral("full.xml")));
    {
        const FileSizeLimit limit(static_cast<rlim_t>(written));
        QVERIFY(ExportXML(project.state(), &file, false).saveXML());
        QCOMPARE(file.error(), QFile::WriteError);
        file.close();
        QCOMPARE(file.error(), QFile::WriteError);
    }
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll() == document.left(written));
}

void TestExportXml::nothingFollowsAFailedWrite()
{
    TestProject project(1000);
    annotateAtLength(project);
    const QByteArray document = exported(project.state(), false);
    StumblingFile file(m_folder.filePath(QStringLiteral("stumbling.xml")));
    QVERIFY(ExportXML(project.state(), &file, false).saveXML());
    QCOMPARE(file.writes, 2);
    file.close();
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray start = file.readAll();
    QVERIFY(!start.isEmpty());
    QVERIFY(document.startsWith(start));
}

QTEST_APPLESS_MAIN(TestExportXml)
#include "tst_exportxml.moc"
