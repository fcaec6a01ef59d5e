// Screens against real RandR monitors on Xvfb: frames, visible frames under a top dock, order, identity, changes.
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QUuid>

#include "X11TestPaths.h"
#include "XTestSession.h"
#include "platform/x11/X11Screens.h"
#include "platform/x11/X11WindowList.h"

using namespace tamsinvale;
using namespace tamsinvale::x11test;

namespace {

class ScreensTest : public ::testing::Test {
protected:
    XTestSession& s = XTestSession::get();
    void TearDown() override { s.resetMonitors(); }

    QList<ScreenInfo> screens() { return s.desktop().screens().screens(); }

    // What xrandr says, independently of us: name → root rectangle, in the server's order.
    QList<std::pair<QString, QRect>> xrandrMonitors()
    {
        QList<std::pair<QString, QRect>> out;
        const auto text = s.tool({QStringLiteral("xrandr"), QStringLiteral("--listmonitors")});
        if (!text)
            return out;
        static const QRegularExpression line(QStringLiteral(R"(^\s*\d+: \+?\*?(\S+) (\d+)/\d+x(\d+)/\d+\+(-?\d+)\+(-?\d+))"));
        for (const QString& l : text->split(QLatin1Char('\n'))) {
            const auto m = line.match(l);
            if (m.hasMatch())
                out.append({m.captured(1), QRect(m.captured(4).toInt(), m.captured(5).toInt(), m.captured(2).toInt(),
                                                 m.captured(3).toInt())});
        }
        return out;
    }

    QJsonArray debugScreens()
    {
        const auto text = s.tool({QString::fromUtf8(tamsinvalePath), QStringLiteral("debug"), QStringLiteral("screens"),
                                  QStringLiteral("--json")});
        if (!text)
            return {};
        return QJsonDocument::fromJson(text->toUtf8()).object().value(QStringLiteral("screens")).toArray();
    }
};

QRectF rectOf(const QJsonValue& v)
{
    const QJsonObject o = v.toObject();
    return QRectF(o.value(QStringLiteral("x")).toDouble(), o.value(QStringLiteral("y")).toDouble(),
                  o.value(QStringLiteral("width")).toDouble(), o.value(QStringLiteral("height")).toDouble());
}

}  // namespace

TEST_F(ScreensTest, twoMonitorsWithATopDockOnThePrimary)
{
    int changed = 0;
    const auto connection = QObject::connect(&s.desktop().screens(), &Screens::screensChanged, [&] { ++changed; });
    ASSERT_TRUE(s.x().setMonitors({{QStringLiteral("LEFT"), QRect(0, 0, 960, 1080), true},
                                   {QStringLiteral("RIGHT"), QRect(960, 0, 960, 1080), false}}));
    ASSERT_TRUE(s.waitUntil([&] { return screens().size() == 2; })) << screens().size();
    EXPECT_TRUE(s.waitUntil([&] { return changed >= 1; }));
    QObject::disconnect(connection);

    WindowSpec dock;
    dock.title = QStringLiteral("top panel");
    dock.type = QStringLiteral("dock");
    dock.x = 0;
    dock.y = 0;
    dock.width = 960;
    dock.height = 30;
    dock.strutTop = 30;
    dock.strutTopStartX = 0;
    dock.strutTopEndX = 959;
    auto panel = s.client({dock});
    ASSERT_TRUE(panel);
    ASSERT_TRUE(s.waitUntil([&] { return screens().size() == 2 && screens()[0].visibleFrame.height() == 1050; }));

    const QList<ScreenInfo> list = screens();
    // Primary first; screen coordinates have their origin at the primary's bottom-left, y up, so the strip the
    // dock takes is at the top and the origin stays.
    EXPECT_EQ(list[0].frame, QRectF(0, 0, 960, 1080));
    EXPECT_EQ(list[0].visibleFrame, QRectF(0, 0, 960, 1050));
    EXPECT_EQ(list[1].frame, QRectF(960, 0, 960, 1080));
    EXPECT_EQ(list[1].visibleFrame, QRectF(960, 0, 960, 1080));
    EXPECT_EQ(list[0].localizedName, QStringLiteral("LEFT"));
    EXPECT_EQ(list[1].localizedName, QStringLiteral("RIGHT"));
    EXPECT_NE(list[0].displayId, 0u);
    EXPECT_NE(list[0].displayId, list[1].displayId);
    EXPECT_NE(list[0].uuid, list[1].uuid);

    // The same layout as xrandr reports it.
    const auto reported = xrandrMonitors();
    ASSERT_EQ(reported.size(), 2);
    for (const auto& [name, rect] : reported) {
        const X11Monitor* ours = nullptr;
        const QList<X11Monitor> monitors = s.desktop().screens().monitors();
        for (const X11Monitor& m : monitors)
            if (m.name == name)
                ours = &m;
        ASSERT_NE(ours, nullptr) << name.toStdString();
        EXPECT_EQ(ours->rect, rect) << name.toStdString();
    }

    // The dock along the primary's top edge is the menu bar of that screen.
    const auto snapshot = s.desktop().windowList().onScreenWindows();
    ASSERT_TRUE(snapshot);
    const auto menuBar = std::find_if(snapshot->cbegin(), snapshot->cend(),
                                      [&](const WindowSnapshotEntry& e) { return e.number == panel->window(0); });
    ASSERT_NE(menuBar, snapshot->cend());
    EXPECT_TRUE(menuBar->isMenuBar);
    EXPECT_EQ(menuBar->layer, WindowLevel::mainMenu);
    EXPECT_EQ(menuBar->bounds, QRectF(0, 0, 960, 30));
    EXPECT_EQ(menuBar->ownerPid, panel->pid());

    // The debug command describes the same screens.
    const QJsonArray json = debugScreens();
    ASSERT_EQ(json.size(), 2);
    for (qsizetype i = 0; i < 2; ++i) {
        const QJsonObject o = json[i].toObject();
        EXPECT_EQ(rectOf(o.value(QStringLiteral("frame"))), list[i].frame);
        EXPECT_EQ(rectOf(o.value(QStringLiteral("visibleFrame"))), list[i].visibleFrame);
        EXPECT_EQ(o.value(QStringLiteral("uuid")).toString(), list[i].uuid);
        EXPECT_EQ(static_cast<DisplayId>(o.value(QStringLiteral("displayId")).toInteger()), list[i].displayId);
    }
}

