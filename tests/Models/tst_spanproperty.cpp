// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/modelchecks.h"
#include "tests/support/testproject.h"

#include <QSignalSpy>
#include <QtTest>

#include <algorithm>
#include <random>
#include <vector>

namespace
{

/// What an object should look like, kept as a plain list of spans and computed the slow way.
///
/// It has no per-frame index: spans are found by searching. The last frame's entry is the number of a span.
class SlowModel
{
public:
    struct Span {
        int number; // identity
        int start;
        int end;
        int type;
    };

    explicit SlowModel(int frames)
        : types(static_cast<size_t>(frames), KeyFrame::None)
        , polygons(static_cast<size_t>(frames))
        , m_last(frames - 1)
    {
        spans.push_back({0, 0, m_last, FrameSpan::Hidden});
    }

    /// Returns how often the object must announce changed spans.
    int setType(int frame, int type)
    {
        typeAt(frame) = type;
        if (type == KeyFrame::Automatic)
            return 0;
        return type == KeyFrame::None ? removed(frame) : userKeyFrameSet(frame);
    }

    void setPolygon(int frame, const QPolygonF &polygon) { polygons[static_cast<size_t>(frame)] = polygon; }

    void setSpanType(size_t position, int type) { spans[position].type = type; }

    /// The last frame names the last span, as in a project just read.
    void reload() { m_lastFramesSpan = spans.back().number; }

    const Span &lastFramesSpan() const { return spans[positionOf(m_lastFramesSpan)]; }

    std::vector<Span> spans;
    std::vector<int> types;
    std::vector<QPolygonF> polygons;

private:
    int &typeAt(int frame) { return types[static_cast<size_t>(frame)]; }

    bool isUser(int frame)
    {
        return typeAt(frame) == KeyFrame::Visible || typeAt(frame) == KeyFrame::Occluded;
    }

    size_t positionOf(int number) const
    {
        for (size_t i = 0; i < spans.size(); ++i) {
            if (spans[i].number == number)
                return i;
        }
        qFatal("the model lost span %d", number);
    }

    /// Position of the span that owns a frame: a boundary belongs to the later span, the last frame to the
    /// span that its entry names.
    size_t spanAt(int frame) const
    {
        if (frame == m_last)
            return positionOf(m_lastFramesSpan);
        size_t found = 0;
        for (size_t i = 0; i < spans.size(); ++i) {
            if (spans[i].start <= frame)
                found = i;
        }
        return found;
    }

    bool startsALaterSpan(int frame) const
    {
        return std::any_of(spans.begin() + 1, spans.end(),
                           [frame](const Span &span) { return span.start == frame; });
    }

    void clear(int start, int end)
    {
        for (int frame = start + 1; frame < end; ++frame) {
            typeAt(frame) = KeyFrame::None;
            setPolygon(frame, QPolygonF());
        }
    }

    void show(Span &span, int otherEnd)
    {
        if (span.type == FrameSpan::Hidden && isUser(otherEnd))
            span.type = FrameSpan::Visible;
    }

    int userKeyFrameSet(int frame)
    {
        const bool edge = frame == 0 || frame == m_last;
        if (!edge && startsALaterSpan(frame))
            return 0;
        if (!edge) {
            const size_t at = spanAt(frame);
            Span later = spans[at];
            later.number = m_nextNumber++;
            later.start = frame;
            spans[at].end = frame;
            spans.insert(spans.begin() + static_cast<std::ptrdiff_t>(at) + 1, later);
        }
        if (frame > 0) {
            Span &before = spans[spanAt(frame - 1)];
            show(before, before.start);
        }
        if (frame < m_last) {
            Span &behind = spans[spanAt(frame)];
            show(behind, behind.end);
        }
        if (frame > 0)
            clear(spans[spanAt(frame - 1)].start, frame);
        if (frame < m_last)
            clear(frame, spans[spanAt(frame)].end);
        return 1;
    }

    int removed(int frame)
    {
        const bool edge = frame == 0 || frame == m_last;
        if (!edge && !startsALaterSpan(frame))
            return 0;
        if (!edge) {
            const size_t at = spanAt(frame);
            Span &earlier = spans[at - 1];
            const Span later = spans[at];
            earlier.end = later.end;
            if (earlier.type != later.type)
                earlier.type = FrameSpan::Hidden;
            if (m_lastFramesSpan == later.number)
                m_lastFramesSpan = earlier.number;
            spans.erase(spans.begin() + static_cast<std::ptrdiff_t>(at));
        }
        Span &merged = spans[spanAt(frame)];
        if (frame == 0 || typeAt(merged.start) == KeyFrame::None)
            merged.type = FrameSpan::Hidden;
        if (frame == m_last || typeAt(merged.end) == KeyFrame::None)
            merged.type = FrameSpan::Hidden;
        clear(merged.start, merged.end);
        return 1;
    }

    int m_last;
    int m_lastFramesSpan = 0;
    int m_nextNumber = 1;
};

QString spanText(const SlowModel::Span &span)
{
    return QStringLiteral("%1-%2/%3").arg(span.start).arg(span.end).arg(span.type);
}

QString spanText(const FrameSpan *span)
{
    return QStringLiteral("%1-%2/%3").arg(span->start).arg(span->end).arg(span->type);
}

QString spansOf(const SlowModel &model)
{
    QStringList texts;
    for (const SlowModel::Span &span : model.spans)
        texts.append(spanText(span));
    return texts.join(QLatin1Char(' '));
}

QString spansOf(const TrackedObject *object)
{
    QStringList texts;
    for (const FrameSpan *span : ModelChecks::chain(object))
        texts.append(spanText(span));
    return texts.join(QLatin1Char(' '));
}

/// First difference between the object and the model; empty when there is none.
QString difference(const TrackedObject *object, const SlowModel &model, int frames)
{
    const QString fault = ModelChecks::objectProblem(object, frames);
    if (!fault.isEmpty())
        return fault;
    const QString expected = spansOf(model);
    const QString actual = spansOf(object);
    if (actual != expected)
        return QStringLiteral("spans %1 instead of %2").arg(actual, expected);
    const QString expectedLast = spanText(model.lastFramesSpan());
    const QString actualLast = spanText(object->frameSpans.last());
    if (actualLast != expectedLast)
        return QStringLiteral("the last frame names %1 instead of %2").arg(actualLast, expectedLast);
    const int children = object->findChildren<FrameSpan *>(QString(), Qt::FindDirectChildrenOnly).size();
    if (children != ModelChecks::chain(object).size())
        return QStringLiteral("%1 spans are alive").arg(children);
    for (int frame = 0; frame < frames; ++frame) {
        const KeyFrame *key = object->keyFrames.at(frame);
        if (key->type != model.types[static_cast<size_t>(frame)])
            return QStringLiteral("key frame %1 has type %2").arg(frame).arg(key->type);
        if (key->polygon != model.polygons[static_cast<size_t>(frame)])
            return QStringLiteral("key frame %1 has another polygon").arg(frame);
    }
    return QString();
}

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
