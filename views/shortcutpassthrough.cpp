// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/shortcutpassthrough.h"

#include <QKeyEvent>
#include <QWidget>

#include <utility>

ShortcutPassThrough::ShortcutPassThrough(QWidget *field, QList<QKeySequence> sequences)
    : QObject(field)
    , m_sequences(std::move(sequences))
{
    field->installEventFilter(this);
}

bool ShortcutPassThrough::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::ShortcutOverride) {
        const auto *keyEvent = static_cast<QKeyEvent *>(event);
        const QKeySequence pressed(keyEvent->key() | static_cast<int>(keyEvent->modifiers()));
        if (m_sequences.contains(pressed))
            return true; // unclaimed, so that it goes on as a shortcut
    }
    return QObject::eventFilter(watched, event);
}
