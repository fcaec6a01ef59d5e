// Latency harness for the window commands of the real tamsinvale binary on Xvfb + Openbox:
//   - window-switcher hotkey (XTEST) → the switcher panel mapped with the keyboard taken, for an application with
//     50 windows;
//   - snap and preset hotkeys → the manager's frame of the focused window at its new geometry (ConfigureNotify).
//
// usage: tamsinvale_x11windows_latency [PRESSES]   (default 200 of each; TAMSINVALE_BINARY names another build's)
// A witness connection on its own thread timestamps the events; it blocks on its socket, taking no CPU from the
// binary it measures. The keyboard is taken before the panel is shown, so mapped means ready for keys; that the
// keyboard is held is checked after each showing too.
#include <QDir>
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
#include "ProgramRun.h"
#include "X11TestPaths.h"
#include "XTestSession.h"

#include <xcb/xcb.h>
#include <xcb/xtest.h>

using namespace tamsinvale::x11test;
using tamsinvale::bench::percentile;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

constexpr double budgetP95Ms = 16.0;
constexpr int warmUp = 10;
constexpr int windowCount = 50;
const char* panelTitle = "Tamsinvale Window Switcher";

struct Witness {
    std::mutex mutex;
    std::condition_variable changed;
    xcb_window_t panel = XCB_WINDOW_NONE;  // learnt at its first mapping
    xcb_window_t frame = XCB_WINDOW_NONE;  // the measured client's frame
    QRect target;                          // the frame geometry awaited
    std::optional<Clock::time_point> mappedAt, unmappedAt, configuredAt;
};

bool isPanel(xcb_connection_t* c, xcb_window_t w)
{
    auto* r = xcb_get_property_reply(c, xcb_get_property(c, 0, w, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, 0, 64),
                                     nullptr);
    const bool match = r && std::string(static_cast<const char*>(xcb_get_property_value(r)),
                                        size_t(xcb_get_property_value_length(r))) == panelTitle;
    std::free(r);
    return match;
}

