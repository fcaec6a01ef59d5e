// Starting this application when the user logs in: the system's registration of the main application.
#pragma once

#include <QString>

namespace tamsinvale {

// The registration's state, numbered as the system's service management status.
enum class LoginItemStatus {
    notRegistered = 0,
    enabled = 1,
    requiresApproval = 2,  // registered, but the user still has to allow it in the system's settings
    notFound = 3,
};

struct LoginItemChange {
    bool ok = true;
    QString error;  // why the change failed, for the log
};

// macOS: SMAppService.mainAppService. Linux: an XDG autostart entry in the user's configuration.
class LoginItemService {
public:
    virtual ~LoginItemService() = default;
    virtual LoginItemStatus status() const = 0;
    virtual LoginItemChange registerApp() = 0;
    virtual LoginItemChange unregisterApp() = 0;
};

}  // namespace tamsinvale
