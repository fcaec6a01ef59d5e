// The resizer on the simulated desktop: presets, halves and the next display computed on the visible frame in
// accessibility coordinates, the target while Tamsinvale is in front, the enhanced-interface rule, and failures.
#include <gtest/gtest.h>

#include "WindowsTestSupport.h"
#include "platform/fake/FakeDesktop.h"
#include "windows/FocusTracker.h"
#include "windows/WindowResizer.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

constexpr std::int32_t editorPid = 200;

WindowSizePreset preset(const QString& name, const QString& width, const QString& height)
{
    WindowSizePreset p = WindowSizePreset::makeNew();
    p.name = name;
    p.width = width;
    p.height = height;
    return p;
}

struct Desk {
    FakeDesktop desktop;
    FocusTracker tracker{desktop.workspace};
    WindowResizer resizer{desktop.platform(), &tracker};
    QList<DisplayId> covered;
    WindowCommandsLog log{"tamsinvale.resize"};

    Desk()
    {
        resizer.coverScreenAfterWindowMoved = [this](const ScreenInfo& s) { covered.append(s.displayId); };
    }
    void screens(const QList<ScreenInfo>& list) { desktop.screens.setScreens(list); }
    // The editor, frontmost, with one window at `bounds` (accessibility coordinates).
    WindowNumber editorWindow(const QRectF& bounds)
    {
        const WindowNumber n = desktop.addAppWithWindow(editorPid, "org.editor", "Editor", bounds);
        desktop.workspace.setFrontmost(editorPid);
        return n;
    }
    QRectF bounds(WindowNumber n) { return desktop.server.window(n)->bounds; }
};

// Display 1 (primary) 1920 × 1080; display 2, 1280 × 1024, to its right with the tops aligned. Both have a
// 25-point menu bar, so their visible frames are (0, 25, 1920, 1055) and (1920, 25, 1280, 999) in accessibility
// coordinates.
QList<ScreenInfo> sideBySide()
{
    return {FakeScreens::makeScreen(1, QRectF(0, 0, 1920, 1080)), FakeScreens::makeScreen(2, QRectF(1920, 56, 1280, 1024))};
}

}  // namespace

TEST(WindowResizer, presetsCentreTheWindowOnTheVisibleFrameOfItsDisplay)
{
    Desk d;
    d.screens({FakeScreens::makeScreen(1, QRectF(0, 0, 1512, 982), 38)});  // visible 1512 × 944 at y 38
    const WindowNumber w = d.editorWindow(QRectF(100, 100, 400, 300));

    d.resizer.apply(WindowSizePreset::full());
    EXPECT_EQ(d.bounds(w), QRectF(0, 38, 1512, 944));
    EXPECT_TRUE(d.log.has("info apply: 'Full' → (0, 38, 1512, 944)")) << d.log.dump().toStdString();
    // Position and size, twice.
    EXPECT_EQ(d.desktop.server.attributeWrites(),
              (QStringList{"AXPosition=0,38", "AXSize=1512x944", "AXPosition=0,38", "AXSize=1512x944"}));

    // Half the width by fraction, a height in points; both centred, the corner rounded.
    d.resizer.apply(preset("Half", ".5", "300"));
    EXPECT_EQ(d.bounds(w), QRectF(378, 360, 756, 300));
    // .95 of an odd width: 1435.45 rounds to 1435, and the centre 755.5 − 717.5 puts x at 38.
    d.screens({FakeScreens::makeScreen(1, QRectF(0, 0, 1511, 982), 38)});
    d.resizer.apply(preset("Wide", ".95", "full"));
    EXPECT_EQ(d.bounds(w), QRectF(38, 38, 1435, 944));
    // Points wider than the display: the visible width, flush with its left edge.
    d.screens({FakeScreens::makeScreen(1, QRectF(0, 0, 1280, 800))});
    d.resizer.apply(preset("1440", "1440", "600.5"));
    EXPECT_EQ(d.bounds(w), QRectF(0, 112, 1280, 600.5));  // 412.5 − 300.25 rounds down
}

TEST(WindowResizer, anInvalidPresetIsRefusedBeforeAnyWindowIsLookedUp)
{
    Desk d;
    const WindowNumber w = d.editorWindow(QRectF(100, 100, 400, 300));
    d.desktop.server.setTrusted(false);
    d.resizer.apply(preset("Odd", "2", ".9"));
    EXPECT_EQ(d.log.lines(), QStringList{"error apply: preset 'Odd' has invalid size '2' x '.9'"});
    d.desktop.server.setTrusted(true);
    d.resizer.apply(preset("Odd", "full", "wide"));
    EXPECT_TRUE(d.desktop.server.attributeWrites().isEmpty());
    EXPECT_EQ(d.bounds(w), QRectF(100, 100, 400, 300));
}

