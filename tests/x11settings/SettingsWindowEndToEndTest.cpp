// The settings window of the real tamsinvale on Xvfb + Openbox, driven from the keyboard through XTEST as a
// person would: opened with `tamsinvale ctl settings`, it takes the focus; a new app-switcher combination pressed
// into its recorder field (the global hotkeys let go of the keyboard meanwhile) opens the switcher afterwards
// while the old one no longer does; a key typed beside XTerm switches to it; a preset's width edited to ".5" with a
// recorded hotkey resizes a window; on the Wallpapers page a picture chosen from the keyboard becomes the background,
// the rotation toggles fill the rotation set, and a picture marked ↓ is downloaded from a local HTTPS server and
// then becomes the background. Every page is kept as a screenshot in the artifacts.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QTemporaryDir>

#include "ChildProcess.h"
#include "ProgramRun.h"
#include "X11TestPaths.h"
#include "XTestSession.h"
#include "XTools.h"

#include <xcb/xcb.h>

using namespace tamsinvale::x11test;
using namespace std::chrono_literals;

namespace {

const QString windowTitle = QStringLiteral("Tamsinvale Settings");
const QString switcherTitle = QStringLiteral("Tamsinvale App Switcher");

QString artifactsDir()
{
    const QString dir =
        qEnvironmentVariable("TAMSINVALE_ARTIFACTS_DIR", QStringLiteral(TAMSINVALE_SETTINGS_ARTIFACTS));
    QDir().mkpath(dir);
    return dir;
}

void screenshot(XTestSession& s, const QString& name)
{
    runTool({"import", "-display", s.display(), "-window", "root", artifactsDir() + "/" + name + ".png"}, 20s);
}

// The instance under test: its own bus and configuration; the only installed application is XTerm.
class Tamsinvale {
public:
    explicit Tamsinvale(XTestSession& s) : m_session(s)
    {
        QDir().mkpath(m_home.path() + "/data/applications");
        QDir().mkpath(m_home.path() + "/none");
        QFile::copy("/usr/share/applications/debian-xterm.desktop",
                    m_home.path() + "/data/applications/debian-xterm.desktop");
        env = {"DISPLAY=" + s.display(), "DBUS_SESSION_BUS_ADDRESS=" + m_bus.address,
               "XDG_CONFIG_HOME=" + m_home.path() + "/config", "XDG_DATA_HOME=" + m_home.path() + "/data",
               "XDG_CACHE_HOME=" + m_home.path() + "/cache",
               "XDG_DATA_DIRS=" + m_home.path() + "/none", "XDG_CURRENT_DESKTOP=Openbox", "LC_ALL=C.UTF-8",
               "TAMSINVALE_VERBOSE=1"};
        // One log per test: the tests of this file run side by side.
        m_log = artifactsDir() + "/tamsinvale-" +
            QString::fromUtf8(::testing::UnitTest::GetInstance()->current_test_info()->name()) + ".log";
        pictures = m_home.path() + "/none/backgrounds";
        dataHome = m_home.path() + "/data";
        QFile::remove(m_log);
    }
    ~Tamsinvale()
    {
        if (m_process && m_process->running()) {
            runWith(env, {tamsinvalePath, "ctl", "quit"});
            m_process->waitForExit(10s);
        }
    }
    bool start()
    {
        m_process = ChildProcess::start({"sh", "-c", "exec \"$0\" > \"$1\" 2>&1", tamsinvalePath, m_log}, env);
        return m_process && logged("tamsinvale.app: started:", 20s) && logged("discovery: refreshed", 20s);
    }
    QString log() const
    {
        QFile f(m_log);
        return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
    }
    bool logged(const QString& text, std::chrono::milliseconds timeout = 10s)
    {
        return m_session.waitUntil([&] { return log().contains(text); }, timeout);
    }
    int count(const QString& text) const { return int(log().count(text)); }
    ToolRun run(const QStringList& args) { return runWith(env, QStringList{tamsinvalePath} + args); }
    QString cacheHome() const { return m_home.path() + "/cache"; }

