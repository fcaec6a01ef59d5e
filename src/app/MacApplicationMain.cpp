// Start-up on macOS: the Mac backends, the portable Qt pieces, the bundle's services, then the same wiring as on
// Linux. The bundle's Info.plist makes this an agent (LSUIElement): no Dock icon, the status item only.
#include "ApplicationMain.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QMessageBox>
#include <QStandardPaths>
#include <cstdio>

#include "ControlService.h"
#include "TamsinvaleApp.h"
#include "TrayIcon.h"
#include "dimming/DimmingServices.h"
#include "dimming/FocusDimmer.h"
#include "dimming/MediaPlayback.h"
#include "hotkeys/HotKeyManager.h"
#include "inactive/AppUsageTracker.h"
#include "inactive/InactiveAppsServices.h"
#include "platform/DittoArchiveUnpacker.h"
#include "platform/Logging.h"
#include "platform/PerlMediaAdapter.h"
#include "platform/linux/LinuxProcesses.h"
#include "platform/linux/PlistCodec.h"
#include "platform/linux/QtDownloadSession.h"
#include "platform/linux/QtScheduler.h"
#include "platform/linux/QtSerialQueue.h"
#include "platform/macos/MacAccessibility.h"
#include "platform/macos/MacBookmarks.h"
#include "platform/macos/MacDefaultsDomain.h"
#include "platform/macos/MacHotkeys.h"
#include "platform/macos/MacKeyMonitors.h"
#include "platform/macos/MacKeyboardCapture.h"
#include "platform/macos/MacLoginItemService.h"
#include "platform/macos/MacOverlayPanels.h"
#include "platform/macos/MacScreens.h"
#include "platform/macos/MacSyntheticInput.h"
#include "platform/macos/MacUnifiedLog.h"
#include "platform/macos/MacWindowList.h"
#include "platform/macos/MacWorkspace.h"
#ifdef TAMSINVALE_HAVE_SPARKLE
#include "platform/macos/SparkleUpdater.h"
#endif
#include "services/LaunchOverlayController.h"
#include "services/LoginItem.h"
#include "services/SystemServices.h"
#include "settings/SettingsStore.h"
#include "settingswindow/SettingsWindowController.h"
#include "settingswindow/WallpaperTileGrid.h"
#include "switcher/BackgroundQueue.h"
#include "switcher/SwitcherServices.h"
#include "switcher/SwitcherWindowController.h"
#include "wallpapers/WallpaperLibrary.h"
#include "wallpapers/WallpaperLocations.h"
#include "wallpapers/WallpaperRotator.h"
#include "wallpapers/WallpaperServices.h"
#include "wallpapers/WallpaperThumbnails.h"
#include "windows/WindowServices.h"
#include "windows/WindowsSwitcherWindowController.h"

