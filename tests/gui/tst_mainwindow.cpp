// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "tests/gui/programtest.h"
#include "tests/support/logcapture.h"
#include "tests/support/modelchecks.h"
#include "tests/support/testproject.h"
#include "views/clickablegraphicsview.h"
#include "views/framegraphicsview.h"
#include "views/framenav.h"
#include "views/frameviewer.h"
#include "views/timeline.h"
#include "views/trackedobjectlabel.h"

#include <QAccessible>
#include <QAction>
#include <QGraphicsRectItem>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMetaMethod>
#include <QPointer>
#include <QPushButton>
#include <QScrollBar>
#include <QSlider>
#include <QSpinBox>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QToolBar>
#include <QToolButton>
#include <QtTest>

namespace
{

/// Texts of actions, "---" for a separator.
QStringList textsOf(const QList<QAction *> &actions)
{
    QStringList texts;
    for (const QAction *action : actions)
        texts.append(action->isSeparator() ? QStringLiteral("---") : action->text());
    return texts;
}

} // namespace

class TestMainWindow : public ProgramTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void windowStartsInItsSizeWithoutTitle();
    void menusStandInOrder();
    void actionsHaveTheirIconsShortcutsAndStates_data();
    void actionsHaveTheirIconsShortcutsAndStates();
    void actionsBelongToTheWindow();
    void closeHasTwoShortcutsInOrder();
    void noTwoActionsShareAShortcut();
    void toolBarHoldsTheToolsInOrder();
    void docksStandInTheirAreas();
    void windowsMenuHidesAndShowsTheDocks();
    void viewsAreOfTheRightKind();
    void everySlotCanBeCalledByName();
    void iconButtonsHaveToolTipsAndAccessibleNames();
    void viewsHaveAccessibleNames();
    void toolTipsNameTheShortcut();
    void threeRowsFitIntoTheTimeLine();
    void stopFrameStartsWithNoRunPending();

    void enabledStatesFollowTheProject();
    void reloadShowsTheProjectInEveryView();
    void reloadWithoutVideoLeavesTheViewsDisabled();

    void recreateDataStateDiscardsEverything();
    void recreateDataStateConnectsTheViewsToTheNewState();
    void recreateDataStateEnablesTheWindow();
    void recreateDataStateKeepsTheStopFrame();

    void endingTheProgramWhileATextIsEdited_data();
    void endingTheProgramWhileATextIsEdited();

private:
    QTemporaryDir m_folder;
    QString m_clip;
};

void TestMainWindow::initTestCase()
{
    m_clip = encodeClip(m_folder.path(), "clip", 12);
    QVERIFY(!m_clip.isEmpty());
}

void TestMainWindow::windowStartsInItsSizeWithoutTitle()
{
    QCOMPARE((*m_program)->size(), QSize(1024, 768));
    QVERIFY((*m_program)->windowTitle().isEmpty());
    QVERIFY((*m_program)->isEnabled());
    QVERIFY((*m_program)->findChild<QStatusBar *>());
}

void TestMainWindow::menusStandInOrder()
{
    QCOMPARE(textsOf((*m_program)->menuBar()->actions()),
             QStringList({"&File", "F&rame", "&Tools", "&Windows", "&Help"}));
    QCOMPARE(textsOf(m_program->menu("&File")->actions()),
             QStringList({"&New", "&Save", "&Open", "---", "&Close"}));
    QCOMPARE(textsOf(m_program->menu("F&rame")->actions()), QStringList({"Next Frame", "Previous Frame"}));
    QCOMPARE(textsOf(m_program->menu("&Tools")->actions()), toolTexts);
    QCOMPARE(textsOf(m_program->menu("&Windows")->actions()), QStringList({"Frame Navigation", "Time Line"}));
    QCOMPARE(textsOf(m_program->menu("&Help")->actions()), QStringList({"License Notes", "About Palu"}));
}

