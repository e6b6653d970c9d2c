// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/recoveryoffer.h"

#include <QDir>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QToolButton>

namespace
{

constexpr int spacing = 6;        // pixels
constexpr int buttonPadding = 16; // pixels beside a button's text, both sides together

} // namespace

RecoveryOffer::RecoveryOffer(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("recoveryOffer"));
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing);
    m_failure = addLabel(QStringLiteral("recoveryFailure"));
    m_text = addLabel(QStringLiteral("recoveryText"));
    m_restore = addButton(tr("Restore"), QStringLiteral("recoveryRestore"),
                          tr("Load the video and go on with the unsaved work"));
    m_discard = addButton(tr("Discard"), QStringLiteral("recoveryDiscard"), tr("Delete the unsaved work"));
    connect(m_restore, &QToolButton::clicked, this, [this] { emit restoreClicked(RecoveryCopy(*m_copy)); });
    connect(m_discard, &QToolButton::clicked, this, [this] { emit discardClicked(RecoveryCopy(*m_copy)); });
    setMaximumHeight(fontMetrics().height());
    showWhatThereIs();
}

/// A text that takes no room that the window does not have.
QLabel *RecoveryOffer::addLabel(const QString &name)
{
    auto *label = new QLabel(this);
    label->setObjectName(name);
    label->setTextFormat(Qt::PlainText);
    label->setMinimumWidth(1);
    layout()->addWidget(label);
    return label;
}

QToolButton *RecoveryOffer::addButton(const QString &text, const QString &name, const QString &toolTip)
{
    auto *button = new QToolButton(this);
    button->setObjectName(name);
    button->setText(text);
    button->setToolTip(toolTip);
    button->setFocusPolicy(Qt::TabFocus); // a click leaves the focus where it is
    button->setFixedSize(fontMetrics().horizontalAdvance(text) + buttonPadding, fontMetrics().height());
    layout()->addWidget(button);
    return button;
}

void RecoveryOffer::offer(const std::optional<RecoveryCopy> &copy)
{
    m_copy = copy;
    QString text;
    if (copy) {
        const QString time = QLocale().toString(copy->changed.toLocalTime(), QLocale::ShortFormat);
        text = tr("Unsaved work on %1 from %2").arg(QFileInfo(copy->videoPath).fileName(), time);
    }
    m_text->setText(text);
    m_text->setToolTip(copy ? QDir::toNativeSeparators(copy->videoPath) : QString());
    showWhatThereIs();
}

void RecoveryOffer::setFailure(const QString &text)
{
    m_failure->setText(text);
    m_failure->setToolTip(text);
    showWhatThereIs();
}

QString RecoveryOffer::text() const
{
    return m_text->text();
}

void RecoveryOffer::showWhatThereIs()
{
    m_failure->setVisible(!m_failure->text().isEmpty());
    for (QWidget *part : {static_cast<QWidget *>(m_text), static_cast<QWidget *>(m_restore),
                          static_cast<QWidget *>(m_discard)})
        part->setVisible(m_copy.has_value());
    setVisible(m_copy.has_value() || !m_failure->text().isEmpty());
}
