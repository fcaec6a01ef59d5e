// A long randomised session against the real binary: clients opening, hiding and closing windows, activations by
// click and by request, monitors coming and going, full screen, the window manager killed and restarted, a
// compositor started and stopped, the app switcher, quick dim, clearing screens and settings changes. After each
// event the desktop must settle into a state where the invariants hold; at the end memory and descriptors are
// compared with a warmed-up start. Seeded: the seed is printed so that a failure replays.
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTextStream>
#include <cstdio>
#include <deque>
#include <random>

#include "ChildProcess.h"
#include "TamsinvaleInstance.h"
#include "TestClient.h"
#include "XTestSession.h"

#include <xcb/shape.h>
#include <xcb/xcb.h>

using namespace tamsinvale::x11test;
using namespace std::chrono_literals;

namespace {

struct Options {
    int events = 10000;
    std::uint64_t seed = 0;
    QString artifacts;
    QStringList only;  // event kinds to draw from (all when empty), for narrowing a problem down
};

struct SoakWindow {
    int client = 0;
    int index = 0;
    xcb_window_t id = XCB_WINDOW_NONE;
    bool mapped = true;
    bool fullScreen = false;
};

long readStatusKb(pid_t pid, const char* field)
{
    QFile f(QStringLiteral("/proc/%1/status").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : f.readAll().split('\n'))
        if (line.startsWith(field))
            return line.mid(int(std::strlen(field))).trimmed().split(' ').first().toLong();
    return -1;
}

// What each open descriptor of the process refers to ("socket:[…]", "anon_inode:[eventfd]", a path).
QStringList openDescriptors(pid_t pid)
{
    QStringList targets;
    const QDir fds(QStringLiteral("/proc/%1/fd").arg(pid));
    for (const QString& fd : fds.entryList(QDir::NoDotAndDotDot | QDir::System))
        targets << QFileInfo(fds.filePath(fd)).symLinkTarget().section(QLatin1Char('/'), -1) + QLatin1Char(' ') + fd;
    return targets;
}

class Soak {
public:
    Soak(XTestSession& s, TamsinvaleInstance& app, const Options& options)
        : m_s(s), m_app(app), m_options(options), m_random(options.seed)
    {
    }

    int run();

private:
    // The desktop as the server has it.
    struct Child {
        xcb_window_t id;
        QRect rect;
        bool viewable;
    };
    QList<Child> rootChildren();
    QList<QRect> monitors() const { return m_split ? QList<QRect>{m_left, m_right} : QList<QRect>{m_whole}; }
    xcb_window_t frameOf(xcb_window_t window) { return m_s.x().topLevelAncestor(window); }
    bool isFullScreen(xcb_window_t window);
    QList<QRect> shapeOf(xcb_window_t window);
    // Empty when every invariant holds, else what does not.
    QString violation();
    bool settle(std::chrono::milliseconds timeout = std::chrono::milliseconds(8000));

    void event(int n);
    void openWindow();
    void openWindowOf(int client);
    void closeWindow();
    void toggleMapped();
    void activateByRequest();
    void activateByClick();
    void toggleMonitors();
    void toggleFullScreen();
    void restartWindowManager();
    void toggleCompositor();
    void appSwitcher();
    void toggleQuickDim();
    void toggleClearScreens();
    void changeSetting();

    SoakWindow* pickWindow(bool mustBeMapped);
    void note(const QString& what);
    void fail(const QString& why);
    bool sendState(xcb_window_t window, bool add, const char* state);

