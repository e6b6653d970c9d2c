// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/keyframegraphicsitem.h"

#include "core/datastate.h"
#include "views/disc.h"

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
    : keyFrame(shownKeyFrame)
{
    setPos(position);
    loadStyle();
    scene->addItem(this);
    connect(keyFrame, &KeyFrame::hasChanged, this, &KeyFrameGraphicsItem::reload);
}

void KeyFrameGraphicsItem::loadStyle()
{
    const QColor color = keyFrame->object->color;
    int radius = hiddenRadius;
    switch (keyFrame->type) {
    case KeyFrame::None:
        setPen(QPen(Qt::black));
        break;
    case KeyFrame::Visible:
        setPen(QPen(Qt::black));
        setBrush(QBrush(color));
        radius = userRadius;
        break;
    case KeyFrame::Occluded:
        setPen(QPen(Qt::black));
        setBrush(QBrush(color, Qt::Dense3Pattern));
        radius = userRadius;
        break;
    case KeyFrame::Automatic:
        setPen(QPen(QBrush(Qt::gray), 1.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
        setBrush(QBrush(QColor(color.red(), color.green(), color.blue(), automaticAlpha)));
        radius = automaticRadius;
        break;
    }
    setRect(discRect(radius));
    setVisible(keyFrame->type != KeyFrame::None);
}

QRectF KeyFrameGraphicsItem::boundingRect() const
{
    constexpr double penMargin = 1.0; // pixels
    return rect().adjusted(-penMargin, -penMargin, penMargin, penMargin);
}

void KeyFrameGraphicsItem::reload()
{
    loadStyle();
}

void KeyFrameGraphicsItem::contextMenuEvent(QGraphicsSceneContextMenuEvent *event)
{
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
