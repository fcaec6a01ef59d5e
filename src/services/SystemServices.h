// Media pause, permissions, launch at login and updates as the application uses them: created over this
// desktop's backends and hooked into the application's services.
#pragma once

#include <memory>

#include "platform/Platform.h"

namespace tamsinvale {

struct AppServices;
class LoginItem;
class LoginItemService;
class MediaAdapter;
class MediaPlayback;
class PermissionsMonitor;
class SerialQueue;
class SoftwareUpdater;
class Updater;

// What this desktop provides; everything outlives the services made from it.
struct SystemBackends {
    MediaAdapter* mediaAdapter = nullptr;
    SerialQueue* mediaQueue = nullptr;
    LoginItemService* loginItems = nullptr;
    SoftwareUpdater* updater = nullptr;  // none where the distribution's packages bring updates
};

class SystemServices {
public:
    // Reads the permissions (the launch read) and the login item, and starts the updater if there is one.
    SystemServices(const Platform& platform, const SystemBackends& backends);
    ~SystemServices();

    // The media controller quick dim pauses and resumes through; one per process, handed to the dimming.
    std::unique_ptr<MediaPlayback> createMediaPlayback();

    PermissionsMonitor& permissions() { return *m_permissions; }
    LoginItem* loginItem() { return m_loginItem.get(); }  // none without a login item backend
    Updater& updater() { return *m_updater; }

    // Fills the permissions start-up check, the launch-at-login toggle and, where there is an updater,
    // "Check for Updates…".
    void install(AppServices& services);

private:
    SystemBackends m_backends;
    std::unique_ptr<PermissionsMonitor> m_permissions;
    std::unique_ptr<LoginItem> m_loginItem;
    std::unique_ptr<Updater> m_updater;
};

}  // namespace tamsinvale