TEST_F(ScreensTest, threeMonitorsWithThePrimaryInTheMiddleAndADockAcrossTheTop)
{
    ASSERT_TRUE(s.x().setMonitors({{QStringLiteral("MIDDLE"), QRect(640, 0, 640, 1080), true},
                                   {QStringLiteral("WEST"), QRect(0, 0, 640, 480), false},
                                   {QStringLiteral("EAST"), QRect(1280, 0, 640, 600), false}}));
    ASSERT_TRUE(s.waitUntil([&] { return screens().size() == 3; }));

    WindowSpec dock;
    dock.title = QStringLiteral("wide panel");
    dock.type = QStringLiteral("dock");
    dock.x = 0;
    dock.y = 0;
    dock.width = 1920;
    dock.height = 20;
    dock.strutTop = 20;
    dock.strutTopStartX = 0;
    dock.strutTopEndX = 1919;
    auto panel = s.client({dock});
    ASSERT_TRUE(panel);
    ASSERT_TRUE(s.waitUntil([&] { return screens().size() == 3 && screens()[0].visibleFrame.height() == 1060; }));

    const QList<ScreenInfo> list = screens();
    // Flipped about the primary: a monitor's y is the primary's bottom minus the monitor's bottom in root terms.
    EXPECT_EQ(list[0].frame, QRectF(0, 0, 640, 1080));
    EXPECT_EQ(list[0].visibleFrame, QRectF(0, 0, 640, 1060));
    EXPECT_EQ(list[1].frame, QRectF(-640, 600, 640, 480));
    EXPECT_EQ(list[1].visibleFrame, QRectF(-640, 600, 640, 460));
    EXPECT_EQ(list[2].frame, QRectF(640, 480, 640, 600));
    EXPECT_EQ(list[2].visibleFrame, QRectF(640, 480, 640, 580));

    // Window-server coordinates start at the primary's top-left too: the dock begins 640 to the left of it.
    const auto snapshot = s.desktop().windowList().onScreenWindows();
    ASSERT_TRUE(snapshot);
    const auto entry = std::find_if(snapshot->cbegin(), snapshot->cend(),
                                    [&](const WindowSnapshotEntry& e) { return e.number == panel->window(0); });
    ASSERT_NE(entry, snapshot->cend());
    EXPECT_EQ(entry->bounds, QRectF(-640, 0, 1920, 20));

    // The main screen follows the active window.
    WindowSpec east;
    east.title = QStringLiteral("on the east");
    east.x = 1400;
    east.y = 200;
    east.width = 300;
    east.height = 200;
    auto client = s.client({east});
    ASSERT_TRUE(client);
    ASSERT_TRUE(s.activate(client->window(0)));
    ASSERT_TRUE(s.waitUntil([&] {
        const auto main = s.desktop().screens().mainScreen();
        return main && main->displayId == list[2].displayId;
    }));
}

TEST_F(ScreensTest, displayIdentityIsStableAcrossInstancesAndFollowsTheMonitor)
{
    ASSERT_TRUE(s.x().setMonitors({{QStringLiteral("ONE"), QRect(0, 0, 960, 1080), true},
                                   {QStringLiteral("TWO"), QRect(960, 0, 960, 1080), false}}));
    ASSERT_TRUE(s.waitUntil([&] { return screens().size() == 2; }));
    const QList<ScreenInfo> first = screens();

    // A second reader on its own connection (another run of the program, as far as X is concerned).
    xcb_connection_t* other = xcb_connect(s.display().toLocal8Bit().constData(), nullptr);
    ASSERT_FALSE(xcb_connection_has_error(other));
    {
        X11Desktop again(other, 0, false);
        const QList<ScreenInfo> second = again.screens().screens();
        ASSERT_EQ(second.size(), 2);
        for (qsizetype i = 0; i < 2; ++i) {
            EXPECT_EQ(second[i].uuid, first[i].uuid);
            EXPECT_EQ(second[i].displayId, first[i].displayId);
        }
    }
    xcb_disconnect(other);
    for (const ScreenInfo& info : first) {
        const QUuid uuid(info.uuid);
        EXPECT_FALSE(uuid.isNull()) << info.uuid.toStdString();
        EXPECT_EQ(uuid.version(), QUuid::Sha1);
    }

    // Moving a monitor keeps its identity; a different monitor gets a different one.
    ASSERT_TRUE(s.x().setMonitors({{QStringLiteral("ONE"), QRect(0, 0, 960, 1080), true},
                                   {QStringLiteral("THREE"), QRect(960, 0, 960, 1080), false}}));
    ASSERT_TRUE(s.waitUntil([&] { return screens().size() == 2 && screens()[1].localizedName == QStringLiteral("THREE"); }));
    EXPECT_EQ(screens()[0].uuid, first[0].uuid);
    EXPECT_NE(screens()[1].uuid, first[1].uuid);
}
