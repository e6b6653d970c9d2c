// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/menudriver.h"
#include "tests/support/projectwindow.h"
#include "tests/support/signalprobe.h"
#include "tests/support/testproject.h"
#include "tests/support/timelineprobe.h"
#include "views/framespangraphicsitem.h"

#include <QAction>
#include <QGraphicsScene>
#include <QMenu>
#include <QSignalSpy>
#include <QtTest>

#include <utility>

namespace
{

const QPolygonF outline = rectangle(20, 20, 40, 40);

QPointF middleOf(const FrameSpanGraphicsItem *curve)
{
    return curve->path().pointAtPercent(0.5);
}

} // namespace

class TestFrameSpanGraphicsItem : public QObject
{
    Q_OBJECT

private slots:
    void spansAreStraightOrSCurves();
    void spanCurvesAreHitBesideTheLine();
    void aSpanCurveShowsItsType_data();
    void aSpanCurveShowsItsType();

    void spanMenuChangesTheType_data();
    void spanMenuChangesTheType();
};

void TestFrameSpanGraphicsItem::spansAreStraightOrSCurves()
{
    ProjectWindow project(6);
    TrackedObject *a = project.addObject();
    TrackedObject *b = project.addObject();
    annotate(a, 2, outline);
    for (int frame = 3; frame < 6; ++frame)
        std::swap(a->keyFrames.at(frame)->zOrder, b->keyFrames.at(frame)->zOrder);
    project.timeLine()->reload();
    const QList<FrameSpanGraphicsItem *> curves = curvesOf(project.timeLine(), a);
    QCOMPARE(curves.size(), 2);

    QPainterPath straight(QPointF(20, 20));
    straight.lineTo(QPointF(100, 20));
    QCOMPARE(curves.at(0)->path(), straight);
    QPainterPath curved(QPointF(100, 20));
    curved.cubicTo(QPointF(160, 20), QPointF(160, 60), QPointF(220, 60));
    QCOMPARE(curves.at(1)->path(), curved);
    QPainterPath upwards(QPointF(20, 60));
    upwards.cubicTo(QPointF(120, 60), QPointF(120, 20), QPointF(220, 20));
    QCOMPARE(curvesOf(project.timeLine(), b).first()->path(), upwards);
}

void TestFrameSpanGraphicsItem::spanCurvesAreHitBesideTheLine()
{
    ProjectWindow project(6);
    FrameSpan *span = project.addObject()->frameSpans.first();
    QVERIFY(project.show());
    const auto answers = [&project](double y) {
        return withMenu(project.timeLine(), QPointF(113, y), [](QMenu *) {});
    };
    for (const FrameSpan::Type type : {FrameSpan::Hidden, FrameSpan::Occluded, FrameSpan::Visible}) {
        span->setType(type); // the thickness drawn does not matter
        for (const int y : {16, 18, 20, 22, 24})
            QVERIFY2(answers(y), qPrintable(QString::number(y)));
        for (const int y : {8, 14, 26, 32})
            QVERIFY2(!answers(y), qPrintable(QString::number(y)));
    }

    // Only along the curve, not in the bow between it and its ends.
    QGraphicsScene scene;
    const auto *curve = new FrameSpanGraphicsItem(&scene, QPointF(20, 20), QPointF(220, 180), span);
    for (const double part : {0.1, 0.25, 0.5, 0.8}) {
        const QPointF on = curve->path().pointAtPercent(part);
        const double angle = curve->path().angleAtPercent(part);
        const QPointF aside = QLineF::fromPolar(4, angle + 90).p2();
        for (const QPointF &point : {on, on + aside, on - aside}) {
            QVERIFY(curve->contains(point));
            QVERIFY(curve->boundingRect().contains(point));
            QCOMPARE(scene.itemAt(point, QTransform()), static_cast<const QGraphicsItem *>(curve));
        }
        QVERIFY(!curve->contains(on + aside * 1.5));
        QVERIFY(!curve->contains(on - aside * 1.5));
    }
    QVERIFY(!curve->contains(QPointF(80, 62)));
    QVERIFY(!curve->contains(QPointF(160, 138)));
}

void TestFrameSpanGraphicsItem::aSpanCurveShowsItsType_data()
{
    QTest::addColumn<FrameSpan::Type>("type");
    QTest::addColumn<double>("width");
    QTest::addColumn<Qt::PenStyle>("style");
    QTest::newRow("hidden") << FrameSpan::Hidden << 1.0 << Qt::DotLine;
    QTest::newRow("visible") << FrameSpan::Visible << 3.0 << Qt::SolidLine;
    QTest::newRow("occluded") << FrameSpan::Occluded << 3.0 << Qt::DashLine;
}

