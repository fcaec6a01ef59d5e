// Hotkeys against real X: the key map over Xvfb's keymap, grabs in every lock state, refusals, release, re-grab.
#include <gtest/gtest.h>

#include <QSignalSpy>
#include <cstdlib>

#include "ActHelpers.h"
#include "XTestSession.h"
#include "platform/x11/X11Hotkeys.h"
#include "platform/x11/X11KeyMap.h"
#include "settings/HotKeyConfig.h"

using namespace tamsinvale;
using namespace tamsinvale::x11test;

namespace {

constexpr std::uint32_t command = CarbonModifier::command;
constexpr std::uint32_t option = CarbonModifier::option;
constexpr std::uint32_t shift = CarbonModifier::shift;
constexpr std::uint32_t control = CarbonModifier::control;

bool xmodmap(const QStringList& expressions)
{
    QStringList argv{QStringLiteral("xmodmap"), QStringLiteral("-display"), XTestSession::get().display()};
    for (const QString& e : expressions)
        argv << QStringLiteral("-e") << e;
    int exitCode = -1;
    return runTool(argv, std::chrono::milliseconds(10000), &exitCode).has_value() && exitCode == 0;
}

QList<std::uint32_t> identifiers(const QSignalSpy& spy)
{
    QList<std::uint32_t> out;
    for (const auto& args : spy)
        out.append(args.at(0).value<std::uint32_t>());
    return out;
}

}  // namespace

TEST(KeyMapTest, everyNamedKeyHasAKeyAndModifiersFollowTheServersModifierMap)
{
    XTestSession& s = XTestSession::get();
    X11KeyMap map(s.x().xcb());
    ASSERT_TRUE(map.isValid());

    // Xvfb's US keymap: every code of the key-name table lands on a key whose first symbol is the one we meant.
    ASSERT_EQ(HotKeyConfig::keyNameTable().size(), 75u);
    for (const auto& [code, name] : HotKeyConfig::keyNameTable()) {
        const auto keysym = X11KeyMap::keysymForKeyCode(code);
        ASSERT_TRUE(keysym) << "no keysym for " << code << " " << name;
        const auto keys = map.keycodesForKeyCode(code);
        ASSERT_FALSE(keys.empty()) << "no key for " << code << " " << name;
        const xcb_keysym_t expected = code == 10 ? X11KeyMap::graveKeysym : *keysym;
        EXPECT_EQ(map.keysymAt(keys.front(), 0), expected) << code << " " << name;
    }
    EXPECT_FALSE(X11KeyMap::keysymForKeyCode(105));
    // § falls back to the key left of 1 on a keyboard without one, which is also where ` is.
    EXPECT_EQ(map.keycodesForKeyCode(10), std::vector<xcb_keycode_t>{X11KeyMap::leftOfOneKeycode});

    EXPECT_EQ(map.modifierMask(command), std::optional<std::uint16_t>(XCB_MOD_MASK_4));
    EXPECT_EQ(map.modifierMask(option | control), std::optional<std::uint16_t>(XCB_MOD_MASK_1 | XCB_MOD_MASK_CONTROL));
    EXPECT_EQ(map.modifierMask(shift), std::optional<std::uint16_t>(XCB_MOD_MASK_SHIFT));
    EXPECT_FALSE(map.modifierMask(0x10000));
    EXPECT_EQ(map.numLockMask(), numLockMask());

    // A keyboard with a real § key (an ISO Mac layout puts it on LSGT, keycode 94), and Super moved to Mod3.
    ASSERT_TRUE(xmodmap({QStringLiteral("keycode 94 = section plusminus"), QStringLiteral("remove mod4 = Super_L Super_R"),
                         QStringLiteral("add mod3 = Super_L Super_R")}));
    ASSERT_TRUE(map.refresh());
    EXPECT_EQ(map.keycodesForKeyCode(10), std::vector<xcb_keycode_t>{94});
    EXPECT_EQ(map.keycodesForKeyCode(50), std::vector<xcb_keycode_t>{X11KeyMap::leftOfOneKeycode});
    EXPECT_EQ(map.modifierMask(command), std::optional<std::uint16_t>(XCB_MOD_MASK_3));
}

