// The App Shortcuts page as data, and its checked key edits.
#include "AppShortcutsPageModel.h"

#include <QFileInfo>

#include "switcher/ShortcutStore.h"

namespace tamsinvale {

const QString AppShortcutsPageModel::explanation = QStringLiteral(
    "Type one key, or two, beside an app: in the app switcher those keys bring it forward or start it. A key is one "
    "character; a first key shared with a two-key binding waits for the second key.");
const QString AppShortcutsPageModel::filterKeyMessage =
    QStringLiteral("The letter f opens the switcher's filter, so it cannot start a binding (it works as a second key).");
const QString AppShortcutsPageModel::secondWithoutFirstMessage =
    QStringLiteral("Type a first key before the second one.");
const QString AppShortcutsPageModel::orphansHelp =
    QStringLiteral("Keys kept for apps that are no longer installed. They come back to life if the app does.");

namespace {

QString keysText(const QString& first, const std::optional<QString>& second)
{
    return second ? first + QLatin1Char(' ') + *second : first;
}

// Where an app's discovered binding is stored now: the first candidate that holds one, else where a new one goes.
QString bindingKeyOf(const ShortcutStore& store, const DiscoveredApp& app)
{
    for (const QString& candidate : app.bindingKeyCandidates())
        if (store.discoveredKeyMap().contains(candidate))
            return candidate;
    return app.storageBindingKey();
}

QString appNameForBindingKey(const QList<DiscoveredApp>& apps, const QString& bindingKey)
{
    for (const DiscoveredApp& app : apps)
        if (app.bindingKeyCandidates().contains(bindingKey))
            return app.name;
    return bindingKey;
}

struct CheckedKeys {
    std::optional<QString> first;
    std::optional<QString> second;
    std::optional<QString> refusal;
};

CheckedKeys check(const ShortcutStore& store, const QList<DiscoveredApp>& apps, const QString& firstText,
                  const QString& secondText, const std::optional<QUuid>& excludingShortcut,
                  const std::optional<QString>& excludingBindingKey)
{
    CheckedKeys keys;
    keys.first = AppShortcut::normalizeKey(firstText);
    keys.second = AppShortcut::normalizeKey(secondText);
    if (!keys.first) {
        if (keys.second)
            keys.refusal = AppShortcutsPageModel::secondWithoutFirstMessage;
        return keys;
    }
    if (*keys.first == QLatin1String("f")) {
        keys.refusal = AppShortcutsPageModel::filterKeyMessage;
        return keys;
    }
    if (const auto name = AppShortcutsPageModel::holder(store, apps, *keys.first, keys.second, excludingShortcut,
                                                        excludingBindingKey))
        keys.refusal = AppShortcutsPageModel::conflictMessage(*keys.first, keys.second, *name);
    return keys;
}

}  // namespace

QList<ShortcutRow> AppShortcutsPageModel::discoveredRows(const ShortcutStore& store, const QList<DiscoveredApp>& apps)
{
    QList<ShortcutRow> out;
    for (const DiscoveredApp& app : apps) {
        ShortcutRow row;
        row.appId = app.id;
        row.name = app.name;
        row.iconPath = app.url;
        row.firstKey = store.discoveredKey(app).value_or(QString());
        row.secondKey = row.firstKey.isEmpty() ? QString() : store.discoveredSecondKey(app).value_or(QString());
        out.append(row);
    }
    return out;
}

QList<ShortcutRow> AppShortcutsPageModel::customRows(const ShortcutStore& store)
{
    QList<ShortcutRow> out;
    for (const AppShortcut& s : store.shortcuts()) {
        ShortcutRow row;
        row.shortcutId = s.id;
        row.name = s.name;
        const QString path = store.targetPath(s).value_or(QString());
        const bool script = path.endsWith(QLatin1String(".py"), Qt::CaseInsensitive);
        row.detail = (script ? QStringLiteral("Python script") : QStringLiteral("Application"))
            + (path.isEmpty() ? QStringLiteral(" (not found)") : QStringLiteral(" · ") + path);
        row.iconPath = path;
        row.firstKey = s.key.value_or(QString());
        row.secondKey = s.secondKey.value_or(QString());
        out.append(row);
    }
    return out;
}

QList<OrphanRow> AppShortcutsPageModel::orphanRows(const ShortcutStore& store, const QList<DiscoveredApp>& apps)
{
    QList<OrphanRow> out;
    for (const OrphanedBinding& orphan : store.orphanedBindings(apps))
        out.append(OrphanRow{orphan.id, keysText(orphan.firstKey, orphan.secondKey)});
    return out;
}

std::optional<QString> AppShortcutsPageModel::holder(const ShortcutStore& store, const QList<DiscoveredApp>& apps,
                                                     const QString& firstKey, const std::optional<QString>& secondKey,
                                                     const std::optional<QUuid>& excludingShortcut,
                                                     const std::optional<QString>& excludingBindingKey)
{
    if (!store.conflict(firstKey, secondKey, excludingShortcut, excludingBindingKey))
        return std::nullopt;
    const QString first = firstKey.toLower();
    const std::optional<QString> second = secondKey ? std::optional<QString>(secondKey->toLower()) : std::nullopt;
    for (const AppShortcut& s : store.shortcuts()) {
        if (excludingShortcut && s.id == *excludingShortcut)
            continue;
        const std::optional<QString> otherSecond =
            s.secondKey ? std::optional<QString>(s.secondKey->toLower()) : std::nullopt;
        if (s.key && s.key->toLower() == first && otherSecond == second)
            return s.name;
    }
    const auto& firsts = store.discoveredKeyMap();
    const auto& seconds = store.discoveredSecondKeyMap();
    for (auto it = firsts.begin(); it != firsts.end(); ++it) {
        if (excludingBindingKey && it.key() == *excludingBindingKey)
            continue;
        const std::optional<QString> otherSecond =
            seconds.contains(it.key()) ? std::optional<QString>(seconds.value(it.key()).toLower()) : std::nullopt;
        if (it.value().toLower() == first && otherSecond == second)
            return appNameForBindingKey(apps, it.key());
    }
    return QStringLiteral("another binding");
}

QString AppShortcutsPageModel::conflictMessage(const QString& firstKey, const std::optional<QString>& secondKey,
                                               const QString& holderName)
{
    return secondKey ? QStringLiteral("The keys \"%1\" are already used by %2.").arg(keysText(firstKey, secondKey),
                                                                                     holderName)
                     : QStringLiteral("The key \"%1\" is already used by %2.").arg(firstKey, holderName);
}

std::optional<QString> AppShortcutsPageModel::setDiscoveredKeys(ShortcutStore& store, const QList<DiscoveredApp>& apps,
                                                                const DiscoveredApp& app, const QString& firstKey,
                                                                const QString& secondKey)
{
    const CheckedKeys keys = check(store, apps, firstKey, secondKey, std::nullopt, bindingKeyOf(store, app));
    if (keys.refusal)
        return keys.refusal;
    if (store.discoveredKey(app) != keys.first || store.discoveredSecondKey(app) != keys.second) {
        store.setDiscoveredKey(keys.first, app);
        if (keys.first)
            store.setDiscoveredSecondKey(keys.second, app);
    }
    return std::nullopt;
}

std::optional<QString> AppShortcutsPageModel::setCustomKeys(ShortcutStore& store, const QList<DiscoveredApp>& apps,
                                                            const QUuid& id, const QString& firstKey,
                                                            const QString& secondKey)
{
    const CheckedKeys keys = check(store, apps, firstKey, secondKey, id, std::nullopt);
    if (keys.refusal)
        return keys.refusal;
    const std::optional<AppShortcut> current = store.shortcut(id);
    if (!current)
        return std::nullopt;
    if (current->key != keys.first)
        store.setKey(id, keys.first);
    if (keys.first && store.shortcut(id)->secondKey != keys.second)
        store.setSecondKey(id, keys.second);
    return std::nullopt;
}

}  // namespace tamsinvale
