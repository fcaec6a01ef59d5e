// NSRunningApplication records to RunningApp.
#include "MacRunningAppRecord.h"

namespace tamsinvale {

ActivationPolicy activationPolicyFromSystem(long long rawPolicy)
{
    switch (rawPolicy) {
    case 0:
        return ActivationPolicy::regular;
    case 1:
        return ActivationPolicy::accessory;
    default:
        return ActivationPolicy::prohibited;
    }
}

RunningApp runningAppFromRecord(const MacRunningAppRecord& record)
{
    RunningApp app;
    app.pid = record.processIdentifier;
    app.bundleIdentifier = record.bundleIdentifier;
    app.localizedName = record.localizedName;
    app.activationPolicy = activationPolicyFromSystem(record.activationPolicy);
    app.launchDate = record.launchDate;
    app.bundlePath = record.bundlePath;
    app.terminated = record.terminated;
    app.finishedLaunching = record.finishedLaunching;
    return app;
}

}  // namespace tamsinvale
