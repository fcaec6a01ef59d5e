// Latency harness: from the window manager setting _NET_ACTIVE_WINDOW to every monitor's overlay of the real
// tamsinvale binary standing where the dimming rules put it; then the binary's CPU use while idle.
//
// usage: tamsinvale_x11dim_latency [ACTIVATIONS] [IDLE-SECONDS]   (defaults 250 and 60)
// Starts its own Xvfb + Openbox with two monitors, one test client window on each, and tamsinvale with "Fully Dim
// Other Screens" on, so that every activation moves both overlays: below the new active window on its monitor,
// above everything on the other. A witness connection on its own thread timestamps the root's PropertyNotify for
// _NET_ACTIVE_WINDOW and checks the root's stacking after each overlay ConfigureNotify.
#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <algorithm>
#include <csignal>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <poll.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "../x11/LatencyHarness.h"
#include "ChildProcess.h"
#include "X11TestPaths.h"
#include "XTestSession.h"

using namespace tamsinvale::x11test;
using tamsinvale::bench::activeWindow;
using tamsinvale::bench::percentile;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

constexpr double budgetP95Ms = 5.0;
constexpr double budgetIdleCpuPercent = 0.2;
constexpr int warmUp = 20;
constexpr QRect leftMonitor(0, 0, 960, 1080);
constexpr QRect rightMonitor(960, 0, 960, 1080);

// Per activation: which overlay must sit directly below which frame, and which must be above every frame.
struct Expectation {
    xcb_window_t target = XCB_WINDOW_NONE;
    xcb_window_t belowOverlay = XCB_WINDOW_NONE;
    xcb_window_t belowFrame = XCB_WINDOW_NONE;
    xcb_window_t coverOverlay = XCB_WINDOW_NONE;
    std::vector<xcb_window_t> frames;
};

struct Measurement {
    std::mutex mutex;
    bool armed = false;
    Expectation expect;
    std::optional<Clock::time_point> propertyAt;
    std::vector<double> samplesMs;
    std::atomic<int> completed{0};
};

bool holds(xcb_connection_t* c, xcb_window_t root, const Expectation& e)
{
    auto* tree = xcb_query_tree_reply(c, xcb_query_tree(c, root), nullptr);
    if (!tree)
        return false;
    const xcb_window_t* children = xcb_query_tree_children(tree);
    const int n = xcb_query_tree_children_length(tree);
    auto index = [&](xcb_window_t w) {
        for (int i = 0; i < n; ++i)
            if (children[i] == w)
                return i;
        return -1;
    };
    const int below = index(e.belowOverlay);
    bool ok = below >= 0 && below + 1 < n && children[below + 1] == e.belowFrame;
    const int cover = index(e.coverOverlay);
    for (const xcb_window_t f : e.frames)
        ok = ok && cover > index(f);
    std::free(tree);
    return ok;
}

void observe(const QString& display, std::vector<xcb_window_t> overlays, Measurement& m, std::atomic<bool>& stop,
             std::atomic<bool>& ready)
{
    xcb_connection_t* c = xcb_connect(display.toLocal8Bit().constData(), nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    static constexpr char name[] = "_NET_ACTIVE_WINDOW";
    auto* atomReply = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, sizeof name - 1, name), nullptr);
    const xcb_atom_t activeAtom = atomReply ? atomReply->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(atomReply);
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(c, root, XCB_CW_EVENT_MASK, &mask);
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    ready = true;
    auto complete = [&](Clock::time_point at) {
        m.samplesMs.push_back(std::chrono::duration<double, std::milli>(at - *m.propertyAt).count());
        m.armed = false;
        ++m.completed;
        QMetaObject::invokeMethod(QCoreApplication::instance(), [] {}, Qt::QueuedConnection);
    };
    while (!stop && !xcb_connection_has_error(c)) {
        pollfd p{xcb_get_file_descriptor(c), POLLIN, 0};
        poll(&p, 1, 100);
        while (xcb_generic_event_t* event = xcb_poll_for_event(c)) {
            const Clock::time_point at = Clock::now();
            const std::uint8_t type = event->response_type & 0x7f;
            std::unique_lock lock(m.mutex);
            if (type == XCB_PROPERTY_NOTIFY) {
                const auto* e = reinterpret_cast<xcb_property_notify_event_t*>(event);
                if (e->window == root && e->atom == activeAtom && m.armed && !m.propertyAt
                    && activeWindow(c, root, activeAtom) == m.expect.target) {
                    m.propertyAt = at;
                    if (holds(c, root, m.expect))
                        complete(at);
                }
            } else if (type == XCB_CONFIGURE_NOTIFY) {
                const auto* e = reinterpret_cast<xcb_configure_notify_event_t*>(event);
                if (std::find(overlays.begin(), overlays.end(), e->window) != overlays.end() && m.armed && m.propertyAt
                    && holds(c, root, m.expect))
                    complete(at);
            }
            std::free(event);
        }
    }
    xcb_disconnect(c);
}

