// Hotkey display text, JSON decoding and the identifier table.
#include <gtest/gtest.h>

#include <QSet>

#include "settings/HotKeyConfig.h"
#include "settings/HotKeyKind.h"

using namespace tamsinvale;

TEST(HotKeyConfig, displayStringUsesGlyphOrderCommandOptionShiftControl)
{
    EXPECT_EQ(HotKeyConfig({49, 256}).displayString(), QStringLiteral("⌘ Space"));
    EXPECT_EQ(HotKeyConfig({123, 6144}).displayString(), QStringLiteral("⌥ ⌃ ←"));
    EXPECT_EQ(HotKeyConfig({105, 256}).displayString(), QStringLiteral("⌘ KeyCode 105"));
    EXPECT_EQ(HotKeyConfig({0, 256 | 512 | 2048 | 4096}).displayString(), QStringLiteral("⌘ ⌥ ⇧ ⌃ A"));
    EXPECT_EQ(HotKeyConfig({10, 0}).displayString(), QStringLiteral("§"));
}

TEST(HotKeyConfig, keyNameTableHasSeventyFiveDistinctCodes)
{
    const auto& table = HotKeyConfig::keyNameTable();
    EXPECT_EQ(table.size(), 75u);
    QSet<std::uint32_t> codes;
    QSet<QString> names;
    for (const auto& [code, name] : table) {
        codes.insert(code);
        names.insert(QString::fromUtf8(name));
    }
    EXPECT_EQ(codes.size(), 75);
    EXPECT_EQ(names.size(), 75);
    EXPECT_EQ(HotKeyConfig::keyName(76), QStringLiteral("⌤"));
    EXPECT_EQ(HotKeyConfig::keyName(111), QStringLiteral("F12"));
    EXPECT_EQ(HotKeyConfig::keyName(4294967295u), QStringLiteral("KeyCode 4294967295"));
}

TEST(HotKeyConfig, jsonNeedsBothKeysAsUnsigned32BitNumbers)
{
    EXPECT_EQ(HotKeyConfig::fromJsonData(R"({"keyCode":49,"modifiers":256})"), (HotKeyConfig{49, 256}));
    EXPECT_EQ(HotKeyConfig::fromJsonData(R"({"modifiers":0,"keyCode":4294967295,"extra":true})"),
              (HotKeyConfig{4294967295u, 0}));
    for (const char* bad : {R"({"keyCode":49})", R"({"modifiers":256})", R"({"keyCode":"49","modifiers":256})",
                            R"({"keyCode":-1,"modifiers":256})", R"({"keyCode":1.5,"modifiers":256})",
                            R"({"keyCode":4294967296,"modifiers":0})", R"({"keyCode":49,"modifiers":null})",
                            "[49,256]", "", "{"})
        EXPECT_FALSE(HotKeyConfig::fromJsonData(bad)) << bad;
    const HotKeyConfig config{124, 6144};
    EXPECT_EQ(HotKeyConfig::fromJsonData(config.toJsonData()), config);
    EXPECT_EQ(config.toJsonData(), QByteArray(R"({"keyCode":124,"modifiers":6144})"));
}

TEST(HotKeyKind, identifierTableSkipsRetiredIdentifiers)
{
    EXPECT_EQ(hotKeyKindForIdentifier(1), HotKeyKind::appSwitcher);
    EXPECT_EQ(hotKeyKindForIdentifier(2), HotKeyKind::windowsSwitcher);
    EXPECT_EQ(hotKeyKindForIdentifier(4), HotKeyKind::quickDim);
    EXPECT_EQ(hotKeyKindForIdentifier(6), HotKeyKind::clearInactiveScreens);
    EXPECT_EQ(hotKeyKindForIdentifier(7), HotKeyKind::moveToNextScreen);
    EXPECT_EQ(hotKeyKindForIdentifier(8), HotKeyKind::insertDate);
    EXPECT_EQ(hotKeyKindForIdentifier(9), HotKeyKind::snapLeft);
    EXPECT_EQ(hotKeyKindForIdentifier(10), HotKeyKind::snapRight);
    EXPECT_EQ(hotKeyKindForIdentifier(100), HotKeyKind::windowSizePreset);
    EXPECT_EQ(hotKeyKindForIdentifier(4000000000u), HotKeyKind::windowSizePreset);
    for (std::uint32_t retired : {0u, 3u, 5u, 11u, 50u, 99u})
        EXPECT_FALSE(hotKeyKindForIdentifier(retired)) << retired;
    // Every kind maps back to its own identifier.
    for (std::uint32_t id = 1; id <= 10; ++id) {
        if (const auto kind = hotKeyKindForIdentifier(id)) {
            EXPECT_EQ(identifierOf(*kind), id);
        }
    }
}

TEST(HotKeyKind, defaultsAndRegistrationNames)
{
    EXPECT_EQ(defaultCombination(HotKeyKind::appSwitcher), (HotKeyConfig{49, 256}));
    EXPECT_EQ(defaultCombination(HotKeyKind::windowsSwitcher), (HotKeyConfig{10, 256}));
    EXPECT_EQ(defaultCombination(HotKeyKind::snapLeft), (HotKeyConfig{123, 6144}));
    EXPECT_EQ(defaultCombination(HotKeyKind::snapRight), (HotKeyConfig{124, 6144}));
    for (auto kind : {HotKeyKind::quickDim, HotKeyKind::clearInactiveScreens, HotKeyKind::moveToNextScreen,
                      HotKeyKind::insertDate, HotKeyKind::windowSizePreset})
        EXPECT_FALSE(defaultCombination(kind));
    EXPECT_EQ(registrationName(HotKeyKind::moveToNextScreen), QStringLiteral("Move to Next Display"));
    EXPECT_EQ(presetRegistrationName(QStringLiteral("Full")), QStringLiteral("Window Size 'Full'"));
}
