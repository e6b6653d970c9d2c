// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "export/exportxml.h"
#include "Models/projectfile.h"
#include "processing/aoicutsegmentation.h"
#include "processing/aoitracking.h"
#include "processing/morph.h"
#include "tests/support/clips.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace
{

constexpr int frames = 12;
constexpr int matchDistance = 18; // Hamming distance of ORB descriptors
constexpr double worstOffset = 3; // pixels between an outline's centre and the truth

double offset(const QPolygonF &outline, const QPolygonF &truth)
{
    return QLineF(outline.boundingRect().center(), truth.boundingRect().center()).length();
}

/// A block large enough for the tracker to find features in, that moves in whole pixels.
Clips::Clip movingBlock()
{
    Clips::Clip clip = Clips::numberedGround();
    Clips::Body block;
    block.outline = QPolygonF({{-75, -65}, {75, -65}, {75, 65}, {-75, 65}});
    block.path = Clips::straight(QPointF(110, 110), QPointF(2, 1)); // the import may be a frame behind
    clip.bodies.append(block);
    return clip;
}

QString loadedLibraries()
{
    QFile maps(QStringLiteral("/proc/self/maps"));
    return maps.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(maps.readAll()) : QString();
}

} // namespace

/// A program that links what lies below the window, and no widgets, does all the work that the window offers.
class TestBelowTheWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void noWidgetsAreLinked();
    void importMakesTheImages();
    void morphingFillsTheFramesBetween();
    void trackingFollowsTheObject();
    void segmentationFindsTheObject();
    void aSavedProjectIsReadBack();
    void theAnnotationIsExported();

private:
    static TrackedObject *object() { return g_state->objects.first(); }

    QTemporaryDir m_folder;
    Clips::Clip m_clip = movingBlock();
};

void TestBelowTheWindow::initTestCase()
{
    const QString clip = m_folder.filePath(QStringLiteral("clip.avi"));
    QVERIFY(Clips::encode(clip, m_clip, frames, 25, "MJPG"));
    g_state = new DataState;
    g_state->video = new VideoContainer;
    QVERIFY(g_state->video->loadFile(clip));
    g_state->videoLoaded = true;
    g_state->addObject();
    for (const int frame : {0, frames - 1}) {
        object()->keyFrames.at(frame)->setNewPolygon(m_clip.truth(frame));
        object()->keyFrames.at(frame)->setType(KeyFrame::Visible);
    }
}

void TestBelowTheWindow::cleanupTestCase()
{
    delete g_state;
    g_state = nullptr;
}

void TestBelowTheWindow::noWidgetsAreLinked()
{
    QVERIFY(loadedLibraries().contains(QLatin1String("libQt5Core")));
    QVERIFY(!loadedLibraries().contains(QLatin1String("libQt5Widgets")));
}

void TestBelowTheWindow::importMakesTheImages()
{
    QCOMPARE(g_state->video->frameCount, frames);
    for (int frame = 0; frame < frames; ++frame)
        QVERIFY2(QFile::exists(g_state->video->getFramePath(frame)), qPrintable(QString::number(frame)));
}

void TestBelowTheWindow::morphingFillsTheFramesBetween()
{
    Morph(g_state).linearMorphing(0, -1);
    for (int frame = 1; frame < frames - 1; ++frame) {
        QCOMPARE(object()->keyFrames.at(frame)->type, KeyFrame::Automatic);
        QVERIFY(!object()->keyFrames.at(frame)->polygon.isEmpty());
    }
}

void TestBelowTheWindow::trackingFollowsTheObject()
{
    // Off their place, so that tracking has something to do.
    for (int frame = 1; frame < frames - 1; ++frame)
        object()->keyFrames.at(frame)->setNewPolygon(
            object()->keyFrames.at(frame)->polygon.translated(4, -3));
    AOItracking(g_state, false, matchDistance).automaticTracking();
    for (int frame = 1; frame < frames - 1; ++frame) {
        const double off = offset(object()->keyFrames.at(frame)->polygon, m_clip.truth(frame));
        QVERIFY2(off < worstOffset, qPrintable(QStringLiteral("frame %1: %2").arg(frame).arg(off)));
    }
    QCOMPARE(AOItracking(g_state, true, matchDistance).interactiveTracking(-1), -1);
}

void TestBelowTheWindow::segmentationFindsTheObject()
{
    AoiCutSegmentation(g_state).runSegmenation();
    for (const KeyFrame *keyFrame : qAsConst(object()->keyFrames))
        QVERIFY(keyFrame->polygon.size() > 3);
}

void TestBelowTheWindow::aSavedProjectIsReadBack()
{
    const QString path = m_folder.filePath(QStringLiteral("project.palu"));
    QString error;
    QVERIFY2(ProjectFile::save(path, *g_state, &error), qPrintable(error));

    DataState copy;
    copy.video = new VideoContainer;
    copy.video->frameCount = frames;
    copy.video->width = g_state->video->width;
    copy.video->height = g_state->video->height;
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QDataStream stream(&file);
    QCOMPARE(ProjectFile::readVideoName(stream), QStringLiteral("clip.avi"));
    QVERIFY(ProjectFile::read(stream, copy));
    QCOMPARE(copy.objects.size(), 1);
    for (int frame = 0; frame < frames; ++frame) {
        QCOMPARE(copy.objects.first()->keyFrames.at(frame)->polygon, object()->keyFrames.at(frame)->polygon);
        QCOMPARE(copy.objects.first()->keyFrames.at(frame)->type, object()->keyFrames.at(frame)->type);
    }
}

void TestBelowTheWindow::theAnnotationIsExported()
{
    QFile file(m_folder.filePath(QStringLiteral("annotation.xml")));
    QVERIFY(ExportXML(g_state, &file, false).saveXML());
    file.close();
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll().count("<data:polygone"), frames);
}

QTEST_GUILESS_MAIN(TestBelowTheWindow)
#include "tst_belowthewindow.moc"
