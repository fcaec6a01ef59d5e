// Simulated global hotkey registrations with injectable failures and a way to press one.
#pragma once

#include <QList>
#include <QMap>

#include "platform/Hotkeys.h"

namespace tamsinvale {

class FakeHotkeys : public Hotkeys {
    Q_OBJECT
public:
    using Hotkeys::Hotkeys;

    struct Registration {
        std::uint32_t keyCode;
        std::uint32_t modifiers;
        std::uint32_t identifier;
    };

    // Every later registration of this combination fails with `status` (e.g. someone else owns it).
    void failCombination(std::uint32_t keyCode, std::uint32_t modifiers, int status = HotkeyStatus::eventHotKeyExistsErr);
    void clearFailures() { m_failures.clear(); }
    void setInstallStatus(int status) { m_installStatus = status; }
    // Presses the combination registered under `identifier`; false when nothing is registered under it.
    bool press(std::uint32_t identifier);
    // Delivers an event with any identifier, registered or not.
    void deliver(std::uint32_t identifier) { emit pressed(identifier); }

    QList<Registration> registrations() const;
    int installCount() const { return m_installs; }
    int unregisterCount() const { return m_unregisters; }

    int installHandler() override;
    int registerHotKey(std::uint32_t keyCode, std::uint32_t modifiers, std::uint32_t identifier,
                       std::unique_ptr<HotkeyRegistration>* out) override;
    void unregisterHotKey(HotkeyRegistration& registration) override;

private:
    struct Token;
    QMap<std::uint64_t, int> m_failures;
    QList<std::pair<Token*, Registration>> m_live;
    int m_installStatus = HotkeyStatus::noErr;
    int m_installs = 0;
    int m_unregisters = 0;
};

}  // namespace tamsinvale
