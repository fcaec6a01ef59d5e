// Latency harness: changing the dimming overlay's picture to a 6016 × 6016 HEIC on a 1920 × 1080 screen, with the
// real tamsinvale binary. Measures (1) the longest stall of its main thread while the change is under way, as the
// longest answer time of D-Bus calls it serves on that thread (`Actions`, asked back to back from a thread of our
// own), and how long the main thread was actually running during that answer (its scheduler statistics: on a
// shared machine an answer also waits for a free core); (2) the time from the settings file being written until
// the new picture's pixels are on screen, and the CPU time the decode took off the main thread.
//
// usage: tamsinvale_x11wallpapers_latency [CHANGES]   (default 8; every change is to a picture not decoded before)
// Starts its own Xvfb + Openbox and tamsinvale, makes two 6016 × 6016 HEIC pictures with heif-enc (a warm one and a
// cool one, told apart on screen by which channel dominates) and copies of them under new names, so that each
// change decodes afresh. Each change is `tamsinvale settings set focusDimBackgroundImageBookmark …`, as a script or
// the settings window would make it.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QThread>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <thread>
#include <unistd.h>
#include <vector>

#include "../x11/LatencyHarness.h"
#include "ChildProcess.h"
#include "ProgramRun.h"
#include "TamsinvaleInstance.h"
#include "X11TestPaths.h"
#include "XTestSession.h"

using namespace tamsinvale::x11test;
using tamsinvale::bench::percentile;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

constexpr double budgetStallMs = 16.0;
constexpr double budgetOnScreenMs = 1500.0;
constexpr int side = 6016;
const QPoint probe(240, 300);  // left of the window in front, inside the overlay

// A busy picture (gradient, many soft shapes) in one family of colours: warm ones are red-dominant everywhere,
// cool ones blue-dominant, so that one probe pixel tells them apart after scaling and darkening.
bool makeHeic(const QString& png, const QString& heic, bool warm)
{
    QImage image(side, side, QImage::Format_RGB32);
    QPainter p(&image);
    QLinearGradient g(0, 0, side, side);
    g.setColorAt(0, warm ? QColor(250, 150, 60) : QColor(40, 110, 230));
    g.setColorAt(1, warm ? QColor(200, 40, 30) : QColor(20, 60, 160));
    p.fillRect(image.rect(), g);
    p.setPen(Qt::NoPen);
    QRandomGenerator random(warm ? 7 : 11);
    for (int i = 0; i < 1500; ++i) {
        const int a = int(random.bounded(120)), b = int(random.bounded(80));
        p.setBrush(warm ? QColor(200 + a / 3, 60 + b, 20 + b / 2, 140) : QColor(20 + b / 2, 60 + b, 200 + a / 3, 140));
        const double r = 20 + random.bounded(400);
        p.drawEllipse(QPointF(random.bounded(side), random.bounded(side)), r, r * (0.5 + random.bounded(1.0)));
    }
    p.end();
    if (!image.save(png, "PNG"))
        return false;
    int exitCode = -1;
    runTool({"heif-enc", "-q", "80", "-o", heic, png}, 600s, &exitCode);
    return exitCode == 0 && QFile::exists(heic);
}

std::optional<QRgb> screenPixel(XTestSession& s, QPoint at)
{
    xcb_connection_t* c = s.x().xcb();
    auto* image = xcb_get_image_reply(
        c, xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, s.x().root(), int16_t(at.x()), int16_t(at.y()), 1, 1, ~0u),
        nullptr);
    if (!image)
        return std::nullopt;
    std::uint32_t pixel = 0;
    if (xcb_get_image_data_length(image) >= 4)
        std::memcpy(&pixel, xcb_get_image_data(image), 4);
    std::free(image);
    return pixel & 0xffffff;
}

bool shows(std::optional<QRgb> pixel, bool warm)
{
    if (!pixel)
        return false;
    return warm ? qRed(*pixel) > qBlue(*pixel) + 40 : qBlue(*pixel) > qRed(*pixel) + 40;
}

struct Ping {
    Clock::time_point sent;
    double ms;      // until the answer came
    double busyMs;  // of which the main thread was running (not waiting for a core)
};

// Nanoseconds a thread has been running on a core, from the scheduler's statistics.
double runNanoseconds(const QString& schedstatPath)
{
    QFile f(schedstatPath);
    return f.open(QIODevice::ReadOnly) ? f.readAll().split(' ').value(0).toDouble() : -1;
}

