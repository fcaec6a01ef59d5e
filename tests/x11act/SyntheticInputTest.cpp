// Synthetic typing against real X: Unicode text (characters the keymap lacks included) arrives as typed.
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>
#include <cstdlib>

#include "ActHelpers.h"
#include "XTestSession.h"
#include "platform/x11/X11Hotkeys.h"
#include "platform/x11/X11SyntheticInput.h"
#include "settings/HotKeyConfig.h"

using namespace tamsinvale;
using namespace tamsinvale::x11test;

namespace {

// The whole core keyboard mapping, as the test's own connection reads it.
std::vector<xcb_keysym_t> keyboardMapping()
{
    XTestDisplay& x = XTestSession::get().x();
    const xcb_setup_t* setup = xcb_get_setup(x.xcb());
    auto* reply = xcb_get_keyboard_mapping_reply(
        x.xcb(),
        xcb_get_keyboard_mapping(x.xcb(), setup->min_keycode, std::uint8_t(setup->max_keycode - setup->min_keycode + 1)),
        nullptr);
    std::vector<xcb_keysym_t> out;
    if (reply) {
        const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(reply);
        out.assign(syms, syms + xcb_get_keyboard_mapping_keysyms_length(reply));
    }
    std::free(reply);
    return out;
}

// Text typed into the client, as it reports it, until it adds up to `expected`'s length or stops coming.
QString received(InputClient& client, qsizetype length)
{
    QString text;
    while (text.size() < length) {
        const auto piece = client.nextText(std::chrono::milliseconds(5000));
        if (!piece)
            break;
        text += *piece;
    }
    return text;
}

bool typeAll(SyntheticInput& input, const QString& text)
{
    bool all = true;
    for (const char32_t c : text.toUcs4())
        all = input.typeScalar(c) && all;
    return all;
}

}  // namespace

TEST(SyntheticInputTest, unicodeTextArrivesIntactThroughLocksAndHeldModifiersAndLentKeysAreGivenBack)
{
    XTestSession& s = XTestSession::get();
    auto client = InputClient::start(QStringLiteral("typing target"), 100, 100, 400, 300);
    ASSERT_TRUE(client);
    ASSERT_TRUE(xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"),
                         QStringLiteral("0x%1").arg(client->window(), 0, 16)}));
    const std::vector<xcb_keysym_t> before = keyboardMapping();
    ASSERT_FALSE(before.empty());

    X11SyntheticInput input(s.desktop().connection());
    // é, Ω, €, ✓ and 😀 have no key on Xvfb's US keyboard; Ω comes twice to use its lent key again.
    const QString text = QStringLiteral("Hello, World! é Ω€ ✓😀 #260315 ~Ω_{}");
    EXPECT_TRUE(typeAll(input, text));
    EXPECT_EQ(received(*client, text.size()), text);
    EXPECT_EQ(input.lentKeyCount(), 5);
    EXPECT_NE(keyboardMapping(), before);

    // Caps Lock on and the modifier of a hotkey still held: the letters keep their case, no shortcut fires.
    // Control rather than Super: a client turns Control+letter into a control character, so a leak shows.
    const std::uint16_t controlMask = XCB_MOD_MASK_CONTROL;
    ASSERT_TRUE(setLock("Caps_Lock", XCB_MOD_MASK_LOCK, true));
    ASSERT_TRUE(xdotool({QStringLiteral("keydown"), QStringLiteral("ctrl")}));
    ASSERT_TRUE(s.waitUntil([&] { return bool(keyboardState() & controlMask); }));
    EXPECT_TRUE(typeAll(input, QStringLiteral("aB1é")));
    EXPECT_EQ(received(*client, 4), QStringLiteral("aB1é"));
    ASSERT_TRUE(xdotool({QStringLiteral("keyup"), QStringLiteral("ctrl")}));
    ASSERT_TRUE(setLock("Caps_Lock", XCB_MOD_MASK_LOCK, false));

    // Nothing that is not a character is typed.
    EXPECT_FALSE(input.typeScalar(0xd800));
    EXPECT_FALSE(input.typeScalar(0x110000));
    EXPECT_FALSE(input.typeScalar(0x07));

    // A moment after the last character every lent key is empty again.
    EXPECT_TRUE(s.waitUntil([&] { return input.lentKeyCount() == 0 && keyboardMapping() == before; }));
}

