// Start-up order, the coalesced re-apply after settings changes, the menu, and every action's wiring.
#include "TamsinvaleApp.h"

#include <QLocale>

#include "hotkeys/HotKeyManager.h"
#include "platform/Logging.h"
#include "settings/SettingsStore.h"
#include "settingswindow/SettingsPage.h"
#include "windows/FocusTracker.h"

namespace tamsinvale {

namespace {
void callIfSet(const std::function<void()>& f)
{
    if (f)
        f();
}
}  // namespace

TamsinvaleApp::TamsinvaleApp(const Platform& platform, SettingsStore& settings, AppServices services, QObject* parent)
    : QObject(parent), m_platform(platform), m_settings(settings), m_services(std::move(services))
{
    m_focusTracker = std::make_unique<FocusTracker>(*m_platform.workspace);
    m_hotKeys = std::make_unique<HotKeyManager>(*m_platform.hotkeys, *m_platform.workspace, *m_focusTracker,
                                                *m_platform.scheduler);
    connect(&m_settings, &SettingsStore::changed, this, &TamsinvaleApp::menuChanged);
}

TamsinvaleApp::~TamsinvaleApp() = default;

void TamsinvaleApp::start()
{
    qCInfo(lcApp) << "starting";
    installHotKeyCallbacks();
    m_hotKeys->applyHotKeys(m_settings);
    m_appliedSettings = m_settings.settings();
    callIfSet(m_services.menuBarDimmerApply);
    callIfSet(m_services.focusDimmerRefresh);
    connect(m_platform.defaults, &DefaultsDomain::changed, this, &TamsinvaleApp::defaultsChanged);

    callIfSet(m_services.discoveryRefresh);
    m_platform.scheduler->postAfter(1.5, [this] {
        callIfSet(m_services.focusDimmerDelayedStart);
        callIfSet(m_services.wallpaperRotatorStart);
    });
    callIfSet(m_services.usageTrackerStart);
    m_platform.scheduler->postAfter(0.5, [this] { callIfSet(m_services.permissionsStartupCheck); });
}

void TamsinvaleApp::installHotKeyCallbacks()
{
    HotKeyManager& m = *m_hotKeys;
    m.onHotKeyPressed = [this] { callIfSet(m_services.toggleAppSwitcher); };
    m.onWindowsHotKeyPressed = [this](std::int32_t pid, const QString& name) {
        if (m_services.showWindowSwitcher)
            m_services.showWindowSwitcher(pid, name);
    };
    m.onQuickDimHotKeyPressed = [this] { callIfSet(m_services.toggleQuickDim); };
    m.onClearInactiveScreensHotKeyPressed = [this] { callIfSet(m_services.clearInactiveScreens); };
    m.onResizeHotKeyPressed = [this](const QUuid& id) {
        const auto preset = m_settings.preset(id);  // a preset removed since registration does nothing
        if (preset && m_services.applyPreset)
            m_services.applyPreset(*preset);
    };
    m.onMoveToNextScreenHotKeyPressed = [this] { callIfSet(m_services.moveToNextScreen); };
    m.onInsertDateHotKeyPressed = [this] { insertDate(); };
    m.onSnapLeftHotKeyPressed = [this] {
        if (m_services.snap)
            m_services.snap(0);
    };
    m.onSnapRightHotKeyPressed = [this] {
        if (m_services.snap)
            m_services.snap(1);
    };
}

// A burst of changes (a settings file rewritten, several toggles) re-applies once, after the current work.
void TamsinvaleApp::defaultsChanged()
{
    if (m_reapplyPending)
        return;
    m_reapplyPending = true;
    m_platform.scheduler->post([this] { reapplySettings(); });
}

void TamsinvaleApp::reapplySettings()
{
    m_reapplyPending = false;
    // Picks up changes another process made to the defaults; our own changes read back unchanged.
    m_settings.reload();
    // The domain also holds what the usage tracker and the stores write on every activation: those leave the
    // settings as they were applied, and re-registering every hotkey for them would cost each switch its speed.
    if (m_appliedSettings && *m_appliedSettings == m_settings.settings())
        return;
    m_appliedSettings = m_settings.settings();
    ++m_reapplyCount;
    callIfSet(m_services.menuBarDimmerApply);
    callIfSet(m_services.focusDimmerRefresh);
    callIfSet(m_services.focusDimmerApplyEnabledSetting);
    m_hotKeys->applyHotKeys(m_settings);
    emit menuChanged();
}

// The menu's "Launch at Login" toggle for scripts, but with the state asked for rather than flipped.
ActionResult TamsinvaleApp::setLaunchAtLogin(const QString& argument)
{
    if (argument != QLatin1String("on") && argument != QLatin1String("off"))
        return {false, QStringLiteral("launch-at-login takes on or off")};
    if (!m_services.setLaunchAtLogin)
        return {true, QStringLiteral("launch at login is not built yet; nothing happened")};
    const bool on = argument == QLatin1String("on");
    m_services.setLaunchAtLogin(on);
    emit menuChanged();
    const bool now = m_services.launchAtLoginEnabled && m_services.launchAtLoginEnabled();
    if (now != on)
        return {false, QStringLiteral("launch at login could not be turned %1 (the log says why)").arg(argument), true};
    return {};
}

void TamsinvaleApp::insertDate()
{
    // Two-digit year, month and day, always in Latin digits: 15 March 2026 is "260315".
    const QString text = QLocale::c().toString(m_platform.scheduler->currentDateTime().date(), QStringLiteral("yyMMdd"));
    if (!m_platform.input) {
        qCWarning(lcApp) << "insert date: no synthetic keyboard on this desktop";
        return;
    }
    for (const char32_t scalar : text.toUcs4())
        m_platform.input->typeScalar(scalar);
}

void TamsinvaleApp::showFrontmostWindowSwitcher()
{
    const auto front = m_platform.workspace->frontmostApplication();
    if (!front || front->bundleIdentifier == m_platform.workspace->ownBundleIdentifier())
        return;
    if (m_services.showWindowSwitcher)
        m_services.showWindowSwitcher(front->pid, front->localizedName);
}

QList<MenuItem> TamsinvaleApp::menu() const
{
    using Kind = MenuItem::Kind;
    const Settings& s = m_settings.settings();
    auto action = [](const QString& title, MenuCommand command, bool enabled) {
        return MenuItem{Kind::action, title, command, false, enabled, {}};
    };
    auto toggle = [](const QString& title, MenuCommand command, bool checked, bool enabled = true) {
        return MenuItem{Kind::toggle, title, command, checked, enabled, {}};
    };
    QList<MenuItem> items;
    items << action(QStringLiteral("About Tamsinvale"), MenuCommand::about, bool(m_services.showAbout));
    if (m_services.checkForUpdates)
        items << action(QStringLiteral("Check for Updates…"), MenuCommand::checkForUpdates, true);
    items << action(QStringLiteral("Settings…"), MenuCommand::settings, bool(m_services.showSettings));
    items << MenuItem::separator();
    items << MenuItem{Kind::heading, QStringLiteral("Switchers"), MenuCommand::none, false, false, {}};
    items << action(QStringLiteral("Show App Switcher"), MenuCommand::showAppSwitcher, bool(m_services.toggleAppSwitcher));
    items << action(QStringLiteral("Show Window Switcher"), MenuCommand::showWindowSwitcher,
                    bool(m_services.showWindowSwitcher));
    items << MenuItem::separator();
    items << action(QStringLiteral("Close Inactive Apps…"), MenuCommand::closeInactiveApps,
                    bool(m_services.showInactiveApps));
    items << MenuItem::separator();
    items << toggle(QStringLiteral("Dim Menu Bar"), MenuCommand::toggleDimMenuBar, s.dimMenuBarEnabled);
    items << toggle(QStringLiteral("Focus Dim"), MenuCommand::toggleFocusDim, s.focusDimEnabled);
    items << toggle(QStringLiteral("Fully Dim Other Screens"), MenuCommand::toggleFullyDimOtherScreens,
                    s.focusDimOtherScreensFully);
    items << toggle(QStringLiteral("Black Background"), MenuCommand::toggleBlackBackground, s.focusDimBlackBackground);
    if (m_services.wallpaperRotationConfigured && m_services.wallpaperRotationConfigured())
        items << action(QStringLiteral("Next Wallpaper"), MenuCommand::nextWallpaper, bool(m_services.nextWallpaper));
    items << toggle(QStringLiteral("Launch at Login"), MenuCommand::toggleLaunchAtLogin,
                    m_services.launchAtLoginEnabled && m_services.launchAtLoginEnabled(),
                    bool(m_services.setLaunchAtLogin));
    MenuItem icon{Kind::submenu, QStringLiteral("Menu Bar Icon"), MenuCommand::none, false, true, {}};
    icon.children << toggle(displayName(MenuBarIconStyle::windows), MenuCommand::iconStyleWindows,
                            s.menuBarIconStyle == MenuBarIconStyle::windows);
    icon.children << toggle(displayName(MenuBarIconStyle::line), MenuCommand::iconStyleLine,
                            s.menuBarIconStyle == MenuBarIconStyle::line);
    items << icon;
    items << MenuItem::separator();
    items << action(QStringLiteral("Quit Tamsinvale"), MenuCommand::quit, true);
    return items;
}

void TamsinvaleApp::perform(MenuCommand command)
{
    const Settings& s = m_settings.settings();
    switch (command) {
    case MenuCommand::none: break;
    case MenuCommand::about: callIfSet(m_services.showAbout); break;
    case MenuCommand::checkForUpdates: callIfSet(m_services.checkForUpdates); break;
    case MenuCommand::settings: callIfSet(m_services.showSettings); break;
    case MenuCommand::showAppSwitcher: callIfSet(m_services.toggleAppSwitcher); break;
    case MenuCommand::showWindowSwitcher: showFrontmostWindowSwitcher(); break;
    case MenuCommand::closeInactiveApps: callIfSet(m_services.showInactiveApps); break;
    case MenuCommand::toggleDimMenuBar:
        m_settings.set(&Settings::dimMenuBarEnabled, !s.dimMenuBarEnabled);
        callIfSet(m_services.menuBarDimmerApply);
        break;
    case MenuCommand::toggleFocusDim:
        m_settings.set(&Settings::focusDimEnabled, !s.focusDimEnabled);
        callIfSet(m_services.focusDimmerRefresh);
        break;
    case MenuCommand::toggleFullyDimOtherScreens:
        m_settings.set(&Settings::focusDimOtherScreensFully, !s.focusDimOtherScreensFully);
        break;
    case MenuCommand::toggleBlackBackground:
        m_settings.set(&Settings::focusDimBlackBackground, !s.focusDimBlackBackground);
        break;
    case MenuCommand::nextWallpaper:
        if (m_services.nextWallpaper)
            m_services.nextWallpaper();
        break;
    case MenuCommand::toggleLaunchAtLogin:
        if (m_services.setLaunchAtLogin)
            m_services.setLaunchAtLogin(!(m_services.launchAtLoginEnabled && m_services.launchAtLoginEnabled()));
        emit menuChanged();
        break;
    case MenuCommand::iconStyleWindows: m_settings.set(&Settings::menuBarIconStyle, MenuBarIconStyle::windows); break;
    case MenuCommand::iconStyleLine: m_settings.set(&Settings::menuBarIconStyle, MenuBarIconStyle::line); break;
    case MenuCommand::quit: emit quitRequested(); break;
    }
}

QStringList TamsinvaleApp::actionNames()
{
    return {QStringLiteral("app-switcher"),  QStringLiteral("window-switcher"), QStringLiteral("quick-dim"),
            QStringLiteral("clear-inactive-screens"), QStringLiteral("snap-left"), QStringLiteral("snap-right"),
            QStringLiteral("next-display"),  QStringLiteral("size"),            QStringLiteral("insert-date"),
            QStringLiteral("next-wallpaper"), QStringLiteral("settings"),       QStringLiteral("launch-at-login"),
            QStringLiteral("close-inactive-apps"), QStringLiteral("quit")};
}

// The same paths as the hotkeys and the menu, so scripts see exactly what a key press does.
ActionResult TamsinvaleApp::performAction(const QString& action, const QString& argument)
{
    auto notBuilt = [&](const char* what) {
        return ActionResult{true, QStringLiteral("%1 is not built yet; nothing happened").arg(QLatin1String(what))};
    };
    if (action == QLatin1String("launch-at-login"))
        return setLaunchAtLogin(argument);
    if (action != QLatin1String("size") && action != QLatin1String("settings") && !argument.isEmpty())
        return {false, QStringLiteral("%1 takes no argument").arg(action)};
    if (action == QLatin1String("app-switcher")) {
        m_hotKeys->handleHotKey(1);
        return m_services.toggleAppSwitcher ? ActionResult{} : notBuilt("the app switcher");
    }
    if (action == QLatin1String("window-switcher")) {
        m_hotKeys->handleHotKey(2);
        return m_services.showWindowSwitcher ? ActionResult{} : notBuilt("the window switcher");
    }
    if (action == QLatin1String("quick-dim")) {
        m_hotKeys->handleHotKey(4);
        return m_services.toggleQuickDim ? ActionResult{} : notBuilt("focus dimming");
    }
    if (action == QLatin1String("clear-inactive-screens")) {
        m_hotKeys->handleHotKey(6);
        return m_services.clearInactiveScreens ? ActionResult{} : notBuilt("focus dimming");
    }
    if (action == QLatin1String("next-display")) {
        m_hotKeys->handleHotKey(7);
        return m_services.moveToNextScreen ? ActionResult{} : notBuilt("the window resizer");
    }
    if (action == QLatin1String("insert-date")) {
        m_hotKeys->handleHotKey(8);
        return {};
    }
    if (action == QLatin1String("snap-left") || action == QLatin1String("snap-right")) {
        m_hotKeys->handleHotKey(action == QLatin1String("snap-left") ? 9 : 10);
        return m_services.snap ? ActionResult{} : notBuilt("the window resizer");
    }
    if (action == QLatin1String("size")) {
        if (argument.isEmpty())
            return {false, QStringLiteral("size needs the name of a window size preset")};
        for (const WindowSizePreset& preset : m_settings.settings().windowSizePresets) {
            if (preset.name.compare(argument, Qt::CaseInsensitive) != 0)
                continue;
            if (!m_services.applyPreset)
                return notBuilt("the window resizer");
            m_services.applyPreset(preset);
            return {};
        }
        QStringList names;
        for (const WindowSizePreset& preset : m_settings.settings().windowSizePresets)
            names << preset.name;
        return {false, QStringLiteral("no window size named \"%1\"; there are: %2").arg(argument, names.join(", "))};
    }
    if (action == QLatin1String("next-wallpaper")) {
        if (!m_services.nextWallpaper)
            return notBuilt("wallpaper rotation");
        if (!m_services.nextWallpaper())
            return {false,
                    QStringLiteral("no other wallpaper to change to: the rotation set needs two or more pictures that "
                                   "are still on disk"),
                    true};
        return {};
    }
    if (action == QLatin1String("settings")) {
        if (!argument.isEmpty()) {
            if (!settingsPageNamed(argument)) {
                QStringList pages;
                for (SettingsPage page : allSettingsPages())
                    pages << settingsPageName(page);
                return {false, QStringLiteral("no settings page \"%1\"; there are: %2").arg(argument, pages.join(", "))};
            }
            if (!m_services.showSettingsPage)
                return notBuilt("the settings window");
            m_services.showSettingsPage(argument);
            return {};
        }
        perform(MenuCommand::settings);
        return m_services.showSettings ? ActionResult{} : notBuilt("the settings window");
    }
    if (action == QLatin1String("close-inactive-apps")) {
        perform(MenuCommand::closeInactiveApps);
        return m_services.showInactiveApps ? ActionResult{} : notBuilt("closing inactive apps");
    }
    if (action == QLatin1String("quit")) {
        // After the reply has gone out.
        m_platform.scheduler->post([this] { emit quitRequested(); });
        return {};
    }
    return {false, QStringLiteral("unknown action \"%1\"; actions: %2").arg(action, actionNames().join(", "))};
}

}  // namespace tamsinvale
