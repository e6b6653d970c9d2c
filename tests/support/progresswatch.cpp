// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/progresswatch.h"

#include <QApplication>
#include <QEvent>
#include <QProgressDialog>
#include <QPushButton>
#include <QtTest>

#include <utility>

namespace
{
constexpr int pollInterval = 1; // milliseconds
} // namespace

ProgressWatch::ProgressWatch()
{
    if (!ModalJob::dialogHost())
        m_dialogs = std::make_unique<JobDialogs>();
    connect(&m_timer, &QTimer::timeout, this, &ProgressWatch::look);
    m_timer.setInterval(pollInterval);
    qApp->installEventFilter(this);
}

ProgressWatch::~ProgressWatch() = default;

void ProgressWatch::abort(Way way, std::function<bool()> isTime)
{
    m_abort = true;
    m_way = way;
    m_isTime = std::move(isTime);
}

// A dialog is shown before the end of its job is heard of, so that the shortest job is seen, too.
bool ProgressWatch::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Show) {
        if (auto *dialog = qobject_cast<QProgressDialog *>(watched)) {
            if (!seen)
                note(*dialog);
            m_dialog = dialog;
            m_timer.start();
        }
    }
    return QObject::eventFilter(watched, event);
}

void ProgressWatch::note(const QProgressDialog &dialog)
{
    const auto *abortButton = dialog.findChild<QPushButton *>();
    seen = true;
    label = dialog.labelText();
    button = abortButton ? abortButton->text() : QString();
    minimum = dialog.minimum();
    maximum = dialog.maximum();
    modality = dialog.windowModality();
    hasParent = dialog.parent() != nullptr;
}

void ProgressWatch::look()
{
    if (!m_dialog || !m_dialog->isVisible()) {
        m_timer.stop();
        return;
    }
    if (!m_announced) {
        m_announced = true;
        if (onShown)
            onShown();
    }
    const bool takesInput = m_dialog && (m_way != Way::EscapeKey || m_dialog->isActiveWindow());
    if (m_abort && takesInput && (!m_isTime || m_isTime()))
        end(m_dialog);
}

// QProgressDialog::cancel() does not emit canceled(), so it takes what a user does.
void ProgressWatch::end(QProgressDialog *dialog)
{
    m_abort = false;
    aborted = true;
    switch (m_way) {
    case Way::Button:
        dialog->findChild<QPushButton *>()->click();
        break;
    case Way::EscapeKey:
        QTest::keyClick(dialog, Qt::Key_Escape);
        break;
    case Way::WindowButton:
        dialog->close();
        break;
    }
    if (onAborted)
        onAborted();
}
