// The switcher's key handler and row list: session guard, navigation, the filter, and one- and two-key bindings
// where custom shortcuts win over discovered ones.
#include "SwitcherView.h"

#include <QCollator>
#include <QPointer>
#include <QTextBoundaryFinder>

#include "AppDiscoveryStore.h"
#include "ShortcutStore.h"
#include "SwitcherActivity.h"
#include "SwitcherKeyRouter.h"
#include "platform/Logging.h"
#include "platform/Scheduler.h"

namespace tamsinvale {

namespace {

int graphemeCount(const QString& text)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int count = 0;
    while (finder.toNextBoundary() > 0)
        ++count;
    return count;
}

bool containsText(const QString& haystack, const QString& needle)
{
    return haystack.contains(needle, Qt::CaseInsensitive);
}

}  // namespace

SwitcherView::SwitcherView(ShortcutStore& store, AppDiscoveryStore& discovery, SwitcherKeyRouter& router,
                           Scheduler& scheduler, QObject* parent)
    : QObject(parent), m_store(store), m_discovery(discovery), m_router(router), m_scheduler(scheduler)
{
    // Rows follow the stores: a finished scan or an edited binding updates the rows it touched, and the selection
    // stays on the row it was on.
    connect(&m_discovery, &AppDiscoveryStore::appsChanged, this, [this] { updateRows(true); });
    connect(&m_store, &ShortcutStore::changed, this, [this] { updateRows(true); });
    // A new view is in the state its appearance sets (idle, first row selected), so that a view made ahead of
    // its showing is drawn as it will be shown.
    m_rows = computeRows();
    ++m_rowListBuilds;
    selectFirstOrNone();
}

void SwitcherView::stopFollowingStores()
{
    disconnect(m_firstScanDone);
    cancelTask(m_firstScanWait);
    disconnect(&m_discovery, nullptr, this, nullptr);
    disconnect(&m_store, nullptr, this, nullptr);
}

void SwitcherView::updateRows(bool keepSelection)
{
    QList<SwitcherRow> next = computeRows();
    ++m_rowListBuilds;
    RowChange change;
    QString selectedIdentity;
    if (keepSelection && m_selectedIndex && *m_selectedIndex >= 0 && *m_selectedIndex < m_rows.size())
        selectedIdentity = m_rows[*m_selectedIndex].identity();
    if (next.size() != m_rows.size())
        change.reordered = true;
    for (qsizetype i = 0; i < next.size(); ++i) {
        if (i >= m_rows.size() || next[i].identity() != m_rows[i].identity()) {
            change.reordered = true;
            change.changedRows.insert(int(i));
        } else if (next[i].title() != m_rows[i].title() || next[i].keys != m_rows[i].keys) {
            change.changedRows.insert(int(i));
        }
    }
    m_rows = std::move(next);
    if (!change.isEmpty())
        m_lastChange = change;
    if (keepSelection && !m_appeared) {
        // Made ahead of its showing: it stays in the state its appearance sets.
        selectFirstOrNone();
    } else if (keepSelection) {
        if (!selectedIdentity.isEmpty() && change.reordered) {
            const auto it = std::find_if(m_rows.cbegin(), m_rows.cend(),
                                         [&](const SwitcherRow& r) { return r.identity() == selectedIdentity; });
            if (it != m_rows.cend())
                m_selectedIndex = int(it - m_rows.cbegin());
            else if (m_rows.isEmpty())
                m_selectedIndex.reset();
            else
                m_selectedIndex = std::min(*m_selectedIndex, int(m_rows.size()) - 1);
        }
    }
    if (change.isEmpty())
        return;
    emit rowsChanged();
    emit changed();
}

QStringList SwitcherView::keysOf(const DiscoveredApp& app) const
{
    QStringList keys;
    if (auto first = m_store.discoveredKey(app)) {
        keys.append(*first);
        if (auto second = m_store.discoveredSecondKey(app))
            keys.append(*second);
    }
    return keys;
}

