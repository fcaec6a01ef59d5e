// Loading, saving and publishing of the settings.
#include "SettingsStore.h"

#include <QMetaObject>

#include "SettingsSchema.h"
#include "platform/Defaults.h"
#include "platform/Platform.h"

namespace tamsinvale {

SettingsStore::SettingsStore(DefaultsDomain& defaults, QObject* parent)
    : QObject(parent), m_defaults(defaults)
{
    load();
}

SettingsStore& SettingsStore::shared()
{
    static SettingsStore* store = new SettingsStore(*currentPlatform().defaults);
    return *store;
}

void SettingsStore::load()
{
    m_isLoaded = false;
    m_decodedWallpapers.clear();
    Settings loaded;
    for (const SettingField& field : settingsSchema())
        field.load(m_defaults, loaded);
    m_settings = loaded;
    removeRetiredKeys();
    m_isLoaded = true;
}

void SettingsStore::removeRetiredKeys()
{
    for (const QString& key : retiredSettingsKeys())
        if (m_defaults.value(key))
            m_defaults.removeValue(key);
}

void SettingsStore::reload()
{
    const Settings previous = m_settings;
    Settings loaded;
    for (const SettingField& field : settingsSchema())
        field.load(m_defaults, loaded);
    m_settings = loaded;
    // An older build or a hand edit may have written them back.
    removeRetiredKeys();
    publish(previous);
}

void SettingsStore::save()
{
    if (!m_isLoaded)
        return;
    for (const SettingField& field : settingsSchema())
        field.save(m_settings, m_defaults);
}

void SettingsStore::update(const std::function<void(Settings&)>& change)
{
    const Settings previous = m_settings;
    change(m_settings);
    publish(previous);
    save();
}

void SettingsStore::resetAll()
{
    update([](Settings& s) { s = Settings{}; });
}

void SettingsStore::publish(const Settings& previous)
{
    for (const SettingField& field : settingsSchema()) {
        if (field.equal(previous, m_settings))
            continue;
        const QByteArray signal = field.property.toLatin1() + "Changed";
        QMetaObject::invokeMethod(this, signal.constData(), Qt::DirectConnection);
        emit changed(field.property);
    }
}

QUuid SettingsStore::addPreset()
{
    const WindowSizePreset preset = WindowSizePreset::makeNew();
    update([&](Settings& s) { s.windowSizePresets.append(preset); });
    return preset.id;
}

void SettingsStore::removePreset(const QUuid& id)
{
    update([&](Settings& s) {
        s.windowSizePresets.removeIf([&](const WindowSizePreset& p) { return p.id == id; });
    });
}

void SettingsStore::editPreset(const QUuid& id, const std::function<void(WindowSizePreset&)>& edit)
{
    update([&](Settings& s) {
        for (WindowSizePreset& p : s.windowSizePresets)
            if (p.id == id) {
                edit(p);
                return;
            }
    });
}

void SettingsStore::setPresetName(const QUuid& id, const QString& name)
{
    editPreset(id, [&](WindowSizePreset& p) { p.name = name; });
}

void SettingsStore::setPresetWidth(const QUuid& id, const QString& width)
{
    editPreset(id, [&](WindowSizePreset& p) { p.width = width; });
}

void SettingsStore::setPresetHeight(const QUuid& id, const QString& height)
{
    editPreset(id, [&](WindowSizePreset& p) { p.height = height; });
}

void SettingsStore::setPresetHotKey(const QUuid& id, const std::optional<HotKeyConfig>& hotKey)
{
    editPreset(id, [&](WindowSizePreset& p) { p.hotKey = hotKey; });
}

std::optional<WindowSizePreset> SettingsStore::preset(const QUuid& id) const
{
    for (const WindowSizePreset& p : m_settings.windowSizePresets)
        if (p.id == id)
            return p;
    return std::nullopt;
}

std::optional<QImage> SettingsStore::decodedWallpaper(const QString& path) const
{
    const auto it = m_decodedWallpapers.constFind(path);
    if (it == m_decodedWallpapers.cend())
        return std::nullopt;
    return *it;
}

void SettingsStore::storeDecodedWallpaper(const QString& path, const QImage& image)
{
    m_decodedWallpapers.insert(path, image);
}

void SettingsStore::evictDecodedWallpaper(const QString& path) { m_decodedWallpapers.remove(path); }

bool SettingsStore::isExcludedFromDimming(const std::optional<QString>& bundleIdentifier, const QString& name) const
{
    const auto& excluded = m_settings.focusDimExcludedApps;
    if (bundleIdentifier && excluded.contains(*bundleIdentifier))
        return true;
    return !name.isEmpty() && excluded.contains(name);
}

QJsonObject SettingsStore::toJson() const
{
    QJsonObject o;
    for (const SettingField& field : settingsSchema())
        o.insert(field.property, field.toJson(m_settings));
    return o;
}

}  // namespace tamsinvale
