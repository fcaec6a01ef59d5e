// Discovery over synthetic application trees: bundle roots and desktop-entry directories, the background refresh
// and the icon cache.
#include <gtest/gtest.h>

#include <QSignalSpy>

#include "SwitcherTestSupport.h"
#include "platform/fake/FakeScheduler.h"
#include "switcher/AppDiscoveryStore.h"
#include "switcher/AppIconStore.h"
#include "switcher/BackgroundQueue.h"
#include "switcher/DesktopEntryFile.h"
#include "platform/LocaleNames.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

QStringList names(const QList<DiscoveredApp>& apps)
{
    QStringList out;
    for (const DiscoveredApp& a : apps)
        out.append(a.name);
    return out;
}

const DiscoveredApp* byId(const QList<DiscoveredApp>& apps, const QString& id)
{
    for (const DiscoveredApp& a : apps) {
        if (a.id == id)
            return &a;
    }
    return nullptr;
}

struct BundleTree {
    QTemporaryDir dir;
    QString applications = dir.path() + "/Applications";
    QString home = dir.path() + "/home";
    QString system = dir.path() + "/System/Applications";
    FakeScheduler scheduler;
    InlineBackgroundQueue queue{scheduler};

    DiscoveryConfiguration configuration() const
    {
        DiscoveryConfiguration c;
        c.layout = DiscoveryConfiguration::Layout::bundles;
        c.roots = {applications, home + "/Applications", system};
        c.plistReader = plistReader();
        return c;
    }
};

}  // namespace

TEST(AppDiscovery, bundleScanFindsDepthOneAndTwoWithFirstRootWinning)
{
    BundleTree t;
    makeBundle(t.applications + "/Safari.app", bundleInfo("com.apple.Safari", "Safari"));
    makeBundle(t.system + "/Safari.app", bundleInfo("com.apple.Safari", "System Safari"));
    makeBundle(t.applications + "/Utilities/Terminal.app", bundleInfo("com.apple.Terminal", "Terminal"));
    makeBundle(t.applications + "/Folder/Sub/Deep.app", bundleInfo("com.example.deep", "Deep"));
    makeBundle(t.applications + "/Upper.APP", bundleInfo("com.example.upper", "Upper"));
    makeBundle(t.applications + "/.Hidden.app", bundleInfo("com.example.hidden", "Hidden"));
    makeBundle(t.home + "/Applications/NoId.app", bundleInfo("", "NoId"));
    makeBundle(t.system + "/NoId.app", bundleInfo("", "NoId"));
    makeBundle(t.home + "/Applications/alpha.app", bundleInfo("org.alpha", "alpha"));
    makeBundle(t.home + "/Applications/Beta.app", bundleInfo("org.beta", "Beta"));

    AppDiscoveryStore store(t.configuration(), t.queue);
    const QList<DiscoveredApp> apps = store.scan();

    const DiscoveredApp* safari = byId(apps, "com.apple.Safari");
    ASSERT_TRUE(safari);
    EXPECT_EQ(safari->name, "Safari");
    EXPECT_EQ(safari->url, t.applications + "/Safari.app");
    EXPECT_TRUE(byId(apps, "com.apple.Terminal"));
    EXPECT_FALSE(byId(apps, "com.example.deep"));
    EXPECT_FALSE(byId(apps, "com.example.upper"));
    EXPECT_FALSE(byId(apps, "com.example.hidden"));
    // Without an identifier the path is the identity, so both copies stay.
    EXPECT_TRUE(byId(apps, t.home + "/Applications/NoId.app"));
    EXPECT_TRUE(byId(apps, t.system + "/NoId.app"));
    EXPECT_FALSE(byId(apps, t.home + "/Applications/NoId.app")->bundleIdentifier);
    EXPECT_EQ(names(apps), QStringList({"alpha", "Beta", "NoId", "NoId", "Safari", "Terminal"}));
}

