// Latency harness: the settings window of the real tamsinvale binary, from `tamsinvale ctl settings` to the window
// mapped and painted; the first showing builds the window (cold), the later ones bring it back (reopened).
//
// usage: tamsinvale_x11settings_latency [SHOWINGS] [PAGE]   (default 30, "hotkeys"; TAMSINVALE_BINARY names
// another build's binary). Each showing is closed with Escape. Two figures per showing: the one the window logs
// ("window: first paint N ms after show", from the start of show() to the end of its first paint), and the whole
// round trip seen from outside: ctl started → the log line is there and X says the window is viewable.
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <cstdio>
#include <vector>

#include "../x11/LatencyHarness.h"
#include "ChildProcess.h"
#include "X11TestPaths.h"
#include "XTestSession.h"

using namespace tamsinvale::x11test;
using tamsinvale::bench::percentile;
using namespace std::chrono_literals;

namespace {

constexpr double coldBudgetMs = 250.0;
constexpr double reopenBudgetMs = 50.0;
const QString windowTitle = QStringLiteral("Tamsinvale Settings");

bool viewable(XTestSession& s)
{
    const auto found = s.tool({"xdotool", "search", "--onlyvisible", "--name", "^" + windowTitle + "$"});
    return found && !found->trimmed().isEmpty();
}

}  // namespace

int main(int argc, char** argv)
{
    const int showings = argc > 1 ? std::max(2, std::atoi(argv[1])) : 30;
    const QString page = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QStringLiteral("hotkeys");
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
        auto bus = ChildProcess::start({"dbus-daemon", "--session", "--nofork", "--print-address=1"});
        const QString address = bus ? bus->readLine(10s).value_or(QString()) : QString();
        const QStringList env{"DISPLAY=" + s.display(), "DBUS_SESSION_BUS_ADDRESS=" + address,
                              "XDG_CONFIG_HOME=" + home.path() + "/config", "LC_ALL=C.UTF-8"};
        const QString logPath = home.path() + "/tamsinvale.log";
        auto app = ChildProcess::start({"sh", "-c", "exec \"$0\" > \"$1\" 2>&1", binary, logPath}, env);
        auto log = [&] {
            QFile f(logPath);
            return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
        };
        // As a user would, some time after start: the discovery scan has finished.
        if (!app || !s.waitUntil([&] { return log().contains("discovery: refreshed"); }, 20s)) {
            std::fprintf(stderr, "tamsinvale did not start:\n%s\n", qPrintable(log()));
            XTestSession::stop();
            return 2;
        }

        const QRegularExpression firstPaint(R"(window: first paint (\d+) ms after show)");
        double coldPaint = -1, coldRoundTrip = -1;
        std::vector<double> paints, roundTrips;
        for (int i = 0; i < showings; ++i) {
            const int paintsBefore = int(log().count("window: first paint"));
            const int closesBefore = int(log().count("window: closed"));
            QElapsedTimer timer;
            timer.start();
            auto ctl = ChildProcess::start({binary, "ctl", "settings", page}, env);
            if (!ctl || !s.waitUntil([&] { return log().count("window: first paint") > paintsBefore && viewable(s); },
                                     10s)) {
                std::fprintf(stderr, "showing %d: not mapped and painted\n", i);
                rc = 1;
                break;
            }
            const double roundTrip = double(timer.nsecsElapsed()) / 1e6;
            ctl->waitForExit(10s);
            QRegularExpressionMatchIterator it = firstPaint.globalMatch(log());
            double ms = -1;
            while (it.hasNext())
                ms = it.next().captured(1).toDouble();
            if (i == 0) {
                coldPaint = ms;
                coldRoundTrip = roundTrip;
            } else {
                paints.push_back(ms);
                roundTrips.push_back(roundTrip);
            }
            s.tool({"xdotool", "key", "Escape"});
            if (!s.waitUntil([&] { return log().count("window: closed") > closesBefore; }, 10s)) {
                std::fprintf(stderr, "showing %d: Escape did not close it\n", i);
                rc = 1;
                break;
            }
        }
        std::printf("settings window on the %s page, %zu reopenings\n", qPrintable(page), paints.size());
        std::printf("  cold (builds the window): %.0f ms show to first paint (budget %.0f ms); ctl started to mapped "
                    "and painted seen from outside: %.0f ms\n",
                    coldPaint, coldBudgetMs, coldRoundTrip);
        std::printf("  reopened: median %.0f ms, p95 %.0f ms, max %.0f ms show to first paint (budget %.0f ms)\n",
                    percentile(paints, 0.5), percentile(paints, 0.95), percentile(paints, 1.0), reopenBudgetMs);
        std::printf("  reopened, ctl started to mapped and painted seen from outside: median %.0f ms, p95 %.0f ms\n",
                    percentile(roundTrips, 0.5), percentile(roundTrips, 0.95));
        if (coldPaint > coldBudgetMs || percentile(paints, 0.95) > reopenBudgetMs)
            rc = rc ? rc : 1;
        ChildProcess::start({binary, "ctl", "quit"}, env);
        app->waitForExit(10s);
    }
    XTestSession::stop();
    return rc;
}