void observe(const QString& display, Witness& w, std::atomic<bool>& stop, std::atomic<bool>& ready)
{
    xcb_connection_t* c = xcb_connect(display.toLocal8Bit().constData(), nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(c, root, XCB_CW_EVENT_MASK, &mask);
    xcb_flush(c);
    ready = true;
    while (!stop && !xcb_connection_has_error(c)) {
        pollfd p{xcb_get_file_descriptor(c), POLLIN, 0};
        poll(&p, 1, 100);
        while (xcb_generic_event_t* e = xcb_poll_for_event(c)) {
            const auto now = Clock::now();
            const uint8_t type = e->response_type & 0x7f;
            if (type == XCB_MAP_NOTIFY) {
                const auto* m = reinterpret_cast<xcb_map_notify_event_t*>(e);
                std::unique_lock lock(w.mutex);
                if (w.panel == XCB_WINDOW_NONE && m->override_redirect) {
                    lock.unlock();
                    const bool panel = isPanel(c, m->window);  // a round trip, during the warm-up only
                    lock.lock();
                    if (panel)
                        w.panel = m->window;
                }
                if (m->window == w.panel && !w.mappedAt)
                    w.mappedAt = now;
            } else if (type == XCB_UNMAP_NOTIFY) {
                std::lock_guard lock(w.mutex);
                if (reinterpret_cast<xcb_unmap_notify_event_t*>(e)->window == w.panel && !w.unmappedAt)
                    w.unmappedAt = now;
            } else if (type == XCB_CONFIGURE_NOTIFY) {
                const auto* n = reinterpret_cast<xcb_configure_notify_event_t*>(e);
                std::lock_guard lock(w.mutex);
                const QRect r(n->x, n->y, n->width + 2 * n->border_width, n->height + 2 * n->border_width);
                if (n->window == w.frame && r == w.target && !w.configuredAt)
                    w.configuredAt = now;
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

double ms(Clock::time_point from, Clock::time_point to) { return std::chrono::duration<double, std::milli>(to - from).count(); }

void report(const char* what, const std::vector<double>& samples, int missed)
{
    std::printf("%s: n=%zu p50=%.2f ms p95=%.2f ms max=%.2f ms (budget p95 <= %.0f ms) missed=%d\n", what,
                samples.size(), percentile(samples, 0.5), percentile(samples, 0.95), percentile(samples, 1.0),
                budgetP95Ms, missed);
}

QString hotKey(int keyCode) { return QStringLiteral("{\"keyCode\":%1,\"modifiers\":256}").arg(keyCode); }

}  // namespace

int main(int argc, char** argv)
{
    const int presses = argc > 1 ? std::max(1, std::atoi(argv[1])) : 200;
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
        QList<WindowSpec> windows;
        for (int i = 0; i < windowCount; ++i) {
            WindowSpec window;
            window.title = QStringLiteral("document %1.txt — Bench Editor").arg(i);
            window.x = 40 + (i % 10) * 30;
            window.y = 40 + (i / 10) * 30;
            windows << window;
        }
        auto client = s.client(windows);
        auto bus = ChildProcess::start({"dbus-daemon", "--session", "--nofork", "--print-address=1"});
        const QString address = bus ? bus->readLine(10s).value_or(QString()) : QString();
        const QStringList env{"DISPLAY=" + s.display(), "DBUS_SESSION_BUS_ADDRESS=" + address,
                              "XDG_CONFIG_HOME=" + home.path() + "/config", "XDG_DATA_HOME=" + home.path() + "/data",
                              "XDG_DATA_DIRS=/nonexistent"};
        const QString presets =
            QStringLiteral("[{\"id\":\"6B1A2F3C-0000-4000-8000-A11F00000001\",\"name\":\"Full\",\"width\":\"full\","
                           "\"height\":\"full\",\"hotKey\":%1},"
                           "{\"id\":\"6B1A2F3C-0000-4000-8000-A11F00000002\",\"name\":\"Centre\",\"width\":\".5\","
                           "\"height\":\".5\",\"hotKey\":%2}]")
                .arg(hotKey(3), hotKey(8));  // Super+F, Super+C
        const QStringList settings{"snapLeftHotKey", hotKey(123), "snapRightHotKey", hotKey(124),
                                   "windowSizePresets", presets};
        for (int i = 0; i + 1 < settings.size(); i += 2)
            runWith(env, {binary, "settings", "set", settings[i], settings[i + 1]});
        // Its log goes to a file: a pipe nobody reads during the measurement would fill and stall it.
        const QString logPath = qEnvironmentVariable("TAMSINVALE_LOG", home.path() + "/tamsinvale.log");
        auto app = ChildProcess::start({"sh", "-c", "exec \"$0\" > \"$1\" 2>&1", binary, logPath}, env);
        auto logHas = [&](const char* text) {
            QFile log(logPath);
            return log.open(QIODevice::ReadOnly) && log.readAll().contains(text);
        };
        if (!app || !client || !s.waitUntil([&] { return logHas("tamsinvale.app: started:"); }, 20s)) {
            std::fprintf(stderr, "tamsinvale or the client did not come up\n");
            XTestSession::stop();
            return 2;
        }
        const xcb_window_t measured = client->window(windowCount - 1);
        s.activate(measured);

        xcb_connection_t* c = s.x().xcb();
        const xcb_keycode_t superKey = keycodeOf(c, 0xffeb), grave = keycodeOf(c, '`'), escape = keycodeOf(c, 0xff1b),
                            left = keycodeOf(c, 0xff51), right = keycodeOf(c, 0xff53), f = keycodeOf(c, 'f'),
                            centre = keycodeOf(c, 'c');
        Witness w;
        w.frame = s.x().topLevelAncestor(measured);
        std::atomic<bool> stop{false}, ready{false};
        std::thread witness(observe, s.display(), std::ref(w), std::ref(stop), std::ref(ready));
        while (!ready)
            std::this_thread::yield();

        // The window switcher, listing the client's 50 windows each time.
        std::vector<double> showMs;
        int showMissed = 0;
        for (int i = 0; i < warmUp + presses; ++i) {
            {
                std::lock_guard lock(w.mutex);
                w.mappedAt.reset();
                w.unmappedAt.reset();
            }
            const auto pressed = Clock::now();
            tap(c, {superKey, grave});
            const auto mapped = waitFor(w, [](Witness& x) { return x.mappedAt; }, 2s);
            if (!mapped || !s.x().keyboardGrabbedByAnother()) {
                std::fprintf(stderr, "showing %d: the panel was not mapped with the keyboard taken\n", i);
                ++showMissed;
            } else if (i >= warmUp) {
                showMs.push_back(ms(pressed, *mapped));
            }
            tap(c, {escape});
            if (!waitFor(w, [](Witness& x) { return x.unmappedAt; }, 2s))
                ++showMissed;
            std::this_thread::sleep_for(20ms);  // the keyboard given back, the dimming settled
        }

        // Snap and preset hotkeys on the same window, alternating so that every press changes the frame.
        const QSize screen = XTestSession::defaultSize;
        struct Command {
            xcb_keycode_t key;
            QRect frame;
        };
        const QList<std::pair<const char*, QList<Command>>> commands{
            {"snap hotkey -> frame at its new geometry",
             {{left, QRect(0, 0, screen.width() / 2, screen.height())},
              {right, QRect(screen.width() / 2, 0, screen.width() / 2, screen.height())}}},
            {"preset hotkey -> frame at its new geometry",
             {{f, QRect(QPoint(0, 0), screen)},
              {centre, QRect(screen.width() / 4, screen.height() / 4, screen.width() / 2, screen.height() / 2)}}}};
        for (const auto& [what, pair] : commands) {
            std::vector<double> samples;
            int missed = 0;
            for (int i = 0; i < warmUp + presses; ++i) {
                const Command& command = pair[i % 2];
                {
                    std::lock_guard lock(w.mutex);
                    w.configuredAt.reset();
                    w.target = command.frame;
                }
                const auto pressed = Clock::now();
                tap(c, {superKey, command.key});
                const auto configured = waitFor(w, [](Witness& x) { return x.configuredAt; }, 2s);
                if (!configured) {
                    std::fprintf(stderr, "%s, press %d: no frame at the new geometry\n", what, i);
                    ++missed;
                } else if (i >= warmUp) {
                    samples.push_back(ms(pressed, *configured));
                }
                std::this_thread::sleep_for(30ms);  // the second, confirming write of the frame is done
            }
            report(what, samples, missed);
            if (samples.empty() || percentile(samples, 0.95) > budgetP95Ms)
                rc = 1;
        }
        report("window-switcher hotkey -> panel mapped, keyboard taken (50 windows)", showMs, showMissed);
        if (showMs.empty() || percentile(showMs, 0.95) > budgetP95Ms)
            rc = 1;

        stop = true;
        witness.join();
        runWith(env, {binary, "ctl", "quit"});
        app->waitForExit(10s);
    }
    XTestSession::stop();
    return rc;
}
