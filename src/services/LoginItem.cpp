// Registration changes with their log lines, and the state read back after each.
#include "LoginItem.h"

#include "platform/LoginItemService.h"
#include "platform/Logging.h"

namespace tamsinvale {

LoginItem::LoginItem(LoginItemService& service, QObject* parent) : QObject(parent), m_service(service) { refresh(); }

void LoginItem::setEnabled(bool enabled)
{
    const LoginItemChange change = enabled ? m_service.registerApp() : m_service.unregisterApp();
    if (change.ok)
        qCInfo(lcLogin, "launch at login %s", enabled ? "enabled" : "disabled");
    else
        qCCritical(lcLogin, "launch at login change failed: %s", qUtf8Printable(change.error));
    refresh();
}

void LoginItem::refresh()
{
    const LoginItemStatus status = m_service.status();
    const bool enabled = status == LoginItemStatus::enabled;
    const bool requiresApproval = status == LoginItemStatus::requiresApproval;
    if (enabled != m_isEnabled) {
        m_isEnabled = enabled;
        emit isEnabledChanged(enabled);
    }
    if (requiresApproval != m_requiresApproval) {
        m_requiresApproval = requiresApproval;
        emit requiresApprovalChanged(requiresApproval);
    }
}

}  // namespace tamsinvale
