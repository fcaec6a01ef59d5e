// The shortcut store: what loads from hand-edited or damaged defaults, binding edits, proposals, conflicts,
// orphans and the migration of name-keyed bindings.
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>

#include "SwitcherTestSupport.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

QByteArray shortcutJson(const QString& key, const QString& secondKey, const QString& name = "App")
{
    QJsonObject o{{"id", "6F9619FF-8B86-D011-B42D-00CF4FC964FF"}, {"name", name}, {"appBookmarkData", "Ym9vaw=="}};
    if (!key.isNull())
        o.insert("key", key);
    if (!secondKey.isNull())
        o.insert("secondKey", secondKey);
    return QJsonDocument(QJsonArray{o}).toJson();
}

}  // namespace

TEST(ShortcutStore, loadNormalisesKeysAndDropsWhatCannotBeUsed)
{
    FakeDesktop desktop;
    desktop.defaults.setValue(ShortcutStore::storageKey, shortcutJson("  A \n", "ab"));
    desktop.defaults.setValue(ShortcutStore::discoveredKeysKey,
                              QByteArray(R"({"org.x": " Q ", "org.empty": "  ", "org.e": "É"})"));
    desktop.defaults.setValue(ShortcutStore::discoveredSecondKeysKey,
                              QByteArray(R"({"org.x": "Rs", "org.orphan": "z", "org.empty": "y"})"));
    ShortcutStore store(desktop.platform());
    ASSERT_EQ(store.shortcuts().size(), 1);
    EXPECT_EQ(store.shortcuts()[0].key, "a");
    EXPECT_EQ(store.shortcuts()[0].secondKey, "a");
    EXPECT_EQ(store.shortcuts()[0].appBookmarkData, "book");
    EXPECT_EQ(store.discoveredKeyMap(), (QMap<QString, QString>{{"org.x", "q"}, {"org.e", "é"}}));
    EXPECT_EQ(store.discoveredSecondKeyMap(), (QMap<QString, QString>{{"org.x", "r"}}));

    // An empty first key takes the second key with it.
    desktop.defaults.setValue(ShortcutStore::storageKey, shortcutJson("", "b"));
    store.load();
    EXPECT_FALSE(store.shortcuts()[0].key);
    EXPECT_FALSE(store.shortcuts()[0].secondKey);

    // A whole grapheme is one key: e + combining acute, and a flag of two scalars.
    EXPECT_EQ(AppShortcut::normalizeKey(QString::fromUtf8("e\xcc\x81x")), QString::fromUtf8("e\xcc\x81"));
    EXPECT_EQ(AppShortcut::normalizeKey(QString::fromUtf8("\xf0\x9f\x87\xab\xf0\x9f\x87\xb7!")),
              QString::fromUtf8("\xf0\x9f\x87\xab\xf0\x9f\x87\xb7"));
}

TEST(ShortcutStore, damagedOrMissingValuesLoadAsEmptyAndAreOverwrittenLater)
{
    FakeDesktop desktop;
    // Without the shortcut list the maps are not consulted.
    desktop.defaults.setValue(ShortcutStore::discoveredKeysKey, QByteArray(R"({"org.x":"q"})"));
    EXPECT_TRUE(ShortcutStore(desktop.platform()).discoveredKeyMap().isEmpty());

    for (const QByteArray& bad : {QByteArray("{not json"), QByteArray("{}"), QByteArray("[1,2]"),
                                  QByteArray(R"([{"id":"nope","name":"x","appBookmarkData":""}])"),
                                  QByteArray(R"([{"id":"6F9619FF-8B86-D011-B42D-00CF4FC964FF","name":3,"appBookmarkData":""}])"),
                                  QByteArray(R"([{"id":"6F9619FF-8B86-D011-B42D-00CF4FC964FF","name":"x","appBookmarkData":"%%%"}])"),
                                  QByteArray("\0\xff", 2)}) {
        desktop.defaults.setValue(ShortcutStore::storageKey, bad);
        desktop.defaults.setValue(ShortcutStore::discoveredKeysKey, QByteArray(R"({"org.x": 5})"));
        ShortcutStore store(desktop.platform());
        EXPECT_TRUE(store.shortcuts().isEmpty()) << bad.constData();
        EXPECT_TRUE(store.discoveredKeyMap().isEmpty());
    }
    // A value of the wrong type in the domain is no value.
    desktop.defaults.setValue(ShortcutStore::storageKey, QString("text, not data"));
    ShortcutStore store(desktop.platform());
    EXPECT_TRUE(store.shortcuts().isEmpty());
    store.addShortcut("/opt/Thing.py");
    EXPECT_EQ(ShortcutStore(desktop.platform()).shortcuts().size(), 1);
}

