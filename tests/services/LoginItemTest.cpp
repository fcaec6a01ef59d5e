// Launch at login: the mirrored state and log lines of each change, and the tray toggle and
// `tamsinvale ctl launch-at-login` reaching the autostart entry on disk.
#include <gtest/gtest.h>

#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>

#include "ServicesTestSupport.h"
#include "app/TamsinvaleApp.h"
#include "platform/fake/FakeDesktop.h"
#include "platform/fake/FakeLoginItems.h"
#include "platform/linux/XdgAutostartEntry.h"
#include "services/LoginItem.h"
#include "services/SystemServices.h"
#include "settings/SettingsStore.h"

using namespace tamsinvale;
using tamsinvale::test::CategoryLog;

TEST(LoginItem, changesAreLoggedAndTheStateIsAlwaysReadBack)
{
    CategoryLog log("tamsinvale.login");
    FakeLoginItems system;
    system.setStatus(LoginItemStatus::enabled);
    LoginItem item(system);
    EXPECT_TRUE(item.isEnabled());  // read at creation

    QSignalSpy enabled(&item, &LoginItem::isEnabledChanged);
    item.setEnabled(false);
    EXPECT_FALSE(item.isEnabled());
    item.setEnabled(true);
    EXPECT_TRUE(item.isEnabled());
    EXPECT_EQ(enabled.count(), 2);
    EXPECT_EQ(system.calls(), (QStringList{"unregister", "register"}));
    EXPECT_EQ(log.lines(), (QStringList{"info: launch at login disabled", "info: launch at login enabled"}));

    // Registered, but the system waits for the user's approval: not enabled, and the approval is asked for.
    item.setEnabled(false);
    system.setStatusAfterRegister(LoginItemStatus::requiresApproval);
    item.setEnabled(true);
    EXPECT_FALSE(item.isEnabled());
    EXPECT_TRUE(item.requiresApproval());
}

TEST(LoginItem, aFailedRegistrationLeavesItOffAndFollowsTheSystemStatus)
{
    CategoryLog log("tamsinvale.login");
    FakeLoginItems system;
    LoginItem item(system);
    system.setFailure(QStringLiteral("Operation not permitted"));
    system.setStatus(LoginItemStatus::requiresApproval);  // what the system reports after the refused attempt
    item.setEnabled(true);
    EXPECT_FALSE(item.isEnabled());
    EXPECT_TRUE(item.requiresApproval());
    EXPECT_EQ(log.lines(), QStringList{"critical: launch at login change failed: Operation not permitted"});

    system.setStatus(LoginItemStatus::notRegistered);
    item.refresh();
    EXPECT_FALSE(item.requiresApproval());
}

namespace {

// The application over the simulated desktop with a real autostart entry in a temporary configuration.
struct AutostartApp {
    QTemporaryDir config;
    FakeDesktop desktop;
    SettingsStore settings{desktop.defaults};
    XdgAutostartEntry autostart{config.path() + "/autostart", {config.path() + "/xdg/autostart"},
                                QStringLiteral("/opt/Tamsinvale/bin/tamsinvale")};
    SystemServices system{desktop.platform(), SystemBackends{nullptr, nullptr, &autostart, nullptr}};
    std::unique_ptr<TamsinvaleApp> app;

    AutostartApp()
    {
        AppServices services;
        system.install(services);
        app = std::make_unique<TamsinvaleApp>(desktop.platform(), settings, services);
    }
    bool entryExists() const { return QFileInfo::exists(autostart.path()); }
    std::optional<MenuItem> menuItem(const QString& title) const
    {
        for (const MenuItem& item : app->menu())
            if (item.title == title)
                return item;
        return std::nullopt;
    }
};

}  // namespace

TEST(LoginItem, theTrayToggleCreatesAndRemovesTheAutostartEntry)
{
    AutostartApp a;
    auto toggle = a.menuItem("Launch at Login");
    ASSERT_TRUE(toggle);
    EXPECT_TRUE(toggle->enabled);
    EXPECT_FALSE(toggle->checked);

    QSignalSpy menuChanged(a.app.get(), &TamsinvaleApp::menuChanged);
    a.app->perform(MenuCommand::toggleLaunchAtLogin);
    EXPECT_TRUE(a.entryExists());
    EXPECT_TRUE(a.menuItem("Launch at Login")->checked);
    EXPECT_GE(menuChanged.count(), 1);

    a.app->perform(MenuCommand::toggleLaunchAtLogin);
    EXPECT_FALSE(a.entryExists());
    EXPECT_FALSE(a.menuItem("Launch at Login")->checked);

    // Linux updates come from the distribution: there is no "Check for Updates…".
    EXPECT_FALSE(a.menuItem("Check for Updates…"));
}

TEST(LoginItem, theCommandLineSetsTheStateAskedForAndRefusesAnythingElse)
{
    AutostartApp a;
    EXPECT_TRUE(a.app->performAction("launch-at-login", "on").ok);
    EXPECT_TRUE(a.entryExists());
    EXPECT_TRUE(a.app->performAction("launch-at-login", "on").ok);  // already on: stays on
    EXPECT_TRUE(a.entryExists());
    EXPECT_TRUE(a.app->performAction("launch-at-login", "off").ok);
    EXPECT_FALSE(a.entryExists());
    EXPECT_TRUE(a.app->performAction("launch-at-login", "off").ok);

    for (const QString& bad : {QString(), QStringLiteral("yes"), QStringLiteral("ON")}) {
        const ActionResult r = a.app->performAction("launch-at-login", bad);
        EXPECT_FALSE(r.ok);
        EXPECT_FALSE(r.failed);  // a bad argument, not a failure
        EXPECT_EQ(r.message, "launch-at-login takes on or off");
    }
    EXPECT_TRUE(TamsinvaleApp::actionNames().contains("launch-at-login"));
}

TEST(LoginItem, aChangeThatCannotBeWrittenIsReportedAsFailed)
{
    AutostartApp a;
    // A file where the autostart folder should be: the folder cannot be created.
    QFile blocker(a.config.path() + "/autostart");
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    CategoryLog log("tamsinvale.login");
    const ActionResult r = a.app->performAction("launch-at-login", "on");
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.failed);
    EXPECT_FALSE(a.menuItem("Launch at Login")->checked);
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(log.lines()[0].startsWith("critical: launch at login change failed: could not create the folder "))
        << log.dump().toStdString();
}
