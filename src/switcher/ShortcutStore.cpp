// Shortcut store: loading with normalisation, saving, discovered-binding lookups and edits, conflicts, orphans
// and the migration of name-keyed bindings.
#include "ShortcutStore.h"

#include <QCollator>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScopedValueRollback>
#include <QSet>
#include <algorithm>

#include "platform/Logging.h"

namespace tamsinvale {

namespace {

// A JSON object of strings to strings; any other shape is no map at all.
std::optional<QMap<QString, QString>> decodeStringMap(const QByteArray& json)
{
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject())
        return std::nullopt;
    QMap<QString, QString> out;
    const QJsonObject object = doc.object();
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (!it.value().isString())
            return std::nullopt;
        out.insert(it.key(), it.value().toString());
    }
    return out;
}

QByteArray encodeStringMap(const QMap<QString, QString>& map)
{
    QJsonObject object;
    for (auto it = map.begin(); it != map.end(); ++it)
        object.insert(it.key(), it.value());
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QMap<QString, QString> normalizedMap(const QMap<QString, QString>& raw)
{
    QMap<QString, QString> out;
    for (auto it = raw.begin(); it != raw.end(); ++it) {
        if (auto key = AppShortcut::normalizeKey(it.value()))
            out.insert(it.key(), *key);
    }
    return out;
}

std::optional<QString> lowered(const std::optional<QString>& s)
{
    return s ? std::optional<QString>(s->toLower()) : std::nullopt;
}

}  // namespace

ShortcutStore::ShortcutStore(const Platform& platform, QObject* parent) : QObject(parent), m_platform(platform)
{
    load();
    if (m_platform.defaults)
        connect(m_platform.defaults, &DefaultsDomain::changed, this, &ShortcutStore::reloadIfChanged);
}

void ShortcutStore::load()
{
    m_shortcuts.clear();
    m_discoveredKeyMap.clear();
    m_discoveredSecondKeyMap.clear();
    DefaultsDomain* defaults = m_platform.defaults;
    if (!defaults)
        return;
    // Without the shortcut list the maps are not read either: a deleted list resets every binding.
    const std::optional<QByteArray> list = defaults->dataValue(storageKey);
    if (!list)
        return;
    for (AppShortcut s : AppShortcut::decodeList(*list).value_or(QList<AppShortcut>{})) {
        s.key = AppShortcut::normalizeKey(s.key);
        s.secondKey = s.key ? AppShortcut::normalizeKey(s.secondKey) : std::nullopt;
        m_shortcuts.append(s);
    }
    if (auto first = defaults->dataValue(discoveredKeysKey))
        m_discoveredKeyMap = normalizedMap(decodeStringMap(*first).value_or(QMap<QString, QString>{}));
    if (auto second = defaults->dataValue(discoveredSecondKeysKey)) {
        const QMap<QString, QString> map = normalizedMap(decodeStringMap(*second).value_or(QMap<QString, QString>{}));
        for (auto it = map.begin(); it != map.end(); ++it) {
            if (m_discoveredKeyMap.contains(it.key()))
                m_discoveredSecondKeyMap.insert(it.key(), it.value());
        }
    }
}

void ShortcutStore::reloadIfChanged()
{
    // The notification of our own save: what is stored is what we hold.
    if (m_saving)
        return;
    const QList<AppShortcut> shortcuts = m_shortcuts;
    const QMap<QString, QString> first = m_discoveredKeyMap;
    const QMap<QString, QString> second = m_discoveredSecondKeyMap;
    load();
    if (shortcuts != m_shortcuts || first != m_discoveredKeyMap || second != m_discoveredSecondKeyMap)
        emit changed();
}

void ShortcutStore::save()
{
    DefaultsDomain* defaults = m_platform.defaults;
    if (!defaults)
        return;
    // One change for the three keys: an observer reloading on the first key alone would read the other two as
    // they were and write them back over ours.
    const QScopedValueRollback saving(m_saving, true);
    defaults->setValues({{storageKey, AppShortcut::encodeList(m_shortcuts)},
                         {discoveredKeysKey, encodeStringMap(m_discoveredKeyMap)},
                         {discoveredSecondKeysKey, encodeStringMap(m_discoveredSecondKeyMap)}});
}

void ShortcutStore::saveAndNotify()
{
    save();
    emit changed();
}

