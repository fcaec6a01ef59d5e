// Launch at login: mirrors the system's registration of this application for the menu's toggle.
#pragma once

#include <QObject>

namespace tamsinvale {

class LoginItemService;

class LoginItem : public QObject {
    Q_OBJECT
public:
    // Reads the current state at once.
    explicit LoginItem(LoginItemService& service, QObject* parent = nullptr);

    // True exactly when the registration is enabled.
    bool isEnabled() const { return m_isEnabled; }
    // True exactly when the user still has to allow the login item in the system's settings.
    bool requiresApproval() const { return m_requiresApproval; }

    // Registers or unregisters, logs the outcome, and always reads the real state back afterwards, so a failed
    // change leaves the toggle showing what is true.
    void setEnabled(bool enabled);
    void refresh();

signals:
    void isEnabledChanged(bool enabled);
    void requiresApprovalChanged(bool requiresApproval);

private:
    LoginItemService& m_service;
    bool m_isEnabled = false;
    bool m_requiresApproval = false;
};

}  // namespace tamsinvale
