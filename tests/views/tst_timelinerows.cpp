// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// Items of the time line stay from one reload to the next. Whatever happens to the project, they show what a
// time line shows that is made anew.
#include "tests/support/modelchecks.h"
#include "tests/support/projectwindow.h"
#include "tests/support/sceneprobe.h"
#include "tests/support/testproject.h"
#include "tests/support/timelineprobe.h"
#include "views/clickablegraphicsview.h"
#include "views/framespangraphicsitem.h"
#include "views/keyframegraphicsitem.h"
#include "views/trackedobjectlabel.h"

#include <QApplication>
#include <QDebug>
#include <QGraphicsLineItem>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGraphicsSimpleTextItem>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QStackedWidget>
#include <QtTest>

#include <new>
#include <random>

namespace
{

const QPolygonF outline = rectangle(5, 5, 10, 10);

template <class Value>
QString text(const Value &value)
{
    QString result;
    QDebug(&result).nospace() << value;
    return result;
}

QString address(const void *pointer)
{
    return QString::number(reinterpret_cast<quintptr>(pointer), 16);
}

/// What an item shows, or nothing for an item that only holds others.
QString shownBy(QGraphicsItem *item)
{
    if (const auto *marker = dynamic_cast<KeyFrameGraphicsItem *>(item)) {
        const QString look = marker->isVisible() ? text(marker->brush()) : QStringLiteral("hidden");
        return QStringLiteral("marker ") + address(marker->keyFrame) + text(marker->pen()) +
               text(marker->rect()) + look;
    }
    if (const auto *curve = dynamic_cast<FrameSpanGraphicsItem *>(item))
        return QStringLiteral("curve ") + address(curve->frameSpan) + text(curve->pen()) +
               text(curve->path());
    if (const auto *line = dynamic_cast<QGraphicsLineItem *>(item))
        return QStringLiteral("line ") + text(line->line()) + text(line->pen());
    if (const auto *number = dynamic_cast<QGraphicsSimpleTextItem *>(item))
        return QStringLiteral("text ") + number->text() + text(number->font()) + text(number->brush()) +
               text(number->pen());
    if (const auto *rectangle = dynamic_cast<QGraphicsRectItem *>(item))
        return QStringLiteral("rectangle ") + text(rectangle->rect()) + text(rectangle->brush()) +
               text(rectangle->pen());
    return QString();
}

/// Everything that a scene shows, lowest first.
QStringList shownBy(const QGraphicsScene *scene)
{
    QStringList shown = {text(scene->sceneRect())};
    const QList<QGraphicsItem *> items = scene->items(Qt::AscendingOrder);
    for (QGraphicsItem *item : items) {
        const QString one = shownBy(item);
        if (!one.isEmpty())
            shown.append(one + text(item->pos()) + text(item->scenePos()));
    }
    return shown;
}

QString shownBy(const TrackedObjectLabel *label)
{
    return QStringLiteral("label %1 %2 %3 %4 %5 ")
               .arg(label->objectId)
               .arg(label->nameLabel->text(), label->nameEdit->text(), label->nameLabel->toolTip())
               .arg(label->stack->currentIndex()) +
           text(label->palette().color(QPalette::Window));
}

/// Everything that a time line shows, its public lists included.
QStringList shownBy(const TimeLine &timeLine)
{
    QStringList shown = shownBy(timeLine.headerScene) + shownBy(timeLine.bodyScene);
    for (QGraphicsItem *item : timeLine.keyFrameItems)
        shown.append(shownBy(item));
    for (QGraphicsItem *item : timeLine.spanItems)
        shown.append(shownBy(item));
    for (const TrackedObjectLabel *label : labelsOf(&timeLine))
        shown.append(shownBy(label));
    const auto *body = timeLine.bodyView;
    return shown << text(body->sceneRect()) << text(timeLine.isEnabled());
}

/// The first thing in which a time line differs from one that is made anew; empty if there is none.
QString differenceFromNewOne(const TimeLine &timeLine)
{
    TimeLine newOne(QStringLiteral("Time Line"));
    newOne.frameWidth = timeLine.frameWidth;
    newOne.rowHeight = timeLine.rowHeight;
    newOne.reload();
    const QStringList expected = shownBy(newOne);
    const QStringList shown = shownBy(timeLine);
    for (int i = 0; i < qMin(expected.size(), shown.size()); ++i) {
        if (shown.at(i) != expected.at(i))
            return QStringLiteral("%1: %2 instead of %3").arg(i).arg(shown.at(i), expected.at(i));
    }
    if (shown.size() != expected.size())
        return QStringLiteral("%1 things instead of %2").arg(shown.size()).arg(expected.size());
    return QString();
}

/// Does something to the project in use, by chance.
class Chance
{
public:
    explicit Chance(unsigned seed)
        : m_random(seed)
    {
    }

