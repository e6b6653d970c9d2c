// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/dialogdriver.h"

#include "core/mainwindow.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QProgressDialog>
#include <QPushButton>

namespace
{
constexpr int pollInterval = 5;  // milliseconds
QList<DialogDriver *> g_drivers; // the newest one last
} // namespace

DialogDriver::DialogDriver(int timeLimit)
    : m_timeLimit(timeLimit)
{
    connect(&m_timer, &QTimer::timeout, this, &DialogDriver::look);
    m_timer.start(pollInterval);
    m_sinceProgress.start();
    g_drivers.append(this);
}

DialogDriver::~DialogDriver()
{
    g_drivers.removeOne(this);
}

void DialogDriver::acceptFile(const QString &path, const QString &nameFilter)
{
    expect({Kind::AcceptFile, path, nameFilter, QMessageBox::NoButton, {}});
}

void DialogDriver::rejectFile()
{
    expect({Kind::RejectFile, {}, {}, QMessageBox::NoButton, {}});
}

void DialogDriver::clickButton(QMessageBox::StandardButton button)
{
    expect({Kind::MessageBox, {}, {}, button, {}});
}

void DialogDriver::beforeAnswer(std::function<void(QWidget *)> action)
{
    m_expected.last().before = std::move(action);
}

void DialogDriver::expect(const Expected &expected)
{
    m_expected.append(expected);
    m_sinceProgress.restart();
}

QString DialogDriver::problem() const
{
    if (m_problem.isEmpty() && !m_expected.isEmpty())
        return QStringLiteral("no %1 was shown").arg(nameOf(m_expected.first().kind));
    return m_problem;
}

void DialogDriver::look()
{
    if (g_drivers.last() != this)
        return;
    QWidget *dialog = QApplication::activeModalWidget();
    if (!dialog || !dialog->isVisible())
        return;
    if (!m_closing.contains(dialog))
        answer(dialog);
    else if (m_sinceProgress.elapsed() > m_timeLimit)
        closeBecauseOf(dialog, QStringLiteral("%1 stays open").arg(describe(dialog)));
}

void DialogDriver::answer(QWidget *dialog)
{
    if (m_expected.isEmpty() || !matches(dialog, m_expected.first().kind)) {
        auto *box = qobject_cast<QMessageBox *>(dialog);
        if (qobject_cast<QProgressDialog *>(dialog)) {
            if (m_sinceProgress.elapsed() > m_timeLimit)
                closeBecauseOf(dialog, QStringLiteral("%1 takes too long").arg(describe(dialog)));
        } else if (box && m_tolerant) {
            m_closing.append(box);
            answerBox(box, box->standardButton(box->buttons().constFirst()));
        } else {
            closeBecauseOf(dialog, QStringLiteral("%1 was not expected").arg(describe(dialog)));
        }
        return;
    }
    const Expected expected = m_expected.takeFirst();
    m_closing.append(dialog);
    m_sinceProgress.restart();
    switch (expected.kind) {
    case Kind::AcceptFile:
    case Kind::RejectFile:
        answerFile(qobject_cast<QFileDialog *>(dialog), expected);
        break;
    case Kind::MessageBox:
        if (expected.before)
            expected.before(dialog);
        answerBox(qobject_cast<QMessageBox *>(dialog), expected.button);
        break;
    }
}

void DialogDriver::answerFile(QFileDialog *dialog, const Expected &expected)
{
    fileDialogs.append({dialog->windowTitle(), dialog->nameFilters(), dialog->selectedNameFilter(),
                        dialog->directory().absolutePath(), dialog->options(), dialog->acceptMode(),
                        dialog->fileMode(), dialog->parentWidget() != nullptr,
                        !g_mainWindow || g_mainWindow->isEnabled()});
    if (expected.kind == Kind::AcceptFile) {
        if (!expected.nameFilter.isEmpty() && !dialog->nameFilters().contains(expected.nameFilter)) {
            closeBecauseOf(dialog, QStringLiteral("no name filter \"%1\"").arg(expected.nameFilter));
            return;
        }
        if (!expected.nameFilter.isEmpty())
            dialog->selectNameFilter(expected.nameFilter);
        dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(expected.path);
    }
    if (expected.before)
        expected.before(dialog);
    const bool accepting = expected.kind == Kind::AcceptFile;
    const bool saving = dialog->acceptMode() == QFileDialog::AcceptSave;
    const auto *buttons = dialog->findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"));
    QPushButton *button = buttons->button(!accepting ? QDialogButtonBox::Cancel
                                          : saving   ? QDialogButtonBox::Save
                                                     : QDialogButtonBox::Open);
    if (button->isEnabled())
        clickLater(dialog, button);
    else
        closeBecauseOf(dialog, QStringLiteral("%1 cannot take \"%2\"").arg(describe(dialog), expected.path));
}

void DialogDriver::answerBox(QMessageBox *box, QMessageBox::StandardButton button)
{
    boxes.append({box->windowTitle(), box->text(), box->informativeText(), box->icon(),
                  box->standardButtons(), box->standardButton(box->defaultButton()),
                  box->parentWidget() != nullptr});
    if (QAbstractButton *wanted = box->button(button))
        clickLater(box, wanted);
    else
        closeBecauseOf(box, QStringLiteral("%1 lacks a button").arg(describe(box)));
}

void DialogDriver::closeBecauseOf(QWidget *dialog, const QString &problem)
{
    if (m_problem.isEmpty())
        m_problem = problem;
    m_sinceProgress.restart();
    if (auto *progress = qobject_cast<QProgressDialog *>(dialog)) {
        if (auto *button = progress->findChild<QPushButton *>())
            clickLater(dialog, button);
    } else if (auto *modal = qobject_cast<QDialog *>(dialog)) {
        QMetaObject::invokeMethod(modal, "reject", Qt::QueuedConnection);
    } else {
        dialog->close();
    }
}

bool DialogDriver::matches(QWidget *dialog, Kind kind)
{
    switch (kind) {
    case Kind::AcceptFile:
    case Kind::RejectFile:
        return qobject_cast<QFileDialog *>(dialog);
    case Kind::MessageBox:
        return qobject_cast<QMessageBox *>(dialog);
    }
    return false;
}

QString DialogDriver::nameOf(Kind kind)
{
    switch (kind) {
    case Kind::AcceptFile:
    case Kind::RejectFile:
        return QStringLiteral("file dialog");
    case Kind::MessageBox:
        return QStringLiteral("message box");
    }
    return QString();
}

QString DialogDriver::describe(const QWidget *dialog)
{
    const auto *box = qobject_cast<const QMessageBox *>(dialog);
    return QStringLiteral("%1 \"%2\"")
        .arg(QLatin1String(dialog->metaObject()->className()), box ? box->text() : dialog->windowTitle());
}

// From the event loop of the dialog itself: a click may open the next one, and the timer must go on then. A
// dialog that is still there when the click has done its work stays on purpose.
void DialogDriver::clickLater(QWidget *dialog, QAbstractButton *button)
{
    const QPointer<DialogDriver> driver(this);
    const QPointer<QWidget> answered(dialog);
    QMetaObject::invokeMethod(
        button,
        [driver, answered, button] {
            button->click();
            if (driver)
                driver->m_closing.removeOne(answered);
        },
        Qt::QueuedConnection);
}
