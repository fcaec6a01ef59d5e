// `tamsinvale debug windows|screens|apps [--json]`: what the X11 backends see, for bug reports and tests.
#include "DebugCommand.h"

#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>
#include <cstdio>

#include "platform/x11/X11Desktop.h"
#include "platform/x11/X11Screens.h"
#include "platform/x11/X11WindowList.h"
#include "platform/x11/X11WindowReader.h"
#include "platform/x11/X11Workspace.h"

namespace tamsinvale {

namespace {

const char* usage =
    "usage: tamsinvale debug COMMAND [--json]\n"
    "\n"
    "commands:\n"
    "  windows   the window list, front to back, with owner, layer, bounds and state\n"
    "  screens   the displays with frames, visible frames, ids and UUIDs\n"
    "  apps      the running applications and the frontmost one\n";

QJsonObject rectJson(const QRectF& r)
{
    return QJsonObject{{QStringLiteral("x"), r.x()}, {QStringLiteral("y"), r.y()},
                       {QStringLiteral("width"), r.width()}, {QStringLiteral("height"), r.height()}};
}

QString rectText(const QRectF& r)
{
    return QStringLiteral("%1,%2 %3x%4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
}

QString typeName(X11WindowType type)
{
    switch (type) {
    case X11WindowType::normal: return QStringLiteral("normal");
    case X11WindowType::dialog: return QStringLiteral("dialog");
    case X11WindowType::utility: return QStringLiteral("utility");
    case X11WindowType::toolbar: return QStringLiteral("toolbar");
    case X11WindowType::menu: return QStringLiteral("menu");
    case X11WindowType::splash: return QStringLiteral("splash");
    case X11WindowType::dock: return QStringLiteral("dock");
    case X11WindowType::desktop: return QStringLiteral("desktop");
    case X11WindowType::notification: return QStringLiteral("notification");
    case X11WindowType::popup: return QStringLiteral("popup");
    }
    return {};
}

QStringList states(const X11Window& w)
{
    QStringList out;
    if (w.above) out << QStringLiteral("above");
    if (w.below) out << QStringLiteral("below");
    if (w.fullScreen) out << QStringLiteral("fullscreen");
    if (w.hidden) out << QStringLiteral("hidden");
    if (w.maximized) out << QStringLiteral("maximized");
    if (w.sticky) out << QStringLiteral("sticky");
    if (w.skipTaskbar) out << QStringLiteral("skip-taskbar");
    return out;
}

QJsonObject appJson(const RunningApp& app)
{
    return QJsonObject{
        {QStringLiteral("pid"), app.pid},
        {QStringLiteral("bundleIdentifier"), app.bundleIdentifier ? QJsonValue(*app.bundleIdentifier) : QJsonValue()},
        {QStringLiteral("localizedName"), app.localizedName},
        {QStringLiteral("activationPolicy"), app.activationPolicy == ActivationPolicy::regular ? QStringLiteral("regular")
                                             : app.activationPolicy == ActivationPolicy::accessory ? QStringLiteral("accessory")
                                                                                                    : QStringLiteral("prohibited")},
        {QStringLiteral("launchDate"), app.launchDate.isValid() ? QJsonValue(app.launchDate.toUTC().toString(Qt::ISODateWithMs)) : QJsonValue()},
        {QStringLiteral("bundlePath"), app.bundlePath},
    };
}

int windows(X11Desktop& desktop, bool json, QTextStream& out, QTextStream& err)
{
    const auto rows = desktop.windowList().allWindows();
    if (!rows) {
        err << "tamsinvale debug: the window manager publishes no _NET_CLIENT_LIST_STACKING\n";
        return 1;
    }
    const xcb_window_t active = desktop.reader().activeWindow();
    if (json) {
        QJsonArray list;
        for (const X11ListedWindow& row : *rows) {
            const WindowSnapshotEntry& e = row.entry;
            const X11Window& w = row.window;
            list.append(QJsonObject{
                {QStringLiteral("number"), static_cast<qint64>(e.number.value_or(0))},
                {QStringLiteral("ownerPid"), e.ownerPid},
                {QStringLiteral("ownerName"), e.ownerName},
                {QStringLiteral("name"), e.name},
                {QStringLiteral("layer"), e.layer ? QJsonValue(*e.layer) : QJsonValue()},
                {QStringLiteral("onScreen"), e.onScreen ? QJsonValue(*e.onScreen) : QJsonValue()},
                {QStringLiteral("bounds"), rectJson(e.bounds)},
                {QStringLiteral("isMenuBar"), e.isMenuBar},
                {QStringLiteral("ownPanel"), row.ownPanel},
                {QStringLiteral("active"), w.id == active},
                {QStringLiteral("type"), typeName(w.type)},
                {QStringLiteral("transient"), w.transient},
                {QStringLiteral("states"), QJsonArray::fromStringList(states(w))},
                {QStringLiteral("desktop"), static_cast<qint64>(w.desktop)},
                {QStringLiteral("wmClass"), QJsonArray{w.wmInstance, w.wmClass}},
                {QStringLiteral("clientBounds"), rectJson(QRectF(w.clientRect))},
            });
        }
        out << QJsonDocument(QJsonObject{{QStringLiteral("windows"), list}}).toJson(QJsonDocument::Indented);
        return 0;
    }
    out << "front to back; bounds are the frame, origin top-left of the primary display\n";
    for (const X11ListedWindow& row : *rows) {
        const WindowSnapshotEntry& e = row.entry;
        out << QStringLiteral("0x%1").arg(e.number.value_or(0), 8, 16, QLatin1Char('0'))
            << (row.window.id == active ? " *" : "  ") << " pid " << e.ownerPid << " (" << e.ownerName << ")"
            << " layer " << (e.layer ? QString::number(*e.layer) : QStringLiteral("-"))
            << (e.onScreen.value_or(true) ? " on-screen" : " off-screen") << " " << rectText(e.bounds) << " "
            << typeName(row.window.type);
        if (const QStringList s = states(row.window); !s.isEmpty())
            out << " [" << s.join(QLatin1Char(',')) << "]";
        if (e.isMenuBar)
            out << " menu-bar";
        if (row.ownPanel)
            out << " own-panel";
        out << " \"" << e.name << "\"\n";
    }
    return 0;
}

int screens(X11Desktop& desktop, bool json, QTextStream& out)
{
    const QList<ScreenInfo> list = desktop.screens().screens();
    const QList<X11Monitor> monitors = desktop.screens().monitors();
    const auto main = desktop.screens().mainScreen();
    if (json) {
        QJsonArray array;
        for (qsizetype i = 0; i < list.size(); ++i) {
            const ScreenInfo& s = list[i];
            QJsonObject o{
                {QStringLiteral("displayId"), static_cast<qint64>(s.displayId)},
                {QStringLiteral("uuid"), s.uuid},
                {QStringLiteral("localizedName"), s.localizedName},
                {QStringLiteral("frame"), rectJson(s.frame)},
                {QStringLiteral("visibleFrame"), rectJson(s.visibleFrame)},
                {QStringLiteral("backingScale"), s.backingScale},
            };
            if (i < monitors.size()) {
                o.insert(QStringLiteral("monitor"), monitors[i].name);
                o.insert(QStringLiteral("rootBounds"), rectJson(QRectF(monitors[i].rect)));
                o.insert(QStringLiteral("primary"), monitors[i].primary);
            }
            array.append(o);
        }
        out << QJsonDocument(QJsonObject{{QStringLiteral("screens"), array},
                                         {QStringLiteral("mainScreen"),
                                          main ? QJsonValue(static_cast<qint64>(main->displayId)) : QJsonValue()}})
                   .toJson(QJsonDocument::Indented);
        return 0;
    }
    out << "primary first; frames have their origin at the bottom-left of the primary display, y up\n";
    for (qsizetype i = 0; i < list.size(); ++i) {
        const ScreenInfo& s = list[i];
        out << s.displayId << (main && main->displayId == s.displayId ? " *" : "  ") << " " << s.localizedName
            << " frame " << rectText(s.frame) << " visible " << rectText(s.visibleFrame) << " scale " << s.backingScale
            << " uuid " << s.uuid;
        if (i < monitors.size())
            out << " (" << monitors[i].name << " at " << rectText(QRectF(monitors[i].rect)) << " in root)";
        out << "\n";
    }
    return 0;
}

int apps(X11Desktop& desktop, bool json, QTextStream& out)
{
    const QList<RunningApp> list = desktop.workspace().runningApplications();
    const auto front = desktop.workspace().frontmostApplication();
    if (json) {
        QJsonArray array;
        for (const RunningApp& app : list)
            array.append(appJson(app));
        out << QJsonDocument(QJsonObject{{QStringLiteral("applications"), array},
                                         {QStringLiteral("frontmost"), front ? QJsonValue(front->pid) : QJsonValue()}})
                   .toJson(QJsonDocument::Indented);
        return 0;
    }
    for (const RunningApp& app : list)
        out << app.pid << (front && front->pid == app.pid ? " *" : "  ") << " " << app.localizedName << " ("
            << app.bundleIdentifier.value_or(QStringLiteral("-")) << ") "
            << (app.activationPolicy == ActivationPolicy::regular ? "regular" : "accessory") << " since "
            << app.launchDate.toString(Qt::ISODate) << "\n";
    return 0;
}

}  // namespace

int runDebugCommand(int argc, char** argv, const QStringList& arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    const bool json = arguments.contains(QLatin1String("--json"));
    QStringList words = arguments;
    words.removeAll(QLatin1String("--json"));
    if (words.size() != 1 || words[0] == QLatin1String("--help") || words[0] == QLatin1String("-h")) {
        (words.size() == 1 ? out : err) << usage;
        return words.size() == 1 ? 0 : 2;
    }
    const QString command = words[0];
    if (command != QLatin1String("windows") && command != QLatin1String("screens") && command != QLatin1String("apps")) {
        err << "tamsinvale debug: unknown command \"" << command << "\"\n\n" << usage;
        return 2;
    }

    // Qt holds the X connection, as it does in the app; ask for xcb explicitly so that a Wayland session says so.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        err << "tamsinvale debug: no X11 display (DISPLAY is not set)\n";
        return 1;
    }
    QGuiApplication app(argc, argv);
    if (QCoreApplication::applicationName().isEmpty() || QCoreApplication::applicationName() == QLatin1String("tamsinvale"))
        QCoreApplication::setApplicationName(QStringLiteral("Tamsinvale"));
    auto desktop = X11Desktop::create();
    if (!desktop) {
        err << "tamsinvale debug: not running on an X11 display\n";
        return 1;
    }
    int rc = 0;
    if (command == QLatin1String("windows"))
        rc = windows(*desktop, json, out, err);
    else if (command == QLatin1String("screens"))
        rc = screens(*desktop, json, out);
    else
        rc = apps(*desktop, json, out);
    out.flush();
    return rc;
}

}  // namespace tamsinvale
