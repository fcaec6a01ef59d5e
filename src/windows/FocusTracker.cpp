// Follows activations; our own (same bundle identifier, two absent ones included) are ignored.
#include "FocusTracker.h"

namespace tamsinvale {

FocusTracker::FocusTracker(Workspace& workspace, QObject* parent) : QObject(parent), m_workspace(workspace)
{
    connect(&m_workspace, &Workspace::applicationActivated, this, &FocusTracker::applicationActivated);
}

void FocusTracker::applicationActivated(const RunningApp& app)
{
    if (app.bundleIdentifier == m_workspace.ownBundleIdentifier())
        return;
    m_lastNonSelf = app;
}

}  // namespace tamsinvale
