// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/trackedobjectlabel.h"

#include "core/datastate.h"
#include "core/mainwindow.h"
#include "views/shortcutpassthrough.h"
#include "views/timeline.h"
#include "views/whilestatelives.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QStackedWidget>
#include <QToolButton>

namespace
{

constexpr int labelHeight = 40; // pixels, a row of the time line
constexpr int iconExtent = 29;  // pixels
constexpr int textIndent = 8;   // pixels

QToolButton *createButton(const QString &text, const QString &icon, const QString &toolTip)
{
    auto *button = new QToolButton;
    button->setText(text);
    button->setIcon(QIcon(icon));
    button->setIconSize(QSize(iconExtent, iconExtent));
    button->setToolTip(toolTip);
    button->setAccessibleName(toolTip);
    button->setAutoRaise(true);
    return button;
}

} // namespace

TrackedObjectLabel::TrackedObjectLabel(int id, QWidget *parent)
    : QFrame(parent)
    , objectId(id)
    , stack(new QStackedWidget)
    , nameLabel(new QLabel)
    , nameEdit(new QLineEdit)
    , editButton(createButton(tr("Edit"), QStringLiteral(":icons/edit.ico"), tr("Edit the object's name")))
    , deleteButton(createButton(tr("Del"), QStringLiteral(":icons/del.ico"), tr("Delete the object")))
    , m_state(g_state)
{
    setFixedHeight(labelHeight);
    const TrackedObject *object = g_state->getObjectById(objectId);
    const QString name = object ? object->name : QString();
    nameLabel->setTextFormat(Qt::PlainText);
    nameLabel->setIndent(textIndent);
    showName(name);
    // A long name is cut off instead of pushing the buttons out of sight.
    nameLabel->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    nameEdit->setText(name);
    nameEdit->setAccessibleName(tr("Name of the object"));
    new ShortcutPassThrough(nameEdit, {QKeySequence(Qt::CTRL | Qt::Key_A)});
    stack->addWidget(nameLabel);
    stack->addWidget(nameEdit);

    updateStyle();
    connect(g_state, &DataState::hasChanged, this, &TrackedObjectLabel::filterStateChange);

    auto *box = new QHBoxLayout(this);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(0);
    box->addWidget(stack);
    box->addWidget(editButton);
    box->addWidget(deleteButton);

    connectWhileStateLives(nameEdit, &QLineEdit::editingFinished, this, &TrackedObjectLabel::changeName);
    connect(nameEdit, &QLineEdit::returnPressed, this, &TrackedObjectLabel::toggleEdit);
    connect(editButton, &QToolButton::clicked, this, &TrackedObjectLabel::toggleEdit);
    connect(deleteButton, &QToolButton::clicked, this, &TrackedObjectLabel::deleteObj);
}

void TrackedObjectLabel::showName(const QString &name)
{
    nameLabel->setText(name);
    nameLabel->setToolTip(
        QStringLiteral("<span>%1</span>").arg(name.toHtmlEscaped())); // no markup of its own
}

/// Until the list is made anew, ids of a project that was dropped mean nothing, or another object.
bool TrackedObjectLabel::isOfProjectInUse() const
{
    return m_state && m_state == g_state;
}

bool TrackedObjectLabel::isOf(const TrackedObject &object) const
{
    return isOfProjectInUse() && objectId == object.id;
}

bool TrackedObjectLabel::isEditing() const
{
    return stack->currentWidget() == nameEdit;
}

void TrackedObjectLabel::reload()
{
    const TrackedObject *object = g_state->getObjectById(objectId);
    const QString name = object ? object->name : QString();
    if (nameLabel->text() != name)
        showName(name);
    if (nameEdit->text() != name)
        nameEdit->setText(name);
    updateStyle();
}

void TrackedObjectLabel::updateStyle()
{
    const TrackedObject *object = g_state->getObjectById(objectId);
    QPalette colors = palette();
    colors.setColor(QPalette::Window, object && object->isCurrent() ? Qt::red : Qt::white);
    colors.setColor(QPalette::WindowText, Qt::black);
    setPalette(colors);
    setAutoFillBackground(true);
}

void TrackedObjectLabel::filterStateChange(int flags)
{
    if (flags & DataState::ObjectSelectionChanged)
        updateStyle();
}

void TrackedObjectLabel::toggleEdit()
{
    if (stack->currentWidget() == nameLabel) {
        stack->setCurrentWidget(nameEdit);
        nameEdit->setFocus();
        nameEdit->selectAll();
    } else {
        nameEdit->clearFocus();
        stack->setCurrentWidget(nameLabel);
    }
}

void TrackedObjectLabel::changeName()
{
    const QString name = nameEdit->text();
    if (name == nameLabel->text())
        return;
    showName(name); // losing the focus finishes the editing a second time
    if (TrackedObject *object = isOfProjectInUse() ? g_state->getObjectById(objectId) : nullptr)
        object->changeName(name);
}

void TrackedObjectLabel::deleteObj()
{
    if (!isOfProjectInUse())
        return;
    g_state->deleteObject(objectId);
    if (!g_mainWindow)
        return;
    if (!g_state->hasObjects())
        g_mainWindow->reload();
    g_mainWindow->timeLine()->reload();
}

void TrackedObjectLabel::mousePressEvent(QMouseEvent *event)
{
    if (isOfProjectInUse() && objectId != g_state->currentObjectId)
        g_state->setCurrentObject(objectId);
    QFrame::mousePressEvent(event);
}

void TrackedObjectLabel::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        toggleEdit();
}
