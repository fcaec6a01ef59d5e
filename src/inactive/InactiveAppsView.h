// The inactive apps window's content as logic: the list for the chosen threshold, each row's state while its
// application is asked to quit, and the texts the panel shows. The panel only draws it and forwards clicks.
#pragma once

#include <QHash>
#include <QList>
#include <QLocale>
#include <QObject>
#include <functional>
#include <optional>

#include "InactiveAppItem.h"
#include "InactiveAppsList.h"
#include "InactiveThreshold.h"
#include "platform/Platform.h"

namespace tamsinvale {

class SettingsStore;

struct InactiveAppRow {
    enum class State {
        idle,         // listed; the Quit button asks it to quit
        quitting,     // asked, waiting for it to go
        stillRunning, // asked, and still running after the timeout: it may be asking about unsaved work
        cannotAsk,    // no window of it accepts a close request, so it cannot be asked politely
    };
    InactiveAppItem item;
    QString name;    // localized name, else bundle identifier, else "Unknown"
    QString detail;  // "Last used 2 days ago", or what became of the quit request
    State state = State::idle;

    bool canQuit() const { return state != State::quitting; }
};

class InactiveAppsView : public QObject {
    Q_OBJECT
public:
    // How long an application has to quit before its row says it is still running.
    static constexpr double quitTimeoutSeconds = 10;
    // How often the applications asked to quit are looked for.
    static constexpr double quitPollSeconds = 0.5;

    // `lastActive` answers since when an application is inactive; `activeNowPid` is the application the user is
    // working in, which counts as active now. Builds the list at once.
    InactiveAppsView(const Platform& platform, SettingsStore& settings,
                     std::function<QDateTime(const RunningApp&)> lastActive,
                     std::optional<std::int32_t> activeNowPid, const QLocale& locale = QLocale::system(),
                     QObject* parent = nullptr);
    ~InactiveAppsView() override;

    const QList<InactiveAppRow>& rows() const { return m_rows; }
    std::optional<InactiveAppRow> row(std::int32_t pid) const;

    // The threshold menu: the fixed choices, plus the stored value when it is none of them.
    QList<InactiveThreshold> thresholdChoices() const;
    int thresholdIndex() const;
    double thresholdHours() const;
    QString thresholdLabel() const;
    // Stores the choice (`inactiveThresholdHours`) and lists again.
    void chooseThreshold(int index);

    // "No apps have been inactive for 48 hours"; shown when there are no rows.
    QString emptyText() const;
    bool canQuitAll() const;

    // Asks one listed application, or every listed one, to quit (a polite request, never forced).
    void quit(std::int32_t pid);
    void quitAll();

    // Computes the list afresh (rows of applications asked to quit keep their state).
    void reload();

    // Escape: the controller closes the window.
    std::function<void()> onEscape;
    void escape();

signals:
    void changed();

private:
    void applicationGone(std::int32_t pid);
    void pollQuitting();
    QString lastUsedText(const QDateTime& lastActive) const;
    void setState(std::int32_t pid, InactiveAppRow::State state);

    Platform m_platform;
    SettingsStore& m_settings;
    std::function<QDateTime(const RunningApp&)> m_lastActive;
    std::optional<std::int32_t> m_activeNowPid;
    QLocale m_locale;
    QList<InactiveAppRow> m_rows;
    // Applications asked to quit: when they were asked (monotonic seconds) and what became of it.
    struct QuitRequest {
        double askedAt = 0;
        InactiveAppRow::State state = InactiveAppRow::State::quitting;
    };
    QHash<std::int32_t, QuitRequest> m_requests;
    TaskHandle m_poll;
};

}  // namespace tamsinvale
