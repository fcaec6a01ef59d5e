// The whole simulated desktop: every platform family, wired together, on a manual clock.
#pragma once

#include "FakeBookmarks.h"
#include "FakeDefaults.h"
#include "FakeHotkeys.h"
#include "FakeInput.h"
#include "FakeProcesses.h"
#include "FakeScheduler.h"
#include "FakeScreens.h"
#include "FakeWindowServer.h"
#include "FakeWorkspace.h"
#include "platform/Platform.h"

namespace tamsinvale {

class FakeDesktop {
public:
    static constexpr std::int32_t ownPid = 1000;

    // One 1512 × 982 display with a 25-point menu bar, our own process, nothing else.
    FakeDesktop();

    Platform platform();

    // An application with one normal window at `bounds` (window-server coordinates); returns the window number.
    WindowNumber addAppWithWindow(std::int32_t pid, const QString& bundleIdentifier, const QString& name,
                                  const QRectF& bounds);
    RunningApp makeApp(std::int32_t pid, const QString& bundleIdentifier, const QString& name) const;

    FakeScheduler scheduler;
    FakeScreens screens;
    FakeWindowServer server;
    FakeWorkspace workspace;
    FakeHotkeys hotkeys;
    FakeDefaults defaults;
    FakeProcesses processes;
    FakeInput input;
    FakeBookmarks bookmarks;
};

}  // namespace tamsinvale
