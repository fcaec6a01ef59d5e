// Window-info dictionaries of the macOS window server, as the window list hands them over, turned into snapshot
// entries: every field in its type, wrong types and ranges read as missing, levels renumbered, the menu bar found.
#include <gtest/gtest.h>

#include "platform/macos/portable/MacWindowInfo.h"

#include <QRectF>

using namespace tamsinvale;

namespace {

QVariantMap ordinaryWindow()
{
    return {
        {MacWindowInfoKey::number, qint64(4711)},
        {MacWindowInfoKey::ownerPid, qint64(812)},
        {MacWindowInfoKey::layer, qint64(0)},
        {MacWindowInfoKey::onScreen, true},
        {MacWindowInfoKey::bounds, QRectF(100, 38, 1200, 800)},
        {MacWindowInfoKey::name, QStringLiteral("report.txt — Editor")},
        {MacWindowInfoKey::ownerName, QStringLiteral("Editor")},
    };
}

}  // namespace

TEST(MacWindowInfo, anOrdinaryWindowKeepsEveryField)
{
    const WindowSnapshotEntry e = windowSnapshotEntry(ordinaryWindow(), MacWindowLevels{});
    EXPECT_EQ(e.number, WindowNumber(4711));
    EXPECT_EQ(e.ownerPid, 812);
    EXPECT_EQ(e.layer, WindowLevel::normal);
    EXPECT_EQ(e.onScreen, true);
    // Window-server coordinates stay as they are: y down from the primary display's top.
    EXPECT_EQ(e.bounds, QRectF(100, 38, 1200, 800));
    EXPECT_EQ(e.name, QStringLiteral("report.txt — Editor"));
    EXPECT_EQ(e.ownerName, QStringLiteral("Editor"));
    EXPECT_FALSE(e.isMenuBar);
}

TEST(MacWindowInfo, missingEntriesReadAsUnknownNotAsFalseOrZero)
{
    const WindowSnapshotEntry e = windowSnapshotEntry({}, MacWindowLevels{});
    EXPECT_FALSE(e.number.has_value());
    EXPECT_FALSE(e.layer.has_value());
    // A missing on-screen flag must stay missing: the logic counts it as on screen, unlike an explicit false.
    EXPECT_FALSE(e.onScreen.has_value());
    EXPECT_EQ(e.ownerPid, 0);
    EXPECT_TRUE(e.bounds.isNull());
    EXPECT_TRUE(e.name.isEmpty());
    EXPECT_TRUE(e.ownerName.isEmpty());

    QVariantMap offScreen = ordinaryWindow();
    offScreen[MacWindowInfoKey::onScreen] = false;
    EXPECT_EQ(windowSnapshotEntry(offScreen, MacWindowLevels{}).onScreen, false);
}

TEST(MacWindowInfo, valuesOfTheWrongTypeCountAsMissing)
{
    QVariantMap info = ordinaryWindow();
    info[MacWindowInfoKey::number] = QStringLiteral("4711");
    info[MacWindowInfoKey::ownerPid] = QStringLiteral("812");
    info[MacWindowInfoKey::layer] = true;              // a boolean is no level
    info[MacWindowInfoKey::onScreen] = QStringLiteral("yes");
    info[MacWindowInfoKey::bounds] = QVariantMap{{"X", 1}, {"Y", 2}, {"Width", 3}, {"Height", 4}};  // not converted
    info[MacWindowInfoKey::name] = qint64(7);
    info[MacWindowInfoKey::ownerName] = 3.5;
    const WindowSnapshotEntry e = windowSnapshotEntry(info, MacWindowLevels{});
    EXPECT_FALSE(e.number.has_value());
    EXPECT_EQ(e.ownerPid, 0);
    EXPECT_FALSE(e.layer.has_value());
    EXPECT_FALSE(e.onScreen.has_value());
    EXPECT_TRUE(e.bounds.isNull());
    EXPECT_TRUE(e.name.isEmpty());
    EXPECT_TRUE(e.ownerName.isEmpty());
}

TEST(MacWindowInfo, numbersAreReadAsFoundationBridgesThem)
{
    QVariantMap info = ordinaryWindow();
    // An integral real is an integer; a fraction is not.
    info[MacWindowInfoKey::number] = 4712.0;
    info[MacWindowInfoKey::layer] = 3.0;
    EXPECT_EQ(windowSnapshotEntry(info, MacWindowLevels{}).number, WindowNumber(4712));
    EXPECT_EQ(windowSnapshotEntry(info, MacWindowLevels{}).layer, WindowLevel::floating);
    info[MacWindowInfoKey::number] = 4712.5;
    info[MacWindowInfoKey::layer] = 0.5;
    EXPECT_FALSE(windowSnapshotEntry(info, MacWindowLevels{}).number.has_value());
    EXPECT_FALSE(windowSnapshotEntry(info, MacWindowLevels{}).layer.has_value());
    // The on-screen flag: a boolean, or the numbers 0 and 1 only.
    info[MacWindowInfoKey::onScreen] = qint64(0);
    EXPECT_EQ(windowSnapshotEntry(info, MacWindowLevels{}).onScreen, false);
    info[MacWindowInfoKey::onScreen] = qint64(1);
    EXPECT_EQ(windowSnapshotEntry(info, MacWindowLevels{}).onScreen, true);
    info[MacWindowInfoKey::onScreen] = qint64(2);
    EXPECT_FALSE(windowSnapshotEntry(info, MacWindowLevels{}).onScreen.has_value());
}

