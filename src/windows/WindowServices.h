// The window commands as the application uses them: the resizer and the window switcher, created together over a
// platform and hooked into the application's services.
#pragma once

#include <QString>
#include <functional>
#include <memory>

#include "platform/KeyboardCapture.h"
#include "platform/Platform.h"

namespace tamsinvale {

struct AppServices;
class AppIconStore;
class FocusTracker;
class WindowResizer;
class WindowsSwitcherWindowController;

struct WindowOptions {
    KeyboardCapture* keyboardCapture = nullptr;  // empty: keys reach the switcher only through its own window
    AppIconStore* icons = nullptr;               // empty: rows show the application's initial
    // Focus dimming: cover the display a window left, and follow a window the switcher brought forward.
    std::function<void(const ScreenInfo& previousScreen)> coverScreenAfterWindowMoved;
    std::function<void(const QString& reason)> refreshFocusDimming;
};

class WindowServices {
public:
    WindowServices(const Platform& platform, WindowOptions options);
    ~WindowServices();

    // The application whose window to act on while Tamsinvale itself is frontmost; the app owns the tracker.
    void setFocusTracker(const FocusTracker* tracker);

    // Fills `showWindowSwitcher`, `applyPreset`, `snap` and `moveToNextScreen`.
    void install(AppServices& services);

    WindowResizer& resizer() { return *m_resizer; }
    WindowsSwitcherWindowController& switcher() { return *m_switcher; }

private:
    std::unique_ptr<WindowResizer> m_resizer;
    std::unique_ptr<WindowsSwitcherWindowController> m_switcher;
};

}  // namespace tamsinvale
