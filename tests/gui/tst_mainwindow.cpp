// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"
#include "core/mainwindow.h"
#include "tests/gui/programfixture.h"
#include "tests/support/dialogdriver.h"
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
#include <QDir>
#include <QGraphicsPixmapItem>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMetaMethod>
#include <QPushButton>
#include <QScrollBar>
#include <QSlider>
#include <QSpinBox>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QToolBar>
#include <QToolButton>
#include <QTranslator>
#include <QtTest>

namespace
{

const QStringList toolTexts{"&morph", "&iTrack", "&aTrack", "export XML", "segmentation"};
const QStringList alwaysEnabled{"&New",           "&Open",         "&Close",    "Next Frame",
                                "Previous Frame", "License Notes", "About Palu"};

/// Texts of actions, "---" for a separator.
QStringList textsOf(const QList<QAction *> &actions)
{
    QStringList texts;
    for (const QAction *action : actions)
        texts.append(action->isSeparator() ? QStringLiteral("---") : action->text());
    return texts;
}

/// First difference between the actions' enabled states and the wanted ones; empty when there is none.
QString enabledProblem(const ProgramFixture &program, bool save, bool tools)
{
    for (const QString &text : alwaysEnabled) {
        if (!program.action(text)->isEnabled())
            return text + " is disabled";
    }
    if (program.action("&Save")->isEnabled() != save)
        return QStringLiteral("&Save is wrong");
    for (const QString &text : toolTexts) {
        if (program.action(text)->isEnabled() != tools)
            return text + " is wrong";
    }
    return QString();
}

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

QString nameOf(const QWidget *widget)
{
    return QStringLiteral("%1 \"%2\" in %3")
        .arg(QLatin1String(widget->metaObject()->className()), widget->accessibleName(),
             QLatin1String(widget->parentWidget()->metaObject()->className()));
}

/// Stands in for a translation and writes down what is looked up.
class RecordingTranslator : public QTranslator
{
public:
    QString translate(const char *context, const char *source, const char *, int) const override
    {
        asked.append(QLatin1String(context) + ":" + QString::fromUtf8(source));
        return QString();
    }
    bool isEmpty() const override { return false; }

    mutable QStringList asked;
};

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

public:
    static void initMain() { useTemporaryHome(); }

private slots:
    void initTestCase();
    void init() { m_program = std::make_unique<ProgramFixture>(); }
    void cleanup() { m_program.reset(); }

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

    void newAsksForAVideo();
    void newTextsAreTranslatable();
    void cancellingNewKeepsTheProject();
    void cancellingNewWithoutProjectLeavesItEmpty();
    void theFocusReturnsAfterACancelledNew();
    void theFocusIsInTheFrameViewerAfterNew_data();
    void theFocusIsInTheFrameViewerAfterNew();
    void newShowsTheFirstFrame();
    void newReplacesTheProjectWithoutAsking();
    void newStartsAtTheFirstFrameAfterALongerVideo();
    void newReusesAStateWithoutVideo();
    void failingVideoLeavesAnEmptyProject();
    void abortingTheExtractionLeavesAnEmptyProject();

    void closeWarnsWhenAVideoIsLoaded();
    void closeWithoutVideoIsSilent();
    void closeShortcutsCloseTheWindow_data();
    void closeShortcutsCloseTheWindow();

    void frameActionsStopAtTheEnds();
    void frameActionsDoNothingWithoutVideo();
    void arrowKeysStepFramesWhereverTheFocusIs();
    void textFieldsKeepTheirCursorKeys();
    void spacePlaysWhereverTheFocusIs();
    void spaceIsTextInTheNameEdit();
    void controlATracksWhereverTheFocusIs();
    void toolShortcutsTriggerTheirActions_data();
    void toolShortcutsTriggerTheirActions();

