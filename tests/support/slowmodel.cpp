// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/slowmodel.h"

#include "tests/support/modelchecks.h"

#include <QStringList>

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

} // namespace

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
