// Run loop: main thread; notifications arrive on the main queue, openApplication's completion is passed to the main queue, iconForFile may be called from any thread.
// Running applications, activation, opening and icons on macOS (NSWorkspace, NSRunningApplication), and the desktop's
// notifications: activation, termination, Space changes, screens waking, and left clicks through a global monitor.
#pragma once

#include <memory>

#include "platform/Workspace.h"

namespace tamsinvale {

class MacWorkspace : public Workspace {
    Q_OBJECT
public:
    explicit MacWorkspace(QObject* parent = nullptr);
    ~MacWorkspace() override;

    std::optional<RunningApp> frontmostApplication() const override;
    QList<RunningApp> runningApplications() const override;
    std::optional<RunningApp> runningApplication(std::int32_t pid) const override;
    // activateWithOptions: with the all-windows option, or with no option for the frontmost window only.
    bool activate(std::int32_t pid, bool allWindows) override;
    // NSRunningApplication terminate: a request the application may answer by asking about unsaved work.
    bool requestQuit(std::int32_t pid) override;
    std::int32_t ownPid() const override;
    std::optional<QString> ownBundleIdentifier() const override;
    std::optional<QString> urlForApplication(const QString& bundleIdentifier) const override;
    void openApplication(const QString& path, bool activates, std::function<void(OpenResult)> done) override;
    QImage iconForFile(const QString& path, int pointSize) const override;
    void beep() override;

private:
    struct Observers;
    std::unique_ptr<Observers> m_observers;
};

}  // namespace tamsinvale