QList<SwitcherRow> SwitcherView::computeRows() const
{
    QList<SwitcherRow> out;
    auto customKeys = [](const AppShortcut& s) {
        QStringList keys;
        if (s.key)
            keys.append(*s.key);
        if (s.key && s.secondKey)
            keys.append(*s.secondKey);
        return keys;
    };
    if (const auto& k = m_inputState.waitingFirstKey) {
        for (const DiscoveredApp& app : m_store.discoveredApps(*k, m_discovery.apps()))
            out.append(SwitcherRow::discovered(app, keysOf(app)));
        for (const AppShortcut& s : m_store.shortcuts()) {
            if (s.key == *k)
                out.append(SwitcherRow::custom(s, customKeys(s)));
        }
        return out;
    }
    const QString filter = m_filter.trimmed().toLower();
    const bool singleCharacter = graphemeCount(filter) == 1;
    for (const DiscoveredApp& app : m_discovery.apps()) {
        const QStringList keys = keysOf(app);
        const bool keyMatch = singleCharacter && !keys.isEmpty() && keys.first() == filter;
        if (filter.isEmpty() || keyMatch || containsText(app.name, filter))
            out.append(SwitcherRow::discovered(app, keys));
    }
    for (const AppShortcut& s : m_store.shortcuts()) {
        if (filter.isEmpty() || containsText(s.name, filter))
            out.append(SwitcherRow::custom(s, customKeys(s)));
    }
    // The settings entry stays reachable when the filter names it.
    if (filter.isEmpty() || containsText(SwitcherRow::settingsTitle, filter))
        out.append(SwitcherRow::settings());
    return out;
}

QString SwitcherView::headerHint() const
{
    return m_inputState.isIdle() ? QString() : secondKeyHint;
}

std::optional<QString> SwitcherView::iconPath(const SwitcherRow& row) const
{
    switch (row.kind) {
    case SwitcherRow::Kind::discovered: return row.app->url;
    case SwitcherRow::Kind::custom: return m_store.targetPath(*row.shortcut);
    case SwitcherRow::Kind::settings: break;
    }
    return std::nullopt;
}

void SwitcherView::selectFirstOrNone()
{
    m_selectedIndex = m_rows.isEmpty() ? std::nullopt : std::optional<int>(0);
}

void SwitcherView::setFilter(const QString& filter)
{
    m_filter = filter;
    updateRows(false);
    selectFirstOrNone();
    emit changed();
}

void SwitcherView::setSearchFocused(bool focused)
{
    m_searchFocused = focused;
    emit changed();
}

void SwitcherView::appear()
{
    m_appeared = true;
    SwitcherActivity::shared().setMode(SwitcherActivity::Kind::app(m_sessionId));
    m_discovery.refreshInBackground();
    bool changedState = false;
    if (!m_inputState.isIdle()) {
        m_inputState = ShortcutInputState::idle();
        updateRows(false);
        changedState = true;
    }
    if (m_discovery.hasScanned()) {
        registerKeyHandler();
    } else {
        // Keys stay in the router until the first scan has published (or the wait runs out), then replay in order.
        qCInfo(lcSwitcher, "view: onAppear, waiting for the first application scan before taking keys");
        QPointer<SwitcherView> self(this);
        auto registerOnce = [self] {
            if (!self || self->m_router.hasHandler())
                return;
            disconnect(self->m_firstScanDone);
            cancelTask(self->m_firstScanWait);
            self->registerKeyHandler();
        };
        m_firstScanDone = connect(&m_discovery, &AppDiscoveryStore::refreshFinished, this, registerOnce);
        m_firstScanWait = m_scheduler.postAfter(firstScanWaitSeconds, registerOnce);
    }
    if (!m_rows.isEmpty() && m_selectedIndex != 0) {
        m_selectedIndex = 0;
        changedState = true;
    }
    // A view made ahead of its showing is already in this state: nothing to draw again.
    if (changedState)
        emit changed();
}

