// Remembers the last application other than Tamsinvale that became active.
#pragma once

#include <QObject>
#include <optional>

#include "platform/Workspace.h"

namespace tamsinvale {

class FocusTracker : public QObject {
    Q_OBJECT
public:
    explicit FocusTracker(Workspace& workspace, QObject* parent = nullptr);

    // Absent until another application is activated after start (not seeded with the frontmost one).
    std::optional<RunningApp> lastNonSelf() const { return m_lastNonSelf; }

private:
    void applicationActivated(const RunningApp& app);

    Workspace& m_workspace;
    std::optional<RunningApp> m_lastNonSelf;
};

}  // namespace tamsinvale
