// The key watch: grabs made checked, so a key another program holds is a logged miss rather than a stray error.
#include "X11KeyWatch.h"

#include "X11Connection.h"
#include "X11KeyMap.h"
#include "platform/Logging.h"

#include <QCoreApplication>
#include <algorithm>
#include <cstdlib>

namespace tamsinvale {

X11KeyWatch::X11KeyWatch(X11Connection& connection, std::uint32_t macKeyCode,
                         std::function<void(std::uint32_t)> onPress)
    : m_connection(connection.xcb()), m_root(connection.root()), m_macKeyCode(macKeyCode), m_onPress(std::move(onPress))
{
    if (xcb_connection_has_error(m_connection))
        return;
    const X11KeyMap keyMap(m_connection);
    const std::uint16_t numLock = keyMap.numLockMask();
    std::vector<std::uint16_t> locks{0, XCB_MOD_MASK_LOCK};
    if (numLock)
        locks.insert(locks.end(), {numLock, std::uint16_t(numLock | XCB_MOD_MASK_LOCK)});
    // The key counts with modifiers held too (Shift+Escape, Ctrl+Escape …). One grab per combination rather than
    // one for any modifier: a single combination another program holds then costs only that combination.
    const std::uint16_t held[] = {XCB_MOD_MASK_SHIFT, XCB_MOD_MASK_CONTROL, keyMap.altMask(), keyMap.superMask()};
    std::vector<std::uint16_t> combinations{0};
    for (const std::uint16_t modifier : held) {
        if (!modifier)
            continue;
        const std::size_t n = combinations.size();
        for (std::size_t i = 0; i < n; ++i)
            if (!(combinations[i] & modifier))
                combinations.push_back(std::uint16_t(combinations[i] | modifier));
    }
    std::vector<std::pair<Grab, xcb_void_cookie_t>> attempts;
    // Synchronous keyboard: the press waits in the server until we have seen it and sent it on.
    for (const xcb_keycode_t keycode : keyMap.keycodesForKeyCode(macKeyCode))
        for (const std::uint16_t combination : combinations)
            for (const std::uint16_t lock : locks) {
                const std::uint16_t modifiers = std::uint16_t(combination | lock);
                attempts.push_back({{keycode, modifiers},
                                    xcb_grab_key_checked(m_connection, 0, m_root, modifiers, keycode,
                                                         XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_SYNC)});
            }
    int refused = 0;
    for (const auto& [grab, cookie] : attempts) {
        if (xcb_generic_error_t* error = xcb_request_check(m_connection, cookie)) {
            ++refused;
            std::free(error);
        } else {
            m_grabs.push_back(grab);
        }
    }
    if (attempts.empty())
        qCWarning(lcHotkeys) << "key watch: no X key for keyCode" << macKeyCode;
    else if (refused)
        qCWarning(lcHotkeys) << "key watch: another program holds keyCode" << macKeyCode << "in" << refused << "of"
                             << attempts.size() << "modifier and lock states; presses in those states are not seen";
    if (!m_grabs.empty() && QCoreApplication::instance()) {
        // Installed after the hotkeys' filter, so asked before it: its thaw of a frozen press would let the
        // press stay with us instead of being sent on.
        QCoreApplication::instance()->installNativeEventFilter(this);
        m_filterInstalled = true;
    }
}

X11KeyWatch::~X11KeyWatch()
{
    if (m_filterInstalled && QCoreApplication::instance())
        QCoreApplication::instance()->removeNativeEventFilter(this);
    if (xcb_connection_has_error(m_connection))
        return;
    for (const Grab& grab : m_grabs)
        xcb_ungrab_key(m_connection, grab.keycode, m_root, grab.modifiers);
    xcb_flush(m_connection);
}

bool X11KeyWatch::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*)
{
    if (eventType != "xcb_generic_event_t" || !message)
        return false;
    return handleEvent(static_cast<const xcb_generic_event_t*>(message));
}

bool X11KeyWatch::handleEvent(const xcb_generic_event_t* event)
{
    if ((event->response_type & 0x7f) != XCB_KEY_PRESS)
        return false;
    const auto* e = reinterpret_cast<const xcb_key_press_event_t*>(event);
    if (e->event != m_root
        || std::none_of(m_grabs.begin(), m_grabs.end(), [&](const Grab& g) { return g.keycode == e->detail; }))
        return false;
    // The press goes on to the focused window as if we had not grabbed it (and its release follows it there).
    // Without our grab frozen at it (the keyboard held by another grab of ours), the replay does nothing.
    xcb_allow_events(m_connection, XCB_ALLOW_REPLAY_KEYBOARD, e->time);
    xcb_flush(m_connection);
    const auto onPress = m_onPress;
    const std::uint32_t key = m_macKeyCode;
    if (onPress)
        onPress(key);  // may have destroyed us
    // Not taken: a grab of ours that holds the keyboard (the switcher's) still wants the press.
    return false;
}

}  // namespace tamsinvale
