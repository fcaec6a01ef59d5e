// Creation and wiring of the resizer and the window switcher.
#include "WindowServices.h"

#include "WindowResizer.h"
#include "WindowsSwitcherWindowController.h"
#include "app/AppServices.h"
#include "platform/Logging.h"

namespace tamsinvale {

WindowServices::WindowServices(const Platform& platform, WindowOptions options)
    : m_resizer(std::make_unique<WindowResizer>(platform))
    , m_switcher(std::make_unique<WindowsSwitcherWindowController>(platform, options.icons, options.keyboardCapture))
{
    m_resizer->coverScreenAfterWindowMoved = std::move(options.coverScreenAfterWindowMoved);
    m_switcher->refreshFocusDimming = std::move(options.refreshFocusDimming);
}

WindowServices::~WindowServices() = default;

void WindowServices::setFocusTracker(const FocusTracker* tracker) { m_resizer->setFocusTracker(tracker); }

void WindowServices::install(AppServices& services)
{
    WindowResizer* resizer = m_resizer.get();
    WindowsSwitcherWindowController* switcher = m_switcher.get();
    services.showWindowSwitcher = [switcher](std::int32_t pid, const QString& name) { switcher->show(pid, name); };
    services.applyPreset = [resizer](const WindowSizePreset& preset) { resizer->apply(preset); };
    services.snap = [resizer](int side) { resizer->snap(side == 0 ? SnapSide::left : SnapSide::right); };
    services.moveToNextScreen = [resizer] { resizer->moveToNextScreen(); };
    qCInfo(lcWindows, "window commands: installed");
}

}  // namespace tamsinvale