TEST(MacWindowInfo, rangesFollowTheSystemTypes)
{
    QVariantMap info = ordinaryWindow();
    // Window numbers are unsigned 32-bit; 0 is the null window, never a window to order against.
    info[MacWindowInfoKey::number] = qint64(0xFFFFFFFFll);
    EXPECT_EQ(windowSnapshotEntry(info, MacWindowLevels{}).number, WindowNumber(0xFFFFFFFFu));
    for (const qint64 bad : {qint64(0), qint64(-1), qint64(0x100000000ll)}) {
        info[MacWindowInfoKey::number] = bad;
        EXPECT_FALSE(windowSnapshotEntry(info, MacWindowLevels{}).number.has_value()) << bad;
    }
    // Owner pids are signed 32-bit.
    info[MacWindowInfoKey::ownerPid] = qint64(0x7FFFFFFF);
    EXPECT_EQ(windowSnapshotEntry(info, MacWindowLevels{}).ownerPid, 0x7FFFFFFF);
    info[MacWindowInfoKey::ownerPid] = qint64(0x80000000ll);
    EXPECT_EQ(windowSnapshotEntry(info, MacWindowLevels{}).ownerPid, 0);
    // Levels are signed: the desktop's are far below zero and stay so.
    info[MacWindowInfoKey::layer] = qint64(-2147483623);
    EXPECT_EQ(windowSnapshotEntry(info, MacWindowLevels{}).layer, -2147483623);
    info[MacWindowInfoKey::layer] = qint64(1) << 40;
    EXPECT_FALSE(windowSnapshotEntry(info, MacWindowLevels{}).layer.has_value());
}

TEST(MacWindowInfo, wellKnownLevelsAreRenumberedFromTheRunningSystem)
{
    // A system whose well-known levels differ from the usual numbers: each maps onto ours, others pass through.
    const MacWindowLevels levels{10, 13, 34, 35};
    EXPECT_EQ(portableWindowLevel(10, levels), WindowLevel::normal);
    EXPECT_EQ(portableWindowLevel(13, levels), WindowLevel::floating);
    EXPECT_EQ(portableWindowLevel(34, levels), WindowLevel::mainMenu);
    EXPECT_EQ(portableWindowLevel(35, levels), WindowLevel::status);
    EXPECT_EQ(portableWindowLevel(20, levels), 20);
    EXPECT_EQ(portableWindowLevel(101, levels), 101);
    // With the usual numbers the renumbering changes nothing.
    for (const int level : {-20, 0, 3, 8, 20, 24, 25, 101, 1000})
        EXPECT_EQ(portableWindowLevel(level, MacWindowLevels{}), level);
}

TEST(MacWindowInfo, theMenuBarIsTheWindowServersWindowAtTheMainMenuLevel)
{
    const QVariantMap menuBar{
        {MacWindowInfoKey::number, qint64(12)},
        {MacWindowInfoKey::ownerPid, qint64(405)},
        {MacWindowInfoKey::layer, qint64(24)},
        {MacWindowInfoKey::bounds, QRectF(0, 0, 1512, 37)},
        {MacWindowInfoKey::ownerName, QStringLiteral("Window Server")},
    };
    const WindowSnapshotEntry e = windowSnapshotEntry(menuBar, MacWindowLevels{});
    EXPECT_TRUE(e.isMenuBar);
    EXPECT_EQ(e.layer, WindowLevel::mainMenu);

    // The same level owned by an application, or the window server's own window at another level, is not it.
    QVariantMap appAtMenuLevel = menuBar;
    appAtMenuLevel[MacWindowInfoKey::ownerName] = QStringLiteral("Clock");
    EXPECT_FALSE(windowSnapshotEntry(appAtMenuLevel, MacWindowLevels{}).isMenuBar);
    QVariantMap serverAtStatusLevel = menuBar;
    serverAtStatusLevel[MacWindowInfoKey::layer] = qint64(25);
    EXPECT_FALSE(windowSnapshotEntry(serverAtStatusLevel, MacWindowLevels{}).isMenuBar);
    QVariantMap serverWithoutLevel = menuBar;
    serverWithoutLevel.remove(MacWindowInfoKey::layer);
    EXPECT_FALSE(windowSnapshotEntry(serverWithoutLevel, MacWindowLevels{}).isMenuBar);

    // On a system numbering its main-menu level differently, the menu bar is still found and still reads as ours.
    QVariantMap elsewhere = menuBar;
    elsewhere[MacWindowInfoKey::layer] = qint64(34);
    const WindowSnapshotEntry moved = windowSnapshotEntry(elsewhere, MacWindowLevels{10, 13, 34, 35});
    EXPECT_TRUE(moved.isMenuBar);
    EXPECT_EQ(moved.layer, WindowLevel::mainMenu);
}

TEST(MacWindowInfo, aListKeepsTheServersFrontToBackOrder)
{
    QVariantMap back = ordinaryWindow();
    back[MacWindowInfoKey::number] = qint64(1);
    QVariantMap middle = ordinaryWindow();
    middle[MacWindowInfoKey::number] = qint64(2);
    QVariantMap front = ordinaryWindow();
    front[MacWindowInfoKey::number] = qint64(3);
    const WindowSnapshot snapshot = windowSnapshot({front, middle, back}, MacWindowLevels{});
    ASSERT_EQ(snapshot.size(), 3);
    EXPECT_EQ(snapshot[0].number, WindowNumber(3));
    EXPECT_EQ(snapshot[1].number, WindowNumber(2));
    EXPECT_EQ(snapshot[2].number, WindowNumber(1));
    EXPECT_TRUE(windowSnapshot({}, MacWindowLevels{}).isEmpty());
}