    XTestSession& m_s;
    TamsinvaleInstance& m_app;
    Options m_options;
    std::mt19937_64 m_random;
    std::vector<std::unique_ptr<TestClient>> m_clients;
    std::vector<SoakWindow> m_windows;
    std::unique_ptr<ChildProcess> m_compositor;
    std::deque<QString> m_log;
    bool m_split = false;
    bool m_quickDim = false;
    bool m_clearScreens = false;
    int m_serial = 0;
    const QRect m_whole{0, 0, 1920, 1080};
    const QRect m_left{0, 0, 960, 1080};
    const QRect m_right{960, 0, 960, 1080};
    QMap<QString, int> m_counts;
};

void Soak::note(const QString& what)
{
    m_log.push_back(what);
    if (m_log.size() > 60)
        m_log.pop_front();
}

void Soak::fail(const QString& why)
{
    std::printf("soak: FAILED: %s\nsoak: the last events:\n", qPrintable(why));
    for (const QString& line : m_log)
        std::printf("  %s\n", qPrintable(line));
    const QString shot = m_options.artifacts + QStringLiteral("/soak-failure.png");
    runTool({"import", "-display", m_s.display(), "-window", "root", shot}, 20s);
    std::printf("soak: screenshot %s\nsoak: log of the instance %s/soak.log\n", qPrintable(shot),
                qPrintable(m_options.artifacts));
    std::fflush(stdout);
}

QList<Soak::Child> Soak::rootChildren()
{
    QList<Child> out;
    xcb_connection_t* c = m_s.x().xcb();
    auto* tree = xcb_query_tree_reply(c, xcb_query_tree(c, m_s.x().root()), nullptr);
    if (!tree)
        return out;
    const xcb_window_t* w = xcb_query_tree_children(tree);
    const int n = xcb_query_tree_children_length(tree);
    std::vector<std::pair<xcb_get_geometry_cookie_t, xcb_get_window_attributes_cookie_t>> cookies;
    for (int i = 0; i < n; ++i)
        cookies.push_back({xcb_get_geometry(c, w[i]), xcb_get_window_attributes(c, w[i])});
    for (int i = 0; i < n; ++i) {
        auto* g = xcb_get_geometry_reply(c, cookies[std::size_t(i)].first, nullptr);
        auto* a = xcb_get_window_attributes_reply(c, cookies[std::size_t(i)].second, nullptr);
        out.append({w[i], g ? QRect(g->x, g->y, g->width + 2 * g->border_width, g->height + 2 * g->border_width) : QRect(),
                    a && a->map_state == XCB_MAP_STATE_VIEWABLE});
        std::free(g);
        std::free(a);
    }
    std::free(tree);
    return out;
}

bool Soak::isFullScreen(xcb_window_t window)
{
    const xcb_atom_t fs = m_s.x().atom("_NET_WM_STATE_FULLSCREEN");
    return m_s.x().cardinals(window, "_NET_WM_STATE").contains(fs);
}

QList<QRect> Soak::shapeOf(xcb_window_t window)
{
    QList<QRect> out;
    xcb_connection_t* c = m_s.x().xcb();
    auto* r = xcb_shape_get_rectangles_reply(c, xcb_shape_get_rectangles(c, window, XCB_SHAPE_SK_BOUNDING), nullptr);
    if (!r)
        return out;
    const xcb_rectangle_t* rects = xcb_shape_get_rectangles_rectangles(r);
    for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(r); ++i)
        out.append(QRect(rects[i].x, rects[i].y, rects[i].width, rects[i].height));
    std::free(r);
    return out;
}

