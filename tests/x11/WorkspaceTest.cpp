// Workspace against Openbox: frontmost application and its notifications, applications named through desktop
// entries, desktop switches and terminations.
#include <gtest/gtest.h>

#include <QDateTime>
#include <QFile>

#include "XTestSession.h"
#include "XTools.h"
#include "platform/x11/X11ServerTime.h"
#include "platform/x11/X11Workspace.h"

using namespace tamsinvale;
using namespace tamsinvale::x11test;

namespace {

class WorkspaceTest : public ::testing::Test {
protected:
    XTestSession& s = XTestSession::get();
    X11Workspace& workspace() { return s.desktop().workspace(); }
    std::optional<RunningApp> app(pid_t pid)
    {
        for (const RunningApp& a : workspace().runningApplications())
            if (a.pid == pid)
                return a;
        return std::nullopt;
    }
};

WindowSpec windowSpec(const QString& title, const QString& windowClass, int x = 100, int y = 100)
{
    WindowSpec s;
    s.title = title;
    s.windowClass = windowClass;
    s.x = x;
    s.y = y;
    return s;
}

}  // namespace

TEST_F(WorkspaceTest, activationIsAnnouncedOnlyWhenTheOwningApplicationChanges)
{
    auto a = s.client({windowSpec(QStringLiteral("a0"), QStringLiteral("Alpha")), windowSpec(QStringLiteral("a1"), QStringLiteral("Alpha"), 400)});
    auto b = s.client({windowSpec(QStringLiteral("b0"), QStringLiteral("Beta"), 800)});
    ASSERT_TRUE(a && b);
    ASSERT_TRUE(s.activate(b->window(0)));
    ASSERT_TRUE(s.waitUntil([&] {
        const auto front = workspace().frontmostApplication();
        return front && front->pid == b->pid();
    }));

    QList<std::int32_t> activated;
    QList<xcb_window_t> activeWindows;
    const auto c1 = QObject::connect(&workspace(), &Workspace::applicationActivated,
                                     [&](const RunningApp& app) { activated.append(app.pid); });
    const auto c2 = QObject::connect(&workspace(), &X11Workspace::activeWindowChanged,
                                     [&](xcb_window_t w, std::int32_t) { activeWindows.append(w); });

    ASSERT_TRUE(s.activate(a->window(0)));
    ASSERT_TRUE(s.waitUntil([&] { return activated == QList<std::int32_t>{a->pid()}; })) << activated.size();
    EXPECT_EQ(workspace().frontmostApplication()->pid, a->pid());
    EXPECT_EQ(workspace().frontmostApplication()->localizedName, QStringLiteral("Alpha"));

    // Another window of the same application: the active window changes, the application does not.
    ASSERT_TRUE(s.activate(a->window(1)));
    ASSERT_TRUE(s.waitUntil([&] { return activeWindows.contains(a->window(1)); }));
    EXPECT_EQ(activated, QList<std::int32_t>{a->pid()});

    ASSERT_TRUE(s.activate(b->window(0)));
    ASSERT_TRUE(s.waitUntil([&] { return activated.size() == 2; }));
    ASSERT_TRUE(s.activate(a->window(0)));
    ASSERT_TRUE(s.waitUntil([&] { return activated.size() == 3; }));
    EXPECT_EQ(activated, (QList<std::int32_t>{a->pid(), b->pid(), a->pid()}));
    QObject::disconnect(c1);
    QObject::disconnect(c2);
}

