// Our Qt log categories in the unified log: subsystem the bundle identifier, one category per area, as Console
// and `log stream --predicate 'subsystem == "org.tamsinvale.Tamsinvale"'` show them.
#pragma once

#include <QString>

namespace tamsinvale {

namespace MacUnifiedLog {

// Installs the Qt message handler that writes every message to the unified log (public, so that names and
// paths are readable there). Messages also go to standard error when it is a terminal, as they do on Linux.
void install(const QString& subsystem);

}  // namespace MacUnifiedLog

}  // namespace tamsinvale