    int below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(m_random); }

    void act(TimeLine &timeLine)
    {
        const int kind = below(100);
        if (!g_state->hasObjects() || (kind < 6 && g_state->objects.size() < 6))
            timeLine.addObject();
        else if (kind < 10)
            g_state->deleteObject(object()->id);
        else if (kind < 14)
            object()->switchOrderWith(object(), below(g_state->video->frameCount));
        else if (kind < 16)
            object()->changeName(QString::number(below(3)));
        else if (kind < 20)
            g_state->setFrame(below(g_state->video->frameCount));
        else if (kind < 24)
            g_state->setCurrentObject(object()->id);
        else if (kind < 30)
            object()->frameSpans.at(keyFrame()->frame)->setType(static_cast<FrameSpan::Type>(below(3)));
        else if (kind < 36)
            changeUnannounced(timeLine);
        else if (kind < 40)
            changeChainUnannounced(timeLine);
        else
            keyFrame()->annotate(outline, static_cast<KeyFrame::Type>(below(4)));
    }

private:
    TrackedObject *object() { return g_state->objects.at(below(g_state->objects.size())); }
    KeyFrame *keyFrame() { return object()->keyFrames.at(below(g_state->video->frameCount)); }

    void changeUnannounced(TimeLine &timeLine)
    {
        switch (below(5)) {
        case 0:
            keyFrame()->zOrder = below(5);
            break;
        case 1:
            keyFrame()->type = static_cast<KeyFrame::Type>(below(4));
            break;
        case 2:
            object()->color = g_state->colors.at(below(g_state->colors.size()));
            break;
        case 3:
            object()->name = QString::number(below(3));
            break;
        case 4:
            object()->frameSpans.at(keyFrame()->frame)->type = static_cast<FrameSpan::Type>(below(3));
            break;
        }
        timeLine.reload();
    }

    void changeChainUnannounced(TimeLine &timeLine)
    {
        {
            TrackedObject *changed = object();
            const QSignalBlocker blocker(changed);
            for (int i = below(6); i >= 0; --i) {
                KeyFrame *edited = changed->keyFrames.at(below(g_state->video->frameCount));
                edited->annotate(outline, below(2) == 0 ? KeyFrame::Visible : KeyFrame::None);
            }
        }
        timeLine.reload();
    }

    std::mt19937 m_random;
};

} // namespace

class TestTimeLineRows : public QObject
{
    Q_OBJECT

private slots:
    void showsWhatANewTimeLineShows_data();
    void showsWhatANewTimeLineShows();
    void paintsWhatANewTimeLinePaints();
    void curvesArePaintedAlongTheWholeVideo();
    void anotherProjectIsShownWhole();
    void anotherVideoIsShownWhole();
    void anotherRasterIsShownWhole();
    void anotherFontMakesNewNumbers();
    void anotherKeyFrameGetsAMarker_data();
    void anotherKeyFrameGetsAMarker();
    void aSpanAtAnOldAddressGetsACurve();
    void aRowWithoutCurvesGetsThemBackOnce();
    void markersAreFoundUnderTheMouse();
};

void TestTimeLineRows::showsWhatANewTimeLineShows_data()
{
    QTest::addColumn<int>("frames");
    QTest::addColumn<int>("actions");
    QTest::newRow("one frame") << 1 << 200;
    QTest::newRow("two frames") << 2 << 500;
    QTest::newRow("ten frames") << 10 << 1500;
    QTest::newRow("more frames than a block holds") << 300 << 100;
    QTest::newRow("three blocks") << 600 << 40;
}

void TestTimeLineRows::showsWhatANewTimeLineShows()
{
    QFETCH(int, frames);
    QFETCH(int, actions);
    TestProject project(frames, 32, 24);
    TimeLine timeLine(QStringLiteral("Time Line"));
    Chance chance(static_cast<unsigned>(frames));
    for (int i = 0; i < actions; ++i) {
        chance.act(timeLine);
        const QString difference = differenceFromNewOne(timeLine);
        QVERIFY2(difference.isEmpty(), qPrintable(QStringLiteral("action %1, %2").arg(i).arg(difference)));
        if (i % 7 == 0)
            ModelChecks::flushDeferredDeletes();
    }
}

