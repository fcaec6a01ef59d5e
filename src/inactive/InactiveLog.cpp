// Definition of the inactive apps log category.
#include "InactiveLog.h"

namespace tamsinvale {

Q_LOGGING_CATEGORY(lcInactive, "tamsinvale.inactive", QtInfoMsg)

}  // namespace tamsinvale
