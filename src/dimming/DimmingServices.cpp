// Wiring of the dimming services into the application's hooks and the settings that take effect at once.
#include "DimmingServices.h"

#include "FocusDimmer.h"
#include "MenuBarDimmer.h"
#include "NullMediaPlayback.h"
#include "app/AppServices.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

DimmingServices::DimmingServices(const Platform& platform, SettingsStore& settings, std::unique_ptr<MediaPlayback> media)
    : m_settings(settings), m_media(std::move(media)), m_lastEnabled(settings.settings().focusDimEnabled)
{
    m_focusDimmer = std::make_unique<FocusDimmer>(platform, settings, *m_media);
    m_menuBarDimmer = std::make_unique<MenuBarDimmer>(platform, settings);
    FocusDimmer* dimmer = m_focusDimmer.get();
    // Going full screen is no activation; the dimmer notices it through the front application's resize.
    QObject::connect(dimmer, &FocusDimmer::fullScreenWindowInFront, m_menuBarDimmer.get(),
                     &MenuBarDimmer::checkFullScreen);
    // The picture and the cover rule show at once, not only after the next activation.
    auto appearance = [dimmer] { dimmer->applyAppearance(); };
    QObject::connect(&settings, &SettingsStore::focusDimBlackBackgroundChanged, dimmer, appearance);
    QObject::connect(&settings, &SettingsStore::focusDimWallpaperDarkeningChanged, dimmer, appearance);
    QObject::connect(&settings, &SettingsStore::focusDimBackgroundImageBookmarkChanged, dimmer, appearance);
    QObject::connect(&settings, &SettingsStore::focusDimPerScreenImageBookmarksChanged, dimmer, appearance);
    QObject::connect(&settings, &SettingsStore::focusDimOtherScreensFullyChanged, dimmer,
                     [dimmer] { dimmer->updateOrdering(QStringLiteral("settings")); });
}

DimmingServices::~DimmingServices()
{
    m_menuBarDimmer.reset();
    m_focusDimmer.reset();
}

void DimmingServices::install(AppServices& services)
{
    FocusDimmer* dimmer = m_focusDimmer.get();
    MenuBarDimmer* menuBar = m_menuBarDimmer.get();
    services.menuBarDimmerApply = [menuBar] { menuBar->apply(); };
    services.focusDimmerRefresh = [dimmer] { dimmer->refresh(); };
    // The re-apply after any settings change calls this; only an actual change of the switch ends the modes,
    // so clearing inactive screens with dimming off survives unrelated edits.
    services.focusDimmerApplyEnabledSetting = [this, dimmer] {
        const bool enabled = m_settings.settings().focusDimEnabled;
        if (enabled == m_lastEnabled)
            return;
        m_lastEnabled = enabled;
        dimmer->applyEnabledSetting();
    };
    services.focusDimmerDelayedStart = [dimmer] { dimmer->delayedStart(); };
    services.toggleQuickDim = [dimmer] { dimmer->enterQuickDimMode(); };
    services.clearInactiveScreens = [dimmer] { dimmer->toggleClearInactiveScreens(); };
}

std::unique_ptr<DimmingServices> installDimming(AppServices& services, const Platform& platform,
                                                SettingsStore& settings, std::unique_ptr<MediaPlayback> media)
{
    if (!media)
        media = std::make_unique<NullMediaPlayback>();
    auto dimming = std::make_unique<DimmingServices>(platform, settings, std::move(media));
    dimming->install(services);
    return dimming;
}

}  // namespace tamsinvale
