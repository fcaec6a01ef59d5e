// NSEvent's local and global monitors for key-down; the token removes its monitor when the last owner drops it.
#include "MacKeyMonitors.h"

#import <AppKit/AppKit.h>

namespace tamsinvale {

namespace {

struct MonitorToken {
    id monitor = nil;
    ~MonitorToken()
    {
        if (monitor)
            [NSEvent removeMonitor:monitor];
    }
};

std::shared_ptr<void> token(id monitor)
{
    if (!monitor)
        return nullptr;
    auto out = std::make_shared<MonitorToken>();
    out->monitor = monitor;
    return out;
}

}  // namespace

std::shared_ptr<void> MacKeyMonitors::local(std::function<void(std::uint32_t keyCode)> onKey)
{
    // The event goes on to its window unchanged: watched, never taken.
    return token([NSEvent addLocalMonitorForEventsMatchingMask:NSEventMaskKeyDown
                                                       handler:^NSEvent*(NSEvent* event) {
                                                           onKey(event.keyCode);
                                                           return event;
                                                       }]);
}

std::shared_ptr<void> MacKeyMonitors::global(std::function<void(std::uint32_t keyCode)> onKey)
{
    return token([NSEvent addGlobalMonitorForEventsMatchingMask:NSEventMaskKeyDown
                                                        handler:^(NSEvent* event) {
                                                            onKey(event.keyCode);
                                                        }]);
}

}  // namespace tamsinvale
