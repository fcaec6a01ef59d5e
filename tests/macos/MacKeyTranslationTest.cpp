// Modifier masks, key text and Qt key codes as the macOS hotkey and keyboard-capture backends translate them.
#include <gtest/gtest.h>

#include "platform/Hotkeys.h"
#include "platform/macos/portable/MacCarbonHotKeys.h"
#include "platform/macos/portable/MacKeyTranslation.h"
#include "settings/HotKeyConfig.h"

using namespace tamsinvale;
namespace K = tamsinvale::MacKeyTranslation;

TEST(MacKeyTranslation, carbonBitsAreTheStoredHotkeyModifiers)
{
    // The stored form is Carbon's: registration passes it through unchanged.
    EXPECT_EQ(MacCarbon::cmdKey, CarbonModifier::command);
    EXPECT_EQ(MacCarbon::shiftKey, CarbonModifier::shift);
    EXPECT_EQ(MacCarbon::optionKey, CarbonModifier::option);
    EXPECT_EQ(MacCarbon::controlKey, CarbonModifier::control);
}

TEST(MacKeyTranslation, eventFlagsBecomeCarbonMasksBitForBit)
{
    EXPECT_EQ(K::carbonModifiers(K::flagCommand), 256u);
    EXPECT_EQ(K::carbonModifiers(K::flagShift), 512u);
    EXPECT_EQ(K::carbonModifiers(K::flagOption), 2048u);
    EXPECT_EQ(K::carbonModifiers(K::flagControl), 4096u);
    // Snap left's default, pressed as ⌃⌥←: the arrow keys also set the numeric-pad and function bits.
    EXPECT_EQ(K::carbonModifiers(K::flagControl | K::flagOption | K::flagNumericPad | K::flagFunction), 6144u);
    // Caps Lock, Fn and the device-dependent low bits (left/right keys) never reach the mask.
    EXPECT_EQ(K::carbonModifiers(K::flagCapsLock | K::flagFunction | 0x0000'0108u), 0u);
    EXPECT_EQ(K::carbonModifiers(0x001e'0000u), 256u | 512u | 2048u | 4096u);
}

TEST(MacKeyTranslation, carbonMasksRoundTripThroughEventFlags)
{
    for (std::uint32_t mask = 0; mask <= MacCarbon::hotKeyModifierMask; mask += 0x100) {
        const std::uint32_t meaningful = mask & MacCarbon::hotKeyModifierMask;
        EXPECT_EQ(K::carbonModifiers(K::modifierFlags(mask)), meaningful) << mask;
    }
    EXPECT_EQ(K::modifierFlags(CarbonModifier::command | CarbonModifier::shift), K::flagCommand | K::flagShift);
    EXPECT_EQ(K::modifierFlags(MacCarbon::alphaLock), 0u);
}

TEST(MacKeyTranslation, keysWithoutTextAreRecognisedByCodeOnly)
{
    EXPECT_EQ(K::plainText(QStringLiteral("s")), QStringLiteral("s"));
    EXPECT_EQ(K::plainText(QStringLiteral("§")), QStringLiteral("§"));
    EXPECT_EQ(K::plainText(QString(QChar(0x1b))), QString());   // Escape
    EXPECT_EQ(K::plainText(QString(QChar(0x0d))), QString());   // Return
    EXPECT_EQ(K::plainText(QString(QChar(0x03))), QString());   // keypad Enter
    EXPECT_EQ(K::plainText(QString(QChar(0x09))), QString());   // Tab
    EXPECT_EQ(K::plainText(QString(QChar(0x7f))), QString());   // Delete
    EXPECT_EQ(K::plainText(QString(QChar(0xF700))), QString()); // Up arrow
    EXPECT_EQ(K::plainText(QString(QChar(0xF704))), QString()); // F1
    EXPECT_EQ(K::plainText(QString(QChar(0xF8FF))), QString());
    EXPECT_EQ(K::plainText(QStringLiteral(" ")), QStringLiteral(" "));
    // Outside the function-key block: private-use characters a layout may really type stay.
    EXPECT_EQ(K::plainText(QString(QChar(0xF6FF))), QString(QChar(0xF6FF)));
    EXPECT_EQ(K::plainText(QString(QChar(0xF900))), QString(QChar(0xF900)));
}

TEST(MacKeyTranslation, capturedKeyCarriesCodeTextAndModifiersAsTheX11CaptureDoes)
{
    // ⇧S reaches the switcher as the plain "s", with Shift recorded.
    const CapturedKey s = K::capturedKey(1, QStringLiteral("s"), K::flagShift);
    EXPECT_EQ(s.keyCode, 1u);
    EXPECT_EQ(s.text, QStringLiteral("s"));
    EXPECT_EQ(s.modifiers, CarbonModifier::shift);

    const CapturedKey escape = K::capturedKey(53, QString(QChar(0x1b)), 0);
    EXPECT_EQ(escape.keyCode, 53u);
    EXPECT_TRUE(escape.text.isEmpty());

    const CapturedKey down = K::capturedKey(125, QString(QChar(0xF701)), K::flagNumericPad | K::flagFunction);
    EXPECT_EQ(down.keyCode, 125u);
    EXPECT_TRUE(down.text.isEmpty());
    EXPECT_EQ(down.modifiers, 0u);

    EXPECT_EQ(K::capturedKey(0x80, QStringLiteral("x"), 0).keyCode, 0xffffu);
}

TEST(MacKeyTranslation, qtNativeVirtualKeyIsTheStoredKeyCode)
{
    // Every named key of the stored format comes through unchanged, whatever Qt put as scan code.
    for (const auto& [code, name] : HotKeyConfig::keyNameTable()) {
        EXPECT_EQ(K::keyCodeForQtNativeKey(0, code), std::optional<std::uint32_t>(code)) << name;
        EXPECT_EQ(K::keyCodeForQtNativeKey(1, code), std::optional<std::uint32_t>(code)) << name;
    }
    EXPECT_EQ(K::keyCodeForQtNativeKey(0, 105), std::optional<std::uint32_t>(105));  // F13, unnamed
    EXPECT_EQ(K::keyCodeForQtNativeKey(0, 0x80), std::nullopt);
    EXPECT_EQ(K::keyCodeForQtNativeKey(0, 0x01000000), std::nullopt);
}

TEST(MacCarbonHotKeys, statusCodesAreCarbonsAndTheBackendsShared)
{
    EXPECT_EQ(HotkeyStatus::noErr, MacCarbon::noErr);
    EXPECT_EQ(HotkeyStatus::paramErr, MacCarbon::paramErr);
    EXPECT_EQ(HotkeyStatus::eventHotKeyExistsErr, MacCarbon::eventHotKeyExistsErr);
    EXPECT_EQ(HotkeyStatus::eventInternalErr, MacCarbon::eventInternalErr);
    EXPECT_EQ(MacCarbon::statusText(-9878), QStringLiteral("eventHotKeyExistsErr (-9878)"));
    EXPECT_EQ(MacCarbon::statusText(-9879), QStringLiteral("eventHotKeyInvalidErr (-9879)"));
    EXPECT_EQ(MacCarbon::statusText(-50), QStringLiteral("paramErr (-50)"));
    EXPECT_EQ(MacCarbon::statusText(-9870), QStringLiteral("eventParameterNotFoundErr (-9870)"));
    EXPECT_EQ(MacCarbon::statusText(-1234), QStringLiteral("OSStatus -1234"));
}

TEST(MacCarbonHotKeys, fourCharacterCodesReadBigEndian)
{
    EXPECT_EQ(MacCarbon::hotKeySignature, 0x4154484Bu);  // 'A' 'T' 'H' 'K'
    EXPECT_EQ(MacCarbon::eventClassKeyboard, 0x6B657962u);  // 'keyb'
    EXPECT_EQ(MacCarbon::fourCharCode("hkid"), 0x686B6964u);
    EXPECT_EQ(MacCarbon::fourCharCode("----"), 0x2D2D2D2Du);
}
