// The switcher's hotkey hands the keyboard on, against real X: a key typed in the same instant as the hotkey reaches
// the capture and not the window that had the focus; other hotkeys, and a hand-over nobody takes, leave the keyboard
// to that window; a held hotkey is one press and pressing it again closes what it opened.
#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTimer>
#include <cstdlib>

#include "ActHelpers.h"
#include "XTestSession.h"
#include "platform/x11/X11Hotkeys.h"
#include "platform/x11/X11KeyMap.h"
#include "platform/x11/X11KeyboardCapture.h"
#include "platform/x11/X11ServerTime.h"
#include "settings/HotKeyConfig.h"

#include <xcb/xtest.h>

using namespace tamsinvale;
using namespace tamsinvale::x11test;
using namespace std::chrono_literals;

namespace {

constexpr std::uint32_t switcherId = 1;
constexpr std::uint32_t otherId = 101;
constexpr xcb_keysym_t superL = 0xffeb, space = 0x20, f5 = 0xffc2, controlL = 0xffe3, altL = 0xffe9;

// Presses (true) and releases of keysyms, sent from the test's own connection in one flush: the server has every
// one of them before it acts on the first, so nothing of ours can run in between.
void typeInOneBatch(const QList<std::pair<xcb_keysym_t, bool>>& strokes)
{
    XTestDisplay& x = XTestSession::get().x();
    const X11KeyMap map(x.xcb());
    for (const auto& [keysym, down] : strokes) {
        const auto stroke = map.strokeForKeysym(keysym);
        ASSERT_TRUE(stroke && !stroke->shift) << std::hex << keysym;
        xcb_test_fake_input(x.xcb(), down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, stroke->keycode, XCB_CURRENT_TIME,
                            XCB_WINDOW_NONE, 0, 0, 0);
    }
    xcb_flush(x.xcb());
}

QList<std::pair<xcb_keysym_t, bool>> chord(xcb_keysym_t modifier, xcb_keysym_t key)
{
    return {{modifier, true}, {key, true}, {key, false}, {modifier, false}};
}

QList<std::pair<xcb_keysym_t, bool>> tap(xcb_keysym_t key) { return {{key, true}, {key, false}}; }

// The server's clock, read on a connection of its own.
class ServerClock {
public:
    ServerClock()
        : m_connection(xcb_connect(XTestSession::get().display().toLocal8Bit().constData(), nullptr))
        , m_time(m_connection.get(), xcb_setup_roots_iterator(xcb_get_setup(m_connection.get())).data->root)
    {
    }
    xcb_timestamp_t now() { return m_time.now(); }

private:
    struct Disconnect {
        void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
    };
    // Declared first: closed after the clock's window is gone.
    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    X11ServerTime m_time;
};

QString capturedText(const QList<CapturedKey>& keys)
{
    QString text;
    for (const CapturedKey& k : keys)
        text += k.text;
    return text;
}

}  // namespace

