// Listing, the threshold, and following each quit request until the application has gone or the timeout passed.
#include "InactiveAppsView.h"

#include "InactiveLog.h"
#include "RelativeDateText.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

namespace {

QString stateText(InactiveAppRow::State state)
{
    switch (state) {
    case InactiveAppRow::State::idle: return {};
    case InactiveAppRow::State::quitting: return QStringLiteral("Quitting…");
    case InactiveAppRow::State::stillRunning:
        return QStringLiteral("Still running after 10 seconds; it may be asking about unsaved work");
    case InactiveAppRow::State::cannotAsk: return QStringLiteral("Cannot be asked to quit; close it from its window");
    }
    return {};
}

}  // namespace

InactiveAppsView::InactiveAppsView(const Platform& platform, SettingsStore& settings,
                                   std::function<QDateTime(const RunningApp&)> lastActive,
                                   std::optional<std::int32_t> activeNowPid, const QLocale& locale, QObject* parent)
    : QObject(parent)
    , m_platform(platform)
    , m_settings(settings)
    , m_lastActive(std::move(lastActive))
    , m_activeNowPid(activeNowPid)
    , m_locale(locale)
{
    connect(m_platform.workspace, &Workspace::applicationTerminated, this, &InactiveAppsView::applicationGone);
    // The threshold or the excluded apps changed elsewhere (the settings window, `tamsinvale settings`).
    connect(&m_settings, &SettingsStore::inactiveThresholdHoursChanged, this, &InactiveAppsView::reload);
    connect(&m_settings, &SettingsStore::inactiveAppsExcludedChanged, this, &InactiveAppsView::reload);
    reload();
}

InactiveAppsView::~InactiveAppsView() { cancelTask(m_poll); }

double InactiveAppsView::thresholdHours() const
{
    return InactiveThreshold::sanitized(m_settings.settings().inactiveThresholdHours);
}

QString InactiveAppsView::thresholdLabel() const { return InactiveThreshold::labelFor(thresholdHours()); }

QList<InactiveThreshold> InactiveAppsView::thresholdChoices() const
{
    QList<InactiveThreshold> choices = InactiveThreshold::choices();
    const double hours = thresholdHours();
    bool known = false;
    for (const InactiveThreshold& c : choices)
        known = known || c.hours == hours;
    if (!known) {
        // A value set outside the window (`tamsinvale settings`) is shown as it is, in its place by size.
        qsizetype at = 0;
        while (at < choices.size() && choices[at].hours < hours)
            ++at;
        choices.insert(at, InactiveThreshold{InactiveThreshold::labelFor(hours), hours});
    }
    return choices;
}

int InactiveAppsView::thresholdIndex() const
{
    const QList<InactiveThreshold> choices = thresholdChoices();
    for (qsizetype i = 0; i < choices.size(); ++i)
        if (choices[i].hours == thresholdHours())
            return int(i);
    return 0;
}

void InactiveAppsView::chooseThreshold(int index)
{
    const QList<InactiveThreshold> choices = thresholdChoices();
    if (index < 0 || index >= choices.size() || choices[index].hours == thresholdHours())
        return;
    // The store's change signal lists again.
    m_settings.set(&Settings::inactiveThresholdHours, choices[index].hours);
}

QString InactiveAppsView::emptyText() const
{
    return QStringLiteral("No apps have been inactive for ") + thresholdLabel();
}

bool InactiveAppsView::canQuitAll() const
{
    for (const InactiveAppRow& r : m_rows)
        if (r.canQuit())
            return true;
    return false;
}

std::optional<InactiveAppRow> InactiveAppsView::row(std::int32_t pid) const
{
    for (const InactiveAppRow& r : m_rows)
        if (r.item.pid() == pid)
            return r;
    return std::nullopt;
}

QString InactiveAppsView::lastUsedText(const QDateTime& lastActive) const
{
    return QStringLiteral("Last used ")
        + RelativeDateText::describe(lastActive, m_platform.scheduler->currentDateTime(), m_locale);
}

