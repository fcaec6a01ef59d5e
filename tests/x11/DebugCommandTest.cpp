// `tamsinvale debug windows|screens --json` on a real desktop, checked against xdotool, xwininfo, xprop and xrandr.
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include "X11TestPaths.h"
#include "XTestSession.h"
#include "XTools.h"

using namespace tamsinvale;
using namespace tamsinvale::x11test;

namespace {

class DebugCommandTest : public ::testing::Test {
protected:
    XTestSession& s = XTestSession::get();
    void TearDown() override { s.resetMonitors(); }

    QJsonObject run(const QString& what)
    {
        const auto text = s.tool({QString::fromUtf8(tamsinvalePath), QStringLiteral("debug"), what, QStringLiteral("--json")});
        if (!text)
            return {};
        return QJsonDocument::fromJson(text->toUtf8()).object();
    }
};

QRect rectOf(const QJsonValue& v)
{
    const QJsonObject o = v.toObject();
    return QRect(o.value(QStringLiteral("x")).toInt(), o.value(QStringLiteral("y")).toInt(),
                 o.value(QStringLiteral("width")).toInt(), o.value(QStringLiteral("height")).toInt());
}

}  // namespace

TEST_F(DebugCommandTest, windowsDescribeTheDesktopAsTheXToolsSeeIt)
{
    WindowSpec main;
    main.title = QStringLiteral("Main — ünïcode");
    main.x = 80;
    main.y = 90;
    WindowSpec dialog = main;
    dialog.title = QStringLiteral("Question");
    dialog.type = QStringLiteral("dialog");
    dialog.transientFor = 0;
    dialog.x = 200;
    WindowSpec palette = main;
    palette.title = QStringLiteral("Tools");
    palette.type = QStringLiteral("utility");
    palette.x = 800;
    WindowSpec hidden = main;
    hidden.title = QStringLiteral("Minimised");
    hidden.states = {QStringLiteral("hidden")};
    auto client = s.client({main, dialog, palette, hidden});
    auto xterm = s.application({QStringLiteral("xterm"), QStringLiteral("-T"), QStringLiteral("shell"), QStringLiteral("-geometry"),
                                QStringLiteral("50x8+1000+500")});
    ASSERT_TRUE(client && xterm);
    const auto term = s.clientWindowOf(QStringLiteral("XTerm"));
    ASSERT_TRUE(term);
    ASSERT_TRUE(s.activate(*term));
    ASSERT_TRUE(s.activate(client->window(0)));

    // Settled when the manager lists all five and xterm has its title (Openbox keeps the dialog above its parent).
    ASSERT_TRUE(s.waitUntil([&] {
        const auto stacking = xtools::rootWindowList(QStringLiteral("_NET_CLIENT_LIST_STACKING"));
        return stacking && stacking->size() == 5 && s.x().text(*term, "WM_NAME") == QStringLiteral("shell");
    }));
    const QJsonArray windows = run(QStringLiteral("windows")).value(QStringLiteral("windows")).toArray();
    const auto stacking = xtools::rootWindowList(QStringLiteral("_NET_CLIENT_LIST_STACKING"));
    ASSERT_TRUE(stacking);
    ASSERT_EQ(windows.size(), stacking->size());

    const auto active = xtools::activeWindow();
    ASSERT_TRUE(active);
    for (qsizetype i = 0; i < windows.size(); ++i) {
        const QJsonObject w = windows[i].toObject();
        const xcb_window_t id = static_cast<xcb_window_t>(w.value(QStringLiteral("number")).toInteger());
        SCOPED_TRACE(w.value(QStringLiteral("name")).toString().toStdString());
        // Front to back is the manager's bottom-to-top list reversed.
        EXPECT_EQ(id, stacking->at(stacking->size() - 1 - i));
        EXPECT_EQ(rectOf(w.value(QStringLiteral("bounds"))), xtools::geometry(s.x().topLevelAncestor(id)));
        EXPECT_EQ(rectOf(w.value(QStringLiteral("clientBounds"))), xtools::geometry(id));
        const auto name = s.tool({QStringLiteral("xdotool"), QStringLiteral("getwindowname"), QString::number(id)});
        ASSERT_TRUE(name);
        EXPECT_EQ(w.value(QStringLiteral("name")).toString(), name->chopped(1));
        const auto pid = s.tool({QStringLiteral("xdotool"), QStringLiteral("getwindowpid"), QString::number(id)});
        ASSERT_TRUE(pid);
        EXPECT_EQ(w.value(QStringLiteral("ownerPid")).toInt(), pid->trimmed().toInt());
        EXPECT_EQ(w.value(QStringLiteral("active")).toBool(), id == *active);
    }

    auto byId = [&](xcb_window_t id) {
        for (const QJsonValue& v : windows)
            if (static_cast<xcb_window_t>(v.toObject().value(QStringLiteral("number")).toInteger()) == id)
                return v.toObject();
        return QJsonObject();
    };
    EXPECT_EQ(byId(client->window(0)).value(QStringLiteral("name")).toString(), QStringLiteral("Main — ünïcode"));
    EXPECT_EQ(byId(client->window(0)).value(QStringLiteral("layer")).toInt(), 0);
    EXPECT_EQ(byId(client->window(1)).value(QStringLiteral("type")).toString(), QStringLiteral("dialog"));
    EXPECT_EQ(byId(client->window(1)).value(QStringLiteral("layer")).toInt(), 0);
    EXPECT_EQ(byId(client->window(2)).value(QStringLiteral("layer")).toInt(), 3);
    EXPECT_FALSE(byId(client->window(3)).value(QStringLiteral("onScreen")).toBool());
    EXPECT_TRUE(byId(client->window(3)).value(QStringLiteral("states")).toArray().contains(QStringLiteral("hidden")));
    EXPECT_EQ(byId(*term).value(QStringLiteral("ownerName")).toString(), QStringLiteral("XTerm"));
    EXPECT_TRUE(byId(client->window(0)).value(QStringLiteral("onScreen")).toBool());

    // The plain form names every window too.
    const auto plain = s.tool({QString::fromUtf8(tamsinvalePath), QStringLiteral("debug"), QStringLiteral("windows")});
    ASSERT_TRUE(plain);
    for (const xcb_window_t id : *stacking)
        EXPECT_TRUE(plain->contains(QStringLiteral("0x%1").arg(id, 8, 16, QLatin1Char('0'))));
}

