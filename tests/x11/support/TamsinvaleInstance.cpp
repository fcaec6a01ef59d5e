// Starting, driving and reading the binary under test.
#include "TamsinvaleInstance.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cstdlib>

#include "X11TestPaths.h"
#include "XTestSession.h"

namespace tamsinvale::x11test {

TamsinvaleInstance::TamsinvaleInstance(XTestSession& session, const QString& logPath)
    : m_session(session), m_logPath(logPath)
{
    // A home of its own too: login shells it starts (the python3 search) read no profile of the machine's user.
    QDir().mkpath(m_config.path() + "/home");
    m_environment = {"DISPLAY=" + session.display(), "DBUS_SESSION_BUS_ADDRESS=" + m_bus.address,
                     "HOME=" + m_config.path() + "/home", "XDG_CONFIG_HOME=" + m_config.path(),
                     "XDG_DATA_HOME=" + QFileInfo(session.applicationsDir()).path(),
                     "XDG_DATA_DIRS=/usr/local/share:/usr/share", "XDG_CURRENT_DESKTOP=Openbox", "TAMSINVALE_VERBOSE=1"};
    QDir().mkpath(QFileInfo(m_logPath).absolutePath());
    QFile::remove(m_logPath);
}

TamsinvaleInstance::~TamsinvaleInstance()
{
    if (running())
        quit();
}

void TamsinvaleInstance::setEnvironment(const QString& name, const QString& value)
{
    m_environment.removeIf([&](const QString& entry) { return entry.startsWith(name + QLatin1Char('=')); });
    m_environment.append(name + QLatin1Char('=') + value);
}

ToolRun TamsinvaleInstance::setting(const QString& name, const QString& value)
{
    return runWith(m_environment, {tamsinvalePath, "settings", "set", name, value});
}

ToolRun TamsinvaleInstance::shortcuts(const QStringList& arguments)
{
    return runWith(m_environment, QStringList{tamsinvalePath, "shortcuts"} + arguments);
}

bool TamsinvaleInstance::start(std::chrono::milliseconds timeout)
{
    // TAMSINVALE_TEST_WRAPPER runs the binary under a tool (heaptrack, valgrind …) when set.
    m_process = ChildProcess::start({"sh", "-c", "exec ${TAMSINVALE_TEST_WRAPPER:-} \"$0\" > \"$1\" 2>&1", tamsinvalePath, m_logPath},
                                    m_environment);
    return m_process && waitForLog(QStringLiteral("tamsinvale.app: started:"), timeout);
}

ToolRun TamsinvaleInstance::ctl(const QString& action) { return runWith(m_environment, {tamsinvalePath, "ctl", action}); }

bool TamsinvaleInstance::quit(std::chrono::milliseconds timeout)
{
    if (!m_process)
        return true;
    ctl(QStringLiteral("quit"));
    return m_process->waitForExit(timeout);
}

QString TamsinvaleInstance::log() const
{
    QFile f(m_logPath);
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
}

QList<TamsinvaleInstance::Window> TamsinvaleInstance::windows() const
{
    QList<Window> out;
    XTestDisplay& x = m_session.x();
    xcb_connection_t* c = x.xcb();
    auto* tree = xcb_query_tree_reply(c, xcb_query_tree(c, x.root()), nullptr);
    if (!tree || !m_process)
        return out;
    const xcb_window_t* children = xcb_query_tree_children(tree);
    const int count = xcb_query_tree_children_length(tree);
    for (int i = 0; i < count; ++i) {
        const QList<uint32_t> pid = x.cardinals(children[i], "_NET_WM_PID");
        if (pid.isEmpty() || pid.first() != uint32_t(m_process->pid()))
            continue;
        auto* attributes = xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, children[i]), nullptr);
        const bool viewable = attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
        std::free(attributes);
        auto* g = xcb_get_geometry_reply(c, xcb_get_geometry(c, children[i]), nullptr);
        if (viewable && g)
            out.append({children[i], QRect(g->x, g->y, g->width, g->height), g->depth, i});
        std::free(g);
    }
    std::free(tree);
    return out;
}

bool TamsinvaleInstance::waitForLog(const QString& text, std::chrono::milliseconds timeout)
{
    return m_session.waitUntil([&] { return log().contains(text); }, timeout);
}

}  // namespace tamsinvale::x11test