void TestFrameSpanGraphicsItem::aSpanCurveShowsItsType()
{
    QFETCH(FrameSpan::Type, type);
    QFETCH(double, width);
    QFETCH(Qt::PenStyle, style);
    TestProject project(3);
    TrackedObject *object = project.addObject();
    QGraphicsScene scene;
    FrameSpan *span = object->frameSpans.first();
    span->type = FrameSpan::Visible;
    auto *item = new FrameSpanGraphicsItem(&scene, QPointF(0, 0), QPointF(80, 0), span);
    QCOMPARE(item->scene(), &scene);
    span->setType(FrameSpan::Occluded);
    span->setType(type);
    QCOMPARE(item->pen().color(), object->color);
    QCOMPARE(item->pen().widthF(), width);
    QCOMPARE(item->pen().style(), style);
    QCOMPARE(item->pen().capStyle(), Qt::SquareCap);
    QCOMPARE(item->pen().joinStyle(), Qt::BevelJoin);
}

void TestFrameSpanGraphicsItem::spanMenuChangesTheType_data()
{
    QTest::addColumn<FrameSpan::Type>("before");
    QTest::addColumn<QStringList>("entries");
    QTest::addColumn<QString>("entry");
    QTest::addColumn<FrameSpan::Type>("after");
    const QStringList visible = {"[x Visible]", "[Occluded]", "[Hidden]"};
    const QStringList occluded = {"[Visible]", "[x Occluded]", "[Hidden]"};
    const QStringList hidden = {"[Visible]", "[Occluded]", "[x Hidden]"};
    QTest::newRow("hidden to visible")
        << FrameSpan::Hidden << hidden << QStringLiteral("Visible") << FrameSpan::Visible;
    QTest::newRow("hidden to occluded")
        << FrameSpan::Hidden << hidden << QStringLiteral("Occluded") << FrameSpan::Occluded;
    QTest::newRow("visible to hidden")
        << FrameSpan::Visible << visible << QStringLiteral("Hidden") << FrameSpan::Hidden;
    QTest::newRow("occluded to visible")
        << FrameSpan::Occluded << occluded << QStringLiteral("Visible") << FrameSpan::Visible;
    QTest::newRow("visible again") << FrameSpan::Visible << visible << QStringLiteral("Visible")
                                   << FrameSpan::Visible;
    QTest::newRow("hidden again") << FrameSpan::Hidden << hidden << QStringLiteral("Hidden")
                                  << FrameSpan::Hidden;
    QTest::newRow("occluded again") << FrameSpan::Occluded << occluded << QStringLiteral("Occluded")
                                    << FrameSpan::Occluded;
}

void TestFrameSpanGraphicsItem::spanMenuChangesTheType()
{
    QFETCH(FrameSpan::Type, before);
    QFETCH(QStringList, entries);
    QFETCH(QString, entry);
    QFETCH(FrameSpan::Type, after);
    ProjectWindow project(6);
    TrackedObject *object = project.addObject();
    FrameSpan *span = object->frameSpans.first();
    span->setType(before);
    QVERIFY(project.show());
    const FrameSpanGraphicsItem *curve = project.timeLine()->spanItems.first();
    QStringList found;
    bool exclusive = false;
    QVERIFY(withMenu(project.timeLine(), middleOf(curve), [&](QMenu *menu) {
        found = MenuDriver::entries(menu);
        const QActionGroup *group = menu->actions().first()->actionGroup();
        exclusive = group && group->isExclusive() && group->actions().size() == 3;
    }));
    QCOMPARE(found, entries);
    QVERIFY(exclusive);
    const QSignalSpy changes(span, &FrameSpan::hasChanged);
    QVERIFY(chooseAt(project.timeLine(), middleOf(curve), {entry}));
    QCOMPARE(span->type, after);
    QCOMPARE(flagsOf(changes), before == after ? QList<int>() : QList<int>({FrameSpan::TypeChanged}));
    QCOMPARE(curve->pen().widthF(), after == FrameSpan::Hidden ? 1.0 : 3.0);
}

QTEST_MAIN(TestFrameSpanGraphicsItem)
#include "tst_framespangraphicsitem.moc"