// User plus system CPU seconds of a process so far.
double cpuSeconds(pid_t pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray text = stat.readAll();
    const QList<QByteArray> f = text.mid(text.lastIndexOf(')') + 2).split(' ');
    if (f.size() < 13)
        return -1;
    return (f[11].toDouble() + f[12].toDouble()) / double(sysconf(_SC_CLK_TCK));
}

std::optional<xcb_window_t> overlayOn(XTestSession& s, pid_t pid, const QRect& monitor)
{
    xcb_connection_t* c = s.x().xcb();
    auto* tree = xcb_query_tree_reply(c, xcb_query_tree(c, s.x().root()), nullptr);
    std::optional<xcb_window_t> found;
    for (int i = 0; tree && i < xcb_query_tree_children_length(tree) && !found; ++i) {
        const xcb_window_t w = xcb_query_tree_children(tree)[i];
        const QList<uint32_t> owner = s.x().cardinals(w, "_NET_WM_PID");
        auto* a = xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, w), nullptr);
        auto* g = xcb_get_geometry_reply(c, xcb_get_geometry(c, w), nullptr);
        if (!owner.isEmpty() && owner.first() == uint32_t(pid) && a && a->map_state == XCB_MAP_STATE_VIEWABLE && g
            && monitor.contains(QRect(g->x, g->y, g->width, g->height).center()) && g->height > monitor.height() / 2)
            found = w;
        std::free(a);
        std::free(g);
    }
    std::free(tree);
    return found;
}

}  // namespace

