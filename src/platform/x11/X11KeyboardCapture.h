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

class X11KeyboardCapture : public QObject, public KeyboardCapture, public QAbstractNativeEventFilter {
    Q_OBJECT
public:
    explicit X11KeyboardCapture(X11Connection& connection, QObject* parent = nullptr);
    // On a connection nobody else reads (tests): feed events through `handleEvent`.
    X11KeyboardCapture(xcb_connection_t* connection, xcb_window_t root, bool filterQtEvents, QObject* parent = nullptr);
    ~X11KeyboardCapture() override;

    bool begin(std::function<void(const CapturedKey&)> onKey) override;
    void end() override;
    bool isCapturing() const override { return m_capturing; }

    // True when the event was a key press we took.
    bool handleEvent(const xcb_generic_event_t* event);
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

    CapturedKey translate(xcb_keycode_t keycode, std::uint16_t state) const;

private:
    void reinstallFilter();
    void deliver(const CapturedKey& key);

    xcb_connection_t* m_connection;
    xcb_window_t m_root;
    bool m_filterQtEvents;
    bool m_filterInstalled = false;
    X11KeyMap m_keyMap;
    bool m_keyMapStale = false;
    bool m_capturing = false;
    std::function<void(const CapturedKey&)> m_onKey;
    // Presses that reached the root while the hotkey's own grab was still active, before the capture began.
    QList<std::pair<xcb_timestamp_t, CapturedKey>> m_early;
};

}  // namespace tamsinvale
