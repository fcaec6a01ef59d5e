// XTEST key events for typed text: shift pressed where needed, caps lock lifted, held modifiers lifted, missing keysyms lent.
#include "X11SyntheticInput.h"

#include "X11Connection.h"
#include "X11Hotkeys.h"
#include "platform/Logging.h"

#include <QChar>
#include <algorithm>
#include <cstdlib>

#include <xcb/xtest.h>

namespace tamsinvale {

X11SyntheticInput::X11SyntheticInput(xcb_connection_t* connection, xcb_window_t root, X11Hotkeys* hotkeys,
                                     QObject* parent)
    : QObject(parent), m_connection(connection), m_root(root), m_hotkeys(hotkeys), m_keyMap(connection)
{
    if (const xcb_query_extension_reply_t* ext = xcb_get_extension_data(m_connection, &xcb_test_id))
        m_hasXTest = ext->present;
    m_restoreTimer.setSingleShot(true);
    m_restoreTimer.setInterval(restoreDelayMs);
    connect(&m_restoreTimer, &QTimer::timeout, this, &X11SyntheticInput::restoreLentKeys);
}

X11SyntheticInput::X11SyntheticInput(X11Connection& connection, X11Hotkeys* hotkeys, QObject* parent)
    : X11SyntheticInput(connection.xcb(), connection.root(), hotkeys, parent)
{
}

X11SyntheticInput::~X11SyntheticInput() { restoreLentKeys(); }

void X11SyntheticInput::fake(std::uint8_t type, xcb_keycode_t keycode)
{
    xcb_test_fake_input(m_connection, type, keycode, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
}

void X11SyntheticInput::setKeysym(xcb_keycode_t keycode, xcb_keysym_t keysym)
{
    // Every column the same: no shift level or lock state can turn it into something else.
    std::vector<xcb_keysym_t> keysyms(m_keyMap.keysymsPerKeycode(), XCB_NO_SYMBOL);
    for (std::size_t i = 0; i < keysyms.size() && i < 2; ++i)
        keysyms[i] = keysym;
    xcb_change_keyboard_mapping(m_connection, 1, keycode, m_keyMap.keysymsPerKeycode(), keysyms.data());
}

std::optional<X11KeyStroke> X11SyntheticInput::lendKey(xcb_keysym_t keysym)
{
    std::vector<xcb_keycode_t> spare = m_keyMap.spareKeycodes();
    xcb_keycode_t keycode = 0;
    if (!spare.empty()) {
        keycode = spare.front();
    } else if (!m_lent.empty()) {
        // Every spare key is out: the one lent longest ago has had the most time to be read.
        keycode = m_lent.front().keycode;
        m_lent.erase(m_lent.begin());
    } else {
        return std::nullopt;
    }
    setKeysym(keycode, keysym);
    m_lent.push_back({keycode, keysym});
    return X11KeyStroke{keycode, false};
}

std::vector<xcb_keycode_t> X11SyntheticInput::heldModifierKeys(std::uint16_t state) const
{
    std::vector<xcb_keycode_t> held;
    auto* keymap = xcb_query_keymap_reply(m_connection, xcb_query_keymap(m_connection), nullptr);
    if (!keymap)
        return held;
    const std::uint16_t locks = std::uint16_t(XCB_MOD_MASK_LOCK | m_keyMap.numLockMask());
    const auto& modifierKeys = m_keyMap.modifierKeys();
    for (int mod = 0; mod < int(modifierKeys.size()); ++mod) {
        if (!(state & (1u << mod)) || ((1u << mod) & locks))
            continue;
        for (const xcb_keycode_t k : modifierKeys[mod])
            if ((keymap->keys[k / 8] & (1u << (k % 8))) && std::find(held.begin(), held.end(), k) == held.end())
                held.push_back(k);
    }
    std::free(keymap);
    return held;
}

bool X11SyntheticInput::typeScalar(char32_t scalar)
{
    if (!m_hasXTest || xcb_connection_has_error(m_connection))
        return false;
    const bool control = scalar < 0x20 && scalar != U'\n' && scalar != U'\r' && scalar != U'\t' && scalar != U'\b';
    if (control || scalar == 0x7f || (scalar >= 0xd800 && scalar <= 0xdfff) || scalar > 0x10ffff)
        return false;

    if (m_hotkeys)
        m_hotkeys->releaseActiveGrab();
    // Someone may have changed the keyboard since the last character (our own lent keys included).
    if (!m_keyMap.refresh())
        return false;
    const xcb_keysym_t keysym = X11KeyMap::keysymForScalar(scalar);
    std::optional<X11KeyStroke> stroke = m_keyMap.strokeForKeysym(keysym);
    if (!stroke)
        stroke = lendKey(keysym);
    if (!stroke) {
        qCWarning(lcApp) << "typing: no key for U+" << Qt::hex << std::uint32_t(scalar) << "and no spare key";
        return false;
    }

    auto* pointer = xcb_query_pointer_reply(m_connection, xcb_query_pointer(m_connection, m_root), nullptr);
    const std::uint16_t state = pointer ? pointer->mask : 0;
    std::free(pointer);
    const bool shift = stroke->shift;
    // Caps Lock would change the case of a letter, and for a lent key no Shift can undo it: lift it for the key.
    const char32_t lower = QChar::toLower(scalar), upper = QChar::toUpper(scalar);
    const std::vector<xcb_keycode_t>& lockKeys = m_keyMap.modifierKeys().size() > 1 ? m_keyMap.modifierKeys()[1]
                                                                                     : std::vector<xcb_keycode_t>{};
    const xcb_keycode_t capsKey = (state & XCB_MOD_MASK_LOCK) && lower != upper && !lockKeys.empty() ? lockKeys.front() : 0;

    // The text must arrive as typed, not as a shortcut of the modifiers still held from the hotkey.
    const std::vector<xcb_keycode_t> held = heldModifierKeys(state);
    for (const xcb_keycode_t k : held)
        fake(XCB_KEY_RELEASE, k);
    if (capsKey) {
        fake(XCB_KEY_PRESS, capsKey);
        fake(XCB_KEY_RELEASE, capsKey);
    }
    const std::vector<xcb_keycode_t>& shiftKeys = m_keyMap.modifierKeys().empty() ? std::vector<xcb_keycode_t>{}
                                                                                    : m_keyMap.modifierKeys()[0];
    const xcb_keycode_t shiftKey = shiftKeys.empty() ? 0 : shiftKeys.front();
    if (shift && shiftKey)
        fake(XCB_KEY_PRESS, shiftKey);
    fake(XCB_KEY_PRESS, stroke->keycode);
    fake(XCB_KEY_RELEASE, stroke->keycode);
    if (shift && shiftKey)
        fake(XCB_KEY_RELEASE, shiftKey);
    if (capsKey) {
        fake(XCB_KEY_PRESS, capsKey);
        fake(XCB_KEY_RELEASE, capsKey);
    }
    for (const xcb_keycode_t k : held)
        fake(XCB_KEY_PRESS, k);
    xcb_flush(m_connection);

    if (!m_lent.empty())
        m_restoreTimer.start();
    return true;
}

void X11SyntheticInput::restoreLentKeys()
{
    m_restoreTimer.stop();
    if (m_lent.empty() || xcb_connection_has_error(m_connection)) {
        m_lent.clear();
        return;
    }
    m_keyMap.refresh();
    for (const LentKey& lent : m_lent) {
        // A keymap switch meanwhile may have given the key a meaning of its own; that one stays.
        if (m_keyMap.keysymAt(lent.keycode, 0) != lent.keysym)
            continue;
        std::vector<xcb_keysym_t> empty(m_keyMap.keysymsPerKeycode(), XCB_NO_SYMBOL);
        xcb_change_keyboard_mapping(m_connection, 1, lent.keycode, m_keyMap.keysymsPerKeycode(), empty.data());
    }
    m_lent.clear();
    xcb_flush(m_connection);
}

}  // namespace tamsinvale
