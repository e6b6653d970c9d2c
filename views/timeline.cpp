// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/timeline.h"

#include "core/datastate.h"
#include "core/mainwindow.h"
#include "views/buildingsign.h"
#include "views/clickablegraphicsview.h"
#include "views/newobject.h"
#include "views/timelinegrid.h"
#include "views/timelinenumbers.h"
#include "views/timelinerows.h"
#include "views/trackedobjectlabel.h"

#include <QCoreApplication>
#include <QEvent>
#include <QGraphicsLineItem>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGridLayout>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <algorithm>

namespace
{

constexpr int headerHeight = 30;   // pixels
constexpr int labelWidth = 200;    // pixels
constexpr int addIconExtent = 20;  // pixels
constexpr int markerMargin = 50;   // pixels kept visible around the current frame
constexpr double markerZ = -1.0;   // below everything else
constexpr int sceneTreeDepth = 12; // of the index, which holds blocks of items
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

QGraphicsScene *createScene(QObject *parent)
{
    auto *scene = new QGraphicsScene(parent);
    scene->setBspTreeDepth(sceneTreeDepth);
    return scene;
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

TrackedObjectLabel *labelAt(QLayout *list, int index)
{
    return static_cast<TrackedObjectLabel *>(list->itemAt(index)->widget());
}

/// Takes a label out of the list. It is deleted later, since it may be handling a click of its own.
void discardLabel(QLayout *list, int index)
{
    const std::unique_ptr<QLayoutItem> item(list->takeAt(index));
    item->widget()->hide();
    item->widget()->deleteLater();
}

} // namespace

TimeLine::TimeLine(const QString &title, QWidget *parent, Qt::WindowFlags flags)
    : QDockWidget(title, parent, flags)
{
    Init();
}

TimeLine::~TimeLine() = default;

void TimeLine::Init()
{
    addButton = new QPushButton(QIcon(QStringLiteral(":icons/add.ico")), tr("ADD Object"));
    addButton->setIconSize(QSize(addIconExtent, addIconExtent));
    addButton->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Ignored);
    labelArea = createLabelArea();
    labelArea->setAccessibleName(tr("Objects"));
    headerScene = createScene(this);
    m_numbers = std::make_unique<TimeLineNumbers>(headerScene);
    headerView = createView(headerScene);
    headerView->setFixedHeight(headerHeight);
    headerView->setAccessibleName(tr("Frame numbers"));
    bodyScene = createScene(this);
    m_grid = std::make_unique<TimeLineGrid>(bodyScene);
    m_rows = std::make_unique<TimeLineRows>(bodyScene);
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
    const BuildingSign sign(itemsToMake());
    QScrollBar *rows = bodyView->verticalScrollBar();
    const int top = rows->value();
    reloadList();
    reloadHeader();
    reloadBody();
    reloadMarkers();
    rows->setValue(top);
    showCurrentRow();
}

/// How many items the next reload makes, at least: none where the video and its objects are those of the
/// last.
qint64 TimeLine::itemsToMake() const
{
    const qint64 frameCount = g_state->video->frameCount;
    const bool anew = raster().width(g_state->video->frameCount) != headerScene->width();
    const auto isNew = [&](TrackedObject *object) { return anew || !m_shownObjects.contains(object); };
    const auto rows = std::count_if(g_state->objects.cbegin(), g_state->objects.cend(), isNew);
    return frameCount * (rows + (anew ? 1 : 0));
}

// What differs is made anew, the rest stays. A video of ten thousand frames and ten objects has a hundred
// thousand items.
void TimeLine::reloadHeader()
{
    const int frameCount = g_state->video->frameCount;
    const int width = raster().width(frameCount);
    headerScene->setSceneRect(0, 0, width, headerHeight);
    if (!headerMarker) {
        m_headerWidth = headerScene->addLine(QLineF(), QPen(transparent));
        headerMarker = addMarker(headerScene);
    }
    m_headerWidth->setLine(0, 0, width, 0);
    headerMarker->setRect(0, 0, raster().width(1), headerHeight);
    m_numbers->update(raster(), frameCount);
}

void TimeLine::reloadBody()
{
    const int frameCount = g_state->video->frameCount;
    const int width = raster().width(frameCount);
    const int height = raster().height(g_state->objects.size());
    // The views repaint themselves whole anyway; a scene that knows this keeps no account of what has
    // changed.
    bodyScene->update();
    if (!bodyMarker) {
        m_bodyWidth = bodyScene->addLine(QLineF(), QPen(transparent));
        bodyMarker = addMarker(bodyScene);
    }
    m_bodyWidth->setLine(0, 0, width, 0);
    bodyMarker->setRect(0, 0, raster().width(1), height);
    setBodySize(width, height);
    if (g_state->hasObjects())
        m_grid->update(raster(), frameCount, height - 1);
    else
        m_grid->clear();
    m_rows->update(raster());
    spanItems = m_rows->curves();
    keyFrameItems = m_rows->markers();
}

/// For another width, the scene's index is laid out anew while there are no rows in it. Another height alone
/// is not told to the index, which would sort in all its items anew: it finds them as well above and below
/// the rectangle that it was laid out for.
void TimeLine::setBodySize(int width, int height)
{
    const bool widthStays = width == bodyScene->width();
    if (!widthStays) {
        m_rows->clear();
        m_grid->clear();
    }
    const QSignalBlocker blocker(widthStays ? bodyScene : nullptr);
    bodyScene->setSceneRect(0, 0, width, height);
    bodyView->updateSceneRect(bodyScene->sceneRect());
}

QGraphicsRectItem *TimeLine::addMarker(QGraphicsScene *scene)
{
    QGraphicsRectItem *marker = scene->addRect(QRectF(), QPen(Qt::NoPen), QBrush(markerColor));
    marker->setZValue(markerZ);
    return marker;
}

// By the stacking order of frame 0, whereas the rows of the body follow every frame's own order. Labels of
// objects that are still there in the old order stay, but for those in which a name is being edited: what
// takes the focus away may be a press on the label's own button, which must not open it again.
void TimeLine::reloadList()
{
    QLayout *list = labelArea->widget()->layout();
    for (int i = 0; i < list->count();) {
        if (labelAt(list, i)->isEditing())
            discardLabel(list, i); // takes the name over, which reloads everything before this goes on
        else
            labelAt(list, i++)->reload();
    }
    const QList<TrackedObject *> objects = g_state->getZOrderSortedList(0);
    int kept = 0;
    while (kept < list->count()) {
        if (kept < objects.size() && labelAt(list, kept)->isOf(*objects.at(kept)))
            ++kept;
        else
            discardLabel(list, kept);
    }
    for (; kept < objects.size(); ++kept)
        list->addWidget(new TrackedObjectLabel(objects.at(kept)->id));
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
    NewObject::add();
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
