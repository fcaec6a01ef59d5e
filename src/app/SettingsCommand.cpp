// The settings command line; every change goes through SettingsStore like the settings window's.
#include "SettingsCommand.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include "platform/Defaults.h"
#include "settings/SettingsSchema.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

namespace {

QByteArray jsonText(const QJsonValue& value)
{
    // QJsonDocument only writes arrays and objects: wrap the value and strip the brackets.
    QByteArray text = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return text.mid(1, text.size() - 2);
}

// Parses any JSON value, scalars included.
std::optional<QJsonValue> parseJsonValue(const QByteArray& text, QString* error)
{
    QJsonParseError parseError{};
    const QJsonDocument doc = QJsonDocument::fromJson("[" + text + "\n]", &parseError);
    if (parseError.error != QJsonParseError::NoError || !doc.isArray() || doc.array().size() != 1) {
        *error = parseError.error != QJsonParseError::NoError ? parseError.errorString()
                                                               : QStringLiteral("expected exactly one JSON value");
        return std::nullopt;
    }
    return doc.array().at(0);
}

QString knownNames()
{
    QStringList names;
    for (const SettingField& f : settingsSchema())
        names << f.property;
    return names.join(QStringLiteral(", "));
}

int exportTo(const SettingsStore& store, const QStringList& args, QTextStream& out, QTextStream& err)
{
    if (args.size() > 1) {
        err << "usage: tamsinvale settings export [FILE]\n";
        return 2;
    }
    const QByteArray json = exportSettingsJson(store);
    if (args.isEmpty()) {
        out << QString::fromUtf8(json);
        return 0;
    }
    QSaveFile file(args[0]);
    if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size() || !file.commit()) {
        err << "tamsinvale settings: cannot write " << args[0] << ": " << file.errorString() << "\n";
        return 1;
    }
    return 0;
}

int importFrom(SettingsStore& store, const QStringList& args, QTextStream& err)
{
    if (args.size() != 1) {
        err << "usage: tamsinvale settings import FILE\n";
        return 2;
    }
    QFile file(args[0]);
    if (!file.open(QIODevice::ReadOnly)) {
        err << "tamsinvale settings: cannot read " << args[0] << ": " << file.errorString() << "\n";
        return 1;
    }
    constexpr qint64 maxImportSize = 16 * 1024 * 1024;
    if (file.size() > maxImportSize) {
        err << "tamsinvale settings: " << args[0] << " is too large to be a settings file\n";
        return 1;
    }
    QJsonParseError parseError{};
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        err << "tamsinvale settings: " << args[0] << " is not valid JSON: " << parseError.errorString()
            << " at offset " << parseError.offset << "\n";
        return 1;
    }
    if (!doc.isObject()) {
        err << "tamsinvale settings: " << args[0] << " must hold one JSON object of settings\n";
        return 1;
    }
    // Validate everything before changing anything.
    Settings imported = store.settings();
    QStringList errors;
    const QJsonObject object = doc.object();
    for (auto it = object.begin(); it != object.end(); ++it) {
        const SettingField* field = settingField(it.key());
        if (!field) {
            errors << QStringLiteral("%1: unknown setting").arg(it.key());
            continue;
        }
        if (const auto error = field->fromJson(it.value(), imported))
            errors << QStringLiteral("%1: %2").arg(it.key(), *error);
    }
    if (!errors.isEmpty()) {
        for (const QString& e : errors)
            err << "tamsinvale settings: " << e << "\n";
        err << "tamsinvale settings: nothing was imported\n";
        return 1;
    }
    store.update([&](Settings& s) { s = imported; });
    return 0;
}

int get(const SettingsStore& store, const QStringList& args, QTextStream& out, QTextStream& err)
{
    if (args.size() != 1) {
        err << "usage: tamsinvale settings get NAME\n";
        return 2;
    }
    const SettingField* field = settingField(args[0]);
    if (!field) {
        err << "tamsinvale settings: unknown setting \"" << args[0] << "\"; known settings: " << knownNames() << "\n";
        return 2;
    }
    out << QString::fromUtf8(jsonText(field->toJson(store.settings()))) << "\n";
    return 0;
}