void TestMainWindow::actionsHaveTheirIconsShortcutsAndStates_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("icon");
    QTest::addColumn<QKeySequence>("shortcut");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("new") << "&New"
                         << ":icons/new.ico" << QKeySequence(QKeySequence::New) << true;
    QTest::newRow("save") << "&Save"
                          << ":icons/save.ico" << QKeySequence(QKeySequence::Save) << false;
    QTest::newRow("open") << "&Open"
                          << ":icons/open.ico" << QKeySequence(QKeySequence::Open) << true;
    QTest::newRow("close") << "&Close" << QString() << QKeySequence(QKeySequence::Quit) << true;
    QTest::newRow("next") << "Next Frame"
                          << ":icons/goNext.ico" << QKeySequence(Qt::Key_Right) << true;
    QTest::newRow("previous") << "Previous Frame"
                              << ":icons/goPre.ico" << QKeySequence(Qt::Key_Left) << true;
    QTest::newRow("morph") << "&morph"
                           << ":icons/morph.ico" << QKeySequence("Ctrl+M") << false;
    QTest::newRow("iTrack") << "&iTrack"
                            << ":icons/iTrack.ico" << QKeySequence("Ctrl+I") << false;
    QTest::newRow("aTrack") << "&aTrack"
                            << ":icons/aTrack.ico" << QKeySequence("Ctrl+A") << false;
    QTest::newRow("export") << "export XML"
                            << ":icons/export.ico" << QKeySequence() << false;
    QTest::newRow("segmentation") << "segmentation"
                                  << ":icons/scissors.ico" << QKeySequence() << false;
    QTest::newRow("license") << "License Notes" << QString() << QKeySequence() << true;
    QTest::newRow("about") << "About Palu" << QString() << QKeySequence() << true;
}

void TestMainWindow::actionsHaveTheirIconsShortcutsAndStates()
{
    QFETCH(QString, text);
    QFETCH(QString, icon);
    QFETCH(QKeySequence, shortcut);
    QFETCH(bool, enabled);
    const QAction *action = m_program->action(text);
    QCOMPARE(action->shortcut(), shortcut);
    QCOMPARE(action->isEnabled(), enabled);
    QCOMPARE(action->icon().isNull(), icon.isEmpty());
    if (!icon.isEmpty()) {
        QVERIFY(QFile::exists(icon));
        const QSize size(48, 48);
        QCOMPARE(action->icon().pixmap(size).toImage(), QIcon(icon).pixmap(size).toImage());
        QVERIFY(!action->icon().pixmap(size).isNull());
    }
}

void TestMainWindow::actionsBelongToTheWindow()
{
    QStringList created;
    for (const QAction *action :
         (*m_program)->findChildren<QAction *>(QString(), Qt::FindDirectChildrenOnly)) {
        if (!action->isSeparator())
            created.append(action->text());
    }
    QCOMPARE(created, QStringList({"&New", "&Save", "&Open", "&Close", "Next Frame", "Previous Frame",
                                   "&morph", "&iTrack", "&aTrack", "export XML", "segmentation",
                                   "License Notes", "About Palu"}));
}

void TestMainWindow::closeHasTwoShortcutsInOrder()
{
    QList<QKeySequence> expected({QKeySequence(QKeySequence::Quit), QKeySequence(QKeySequence::Close)});
    expected.removeAll(QKeySequence()); // not every platform has a key for both
    QVERIFY(!expected.isEmpty());
    QCOMPARE(m_program->action("&Close")->shortcuts(), expected);
    // Every other action has one at most.
    for (const QString &text : alwaysEnabled + toolTexts + QStringList("&Save")) {
        if (text != QLatin1String("&Close"))
            QVERIFY2(m_program->action(text)->shortcuts().size() <= 1, qPrintable(text));
    }
}

void TestMainWindow::noTwoActionsShareAShortcut()
{
    QStringList seen;
    for (const QAction *action : (*m_program)->findChildren<QAction *>()) {
        for (const QKeySequence &sequence : action->shortcuts()) {
            QVERIFY2(!seen.contains(sequence.toString()), qPrintable(sequence.toString()));
            seen.append(sequence.toString());
        }
    }
    QVERIFY(seen.size() >= 9);
}

