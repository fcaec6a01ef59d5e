// Follows activations; our own (same bundle identifier, two absent ones included) are ignored.
#include "FocusTracker.h"

#include "platform/Platform.h"

namespace tamsinvale {

FocusTracker::FocusTracker(Workspace& workspace, QObject* parent) : QObject(parent), m_workspace(workspace)
{
    connect(&m_workspace, &Workspace::applicationActivated, this, &FocusTracker::applicationActivated);
}

FocusTracker& FocusTracker::shared()
{
    static FocusTracker* tracker = new FocusTracker(*currentPlatform().workspace);
    return *tracker;
}

void FocusTracker::applicationActivated(const RunningApp& app)
{
    if (app.bundleIdentifier == m_workspace.ownBundleIdentifier())
        return;
    m_lastNonSelf = app;
}

}  // namespace tamsinvale
