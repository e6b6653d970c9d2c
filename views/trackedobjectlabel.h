// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QFrame>
#include <QPointer>

class DataState;
class QLabel;
class QLineEdit;
class QStackedWidget;
class QToolButton;
class TrackedObject;

/// An object's entry in the list beside the time line: its name and the buttons "Edit" and "Del".
class TrackedObjectLabel : public QFrame
{
    Q_OBJECT

public:
    explicit TrackedObjectLabel(int objectId, QWidget *parent = nullptr);

    /// Whether it was made for this object of the project in use.
    bool isOf(const TrackedObject &object) const;
    /// Whether the name is being edited.
    bool isEditing() const;
    /// Shows what a new label of the object would.
    void reload();

    /// Id of the object; it may be gone already.
    int objectId;
    /// Shows nameLabel, or nameEdit while the name is edited.
    QStackedWidget *stack = nullptr;
    QLabel *nameLabel = nullptr;
    QLineEdit *nameEdit = nullptr;
    /// "Edit" and "Del".
    QToolButton *editButton = nullptr;
    QToolButton *deleteButton = nullptr;

public slots:
    /// Red for the current object, white for the others.
    void updateStyle();
    /// Takes the style over for DataState::ObjectSelectionChanged.
    void filterStateChange(int flags);
    /// Switches between showing and editing the name.
    void toggleEdit();
    /// Gives the object the name that was typed, if it is another one.
    void changeName();
    /// Deletes the object.
    void deleteObj();

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;

private:
    void showName(const QString &name);
    bool isOfProjectInUse() const;

    const QPointer<const DataState> m_state; // the one it listens to
};
