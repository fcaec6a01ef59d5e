// One application in the inactive apps list: the running application and since when it has been inactive.
#pragma once

#include <QDateTime>

#include "platform/Workspace.h"

namespace tamsinvale {

struct InactiveAppItem {
    RunningApp app;  // identified by its process identifier
    QDateTime lastActive;

    std::int32_t pid() const { return app.pid; }
    // The name a row shows: the localized name, else the bundle identifier, else "Unknown".
    QString displayName() const;
};

}  // namespace tamsinvale
