// Simulated running applications, activation and opening.
#pragma once

#include <QMap>

#include "platform/Workspace.h"

namespace tamsinvale {

class FakeWindowServer;
class FakeScheduler;

class FakeWorkspace : public Workspace {
    Q_OBJECT
public:
    FakeWorkspace(FakeWindowServer& server, FakeScheduler& scheduler, std::int32_t ownPid,
                  QObject* parent = nullptr);

    // Applications
    void addApplication(const RunningApp& app);
    void terminate(std::int32_t pid);
    // Makes `pid` frontmost and reports the activation (nothing for an unknown pid).
    void setFrontmost(std::int32_t pid);
    void setNoFrontmost() { m_frontmost.reset(); }
    void installApplication(const QString& bundleIdentifier, const QString& path) { m_installed[bundleIdentifier] = path; }
    // What openApplication will do: succeed after `delay` seconds by launching `app` (when given), or fail.
    void scriptOpen(const QString& path, bool succeeds, std::optional<RunningApp> launches = std::nullopt,
                    double delay = 0.5);

    // What an application does when asked to quit: quits `delay` seconds later, ignores the request (as one
    // asking the user about unsaved work), or cannot be asked at all. Unscripted applications quit after 0.5 s.
    enum class QuitBehaviour { quits, ignores, cannotBeAsked };
    void scriptQuit(std::int32_t pid, QuitBehaviour behaviour, double delay = 0.5)
    {
        m_quitScripts.insert(pid, {behaviour, delay});
    }
    QList<std::int32_t> quitRequests() const { return m_quitRequests; }

    int beeps() const { return m_beeps; }
    QStringList openRequests() const { return m_openRequests; }
    QList<std::pair<std::int32_t, bool>> activations() const { return m_activations; }

    std::optional<RunningApp> frontmostApplication() const override;
    QList<RunningApp> runningApplications() const override { return m_apps.values(); }
    std::optional<RunningApp> runningApplication(std::int32_t pid) const override;
    bool activate(std::int32_t pid, bool allWindows) override;
    bool requestQuit(std::int32_t pid) override;
    std::int32_t ownPid() const override { return m_ownPid; }
    std::optional<QString> ownBundleIdentifier() const override { return QStringLiteral("org.tamsinvale.Tamsinvale"); }
    std::optional<QString> urlForApplication(const QString& bundleIdentifier) const override;
    void openApplication(const QString& path, bool activates, std::function<void(OpenResult)> done) override;
    QImage iconForFile(const QString& path, int pointSize) const override;
    void beep() override { ++m_beeps; }

private:
    struct OpenScript {
        bool succeeds = true;
        std::optional<RunningApp> launches;
        double delay = 0.5;
    };

    FakeWindowServer& m_server;
    FakeScheduler& m_scheduler;
    std::int32_t m_ownPid;
    QMap<std::int32_t, RunningApp> m_apps;
    std::optional<std::int32_t> m_frontmost;
    QMap<QString, QString> m_installed;
    QMap<QString, OpenScript> m_openScripts;
    QStringList m_openRequests;
    QList<std::pair<std::int32_t, bool>> m_activations;
    QMap<std::int32_t, std::pair<QuitBehaviour, double>> m_quitScripts;
    QList<std::int32_t> m_quitRequests;
    int m_beeps = 0;
};

}  // namespace tamsinvale
