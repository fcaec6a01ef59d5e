// NSScreen records to the logic's screens: display IDs read as 32-bit display numbers, odd scales and insets made safe,
// and frames passed through unflipped (NSScreen already speaks screen coordinates).
#include <gtest/gtest.h>

#include "platform/macos/portable/MacScreenRecord.h"

#include <cmath>
#include <limits>

using namespace tamsinvale;

TEST(MacScreens, theScreenNumberIsAnUnsigned32BitDisplayId)
{
    EXPECT_EQ(displayIdFromScreenNumber(qint64(69733382)), DisplayId(69733382));
    EXPECT_EQ(displayIdFromScreenNumber(QVariant::fromValue(quint32(0xFFFFFFFFu))), DisplayId(0xFFFFFFFFu));
    EXPECT_EQ(displayIdFromScreenNumber(2.0), DisplayId(2));
    // Anything that is not such a number gives 0, the ID the logic skips.
    for (const QVariant& bad : {QVariant(), QVariant(qint64(0)), QVariant(qint64(-1)), QVariant(qint64(0x100000000ll)),
                                QVariant(2.5), QVariant(QStringLiteral("1")), QVariant(true)})
        EXPECT_EQ(displayIdFromScreenNumber(bad), DisplayId(0)) << bad.toString().toStdString();
}

TEST(MacScreens, aRecordBecomesScreenInfoWithItsFramesUnchanged)
{
    MacScreenRecord r;
    r.screenNumber = qint64(1);
    r.frame = QRectF(-1920, 120, 1920, 1080);  // left of the primary display and higher up: y grows upwards
    r.visibleFrame = QRectF(-1920, 120, 1920, 1055);
    r.backingScaleFactor = 2.0;
    r.localizedName = QStringLiteral("Studio Display");
    r.uuid = QStringLiteral("37D8832A-2D66-02CA-B9F7-8F30A301B230");
    r.safeAreaTop = 32;
    const ScreenInfo s = screenInfoFromRecord(r);
    EXPECT_EQ(s.displayId, DisplayId(1));
    EXPECT_EQ(s.frame, QRectF(-1920, 120, 1920, 1080));
    EXPECT_EQ(s.visibleFrame, QRectF(-1920, 120, 1920, 1055));
    EXPECT_EQ(s.backingScale, 2.0);
    EXPECT_EQ(s.localizedName, QStringLiteral("Studio Display"));
    EXPECT_EQ(s.uuid, QStringLiteral("37D8832A-2D66-02CA-B9F7-8F30A301B230"));
    EXPECT_EQ(s.topSafeAreaInset, 32.0);
}

TEST(MacScreens, oddScalesAndInsetsFallBackToSafeValues)
{
    for (const double scale : {0.0, -2.0, std::nan(""), std::numeric_limits<double>::infinity()}) {
        MacScreenRecord r;
        r.backingScaleFactor = scale;
        EXPECT_EQ(screenInfoFromRecord(r).backingScale, 1.0) << scale;
    }
    for (const double inset : {-5.0, std::nan(""), std::numeric_limits<double>::infinity()}) {
        MacScreenRecord r;
        r.safeAreaTop = inset;
        EXPECT_EQ(screenInfoFromRecord(r).topSafeAreaInset, 0.0) << inset;
    }
    MacScreenRecord noNumber;
    EXPECT_EQ(screenInfoFromRecord(noNumber).displayId, DisplayId(0));
}
