// Root key grabs for our hotkeys: checked so a refused grab is a failed registration, re-grabbed on keymap changes.
#include "X11Hotkeys.h"

#include "X11Connection.h"
#include "platform/Logging.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace tamsinvale {

namespace {
constexpr std::uint8_t xkbNewKeyboardNotify = 0;
constexpr std::uint8_t xkbMapNotify = 1;
constexpr std::uint8_t badAccess = 10;
}  // namespace

struct X11Hotkeys::Entry {
    std::uint32_t keyCode = 0;
    std::uint32_t modifiers = 0;
    std::uint32_t identifier = 0;
    // What is grabbed now; empty keycodes when the current keymap lost the key.
    std::vector<xcb_keycode_t> keycodes;
    std::uint16_t mask = 0;
    std::vector<std::uint16_t> variants;
    // Grabbed with a synchronous keyboard: a handing hotkey.
    bool syncKeyboard = false;
};

struct X11Hotkeys::Token : HotkeyRegistration {
    std::shared_ptr<Entry> entry;
};

X11Hotkeys::X11Hotkeys(xcb_connection_t* connection, xcb_window_t root, QObject* parent)
    : Hotkeys(parent), m_connection(connection), m_root(root), m_keyMap(connection)
{
    // XKB-aware connections (Qt's) hear of keymap changes as XKB events instead of MappingNotify.
    static constexpr char xkbName[] = "XKEYBOARD";
    if (auto* reply = xcb_query_extension_reply(
            m_connection, xcb_query_extension(m_connection, std::strlen(xkbName), xkbName), nullptr)) {
        if (reply->present)
            m_xkbEventBase = reply->first_event;
        std::free(reply);
    }
    m_heldPoll.setInterval(30);
    connect(&m_heldPoll, &QTimer::timeout, this, &X11Hotkeys::pollHeldKeys);
    m_handOverTimer.setSingleShot(true);
    m_handOverTimer.setInterval(handOverTimeoutMs);
    connect(&m_handOverTimer, &QTimer::timeout, this, &X11Hotkeys::handOverTimedOut);
}

X11Hotkeys::X11Hotkeys(X11Connection& connection, QObject* parent)
    : X11Hotkeys(connection.xcb(), connection.root(), parent)
{
    // A grab that succeeded can still go hungry: a manager grabbing a modifier alone (Super for its menu) takes the
    // keyboard at that key, and our combination's press then goes to it. The raw key events show what was typed.
    m_deliveryCheck.setSingleShot(true);
    m_deliveryCheck.setInterval(deliveryTimeoutMs);
    connect(&m_deliveryCheck, &QTimer::timeout, this, &X11Hotkeys::checkDelivery);
    connect(&connection, &X11Connection::keyPressedAnywhere, this, &X11Hotkeys::keyPressedAnywhere);
    connect(&connection, &X11Connection::keyReleasedAnywhere, this, [this](xcb_keycode_t keycode) {
        m_rawHeld.remove(keycode);
    });
}

void X11Hotkeys::keyPressedAnywhere(xcb_keycode_t keycode, xcb_timestamp_t time)
{
    m_rawHeld.insert(keycode);
    if (holdsKeyboard() || m_lastPressTime.value(keycode, XCB_CURRENT_TIME) == time)
        return;  // ours already, or its press has reached us before its raw event
    const bool ours = std::any_of(m_entries.begin(), m_entries.end(), [keycode](const auto& entry) {
        return !entry->variants.empty()
            && std::find(entry->keycodes.begin(), entry->keycodes.end(), keycode) != entry->keycodes.end();
    });
    if (!ours)
        return;
    // Raw events carry no modifiers; the server's state now is the state of the press a moment ago.
    auto* pointer = xcb_query_pointer_reply(m_connection, xcb_query_pointer(m_connection, m_root), nullptr);
    if (!pointer)
        return;
    // The modifiers may be up again by the time we ask (a quick chord, a busy moment): those the raw events saw
    // go down and not yet up count too.
    const std::uint16_t state = std::uint16_t(pointer->mask | rawModifierState());
    std::free(pointer);
    const Entry* entry = entryFor(keycode, state);
    if (!entry || m_reportedUndelivered.contains(entry->identifier))
        return;
    m_awaitingDelivery.insert(keycode, entry->identifier);
    if (!m_deliveryCheck.isActive())
        m_deliveryCheck.start();
}

