// Typing through XTEST: each scalar as the key press that produces it, lending a spare key to missing characters.
#pragma once

#include <QObject>
#include <QTimer>
#include <vector>

#include "X11KeyMap.h"
#include "platform/SyntheticInput.h"

#include <xcb/xcb.h>

namespace tamsinvale {

class X11Connection;
class X11Hotkeys;

class X11SyntheticInput : public QObject, public SyntheticInput {
    Q_OBJECT
public:
    // How long a lent key keeps its character after the last use: the receiving client looks the key up when it
    // handles the press, which can be after we return.
    static constexpr int restoreDelayMs = 1000;

    // With `hotkeys`, a hotkey press still held (whose action is typing, as Insert date is) first gives up the
    // keyboard grab it holds, which would otherwise take the typed keys.
    X11SyntheticInput(xcb_connection_t* connection, xcb_window_t root, X11Hotkeys* hotkeys = nullptr,
                      QObject* parent = nullptr);
    explicit X11SyntheticInput(X11Connection& connection, X11Hotkeys* hotkeys = nullptr, QObject* parent = nullptr);
    ~X11SyntheticInput() override;

    bool typeScalar(char32_t scalar) override;

    // Gives every lent key its empty mapping back now.
    void restoreLentKeys();
    int lentKeyCount() const { return int(m_lent.size()); }

private:
    struct LentKey {
        xcb_keycode_t keycode;
        xcb_keysym_t keysym;
    };

    std::optional<X11KeyStroke> lendKey(xcb_keysym_t keysym);
    void setKeysym(xcb_keycode_t keycode, xcb_keysym_t keysym);
    // Modifier keys that are down now (say, those of the hotkey that asked for the typing), except the locks.
    std::vector<xcb_keycode_t> heldModifierKeys(std::uint16_t state) const;
    void fake(std::uint8_t type, xcb_keycode_t keycode);

    xcb_connection_t* m_connection;
    xcb_window_t m_root;
    X11Hotkeys* m_hotkeys;
    X11KeyMap m_keyMap;
    bool m_hasXTest = false;
    std::vector<LentKey> m_lent;  // oldest first
    QTimer m_restoreTimer;
};

}  // namespace tamsinvale