TEST(WindowResizer, snapsTakeTheFlooredHalfAndLeaveTheMiddleColumnOfAnOddWidth)
{
    Desk d;
    d.screens({FakeScreens::makeScreen(1, QRectF(0, 0, 1511, 982))});
    const WindowNumber w = d.editorWindow(QRectF(300, 200, 500, 400));
    d.resizer.snap(SnapSide::left);
    EXPECT_EQ(d.bounds(w), QRectF(0, 25, 755, 957));
    d.resizer.snap(SnapSide::right);
    EXPECT_EQ(d.bounds(w), QRectF(756, 25, 755, 957));
    EXPECT_TRUE(d.log.has("info snap: left → (0, 25, 755, 957)"));
    EXPECT_TRUE(d.log.has("info snap: right → (756, 25, 755, 957)"));
    EXPECT_TRUE(d.covered.isEmpty());  // a snap stays on its display
}

TEST(WindowResizer, nextDisplayKeepsTheRelativePlaceWrapsAroundAndCoversTheDisplayLeft)
{
    Desk d;
    d.screens(sideBySide());
    // Flush right and top on display 1 (fx = 1, fy = 0): flush right and top on display 2, and back (the wrap).
    const WindowNumber w = d.editorWindow(QRectF(1120, 25, 800, 600));
    d.resizer.moveToNextScreen();
    EXPECT_EQ(d.bounds(w), QRectF(2400, 25, 800, 600));
    EXPECT_EQ(d.covered, QList<DisplayId>{1});
    EXPECT_TRUE(d.log.has("info moveToNextScreen: → Display 2 (2400, 25, 800, 600)")) << d.log.dump().toStdString();
    d.resizer.moveToNextScreen();
    EXPECT_EQ(d.bounds(w), QRectF(1120, 25, 800, 600));
    EXPECT_EQ(d.covered, (QList<DisplayId>{1, 2}));

    // A third of the way down the room it had: the same share of the room on the next display, rounded.
    d.desktop.server.window(w)->bounds = QRectF(560, 25 + 455.0 / 3, 800, 600);  // fx = 0.5, fy = 1/3
    d.resizer.moveToNextScreen();
    EXPECT_EQ(d.bounds(w), QRectF(2160, 158, 800, 600));  // 25 + 399/3 = 158

    // As wide as its display: centred in the room left on a wider one (fx = 0.5).
    d.desktop.server.window(w)->bounds = QRectF(1920, 100, 1280, 500);
    d.resizer.moveToNextScreen();
    EXPECT_EQ(d.bounds(w).x(), 320);

    // Larger than the next display: shrunk to its visible size, at its top-left corner.
    d.desktop.server.window(w)->bounds = QRectF(0, 25, 1920, 1055);
    d.resizer.moveToNextScreen();
    EXPECT_EQ(d.bounds(w), QRectF(1920, 25, 1280, 999));
}

TEST(WindowResizer, nextDisplayDoesNothingWithOneDisplay)
{
    Desk d;
    const WindowNumber w = d.editorWindow(QRectF(100, 100, 400, 300));
    d.resizer.moveToNextScreen();
    EXPECT_EQ(d.bounds(w), QRectF(100, 100, 400, 300));
    EXPECT_TRUE(d.log.lines().isEmpty());
    EXPECT_TRUE(d.covered.isEmpty());
}

TEST(WindowResizer, displaysLeftOfAndAboveThePrimaryAreFoundByTheWindowsCentreOrOverlap)
{
    Desk d;
    // Display 2 left of the primary and higher: negative x, and y above the primary's top.
    d.screens({FakeScreens::makeScreen(1, QRectF(0, 0, 1920, 1080)),
               FakeScreens::makeScreen(2, QRectF(-1280, 200, 1280, 1024))});
    const WindowNumber w = d.editorWindow(QRectF(-1000, 0, 400, 300));
    d.resizer.snap(SnapSide::left);
    // Display 2's visible frame: x −1280, y 1080 − 1224 + 25 = −119, 1280 × 999.
    EXPECT_EQ(d.bounds(w), QRectF(-1280, -119, 640, 999));
    // A window whose centre is on no display belongs to the display it overlaps.
    d.desktop.server.window(w)->bounds = QRectF(-1500, 500, 400, 300);
    d.resizer.snap(SnapSide::right);
    EXPECT_EQ(d.bounds(w), QRectF(-640, -119, 640, 999));
}

