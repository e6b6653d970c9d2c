// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/menudriver.h"

#include <QApplication>
#include <QMenu>
#include <QtTest>

#include <utility>

namespace
{

constexpr int patience = 30000; // milliseconds

} // namespace

MenuDriver::MenuDriver(std::function<void(QMenu *)> handle)
    : m_handle(std::move(handle))
{
    connect(&m_timer, &QTimer::timeout, this, &MenuDriver::poll);
    m_age.start();
    m_timer.start(0);
}

MenuDriver::~MenuDriver() = default;

void MenuDriver::poll()
{
    QPointer<QWidget> popup = QApplication::activePopupWidget();
    auto *menu = qobject_cast<QMenu *>(popup.data());
    if (menu) {
        m_timer.stop();
        m_handled = true;
        m_handle(menu);
        if (popup)
            popup->close();
    } else if (m_age.hasExpired(patience)) {
        m_timer.stop();
        if (popup)
            popup->close();
    }
}

QStringList MenuDriver::entries(const QMenu *menu)
{
    QStringList texts;
    for (const QAction *action : menu->actions()) {
        QString text = action->text();
        text.remove(QLatin1Char('&'));
        if (action->isSeparator())
            text = QStringLiteral("---");
        else if (action->menu())
            text += QStringLiteral(" >");
        else if (!action->isEnabled())
            text = QStringLiteral("(%1)").arg(text);
        else if (action->isCheckable())
            text = (action->isChecked() ? QStringLiteral("[x %1]") : QStringLiteral("[%1]")).arg(text);
        texts.append(text);
    }
    return texts;
}

QAction *MenuDriver::entry(const QMenu *menu, const QString &text)
{
    for (QAction *action : menu->actions()) {
        QString plain = action->text();
        if (plain.remove(QLatin1Char('&')) == text)
            return action;
    }
    return nullptr;
}

bool MenuDriver::choose(QMenu *menu, const QStringList &path)
{
    for (int i = 0; i < path.size(); ++i) {
        QAction *action = entry(menu, path.at(i));
        if (!action)
            return false;
        menu->setActiveAction(action);
        if (i == path.size() - 1) {
            QTest::keyClick(menu, Qt::Key_Return);
            return true;
        }
        if (!action->menu())
            return false;
        if (!action->menu()->isVisible())
            QTest::keyClick(menu, Qt::Key_Right);
        menu = action->menu();
        if (!menu->isVisible())
            return false;
    }
    return false;
}
