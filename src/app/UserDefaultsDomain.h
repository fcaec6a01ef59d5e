// The user's defaults domain as the commands open it: the property list under $XDG_CONFIG_HOME on Linux, the
// standard user defaults (the bundle identifier's domain) on macOS. The build compiles one definition.
#pragma once

#include <memory>

#include "platform/Defaults.h"

namespace tamsinvale {

std::unique_ptr<DefaultsDomain> openUserDefaultsDomain();

}  // namespace tamsinvale