QString Soak::violation()
{
    if (!m_app.running())
        return QStringLiteral("the tamsinvale process has ended");
    const QList<TamsinvaleInstance::Window> ours = m_app.windows();
    const QList<Child> children = rootChildren();
    auto indexOf = [&](xcb_window_t w) {
        for (int i = 0; i < children.size(); ++i)
            if (children[i].id == w)
                return i;
        return -1;
    };
    // Overlays and strips: our windows as wide as a monitor. Anything else of ours (a switcher panel) means a
    // panel is up, and the dimming checks wait for it to go.
    QList<TamsinvaleInstance::Window> overlays;
    bool panelUp = false;
    for (const auto& w : ours) {
        bool monitorWide = false;
        for (const QRect& m : monitors())
            monitorWide = monitorWide || (w.geometry.x() == m.x() && w.geometry.width() == m.width());
        (monitorWide ? overlays.append(w) : void(panelUp = true));
    }
    // Nothing of ours over a full-screen window.
    for (const SoakWindow& sw : m_windows) {
        if (!sw.mapped || !isFullScreen(sw.id))
            continue;
        const xcb_window_t frame = frameOf(sw.id);
        const int at = indexOf(frame);
        if (at < 0)
            continue;
        for (const auto& o : overlays)
            if (o.stackIndex > at && o.geometry.intersects(children[at].rect)) {
                const QList<QRect> shape = shapeOf(o.id);
                bool covers = shape.isEmpty();
                for (const QRect& r : shape)
                    covers = covers || r.translated(o.geometry.topLeft()).intersects(children[at].rect);
                if (covers)
                    return QStringLiteral("our window 0x%1 stands above the full-screen window 0x%2")
                        .arg(o.id, 0, 16).arg(sw.id, 0, 16);
            }
    }
    if (panelUp || m_quickDim || m_clearScreens)
        return {};
    // The active window stays bright: its monitor's overlay directly below its frame, or cut out around it.
    const auto active = m_s.x().cardinals(m_s.x().root(), "_NET_ACTIVE_WINDOW");
    if (active.isEmpty() || active.first() == XCB_WINDOW_NONE)
        return {};
    const auto known = std::find_if(m_windows.begin(), m_windows.end(),
                                    [&](const SoakWindow& w) { return w.id == active.first() && w.mapped; });
    if (known == m_windows.end() || isFullScreen(known->id))
        return {};
    const int activeAt = indexOf(frameOf(known->id));
    if (activeAt < 0 || !children[activeAt].viewable)
        return {};
    std::optional<QRect> monitor;
    for (const QRect& m : monitors())
        if (m.contains(children[activeAt].rect.center()))
            monitor = m;
    if (!monitor)
        return {};
    // The window the overlay belongs under: the active application's frontmost window on that monitor (a manager
    // may focus a window without raising it, after a restart for instance).
    int at = activeAt;
    xcb_window_t target = known->id;
    for (const SoakWindow& sw : m_windows) {
        if (sw.client != known->client || !sw.mapped)
            continue;
        const int f = indexOf(frameOf(sw.id));
        if (f > at && children[f].viewable && monitor->contains(children[f].rect.center())) {
            at = f;
            target = sw.id;
        }
    }
    const xcb_window_t frame = children[at].id;
    const QRect frameRect = children[at].rect;
    // A window filling a monitor (full screen, or a frame at its origin with at least 98 % of its area) hides the
    // overlays: dimming steps aside for it.
    for (const SoakWindow& sw : m_windows) {
        const int f = indexOf(frameOf(sw.id));
        if (!sw.mapped || f < 0 || !children[f].viewable)
            continue;
        const QRect r = children[f].rect;
        for (const QRect& m : monitors())
            if (isFullScreen(sw.id)
                || (std::abs(r.x() - m.x()) <= 3 && std::abs(r.y() - m.y()) <= 3
                    && double(r.width()) * r.height() >= 0.98 * m.width() * m.height()))
                return {};
    }
    for (const auto& o : overlays) {
        if (o.geometry != *monitor)
            continue;
        if (o.stackIndex + 1 == at)
            return {};
        if (o.stackIndex > at) {
            bool overFrame = false;
            for (const QRect& r : shapeOf(o.id))
                overFrame = overFrame || r.translated(o.geometry.topLeft()).intersects(frameRect.adjusted(2, 2, -2, -2));
            if (!overFrame)
                return {};
            return QStringLiteral("overlay 0x%1 is above the active application's frontmost window 0x%2 and covers it")
                .arg(o.id, 0, 16).arg(target, 0, 16);
        }
        return QStringLiteral("overlay 0x%1 (stack %2) is not directly below the frame 0x%3 (stack %4) of the active "
                              "application's frontmost window")
            .arg(o.id, 0, 16).arg(o.stackIndex).arg(frame, 0, 16).arg(at);
    }
    return QStringLiteral("no overlay on the monitor of the active window 0x%1").arg(known->id, 0, 16);
}

bool Soak::settle(std::chrono::milliseconds timeout)
{
    QString last;
    const bool ok = m_s.waitUntil(
        [&] {
            last = violation();
            return last.isEmpty();
        },
        timeout);
    if (!ok)
        fail(last);
    return ok;
}

