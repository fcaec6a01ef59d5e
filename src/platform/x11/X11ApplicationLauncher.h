// Opening applications from their desktop entries, and noticing when the first window of one is managed.
#pragma once

#include <QHash>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QString>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include <xcb/xcb.h>

class QTimer;

namespace tamsinvale {

class DesktopEntryIndex;
class X11Connection;
class X11WindowActions;
class X11WindowReader;

struct LaunchResult {
    bool ok = false;
    QString error;                          // why it could not be started, for logs
    std::int32_t pid = 0;                   // the process started
    xcb_window_t window = XCB_WINDOW_NONE;  // its first managed window; none when the wait ran out first
};

class X11ApplicationLauncher : public QObject {
    Q_OBJECT
public:
    // `actions` brings the new window forward when asked to activate; it may be null (the manager decides).
    X11ApplicationLauncher(X11Connection& connection, const X11WindowReader& reader, X11WindowActions* actions,
                           QObject* parent = nullptr);
    ~X11ApplicationLauncher() override;

    // Starts a desktop entry (or an executable file) with an argument list. `done` runs on the main queue once the
    // first window of the new process (or one of its children, or of the entry's StartupWMClass) is managed, or
    // when the window wait runs out: an application without windows, or one that handed over to a running copy.
    void open(const QString& path, bool activates, std::function<void(LaunchResult)> done);

    // The installed desktop entry for an application id: a desktop-file id (with or without ".desktop"), or the
    // WM_CLASS an application without an entry of its own is known by.
    std::optional<QString> entryPathFor(const QString& id) const;

    // The icon for a desktop entry (its Icon=), or for any other file (its type).
    QImage icon(const QString& path, int pointSize) const;

    void setWindowTimeout(std::chrono::milliseconds timeout) { m_windowTimeout = timeout; }
    // Re-reads the installed entries on the next lookup.
    void reloadEntries();

private:
    struct Launch {
        std::int32_t pid = 0;
        bool activates = false;
        QString wmClass;  // StartupWMClass, lower-cased
        QSet<xcb_window_t> before;
        std::function<void(LaunchResult)> done;
        QTimer* timer = nullptr;
    };

    const DesktopEntryIndex& entries() const;
    void scheduleCheck();
    void checkNewWindows();
    void finish(std::uint64_t id, xcb_window_t window);
    bool descendsFrom(std::int32_t pid, std::int32_t ancestor) const;

    X11Connection& m_connection;
    const X11WindowReader& m_reader;
    X11WindowActions* m_actions = nullptr;
    mutable std::unique_ptr<DesktopEntryIndex> m_entries;
    std::chrono::milliseconds m_windowTimeout{10000};
    QHash<std::uint64_t, Launch> m_launches;
    std::uint64_t m_nextLaunch = 1;
    bool m_checkQueued = false;
};

}  // namespace tamsinvale
