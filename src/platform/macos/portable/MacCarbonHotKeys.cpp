// Names of the Carbon status codes, for log lines that say what went wrong.
#include "MacCarbonHotKeys.h"

namespace tamsinvale::MacCarbon {

QString statusText(int status)
{
    const char* name = nullptr;
    switch (status) {
    case noErr: name = "noErr"; break;
    case paramErr: name = "paramErr"; break;
    case eventHandlerAlreadyInstalledErr: name = "eventHandlerAlreadyInstalledErr"; break;
    case eventInternalErr: name = "eventInternalErr"; break;
    case eventParameterNotFoundErr: name = "eventParameterNotFoundErr"; break;
    case eventNotHandledErr: name = "eventNotHandledErr"; break;
    case eventHotKeyExistsErr: name = "eventHotKeyExistsErr"; break;
    case eventHotKeyInvalidErr: name = "eventHotKeyInvalidErr"; break;
    default: return QStringLiteral("OSStatus %1").arg(status);
    }
    return QStringLiteral("%1 (%2)").arg(QLatin1String(name)).arg(status);
}

}  // namespace tamsinvale::MacCarbon