    QStringList env;
    QString pictures;  // the desktop's backgrounds folder
    QString dataHome;

private:
    XTestSession& m_session;
    QTemporaryDir m_home;
    SessionBus m_bus;
    QString m_log;
    std::unique_ptr<ChildProcess> m_process;
};

std::optional<xcb_window_t> viewableWindow(XTestSession& s, const QString& title)
{
    const auto found = s.tool({"xdotool", "search", "--name", "^" + title + "$"});
    if (!found)
        return std::nullopt;
    for (const QString& id : found->split('\n', Qt::SkipEmptyParts)) {
        const auto info = s.tool({"xwininfo", "-id", id.trimmed()});
        if (info && info->contains("IsViewable"))
            return id.trimmed().toUInt();
    }
    return std::nullopt;
}

bool press(XTestSession& s, const QStringList& keys)
{
    return s.tool(QStringList{"xdotool", "key", "--delay", "30"} + keys).has_value();
}

bool type(XTestSession& s, const QString& text)
{
    return s.tool({"xdotool", "type", "--delay", "30", text}).has_value();
}

// Whether some client holds a passive grab of the key typing `keysym` with these modifiers.
bool grabbed(XTestSession& s, xcb_keysym_t keysym, std::uint16_t modifiers)
{
    xcb_connection_t* c = s.x().xcb();
    const xcb_setup_t* setup = xcb_get_setup(c);
    auto* mapping = xcb_get_keyboard_mapping_reply(
        c, xcb_get_keyboard_mapping(c, setup->min_keycode, setup->max_keycode - setup->min_keycode + 1), nullptr);
    if (!mapping)
        return false;
    const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(mapping);
    xcb_keycode_t keycode = 0;
    for (int k = 0; k <= setup->max_keycode - setup->min_keycode && !keycode; ++k)
        if (syms[k * mapping->keysyms_per_keycode] == keysym)
            keycode = static_cast<xcb_keycode_t>(setup->min_keycode + k);
    free(mapping);
    return keycode && s.x().keyGrabbedByAnother(keycode, modifiers);
}

// The manager's frame around a client, in root coordinates.
std::optional<QRect> frameOf(XTestSession& s, xcb_window_t client)
{
    const xcb_window_t frame = s.x().topLevelAncestor(client);
    if (frame == XCB_WINDOW_NONE)
        return std::nullopt;
    auto* g = xcb_get_geometry_reply(s.x().xcb(), xcb_get_geometry(s.x().xcb(), frame), nullptr);
    if (!g)
        return std::nullopt;
    const QRect r(g->x, g->y, g->width + 2 * g->border_width, g->height + 2 * g->border_width);
    std::free(g);
    return r;
}

// Opens a page through the command line and waits until the window has the focus.
std::optional<xcb_window_t> openPage(XTestSession& s, Tamsinvale& app, const QString& page)
{
    const ToolRun opened = app.run({"ctl", "settings", page});
    EXPECT_EQ(opened.exitCode, 0) << opened.output.toStdString();
    EXPECT_FALSE(opened.output.contains("not built yet")) << opened.output.toStdString();
    std::optional<xcb_window_t> window;
    if (!s.waitUntil([&] { return (window = viewableWindow(s, windowTitle)).has_value(); }, 10s))
        return std::nullopt;
    if (!s.waitUntil([&] { return xtools::activeWindow() == window; }, 10s))
        return std::nullopt;
    EXPECT_TRUE(app.logged("window: shown on " + page));
    return window;
}

// A landscape picture: a sky gradient over two ranges of hills, in the colours given.
QString writeLandscape(const QString& path, QColor sky, QColor hills)
{
    const QSize size(1600, 1000);
    QImage image(size, QImage::Format_RGB32);
    QPainter p(&image);
    QLinearGradient gradient(0, 0, 0, size.height());
    gradient.setColorAt(0, sky.darker(130));
    gradient.setColorAt(1, sky.lighter(125));
    p.fillRect(image.rect(), gradient);
    p.setPen(Qt::NoPen);
    for (int range = 0; range < 2; ++range) {
        QPainterPath hill;
        const double base = size.height() * (range == 0 ? 0.6 : 0.75);
        hill.moveTo(0, size.height());
        hill.lineTo(0, base);
        for (int x = 0; x < size.width(); x += size.width() / 6)
            hill.quadTo(x + size.width() / 12.0, base - 120 + range * 50, x + size.width() / 6.0, base);
        hill.lineTo(size.width(), size.height());
        p.setBrush(range == 0 ? hills.lighter(120) : hills);
        p.drawPath(hill);
    }
    p.end();
    QDir().mkpath(QFileInfo(path).absolutePath());
    return image.save(path, "PNG") ? path : QString();
}

QString base64Json(const QString& path)
{
    return QStringLiteral("\"%1\"").arg(QString::fromLatin1(path.toUtf8().toBase64()));
}

constexpr std::uint16_t super = XCB_MOD_MASK_4;
constexpr std::uint16_t control = XCB_MOD_MASK_CONTROL;

}  // namespace