TEST(KeyboardHandOverTest, aKeyTypedWithTheSwitcherHotkeyReachesTheCaptureAndOtherHotkeysLeaveTheKeyboardAlone)
{
    XTestSession& s = XTestSession::get();
    auto client = InputClient::start(QStringLiteral("hand-over target"), 100, 100, 400, 300);
    ASSERT_TRUE(client);
    ASSERT_TRUE(xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"),
                         QStringLiteral("0x%1").arg(client->window(), 0, 16)}));

    X11Hotkeys hotkeys(s.desktop().connection());
    hotkeys.setHandOverHotkeys({switcherId});
    ASSERT_EQ(hotkeys.installHandler(), HotkeyStatus::noErr);
    std::unique_ptr<HotkeyRegistration> switcher, other;
    ASSERT_EQ(hotkeys.registerHotKey(49, CarbonModifier::command, switcherId, &switcher), HotkeyStatus::noErr);
    ASSERT_EQ(hotkeys.registerHotKey(96, CarbonModifier::command, otherId, &other), HotkeyStatus::noErr);
    X11KeyboardCapture capture(s.desktop().connection(), &hotkeys);

    // As the application has it: the switcher's hotkey toggles, two turns of the main loop after the press.
    QList<CapturedKey> captured;
    QList<std::uint32_t> presses;
    bool switcherTakesKeyboard = true;
    QObject::connect(&hotkeys, &Hotkeys::pressed, &capture, [&](std::uint32_t id) {
        presses.append(id);
        if (id != switcherId || !switcherTakesKeyboard)
            return;
        QTimer::singleShot(0, &capture, [&] {
            if (capture.isCapturing())
                capture.end();
            else
                ASSERT_TRUE(capture.begin([&](const CapturedKey& k) { captured.append(k); }));
        });
    });

    // ⌘ Space and x in one instant: x waits in the server while the hotkey holds the keyboard, then comes to us.
    typeInOneBatch(chord(superL, space) + tap('x'));
    ASSERT_TRUE(s.waitUntil([&] { return capture.isCapturing() && !captured.isEmpty(); }));
    EXPECT_EQ(capturedText(captured), QStringLiteral("x"));
    EXPECT_EQ(presses, QList<std::uint32_t>{switcherId});

    // Pressing it again closes: the capture ends and the keyboard is the focused window's again.
    typeInOneBatch(chord(superL, space));
    ASSERT_TRUE(s.waitUntil([&] { return !capture.isCapturing() && !XTestSession::get().x().keyboardGrabbedByAnother(); }));
    EXPECT_EQ(presses, (QList<std::uint32_t>{switcherId, switcherId}));
    // Its first text is what comes now: x never reached it.
    typeInOneBatch(tap('z'));
    EXPECT_EQ(client->nextText(5s), QStringLiteral("z"));

    // A hotkey that hands nothing on: the key right behind it goes to the focused window.
    typeInOneBatch(chord(superL, f5) + tap('y'));
    ASSERT_TRUE(s.waitUntil([&] { return presses.size() == 3; }));
    EXPECT_EQ(presses.last(), otherId);
    EXPECT_EQ(client->nextText(5s), QStringLiteral("y"));

    // Nobody takes the keyboard the switcher's hotkey held: after a bounded wait it is let go all the same.
    switcherTakesKeyboard = false;
    typeInOneBatch(chord(superL, space));
    ASSERT_TRUE(s.waitUntil([&] { return presses.size() == 4; }));
    ASSERT_TRUE(s.waitUntil([&] { return !hotkeys.holdsKeyboard() && !XTestSession::get().x().keyboardGrabbedByAnother(); }));
    typeInOneBatch(tap('w'));
    EXPECT_EQ(client->nextText(5s), QStringLiteral("w"));
    EXPECT_EQ(capturedText(captured), QStringLiteral("x"));
}

TEST(KeyboardHandOverTest, aHeldSwitcherHotkeyIsOnePressAndTheNextPressCloses)
{
    XTestSession& s = XTestSession::get();
    X11Hotkeys hotkeys(s.desktop().connection());
    hotkeys.setHandOverHotkeys({switcherId});
    ASSERT_EQ(hotkeys.installHandler(), HotkeyStatus::noErr);
    std::unique_ptr<HotkeyRegistration> switcher;
    ASSERT_EQ(hotkeys.registerHotKey(49, CarbonModifier::command, switcherId, &switcher), HotkeyStatus::noErr);
    X11KeyboardCapture capture(s.desktop().connection(), &hotkeys);
    QSignalSpy spy(&hotkeys, &Hotkeys::pressed);
    QObject::connect(&hotkeys, &Hotkeys::pressed, &capture, [&](std::uint32_t) {
        QTimer::singleShot(0, &capture, [&] {
            if (capture.isCapturing())
                capture.end();
            else
                capture.begin([](const CapturedKey&) {});
        });
    });

    // Held until the server has auto-repeated it a few times, under the capture's grab: still one press.
    ASSERT_TRUE(runTool({QStringLiteral("xset"), QStringLiteral("-display"), s.display(), QStringLiteral("r"),
                         QStringLiteral("rate"), QStringLiteral("50"), QStringLiteral("40")}));
    typeInOneBatch({{superL, true}, {space, true}});
    ASSERT_TRUE(s.waitUntil([&] { return capture.isCapturing() && hotkeys.ignoredRepeats() >= 3; }));
    EXPECT_EQ(spy.size(), 1);
    typeInOneBatch({{space, false}, {superL, false}});
    // A release and a press in the same millisecond are how auto-repeat looks; no hand can be that quick.
    ServerClock clock;
    const xcb_timestamp_t released = clock.now();
    ASSERT_TRUE(s.waitUntil([&] { return clock.now() != released; }));

    // The key went up: the next press is a new one, and closes.
    typeInOneBatch(chord(superL, space));
    ASSERT_TRUE(s.waitUntil([&] { return !capture.isCapturing() && !XTestSession::get().x().keyboardGrabbedByAnother(); }));
    EXPECT_EQ(spy.size(), 2);
    EXPECT_FALSE(hotkeys.holdsKeyboard());
}