SoakWindow* Soak::pickWindow(bool mustBeMapped)
{
    std::vector<SoakWindow*> candidates;
    for (SoakWindow& w : m_windows)
        if (!mustBeMapped || w.mapped)
            candidates.push_back(&w);
    if (candidates.empty())
        return nullptr;
    return candidates[std::uniform_int_distribution<std::size_t>(0, candidates.size() - 1)(m_random)];
}

void Soak::openWindow()
{
    if (m_windows.size() >= 10)
        return closeWindow();
    openWindowOf(std::uniform_int_distribution<int>(0, int(m_clients.size()) - 1)(m_random));
}

void Soak::openWindowOf(int client)
{
    WindowSpec window;
    window.title = QStringLiteral("soak-%1").arg(++m_serial);
    window.windowClass = QStringLiteral("Soak%1").arg(client);
    window.x = std::uniform_int_distribution<int>(0, 1500)(m_random);
    window.y = std::uniform_int_distribution<int>(0, 700)(m_random);
    window.width = std::uniform_int_distribution<int>(200, 900)(m_random);
    window.height = std::uniform_int_distribution<int>(150, 600)(m_random);
    const auto id = m_clients[std::size_t(client)]->openWindow(window);
    note(QStringLiteral("open window %1 of client %2 at %3,%4 %5x%6 → 0x%7")
             .arg(window.title).arg(client).arg(window.x).arg(window.y).arg(window.width).arg(window.height)
             .arg(id.value_or(0), 0, 16));
    if (id)
        m_windows.push_back({client, int(m_clients[std::size_t(client)]->windows().size()) - 1, *id, true, false});
}

void Soak::closeWindow()
{
    if (m_windows.size() <= 2)
        return openWindow();
    const std::size_t i = std::uniform_int_distribution<std::size_t>(0, m_windows.size() - 1)(m_random);
    const SoakWindow w = m_windows[i];
    note(QStringLiteral("close window 0x%1").arg(w.id, 0, 16));
    m_clients[std::size_t(w.client)]->closeWindow(w.index);
    m_windows.erase(m_windows.begin() + std::ptrdiff_t(i));
}

void Soak::toggleMapped()
{
    SoakWindow* w = pickWindow(false);
    if (!w)
        return;
    w->mapped = !w->mapped;
    note(QStringLiteral("%1 window 0x%2").arg(w->mapped ? "map" : "unmap").arg(w->id, 0, 16));
    runTool({"xdotool", w->mapped ? "windowmap" : "windowunmap", QString::number(w->id)});
    if (w->mapped)
        w->fullScreen = false;  // a withdrawn window comes back in its plain state
}

void Soak::activateByRequest()
{
    SoakWindow* w = pickWindow(true);
    if (!w)
        return;
    note(QStringLiteral("activate 0x%1 through _NET_ACTIVE_WINDOW").arg(w->id, 0, 16));
    runTool({"xdotool", "windowactivate", QString::number(w->id)});
}

void Soak::activateByClick()
{
    SoakWindow* w = pickWindow(true);
    if (!w)
        return;
    const QList<Child> children = rootChildren();
    const xcb_window_t frame = frameOf(w->id);
    for (const Child& c : children)
        if (c.id == frame && c.viewable) {
            const QPoint p = c.rect.center();
            note(QStringLiteral("click at %1,%2 (window 0x%3)").arg(p.x()).arg(p.y()).arg(w->id, 0, 16));
            runTool({"xdotool", "mousemove", QString::number(p.x()), QString::number(p.y()), "click", "1"});
            return;
        }
}

void Soak::toggleMonitors()
{
    m_split = !m_split;
    note(m_split ? QStringLiteral("monitors: two side by side") : QStringLiteral("monitors: one"));
    if (m_split)
        m_s.x().setMonitors({MonitorSpec{"L", m_left, true}, MonitorSpec{"R", m_right, false}});
    else
        m_s.resetMonitors();
}

