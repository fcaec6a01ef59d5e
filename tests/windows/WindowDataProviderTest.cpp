// The window list of one application: accessibility first (minimised windows left out), the recursive search
// for applications without a window list, the window server's list last; the title chain and its turned-round
// titles; activation's writes and the dimming refresh after them.
#include <gtest/gtest.h>

#include <QSignalSpy>

#include "WindowsTestSupport.h"
#include "platform/fake/FakeDesktop.h"
#include "windows/WindowDataProvider.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

constexpr std::int32_t editorPid = 200;

// A window server list written by the test, for entries the simulated desktop cannot produce.
class ListedWindows : public WindowList {
public:
    std::optional<WindowSnapshot> onScreenWindows() const override { return entries; }
    WindowSnapshot entries;
};

WindowSnapshotEntry entry(std::optional<WindowNumber> number, const QString& name, const QRectF& bounds = {})
{
    WindowSnapshotEntry e;
    e.ownerPid = editorPid;
    e.layer = 0;
    e.number = number;
    e.name = name;
    e.ownerName = QStringLiteral("Editor");
    e.bounds = bounds;
    return e;
}

struct Editor {
    FakeDesktop desktop;
    WindowCommandsLog log{"tamsinvale.windows"};

    Editor() { desktop.workspace.addApplication(desktop.makeApp(editorPid, "org.editor", "Editor")); }
    WindowNumber window(const QString& title, const QRectF& bounds = QRectF(100, 100, 400, 300))
    {
        FakeWindow w;
        w.pid = editorPid;
        w.title = title;
        w.ownerName = QStringLiteral("Editor");
        w.bounds = bounds;
        return desktop.server.addWindow(w);
    }
    QStringList titles(const WindowDataProvider& p) const
    {
        QStringList out;
        for (const WindowInfo& w : p.windows())
            out << w.title;
        return out;
    }
};

}  // namespace

TEST(WindowTitles, theSecondPartOfADashedTitleLeads)
{
    EXPECT_EQ(WindowDataProvider::normaliseTitle(QStringLiteral("report.txt — Editor")), "Editor — report.txt");
    EXPECT_EQ(WindowDataProvider::normaliseTitle(QStringLiteral("  report.txt  —  Editor ")), "Editor — report.txt");
    EXPECT_EQ(WindowDataProvider::normaliseTitle(QStringLiteral("notes.md – Writer")), "Writer – notes.md");
    // Three parts, an empty side, or a dash without spaces: left alone.
    for (const QString& unchanged : {QStringLiteral("a — b — c"), QStringLiteral(" — Editor"),
                                     QStringLiteral("report.txt — "), QStringLiteral("report.txt—Editor"),
                                     QStringLiteral("plain title"), QString()})
        EXPECT_EQ(WindowDataProvider::normaliseTitle(unchanged), unchanged) << unchanged.toStdString();
    // The em dash is tried first; an en dash inside one of its sides stays where it is.
    EXPECT_EQ(WindowDataProvider::normaliseTitle(QStringLiteral("a – b — c")), "c — a – b");
}

TEST(WindowDataProvider, listsTheAccessibleWindowsInTheApplicationsOrderWithoutMinimisedOnes)
{
    Editor e;
    const WindowNumber report = e.window(QStringLiteral("report.txt — Editor"));
    const WindowNumber hidden = e.window(QStringLiteral("hidden.txt — Editor"));
    e.desktop.server.window(hidden)->minimized = true;
    const WindowNumber sheet = e.window(QStringLiteral("a sheet"));
    e.desktop.server.window(sheet)->role = QStringLiteral("AXSheet");
    const WindowNumber todo = e.window(QStringLiteral("todo"));
    e.desktop.addAppWithWindow(300, "org.other", "Other", QRectF(0, 0, 100, 100));

    WindowDataProvider p(e.desktop.platform(), editorPid, QStringLiteral("Editor"));
    QSignalSpy changed(&p, &WindowDataProvider::windowsChanged);
    p.refresh();
    // The fake lists the newest window first, as the platform lists front to back.
    ASSERT_EQ(p.windows().size(), 2);
    EXPECT_EQ(p.windows()[0], (WindowInfo{todo, "todo", "Editor", editorPid, AXElement{editorPid, todo}}));
    EXPECT_EQ(p.windows()[1].title, "Editor — report.txt");
    EXPECT_EQ(p.windows()[1].id, std::int64_t(report));
    EXPECT_EQ(changed.count(), 1);
    EXPECT_TRUE(e.log.has("debug [WindowDataProvider] refresh() called for pid:200 app:Editor"));
    EXPECT_TRUE(e.log.has("debug [WindowDataProvider] AXIsProcessTrusted: true"));
    EXPECT_TRUE(e.log.has("debug [fetchWindowsAX] Got 4 raw AX windows via kAXWindows"));
    EXPECT_TRUE(e.log.has("debug [WindowDataProvider] Using 2 AX windows"));
}

