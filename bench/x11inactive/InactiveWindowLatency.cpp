// Latency harness: the inactive apps window of the real tamsinvale binary, from show to its first paint, with 24
// applications idle for 100 hours (tamsinvale runs 100 hours ahead through libfaketime).
//
// usage: tamsinvale_x11inactive_latency [SHOWINGS]   (default 40; TAMSINVALE_BINARY names another build's binary)
// Each showing is asked for with `tamsinvale ctl close-inactive-apps` and closed with a click on its Close button.
// The figure is the one the window logs ("window: first paint N ms after show"): from the start of show() to the
// end of the panel's first paint; the first showing also builds the panel. The ctl round trip is printed beside it.
#include <QDir>
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

constexpr double budgetMs = 100.0;
constexpr int idleApps = 24;
const QString panelTitle = QStringLiteral("Tamsinvale Inactive Apps");

std::optional<QRect> panelGeometry(XTestSession& s)
{
    const auto found = s.tool({"xdotool", "search", "--onlyvisible", "--name", "^" + panelTitle + "$"});
    if (!found || found->trimmed().isEmpty())
        return std::nullopt;
    const auto info = s.tool({"xwininfo", "-id", found->split('\n', Qt::SkipEmptyParts).first().trimmed()});
    if (!info || !info->contains("IsViewable"))
        return std::nullopt;
    auto field = [&](const char* name) {
        const QRegularExpressionMatch m = QRegularExpression(QString(name) + R"(:\s+(-?\d+))").match(*info);
        return m.hasMatch() ? m.captured(1).toInt() : 0;
    };
    return QRect(field("Absolute upper-left X"), field("Absolute upper-left Y"), field("Width"), field("Height"));
}

}  // namespace

int main(int argc, char** argv)
{
    const int showings = argc > 1 ? std::max(1, std::atoi(argv[1])) : 40;
    const QString binary = qEnvironmentVariable("TAMSINVALE_BINARY", QString::fromLocal8Bit(tamsinvalePath));
    QString failure;
    if (!XTestSession::start(&failure)) {
        std::fprintf(stderr, "cannot start the desktop: %s\n", qPrintable(failure));
        return 2;
    }
    int rc = 0;
    {
        XTestSession& s = XTestSession::get();
        std::vector<std::unique_ptr<TestClient>> clients;
        for (int i = 0; i < idleApps + 1; ++i) {
            WindowSpec w;
            w.title = QStringLiteral("Idle %1").arg(i);
            w.windowClass = QStringLiteral("Idle%1").arg(i);
            w.x = 40 + 30 * i;
            w.y = 40 + 20 * i;
            auto client = s.client({w});
            if (!client) {
                std::fprintf(stderr, "test client %d did not come up\n", i);
                XTestSession::stop();
                return 2;
            }
            clients.push_back(std::move(client));
        }
        s.activate(clients.back()->window(0));  // the one in front is not idle

        QTemporaryDir home;
        auto bus = ChildProcess::start({"dbus-daemon", "--session", "--nofork", "--print-address=1"});
        const QString address = bus ? bus->readLine(10s).value_or(QString()) : QString();
        const QStringList env{"DISPLAY=" + s.display(), "DBUS_SESSION_BUS_ADDRESS=" + address,
                              "XDG_CONFIG_HOME=" + home.path() + "/config", "LC_ALL=C.UTF-8"};
        const QString logPath = home.path() + "/tamsinvale.log";
        auto app = ChildProcess::start(
            {"sh", "-c", "exec faketime -f +100h \"$0\" > \"$1\" 2>&1", binary, logPath}, env);
        auto log = [&] {
            QFile f(logPath);
            return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
        };
        // As a user would, some time after start: the window's text drawing is prepared once the app is idle.
        if (!app || !s.waitUntil([&] { return log().contains("window: text drawing prepared"); }, 20s)) {
            std::fprintf(stderr, "tamsinvale did not start:\n%s\n", qPrintable(log()));
            XTestSession::stop();
            return 2;
        }

        const QRegularExpression firstPaint(R"(window: first paint (\d+) ms after show)");
        std::vector<double> paints, roundTrips;
        double firstShowing = -1;
        for (int i = 0; i < showings; ++i) {
            const int paintsBefore = int(log().count("window: first paint"));
            const int closesBefore = int(log().count("window: closed"));
            QElapsedTimer timer;
            timer.start();
            auto ctl = ChildProcess::start({binary, "ctl", "close-inactive-apps"}, env);
            if (!ctl || !s.waitUntil([&] { return log().count("window: first paint") > paintsBefore; }, 10s)) {
                std::fprintf(stderr, "showing %d: no first paint\n", i);
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
                firstShowing = ms;
            } else {
                paints.push_back(ms);
                roundTrips.push_back(roundTrip);
            }
            std::optional<QRect> panel;
            s.waitUntil([&] { return (panel = panelGeometry(s)).has_value(); }, 10s);
            if (!panel) {
                std::fprintf(stderr, "showing %d: the window is not on screen\n", i);
                rc = 1;
                break;
            }
            // Its Close button, bottom left.
            s.tool({"xdotool", "mousemove", QString::number(panel->left() + 16 + 20),
                    QString::number(panel->bottom() - 14 - 14), "click", "1"});
            if (!s.waitUntil([&] { return log().count("window: closed") > closesBefore; }, 10s)) {
                std::fprintf(stderr, "showing %d: the Close button did not close it\n", i);
                rc = 1;
                break;
            }
        }
        const QRegularExpressionMatch listed =
            QRegularExpression(R"(shown with (\d+) apps inactive)").match(log());
        const QRegularExpressionMatch prepared = QRegularExpression(R"(text drawing prepared in (\d+) ms)").match(log());
        std::printf("text drawing prepared at idle in %s ms\n", prepared.hasMatch() ? qPrintable(prepared.captured(1)) : "?");
        std::printf("inactive apps window, %s rows, %zu showings after the first\n",
                    listed.hasMatch() ? qPrintable(listed.captured(1)) : "?", paints.size());
        const QRegularExpressionMatch firstShown = QRegularExpression(R"(shown with .*\(\+(\d+) ms\))").match(log());
        std::printf("  first showing (builds the panel): %.0f ms to first paint (%s ms of it until shown)\n",
                    firstShowing, firstShown.hasMatch() ? qPrintable(firstShown.captured(1)) : "?");
        std::printf("  later showings: median %.0f ms, p95 %.0f ms, max %.0f ms to first paint (budget %.0f ms)\n",
                    percentile(paints, 0.5), percentile(paints, 0.95), percentile(paints, 1.0), budgetMs);
        std::printf("  `tamsinvale ctl` started to first paint logged: median %.0f ms, p95 %.0f ms\n",
                    percentile(roundTrips, 0.5), percentile(roundTrips, 0.95));
        if (firstShowing > budgetMs || percentile(paints, 0.95) > budgetMs)
            rc = rc ? rc : 1;
        ChildProcess::start({binary, "ctl", "quit"}, env);
        app->waitForExit(10s);
    }
    XTestSession::stop();
    return rc;
}
