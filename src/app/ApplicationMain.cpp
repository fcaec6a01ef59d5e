// Start-up on Linux: refuse Wayland, open the X11 port, install the platform, claim the session, run.
#include "ApplicationMain.h"

#include <QApplication>
#include <QDBusConnection>
#include <QElapsedTimer>
#include <QDir>
#include <QFile>
#include <QIcon>
#include <QPixmap>
#include <QFileDialog>
#include <QStandardPaths>
#include <QMessageBox>
#include <cstdio>
#include <unistd.h>

#include "ControlService.h"
#include "MenuBarIcon.h"
#include "TamsinvaleApp.h"
#include "TrayIcon.h"
#include "hotkeys/HotKeyManager.h"
#include "platform/Logging.h"
#include "platform/linux/LinuxProcesses.h"
#include "platform/linux/MprisMediaAdapter.h"
#include "platform/linux/MprisPlayerWatcher.h"
#include "platform/linux/QtSerialQueue.h"
#include "platform/linux/LibarchiveUnpacker.h"
#include "platform/linux/QtDownloadSession.h"
#include "wallpapers/WallpaperServices.h"
#include "wallpapers/WallpaperThumbnails.h"
#include "settingswindow/WallpaperTileGrid.h"
#include "switcher/BackgroundQueue.h"
#include "platform/linux/XdgAutostartEntry.h"
#include "platform/linux/PathBookmarks.h"
#include "platform/linux/PlistDefaultsDomain.h"
#include "platform/linux/QtScheduler.h"
#include "platform/x11/X11Desktop.h"
#include "platform/linux/DesktopDefaultPicture.h"
#include "platform/linux/PlistCodec.h"
#include "platform/linux/SessionSleepWatcher.h"
#include "platform/x11/X11Hotkeys.h"
#include "platform/x11/X11KeyWatch.h"
#include "platform/x11/X11KeyboardCapture.h"
#include "platform/x11/X11OverlayPanels.h"
#include "platform/x11/X11Screens.h"
#include "platform/x11/X11SyntheticInput.h"
#include "platform/x11/X11Workspace.h"
#include "dimming/DimmingServices.h"
#include "dimming/MediaPlayback.h"
#include "dimming/FocusDimmer.h"
#include "inactive/AppUsageTracker.h"
#include "inactive/InactiveAppsServices.h"
#include "inactive/InactiveAppsWindowController.h"
#include "platform/x11/X11FloatingPanel.h"
#include "services/LaunchOverlayController.h"
#include "services/LoginItem.h"
#include "services/SystemServices.h"
#include "settings/HotKeyKind.h"
#include "settings/SettingsStore.h"
#include "settingswindow/SettingsWindowController.h"
#include "switcher/SwitcherServices.h"
#include "switcher/SwitcherWindowController.h"
#include "windows/WindowServices.h"
#include "wallpapers/WallpaperRotator.h"
#include "windows/WindowsSwitcherWindowController.h"

