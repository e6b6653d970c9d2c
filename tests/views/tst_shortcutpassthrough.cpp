// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "views/shortcutpassthrough.h"

#include <QLineEdit>
#include <QPointer>
#include <QShortcut>
#include <QSignalSpy>
#include <QSpinBox>
#include <QtTest>
#include <QVBoxLayout>

#include <memory>

namespace
{

/// A shown window with a text field of either kind and shortcuts for Space and Ctrl+A.
class FieldWindow
{
public:
    explicit FieldWindow(const QString &fieldKind)
        : m_layout(&m_window)
        , m_space(QKeySequence(Qt::Key_Space), &m_window)
        , m_selectAll(QKeySequence(Qt::CTRL | Qt::Key_A), &m_window)
    {
        if (fieldKind == QLatin1String("spin box")) {
            auto *spinBox = new QSpinBox;
            spinBox->setSuffix(QStringLiteral(" px"));
            field = spinBox;
            edit = spinBox->findChild<QLineEdit *>();
        } else {
            edit = new QLineEdit(QStringLiteral("12"));
            field = edit;
        }
        m_layout.addWidget(field);
    }

    /// Shows the window and gives the field the focus; false when that fails.
    bool show()
    {
        m_window.show();
        if (!QTest::qWaitForWindowActive(&m_window))
            return false;
        field->setFocus();
        edit->deselect();
        return field->hasFocus();
    }

    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(m_window.windowHandle(), key, modifiers);
    }

private:
    QWidget m_window;
    QVBoxLayout m_layout;
    QShortcut m_space;
    QShortcut m_selectAll;

public:
    QWidget *field = nullptr;
    QLineEdit *edit = nullptr;
    QSignalSpy spaces{&m_space, &QShortcut::activated};
    QSignalSpy selections{&m_selectAll, &QShortcut::activated};
};

} // namespace

class TestShortcutPassThrough : public QObject
{
    Q_OBJECT

private slots:
    void theListedKeysReachTheWindow_data();
    void theListedKeysReachTheWindow();
    void otherKeysStayWithTheField_data();
    void otherKeysStayWithTheField();
    void modifiersAreMatchedToo_data();
    void modifiersAreMatchedToo();
    void withoutItTheFieldClaimsItsKeys();
    void belongsToItsField();
};

void TestShortcutPassThrough::theListedKeysReachTheWindow_data()
{
    QTest::addColumn<QString>("kind");
    QTest::newRow("line edit") << "line edit";
    QTest::newRow("spin box") << "spin box";
}

void TestShortcutPassThrough::theListedKeysReachTheWindow()
{
    QFETCH(QString, kind);
    FieldWindow window(kind);
    new ShortcutPassThrough(window.field, {QKeySequence(Qt::Key_Space), QKeySequence(Qt::CTRL | Qt::Key_A)});
    QVERIFY(window.show());
    const QString text = window.edit->text();
    window.press(Qt::Key_Space);
    QCOMPARE(window.spaces.size(), 1);
    QCOMPARE(window.edit->text(), text);
    window.press(Qt::Key_A, Qt::ControlModifier);
    QCOMPARE(window.selections.size(), 1);
    QVERIFY(!window.edit->hasSelectedText());
}

void TestShortcutPassThrough::otherKeysStayWithTheField_data()
{
    theListedKeysReachTheWindow_data();
}

void TestShortcutPassThrough::otherKeysStayWithTheField()
{
    QFETCH(QString, kind);
    FieldWindow window(kind);
    new ShortcutPassThrough(window.field, {QKeySequence(Qt::Key_Space)});
    QVERIFY(window.show());
    window.press(Qt::Key_A, Qt::ControlModifier);
    QVERIFY(window.edit->hasSelectedText());
    QCOMPARE(window.selections.size(), 0);
    window.press(Qt::Key_7); // in place of the selection
    QVERIFY2(window.edit->text().startsWith(QLatin1Char('7')), qPrintable(window.edit->text()));
    QCOMPARE(window.spaces.size(), 0);
}

void TestShortcutPassThrough::modifiersAreMatchedToo_data()
{
    theListedKeysReachTheWindow_data();
}

void TestShortcutPassThrough::modifiersAreMatchedToo()
{
    QFETCH(QString, kind);
    FieldWindow window(kind);
    // The key without its modifier, and the modifiers without the right key.
    new ShortcutPassThrough(window.field,
                            {QKeySequence(Qt::Key_A), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_A),
                             QKeySequence(Qt::CTRL | Qt::Key_Space)});
    QVERIFY(window.show());
    window.press(Qt::Key_A, Qt::ControlModifier);
    QCOMPARE(window.selections.size(), 0);
    QVERIFY(window.edit->hasSelectedText());
}

// Else the tests above would say nothing.
void TestShortcutPassThrough::withoutItTheFieldClaimsItsKeys()
{
    FieldWindow window(QStringLiteral("line edit"));
    QVERIFY(window.show());
    window.press(Qt::Key_Space);
    window.press(Qt::Key_A, Qt::ControlModifier);
    QCOMPARE(window.spaces.size() + window.selections.size(), 0);
    QCOMPARE(window.edit->selectedText(), QStringLiteral("12 "));
}

void TestShortcutPassThrough::belongsToItsField()
{
    auto field = std::make_unique<QLineEdit>();
    const QPointer<ShortcutPassThrough> passThrough =
        new ShortcutPassThrough(field.get(), {QKeySequence(Qt::Key_Space)});
    QCOMPARE(passThrough->parent(), field.get());
    field.reset();
    QVERIFY(!passThrough);
}

QTEST_MAIN(TestShortcutPassThrough)
#include "tst_shortcutpassthrough.moc"
