// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include <functional>

class QAction;
class QMenu;

/// Handles the next popup menu, which may block its opener. Make one before the menu opens: as soon as a menu
/// is up, `handle` is called with it; a menu still open afterwards is closed. If none has come within some
/// seconds the driver gives up, and handled() stays false.
class MenuDriver : public QObject
{
public:
    explicit MenuDriver(std::function<void(QMenu *)> handle);
    ~MenuDriver() override;

    bool handled() const { return m_handled; }

    /// Entries from top to bottom without '&'; "---" for a separator, "name >" for a submenu, "(name)" for a
    /// disabled one, "[name]" for a checkable and "[x name]" for a checked one.
    static QStringList entries(const QMenu *menu);
    /// The entry with this text; null if there is none.
    static QAction *entry(const QMenu *menu, const QString &text);
    /// Chooses an entry with the keyboard. The path names the submenus on the way. Returns false when there
    /// is no such entry.
    static bool choose(QMenu *menu, const QStringList &path);

private:
    void poll();

    std::function<void(QMenu *)> m_handle;
    QTimer m_timer;
    QElapsedTimer m_age;
    bool m_handled = false;
};