TEST(ShortcutStore, savedFormRoundTripsWithUpperCaseIdsAndBase64Bookmarks)
{
    SwitcherRig rig;
    QSignalSpy changed(&rig.store, &ShortcutStore::changed);
    const QUuid id = *rig.store.addShortcut("/home/u/tools/report.py");
    rig.store.setSecondKey(id, "X");
    EXPECT_EQ(changed.count(), 2);
    const QJsonArray stored =
        QJsonDocument::fromJson(rig.desktop.defaults.dataValue(ShortcutStore::storageKey).value()).array();
    ASSERT_EQ(stored.size(), 1);
    const QJsonObject o = stored[0].toObject();
    EXPECT_EQ(o["id"].toString(), id.toString(QUuid::WithoutBraces).toUpper());
    EXPECT_EQ(o["name"].toString(), "report");
    EXPECT_FALSE(o.contains("bundleIdentifier"));
    EXPECT_EQ(QByteArray::fromBase64(o["appBookmarkData"].toString().toLatin1()), "bookmark:/home/u/tools/report.py");
    EXPECT_EQ(o["key"].toString(), "r");
    EXPECT_EQ(o["secondKey"].toString(), "x");
    EXPECT_EQ(rig.reloadedStore()->shortcuts(), rig.store.shortcuts());
}

TEST(ShortcutStore, discoveredBindingsKeepTheSecondKeyAndClearLegacyNameEntries)
{
    SwitcherRig rig({{"org.mail", "Mail"}, {"org.maps", "Maps"}});
    const DiscoveredApp& mail = rig.app("org.mail");

    rig.store.setDiscoveredKey(QString("M"), mail);
    rig.store.setDiscoveredSecondKey(QString("a"), mail);
    rig.store.setDiscoveredKey(QString("n"), mail);
    EXPECT_EQ(rig.store.discoveredKey(mail), "n");
    EXPECT_EQ(rig.store.discoveredSecondKey(mail), "a");
    EXPECT_EQ(rig.store.discoveredApps("N", rig.discovery.apps()).size(), 1);

    // A second key without a first key is never stored.
    const DiscoveredApp& maps = rig.app("org.maps");
    rig.store.setDiscoveredSecondKey(QString("z"), maps);
    EXPECT_FALSE(rig.store.discoveredSecondKeyMap().contains("org.maps"));

    // Setting the key also removes an entry left under the name.
    rig.desktop.defaults.setValue(ShortcutStore::discoveredKeysKey, QByteArray(R"({"Maps":"p"})"));
    rig.store.load();
    EXPECT_EQ(rig.store.discoveredKey(maps), "p");  // found through the name candidate
    rig.store.setDiscoveredKey(QString("o"), maps);
    EXPECT_EQ(rig.store.discoveredKeyMap(), (QMap<QString, QString>{{"org.maps", "o"}}));

    rig.store.setDiscoveredKey(QString("  "), maps);
    EXPECT_FALSE(rig.store.discoveredKey(maps));
    rig.store.setDiscoveredKey(QString("o"), maps);
    rig.store.setDiscoveredSecondKey(QString("q"), maps);
    rig.store.resetDiscovered(maps);
    EXPECT_TRUE(rig.store.discoveredKeyMap().isEmpty());
    EXPECT_TRUE(rig.store.discoveredSecondKeyMap().isEmpty());
}