TEST(AppDiscovery, nameChainAndPropertyListForms)
{
    BundleTree t;
    QVariantMap display = bundleInfo("org.display", "Bundle Name");
    display.insert("CFBundleDisplayName", "Display Name");
    makeBundle(t.applications + "/A.app", display);
    QVariantMap wrongType = bundleInfo("org.wrongtype", "");
    wrongType.insert("CFBundleDisplayName", qint64(42));
    wrongType.insert("CFBundleName", "Right");
    makeBundle(t.applications + "/B.app", wrongType);
    makeBundle(t.applications + "/NoPlist.app", {});
    makeBundle(t.applications + "/Garbage.app", {});
    static const char garbagePlist[] = "<?xml \0\0 nonsense";
    writeFile(t.applications + "/Garbage.app/Contents/Info.plist", QByteArray(garbagePlist, sizeof garbagePlist - 1));
    makeBundle(t.applications + "/Binary.app", {});
    writeFile(t.applications + "/Binary.app/Contents/Info.plist",
              binaryStringPlist({{"CFBundleIdentifier", "org.binary"}, {"CFBundleName", "From Binary"}}));
    for (const QString file : {"HDA-Verb-Fix", "OrangeColors"}) {
        makeBundle(t.applications + "/" + file + ".app", {});
        QFile::copy(switcherTestData() + "/" + file + ".Info.plist",
                    t.applications + "/" + file + ".app/Contents/Info.plist");
    }

    AppDiscoveryStore store(t.configuration(), t.queue);
    const QList<DiscoveredApp> apps = store.scanFolder(t.applications);
    ASSERT_EQ(apps.size(), 7);
    EXPECT_EQ(byId(apps, "org.display")->name, "Display Name");
    EXPECT_EQ(byId(apps, "org.wrongtype")->name, "Right");
    EXPECT_EQ(byId(apps, t.applications + "/NoPlist.app")->name, "NoPlist");
    EXPECT_EQ(byId(apps, t.applications + "/Garbage.app")->name, "Garbage");
    EXPECT_EQ(byId(apps, "org.binary")->name, "From Binary");
    EXPECT_EQ(byId(apps, "com.Bean6754.HDA-Verb-Fix.app")->name, "HDA-Verb-Fix");
    EXPECT_EQ(byId(apps, "org.pythonmac.unspecified.OrangeColors")->name, "Orange Colors");
}

TEST(AppDiscovery, desktopEntriesFollowTheDesktopEntryRules)
{
    QTemporaryDir dir;
    const QString user = dir.path() + "/home/applications";
    const QString system = dir.path() + "/usr/applications";
    const QString bin = dir.path() + "/bin";
    writeFile(bin + "/present-tool", "#!/bin/sh\n");
    QFile(bin + "/present-tool").setPermissions(QFileDevice::ExeOwner | QFileDevice::ReadOwner);

    writeFile(system + "/xterm.desktop", desktopEntry("XTerm", "Name[de]=Terminal X\n"));
    writeFile(user + "/xterm.desktop", desktopEntry("My XTerm"));                 // first directory wins
    writeFile(system + "/hidden.desktop", desktopEntry("Hidden Here"));
    writeFile(user + "/hidden.desktop", desktopEntry("Hidden", "Hidden=true\n")); // deletes the later one too
    writeFile(system + "/link.desktop", "[Desktop Entry]\nType=Link\nName=Link\nURL=http://x\n");
    writeFile(system + "/nodisplay.desktop", desktopEntry("NoDisplay", "NoDisplay=true\n"));
    writeFile(system + "/kdeonly.desktop", desktopEntry("KDE Only", "OnlyShowIn=KDE;\n"));
    writeFile(system + "/xfceonly.desktop", desktopEntry("Xfce Only", "OnlyShowIn=GNOME;XFCE;\n"));
    writeFile(system + "/notxfce.desktop", desktopEntry("Not Xfce", "NotShowIn=XFCE;\n"));
    writeFile(system + "/missing.desktop", desktopEntry("Missing", "TryExec=no-such-tool-here\n"));
    writeFile(system + "/present.desktop", desktopEntry("Present", "TryExec=present-tool\n"));
    writeFile(system + "/kde/konsole.desktop", desktopEntry("Konsole"));
    static const char garbageEntry[] = "\xff\xfe\0\0[Desktop Entry\n=\n==\nType";
    writeFile(system + "/garbage.desktop", QByteArray(garbageEntry, sizeof garbageEntry - 1));
    writeFile(system + "/actions.desktop",
              "[Desktop Action new]\nName=Wrong\n[Desktop Entry]\nType=Application\nName=Right\n");
    writeFile(system + "/huge.desktop", desktopEntry("Huge") + QByteArray(300 * 1024, '#'));

    FakeScheduler scheduler;
    InlineBackgroundQueue queue(scheduler);
    DiscoveryConfiguration c;
    c.layout = DiscoveryConfiguration::Layout::desktopEntries;
    c.roots = {user, system};
    c.currentDesktops = {"XFCE"};
    c.localeNames = {"de_DE", "de"};
    c.searchPath = {bin};
    AppDiscoveryStore store(c, queue);
    const QList<DiscoveredApp> apps = store.scan();

    EXPECT_EQ(names(apps), QStringList({"Konsole", "My XTerm", "Present", "Right", "Xfce Only"}));
    const DiscoveredApp* xterm = byId(apps, "xterm");
    ASSERT_TRUE(xterm);
    EXPECT_EQ(xterm->url, user + "/xterm.desktop");
    EXPECT_EQ(xterm->bundleIdentifier, "xterm");
    EXPECT_TRUE(byId(apps, "kde-konsole"));

    // The localized name is taken when the locale has one.
    c.roots = {system};
    AppDiscoveryStore german(c, queue);
    EXPECT_EQ(byId(german.scan(), "xterm")->name, "Terminal X");
}