TEST(HotkeysTest, eachPressArrivesOnceInEveryLockStateAndManagerOwnedCombinationsFail)
{
    XTestSession& s = XTestSession::get();
    X11Hotkeys hotkeys(s.desktop().connection());
    ASSERT_EQ(hotkeys.installHandler(), HotkeyStatus::noErr);
    QSignalSpy spy(&hotkeys, &Hotkeys::pressed);


    std::unique_ptr<HotkeyRegistration> space, section, f5, enter, snapLeft, duplicate, unknown;
    ASSERT_EQ(hotkeys.registerHotKey(49, command, 1, &space), HotkeyStatus::noErr);
    ASSERT_EQ(hotkeys.registerHotKey(10, command, 2, &section), HotkeyStatus::noErr);
    // Openbox's default configuration binds C-A-Left: the server refuses our grab, and we say so.
    EXPECT_EQ(hotkeys.registerHotKey(123, control | option, 9, &snapLeft), HotkeyStatus::eventHotKeyExistsErr);
    EXPECT_FALSE(snapLeft);
    ASSERT_EQ(hotkeys.registerHotKey(96, shift | control, 100, &f5), HotkeyStatus::noErr);
    ASSERT_EQ(hotkeys.registerHotKey(76, option, 101, &enter), HotkeyStatus::noErr);
    // ` is the same X key as § here; a second grab would silently take over the first.
    EXPECT_EQ(hotkeys.registerHotKey(50, command, 3, &duplicate), HotkeyStatus::eventHotKeyExistsErr);
    EXPECT_EQ(hotkeys.registerHotKey(105, command, 11, &unknown), HotkeyStatus::paramErr);
    // The refused combination left no variant of itself grabbed.
    EXPECT_EQ(hotkeys.grabbedVariantCount(), 4 * 4);

    const std::uint16_t numLock = numLockMask();
    ASSERT_NE(numLock, 0);
    const QList<std::uint32_t> expected{1, 2, 100, 101};
    for (const bool num : {false, true})
        for (const bool caps : {false, true}) {
            SCOPED_TRACE(testing::Message() << "NumLock " << num << " CapsLock " << caps);
            ASSERT_TRUE(setLock("Num_Lock", numLock, num));
            ASSERT_TRUE(setLock("Caps_Lock", XCB_MOD_MASK_LOCK, caps));
            spy.clear();
            ASSERT_TRUE(xdotool({QStringLiteral("key"), QStringLiteral("super+space"), QStringLiteral("super+grave"),
                                 QStringLiteral("shift+ctrl+F5"), QStringLiteral("alt+KP_Enter")}));
            // The last press arriving after all earlier ones means none of them came twice or went missing.
            EXPECT_TRUE(s.waitUntil([&] { return spy.size() >= expected.size(); }));
            EXPECT_EQ(identifiers(spy), expected);
        }
    ASSERT_TRUE(setLock("Num_Lock", numLock, false));
    ASSERT_TRUE(setLock("Caps_Lock", XCB_MOD_MASK_LOCK, false));

    // Held until the server has auto-repeated it a few times: still one press.
    ASSERT_TRUE(runTool({QStringLiteral("xset"), QStringLiteral("-display"), s.display(), QStringLiteral("r"),
                         QStringLiteral("rate"), QStringLiteral("50"), QStringLiteral("40")}));
    spy.clear();
    ASSERT_TRUE(xdotool({QStringLiteral("keydown"), QStringLiteral("super+space")}));
    EXPECT_TRUE(s.waitUntil([&] { return hotkeys.ignoredRepeats() >= 3; }));
    ASSERT_TRUE(xdotool({QStringLiteral("keyup"), QStringLiteral("space"), QStringLiteral("keyup"), QStringLiteral("super"),
                         QStringLiteral("key"), QStringLiteral("alt+KP_Enter")}));
    EXPECT_TRUE(s.waitUntil([&] { return spy.size() >= 2; }));
    EXPECT_EQ(identifiers(spy), (QList<std::uint32_t>{1, 101}));
}

TEST(HotkeysTest, unregisterReleasesEveryVariantAndAKeymapChangeMovesTheGrab)
{
    XTestSession& s = XTestSession::get();
    X11Hotkeys hotkeys(s.desktop().connection());
    ASSERT_EQ(hotkeys.installHandler(), HotkeyStatus::noErr);
    QSignalSpy spy(&hotkeys, &Hotkeys::pressed);

    constexpr xcb_keycode_t f12 = 96, spare = 202;
    std::unique_ptr<HotkeyRegistration> registration;
    ASSERT_EQ(hotkeys.registerHotKey(111, command, 7, &registration), HotkeyStatus::noErr);
    EXPECT_FALSE(testCanGrab(f12, XCB_MOD_MASK_4));

    // F12 moves to another key: the grab follows it and the old key is free again.
    ASSERT_TRUE(xmodmap({QStringLiteral("keycode 96 = NoSymbol"), QStringLiteral("keycode 202 = F12")}));
    ASSERT_TRUE(s.waitUntil([&] { return hotkeys.keyMap().keycodesForKeyCode(111) == std::vector<xcb_keycode_t>{spare}; }));
    ASSERT_TRUE(s.waitUntil([&] { return testCanGrab(f12, XCB_MOD_MASK_4); }));
    EXPECT_FALSE(testCanGrab(spare, XCB_MOD_MASK_4));
    ASSERT_TRUE(xdotool({QStringLiteral("key"), QStringLiteral("super+F12")}));
    EXPECT_TRUE(s.waitUntil([&] { return spy.size() == 1; }));
    EXPECT_EQ(identifiers(spy), QList<std::uint32_t>{7});

    hotkeys.unregisterHotKey(*registration);
    EXPECT_EQ(hotkeys.grabbedVariantCount(), 0);
    EXPECT_TRUE(testCanGrab(spare, XCB_MOD_MASK_4));

    // Someone holds ⌘ F7 only with NumLock on: refused as a whole, and the variants we did get are let go.
    XTestDisplay& x = s.x();
    constexpr xcb_keycode_t f7 = 73;
    const std::uint16_t numLock = numLockMask();
    xcb_generic_error_t* error = xcb_request_check(
        x.xcb(), xcb_grab_key_checked(x.xcb(), 0, x.root(), std::uint16_t(XCB_MOD_MASK_4 | numLock), f7,
                                      XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    ASSERT_FALSE(error);
    std::unique_ptr<HotkeyRegistration> partial;
    EXPECT_EQ(hotkeys.registerHotKey(98, command, 12, &partial), HotkeyStatus::eventHotKeyExistsErr);
    EXPECT_EQ(hotkeys.grabbedVariantCount(), 0);
    xcb_ungrab_key(x.xcb(), f7, x.root(), std::uint16_t(XCB_MOD_MASK_4 | numLock));
    xcb_flush(x.xcb());
    EXPECT_TRUE(testCanGrab(f7, XCB_MOD_MASK_4));
    ASSERT_TRUE(xmodmap({QStringLiteral("keycode 202 = NoSymbol"), QStringLiteral("keycode 96 = F12")}));
}
