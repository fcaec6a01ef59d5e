// Running applications, activation, opening applications, and the desktop's notifications.
#pragma once

#include <QDateTime>
#include <QImage>
#include <QList>
#include <QObject>
#include <QString>
#include <cstdint>
#include <functional>
#include <optional>

namespace tamsinvale {

enum class ActivationPolicy { regular = 0, accessory = 1, prohibited = 2 };

struct RunningApp {
    std::int32_t pid = 0;
    std::optional<QString> bundleIdentifier;  // desktop-file id on Linux
    QString localizedName;
    ActivationPolicy activationPolicy = ActivationPolicy::regular;
    QDateTime launchDate;
    QString bundlePath;                       // .app bundle, or the desktop entry file; empty when unknown
    bool terminated = false;
    bool finishedLaunching = true;

    bool operator==(const RunningApp&) const = default;
};

struct OpenResult {
    bool ok = false;
    QString error;  // why it failed, for logs
};

class Workspace : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    virtual std::optional<RunningApp> frontmostApplication() const = 0;
    virtual QList<RunningApp> runningApplications() const = 0;
    virtual std::optional<RunningApp> runningApplication(std::int32_t pid) const = 0;
    QList<RunningApp> runningApplications(const QString& bundleIdentifier) const;

    // Brings an application forward; all windows, or only its frontmost one.
    virtual bool activate(std::int32_t pid, bool allWindows) = 0;
    // Asks an application to quit as the user would (macOS `terminate`; on X11 a close request for each of its
    // windows), so that it can ask to save unsaved work or refuse; never forced. False when no request could be
    // made: the application is gone, or none of its windows accepts a close request.
    virtual bool requestQuit(std::int32_t pid) = 0;

    // This process.
    virtual std::int32_t ownPid() const = 0;
    virtual std::optional<QString> ownBundleIdentifier() const = 0;

    // The installed application (bundle or desktop entry) for an identifier.
    virtual std::optional<QString> urlForApplication(const QString& bundleIdentifier) const = 0;
    // Opens an application bundle or desktop entry; `done` runs on the main queue once it is up or has failed.
    virtual void openApplication(const QString& path, bool activates, std::function<void(OpenResult)> done) = 0;
    // The icon the desktop shows for a file or application, at the requested point size.
    virtual QImage iconForFile(const QString& path, int pointSize) const = 0;

    // The default alert sound, for a key nobody handled.
    virtual void beep() = 0;

signals:
    void applicationActivated(const tamsinvale::RunningApp& app);
    void applicationTerminated(std::int32_t pid);
    void activeSpaceChanged();
    void screensDidWake();
    // A left mouse button press anywhere on the desktop (a global monitor: the event is not consumed).
    void leftMouseDown();
};

}  // namespace tamsinvale
