// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/modelchecks.h"
#include "tests/support/mousedriver.h"
#include "tests/support/projectwindow.h"
#include "tests/support/sceneprobe.h"
#include "tests/support/signalprobe.h"
#include "tests/support/testproject.h"
#include "tests/support/timelineprobe.h"
#include "views/framespangraphicsitem.h"
#include "views/keyframegraphicsitem.h"
#include "views/trackedobjectlabel.h"

#include <QAction>
#include <QBoxLayout>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTextDocument>
#include <QToolButton>
#include <QtTest>
#include <QWindow>

namespace
{

bool isSolidInAllGroups(const QWidget *widget, QColor color)
{
    const QPalette palette = widget->palette();
    return widget->autoFillBackground() && palette.color(QPalette::Active, QPalette::Window) == color &&
           palette.color(QPalette::Inactive, QPalette::Window) == color &&
           palette.color(QPalette::Disabled, QPalette::Window) == color;
}

bool toolsEnabled(const MainWindow &window)
{
    for (const QAction *action : window.findChildren<QAction *>()) {
        if (action->text() == QLatin1String("export XML"))
            return action->isEnabled();
    }
    qFatal("no such action");
}

QImage pictureOf(const QIcon &icon)
{
    return icon.pixmap(32).toImage();
}

/// What a tool tip with this text shows.
QString shownInAToolTip(const QString &toolTip)
{
    if (!Qt::mightBeRichText(toolTip))
        return toolTip;
    QTextDocument document;
    document.setHtml(toolTip);
    return document.toPlainText();
}

} // namespace

class TestTrackedObjectLabel : public QObject
{
    Q_OBJECT

private slots:
    void aLabelShowsTheName();
    void buttonsShowTheirOwnIcons();
    void aNameIsNoMarkupInTheToolTip_data();
    void aNameIsNoMarkupInTheToolTip();
    void aLabelIsRedForTheCurrentObject();
    void pressingALabelSelectsItsObject();
    void editingRenamesTheObject();
    void editButtonEndsTheEditing();
    void returnClosesTheNameField_data();
    void returnClosesTheNameField();
    void anUnfinishedNameSurvivesARebuild();
    void anUnchangedNameIsNotAnnounced();
    void doubleClickOnALabelEdits();
    void otherButtonsDoubleClickDoesNotEdit();
    void deletingKeepsTheOthers();
    void deletingTheLastObjectResetsTheWindow();
    void longNamesLeaveTheButtonsInPlace();
    void aNameHalfTypedIsTakenOverWhenTheWindowGoes_data();
    void aNameHalfTypedIsTakenOverWhenTheWindowGoes();
};

