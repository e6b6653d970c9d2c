// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "core/recoverycopy.h"

#include <QString>
#include <QWidget>

#include <optional>

class QLabel;
class QToolButton;

/// The part of the status bar that offers unsaved work and says when none can be kept. Without either it is
/// hidden. It is never higher than the bar's text.
class RecoveryOffer : public QWidget
{
    Q_OBJECT

public:
    explicit RecoveryOffer(QWidget *parent = nullptr);

    /// Offers a copy; nothing to offer without one.
    void offer(const std::optional<RecoveryCopy> &copy);
    /// Why unsaved work is not kept; empty if it is.
    void setFailure(const QString &text);
    /// What is offered, in words; empty if nothing is.
    QString text() const;

signals:
    /// A button was clicked.
    void restoreClicked(const RecoveryCopy &copy);
    void discardClicked(const RecoveryCopy &copy);

private:
    QLabel *addLabel(const QString &name);
    QToolButton *addButton(const QString &text, const QString &name, const QString &toolTip);
    void showWhatThereIs();

    std::optional<RecoveryCopy> m_copy;
    QLabel *m_failure;
    QLabel *m_text;
    QToolButton *m_restore;
    QToolButton *m_discard;
};
