// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QFrame>

class QLabel;
class QLineEdit;
class QStackedWidget;
class QToolButton;

/// An object's entry in the list beside the time line: its name and the buttons "Edit" and "Del".
class TrackedObjectLabel : public QFrame
{
    Q_OBJECT

public:
    explicit TrackedObjectLabel(int objectId, QWidget *parent = nullptr);

    int objectId;
    QStackedWidget *stack = nullptr;
    QLabel *nameLabel = nullptr;
    QLineEdit *nameEdit = nullptr;
    QToolButton *editButton = nullptr;
    QToolButton *deleteButton = nullptr;

public slots:
    void updateStyle();
    void filterStateChange(int flags);
    /// Switches between showing and editing the name.
    void toggleEdit();
    void changeName();
    void deleteObj();

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
};
