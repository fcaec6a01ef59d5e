// Size grammar, preset arithmetic and the stored JSON forms of presets.
#include <gtest/gtest.h>

#include <clocale>

#include "windows/SizeDimension.h"
#include "windows/WindowSizePreset.h"

using namespace tamsinvale;

TEST(SizeDimension, grammarAcceptsFullFractionsAndPointsWithADeadBand)
{
    EXPECT_EQ(parseSizeDimension("FULL"), SizeDimension::fraction(1.0));
    EXPECT_EQ(parseSizeDimension(" full\n"), SizeDimension::fraction(1.0));
    EXPECT_EQ(parseSizeDimension("1"), SizeDimension::fraction(1.0));
    EXPECT_EQ(parseSizeDimension(".5"), SizeDimension::fraction(0.5));
    EXPECT_EQ(parseSizeDimension("0.95"), SizeDimension::fraction(0.95));
    EXPECT_EQ(parseSizeDimension("50"), SizeDimension::points(50));
    EXPECT_EQ(parseSizeDimension("1440"), SizeDimension::points(1440));
    EXPECT_EQ(parseSizeDimension("1e3"), SizeDimension::points(1000));
    EXPECT_EQ(parseSizeDimension("0x100"), SizeDimension::points(256));  // the C strtod rule reads hex floats
    for (const char* bad : {"1.0001", "49.99", "2", "0", "-0.5", "", "   ", "abc", "nan", ".95x", "1440px", "1,5",
                            "full width"})
        EXPECT_FALSE(parseSizeDimension(QString::fromUtf8(bad))) << bad;
    QString embeddedNul = QStringLiteral("0.5");
    embeddedNul += QChar(0);
    embeddedNul += QStringLiteral("junk");
    EXPECT_FALSE(parseSizeDimension(embeddedNul));
}

TEST(SizeDimension, decimalPointDoesNotDependOnTheUserLocale)
{
    const std::string previous = std::setlocale(LC_NUMERIC, nullptr);
    if (!std::setlocale(LC_NUMERIC, "de_DE.UTF-8") && !std::setlocale(LC_NUMERIC, "fr_FR.UTF-8"))
        GTEST_SKIP() << "no locale with a decimal comma installed";
    EXPECT_EQ(parseSizeDimension(".95"), SizeDimension::fraction(0.95));
    EXPECT_FALSE(parseSizeDimension("0,95"));
    std::setlocale(LC_NUMERIC, previous.c_str());
}

TEST(SizeDimension, arithmeticRoundsFractionsAndCapsPoints)
{
    EXPECT_EQ(SizeDimension::fraction(0.95).resolve(1511), 1435);
    EXPECT_EQ(SizeDimension::fraction(0.5).resolve(1511), 756);  // 755.5 rounds away from zero
    EXPECT_EQ(SizeDimension::points(1440).resolve(1280), 1280);
    EXPECT_EQ(SizeDimension::points(1000.5).resolve(1280), 1000.5);  // points are never rounded
    EXPECT_EQ(parseSizeDimension("inf")->resolve(900), 900);
}

