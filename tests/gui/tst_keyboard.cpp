// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "tests/gui/programtest.h"
#include "views/framenav.h"
#include "views/trackedobjectlabel.h"

#include <QAction>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QToolButton>
#include <QtTest>

namespace
{

/// The text widgets, in which cursor keys and letters belong to the text.
bool isTextField(const QWidget *widget)
{
    return qobject_cast<const QLineEdit *>(widget) || qobject_cast<const QAbstractSpinBox *>(widget);
}

/// Every widget of the window that can have the keyboard focus now.
QList<QWidget *> focusableWidgets(const ProgramFixture &program)
{
    QList<QWidget *> widgets;
    for (QWidget *widget : program->findChildren<QWidget *>()) {
        const bool ownWindow = widget->isWindow() || widget->window() != program.window.get();
        if (!ownWindow && widget->isVisible() && widget->isEnabled() && widget->focusPolicy() != Qt::NoFocus)
            widgets.append(widget);
    }
    return widgets;
}

} // namespace

class TestKeyboard : public ProgramTest
{
    Q_OBJECT

private slots:
    void arrowKeysStepFramesWhereverTheFocusIs();
    void textFieldsKeepTheirCursorKeys();
    void spacePlaysWhereverTheFocusIs();
    void spaceIsTextInTheNameEdit();
    void controlATracksWhereverTheFocusIs();
    void toolShortcutsTriggerTheirActions_data();
    void toolShortcutsTriggerTheirActions();
    void closeShortcutsCloseTheWindow_data();
    void closeShortcutsCloseTheWindow();
};

void TestKeyboard::arrowKeysStepFramesWhereverTheFocusIs()
{
    m_program->pretendTwoObjects();
    const QList<QWidget *> widgets = focusableWidgets(*m_program);
    QStringList tried;
    for (QWidget *widget : widgets) {
        if (isTextField(widget))
            continue;
        widget->setFocus();
        QVERIFY2(widget->hasFocus(), qPrintable(nameOf(widget)));
        g_state->setFrame(2);
        m_program->key(Qt::Key_Right);
        QVERIFY2(g_state->currentFrame == 3, qPrintable("Right: " + nameOf(widget)));
        m_program->key(Qt::Key_Left);
        m_program->key(Qt::Key_Left);
        QVERIFY2(g_state->currentFrame == 1, qPrintable("Left: " + nameOf(widget)));
        tried.append(QLatin1String(widget->metaObject()->className()));
    }
    for (const char *expected : {"QPushButton", "QSlider", "ClickableGraphicsView", "FrameGraphicsView"})
        QVERIFY2(tried.contains(QLatin1String(expected)), expected);

    // Without any focus, too.
    if (QWidget *focus = QApplication::focusWidget())
        focus->clearFocus();
    m_program->key(Qt::Key_Right);
    QCOMPARE(g_state->currentFrame, 2);
}

void TestKeyboard::textFieldsKeepTheirCursorKeys()
{
    m_program->pretendTwoObjects();
    g_state->setFrame(2);
    m_program->firstLabel()->toggleEdit();
    for (QWidget *widget : {static_cast<QWidget *>((*m_program)->frameNav()->spinBox),
                            static_cast<QWidget *>(m_program->firstLabel()->nameEdit)}) {
        auto *edit = qobject_cast<QLineEdit *>(widget);
        if (!edit)
            edit = widget->findChild<QLineEdit *>();
        widget->setFocus();
        QVERIFY2(widget->hasFocus(), qPrintable(nameOf(widget)));
        edit->setCursorPosition(0);
        m_program->key(Qt::Key_Right);
        QVERIFY2(edit->cursorPosition() == 1, qPrintable(nameOf(widget)));
        m_program->key(Qt::Key_Left);
        QVERIFY2(edit->cursorPosition() == 0, qPrintable(nameOf(widget)));
        QVERIFY2(g_state->currentFrame == 2, qPrintable(nameOf(widget)));
    }
}

void TestKeyboard::spacePlaysWhereverTheFocusIs()
{
    m_program->pretendTwoObjects();
    const int objects = g_state->objects.size();
    bool spinBoxTried = false;
    for (QWidget *widget : focusableWidgets(*m_program)) {
        if (qobject_cast<QLineEdit *>(widget))
            continue; // part of the spin box or the name edit
        widget->setFocus();
        g_state->setFrame(0);
        m_program->key(Qt::Key_Space);
        QVERIFY2(g_state->currentFrame == 5, qPrintable(nameOf(widget)));
        QVERIFY2((*m_program)->frameNav()->paused, qPrintable(nameOf(widget)));
        QVERIFY2(g_state->objects.size() == objects, qPrintable(nameOf(widget)));
        spinBoxTried = spinBoxTried || widget == (*m_program)->frameNav()->spinBox;
    }
    QVERIFY(spinBoxTried);
}

