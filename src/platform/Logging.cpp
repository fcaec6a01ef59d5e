// Log category definitions and the verbosity switch.
#include "Logging.h"

namespace tamsinvale {

Q_LOGGING_CATEGORY(lcApp, "tamsinvale.app", QtInfoMsg)
Q_LOGGING_CATEGORY(lcHotkeys, "tamsinvale.hotkeys", QtInfoMsg)
Q_LOGGING_CATEGORY(lcResize, "tamsinvale.resize", QtInfoMsg)
Q_LOGGING_CATEGORY(lcWindows, "tamsinvale.windows", QtInfoMsg)
Q_LOGGING_CATEGORY(lcDimming, "tamsinvale.dimming", QtInfoMsg)
Q_LOGGING_CATEGORY(lcDiscovery, "tamsinvale.discovery", QtInfoMsg)
Q_LOGGING_CATEGORY(lcSwitcher, "tamsinvale.switcher", QtInfoMsg)
Q_LOGGING_CATEGORY(lcWallpapers, "tamsinvale.wallpapers", QtInfoMsg)
Q_LOGGING_CATEGORY(lcMedia, "tamsinvale.media", QtInfoMsg)
Q_LOGGING_CATEGORY(lcPermissions, "tamsinvale.permissions", QtInfoMsg)
Q_LOGGING_CATEGORY(lcLogin, "tamsinvale.login", QtInfoMsg)

void configureLogging(bool verbose)
{
    const QByteArray env = qgetenv("TAMSINVALE_VERBOSE");
    if (verbose || (!env.isEmpty() && env != "0"))
        QLoggingCategory::setFilterRules(QStringLiteral("tamsinvale.*.debug=true"));
}

}  // namespace tamsinvale
