// The real tamsinvale on a desktop whose primary monitor stands right of another (a 1280 × 1024 monitor on the left,
// the primary 1920 × 1080 on the right): the switcher and the launch overlay open on the primary, read back from X.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include "TamsinvaleInstance.h"
#include "XTestSession.h"
#include "XTools.h"

using namespace tamsinvale::x11test;
using namespace std::chrono_literals;

namespace {

constexpr QRect leftMonitor(0, 0, 1280, 1024);
constexpr QRect primaryMonitor(1280, 0, 1920, 1080);

QString artifactsDir()
{
    const QString dir = qEnvironmentVariable("TAMSINVALE_ARTIFACTS_DIR", QStringLiteral(TAMSINVALE_PRIMARY_ARTIFACTS));
    QDir().mkpath(dir);
    return dir;
}

void screenshot(XTestSession& s, const QString& name)
{
    runTool({"import", "-display", s.display(), "-window", "root", artifactsDir() + "/" + name + ".png"}, 20s);
}

bool xdotool(XTestSession& s, const QStringList& arguments)
{
    return s.tool(QStringList{"xdotool"} + arguments).has_value();
}

std::optional<QRect> switcherPanel(XTestSession& s)
{
    const auto found = s.tool({"xdotool", "search", "--onlyvisible", "--name", "^Tamsinvale App Switcher$"});
    if (!found)
        return std::nullopt;
    for (const QString& id : found->split('\n', Qt::SkipEmptyParts))
        return xtools::geometry(xcb_window_t(id.trimmed().toULong()));
    return std::nullopt;
}

class PrimaryOnTheRight : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(s.rootSize(), QSize(3200, 1080));
        ASSERT_TRUE(s.x().setMonitors({{"LEFT", leftMonitor, false}, {"PRIMARY", primaryMonitor, true}}));
        WindowSpec w;
        w.title = "work";
        w.x = primaryMonitor.x() + 100;
        w.y = 100;
        w.width = 900;
        w.height = 700;
        work = s.client({w});
        ASSERT_TRUE(work);
        ASSERT_TRUE(s.activate(work->window(0)));
    }
    void TearDown() override { s.resetMonitors(); }

    XTestSession& s = XTestSession::get();
    std::unique_ptr<TestClient> work;
};

}  // namespace

TEST_F(PrimaryOnTheRight, theSwitcherOpensOnThePrimaryMonitor)
{
    TamsinvaleInstance app(s, artifactsDir() + "/switcher.log");
    ASSERT_TRUE(app.start()) << app.log().toStdString();
    ASSERT_TRUE(xdotool(s, {"key", "super+space"}));
    ASSERT_TRUE(s.waitUntil([&] { return switcherPanel(s).has_value(); })) << app.log().toStdString();
    const QRect panel = *switcherPanel(s);
    screenshot(s, "switcher-on-primary");
    EXPECT_TRUE(primaryMonitor.contains(panel)) << panel.x() << "," << panel.y() << " " << panel.width() << "x"
                                                << panel.height();
    EXPECT_NEAR(panel.center().x(), primaryMonitor.center().x(), 2);
    EXPECT_FALSE(leftMonitor.intersects(panel));
    ASSERT_TRUE(xdotool(s, {"key", "Escape"}));
    EXPECT_TRUE(s.waitUntil([&] { return !switcherPanel(s); }));
}

TEST_F(PrimaryOnTheRight, theLaunchOverlayCardAndItsDimmingCoverThePrimaryMonitor)
{
    QDir().mkpath(s.applicationsDir());
    QFile entry(s.applicationsDir() + "/slow-starter.desktop");
    ASSERT_TRUE(entry.open(QIODevice::WriteOnly | QIODevice::Truncate));
    entry.write("[Desktop Entry]\nType=Application\nName=Slow Starter\nExec=sleep 30\n");
    entry.close();
    // With a compositor, so that the dim layer is there to be placed too.
    auto compositor = s.application({"xcompmgr"});
    ASSERT_TRUE(compositor);
    ASSERT_TRUE(s.waitUntil([&] { return s.x().selectionOwner("_NET_WM_CM_S0") != XCB_WINDOW_NONE; }));

    TamsinvaleInstance app(s, artifactsDir() + "/launch-overlay.log");
    ASSERT_EQ(app.shortcuts({"bind", "slow-starter", "w"}).exitCode, 0);
    ASSERT_EQ(app.setting("focusDimEnabled", "false").exitCode, 0);
    ASSERT_TRUE(app.start()) << app.log().toStdString();
    ASSERT_TRUE(xdotool(s, {"key", "--delay", "40", "super+space", "w"}));
    std::optional<QRect> card, dim;
    ASSERT_TRUE(s.waitUntil([&] {
        card.reset();
        dim.reset();
        for (const auto& w : app.windows()) {
            if (w.geometry.height() == 200 && w.geometry.width() >= 280)
                card = w.geometry;
            else if (w.geometry.width() >= 1000)
                dim = w.geometry;
        }
        return card && dim;
    })) << app.log().toStdString();
    screenshot(s, "launch-overlay-on-primary");
    EXPECT_EQ(*dim, primaryMonitor);
    EXPECT_TRUE(primaryMonitor.contains(*card));
    EXPECT_NEAR(card->center().x(), primaryMonitor.center().x(), 2);
    EXPECT_NEAR(card->center().y(), primaryMonitor.center().y(), 2);
    ASSERT_TRUE(xdotool(s, {"key", "Escape"}));
    compositor->stop();
}
