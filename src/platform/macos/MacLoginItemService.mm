// SMAppService's status and its register / unregister calls, with the error's description as the failure text.
#include "MacLoginItemService.h"

#import <Foundation/Foundation.h>
#import <ServiceManagement/ServiceManagement.h>

#include <QString>

#include "platform/macos/portable/MacLoginItemStatus.h"

namespace tamsinvale {

namespace {

LoginItemChange outcome(BOOL ok, NSError* error)
{
    if (ok)
        return {};
    const QString text = error ? QString::fromNSString(error.localizedDescription)
                               : QStringLiteral("the system gave no reason");
    return {false, text};
}

}  // namespace

LoginItemStatus MacLoginItemService::status() const
{
    return loginItemStatusFromCode(static_cast<long>(SMAppService.mainAppService.status));
}

LoginItemChange MacLoginItemService::registerApp()
{
    NSError* error = nil;
    const BOOL ok = [SMAppService.mainAppService registerAndReturnError:&error];
    return outcome(ok, error);
}

LoginItemChange MacLoginItemService::unregisterApp()
{
    NSError* error = nil;
    const BOOL ok = [SMAppService.mainAppService unregisterAndReturnError:&error];
    return outcome(ok, error);
}

}  // namespace tamsinvale