void TestMainWindow::toolBarHoldsTheToolsInOrder()
{
    const auto bars = (*m_program)->findChildren<QToolBar *>();
    QCOMPARE(bars.size(), 1);
    QToolBar *bar = bars.constFirst();
    QCOMPARE(bar->windowTitle(), QString("Toolbar"));
    QCOMPARE(bar->iconSize(), QSize(48, 48));
    QCOMPARE((*m_program)->toolBarArea(bar), Qt::LeftToolBarArea);
    QCOMPARE(textsOf(bar->actions()), QStringList({"&New", "&Save", "&Open"}) + toolTexts);
    for (QAction *action : bar->actions()) {
        const QWidget *button = bar->widgetForAction(action);
        QVERIFY2(button->isVisible(), qPrintable(action->text()));
        QVERIFY2(bar->rect().contains(button->geometry()), qPrintable(action->text()));
    }
}

void TestMainWindow::docksStandInTheirAreas()
{
    FrameNav *nav = (*m_program)->frameNav();
    QCOMPARE(nav->windowTitle(), QString("Frame Navigation"));
    QCOMPARE(nav->allowedAreas(), Qt::DockWidgetAreas(Qt::AllDockWidgetAreas));
    QCOMPARE((*m_program)->dockWidgetArea(nav), Qt::TopDockWidgetArea);
    TimeLine *timeLine = (*m_program)->timeLine();
    QCOMPARE(timeLine->windowTitle(), QString("Time Line"));
    QCOMPARE(timeLine->allowedAreas(), Qt::DockWidgetAreas(Qt::AllDockWidgetAreas));
    QCOMPARE((*m_program)->dockWidgetArea(timeLine), Qt::BottomDockWidgetArea);
    QVERIFY(nav->isVisible());
    QVERIFY(timeLine->isVisible());
    QVERIFY(nav->geometry().bottom() < timeLine->geometry().top());
}

void TestMainWindow::windowsMenuHidesAndShowsTheDocks()
{
    const QList<QAction *> actions = m_program->menu("&Windows")->actions();
    QCOMPARE(actions, QList<QAction *>({(*m_program)->frameNav()->toggleViewAction(),
                                        (*m_program)->timeLine()->toggleViewAction()}));
    actions.at(1)->trigger();
    QVERIFY(!(*m_program)->timeLine()->isVisible());
    QVERIFY((*m_program)->frameNav()->isVisible());
    actions.at(1)->trigger();
    QVERIFY((*m_program)->timeLine()->isVisible());
}

void TestMainWindow::viewsAreOfTheRightKind()
{
    QCOMPARE((*m_program)->centralWidget(), static_cast<QWidget *>((*m_program)->frameViewer()));
    QVERIFY(!(*m_program)->frameViewer()->isEnabled());
    QVERIFY(!(*m_program)->frameNav()->isEnabled());
    QVERIFY(!(*m_program)->timeLine()->isEnabled());
}

void TestMainWindow::everySlotCanBeCalledByName()
{
    const QMetaObject &meta = MainWindow::staticMetaObject;
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        if (method.methodType() != QMetaMethod::Slot)
            continue;
        names.append(QString::fromLatin1(method.methodSignature()));
        QVERIFY2(method.access() == QMetaMethod::Public, qPrintable(names.last()));
    }
    QCOMPARE(names, QStringList({"onActionNew()", "onActionSave()", "onActionOpen()", "onActionClose()",
                                 "onActionNextFrame()", "onActionPrevFrame()", "onActionLinearMorphing()",
                                 "onActionInteractiveTracking()", "onActionAutomaticTracking()",
                                 "onActionExportXML()", "onActionSegmentation()", "onActionHelpLicense()",
                                 "onActionHelpAbout()", "onActionTmpDebugAction()", "reload()",
                                 "recreateDataState()"}));
    m_program->pretendVideo(6);
    QVERIFY(QMetaObject::invokeMethod(m_program->window.get(), "recreateDataState"));
    QVERIFY(!g_state->videoLoaded);
}

