// The macOS services' conversions that need no Apple headers: login item status numbers, picture orientation
// for ImageIO thumbnails, and where a Qt log message lands in the unified log.
#include <gtest/gtest.h>

#include "platform/macos/portable/MacImageOrientation.h"
#include "platform/macos/portable/MacLoginItemStatus.h"
#include "platform/macos/portable/MacUnifiedLogRoute.h"

namespace tamsinvale {
namespace {

TEST(MacLoginItemStatus, systemNumbersMapOneToOneAndUnknownOnesAreNeverEnabled)
{
    EXPECT_EQ(loginItemStatusFromCode(0), LoginItemStatus::notRegistered);
    EXPECT_EQ(loginItemStatusFromCode(1), LoginItemStatus::enabled);
    EXPECT_EQ(loginItemStatusFromCode(2), LoginItemStatus::requiresApproval);
    EXPECT_EQ(loginItemStatusFromCode(3), LoginItemStatus::notFound);
    // Our enum is numbered as the system's: the two must not drift apart.
    for (long code = 0; code <= 3; ++code)
        EXPECT_EQ(static_cast<long>(loginItemStatusFromCode(code)), code);
    EXPECT_EQ(loginItemStatusFromCode(4), LoginItemStatus::notFound);
    EXPECT_EQ(loginItemStatusFromCode(-1), LoginItemStatus::notFound);
}

TEST(MacImageOrientation, quarterTurnsSwapTheSidesAndOtherOrientationsKeepThem)
{
    const QSize stored(6016, 6016 * 2 / 3);
    for (int orientation : {1, 2, 3, 4})
        EXPECT_EQ(displayedPictureSize(stored, orientation), stored) << orientation;
    for (int orientation : {5, 6, 7, 8})
        EXPECT_EQ(displayedPictureSize(stored, orientation), QSize(4010, 6016)) << orientation;
    // Nonsense in the file reads as "as stored".
    for (int orientation : {0, 9, -6, 65535})
        EXPECT_EQ(displayedPictureSize(stored, orientation), stored) << orientation;
}

TEST(MacImageOrientation, thumbnailSizeIsTheLongerSideWhicheverItIs)
{
    EXPECT_EQ(thumbnailMaxPixelSize(QSize(2880, 1800)), 2880);
    EXPECT_EQ(thumbnailMaxPixelSize(QSize(1800, 2880)), 2880);
    EXPECT_EQ(thumbnailMaxPixelSize(QSize(1, 1)), 1);
    EXPECT_EQ(thumbnailMaxPixelSize(QSize()), 0);  // an invalid size asks for nothing, never a negative number
}

TEST(MacUnifiedLogRoute, ourCategoriesLoseTheirPrefixAndOthersKeepTheirName)
{
    EXPECT_EQ(unifiedLogRoute(QtInfoMsg, "tamsinvale.hotkeys").category, QByteArray("hotkeys"));
    EXPECT_EQ(unifiedLogRoute(QtInfoMsg, "tamsinvale.media").category, QByteArray("media"));
    EXPECT_EQ(unifiedLogRoute(QtWarningMsg, "qt.qpa.window").category, QByteArray("qt.qpa.window"));
    EXPECT_EQ(unifiedLogRoute(QtWarningMsg, "default").category, QByteArray("default"));
    EXPECT_EQ(unifiedLogRoute(QtWarningMsg, nullptr).category, QByteArray("default"));
    EXPECT_EQ(unifiedLogRoute(QtWarningMsg, "").category, QByteArray("default"));
    // Only the exact prefix comes off, and never to an empty name.
    EXPECT_EQ(unifiedLogRoute(QtInfoMsg, "tamsinvale.").category, QByteArray("tamsinvale."));
    EXPECT_EQ(unifiedLogRoute(QtInfoMsg, "tamsinvalex.media").category, QByteArray("tamsinvalex.media"));
}

TEST(MacUnifiedLogRoute, messageTypesRiseWithTheLogLevels)
{
    EXPECT_EQ(unifiedLogRoute(QtDebugMsg, "tamsinvale.dimming").level, UnifiedLogLevel::debug);
    EXPECT_EQ(unifiedLogRoute(QtInfoMsg, "tamsinvale.dimming").level, UnifiedLogLevel::info);
    EXPECT_EQ(unifiedLogRoute(QtWarningMsg, "tamsinvale.dimming").level, UnifiedLogLevel::standard);
    // "launch at login change failed" and its kind are logged as critical: the unified log's error level.
    EXPECT_EQ(unifiedLogRoute(QtCriticalMsg, "tamsinvale.login").level, UnifiedLogLevel::error);
    EXPECT_EQ(unifiedLogRoute(QtFatalMsg, "tamsinvale.app").level, UnifiedLogLevel::fault);
}

}  // namespace
}  // namespace tamsinvale
