// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/dragrows.h"

#include "Models/keyframe.h"
#include "views/polyareagraphicsitem.h"
#include "views/polypointgraphicsitem.h"

#include <QtTest>

QVector<QPointF> handlePoints(const PolyAreaGraphicsItem *item)
{
    QVector<QPointF> points;
    for (const PolyPointGraphicsItem *handle : item->polyPoints)
        points.append(handle->point);
    return points;
}

void addDragTypeRows()
{
    QTest::addColumn<KeyFrame::Type>("before");
    QTest::addColumn<KeyFrame::Type>("after");
    QTest::newRow("visible") << KeyFrame::Visible << KeyFrame::Visible;
    QTest::newRow("occluded") << KeyFrame::Occluded << KeyFrame::Occluded;
    QTest::newRow("automatic") << KeyFrame::Automatic << KeyFrame::Visible;
    QTest::newRow("none") << KeyFrame::None << KeyFrame::None;
}

void addOtherButtonRows()
{
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::newRow("right") << Qt::RightButton;
    QTest::newRow("middle") << Qt::MiddleButton;
}