void SwitcherView::registerKeyHandler()
{
    qCInfo(lcSwitcher, "view: onAppear, registering key handler");
    QPointer<SwitcherView> self(this);
    m_router.registerHandler([self](const SwitcherKeyEvent& event) -> std::optional<SwitcherKeyEvent> {
        if (!self)
            return event;
        return self->handleKey(event);
    });
}

void SwitcherView::closeAndActivate(const SwitcherRow& row)
{
    // The activation is queued before the panel closes, so that it runs ahead of whatever the close queues (the
    // preparation of the next showing); the panel is still gone before the target comes forward.
    QPointer<ShortcutStore> store(&m_store);
    if (row.kind == SwitcherRow::Kind::settings) {
        std::function<void()> open = onOpenSettings;
        m_scheduler.post([open] {
            if (open)
                open();
        });
    } else {
        m_scheduler.post([store, row] {
            if (!store)
                return;
            if (row.kind == SwitcherRow::Kind::discovered)
                store->activate(*row.app);
            else
                store->activate(*row.shortcut);
        });
    }
    if (onClose)
        onClose();
}

void SwitcherView::choose(int index)
{
    if (index < 0 || index >= m_rows.size())
        return;
    m_selectedIndex = index;
    const SwitcherRow row = m_rows[index];
    closeAndActivate(row);
}