namespace tamsinvale {

namespace {

constexpr std::uint32_t escapeKeyCode = 53;  // in the stored (macOS) key numbering

const char* takenHotkeyText =
    "This hotkey is registered, but the window manager takes the key before it reaches Tamsinvale: ";

const char* failedHotkeysText =
    "These hotkeys could not be registered, most likely because another app already uses the same combination: ";

bool isWaylandSession()
{
    return qEnvironmentVariable("XDG_SESSION_TYPE") == QLatin1String("wayland")
        || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

// Milliseconds since this process was started by the kernel, for the start-up log line.
qint64 millisecondsSinceProcessStart()
{
    QFile stat(QStringLiteral("/proc/self/stat"));
    QFile uptime(QStringLiteral("/proc/uptime"));
    if (!stat.open(QIODevice::ReadOnly) || !uptime.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray statText = stat.readAll();
    // Field 22 (starttime, in clock ticks since boot) comes after the parenthesised command name.
    const QList<QByteArray> fields = statText.mid(statText.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 20)
        return -1;
    const double startSeconds = fields[19].toDouble() / double(sysconf(_SC_CLK_TCK));
    const double nowSeconds = uptime.readAll().split(' ').value(0).toDouble();
    return qint64((nowSeconds - startSeconds) * 1000.0);
}

}  // namespace

int runApplication(int argc, char** argv, bool verbose)
{
    if (isWaylandSession()) {
        std::fputs("tamsinvale: this is a Wayland session. Wayland does not let one program restack, move or "
                   "activate another program's windows, which is all Tamsinvale does, so it will not half-work "
                   "here. Log in to an X11 session (for example \"GNOME on Xorg\", Xfce, Cinnamon, MATE or i3) "
                   "and start it again.\n",
                   stderr);
        return 4;
    }
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        std::fputs("tamsinvale: no X display (DISPLAY is not set). Run it inside an X11 session, or use "
                   "scripts/run, which starts a virtual display when there is none.\n",
                   stderr);
        return 4;
    }
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication qtApp(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tamsinvale"));
    QApplication::setApplicationVersion(QStringLiteral(TAMSINVALE_VERSION));
    // Our desktop entry's id: desktops match our windows to its name and icon by it.
    QApplication::setDesktopFileName(QStringLiteral("org.tamsinvale.Tamsinvale"));
    // The installed icon; from a build tree, the tray's own picture.
    QApplication::setWindowIcon(QIcon::fromTheme(
        QStringLiteral("org.tamsinvale.Tamsinvale"),
        QIcon(QPixmap::fromImage(MenuBarIcon::image(MenuBarIconStyle::windows, 4.0)))));
    // A menu-bar utility: closing a panel or the settings window never ends it.
    QApplication::setQuitOnLastWindowClosed(false);
    configureLogging(verbose);

    std::unique_ptr<X11Desktop> x11 = X11Desktop::create();
    if (!x11) {
        std::fputs("tamsinvale: could not use the X display\n", stderr);
        return 4;
    }
    PlistDefaultsDomain defaults(PlistDefaultsDomain::standardPath());
    QtScheduler scheduler;
    LinuxProcesses processes;
    PathBookmarks bookmarks;
    X11Hotkeys hotkeys(x11->connection());
    // The switchers take the keyboard at once: their hotkeys hold it from the press until the capture has it.
    hotkeys.setHandOverHotkeys({HotKeyIds::appSwitcher, HotKeyIds::windowsSwitcher});
    // Our panels are placed in window-server coordinates and listed among the windows while on screen.
    const X11PanelHooks panelHooks = x11->panelHooks();
    X11OverlayPanels overlays(x11->connection(), panelHooks);
    // Typing for a hotkey that is still held must first give up the grab the press left active.
    X11SyntheticInput input(x11->connection(), &hotkeys);

    Platform platform;
    x11->fill(platform);
    platform.defaults = &defaults;
    platform.scheduler = &scheduler;
    platform.processes = &processes;
    platform.bookmarks = &bookmarks;
    platform.hotkeys = &hotkeys;
    platform.overlays = &overlays;
    platform.input = &input;
    installPlatform(platform);

    SettingsStore& settings = SettingsStore::shared();
    AppServices services;
    services.showAbout = [] {
        auto* box = new QMessageBox(QMessageBox::NoIcon, QStringLiteral("About Tamsinvale"),
                                    QStringLiteral("<b>Tamsinvale</b> %1<br><br>Keeps one application and one window "
                                                   "at the centre of attention.")
                                        .arg(QApplication::applicationVersion()));
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->show();
        box->raise();
        box->activateWindow();
    };
    // The app switcher takes the keyboard when its hotkey fires, so that no key typed after it is lost.
    X11KeyboardCapture keyboardCapture(x11->connection(), &hotkeys);
    SwitcherOptions switcherOptions;
    switcherOptions.keyboardCapture = &keyboardCapture;
    switcherOptions.plistReader = [](const QByteArray& bytes) { return PlistCodec::parseDictionary(bytes); };
    switcherOptions.alert = [](const QString& title, const QString& message) {
        auto* box = new QMessageBox(QMessageBox::Warning, title, message);
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->show();
    };
    SwitcherServices switcher(platform, std::move(switcherOptions));
    // The settings window is made once the services it edits exist (below); the tray, `ctl settings` and the
    // switcher's settings row reach it through these.
    std::unique_ptr<SettingsWindowController> settingsWindow;
    services.showSettings = [&settingsWindow] {
        if (settingsWindow)
            settingsWindow->show();
    };
    services.showSettingsPage = [&settingsWindow](const QString& page) {
        if (settingsWindow)
            settingsWindow->show(settingsPageNamed(page));
    };
    switcher.install(services);
    // Escape pressed anywhere closes the launch overlay; the key still reaches the focused window. The overlay
    // never has the focus, so there are no key presses of our own to watch.
    switcher.launchOverlay().setKeyMonitors(
        {}, [&x11](std::function<void(std::uint32_t)> onKey) -> std::shared_ptr<void> {
            return std::make_shared<X11KeyWatch>(x11->connection(), escapeKeyCode, std::move(onKey));
        });
    // Media pause over MPRIS, launch at login through the XDG autostart entry; updates come with the
    // distribution's packages, so there is no updater.
    MprisPlayerWatcher mediaPlayers(QDBusConnection::sessionBus());
    MprisMediaAdapter mediaAdapter(QDBusConnection::sessionBus(), mediaPlayers);
    QtSerialQueue mediaQueue(QStringLiteral("org.tamsinvale.Tamsinvale.MediaPlayback"));
    XdgAutostartEntry autostart = XdgAutostartEntry::forSession(QCoreApplication::applicationFilePath());
    SystemServices systemServices(platform, {&mediaAdapter, &mediaQueue, &autostart, nullptr});
    systemServices.install(services);
    const std::unique_ptr<DimmingServices> dimming =
        installDimming(services, platform, settings, systemServices.createMediaPlayback());
    InactiveAppsServices inactive(platform, settings, AppUsageTracker::shared(), &switcher.icons());
    inactive.install(services);
    inactive.controller().preparePanel = [&x11](QWidget* panel) {
        X11FloatingPanel::prepare(x11->connection(), static_cast<xcb_window_t>(panel->winId()));
    };
    // The window commands: the resizer asks dimming to cover the display a window left, the window switcher asks it
    // to follow the window it brought forward.
    FocusDimmer& dimmer = dimming->focusDimmer();
    WindowOptions windowOptions;
    windowOptions.keyboardCapture = &keyboardCapture;
    windowOptions.icons = &switcher.icons();
    windowOptions.coverScreenAfterWindowMoved = [&dimmer](const ScreenInfo& screen) {
        dimmer.coverScreenAfterWindowMoved(screen);
    };
    windowOptions.refreshFocusDimming = [&dimmer](const QString& reason) { dimmer.debouncedRefresh(reason); };
    WindowServices windows(platform, std::move(windowOptions));
    windows.install(services);
    // The two switchers share the keyboard capture: one opening closes the other.
    windows.switcher().beforeShow = [&switcher] { switcher.controller().close(); };
    QObject::connect(&switcher.controller(), &SwitcherWindowController::shown, &windows.switcher(),
                     &WindowsSwitcherWindowController::yieldKeyboard);
    // Wallpapers are decoded on a thread of their own: a 6K picture takes longer than many frames. The overlays
    // keep what they show until it is ready.
    QtSerialQueue pictureQueue(QStringLiteral("org.tamsinvale.Tamsinvale.Pictures"));
    dimmer.imageLoader().setDecodeQueue(&pictureQueue);
    WallpaperRotator rotator(platform, settings, [&dimmer] { dimmer.applyAppearance(); });
    dimmer.onDimmingEnabled = [&rotator](bool hasPictureForAllScreens) {
        rotator.dimmingEnabled(hasPictureForAllScreens);
    };
    services.wallpaperRotatorStart = [&rotator] { rotator.start(); };
    services.nextWallpaper = [&rotator] { return rotator.rotate(); };
    services.wallpaperRotationConfigured = [&rotator] { return rotator.isConfigured(); };
    TamsinvaleApp app(platform, settings, services);
    // "Next Wallpaper" comes and goes with the set.
    QObject::connect(&rotator, &WallpaperRotator::urlsChanged, &app, &TamsinvaleApp::menuChanged);
    QObject::connect(systemServices.loginItem(), &LoginItem::isEnabledChanged, &app, &TamsinvaleApp::menuChanged);
    windows.setFocusTracker(&app.focusTracker());
    // A window-switcher press with no application to list (only Tamsinvale itself in front) opens nothing: the
    // keyboard its hotkey held for the panel goes back at once. The manager dispatches the press one turn of the
    // main queue after the signal; two turns later its outcome is known, whichever of us heard the signal first.
    QObject::connect(&hotkeys, &Hotkeys::pressed, &app, [&](std::uint32_t identifier) {
        if (identifier != HotKeyIds::windowsSwitcher)
            return;
        scheduler.post([&] {
            scheduler.post([&] {
                if (!windows.switcher().isOpen())
                    hotkeys.releaseActiveGrab();
            });
        });
    });
    // The wallpaper list, downloads and their panel, for the settings window's picker and the start-up retry.
    const QStringList dataDirectories = DesktopDefaultPicture::dataDirectoriesFromEnvironment();
    QtDownloadSession wallpaperSession;
    QtSerialQueue wallpaperInstalls(QStringLiteral("org.tamsinvale.Tamsinvale.WallpaperInstalls"));
    LibarchiveUnpacker wallpaperUnpacker;
    WallpaperServices wallpapers(
        platform, settings,
        WallpaperLocations::forLinux(dataDirectories, WallpaperLocations::dataHomeFromEnvironment(),
                                     DesktopDefaultPicture::candidates(dataDirectories)),
        [](const QByteArray& bytes) { return PlistCodec::parseDictionary(bytes); },
        {&wallpaperSession, &wallpaperInstalls, &wallpaperUnpacker, QDir::tempPath()},
        [&dimmer] { dimmer.applyAppearance(); });
    // The picker's previews are decoded on two threads of their own and kept on disk between runs.
    ThreadPoolBackgroundQueue thumbnailQueue(2);
    WallpaperThumbnails thumbnails(
        thumbnailQueue,
        QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + QStringLiteral("/tamsinvale/wallpaper-thumbnails"),
        WallpaperTileWidget::previewSize * qApp->devicePixelRatio());
    SettingsWindowContext settingsContext;
    settingsContext.platform = platform;
    settingsContext.settings = &settings;
    settingsContext.hotKeys = &app.hotKeyManager();
    settingsContext.shortcuts = &switcher.shortcuts();
    settingsContext.discovery = &switcher.discovery();
    settingsContext.icons = &switcher.icons();
    settingsContext.loginItem = systemServices.loginItem();
    settingsContext.permissions = &systemServices.permissions();
    settingsContext.updater = &systemServices.updater();
    settingsContext.version = QApplication::applicationVersion();
    settingsContext.wallpapers = &wallpapers;
    settingsContext.rotator = &rotator;
    settingsContext.thumbnails = &thumbnails;
    settingsContext.chooseFile = [](const QString& title, const QString& filter) -> std::optional<QString> {
        const QString path = QFileDialog::getOpenFileName(QApplication::activeWindow(), title, QDir::homePath(), filter);
        return path.isEmpty() ? std::nullopt : std::optional<QString>(path);
    };
    settingsWindow = std::make_unique<SettingsWindowController>(settingsContext);
    ControlService control(app);
    switch (control.claim()) {
    case ControlService::Claim::alreadyRunning:
        std::fputs("tamsinvale: Tamsinvale is already running in this session; use `tamsinvale ctl` to drive it\n",
                   stderr);
        return 0;
    case ControlService::Claim::noBus:
        qCWarning(lcApp) << "no D-Bus session bus: `tamsinvale ctl` cannot reach this instance and a second one "
                            "would not be noticed";
        break;
    case ControlService::Claim::claimed: break;
    }
    // Before black, the overlays show the desktop's own default picture; it is looked up once.
    const std::optional<QString> defaultPicture =
        DesktopDefaultPicture::find(DesktopDefaultPicture::dataDirectoriesFromEnvironment());
    dimming->focusDimmer().imageLoader().defaultWallpaperPath = [defaultPicture] { return defaultPicture; };

    // Wallpaper downloads a previous run left unfinished are retried once start-up is over.
    scheduler.postAfter(5.0, [&wallpapers] { wallpapers.resumeUnfinished(); });

    TrayIcon tray(app, settings);
    QObject::connect(&app, &TamsinvaleApp::quitRequested, &qtApp, &QCoreApplication::quit);
    auto reportFailures = [&app, &tray] {
        const QStringList failed = app.hotKeyManager().failedRegistrations();
        if (failed.isEmpty())
            return;
        const QString text = QLatin1String(failedHotkeysText) + failed.join(QStringLiteral(", "))
            + QStringLiteral(". Record a different combination or free it up in the other app.");
        qCWarning(lcHotkeys).noquote() << text;
        tray.showMessage(QStringLiteral("Tamsinvale"), text);
    };
    QObject::connect(&app.hotKeyManager(), &HotKeyManager::failedRegistrationsChanged, &app, reportFailures);
    QObject::connect(&app.hotKeyManager(), &HotKeyManager::hotkeyTaken, &app, [&tray](const QString& name) {
        const QString text = QLatin1String(takenHotkeyText) + name
            + QStringLiteral(". Record a different combination, or free it in the window manager's key bindings.");
        qCWarning(lcHotkeys).noquote() << text;
        tray.showMessage(QStringLiteral("Tamsinvale"), text);
    });

    app.start();
    qCInfo(lcApp, "started: %zu hotkeys registered %lld ms after process start",
           app.hotKeyManager().registeredCount(), millisecondsSinceProcessStart());
    // The system bus is joined once the hotkeys work; a wake is of no use before the overlays are up anyway.
    SessionSleepWatcher sleepWatcher;
    QObject::connect(&sleepWatcher, &SessionSleepWatcher::woke, &x11->workspace(), &Workspace::screensDidWake);
    const int exitCode = qtApp.exec();
    // Before the hotkey manager it may still hold suspended.
    settingsWindow.reset();
    return exitCode;
}

}  // namespace tamsinvale
