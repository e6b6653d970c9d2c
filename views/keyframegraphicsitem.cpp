// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/keyframegraphicsitem.h"

#include "core/datastate.h"
#include "views/disc.h"
#include "views/prefetch.h"

#include <QActionGroup>
#include <QBrush>
#include <QCoreApplication>
#include <QGraphicsScene>
#include <QGraphicsSceneContextMenuEvent>
#include <QHash>
#include <QMenu>
#include <QPen>
#include <QPointer>

namespace
{

constexpr int hiddenRadius = 1; // pixels
constexpr int userRadius = 5;
constexpr int automaticRadius = 3;
constexpr int automaticAlpha = 127;

// Shared by all markers, which would take twice the memory with pens and brushes of their own.
const QPen &userPen()
{
    static const QPen pen(Qt::black);
    return pen;
}

const QPen &automaticPen()
{
    static const QPen pen(QBrush(Qt::gray), 1.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
    return pen;
}

/// Markers are made and changed row by row, so that the brush asked for is mostly the one of the last time.
const QBrush &sharedBrush(const QColor &color, Qt::BrushStyle style)
{
    static QBrush brush;
    if (brush.color() != color || brush.style() != style)
        brush = QBrush(color, style);
    return brush;
}

QString text(const char *source)
{
    return QCoreApplication::translate("KeyFrameGraphicsItem", source);
}

/// An object's name as menu text: an ampersand would be taken for a mnemonic.
QString menuText(QString name)
{
    return name.replace(QLatin1Char('&'), QStringLiteral("&&"));
}

/// The context menu of one key frame.
struct KeyFrameMenu {
    QMenu menu;
    QAction *remove = nullptr;
    QHash<QAction *, KeyFrame::Type> types;
    QHash<QAction *, TrackedObject *> others;

    explicit KeyFrameMenu(const KeyFrame &keyFrame)
    {
        menu.addAction(menuText(keyFrame.object->name))->setEnabled(false);
        menu.addSeparator();
        remove = menu.addAction(text("Remove Keyframe"));
        menu.addSeparator();
        addTypes(keyFrame);
        menu.addSeparator();
        addOthers(keyFrame);
    }

private:
    void addTypes(const KeyFrame &keyFrame)
    {
        auto *group = new QActionGroup(&menu);
        const QPair<const char *, KeyFrame::Type> entries[] = {{"Visible", KeyFrame::Visible},
                                                               {"Occluded", KeyFrame::Occluded},
                                                               {"Automatic", KeyFrame::Automatic}};
        for (const auto &entry : entries) {
            QAction *action = group->addAction(menu.addAction(text(entry.first)));
            action->setCheckable(true);
            action->setChecked(keyFrame.type == entry.second);
            types.insert(action, entry.second);
        }
    }

    void addOthers(const KeyFrame &keyFrame)
    {
        QMenu *submenu = menu.addMenu(text("switch order with"));
        for (TrackedObject *object : qAsConst(g_state->objects)) {
            if (object->id == keyFrame.object->id)
                continue;
            if (object->keyFrames.at(keyFrame.frame)->type == KeyFrame::Visible)
                others.insert(submenu->addAction(menuText(object->name)), object);
        }
    }
};

} // namespace

KeyFrameGraphicsItem::KeyFrameGraphicsItem(QGraphicsScene *scene, QPointF position, KeyFrame *shownKeyFrame)
    : KeyFrameGraphicsItem(static_cast<QGraphicsItem *>(nullptr), position, shownKeyFrame)
{
    scene->addItem(this);
}

KeyFrameGraphicsItem::KeyFrameGraphicsItem(QGraphicsItem *parent, QPointF position, KeyFrame *shownKeyFrame)
    : KeyFrameWatcher(shownKeyFrame)
    , keyFrame(shownKeyFrame)
{
    setPos(position);
    loadStyle();
    setParentItem(parent);
}

void KeyFrameGraphicsItem::loadStyle()
{
    if (!keyFrame)
        return;
    const QColor color = keyFrame->object->color;
    int radius = hiddenRadius;
    switch (keyFrame->type) {
    case KeyFrame::None:
        setPen(userPen());
        break;
    case KeyFrame::Visible:
        setPen(userPen());
        setBrush(sharedBrush(color, Qt::SolidPattern));
        radius = userRadius;
        break;
    case KeyFrame::Occluded:
        setPen(userPen());
        setBrush(sharedBrush(color, Qt::Dense3Pattern));
        radius = userRadius;
        break;
    case KeyFrame::Automatic:
        setPen(automaticPen());
        setBrush(
            sharedBrush(QColor(color.red(), color.green(), color.blue(), automaticAlpha), Qt::SolidPattern));
        radius = automaticRadius;
        break;
    }
    setRect(discRect(radius));
    setVisible(keyFrame->type != KeyFrame::None);
    m_shownColor = color.rgba();
    m_shownType = keyFrame->type;
}

QRectF KeyFrameGraphicsItem::boundingRect() const
{
    constexpr double penMargin = 1.0; // pixels
    return rect().adjusted(-penMargin, -penMargin, penMargin, penMargin);
}

void KeyFrameGraphicsItem::prefetchPlace() const
{
    constexpr int cacheLine = 64; // bytes
    constexpr int size = 384;     // of the base class's data that a move reads and writes
    const auto *data = reinterpret_cast<const char *>(QGraphicsItem::d_ptr.data());
    for (int offset = 0; offset < size; offset += cacheLine)
        prefetch(data + offset);
}

void KeyFrameGraphicsItem::reload()
{
    loadStyle();
}

void KeyFrameGraphicsItem::updateStyle()
{
    if (!keyFrame || m_shownType != keyFrame->type || m_shownColor != keyFrame->object->color.rgba())
        loadStyle();
}

void KeyFrameGraphicsItem::keyFrameChanged(int /*flags*/)
{
    updateStyle();
}

void KeyFrameGraphicsItem::contextMenuEvent(QGraphicsSceneContextMenuEvent *event)
{
    if (!keyFrame) {
        event->ignore();
        return;
    }
    // The time line may be rebuilt, and this item deleted, while the menu is open.
    const QPointer<KeyFrame> shown = keyFrame;
    KeyFrameMenu entries(*shown);
    QAction *chosen = entries.menu.exec(event->screenPos());
    if (!chosen || !shown)
        return;
    if (chosen == entries.remove) {
        shown->annotate(QPolygonF(), KeyFrame::None);
    } else if (entries.types.contains(chosen)) {
        const KeyFrame::Type type = entries.types.value(chosen);
        if (shown->type != type)
            shown->setType(type);
    } else if (TrackedObject *other = entries.others.value(chosen)) {
        shown->object->switchOrderWith(other, shown->frame);
    }
}
