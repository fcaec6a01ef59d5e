// Records when each application last became active, keeps that record across restarts in the defaults domain,
// and answers since when a running application has been inactive.
#pragma once

#include <QObject>

#include "UsageRecord.h"

namespace tamsinvale {

class DefaultsDomain;
class Scheduler;
class Workspace;

class AppUsageTracker : public QObject {
    Q_OBJECT
public:
    // Loads the record (dropping entries older than 90 days); on the very first run writes `trackingSince`.
    AppUsageTracker(DefaultsDomain& defaults, Workspace& workspace, Scheduler& clock, QObject* parent = nullptr);
    // The instance over the installed platform, created on first use.
    static AppUsageTracker& shared();

    // Begins tracking: every activation from now on, and the frontmost application at once. A second call does
    // nothing.
    void start();
    bool isStarted() const { return bool(m_observer); }

    // The moment since which a running application counts as inactive.
    QDateTime lastActive(const RunningApp& app) const { return m_record.lastActive(app); }
    QDateTime trackingSince() const { return m_record.trackingSince; }
    const UsageRecord& record() const { return m_record; }

private:
    void recordActivation(const RunningApp& app);

    DefaultsDomain& m_defaults;
    Workspace& m_workspace;
    Scheduler& m_clock;
    UsageRecord m_record;
    QMetaObject::Connection m_observer;
};

}  // namespace tamsinvale