TEST(SettingsWindowEndToEnd, recordsAHotkeyBindsAnAppAndEditsAPreset)
{
    XTestSession& s = XTestSession::get();
    auto xterm = s.application({"xterm", "-title", "settings-xterm", "-geometry", "80x24+60+60"});
    ASSERT_TRUE(xterm);
    const auto xtermWindow = s.clientWindowOf("XTerm");
    ASSERT_TRUE(xtermWindow);
    WindowSpec otherSpec;
    otherSpec.title = "Other Work";
    otherSpec.windowClass = "OtherWork";
    otherSpec.instance = "otherwork";
    otherSpec.x = 900;
    otherSpec.y = 300;
    otherSpec.width = 500;
    otherSpec.height = 400;
    auto other = s.client({otherSpec});
    ASSERT_TRUE(other);
    ASSERT_TRUE(s.activate(*xtermWindow));

    Tamsinvale app(s);
    ASSERT_TRUE(app.start()) << app.log().toStdString();
    ASSERT_TRUE(grabbed(s, ' ', super)) << "the default app-switcher combination is not grabbed";

    // The Hotkeys page takes the focus; Tab from the sidebar reaches the App Switcher field, which records.
    auto window = openPage(s, app, "hotkeys");
    ASSERT_TRUE(window) << app.log().toStdString();
    ASSERT_TRUE(app.logged("window: first paint"));
    screenshot(s, "hotkeys");
    ASSERT_TRUE(press(s, {"Tab"}));
    ASSERT_TRUE(app.logged("suspended while a hotkey is being recorded")) << app.log().toStdString();
    // Nothing of ours holds the keyboard now, so the combination reaches the field.
    EXPECT_FALSE(grabbed(s, ' ', super));
    screenshot(s, "hotkeys-recording");
    ASSERT_TRUE(press(s, {"ctrl+space"}));
    ASSERT_TRUE(app.logged("resumed after recording")) << app.log().toStdString();
    const ToolRun stored = app.run({"settings", "get", "appSwitcherHotKey"});
    EXPECT_TRUE(stored.output.contains("\"keyCode\":49") && stored.output.contains("\"modifiers\":4096"))
        << stored.output.toStdString();
    ASSERT_TRUE(s.waitUntil([&] { return grabbed(s, ' ', control); })) << "the new combination is not grabbed";
    EXPECT_FALSE(grabbed(s, ' ', super)) << "the old combination is still grabbed";
    screenshot(s, "hotkeys-recorded");

    // The old combination opens nothing now; the new one opens the switcher.
    const int shownBefore = app.count("tamsinvale.switcher: show: begin");
    ASSERT_TRUE(press(s, {"super+space", "ctrl+space"}));
    ASSERT_TRUE(s.waitUntil([&] { return viewableWindow(s, switcherTitle).has_value(); })) << app.log().toStdString();
    EXPECT_EQ(app.count("tamsinvale.switcher: show: begin"), shownBefore + 1);
    ASSERT_TRUE(press(s, {"Escape"}));
    ASSERT_TRUE(s.waitUntil([&] { return !viewableWindow(s, switcherTitle); }));

    // App Shortcuts: XTerm is the only app, its first key field the first stop after the sidebar.
    window = openPage(s, app, "app-shortcuts");
    ASSERT_TRUE(window);
    ASSERT_TRUE(press(s, {"Tab"}));
    ASSERT_TRUE(type(s, "x"));
    screenshot(s, "app-shortcuts-typed");
    ASSERT_TRUE(s.waitUntil([&] {
        const ToolRun apps = app.run({"shortcuts", "apps", "xterm"});
        return apps.output.contains("debian-xterm\tx\t");
    })) << app.run({"shortcuts", "apps"}).output.toStdString();
    screenshot(s, "app-shortcuts");
    // Closed with Escape, the window gives the focus up; from another window, the new keys bring XTerm forward.
    ASSERT_TRUE(press(s, {"Escape"}));
    ASSERT_TRUE(s.waitUntil([&] { return !viewableWindow(s, windowTitle); }));
    ASSERT_TRUE(s.activate(other->window(0)));
    ASSERT_TRUE(press(s, {"ctrl+space"}));
    ASSERT_TRUE(s.waitUntil([&] { return viewableWindow(s, switcherTitle).has_value(); }));
    ASSERT_TRUE(press(s, {"x"}));
    EXPECT_TRUE(s.waitUntil([&] { return xtools::activeWindow() == *xtermWindow; })) << app.log().toStdString();

    // Window Sizes: the Full preset's width becomes ".5" and it gets Ctrl+Super+J.
    window = openPage(s, app, "window-sizes");
    ASSERT_TRUE(window);
    ASSERT_TRUE(press(s, {"Tab", "Tab", "ctrl+a"}));  // the name, then the width, all of it selected
    ASSERT_TRUE(type(s, ".5"));
    ASSERT_TRUE(press(s, {"Tab", "Tab"}));  // the height, then the hotkey field
    ASSERT_TRUE(app.logged("suspended while a hotkey is being recorded"));
    const int resumedBefore = app.count("resumed after recording");
    ASSERT_TRUE(press(s, {"ctrl+super+j"}));
    ASSERT_TRUE(s.waitUntil([&] { return app.count("resumed after recording") > resumedBefore; }));
    const QString presets = app.run({"settings", "get", "windowSizePresets"}).output.remove(' ');
    EXPECT_TRUE(presets.contains("\"width\":\".5\"")) << presets.toStdString();
    EXPECT_TRUE(presets.contains("\"keyCode\":38")) << presets.toStdString();
    screenshot(s, "window-sizes");
    ASSERT_TRUE(press(s, {"Escape"}));
    ASSERT_TRUE(s.waitUntil([&] { return !viewableWindow(s, windowTitle); }));

    ASSERT_TRUE(s.activate(*xtermWindow));
    ASSERT_TRUE(press(s, {"ctrl+super+j"}));
    const int available = s.rootSize().width();
    std::optional<QRect> frame;
    EXPECT_TRUE(s.waitUntil([&] {
        frame = frameOf(s, *xtermWindow);
        // xterm sizes in whole character cells: a little under half is still half.
        return frame && frame->width() <= available / 2 && frame->width() > available / 2 - 30;
    })) << (frame ? frame->width() : -1) << " " << app.log().toStdString();
    EXPECT_NEAR(frame->center().x(), available / 2, 20) << "not centred";

    // The other pages, for a person to look at.
    for (const QString& page : QStringList{"dimming", "inactive-apps", "general"}) {
        ASSERT_TRUE(openPage(s, app, page)) << page.toStdString();
        ASSERT_TRUE(app.logged("window: shown on " + page));
        screenshot(s, page);
    }
    // Reopening brings the same window back rather than a second one.
    const auto found = s.tool({"xdotool", "search", "--name", "^" + windowTitle + "$"});
    ASSERT_TRUE(found);
    EXPECT_EQ(found->split('\n', Qt::SkipEmptyParts).size(), 1);
}