std::uint16_t X11Hotkeys::rawModifierState() const
{
    std::uint16_t state = 0;
    for (const xcb_keycode_t held : m_rawHeld) {
        switch (m_keyMap.keysymAt(held, 0)) {
        case 0xffe1: case 0xffe2: state |= XCB_MOD_MASK_SHIFT; break;                 // Shift
        case 0xffe3: case 0xffe4: state |= XCB_MOD_MASK_CONTROL; break;               // Control
        case 0xffe9: case 0xffea: case 0xffe7: case 0xffe8: state |= m_keyMap.altMask(); break;  // Alt, Meta
        case 0xffeb: case 0xffec: state |= m_keyMap.superMask(); break;               // Super
        default: break;
        }
    }
    return state;
}

void X11Hotkeys::checkDelivery()
{
    for (auto it = m_awaitingDelivery.cbegin(); it != m_awaitingDelivery.cend(); ++it) {
        if (m_reportedUndelivered.contains(it.value()))
            continue;
        m_reportedUndelivered.insert(it.value());
        qCWarning(lcHotkeys, "hotkey %u: its combination was pressed but the press never reached our grab; another "
                             "program (the window manager) takes the key first", it.value());
        emit notDelivered(it.value());
    }
    m_awaitingDelivery.clear();
}

X11Hotkeys::~X11Hotkeys()
{
    if (m_filterInstalled && QCoreApplication::instance())
        QCoreApplication::instance()->removeNativeEventFilter(this);
    if (xcb_connection_has_error(m_connection))
        return;
    for (const auto& entry : m_entries)
        ungrab(*entry);
    if (m_handOverPending)
        xcb_ungrab_keyboard(m_connection, XCB_CURRENT_TIME);
    xcb_flush(m_connection);
}

int X11Hotkeys::installHandler()
{
    if (xcb_connection_has_error(m_connection))
        return HotkeyStatus::eventInternalErr;
    if (!m_filterInstalled && QCoreApplication::instance()) {
        QCoreApplication::instance()->installNativeEventFilter(this);
        m_filterInstalled = true;
    }
    return HotkeyStatus::noErr;
}

std::vector<std::uint16_t> X11Hotkeys::lockVariants() const
{
    const std::uint16_t numLock = m_keyMap.numLockMask();
    std::vector<std::uint16_t> out{0, XCB_MOD_MASK_LOCK};
    if (numLock) {
        out.push_back(numLock);
        out.push_back(std::uint16_t(numLock | XCB_MOD_MASK_LOCK));
    }
    return out;
}

int X11Hotkeys::grab(Entry& entry)
{
    const std::vector<std::uint16_t> variants = lockVariants();
    const bool sync = m_handOver.contains(entry.identifier);
    struct Attempt {
        xcb_keycode_t keycode;
        std::uint16_t modifiers;
        xcb_void_cookie_t cookie;
    };
    std::vector<Attempt> attempts;
    // All grabs go out before the first answer is awaited: one round trip for the whole set.
    for (const xcb_keycode_t keycode : entry.keycodes)
        for (const std::uint16_t variant : variants) {
            const std::uint16_t modifiers = std::uint16_t(entry.mask | variant);
            attempts.push_back({keycode, modifiers,
                                xcb_grab_key_checked(m_connection, 0, m_root, modifiers, keycode,
                                                     XCB_GRAB_MODE_ASYNC,
                                                     sync ? XCB_GRAB_MODE_SYNC : XCB_GRAB_MODE_ASYNC)});
        }
    bool refused = false;
    bool failed = false;
    std::vector<const Attempt*> held;
    for (const Attempt& attempt : attempts) {
        if (xcb_generic_error_t* error = xcb_request_check(m_connection, attempt.cookie)) {
            (error->error_code == badAccess ? refused : failed) = true;
            std::free(error);
        } else {
            held.push_back(&attempt);
        }
    }
    if (xcb_connection_has_error(m_connection))
        return HotkeyStatus::eventInternalErr;
    if (refused || failed) {
        // Half a hotkey (working only with NumLock off, say) would be worse than a reported failure.
        for (const Attempt* attempt : held)
            xcb_ungrab_key(m_connection, attempt->keycode, m_root, attempt->modifiers);
        xcb_flush(m_connection);
        entry.variants.clear();
        return refused ? HotkeyStatus::eventHotKeyExistsErr : HotkeyStatus::paramErr;
    }
    entry.variants = variants;
    entry.syncKeyboard = sync;
    return HotkeyStatus::noErr;
}

