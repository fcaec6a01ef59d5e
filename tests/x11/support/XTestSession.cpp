// Brings the test desktop up in dependency order and down in the reverse one.
#include "XTestSession.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "XTools.h"

namespace tamsinvale::x11test {

namespace {

std::unique_ptr<XTestSession> session;
int qtArgc = 1;
char qtProgramName[] = "tamsinvale_x11_tests";
char* qtArgv[] = {qtProgramName, nullptr};

}  // namespace

bool XTestSession::start(QString* failure, QSize rootSize)
{
    auto s = std::make_unique<XTestSession>();
    auto fail = [failure](const QString& why) {
        if (failure)
            *failure = why;
        return false;
    };
    if (!s->m_dataHome.isValid())
        return fail(QStringLiteral("no temporary directory"));
    s->m_xvfb = XvfbServer::start(rootSize);
    if (!s->m_xvfb)
        return fail(QStringLiteral("Xvfb did not start (is the xvfb package installed?)"));
    s->m_display = std::make_unique<XTestDisplay>(s->m_xvfb->display());
    if (!s->m_display->isOpen())
        return fail(QStringLiteral("cannot connect to ") + s->m_xvfb->display());
    const auto kind = WindowManagerProcess::fromEnvironment();
    if (!kind)
        return fail(QStringLiteral("TAMSINVALE_TEST_WM names no window manager the tests know: ")
                    + qEnvironmentVariable("TAMSINVALE_TEST_WM"));
    s->m_wmKind = *kind;
    s->m_wm = WindowManagerProcess::start(*kind, s->m_xvfb->display(), *s->m_display);
    if (!s->m_wm)
        return fail(WindowManagerProcess::name(*kind) + QStringLiteral(" did not become the window manager"));

    // Everything started from here on, and Qt itself, uses the test display and the fixture data directories.
    qputenv("DISPLAY", s->m_xvfb->display().toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("XDG_DATA_HOME", (s->m_dataHome.path() + QStringLiteral("/share")).toLocal8Bit());
    qputenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share");
    QDir().mkpath(s->applicationsDir());
    s->m_app = std::make_unique<QGuiApplication>(qtArgc, qtArgv);
    QCoreApplication::setApplicationName(QStringLiteral("Tamsinvale"));
    s->m_desktop = X11Desktop::create();
    if (!s->m_desktop)
        return fail(QStringLiteral("Qt did not open the display through xcb"));
    session = std::move(s);
    return true;
}

void XTestSession::stop()
{
    if (!session)
        return;
    session->m_desktop.reset();
    session->m_app.reset();
    session->m_wm.reset();
    session->m_display.reset();
    session->m_xvfb.reset();
    session.reset();
}

XTestSession& XTestSession::get() { return *session; }

void XTestSession::killWindowManager()
{
    if (m_wm)
        m_wm->kill();
    m_wm.reset();
}

bool XTestSession::windowManagerTakesSuper()
{
    constexpr xcb_keycode_t superL = 133;  // evdev keycodes (Xvfb's keymap)
    return x().keyGrabbedByAnother(superL, 0);
}

bool XTestSession::restartWindowManager()
{
    killWindowManager();
    m_wm = WindowManagerProcess::start(m_wmKind, display(), *m_display);
    return m_wm != nullptr;
}

std::unique_ptr<TestClient> XTestSession::client(const QList<WindowSpec>& windows)
{
    return TestClient::start(display(), windows);
}

std::unique_ptr<ChildProcess> XTestSession::application(const QStringList& argv)
{
    return ChildProcess::start(argv, {QStringLiteral("DISPLAY=") + display()}, false);
}

std::optional<xcb_window_t> XTestSession::clientWindowOf(const QString& windowClass, std::chrono::milliseconds timeout)
{
    std::optional<xcb_window_t> found;
    waitUntil(
        [&] {
            for (const xcb_window_t w : x().cardinals(x().root(), "_NET_CLIENT_LIST")) {
                const QStringList parts = x().text(w, "WM_CLASS").split(QLatin1Char('\0'));
                if (parts.size() >= 2 && parts[1] == windowClass) {
                    found = w;
                    return true;
                }
            }
            return false;
        },
        timeout);
    return found;
}

bool XTestSession::waitUntil(const std::function<bool()>& predicate, std::chrono::milliseconds timeout)
{
    return m_display->waitUntil(predicate, timeout);
}

std::optional<QString> XTestSession::tool(const QStringList& argv) { return runTool(argv); }

pid_t XTestSession::windowManagerPid() const { return m_wm ? m_wm->pid() : 0; }

bool XTestSession::activate(xcb_window_t window)
{
    if (!xtools::activate(window))
        return false;
    return waitUntil([&] {
        const auto active = x().cardinals(x().root(), "_NET_ACTIVE_WINDOW");
        return !active.isEmpty() && active.first() == window;
    });
}

QList<xcb_window_t> XTestSession::stackingBottomToTop()
{
    QList<xcb_window_t> out;
    for (const uint32_t w : x().cardinals(x().root(), "_NET_CLIENT_LIST_STACKING"))
        out.append(w);
    return out;
}

bool XTestSession::tilingCommand(xcb_window_t window, const QString& command)
{
    const auto reply = tool({QStringLiteral("i3-msg"), QStringLiteral("[id=%1] %2").arg(window).arg(command)});
    if (!reply)
        return false;
    const QJsonArray results = QJsonDocument::fromJson(reply->toUtf8()).array();
    return !results.isEmpty()
           && std::all_of(results.begin(), results.end(),
                          [](const QJsonValue& r) { return r.toObject().value(QStringLiteral("success")).toBool(); });
}

bool XTestSession::moveToMonitor(xcb_window_t window, const QString& monitor)
{
    if (!windowManagerTiles())
        return true;
    const auto area = tilingArea(monitor);
    return area && tilingCommand(window, QStringLiteral("move container to output %1").arg(monitor))
           && waitUntil([&] {
                  const auto g = xtools::geometry(window);
                  return g && area->contains(g->center());
              });
}

bool XTestSession::floatAt(xcb_window_t window, const QPoint& frameTopLeft)
{
    if (!windowManagerTiles())
        return true;
    return tilingCommand(window, QStringLiteral("floating enable, move position %1 px %2 px")
                                     .arg(frameTopLeft.x())
                                     .arg(frameTopLeft.y()))
           && waitUntil([&] {
                  const auto frame = xtools::geometry(x().topLevelAncestor(window));
                  return frame && frame->topLeft() == frameTopLeft;
              });
}

std::optional<QRect> XTestSession::tilingArea(const QString& monitor)
{
    const auto reply = tool({QStringLiteral("i3-msg"), QStringLiteral("-t"), QStringLiteral("get_workspaces")});
    if (!reply)
        return std::nullopt;
    for (const QJsonValue& w : QJsonDocument::fromJson(reply->toUtf8()).array()) {
        const QJsonObject o = w.toObject();
        if (!o.value(QStringLiteral("visible")).toBool() || o.value(QStringLiteral("output")).toString() != monitor)
            continue;
        const QJsonObject r = o.value(QStringLiteral("rect")).toObject();
        return QRect(r.value(QStringLiteral("x")).toInt(), r.value(QStringLiteral("y")).toInt(),
                     r.value(QStringLiteral("width")).toInt(), r.value(QStringLiteral("height")).toInt());
    }
    return std::nullopt;
}

bool XTestSession::resetMonitors()
{
    return x().setMonitors({MonitorSpec{QStringLiteral("M0"), QRect(QPoint(0, 0), rootSize()), true}});
}

}  // namespace tamsinvale::x11test