TEST_F(DebugCommandTest, screensDescribeTheMonitorsAsXrandrSeesThem)
{
    ASSERT_TRUE(s.x().setMonitors({{QStringLiteral("PRIMARY"), QRect(0, 0, 1280, 1080), true},
                                   {QStringLiteral("SIDE"), QRect(1280, 0, 640, 480), false}}));
    WindowSpec dock;
    dock.title = QStringLiteral("bar");
    dock.type = QStringLiteral("dock");
    dock.x = 0;
    dock.y = 0;
    dock.width = 1280;
    dock.height = 24;
    dock.strutTop = 24;
    dock.strutTopEndX = 1279;
    auto bar = s.client({dock});
    ASSERT_TRUE(bar);
    ASSERT_TRUE(s.waitUntil([&] { return xtools::property(bar->window(0), QStringLiteral("_NET_WM_STRUT_PARTIAL"))->size() > 0; }));

    const auto listed = s.tool({QStringLiteral("xrandr"), QStringLiteral("--listmonitors")});
    ASSERT_TRUE(listed);
    static const QRegularExpression line(QStringLiteral(R"(^\s*\d+: \+?(\*?)(\S+) (\d+)/\d+x(\d+)/\d+\+(-?\d+)\+(-?\d+))"),
                                         QRegularExpression::MultilineOption);
    QMap<QString, QRect> reported;
    QString primary;
    for (auto it = line.globalMatch(*listed); it.hasNext();) {
        const auto m = it.next();
        reported.insert(m.captured(2), QRect(m.captured(5).toInt(), m.captured(6).toInt(), m.captured(3).toInt(), m.captured(4).toInt()));
        if (!m.captured(1).isEmpty())
            primary = m.captured(2);
    }
    ASSERT_EQ(reported.size(), 2);
    ASSERT_EQ(primary, QStringLiteral("PRIMARY"));

    const QJsonObject json = run(QStringLiteral("screens"));
    const QJsonArray screens = json.value(QStringLiteral("screens")).toArray();
    ASSERT_EQ(screens.size(), 2);
    const int primaryHeight = reported.value(primary).height();
    for (qsizetype i = 0; i < screens.size(); ++i) {
        const QJsonObject o = screens[i].toObject();
        const QString name = o.value(QStringLiteral("monitor")).toString();
        const QRect root = reported.value(name);
        ASSERT_FALSE(root.isNull()) << name.toStdString();
        EXPECT_EQ(rectOf(o.value(QStringLiteral("rootBounds"))), root);
        // Bottom-left origin, y up, about the primary display.
        EXPECT_EQ(rectOf(o.value(QStringLiteral("frame"))), QRect(root.x(), primaryHeight - root.bottom() - 1, root.width(), root.height()));
        EXPECT_FALSE(o.value(QStringLiteral("uuid")).toString().isEmpty());
        EXPECT_NE(o.value(QStringLiteral("displayId")).toInteger(), 0);
    }
    EXPECT_EQ(screens[0].toObject().value(QStringLiteral("monitor")).toString(), primary);
    EXPECT_EQ(rectOf(screens[0].toObject().value(QStringLiteral("visibleFrame"))), QRect(0, 0, 1280, 1056));
    EXPECT_EQ(rectOf(screens[1].toObject().value(QStringLiteral("visibleFrame"))), QRect(1280, 600, 640, 480));
}