void X11Hotkeys::ungrab(Entry& entry)
{
    for (const xcb_keycode_t keycode : entry.keycodes)
        for (const std::uint16_t variant : entry.variants)
            xcb_ungrab_key(m_connection, keycode, m_root, std::uint16_t(entry.mask | variant));
    entry.variants.clear();
}

int X11Hotkeys::registerHotKey(std::uint32_t keyCode, std::uint32_t modifiers, std::uint32_t identifier,
                               std::unique_ptr<HotkeyRegistration>* out)
{
    if (xcb_connection_has_error(m_connection))
        return HotkeyStatus::eventInternalErr;
    auto entry = std::make_shared<Entry>();
    entry->keyCode = keyCode;
    entry->modifiers = modifiers;
    entry->identifier = identifier;
    entry->keycodes = m_keyMap.keycodesForKeyCode(keyCode);
    const std::optional<std::uint16_t> mask = m_keyMap.modifierMask(modifiers);
    if (entry->keycodes.empty() || !mask) {
        qCWarning(lcHotkeys) << "no X key for keyCode" << keyCode << "modifiers" << modifiers;
        return HotkeyStatus::paramErr;
    }
    entry->mask = *mask;
    // Two codes can land on one X key (§ and ` on a keyboard without §); the server would let our second grab
    // silently replace the first.
    for (const auto& other : m_entries)
        if (other->mask == entry->mask && !other->variants.empty())
            for (const xcb_keycode_t k : entry->keycodes)
                if (std::find(other->keycodes.begin(), other->keycodes.end(), k) != other->keycodes.end())
                    return HotkeyStatus::eventHotKeyExistsErr;
    const int status = grab(*entry);
    if (status != HotkeyStatus::noErr)
        return status;
    auto token = std::make_unique<Token>();
    token->entry = entry;
    m_entries.push_back(std::move(entry));
    if (out)
        *out = std::move(token);
    return HotkeyStatus::noErr;
}

std::optional<std::uint32_t> X11Hotkeys::keyCodeForNativeKey(std::uint32_t nativeScanCode,
                                                             std::uint32_t nativeVirtualKey) const
{
    // The key's first-column symbol, so Shift+1 is the 1 key and not "!"; the delivered symbol when the keycode
    // is outside the map (a synthetic event).
    if (nativeScanCode >= m_keyMap.minKeycode() && nativeScanCode <= m_keyMap.maxKeycode()) {
        const xcb_keysym_t unshifted = m_keyMap.keysymAt(xcb_keycode_t(nativeScanCode), 0);
        if (const auto code = X11KeyMap::keyCodeForKeysym(unshifted))
            return code;
    }
    return X11KeyMap::keyCodeForKeysym(nativeVirtualKey);
}

void X11Hotkeys::unregisterHotKey(HotkeyRegistration& registration)
{
    auto* token = dynamic_cast<Token*>(&registration);
    if (!token || !token->entry)
        return;
    const auto it = std::find(m_entries.begin(), m_entries.end(), token->entry);
    if (it == m_entries.end())
        return;
    if (!xcb_connection_has_error(m_connection)) {
        ungrab(**it);
        xcb_flush(m_connection);
    }
    m_entries.erase(it);
}

void X11Hotkeys::setHandOverHotkeys(const QSet<std::uint32_t>& identifiers)
{
    m_handOver = identifiers;
    if (xcb_connection_has_error(m_connection))
        return;
    // A grab already made changes its keyboard mode only by being made again (ours replaces ours).
    for (const auto& entry : m_entries) {
        if (entry->variants.empty() || entry->syncKeyboard == m_handOver.contains(entry->identifier))
            continue;
        if (const int status = grab(*entry); status != HotkeyStatus::noErr)
            qCWarning(lcHotkeys) << "re-grab of keyCode" << entry->keyCode << "modifiers" << entry->modifiers
                                 << "for a keyboard hand-over failed:" << status;
    }
    xcb_flush(m_connection);
}

int X11Hotkeys::grabbedVariantCount() const
{
    int count = 0;
    for (const auto& entry : m_entries)
        count += int(entry->keycodes.size() * entry->variants.size());
    return count;
}

bool X11Hotkeys::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*)
{
    if (eventType != "xcb_generic_event_t" || !message)
        return false;
    return handleEvent(static_cast<const xcb_generic_event_t*>(message));
}