void TestMainWindow::iconButtonsHaveToolTipsAndAccessibleNames()
{
    m_program->pretendTwoObjects();
    int found = 0;
    QStringList toolTips;
    for (QAbstractButton *button : (*m_program)->findChildren<QAbstractButton *>()) {
        const auto *toolButton = qobject_cast<const QToolButton *>(button);
        const bool iconOnly =
            toolButton ? toolButton->toolButtonStyle() == Qt::ToolButtonIconOnly : button->text().isEmpty();
        // Docks and tool bars have buttons of Qt's own.
        if (!iconOnly || !button->isVisible() || button->objectName().startsWith("qt_"))
            continue;
        ++found;
        const QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(button);
        QVERIFY(accessible);
        const QString place = nameOf(button) + ": " + button->text();
        QVERIFY2(!button->icon().availableSizes().isEmpty(), qPrintable(place));
        QVERIFY2(!button->toolTip().isEmpty(), qPrintable(place));
        QVERIFY2(!accessible->text(QAccessible::Name).isEmpty(), qPrintable(place));
        toolTips.append(button->toolTip());
    }
    QCOMPARE(found, 5 + 8 + 2 * 2); // navigation, tool bar, and two per object
    QCOMPARE(toolTips.removeDuplicates(), 2);
}

void TestMainWindow::viewsHaveAccessibleNames()
{
    m_program->pretendTwoObjects();
    const TimeLine *timeLine = (*m_program)->timeLine();
    QStringList names;
    for (QWidget *view :
         {static_cast<QWidget *>((*m_program)->frameViewer()->view),
          static_cast<QWidget *>(timeLine->labelArea), static_cast<QWidget *>(timeLine->headerView),
          static_cast<QWidget *>(timeLine->bodyView)}) {
        const QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(view);
        QVERIFY(accessible);
        names.append(accessible->text(QAccessible::Name));
        QVERIFY2(!names.last().isEmpty(), qPrintable(nameOf(view)));
    }
    QCOMPARE(names.removeDuplicates(), 0);
}

void TestMainWindow::toolTipsNameTheShortcut()
{
    int withShortcut = 0;
    for (const QAction *action : (*m_program)->findChild<QToolBar *>()->actions()) {
        const QString keys = action->shortcut().toString(QKeySequence::NativeText);
        QVERIFY2(action->toolTip().size() > 12, qPrintable(action->text())); // more than the text itself
        if (keys.isEmpty()) {
            QVERIFY2(!action->toolTip().contains('('), qPrintable(action->toolTip()));
        } else {
            QVERIFY2(action->toolTip().endsWith(" (" + keys + ")"), qPrintable(action->toolTip()));
            ++withShortcut;
        }
    }
    QCOMPARE(withShortcut, 6);

    const auto keyText = [this](const char *text) {
        return " (" + m_program->action(text)->shortcut().toString(QKeySequence::NativeText) + ")";
    };
    const FrameNav *nav = (*m_program)->frameNav();
    QVERIFY(nav->buttonNext->toolTip().endsWith(keyText("Next Frame")));
    QVERIFY(nav->buttonPrev->toolTip().endsWith(keyText("Previous Frame")));
    QVERIFY(nav->buttonPlay->toolTip().endsWith(
        " (" + nav->buttonPlay->shortcut().toString(QKeySequence::NativeText) + ")"));
    for (const QPushButton *button : {nav->buttonFirst, nav->buttonLast})
        QVERIFY2(!button->toolTip().contains('('), qPrintable(button->toolTip()));
}