int set(SettingsStore& store, const QStringList& args, QTextStream& err)
{
    if (args.size() != 2) {
        err << "usage: tamsinvale settings set NAME JSON-VALUE\n";
        return 2;
    }
    const SettingField* field = settingField(args[0]);
    if (!field) {
        err << "tamsinvale settings: unknown setting \"" << args[0] << "\"; known settings: " << knownNames() << "\n";
        return 2;
    }
    QString parseError;
    const auto value = parseJsonValue(args[1].toUtf8(), &parseError);
    if (!value) {
        err << "tamsinvale settings: " << args[0] << ": the value is not valid JSON (" << parseError
            << "); texts need quotes, e.g. '\"line\"'\n";
        return 2;
    }
    Settings changed = store.settings();
    if (const auto error = field->fromJson(*value, changed)) {
        err << "tamsinvale settings: " << args[0] << ": " << *error << "\n";
        return 2;
    }
    store.update([&](Settings& s) { field->copy(changed, s); });
    return 0;
}

int reset(SettingsStore& store, const QStringList& args, QTextStream& err)
{
    if (args.size() > 1) {
        err << "usage: tamsinvale settings reset [NAME]\n";
        return 2;
    }
    if (args.isEmpty()) {
        store.resetAll();
        return 0;
    }
    const SettingField* field = settingField(args[0]);
    if (!field) {
        err << "tamsinvale settings: unknown setting \"" << args[0] << "\"; known settings: " << knownNames() << "\n";
        return 2;
    }
    store.update([&](Settings& s) { field->copy(Settings{}, s); });
    return 0;
}

}  // namespace

QByteArray exportSettingsJson(const SettingsStore& store)
{
    QByteArray text = "{\n";
    const auto& schema = settingsSchema();
    for (qsizetype i = 0; i < schema.size(); ++i) {
        text += "  " + jsonText(schema[i].property) + ": " + jsonText(schema[i].toJson(store.settings()));
        text += i + 1 < schema.size() ? ",\n" : "\n";
    }
    text += "}\n";
    return text;
}

QString settingsCommandHelp()
{
    return QStringLiteral(
        "usage: tamsinvale settings COMMAND [ARGS]\n"
        "\n"
        "Reads and changes Tamsinvale's settings, the same ones the settings window edits.\n"
        "They live in $XDG_CONFIG_HOME/tamsinvale/defaults.plist (~/.config when unset).\n"
        "\n"
        "commands:\n"
        "  export [FILE]          print every setting as one JSON object (to FILE when given)\n"
        "  import FILE            apply the settings in a JSON object; the whole file is checked\n"
        "                         first and nothing changes when any value is wrong\n"
        "  get NAME               print one setting as JSON\n"
        "  set NAME JSON-VALUE    change one setting, e.g.\n"
        "                           tamsinvale settings set dimMenuBarOpacity 0.3\n"
        "                           tamsinvale settings set menuBarIconStyle '\"line\"'\n"
        "                           tamsinvale settings set appSwitcherHotKey '{\"keyCode\":49,\"modifiers\":4096}'\n"
        "                           tamsinvale settings set quickDimHotKey null\n"
        "  reset [NAME]           restore one setting, or all of them, to the default\n"
        "\n"
        "Hotkeys are {\"keyCode\": macOS virtual key code, \"modifiers\": Carbon mask (command 256,\n"
        "shift 512, option/Alt 2048, control 4096)}; null means the hotkey's default combination.\n"
        "Bookmark data is base64 text. Names of settings:\n  %1\n")
        .arg(knownNames());
}

namespace {
int dispatch(SettingsStore& store, const QStringList& arguments, QTextStream& out, QTextStream& err)
{
    if (arguments.isEmpty() || arguments[0] == QLatin1String("--help") || arguments[0] == QLatin1String("-h")
        || arguments[0] == QLatin1String("help")) {
        (arguments.isEmpty() ? err : out) << settingsCommandHelp();
        return arguments.isEmpty() ? 2 : 0;
    }
    const QString command = arguments[0];
    const QStringList rest = arguments.mid(1);
    if (command == QLatin1String("export"))
        return exportTo(store, rest, out, err);
    if (command == QLatin1String("import"))
        return importFrom(store, rest, err);
    if (command == QLatin1String("get"))
        return get(store, rest, out, err);
    if (command == QLatin1String("set"))
        return set(store, rest, err);
    if (command == QLatin1String("reset"))
        return reset(store, rest, err);
    err << "tamsinvale settings: unknown command \"" << command << "\"\n\n" << settingsCommandHelp();
    return 2;
}

}  // namespace

int runSettingsCommand(SettingsStore& store, const QStringList& arguments, QTextStream& out, QTextStream& err)
{
    const int code = dispatch(store, arguments, out, err);
    // Loading may have tidied the domain (retired keys); keep that even when nothing else changed.
    if (!store.defaults().synchronize() && code == 0) {
        err << "tamsinvale settings: could not write the settings file\n";
        return 1;
    }
    return code;
}

}  // namespace tamsinvale