TEST(WindowDataProvider, titlesComeFromTheFirstSourceThatSaysAnything)
{
    Editor e;
    ListedWindows server;
    Platform platform = e.desktop.platform();
    platform.windowList = &server;
    const WindowNumber byElement = e.window(QString());
    e.desktop.server.window(byElement)->titleElementValue = QStringLiteral("  Inbox \n");
    const WindowNumber byDocument = e.window(QStringLiteral("   "));
    e.desktop.server.window(byDocument)->document = QStringLiteral("file:///Users/x/My%20File.txt");
    const WindowNumber byFilename = e.window(QString());
    e.desktop.server.window(byFilename)->filename = QStringLiteral("/home/x/notes/plan — draft.md");
    const WindowNumber byServer = e.window(QString(), QRectF(300, 200, 640, 480));
    const WindowNumber nothing = e.window(QString(), QRectF(10, 10, 50, 50));
    // The server knows one window within two points of its frame, and another of the same size far away.
    server.entries = {entry(900, QStringLiteral("far away"), QRectF(10, 700, 50, 50)),
                      entry(901, QStringLiteral("Server Title"), QRectF(301.5, 198.5, 641, 482))};

    WindowDataProvider p(platform, editorPid, QStringLiteral("Editor"));
    EXPECT_EQ(p.resolveTitle(AXElement{editorPid, byElement}, 1, "Editor", editorPid), "Inbox");
    EXPECT_EQ(p.resolveTitle(AXElement{editorPid, byDocument}, 2, "Editor", editorPid), "My%20File.txt");
    EXPECT_EQ(p.resolveTitle(AXElement{editorPid, byFilename}, 3, "Editor", editorPid), "plan — draft.md");
    EXPECT_EQ(p.resolveTitle(AXElement{editorPid, byServer}, 4, "Editor", editorPid), "Server Title");
    EXPECT_EQ(p.resolveTitle(AXElement{editorPid, nothing}, 5, "Editor", editorPid), "Editor");
    EXPECT_TRUE(e.log.has("debug [WindowTitle] Resolving title for window 2 in Editor (pid 200)"));
    EXPECT_TRUE(e.log.has("debug [WindowTitle]   kAXTitleUIElement status: -25212"));
    EXPECT_TRUE(e.log.has("debug [WindowTitle]   ✓ Using kAXTitleUIElement → kAXValue: 'Inbox'"));
    EXPECT_TRUE(e.log.has("debug [WindowTitle]   ✓ Using kAXDocument (lastPathComponent): 'My%20File.txt'"));
    EXPECT_TRUE(e.log.has("debug [WindowTitle]   ✓ Using kAXFilename (lastPathComponent): 'plan — draft.md'"));
    EXPECT_TRUE(e.log.has("debug [WindowTitle]   ✓ Using CGWindow match: 'Server Title'"));
    EXPECT_TRUE(e.log.has("debug [WindowTitle]   ✗ All methods failed, using appName: 'Editor'"));

    // In the list, the file name's dashed title is turned round like any other.
    p.refresh();
    EXPECT_TRUE(e.titles(p).contains("draft.md — plan")) << e.titles(p).join(", ").toStdString();
}

TEST(WindowDataProvider, anApplicationWithoutAWindowListIsSearchedFourLevelsDeep)
{
    Editor e;
    e.window(QStringLiteral("one"));
    e.window(QStringLiteral("two"));
    e.desktop.server.hideWindowListBehindGroups(editorPid, 3);
    WindowDataProvider p(e.desktop.platform(), editorPid, QStringLiteral("Editor"));
    p.refresh();
    EXPECT_EQ(e.titles(p), (QStringList{"two", "one"}));
    EXPECT_TRUE(e.log.has("debug [fetchWindowsAX] kAXWindows unavailable (status=-25205). "
                          "AttributeNames(status=0): AXFocusedWindow, AXWindows"))
        << e.log.dump().toStdString();
    EXPECT_TRUE(e.log.has("debug [fetchWindowsAX] Falling back to recursive AX search for windows…"));
    EXPECT_TRUE(e.log.has("debug [fetchWindowsAX] Collected 2 AXWindow elements via fallback"));
    // Each row is the window's own element, usable for activation.
    EXPECT_FALSE(p.windows().first().axElement.isApplication());
}

