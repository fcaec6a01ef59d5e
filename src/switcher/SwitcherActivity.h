// Which switcher session owns the keyboard right now, so that a stale session or the other switcher never acts.
#pragma once

#include <QUuid>
#include <optional>

namespace tamsinvale {

class SwitcherActivity {
public:
    struct Kind {
        enum class Switcher { app, windows };
        Switcher switcher = Switcher::app;
        QUuid session;
        bool operator==(const Kind&) const = default;

        static Kind app(const QUuid& session) { return Kind{Switcher::app, session}; }
        static Kind windows(const QUuid& session) { return Kind{Switcher::windows, session}; }
    };

    static SwitcherActivity& shared();

    const std::optional<Kind>& mode() const { return m_mode; }
    void setMode(const std::optional<Kind>& mode) { m_mode = mode; }
    bool isAppSession(const QUuid& session) const { return m_mode && *m_mode == Kind::app(session); }

private:
    std::optional<Kind> m_mode;
};

}  // namespace tamsinvale
