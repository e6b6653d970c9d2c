// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/mainwindow.h"

#include "core/datastate.h"
#include "core/history.h"
#include "views/framenav.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QShortcut>
#include <QStatusBar>
#include <QTimer>

namespace
{

constexpr int messageTime = 5000; // milliseconds
constexpr int longestName = 40;   // characters of a file name that the status bar has room for
const char undoText[] = QT_TRANSLATE_NOOP("MainWindow", "Undone: %1");
const char redoText[] = QT_TRANSLATE_NOOP("MainWindow", "Redone: %1");

/// The text field that is being typed in, or null.
QLineEdit *fieldInUse()
{
    QWidget *focus = QApplication::focusWidget();
    if (qobject_cast<QAbstractSpinBox *>(focus))
        return focus->findChild<QLineEdit *>();
    return qobject_cast<QLineEdit *>(focus);
}

QString shortened(const QString &name)
{
    if (name.size() <= longestName)
        return name;
    return name.left(longestName / 2) + QChar(0x2026) + name.right(longestName / 2);
}

} // namespace

void MainWindow::createHistory()
{
    m_history = new History(this);
    m_history->carry(&trackingStopFrame);
    const QPair<QKeySequence, bool> keys[] = {{QKeySequence(Qt::CTRL | Qt::Key_Z), true},
                                              {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z), false},
                                              {QKeySequence(Qt::CTRL | Qt::Key_Y), false}};
    for (const auto &key : keys) {
        auto *shortcut = new QShortcut(key.first, this);
        connect(shortcut, &QShortcut::activated, this, [this, back = key.second] { moveInHistory(back); });
    }

    m_projectState = new QLabel(this);
    m_projectState->setObjectName(QStringLiteral("projectState"));
    statusBar()->addPermanentWidget(m_projectState);
    m_projectState->hide();
    m_savedNotice = new QTimer(this);
    m_savedNotice->setSingleShot(true);
    m_savedNotice->setInterval(messageTime);
    m_savedNotice->setTimerType(Qt::PreciseTimer); // others are up to a twentieth early
    connect(m_savedNotice, &QTimer::timeout, this, &MainWindow::showProjectState);
    connect(m_history, &History::cleanChanged, this, &MainWindow::showProjectState);
}

/// In a text field the keys belong to the field.
void MainWindow::moveInHistory(bool back)
{
    if (QLineEdit *field = fieldInUse()) {
        back ? field->undo() : field->redo();
        return;
    }
    if (QGuiApplication::mouseButtons() != Qt::NoButton) // a gesture that is not over cannot be taken back
        return;
    m_frameNav->stopPlayback();
    const QString name = back ? m_history->undo() : m_history->redo();
    if (name.isEmpty())
        return;
    updateActions();
    statusBar()->showMessage(tr(back ? undoText : redoText).arg(name), messageTime);
}

void MainWindow::showProjectState()
{
    QString text;
    const bool unsaved = !m_history->isClean();
    QString path = m_projectPath;
    if (path.isEmpty() && m_history->follows(g_state)) // which may be ending just now
        path = g_state->video->fileName();
    const QString name = shortened(QFileInfo(path).fileName());
    if (!m_failedSave.isEmpty())
        text = tr("%1 could not be saved").arg(shortened(QFileInfo(m_failedSave).fileName()));
    else if (unsaved)
        text = tr("%1 unsaved").arg(name);
    else if (m_savedNotice->isActive())
        text = tr("Saved %1").arg(name);
    m_projectState->setText(text);
    m_projectState->setToolTip(QDir::toNativeSeparators(m_failedSave.isEmpty() ? path : m_failedSave));
    m_projectState->setVisible(!text.isEmpty());
}

/// After a save, and after a project was opened.
void MainWindow::projectIsOnDisk(const QString &path)
{
    m_projectPath = path;
    m_failedSave.clear();
    m_history->setSaved();
    showProjectState();
}

void MainWindow::forgetProject()
{
    m_history->follow(nullptr);
    m_projectPath.clear();
    m_failedSave.clear();
    m_savedNotice->stop();
    showProjectState();
}
