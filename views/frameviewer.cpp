// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/frameviewer.h"

#include "core/datastate.h"
#include "core/mainwindow.h"
#include "processing/functions.h"
#include "views/framegraphicsview.h"
#include "views/polyareagraphicsitem.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QHBoxLayout>

#include <cmath>
#include <limits>

namespace
{

const QColor surround(64, 66, 70); // around the frame
constexpr double halfStep = 0.5;   // keeps a position at an edge's end inside that edge

/// Where a point lies on one edge of a polygon.
struct EdgePosition {
    double raw;      ///< projection parameter on the line, 0 at the edge's start and 1 at its end
    double clamped;  ///< the same, limited to the edge
    QPointF foot;    ///< nearest point of the edge
    double distance; ///< of the point from the foot, in pixels
};

EdgePosition positionOnEdge(QPointF start, QPointF end, QPointF point)
{
    const QPointF d = end - start;
    const double length = Functions::vecLength(d);
    EdgePosition position;
    position.raw = Functions::dot(point - start, d) / length / length;
    position.clamped = position.raw;
    if (position.raw <= 0)
        position.clamped = 0;
    else if (position.raw >= 1)
        position.clamped = 1;
    position.foot = start + position.clamped * d;
    position.distance = Functions::distance(point, position.foot);
    return position;
}

/// Edge index plus fraction, moved inside the edge where the fraction is 0 or 1.
double insidePosition(int edge, const EdgePosition &position)
{
    double value = edge + position.clamped;
    if (position.raw <= 0)
        value += halfStep;
    else if (position.raw >= 1)
        value -= halfStep;
    return value;
}

/// For a point nearest to the vertex that edge `i` shares with the best edge so far: does it belong to edge
/// i?
bool angleFavoursEdge(const QPolygonF &polygon, int i, const EdgePosition &position, QPointF point)
{
    const int count = polygon.size();
    const QPointF a = polygon.at(i);
    const QPointF b = polygon.at((i + 1) % count);
    const QPointF v = point - position.foot;
    double angle1 = 0;
    double angle2 = 0;
    if (position.clamped == 0) {
        const QPointF w = b - a;
        const QPointF q = polygon.at((i - 1 + count) % count) - position.foot;
        angle1 = Functions::degAngleCounterClockwise(v, w);
        angle2 = Functions::degAngleCounterClockwise(q, w);
    } else {
        const QPointF w = a - b;
        const QPointF q = polygon.at((i + 2) % count) - position.foot;
        angle1 = Functions::degAngleCounterClockwise(w, v);
        angle2 = Functions::degAngleCounterClockwise(w, q);
    }
    // Degrees against the number pi, as it stands.
    constexpr double leastAngle = 3.141592653589793;
    return !(angle2 < leastAngle) && angle2 * 0.5 > angle1;
}

} // namespace

FrameViewer::FrameViewer(QWidget *parent, Qt::WindowFlags flags)
    : QWidget(parent, flags)
{
    view = new FrameGraphicsView(this);
    view->setObjectName(QStringLiteral("frameView"));
    view->setFrameStyle(0);
    view->setAccessibleName(tr("Frame"));
    setFocusProxy(view);
    connect(view, &FrameGraphicsView::resized, this, qOverload<>(&FrameViewer::resize));
    connect(view, &FrameGraphicsView::doubleClicked, this, &FrameViewer::doubleClicked);

    scene = new QGraphicsScene(this);
    view->setScene(scene);
    view->setRenderHint(QPainter::Antialiasing);
    view->setRenderHint(QPainter::SmoothPixmapTransform);
    view->setBackgroundBrush(surround);

    delete layout();
    auto *box = new QHBoxLayout(this);
    box->setContentsMargins(0, 0, 0, 0);
    box->addWidget(view);

    connectToState();
    setDisabled(true);
}

void FrameViewer::connectToState()
{
    disconnect(g_state, nullptr, this, nullptr);
    connect(g_state, &DataState::hasChanged, this, &FrameViewer::filterStateChange);
}

void FrameViewer::filterStateChange(int flags)
{
    if (flags & (DataState::FrameChanged | DataState::ObjectListChanged))
        reload();
}

void FrameViewer::reload()
{
    if (!g_state->videoLoaded) {
        setDisabled(true);
        return;
    }
    setDisabled(false);
    scene->clear();
    const QImage image(g_state->video->getFramePath(g_state->currentFrame));
    frameItem = scene->addPixmap(QPixmap::fromImage(image));
    for (const TrackedObject *object : qAsConst(g_state->objects)) {
        if (KeyFrame *keyFrame = object->getCurrentKeyFrame())
            new PolyAreaGraphicsItem(scene, keyFrame); // the scene owns it
    }
    resize();
}

void FrameViewer::resize()
{
    if (!frameItem)
        return;
    view->setSceneRect(frameItem->sceneBoundingRect());
    view->fitInView(frameItem->sceneBoundingRect(), Qt::KeepAspectRatio);
}

void FrameViewer::doubleClicked(int x, int y, bool shift)
{
    if (!frameItem || !g_state->videoLoaded)
        return;
    const QPointF point = Functions::clampToFrame(view->mapToScene(x, y), frameItem->sceneBoundingRect());
    if (shift)
        removeNearestVertex(point);
    else
        addVertex(point);
}

void FrameViewer::removeNearestVertex(QPointF point)
{
    const TrackedObject *object = g_state->getCurrentObject();
    KeyFrame *keyFrame = object ? object->getCurrentKeyFrame() : nullptr;
    if (!keyFrame)
        return;
    QPolygonF polygon = keyFrame->polygonSnapshot();
    if (polygon.size() <= 1)
        return;
    int nearest = 0;
    double best = std::numeric_limits<double>::max();
    for (int i = 0; i < polygon.size(); ++i) {
        const double distance = Functions::distance(polygon.at(i), point);
        if (distance < best) {
            best = distance;
            nearest = i;
        }
    }
    polygon.remove(nearest);
    keyFrame->setNewPolygon(polygon);
}

void FrameViewer::addVertex(QPointF point)
{
    if (!g_state->hasObjects()) {
        g_state->addObject();
        if (g_mainWindow)
            g_mainWindow->reload();
    }
    const TrackedObject *object = g_state->getCurrentObject();
    KeyFrame *keyFrame = object ? object->getCurrentKeyFrame() : nullptr;
    if (!keyFrame)
        return;
    QPolygonF polygon = keyFrame->polygonSnapshot();
    if (polygon.size() > 2)
        polygon.insert(insertionIndex(polygon, point), point);
    else
        polygon.append(point);
    if (polygon.size() == 3 && !Functions::isCounterClockwise(polygon))
        polygon = QPolygonF({polygon.at(0), polygon.at(2), polygon.at(1)});

    keyFrame->setNewPolygon(polygon);
    keyFrame->setType(keyFrame->type == KeyFrame::None ? KeyFrame::Visible : keyFrame->type);
}

int FrameViewer::insertionIndex(const QPolygonF &polygon, QPointF point)
{
    double best = std::numeric_limits<double>::max();
    double chosen = 0;
    for (int i = 0; i < polygon.size(); ++i) {
        const EdgePosition position =
            positionOnEdge(polygon.at(i), polygon.at((i + 1) % polygon.size()), point);
        if (position.distance < best) {
            best = position.distance;
            chosen = insidePosition(i, position);
        } else if (position.distance == best && (position.clamped == 0 || position.clamped == 1)) {
            if (angleFavoursEdge(polygon, i, position, point))
                chosen = insidePosition(i, position);
        }
    }
    return static_cast<int>(std::floor(chosen)) + 1;
}
