// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/timeline.h"

#include "core/datastate.h"
#include "core/mainwindow.h"
#include "views/clickablegraphicsview.h"
#include "views/framespangraphicsitem.h"
#include "views/keyframegraphicsitem.h"
#include "views/trackedobjectlabel.h"

#include <QCoreApplication>
#include <QEvent>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGraphicsSimpleTextItem>
#include <QGridLayout>
#include <QHash>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>

namespace
{

constexpr int headerHeight = 30;  // pixels
constexpr int labelWidth = 200;   // pixels
constexpr int addIconExtent = 20; // pixels
constexpr int markerMargin = 50;  // pixels kept visible around the current frame
constexpr double markerZ = -1.0;  // below everything else
const QColor markerColor(255, 127, 127, 255);
const QColor transparent(0, 0, 0, 0);
// Numbers, lines and discs are drawn for a light ground, whatever the palette.
const QColor ground(Qt::white);
const QColor disabledGround(239, 239, 239);

void linkScrollBars(QScrollBar *a, QScrollBar *b)
{
    QObject::connect(a, &QScrollBar::valueChanged, b, &QScrollBar::setValue);
    QObject::connect(b, &QScrollBar::valueChanged, a, &QScrollBar::setValue);
}

ClickableGraphicsView *createView(QGraphicsScene *scene)
{
    auto *view = new ClickableGraphicsView;
    view->setScene(scene);
    view->setFrameStyle(0);
    view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    view->setViewportUpdateMode(QGraphicsView::FullViewportUpdate);
    QPalette colors = view->palette();
    colors.setColor(QPalette::Base, ground);
    colors.setColor(QPalette::Disabled, QPalette::Base, disabledGround);
    view->setPalette(colors);
    return view;
}

QScrollArea *createLabelArea()
{
    auto *area = new QScrollArea;
    auto *content = new QWidget;
    auto *box = new QVBoxLayout(content);
    box->setSpacing(0);
    box->setContentsMargins(0, 0, 0, 0);
    box->setAlignment(Qt::AlignTop);
    area->setWidget(content);
    area->setWidgetResizable(true);
    area->setFixedWidth(labelWidth);
    area->setFrameStyle(0); // the rows line up with those of the body
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    return area;
}

/// Stacking rank of every object on one frame.
QHash<const TrackedObject *, int> ranksOn(int frame)
{
    QHash<const TrackedObject *, int> ranks;
    const QList<TrackedObject *> sorted = g_state->getZOrderSortedList(frame);
    for (int rank = 0; rank < sorted.size(); ++rank)
        ranks.insert(sorted.at(rank), rank);
    return ranks;
}

// Backwards: the scene takes its last item out at once, but searches all of them for an earlier one.
template <class Item>
void discardItems(QGraphicsScene *scene, QList<Item *> &items)
{
    while (!items.isEmpty()) {
        Item *item = items.takeLast();
        scene->removeItem(item);
        item->deleteLater();
    }
}

} // namespace

TimeLine::TimeLine(const QString &title, QWidget *parent, Qt::WindowFlags flags)
    : QDockWidget(title, parent, flags)
{
    Init();
}

void TimeLine::Init()
{
    addButton = new QPushButton(QIcon(QStringLiteral(":icons/add.ico")), tr("ADD Object"));
    addButton->setIconSize(QSize(addIconExtent, addIconExtent));
    addButton->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Ignored);
    labelArea = createLabelArea();
    labelArea->setAccessibleName(tr("Objects"));
    headerScene = new QGraphicsScene(this);
    headerView = createView(headerScene);
    headerView->setFixedHeight(headerHeight);
    headerView->setAccessibleName(tr("Frame numbers"));
    bodyScene = new QGraphicsScene(this);
    bodyView = createView(bodyScene);
    bodyView->setAccessibleName(tr("Key frames and spans"));

    auto *container = new QWidget;
    auto *grid = new QGridLayout(container);
    grid->setSpacing(0);
    grid->setColumnStretch(1, 1);
    grid->addWidget(addButton, 0, 0, 1, 2);
    grid->addWidget(headerView, 0, 2);
    grid->addWidget(labelArea->verticalScrollBar(), 1, 0);
    grid->addWidget(labelArea, 1, 1);
    grid->addWidget(bodyView, 1, 2);
    grid->addWidget(bodyView->horizontalScrollBar(), 2, 2);
    setWidget(container);

    linkScrollBars(headerView->horizontalScrollBar(), bodyView->horizontalScrollBar());
    linkScrollBars(labelArea->verticalScrollBar(), bodyView->verticalScrollBar());
    connect(addButton, &QPushButton::clicked, this, &TimeLine::addObject);
    connect(headerView, &ClickableGraphicsView::clicked, this, &TimeLine::viewClicked);
    connect(bodyView, &ClickableGraphicsView::clicked, this, &TimeLine::viewClicked);
    connectToState();
    setDisabled(true);
}