TEST(ShortcutStore, addingAShortcutProposesAFreeLetterAndReadsTheTargetsName)
{
    SwitcherRig rig{{"org.zed", "Zed Editor"}};
    writeFile(rig.applications() + "/tools/zip-gui.desktop", desktopEntry("7 Zip Manager"));
    rig.store.setApplicationDirs({rig.applications()});

    const QUuid first = *rig.store.addShortcut(rig.applications() + "/tools/zip-gui.desktop");
    const AppShortcut zip = *rig.store.shortcut(first);
    EXPECT_EQ(zip.name, "7 Zip Manager");
    EXPECT_EQ(zip.bundleIdentifier, "tools-zip-gui");
    EXPECT_EQ(zip.key, "z");

    // z is taken by a custom key now, and later by a discovered first key.
    const QUuid second = *rig.store.addShortcut(rig.applications() + "/tools/zip-gui.desktop");
    EXPECT_FALSE(rig.store.shortcut(second)->key);
    rig.store.remove(first);
    rig.store.setDiscoveredKey(QString("z"), rig.app("org.zed"));
    EXPECT_FALSE(rig.store.shortcut(*rig.store.addShortcut("/x/Zulu.py"))->key);
    EXPECT_FALSE(rig.store.shortcut(*rig.store.addShortcut("/x/1234.py"))->key);

    // A bundle is named from its Info.plist.
    makeBundle(rig.dir.path() + "/Orange.app", {});
    QFile::copy(switcherTestData() + "/OrangeColors.Info.plist", rig.dir.path() + "/Orange.app/Contents/Info.plist");
    rig.store.setPropertyListReader(plistReader());
    const AppShortcut orange = *rig.store.shortcut(*rig.store.addShortcut(rig.dir.path() + "/Orange.app"));
    EXPECT_EQ(orange.name, "Orange Colors");
    EXPECT_EQ(orange.bundleIdentifier, "org.pythonmac.unspecified.OrangeColors");
    EXPECT_EQ(orange.key, "o");

    // The chooser path: a cancelled chooser adds nothing.
    const qsizetype count = rig.store.shortcuts().size();
    rig.store.setFileChooser([](const QString& title) -> std::optional<QString> {
        EXPECT_EQ(title, "Choose an app");
        return std::nullopt;
    });
    EXPECT_FALSE(rig.store.addShortcut());
    EXPECT_EQ(rig.store.shortcuts().size(), count);
}

TEST(ShortcutStore, conflictsCompareWholeSequencesAndSkipTheEntryBeingEdited)
{
    SwitcherRig rig{{"org.mail", "Mail"}};
    const QUuid id = *rig.store.addShortcut("/x/Notes.py");  // key n
    rig.store.setDiscoveredKey(QString("m"), rig.app("org.mail"));
    rig.store.setDiscoveredSecondKey(QString("a"), rig.app("org.mail"));

    EXPECT_TRUE(rig.store.conflict("N", std::nullopt, std::nullopt, std::nullopt));
    EXPECT_FALSE(rig.store.conflict("n", std::nullopt, id, std::nullopt));
    EXPECT_FALSE(rig.store.conflict("n", QString("x"), std::nullopt, std::nullopt));
    EXPECT_TRUE(rig.store.conflict("m", QString("A"), std::nullopt, std::nullopt));
    EXPECT_FALSE(rig.store.conflict("m", std::nullopt, std::nullopt, std::nullopt));
    EXPECT_FALSE(rig.store.conflict("m", QString("a"), std::nullopt, QString("org.mail")));
}

TEST(ShortcutStore, orphansAreListedSortedAndRemovable)
{
    SwitcherRig rig{{"org.kept", "Kept"}};
    rig.desktop.defaults.setValue(ShortcutStore::storageKey, QByteArray("[]"));
    rig.desktop.defaults.setValue(ShortcutStore::discoveredKeysKey,
                                  QByteArray(R"({"org.kept":"k","zeta":"z","Alpha":"a","beta":"b","Kept":"q"})"));
    rig.desktop.defaults.setValue(ShortcutStore::discoveredSecondKeysKey, QByteArray(R"({"beta":"c"})"));
    rig.store.load();
    const QList<OrphanedBinding> orphans = rig.store.orphanedBindings(rig.discovery.apps());
    ASSERT_EQ(orphans.size(), 3);
    EXPECT_EQ(orphans[0], (OrphanedBinding{"Alpha", "a", std::nullopt}));
    EXPECT_EQ(orphans[1], (OrphanedBinding{"beta", "b", QString("c")}));
    EXPECT_EQ(orphans[2].id, "zeta");
    rig.store.removeOrphan("beta");
    EXPECT_FALSE(rig.store.discoveredSecondKeyMap().contains("beta"));
    EXPECT_EQ(rig.store.orphanedBindings(rig.discovery.apps()).size(), 2);
}

