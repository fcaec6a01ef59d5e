// Where a Qt log message goes in the unified log: our categories ("tamsinvale.hotkeys") become the category names
// under the bundle identifier's subsystem ("hotkeys"), and Qt's message types become the log's levels.
#pragma once

#include <QByteArray>
#include <QtGlobal>

namespace tamsinvale {

// The unified log's levels, in the order of os_log_type_t's meaning (debug lowest, fault highest).
enum class UnifiedLogLevel { debug, info, standard, error, fault };

struct UnifiedLogRoute {
    QByteArray category;
    UnifiedLogLevel level = UnifiedLogLevel::standard;
};

// `qtCategory` may be null (Qt's "default" category then).
UnifiedLogRoute unifiedLogRoute(QtMsgType type, const char* qtCategory);

}  // namespace tamsinvale
