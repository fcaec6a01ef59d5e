// Every platform family in one bundle, handed to the services that need the desktop.
#pragma once

#include "Accessibility.h"
#include "Bookmarks.h"
#include "Defaults.h"
#include "ExternalProcesses.h"
#include "Hotkeys.h"
#include "OverlayPanels.h"
#include "Scheduler.h"
#include "Screens.h"
#include "SyntheticInput.h"
#include "WindowList.h"
#include "Workspace.h"

namespace tamsinvale {

struct Platform {
    Accessibility* accessibility = nullptr;
    Bookmarks* bookmarks = nullptr;
    DefaultsDomain* defaults = nullptr;
    ExternalProcesses* processes = nullptr;
    Hotkeys* hotkeys = nullptr;
    OverlayPanels* overlays = nullptr;
    Scheduler* scheduler = nullptr;
    Screens* screens = nullptr;
    SyntheticInput* input = nullptr;
    WindowList* windowList = nullptr;
    Workspace* workspace = nullptr;
};

}  // namespace tamsinvale

namespace tamsinvale {

// The platform behind the shared service instances; the entry point installs it once at start-up.
Platform& currentPlatform();
void installPlatform(const Platform& platform);

}  // namespace tamsinvale
