// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/aoicutsegmentation.h"

#include "core/leavablecall.h"
#include "processing/abortgrace.h"
#include "processing/imageprocess.h"
#include "tests/support/clips.h"
#include "tests/support/heldjob.h"
#include "tests/support/logcapture.h"
#include "tests/support/plainsegmentation.h"
#include "tests/support/poolthreads.h"
#include "tests/support/progresswatch.h"
#include "tests/support/testproject.h"
#include "tests/support/trackingproject.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSemaphore>
#include <QThreadPool>
#include <QtTest>

#include <chrono>
#include <memory>

namespace
{

constexpr int frames = 12;
constexpr std::chrono::minutes wholeParcels(1); // of grace, which no parcel here takes
constexpr int longestEnd = 3000;                // milliseconds from "Abort", a second of grace included

/// A block whose outline nobody could tell for sure: the result depends on the colour models' random start.
Clips::Clip unclearBlock()
{
    Clips::Clip clip = Clips::plainBlock();
    clip.bodies.first().look = Clips::Look::Blotches;
    clip.look = Clips::Look::Blotches;
    clip.noise = 20;
    return clip;
}

/// A block in a project, with outlines a few pixels beside it on all frames.
class BlockProject : public TrackingProject
{
public:
    explicit BlockProject(const QList<int> &chunkEnds = {3, 6, 9, 12},
                          const Clips::Clip &rendered = Clips::plainBlock())
        : TrackingProject(rendered, frames)
    {
        state()->video->chunkEnds = chunkEnds;
        annotateTruth({0, 7, frames - 1});
        for (KeyFrame *keyFrame : qAsConst(object->keyFrames))
            keyFrame->setNewPolygon(clip.truth(keyFrame->frame).translated(3, -2));
        seeds = polygons();
    }

    /// What plain segmentation makes of one frame.
    QPolygonF wanted(int frame)
    {
        const ImageProcess process(video().getFramePath(frame));
        cv::setRNGSeed(frame);
        return plainSegmentation(process.image, seeds.at(frame), 2);
    }
    /// What it makes of the frames `first` to `last`; the others keep their outlines.
    QList<QPolygonF> wantedPolygons(int first, int last)
    {
        QList<QPolygonF> all = seeds;
        for (int frame = first; frame <= last; ++frame)
            all[frame] = wanted(frame);
        return all;
    }
    FrameJob::Result run() { return AoiCutSegmentation(state()).runSegmenation(); }
    void segmentChunk(int chunkEnd) { AoiCutSegmentation(state()).segmentation(chunkEnd); }

    QList<QPolygonF> seeds;
};

} // namespace

class TestSegmentation : public QObject
{
    Q_OBJECT

private slots:
    void init() { AbortGrace::setLength(wholeParcels); }

    void everyFrameGetsItsForeground();
    void cleanObjectIsFoundOnAllFrames();
    void otherKeyFramesAreLeftAlone();
    void chunkEndsSplitTheWork_data();
    void chunkEndsSplitTheWork();
    void threadsDoNotMatter_data();
    void threadsDoNotMatter();
    void runTwiceSegmentsTheNewOutlines();
    void failureEndsTheRun_data();
    void failureEndsTheRun();
    void withoutCurrentObjectNothingHappens_data();
    void withoutCurrentObjectNothingHappens();
    void otherObjectsAreLeftAlone();
    void progressDialogIsBusyAndModal();
    void abortSkipsWhatHasNotStarted();
    void abortLeavesALongChunk();
    void abortLeavesARoundThatTakesLong();
    void whereAllThreadsAreLeftBehindARunIsRefused();
    void nothingIsWritten();
};

void TestSegmentation::everyFrameGetsItsForeground()
{
    BlockProject project({3, 6, 9, 12}, unclearBlock());
    QCOMPARE(project.object->keyFrames.at(5)->type, KeyFrame::Automatic);
    QCOMPARE(project.object->keyFrames.at(7)->type, KeyFrame::Visible);
    LogCapture log;
    project.run();
    QCOMPARE(firstDifference(project.polygons(), project.wantedPolygons(0, frames - 1)), QString());
    QCOMPARE(project.object->keyFrames.at(5)->type, KeyFrame::Automatic);
    QCOMPARE(project.object->keyFrames.at(7)->type, KeyFrame::Visible);
    QCOMPARE(log.warnings(), QStringList());
}

