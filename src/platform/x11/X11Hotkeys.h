// Global hotkeys on X11: key grabs on the root window for every NumLock/CapsLock state.
#pragma once

#include <QAbstractNativeEventFilter>
#include <QHash>
#include <QSet>
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
    // The key's unshifted symbol in the live keyboard map, through the fixed key table.
    std::optional<std::uint32_t> keyCodeForNativeKey(std::uint32_t nativeScanCode,
                                                     std::uint32_t nativeVirtualKey) const override;

    // Key presses of our grabs and keyboard mapping changes; true when the event was ours.
    bool handleEvent(const xcb_generic_event_t* event);
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

    // Ends the keyboard grab that a hotkey press starts (it lasts until its key is released, or for a handing
    // hotkey until someone takes the keyboard over), so that keys typed for the hotkey's action reach the focused
    // window instead of us. Nothing when no such grab is held.
    void releaseActiveGrab();

    // Hotkeys whose action takes the keyboard at once (the app switcher). Their press freezes the keyboard in the
    // server until we hold it with an ordinary grab of our own, which does not end with the key's release: keys
    // typed right behind the hotkey then reach our root instead of the window that had the focus. Whoever takes
    // the keyboard calls `keyboardTakenOver`; when nobody does within `handOverTimeoutMs`, it is let go. A taker
    // that lets go calls `keyboardGivenBack`: a hold begun meanwhile (its hotkey pressed again) went with it.
    void setHandOverHotkeys(const QSet<std::uint32_t>& identifiers);
    void keyboardTakenOver();
    void keyboardGivenBack();
    static constexpr int handOverTimeoutMs = 1000;
    // True while a hotkey press holds the keyboard: its key is still down, or a hand-over is waiting.
    bool holdsKeyboard() const { return m_grabActive || m_handOverPending; }
    // Whether a press is one of our hotkeys (its combination in any lock state) or a repeat of a hotkey's key still
    // held: such a press is the hotkeys', not typing.
    bool ownsPress(xcb_keycode_t keycode, std::uint16_t state) const;

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
    // The registered hotkey a press of `keycode` with modifier `state` is, whatever the lock state.
    const Entry* entryFor(xcb_keycode_t keycode, std::uint16_t state) const;
    enum class Press { notOurs, repeat, delivered };
    // Whether the press belongs to one of our grabs (delivered, or swallowed as a repeat); `entry` is the
    // matched hotkey of a delivered press.
    Press dispatchPress(const xcb_key_press_event_t* event, const Entry** entry);
    // Turns the grab a handing hotkey's press started into an ordinary one that also thaws the keyboard.
    bool holdForHandOver(xcb_timestamp_t time);
    void handOverTimedOut();
    void letGoOfKeyboard();
    // After we gave up the grab the key's release goes elsewhere; the server's key state tells when it came.
    void pollHeldKeys();
    // The keyboard saw a key go down: when it makes one of our combinations, its grab's press must follow.
    void keyPressedAnywhere(xcb_keycode_t keycode, xcb_timestamp_t time);
    // The modifiers among the keys raw events saw go down and not yet up.
    std::uint16_t rawModifierState() const;
    void checkDelivery();

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
    QSet<std::uint32_t> m_handOver;
    bool m_handOverPending = false;
    QTimer m_handOverTimer;
    QTimer m_heldPoll;
    // Combinations pressed whose grab's press has not come yet (keycode → identifier), and the last press of each
    // keycode that did reach us.
    QHash<xcb_keycode_t, std::uint32_t> m_awaitingDelivery;
    QSet<xcb_keycode_t> m_rawHeld;  // keys down, as the raw key events tell
    QHash<xcb_keycode_t, xcb_timestamp_t> m_lastPressTime;
    QSet<std::uint32_t> m_reportedUndelivered;
    QTimer m_deliveryCheck;

public:
    // How long a combination's press may take to reach our grab after the keyboard reported it.
    static constexpr int deliveryTimeoutMs = 500;
};

}  // namespace tamsinvale