TEST(AppDiscovery, theFirstDesktopNameEitherListMentionsDecides)
{
    auto entry = [](const QByteArray& extra) {
        return DesktopEntryFile::parse("[Desktop Entry]\nType=Application\nName=X\n" + extra);
    };
    const QStringList xfceThenGnome{"XFCE", "GNOME"};
    // Xfce comes first and the entry is for Xfce: shown, though it is not for GNOME.
    EXPECT_TRUE(AppDiscoveryStore::shownIn(entry("OnlyShowIn=XFCE;\nNotShowIn=GNOME;\n"), xfceThenGnome));
    EXPECT_FALSE(AppDiscoveryStore::shownIn(entry("OnlyShowIn=XFCE;\nNotShowIn=GNOME;\n"), {"GNOME", "XFCE"}));
    EXPECT_FALSE(AppDiscoveryStore::shownIn(entry("NotShowIn=XFCE;\n"), xfceThenGnome));
    EXPECT_TRUE(AppDiscoveryStore::shownIn(entry("OnlyShowIn=GNOME;\n"), xfceThenGnome));
    EXPECT_TRUE(AppDiscoveryStore::shownIn(entry("NotShowIn=KDE;\n"), xfceThenGnome));
    EXPECT_FALSE(AppDiscoveryStore::shownIn(entry("OnlyShowIn=KDE;\n"), xfceThenGnome));
    EXPECT_TRUE(AppDiscoveryStore::shownIn(entry(""), xfceThenGnome));
    // No desktop named: only entries for particular desktops stay hidden.
    EXPECT_FALSE(AppDiscoveryStore::shownIn(entry("OnlyShowIn=XFCE;\n"), {}));
    EXPECT_TRUE(AppDiscoveryStore::shownIn(entry("NotShowIn=XFCE;\n"), {}));

    // The scan applies it.
    QTemporaryDir dir;
    writeFile(dir.path() + "/xfce-tool.desktop", desktopEntry("Xfce Tool", "OnlyShowIn=XFCE;\nNotShowIn=GNOME;\n"));
    writeFile(dir.path() + "/gnome-tool.desktop", desktopEntry("GNOME Tool", "OnlyShowIn=GNOME;\nNotShowIn=XFCE;\n"));
    FakeScheduler scheduler;
    InlineBackgroundQueue queue(scheduler);
    DiscoveryConfiguration c;
    c.layout = DiscoveryConfiguration::Layout::desktopEntries;
    c.roots = {dir.path()};
    c.currentDesktops = xfceThenGnome;
    EXPECT_EQ(names(AppDiscoveryStore(c, queue).scan()), QStringList{"Xfce Tool"});
}

TEST(DesktopEntryLocale, languageListComesFirstAsInGettext)
{
    const auto names = [](const char* language, const char* lcAll, const char* lcMessages, const char* lang) {
        return messageLocaleNames({language, lcAll, lcMessages, lang});
    };
    // LANGUAGE differs from LANG (the language picked at login): its list decides, in order.
    EXPECT_EQ(names("fr_CA:de", "", "", "en_US.UTF-8"), QStringList({"fr_CA", "fr", "de"}));
    EXPECT_EQ(names("de_AT.UTF-8@euro::pt", "", "", "en_US.UTF-8"),
              QStringList({"de_AT@euro", "de_AT", "de@euro", "de", "pt"}));
    // Without it, the first of LC_ALL, LC_MESSAGES and LANG.
    EXPECT_EQ(names("", "", "sv_SE.UTF-8", "en_US.UTF-8"), QStringList({"sv_SE", "sv"}));
    EXPECT_EQ(names("", "nl_NL", "sv_SE.UTF-8", "en_US.UTF-8"), QStringList({"nl_NL", "nl"}));
    // The C locale means no translation, whatever LANGUAGE says.
    EXPECT_TRUE(names("de", "", "", "C.UTF-8").isEmpty());
    EXPECT_TRUE(names("de", "", "", "").isEmpty());
    EXPECT_TRUE(names("", "POSIX", "", "de_DE").isEmpty());

    // From the process environment, as discovery reads it.
    const QList<const char*> variables{"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"};
    QList<std::optional<QByteArray>> saved;
    for (const char* v : variables)
        saved.append(qEnvironmentVariableIsSet(v) ? std::optional(qgetenv(v)) : std::nullopt);
    qputenv("LANGUAGE", "pt_BR:pt:en");
    qunsetenv("LC_ALL");
    qunsetenv("LC_MESSAGES");
    qputenv("LANG", "de_DE.UTF-8");
    EXPECT_EQ(DesktopEntryFile::currentLocaleNames(), QStringList({"pt_BR", "pt", "en"}));
    for (qsizetype i = 0; i < variables.size(); ++i) {
        if (saved[i])
            qputenv(variables[i], *saved[i]);
        else
            qunsetenv(variables[i]);
    }

    // Read through to a desktop entry's Name.
    const DesktopEntryFile entry = DesktopEntryFile::parse(
        "[Desktop Entry]\nType=Application\nName=Files\nName[de]=Dateien\nName[fr]=Fichiers\n");
    EXPECT_EQ(entry.localizedName(names("fr_CA:de", "", "", "de_DE.UTF-8")), "Fichiers");
    EXPECT_EQ(entry.localizedName(names("it:de", "", "", "fr_FR.UTF-8")), "Dateien");
    EXPECT_EQ(entry.localizedName(names("it", "", "", "fr_FR.UTF-8")), "Files");
}