bool Soak::sendState(xcb_window_t window, bool add, const char* state)
{
    xcb_client_message_event_t e{};
    e.response_type = XCB_CLIENT_MESSAGE;
    e.format = 32;
    e.window = window;
    e.type = m_s.x().atom("_NET_WM_STATE");
    e.data.data32[0] = add ? 1 : 0;
    e.data.data32[1] = m_s.x().atom(state);
    e.data.data32[3] = 2;
    xcb_send_event(m_s.x().xcb(), 0, m_s.x().root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&e));
    xcb_flush(m_s.x().xcb());
    return true;
}

void Soak::toggleFullScreen()
{
    SoakWindow* w = pickWindow(true);
    if (!w)
        return;
    w->fullScreen = !w->fullScreen;
    note(QStringLiteral("full screen %1 for 0x%2").arg(w->fullScreen ? "on" : "off").arg(w->id, 0, 16));
    sendState(w->id, w->fullScreen, "_NET_WM_STATE_FULLSCREEN");
    const bool want = w->fullScreen;
    const xcb_window_t id = w->id;
    m_s.waitUntil([&] { return isFullScreen(id) == want; }, 3s);
}

void Soak::restartWindowManager()
{
    note(QStringLiteral("window manager killed and restarted"));
    if (!m_s.restartWindowManager())
        note(QStringLiteral("  (the window manager did not come back in time)"));
    for (SoakWindow& w : m_windows)
        w.fullScreen = m_s.x().windowExists(w.id) && isFullScreen(w.id);
}

void Soak::toggleCompositor()
{
    if (m_compositor) {
        note(QStringLiteral("compositor stopped"));
        m_compositor.reset();
        m_s.waitUntil([&] { return m_s.x().selectionOwner("_NET_WM_CM_S0") == XCB_WINDOW_NONE; }, 5s);
        return;
    }
    if (m_s.x().selectionOwner("_NET_WM_CM_S0") != XCB_WINDOW_NONE)
        return;  // the manager composites itself
    note(QStringLiteral("compositor started"));
    m_compositor = ChildProcess::start({"xcompmgr"}, {"DISPLAY=" + m_s.display()}, false);
    m_s.waitUntil([&] { return m_s.x().selectionOwner("_NET_WM_CM_S0") != XCB_WINDOW_NONE; }, 5s);
}

void Soak::appSwitcher()
{
    note(QStringLiteral("app switcher opened, then closed with Escape"));
    const int before = m_app.windows().size();
    m_app.ctl(QStringLiteral("app-switcher"));
    const bool shown = m_s.waitUntil([&] { return m_app.windows().size() > before; }, 3s);
    runTool({"xdotool", "key", "Escape"});
    if (shown)
        m_s.waitUntil([&] { return m_app.windows().size() <= before; }, 3s);
}

void Soak::toggleQuickDim()
{
    m_quickDim = !m_quickDim;
    note(QStringLiteral("quick dim %1").arg(m_quickDim ? "on" : "off"));
    m_app.ctl(QStringLiteral("quick-dim"));
}

void Soak::toggleClearScreens()
{
    m_clearScreens = !m_clearScreens;
    note(QStringLiteral("clear inactive screens %1").arg(m_clearScreens ? "on" : "off"));
    m_app.ctl(QStringLiteral("clear-inactive-screens"));
}

void Soak::changeSetting()
{
    static const QList<QPair<QString, QStringList>> choices{
        {"focusDimWallpaperDarkening", {"0", "0.35", "0.8"}},
        {"focusDimBlackBackground", {"true", "false"}},
        {"dimMenuBarEnabled", {"true", "false"}},
        {"dimMenuBarOpacity", {"0.2", "0.6"}},
        {"focusDimOtherScreensFully", {"true", "false"}},
    };
    const auto& [name, values] = choices[std::uniform_int_distribution<int>(0, int(choices.size()) - 1)(m_random)];
    const QString value = values[std::uniform_int_distribution<int>(0, int(values.size()) - 1)(m_random)];
    note(QStringLiteral("settings set %1 %2").arg(name, value));
    m_app.setting(name, value);
}

