// SMAppServiceStatus numbers as ours: a number the system adds later reads as "not found", never as enabled.
#pragma once

#include "platform/LoginItemService.h"

namespace tamsinvale {

LoginItemStatus loginItemStatusFromCode(long code);

}  // namespace tamsinvale
