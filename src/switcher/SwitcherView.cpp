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
    // Rows follow the stores: a finished scan or an edited binding redraws the list.
    connect(&m_discovery, &AppDiscoveryStore::appsChanged, this, [this] {
        if (m_selectedIndex && *m_selectedIndex >= rows().size())
            selectFirstOrNone();
        emit changed();
    });
    connect(&m_store, &ShortcutStore::changed, this, &SwitcherView::changed);
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

QList<SwitcherRow> SwitcherView::rows() const
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
    m_selectedIndex = rows().isEmpty() ? std::nullopt : std::optional<int>(0);
}

void SwitcherView::setFilter(const QString& filter)
{
    m_filter = filter;
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
    SwitcherActivity::shared().setMode(SwitcherActivity::Kind::app(m_sessionId));
    m_discovery.refreshInBackground();
    m_inputState = ShortcutInputState::idle();
    qCInfo(lcSwitcher, "view: onAppear, registering key handler");
    QPointer<SwitcherView> self(this);
    m_router.registerHandler([self](const SwitcherKeyEvent& event) -> std::optional<SwitcherKeyEvent> {
        if (!self)
            return event;
        return self->handleKey(event);
    });
    if (!rows().isEmpty())
        m_selectedIndex = 0;
    emit changed();
}

void SwitcherView::closeAndActivate(const SwitcherRow& row)
{
    if (onClose)
        onClose();
    QPointer<ShortcutStore> store(&m_store);
    if (row.kind == SwitcherRow::Kind::settings) {
        std::function<void()> open = onOpenSettings;
        m_scheduler.post([open] {
            if (open)
                open();
        });
        return;
    }
    // One turn of the main queue later, so that the panel is gone before the target comes forward.
    m_scheduler.post([store, row] {
        if (!store)
            return;
        if (row.kind == SwitcherRow::Kind::discovered)
            store->activate(*row.app);
        else
            store->activate(*row.shortcut);
    });
}

void SwitcherView::choose(int index)
{
    const QList<SwitcherRow> list = rows();
    if (index < 0 || index >= list.size())
        return;
    m_selectedIndex = index;
    closeAndActivate(list[index]);
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
    const QList<SwitcherRow> currentRows = navigation ? rows() : QList<SwitcherRow>{};
    if (event.keyCode == SwitcherKeyEvent::escape) {
        if (m_inputState.isIdle()) {
            if (onClose)
                onClose();
        } else {
            m_inputState = ShortcutInputState::idle();
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
        closeAndActivate(currentRows[*m_selectedIndex]);
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