void TestMainWindow::threeRowsFitIntoTheTimeLine()
{
    m_program->pretendVideo(200);
    for (int i = 0; i < 3; ++i)
        g_state->addObject();
    QCoreApplication::processEvents();
    const TimeLine *timeLine = (*m_program)->timeLine();
    QVERIFY(timeLine->bodyView->horizontalScrollBar()->isVisible());
    QVERIFY2(timeLine->bodyView->viewport()->height() >= 3 * timeLine->rowHeight,
             qPrintable(QString::number(timeLine->bodyView->viewport()->height())));
    QCOMPARE(timeLine->bodyView->verticalScrollBar()->maximum(), 0);
    QCOMPARE(timeLine->labelArea->verticalScrollBar()->maximum(), 0);
    g_state->addObject(); // one more does not
    QCoreApplication::processEvents();
    QVERIFY(timeLine->bodyView->verticalScrollBar()->maximum() > 0);
}

void TestMainWindow::stopFrameStartsWithNoRunPending()
{
    QCOMPARE((*m_program)->trackingStopFrame, qint32(-1));
}

void TestMainWindow::enabledStatesFollowTheProject()
{
    QCOMPARE(enabledProblem(*m_program, false, false), QString());
    m_program->pretendVideo(6);
    QCOMPARE(enabledProblem(*m_program, true, false), QString());

    // A click on "ADD Object" brings the first object, and with it the tools.
    m_program->click((*m_program)->timeLine()->addButton);
    QCOMPARE(g_state->objects.size(), 1);
    QCOMPARE(enabledProblem(*m_program, true, true), QString());
    m_program->click((*m_program)->timeLine()->addButton);
    QCOMPARE(enabledProblem(*m_program, true, true), QString());

    // "Del" on one of two objects changes nothing; the last one takes the tools with it.
    ModelChecks::flushDeferredDeletes();
    m_program->click(m_program->firstLabel()->deleteButton);
    QCOMPARE(g_state->objects.size(), 1);
    QCOMPARE(enabledProblem(*m_program, true, true), QString());
    ModelChecks::flushDeferredDeletes();
    QCoreApplication::processEvents();
    m_program->click(m_program->firstLabel()->deleteButton);
    QCOMPARE(g_state->objects.size(), 0);
    QCOMPARE(enabledProblem(*m_program, true, false), QString());

    (*m_program)->recreateDataState();
    QCOMPARE(enabledProblem(*m_program, false, false), QString());

    // Objects without a video enable nothing.
    g_state->objects.append(nullptr);
    (*m_program)->reload();
    const QString problem = enabledProblem(*m_program, false, false);
    g_state->objects.clear();
    QCOMPARE(problem, QString());
}

void TestMainWindow::reloadShowsTheProjectInEveryView()
{
    m_program->pretendVideo(6);
    g_state->addObject();
    g_state->currentFrame = 4;
    (*m_program)->reload();
    QVERIFY((*m_program)->frameViewer()->isEnabled());
    QVERIFY((*m_program)->frameNav()->isEnabled());
    QVERIFY((*m_program)->timeLine()->isEnabled());
    QCOMPARE((*m_program)->frameNav()->slider->maximum(), 6);
    QCOMPARE((*m_program)->frameNav()->slider->value(), 5);
    QCOMPARE((*m_program)->frameNav()->spinBox->value(), 5);
    QCOMPARE((*m_program)->timeLine()->keyFrameItems.size(), 6);
    QVERIFY((*m_program)->frameViewer()->frameItem);
}

void TestMainWindow::reloadWithoutVideoLeavesTheViewsDisabled()
{
    (*m_program)->reload();
    QVERIFY(!(*m_program)->frameViewer()->isEnabled());
    QVERIFY(!(*m_program)->frameNav()->isEnabled());
    QVERIFY(!(*m_program)->timeLine()->isEnabled());
    QCOMPARE(enabledProblem(*m_program, false, false), QString());
}

