// One key watched on the whole desktop without taking it away from anyone: a synchronous passive grab on the root
// whose press is reported and then replayed to the window that has the focus, as if there had been no grab.
#pragma once

#include <QAbstractNativeEventFilter>
#include <cstdint>
#include <functional>
#include <vector>

#include <xcb/xcb.h>

namespace tamsinvale {

class X11Connection;

class X11KeyWatch : public QAbstractNativeEventFilter {
public:
    // Watches the key of a macOS key code, alone or with Shift, Control, Alt or Super held, in every NumLock/CapsLock
    // state, from now until destroyed. States another program holds are logged and left out: the watch then simply
    // misses them.
    // `onPress` may destroy the watch.
    X11KeyWatch(X11Connection& connection, std::uint32_t macKeyCode, std::function<void(std::uint32_t)> onPress);
    ~X11KeyWatch() override;
    X11KeyWatch(const X11KeyWatch&) = delete;
    X11KeyWatch& operator=(const X11KeyWatch&) = delete;

    // (keycode, modifier and lock state) grabs held.
    int grabbedVariantCount() const { return int(m_grabs.size()); }

    bool handleEvent(const xcb_generic_event_t* event);
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    struct Grab {
        xcb_keycode_t keycode;
        std::uint16_t modifiers;
    };

    xcb_connection_t* m_connection;
    xcb_window_t m_root;
    std::uint32_t m_macKeyCode;
    std::function<void(std::uint32_t)> m_onPress;
    std::vector<Grab> m_grabs;
    bool m_filterInstalled = false;
};

}  // namespace tamsinvale