std::optional<AppShortcut> ShortcutStore::shortcut(const QUuid& id) const
{
    for (const AppShortcut& s : m_shortcuts) {
        if (s.id == id)
            return s;
    }
    return std::nullopt;
}

std::optional<QString> ShortcutStore::bindingKeyFound(const DiscoveredApp& app) const
{
    // The candidates in their order (bundle identifier, then name), without building the list: every row of the
    // switcher asks this.
    if (app.bundleIdentifier && m_discoveredKeyMap.contains(*app.bundleIdentifier))
        return *app.bundleIdentifier;
    if (m_discoveredKeyMap.contains(app.name))
        return app.name;
    return std::nullopt;
}

std::optional<QString> ShortcutStore::discoveredKey(const DiscoveredApp& app) const
{
    const auto binding = bindingKeyFound(app);
    return binding ? std::optional<QString>(m_discoveredKeyMap.value(*binding)) : std::nullopt;
}

std::optional<QString> ShortcutStore::discoveredSecondKey(const DiscoveredApp& app) const
{
    const auto binding = bindingKeyFound(app);
    if (!binding || !m_discoveredSecondKeyMap.contains(*binding))
        return std::nullopt;
    return m_discoveredSecondKeyMap.value(*binding);
}

QList<DiscoveredApp> ShortcutStore::discoveredApps(const QString& key, const QList<DiscoveredApp>& apps) const
{
    const QString wanted = key.toLower();
    QList<DiscoveredApp> out;
    for (const DiscoveredApp& app : apps) {
        if (discoveredKey(app) == wanted)
            out.append(app);
    }
    return out;
}

void ShortcutStore::setDiscoveredKey(const std::optional<QString>& key, const DiscoveredApp& app)
{
    const std::optional<QString> keptSecond = discoveredSecondKey(app);
    for (const QString& candidate : app.bindingKeyCandidates()) {
        m_discoveredKeyMap.remove(candidate);
        m_discoveredSecondKeyMap.remove(candidate);
    }
    if (const auto normalized = AppShortcut::normalizeKey(key)) {
        const QString binding = app.storageBindingKey();
        m_discoveredKeyMap.insert(binding, *normalized);
        if (keptSecond)
            m_discoveredSecondKeyMap.insert(binding, *keptSecond);
    }
    saveAndNotify();
}

void ShortcutStore::setDiscoveredSecondKey(const std::optional<QString>& key, const DiscoveredApp& app)
{
    const auto binding = bindingKeyFound(app);
    if (!binding)
        return;
    if (const auto normalized = AppShortcut::normalizeKey(key))
        m_discoveredSecondKeyMap.insert(*binding, *normalized);
    else
        m_discoveredSecondKeyMap.remove(*binding);
    saveAndNotify();
}

void ShortcutStore::resetDiscovered(const DiscoveredApp& app)
{
    for (const QString& candidate : app.bindingKeyCandidates()) {
        m_discoveredKeyMap.remove(candidate);
        m_discoveredSecondKeyMap.remove(candidate);
    }
    saveAndNotify();
}

std::optional<QUuid> ShortcutStore::addShortcut()
{
    if (!m_fileChooser)
        return std::nullopt;
    const std::optional<QString> chosen = m_fileChooser(QStringLiteral("Choose an app"));
    if (!chosen || chosen->isEmpty())
        return std::nullopt;
    return addShortcut(*chosen);
}

std::optional<QUuid> ShortcutStore::addShortcut(const QString& path)
{
    const AppFileInfo info = AppInfoReader::fileInfo(path, m_plistReader, m_applicationDirs);
    AppShortcut s;
    s.id = QUuid::createUuid();
    s.name = info.name;
    s.bundleIdentifier = info.bundleIdentifier;
    s.appBookmarkData = m_platform.bookmarks ? m_platform.bookmarks->create(path) : path.toUtf8();
    // Propose the name's first letter, unless some binding already starts with it.
    const QString lower = info.name.toLower();
    const auto letter = std::find_if(lower.begin(), lower.end(), [](QChar c) { return c.isLetter(); });
    if (letter != lower.end()) {
        const QString proposal(*letter);
        const bool usedByCustom = std::any_of(m_shortcuts.begin(), m_shortcuts.end(),
                                              [&](const AppShortcut& o) { return o.key == proposal; });
        const bool usedByDiscovered = std::find(m_discoveredKeyMap.cbegin(), m_discoveredKeyMap.cend(), proposal)
            != m_discoveredKeyMap.cend();
        if (!usedByCustom && !usedByDiscovered)
            s.key = proposal;
    }
    m_shortcuts.append(s);
    saveAndNotify();
    return s.id;
}

