// Log categories, one per area, shared by every layer (the unified log's categories on macOS).
#pragma once

#include <QLoggingCategory>

namespace tamsinvale {

Q_DECLARE_LOGGING_CATEGORY(lcApp)
Q_DECLARE_LOGGING_CATEGORY(lcHotkeys)
Q_DECLARE_LOGGING_CATEGORY(lcResize)
Q_DECLARE_LOGGING_CATEGORY(lcWindows)
Q_DECLARE_LOGGING_CATEGORY(lcDimming)
Q_DECLARE_LOGGING_CATEGORY(lcDiscovery)
Q_DECLARE_LOGGING_CATEGORY(lcSwitcher)
Q_DECLARE_LOGGING_CATEGORY(lcWallpapers)
Q_DECLARE_LOGGING_CATEGORY(lcMedia)
Q_DECLARE_LOGGING_CATEGORY(lcPermissions)
Q_DECLARE_LOGGING_CATEGORY(lcLogin)

// A boolean in a log line, as the unified log prints one: "true" or "false".
constexpr const char* logBool(bool value) { return value ? "true" : "false"; }

// Debug lines are off unless asked for (--verbose, or TAMSINVALE_VERBOSE=1 in the environment).
void configureLogging(bool verbose);

}  // namespace tamsinvale
