// Registrations kept in order so tests can check what is registered and under which identifier.
#include "FakeHotkeys.h"

namespace tamsinvale {

struct FakeHotkeys::Token : HotkeyRegistration {};

namespace {
std::uint64_t comboKey(std::uint32_t keyCode, std::uint32_t modifiers)
{
    return (std::uint64_t(keyCode) << 32) | modifiers;
}
}  // namespace

void FakeHotkeys::failCombination(std::uint32_t keyCode, std::uint32_t modifiers, int status)
{
    m_failures.insert(comboKey(keyCode, modifiers), status);
}

int FakeHotkeys::installHandler()
{
    ++m_installs;
    return m_installStatus;
}

int FakeHotkeys::registerHotKey(std::uint32_t keyCode, std::uint32_t modifiers, std::uint32_t identifier,
                                std::unique_ptr<HotkeyRegistration>* out)
{
    const auto failure = m_failures.constFind(comboKey(keyCode, modifiers));
    if (failure != m_failures.cend())
        return *failure;
    for (const auto& [token, r] : m_live)
        if (r.keyCode == keyCode && r.modifiers == modifiers)
            return HotkeyStatus::eventHotKeyExistsErr;
    auto token = std::make_unique<Token>();
    m_live.append({token.get(), Registration{keyCode, modifiers, identifier}});
    *out = std::move(token);
    return HotkeyStatus::noErr;
}

void FakeHotkeys::unregisterHotKey(HotkeyRegistration& registration)
{
    ++m_unregisters;
    m_live.removeIf([&](const auto& entry) { return entry.first == &registration; });
}

QList<FakeHotkeys::Registration> FakeHotkeys::registrations() const
{
    QList<Registration> out;
    for (const auto& [token, r] : m_live)
        out.append(r);
    return out;
}

bool FakeHotkeys::press(std::uint32_t identifier)
{
    for (const auto& [token, r] : m_live)
        if (r.identifier == identifier) {
            emit pressed(identifier);
            return true;
        }
    return false;
}

}  // namespace tamsinvale