void InactiveAppsView::reload()
{
    InactiveListRules rules;
    rules.ownBundleIdentifier = m_platform.workspace->ownBundleIdentifier();
    rules.ownPid = m_platform.workspace->ownPid();
    rules.excluded = m_settings.settings().inactiveAppsExcluded;
    rules.activeNowPid = m_activeNowPid;
    const QList<InactiveAppItem> items =
        InactiveAppsList::build(m_platform.workspace->runningApplications(), m_lastActive, rules,
                                m_platform.scheduler->currentDateTime(), thresholdHours());
    m_rows.clear();
    for (const InactiveAppItem& item : items) {
        InactiveAppRow r{item, item.displayName(), {}, InactiveAppRow::State::idle};
        if (const auto it = m_requests.constFind(item.pid()); it != m_requests.cend())
            r.state = it->state;
        r.detail = r.state == InactiveAppRow::State::idle ? lastUsedText(item.lastActive) : stateText(r.state);
        m_rows.append(r);
    }
    emit changed();
}

void InactiveAppsView::setState(std::int32_t pid, InactiveAppRow::State state)
{
    for (InactiveAppRow& r : m_rows) {
        if (r.item.pid() != pid)
            continue;
        r.state = state;
        r.detail = state == InactiveAppRow::State::idle ? lastUsedText(r.item.lastActive) : stateText(state);
    }
}

void InactiveAppsView::quit(std::int32_t pid)
{
    const auto r = row(pid);
    if (!r || !r->canQuit())
        return;
    const bool asked = m_platform.workspace->requestQuit(pid);
    qCInfo(lcInactive, "asked %s (pid %d) to quit: %s", qUtf8Printable(r->name), pid,
           asked ? "request sent" : "it cannot be asked");
    if (!asked) {
        m_requests.remove(pid);
        setState(pid, InactiveAppRow::State::cannotAsk);
        emit changed();
        return;
    }
    m_requests.insert(pid, QuitRequest{m_platform.scheduler->now(), InactiveAppRow::State::quitting});
    setState(pid, InactiveAppRow::State::quitting);
    if (!m_poll)
        m_poll = m_platform.scheduler->repeat(quitPollSeconds, [this] { pollQuitting(); });
    emit changed();
}

void InactiveAppsView::quitAll()
{
    QList<std::int32_t> pids;
    for (const InactiveAppRow& r : m_rows)
        if (r.canQuit())
            pids.append(r.item.pid());
    for (const std::int32_t pid : pids)
        quit(pid);
}

void InactiveAppsView::applicationGone(std::int32_t pid)
{
    m_requests.remove(pid);
    const qsizetype before = m_rows.size();
    m_rows.removeIf([pid](const InactiveAppRow& r) { return r.item.pid() == pid; });
    if (m_rows.size() != before) {
        qCInfo(lcInactive, "pid %d has quit", pid);
        emit changed();
    }
}

void InactiveAppsView::pollQuitting()
{
    const double now = m_platform.scheduler->now();
    bool waiting = false;
    bool anyChange = false;
    const QList<std::int32_t> pids = m_requests.keys();
    for (const std::int32_t pid : pids) {
        QuitRequest& request = m_requests[pid];
        if (request.state != InactiveAppRow::State::quitting)
            continue;
        // Gone from the desktop (no window left, or the process ended) counts as quit, notification or not.
        const auto app = m_platform.workspace->runningApplication(pid);
        if (!app || app->terminated) {
            applicationGone(pid);
            continue;
        }
        if (now - request.askedAt >= quitTimeoutSeconds) {
            request.state = InactiveAppRow::State::stillRunning;
            setState(pid, request.state);
            anyChange = true;
            qCInfo(lcInactive, "pid %d did not quit within %g s; left running", pid, quitTimeoutSeconds);
        } else {
            waiting = true;
        }
    }
    if (!waiting)
        cancelTask(m_poll);
    if (anyChange)
        emit changed();
}

void InactiveAppsView::escape()
{
    if (onEscape)
        onEscape();
}

}  // namespace tamsinvale
