// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/modelchecks.h"
#include "tests/support/slowmodel.h"
#include "tests/support/testproject.h"

#include <QSignalSpy>
#include <QtTest>

#include <random>

namespace
{

/// One object and its model, edited in step.
class Sequence
{
public:
    Sequence(TrackedObject *object, int frames, unsigned seed)
        : m_object(object)
        , m_model(frames)
        , m_frames(frames)
        , m_random(seed)
        , m_spy(object, &TrackedObject::hasChanged)
    {
    }

    /// Makes one random edit on both; returns what went wrong.
    QString step()
    {
        m_spy.clear();
        int expectedSignals = 0;
        const int kind = below(12);
        if (kind == 0)
            setSpanType();
        else if (kind == 1)
            reload();
        else if (kind <= 3)
            setPolygon(frame());
        else
            expectedSignals = setKeyFrameType();
        ModelChecks::flushDeferredDeletes();
        for (const QList<QVariant> &arguments : qAsConst(m_spy)) {
            if (arguments != QList<QVariant>{TrackedObject::SpansChanged})
                return QStringLiteral("the object signals %1").arg(arguments.first().toInt());
        }
        if (m_spy.count() != expectedSignals)
            return QStringLiteral("%1 signals instead of %2").arg(m_spy.count()).arg(expectedSignals);
        return difference(m_object, m_model, m_frames);
    }

    QString history;

private:
    int below(int limit) { return static_cast<int>(m_random() % static_cast<unsigned>(limit)); }

    /// Any frame, the edges and the present boundaries more often.
    int frame()
    {
        switch (below(5)) {
        case 0:
            return below(2) == 0 ? 0 : m_frames - 1;
        case 1:
            return m_model.spans[static_cast<size_t>(below(static_cast<int>(m_model.spans.size())))].start;
        default:
            return below(m_frames);
        }
    }

    void note(const QString &text) { history += text + QLatin1Char(' '); }

    void setSpanType()
    {
        const int position = below(static_cast<int>(m_model.spans.size()));
        const int type = below(3);
        note(QStringLiteral("span%1=%2").arg(position).arg(type));
        m_model.setSpanType(static_cast<size_t>(position), type);
        ModelChecks::chain(m_object).at(position)->setType(static_cast<FrameSpan::Type>(type));
    }

    void reload()
    {
        note(QStringLiteral("reload"));
        m_model.reload();
        m_object->frameSpans.last() = ModelChecks::chain(m_object).last();
    }

    void setPolygon(int frame)
    {
        const QPolygonF polygon = rectangle(below(600), below(400), 10, 10);
        note(QStringLiteral("polygon%1").arg(frame));
        m_model.setPolygon(frame, polygon);
        m_object->keyFrames.at(frame)->setNewPolygon(polygon);
    }

    int setKeyFrameType()
    {
        const int at = frame();
        const int type = below(4);
        if (type != KeyFrame::None)
            setPolygon(at);
        note(QStringLiteral("key%1=%2").arg(at).arg(type));
        m_object->keyFrames.at(at)->setType(static_cast<KeyFrame::Type>(type));
        return m_model.setType(at, type);
    }

    TrackedObject *m_object;
    SlowModel m_model;
    int m_frames;
    std::mt19937 m_random;
    QSignalSpy m_spy;
};

} // namespace

class TestSpanProperty : public QObject
{
    Q_OBJECT

private slots:
    void randomEditsAgreeWithTheSlowModel_data();
    void randomEditsAgreeWithTheSlowModel();
    void everyShortSequenceAgreesWithTheSlowModel_data();
    void everyShortSequenceAgreesWithTheSlowModel();
};

void TestSpanProperty::randomEditsAgreeWithTheSlowModel_data()
{
    QTest::addColumn<int>("frames");
    QTest::addColumn<int>("sequences");
    QTest::addColumn<int>("steps");
    QTest::newRow("1 frame") << 1 << 300 << 20;
    QTest::newRow("2 frames") << 2 << 500 << 30;
    QTest::newRow("3 frames") << 3 << 800 << 30;
    QTest::newRow("5 frames") << 5 << 900 << 40;
    QTest::newRow("10 frames") << 10 << 700 << 40;
    QTest::newRow("50 frames") << 50 << 300 << 60;
    QTest::newRow("100 frames") << 100 << 200 << 80;
}

void TestSpanProperty::randomEditsAgreeWithTheSlowModel()
{
    QFETCH(int, frames);
    QFETCH(int, sequences);
    QFETCH(int, steps);
    TestProject project(frames);
    for (int i = 0; i < sequences; ++i) {
        const auto seed = static_cast<unsigned>(1000 * frames + i);
        TrackedObject object(project.state());
        Sequence sequence(&object, frames, seed);
        for (int step = 0; step < steps; ++step) {
            const QString problem = sequence.step();
            QVERIFY2(problem.isEmpty(), qPrintable(QStringLiteral("seed %1, step %2: %3\nafter %4")
                                                       .arg(seed)
                                                       .arg(step)
                                                       .arg(problem, sequence.history)));
        }
    }
}

void TestSpanProperty::everyShortSequenceAgreesWithTheSlowModel_data()
{
    QTest::addColumn<int>("frames");
    QTest::addColumn<int>("steps");
    QTest::newRow("1 frame, 4 changes") << 1 << 4;
    QTest::newRow("2 frames, 4 changes") << 2 << 4;
    QTest::newRow("3 frames, 3 changes") << 3 << 3;
    QTest::newRow("4 frames, 3 changes") << 4 << 3;
}

void TestSpanProperty::everyShortSequenceAgreesWithTheSlowModel()
{
    QFETCH(int, frames);
    QFETCH(int, steps);
    constexpr int types = 4;
    const int choices = frames * types;
    int combinations = 1;
    for (int i = 0; i < steps; ++i)
        combinations *= choices;
    TestProject project(frames);
    for (int combination = 0; combination < combinations; ++combination) {
        TrackedObject object(project.state());
        SlowModel model(frames);
        QString history;
        for (int step = 0, rest = combination; step < steps; ++step, rest /= choices) {
            const int frame = rest % choices / types;
            const int type = rest % types;
            history += QStringLiteral("key%1=%2 ").arg(frame).arg(type);
            QSignalSpy spy(&object, &TrackedObject::hasChanged);
            object.keyFrames.at(frame)->setType(static_cast<KeyFrame::Type>(type));
            QVERIFY2(spy.count() == model.setType(frame, type), qPrintable(history));
            ModelChecks::flushDeferredDeletes();
            const QString problem = difference(&object, model, frames);
            QVERIFY2(problem.isEmpty(), qPrintable(history + problem));
        }
    }
}

QTEST_GUILESS_MAIN(TestSpanProperty)
#include "tst_spanproperty.moc"
