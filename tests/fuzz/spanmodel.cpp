// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/history.h"
#include "Models/projectfile.h"
#include "tests/fuzz/fuzzproject.h"
#include "tests/fuzz/fuzztarget.h"
#include "tests/support/modelchecks.h"
#include "tests/support/projectfields.h"
#include "tests/support/slowmodel.h"

#include <QDataStream>

#include <array>
#include <vector>

namespace
{

constexpr int mostFrames = 10;
constexpr int mostObjects = 3;
constexpr int mostSteps = 100;

/// The input, byte by byte; zeros behind its end.
class Script
{
public:
    explicit Script(const QByteArray &bytes)
        : m_bytes(bytes)
    {
    }

    bool atEnd() const { return m_next >= m_bytes.size(); }
    int below(int limit) { return atEnd() ? 0 : static_cast<unsigned char>(m_bytes.at(m_next++)) % limit; }

private:
    QByteArray m_bytes;
    int m_next = 0;
};

/// A project and a slow model of each of its objects, edited in step.
class Session
{
public:
    explicit Session(const QByteArray &input)
        : m_script(input)
        , m_frames(1 + m_script.below(mostFrames))
        , m_project(m_frames)
    {
        m_history.follow(&*m_project);
        m_moments.push_back({projectFields(*m_project), {}});
        addObject();
        settle();
    }

    void run()
    {
        for (int i = 0; i < mostSteps && !m_script.atEnd(); ++i) {
            static constexpr std::array steps{
                &Session::setType,      &Session::annotate,     &Session::setPolygon, &Session::reduce,
                &Session::setSpanType,  &Session::switchOrder,  &Session::goToFrame,  &Session::addObject,
                &Session::deleteObject, &Session::renameObject, &Session::reload,     &Session::settle,
                &Session::undo,         &Session::redo,
            };
            (this->*steps.at(static_cast<std::size_t>(m_script.below(int(steps.size())))))();
            check();
        }
        undoAll();
    }

private:
    int count() { return m_project->objects.size(); }
    int frame() { return m_script.below(m_frames); }
    /// Index of an object; there must be one.
    int object() { return m_script.below(count()); }
    SlowModel &model(int index) { return m_models.at(static_cast<std::size_t>(index)); }
    TrackedObject *tracked(int index) { return m_project->objects.at(index); }

    QPolygonF outline()
    {
        QPolygonF polygon;
        const int vertices = m_script.below(5);
        for (int i = 0; i < vertices; ++i)
            polygon.append(QPointF(m_script.below(256), m_script.below(256)));
        return polygon;
    }

    /// Makes a change and requires as many announcements of changed spans as the model says.
    template <class Edit>
    void announced(int index, int expected, const Edit &edit)
    {
        int announcements = 0;
        const QObject context;
        QObject::connect(tracked(index), &TrackedObject::hasChanged, &context,
                         [&](int flags) { announcements += flags == TrackedObject::SpansChanged ? 1 : 0; });
        edit();
        FuzzTarget::require(
            announcements == expected
                ? QString()
                : QStringLiteral("%1 signals instead of %2").arg(announcements).arg(expected));
    }

    void setType()
    {
        if (count() == 0)
            return;
        const int index = object();
        const int at = frame();
        const auto type = static_cast<KeyFrame::Type>(m_script.below(KeyFrame::Automatic + 1));
        announced(index, model(index).setType(at, type),
                  [&] { tracked(index)->keyFrames.at(at)->setType(type); });
    }

    void annotate()
    {
        if (count() == 0)
            return;
        const int index = object();
        const int at = frame();
        const auto type = static_cast<KeyFrame::Type>(m_script.below(KeyFrame::Automatic + 1));
        const QPolygonF polygon = outline();
        model(index).setPolygon(at, polygon);
        announced(index, model(index).setType(at, type),
                  [&] { tracked(index)->keyFrames.at(at)->annotate(polygon, type); });
    }

    void setPolygon()
    {
        if (count() == 0)
            return;
        const int index = object();
        const int at = frame();
        const QPolygonF polygon = outline();
        model(index).setPolygon(at, polygon);
        tracked(index)->keyFrames.at(at)->setNewPolygon(polygon);
    }