void ShortcutStore::setKey(const QUuid& id, const std::optional<QString>& key)
{
    for (AppShortcut& s : m_shortcuts) {
        if (s.id != id)
            continue;
        s.key = AppShortcut::normalizeKey(key);
        if (!s.key)
            s.secondKey.reset();
    }
    saveAndNotify();
}

void ShortcutStore::setSecondKey(const QUuid& id, const std::optional<QString>& key)
{
    for (AppShortcut& s : m_shortcuts) {
        if (s.id == id)
            s.secondKey = s.key ? AppShortcut::normalizeKey(key) : std::nullopt;
    }
    saveAndNotify();
}

void ShortcutStore::remove(const QUuid& id)
{
    m_shortcuts.removeIf([&](const AppShortcut& s) { return s.id == id; });
    m_launchedScripts.remove(id);
    m_scriptProcesses.remove(id);
    saveAndNotify();
}

bool ShortcutStore::conflict(const QString& firstKey, const std::optional<QString>& secondKey,
                             const std::optional<QUuid>& excludingShortcut,
                             const std::optional<QString>& excludingBindingKey) const
{
    const QString first = firstKey.toLower();
    const std::optional<QString> second = lowered(secondKey);
    for (const AppShortcut& s : m_shortcuts) {
        if (excludingShortcut && s.id == *excludingShortcut)
            continue;
        if (lowered(s.key) == first && lowered(s.secondKey) == second)
            return true;
    }
    for (auto it = m_discoveredKeyMap.begin(); it != m_discoveredKeyMap.end(); ++it) {
        if (excludingBindingKey && it.key() == *excludingBindingKey)
            continue;
        const std::optional<QString> otherSecond = m_discoveredSecondKeyMap.contains(it.key())
            ? std::optional<QString>(m_discoveredSecondKeyMap.value(it.key()).toLower())
            : std::nullopt;
        if (it.value().toLower() == first && otherSecond == second)
            return true;
    }
    return false;
}

QList<OrphanedBinding> ShortcutStore::orphanedBindings(const QList<DiscoveredApp>& apps) const
{
    QSet<QString> known;
    for (const DiscoveredApp& app : apps) {
        for (const QString& candidate : app.bindingKeyCandidates())
            known.insert(candidate);
    }
    QList<OrphanedBinding> out;
    for (auto it = m_discoveredKeyMap.begin(); it != m_discoveredKeyMap.end(); ++it) {
        if (known.contains(it.key()))
            continue;
        const std::optional<QString> second = m_discoveredSecondKeyMap.contains(it.key())
            ? std::optional<QString>(m_discoveredSecondKeyMap.value(it.key()))
            : std::nullopt;
        out.append(OrphanedBinding{it.key(), it.value(), second});
    }
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(out.begin(), out.end(),
                     [&](const OrphanedBinding& a, const OrphanedBinding& b) { return collator.compare(a.id, b.id) < 0; });
    return out;
}

void ShortcutStore::removeOrphan(const QString& id)
{
    m_discoveredKeyMap.remove(id);
    m_discoveredSecondKeyMap.remove(id);
    saveAndNotify();
}

int ShortcutStore::migrateLegacyDiscoveredBindings(const QList<DiscoveredApp>& apps)
{
    int migrated = 0;
    for (const DiscoveredApp& app : apps) {
        if (!app.bundleIdentifier || *app.bundleIdentifier == app.name)
            continue;
        const QString& name = app.name;
        const QString& bid = *app.bundleIdentifier;
        if (!m_discoveredKeyMap.contains(name) && !m_discoveredSecondKeyMap.contains(name))
            continue;
        for (QMap<QString, QString>* map : {&m_discoveredKeyMap, &m_discoveredSecondKeyMap}) {
            if (!map->contains(name))
                continue;
            const QString value = map->take(name);
            // A binding already made under the identifier is the newer one.
            if (!map->contains(bid))
                map->insert(bid, value);
        }
        ++migrated;
    }
    if (migrated > 0) {
        saveAndNotify();
        qCInfo(lcSwitcher, "migrated %ld legacy name-keyed discovered bindings to bundle identifiers", long(migrated));
    }
    return migrated;
}

}  // namespace tamsinvale
