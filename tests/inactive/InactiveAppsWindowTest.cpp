// The inactive apps window on the simulated desktop, clicked as a user would: what it lists and says, the
// threshold menu, Quit and Quit All as polite requests (an app that stays is reported, never forced), Escape,
// a fresh list on the next showing, and its place on the main screen.
#include <gtest/gtest.h>

#include <QComboBox>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTest>

#include "../TestSupport.h"
#include "app/AppServices.h"
#include "app/TamsinvaleApp.h"
#include "inactive/AppUsageTracker.h"
#include "inactive/InactiveAppsServices.h"
#include "inactive/InactiveAppsView.h"
#include "inactive/InactiveAppsWindowController.h"
#include "inactive/InactivePanel.h"
#include "platform/fake/FakeDesktop.h"
#include "settings/SettingsStore.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

constexpr double hour = 3600;

struct Rig {
    Rig()
    {
        // Launched 100, 80 and 30 hours ago, never activated since tracking began: idle since their launch.
        add(21, "org.editor", "Editor", 100);
        add(22, "org.mail", "Mail", 80);
        add(23, "org.chat", "Chat", 30);
        add(24, "org.front", "Front", 200);
        desktop.workspace.setFrontmost(24);
    }
    void add(std::int32_t pid, const QString& bundle, const QString& name, double hoursAgo)
    {
        RunningApp app = desktop.makeApp(pid, bundle, name);
        app.launchDate = desktop.scheduler.currentDateTime().addSecs(qint64(-hoursAgo * hour));
        desktop.workspace.addApplication(app);
    }
    QList<std::int32_t> listed() const
    {
        QList<std::int32_t> out;
        for (const InactiveAppRow& r : controller.view()->rows())
            out << r.item.pid();
        return out;
    }
    void click(QPushButton* button)
    {
        ASSERT_TRUE(button);
        ASSERT_TRUE(button->isEnabled());
        QTest::mouseClick(button, Qt::LeftButton);
    }
    InactivePanel& panel() { return *controller.panel(); }

    FakeDesktop desktop;
    SettingsStore settings{desktop.defaults};
    AppUsageTracker tracker{desktop.defaults, desktop.workspace, desktop.scheduler};
    InactiveAppsWindowController controller{desktop.platform(), settings, tracker};
};

}  // namespace

TEST(InactiveAppsWindow, listsTheIdleAppsLongestIdleFirstWithNamesAndWhenLastUsed)
{
    Rig r;
    r.tracker.start();
    r.controller.show();
    ASSERT_TRUE(r.controller.isOpen());
    ASSERT_TRUE(r.panel().isVisible());
    EXPECT_EQ(r.panel().windowTitle(), InactivePanel::windowTitleText);
    // 48 hours by default: Chat (30 h) is too fresh, Front is the user's current application.
    EXPECT_EQ(r.listed(), (QList<std::int32_t>{21, 22}));
    EXPECT_EQ(r.panel().nameText(21), "Editor");
    EXPECT_EQ(r.panel().detailText(21), "Last used 4 days ago");
    EXPECT_EQ(r.panel().detailText(22), "Last used 3 days ago");
    EXPECT_EQ(r.panel().thresholdMenu()->currentText(), "48 hours");
    EXPECT_FALSE(r.panel().emptyLabel()->isVisible());
    EXPECT_TRUE(r.panel().quitAllButton()->isEnabled());
}