    void debugActionReducesTheCurrentKeyFrame();
    void everyActionSurvivesANullCurrentObject_data();
    void everyActionSurvivesANullCurrentObject();
    void endingTheProgramWhileATextIsEdited_data();
    void endingTheProgramWhileATextIsEdited();

private:
    /// Two objects on six frames; the second one is current.
    void startProjectWithTwoObjects();
    TrackedObjectLabel *firstLabel() const;

    QTemporaryDir m_folder;
    QString m_clip;
    std::unique_ptr<ProgramFixture> m_program;
};

void TestMainWindow::initTestCase()
{
    m_clip = encodeClip(m_folder.path(), "clip", 12);
    QVERIFY(!m_clip.isEmpty());
}

void TestMainWindow::startProjectWithTwoObjects()
{
    m_program->pretendVideo(6, 1000);
    g_state->addObject();
    g_state->addObject();
    (*m_program)->reload();
    ModelChecks::flushDeferredDeletes();
    QCoreApplication::processEvents();
}

TrackedObjectLabel *TestMainWindow::firstLabel() const
{
    return (*m_program)->timeLine()->findChildren<TrackedObjectLabel *>().constFirst();
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
    startProjectWithTwoObjects();
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
    startProjectWithTwoObjects();
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
    m_program->click(firstLabel()->deleteButton);
    QCOMPARE(g_state->objects.size(), 1);
    QCOMPARE(enabledProblem(*m_program, true, true), QString());
    ModelChecks::flushDeferredDeletes();
    QCoreApplication::processEvents();
    m_program->click(firstLabel()->deleteButton);
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
    startProjectWithTwoObjects();
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

void TestMainWindow::newAsksForAVideo()
{
    DialogDriver driver;
    driver.rejectFile();
    m_program->action("&New")->trigger();
    QCOMPARE(driver.problem(), QString());
    const DialogDriver::FileDialogSeen seen = driver.fileDialogs.value(0);
    QCOMPARE(seen.title, QString("Video file"));
    QCOMPARE(seen.directory, QDir::homePath());
    QCOMPARE(
        seen.nameFilters,
        QStringList({"supported file types (*.avi *.mpeg *.mp4 *.m4a *.m4p *.m4b *.m4r *.m4v *.wmv *.h263)",
                     "AVI (*.avi)", "MPEG (*.mpeg)", "MPEG4 (*.mp4 *.m4a *.m4p *.m4b *.m4r *.m4v)",
                     "WMV (*.wmv)", "H.263 (*.h263)"}));
    QCOMPARE(seen.selectedNameFilter, seen.nameFilters.constFirst());
    QVERIFY(seen.options.testFlag(QFileDialog::DontUseNativeDialog));
    QCOMPARE(seen.acceptMode, QFileDialog::AcceptOpen);
    QCOMPARE(seen.fileMode, QFileDialog::ExistingFile);
    QVERIFY2(!seen.mainWindowEnabled, "the window is not disabled during the question");
}

void TestMainWindow::newTextsAreTranslatable()
{
    RecordingTranslator translator;
    QCoreApplication::installTranslator(&translator);
    DialogDriver driver;
    driver.rejectFile();
    m_program->action("&New")->trigger();
    QCoreApplication::removeTranslator(&translator);
    QCOMPARE(driver.problem(), QString());
    // The blank at the end is part of the text; the dialog itself cuts it off.
    QVERIFY(translator.asked.contains(
        "MainWindow:supported file types (*.avi *.mpeg *.mp4 *.m4a *.m4p *.m4b *.m4r *.m4v *.wmv "
        "*.h263);;AVI (*.avi);;MPEG (*.mpeg);;MPEG4 (*.mp4 *.m4a *.m4p *.m4b *.m4r *.m4v);;WMV "
        "(*.wmv);;H.263 (*.h263) "));
}

void TestMainWindow::cancellingNewKeepsTheProject()
{
    startProjectWithTwoObjects();
    g_state->setFrame(2);
    const DataState *state = g_state;
    const VideoContainer *video = g_state->video;
    const QByteArray before = projectBytes();
    DialogDriver driver;
    driver.rejectFile();
    m_program->action("&New")->trigger();
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(g_state, state);
    QCOMPARE(g_state->video, video);
    QVERIFY(projectBytes() == before);
    QVERIFY((*m_program)->isEnabled());
    QCOMPARE(enabledProblem(*m_program, true, true), QString());
    QVERIFY((*m_program)->frameViewer()->isEnabled());
}

void TestMainWindow::cancellingNewWithoutProjectLeavesItEmpty()
{
    const DataState *state = g_state;
    DialogDriver driver;
    driver.rejectFile();
    m_program->action("&New")->trigger();
    QCOMPARE(driver.problem(), QString());
    QCOMPARE(g_state, state);
    QVERIFY(!g_state->videoLoaded);
    QVERIFY((*m_program)->isEnabled());
    QCOMPARE(enabledProblem(*m_program, false, false), QString());
    QVERIFY(!(*m_program)->frameNav()->isEnabled());
}

void TestMainWindow::theFocusReturnsAfterACancelledNew()
{
    startProjectWithTwoObjects();
    QWidget *viewer = (*m_program)->frameViewer()->view;
    for (QWidget *before : {static_cast<QWidget *>((*m_program)->frameNav()->buttonNext),
                            static_cast<QWidget *>((*m_program)->frameNav()->spinBox), viewer}) {
        before->setFocus();
        QVERIFY2(before->hasFocus(), qPrintable(nameOf(before)));
        DialogDriver driver;
        driver.rejectFile();
        m_program->action("&New")->trigger(); // disables the window meanwhile
        QCOMPARE(driver.problem(), QString());
        QCOMPARE((*m_program)->focusWidget(), viewer);
        g_state->setFrame(2);
        m_program->key(Qt::Key_Right);
        QCOMPARE(g_state->currentFrame, 3);
        QVERIFY(viewer->hasFocus());
    }
}

void TestMainWindow::theFocusIsInTheFrameViewerAfterNew_data()
{
    QTest::addColumn<bool>("projectBefore");
    QTest::newRow("first video") << false;
    QTest::newRow("another video") << true;
}

void TestMainWindow::theFocusIsInTheFrameViewerAfterNew()
{
    QFETCH(bool, projectBefore);
    if (projectBefore) {
        QCOMPARE(m_program->newProject(m_clip), QString());
        (*m_program)->frameNav()->slider->setFocus();
    }
    QCOMPARE(m_program->newProject(m_clip), QString());
    QCOMPARE((*m_program)->focusWidget(), static_cast<QWidget *>((*m_program)->frameViewer()->view));
    m_program->key(Qt::Key_Right);
    QCOMPARE(g_state->currentFrame, 1);
    QVERIFY((*m_program)->frameViewer()->view->hasFocus());
}

void TestMainWindow::newShowsTheFirstFrame()
{
    QCOMPARE(m_program->newProject(m_clip), QString());
    QVERIFY(g_state->videoLoaded);
    QVERIFY(g_state->video);
    QCOMPARE(g_state->currentFrame, 0);
    QCOMPARE(g_state->video->frameCount, 12);
    QVERIFY((*m_program)->isEnabled());
    QCOMPARE(enabledProblem(*m_program, true, false), QString());
    QCOMPARE((*m_program)->frameViewer()->frameItem->pixmap().size(), QSize(320, 240));
    QCOMPARE((*m_program)->frameNav()->slider->maximum(), 12);
    QVERIFY((*m_program)->timeLine()->isEnabled());
}

void TestMainWindow::newReplacesTheProjectWithoutAsking()
{
    startProjectWithTwoObjects();
    g_state->setFrame(3);
    const QPointer<DataState> old = g_state;
    DialogDriver driver;
    driver.acceptFile(m_clip);
    m_program->action("&New")->trigger();
    QCOMPARE(driver.problem(), QString()); // a question would have been one
    QVERIFY(driver.boxes.isEmpty());
    QVERIFY(!old);
    QVERIFY(g_state->videoLoaded);
    QVERIFY(!g_state->hasObjects());
    QCOMPARE(g_state->currentFrame, 0);
    QCOMPARE(g_state->video->frameCount, 12);
    QCOMPARE(TrackedObject::newID, qint32(0));
    QCOMPARE(enabledProblem(*m_program, true, false), QString());
    g_state->addObject();
    QCOMPARE(g_state->objects.first()->id, 0);
    QCOMPARE((*m_program)->timeLine()->keyFrameItems.size(), 12);
}

void TestMainWindow::newStartsAtTheFirstFrameAfterALongerVideo()
{
    m_program->pretendVideo(100);
    g_state->setFrame(90);
    QCOMPARE(m_program->newProject(m_clip), QString());
    QCOMPARE(g_state->currentFrame, 0);
    QCOMPARE((*m_program)->frameNav()->slider->value(), 1);
    QCOMPARE((*m_program)->frameNav()->spinBox->value(), 1);
}

void TestMainWindow::newReusesAStateWithoutVideo()
{
    const DataState *state = g_state;
    QCOMPARE(m_program->newProject(m_clip), QString());
    QCOMPARE(g_state, state);
}

void TestMainWindow::failingVideoLeavesAnEmptyProject()
{
    const QString path = m_folder.filePath("broken.avi");
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("no video at all");
    file.close();

    startProjectWithTwoObjects();
    LogCapture log;
    QCOMPARE(m_program->newProject(path), QString());
    QVERIFY(!log.warnings().isEmpty());
    QVERIFY(!g_state->videoLoaded);
    QVERIFY(!g_state->video);
    QVERIFY(!g_state->hasObjects());
    QVERIFY((*m_program)->isEnabled());
    QCOMPARE(enabledProblem(*m_program, false, false), QString());
    QVERIFY(!(*m_program)->frameViewer()->isEnabled());
    // And the program goes on.
    QCOMPARE(m_program->newProject(m_clip), QString());
    QVERIFY(g_state->videoLoaded);
}

void TestMainWindow::abortingTheExtractionLeavesAnEmptyProject()
{
    const QString longClip = encodeClip(m_folder.path(), "long", 300);
    QVERIFY(!longClip.isEmpty());
    startProjectWithTwoObjects();
    DialogDriver driver;
    driver.acceptFile(longClip);
    driver.abortProgress();
    bool enabledMeanwhile = true;
    driver.beforeAnswer([&](QWidget *) { enabledMeanwhile = (*m_program)->isEnabled(); });
    m_program->action("&New")->trigger();
    QCOMPARE(driver.problem(), QString());
    QVERIFY2(!enabledMeanwhile, "the window is enabled while the video is loaded");
    const DialogDriver::ProgressSeen seen = driver.progressDialogs.value(0);
    QCOMPARE(seen.label, QString("Extracting 300 frames. Please wait."));
    QCOMPARE(seen.cancelText, QString("Abort"));
    QCOMPARE(seen.minimum, 0);
    QCOMPARE(seen.maximum, 0);
    QCOMPARE(seen.modality, Qt::WindowModal);
    QVERIFY(!g_state->videoLoaded);
    QVERIFY(!g_state->hasObjects());
    QVERIFY((*m_program)->isEnabled());
    QCOMPARE(enabledProblem(*m_program, false, false), QString());
}

void TestMainWindow::closeWarnsWhenAVideoIsLoaded()
{
    startProjectWithTwoObjects();
    DialogDriver driver;
    LogCapture log;
    QTimer::singleShot(0, m_program->action("&Close"), &QAction::trigger);
    QTimer guard;
    connect(&guard, &QTimer::timeout, qApp, [] { QCoreApplication::exit(1); });
    guard.start(5000);
    QVERIFY2(QApplication::exec() == 0, "closing the window does not end the program");
    QCOMPARE(driver.problem(), QString()); // unsaved work is not asked about
    QVERIFY(!(*m_program)->isVisible());
    QCOMPARE(log.messages().size(), 1);
    const LogCapture::Message message = log.messages().constFirst();
    QCOMPARE(message.type, QtWarningMsg);
    QCOMPARE(message.text, QString("already loaded. TODO"));
    QCOMPARE(message.category, QString("default"));
    QCOMPARE(message.function, QString("void MainWindow::onActionClose()"));
    QCOMPARE(message.file, QString("core/mainwindow.cpp"));
}

void TestMainWindow::closeWithoutVideoIsSilent()
{
    LogCapture log;
    m_program->action("&Close")->trigger();
    QVERIFY(!(*m_program)->isVisible());
    QVERIFY(log.messages().isEmpty());
}

void TestMainWindow::closeShortcutsCloseTheWindow_data()
{
    QTest::addColumn<QKeySequence>("sequence");
    QTest::newRow("quit") << QKeySequence(QKeySequence::Quit);
    QTest::newRow("close") << QKeySequence(QKeySequence::Close);
}

void TestMainWindow::closeShortcutsCloseTheWindow()
{
    QFETCH(QKeySequence, sequence);
    if (sequence.isEmpty())
        QSKIP("this platform has no key for it");
    const int combined = sequence[0];
    m_program->key(static_cast<Qt::Key>(combined & ~Qt::KeyboardModifierMask),
                   Qt::KeyboardModifiers(combined & static_cast<int>(Qt::KeyboardModifierMask)));
    QTRY_VERIFY(!(*m_program)->isVisible());
}

void TestMainWindow::frameActionsStopAtTheEnds()
{
    m_program->pretendVideo(3);
    QAction *next = m_program->action("Next Frame");
    QAction *previous = m_program->action("Previous Frame");
    previous->trigger();
    QCOMPARE(g_state->currentFrame, 0);
    next->trigger();
    QCOMPARE(g_state->currentFrame, 1);
    next->trigger();
    next->trigger();
    QCOMPARE(g_state->currentFrame, 2);
    previous->trigger();
    QCOMPARE(g_state->currentFrame, 1);
}

void TestMainWindow::frameActionsDoNothingWithoutVideo()
{
    // A container that failed to load, and a frame to go back to.
    m_program->pretendVideo(3);
    g_state->videoLoaded = false;
    g_state->currentFrame = 1;
    const QSignalSpy changes(g_state, &DataState::hasChanged);
    m_program->action("Next Frame")->trigger();
    m_program->action("Previous Frame")->trigger();
    QCOMPARE(g_state->currentFrame, 1);
    QCOMPARE(changes.size(), 0);
}

void TestMainWindow::arrowKeysStepFramesWhereverTheFocusIs()
{
    startProjectWithTwoObjects();
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

void TestMainWindow::textFieldsKeepTheirCursorKeys()
{
    startProjectWithTwoObjects();
    g_state->setFrame(2);
    firstLabel()->toggleEdit();
    for (QWidget *widget : {static_cast<QWidget *>((*m_program)->frameNav()->spinBox),
                            static_cast<QWidget *>(firstLabel()->nameEdit)}) {
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

void TestMainWindow::spacePlaysWhereverTheFocusIs()
{
    startProjectWithTwoObjects();
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

void TestMainWindow::spaceIsTextInTheNameEdit()
{
    startProjectWithTwoObjects();
    TrackedObjectLabel *label = firstLabel();
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

void TestMainWindow::controlATracksWhereverTheFocusIs()
{
    startProjectWithTwoObjects();
    QAction *action = m_program->action("&aTrack");
    QVERIFY(action->disconnect(m_program->window.get())); // the key is what matters here
    QSignalSpy triggered(action, &QAction::triggered);
    TrackedObjectLabel *label = firstLabel();
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

void TestMainWindow::toolShortcutsTriggerTheirActions_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("key");
    QTest::newRow("new") << "&New" << static_cast<int>(Qt::Key_N);
    QTest::newRow("save") << "&Save" << static_cast<int>(Qt::Key_S);
    QTest::newRow("open") << "&Open" << static_cast<int>(Qt::Key_O);
    QTest::newRow("morph") << "&morph" << static_cast<int>(Qt::Key_M);
    QTest::newRow("iTrack") << "&iTrack" << static_cast<int>(Qt::Key_I);
}

void TestMainWindow::toolShortcutsTriggerTheirActions()
{
    QFETCH(QString, text);
    QFETCH(int, key);
    startProjectWithTwoObjects();
    QAction *action = m_program->action(text);
    QVERIFY(action->disconnect(m_program->window.get()));
    const QSignalSpy triggered(action, &QAction::triggered);
    m_program->key(static_cast<Qt::Key>(key), Qt::ControlModifier);
    QCOMPARE(triggered.size(), 1);
}

void TestMainWindow::debugActionReducesTheCurrentKeyFrame()
{
    startProjectWithTwoObjects();
    g_state->setFrame(3);
    const QPolygonF outline(
        {QPointF(10, 10), QPointF(10, 50), QPointF(10, 90), QPointF(90, 90), QPointF(90, 10)});
    for (TrackedObject *object : qAsConst(g_state->objects)) {
        for (int frame : {2, 3})
            object->keyFrames.at(frame)->setNewPolygon(outline);
    }
    (*m_program)->onActionTmpDebugAction();
    const QPolygonF reduced({QPointF(10, 10), QPointF(10, 90), QPointF(90, 90), QPointF(90, 10)});
    QCOMPARE(g_state->objects.at(1)->keyFrames.at(3)->polygon, reduced);
    QCOMPARE(g_state->objects.at(1)->keyFrames.at(2)->polygon, outline);
    QCOMPARE(g_state->objects.at(0)->keyFrames.at(3)->polygon, outline);
}

void TestMainWindow::everyActionSurvivesANullCurrentObject_data()
{
    QTest::addColumn<int>("currentId");
    QTest::newRow("no object has this id") << 99;
    QTest::newRow("none") << -1;
}

void TestMainWindow::everyActionSurvivesANullCurrentObject()
{
    QFETCH(int, currentId);
    startProjectWithTwoObjects();
    annotate(g_state->objects.at(0), 0, rectangle(10, 10, 30, 30));
    annotate(g_state->objects.at(0), 5, rectangle(40, 10, 30, 30));
    g_state->setCurrentObject(currentId);
    QVERIFY(!g_state->getCurrentObject());
    const QByteArray before = projectBytes();

    for (const QString &text : QStringList({"&morph", "&iTrack", "&aTrack", "segmentation"})) {
        DialogDriver driver;
        driver.tolerateMessageBoxes();
        m_program->action(text)->trigger();
        QVERIFY2(driver.problem().isEmpty(), qPrintable(text + ": " + driver.problem()));
        QVERIFY2(projectBytes() == before, qPrintable(text));
    }
    (*m_program)->onActionTmpDebugAction();
    QVERIFY(projectBytes() == before);
    m_program->action("Next Frame")->trigger();
    QCOMPARE(g_state->currentFrame, 1);
    m_program->action("Previous Frame")->trigger();
    QCOMPARE(g_state->currentFrame, 0);
    (*m_program)->reload();
    QCOMPARE(enabledProblem(*m_program, true, true), QString());
    QCOMPARE(m_program->exportXml(m_folder.filePath("nobody.xml"), false), QString());
    QVERIFY(QFile::remove(m_folder.filePath("nobody.xml")));
    QCOMPARE(m_program->saveAs(m_folder.filePath("nobody.palu")), QString());
    QFile saved(m_folder.filePath("nobody.palu"));
    QVERIFY(saved.open(QIODevice::ReadOnly));
    QVERIFY(saved.readAll() == before);
    QVERIFY(saved.remove());
    // Drawing, with nobody to draw for.
    m_program->doubleClickFrame(QPointF(5, 5));
    QVERIFY(projectBytes() == before);
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
    startProjectWithTwoObjects();
    QWidget *field = (*m_program)->frameNav()->spinBox;
    if (nameEdit) {
        firstLabel()->toggleEdit();
        field = firstLabel()->nameEdit;
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