void TestSegmentation::cleanObjectIsFoundOnAllFrames()
{
    BlockProject project;
    const double before = project.meanOverlap(0, frames - 1);
    project.run();
    const double after = project.meanOverlap(0, frames - 1);
    qInfo("mean overlap: %.3f before, %.3f segmented", before, after);
    QVERIFY(before < 0.92);
    QVERIFY(after > 0.95);
}

void TestSegmentation::otherKeyFramesAreLeftAlone()
{
    BlockProject project;
    project.object->keyFrames.at(2)->type = KeyFrame::Occluded;
    project.object->keyFrames.at(5)->type = KeyFrame::None;
    project.object->keyFrames.at(7)->type = KeyFrame::Occluded;
    QList<QPolygonF> wanted = project.wantedPolygons(0, frames - 1);
    for (int frame : {2, 5, 7})
        wanted[frame] = project.seeds.at(frame);
    project.run();
    QCOMPARE(firstDifference(project.polygons(), wanted), QString());
}

void TestSegmentation::chunkEndsSplitTheWork_data()
{
    QTest::addColumn<QList<int>>("chunkEnds");
    QTest::addColumn<int>("chunkEnd");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("last");
    const QList<int> ends{3, 6, 9, 12};
    QTest::newRow("first chunk") << ends << 3 << 0 << 2;
    QTest::newRow("second chunk") << ends << 6 << 3 << 5;
    QTest::newRow("last chunk") << ends << 12 << 9 << 11;
    QTest::newRow("not found: from the first frame") << ends << 4 << 0 << 3;
    QTest::newRow("empty list") << QList<int>{} << 2 << 0 << 1;
    QTest::newRow("one chunk") << QList<int>{12} << 12 << 0 << 11;
    QTest::newRow("chunk end 0") << QList<int>{0, 0, 0, 12} << 0 << 0 << -1;
    QTest::newRow("behind empty chunks") << QList<int>{0, 0, 5} << 5 << 0 << 4;
    QTest::newRow("first of equal ends counts") << QList<int>{2, 4, 4, 12} << 4 << 2 << 3;
    QTest::newRow("end before the one before it") << QList<int>{9, 4} << 4 << 0 << -1;
}

void TestSegmentation::chunkEndsSplitTheWork()
{
    QFETCH(QList<int>, chunkEnds);
    QFETCH(int, chunkEnd);
    QFETCH(int, first);
    QFETCH(int, last);
    BlockProject project(chunkEnds);
    project.segmentChunk(chunkEnd);
    QCOMPARE(firstDifference(project.polygons(), project.wantedPolygons(first, last)), QString());
}

void TestSegmentation::threadsDoNotMatter_data()
{
    QTest::addColumn<QList<int>>("chunkEnds");
    QTest::newRow("four chunks") << QList<int>{3, 6, 9, 12};
    QTest::newRow("one chunk") << QList<int>{12};
    QTest::newRow("a chunk per frame") << QList<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
}

void TestSegmentation::threadsDoNotMatter()
{
    QFETCH(QList<int>, chunkEnds);
    BlockProject project(chunkEnds, unclearBlock());
    const QList<QPolygonF> wanted = project.wantedPolygons(0, frames - 1);
    for (int threads : {1, 2, 4, 4}) {
        const PoolThreads pool(threads);
        cv::setRNGSeed(threads + 77);
        project.setPolygons(project.seeds);
        project.run();
        QCOMPARE(firstDifference(project.polygons(), wanted), QString());
    }
}

void TestSegmentation::runTwiceSegmentsTheNewOutlines()
{
    BlockProject project;
    project.run();
    project.seeds = project.polygons();
    const QList<QPolygonF> wanted = project.wantedPolygons(0, frames - 1);
    project.run();
    QCOMPARE(firstDifference(project.polygons(), wanted), QString());
}

void TestSegmentation::failureEndsTheRun_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<QString>("reason");
    const QString image = QStringLiteral("its image cannot be read");
    const QString outline = QStringLiteral("its outline leaves nothing to cut out");
    QTest::newRow("image is missing") << QStringLiteral("missing") << image;
    QTest::newRow("image is no image") << QStringLiteral("text") << image;
    QTest::newRow("polygon is empty") << QStringLiteral("empty") << outline;
    QTest::newRow("polygon is outside the image") << QStringLiteral("outside") << outline;
    QTest::newRow("polygon covers the image") << QStringLiteral("everything") << outline;
}

