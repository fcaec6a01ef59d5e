// Latency harness: hotkey press (XTEST) to the switcher panel of the real tamsinvale binary mapped with the
// keyboard taken, with 500 discovered applications; and a bound key to its running target becoming active.
//
// usage: tamsinvale_x11switch_latency [SHOWINGS]   (default 200; TAMSINVALE_BINARY names another build's binary)
// Starts its own Xvfb + Openbox and tamsinvale with 500 desktop entries. A witness connection on its own thread
// timestamps the MapNotify of our override-redirect panel (the keyboard is taken before the panel is shown, so
// mapped means ready for keys) and changes of _NET_ACTIVE_WINDOW.
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <poll.h>
#include <thread>
#include <vector>

#include "../x11/LatencyHarness.h"
#include "ChildProcess.h"
#include "X11TestPaths.h"
#include "XTestSession.h"

#include <xcb/xcb.h>
#include <xcb/xtest.h>

using namespace tamsinvale::x11test;
using tamsinvale::bench::percentile;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

constexpr double budgetShowP95Ms = 16.0;
constexpr double budgetActivateMedianMs = 30.0;
constexpr int warmUp = 10;
constexpr int discoveredApps = 500;

struct Witness {
    std::mutex mutex;
    std::condition_variable changed;
    std::optional<Clock::time_point> mappedAt;
    std::optional<Clock::time_point> unmappedAt;
    std::optional<Clock::time_point> activeChangedAt;
};

// Blocks on the connection's socket rather than spinning, so that the harness takes no CPU from the binary it
// measures while it waits.
void observe(const QString& display, Witness& w, std::atomic<bool>& stop, std::atomic<bool>& ready)
{
    xcb_connection_t* c = xcb_connect(display.toLocal8Bit().constData(), nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(c, root, XCB_CW_EVENT_MASK, &mask);
    auto* atomReply = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, 18, "_NET_ACTIVE_WINDOW"), nullptr);
    const xcb_atom_t active = atomReply ? atomReply->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(atomReply);
    xcb_flush(c);
    ready = true;
    while (!stop && !xcb_connection_has_error(c)) {
        pollfd p{xcb_get_file_descriptor(c), POLLIN, 0};
        poll(&p, 1, 100);
        while (xcb_generic_event_t* e = xcb_poll_for_event(c)) {
            const auto now = Clock::now();
            const uint8_t type = e->response_type & 0x7f;
            {
                std::lock_guard lock(w.mutex);
                if (type == XCB_MAP_NOTIFY && reinterpret_cast<xcb_map_notify_event_t*>(e)->override_redirect
                    && !w.mappedAt)
                    w.mappedAt = now;
                else if (type == XCB_UNMAP_NOTIFY && !w.unmappedAt)
                    w.unmappedAt = now;
                else if (type == XCB_PROPERTY_NOTIFY
                         && reinterpret_cast<xcb_property_notify_event_t*>(e)->atom == active && !w.activeChangedAt)
                    w.activeChangedAt = now;
            }
            w.changed.notify_all();
            std::free(e);
        }
    }
    xcb_disconnect(c);
}

xcb_keycode_t keycodeOf(xcb_connection_t* c, xcb_keysym_t keysym)
{
    const xcb_setup_t* setup = xcb_get_setup(c);
    auto* mapping = xcb_get_keyboard_mapping_reply(
        c, xcb_get_keyboard_mapping(c, setup->min_keycode, setup->max_keycode - setup->min_keycode + 1), nullptr);
    xcb_keycode_t keycode = 0;
    if (mapping) {
        const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(mapping);
        for (int k = 0; k <= setup->max_keycode - setup->min_keycode && !keycode; ++k)
            if (syms[k * mapping->keysyms_per_keycode] == keysym)
                keycode = xcb_keycode_t(setup->min_keycode + k);
    }
    std::free(mapping);
    return keycode;
}

