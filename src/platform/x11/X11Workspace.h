// Running applications on X11: processes with managed windows, named through their desktop entries.
#pragma once

#include <QHash>
#include <QSet>
#include <memory>
#include <optional>

#include "X11Window.h"
#include "platform/Workspace.h"

class QSocketNotifier;

namespace tamsinvale {

class DesktopEntryIndex;
class X11ApplicationLauncher;
class X11WindowActions;
class X11Connection;
class X11WindowReader;

class X11Workspace : public Workspace {
    Q_OBJECT
public:
    // A None at _NET_ACTIVE_WINDOW shorter than this (server milliseconds) is a manager passing between two windows;
    // a longer one is a time with nothing active, after which even the same application is activated anew.
    static constexpr std::uint32_t transientNothingActiveMs = 250;

    X11Workspace(X11Connection& connection, const X11WindowReader& reader, QObject* parent = nullptr);
    ~X11Workspace() override;

    std::optional<RunningApp> frontmostApplication() const override;
    QList<RunningApp> runningApplications() const override;
    std::optional<RunningApp> runningApplication(std::int32_t pid) const override;
    bool activate(std::int32_t pid, bool allWindows) override;
    bool requestQuit(std::int32_t pid) override;
    std::int32_t ownPid() const override;
    std::optional<QString> ownBundleIdentifier() const override;
    std::optional<QString> urlForApplication(const QString& bundleIdentifier) const override;
    void openApplication(const QString& path, bool activates, std::function<void(OpenResult)> done) override;
    QImage iconForFile(const QString& path, int pointSize) const override;
    void beep() override;

    // The name the desktop shows for the application owning a window (desktop entry Name, else WM_CLASS).
    QString ownerName(const X11Window& window) const;
    // Re-reads the installed desktop entries (after an installation, or in tests).
    void reloadDesktopEntries();
    // The acting side: activation through the window manager, launching and icons.
    void setActions(X11WindowActions* actions, X11ApplicationLauncher* launcher)
    {
        m_actions = actions;
        m_launcher = launcher;
    }

signals:
    // For the accessibility observers: a client window appeared, or the active window changed.
    void clientAdded(xcb_window_t window, std::int32_t pid);
    void clientRemoved(xcb_window_t window, std::int32_t pid);
    void activeWindowChanged(xcb_window_t window, std::int32_t pid);

private:
    struct Identity {
        std::optional<QString> bundleIdentifier;
        QString localizedName;
        QString path;
    };
    Identity identify(const X11Window& window) const;
    RunningApp appFor(std::int32_t pid, const QList<X11Window>& windows) const;
    const DesktopEntryIndex& entries() const;
    QString executableOf(std::int32_t pid) const;
    void onRootProperty(xcb_window_t window, xcb_atom_t atom);
    void updateClientList();
    void updateActiveWindow();
    void watchTermination(std::int32_t pid);

    X11Connection& m_connection;
    const X11WindowReader& m_reader;
    mutable std::unique_ptr<DesktopEntryIndex> m_entries;
    mutable QHash<std::int32_t, QString> m_executables;
    // A process keeps its start time; read once from /proc while it runs.
    mutable QHash<std::int32_t, QDateTime> m_launchDates;
    QHash<xcb_window_t, std::int32_t> m_clients;
    xcb_window_t m_activeWindow = XCB_WINDOW_NONE;
    std::int32_t m_activePid = 0;
    // Server time at which nothing became active, while nothing is.
    std::optional<xcb_timestamp_t> m_nothingActiveSince;
    QHash<std::int32_t, QSocketNotifier*> m_exitWatchers;
    X11WindowActions* m_actions = nullptr;
    X11ApplicationLauncher* m_launcher = nullptr;
};

}  // namespace tamsinvale