void TimeLine::reload()
{
    if (!g_state->videoLoaded) {
        setDisabled(true);
        return;
    }
    setDisabled(false);
    QScrollBar *rows = bodyView->verticalScrollBar();
    const int top = rows->value();
    reloadList();
    reloadHeader();
    reloadBody();
    reloadMarkers();
    rows->setValue(top);
    showCurrentRow();
}

void TimeLine::reloadHeader()
{
    const int frameCount = g_state->video->frameCount;
    const TimeLineGeometry columns = raster();
    headerScene->clear();
    headerScene->setSceneRect(0, 0, columns.width(frameCount), headerHeight);
    headerScene->addLine(0, 0, columns.width(frameCount), 0, QPen(transparent));
    for (int frame = 0; frame < frameCount; ++frame) {
        QGraphicsSimpleTextItem *number = headerScene->addSimpleText(QString::number(frame + 1));
        const double left = columns.columnCentre(frame) - number->boundingRect().width() / 2;
        number->setPos(static_cast<int>(left), 0);
    }
    headerMarker = addMarker(headerScene, headerHeight);
}

void TimeLine::reloadBody()
{
    const int frameCount = g_state->video->frameCount;
    const int width = raster().width(frameCount);
    const int height = raster().height(g_state->objects.size());
    discardItems(bodyScene, keyFrameItems);
    discardItems(bodyScene, spanItems);
    bodyScene->clear();
    bodyScene->setSceneRect(0, 0, width, height);
    bodyScene->addLine(0, 0, width, 0, QPen(transparent));
    if (g_state->hasObjects()) {
        for (int frame = 0; frame < frameCount; ++frame)
            bodyScene->addLine(raster().frameToX(frame), 0, raster().frameToX(frame), height - 1);
    }
    bodyMarker = addMarker(bodyScene, height);
    addRows();
}

void TimeLine::addRows()
{
    const int frameCount = g_state->video->frameCount;
    // An object's row changes with its stacking order, so every frame has its own y.
    QHash<const TrackedObject *, QVector<int>> rows;
    for (int frame = 0; frame < frameCount; ++frame) {
        const QHash<const TrackedObject *, int> ranks = ranksOn(frame);
        for (auto it = ranks.cbegin(); it != ranks.cend(); ++it)
            rows[it.key()].append(raster().rankToY(it.value()));
    }
    const QList<TrackedObject *> sorted = g_state->getZOrderSortedList(0);
    for (const TrackedObject *object : sorted)
        addSpans(object, rows.value(object));
    for (const TrackedObject *object : sorted)
        addKeyFrames(object, rows.value(object));
}

void TimeLine::addSpans(const TrackedObject *object, const QVector<int> &rows)
{
    const int lastFrame = g_state->video->frameCount - 1;
    for (int frame = 0; frame < lastFrame;) {
        FrameSpan *span = object->frameSpans.at(frame);
        const QPointF start(raster().frameToX(frame), rows.at(frame));
        const QPointF end(raster().frameToX(span->end), rows.at(span->end));
        spanItems.append(new FrameSpanGraphicsItem(bodyScene, start, end, span));
        frame = span->end;
    }
}

void TimeLine::addKeyFrames(const TrackedObject *object, const QVector<int> &rows)
{
    for (KeyFrame *keyFrame : object->keyFrames) {
        const QPointF position(raster().frameToX(keyFrame->frame), rows.at(keyFrame->frame));
        keyFrameItems.append(new KeyFrameGraphicsItem(bodyScene, position, keyFrame));
    }
}

