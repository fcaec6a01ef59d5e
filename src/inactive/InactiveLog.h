// The log category of the inactive apps subsystem (usage tracking and the inactive apps window).
#pragma once

#include <QLoggingCategory>

namespace tamsinvale {

Q_DECLARE_LOGGING_CATEGORY(lcInactive)

}  // namespace tamsinvale