TEST(KeyboardHandOverTest, keysTypedWithAModifierStillHeldAreTypingAndKeepWhatCameBefore)
{
    XTestSession& s = XTestSession::get();
    X11Hotkeys hotkeys(s.desktop().connection());
    hotkeys.setHandOverHotkeys({switcherId});
    ASSERT_EQ(hotkeys.installHandler(), HotkeyStatus::noErr);
    std::unique_ptr<HotkeyRegistration> switcher, other;
    ASSERT_EQ(hotkeys.registerHotKey(49, CarbonModifier::command, switcherId, &switcher), HotkeyStatus::noErr);
    ASSERT_EQ(hotkeys.registerHotKey(96, CarbonModifier::command, otherId, &other), HotkeyStatus::noErr);
    X11KeyboardCapture capture(s.desktop().connection(), &hotkeys);
    QList<CapturedKey> captured;
    QList<std::uint32_t> presses;
    QObject::connect(&hotkeys, &Hotkeys::pressed, &capture, [&](std::uint32_t id) {
        presses.append(id);
        if (id != switcherId)
            return;
        QTimer::singleShot(0, &capture, [&] {
            if (capture.isCapturing())
                capture.end();
            else
                ASSERT_TRUE(capture.begin([&](const CapturedKey& k) { captured.append(k); }));
        });
    });

    // Rolling over from the hotkey: a is typed with Super still down; then b with Control and c with Alt held,
    // all before the capture has begun. Each is its plain character, and none wipes the ones before it.
    typeInOneBatch({{superL, true}, {space, true}, {space, false}, {'a', true}, {'a', false}, {superL, false},
                    {controlL, true}, {'b', true}, {'b', false}, {controlL, false},
                    {altL, true}, {'c', true}, {'c', false}, {altL, false}});
    ASSERT_TRUE(s.waitUntil([&] { return capture.isCapturing() && captured.size() >= 3; }))
        << capturedText(captured).toStdString();
    EXPECT_EQ(capturedText(captured), QStringLiteral("abc"));
    EXPECT_EQ(captured[0].modifiers & CarbonModifier::command, CarbonModifier::command);

    // During the capture too: Super held through the chord, as a launcher chord is typed.
    typeInOneBatch({{superL, true}, {'d', true}, {'d', false}, {superL, false}});
    ASSERT_TRUE(s.waitUntil([&] { return captured.size() >= 4; }));
    EXPECT_EQ(capturedText(captured), QStringLiteral("abcd"));

    // A hotkey is still a hotkey, not typing.
    typeInOneBatch(chord(superL, f5));
    ASSERT_TRUE(s.waitUntil([&] { return presses.contains(otherId); }));
    typeInOneBatch(tap('e'));
    ASSERT_TRUE(s.waitUntil([&] { return captured.size() >= 5; }));
    EXPECT_EQ(capturedText(captured), QStringLiteral("abcde"));

    // And the switcher's own hotkey, pressed again, closes.
    typeInOneBatch(chord(superL, space));
    ASSERT_TRUE(s.waitUntil([&] { return !capture.isCapturing() && !XTestSession::get().x().keyboardGrabbedByAnother(); }));
    EXPECT_EQ(capturedText(captured), QStringLiteral("abcde"));
}
