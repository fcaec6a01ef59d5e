// Launch at login on macOS: the registration of the main application with the system's service management.
#pragma once

#include "platform/LoginItemService.h"

namespace tamsinvale {

// SMAppService.mainAppService (macOS 13 and later); main thread only, like the rest of the application.
class MacLoginItemService : public LoginItemService {
public:
    LoginItemStatus status() const override;
    LoginItemChange registerApp() override;
    LoginItemChange unregisterApp() override;
};

}  // namespace tamsinvale
