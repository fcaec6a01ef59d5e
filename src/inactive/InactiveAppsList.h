// Builds the list of regular applications that have not been active for longer than a threshold.
#pragma once

#include <QList>
#include <QSet>
#include <functional>
#include <optional>

#include "InactiveAppItem.h"

namespace tamsinvale {

// Who is never listed, and who counts as active right now.
struct InactiveListRules {
    std::optional<QString> ownBundleIdentifier;  // Tamsinvale itself
    std::int32_t ownPid = 0;
    QSet<QString> excluded;                      // the user's inactiveAppsExcluded, by display key
    // The application the user is working in: active now, whatever the record says.
    std::optional<std::int32_t> activeNowPid;
};

class InactiveAppsList {
public:
    // Applications never listed, however long they have been idle.
    static const QSet<QString>& neverListed();
    // What an application is matched by against sets of names: its bundle identifier, else its localized name,
    // else "Unknown".
    static QString displayKey(const RunningApp& app);

    // The regular, running, not excluded applications whose last activity is strictly earlier than now minus
    // `thresholdHours`, longest idle first (ties by name, then process identifier).
    static QList<InactiveAppItem> build(const QList<RunningApp>& running,
                                        const std::function<QDateTime(const RunningApp&)>& lastActive,
                                        const InactiveListRules& rules, const QDateTime& now, double thresholdHours);
};

}  // namespace tamsinvale
