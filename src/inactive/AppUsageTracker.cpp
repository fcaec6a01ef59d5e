// Loading and start of usage tracking, and the save after each activation.
#include "AppUsageTracker.h"

#include "InactiveLog.h"
#include "platform/Defaults.h"
#include "platform/Platform.h"

namespace tamsinvale {

AppUsageTracker::AppUsageTracker(DefaultsDomain& defaults, Workspace& workspace, Scheduler& clock, QObject* parent)
    : QObject(parent), m_defaults(defaults), m_workspace(workspace), m_clock(clock)
{
    m_record = UsageRecord::read(m_defaults, m_clock.currentDateTime());
    if (!m_record.trackingSinceStored) {
        m_record.saveTrackingSince(m_defaults);
        m_record.trackingSinceStored = true;
        qCInfo(lcInactive, "usage tracking begins on this machine");
    }
}

AppUsageTracker& AppUsageTracker::shared()
{
    const Platform& p = currentPlatform();
    static AppUsageTracker* tracker = new AppUsageTracker(*p.defaults, *p.workspace, *p.scheduler);
    return *tracker;
}

void AppUsageTracker::start()
{
    if (m_observer)
        return;
    // Tied to this object: the connection goes with it.
    m_observer = connect(&m_workspace, &Workspace::applicationActivated, this,
                         [this](const RunningApp& app) { recordActivation(app); });
    if (const auto front = m_workspace.frontmostApplication())
        recordActivation(*front);
    qCInfo(lcInactive, "usage tracking started (%lld applications on record)",
           static_cast<long long>(m_record.lastActivated.size()));
}

void AppUsageTracker::recordActivation(const RunningApp& app)
{
    if (!app.bundleIdentifier)
        return;
    const QDateTime now = m_clock.currentDateTime();
    m_record.lastActivated.insert(*app.bundleIdentifier, now.toUTC());
    m_record.saveLastActivated(m_defaults, now);
}

}  // namespace tamsinvale
