// macOS: NSUserDefaults' standard domain, which the command shares with the running application (the command is
// the bundle's own executable, so its domain is the bundle identifier's).
#include "UserDefaultsDomain.h"

#include "platform/macos/MacDefaultsDomain.h"

namespace tamsinvale {

std::unique_ptr<DefaultsDomain> openUserDefaultsDomain() { return std::make_unique<MacDefaultsDomain>(); }

}  // namespace tamsinvale
