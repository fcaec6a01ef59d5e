// The system's login item registration, simulated: a status, injectable failures, and the calls made.
#pragma once

#include <QStringList>
#include <optional>

#include "platform/LoginItemService.h"

namespace tamsinvale {

class FakeLoginItems : public LoginItemService {
public:
    LoginItemStatus status() const override { return m_status; }
    LoginItemChange registerApp() override
    {
        m_calls << QStringLiteral("register");
        if (m_failure)
            return {false, *m_failure};
        m_status = m_statusAfterRegister;
        return {};
    }
    LoginItemChange unregisterApp() override
    {
        m_calls << QStringLiteral("unregister");
        if (m_failure)
            return {false, *m_failure};
        m_status = LoginItemStatus::notRegistered;
        return {};
    }

    void setStatus(LoginItemStatus status) { m_status = status; }
    // What a successful registration leads to (macOS may ask the user to approve first).
    void setStatusAfterRegister(LoginItemStatus status) { m_statusAfterRegister = status; }
    // Every change fails with this text until cleared.
    void setFailure(std::optional<QString> failure) { m_failure = std::move(failure); }
    const QStringList& calls() const { return m_calls; }

private:
    LoginItemStatus m_status = LoginItemStatus::notRegistered;
    LoginItemStatus m_statusAfterRegister = LoginItemStatus::enabled;
    std::optional<QString> m_failure;
    QStringList m_calls;
};

}  // namespace tamsinvale
