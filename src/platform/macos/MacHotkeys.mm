// Carbon hotkeys: one handler for kEventHotKeyPressed on the application target; each registration carries the
// signature "ATHK" and our identifier, which the handler reads back from the event and hands to the main queue.
#include "MacHotkeys.h"

#include <Carbon/Carbon.h>
#include <dispatch/dispatch.h>

#include <QPointer>
#include <algorithm>

#include "platform/Logging.h"
#include "platform/macos/portable/MacCarbonHotKeys.h"
#include "platform/macos/portable/MacKeyTranslation.h"

namespace tamsinvale {

static_assert(MacCarbon::cmdKey == cmdKey && MacCarbon::shiftKey == shiftKey && MacCarbon::optionKey == optionKey
              && MacCarbon::controlKey == controlKey);
static_assert(MacCarbon::eventHotKeyExistsErr == eventHotKeyExistsErr && MacCarbon::paramErr == paramErr
              && MacCarbon::eventInternalErr == eventInternalErr);
static_assert(MacCarbon::eventClassKeyboard == kEventClassKeyboard && MacCarbon::eventHotKeyPressed == kEventHotKeyPressed);

struct MacHotkeys::Token : HotkeyRegistration {
    EventHotKeyRef ref = nullptr;
    std::weak_ptr<std::vector<Token*>> list;

    ~Token() override
    {
        if (const auto live = list.lock())
            std::erase(*live, this);
    }
};

namespace {

// Runs on the main thread, inside the application's event dispatch: read the identifier, queue the press, return.
OSStatus hotKeyPressed(EventHandlerCallRef, EventRef event, void* userData)
{
    EventHotKeyID hotKeyID{};
    const OSStatus status = GetEventParameter(event, kEventParamDirectObject, typeEventHotKeyID, nullptr,
                                              sizeof hotKeyID, nullptr, &hotKeyID);
    if (status != noErr)
        return noErr;
    static_cast<MacHotkeys*>(userData)->pressArrived(hotKeyID.id);
    return noErr;
}

}  // namespace

MacHotkeys::MacHotkeys(QObject* parent) : Hotkeys(parent) {}

MacHotkeys::~MacHotkeys()
{
    for (Token* token : *m_live) {
        if (token->ref)
            UnregisterEventHotKey(token->ref);
        token->ref = nullptr;
    }
    m_live->clear();
    m_unclaimed.clear();
    if (m_handler)
        RemoveEventHandler(static_cast<EventHandlerRef>(m_handler));
}

int MacHotkeys::installHandler()
{
    if (m_handler)
        return noErr;
    const EventTypeSpec pressEvent{kEventClassKeyboard, kEventHotKeyPressed};
    EventHandlerRef handler = nullptr;
    const OSStatus status = InstallEventHandler(GetApplicationEventTarget(), NewEventHandlerUPP(hotKeyPressed), 1,
                                                &pressEvent, this, &handler);
    if (status != noErr) {
        qCDebug(lcHotkeys, "InstallEventHandler: %s", qUtf8Printable(MacCarbon::statusText(status)));
        return status;
    }
    m_handler = handler;
    return noErr;
}

int MacHotkeys::registerHotKey(std::uint32_t keyCode, std::uint32_t modifiers, std::uint32_t identifier,
                               std::unique_ptr<HotkeyRegistration>* out)
{
    const EventHotKeyID hotKeyID{MacCarbon::hotKeySignature, identifier};
    EventHotKeyRef ref = nullptr;
    const OSStatus status =
        RegisterEventHotKey(keyCode, modifiers, hotKeyID, GetApplicationEventTarget(), 0, &ref);
    if (status != noErr || !ref) {
        qCDebug(lcHotkeys, "RegisterEventHotKey(%u, %u, %u): %s", keyCode, modifiers, identifier,
                qUtf8Printable(MacCarbon::statusText(status)));
        return status != noErr ? status : eventInternalErr;
    }
    auto token = std::make_unique<Token>();
    token->ref = ref;
    token->list = m_live;
    m_live->push_back(token.get());
    if (out)
        *out = std::move(token);
    else
        m_unclaimed.push_back(std::move(token));  // nobody can unregister it; it lives until we go
    return noErr;
}

void MacHotkeys::unregisterHotKey(HotkeyRegistration& registration)
{
    auto* token = dynamic_cast<Token*>(&registration);
    if (!token)
        return;
    const auto it = std::find(m_live->begin(), m_live->end(), token);
    if (it == m_live->end())
        return;
    m_live->erase(it);
    if (token->ref) {
        const OSStatus status = UnregisterEventHotKey(token->ref);
        if (status != noErr)
            qCWarning(lcHotkeys, "UnregisterEventHotKey: %s", qUtf8Printable(MacCarbon::statusText(status)));
        token->ref = nullptr;
    }
}

std::optional<std::uint32_t> MacHotkeys::keyCodeForNativeKey(std::uint32_t nativeScanCode,
                                                             std::uint32_t nativeVirtualKey) const
{
    return MacKeyTranslation::keyCodeForQtNativeKey(nativeScanCode, nativeVirtualKey);
}

std::optional<std::uint32_t> MacHotkeys::modifiersForNativeModifiers(std::uint32_t nativeModifiers) const
{
    return MacKeyTranslation::carbonModifiers(nativeModifiers);
}

void MacHotkeys::pressArrived(std::uint32_t identifier)
{
    // The press is acted on in a later turn of the main queue, after the Carbon dispatch has returned.
    QPointer<MacHotkeys> guard(this);
    dispatch_async(dispatch_get_main_queue(), ^{
        if (guard)
            emit guard->pressed(identifier);
    });
}

}  // namespace tamsinvale
