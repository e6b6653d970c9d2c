// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/trackingproject.h"

#include "processing/morph.h"

TrackingProject::TrackingProject(const Clips::Clip &rendered, int frames)
    : TestProject(frames, rendered.size.width(), rendered.size.height())
    , clip(rendered)
    , object(addObject())
{
    Clips::write(video(), clip);
}

void TrackingProject::annotateTruth(const QList<int> &frames)
{
    for (int frame : frames)
        annotate(object, frame, clip.truth(frame));
    morph();
}

void TrackingProject::morph()
{
    Morph(state()).linearMorphing(0, -1);
}

QList<QPolygonF> TrackingProject::polygons() const
{
    QList<QPolygonF> all;
    for (const KeyFrame *keyFrame : object->keyFrames)
        all.append(keyFrame->polygon);
    return all;
}

void TrackingProject::setPolygons(const QList<QPolygonF> &polygons)
{
    for (int frame = 0; frame < polygons.size(); ++frame)
        object->keyFrames.at(frame)->setNewPolygon(polygons.at(frame));
}

double TrackingProject::meanOverlap(int first, int last) const
{
    double sum = 0;
    for (int frame = first; frame <= last; ++frame)
        sum += Clips::overlap(object->keyFrames.at(frame)->polygon, clip.truth(frame), clip.size);
    return sum / (last - first + 1);
}

QString firstDifference(const QList<QPolygonF> &actual, const QList<QPolygonF> &expected)
{
    if (actual.size() != expected.size())
        return QStringLiteral("%1 instead of %2 polygons").arg(actual.size()).arg(expected.size());
    for (int frame = 0; frame < actual.size(); ++frame) {
        const QPolygonF &a = actual.at(frame);
        const QPolygonF &b = expected.at(frame);
        if (a.size() != b.size())
            return QStringLiteral("frame %1: %2 instead of %3 points").arg(frame).arg(a.size()).arg(b.size());
        for (int i = 0; i < a.size(); ++i) {
            const bool same = !(a.at(i).x() < b.at(i).x() || a.at(i).x() > b.at(i).x() ||
                                a.at(i).y() < b.at(i).y() || a.at(i).y() > b.at(i).y());
            if (!same)
                return QStringLiteral("frame %1, point %2: (%3, %4) instead of (%5, %6)")
                    .arg(frame)
                    .arg(i)
                    .arg(a.at(i).x(), 0, 'g', 17)
                    .arg(a.at(i).y(), 0, 'g', 17)
                    .arg(b.at(i).x(), 0, 'g', 17)
                    .arg(b.at(i).y(), 0, 'g', 17);
        }
    }
    return QString();
}