TEST_F(WorkspaceTest, afterNothingWasActiveTheSameApplicationIsAnnouncedAgain)
{
    auto a = s.client({windowSpec(QStringLiteral("a0"), QStringLiteral("Alpha"))});
    ASSERT_TRUE(a);
    ASSERT_TRUE(s.activate(a->window(0)));
    ASSERT_TRUE(s.waitUntil([&] {
        const auto front = workspace().frontmostApplication();
        return front && front->pid == a->pid();
    }));
    QList<std::int32_t> activated;
    const auto c = QObject::connect(&workspace(), &Workspace::applicationActivated,
                                    [&](const RunningApp& app) { activated.append(app.pid); });
    auto activeWindow = [&] {
        const QList<uint32_t> active = s.x().cardinals(s.x().root(), "_NET_ACTIVE_WINDOW");
        return active.isEmpty() ? xcb_window_t(XCB_WINDOW_NONE) : xcb_window_t(active.first());
    };

    // An empty desktop: the manager makes nothing active, and nothing is frontmost.
    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("set_desktop"), QStringLiteral("1")}));
    ASSERT_TRUE(s.waitUntil([&] { return activeWindow() == XCB_WINDOW_NONE; })) << "the manager kept a window active";
    EXPECT_TRUE(s.waitUntil([&] { return !workspace().frontmostApplication(); }));

    // A person takes longer than a manager passing between two windows: the server's clock moves on first.
    xcb_connection_t* own = xcb_connect(s.display().toLocal8Bit().constData(), nullptr);
    {
        X11ServerTime clock(own, xcb_setup_roots_iterator(xcb_get_setup(own)).data->root);
        const xcb_timestamp_t nothingSince = clock.now();
        ASSERT_TRUE(s.waitUntil([&] { return clock.now() - nothingSince > X11Workspace::transientNothingActiveMs; }));
    }
    xcb_disconnect(own);

    // Back to the same application: an activation, as from any other application.
    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("set_desktop"), QStringLiteral("0")}));
    ASSERT_TRUE(s.activate(a->window(0)));
    EXPECT_TRUE(s.waitUntil([&] { return activated.contains(a->pid()); })) << "no activation announced";
    EXPECT_EQ(activated.count(a->pid()), 1);
    QObject::disconnect(c);
}

TEST_F(WorkspaceTest, applicationsAreProcessesNamedThroughTheirDesktopEntries)
{
    const QString entryPath = s.applicationsDir() + QStringLiteral("/org.example.Fixture.desktop");
    {
        QFile f(entryPath);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write("[Desktop Entry]\nType=Application\nName=Fixture App\nExec=fixture-app %U\n"
                "StartupWMClass=FixtureClass\n\n[Desktop Action New]\nName=Not the name\n");
    }
    workspace().reloadDesktopEntries();

    const QDateTime before = QDateTime::currentDateTime().addSecs(-2);
    auto fixture = s.client({windowSpec(QStringLiteral("f0"), QStringLiteral("FixtureClass")),
                             windowSpec(QStringLiteral("f1"), QStringLiteral("FixtureClass"), 300)});
    auto unmatched = s.client({windowSpec(QStringLiteral("u0"), QStringLiteral("Unmatched"), 600)});
    WindowSpec palette = windowSpec(QStringLiteral("palette"), QStringLiteral("Palette"), 900);
    palette.type = QStringLiteral("utility");
    auto accessory = s.client({palette});
    ASSERT_TRUE(fixture && unmatched && accessory);

    ASSERT_TRUE(s.waitUntil([&] { return app(fixture->pid()) && app(unmatched->pid()) && app(accessory->pid()); }));
    const RunningApp f = *app(fixture->pid());
    EXPECT_EQ(f.bundleIdentifier, std::optional<QString>(QStringLiteral("org.example.Fixture")));
    EXPECT_EQ(f.localizedName, QStringLiteral("Fixture App"));
    EXPECT_EQ(f.bundlePath, entryPath);
    EXPECT_EQ(f.activationPolicy, ActivationPolicy::regular);
    EXPECT_GE(f.launchDate, before);
    EXPECT_LE(f.launchDate, QDateTime::currentDateTime().addSecs(1));
    EXPECT_EQ(workspace().urlForApplication(QStringLiteral("org.example.Fixture")), std::optional<QString>(entryPath));

    // Two windows, one process, one application.
    int count = 0;
    for (const RunningApp& a : workspace().runningApplications())
        count += a.pid == fixture->pid();
    EXPECT_EQ(count, 1);

    const RunningApp u = *app(unmatched->pid());
    EXPECT_EQ(u.bundleIdentifier, std::optional<QString>(QStringLiteral("Unmatched")));
    EXPECT_EQ(u.localizedName, QStringLiteral("Unmatched"));
    EXPECT_TRUE(u.bundlePath.isEmpty());
    EXPECT_EQ(app(accessory->pid())->activationPolicy, ActivationPolicy::accessory);

    // We are running too, as a tray utility.
    const auto self = app(static_cast<pid_t>(workspace().ownPid()));
    ASSERT_TRUE(self);
    EXPECT_EQ(self->activationPolicy, ActivationPolicy::accessory);

    // A program nobody here wrote, matched by its executable or class against the system's entries.
    if (QFile::exists(QStringLiteral("/usr/share/applications/debian-xterm.desktop"))) {
        auto xterm = s.application({QStringLiteral("xterm")});
        ASSERT_TRUE(s.clientWindowOf(QStringLiteral("XTerm")));
        ASSERT_TRUE(s.waitUntil([&] { return app(xterm->pid()).has_value(); }));
        EXPECT_EQ(app(xterm->pid())->bundleIdentifier, std::optional<QString>(QStringLiteral("debian-xterm")));
        EXPECT_EQ(app(xterm->pid())->localizedName, QStringLiteral("XTerm"));
    }
    QFile::remove(entryPath);
    workspace().reloadDesktopEntries();
}

