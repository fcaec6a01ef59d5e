// Focus dimming and menu bar dimming as the application uses them: created together and hooked into its services.
#pragma once

#include <memory>

#include "platform/Platform.h"

namespace tamsinvale {

struct AppServices;
class FocusDimmer;
class MediaPlayback;
class MenuBarDimmer;
class SettingsStore;

class DimmingServices {
public:
    DimmingServices(const Platform& platform, SettingsStore& settings, std::unique_ptr<MediaPlayback> media);
    ~DimmingServices();

    FocusDimmer& focusDimmer() { return *m_focusDimmer; }
    MenuBarDimmer& menuBarDimmer() { return *m_menuBarDimmer; }

    // Fills the dimming hooks: menu bar apply, focus refresh and enabled setting, the delayed start, quick dim
    // and clear inactive screens.
    void install(AppServices& services);

private:
    SettingsStore& m_settings;
    std::unique_ptr<MediaPlayback> m_media;
    std::unique_ptr<FocusDimmer> m_focusDimmer;
    std::unique_ptr<MenuBarDimmer> m_menuBarDimmer;
    bool m_lastEnabled;
};

// Creates dimming over the platform with the media controller of this desktop (none: requests are only logged),
// and wires it in.
std::unique_ptr<DimmingServices> installDimming(AppServices& services, const Platform& platform,
                                                SettingsStore& settings, std::unique_ptr<MediaPlayback> media = nullptr);

}  // namespace tamsinvale