TEST(WindowDataProvider, windowsDeeperThanTheSearchComeFromTheWindowServer)
{
    Editor e;
    const WindowNumber one = e.window(QStringLiteral("one"));
    e.desktop.server.hideWindowListBehindGroups(editorPid, 4);
    WindowDataProvider p(e.desktop.platform(), editorPid, QStringLiteral("Editor"));
    p.refresh();
    EXPECT_TRUE(e.log.has("debug [fetchWindowsAX] Collected 0 AXWindow elements via fallback"));
    EXPECT_TRUE(e.log.has("debug [WindowDataProvider] AX empty, falling back to CGWindow..."));
    EXPECT_TRUE(e.log.has("debug [WindowDataProvider] CGWindow returned 1 windows"));
    ASSERT_EQ(p.windows().size(), 1);
    EXPECT_EQ(p.windows().first().id, std::int64_t(one));
    EXPECT_TRUE(p.windows().first().axElement.isApplication());
}

TEST(WindowDataProvider, withoutAccessibilityTheWindowServersListIsUsedAndThePermissionAskedFor)
{
    Editor e;
    e.window(QStringLiteral("report.txt — Editor"));
    const WindowNumber minimised = e.window(QStringLiteral("away"));
    e.desktop.server.window(minimised)->minimized = true;
    e.window(QString());  // no name: the owner's
    e.desktop.server.setTrusted(false);
    WindowDataProvider p(e.desktop.platform(), editorPid, QStringLiteral("Editor"));
    p.refresh();
    EXPECT_EQ(e.desktop.server.trustRequests(), 1);
    EXPECT_TRUE(e.log.has("debug [WindowDataProvider] AXIsProcessTrusted: false"));
    EXPECT_EQ(e.titles(p), (QStringList{"Editor", "Editor — report.txt"}));
}

TEST(WindowDataProvider, theWindowServersListHasOneRowPerWindowNumber)
{
    Editor e;
    ListedWindows server;
    Platform platform = e.desktop.platform();
    platform.windowList = &server;
    WindowSnapshotEntry foreign = entry(10, QStringLiteral("not ours"));
    foreign.ownerPid = 300;
    server.entries = {entry(7, QStringLiteral("first")), foreign, entry(7, QStringLiteral("again")),
                      entry(std::nullopt, QStringLiteral(" numberless ")), entry(8, QStringLiteral("b – a"))};
    WindowDataProvider p(platform, editorPid, QStringLiteral("Editor"));
    const QList<WindowInfo> rows = p.fetchWindowsCG(editorPid);
    ASSERT_EQ(rows.size(), 3);
    EXPECT_EQ(rows[0].id, 7);
    EXPECT_EQ(rows[0].title, "first");
    EXPECT_EQ(rows[1].title, "numberless");
    EXPECT_GT(rows[1].id, 0);
    EXPECT_EQ(rows[2].title, "a – b");
    EXPECT_EQ(rows[2].appName, "Editor");
    EXPECT_EQ(rows[2].axElement, (AXElement{editorPid, 0}));
}

TEST(WindowDataProvider, activationRaisesAndFocusesThenAsksDimmingToFollowOnTheNextTurn)
{
    Editor e;
    e.window(QStringLiteral("front"));
    const WindowNumber back = e.window(QStringLiteral("back"));
    e.desktop.server.raise(e.desktop.server.stackingOrder().last());
    WindowDataProvider p(e.desktop.platform(), editorPid, QStringLiteral("Editor"));
    QStringList refreshes;
    p.refreshFocusDimming = [&](const QString& reason) { refreshes << reason; };
    p.refresh();
    const WindowInfo target = p.windows().last();
    ASSERT_EQ(target.id, std::int64_t(back));
    e.desktop.server.clearAttributeWrites();
    p.activate(target, AXElement{editorPid, 0});
    EXPECT_EQ(e.desktop.server.attributeWrites(),
              (QStringList{"AXRaise", "AXMain=true", "AXFocused=true", QStringLiteral("AXFocusedWindow=%1").arg(back)}));
    EXPECT_EQ(e.desktop.server.stackingOrder().first(), back);
    EXPECT_TRUE(refreshes.isEmpty());
    e.desktop.scheduler.runPending();
    EXPECT_EQ(refreshes, QStringList{"windowsSwitch"});
}
