// The keyboard capture on X11: an active keyboard grab on the root window for as long as a switcher is open, with
// key presses translated to macOS key codes, unshifted text and Carbon modifiers.
#pragma once

#include <QAbstractNativeEventFilter>
#include <QList>
#include <QObject>
#include <functional>

#include "X11KeyMap.h"
#include "platform/KeyboardCapture.h"

#include <xcb/xcb.h>

namespace tamsinvale {

class X11Connection;
class X11Hotkeys;

class X11KeyboardCapture : public QObject, public KeyboardCapture, public QAbstractNativeEventFilter {
    Q_OBJECT
public:
    // With `hotkeys`, the capture takes the keyboard over from a hotkey that held it for us, and keeps presses
    // from before `begin` only while such a hotkey holds it.
    explicit X11KeyboardCapture(X11Connection& connection, X11Hotkeys* hotkeys = nullptr, QObject* parent = nullptr);
    // On a connection nobody else reads (tests): feed events through `handleEvent`.
    X11KeyboardCapture(xcb_connection_t* connection, xcb_window_t root, bool filterQtEvents,
                       X11Hotkeys* hotkeys = nullptr, QObject* parent = nullptr);
    ~X11KeyboardCapture() override;

    bool begin(std::function<void(const CapturedKey&)> onKey) override;
    void end() override;
    bool isCapturing() const override { return m_capturing; }
    void setPressOutsideHandler(std::function<QRect()> panelArea, std::function<void()> onPressOutside) override;

    // A pointer button went down somewhere (the connection's global button monitor); with a connection nobody
    // else reads, tests call it themselves. Wheel buttons are no press.
    void pointerButtonPressed(std::uint32_t button);

    // True when the event was a key press we took.
    bool handleEvent(const xcb_generic_event_t* event);
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

    CapturedKey translate(xcb_keycode_t keycode, std::uint16_t state) const;

private:
    void reinstallFilter();
    void deliver(const CapturedKey& key);

    xcb_connection_t* m_connection;
    xcb_window_t m_root;
    X11Hotkeys* m_hotkeys;
    bool m_filterQtEvents;
    bool m_filterInstalled = false;
    X11KeyMap m_keyMap;
    bool m_keyMapStale = false;
    bool m_capturing = false;
    std::function<void(const CapturedKey&)> m_onKey;
    std::function<QRect()> m_panelArea;
    std::function<void()> m_onPressOutside;
    // Presses that reached the root under the hotkey's grab (its key still down, or held for us), before the
    // capture began.
    QList<std::pair<xcb_timestamp_t, CapturedKey>> m_early;
};

}  // namespace tamsinvale