TEST_F(WorkspaceTest, desktopSwitchesAndTerminationsAreAnnounced)
{
    int spaceChanges = 0;
    QList<std::int32_t> terminated;
    const auto c1 = QObject::connect(&workspace(), &Workspace::activeSpaceChanged, [&] { ++spaceChanges; });
    const auto c2 = QObject::connect(&workspace(), &Workspace::applicationTerminated,
                                     [&](std::int32_t pid) { terminated.append(pid); });

    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("set_desktop"), QStringLiteral("1")}));
    ASSERT_TRUE(s.waitUntil([&] { return spaceChanges >= 1; }));
    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("set_desktop"), QStringLiteral("0")}));
    ASSERT_TRUE(s.waitUntil([&] { return spaceChanges >= 2; }));

    // Closing its last window does not end an application whose process lives on; its exit does.
    auto lingering = s.client({windowSpec(QStringLiteral("only"), QStringLiteral("Lingering"))});
    auto quitting = s.client({windowSpec(QStringLiteral("q"), QStringLiteral("Quitting"), 500)});
    ASSERT_TRUE(lingering && quitting);
    ASSERT_TRUE(s.waitUntil([&] { return app(lingering->pid()) && app(quitting->pid()); }));
    ASSERT_TRUE(lingering->closeWindow(0));
    ASSERT_TRUE(s.waitUntil([&] { return !app(lingering->pid()); }));
    ASSERT_TRUE(quitting->quit());
    ASSERT_TRUE(s.waitUntil([&] { return terminated.contains(quitting->pid()); }));
    EXPECT_FALSE(terminated.contains(lingering->pid()));
    ASSERT_TRUE(lingering->quit());
    ASSERT_TRUE(s.waitUntil([&] { return terminated.contains(lingering->pid()); }));
    QObject::disconnect(c1);
    QObject::disconnect(c2);
}

TEST_F(WorkspaceTest, leftClicksAnywhereAreSeenWithoutBeingTaken)
{
    auto a = s.client({windowSpec(QStringLiteral("a0"), QStringLiteral("Alpha"), 100, 100)});
    auto b = s.client({windowSpec(QStringLiteral("b0"), QStringLiteral("Beta"), 700, 100)});
    ASSERT_TRUE(a && b);
    ASSERT_TRUE(s.activate(a->window(0)));
    int clicks = 0;
    const auto c = QObject::connect(&workspace(), &Workspace::leftMouseDown, [&] { ++clicks; });
    const QRect frame = *xtools::geometry(s.x().topLevelAncestor(b->window(0)));
    const QString x = QString::number(frame.center().x()), y = QString::number(frame.center().y());

    // A right click is not a left one.
    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("mousemove"), x, y, QStringLiteral("click"),
                        QStringLiteral("3")}));
    // The left click on the other window is seen, and still reaches the window manager, which activates it.
    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("click"), QStringLiteral("1")}));
    EXPECT_TRUE(s.waitUntil([&] { return clicks == 1; })) << clicks;
    EXPECT_TRUE(s.waitUntil([&] {
        const auto front = workspace().frontmostApplication();
        return front && front->pid == b->pid();
    }));
    EXPECT_EQ(clicks, 1);
    QObject::disconnect(c);
}
