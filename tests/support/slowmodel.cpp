// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/slowmodel.h"

#include "tests/support/modelchecks.h"

#include <QStringList>

#include <algorithm>

namespace
{

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

bool areEqual(const FrameSpan *span, const SlowModel::Span &expected)
{
    return span->start == expected.start && span->end == expected.end && span->type == expected.type;
}

bool areEqual(const QList<FrameSpan *> &chain, const std::vector<SlowModel::Span> &expected)
{
    return std::equal(
        chain.begin(), chain.end(), expected.begin(), expected.end(),
        [](const FrameSpan *span, const SlowModel::Span &other) { return areEqual(span, other); });
}

} // namespace

QString difference(const TrackedObject *object, const SlowModel &model, int frames)
{
    const QString fault = ModelChecks::objectProblem(object, frames);
    if (!fault.isEmpty())
        return fault;
    const QList<FrameSpan *> chain = ModelChecks::chain(object);
    if (!areEqual(chain, model.spans)) // texts take most of the time
        return QStringLiteral("spans %1 instead of %2").arg(spansOf(object), spansOf(model));
    if (!areEqual(object->frameSpans.last(), model.lastFramesSpan()))
        return QStringLiteral("the last frame names %1 instead of %2")
            .arg(spanText(object->frameSpans.last()), spanText(model.lastFramesSpan()));
    const int children = object->findChildren<FrameSpan *>(QString(), Qt::FindDirectChildrenOnly).size();
    if (children != chain.size())
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