TEST(SettingsWindowEndToEnd, wallpapersPageChoosesAPictureAndFillsTheRotation)
{
    XTestSession& s = XTestSession::get();
    Tamsinvale app(s);
    const QString alpine = writeLandscape(app.pictures + "/Alpine Meadow.png", QColor(90, 150, 220), QColor(60, 120, 60));
    const QString coast = writeLandscape(app.pictures + "/Coast.png", QColor(240, 160, 90), QColor(70, 60, 90));
    writeLandscape(app.pictures + "/Dunes.png", QColor(250, 200, 120), QColor(200, 140, 70));
    writeLandscape(app.pictures + "/Lines Graphic.png", QColor(40, 40, 60), QColor(200, 60, 120));
    // A catalogue picture that is not here, served as the platform packs it (AssetData/<picture> in a zip) by a
    // local HTTPS server whose certificate only this instance trusts.
    QTemporaryDir work;
    const QString served = work.filePath("served");
    QDir().mkpath(served);
    const QString cert = work.filePath("cert.pem"), key = work.filePath("key.pem");
    int exitCode = -1;
    runTool({"openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-subj", "/CN=127.0.0.1",
             "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", key, "-out", cert},
            30s, &exitCode);
    ASSERT_EQ(exitCode, 0) << "openssl is needed";
    const QString bigSurPicture = writeLandscape(work.filePath("Big Sur.png"), QColor(30, 60, 120), QColor(20, 90, 110));
    runTool({"python3", "-c",
             "import sys, zipfile; z = zipfile.ZipFile(sys.argv[1], 'w'); z.write(sys.argv[2], 'AssetData/Big Sur.png')",
             served + "/big-sur.zip", bigSurPicture},
            30s, &exitCode);
    ASSERT_EQ(exitCode, 0);
    auto server = ChildProcess::start({"python3", TAMSINVALE_ARCHIVE_SERVER, served, cert, key});
    ASSERT_TRUE(server);
    const std::optional<QString> port = server->readLine(10s);
    ASSERT_TRUE(port) << "the archive server did not start";
    QFile catalogue(app.dataHome + "/Tamsinvale/DesktopPictureCatalog.xml");
    QDir().mkpath(app.dataHome + "/Tamsinvale");
    ASSERT_TRUE(catalogue.open(QIODevice::WriteOnly));
    catalogue.write(QStringLiteral(R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>Assets</key><array><dict>
<key>DesktopPictureID</key><string>Big Sur</string>
<key>__BaseURL</key><string>https://127.0.0.1:%1/</string>
<key>__RelativePath</key><string>big-sur.zip</string>
<key>_DownloadSize</key><integer>%2</integer>
</dict></array></dict></plist>
)").arg(port->trimmed()).arg(QFileInfo(served + "/big-sur.zip").size()).toUtf8());
    catalogue.close();
    app.env << "TAMSINVALE_EXTRA_CA_CERTIFICATES=" + cert;
    ASSERT_FALSE(alpine.isEmpty() || coast.isEmpty());
    ASSERT_TRUE(app.start()) << app.log().toStdString();

    auto window = openPage(s, app, "wallpapers");
    ASSERT_TRUE(window) << app.log().toStdString();
    // Tab from the sidebar: the interval, then the first picture (Next Wallpaper is off with no rotation set).
    ASSERT_TRUE(press(s, {"Tab", "Tab", "space"}));
    ASSERT_TRUE(s.waitUntil([&] {
        return app.run({"settings", "get", "focusDimBackgroundImageBookmark"}).output.trimmed() == base64Json(alpine);
    })) << app.run({"settings", "get", "focusDimBackgroundImageBookmark"}).output.toStdString();

    // Each picture's "Rotate" toggle follows it. Big Sur, still to be downloaded, cannot take turns: its toggle is
    // off and skipped, so Alpine Meadow and Coast join the set.
    ASSERT_TRUE(press(s, {"Tab", "space", "Tab", "Tab", "Tab", "space"}));
    ASSERT_TRUE(s.waitUntil([&] {
        const QStringList rotation = app.run({"wallpapers", "rotation"}).output.split('\n', Qt::SkipEmptyParts);
        return rotation.contains(alpine) && rotation.contains(coast);
    })) << app.run({"wallpapers", "rotation"}).output.toStdString();

    screenshot(s, "wallpapers-before-download");
    // Back to Big Sur (its toggle is skipped) and chosen: downloaded, installed, then the background.
    ASSERT_TRUE(press(s, {"shift+Tab", "shift+Tab", "space"}));
    const QString installed = app.dataHome + "/Tamsinvale/Wallpapers/Big Sur.png";
    ASSERT_TRUE(s.waitUntil([&] {
        return app.run({"settings", "get", "focusDimBackgroundImageBookmark"}).output.trimmed() == base64Json(installed);
    }, 20s)) << app.log().toStdString();
    EXPECT_TRUE(app.log().contains("downloading wallpaper 'Big Sur'"));

    // A choice made on the command line shows on the open page (the screenshot shows Coast marked).
    const ToolRun used = app.run({"wallpapers", "use", coast});
    EXPECT_EQ(used.exitCode, 0) << used.output.toStdString();
    ASSERT_TRUE(s.waitUntil([&] {
        return app.run({"settings", "get", "focusDimBackgroundImageBookmark"}).output.trimmed() == base64Json(coast);
    }));
    // Its previews come from the thread pool and are kept on disk, the downloaded picture's too.
    EXPECT_TRUE(s.waitUntil([&] {
        return QDir(app.cacheHome() + "/tamsinvale/wallpaper-thumbnails").entryList(QDir::Files).size() >= 5;
    })) << app.log().toStdString();
    screenshot(s, "wallpapers");
}