std::optional<SwitcherKeyEvent> SwitcherView::handleKey(const SwitcherKeyEvent& event)
{
    if (!SwitcherActivity::shared().isAppSession(m_sessionId)) {
        qCCritical(lcSwitcher, "handler: passthrough '%s' — mode guard failed (mode is not this session)",
                   qUtf8Printable(event.logText()));
        return event;
    }
    // The row list is only needed for navigation keys; letters must not pay for building it.
    const bool navigation = event.keyCode == SwitcherKeyEvent::upArrow || event.keyCode == SwitcherKeyEvent::downArrow
        || event.keyCode == SwitcherKeyEvent::returnKey || event.keyCode == SwitcherKeyEvent::keypadEnter;
    static const QList<SwitcherRow> noRows;
    const QList<SwitcherRow>& currentRows = navigation ? m_rows : noRows;
    if (event.keyCode == SwitcherKeyEvent::escape) {
        if (m_inputState.isIdle()) {
            if (onClose)
                onClose();
        } else {
            m_inputState = ShortcutInputState::idle();
            updateRows(false);
            selectFirstOrNone();
            emit changed();
        }
        return std::nullopt;
    }
    if (event.keyCode == SwitcherKeyEvent::upArrow && !currentRows.isEmpty()) {
        m_selectedIndex = std::max(0, m_selectedIndex.value_or(0) - 1);
        emit changed();
        return std::nullopt;
    }
    if (event.keyCode == SwitcherKeyEvent::downArrow && !currentRows.isEmpty()) {
        m_selectedIndex = std::min(int(currentRows.size()) - 1, m_selectedIndex.value_or(-1) + 1);
        emit changed();
        return std::nullopt;
    }
    if ((event.keyCode == SwitcherKeyEvent::returnKey || event.keyCode == SwitcherKeyEvent::keypadEnter)
        && m_selectedIndex && *m_selectedIndex >= 0 && *m_selectedIndex < currentRows.size()) {
        const SwitcherRow row = currentRows[*m_selectedIndex];
        closeAndActivate(row);
        return std::nullopt;
    }
    if (m_searchFocused) {
        qCInfo(lcSwitcher, "handler: passthrough '%s' (search focused)", qUtf8Printable(event.logText()));
        return event;
    }
    if (event.characters.isEmpty() || graphemeCount(event.characters) != 1)
        return event;
    const QString c = event.characters.toLower();

    if (c == QLatin1String("f") && m_inputState.isIdle()) {
        setSearchFocused(true);
        return std::nullopt;
    }

    const QList<AppShortcut>& shortcuts = m_store.shortcuts();
    if (const auto& firstKey = m_inputState.waitingFirstKey) {
        for (const AppShortcut& s : shortcuts) {
            if (s.key == *firstKey && s.secondKey == c) {
                closeAndActivate(SwitcherRow::custom(s, {}));
                return std::nullopt;
            }
        }
        const QList<DiscoveredApp> candidates = m_store.discoveredApps(*firstKey, m_discovery.apps());
        for (const DiscoveredApp& app : candidates) {
            if (m_store.discoveredSecondKey(app) == c) {
                closeAndActivate(SwitcherRow::discovered(app, {}));
                return std::nullopt;
            }
        }
        if (c != *firstKey)
            return std::nullopt;
        // The first key pressed twice reaches the single-key binding that shares it.
        for (const AppShortcut& s : shortcuts) {
            if (s.key == *firstKey && !s.secondKey) {
                closeAndActivate(SwitcherRow::custom(s, {}));
                return std::nullopt;
            }
        }
        for (const DiscoveredApp& app : candidates) {
            if (!m_store.discoveredSecondKey(app)) {
                closeAndActivate(SwitcherRow::discovered(app, {}));
                return std::nullopt;
            }
        }
        return std::nullopt;
    }

    QList<AppShortcut> custom;
    for (const AppShortcut& s : shortcuts) {
        if (s.key == c)
            custom.append(s);
    }
    const QList<DiscoveredApp> discovered = m_store.discoveredApps(c, m_discovery.apps());
    const bool twoKey = std::any_of(custom.begin(), custom.end(), [](const AppShortcut& s) { return bool(s.secondKey); })
        || std::any_of(discovered.begin(), discovered.end(),
                       [this](const DiscoveredApp& a) { return bool(m_store.discoveredSecondKey(a)); });
    qCInfo(lcSwitcher, "handler: idle key '%s' custom=%ld discovered=%ld twoKey=%s", qUtf8Printable(c),
           long(custom.size()), long(discovered.size()), logBool(twoKey));
    if (twoKey) {
        qCInfo(lcSwitcher, "handler: entering waitingForSecondKey('%s')", qUtf8Printable(c));
        m_inputState = ShortcutInputState::waitingForSecondKey(c);
        updateRows(false);
        selectFirstOrNone();
        emit changed();
        return std::nullopt;
    }
    for (const AppShortcut& s : custom) {
        if (!s.secondKey) {
            qCInfo(lcSwitcher, "handler: activating custom '%s'", qUtf8Printable(s.name));
            closeAndActivate(SwitcherRow::custom(s, {}));
            return std::nullopt;
        }
    }
    for (const DiscoveredApp& app : discovered) {
        if (!m_store.discoveredSecondKey(app)) {
            qCInfo(lcSwitcher, "handler: activating discovered '%s'", qUtf8Printable(app.name));
            closeAndActivate(SwitcherRow::discovered(app, {}));
            return std::nullopt;
        }
    }
    qCInfo(lcSwitcher, "handler: no shortcut for '%s' — passthrough (will beep)", qUtf8Printable(c));
    return event;
}

bool SwitcherView::editFilter(const SwitcherKeyEvent& event)
{
    if (!m_searchFocused)
        return false;
    if (event.keyCode == SwitcherKeyEvent::tab) {
        // Tab hands the keys back to the bindings, keeping the filtered list.
        setSearchFocused(false);
        return true;
    }
    if (event.keyCode == SwitcherKeyEvent::deleteKey) {
        if (m_filter.isEmpty())
            return false;
        QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, m_filter);
        finder.toEnd();
        const qsizetype last = finder.toPreviousBoundary();
        setFilter(m_filter.left(std::max<qsizetype>(0, last)));
        return true;
    }
    if (event.characters.isEmpty() || !event.characters.at(0).isPrint())
        return false;
    setFilter(m_filter + event.characters);
    return true;
}

}  // namespace tamsinvale