void TestKeyboard::spaceIsTextInTheNameEdit()
{
    m_program->pretendTwoObjects();
    TrackedObjectLabel *label = m_program->firstLabel();
    m_program->click(label->editButton);
    QTRY_VERIFY(label->nameEdit->hasFocus());
    QTest::keyClicks(label->nameEdit, "my");
    m_program->key(Qt::Key_Space);
    QTest::keyClicks(label->nameEdit, "car");
    QCOMPARE(label->nameEdit->text(), QString("my car"));
    QCOMPARE(g_state->currentFrame, 0);
    m_program->key(Qt::Key_Return);
    QVERIFY(g_state->objects.at(0)->name == "my car" || g_state->objects.at(1)->name == "my car");
}

void TestKeyboard::controlATracksWhereverTheFocusIs()
{
    m_program->pretendTwoObjects();
    QAction *action = m_program->action("&aTrack");
    QVERIFY(action->disconnect(m_program->window.get())); // the key is what matters here
    QSignalSpy triggered(action, &QAction::triggered);
    TrackedObjectLabel *label = m_program->firstLabel();
    label->toggleEdit();
    QStringList tried;
    for (QWidget *widget : focusableWidgets(*m_program)) {
        if (widget->parentWidget() == (*m_program)->frameNav()->spinBox)
            continue; // its text is reached through the spin box
        auto *edit = qobject_cast<QLineEdit *>(widget);
        if (!edit)
            edit = widget->findChild<QLineEdit *>(QString(), Qt::FindDirectChildrenOnly);
        widget->setFocus();
        QVERIFY2(widget->hasFocus(), qPrintable(nameOf(widget)));
        if (edit)
            edit->deselect();
        triggered.clear();
        m_program->key(Qt::Key_A, Qt::ControlModifier);
        QVERIFY2(triggered.size() == 1, qPrintable(nameOf(widget)));
        if (edit)
            QVERIFY2(!edit->hasSelectedText(), qPrintable(nameOf(widget)));
        tried.append(QLatin1String(widget->metaObject()->className()));
    }
    QVERIFY(tried.contains("QSpinBox"));
    QVERIFY(tried.contains("QLineEdit"));
}

void TestKeyboard::toolShortcutsTriggerTheirActions_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("key");
    QTest::newRow("new") << "&New" << static_cast<int>(Qt::Key_N);
    QTest::newRow("save") << "&Save" << static_cast<int>(Qt::Key_S);
    QTest::newRow("open") << "&Open" << static_cast<int>(Qt::Key_O);
    QTest::newRow("morph") << "&morph" << static_cast<int>(Qt::Key_M);
    QTest::newRow("iTrack") << "&iTrack" << static_cast<int>(Qt::Key_I);
}

void TestKeyboard::toolShortcutsTriggerTheirActions()
{
    QFETCH(QString, text);
    QFETCH(int, key);
    m_program->pretendTwoObjects();
    QAction *action = m_program->action(text);
    QVERIFY(action->disconnect(m_program->window.get()));
    const QSignalSpy triggered(action, &QAction::triggered);
    m_program->key(static_cast<Qt::Key>(key), Qt::ControlModifier);
    QCOMPARE(triggered.size(), 1);
}

void TestKeyboard::closeShortcutsCloseTheWindow_data()
{
    QTest::addColumn<QKeySequence>("sequence");
    QTest::newRow("quit") << QKeySequence(QKeySequence::Quit);
    QTest::newRow("close") << QKeySequence(QKeySequence::Close);
}

void TestKeyboard::closeShortcutsCloseTheWindow()
{
    QFETCH(QKeySequence, sequence);
    if (sequence.isEmpty())
        QSKIP("this platform has no key for it");
    const int combined = sequence[0];
    m_program->key(static_cast<Qt::Key>(combined & ~Qt::KeyboardModifierMask),
                   Qt::KeyboardModifiers(combined & static_cast<int>(Qt::KeyboardModifierMask)));
    QTRY_VERIFY(!(*m_program)->isVisible());
}

QTEST_MAIN(TestKeyboard)
#include "tst_keyboard.moc"