QGraphicsRectItem *TimeLine::addMarker(QGraphicsScene *scene, double height)
{
    QGraphicsRectItem *marker =
        scene->addRect(0, 0, raster().width(1), height, QPen(Qt::NoPen), QBrush(markerColor));
    marker->setZValue(markerZ);
    return marker;
}

// By the stacking order of frame 0, whereas the rows of the body follow every frame's own order.
void TimeLine::reloadList()
{
    QLayout *list = labelArea->widget()->layout();
    while (QLayoutItem *item = list->takeAt(0)) {
        item->widget()->hide();
        item->widget()->deleteLater(); // it may be handling a click of its own
        delete item;
    }
    for (const TrackedObject *object : g_state->getZOrderSortedList(0))
        list->addWidget(new TrackedObjectLabel(object->id));
    // The area would learn of its new height from events still to come, and pull the linked bar of the body
    // back to its old range until then.
    labelArea->widget()->setMinimumHeight(raster().height(list->count()));
    QEvent layoutRequest(QEvent::LayoutRequest);
    QCoreApplication::sendEvent(labelArea, &layoutRequest);
}

/// Scrolls the current object's row into sight when the objects or the current one are not those of the last
/// time; otherwise the rows stay where the user left them. The row is that of the label list, whatever the
/// stacking order of the current frame.
void TimeLine::showCurrentRow()
{
    QList<QPointer<TrackedObject>> objects;
    for (TrackedObject *object : qAsConst(g_state->objects))
        objects.append(object);
    TrackedObject *current = g_state->getCurrentObject();
    if (objects == m_shownObjects && current == m_shownCurrent)
        return;
    m_shownObjects = objects;
    m_shownCurrent = current;
    if (!current)
        return;
    QScrollBar *rows = bodyView->verticalScrollBar();
    const int rank = current->getZOrderRank(0);
    const int top = raster().rowTop(rank);
    const int lowest =
        raster().rowTop(rank + 1) - bodyView->viewport()->height(); // with the row at the lower border
    rows->setValue(std::min(std::max(rows->value(), lowest), top));
}

void TimeLine::reloadMarkers()
{
    if (!headerMarker || !bodyMarker)
        return;
    const int x = raster().columnLeft(g_state->currentFrame);
    headerMarker->setPos(x, 0);
    bodyMarker->setPos(x, 0);
    // The marker is as tall as all rows: following it must not move the rows that the user looks at.
    QScrollBar *rows = bodyView->verticalScrollBar();
    const int top = rows->value();
    bodyView->ensureVisible(bodyMarker, markerMargin, markerMargin);
    rows->setValue(top);
}

void TimeLine::addObject()
{
    const bool hadObjects = g_state->hasObjects();
    g_state->addObject();
    if (!hadObjects && g_mainWindow)
        g_mainWindow->reload();
}

void TimeLine::connectToState()
{
    disconnect(g_state, nullptr, this, nullptr);
    connect(g_state, &DataState::hasChanged, this, &TimeLine::filterStateChange);
    connectToObjects();
}

void TimeLine::filterStateChange(int flags)
{
    if (flags & DataState::ObjectListChanged) {
        connectToObjects();
        reload();
    }
    if (flags & DataState::FrameChanged)
        reloadMarkers();
    if (flags & DataState::ObjectSelectionChanged)
        showCurrentRow();
}

void TimeLine::connectToObjects()
{
    for (const QMetaObject::Connection &connection : qAsConst(objectConnections))
        disconnect(connection);
    objectConnections.clear();
    for (TrackedObject *object : qAsConst(g_state->objects)) {
        objectConnections.append(
            connect(object, &TrackedObject::hasChanged, this, &TimeLine::filterObjectsChange));
    }
}

void TimeLine::filterObjectsChange(int /*flags*/)
{
    reload();
}

void TimeLine::viewClicked(QPoint position)
{
    g_state->setFrame(scrollPosToFrame(bodyView->horizontalScrollBar()->value() + position.x()));
}

int TimeLine::scrollPosToFrame(int pos)
{
    return raster().xToFrame(pos);
}