    void reduce()
    {
        if (count() == 0)
            return;
        const int index = object();
        const int at = frame();
        KeyFrame *keyFrame = tracked(index)->keyFrames.at(at);
        const int before = keyFrame->polygon.size();
        keyFrame->reducePolygonVertices();
        FuzzTarget::require(keyFrame->polygon.size() <= before ? QString() : QStringLiteral("more vertices"));
        model(index).setPolygon(at, keyFrame->polygon);
    }

    void setSpanType()
    {
        if (count() == 0)
            return;
        const int index = object();
        const QList<FrameSpan *> chain = ModelChecks::chain(tracked(index));
        const int position = m_script.below(chain.size());
        const int type = m_script.below(FrameSpan::Occluded + 1);
        model(index).setSpanType(static_cast<std::size_t>(position), type);
        chain.at(position)->setType(static_cast<FrameSpan::Type>(type));
    }

    void switchOrder()
    {
        if (count() == 0)
            return;
        const int one = object();
        const int other = object();
        tracked(one)->switchOrderWith(tracked(other), frame());
    }

    void goToFrame() { m_project->setFrame(frame()); }

    void addObject()
    {
        if (count() == mostObjects)
            return;
        m_project->addObject();
        m_models.emplace_back(m_frames);
    }

    void deleteObject()
    {
        if (count() == 0)
            return;
        const int index = object();
        m_models.erase(m_models.begin() + index);
        m_project->deleteObject(tracked(index)->id);
    }

    void renameObject()
    {
        if (count() > 0)
            tracked(object())->changeName(QString::number(m_script.below(256)));
    }

    /// Writes the project and reads it into another one.
    void reload()
    {
        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        ProjectFile::write(out, *m_project);
        const qint32 nextId = TrackedObject::newID;
        FuzzProject other(m_frames);
        QDataStream in(bytes);
        ProjectFile::readVideoName(in);
        const bool accepted = ProjectFile::read(in, *other);
        FuzzTarget::require(accepted ? QString() : QStringLiteral("what was written is rejected"));
        for (int i = 0; i < count(); ++i) {
            SlowModel read = model(i);
            read.reload();
            if (m_frames == 1) // the type of the only span is not in the file
                read.setSpanType(0, FrameSpan::Hidden);
            FuzzTarget::require(difference(other->objects.at(i), read, m_frames));
        }
        FuzzTarget::require(nextId == TrackedObject::newID ? QString() : QStringLiteral("another next id"));
    }

    /// Ends the gesture.
    void settle()
    {
        m_history.settle();
        const QByteArray fields = projectFields(*m_project);
        if (fields == m_moments.at(m_now).fields)
            return;
        m_moments.resize(++m_now);
        m_moments.push_back({fields, m_models});
    }

    void undo()
    {
        settle();
        const bool undone = !m_history.undo().isEmpty();
        FuzzTarget::require(undone == (m_now > 0) ? QString() : QStringLiteral("undo at step %1").arg(m_now));
        goTo(undone ? m_now - 1 : m_now);
    }

    void redo()
    {
        settle();
        const bool redone = !m_history.redo().isEmpty();
        const bool expected = m_now + 1 < m_moments.size();
        FuzzTarget::require(redone == expected ? QString() : QStringLiteral("redo at step %1").arg(m_now));
        goTo(redone ? m_now + 1 : m_now);
    }

    void goTo(std::size_t moment)
    {
        m_now = moment;
        m_models = m_moments.at(moment).models;
        const bool equal = projectFields(*m_project) == m_moments.at(moment).fields;
        FuzzTarget::require(equal ? QString() : QStringLiteral("step %1 is not what it was").arg(moment));
    }

    void undoAll()
    {
        while (m_history.canUndo())
            undo();
        FuzzTarget::require(m_now == 0 ? QString() : QStringLiteral("%1 steps are left").arg(m_now));
    }

    void check()
    {
        ModelChecks::flushDeferredDeletes();
        FuzzTarget::require(ModelChecks::stateProblem(*m_project));
        for (int i = 0; i < count(); ++i)
            FuzzTarget::require(difference(tracked(i), model(i), m_frames));
    }

    /// The project after a step.
    struct Moment {
        QByteArray fields;
        std::vector<SlowModel> models;
    };

    Script m_script;
    int m_frames;
    FuzzProject m_project;
    History m_history;
    std::vector<SlowModel> m_models; // of the objects, in their order
    std::vector<Moment> m_moments;   // from before the first step on
    std::size_t m_now = 0;
};

} // namespace

/// Takes the input as a list of edits.
void FuzzTarget::run(const QByteArray &input)
{
    Session(input).run();
}