void Soak::event(int n)
{
    struct Kind {
        const char* name;
        int weight;
        void (Soak::*run)();
    };
    static const Kind kinds[] = {
        {"open", 10, &Soak::openWindow},          {"close", 7, &Soak::closeWindow},
        {"map/unmap", 8, &Soak::toggleMapped},     {"activate", 20, &Soak::activateByRequest},
        {"click", 15, &Soak::activateByClick},     {"monitors", 3, &Soak::toggleMonitors},
        {"full screen", 5, &Soak::toggleFullScreen}, {"window manager", 1, &Soak::restartWindowManager},
        {"compositor", 2, &Soak::toggleCompositor}, {"app switcher", 3, &Soak::appSwitcher},
        {"quick dim", 2, &Soak::toggleQuickDim},   {"clear screens", 2, &Soak::toggleClearScreens},
        {"settings", 3, &Soak::changeSetting},
    };
    auto weight = [this](const Kind& k) {
        return m_options.only.isEmpty() || m_options.only.contains(QLatin1String(k.name)) ? k.weight : 0;
    };
    int total = 0;
    for (const Kind& k : kinds)
        total += weight(k);
    if (total == 0)
        return;
    int pick = std::uniform_int_distribution<int>(0, total - 1)(m_random);
    for (const Kind& k : kinds) {
        if (pick < weight(k)) {
            note(QStringLiteral("#%1 %2").arg(n).arg(QLatin1String(k.name)));
            ++m_counts[QLatin1String(k.name)];
            (this->*k.run)();
            return;
        }
        pick -= weight(k);
    }
}