int main(int argc, char** argv)
{
    const int activations = argc > 1 ? std::max(1, std::atoi(argv[1])) : 250;
    const int idleSeconds = argc > 2 ? std::max(0, std::atoi(argv[2])) : 60;
    QString failure;
    if (!XTestSession::start(&failure)) {
        std::fprintf(stderr, "cannot start the desktop: %s\n", qPrintable(failure));
        return 2;
    }
    int rc = 0;
    {
        XTestSession& s = XTestSession::get();
        s.x().setMonitors({{"L", leftMonitor, true}, {"R", rightMonitor, false}});
        WindowSpec a, b;
        a.title = QStringLiteral("left");
        a.x = 100;
        b.title = QStringLiteral("right");
        b.x = 1100;
        auto left = s.client({a});
        auto right = s.client({b});
        QTemporaryDir config;
        auto bus = ChildProcess::start({"dbus-daemon", "--session", "--nofork", "--print-address=1"});
        const QString address = bus ? bus->readLine(10s).value_or(QString()) : QString();
        const QStringList env{"DISPLAY=" + s.display(), "DBUS_SESSION_BUS_ADDRESS=" + address,
                              "XDG_CONFIG_HOME=" + config.path(), "XDG_DATA_HOME=" + config.path() + "/data"};
        auto setting = ChildProcess::start({tamsinvalePath, "settings", "set", "focusDimOtherScreensFully", "true"}, env);
        if (setting)
            setting->waitForExit(10s);
        auto app = ChildProcess::start({"sh", "-c", "exec \"$0\" > \"$1\" 2>&1", tamsinvalePath, config.filePath("log")}, env);
        std::optional<xcb_window_t> overlayL, overlayR;
        const bool up = left && right && app && s.waitUntil([&] {
            overlayL = overlayOn(s, app->pid(), leftMonitor);
            overlayR = overlayOn(s, app->pid(), rightMonitor);
            return overlayL && overlayR;
        }, 20s);
        if (!up) {
            std::fprintf(stderr, "did not come up: clients %s, tamsinvale %s, overlays %s/%s\n", left && right ? "ok" : "missing",
                         app ? "started" : "missing", overlayL ? "left" : "-", overlayR ? "right" : "-");
            XTestSession::stop();
            return 2;
        }
        const xcb_window_t frameL = s.x().topLevelAncestor(left->window(0));
        const xcb_window_t frameR = s.x().topLevelAncestor(right->window(0));
        const Expectation onLeft{left->window(0), *overlayL, frameL, *overlayR, {frameL, frameR}};
        const Expectation onRight{right->window(0), *overlayR, frameR, *overlayL, {frameL, frameR}};

        Measurement m;
        std::atomic<bool> stop{false}, ready{false};
        std::thread witness(observe, s.display(), std::vector<xcb_window_t>{*overlayL, *overlayR}, std::ref(m),
                            std::ref(stop), std::ref(ready));
        while (!ready)
            std::this_thread::yield();
        const xcb_atom_t activeAtom = s.x().atom("_NET_ACTIVE_WINDOW");
        int missed = 0;
        for (int i = 0; i < warmUp + activations; ++i) {
            const Expectation& e = i % 2 == 0 ? onRight : onLeft;
            {
                std::lock_guard lock(m.mutex);
                m.armed = true;
                m.expect = e;
                m.propertyAt.reset();
            }
            const int before = m.completed;
            xcb_client_message_event_t request{};
            request.response_type = XCB_CLIENT_MESSAGE;
            request.format = 32;
            request.window = e.target;
            request.type = activeAtom;
            request.data.data32[0] = 2;  // a pager's request: no timestamp check
            xcb_send_event(s.x().xcb(), 0, s.x().root(),
                           XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                           reinterpret_cast<const char*>(&request));
            xcb_flush(s.x().xcb());
            const auto deadline = Clock::now() + 2s;
            while (m.completed == before && Clock::now() < deadline)
                QThread::usleep(200);
            if (m.completed == before) {
                std::lock_guard lock(m.mutex);
                m.armed = false;
                if (i >= warmUp)
                    ++missed;
            }
            // Past the 0.05 s debounce and the 0.03 s verify pass, so that each activation starts from rest.
            std::this_thread::sleep_for(120ms);
        }
        stop = true;
        witness.join();
        std::vector<double> measured;
        {
            std::lock_guard lock(m.mutex);
            const auto skip = std::min<std::ptrdiff_t>(warmUp, std::ptrdiff_t(m.samplesMs.size()));
            measured.assign(m.samplesMs.begin() + skip, m.samplesMs.end());
        }
        const double p95 = percentile(measured, 0.95);
        const bool latencyMet = p95 <= budgetP95Ms && missed == 0 && measured.size() >= 200;
        std::printf("activation -> both overlays restacked (real tamsinvale, Openbox, Xvfb, 2 monitors): "
                    "%zu activations measured, %d missed\n",
                    measured.size(), missed);
        std::printf("median %.3f ms  p95 %.3f ms  p99 %.3f ms  max %.3f ms  (budget: p95 <= %.1f ms: %s)\n",
                    percentile(measured, 0.5), p95, percentile(measured, 0.99),
                    measured.empty() ? 0.0 : *std::max_element(measured.begin(), measured.end()), budgetP95Ms,
                    latencyMet ? "met" : "NOT met");
        rc = latencyMet ? 0 : 1;

        if (idleSeconds > 0) {
            // Idle: dimming on, nothing happening but the 3 s safety timer.
            std::this_thread::sleep_for(2s);
            const double before = cpuSeconds(app->pid());
            const auto t0 = Clock::now();
            std::this_thread::sleep_for(std::chrono::seconds(idleSeconds));
            const double used = cpuSeconds(app->pid()) - before;
            const double wall = std::chrono::duration<double>(Clock::now() - t0).count();
            const double percent = 100.0 * used / wall;
            const bool idleMet = before >= 0 && percent <= budgetIdleCpuPercent;
            std::printf("idle CPU with dimming on over %.0f s: %.3f %% (%.3f s CPU)  (budget: <= %.1f %%: %s)\n", wall,
                        percent, used, budgetIdleCpuPercent, idleMet ? "met" : "NOT met");
            if (!idleMet)
                rc = 1;
        }
        kill(app->pid(), SIGTERM);
        app->waitForExit(10s);
    }
    XTestSession::stop();
    return rc;
}
