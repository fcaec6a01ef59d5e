// The application: wires hotkeys, menu and command-line actions to the services and runs the start-up order.
#pragma once

#include <QObject>
#include <QStringList>
#include <memory>
#include <optional>

#include "AppServices.h"
#include "MenuModel.h"
#include "platform/Platform.h"
#include "settings/Settings.h"

namespace tamsinvale {

class FocusTracker;
class HotKeyManager;
class SettingsStore;

// Outcome of an action asked for from outside (the command line).
struct ActionResult {
    bool ok = true;
    QString message;
    bool failed = false;  // a valid request that could not be carried out (not a bad action or argument)
};

class TamsinvaleApp : public QObject {
    Q_OBJECT
public:
    TamsinvaleApp(const Platform& platform, SettingsStore& settings, AppServices services, QObject* parent = nullptr);
    ~TamsinvaleApp() override;

    // The start-up sequence: hotkeys, dimming, the defaults observer, the scan, then the delayed steps.
    void start();

    HotKeyManager& hotKeyManager() { return *m_hotKeys; }
    FocusTracker& focusTracker() { return *m_focusTracker; }
    const AppServices& services() const { return m_services; }

    // The menu as it should look now, and what choosing an entry does.
    QList<MenuItem> menu() const;
    void perform(MenuCommand command);

    // The actions `tamsinvale ctl` knows, by name; `argument` is the preset name for "size", and "on" or "off"
    // for "launch-at-login".
    static QStringList actionNames();
    ActionResult performAction(const QString& action, const QString& argument);

    // Types today's date as "yyMMdd" into the frontmost application.
    void insertDate();

    // How many coalesced re-applies have run (each after a burst of defaults changes).
    int reapplyCount() const { return m_reapplyCount; }

signals:
    void menuChanged();
    void quitRequested();

private:
    void installHotKeyCallbacks();
    void defaultsChanged();
    void reapplySettings();
    void showFrontmostWindowSwitcher();
    ActionResult setLaunchAtLogin(const QString& argument);

    Platform m_platform;
    SettingsStore& m_settings;
    AppServices m_services;
    std::unique_ptr<FocusTracker> m_focusTracker;
    std::unique_ptr<HotKeyManager> m_hotKeys;
    bool m_reapplyPending = false;
    int m_reapplyCount = 0;
    std::optional<Settings> m_appliedSettings;  // as the last re-apply (or start) applied them
};

}  // namespace tamsinvale