// Calls `Actions` on the instance's main thread back to back until stopped.
void pingLoop(const QString& busAddress, pid_t pid, std::vector<Ping>& pings, std::mutex& mutex,
              std::atomic<bool>& stop)
{
    const QString mainThread = QStringLiteral("/proc/%1/task/%1/schedstat").arg(pid);
    QDBusConnection bus = QDBusConnection::connectToBus(busAddress, QStringLiteral("wallpaper-bench-ping"));
    const QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.tamsinvale.Tamsinvale"), QStringLiteral("/org/tamsinvale/Tamsinvale"),
        QStringLiteral("org.tamsinvale.Tamsinvale"), QStringLiteral("Actions"));
    while (!stop) {
        const double ranBefore = runNanoseconds(mainThread);
        const Clock::time_point sent = Clock::now();
        const QDBusMessage reply = bus.call(call, QDBus::Block, 5000);
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - sent).count();
        const double busy = (runNanoseconds(mainThread) - ranBefore) / 1e6;
        if (reply.type() == QDBusMessage::ReplyMessage) {
            std::lock_guard lock(mutex);
            pings.push_back({sent, ms, busy});
        }
        std::this_thread::sleep_for(500us);
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("wallpaper-bench-ping"));
}

// Among the calls under way at any time in [from, to]: the longest answer, and the longest time the main thread
// spent running while one call waited (its own work, without the time it waited for a busy core).
std::pair<double, double> longestStall(const std::vector<Ping>& pings, Clock::time_point from, Clock::time_point to)
{
    double worst = 0, worstBusy = 0;
    for (const Ping& p : pings) {
        const auto end = p.sent + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double, std::milli>(p.ms));
        if (end >= from && p.sent <= to) {
            worst = std::max(worst, p.ms);
            worstBusy = std::max(worstBusy, p.busyMs);
        }
    }
    return {worst, worstBusy};
}

// CPU seconds a process (or one of its threads) has used, from /proc.
double cpuSeconds(const QString& statPath)
{
    QFile stat(statPath);
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray text = stat.readAll();
    const QList<QByteArray> f = text.mid(text.lastIndexOf(')') + 2).split(' ');
    if (f.size() < 13)
        return -1;
    return (f[11].toDouble() + f[12].toDouble()) / double(sysconf(_SC_CLK_TCK));
}

// CPU the instance spent decoding, in seconds: all of it but its main thread's and its D-Bus thread's (which
// answers our pings). Decoding threads that have ended still count in the process total.
double backgroundCpu(pid_t pid)
{
    double other = cpuSeconds(QStringLiteral("/proc/%1/task/%1/stat").arg(pid));
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    for (const QString& tid : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(tasks.filePath(tid + QStringLiteral("/comm")));
        if (comm.open(QIODevice::ReadOnly) && comm.readAll().trimmed() == "QDBusConnection")
            other += cpuSeconds(tasks.filePath(tid + QStringLiteral("/stat")));
    }
    return cpuSeconds(QStringLiteral("/proc/%1/stat").arg(pid)) - other;
}

}  // namespace