void TestSegmentation::failureEndsTheRun()
{
    QFETCH(QString, what);
    QFETCH(QString, reason);
    BlockProject project({12});
    const int bad = 7;
    const QString path = project.video().getFramePath(bad);
    QList<QPolygonF> wanted = project.wantedPolygons(0, bad - 1);
    if (what == QLatin1String("missing") || what == QLatin1String("text"))
        QVERIFY(QFile::remove(path));
    if (what == QLatin1String("text")) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("no image at all");
    }
    if (what == QLatin1String("empty"))
        wanted[bad] = QPolygonF();
    if (what == QLatin1String("outside"))
        wanted[bad] = rectangle(500, 500, 50, 50);
    if (what == QLatin1String("everything"))
        wanted[bad] = rectangle(-100, -100, 900, 900);
    project.object->keyFrames.at(bad)->setNewPolygon(wanted.at(bad));

    LogCapture log;
    const FrameJob::Result result = project.run();
    QCOMPARE(result.outcome, ModalJob::Outcome::Failed);
    QCOMPARE(result.failedFrame, bad);
    QCOMPARE(result.reason, reason);
    QCOMPARE(firstDifference(project.polygons(), wanted), QString());
    QCOMPARE(log.warnings().size(), 1);
    const QString warning = log.warnings().constFirst();
    QVERIFY2(warning.contains(QRegularExpression(QStringLiteral("\\bframe %1\\b").arg(bad))),
             qPrintable(warning));
    QVERIFY2(warning.size() > 40, qPrintable(warning)); // and the reason
    QTRY_COMPARE(QThreadPool::globalInstance()->activeThreadCount(), 0);

    // The next run works.
    Clips::writeFrame(project.video(), bad, project.clip.render(bad));
    project.setPolygons(project.seeds);
    QCOMPARE(project.run().outcome, ModalJob::Outcome::Finished);
    QCOMPARE(firstDifference(project.polygons(), project.wantedPolygons(0, frames - 1)), QString());
    QCOMPARE(log.warnings().size(), 1);
}

void TestSegmentation::withoutCurrentObjectNothingHappens_data()
{
    QTest::addColumn<int>("id");
    QTest::newRow("none") << -1;
    QTest::newRow("one that does not exist") << 77;
}

void TestSegmentation::withoutCurrentObjectNothingHappens()
{
    QFETCH(int, id);
    BlockProject project;
    project->currentObjectId = id;
    LogCapture log;
    project.run();
    project.segmentChunk(3);
    QCOMPARE(firstDifference(project.polygons(), project.seeds), QString());
    QCOMPARE(log.warnings(), QStringList());
}

void TestSegmentation::otherObjectsAreLeftAlone()
{
    BlockProject project({12});
    TrackedObject *other = project.addObject(); // now the current one
    annotate(other, 4, project.clip.truth(4));
    project.run();
    QCOMPARE(firstDifference(project.polygons(), project.seeds), QString());
    QVERIFY(other->keyFrames.at(4)->polygon != project.clip.truth(4));
    QVERIFY(other->keyFrames.at(5)->polygon.isEmpty());
}

void TestSegmentation::progressDialogIsBusyAndModal()
{
    BlockProject project;
    ProgressWatch watch;
    project.run();
    QVERIFY(watch.seen);
    QCOMPARE(watch.label, QStringLiteral("Segment tracking"));
    QCOMPARE(watch.button, QStringLiteral("Abort"));
    QCOMPARE(watch.minimum, 0);
    QCOMPARE(watch.maximum, 0);
    QCOMPARE(watch.modality, Qt::WindowModal);
    QVERIFY(!watch.hasParent);
    QVERIFY(!QApplication::activeModalWidget());
}

void TestSegmentation::abortSkipsWhatHasNotStarted()
{
    const PoolThreads pool(1);
    BlockProject project({2, 4, 6, 8, 10, 12});
    const QList<QPolygonF> complete = project.wantedPolygons(0, frames - 1);
    ProgressWatch watch;
    QObject context;
    for (const KeyFrame *keyFrame : qAsConst(project.object->keyFrames))
        connect(keyFrame, &KeyFrame::hasChanged, &context, [&watch] { watch.abort(); });
    project.run();
    const QList<QPolygonF> after = project.polygons();
    QTRY_COMPARE(QThreadPool::globalInstance()->activeThreadCount(), 0);
    QCOMPARE(firstDifference(project.polygons(), after), QString());
    QVERIFY(watch.seen);
    // The chunk in progress was finished, the last one never started.
    QCOMPARE(firstDifference(after.mid(0, 2), complete.mid(0, 2)), QString());
    QCOMPARE(firstDifference(after.mid(10, 2), project.seeds.mid(10, 2)), QString());
}