void TestTimeLineRows::paintsWhatANewTimeLinePaints()
{
    TestProject project(600, 32, 24);
    TimeLine timeLine(QStringLiteral("Time Line"));
    timeLine.resize(900, 150); // about one row
    Chance chance(3);
    for (int i = 0; i < 60; ++i) {
        while (project->objects.size() < 3)
            annotate(project.addObject(), 300, outline);
        TrackedObject *object = project->objects.at(chance.below(project->objects.size()));
        object->switchOrderWith(project->objects.first(), chance.below(600));
        for (int j = 0; j < 3; ++j)
            chance.act(timeLine);
        TimeLine newOne(QStringLiteral("Time Line"));
        newOne.resize(timeLine.size());
        newOne.reload();
        const int position = chance.below(600 * timeLine.frameWidth);
        const int top = chance.below(200);
        QList<QImage> images;
        for (TimeLine *shown : {&timeLine, &newOne}) {
            shown->grab(); // gives the scroll bars their ranges
            shown->bodyView->horizontalScrollBar()->setValue(position);
            shown->bodyView->verticalScrollBar()->setValue(top);
            images << shown->bodyView->viewport()->grab().toImage();
            images << shown->headerView->viewport()->grab().toImage();
        }
        QCOMPARE(images.at(0), images.at(2));
        QCOMPARE(images.at(1), images.at(3));
    }
}

void TestTimeLineRows::curvesArePaintedAlongTheWholeVideo()
{
    TestProject project(600, 32, 24);
    TimeLine timeLine(QStringLiteral("Time Line"));
    timeLine.resize(900, 300);
    TrackedObject *object = project.addObject();
    for (const int frame : {0, 200, 300, 599})
        annotate(object, frame, outline);
    timeLine.grab(); // gives the scroll bars their ranges
    for (const int frame : {0, 100, 255, 256, 310, 590}) {
        timeLine.bodyView->horizontalScrollBar()->setValue(40 * frame);
        const int left = timeLine.bodyView->horizontalScrollBar()->value();
        const QImage image = timeLine.bodyView->viewport()->grab().toImage();
        const QPoint betweenColumns(40 * frame + 40 - left, 20);
        QCOMPARE(image.pixelColor(betweenColumns), object->color);
    }
}

// Its objects and key frames may lie where those of the old project were.
void TestTimeLineRows::anotherProjectIsShownWhole()
{
    ProjectWindow project(6, QSize(32, 24));
    TimeLine &timeLine = *project.timeLine();
    for (const int objects : {3, 1, 4}) {
        while (g_state->objects.size() < objects)
            annotate(project.addObject(), 2, outline);
        QCOMPARE(differenceFromNewOne(timeLine), QString());
        project.window().recreateDataState();
        g_state->video = ProjectWindow::makeVideo(6, QSize(32, 24), 25);
        g_state->videoLoaded = true;
        g_state->addObject();
        project.window().reload();
        QCOMPARE(differenceFromNewOne(timeLine), QString());
        g_state->setCurrentObject(-1);
        QCOMPARE(differenceFromNewOne(timeLine), QString()); // the new project is heard
        g_state->objects.first()->keyFrames.at(3)->setType(KeyFrame::Occluded);
        QCOMPARE(differenceFromNewOne(timeLine), QString());
    }
}

void TestTimeLineRows::anotherVideoIsShownWhole()
{
    ProjectWindow project(600, QSize(32, 24));
    annotate(project.addObject(), 2, outline);
    for (const int frames : {5, 700, 256, 257}) {
        project.window().recreateDataState();
        g_state->video = ProjectWindow::makeVideo(frames, QSize(32, 24), 25);
        g_state->videoLoaded = true;
        annotate(project.addObject(), frames - 1, outline);
        project.window().reload();
        QCOMPARE(project.timeLine()->keyFrameItems.size(), frames);
        QCOMPARE(differenceFromNewOne(*project.timeLine()), QString());
    }
}

void TestTimeLineRows::anotherRasterIsShownWhole()
{
    TestProject project(300, 32, 24);
    TimeLine timeLine(QStringLiteral("Time Line"));
    for (int i = 0; i < 3; ++i)
        annotate(project.addObject(), 7, outline);
    for (const QSize &raster : {QSize(40, 30), QSize(12, 30), QSize(12, 61), QSize(40, 40)}) {
        timeLine.frameWidth = raster.width();
        timeLine.rowHeight = raster.height();
        timeLine.reload();
        QCOMPARE(timeLine.keyFrameItems.at(2)->pos(), QPointF(raster.width() * 5 / 2, raster.height() / 2));
        QCOMPARE(differenceFromNewOne(timeLine), QString());
    }
}