namespace tamsinvale {

namespace {

const char* bundleIdentifier = "org.tamsinvale.Tamsinvale";

const char* failedHotkeysText =
    "These hotkeys could not be registered, most likely because another app already uses the same combination: ";

}  // namespace

int runApplication(int argc, char** argv, bool verbose)
{
    QApplication qtApp(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tamsinvale"));
    QApplication::setApplicationVersion(QStringLiteral(TAMSINVALE_VERSION));
    QApplication::setQuitOnLastWindowClosed(false);
    MacUnifiedLog::install(QString::fromLatin1(bundleIdentifier));
    configureLogging(verbose);

    MacDefaultsDomain defaults;
    QtScheduler scheduler;
    LinuxProcesses processes;  // POSIX spawning and QProcess: the same on macOS
    MacBookmarks bookmarks;
    MacScreens screens;
    MacWindowList windowList;
    MacAccessibility accessibility;
    MacWorkspace workspace;
    MacHotkeys hotkeys;
    MacOverlayPanels overlays;
    MacSyntheticInput input;

    Platform platform;
    platform.accessibility = &accessibility;
    platform.bookmarks = &bookmarks;
    platform.defaults = &defaults;
    platform.processes = &processes;
    platform.hotkeys = &hotkeys;
    platform.overlays = &overlays;
    platform.scheduler = &scheduler;
    platform.screens = &screens;
    platform.input = &input;
    platform.windowList = &windowList;
    platform.workspace = &workspace;
    installPlatform(platform);

    SettingsStore& settings = SettingsStore::shared();
    AppServices services;
    // Not modal: the hotkeys and the menu keep working while it is open; an agent app must bring itself forward.
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
    // The switcher panel becomes key and watches the keys typed into it.
    MacKeyboardCapture keyboardCapture;
    const PropertyListReader plistReader = [](const QByteArray& bytes) { return PlistCodec::parseDictionary(bytes); };
    SwitcherOptions switcherOptions;
    // Application bundles in /Applications, ~/Applications and /System/Applications, with the icons the
    // workspace gives them.
    switcherOptions.discovery = DiscoveryConfiguration::bundles(QDir::homePath(), plistReader);
    switcherOptions.iconFetcher = [&workspace](const QString& path) { return workspace.iconForFile(path, 64); };
    switcherOptions.keyboardCapture = &keyboardCapture;
    switcherOptions.plistReader = plistReader;
    switcherOptions.alert = [](const QString& title, const QString& message) {
        auto* box = new QMessageBox(QMessageBox::Warning, title, message);
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->show();
    };
    SwitcherServices switcher(platform, std::move(switcherOptions));
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
    // Escape closes the launch overlay, typed in our own windows or in the application that is opening; the key
    // still reaches its window.
    switcher.launchOverlay().setKeyMonitors(
        [](std::function<void(std::uint32_t)> onKey) { return MacKeyMonitors::local(std::move(onKey)); },
        [](std::function<void(std::uint32_t)> onKey) { return MacKeyMonitors::global(std::move(onKey)); });

    // Media pause through the bundled adapter in a perl helper, launch at login through SMAppService, updates
    // through Sparkle when the bundle carries it.
    PerlMediaAdapter mediaAdapter(PerlMediaAdapter::bundledAdapter(QCoreApplication::applicationDirPath()));
    QtSerialQueue mediaQueue(QString::fromLatin1(bundleIdentifier) + QStringLiteral(".MediaPlayback"));
    MacLoginItemService loginItems;
#ifdef TAMSINVALE_HAVE_SPARKLE
    SparkleUpdater sparkle;
    SoftwareUpdater* updater = &sparkle;
#else
    SoftwareUpdater* updater = nullptr;
#endif
    SystemServices systemServices(platform, {&mediaAdapter, &mediaQueue, &loginItems, updater});
    systemServices.install(services);
    const std::unique_ptr<DimmingServices> dimming =
        installDimming(services, platform, settings, systemServices.createMediaPlayback());
    InactiveAppsServices inactive(platform, settings, AppUsageTracker::shared(), &switcher.icons());
    inactive.install(services);
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
    windows.switcher().beforeShow = [&switcher] { switcher.controller().close(); };
    QObject::connect(&switcher.controller(), &SwitcherWindowController::shown, &windows.switcher(),
                     &WindowsSwitcherWindowController::yieldKeyboard);
    QtSerialQueue pictureQueue(QString::fromLatin1(bundleIdentifier) + QStringLiteral(".Pictures"));
    dimmer.imageLoader().setDecodeQueue(&pictureQueue);
    WallpaperRotator rotator(platform, settings, [&dimmer] { dimmer.applyAppearance(); });
    dimmer.onDimmingEnabled = [&rotator](bool hasPictureForAllScreens) {
        rotator.dimmingEnabled(hasPictureForAllScreens);
    };
    services.wallpaperRotatorStart = [&rotator] { rotator.start(); };
    services.nextWallpaper = [&rotator] { return rotator.rotate(); };
    services.wallpaperRotationConfigured = [&rotator] { return rotator.isConfigured(); };
    TamsinvaleApp app(platform, settings, services);
    QObject::connect(&rotator, &WallpaperRotator::urlsChanged, &app, &TamsinvaleApp::menuChanged);
    QObject::connect(systemServices.loginItem(), &LoginItem::isEnabledChanged, &app, &TamsinvaleApp::menuChanged);
    windows.setFocusTracker(&app.focusTracker());

    // The system's desktop pictures and catalogue; downloads unpacked by /usr/bin/ditto.
    const WallpaperLocations locations = WallpaperLocations::forMacOS(QDir::homePath());
    QtDownloadSession wallpaperSession;
    QtSerialQueue wallpaperInstalls(QString::fromLatin1(bundleIdentifier) + QStringLiteral(".WallpaperInstalls"));
    DittoArchiveUnpacker wallpaperUnpacker(processes);
    WallpaperServices wallpapers(
        platform, settings, locations, plistReader,
        {&wallpaperSession, &wallpaperInstalls, &wallpaperUnpacker, QDir::tempPath()},
        [&dimmer] { dimmer.applyAppearance(); });
    ThreadPoolBackgroundQueue thumbnailQueue(2);
    WallpaperThumbnails thumbnails(
        thumbnailQueue,
        QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + QStringLiteral("/wallpaper-thumbnails"),
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

    // `tamsinvale ctl` talks over a D-Bus session bus; a Mac has one only when the user runs a dbus daemon.
    ControlService control(app);
    switch (control.claim()) {
    case ControlService::Claim::alreadyRunning:
        std::fputs("tamsinvale: Tamsinvale is already running; use `tamsinvale ctl` to drive it\n", stderr);
        return 0;
    case ControlService::Claim::noBus:
        qCInfo(lcApp) << "no D-Bus session bus: `tamsinvale ctl` cannot reach this instance";
        break;
    case ControlService::Claim::claimed: break;
    }
    const std::optional<QUrl> defaultPicture = WallpaperLibrary::defaultWallpaperURL(locations);
    dimmer.imageLoader().defaultWallpaperPath = [defaultPicture]() -> std::optional<QString> {
        if (!defaultPicture)
            return std::nullopt;
        return defaultPicture->toLocalFile();
    };
    scheduler.postAfter(5.0, [&wallpapers] { wallpapers.resumeUnfinished(); });

    // The status item in the menu bar: Qt's tray icon is an NSStatusItem on macOS.
    TrayIcon tray(app, settings);
    QObject::connect(&app, &TamsinvaleApp::quitRequested, &qtApp, &QCoreApplication::quit);
    QObject::connect(&app.hotKeyManager(), &HotKeyManager::failedRegistrationsChanged, &app, [&app, &tray] {
        const QStringList failed = app.hotKeyManager().failedRegistrations();
        if (failed.isEmpty())
            return;
        const QString text = QLatin1String(failedHotkeysText) + failed.join(QStringLiteral(", "))
            + QStringLiteral(". Record a different combination or free it up in the other app.");
        qCWarning(lcHotkeys).noquote() << text;
        tray.showMessage(QStringLiteral("Tamsinvale"), text);
    });

    app.start();
    qCInfo(lcApp, "started: %zu hotkeys registered", app.hotKeyManager().registeredCount());
    const int exitCode = qtApp.exec();
    settingsWindow.reset();
    return exitCode;
}

}  // namespace tamsinvale