void TestTrackedObjectLabel::aLabelShowsTheName()
{
    TestProject project(3);
    TrackedObject *object = project.addObject();
    object->name = QStringLiteral("a <b>ball</b> & more");
    const TrackedObjectLabel label(object->id);
    QCOMPARE(label.objectId, object->id);
    QCOMPARE(label.minimumHeight(), 40);
    QCOMPARE(label.maximumHeight(), 40);
    QCOMPARE(label.stack->count(), 2);
    QCOMPARE(label.stack->widget(0), label.nameLabel);
    QCOMPARE(label.stack->widget(1), label.nameEdit);
    QCOMPARE(label.stack->currentWidget(), label.nameLabel);
    QCOMPARE(label.nameLabel->text(), object->name);
    QCOMPARE(label.nameEdit->text(), object->name);
    QCOMPARE(label.editButton->text(), QStringLiteral("Edit"));
    QCOMPARE(label.deleteButton->text(), QStringLiteral("Del"));
    for (const QToolButton *button : {label.editButton, label.deleteButton}) {
        QVERIFY(!button->icon().availableSizes().isEmpty());
        QCOMPARE(button->iconSize(), QSize(29, 29));
    }
    auto *box = qobject_cast<QBoxLayout *>(label.layout());
    QVERIFY(box);
    QCOMPARE(box->direction(), QBoxLayout::LeftToRight);
    QCOMPARE(box->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(box->spacing(), 0);
    QCOMPARE(box->count(), 3);
    QCOMPARE(box->itemAt(0)->widget(), label.stack);
    QCOMPARE(box->itemAt(1)->widget(), label.editButton);
    QCOMPARE(box->itemAt(2)->widget(), label.deleteButton);
}

void TestTrackedObjectLabel::buttonsShowTheirOwnIcons()
{
    TestProject project(3);
    const TrackedObject *object = project.addObject();
    const TimeLine timeLine(QStringLiteral("Time Line"));
    const TrackedObjectLabel label(object->id);
    const QPair<const QAbstractButton *, const char *> buttons[] = {{timeLine.addButton, ":icons/add.ico"},
                                                                    {label.editButton, ":icons/edit.ico"},
                                                                    {label.deleteButton, ":icons/del.ico"}};
    QList<QImage> pictures;
    for (const auto &button : buttons) {
        const QImage picture = pictureOf(button.first->icon());
        QVERIFY2(!picture.isNull(), button.second);
        QVERIFY2(picture == pictureOf(QIcon(QString::fromLatin1(button.second))), button.second);
        QVERIFY2(!pictures.contains(picture), button.second);
        pictures.append(picture);
    }
}

void TestTrackedObjectLabel::aNameIsNoMarkupInTheToolTip_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << "red ball";
    QTest::newRow("markup") << "<b>red</b> ball";
    QTest::newRow("markup at the end") << "ball <i>red</i>";
    QTest::newRow("ampersand and markup") << "<u>R&D</u>";
    QTest::newRow("less than") << "size < 3";
    QTest::newRow("ampersand") << "cat & dog";
    QTest::newRow("quotes") << "the \"big\" one";
    QTest::newRow("greater than") << "size > 3";
    QTest::newRow("an entity") << "&lt;b&gt;";
    QTest::newRow("another entity") << "&amp;";
}

void TestTrackedObjectLabel::aNameIsNoMarkupInTheToolTip()
{
    QFETCH(QString, name);
    TestProject project(3);
    TrackedObject *object = project.addObject();
    object->name = name;
    const TrackedObjectLabel label(object->id);
    QCOMPARE(shownInAToolTip(label.nameLabel->toolTip()), name);
    QCOMPARE(label.nameLabel->textFormat(), Qt::PlainText);
    QCOMPARE(label.nameLabel->text(), name);
}

void TestTrackedObjectLabel::aLabelIsRedForTheCurrentObject()
{
    TestProject project(3);
    const TrackedObject *a = project.addObject();
    const TrackedObject *b = project.addObject();
    const TrackedObjectLabel labelA(a->id);
    const TrackedObjectLabel labelB(b->id);
    QVERIFY(isSolidInAllGroups(&labelA, Qt::white));
    QVERIFY(isSolidInAllGroups(&labelB, Qt::red));
    project->setCurrentObject(a->id);
    QVERIFY(isSolidInAllGroups(&labelA, Qt::red));
    QVERIFY(isSolidInAllGroups(&labelB, Qt::white));
    // Other changes do not bring the colour up to date.
    project->currentObjectId = b->id;
    for (const int flags : {0, int(DataState::FrameChanged), int(DataState::ObjectListChanged),
                            DataState::FrameChanged | DataState::ObjectListChanged}) {
        emit project->hasChanged(flags);
        QVERIFY(isSolidInAllGroups(&labelA, Qt::red));
    }
    emit project->hasChanged(DataState::ObjectSelectionChanged | DataState::ObjectListChanged);
    QVERIFY(isSolidInAllGroups(&labelA, Qt::white));
}

