// One entry per persisted setting, built from a few typed field kinds so each rule is written once.
#include "SettingsSchema.h"

#include <QJsonArray>
#include <QJsonObject>
#include <algorithm>
#include <cmath>

#include "platform/Defaults.h"

namespace tamsinvale {

namespace {

using Error = std::optional<QString>;

QString typeError(const char* expected) { return QStringLiteral("expected %1").arg(QLatin1String(expected)); }

std::optional<QByteArray> fromBase64(const QJsonValue& v)
{
    if (!v.isString())
        return std::nullopt;
    const auto decoded = QByteArray::fromBase64Encoding(v.toString().toLatin1(),
                                                        QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return std::nullopt;
    return *decoded;
}

QJsonValue toBase64(const QByteArray& data) { return QString::fromLatin1(data.toBase64()); }

QStringList sorted(const QSet<QString>& set)
{
    QStringList list(set.begin(), set.end());
    std::sort(list.begin(), list.end());
    return list;
}

template <typename T>
SettingField field(const char* property, const char* key, T Settings::*member)
{
    SettingField f;
    f.property = QLatin1String(property);
    f.key = QLatin1String(key);
    f.equal = [member](const Settings& a, const Settings& b) { return a.*member == b.*member; };
    f.copy = [member](const Settings& from, Settings& to) { to.*member = from.*member; };
    return f;
}

// A boolean read as an untyped number; anything else gives the default.
SettingField boolField(const char* property, const char* key, bool Settings::*member)
{
    SettingField f = field(property, key, member);
    f.load = [member, key = f.key](const DefaultsDomain& d, Settings& s) {
        const auto v = d.value(key);
        const bool fallback = Settings{}.*member;
        if (v && v->metaType() == QMetaType::fromType<bool>())
            s.*member = v->toBool();
        else if (v && v->metaType() == QMetaType::fromType<qint64>() && (v->toLongLong() == 0 || v->toLongLong() == 1))
            s.*member = v->toLongLong() == 1;
        else
            s.*member = fallback;
    };
    f.save = [member, key = f.key](const Settings& s, DefaultsDomain& d) { d.setValue(key, s.*member); };
    f.toJson = [member](const Settings& s) { return QJsonValue(s.*member); };
    f.fromJson = [member](const QJsonValue& v, Settings& s) -> Error {
        if (!v.isBool())
            return typeError("true or false");
        s.*member = v.toBool();
        return std::nullopt;
    };
    return f;
}

SettingField doubleField(const char* property, const char* key, double Settings::*member)
{
    SettingField f = field(property, key, member);
    f.load = [member, key = f.key](const DefaultsDomain& d, Settings& s) {
        const auto v = d.value(key);
        if (v && v->metaType() == QMetaType::fromType<double>())
            s.*member = v->toDouble();
        else if (v && v->metaType() == QMetaType::fromType<qint64>())
            s.*member = static_cast<double>(v->toLongLong());
        else
            s.*member = Settings{}.*member;
    };
    f.save = [member, key = f.key](const Settings& s, DefaultsDomain& d) { d.setValue(key, s.*member); };
    f.toJson = [member](const Settings& s) { return QJsonValue(s.*member); };
    f.fromJson = [member](const QJsonValue& v, Settings& s) -> Error {
        if (!v.isDouble() || !std::isfinite(v.toDouble()))
            return typeError("a number");
        s.*member = v.toDouble();
        return std::nullopt;
    };
    return f;
}

SettingField integerField(const char* property, const char* key, qint64 Settings::*member)
{
    SettingField f = field(property, key, member);
    f.load = [member, key = f.key](const DefaultsDomain& d, Settings& s) {
        s.*member = d.integerValue(key).value_or(0);
    };
    f.save = [member, key = f.key](const Settings& s, DefaultsDomain& d) { d.setValue(key, s.*member); };
    f.toJson = [member](const Settings& s) { return QJsonValue(s.*member); };
    f.fromJson = [member](const QJsonValue& v, Settings& s) -> Error {
        const double d = v.toDouble();
        if (!v.isDouble() || std::floor(d) != d || std::fabs(d) > 9.0e15)
            return typeError("a whole number");
        s.*member = static_cast<qint64>(d);
        return std::nullopt;
    };
    return f;
}

SettingField optionalDataField(const char* property, const char* key, std::optional<QByteArray> Settings::*member)
{
    SettingField f = field(property, key, member);
    f.load = [member, key = f.key](const DefaultsDomain& d, Settings& s) {
        const auto v = d.dataValue(key);
        s.*member = (v && !v->isEmpty()) ? v : std::nullopt;
    };
    f.save = [member, key = f.key](const Settings& s, DefaultsDomain& d) {
        const auto& v = s.*member;
        if (v && !v->isEmpty())
            d.setValue(key, *v);
        else
            d.removeValue(key);
    };
    f.toJson = [member](const Settings& s) { return (s.*member) ? toBase64(*(s.*member)) : QJsonValue(); };
    f.fromJson = [member](const QJsonValue& v, Settings& s) -> Error {
        if (v.isNull()) {
            s.*member = std::nullopt;
            return std::nullopt;
        }
        const auto data = fromBase64(v);
        if (!data)
            return typeError("base64 text or null");
        s.*member = data->isEmpty() ? std::nullopt : std::optional<QByteArray>(*data);
        return std::nullopt;
    };
    return f;
}

SettingField dataMapField(const char* property, const char* key, QMap<QString, QByteArray> Settings::*member)
{
    SettingField f = field(property, key, member);
    f.load = [member, key = f.key](const DefaultsDomain& d, Settings& s) {
        QMap<QString, QByteArray> out;
        const auto dict = d.dictionaryValue(key);
        if (dict) {
            for (auto it = dict->begin(); it != dict->end(); ++it) {
                if (it.value().metaType() != QMetaType::fromType<QByteArray>()) {
                    out.clear();  // one value of another type makes the whole map unusable
                    break;
                }
                out.insert(it.key(), it.value().toByteArray());
            }
        }
        s.*member = out;
    };
    f.save = [member, key = f.key](const Settings& s, DefaultsDomain& d) {
        QVariantMap map;
        for (auto it = (s.*member).begin(); it != (s.*member).end(); ++it)
            map.insert(it.key(), it.value());
        d.setValue(key, map);
    };
    f.toJson = [member](const Settings& s) {
        QJsonObject o;
        for (auto it = (s.*member).begin(); it != (s.*member).end(); ++it)
            o.insert(it.key(), toBase64(it.value()));
        return QJsonValue(o);
    };
    f.fromJson = [member](const QJsonValue& v, Settings& s) -> Error {
        if (!v.isObject())
            return typeError("an object of base64 texts");
        QMap<QString, QByteArray> out;
        const QJsonObject o = v.toObject();
        for (auto it = o.begin(); it != o.end(); ++it) {
            const auto data = fromBase64(it.value());
            if (!data)
                return QStringLiteral("entry \"%1\": expected base64 text").arg(it.key());
            out.insert(it.key(), *data);
        }
        s.*member = out;
        return std::nullopt;
    };
    return f;
}

SettingField dataListField(const char* property, const char* key, QList<QByteArray> Settings::*member)
{
    SettingField f = field(property, key, member);
    f.load = [member, key = f.key](const DefaultsDomain& d, Settings& s) {
        QList<QByteArray> out;
        const auto list = d.arrayValue(key);
        if (list) {
            for (const QVariant& item : *list) {
                if (item.metaType() != QMetaType::fromType<QByteArray>()) {
                    out.clear();
                    break;
                }
                out.append(item.toByteArray());
            }
        }
        s.*member = out;
    };
    f.save = [member, key = f.key](const Settings& s, DefaultsDomain& d) {
        QVariantList list;
        for (const QByteArray& b : s.*member)
            list.append(b);
        d.setValue(key, list);
    };
    f.toJson = [member](const Settings& s) {
        QJsonArray a;
        for (const QByteArray& b : s.*member)
            a.append(toBase64(b));
        return QJsonValue(a);
    };
    f.fromJson = [member](const QJsonValue& v, Settings& s) -> Error {
        if (!v.isArray())
            return typeError("an array of base64 texts");
        QList<QByteArray> out;
        const QJsonArray a = v.toArray();
        for (qsizetype i = 0; i < a.size(); ++i) {
            const auto data = fromBase64(a[i]);
            if (!data)
                return QStringLiteral("item %1: expected base64 text").arg(i);
            out.append(*data);
        }
        s.*member = out;
        return std::nullopt;
    };
    return f;
}

SettingField stringSetField(const char* property, const char* key, QSet<QString> Settings::*member)
{
    SettingField f = field(property, key, member);
    f.load = [member, key = f.key](const DefaultsDomain& d, Settings& s) {
        const QStringList list = d.stringArrayValue(key).value_or(QStringList{});
        s.*member = QSet<QString>(list.begin(), list.end());
    };
    // Sorted so that the stored order is stable from one save to the next.
    f.save = [member, key = f.key](const Settings& s, DefaultsDomain& d) {
        QVariantList list;
        for (const QString& item : sorted(s.*member))
            list.append(item);
        d.setValue(key, list);
    };
    f.toJson = [member](const Settings& s) { return QJsonValue(QJsonArray::fromStringList(sorted(s.*member))); };
    f.fromJson = [member](const QJsonValue& v, Settings& s) -> Error {
        if (!v.isArray())
            return typeError("an array of texts");
        QSet<QString> out;
        for (const QJsonValue& item : v.toArray()) {
            if (!item.isString())
                return typeError("an array of texts");
            out.insert(item.toString());
        }
        s.*member = out;
        return std::nullopt;
    };
    return f;
}

SettingField optionalStringField(const char* property, const char* key, std::optional<QString> Settings::*member)
{
    SettingField f = field(property, key, member);
    f.load = [member, key = f.key](const DefaultsDomain& d, Settings& s) {
        const auto v = d.stringValue(key);
        s.*member = (v && !v->isEmpty()) ? v : std::nullopt;
    };
    f.save = [member, key = f.key](const Settings& s, DefaultsDomain& d) {
        const auto& v = s.*member;
        if (v && !v->isEmpty())
            d.setValue(key, *v);
        else
            d.removeValue(key);
    };
    f.toJson = [member](const Settings& s) { return (s.*member) ? QJsonValue(*(s.*member)) : QJsonValue(); };
    f.fromJson = [member](const QJsonValue& v, Settings& s) -> Error {
        if (v.isNull()) {
            s.*member = std::nullopt;
            return std::nullopt;
        }
        if (!v.isString())
            return typeError("a text or null");
        s.*member = v.toString().isEmpty() ? std::nullopt : std::optional<QString>(v.toString());
        return std::nullopt;
    };
    return f;
}

SettingField iconStyleField(const char* property, const char* key, MenuBarIconStyle Settings::*member)
{
    SettingField f = field(property, key, member);
    f.load = [member, key = f.key](const DefaultsDomain& d, Settings& s) {
        s.*member = menuBarIconStyleFromRaw(d.stringValue(key).value_or(QString()));
    };
    f.save = [member, key = f.key](const Settings& s, DefaultsDomain& d) { d.setValue(key, rawValue(s.*member)); };
    f.toJson = [member](const Settings& s) { return QJsonValue(rawValue(s.*member)); };
    f.fromJson = [member](const QJsonValue& v, Settings& s) -> Error {
        if (v != QJsonValue(QStringLiteral("windows")) && v != QJsonValue(QStringLiteral("line")))
            return typeError("\"windows\" or \"line\"");
        s.*member = menuBarIconStyleFromRaw(v.toString());
        return std::nullopt;
    };
    return f;
}

SettingField hotKeyField(const char* property, const char* key, std::optional<HotKeyConfig> Settings::*member)
{
    SettingField f = field(property, key, member);
    f.load = [member, key = f.key](const DefaultsDomain& d, Settings& s) {
        const auto data = d.dataValue(key);
        s.*member = data ? HotKeyConfig::fromJsonData(*data) : std::nullopt;
    };
    f.save = [member, key = f.key](const Settings& s, DefaultsDomain& d) {
        if (s.*member)
            d.setValue(key, (s.*member)->toJsonData());
        else
            d.removeValue(key);
    };
    f.toJson = [member](const Settings& s) { return (s.*member) ? QJsonValue((s.*member)->toJson()) : QJsonValue(); };
    f.fromJson = [member](const QJsonValue& v, Settings& s) -> Error {
        if (v.isNull()) {
            s.*member = std::nullopt;
            return std::nullopt;
        }
        const auto hotKey = HotKeyConfig::fromJson(v);
        if (!hotKey)
            return typeError("{\"keyCode\": N, \"modifiers\": N} with unsigned 32-bit numbers, or null");
        s.*member = hotKey;
        return std::nullopt;
    };
    return f;
}

SettingField presetsField(const char* property, const char* key, QList<WindowSizePreset> Settings::*member)
{
    SettingField f = field(property, key, member);
    f.load = [member, key = f.key](const DefaultsDomain& d, Settings& s) {
        const auto data = d.dataValue(key);
        const auto list = data ? WindowSizePreset::listFromJsonData(*data) : std::nullopt;
        s.*member = list.value_or(WindowSizePreset::defaultList());
    };
    f.save = [member, key = f.key](const Settings& s, DefaultsDomain& d) {
        d.setValue(key, WindowSizePreset::listToJsonData(s.*member));
    };
    f.toJson = [member](const Settings& s) { return QJsonValue(WindowSizePreset::listToJson(s.*member)); };
    f.fromJson = [member](const QJsonValue& v, Settings& s) -> Error {
        if (!v.isArray())
            return typeError("an array of presets");
        const QJsonArray a = v.toArray();
        for (qsizetype i = 0; i < a.size(); ++i)
            if (!WindowSizePreset::fromJson(a[i]))
                return QStringLiteral("preset %1: needs \"id\" (a UUID) and \"name\" (a text); \"width\", "
                                      "\"height\" and \"spec\" are texts, \"hotKey\" a hotkey or null")
                    .arg(i);
        s.*member = *WindowSizePreset::listFromJson(a);
        return std::nullopt;
    };
    return f;
}

}  // namespace

const QList<SettingField>& settingsSchema()
{
    static const QList<SettingField> schema = {
        boolField("dimMenuBarEnabled", "tamsinvale.settings.dim.enabled", &Settings::dimMenuBarEnabled),
        doubleField("dimMenuBarOpacity", "tamsinvale.settings.dim.opacity", &Settings::dimMenuBarOpacity),
        boolField("focusDimEnabled", "tamsinvale.settings.focus.enabled", &Settings::focusDimEnabled),
        doubleField("focusDimWallpaperDarkening", "tamsinvale.settings.focus.darken",
                    &Settings::focusDimWallpaperDarkening),
        optionalDataField("focusDimBackgroundImageBookmark", "tamsinvale.settings.focus.image.bookmark",
                          &Settings::focusDimBackgroundImageBookmark),
        dataMapField("focusDimPerScreenImageBookmarks", "tamsinvale.settings.focus.image.perscreen.bookmarks",
                     &Settings::focusDimPerScreenImageBookmarks),
        dataListField("wallpaperHistoryBookmarks", "tamsinvale.settings.wallpaper.history",
                      &Settings::wallpaperHistoryBookmarks),
        dataListField("wallpaperRotationBookmarks", "tamsinvale.settings.wallpaper.rotation.bookmarks",
                      &Settings::wallpaperRotationBookmarks),
        integerField("wallpaperRotationHours", "tamsinvale.settings.wallpaper.rotation.hours",
                     &Settings::wallpaperRotationHours),
        stringSetField("focusDimExcludedApps", "tamsinvale.settings.focus.excluded.apps",
                       &Settings::focusDimExcludedApps),
        boolField("focusDimOtherScreensFully", "tamsinvale.settings.focus.otherscreens.full",
                  &Settings::focusDimOtherScreensFully),
        boolField("focusDimBlackBackground", "tamsinvale.settings.focus.blackbackground",
                  &Settings::focusDimBlackBackground),
        optionalStringField("quickDimAppID", "tamsinvale.settings.focus.quickdim.app", &Settings::quickDimAppID),
        stringSetField("inactiveAppsExcluded", "tamsinvale.settings.inactive.excluded.apps",
                       &Settings::inactiveAppsExcluded),
        doubleField("inactiveThresholdHours", "tamsinvale.settings.inactive.threshold.hours",
                    &Settings::inactiveThresholdHours),
        boolField("sleepOnLidCloseEnabled", "tamsinvale.settings.lidsleep.enabled", &Settings::sleepOnLidCloseEnabled),
        iconStyleField("menuBarIconStyle", "tamsinvale.settings.menubar.iconStyle", &Settings::menuBarIconStyle),
        hotKeyField("appSwitcherHotKey", "tamsinvale.settings.hotkey.app", &Settings::appSwitcherHotKey),
        hotKeyField("windowsSwitcherHotKey", "tamsinvale.settings.hotkey.windows", &Settings::windowsSwitcherHotKey),
        hotKeyField("quickDimHotKey", "tamsinvale.settings.hotkey.quickdim", &Settings::quickDimHotKey),
        hotKeyField("clearInactiveScreensHotKey", "tamsinvale.settings.hotkey.clearinactivescreens",
                    &Settings::clearInactiveScreensHotKey),
        presetsField("windowSizePresets", "tamsinvale.settings.window.sizes", &Settings::windowSizePresets),
        hotKeyField("moveToNextScreenHotKey", "tamsinvale.settings.hotkey.movenextscreen",
                    &Settings::moveToNextScreenHotKey),
        hotKeyField("insertDateHotKey", "tamsinvale.settings.hotkey.insertdate", &Settings::insertDateHotKey),
        hotKeyField("snapLeftHotKey", "tamsinvale.settings.hotkey.snapleft", &Settings::snapLeftHotKey),
        hotKeyField("snapRightHotKey", "tamsinvale.settings.hotkey.snapright", &Settings::snapRightHotKey),
    };
    return schema;
}

const SettingField* settingField(const QString& property)
{
    for (const SettingField& f : settingsSchema())
        if (f.property == property)
            return &f;
    return nullptr;
}

const QStringList& retiredSettingsKeys()
{
    static const QStringList keys = {
        QStringLiteral("tamsinvale.settings.dim.color"),
        QStringLiteral("tamsinvale.settings.focus.opacity"),
        QStringLiteral("tamsinvale.settings.focus.color"),
        QStringLiteral("tamsinvale.settings.hotkey.dockfocus"),
    };
    return keys;
}

}  // namespace tamsinvale
