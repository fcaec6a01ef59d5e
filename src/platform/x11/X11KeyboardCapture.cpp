// Active keyboard grab for the switcher: begun from the hotkey, ended when the panel closes. Presses that arrive
// under the hotkey's grab before the capture begins (the hotkey backend holds the keyboard for us from the press
// on) are kept and handed over first, so that nothing typed right after the hotkey goes missing.
#include "X11KeyboardCapture.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QTimer>
#include <cstdlib>

#include "X11Connection.h"
#include "X11Hotkeys.h"

namespace tamsinvale {

namespace {

constexpr std::uint32_t carbonCommand = 0x0100;
constexpr std::uint32_t carbonShift = 0x0200;
constexpr std::uint32_t carbonOption = 0x0800;
constexpr std::uint32_t carbonControl = 0x1000;
constexpr std::uint32_t noKeyCode = 0xffff;
// Presses older than this when the capture begins belong to an earlier moment, not to the hotkey just pressed.
constexpr xcb_timestamp_t earlyPressWindowMs = 2000;

// Keys the switcher gives meaning to, whatever the mapping table says about them.
std::uint32_t specialKeyCode(xcb_keysym_t keysym)
{
    switch (keysym) {
    case 0xff1b: return 53;   // Escape
    case 0xff0d: return 36;   // Return
    case 0xff8d: return 76;   // KP_Enter
    case 0xff52: return 126;  // Up
    case 0xff54: return 125;  // Down
    case 0xff51: return 123;  // Left
    case 0xff53: return 124;  // Right
    case 0xff08: return 51;   // BackSpace
    case 0xff09: return 48;   // Tab
    default: return noKeyCode;
    }
}

// Shift, Control, Caps Lock, Meta, Alt, Super, Hyper, AltGr, Num Lock, Mode switch: pressing one alone is no key
// press for the switcher (macOS reports them as flag changes, not key-downs).
bool isModifierKeysym(xcb_keysym_t keysym)
{
    return (keysym >= 0xffe1 && keysym <= 0xffee) || keysym == 0xfe03 || keysym == 0xff7f || keysym == 0xff7e;
}

QString textOf(xcb_keysym_t keysym)
{
    char32_t scalar = 0;
    if ((keysym >= 0x20 && keysym <= 0x7e) || (keysym >= 0xa0 && keysym <= 0xff))
        scalar = keysym;
    else if (keysym >= 0x01000100 && keysym <= 0x0110ffff)
        scalar = keysym - 0x01000000;
    if (!scalar)
        return {};
    return QString::fromUcs4(&scalar, 1);
}

}  // namespace

X11KeyboardCapture::X11KeyboardCapture(X11Connection& connection, X11Hotkeys* hotkeys, QObject* parent)
    : X11KeyboardCapture(connection.xcb(), connection.root(), true, hotkeys, parent)
{
    connect(&connection, &X11Connection::buttonPressed, this, &X11KeyboardCapture::pointerButtonPressed);
}

X11KeyboardCapture::X11KeyboardCapture(xcb_connection_t* connection, xcb_window_t root, bool filterQtEvents,
                                       X11Hotkeys* hotkeys, QObject* parent)
    : QObject(parent)
    , m_connection(connection)
    , m_root(root)
    , m_hotkeys(hotkeys)
    , m_filterQtEvents(filterQtEvents)
    , m_keyMap(connection)
{
    if (m_filterQtEvents) {
        reinstallFilter();
        // The hotkey backend installs its filter when the app starts; ours must come after it to be asked first.
        QTimer::singleShot(0, this, [this] { reinstallFilter(); });
    }
}

X11KeyboardCapture::~X11KeyboardCapture()
{
    end();
    if (m_filterInstalled && QCoreApplication::instance())
        QCoreApplication::instance()->removeNativeEventFilter(this);
}

void X11KeyboardCapture::reinstallFilter()
{
    if (!m_filterQtEvents || !QCoreApplication::instance())
        return;
    // The most recently installed filter is asked first.
    QCoreApplication::instance()->removeNativeEventFilter(this);
    QCoreApplication::instance()->installNativeEventFilter(this);
    m_filterInstalled = true;
}

bool X11KeyboardCapture::begin(std::function<void(const CapturedKey&)> onKey)
{
    if (m_keyMapStale) {
        m_keyMap.refresh();
        m_keyMapStale = false;
    }
    xcb_grab_keyboard_cookie_t cookie = xcb_grab_keyboard(m_connection, 0, m_root, XCB_CURRENT_TIME,
                                                          XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    xcb_grab_keyboard_reply_t* reply = xcb_grab_keyboard_reply(m_connection, cookie, nullptr);
    const bool granted = reply && reply->status == XCB_GRAB_STATUS_SUCCESS;
    std::free(reply);
    if (!granted) {
        m_early.clear();
        return false;
    }
    // Our grab replaced the one the hotkey held for us; the hotkey backend must not end it.
    if (m_hotkeys)
        m_hotkeys->keyboardTakenOver();
    m_capturing = true;
    m_onKey = std::move(onKey);
    reinstallFilter();
    // Hand over what was typed between the hotkey and now, oldest first.
    const QList<std::pair<xcb_timestamp_t, CapturedKey>> early = std::exchange(m_early, {});
    for (const auto& [time, key] : early) {
        Q_UNUSED(time);
        if (m_capturing)
            deliver(key);
    }
    return true;
}

void X11KeyboardCapture::end()
{
    if (!m_capturing)
        return;
    m_capturing = false;
    m_onKey = nullptr;
    m_early.clear();
    // The panel that had the keyboard goes next, and the pointer may rest on it: its window leaving would send the
    // window below an ordinary EnterNotify, and a manager whose focus follows the mouse would move the focus there.
    // Holding the pointer until the panel is gone turns that crossing into one of an ungrab, which such managers
    // ignore, so the focus stays where it was before the panel opened.
    xcb_discard_reply(m_connection, xcb_grab_pointer(m_connection, 0, m_root, 0, XCB_GRAB_MODE_ASYNC,
                                                     XCB_GRAB_MODE_ASYNC, XCB_WINDOW_NONE, XCB_CURSOR_NONE,
                                                     XCB_CURRENT_TIME)
                                        .sequence);
    xcb_ungrab_keyboard(m_connection, XCB_CURRENT_TIME);
    xcb_flush(m_connection);
    QMetaObject::invokeMethod(
        this,
        [this] {
            xcb_ungrab_pointer(m_connection, XCB_CURRENT_TIME);
            xcb_flush(m_connection);
        },
        Qt::QueuedConnection);
    if (m_hotkeys)
        m_hotkeys->keyboardGivenBack();
}

void X11KeyboardCapture::setPressOutsideHandler(std::function<QRect()> panelArea, std::function<void()> onPressOutside)
{
    m_panelArea = std::move(panelArea);
    m_onPressOutside = std::move(onPressOutside);
}

void X11KeyboardCapture::pointerButtonPressed(std::uint32_t button)
{
    // 4–7 are the wheel's steps, not presses.
    const bool press = (button >= 1 && button <= 3) || button >= 8;
    if (!m_capturing || !m_onPressOutside || !press)
        return;
    // Our keyboard grab leaves the pointer alone: the press has gone to the window under it. Where that was:
    auto* pointer = xcb_query_pointer_reply(m_connection, xcb_query_pointer(m_connection, m_root), nullptr);
    if (!pointer)
        return;
    const QPoint at(pointer->root_x, pointer->root_y);
    std::free(pointer);
    if (m_panelArea && m_panelArea().contains(at))
        return;
    // A copy: the handler normally ends the capture, and may replace the handler.
    auto onOutside = m_onPressOutside;
    onOutside();
}

void X11KeyboardCapture::deliver(const CapturedKey& key)
{
    // A copy: the receiver may end the capture while it runs.
    auto onKey = m_onKey;
    if (onKey)
        onKey(key);
}

CapturedKey X11KeyboardCapture::translate(xcb_keycode_t keycode, std::uint16_t state) const
{
    CapturedKey key;
    const xcb_keysym_t keysym = m_keyMap.keysymAt(keycode, 0);
    key.text = textOf(keysym);
    key.keyCode = specialKeyCode(keysym);
    if (key.keyCode == noKeyCode) {
        for (std::uint32_t code = 0; code < 128; ++code) {
            if (X11KeyMap::keysymForKeyCode(code) == keysym) {
                key.keyCode = code;
                break;
            }
        }
    }
    if (state & XCB_MOD_MASK_SHIFT)
        key.modifiers |= carbonShift;
    if (state & XCB_MOD_MASK_CONTROL)
        key.modifiers |= carbonControl;
    if (state & m_keyMap.altMask())
        key.modifiers |= carbonOption;
    if (state & m_keyMap.superMask())
        key.modifiers |= carbonCommand;
    return key;
}

bool X11KeyboardCapture::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*)
{
    if (eventType != "xcb_generic_event_t" || !message)
        return false;
    return handleEvent(static_cast<const xcb_generic_event_t*>(message));
}

bool X11KeyboardCapture::handleEvent(const xcb_generic_event_t* event)
{
    const std::uint8_t type = event->response_type & 0x7f;
    if (type == XCB_MAPPING_NOTIFY) {
        m_keyMapStale = true;
        return false;
    }
    if (type != XCB_KEY_PRESS)
        return false;
    const auto* e = reinterpret_cast<const xcb_key_press_event_t*>(event);
    if (e->event != m_root || isModifierKeysym(m_keyMap.keysymAt(e->detail, 0)))
        return false;
    // Our hotkeys (and their auto-repeat) stay with the hotkey backend. Any other key is typing, whatever is held
    // with it: people roll from the hotkey's Super, or reach for a key with Alt or Ctrl still down, and mean the
    // key's plain character (the modifiers travel along for the record).
    if (m_hotkeys && m_hotkeys->ownsPress(e->detail, e->state))
        return false;
    const CapturedKey key = translate(e->detail, e->state);
    if (!m_capturing) {
        // A press reaches the root only under one of our grabs: typed while the hotkey is still held, or while it
        // holds the keyboard for us. Other grabs of ours (a key watch) are no business of the capture.
        if (m_hotkeys && !m_hotkeys->holdsKeyboard())
            return false;
        m_early.removeIf([&](const auto& p) { return e->time - p.first > earlyPressWindowMs; });
        m_early.append({e->time, key});
        return false;
    }
    // Only a hotkey's grab can freeze the keyboard, and our grab leaves none active; should a press reach us
    // frozen all the same (our grab taken away behind our back), it must not stay so.
    xcb_allow_events(m_connection, XCB_ALLOW_ASYNC_KEYBOARD, e->time);
    xcb_flush(m_connection);
    deliver(key);
    return true;
}

}  // namespace tamsinvale