TEST(WindowResizer, withTamsinvaleInFrontTheWindowOfTheApplicationBeforeItIsMoved)
{
    Desk d;
    const WindowNumber editor = d.editorWindow(QRectF(100, 100, 400, 300));
    // Our own settings window comes forward.
    const WindowNumber ours = d.desktop.addAppWithWindow(FakeDesktop::ownPid, "org.tamsinvale.Tamsinvale", "Tamsinvale",
                                                         QRectF(500, 300, 600, 400));
    d.desktop.workspace.setFrontmost(FakeDesktop::ownPid);
    d.resizer.snap(SnapSide::left);
    EXPECT_EQ(d.bounds(editor), QRectF(0, 25, 756, 957));
    EXPECT_EQ(d.bounds(ours), QRectF(500, 300, 600, 400));
}

TEST(WindowResizer, withTamsinvaleInFrontAndNoOtherApplicationBeforeItNothingMoves)
{
    Desk d;
    const WindowNumber ours = d.desktop.addAppWithWindow(FakeDesktop::ownPid, "org.tamsinvale.Tamsinvale", "Tamsinvale",
                                                         QRectF(500, 300, 600, 400));
    d.desktop.workspace.setFrontmost(FakeDesktop::ownPid);
    d.resizer.apply(WindowSizePreset::full());
    EXPECT_EQ(d.bounds(ours), QRectF(500, 300, 600, 400));
    EXPECT_TRUE(d.log.lines().isEmpty());
}

TEST(WindowResizer, theEnhancedInterfaceFlagIsOffOnlyForTheChangeAndNeverWrittenWhereItWasOff)
{
    Desk d;
    d.editorWindow(QRectF(100, 100, 400, 300));
    d.desktop.server.setEnhancedUserInterface(editorPid, true);
    d.resizer.snap(SnapSide::left);
    EXPECT_EQ(d.desktop.server.attributeWrites(),
              (QStringList{"AXEnhancedUserInterface=false", "AXPosition=0,25", "AXSize=756x957", "AXPosition=0,25",
                           "AXSize=756x957", "AXEnhancedUserInterface=true"}));
    EXPECT_EQ(d.desktop.server.enhancedUserInterface(editorPid), true);

    d.desktop.server.clearAttributeWrites();
    d.desktop.server.setEnhancedUserInterface(editorPid, false);
    d.resizer.snap(SnapSide::right);
    EXPECT_FALSE(d.desktop.server.attributeWrites().join(' ').contains("AXEnhancedUserInterface"));

    // An application without the attribute (every X11 client) reads as off: never written.
    d.desktop.server.clearAttributeWrites();
    d.desktop.server.setEnhancedUserInterface(editorPid, std::nullopt);
    d.resizer.apply(WindowSizePreset::full());
    EXPECT_EQ(d.desktop.server.attributeWrites().size(), 4);
    EXPECT_FALSE(d.desktop.server.enhancedUserInterface(editorPid).has_value());
}

TEST(WindowResizer, failuresLogAndChangeNothing)
{
    Desk d;
    d.desktop.server.setTrusted(false);
    d.editorWindow(QRectF(100, 100, 400, 300));
    d.resizer.snap(SnapSide::left);
    EXPECT_EQ(d.log.lines(), QStringList{"error accessibility not granted"});
    d.desktop.server.setTrusted(true);

    // An application with no window at all.
    d.log.clear();
    d.desktop.workspace.addApplication(d.desktop.makeApp(300, "org.empty", "Empty"));
    d.desktop.workspace.setFrontmost(300);
    d.resizer.apply(WindowSizePreset::full());
    EXPECT_EQ(d.log.lines(), QStringList{"error no focused window for Empty"});

    // A full-screen window keeps its place; nothing is covered.
    d.log.clear();
    const WindowNumber full = d.desktop.addAppWithWindow(400, "org.player", "Player", QRectF(0, 0, 1512, 982));
    d.desktop.server.window(full)->fullScreen = true;
    d.desktop.workspace.setFrontmost(400);
    d.screens(sideBySide());
    d.resizer.moveToNextScreen();
    EXPECT_EQ(d.bounds(full), QRectF(0, 0, 1512, 982));
    EXPECT_TRUE(d.covered.isEmpty());
    EXPECT_EQ(d.log.lines(), QStringList{"info the window of Player is full screen; left alone"});
}

TEST(WindowResizer, withoutAFocusedWindowTheFirstOfTheApplicationsWindowsIsTaken)
{
    Desk d;
    // Only a minimised window: no focused window, but the application still lists it.
    const WindowNumber w = d.editorWindow(QRectF(100, 100, 400, 300));
    d.desktop.server.window(w)->minimized = true;
    d.resizer.snap(SnapSide::right);
    EXPECT_EQ(d.bounds(w), QRectF(756, 25, 756, 957));
}
