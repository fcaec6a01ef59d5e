// Registers Tamsinvale's global hotkeys from the settings and turns presses into callbacks on the main queue.
#pragma once

#include <QMap>
#include <QObject>
#include <QStringList>
#include <QUuid>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "settings/HotKeyConfig.h"

namespace tamsinvale {

class FocusTracker;
class Hotkeys;
class HotkeyRegistration;
class Scheduler;
class SettingsStore;
class Workspace;

class HotKeyManager : public QObject {
    Q_OBJECT
    Q_PROPERTY(QStringList failedRegistrations READ failedRegistrations NOTIFY failedRegistrationsChanged)
public:
    HotKeyManager(Hotkeys& backend, Workspace& workspace, FocusTracker& focusTracker, Scheduler& scheduler,
                  QObject* parent = nullptr);
    ~HotKeyManager() override;

    std::function<void()> onHotKeyPressed;
    std::function<void(std::int32_t pid, const QString& name)> onWindowsHotKeyPressed;
    std::function<void()> onQuickDimHotKeyPressed;
    std::function<void()> onClearInactiveScreensHotKeyPressed;
    std::function<void(const QUuid& presetId)> onResizeHotKeyPressed;
    std::function<void()> onMoveToNextScreenHotKeyPressed;
    std::function<void()> onInsertDateHotKeyPressed;
    std::function<void()> onSnapLeftHotKeyPressed;
    std::function<void()> onSnapRightHotKeyPressed;

    static constexpr std::uint32_t resizeHotKeyBaseID = 100;

    // Drops every registration and registers all hotkeys again from the current settings; while suspended it
    // only drops them and remembers the settings for `resume`.
    void applyHotKeys(const SettingsStore& settings);
    // Lets every combination through to the focused window (a recorder field is listening), and back. Counted, so
    // two fields handing over to each other never register in between; `resume` re-applies the last settings.
    void suspend();
    void resume();
    bool isSuspended() const { return m_suspensions > 0; }
    void unregisterAll();
    void installHandlerIfNeeded();
    // Dispatches one pressed identifier to its callback.
    void handleHotKey(std::uint32_t identifier);

    // Names of the hotkeys that could not be registered in the last pass.
    QStringList failedRegistrations() const { return m_failedRegistrations; }
    // Names of the registered hotkeys seen pressed without their press reaching us.
    QStringList takenRegistrations() const { return m_takenRegistrations; }
    // Identifier → preset of the registered preset hotkeys.
    QMap<std::uint32_t, QUuid> resizePresetIDsByHotKeyID() const { return m_resizePresetIDsByHotKeyID; }
    std::size_t registeredCount() const { return m_registeredRefs.size(); }

signals:
    void failedRegistrationsChanged();
    // A registered hotkey whose presses never arrive (the window manager takes them); once per hotkey.
    void hotkeyTaken(const QString& name);

private:
    bool registerHotKey(const QString& name, const std::optional<HotKeyConfig>& configured,
                        const std::optional<HotKeyConfig>& fallback, std::uint32_t identifier, QStringList& failures);
    void openWindowSwitcher();

    Hotkeys& m_backend;
    Workspace& m_workspace;
    FocusTracker& m_focusTracker;
    Scheduler& m_scheduler;
    std::vector<std::unique_ptr<HotkeyRegistration>> m_registeredRefs;
    QMap<std::uint32_t, QUuid> m_resizePresetIDsByHotKeyID;
    bool m_handlerInstalled = false;
    int m_suspensions = 0;
    const SettingsStore* m_lastSettings = nullptr;
    QStringList m_failedRegistrations;
    QStringList m_takenRegistrations;
    QMap<std::uint32_t, QString> m_namesByIdentifier;
};

}  // namespace tamsinvale
