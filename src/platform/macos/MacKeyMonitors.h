// Watching key-downs without taking them, for the launch overlay's Escape: in our own windows (a local monitor)
// and in other applications (a global monitor, which needs the Accessibility permission). Main thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace tamsinvale {

namespace MacKeyMonitors {

// `onKey` gets each key-down's virtual key code. The watch lasts as long as the returned token; null when the
// system refused the monitor.
std::shared_ptr<void> local(std::function<void(std::uint32_t keyCode)> onKey);
std::shared_ptr<void> global(std::function<void(std::uint32_t keyCode)> onKey);

}  // namespace MacKeyMonitors

}  // namespace tamsinvale