void TestTrackedObjectLabel::pressingALabelSelectsItsObject()
{
    ProjectWindow project(3);
    const TrackedObject *a = project.addObject();
    const TrackedObject *b = project.addObject();
    QVERIFY(project.show());
    const QSignalSpy changes(g_state, &DataState::hasChanged);
    const QList<TrackedObjectLabel *> labels = labelsOf(project.timeLine());
    MouseDriver::press(labels.at(0)->nameLabel, QPointF(10, 10));
    QCOMPARE(g_state->currentObjectId, a->id);
    QCOMPARE(flagsOf(changes), QList<int>({DataState::ObjectSelectionChanged}));
    MouseDriver::release(labels.at(0)->nameLabel, QPointF(10, 10));
    MouseDriver::click(labels.at(0)->nameLabel, QPointF(10, 10)); // the current one already
    QCOMPARE(changes.size(), 1);
    MouseDriver::click(labels.at(1)->nameLabel, QPointF(10, 10));
    QCOMPARE(g_state->currentObjectId, b->id);
    QVERIFY(isSolidInAllGroups(labels.at(0), Qt::white));
    QVERIFY(isSolidInAllGroups(labels.at(1), Qt::red));
}

void TestTrackedObjectLabel::editingRenamesTheObject()
{
    ProjectWindow project(3);
    TrackedObject *object = project.addObject();
    project.addObject();
    QVERIFY(project.show());
    const QPointer<TrackedObjectLabel> label = labelsOf(project.timeLine()).first();
    const QSignalSpy changes(object, &TrackedObject::hasChanged);
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QCOMPARE(label->stack->currentWidget(), label->nameEdit);
    QVERIFY(label->nameEdit->hasFocus());
    QCOMPARE(label->nameEdit->selectedText(), QStringLiteral("new object 1"));
    QTest::keyClicks(label->nameEdit, QStringLiteral("red ball"));
    QCOMPARE(object->name, QStringLiteral("new object 1"));
    QTest::keyClick(label->nameEdit, Qt::Key_Return);
    QCOMPARE(object->name, QStringLiteral("red ball"));
    QCOMPARE(flagsOf(changes), QList<int>({TrackedObject::NameChanged}));
    QCOMPARE(namesOf(project.timeLine()), QStringList({"red ball", "new object 2"}));
    ModelChecks::flushDeferredDeletes();
    QCoreApplication::processEvents();
    QVERIFY(!label); // replaced by a new one
    QCOMPARE(changes.size(), 1);
}

void TestTrackedObjectLabel::editButtonEndsTheEditing()
{
    ProjectWindow project(3);
    TrackedObject *object = project.addObject();
    QVERIFY(project.show());
    const QPointer<TrackedObjectLabel> label = labelsOf(project.timeLine()).first();
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QCOMPARE(label->stack->currentWidget(), label->nameLabel);
    QVERIFY(!label->nameEdit->hasFocus());
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QTest::keyClicks(label->nameEdit, QStringLiteral("dog"));
    QTest::mouseClick(label->editButton, Qt::LeftButton); // losing the focus finishes the editing
    QCOMPARE(object->name, QStringLiteral("dog"));
    const TrackedObjectLabel *closed = labelsOf(project.timeLine()).first();
    QCOMPARE(closed->stack->currentWidget(), closed->nameLabel);
    QCOMPARE(namesOf(project.timeLine()), QStringList({"dog"}));
}

void TestTrackedObjectLabel::returnClosesTheNameField_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("name");
    QTest::newRow("another name") << "red ball"
                                  << "red ball";
    QTest::newRow("the same name") << QString() << "new object 1";
}

void TestTrackedObjectLabel::returnClosesTheNameField()
{
    QFETCH(QString, typed);
    QFETCH(QString, name);
    ProjectWindow project(3);
    const TrackedObject *object = project.addObject();
    QVERIFY(project.show());
    QPointer<TrackedObjectLabel> label = labelsOf(project.timeLine()).first();
    const QSignalSpy changes(object, &TrackedObject::hasChanged);
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QVERIFY(label->nameEdit->hasFocus());
    QTest::keyClicks(label->nameEdit, typed);
    QTest::keyClick(label->nameEdit, Qt::Key_Return);
    QCOMPARE(object->name, name);
    QCOMPARE(changes.size(), typed.isEmpty() ? 0 : 1);
    ModelChecks::flushDeferredDeletes();
    QCOMPARE(label.isNull(), !typed.isEmpty());
    label = labelsOf(project.timeLine()).first();
    QCOMPARE(label->stack->currentWidget(), label->nameLabel);
    QCOMPARE(label->nameLabel->text(), name);
    QVERIFY(!label->nameEdit->hasFocus());
    // The keys belong to the window again.
    QTest::keyClick(project.window().windowHandle(), Qt::Key_Right);
    QCOMPARE(g_state->currentFrame, 1);
}