int Soak::run()
{
    for (int i = 0; i < 3; ++i) {
        WindowSpec window;
        window.title = QStringLiteral("soak-client-%1").arg(i);
        window.windowClass = QStringLiteral("Soak%1").arg(i);
        window.x = 100 + 500 * i;
        window.y = 120 + 60 * i;
        auto client = m_s.client({window});
        if (!client) {
            fail(QStringLiteral("test client %1 did not start").arg(i));
            return 1;
        }
        m_windows.push_back({i, 0, client->window(0), true, false});
        m_clients.push_back(std::move(client));
    }
    // The overlays come up a moment after start (longer under a memory profiler).
    note(QStringLiteral("start"));
    if (!settle(std::chrono::milliseconds(60000)))
        return 1;
    const pid_t pid = m_app.pid();
    const int warmUp = std::min(200, m_options.events / 10);
    long rssStart = -1;
    QStringList fdsStart;
    const auto started = std::chrono::steady_clock::now();
    for (int n = 1; n <= m_options.events; ++n) {
        event(n);
        if (!settle())
            return 1;
        if (n == warmUp) {
            rssStart = readStatusKb(pid, "VmRSS:");
            fdsStart = openDescriptors(pid);
        }
        if (n % 500 == 0) {
            std::printf("soak: %d events, RSS %ld kB, %d descriptors\n", n, readStatusKb(pid, "VmRSS:"),
                        int(openDescriptors(pid).size()));
            std::fflush(stdout);
        }
    }
    // Back to the state of the warm-up's end for the comparison: no compositor, one monitor, no modes.
    if (m_compositor)
        toggleCompositor();
    if (m_split)
        toggleMonitors();
    if (m_quickDim)
        toggleQuickDim();
    if (m_clearScreens)
        toggleClearScreens();
    // A client process left without a window on screen (closed or unmapped: either leaves the client list) is
    // still running, so Tamsinvale rightly watches for its exit (one pidfd each); give each such client a window
    // again, as at the warm-up, before counting descriptors.
    for (int client = 0; client < int(m_clients.size()); ++client)
        if (std::none_of(m_windows.cbegin(), m_windows.cend(),
                         [client](const SoakWindow& w) { return w.client == client && w.mapped; }))
            openWindowOf(client);
    if (!settle())
        return 1;
    const long rssEnd = readStatusKb(pid, "VmRSS:");
    const QStringList fdsEnd = openDescriptors(pid);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::printf("soak: %d events in %.0f s; counts:", m_options.events, seconds);
    for (auto it = m_counts.cbegin(); it != m_counts.cend(); ++it)
        std::printf(" %s=%d", qPrintable(it.key()), it.value());
    std::printf("\nsoak: RSS %ld kB after warm-up (event %d), %ld kB at the end: %+ld kB\n", rssStart, warmUp, rssEnd,
                rssEnd - rssStart);
    std::printf("soak: descriptors %d after warm-up, %d at the end\n", int(fdsStart.size()), int(fdsEnd.size()));
    // X errors other than a window vanishing mid-request (BadWindow 3, BadDrawable 9).
    const QRegularExpression xError(QStringLiteral("XCB error: (\\d+)"));
    int otherErrors = 0;
    for (auto it = xError.globalMatch(m_app.log()); it.hasNext();) {
        const int code = it.next().captured(1).toInt();
        if (code != 3 && code != 9)
            ++otherErrors;
    }
    std::printf("soak: X errors other than a vanished window: %d\n", otherErrors);
    bool ok = true;
#ifdef TAMSINVALE_SANITIZED
    // A sanitized build keeps freed memory in quarantine and grows shadow memory: its resident size says nothing
    // about leaks (LeakSanitizer reports those when the app exits).
    constexpr bool memoryMeaningful = false;
#else
    constexpr bool memoryMeaningful = true;
#endif
    if (memoryMeaningful && rssEnd - rssStart >= 10 * 1024) {
        fail(QStringLiteral("resident memory grew by %1 kB").arg(rssEnd - rssStart));
        ok = false;
    }
    if (fdsEnd.size() > fdsStart.size()) {
        QStringList added;
        for (const QString& fd : fdsEnd)
            if (!fdsStart.contains(fd))
                added << fd;
        fail(QStringLiteral("%1 descriptors leaked; new since the warm-up: %2")
                 .arg(fdsEnd.size() - fdsStart.size())
                 .arg(added.join(QStringLiteral(", "))));
        ok = false;
    }
    if (otherErrors > 0) {
        fail(QStringLiteral("%1 X errors other than a vanished window in the log").arg(otherErrors));
        ok = false;
    }
    return ok ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv)
{
    Options options;
    options.seed = std::random_device{}();
    options.artifacts = QString::fromLocal8Bit(qgetenv("TAMSINVALE_ARTIFACTS_DIR"));
    if (options.artifacts.isEmpty())
        options.artifacts = QStringLiteral(TAMSINVALE_SOAK_ARTIFACTS);
    for (int i = 1; i < argc; ++i) {
        const QString a = QString::fromLocal8Bit(argv[i]);
        if (a == QLatin1String("--events") && i + 1 < argc)
            options.events = QString::fromLocal8Bit(argv[++i]).toInt();
        else if (a == QLatin1String("--only") && i + 1 < argc)
            options.only = QString::fromLocal8Bit(argv[++i]).split(QLatin1Char(','));
        else if (a == QLatin1String("--seed") && i + 1 < argc)
            options.seed = QString::fromLocal8Bit(argv[++i]).toULongLong();
        else {
            std::fprintf(stderr, "usage: %s [--events N] [--seed S] [--only KIND,KIND…]\n", argv[0]);
            return 2;
        }
    }
    QDir().mkpath(options.artifacts);
    const QString wm = qEnvironmentVariable("TAMSINVALE_TEST_WM", QStringLiteral("openbox"));
    std::printf("soak: seed %llu, %d events, window manager %s (replay: scripts/soak --events %d --seed %llu)\n",
                static_cast<unsigned long long>(options.seed), options.events, qPrintable(wm), options.events,
                static_cast<unsigned long long>(options.seed));
    std::fflush(stdout);
    QString failure;
    if (!XTestSession::start(&failure)) {
        std::printf("soak: cannot start the desktop: %s\n", qPrintable(failure));
        return 1;
    }
    int rc = 1;
    {
        XTestSession& s = XTestSession::get();
        TamsinvaleInstance app(s, options.artifacts + QStringLiteral("/soak.log"));
        if (!app.start()) {
            std::printf("soak: tamsinvale did not start\n%s\n", qPrintable(app.log()));
        } else {
            Soak soak(s, app, options);
            rc = soak.run();
        }
    }
    XTestSession::stop();
    std::printf("soak: %s\n", rc == 0 ? "every invariant held" : "FAILED");
    return rc;
}