TEST(ShortcutStore, legacyNameKeyedBindingsMoveToTheIdentifierOnce)
{
    SwitcherRig rig({{"org.mail", "Mail"}, {"org.maps", "Maps"}, {"Same", "Same"}});
    rig.desktop.defaults.setValue(ShortcutStore::storageKey, QByteArray("[]"));
    rig.desktop.defaults.setValue(ShortcutStore::discoveredKeysKey,
                                  QByteArray(R"({"Mail":"m","Maps":"p","org.maps":"o","Same":"s"})"));
    rig.desktop.defaults.setValue(ShortcutStore::discoveredSecondKeysKey, QByteArray(R"({"Mail":"a"})"));
    rig.store.load();
    const int writes = rig.desktop.defaults.writeCount();

    EXPECT_EQ(rig.store.migrateLegacyDiscoveredBindings(rig.discovery.apps()), 2);
    EXPECT_EQ(rig.store.discoveredKeyMap(),
              (QMap<QString, QString>{{"org.mail", "m"}, {"org.maps", "o"}, {"Same", "s"}}));
    EXPECT_EQ(rig.store.discoveredSecondKeyMap(), (QMap<QString, QString>{{"org.mail", "a"}}));
    EXPECT_GT(rig.desktop.defaults.writeCount(), writes);

    const int after = rig.desktop.defaults.writeCount();
    EXPECT_EQ(rig.store.migrateLegacyDiscoveredBindings(rig.discovery.apps()), 0);
    EXPECT_EQ(rig.desktop.defaults.writeCount(), after);
}

// Saving writes the three keys as one change, and the store does not reload from its own write: a reload between
// two of the keys would read the others as they were and write them back over the edit.
TEST(ShortcutStore, aSaveIsOneChangeThatNeitherLosesSecondKeysNorRevertsTheEdit)
{
    SwitcherRig rig({{"org.mail", "Mail"}, {"org.maps", "Maps"}});
    FakeDefaults& defaults = rig.desktop.defaults;

    // Legacy bindings under the name, second key included, migrate whole.
    defaults.setValue(ShortcutStore::storageKey, QByteArray("[]"));
    defaults.setValue(ShortcutStore::discoveredKeysKey, QByteArray(R"({"Mail":"m"})"));
    defaults.setValue(ShortcutStore::discoveredSecondKeysKey, QByteArray(R"({"Mail":"a"})"));
    ASSERT_EQ(rig.store.discoveredKey(rig.app("org.mail")), "m");
    QSignalSpy changed(&rig.store, &ShortcutStore::changed);
    const int notifications = defaults.notificationCount();
    EXPECT_EQ(rig.store.migrateLegacyDiscoveredBindings(rig.discovery.apps()), 1);
    EXPECT_EQ(defaults.notificationCount(), notifications + 1);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(rig.store.discoveredKey(rig.app("org.mail")), "m");
    EXPECT_EQ(rig.store.discoveredSecondKey(rig.app("org.mail")), "a");
    EXPECT_EQ(rig.reloadedStore()->discoveredSecondKeyMap(), (QMap<QString, QString>{{"org.mail", "a"}}));

    // A shortcut list edited by hand (laid out unlike ours): the next edit of a discovered binding sticks.
    defaults.setValue(ShortcutStore::storageKey, shortcutJson(" Q", QString()));
    ASSERT_EQ(rig.store.shortcuts().size(), 1);
    rig.store.setDiscoveredKey(QString("p"), rig.app("org.maps"));
    EXPECT_EQ(rig.store.discoveredKey(rig.app("org.maps")), "p");
    EXPECT_EQ(rig.reloadedStore()->discoveredKeyMap(), (QMap<QString, QString>{{"org.mail", "m"}, {"org.maps", "p"}}));
    EXPECT_EQ(rig.reloadedStore()->shortcuts().first().key, "q");

    // A change made by someone else still reaches the store.
    defaults.setValue(ShortcutStore::discoveredKeysKey, QByteArray(R"({"org.mail":"w"})"));
    EXPECT_EQ(rig.store.discoveredKey(rig.app("org.mail")), "w");
}