bool X11Hotkeys::handleEvent(const xcb_generic_event_t* event)
{
    const std::uint8_t type = event->response_type & 0x7f;
    switch (type) {
    case XCB_KEY_PRESS: {
        const auto* e = reinterpret_cast<const xcb_key_press_event_t*>(event);
        // Any press of the key that reaches us (our grab, our capture, our focused window) is a delivery.
        m_lastPressTime.insert(e->detail, e->time);
        m_awaitingDelivery.remove(e->detail);
        if (e->event != m_root)
            return false;
        const Entry* entry = nullptr;
        const Press press = dispatchPress(e, &entry);
        const bool heldForHandOver = press == Press::delivered && entry->syncKeyboard && holdForHandOver(e->time);
        if (!heldForHandOver) {
            // A handing hotkey's grab froze the keyboard at this press, whatever it turned out to be (a repeat, or
            // a key the keymap moved before we re-grabbed); it must never stay frozen. Unfrozen: no effect.
            xcb_allow_events(m_connection, XCB_ALLOW_ASYNC_KEYBOARD, e->time);
            xcb_flush(m_connection);
        }
        if (press == Press::notOurs)
            return false;
        // A passive grab turned active: the keyboard is ours until this key goes up.
        if (!heldForHandOver)
            m_grabActive = true;
        return true;
    }
    case XCB_KEY_RELEASE: {
        const auto* e = reinterpret_cast<const xcb_key_release_event_t*>(event);
        if (e->event != m_root || !m_held.contains(e->detail))
            return false;
        m_grabActive = false;
        m_held.remove(e->detail);
        m_lastRelease.insert(e->detail, e->time);
        return true;
    }
    case XCB_MAPPING_NOTIFY: {
        const auto* e = reinterpret_cast<const xcb_mapping_notify_event_t*>(event);
        if (e->request == XCB_MAPPING_KEYBOARD || e->request == XCB_MAPPING_MODIFIER)
            keyboardMappingChanged();
        return false;  // everybody else needs it too
    }
    default:
        break;
    }
    if (m_xkbEventBase && type == m_xkbEventBase) {
        // The XKB event's own kind sits in the byte where core events keep their detail.
        const std::uint8_t xkbType = reinterpret_cast<const std::uint8_t*>(event)[1];
        if (xkbType == xkbNewKeyboardNotify || xkbType == xkbMapNotify)
            keyboardMappingChanged();
    }
    return false;
}

const X11Hotkeys::Entry* X11Hotkeys::entryFor(xcb_keycode_t keycode, std::uint16_t state) const
{
    const std::uint16_t ignored = std::uint16_t(XCB_MOD_MASK_LOCK | m_keyMap.numLockMask());
    const std::uint16_t modifiers = std::uint16_t(state & 0xff & ~ignored);
    const Entry* match = nullptr;
    for (const auto& entry : m_entries)
        if (entry->mask == modifiers && !entry->variants.empty()
            && std::find(entry->keycodes.begin(), entry->keycodes.end(), keycode) != entry->keycodes.end())
            match = entry.get();
    return match;
}

bool X11Hotkeys::ownsPress(xcb_keycode_t keycode, std::uint16_t state) const
{
    return m_held.contains(keycode) || entryFor(keycode, state);
}

X11Hotkeys::Press X11Hotkeys::dispatchPress(const xcb_key_press_event_t* e, const Entry** matched)
{
    const Entry* match = entryFor(e->detail, e->state);
    const bool held = m_held.contains(e->detail);
    // Other keys reach the root too while some grab of the keyboard is active; they are not ours to take.
    if (!match && !held)
        return Press::notOurs;
    const bool repeat = held || (m_lastRelease.contains(e->detail) && m_lastRelease.value(e->detail) == e->time);
    m_held.insert(e->detail, true);
    if (repeat) {
        ++m_ignoredRepeats;
        return Press::repeat;
    }
    const std::uint32_t identifier = match->identifier;
    *matched = match;
    // Delivered on a later turn of the main loop, as a hotkey handler hops to the main queue.
    QMetaObject::invokeMethod(this, [this, identifier] { emit pressed(identifier); }, Qt::QueuedConnection);
    return Press::delivered;
}

