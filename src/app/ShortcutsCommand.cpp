// The shortcuts command line; every edit goes through ShortcutStore, with the same conflict rule as the settings
// pages, so a running Tamsinvale picks the change up from the defaults file.
#include "ShortcutsCommand.h"

#include <QCoreApplication>
#include <QFileInfo>

#include "platform/Platform.h"
#include "platform/linux/PathBookmarks.h"
#include "platform/linux/PlistCodec.h"
#include "platform/linux/PlistDefaultsDomain.h"
#include "switcher/AppDiscoveryStore.h"
#include "switcher/BackgroundQueue.h"
#include "switcher/ShortcutStore.h"

namespace tamsinvale {

namespace {

QString keysText(const std::optional<QString>& first, const std::optional<QString>& second)
{
    if (!first)
        return QStringLiteral("-");
    return second ? *first + QLatin1Char(' ') + *second : *first;
}

const DiscoveredApp* findApp(const QList<DiscoveredApp>& apps, const QString& id)
{
    for (const DiscoveredApp& app : apps) {
        if (app.id == id || app.bundleIdentifier == id)
            return &app;
    }
    return nullptr;
}

std::optional<QUuid> findShortcut(const ShortcutStore& store, const QString& text)
{
    for (const AppShortcut& s : store.shortcuts()) {
        if (s.idText().startsWith(text.toUpper()) && text.size() >= 4)
            return s.id;
    }
    return std::nullopt;
}

// Describes who already uses a sequence, for the refusal message.
QString conflictMessage(const QString& first, const std::optional<QString>& second)
{
    return QStringLiteral("tamsinvale shortcuts: the keys \"%1\" are already bound; unbind them first\n")
        .arg(keysText(first, second));
}

int usage(QTextStream& err)
{
    err << shortcutsCommandHelp();
    return 2;
}

}  // namespace

QString shortcutsCommandHelp()
{
    return QStringLiteral(
        "usage: tamsinvale shortcuts list                    custom shortcuts and bound applications\n"
        "       tamsinvale shortcuts apps [TEXT]             installed applications: id, keys, name\n"
        "       tamsinvale shortcuts bind APP-ID KEY [KEY2]  bind one or two keys to an installed application\n"
        "       tamsinvale shortcuts unbind APP-ID           remove an application's keys\n"
        "       tamsinvale shortcuts add FILE [KEY [KEY2]]   a custom shortcut to a desktop entry or a .py script\n"
        "       tamsinvale shortcuts set ID KEY [KEY2]       change a custom shortcut's keys (\"\" for none)\n"
        "       tamsinvale shortcuts remove ID               delete a custom shortcut (ID: its first 4+ characters)\n"
        "       tamsinvale shortcuts orphans                 keys kept for applications no longer installed\n"
        "       tamsinvale shortcuts remove-orphan NAME      delete one of those\n"
        "\n"
        "APP-ID is the desktop-file id shown by `apps` (for example \"xterm\" or \"org.gnome.Calculator\").\n"
        "A key is one character; the letter f opens the filter and cannot start a binding.\n");
}

int runShortcutsCommand(ShortcutStore& store, const QList<DiscoveredApp>& apps, const QStringList& arguments,
                        QTextStream& out, QTextStream& err)
{
    const QString verb = arguments.value(0);
    const QStringList args = arguments.mid(1);
    if (verb == QLatin1String("--help") || verb == QLatin1String("-h") || verb.isEmpty()) {
        (verb.isEmpty() ? err : out) << shortcutsCommandHelp();
        return verb.isEmpty() ? 2 : 0;
    }
    if (verb == QLatin1String("list")) {
        for (const AppShortcut& s : store.shortcuts()) {
            out << s.idText().left(8) << "  " << keysText(s.key, s.secondKey).leftJustified(4) << "  " << s.name
                << "  (" << store.targetPath(s).value_or(QStringLiteral("missing")) << ")\n";
        }
        for (const DiscoveredApp& app : apps) {
            if (auto key = store.discoveredKey(app))
                out << "app       " << keysText(key, store.discoveredSecondKey(app)).leftJustified(4) << "  "
                    << app.name << "  (" << app.id << ")\n";
        }
        return 0;
    }
    if (verb == QLatin1String("apps")) {
        for (const DiscoveredApp& app : apps) {
            if (!args.isEmpty() && !app.name.contains(args[0], Qt::CaseInsensitive)
                && !app.id.contains(args[0], Qt::CaseInsensitive))
                continue;
            out << app.id << "\t" << keysText(store.discoveredKey(app), store.discoveredSecondKey(app)) << "\t"
                << app.name << "\n";
        }
        return 0;
    }
    if (verb == QLatin1String("bind")) {
        if (args.size() < 2 || args.size() > 3)
            return usage(err);
        const DiscoveredApp* app = findApp(apps, args[0]);
        if (!app) {
            err << "tamsinvale shortcuts: no installed application \"" << args[0] << "\" (see `tamsinvale shortcuts apps`)\n";
            return 1;
        }
        const auto first = AppShortcut::normalizeKey(args[1]);
        const auto second = AppShortcut::normalizeKey(args.value(2));
        if (!first) {
            err << "tamsinvale shortcuts: a key is one character\n";
            return 2;
        }
        if (store.conflict(*first, second, std::nullopt, app->storageBindingKey())) {
            err << conflictMessage(*first, second);
            return 1;
        }
        store.setDiscoveredKey(first, *app);
        store.setDiscoveredSecondKey(second, *app);
        out << app->name << ": " << keysText(first, second) << "\n";
        return 0;
    }
    if (verb == QLatin1String("unbind")) {
        if (args.size() != 1)
            return usage(err);
        const DiscoveredApp* app = findApp(apps, args[0]);
        if (!app) {
            err << "tamsinvale shortcuts: no installed application \"" << args[0] << "\"\n";
            return 1;
        }
        store.resetDiscovered(*app);
        return 0;
    }
    if (verb == QLatin1String("add")) {
        if (args.isEmpty() || args.size() > 3)
            return usage(err);
        const QString path = QFileInfo(args[0]).absoluteFilePath();
        if (!QFileInfo::exists(path)) {
            err << "tamsinvale shortcuts: no such file " << path << "\n";
            return 1;
        }
        const auto first = AppShortcut::normalizeKey(args.value(1));
        const auto second = first ? AppShortcut::normalizeKey(args.value(2)) : std::nullopt;
        if (first && store.conflict(*first, second, std::nullopt, std::nullopt)) {
            err << conflictMessage(*first, second);
            return 1;
        }
        const std::optional<QUuid> id = store.addShortcut(path);
        if (!id)
            return 1;
        if (args.size() > 1) {
            store.setKey(*id, first);
            store.setSecondKey(*id, second);
        }
        const AppShortcut added = *store.shortcut(*id);
        out << added.idText().left(8) << "  " << keysText(added.key, added.secondKey) << "  " << added.name << "\n";
        return 0;
    }
    if (verb == QLatin1String("set") || verb == QLatin1String("remove")) {
        if (args.isEmpty() || (verb == QLatin1String("remove") && args.size() != 1) || args.size() > 3)
            return usage(err);
        const std::optional<QUuid> id = findShortcut(store, args[0]);
        if (!id) {
            err << "tamsinvale shortcuts: no custom shortcut " << args[0] << " (see `tamsinvale shortcuts list`)\n";
            return 1;
        }
        if (verb == QLatin1String("remove")) {
            store.remove(*id);
            return 0;
        }
        const auto first = AppShortcut::normalizeKey(args.value(1));
        const auto second = first ? AppShortcut::normalizeKey(args.value(2)) : std::nullopt;
        if (first && store.conflict(*first, second, id, std::nullopt)) {
            err << conflictMessage(*first, second);
            return 1;
        }
        store.setKey(*id, first);
        store.setSecondKey(*id, second);
        return 0;
    }
    if (verb == QLatin1String("orphans")) {
        for (const OrphanedBinding& o : store.orphanedBindings(apps))
            out << o.id << "\t" << keysText(o.firstKey, o.secondKey) << "\n";
        return 0;
    }
    if (verb == QLatin1String("remove-orphan")) {
        if (args.size() != 1)
            return usage(err);
        store.removeOrphan(args[0]);
        return 0;
    }
    err << "tamsinvale shortcuts: unknown command \"" << verb << "\"\n\n";
    return usage(err);
}

int runShortcutsMain(int argc, char** argv, const QStringList& arguments)
{
    QCoreApplication app(argc, argv);
    PlistDefaultsDomain defaults(PlistDefaultsDomain::standardPath());
    PathBookmarks bookmarks;
    Platform platform;
    platform.defaults = &defaults;
    platform.bookmarks = &bookmarks;
    ShortcutStore store(platform);
    const DiscoveryConfiguration configuration = DiscoveryConfiguration::freedesktopFromEnvironment();
    store.setApplicationDirs(configuration.roots);
    store.setPropertyListReader([](const QByteArray& bytes) { return PlistCodec::parseDictionary(bytes); });
    ThreadPoolBackgroundQueue background;  // the scan below runs here, synchronously
    AppDiscoveryStore discovery(configuration, background);
    const QList<DiscoveredApp> apps = discovery.scan();
    QTextStream out(stdout);
    QTextStream err(stderr);
    const int code = runShortcutsCommand(store, apps, arguments, out, err);
    if (!defaults.synchronize()) {
        err << "tamsinvale shortcuts: cannot write " << PlistDefaultsDomain::standardPath() << "\n";
        return 1;
    }
    return code;
}

}  // namespace tamsinvale
