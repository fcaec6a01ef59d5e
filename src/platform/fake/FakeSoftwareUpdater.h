// An update framework stand-in: records its start and checks, and lets a test move canCheckForUpdates.
#pragma once

#include "platform/SoftwareUpdater.h"

namespace tamsinvale {

class FakeSoftwareUpdater : public SoftwareUpdater {
    Q_OBJECT
public:
    void start(FeedParameters feedParameters) override
    {
        ++starts;
        m_feedParameters = std::move(feedParameters);
    }
    bool canCheckForUpdates() const override { return m_canCheck; }
    bool automaticallyChecksForUpdates() const override { return m_automatic; }
    void setAutomaticallyChecksForUpdates(bool on) override { m_automatic = on; }
    void checkForUpdates() override { ++checks; }

    // What the framework would send with a feed request now.
    QList<QVariantMap> feedRequest() const { return m_feedParameters ? m_feedParameters() : QList<QVariantMap>{}; }
    void setCanCheck(bool canCheck)
    {
        m_canCheck = canCheck;
        emit canCheckForUpdatesChanged(canCheck);
    }

    int starts = 0;
    int checks = 0;

private:
    FeedParameters m_feedParameters;
    bool m_canCheck = false;
    bool m_automatic = true;
};

}  // namespace tamsinvale