bool X11Hotkeys::holdForHandOver(xcb_timestamp_t time)
{
    // Our own grab replaces the one the press started, which would end with the key's release. Owner events off
    // and the root as grab window, as the capture that takes over has it; asynchronous modes thaw the keyboard,
    // and the keys queued behind the press come to our root in order.
    auto* reply = xcb_grab_keyboard_reply(
        m_connection, xcb_grab_keyboard(m_connection, 0, m_root, time, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
        nullptr);
    const int status = reply ? reply->status : -1;
    std::free(reply);
    if (status != XCB_GRAB_STATUS_SUCCESS) {
        qCWarning(lcHotkeys) << "could not hold the keyboard for the hotkey's action (status" << status
                             << "): keys typed right after it may go to the focused window";
        return false;
    }
    m_grabActive = false;
    m_handOverPending = true;
    m_handOverTimer.start();
    return true;
}

void X11Hotkeys::keyboardTakenOver()
{
    // The keyboard is the taker's now, its grab in place of ours: nothing here may end it.
    m_handOverPending = false;
    m_grabActive = false;
    m_handOverTimer.stop();
    // The hotkey's key may come up after the taker has let go, where we do not see it.
    if (!m_held.isEmpty())
        m_heldPoll.start();
}

void X11Hotkeys::keyboardGivenBack()
{
    // Grabs of one client are one grab: ungrabbing the taker's ended ours too.
    keyboardTakenOver();
}

void X11Hotkeys::handOverTimedOut()
{
    if (!m_handOverPending || xcb_connection_has_error(m_connection))
        return;
    qCWarning(lcHotkeys) << "nobody took the keyboard within" << handOverTimeoutMs << "ms of the hotkey; letting it go";
    letGoOfKeyboard();
}

void X11Hotkeys::releaseActiveGrab()
{
    if (!holdsKeyboard() || xcb_connection_has_error(m_connection))
        return;
    letGoOfKeyboard();
}

void X11Hotkeys::letGoOfKeyboard()
{
    m_grabActive = false;
    m_handOverPending = false;
    m_handOverTimer.stop();
    xcb_ungrab_keyboard(m_connection, XCB_CURRENT_TIME);
    xcb_flush(m_connection);
    // Held on, the key auto-repeats into our passive grab again and we see its release; let go, it does not.
    if (!m_held.isEmpty())
        m_heldPoll.start();
}

void X11Hotkeys::pollHeldKeys()
{
    auto* keymap = xcb_query_keymap_reply(m_connection, xcb_query_keymap(m_connection), nullptr);
    if (!keymap) {
        m_heldPoll.stop();
        return;
    }
    for (auto it = m_held.begin(); it != m_held.end();) {
        const xcb_keycode_t k = it.key();
        it = (keymap->keys[k / 8] & (1u << (k % 8))) ? std::next(it) : m_held.erase(it);
    }
    std::free(keymap);
    if (m_held.isEmpty())
        m_heldPoll.stop();
}

void X11Hotkeys::keyboardMappingChanged()
{
    if (m_regrabQueued)
        return;
    m_regrabQueued = true;
    // A keymap switch arrives as a burst of notifications; re-grab once after the burst.
    auto regrab = [this] {
        m_regrabQueued = false;
        if (xcb_connection_has_error(m_connection) || !m_keyMap.refresh())
            return;
        bool moved = false;
        for (const auto& entry : m_entries) {
            const std::vector<xcb_keycode_t> keycodes = m_keyMap.keycodesForKeyCode(entry->keyCode);
            const std::uint16_t mask = m_keyMap.modifierMask(entry->modifiers).value_or(0);
            if (keycodes == entry->keycodes && mask == entry->mask && entry->variants == lockVariants())
                continue;
            moved = true;
            ungrab(*entry);
            entry->keycodes = keycodes;
            entry->mask = mask;
            if (keycodes.empty()) {
                qCWarning(lcHotkeys) << "keyCode" << entry->keyCode << "has no key in the new keymap";
                continue;
            }
            if (const int status = grab(*entry); status != HotkeyStatus::noErr)
                qCWarning(lcHotkeys) << "re-grab of keyCode" << entry->keyCode << "modifiers" << entry->modifiers
                                     << "failed after a keymap change:" << status;
        }
        xcb_flush(m_connection);
        // Held keys may be other keys now. A notification that moved nothing (the server announces the keyboard
        // anew when another device, XTEST's included, starts typing) must not make a held key's repeat a new press.
        if (moved)
            m_held.clear();
    };
    if (QCoreApplication::instance())
        QMetaObject::invokeMethod(this, regrab, Qt::QueuedConnection);
    else
        regrab();
}

}  // namespace tamsinvale
