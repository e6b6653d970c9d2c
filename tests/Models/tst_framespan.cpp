// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/framespan.h"
#include "tests/support/modelchecks.h"
#include "tests/support/testproject.h"

#include <QtTest>

class TestFrameSpan : public QObject
{
    Q_OBJECT

private slots:
    void typeValuesAreThoseOfTheFile();
    void theChangeBit();
    void aSpanStartsAsItIsTold();
    void settingASpanTypeAlwaysSignals();
};

void TestFrameSpan::typeValuesAreThoseOfTheFile()
{
    QCOMPARE(static_cast<int>(FrameSpan::Hidden), 0);
    QCOMPARE(static_cast<int>(FrameSpan::Visible), 1);
    QCOMPARE(static_cast<int>(FrameSpan::Occluded), 2);
}

void TestFrameSpan::theChangeBit()
{
    QCOMPARE(static_cast<int>(FrameSpan::TypeChanged), 1);
}

void TestFrameSpan::aSpanStartsAsItIsTold()
{
    TestProject project(10);
    TrackedObject *object = project.addObject();
    const FrameSpan span(object, FrameSpan::Occluded, 3, 8);
    QCOMPARE(span.object, object);
    QCOMPARE(span.parent(), object);
    QCOMPARE(span.type, FrameSpan::Occluded);
    QCOMPARE(span.start, 3);
    QCOMPARE(span.end, 8);
    QVERIFY(!object->frameSpans.contains(const_cast<FrameSpan *>(&span)));
}

void TestFrameSpan::settingASpanTypeAlwaysSignals()
{
    TestProject project(10);
    TrackedObject *object = project.addObject();
    SignalRecorder recorder;
    recorder.watch(object);
    FrameSpan *span = object->frameSpans.first();
    span->setType(FrameSpan::Occluded);
    QCOMPARE(span->type, FrameSpan::Occluded);
    span->setType(FrameSpan::Occluded);
    span->setType(FrameSpan::Hidden);
    QCOMPARE(span->type, FrameSpan::Hidden);
    QCOMPARE(recorder.log, QStringList({"span 0-9: type", "span 0-9: type", "span 0-9: type"}));
}

QTEST_GUILESS_MAIN(TestFrameSpan)
#include "tst_framespan.moc"
