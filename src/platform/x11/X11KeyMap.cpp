// Fixed macOS key code → keysym table, and keysym → keycode lookup over the server's current mapping.
#include "X11KeyMap.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

namespace tamsinvale {

namespace {

// Every named key of the stored hotkey format. Letters and punctuation are the unshifted US symbols because the
// macOS codes name ANSI key positions; the keysym (not the position) is what we look up, so a ⌘ A hotkey follows
// the key labelled A on any layout.
constexpr std::array<std::pair<std::uint32_t, xcb_keysym_t>, 75> keyCodeTable{{
    {0, 'a'}, {11, 'b'}, {8, 'c'}, {2, 'd'}, {14, 'e'}, {3, 'f'}, {5, 'g'}, {4, 'h'}, {34, 'i'},
    {38, 'j'}, {40, 'k'}, {37, 'l'}, {46, 'm'}, {45, 'n'}, {31, 'o'}, {35, 'p'}, {12, 'q'}, {15, 'r'},
    {1, 's'}, {17, 't'}, {32, 'u'}, {9, 'v'}, {13, 'w'}, {7, 'x'}, {16, 'y'}, {6, 'z'},
    {29, '0'}, {18, '1'}, {19, '2'}, {20, '3'}, {21, '4'}, {23, '5'}, {22, '6'}, {26, '7'}, {28, '8'}, {25, '9'},
    {27, '-'}, {24, '='}, {33, '['}, {30, ']'}, {42, '\\'}, {41, ';'}, {39, '\''}, {43, ','}, {47, '.'},
    {44, '/'}, {50, '`'},
    {49, ' '},
    {36, 0xff0d},   // Return
    {48, 0xff09},   // Tab
    {51, 0xff08},   // BackSpace
    {117, 0xffff},  // Delete
    {53, 0xff1b},   // Escape
    {115, 0xff50},  // Home
    {119, 0xff57},  // End
    {116, 0xff55},  // Prior
    {121, 0xff56},  // Next
    {123, 0xff51},  // Left
    {124, 0xff53},  // Right
    {126, 0xff52},  // Up
    {125, 0xff54},  // Down
    {76, 0xff8d},   // KP_Enter
    {10, X11KeyMap::sectionKeysym},
    {122, 0xffbe}, {120, 0xffbf}, {99, 0xffc0}, {118, 0xffc1}, {96, 0xffc2}, {97, 0xffc3},  // F1–F6
    {98, 0xffc4}, {100, 0xffc5}, {101, 0xffc6}, {109, 0xffc7}, {103, 0xffc8}, {111, 0xffc9},  // F7–F12
}};

constexpr std::uint32_t sectionKeyCode = 10;

constexpr xcb_keysym_t numLock = 0xff7f;
constexpr xcb_keysym_t altL = 0xffe9, altR = 0xffea, metaL = 0xffe7, metaR = 0xffe8;
constexpr xcb_keysym_t superL = 0xffeb, superR = 0xffec;

constexpr std::uint32_t carbonCommand = 0x100;
constexpr std::uint32_t carbonShift = 0x200;
constexpr std::uint32_t carbonOption = 0x800;
constexpr std::uint32_t carbonControl = 0x1000;

}  // namespace

std::optional<xcb_keysym_t> X11KeyMap::keysymForKeyCode(std::uint32_t macKeyCode)
{
    for (const auto& [code, keysym] : keyCodeTable)
        if (code == macKeyCode)
            return keysym;
    return std::nullopt;
}

std::optional<std::uint32_t> X11KeyMap::keyCodeForKeysym(xcb_keysym_t keysym)
{
    if (keysym >= 'A' && keysym <= 'Z')
        keysym += 'a' - 'A';
    if (keysym == 0xfe20)  // ISO_Left_Tab: Tab with Shift held
        keysym = 0xff09;
    for (const auto& [code, sym] : keyCodeTable)
        if (sym == keysym)
            return code;
    return std::nullopt;
}

xcb_keysym_t X11KeyMap::keysymForScalar(char32_t scalar)
{
    switch (scalar) {
    case U'\n':
    case U'\r':
        return 0xff0d;
    case U'\t':
        return 0xff09;
    case U'\b':
        return 0xff08;
    default:
        break;
    }
    if ((scalar >= 0x20 && scalar <= 0x7e) || (scalar >= 0xa0 && scalar <= 0xff))
        return scalar;
    return 0x01000000u | scalar;
}

X11KeyMap::X11KeyMap(xcb_connection_t* connection) : m_connection(connection) { refresh(); }

bool X11KeyMap::refresh()
{
    const xcb_setup_t* setup = xcb_get_setup(m_connection);
    if (!setup)
        return false;
    const xcb_keycode_t minKey = setup->min_keycode;
    const xcb_keycode_t maxKey = setup->max_keycode;
    const auto keyboardCookie = xcb_get_keyboard_mapping(m_connection, minKey, static_cast<uint8_t>(maxKey - minKey + 1));
    const auto modifierCookie = xcb_get_modifier_mapping(m_connection);

    xcb_get_keyboard_mapping_reply_t* keyboard = xcb_get_keyboard_mapping_reply(m_connection, keyboardCookie, nullptr);
    xcb_get_modifier_mapping_reply_t* modifiers = xcb_get_modifier_mapping_reply(m_connection, modifierCookie, nullptr);
    const bool ok = keyboard && modifiers;
    if (ok) {
        m_minKeycode = minKey;
        m_maxKeycode = maxKey;
        m_perKeycode = keyboard->keysyms_per_keycode;
        const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(keyboard);
        m_keysyms.assign(syms, syms + xcb_get_keyboard_mapping_keysyms_length(keyboard));

        m_modifierKeys.assign(8, {});
        const xcb_keycode_t* keys = xcb_get_modifier_mapping_keycodes(modifiers);
        const int perModifier = modifiers->keycodes_per_modifier;
        for (int mod = 0; mod < 8; ++mod)
            for (int i = 0; i < perModifier; ++i)
                if (const xcb_keycode_t k = keys[mod * perModifier + i])
                    m_modifierKeys[mod].push_back(k);

        m_numLockMask = maskHolding({numLock});
        // Only Mod1…Mod5 are candidates; without a key for it the conventional modifier still stands.
        const std::uint16_t alt = maskHolding({altL, altR}) ? maskHolding({altL, altR}) : maskHolding({metaL, metaR});
        m_altMask = alt ? alt : std::uint16_t(XCB_MOD_MASK_1);
        const std::uint16_t super = maskHolding({superL, superR});
        m_superMask = super ? super : std::uint16_t(XCB_MOD_MASK_4);
    }
    std::free(keyboard);
    std::free(modifiers);
    return ok;
}

std::uint16_t X11KeyMap::maskHolding(std::initializer_list<xcb_keysym_t> keysyms) const
{
    // Shift, Lock and Control are fixed; only Mod1…Mod5 vary between keymaps.
    for (int mod = 3; mod < 8 && mod < int(m_modifierKeys.size()); ++mod)
        for (const xcb_keycode_t k : m_modifierKeys[mod])
            for (int column = 0; column < m_perKeycode; ++column)
                if (std::find(keysyms.begin(), keysyms.end(), keysymAt(k, column)) != keysyms.end())
                    return static_cast<std::uint16_t>(1u << mod);
    return 0;
}

xcb_keysym_t X11KeyMap::keysymAt(xcb_keycode_t keycode, int column) const
{
    if (keycode < m_minKeycode || keycode > m_maxKeycode || column < 0 || column >= m_perKeycode)
        return 0;
    const std::size_t index = std::size_t(keycode - m_minKeycode) * m_perKeycode + std::size_t(column);
    return index < m_keysyms.size() ? m_keysyms[index] : 0;
}

std::vector<xcb_keycode_t> X11KeyMap::keycodesWithKeysym(xcb_keysym_t keysym, int column) const
{
    std::vector<xcb_keycode_t> out;
    if (m_perKeycode == 0)
        return out;
    for (int k = m_minKeycode; k <= m_maxKeycode; ++k)
        if (keysymAt(xcb_keycode_t(k), column) == keysym)
            out.push_back(xcb_keycode_t(k));
    return out;
}

std::vector<xcb_keycode_t> X11KeyMap::keycodesForKeyCode(std::uint32_t macKeyCode) const
{
    const std::optional<xcb_keysym_t> keysym = keysymForKeyCode(macKeyCode);
    if (!keysym)
        return {};
    if (macKeyCode == sectionKeyCode) {
        // ISO keyboards put § left of 1 (some layouts name it so); elsewhere that key carries ` instead.
        if (auto keys = keycodesWithKeysym(sectionKeysym, 0); !keys.empty())
            return keys;
        if (auto keys = keycodesWithKeysym(graveKeysym, 0); !keys.empty())
            return keys;
        if (leftOfOneKeycode >= m_minKeycode && leftOfOneKeycode <= m_maxKeycode)
            return {leftOfOneKeycode};
        return {};
    }
    if (auto keys = keycodesWithKeysym(*keysym, 0); !keys.empty())
        return keys;
    return keycodesWithKeysym(*keysym, 1);
}

std::optional<std::uint16_t> X11KeyMap::modifierMask(std::uint32_t carbonModifiers) const
{
    constexpr std::uint32_t known = carbonCommand | carbonShift | carbonOption | carbonControl;
    if (carbonModifiers & ~known)
        return std::nullopt;
    std::uint16_t mask = 0;
    if (carbonModifiers & carbonCommand)
        mask |= m_superMask;
    if (carbonModifiers & carbonOption)
        mask |= m_altMask;
    if (carbonModifiers & carbonShift)
        mask |= XCB_MOD_MASK_SHIFT;
    if (carbonModifiers & carbonControl)
        mask |= XCB_MOD_MASK_CONTROL;
    return mask;
}

std::optional<X11KeyStroke> X11KeyMap::strokeForKeysym(xcb_keysym_t keysym) const
{
    if (keysym == 0)
        return std::nullopt;
    if (auto keys = keycodesWithKeysym(keysym, 0); !keys.empty())
        return X11KeyStroke{keys.front(), false};
    if (auto keys = keycodesWithKeysym(keysym, 1); !keys.empty())
        return X11KeyStroke{keys.front(), true};
    return std::nullopt;
}

std::vector<xcb_keycode_t> X11KeyMap::spareKeycodes() const
{
    std::vector<xcb_keycode_t> out;
    for (int k = m_minKeycode; k <= m_maxKeycode; ++k) {
        bool empty = true;
        for (int column = 0; column < m_perKeycode && empty; ++column)
            empty = keysymAt(xcb_keycode_t(k), column) == 0;
        bool modifier = false;
        for (const auto& keys : m_modifierKeys)
            modifier = modifier || std::find(keys.begin(), keys.end(), xcb_keycode_t(k)) != keys.end();
        if (empty && !modifier && m_perKeycode > 0)
            out.push_back(xcb_keycode_t(k));
    }
    return out;
}

}  // namespace tamsinvale
