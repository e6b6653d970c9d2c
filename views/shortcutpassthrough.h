// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QKeySequence>
#include <QList>
#include <QObject>

class QWidget;

/// Lets some key sequences reach the window's shortcuts while a text field has the focus; text fields claim
/// them for themselves otherwise.
class ShortcutPassThrough : public QObject
{
    Q_OBJECT

public:
    /// Watches `field`, which becomes the Qt parent.
    ShortcutPassThrough(QWidget *field, QList<QKeySequence> sequences);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QList<QKeySequence> m_sequences;
};
