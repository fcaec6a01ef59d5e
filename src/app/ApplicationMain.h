// Runs Tamsinvale as the menu-bar (tray) application on an X11 desktop.
#pragma once

namespace tamsinvale {

// Returns the process exit code. `verbose` turns the debug log lines on.
int runApplication(int argc, char** argv, bool verbose);

}  // namespace tamsinvale