void TestTrackedObjectLabel::anUnfinishedNameSurvivesARebuild()
{
    ProjectWindow project(3);
    TrackedObject *object = project.addObject();
    TrackedObject *other = project.addObject();
    QVERIFY(project.show());
    TimeLine *timeLine = project.timeLine();
    const QSignalSpy changes(object, &TrackedObject::hasChanged);
    const TrackedObjectLabel *label = labelsOf(timeLine).first();
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QTest::keyClicks(label->nameEdit, QStringLiteral("red ball"));
    QCOMPARE(object->name, QStringLiteral("new object 1"));
    emit other->hasChanged(TrackedObject::ZOrderChanged);
    QCOMPARE(object->name, QStringLiteral("red ball"));
    QCOMPARE(flagsOf(changes), QList<int>({TrackedObject::NameChanged}));
    // The name was taken over in the middle of the rebuild, which made the rows anew.
    QCOMPARE(namesOf(timeLine), QStringList({"red ball", "new object 2"}));
    QCOMPARE(timeLine->keyFrameItems.size(), 6);
    QCOMPARE(itemsOf<KeyFrameGraphicsItem>(timeLine->bodyScene).size(), 6);
    QCOMPARE(itemsOf<FrameSpanGraphicsItem>(timeLine->bodyScene).size(), 2);
    ModelChecks::flushDeferredDeletes();
    QCOMPARE(timeLine->labelArea->findChildren<TrackedObjectLabel *>().size(), 2);
    QCOMPARE(namesOf(timeLine), QStringList({"red ball", "new object 2"}));
    QCOMPARE(timeLine->bodyMarker->scene(), timeLine->bodyScene);
}

void TestTrackedObjectLabel::anUnchangedNameIsNotAnnounced()
{
    ProjectWindow project(3);
    TrackedObject *object = project.addObject();
    QVERIFY(project.show());
    TrackedObjectLabel *label = labelsOf(project.timeLine()).first();
    const QSignalSpy changes(object, &TrackedObject::hasChanged);
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QTest::keyClick(label->nameEdit, Qt::Key_Return);
    QTest::mouseClick(label->editButton, Qt::LeftButton);
    QCOMPARE(changes.size(), 0);
    QCOMPARE(labelsOf(project.timeLine()).first(), label);
}

void TestTrackedObjectLabel::doubleClickOnALabelEdits()
{
    ProjectWindow project(3);
    project.addObject();
    const TrackedObject *other = project.addObject();
    QVERIFY(project.show());
    const TrackedObjectLabel *label = labelsOf(project.timeLine()).first();
    MouseDriver::doubleClick(label->nameLabel, QPointF(12, 12));
    QCOMPARE(label->stack->currentWidget(), label->nameEdit);
    QVERIFY(label->nameEdit->hasFocus());
    QCOMPARE(label->nameEdit->selectedText(), label->nameLabel->text());
    QVERIFY(!other->isCurrent());
}

void TestTrackedObjectLabel::otherButtonsDoubleClickDoesNotEdit()
{
    ProjectWindow project(3);
    project.addObject();
    QVERIFY(project.show());
    const TrackedObjectLabel *label = labelsOf(project.timeLine()).first();
    for (const Qt::MouseButton button : {Qt::RightButton, Qt::MiddleButton, Qt::BackButton}) {
        MouseDriver::doubleClick(label->nameLabel, QPointF(12, 12), Qt::NoModifier, button);
        QCOMPARE(label->stack->currentWidget(), label->nameLabel);
    }
}

