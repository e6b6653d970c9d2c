// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/timelineprobe.h"

#include "Models/trackedobject.h"
#include "tests/support/menudriver.h"
#include "tests/support/mousedriver.h"
#include "views/clickablegraphicsview.h"
#include "views/framespangraphicsitem.h"
#include "views/keyframegraphicsitem.h"
#include "views/timeline.h"
#include "views/trackedobjectlabel.h"

#include <QLabel>
#include <QLayout>
#include <QScrollArea>
#include <QtTest>

QList<TrackedObjectLabel *> labelsOf(const TimeLine *timeLine)
{
    QList<TrackedObjectLabel *> labels;
    const QLayout *list = timeLine->labelArea->widget()->layout();
    for (int i = 0; i < list->count(); ++i)
        labels.append(qobject_cast<TrackedObjectLabel *>(list->itemAt(i)->widget()));
    return labels;
}

QStringList namesOf(const TimeLine *timeLine)
{
    QStringList names;
    for (const TrackedObjectLabel *label : labelsOf(timeLine))
        names.append(label->nameLabel->text());
    return names;
}

KeyFrameGraphicsItem *markerOf(const TimeLine *timeLine, const KeyFrame *keyFrame)
{
    for (KeyFrameGraphicsItem *item : timeLine->keyFrameItems) {
        if (item->keyFrame == keyFrame)
            return item;
    }
    return nullptr;
}

QList<FrameSpanGraphicsItem *> curvesOf(const TimeLine *timeLine, const TrackedObject *object)
{
    QList<FrameSpanGraphicsItem *> curves;
    for (FrameSpanGraphicsItem *item : timeLine->spanItems) {
        if (item->frameSpan->object == object)
            curves.append(item);
    }
    return curves;
}

QList<double> rowsOf(const TimeLine *timeLine, const TrackedObject *object)
{
    QList<double> rows;
    for (const KeyFrame *keyFrame : object->keyFrames)
        rows.append(markerOf(timeLine, keyFrame)->pos().y());
    return rows;
}

bool withMenu(const TimeLine *timeLine, QPointF scenePoint, const std::function<void(QMenu *)> &handle)
{
    const MenuDriver driver(handle);
    MouseDriver::contextMenu(timeLine->bodyView->viewport(), timeLine->bodyView->mapFromScene(scenePoint));
    return driver.handled();
}

bool chooseAt(const TimeLine *timeLine, QPointF scenePoint, const QStringList &path)
{
    bool chosen = false;
    return withMenu(timeLine, scenePoint, [&](QMenu *menu) { chosen = MenuDriver::choose(menu, path); }) &&
           chosen;
}

void addPositionRows()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<int>("frame");
    QTest::newRow("left edge") << 0 << 0;
    QTest::newRow("end of the first column") << 39 << 0;
    QTest::newRow("start of the second column") << 40 << 1;
    QTest::newRow("end of the second column") << 79 << 1;
    QTest::newRow("far to the right") << 4000 << 100;
    QTest::newRow("just left of the video") << -1 << -1;
    QTest::newRow("a column left of the video") << -40 << -1;
    QTest::newRow("more than a column left of the video") << -41 << -2;
}