void TestTimeLineRows::anotherFontMakesNewNumbers()
{
    TestProject project(12, 32, 24);
    TimeLine timeLine(QStringLiteral("Time Line"));
    timeLine.reload();
    const QFont previous = QApplication::font();
    QFont larger = previous;
    larger.setPointSize(previous.pointSize() + 7);
    QApplication::setFont(larger);
    timeLine.reload();
    const QString difference = differenceFromNewOne(timeLine);
    const QFont used = itemsOf<QGraphicsSimpleTextItem>(timeLine.headerScene).first()->font();
    QApplication::setFont(previous);
    QCOMPARE(difference, QString());
    QCOMPARE(used.pointSize(), larger.pointSize());
}

void TestTimeLineRows::anotherKeyFrameGetsAMarker_data()
{
    QTest::addColumn<bool>("inTheSamePlace");
    QTest::newRow("elsewhere in memory") << false;
    QTest::newRow("in the place of the old one") << true;
}

void TestTimeLineRows::anotherKeyFrameGetsAMarker()
{
    QFETCH(bool, inTheSamePlace);
    TestProject project(5, 32, 24);
    TimeLine timeLine(QStringLiteral("Time Line"));
    TrackedObject *object = project.addObject();
    KeyFrame *&shown = object->keyFrames[2];
    KeyFrame *old = shown;
    if (inTheSamePlace) {
        old->~KeyFrame();
        shown = new (old) KeyFrame(object, 2, KeyFrame::Visible);
    } else {
        shown = new KeyFrame(object, 2, KeyFrame::Visible);
    }
    timeLine.reload();
    QCOMPARE(differenceFromNewOne(timeLine), QString());
    if (!inTheSamePlace)
        delete old;
    ModelChecks::flushDeferredDeletes();
    object->keyFrames.at(2)->setType(KeyFrame::Occluded);
    QCOMPARE(differenceFromNewOne(timeLine), QString());
}

void TestTimeLineRows::aSpanAtAnOldAddressGetsACurve()
{
    TestProject project(8, 32, 24);
    TimeLine timeLine(QStringLiteral("Time Line"));
    TrackedObject *object = project.addObject();
    for (int i = 0; i < 20; ++i) {
        const QSignalBlocker blocker(object); // the time line hears of nothing meanwhile
        annotate(object, 4, outline);
        annotate(object, 4, QPolygonF(), KeyFrame::None);
        ModelChecks::flushDeferredDeletes();
        annotate(object, 4, outline);
        timeLine.reload();
        object->frameSpans.at(5)->setType(i % 2 == 0 ? FrameSpan::Occluded : FrameSpan::Hidden);
        QCOMPARE(differenceFromNewOne(timeLine), QString());
        annotate(object, 4, QPolygonF(), KeyFrame::None);
        ModelChecks::flushDeferredDeletes();
    }
}

void TestTimeLineRows::aRowWithoutCurvesGetsThemBackOnce()
{
    TestProject project(8, 32, 24);
    TimeLine timeLine(QStringLiteral("Time Line"));
    TrackedObject *object = project.addObject();
    annotate(object, 4, outline);
    const int items = timeLine.bodyScene->items().size();
    for (int i = 0; i < 2; ++i) {
        QList<FrameSpan *> spans;
        spans.swap(object->frameSpans);
        timeLine.reload();
        QVERIFY(timeLine.spanItems.isEmpty());
        spans.swap(object->frameSpans);
        timeLine.reload();
        QCOMPARE(timeLine.spanItems.size(), 2);
        QCOMPARE(timeLine.bodyScene->items().size(), items);
    }
}

void TestTimeLineRows::markersAreFoundUnderTheMouse()
{
    TestProject project(600, 32, 24);
    TimeLine timeLine(QStringLiteral("Time Line"));
    TrackedObject *a = project.addObject();
    TrackedObject *b = project.addObject();
    for (const int frame : {0, 255, 256, 599}) {
        annotate(a, frame, outline);
        annotate(b, frame, outline);
    }
    for (int i = 0; i < 2; ++i) {
        for (const TrackedObject *object : {a, b}) {
            for (const int frame : {0, 255, 256, 599}) {
                const QPointF place(40 * frame + 20, 20 + 40 * object->getZOrderRank(frame));
                auto *marker =
                    dynamic_cast<KeyFrameGraphicsItem *>(timeLine.bodyScene->itemAt(place, QTransform()));
                QVERIFY(marker);
                QCOMPARE(marker->keyFrame, object->keyFrames.at(frame));
            }
        }
        a->switchOrderWith(b, 256);
    }
}

QTEST_MAIN(TestTimeLineRows)
#include "tst_timelinerows.moc"