TEST(InactiveAppsWindow, theThresholdMenuStoresTheChoiceAndListsAgainWithItsEmptyText)
{
    Rig r;
    r.controller.show();
    QComboBox* menu = r.panel().thresholdMenu();
    QStringList items;
    for (int i = 0; i < menu->count(); ++i)
        items << menu->itemText(i);
    EXPECT_EQ(items, (QStringList{"12 hours", "24 hours", "48 hours", "3 days", "1 week"}));

    menu->setCurrentIndex(menu->findText("3 days"));
    EXPECT_EQ(r.settings.settings().inactiveThresholdHours, 72);
    EXPECT_DOUBLE_EQ(r.desktop.defaults.values().value("tamsinvale.settings.inactive.threshold.hours").toDouble(), 72);
    EXPECT_EQ(r.listed(), (QList<std::int32_t>{21, 22}));  // 80 hours is more than "3 days"

    menu->setCurrentIndex(menu->findText("1 week"));
    EXPECT_TRUE(r.listed().isEmpty());
    EXPECT_TRUE(r.panel().emptyLabel()->isVisibleTo(&r.panel()));
    EXPECT_EQ(r.panel().emptyLabel()->text(), "No apps have been inactive for 1 week");
    EXPECT_FALSE(r.panel().quitAllButton()->isEnabled());

    menu->setCurrentIndex(menu->findText("24 hours"));
    EXPECT_EQ(r.listed(), (QList<std::int32_t>{21, 22, 23}));

    // A value set from the command line shows as itself, in its place.
    r.settings.set(&Settings::inactiveThresholdHours, 36.0);
    EXPECT_EQ(menu->currentText(), "36 hours");
    EXPECT_EQ(menu->itemText(2), "36 hours");
    EXPECT_EQ(r.listed(), (QList<std::int32_t>{21, 22}));
}

TEST(InactiveAppsWindow, quitAsksPolitelyAndTheRowGoesWhenTheAppHasQuit)
{
    Rig r;
    r.controller.show();
    r.click(r.panel().quitButton(22));
    EXPECT_EQ(r.desktop.workspace.quitRequests(), (QList<std::int32_t>{22}));
    EXPECT_EQ(r.panel().detailText(22), "Quitting…");
    EXPECT_FALSE(r.panel().quitButton(22)->isEnabled());
    r.desktop.scheduler.advance(0.5);  // it quits
    EXPECT_EQ(r.listed(), (QList<std::int32_t>{21}));
    EXPECT_EQ(r.panel().quitButton(22), nullptr);
    EXPECT_TRUE(r.panel().quitButton(21)->isEnabled());
}

TEST(InactiveAppsWindow, anAppThatStaysAfterTenSecondsIsReportedAndNeverForced)
{
    Rig r;
    r.desktop.workspace.scriptQuit(21, FakeWorkspace::QuitBehaviour::ignores);
    r.desktop.workspace.scriptQuit(22, FakeWorkspace::QuitBehaviour::cannotBeAsked);
    r.controller.show();
    r.click(r.panel().quitAllButton());
    EXPECT_EQ(r.desktop.workspace.quitRequests(), (QList<std::int32_t>{21, 22}));
    EXPECT_EQ(r.panel().detailText(21), "Quitting…");
    EXPECT_EQ(r.panel().detailText(22), "Cannot be asked to quit; close it from its window");

    r.desktop.scheduler.advance(9.5);
    EXPECT_EQ(r.panel().detailText(21), "Quitting…");
    r.desktop.scheduler.advance(0.5);
    EXPECT_EQ(r.panel().detailText(21), "Still running after 10 seconds; it may be asking about unsaved work");
    EXPECT_TRUE(r.panel().quitButton(21)->isEnabled());
    EXPECT_EQ(r.listed(), (QList<std::int32_t>{21, 22}));
    EXPECT_TRUE(r.desktop.workspace.runningApplication(21).has_value());
    // One request each; nothing more is sent behind the user's back.
    r.desktop.scheduler.advance(60);
    EXPECT_EQ(r.desktop.workspace.quitRequests(), (QList<std::int32_t>{21, 22}));

    // Asking again is the user's choice.
    r.click(r.panel().quitButton(21));
    EXPECT_EQ(r.desktop.workspace.quitRequests(), (QList<std::int32_t>{21, 22, 21}));
}

