// Global hotkeys on X11: key grabs on the root window for every NumLock/CapsLock state.
#pragma once

#include <QAbstractNativeEventFilter>
#include <QHash>
#include <QTimer>
#include <memory>
#include <vector>

#include "X11KeyMap.h"
#include "platform/Hotkeys.h"

#include <xcb/xcb.h>

namespace tamsinvale {

class X11Connection;

class X11Hotkeys : public Hotkeys, public QAbstractNativeEventFilter {
    Q_OBJECT
public:
    X11Hotkeys(xcb_connection_t* connection, xcb_window_t root, QObject* parent = nullptr);
    explicit X11Hotkeys(X11Connection& connection, QObject* parent = nullptr);
    ~X11Hotkeys() override;

    // Starts reading key events from Qt's event loop (a no-op for a connection Qt does not own: feed
    // `handleEvent` instead).
    int installHandler() override;
    int registerHotKey(std::uint32_t keyCode, std::uint32_t modifiers, std::uint32_t identifier,
                       std::unique_ptr<HotkeyRegistration>* out) override;
    void unregisterHotKey(HotkeyRegistration& registration) override;

    // Key presses of our grabs and keyboard mapping changes; true when the event was ours.
    bool handleEvent(const xcb_generic_event_t* event);
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

    // Ends the keyboard grab that a hotkey press starts (it lasts until its key is released), so that keys typed
    // for the hotkey's action reach the focused window instead of us. Nothing when no press is being held.
    void releaseActiveGrab();

    // Grabs as they stand, for diagnostics and tests: how many (keycode, mask) variants are held.
    int grabbedVariantCount() const;
    const X11KeyMap& keyMap() const { return m_keyMap; }
    // Presses of a held key that were not delivered again.
    int ignoredRepeats() const { return m_ignoredRepeats; }

private:
    struct Entry;
    struct Token;

    std::vector<std::uint16_t> lockVariants() const;
    // Grabs every lock variant of every key of `entry`; on any refusal releases the variants it did get.
    int grab(Entry& entry);
    void ungrab(Entry& entry);
    void keyboardMappingChanged();
    // True when the press belongs to one of our grabs (delivered, or swallowed as a repeat).
    bool dispatchPress(const xcb_key_press_event_t* event);
    // After we gave up the grab the key's release goes elsewhere; the server's key state tells when it came.
    void pollHeldKeys();

    xcb_connection_t* m_connection;
    xcb_window_t m_root;
    X11KeyMap m_keyMap;
    std::vector<std::shared_ptr<Entry>> m_entries;
    std::uint8_t m_xkbEventBase = 0;
    bool m_filterInstalled = false;
    bool m_regrabQueued = false;
    int m_ignoredRepeats = 0;
    // Auto-repeat arrives either as extra presses (detectable auto-repeat) or as release/press pairs sharing a
    // timestamp; both must not look like a new press.
    QHash<xcb_keycode_t, bool> m_held;
    QHash<xcb_keycode_t, xcb_timestamp_t> m_lastRelease;
    bool m_grabActive = false;
    QTimer m_heldPoll;
};

}  // namespace tamsinvale
