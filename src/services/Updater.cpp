// The update framework's start, its mirrored state, and the feed parameters it is given.
#include "Updater.h"

#include "InstallIdentifier.h"
#include "platform/Defaults.h"
#include "platform/SoftwareUpdater.h"

namespace tamsinvale {

Updater::Updater(DefaultsDomain& defaults, SoftwareUpdater* framework, QObject* parent)
    : QObject(parent), m_defaults(defaults), m_framework(framework)
{
}

void Updater::start()
{
    if (!m_framework)
        return;
    DefaultsDomain* defaults = &m_defaults;
    m_framework->start([defaults] { return InstallIdentifier::feedParameters(*defaults); });
    m_automaticallyChecksForUpdates = m_framework->automaticallyChecksForUpdates();
    emit automaticallyChecksForUpdatesChanged(m_automaticallyChecksForUpdates);
    connect(m_framework, &SoftwareUpdater::canCheckForUpdatesChanged, this, &Updater::setCanCheckForUpdates);
    setCanCheckForUpdates(m_framework->canCheckForUpdates());
}

void Updater::setCanCheckForUpdates(bool canCheck)
{
    if (canCheck == m_canCheckForUpdates)
        return;
    m_canCheckForUpdates = canCheck;
    emit canCheckForUpdatesChanged(canCheck);
}

void Updater::setAutomaticallyChecksForUpdates(bool on)
{
    if (!m_framework)
        return;
    m_framework->setAutomaticallyChecksForUpdates(on);
    if (on == m_automaticallyChecksForUpdates)
        return;
    m_automaticallyChecksForUpdates = on;
    emit automaticallyChecksForUpdatesChanged(on);
}

void Updater::checkForUpdates()
{
    if (m_framework)
        m_framework->checkForUpdates();
}

}  // namespace tamsinvale