void tap(xcb_connection_t* c, std::initializer_list<xcb_keycode_t> chord)
{
    for (xcb_keycode_t k : chord)
        xcb_test_fake_input(c, XCB_KEY_PRESS, k, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    for (auto it = std::rbegin(chord); it != std::rend(chord); ++it)
        xcb_test_fake_input(c, XCB_KEY_RELEASE, *it, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    xcb_flush(c);
}

template <typename F>
std::optional<Clock::time_point> waitFor(Witness& w, F field, std::chrono::milliseconds timeout)
{
    std::unique_lock lock(w.mutex);
    w.changed.wait_for(lock, timeout, [&] { return field(w).has_value(); });
    return field(w);
}

}  // namespace

int main(int argc, char** argv)
{
    const int showings = argc > 1 ? std::max(1, std::atoi(argv[1])) : 200;
    const QString binary = qEnvironmentVariable("TAMSINVALE_BINARY", QString::fromLocal8Bit(tamsinvalePath));
    QString failure;
    if (!XTestSession::start(&failure)) {
        std::fprintf(stderr, "cannot start the desktop: %s\n", qPrintable(failure));
        return 2;
    }
    int rc = 0;
    {
        XTestSession& s = XTestSession::get();
        QTemporaryDir home;
        QDir().mkpath(home.path() + "/data/applications");
        for (int i = 0; i < discoveredApps; ++i) {
            QFile f(home.path() + QStringLiteral("/data/applications/bench-app%1.desktop").arg(i));
            if (f.open(QIODevice::WriteOnly))
                f.write(QStringLiteral("[Desktop Entry]\nType=Application\nName=Bench App %1\nExec=/bin/true\n")
                            .arg(i)
                            .toUtf8());
        }
        QFile target(home.path() + "/data/applications/bench-target.desktop");
        if (target.open(QIODevice::WriteOnly))
            target.write(QStringLiteral("[Desktop Entry]\nType=Application\nName=Bench Target\nExec=%1\n"
                                        "StartupWMClass=BenchTarget\n").arg(testClientPath).toUtf8());
        target.close();
        WindowSpec windowSpec;
        windowSpec.windowClass = "BenchTarget";
        auto client = s.client({windowSpec});
        WindowSpec other;
        other.title = "other";
        other.x = 700;
        auto otherClient = s.client({other});
        auto bus = ChildProcess::start({"dbus-daemon", "--session", "--nofork", "--print-address=1"});
        const QString address = bus ? bus->readLine(10s).value_or(QString()) : QString();
        const QStringList env{"DISPLAY=" + s.display(), "DBUS_SESSION_BUS_ADDRESS=" + address,
                              "XDG_CONFIG_HOME=" + home.path() + "/config", "XDG_DATA_HOME=" + home.path() + "/data",
                              "XDG_DATA_DIRS=/nonexistent"};
        auto bind = ChildProcess::start({binary, "shortcuts", "bind", "bench-target", "b"}, env);
        if (bind)
            bind->waitForExit(10s);
        // Its log goes to a file: a pipe nobody reads during the measurement would fill and stall it.
        const QString logPath = qEnvironmentVariable("TAMSINVALE_LOG", home.path() + "/tamsinvale.log");
        auto app = ChildProcess::start({"sh", "-c", "exec \"$0\" > \"$1\" 2>&1", binary, logPath}, env);
        auto logHas = [&](const char* text) {
            QFile log(logPath);
            return log.open(QIODevice::ReadOnly) && log.readAll().contains(text);
        };
        // Up, and the start-up scan of the 500 entries finished, before measuring.
        if (!app || !client || !otherClient
            || !s.waitUntil([&] { return logHas("tamsinvale.app: started:") && logHas("discovery: refreshed"); }, 20s)) {
            std::fprintf(stderr, "tamsinvale or the clients did not come up\n");
            XTestSession::stop();
            return 2;
        }

        xcb_connection_t* c = s.x().xcb();
        const xcb_keycode_t superKey = keycodeOf(c, 0xffeb), space = keycodeOf(c, ' '), escape = keycodeOf(c, 0xff1b),
                            b = keycodeOf(c, 'b');
        Witness w;
        std::atomic<bool> stop{false}, ready{false};
        std::thread witness(observe, s.display(), std::ref(w), std::ref(stop), std::ref(ready));
        while (!ready)
            std::this_thread::yield();

        std::vector<double> showMs, activateMs;
        int missed = 0;
        for (int i = 0; i < warmUp + showings; ++i) {
            {
                std::lock_guard lock(w.mutex);
                w.mappedAt.reset();
                w.unmappedAt.reset();
                w.activeChangedAt.reset();
            }
            const auto pressed = Clock::now();
            tap(c, {superKey, space});
            const auto mapped = waitFor(w, [](Witness& x) { return x.mappedAt; }, 2s);
            if (!mapped) {
                std::fprintf(stderr, "showing %d: the panel was not mapped\n", i);
                ++missed;
                continue;
            }
            if (i >= warmUp)
                showMs.push_back(std::chrono::duration<double, std::milli>(*mapped - pressed).count());
            // Every fourth showing switches to the running target; the others close with Escape.
            const bool switchToTarget = i % 4 == 0;
            if (switchToTarget)
                s.activate(otherClient->window(0));
            {
                std::lock_guard lock(w.mutex);
                w.activeChangedAt.reset();
            }
            const auto keyAt = Clock::now();
            tap(c, {switchToTarget ? b : escape});
            if (!waitFor(w, [](Witness& x) { return x.unmappedAt; }, 2s)) {
                std::fprintf(stderr, "showing %d: the panel did not close\n", i);
                ++missed;
            }
            if (switchToTarget) {
                if (auto active = waitFor(w, [](Witness& x) { return x.activeChangedAt; }, 500ms); active && i >= warmUp)
                    activateMs.push_back(std::chrono::duration<double, std::milli>(*active - keyAt).count());
            }
        }
        stop = true;
        witness.join();

        const double showP50 = percentile(showMs, 0.5), showP95 = percentile(showMs, 0.95);
        std::printf("hotkey -> panel mapped, keyboard taken (%d apps): n=%zu p50=%.2f ms p95=%.2f ms max=%.2f ms "
                    "(budget p95 <= %.0f ms) missed=%d\n",
                    discoveredApps, showMs.size(), showP50, showP95, percentile(showMs, 1.0), budgetShowP95Ms, missed);
        if (activateMs.empty()) {
            std::printf("key -> running target active: not measured (the target never became active; the X11 "
                        "workspace cannot activate other programs' windows yet)\n");
        } else {
            std::printf("key -> running target active: n=%zu median=%.2f ms p95=%.2f ms (budget median <= %.0f ms)\n",
                        activateMs.size(), percentile(activateMs, 0.5), percentile(activateMs, 0.95),
                        budgetActivateMedianMs);
            if (percentile(activateMs, 0.5) > budgetActivateMedianMs)
                rc = 1;
        }
        if (showMs.empty() || showP95 > budgetShowP95Ms)
            rc = 1;
        ChildProcess::start({binary, "ctl", "quit"}, env);
        app->waitForExit(10s);
    }
    XTestSession::stop();
    return rc;
}
