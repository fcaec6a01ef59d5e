// The wallpapers command line. Choices and rotation edits go through SettingsStore, as the settings window's do;
// a running Tamsinvale sees them through the defaults file.
#include "WallpapersCommand.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <unistd.h>

#include "platform/Bookmarks.h"
#include "platform/linux/DesktopDefaultPicture.h"
#include "platform/linux/InterruptSignal.h"
#include "platform/linux/LibarchiveUnpacker.h"
#include "platform/linux/PathBookmarks.h"
#include "platform/linux/PlistCodec.h"
#include "platform/linux/PlistDefaultsDomain.h"
#include "platform/linux/QtDownloadSession.h"
#include "platform/linux/QtSerialQueue.h"
#include "settings/SettingsStore.h"
#include "wallpapers/WallpaperDownloader.h"
#include "wallpapers/WallpaperLibrary.h"
#include "wallpapers/WallpaperList.h"
#include "wallpapers/WallpaperRotator.h"
#include "wallpapers/WallpaperSelection.h"

namespace tamsinvale {

namespace {

const char* usage =
    "usage: tamsinvale wallpapers list [--json]\n"
    "       tamsinvale wallpapers download ID\n"
    "       tamsinvale wallpapers use ID|FILE [--screen UUID]\n"
    "       tamsinvale wallpapers rotation [add FILE | remove FILE | every 0|1|3|12|24]\n"
    "\n"
    "The pictures focus dimming can show behind the active window: the desktop's own (the backgrounds and\n"
    "wallpapers folders of every $XDG_DATA_DIRS entry), the pictures of a desktop-picture catalogue placed at\n"
    "$XDG_DATA_HOME/Tamsinvale/DesktopPictureCatalog.xml, and those downloaded into\n"
    "$XDG_DATA_HOME/Tamsinvale/Wallpapers.\n"
    "\n"
    "  list          every picture: ID, kind (nature, graphic, color), \"local\" or \"↓\" (to download), and its\n"
    "                file or address; --json prints a JSON array of objects with id, kind, local, path, url,\n"
    "                size, sha1 and thumbnail\n"
    "  download ID   download a catalogue picture, check its SHA-1, unpack it and install it\n"
    "  use ID|FILE   make a listed picture (downloaded first when needed) or any picture file the background\n"
    "                of every screen, or with --screen UUID of one screen (UUIDs: tamsinvale debug screens)\n"
    "  rotation      show the rotation: its interval and its pictures\n"
    "  rotation add FILE, rotation remove FILE\n"
    "                put a picture into the rotation or take it out\n"
    "  rotation every 0|1|3|12|24\n"
    "                change the picture every 1, 3, 12 or 24 hours, or never (0)\n";

int usageError(QTextStream& err, const QString& message)
{
    err << "tamsinvale wallpapers: " << message << "\n\n" << usage;
    return 2;
}

int list(WallpapersCommandContext& context, const QStringList& args, QTextStream& out, QTextStream& err)
{
    bool json = false;
    for (const QString& a : args) {
        if (a == QLatin1String("--json"))
            json = true;
        else
            return usageError(err, QStringLiteral("unknown argument \"%1\"").arg(a));
    }
    const QList<SystemWallpaper>& wallpapers = context.list.wallpapers();
    if (json) {
        QJsonArray array;
        for (const SystemWallpaper& w : wallpapers) {
            QJsonObject o{{QStringLiteral("id"), w.id},
                          {QStringLiteral("kind"), SystemWallpaper::kindName(w.kind)},
                          {QStringLiteral("local"), w.isLocal()},
                          {QStringLiteral("path"), w.localURL ? QJsonValue(w.localPath()) : QJsonValue()},
                          {QStringLiteral("thumbnail"),
                           w.thumbnailURL ? QJsonValue(w.thumbnailURL->toLocalFile()) : QJsonValue()}};
            if (w.remote) {
                o.insert(QStringLiteral("url"), w.remote->url.toString());
                o.insert(QStringLiteral("size"), w.remote->size);
                o.insert(QStringLiteral("sha1"), w.remote->sha1 ? QJsonValue(*w.remote->sha1) : QJsonValue());
            } else {
                o.insert(QStringLiteral("url"), QJsonValue());
            }
            array.append(o);
        }
        out << QJsonDocument(array).toJson(QJsonDocument::Indented);
        return 0;
    }
    if (wallpapers.isEmpty()) {
        out << "No wallpapers found\n";
        return 0;
    }
    qsizetype idWidth = 2;
    for (const SystemWallpaper& w : wallpapers)
        idWidth = std::max(idWidth, w.id.size());
    out << QStringLiteral("ID").leftJustified(idWidth) << "  KIND     LOCAL  PATH OR ADDRESS\n";
    for (const SystemWallpaper& w : wallpapers)
        out << w.id.leftJustified(idWidth) << "  " << SystemWallpaper::kindName(w.kind).leftJustified(7) << "  "
            << (w.isLocal() ? QStringLiteral("local") : QStringLiteral("↓")).leftJustified(5) << "  "
            << (w.isLocal() ? w.localPath() : w.remote->url.toString()) << "\n";
    return 0;
}

void drawBar(QTextStream& err, const QString& id, double fraction)
{
    constexpr int width = 30;
    const int filled = int(fraction * width);
    err << "\r" << QString::number(int(fraction * 100)).rightJustified(3) << "% ["
        << QString(filled, QLatin1Char('#')) << QString(width - filled, QLatin1Char(' ')) << "] " << id;
    err.flush();
}

// Downloads one wallpaper and waits; the installed file, or nothing after telling why.
std::optional<QString> downloadAndWait(WallpapersCommandContext& context, const SystemWallpaper& wallpaper,
                                       QTextStream& err)
{
    if (!context.downloader) {
        err << "tamsinvale wallpapers: downloading is not possible here\n";
        return std::nullopt;
    }
    WallpaperDownloader& downloader = *context.downloader;
    std::optional<WallpaperDownloader::Outcome> outcome;
    QMetaObject::Connection bar;
    if (context.progressBar)
        bar = QObject::connect(&downloader, &WallpaperDownloader::progressChanged, [&](const QString& id) {
            if (id == wallpaper.id && downloader.isDownloading(id))
                drawBar(err, id, downloader.progress().value(id));
        });
    if (context.progressBar)
        drawBar(err, wallpaper.id, 0);
    downloader.download(wallpaper, [&](const WallpaperDownloader::Outcome& o) { outcome = o; });
    context.runUntil([&] { return outcome.has_value(); });
    QObject::disconnect(bar);
    if (context.progressBar) {
        if (outcome && outcome->installedFile)
            drawBar(err, wallpaper.id, 1);
        err << "\n";
    }
    if (!outcome || !outcome->installedFile) {
        err << "tamsinvale wallpapers: downloading \"" << wallpaper.id
            << "\" failed: " << (outcome ? outcome->failure : QStringLiteral("interrupted")) << "\n";
        return std::nullopt;
    }
    return outcome->installedFile;
}

std::optional<SystemWallpaper> findOrComplain(WallpapersCommandContext& context, const QString& id, QTextStream& err)
{
    const auto wallpaper = context.list.find(id);
    if (!wallpaper)
        err << "tamsinvale wallpapers: no wallpaper \"" << id << "\" (see tamsinvale wallpapers list)\n";
    return wallpaper;
}

int download(WallpapersCommandContext& context, const QStringList& args, QTextStream& out, QTextStream& err)
{
    if (args.size() != 1)
        return usageError(err, QStringLiteral("download takes one wallpaper ID"));
    const auto wallpaper = findOrComplain(context, args[0], err);
    if (!wallpaper)
        return 1;
    if (!wallpaper->remote) {
        if (wallpaper->isLocal()) {
            out << "\"" << wallpaper->id << "\" is already here: " << wallpaper->localPath() << "\n";
            return 0;
        }
        err << "tamsinvale wallpapers: \"" << wallpaper->id << "\" cannot be downloaded\n";
        return 1;
    }
    const auto file = downloadAndWait(context, *wallpaper, err);
    if (!file)
        return 1;
    out << "installed \"" << wallpaper->id << "\": " << *file << "\n";
    return 0;
}

int use(WallpapersCommandContext& context, const QStringList& args, QTextStream& out, QTextStream& err)
{
    QString target;
    std::optional<QString> screen;
    for (qsizetype i = 0; i < args.size(); ++i) {
        if (args[i] == QLatin1String("--screen")) {
            if (i + 1 >= args.size() || args[i + 1].isEmpty())
                return usageError(err, QStringLiteral("--screen needs a screen UUID"));
            screen = args[++i];
        } else if (args[i].startsWith(QLatin1String("--screen="))) {
            screen = args[i].section(QLatin1Char('='), 1);
        } else if (args[i].startsWith(QLatin1String("--")) || !target.isEmpty()) {
            return usageError(err, QStringLiteral("unknown argument \"%1\"").arg(args[i]));
        } else {
            target = args[i];
        }
    }
    if (target.isEmpty())
        return usageError(err, QStringLiteral("use takes a wallpaper ID or a picture file"));
    const QString where = screen ? QStringLiteral("screen ") + *screen : QStringLiteral("every screen");
    // A picture chosen now replaces one chosen earlier for the same screens that is still waiting for its download.
    auto dropEarlierChoice = [&] {
        if (context.downloader)
            if (const auto pending = context.downloader->pendingSelection(); pending && pending->screenUUID == screen)
                context.downloader->setPendingSelection(std::nullopt);
    };

    const QFileInfo file(target);
    if (file.isFile() || target.contains(QLatin1Char('/'))) {
        if (!file.isFile() || !file.isReadable()) {
            err << "tamsinvale wallpapers: cannot read " << target << "\n";
            return 1;
        }
        if (!WallpaperLibrary::isPictureFile(file.fileName())) {
            err << "tamsinvale wallpapers: " << target << " is not a picture (heic, jpg, jpeg, png, tif or tiff)\n";
            return 1;
        }
        dropEarlierChoice();
        WallpaperSelection::apply(context.store, context.bookmarks, file.absoluteFilePath(), screen);
        out << "background of " << where << ": " << file.absoluteFilePath() << "\n";
        return 0;
    }
    const auto wallpaper = findOrComplain(context, target, err);
    if (!wallpaper)
        return 1;
    if (wallpaper->isLocal()) {
        dropEarlierChoice();
        WallpaperSelection::apply(context.store, context.bookmarks, wallpaper->localPath(), screen);
        out << "background of " << where << ": " << wallpaper->localPath() << "\n";
        return 0;
    }
    if (!context.downloader) {
        err << "tamsinvale wallpapers: \"" << target << "\" must be downloaded first\n";
        return 1;
    }
    // Chosen before it is here: it becomes the background once installed, now or at a later retry.
    context.downloader->setPendingSelection(PendingSelection{wallpaper->id, screen});
    const auto installed = downloadAndWait(context, *wallpaper, err);
    if (!installed) {
        err << "Tamsinvale will try again next time it starts.\n";
        return 1;
    }
    out << "background of " << where << ": " << *installed << "\n";
    return 0;
}

QString canonicalPicture(const QString& path, QTextStream& err)
{
    const QFileInfo info(path);
    if (!info.isFile()) {
        err << "tamsinvale wallpapers: no such file: " << path << "\n";
        return {};
    }
    if (!WallpaperLibrary::isPictureFile(info.fileName())) {
        err << "tamsinvale wallpapers: " << path << " is not a picture (heic, jpg, jpeg, png, tif or tiff)\n";
        return {};
    }
    return info.canonicalFilePath();
}

int rotation(WallpapersCommandContext& context, const QStringList& args, QTextStream& out, QTextStream& err)
{
    SettingsStore& store = context.store;
    const Bookmarks& bookmarks = context.bookmarks;
    auto resolvedMembers = [&] {
        QStringList paths;
        for (const QByteArray& b : store.settings().wallpaperRotationBookmarks) {
            const auto path = bookmarks.resolve(b);
            paths << (path ? QFileInfo(*path).canonicalFilePath() : QString());
        }
        return paths;
    };
    if (args.isEmpty()) {
        out << "interval: " << WallpaperRotator::intervalLabel(int(store.settings().wallpaperRotationHours)) << "\n";
        const QList<QByteArray>& members = store.settings().wallpaperRotationBookmarks;
        if (members.isEmpty())
            out << "no pictures in the rotation\n";
        for (const QByteArray& b : members)
            out << bookmarks.resolve(b).value_or(QStringLiteral("(missing) ") + QString::fromUtf8(b)) << "\n";
        return 0;
    }
    const QString action = args[0];
    if (args.size() != 2)
        return usageError(err, QStringLiteral("rotation %1 takes one argument").arg(action));
    if (action == QLatin1String("add")) {
        const QString path = canonicalPicture(args[1], err);
        if (path.isEmpty())
            return 1;
        if (resolvedMembers().contains(path)) {
            out << "already in the rotation: " << path << "\n";
            return 0;
        }
        store.update([&](Settings& s) { s.wallpaperRotationBookmarks.append(bookmarks.create(path)); });
        out << "added to the rotation: " << path << "\n";
        return 0;
    }
    if (action == QLatin1String("remove")) {
        const QFileInfo info(args[1]);
        const QString path = info.exists() ? info.canonicalFilePath() : info.absoluteFilePath();
        const QStringList members = resolvedMembers();
        QList<QByteArray> kept;
        const QList<QByteArray>& all = store.settings().wallpaperRotationBookmarks;
        for (qsizetype i = 0; i < all.size(); ++i)
            if (members[i] != path && bookmarks.resolve(all[i]) != info.absoluteFilePath())
                kept << all[i];
        if (kept.size() == all.size()) {
            err << "tamsinvale wallpapers: not in the rotation: " << args[1] << "\n";
            return 1;
        }
        store.set(&Settings::wallpaperRotationBookmarks, kept);
        out << "removed from the rotation: " << path << "\n";
        return 0;
    }
    if (action == QLatin1String("every")) {
        bool ok = false;
        const int hours = args[1].toInt(&ok);
        if (!ok || !QList<int>{0, 1, 3, 12, 24}.contains(hours))
            return usageError(err, QStringLiteral("the interval is 0, 1, 3, 12 or 24 hours, not \"%1\"").arg(args[1]));
        store.update([&](Settings& s) {
            s.wallpaperRotationHours = hours;
            // A rotation switched on with an empty set starts from the current background.
            if (hours >= 1 && s.wallpaperRotationBookmarks.isEmpty() && s.focusDimBackgroundImageBookmark)
                if (const auto current = bookmarks.resolve(*s.focusDimBackgroundImageBookmark))
                    s.wallpaperRotationBookmarks.append(bookmarks.create(*current));
        });
        // The first change comes one full interval from now.
        store.defaults().setValue(WallpaperRotator::keyLastChange, context.now);
        out << "rotation: " << WallpaperRotator::intervalLabel(hours) << "\n";
        return 0;
    }
    return usageError(err, QStringLiteral("unknown rotation action \"%1\"").arg(action));
}

}  // namespace

int runWallpapersCommand(WallpapersCommandContext& context, const QStringList& arguments, QTextStream& out,
                         QTextStream& err)
{
    if (arguments.contains(QStringLiteral("--help")) || arguments.contains(QStringLiteral("-h"))) {
        out << usage;
        return 0;
    }
    if (arguments.isEmpty())
        return usageError(err, QStringLiteral("a command is needed"));
    const QString command = arguments[0];
    const QStringList rest = arguments.mid(1);
    if (command == QLatin1String("list"))
        return list(context, rest, out, err);
    if (command == QLatin1String("download"))
        return download(context, rest, out, err);
    if (command == QLatin1String("use"))
        return use(context, rest, out, err);
    if (command == QLatin1String("rotation"))
        return rotation(context, rest, out, err);
    return usageError(err, QStringLiteral("unknown command \"%1\"").arg(command));
}

int runWallpapersMain(int argc, char** argv, const QStringList& arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Tamsinvale"));
    // The command reports outcomes in its own words; the library's log lines would only cut into the progress
    // bar (QT_LOGGING_RULES still brings them back).
    QLoggingCategory::setFilterRules(QStringLiteral("tamsinvale.wallpapers.info=false\n"
                                                    "tamsinvale.wallpapers.warning=false\n"
                                                    "tamsinvale.wallpapers.critical=false"));
    PlistDefaultsDomain defaults(PlistDefaultsDomain::standardPath());
    SettingsStore store(defaults);
    PathBookmarks bookmarks;
    const QStringList dataDirectories = DesktopDefaultPicture::dataDirectoriesFromEnvironment();
    const WallpaperLocations locations =
        WallpaperLocations::forLinux(dataDirectories, WallpaperLocations::dataHomeFromEnvironment(),
                                     DesktopDefaultPicture::candidates(dataDirectories));
    const PropertyListReader reader = [](const QByteArray& bytes) { return PlistCodec::parseDictionary(bytes); };
    WallpaperList list([&] { return WallpaperLibrary::wallpapers(locations, reader); });

    QtDownloadSession session;
    QtSerialQueue installQueue(QStringLiteral("wallpaper installs"));
    LibarchiveUnpacker unpacker;
    WallpaperDownloader downloader(session, installQueue, defaults,
                                   {&unpacker, locations.applicationWallpaperFolder, QDir::tempPath()});
    downloader.setList(&list);
    downloader.setSelectionApplier([&](const QString& path, const std::optional<QString>& screen) {
        WallpaperSelection::apply(store, bookmarks, path, screen);
    });

    WallpapersCommandContext context{list, store, bookmarks, &downloader, {}, false, QDateTime::currentDateTimeUtc()};
    context.progressBar = ::isatty(STDERR_FILENO) == 1;
    // Every step of a download ends in an event posted to this thread, so waiting for events never misses one.
    // Ctrl-C ends the wait: the download is given up and its temporary files go with the session below.
    InterruptSignal interrupt;
    context.runUntil = [&interrupt](const std::function<bool()>& done) {
        while (!done() && !interrupt.raised())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    };
    const int code = runWallpapersCommand(context, arguments, out, err);
    out.flush();
    defaults.synchronize();
    return interrupt.raised() ? 128 + interrupt.signalNumber() : code;
}

}  // namespace tamsinvale