int main(int argc, char** argv)
{
    const int changes = argc > 1 ? std::max(1, std::atoi(argv[1])) : 8;
    QString failure;
    if (!XTestSession::start(&failure)) {
        std::fprintf(stderr, "cannot start the desktop: %s\n", qPrintable(failure));
        return 2;
    }
    int rc = 0;
    {
        XTestSession& s = XTestSession::get();
        QTemporaryDir work;
        std::printf("making two %d x %d HEIC pictures with heif-enc...\n", side, side);
        std::fflush(stdout);
        const QString warm = work.filePath("warm.heic"), cool = work.filePath("cool.heic");
        if (!makeHeic(work.filePath("warm.png"), warm, true) || !makeHeic(work.filePath("cool.png"), cool, false)) {
            std::fprintf(stderr, "heif-enc could not make the pictures (libheif-examples installed?)\n");
            XTestSession::stop();
            return 2;
        }
        std::printf("HEIC sizes: %lld and %lld bytes\n", QFileInfo(warm).size(), QFileInfo(cool).size());

        TamsinvaleInstance app(s, work.filePath("tamsinvale.log"));
        QTemporaryDir noData;
        app.setEnvironment("XDG_DATA_DIRS", noData.path());
        app.setEnvironment("TAMSINVALE_VERBOSE", "0");
        WindowSpec front;
        front.title = QStringLiteral("front");
        front.x = 900;
        front.y = 200;
        auto client = s.client({front});
        if (!client || !app.start() || !s.activate(client->windows().first())) {
            std::fprintf(stderr, "did not come up\n%s\n", qPrintable(app.log()));
            XTestSession::stop();
            return 2;
        }
        QString busAddress;
        for (const QString& entry : app.environment())
            if (entry.startsWith("DBUS_SESSION_BUS_ADDRESS="))
                busAddress = entry.mid(25);

        std::vector<Ping> pings;
        std::mutex mutex;
        std::atomic<bool> stop{false};
        std::thread pinger(pingLoop, busAddress, app.pid(), std::ref(pings), std::ref(mutex), std::ref(stop));
        // Idle answer times first, for comparison.
        std::this_thread::sleep_for(2s);
        double idleWorst = 0, idleWorstBusy = 0;
        std::vector<double> idle;
        {
            std::lock_guard lock(mutex);
            for (const Ping& p : pings) {
                idle.push_back(p.ms);
                idleWorstBusy = std::max(idleWorstBusy, p.busyMs);
            }
            idleWorst = idle.empty() ? 0 : *std::max_element(idle.begin(), idle.end());
        }

        std::vector<double> stalls, busy, onScreen, decodeCpu;
        int missed = 0;
        for (int i = 0; i < changes; ++i) {
            const bool toWarm = i % 2 == 0;
            const QString picture = work.filePath(QStringLiteral("picture-%1.heic").arg(i));
            QFile::copy(toWarm ? warm : cool, picture);
            const QString value = QStringLiteral("\"%1\"").arg(QString::fromLatin1(picture.toUtf8().toBase64()));
            const double cpuBefore = backgroundCpu(app.pid());
            const ToolRun set = runWith(app.environment(), {tamsinvalePath, "settings", "set",
                                                            "focusDimBackgroundImageBookmark", value});
            const Clock::time_point written = Clock::now();
            if (set.exitCode != 0) {
                std::fprintf(stderr, "settings set failed: %s\n", qPrintable(set.output));
                ++missed;
                continue;
            }
            bool seen = false;
            Clock::time_point at;
            // Generous: on a loaded machine a decode takes several seconds, and a change that has not shown yet
            // would make the next one (back to the colour still on screen) look instant.
            const auto deadline = written + 60s;
            while (Clock::now() < deadline) {
                if (shows(screenPixel(s, probe), toWarm)) {
                    at = Clock::now();
                    seen = true;
                    break;
                }
                std::this_thread::sleep_for(1ms);
            }
            if (!seen) {
                ++missed;
                continue;
            }
            // Whatever the main thread does right after the picture is up (the repaint's tail) counts too.
            std::this_thread::sleep_for(300ms);
            {
                std::lock_guard lock(mutex);
                const auto [wall, running] = longestStall(pings, written, at + 300ms);
                stalls.push_back(wall);
                busy.push_back(running);
            }
            onScreen.push_back(std::chrono::duration<double, std::milli>(at - written).count());
            decodeCpu.push_back(1000.0 * (backgroundCpu(app.pid()) - cpuBefore));
            std::printf("change %d (%s): on screen after %.0f ms; longest answer %.1f ms, main thread running %.1f ms "
                        "of it; decoding CPU %.0f ms\n",
                        i + 1, toWarm ? "warm" : "cool", onScreen.back(), stalls.back(), busy.back(), decodeCpu.back());
            std::fflush(stdout);
        }
        stop = true;
        pinger.join();

        const double worstStall = stalls.empty() ? 0 : *std::max_element(stalls.begin(), stalls.end());
        const double worstBusy = busy.empty() ? 0 : *std::max_element(busy.begin(), busy.end());
        const double worstScreen = onScreen.empty() ? 0 : *std::max_element(onScreen.begin(), onScreen.end());
        // The budget is on the main thread's own work: on a shared machine an answer also waits for a free core.
        const bool stallMet = worstBusy <= budgetStallMs && missed == 0;
        const bool screenMet = worstScreen <= budgetOnScreenMs && missed == 0;
        std::printf("\n%d x %d HEIC -> 1920 x 1080 overlay (real tamsinvale, Openbox, Xvfb): %zu changes, %d missed\n",
                    side, side, onScreen.size(), missed);
        std::printf("main thread, idle: answers median %.2f ms, max %.1f ms (running at most %.1f ms of one)\n",
                    percentile(idle, 0.5), idleWorst, idleWorstBusy);
        std::printf("main thread during a change: longest answer median %.1f ms, max %.1f ms; longest time running "
                    "while one answer waited: median %.1f ms, max %.1f ms  (budget <= %.0f ms: %s)\n",
                    percentile(stalls, 0.5), worstStall, percentile(busy, 0.5), worstBusy, budgetStallMs,
                    stallMet ? "met" : "NOT met");
        std::printf("picture on screen after the change: median %.0f ms, max %.0f ms  (budget <= %.0f ms: %s)\n",
                    percentile(onScreen, 0.5), worstScreen, budgetOnScreenMs, screenMet ? "met" : "NOT met");
        std::printf("CPU off the main thread per change (the decode; the wall time it would take on an idle core): "
                    "median %.0f ms\n", percentile(decodeCpu, 0.5));
        std::printf("load average now: %s", qPrintable(QString::fromLatin1([] {
                        QFile f(QStringLiteral("/proc/loadavg"));
                        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("?\n");
                    }())));
        rc = stallMet && screenMet ? 0 : 1;
        app.quit();
    }
    XTestSession::stop();
    return rc;
}
