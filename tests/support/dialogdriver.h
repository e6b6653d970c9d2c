// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QElapsedTimer>
#include <QFileDialog>
#include <QList>
#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>

#include <functional>

/// Answers the modal dialogs that open while the code under test runs their event loops.
///
/// A test lists the dialogs it expects, in order, and then calls the code. Every dialog that shows up is
/// looked at, recorded and answered from a timer. Nothing can hang: a dialog that is not expected, and one
/// that is not shown or not gone within the time limit, is a problem, and whatever is open then is closed.
/// A progress dialog is left alone, as long as it goes in time (ProgressWatch can end it). Of several drivers
/// only the newest one acts.
class DialogDriver : public QObject
{
public:
    /// What a file dialog looked like when it opened.
    struct FileDialogSeen {
        QString title;
        QStringList nameFilters;
        QString selectedNameFilter;
        QString directory;
        QFileDialog::Options options;
        QFileDialog::AcceptMode acceptMode = QFileDialog::AcceptOpen;
        QFileDialog::FileMode fileMode = QFileDialog::AnyFile;
        bool hasParent = false;
        bool mainWindowEnabled = true;
    };
    /// What a message box looked like when it opened.
    struct BoxSeen {
        QString title;
        QString text;
        QString informativeText;
        QMessageBox::Icon icon = QMessageBox::NoIcon;
        QMessageBox::StandardButtons buttons;
        QMessageBox::StandardButton defaultButton = QMessageBox::NoButton;
        bool hasParent = false;
    };

    static constexpr int defaultTimeLimit = 60000; // milliseconds

    explicit DialogDriver(int timeLimit = defaultTimeLimit);
    ~DialogDriver() override;

    /// Expects a file dialog: selects `nameFilter` (its own if empty), types `path` and accepts.
    void acceptFile(const QString &path, const QString &nameFilter = QString());
    /// Expects a file dialog and cancels it.
    void rejectFile();
    /// Expects a message box and clicks one of its buttons.
    void clickButton(QMessageBox::StandardButton button);
    /// Calls `action` between the last listed dialog's opening and its answer, with the dialog.
    void beforeAnswer(std::function<void(QWidget *)> action);
    /// Clicks message boxes away that are not listed instead of calling them a problem.
    void tolerateMessageBoxes() { m_tolerant = true; }

    /// The first thing that went wrong, listed dialogs that never came included; empty when all is well.
    QString problem() const;

    QList<FileDialogSeen> fileDialogs;
    QList<BoxSeen> boxes;

private:
    enum class Kind { AcceptFile, RejectFile, MessageBox };
    struct Expected {
        Kind kind;
        QString path;
        QString nameFilter;
        QMessageBox::StandardButton button = QMessageBox::NoButton;
        std::function<void(QWidget *)> before;
    };

    void expect(const Expected &expected);
    void look();
    void answer(QWidget *dialog);
    void answerFile(QFileDialog *dialog, const Expected &expected);
    void answerBox(QMessageBox *box, QMessageBox::StandardButton button);
    void closeBecauseOf(QWidget *dialog, const QString &problem);
    static bool matches(QWidget *dialog, Kind kind);
    static QString nameOf(Kind kind);
    static QString describe(const QWidget *dialog);
    void clickLater(QWidget *dialog, QAbstractButton *button);

    int m_timeLimit;
    bool m_tolerant = false;
    QTimer m_timer;
    QList<Expected> m_expected;
    QElapsedTimer m_sinceProgress;
    QList<QPointer<QWidget>> m_closing; // their answer is still being worked on
    QString m_problem;
};