TEST(AppDiscovery, backgroundRefreshRunsOneScanAndPublishesOnTheMainQueue)
{
    BundleTree t;
    makeBundle(t.applications + "/One.app", bundleInfo("org.one", "One"));
    AppDiscoveryStore store(t.configuration(), t.queue);
    QSignalSpy published(&store, &AppDiscoveryStore::appsChanged);

    store.refreshInBackground();
    EXPECT_TRUE(store.refreshInFlight());
    store.refreshInBackground();
    EXPECT_EQ(t.queue.runs(), 1);
    EXPECT_TRUE(store.apps().isEmpty());  // nothing until the main queue turns

    t.scheduler.runPending();
    EXPECT_FALSE(store.refreshInFlight());
    EXPECT_EQ(published.count(), 1);
    ASSERT_EQ(store.apps().size(), 1);

    // A later refresh follows an installation.
    makeBundle(t.applications + "/Two.app", bundleInfo("org.two", "Two"));
    store.refreshInBackground();
    t.scheduler.runPending();
    EXPECT_EQ(names(store.apps()), QStringList({"One", "Two"}));
}

TEST(AppDiscovery, aStoreGoneBeforeItsScanEndsIgnoresTheResult)
{
    BundleTree t;
    auto store = std::make_unique<AppDiscoveryStore>(t.configuration(), t.queue);
    store->refreshInBackground();
    store.reset();
    t.scheduler.runPending();  // must not touch the destroyed store
    SUCCEED();
}

TEST(AppIconStore, loadsOncePerKeyAndBumpsTheVersion)
{
    FakeScheduler scheduler;
    InlineBackgroundQueue queue(scheduler);
    int fetches = 0;
    AppIconStore icons(
        [&fetches](const QString&) {
            ++fetches;
            QImage image(128, 128, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::red);
            return image;
        },
        queue);

    EXPECT_FALSE(icons.icon("unknown", std::nullopt));
    EXPECT_EQ(queue.runs(), 0);

    EXPECT_FALSE(icons.icon("org.one", QString("/Applications/One.app")));
    // The inline queue ran the load already; a second ask before publication finds it cached.
    EXPECT_EQ(fetches, 1);
    EXPECT_EQ(icons.version(), 0);
    scheduler.runPending();
    EXPECT_EQ(icons.version(), 1);
    const auto icon = icons.icon("org.one", QString("/Applications/One.app"));
    ASSERT_TRUE(icon);
    EXPECT_EQ(icon->size(), QSize(64, 64));
    EXPECT_EQ(fetches, 1);
}

TEST(AppIconStore, aKeyInFlightStartsNoSecondLoad)
{
    FakeScheduler scheduler;
    // A queue that holds the work, as a busy worker pool would.
    struct HeldQueue : BackgroundQueue {
        QList<std::pair<std::function<void()>, std::function<void()>>> held;
        void run(std::function<void()> w, std::function<void()> m) override { held.append({w, m}); }
    } queue;
    AppIconStore icons([](const QString&) { return QImage(64, 64, QImage::Format_ARGB32); }, queue);
    EXPECT_FALSE(icons.icon("k", QString("/x")));
    EXPECT_FALSE(icons.icon("k", QString("/x")));
    EXPECT_EQ(queue.held.size(), 1);
    EXPECT_TRUE(icons.isLoading("k"));
    queue.held[0].first();
    queue.held[0].second();
    EXPECT_FALSE(icons.isLoading("k"));
    EXPECT_EQ(icons.version(), 1);
    EXPECT_TRUE(icons.icon("k", std::nullopt));
}
