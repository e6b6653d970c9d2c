// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/projectfile.h"
#include "Models/projectsnapshot.h"
#include "tests/support/testproject.h"

#include <QBuffer>
#include <QDataStream>
#include <QtTest>

#include <thread>

namespace
{

ProjectSnapshot snapshotOf(const DataState &state)
{
    ProjectSnapshot project(state);
    for (const TrackedObject *object : state.objects)
        project.objects.append(ObjectSnapshot(*object));
    return project;
}

template <class Project>
QByteArray fileOf(const Project &project)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    ProjectFile::write(stream, project);
    return bytes;
}

} // namespace

class TestProjectSnapshot : public QObject
{
    Q_OBJECT

private slots:
    void itsFileIsThatOfTheProject_data();
    void itsFileIsThatOfTheProject();
    void itStaysWhileTheProjectGoesOn();
    void aCopyStaysWhileAnotherIsChanged();
    void polygonsAreShared();
    void theChainHoldsTheEntryOfTheLastFrame();
    void itCanBeWrittenOnAnotherThread();
};

void TestProjectSnapshot::itsFileIsThatOfTheProject_data()
{
    QTest::addColumn<int>("frames");
    QTest::addColumn<QVector<int>>("userFrames");
    QTest::newRow("one frame") << 1 << QVector<int>{0};
    QTest::newRow("two frames") << 2 << QVector<int>{1};
    QTest::newRow("nothing annotated") << 700 << QVector<int>{};
    QTest::newRow("one block of frames, exactly") << 256 << QVector<int>{0, 255};
    QTest::newRow("several blocks") << 700 << QVector<int>{0, 255, 256, 257, 511, 512, 698, 699};
}

void TestProjectSnapshot::itsFileIsThatOfTheProject()
{
    QFETCH(int, frames);
    QFETCH(QVector<int>, userFrames);
    TestProject project(frames);
    for (int i = 0; i < 2; ++i) {
        TrackedObject *object = project.addObject();
        object->changeName(QStringLiteral("number %1").arg(i));
        for (const int frame : qAsConst(userFrames))
            annotate(object, frame, rectangle(frame, i, 10, 10));
    }
    project->objects.first()->switchOrderWith(project->objects.last(), frames / 2);
    project->setFrame(frames - 1);
    QCOMPARE(fileOf(snapshotOf(*project)), fileOf(*project));
}

void TestProjectSnapshot::itStaysWhileTheProjectGoesOn()
{
    TestProject project(10);
    TrackedObject *object = project.addObject();
    annotate(object, 3, rectangle(0, 0, 10, 10));
    const QByteArray before = fileOf(*project);
    const ProjectSnapshot snapshot = snapshotOf(*project);
    object->keyFrames.at(3)->setNewPolygon(QPolygonF());
    annotate(object, 7, rectangle(5, 5, 10, 10));
    object->changeName(QStringLiteral("another"));
    project.addObject();
    QVERIFY(fileOf(*project) != before);
    QCOMPARE(fileOf(snapshot), before);
}

void TestProjectSnapshot::aCopyStaysWhileAnotherIsChanged()
{
    TestProject project(600);
    ObjectSnapshot one(*project.addObject());
    const ObjectSnapshot other = one;
    one.setFrame(300, {rectangle(0, 0, 10, 10), 7, KeyFrame::Occluded});
    QCOMPARE(one.frame(300).zOrder, 7);
    QCOMPARE(one.frame(300).polygon, rectangle(0, 0, 10, 10));
    QCOMPARE(int(one.frame(300).type), int(KeyFrame::Occluded));
    QCOMPARE(other.frame(300).zOrder, 0);
    QVERIFY(other.frame(300).polygon.isEmpty());
}

void TestProjectSnapshot::polygonsAreShared()
{
    TestProject project(5);
    TrackedObject *object = project.addObject();
    annotate(object, 2, rectangle(0, 0, 10, 10));
    const ObjectSnapshot snapshot(*object);
    QCOMPARE(snapshot.frame(2).polygon.constData(), qAsConst(object->keyFrames.at(2)->polygon).constData());
}

// Splits leave that entry alone, so that it can name an earlier span than the last one.
void TestProjectSnapshot::theChainHoldsTheEntryOfTheLastFrame()
{
    TestProject project(10);
    TrackedObject *object = project.addObject();
    annotate(object, 6, rectangle(0, 0, 10, 10));
    const ChainSnapshot chain(*object);
    QCOMPARE(chain.spans.size(), 2);
    QCOMPARE(chain.lastEntry, 0);
    object->frameSpans.last() = object->frameSpans.at(6);
    QCOMPARE(ChainSnapshot(*object).lastEntry, 1);
    QVERIFY(ChainSnapshot(*object) != chain);
}

void TestProjectSnapshot::itCanBeWrittenOnAnotherThread()
{
    TestProject project(1000);
    TrackedObject *object = project.addObject();
    for (int frame = 0; frame < 1000; ++frame)
        annotate(object, frame, rectangle(frame, 0, 10, 10), KeyFrame::Automatic);
    const QByteArray expected = fileOf(*project);
    QByteArray written;
    std::thread writer([&written, snapshot = snapshotOf(*project)] { written = fileOf(snapshot); });
    for (int frame = 0; frame < 1000; ++frame)
        object->keyFrames.at(frame)->setNewPolygon(rectangle(0, frame, 5, 5));
    writer.join();
    QCOMPARE(written, expected);
}

QTEST_GUILESS_MAIN(TestProjectSnapshot)
#include "tst_projectsnapshot.moc"
