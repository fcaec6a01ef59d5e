// Software updates: starts the update framework, mirrors whether a check is possible and whether checks run by
// themselves, and sends the install identifier with every feed request. Where updates come from the
// distribution's packages (Linux) there is no framework and nothing here is offered.
#pragma once

#include <QObject>

namespace tamsinvale {

class DefaultsDomain;
class SoftwareUpdater;

class Updater : public QObject {
    Q_OBJECT
public:
    // `framework` may be null: then updates are not this application's business.
    Updater(DefaultsDomain& defaults, SoftwareUpdater* framework, QObject* parent = nullptr);

    bool isAvailable() const { return m_framework != nullptr; }
    bool canCheckForUpdates() const { return m_canCheckForUpdates; }
    bool automaticallyChecksForUpdates() const { return m_automaticallyChecksForUpdates; }
    void setAutomaticallyChecksForUpdates(bool on);

    // Starts the framework at once and begins mirroring its state.
    void start();
    // "Check for Updates…".
    void checkForUpdates();

signals:
    void canCheckForUpdatesChanged(bool canCheck);
    void automaticallyChecksForUpdatesChanged(bool on);

private:
    void setCanCheckForUpdates(bool canCheck);

    DefaultsDomain& m_defaults;
    SoftwareUpdater* m_framework;
    bool m_canCheckForUpdates = false;
    bool m_automaticallyChecksForUpdates = false;
};

}  // namespace tamsinvale