// What is in progress may end if it takes no longer than the grace period.
void TestSegmentation::abortLeavesALongChunk()
{
    AbortGrace::setLength(std::chrono::milliseconds(0));
    const PoolThreads pool(1);
    BlockProject project({10, 12});
    const QPolygonF wanted = project.wanted(0);
    const AbortAtFirstChange abort(project.object);
    QCOMPARE(project.run().outcome, ModalJob::Outcome::Aborted);
    QVERIFY(abort.done());
    const QList<QPolygonF> after = project.polygons();
    QCOMPARE(after.at(0), wanted);
    QCOMPARE(firstDifference(after.mid(1), project.seeds.mid(1)), QString());
    AbortGrace::setLength(wholeParcels);
    project.setPolygons(project.seeds);
    QCOMPARE(project.run().outcome, ModalJob::Outcome::Finished); // the next run is not aborted
    QCOMPARE(firstDifference(project.polygons(), project.wantedPolygons(0, frames - 1)), QString());
}

// Those on a picture without any contrast do, and cannot be interrupted.
void TestSegmentation::abortLeavesARoundThatTakesLong()
{
    AbortGrace::setLength(std::chrono::seconds(1));
    const PoolThreads pool(1);
    TrackingProject project(Clips::curve(2), 2);
    project->video->chunkEnds = {2};
    annotate(project.object, 0, project.clip.truth(0));
    const QPolygonF slowOutline = Clips::makeSlowToCut(project.video(), 1);
    annotate(project.object, 1, slowOutline);
    QElapsedTimer sinceAbort;
    ProgressWatch watch;
    HeldJob firstFrame(project.object, [&watch] { watch.abort(); });
    watch.onAborted = [&] {
        sinceAbort.start();
        firstFrame.release();
    };
    QCOMPARE(AoiCutSegmentation(project.state()).runSegmenation().outcome, ModalJob::Outcome::Aborted);
    const qint64 time = sinceAbort.elapsed();
    const bool left = LeavableCall::leftBehind() == 1;
    QVERIFY(firstFrame.wentOn());
    qInfo("ended after %lld ms", time);
    QVERIFY2(time < longestEnd, qPrintable(QString::number(time)));
    if (!left)
        QSKIP("the slow round was over too soon");
    const QList<QPolygonF> after = project.polygons();
    QVERIFY(after.at(0) != project.clip.truth(0));
    QCOMPARE(after.at(1), slowOutline);
    QTRY_COMPARE_WITH_TIMEOUT(LeavableCall::leftBehind(), 0, 150000);
    QCOMPARE(firstDifference(project.polygons(), after), QString());
}

void TestSegmentation::whereAllThreadsAreLeftBehindARunIsRefused()
{
    const PoolThreads pool(1);
    BlockProject project({12});
    const auto gate = std::make_shared<QSemaphore>();
    QVERIFY(!LeavableCall::run([gate] { gate->acquire(); }, [] { return false; }));
    const LogCapture log;
    const FrameJob::Result result = project.run();
    gate->release();
    QCOMPARE(result.outcome, ModalJob::Outcome::Failed);
    QCOMPARE(result.failedFrame, 0);
    QCOMPARE(result.reason, QStringLiteral("what was aborted before is still being computed"));
    QCOMPARE(firstDifference(project.polygons(), project.seeds), QString());
    QCOMPARE(log.warnings().size(), 1);
    QTRY_COMPARE(LeavableCall::leftBehind(), 0);
    QCOMPARE(project.run().outcome, ModalJob::Outcome::Finished);
}

void TestSegmentation::nothingIsWritten()
{
    BlockProject project({12});
    const QDir folder(QFileInfo(project.video().getFramePath(0)).path());
    QDir above = folder;
    QVERIFY(above.cdUp());
    const QStringList framesBefore = folder.entryList(QDir::Files);
    const QStringList aboveBefore = above.entryList();
    project.run();
    QCOMPARE(folder.entryList(QDir::Files), framesBefore);
    QCOMPARE(above.entryList(), aboveBefore);
}

QTEST_MAIN(TestSegmentation)
#include "tst_aoicutsegmentation.moc"
