// Creation of the system services and their hooks.
#include "SystemServices.h"

#include "LoginItem.h"
#include "MediaPlaybackController.h"
#include "PermissionsMonitor.h"
#include "Updater.h"
#include "app/AppServices.h"
#include "dimming/NullMediaPlayback.h"

namespace tamsinvale {

SystemServices::SystemServices(const Platform& platform, const SystemBackends& backends) : m_backends(backends)
{
    m_permissions = std::make_unique<PermissionsMonitor>(*platform.accessibility, *platform.scheduler);
    if (m_backends.loginItems)
        m_loginItem = std::make_unique<LoginItem>(*m_backends.loginItems);
    m_updater = std::make_unique<Updater>(*platform.defaults, m_backends.updater);
    m_updater->start();
}

SystemServices::~SystemServices() = default;

std::unique_ptr<MediaPlayback> SystemServices::createMediaPlayback()
{
    if (!m_backends.mediaAdapter || !m_backends.mediaQueue)
        return std::make_unique<NullMediaPlayback>();
    return std::make_unique<MediaPlaybackController>(*m_backends.mediaAdapter, *m_backends.mediaQueue);
}

void SystemServices::install(AppServices& services)
{
    PermissionsMonitor* permissions = m_permissions.get();
    services.permissionsStartupCheck = [permissions] { permissions->startupCheck(); };
    if (LoginItem* loginItem = m_loginItem.get()) {
        services.launchAtLoginEnabled = [loginItem] { return loginItem->isEnabled(); };
        services.setLaunchAtLogin = [loginItem](bool on) { loginItem->setEnabled(on); };
    }
    if (m_updater->isAvailable()) {
        Updater* updater = m_updater.get();
        services.checkForUpdates = [updater] { updater->checkForUpdates(); };
    }
}

}  // namespace tamsinvale