void TestMainWindow::recreateDataStateDiscardsEverything()
{
    QCOMPARE(m_program->newProject(m_clip), QString());
    g_state->addObject();
    g_state->addObject();
    g_state->setFrame(3);
    const QPointer<DataState> oldState = g_state;
    const QPointer<VideoContainer> oldVideo = g_state->video;
    const QPointer<TrackedObject> oldObject = g_state->objects.first();
    const QString image = g_state->video->getFramePath(0);
    QVERIFY(QFile::exists(image));

    (*m_program)->recreateDataState();
    QVERIFY(!oldState);
    QVERIFY(!oldVideo);
    QVERIFY(!oldObject);
    QVERIFY2(!QFile::exists(image), "the frame images outlive their project");
    QVERIFY(g_state);
    QVERIFY(!g_state->parent());
    QVERIFY(!g_state->videoLoaded);
    QVERIFY(!g_state->video);
    QVERIFY(!g_state->hasObjects());
    QCOMPARE(g_state->currentFrame, 0);
    QCOMPARE(g_state->currentObjectId, -1);
    QCOMPARE(TrackedObject::newID, qint32(0));
    QVERIFY(!(*m_program)->frameViewer()->isEnabled());
    QVERIFY(!(*m_program)->frameNav()->isEnabled());
    QVERIFY(!(*m_program)->timeLine()->isEnabled());
    QCOMPARE(enabledProblem(*m_program, false, false), QString());
}

void TestMainWindow::recreateDataStateConnectsTheViewsToTheNewState()
{
    m_program->pretendTwoObjects();
    (*m_program)->recreateDataState();
    m_program->pretendVideo(8);
    g_state->addObject();
    QCOMPARE(g_state->objects.first()->id, 0);
    // Each view follows the new state by itself, without reload().
    QCOMPARE((*m_program)->timeLine()->keyFrameItems.size(), 8);
    QCOMPARE((*m_program)->frameViewer()->scene->items().isEmpty(), false);
    g_state->setFrame(5);
    QCOMPARE((*m_program)->frameNav()->slider->value(), 6);
    QCOMPARE((*m_program)->timeLine()->bodyMarker->pos(), QPointF(5 * 40, 0));
    annotate(g_state->objects.first(), 5, rectangle(10, 10, 20, 20));
    ModelChecks::flushDeferredDeletes();
    QCOMPARE((*m_program)->timeLine()->findChildren<TrackedObjectLabel *>().size(), 1);
    // Twice connected, the time line would react twice; once is enough.
    QCOMPARE((*m_program)->timeLine()->objectConnections.size(), 1);
}

void TestMainWindow::recreateDataStateEnablesTheWindow()
{
    (*m_program)->setDisabled(true);
    (*m_program)->recreateDataState();
    QVERIFY((*m_program)->isEnabled());
}

void TestMainWindow::recreateDataStateKeepsTheStopFrame()
{
    (*m_program)->trackingStopFrame = 7;
    (*m_program)->recreateDataState();
    QCOMPARE((*m_program)->trackingStopFrame, qint32(7));
}

void TestMainWindow::endingTheProgramWhileATextIsEdited_data()
{
    QTest::addColumn<bool>("nameEdit");
    QTest::addColumn<bool>("closed");
    QTest::newRow("frame number, window closed") << false << true;
    QTest::newRow("frame number, window still open") << false << false;
    QTest::newRow("name, window closed") << true << true;
    QTest::newRow("name, window still open") << true << false;
}

void TestMainWindow::endingTheProgramWhileATextIsEdited()
{
    QFETCH(bool, nameEdit);
    QFETCH(bool, closed);
    m_program->pretendTwoObjects();
    QWidget *field = (*m_program)->frameNav()->spinBox;
    if (nameEdit) {
        m_program->firstLabel()->toggleEdit();
        field = m_program->firstLabel()->nameEdit;
    }
    field->setFocus();
    QVERIFY(field->hasFocus());
    QTest::keyClicks(field, "3");
    LogCapture log;
    if (closed)
        (*m_program)->close();
    // The text is finished while the window goes away, after the project state.
    m_program.reset();
    QVERIFY(!g_state);
    QCOMPARE(log.warnings(), QStringList());
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