TEST(WindowSizePreset, readsTheOlderSpecFormAndWritesTheNewOne)
{
    const auto list = WindowSizePreset::listFromJsonData(R"([
        {"id":"6b1a2f3c-0000-4000-8000-a11f00000002","name":"A","spec":"1920 × 1080"},
        {"id":"6B1A2F3C-0000-4000-8000-A11F00000003","name":"B","spec":"1440x900"},
        {"id":"6B1A2F3C-0000-4000-8000-A11F00000004","name":"C","spec":"Full"},
        {"id":"6B1A2F3C-0000-4000-8000-A11F00000005","name":"D"},
        {"id":"6B1A2F3C-0000-4000-8000-A11F00000006","name":"E","width":"1440"},
        {"id":"6B1A2F3C-0000-4000-8000-A11F00000007","name":"F","spec":"800 * 600 * 2"},
        {"id":"6B1A2F3C-0000-4000-8000-A11F00000008","name":"G","width":".9","height":"700","spec":"1x1",
         "hotKey":{"keyCode":3,"modifiers":4352},"unknown":1}
    ])");
    ASSERT_TRUE(list);
    ASSERT_EQ(list->size(), 7);
    auto wh = [&](int i) { return std::make_pair((*list)[i].width, (*list)[i].height); };
    EXPECT_EQ(wh(0), std::make_pair(QStringLiteral("1920"), QStringLiteral("1080")));
    EXPECT_EQ(wh(1), std::make_pair(QStringLiteral("1440"), QStringLiteral("900")));
    EXPECT_EQ(wh(2), std::make_pair(QStringLiteral("Full"), QStringLiteral("Full")));
    EXPECT_EQ(wh(3), std::make_pair(QStringLiteral("full"), QStringLiteral("full")));
    EXPECT_EQ(wh(4), std::make_pair(QStringLiteral("full"), QStringLiteral("full")));  // width without height
    EXPECT_EQ(wh(5), std::make_pair(QStringLiteral("800 * 600 * 2"), QStringLiteral("800 * 600 * 2")));
    EXPECT_EQ(wh(6), std::make_pair(QStringLiteral(".9"), QStringLiteral("700")));
    EXPECT_EQ((*list)[6].hotKey, (HotKeyConfig{3, 4352}));
    EXPECT_EQ(uuidText((*list)[0].id), QStringLiteral("6B1A2F3C-0000-4000-8000-A11F00000002"));

    const QByteArray written = WindowSizePreset::listToJsonData(*list);
    EXPECT_FALSE(written.contains("\"spec\""));
    EXPECT_EQ(WindowSizePreset::listFromJsonData(written), list);
}

TEST(WindowSizePreset, oneBadPresetFailsTheWholeList)
{
    for (const char* bad : {
             R"([{"id":"6B1A2F3C-0000-4000-8000-A11F00000002","name":"A"},{"id":"6B1A2F3C-0000-4000-8000-A11F00000003"}])",
             R"([{"id":"not-a-uuid","name":"A"}])",
             R"([{"id":"6B1A2F3C-0000-4000-8000-A11F00000002","name":7}])",
             R"([{"id":"6B1A2F3C-0000-4000-8000-A11F00000002","name":"A","width":5,"height":"5"}])",
             R"([{"id":"6B1A2F3C-0000-4000-8000-A11F00000002","name":"A","hotKey":{"keyCode":1}}])",
             R"({"id":"6B1A2F3C-0000-4000-8000-A11F00000002","name":"A"})", "[1]", "not json"})
        EXPECT_FALSE(WindowSizePreset::listFromJsonData(bad)) << bad;
    EXPECT_EQ(WindowSizePreset::listFromJsonData("[]"), QList<WindowSizePreset>{});
    EXPECT_TRUE(WindowSizePreset::listFromJsonData(
        R"([{"id":"6B1A2F3C-0000-4000-8000-A11F00000002","name":"A","hotKey":null}])"));
}

TEST(WindowSizePreset, defaultsAndEquality)
{
    const WindowSizePreset& full = WindowSizePreset::full();
    EXPECT_EQ(uuidText(full.id), QStringLiteral("6B1A2F3C-0000-4000-8000-A11F00000001"));
    EXPECT_EQ(full.name, QStringLiteral("Full"));
    EXPECT_EQ(full.width, QStringLiteral("full"));
    EXPECT_EQ(full.height, QStringLiteral("full"));
    EXPECT_FALSE(full.hotKey);

    WindowSizePreset other = full;
    EXPECT_EQ(other, full);
    other.hotKey = HotKeyConfig{0, 0};
    EXPECT_NE(other, full);  // an absent hotkey never equals a present one

    const WindowSizePreset a = WindowSizePreset::makeNew();
    const WindowSizePreset b = WindowSizePreset::makeNew();
    EXPECT_NE(a.id, b.id);
    EXPECT_EQ(a.name, QStringLiteral("New Size"));
    EXPECT_EQ(a.width, QStringLiteral(".8"));
    EXPECT_EQ(a.height, QStringLiteral(".8"));
}
