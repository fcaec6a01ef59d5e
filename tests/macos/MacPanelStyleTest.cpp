// Collection behaviour per level, layer geometry, typed scalars and pointer positions of the macOS panels and input.
#include <gtest/gtest.h>

#include <limits>

#include "platform/WindowList.h"
#include "platform/macos/portable/MacPanelStyle.h"
#include "platform/macos/portable/MacTypedScalar.h"

using namespace tamsinvale;
namespace S = tamsinvale::MacPanelStyle;

TEST(MacPanelStyle, overlaysJoinEverySpaceAndStandBesideFullScreenWindows)
{
    EXPECT_EQ(S::collectionBehavior(WindowLevel::normal), 0x101u);
    EXPECT_EQ(S::collectionBehavior(WindowLevel::statusAboveStrips), 0x1u);  // menu bar strips, launch card
    EXPECT_EQ(S::collectionBehavior(WindowLevel::status), 0x1u);            // launch dimming
    EXPECT_EQ(S::collectionBehavior(WindowLevel::floating), 0x1u);
}

TEST(MacPanelStyle, pictureReachesUnderTheMenuBarAndIsClippedThere)
{
    // A 1440 × 900 screen with a 24-point menu bar: the overlay is 876 high, the picture 900, reaching up past the
    // view's top edge (y up), not down past its bottom.
    const QRectF picture = S::pictureLayerFrame(QSizeF(1440, 876), 24);
    EXPECT_EQ(picture, QRectF(0, 0, 1440, 900));
    EXPECT_DOUBLE_EQ(picture.bottom(), 900.0);  // QRectF's bottom is the larger y: the top edge in AppKit's view
    EXPECT_EQ(S::pictureLayerFrame(QSizeF(1440, 900), 0), QRectF(0, 0, 1440, 900));
    EXPECT_EQ(S::pictureLayerFrame(QSizeF(1440, 900), -3), QRectF(0, 0, 1440, 900));
    EXPECT_EQ(S::fillLayerFrame(QSizeF(1440, 876)), QRectF(0, 0, 1440, 876));
}

TEST(MacPanelStyle, darkeningIsAnAlphaBetweenZeroAndOne)
{
    EXPECT_DOUBLE_EQ(S::darkeningAlpha(0.1), 0.1);
    EXPECT_DOUBLE_EQ(S::darkeningAlpha(-0.5), 0.0);
    EXPECT_DOUBLE_EQ(S::darkeningAlpha(1.7), 1.0);
    EXPECT_DOUBLE_EQ(S::darkeningAlpha(std::numeric_limits<double>::quiet_NaN()), 0.0);
}

TEST(MacPanelStyle, pointerPositionsFlipIntoTopLevelCoordinates)
{
    const QRectF primary(0, 0, 1440, 900);
    EXPECT_EQ(S::topLevelPoint(QPointF(100, 900), primary), QPoint(100, 0));    // top edge
    EXPECT_EQ(S::topLevelPoint(QPointF(100, 1), primary), QPoint(100, 899));    // bottom row
    EXPECT_EQ(S::topLevelPoint(QPointF(10.6, 450.4), primary), QPoint(10, 449));
    // A display above the primary one has negative top-level y; one to the left negative x.
    EXPECT_EQ(S::topLevelPoint(QPointF(200, 1500), primary), QPoint(200, -600));
    EXPECT_EQ(S::topLevelPoint(QPointF(-300, 100), primary), QPoint(-300, 800));
}

TEST(MacTypedScalar, scalarsBecomeOneCodeUnitOrASurrogatePair)
{
    EXPECT_EQ(MacTypedScalar::utf16(U'2'), std::u16string(u"2"));
    EXPECT_EQ(MacTypedScalar::utf16(U'é'), std::u16string(u"é"));
    EXPECT_EQ(MacTypedScalar::utf16(U'\uFFFD'), std::u16string(u"\uFFFD"));
    EXPECT_EQ(MacTypedScalar::utf16(U'\U0001F600'), std::u16string({char16_t(0xD83D), char16_t(0xDE00)}));
    EXPECT_EQ(MacTypedScalar::utf16(U'\U00010000'), std::u16string({char16_t(0xD800), char16_t(0xDC00)}));
    EXPECT_EQ(MacTypedScalar::utf16(U'\U0010FFFF'), std::u16string({char16_t(0xDBFF), char16_t(0xDFFF)}));
    EXPECT_EQ(MacTypedScalar::utf16(0), std::nullopt);
    EXPECT_EQ(MacTypedScalar::utf16(0xD800), std::nullopt);
    EXPECT_EQ(MacTypedScalar::utf16(0xDFFF), std::nullopt);
    EXPECT_EQ(MacTypedScalar::utf16(0x110000), std::nullopt);
}