TEST(InactiveAppsWindow, escapeWithShiftHeldClosesAndTheNextShowStartsAfresh)
{
    Rig r;
    r.desktop.workspace.scriptQuit(21, FakeWorkspace::QuitBehaviour::ignores);
    r.controller.show();
    r.click(r.panel().quitButton(21));
    const QPointer<InactiveAppsView> firstView = r.controller.view();

    // Shown, the panel has the keyboard: Tamsinvale is the frontmost application.
    r.desktop.workspace.setFrontmost(r.desktop.workspace.ownPid());
    QTest::keyClick(&r.panel(), Qt::Key_Escape, Qt::ShiftModifier);
    EXPECT_FALSE(r.controller.isOpen());
    // The keyboard goes back to the application the user was in, not to whatever the window manager picks.
    EXPECT_EQ(r.desktop.workspace.activations(), (QList<std::pair<std::int32_t, bool>>{{24, false}}));
    EXPECT_FALSE(r.panel().isVisible());
    EXPECT_EQ(r.controller.view(), nullptr);
    EXPECT_EQ(r.panel().view(), nullptr);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(firstView.isNull()) << "the closed showing's content is released";

    r.desktop.scheduler.advance(3 * hour);
    r.controller.show();
    ASSERT_TRUE(r.controller.view());
    EXPECT_EQ(r.panel().detailText(21), "Last used 4 days ago") << "no state carried over from the last showing";
    EXPECT_TRUE(r.panel().quitButton(21)->isEnabled());

    // The Close button closes too; the user has gone on to another application meanwhile, which keeps the focus.
    r.desktop.workspace.setFrontmost(22);
    r.click(r.panel().closeButton());
    EXPECT_FALSE(r.controller.isOpen());
    EXPECT_EQ(r.desktop.workspace.activations().size(), 1);
}

TEST(InactiveAppsWindow, opensCentredOnTheMainScreenWhereverThePrimaryMonitorStands)
{
    Rig r;
    // Two monitors: the primary at the root's (1280, 0), the other to its left.
    r.desktop.screens.setScreens({FakeScreens::makeScreen(1, QRectF(0, 0, 1920, 1080)),
                                  FakeScreens::makeScreen(2, QRectF(-1280, 56, 1280, 1024))});
    r.desktop.screens.setWindowSystemOrigin(QPointF(1280, 0));
    r.controller.show();
    const QRect g = r.panel().geometry();
    EXPECT_NEAR(g.center().x(), 1280 + 960, 1);
    EXPECT_GE(g.top(), 25);
    EXPECT_LE(g.bottom(), 1080);
    EXPECT_EQ(g.width(), InactivePanel::panelWidth);
}

TEST(InactiveAppsWindow, theAppAndCtlOpenItThroughTheServices)
{
    FakeDesktop desktop;
    SettingsStore settings(desktop.defaults);
    AppUsageTracker tracker(desktop.defaults, desktop.workspace, desktop.scheduler);
    AppServices services;
    {
        TamsinvaleApp bare(desktop.platform(), settings, services);
        const ActionResult result = bare.performAction("close-inactive-apps", {});
        EXPECT_TRUE(result.ok);
        EXPECT_TRUE(result.message.contains("not built yet"));
    }
    InactiveAppsServices inactive(desktop.platform(), settings, tracker, nullptr);
    inactive.install(services);
    TamsinvaleApp app(desktop.platform(), settings, services);
    app.start();
    EXPECT_TRUE(tracker.isStarted()) << "usage tracking starts with the app";
    EXPECT_TRUE(TamsinvaleApp::actionNames().contains("close-inactive-apps"));
    const ActionResult result = app.performAction("close-inactive-apps", {});
    EXPECT_TRUE(result.ok);
    EXPECT_TRUE(result.message.isEmpty());
    EXPECT_TRUE(inactive.controller().isOpen());
    inactive.controller().close();
    for (const MenuItem& item : app.menu())
        if (item.command == MenuCommand::closeInactiveApps) {
            EXPECT_TRUE(item.enabled);
            app.perform(item.command);
        }
    EXPECT_TRUE(inactive.controller().isOpen());
}
