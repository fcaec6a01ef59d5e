// The service management status values: 0 not registered, 1 enabled, 2 requires approval, 3 not found.
#include "MacLoginItemStatus.h"

namespace tamsinvale {

LoginItemStatus loginItemStatusFromCode(long code)
{
    switch (code) {
    case 0: return LoginItemStatus::notRegistered;
    case 1: return LoginItemStatus::enabled;
    case 2: return LoginItemStatus::requiresApproval;
    default: return LoginItemStatus::notFound;
    }
}

}  // namespace tamsinvale