TEST(SyntheticInputTest, textTypedForAHotkeyStillHeldReachesTheFocusedWindowAndTheHotkeyWorksAgain)
{
    XTestSession& s = XTestSession::get();
    auto client = InputClient::start(QStringLiteral("insert date target"), 100, 100, 400, 300);
    ASSERT_TRUE(client);
    ASSERT_TRUE(xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"),
                         QStringLiteral("0x%1").arg(client->window(), 0, 16)}));

    // Insert date as the application wires it: the hotkey's action types text while ⌘ I may still be down.
    X11Hotkeys hotkeys(s.desktop().connection());
    ASSERT_EQ(hotkeys.installHandler(), HotkeyStatus::noErr);
    std::unique_ptr<HotkeyRegistration> registration;
    ASSERT_EQ(hotkeys.registerHotKey(34, CarbonModifier::command, 8, &registration), HotkeyStatus::noErr);
    X11SyntheticInput input(s.desktop().connection(), &hotkeys);
    int presses = 0;
    QObject::connect(&hotkeys, &Hotkeys::pressed, [&](std::uint32_t) {
        ++presses;
        typeAll(input, QStringLiteral("260315"));
    });

    ASSERT_TRUE(xdotool({QStringLiteral("keydown"), QStringLiteral("super+i")}));
    ASSERT_TRUE(s.waitUntil([&] { return presses == 1; }));
    EXPECT_EQ(received(*client, 6), QStringLiteral("260315"));
    ASSERT_TRUE(xdotool({QStringLiteral("keyup"), QStringLiteral("i"), QStringLiteral("keyup"), QStringLiteral("super")}));

    // Its release went to the focused window, yet the next press counts as a new one.
    ASSERT_TRUE(xdotool({QStringLiteral("key"), QStringLiteral("super+i")}));
    ASSERT_TRUE(s.waitUntil([&] { return presses == 2; }));
    EXPECT_EQ(received(*client, 6), QStringLiteral("260315"));
}

TEST(SyntheticInputTest, anXlibApplicationReceivesTheTextToo)
{
    // xterm looks keys up through Xlib, which rereads a changed keymap only when it next needs it.
    XTestSession& s = XTestSession::get();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString file = dir.filePath(QStringLiteral("typed.txt"));
    auto xterm = ChildProcess::start({QStringLiteral("xterm"), QStringLiteral("-class"), QStringLiteral("TypingXTerm"),
                                      QStringLiteral("-e"), QStringLiteral("sh"), QStringLiteral("-c"),
                                      QStringLiteral("stty -echo; touch \"$0\"; exec cat > \"$0\""), file},
                                     {QStringLiteral("DISPLAY=") + s.display(), QStringLiteral("LC_ALL=C.UTF-8")}, false);
    ASSERT_TRUE(xterm);
    const auto window = s.clientWindowOf(QStringLiteral("TypingXTerm"));
    ASSERT_TRUE(window);
    ASSERT_TRUE(s.waitUntil([&] { return QFile::exists(file); }));
    ASSERT_TRUE(xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"), QStringLiteral("0x%1").arg(*window, 0, 16)}));

    X11SyntheticInput input(s.desktop().connection());
    const QString text = QStringLiteral("Grüße, Ω€ ✓ 260315\n");
    EXPECT_TRUE(typeAll(input, text));
    QString contents;
    EXPECT_TRUE(s.waitUntil([&] {
        QFile f(file);
        contents = f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
        return contents.size() >= text.size();
    }));
    EXPECT_EQ(contents, text);
    xterm->stop();
}
