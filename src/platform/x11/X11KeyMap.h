// The X keyboard as our stored hotkey format sees it: macOS key codes and Carbon modifiers to keycodes and masks.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <xcb/xcb.h>

namespace tamsinvale {

// What a keysym takes to type: the key and whether Shift (the second column) is needed.
struct X11KeyStroke {
    xcb_keycode_t keycode = 0;
    bool shift = false;
};

class X11KeyMap {
public:
    static constexpr xcb_keysym_t sectionKeysym = 0x00a7;
    static constexpr xcb_keysym_t graveKeysym = 0x0060;
    // TLDE, the key left of 1, under both the evdev and the xfree86 keycode sets.
    static constexpr xcb_keycode_t leftOfOneKeycode = 49;

    // The keysym a macOS virtual key code stands for; nothing for a code that has no name.
    static std::optional<xcb_keysym_t> keysymForKeyCode(std::uint32_t macKeyCode);
    // The other way round: the macOS key code of a keysym (letters in either case); the § key answers 10.
    static std::optional<std::uint32_t> keyCodeForKeysym(xcb_keysym_t keysym);
    // The keysym that types a Unicode scalar (Latin-1 keysyms as themselves, the rest as Unicode keysyms).
    static xcb_keysym_t keysymForScalar(char32_t scalar);

    // Reads the keyboard and modifier mappings now; `refresh` re-reads them after a mapping change.
    explicit X11KeyMap(xcb_connection_t* connection);
    bool refresh();
    bool isValid() const { return !m_keysyms.empty(); }

    // The keys that produce the key code's symbol without a modifier (with Shift only when no key has it
    // unshifted). The § key is the key whose symbol is `section`, else the key left of 1.
    std::vector<xcb_keycode_t> keycodesForKeyCode(std::uint32_t macKeyCode) const;
    // X modifier mask of a Carbon mask; nothing when it has bits we cannot express.
    std::optional<std::uint16_t> modifierMask(std::uint32_t carbonModifiers) const;
    std::uint16_t numLockMask() const { return m_numLockMask; }
    std::uint16_t superMask() const { return m_superMask; }
    std::uint16_t altMask() const { return m_altMask; }

    // The key that types `keysym` in the first group, unshifted preferred.
    std::optional<X11KeyStroke> strokeForKeysym(xcb_keysym_t keysym) const;
    // Keys with no symbol at all, free to lend to a character the keyboard lacks.
    std::vector<xcb_keycode_t> spareKeycodes() const;
    xcb_keysym_t keysymAt(xcb_keycode_t keycode, int column) const;
    std::uint8_t keysymsPerKeycode() const { return m_perKeycode; }
    xcb_keycode_t minKeycode() const { return m_minKeycode; }
    xcb_keycode_t maxKeycode() const { return m_maxKeycode; }
    // Keys bound to each of the eight modifiers (Shift, Lock, Control, Mod1…Mod5).
    const std::vector<std::vector<xcb_keycode_t>>& modifierKeys() const { return m_modifierKeys; }

private:
    std::vector<xcb_keycode_t> keycodesWithKeysym(xcb_keysym_t keysym, int column) const;
    std::uint16_t maskHolding(std::initializer_list<xcb_keysym_t> keysyms) const;

    xcb_connection_t* m_connection;
    xcb_keycode_t m_minKeycode = 0;
    xcb_keycode_t m_maxKeycode = 0;
    std::uint8_t m_perKeycode = 0;
    std::vector<xcb_keysym_t> m_keysyms;
    std::vector<std::vector<xcb_keycode_t>> m_modifierKeys;
    std::uint16_t m_numLockMask = 0;
    std::uint16_t m_superMask = XCB_MOD_MASK_4;
    std::uint16_t m_altMask = XCB_MOD_MASK_1;
};

}  // namespace tamsinvale