void TestTrackedObjectLabel::deletingKeepsTheOthers()
{
    ProjectWindow project(3);
    project.addObject();
    project.addObject();
    QVERIFY(project.show());
    const QPointer<TrackedObjectLabel> label = labelsOf(project.timeLine()).first();
    project.nav()->setEnabled(false); // shows whether the window is reloaded
    QTest::mouseClick(label->deleteButton, Qt::LeftButton);
    QCOMPARE(g_state->objects.size(), 1);
    QCOMPARE(namesOf(project.timeLine()), QStringList({"new object 2"}));
    QCOMPARE(project.timeLine()->keyFrameItems.size(), 3);
    QVERIFY(!project.nav()->isEnabled());
    ModelChecks::flushDeferredDeletes();
    QVERIFY(!label);
}

void TestTrackedObjectLabel::deletingTheLastObjectResetsTheWindow()
{
    ProjectWindow project(3);
    project.addObject();
    project.window().reload();
    QVERIFY(project.show());
    QVERIFY(toolsEnabled(project.window()));
    QTest::mouseClick(labelsOf(project.timeLine()).first()->deleteButton, Qt::LeftButton);
    QVERIFY(!g_state->hasObjects());
    QVERIFY(!toolsEnabled(project.window()));
    const TimeLine *timeLine = project.timeLine();
    QVERIFY(labelsOf(timeLine).isEmpty());
    QVERIFY(timeLine->keyFrameItems.isEmpty() && timeLine->spanItems.isEmpty());
    QCOMPARE(timeLine->bodyScene->items().size(), 2);
    QVERIFY(timeLine->isEnabled());
    ModelChecks::flushDeferredDeletes();
    QCOMPARE(timeLine->labelArea->findChildren<TrackedObjectLabel *>().size(), 0);
}

void TestTrackedObjectLabel::longNamesLeaveTheButtonsInPlace()
{
    ProjectWindow project(3);
    TrackedObject *object = project.addObject();
    QVERIFY(project.show());
    object->changeName(QString(300, QLatin1Char('W')));
    QCoreApplication::processEvents();
    const TrackedObjectLabel *label = labelsOf(project.timeLine()).first();
    const QWidget *area = project.timeLine()->labelArea->viewport();
    for (const bool editing : {false, true}) {
        if (editing)
            QTest::mouseClick(label->editButton, Qt::LeftButton);
        QCoreApplication::processEvents();
        for (const QToolButton *button : {label->editButton, label->deleteButton}) {
            const QRect place(button->mapTo(area, QPoint(0, 0)), button->size());
            QVERIFY(area->rect().contains(place));
            QVERIFY(place.width() >= 29);
        }
    }
}

void TestTrackedObjectLabel::aNameHalfTypedIsTakenOverWhenTheWindowGoes_data()
{
    QTest::addColumn<bool>("floating");
    QTest::newRow("docked") << false;
    QTest::newRow("floating") << true;
}

void TestTrackedObjectLabel::aNameHalfTypedIsTakenOverWhenTheWindowGoes()
{
    QFETCH(bool, floating);
    QString name;
    QObject context;
    {
        ProjectWindow project(3);
        const TrackedObject *object = project.addObject();
        connect(object, &TrackedObject::hasChanged, &context, [&name, object] { name = object->name; });
        QVERIFY(project.show());
        project.timeLine()->setFloating(floating);
        project.timeLine()->activateWindow();
        TrackedObjectLabel *label = labelsOf(project.timeLine()).first();
        label->toggleEdit();
        QTRY_VERIFY(label->nameEdit->hasFocus());
        QTest::keyClicks(label->nameEdit, "left car");
    }
    QCOMPARE(name, QStringLiteral("left car"));
}

QTEST_MAIN(TestTrackedObjectLabel)
#include "tst_trackedobjectlabel.moc"
