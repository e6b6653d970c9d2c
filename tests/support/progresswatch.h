// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "core/jobdialogs.h"

#include <QMetaType>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

#include <functional>
#include <memory>

class QProgressDialog;

/// Sees every progress dialog that is shown and can end its job the way a user does. Sees to it that jobs
/// show one also where there is no window.
class ProgressWatch : public QObject
{
public:
    /// What a user can do to end a job.
    enum class Way { Button, EscapeKey, WindowButton };

    ProgressWatch();
    ~ProgressWatch() override;

    /// Called once, in the event loop of the first dialog.
    std::function<void()> onShown;
    /// Called right after the job was aborted.
    std::function<void()> onAborted;
    /// Aborts the job as soon as there is a dialog and `isTime`, if given, holds.
    void abort(Way way = Way::Button, std::function<bool()> isTime = {});

    bool aborted = false;
    bool seen = false;
    // What the first dialog looked like.
    QString label;
    QString button;
    int minimum = -1;
    int maximum = -1;
    Qt::WindowModality modality = Qt::NonModal;
    bool hasParent = true;

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void note(const QProgressDialog &dialog);
    void look();
    void end(QProgressDialog *dialog);

    std::unique_ptr<JobDialogs> m_dialogs; // where there is no window
    QPointer<QProgressDialog> m_dialog;
    QTimer m_timer; // runs while the dialog is up
    bool m_announced = false;
    bool m_abort = false;
    Way m_way = Way::Button;
    std::function<bool()> m_isTime;
};

Q_DECLARE_METATYPE(ProgressWatch::Way)
