// Creation and wiring of the switcher's objects; the one place that decides which collaborators they get.
#include "SwitcherServices.h"

#include "BackgroundQueue.h"
#include "DesktopIconLoader.h"
#include "ShortcutStore.h"
#include "SwitcherWindowController.h"
#include "app/AppServices.h"
#include "platform/Logging.h"
#include "services/LaunchOverlayController.h"

namespace tamsinvale {

SwitcherServices::SwitcherServices(const Platform& platform, SwitcherOptions options)
    : m_platform(platform), m_background(std::make_unique<ThreadPoolBackgroundQueue>())
{
    const QStringList applicationDirs = options.discovery.roots;
    m_discovery = std::make_unique<AppDiscoveryStore>(std::move(options.discovery), *m_background);
    // The icon themes are read on workers; the theme's name comes from the desktop, read here on the main thread.
    std::shared_ptr<const IconProvider> provider;
    if (options.iconFetcher) {
        provider = std::make_shared<FunctionIconProvider>(options.iconFetcher);
    } else {
        auto loader = std::make_shared<DesktopIconLoader>();
        qCInfo(lcSwitcher, "switcher: application icons from the '%s' icon theme, then hicolor and pixmaps",
               qUtf8Printable(loader->themeName()));
        provider = loader;
    }
    AppIconStore::IconFetcher fetcher = [provider](const QString& path) {
        return provider->load(IconRequest{{}, path, std::nullopt, {}}, AppIconStore::iconSize);
    };
    m_icons = std::make_unique<AppIconStore>(provider, *m_background);
    m_discovery->setIconStore(m_icons.get());
    m_discovery->setScheduler(platform.scheduler);
    m_overlay = std::make_unique<LaunchOverlayController>(platform);
    m_shortcuts = std::make_unique<ShortcutStore>(platform);
    m_shortcuts->setLaunchOverlay(m_overlay.get());
    m_shortcuts->setApplicationDirs(applicationDirs);
    m_shortcuts->setPropertyListReader(options.plistReader);
    m_shortcuts->setIconProvider(fetcher);
    if (options.alert)
        m_shortcuts->setAlertPresenter(options.alert);
    if (options.fileChooser)
        m_shortcuts->setFileChooser(options.fileChooser);
    m_controller = std::make_unique<SwitcherWindowController>(platform, *m_shortcuts, *m_discovery, m_icons.get(),
                                                              options.keyboardCapture);
    AppDiscoveryStore::setShared(m_discovery.get());
    AppIconStore::setShared(m_icons.get());

}

SwitcherServices::~SwitcherServices()
{
    AppDiscoveryStore::setShared(nullptr);
    AppIconStore::setShared(nullptr);
}

void SwitcherServices::install(AppServices& services)
{
    AppDiscoveryStore* discovery = m_discovery.get();
    SwitcherWindowController* controller = m_controller.get();
    services.discoveryRefresh = [discovery] { discovery->refreshInBackground(); };
    services.toggleAppSwitcher = [controller] { controller->toggle(); };
    controller->openSettings = services.showSettings;
    qCInfo(lcSwitcher, "switcher: installed (%lld custom shortcuts, %lld discovered bindings)",
           static_cast<long long>(m_shortcuts->shortcuts().size()),
           static_cast<long long>(m_shortcuts->discoveredKeyMap().size()));
}

}  // namespace tamsinvale
