// Updates on macOS through the Sparkle framework loaded from the bundle: the standard updater controller, its
// updater's state, and a delegate that adds our parameters to every feed request. The feed address and the
// signing key are the bundle's configuration (SUFeedURL, SUPublicEDKey in Info.plist).
#pragma once

#include <memory>

#include "platform/SoftwareUpdater.h"

namespace tamsinvale {

class SparkleUpdater : public SoftwareUpdater {
    Q_OBJECT
public:
    explicit SparkleUpdater(QObject* parent = nullptr);
    ~SparkleUpdater() override;

    void start(FeedParameters feedParameters) override;
    bool canCheckForUpdates() const override;
    bool automaticallyChecksForUpdates() const override;
    void setAutomaticallyChecksForUpdates(bool on) override;
    void checkForUpdates() override;

private:
    struct Objects;  // the Objective-C objects, kept out of this header
    std::unique_ptr<Objects> m_objects;
};

}  // namespace tamsinvale
