// Default layout of the simulated desktop and shortcuts for populating it.
#include "FakeDesktop.h"

namespace tamsinvale {

FakeDesktop::FakeDesktop() : server(screens, ownPid), workspace(server, scheduler, ownPid)
{
    screens.setScreens({FakeScreens::makeScreen(1, QRectF(0, 0, 1512, 982))});
}

Platform FakeDesktop::platform()
{
    Platform p;
    p.accessibility = &server;
    p.bookmarks = &bookmarks;
    p.defaults = &defaults;
    p.processes = &processes;
    p.hotkeys = &hotkeys;
    p.overlays = &server;
    p.scheduler = &scheduler;
    p.screens = &screens;
    p.input = &input;
    p.windowList = &server;
    p.workspace = &workspace;
    return p;
}

RunningApp FakeDesktop::makeApp(std::int32_t pid, const QString& bundleIdentifier, const QString& name) const
{
    RunningApp app;
    app.pid = pid;
    app.bundleIdentifier = bundleIdentifier;
    app.localizedName = name;
    app.launchDate = scheduler.currentDateTime();
    return app;
}

WindowNumber FakeDesktop::addAppWithWindow(std::int32_t pid, const QString& bundleIdentifier, const QString& name,
                                           const QRectF& bounds)
{
    if (!workspace.runningApplication(pid))
        workspace.addApplication(makeApp(pid, bundleIdentifier, name));
    FakeWindow w;
    w.pid = pid;
    w.bounds = bounds;
    w.title = name;
    w.ownerName = name;
    return server.addWindow(w);
}

}  // namespace tamsinvale
