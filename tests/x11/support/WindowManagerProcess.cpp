// Starts a window manager with a private home and its default configuration, and waits for it to own the screen.
#include "WindowManagerProcess.h"

#include "XTestDisplay.h"

#include <QDir>
#include <QFile>

#include <csignal>

#include <xcb/xcb.h>

namespace tamsinvale::x11test {

namespace {

struct KeyBinding {
    xcb_keycode_t keycode;  // evdev keycodes (Xvfb's keymap)
    std::uint16_t modifiers;
};

// A combination each manager's default configuration binds, grabbed last as it finishes starting: until it is
// held, tests of who owns a combination would race the manager.
KeyBinding lastBinding(WindowManagerProcess::Kind kind)
{
    using Kind = WindowManagerProcess::Kind;
    constexpr xcb_keycode_t left = 113, tab = 23, returnKey = 36, superL = 133;
    switch (kind) {
    case Kind::openbox:
        return {left, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1};  // Ctrl+Alt+Left: previous desktop
    case Kind::i3:
        return {returnKey, XCB_MOD_MASK_1};  // Alt+Return: a terminal
    case Kind::icewm:
        return {superL, 0};  // Super alone: the start menu
    case Kind::xfwm4:
    case Kind::marco:
    case Kind::metacity:
        return {tab, XCB_MOD_MASK_1};  // Alt+Tab: cycle windows
    }
    return {tab, XCB_MOD_MASK_1};
}

}  // namespace

std::optional<WindowManagerProcess::Kind> WindowManagerProcess::kindNamed(const QString& name)
{
    for (const Kind k : {Kind::openbox, Kind::xfwm4, Kind::i3, Kind::marco, Kind::metacity, Kind::icewm})
        if (WindowManagerProcess::name(k) == name)
            return k;
    return std::nullopt;
}

std::optional<WindowManagerProcess::Kind> WindowManagerProcess::fromEnvironment()
{
    const QString name = qEnvironmentVariable("TAMSINVALE_TEST_WM").trimmed().toLower();
    return name.isEmpty() ? std::optional(Kind::openbox) : kindNamed(name);
}

QString WindowManagerProcess::name(Kind kind)
{
    switch (kind) {
    case Kind::openbox:
        return QStringLiteral("openbox");
    case Kind::xfwm4:
        return QStringLiteral("xfwm4");
    case Kind::i3:
        return QStringLiteral("i3");
    case Kind::marco:
        return QStringLiteral("marco");
    case Kind::metacity:
        return QStringLiteral("metacity");
    case Kind::icewm:
        return QStringLiteral("icewm");
    }
    return {};
}

void WindowManagerProcess::kill()
{
    if (!m_process->running())
        return;
    ::kill(m_process->pid(), SIGKILL);
    m_process->waitForExit(std::chrono::milliseconds(5000));
}

std::unique_ptr<WindowManagerProcess> WindowManagerProcess::start(Kind kind, const QString& display, XTestDisplay& x,
                                                                  std::chrono::milliseconds timeout)
{
    auto wm = std::unique_ptr<WindowManagerProcess>(new WindowManagerProcess);
    wm->m_kind = kind;
    if (!wm->m_home.isValid())
        return nullptr;
    const QString home = wm->m_home.path();
    QStringList argv;
    switch (kind) {
    case Kind::openbox:
        argv = {QStringLiteral("openbox"), QStringLiteral("--sm-disable")};
        break;
    case Kind::xfwm4:
        argv = {QStringLiteral("xfwm4")};
        break;
    case Kind::i3:
        // The packaged default configuration as the user's own, so that the first-start wizard stays away.
        QDir().mkpath(home + QStringLiteral("/.config/i3"));
        QFile::copy(QStringLiteral("/etc/i3/config"), home + QStringLiteral("/.config/i3/config"));
        argv = {QStringLiteral("i3")};
        break;
    case Kind::marco:
        argv = {QStringLiteral("marco"), QStringLiteral("--sm-disable")};
        break;
    case Kind::metacity:
        argv = {QStringLiteral("metacity"), QStringLiteral("--sm-disable")};
        break;
    case Kind::icewm:
        argv = {QStringLiteral("icewm")};
        break;
    }
    wm->m_process = ChildProcess::start(argv,
                                        {QStringLiteral("DISPLAY=") + display, QStringLiteral("HOME=") + home,
                                         QStringLiteral("XDG_CONFIG_HOME=") + home + QStringLiteral("/.config"),
                                         QStringLiteral("XDG_CACHE_HOME=") + home + QStringLiteral("/.cache"),
                                         QStringLiteral("GSETTINGS_BACKEND=memory")},
                                        false);
    if (!wm->m_process)
        return nullptr;
    // EWMH: the manager owns WM_S0 and points _NET_SUPPORTING_WM_CHECK at a window that points at itself.
    const bool ready = x.waitUntil(
        [&x] {
            if (x.selectionOwner("WM_S0") == XCB_WINDOW_NONE)
                return false;
            const auto check = x.cardinals(x.root(), "_NET_SUPPORTING_WM_CHECK");
            if (check.isEmpty() || check.first() == XCB_WINDOW_NONE)
                return false;
            const auto self = x.cardinals(check.first(), "_NET_SUPPORTING_WM_CHECK");
            return !self.isEmpty() && self.first() == check.first();
        },
        timeout);
    if (!ready || !wm->m_process->running())
        return nullptr;
    // Some managers announce themselves before they have finished starting, and a map request that arrives in
    // between can be dropped. Ready once it manages a probe window; the probe's map request is repeated until then.
    xcb_connection_t* c = x.xcb();
    const xcb_window_t probe = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, probe, x.root(), 0, 0, 10, 10, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    bool managed = false;
    while (!managed && std::chrono::steady_clock::now() < deadline) {
        xcb_map_window(c, probe);
        xcb_flush(c);
        managed = x.waitUntil([&x, probe] { return x.cardinals(x.root(), "_NET_CLIENT_LIST").contains(probe); },
                              std::chrono::milliseconds(500));
    }
    xcb_destroy_window(c, probe);
    xcb_flush(c);
    const bool gone = x.waitUntil([&x, probe] { return !x.cardinals(x.root(), "_NET_CLIENT_LIST").contains(probe); },
                                  timeout);
    if (!managed || !gone)
        return nullptr;
    const KeyBinding binding = lastBinding(kind);
    if (!x.waitUntil([&x, binding] { return x.keyGrabbedByAnother(binding.keycode, binding.modifiers); }, timeout))
        return nullptr;
    return wm;
}

}  // namespace tamsinvale::x11test
