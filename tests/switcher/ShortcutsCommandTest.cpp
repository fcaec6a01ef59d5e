// `tamsinvale shortcuts`: binding installed applications and custom targets from the command line, with the
// conflict rule of the settings pages, and a running store that follows edits made by another process.
#include <gtest/gtest.h>

#include <QSignalSpy>

#include "SwitcherTestSupport.h"
#include "app/ShortcutsCommand.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

struct Cli : SwitcherRig {
    Cli() : SwitcherRig({{"xterm", "XTerm"}, {"org.editor", "Editor"}}) {}
    int run(const QStringList& args)
    {
        output.clear();
        errors.clear();
        QTextStream out(&output);
        QTextStream err(&errors);
        return runShortcutsCommand(store, discovery.apps(), args, out, err);
    }
    QString output;
    QString errors;
};

}  // namespace

TEST(ShortcutsCommand, bindsInstalledAppsAndRefusesSequencesInUse)
{
    Cli c;
    EXPECT_EQ(c.run({"bind", "xterm", "X"}), 0);
    EXPECT_EQ(c.store.discoveredKey(c.app("xterm")), "x");
    EXPECT_EQ(c.run({"bind", "org.editor", "x"}), 1);
    EXPECT_TRUE(c.errors.contains("already bound"));
    EXPECT_EQ(c.run({"bind", "org.editor", "x", "e"}), 0);  // a different sequence
    EXPECT_EQ(c.run({"bind", "xterm", "x"}), 0);  // binding an app to its own sequence again is no conflict
    EXPECT_EQ(c.run({"bind", "nope", "q"}), 1);
    EXPECT_EQ(c.run({"bind", "xterm", "  "}), 2);
    EXPECT_EQ(c.run({"list"}), 0);
    EXPECT_TRUE(c.output.contains("x e   Editor")) << c.output.toStdString();
    EXPECT_EQ(c.run({"unbind", "org.editor"}), 0);
    EXPECT_FALSE(c.store.discoveredKey(c.app("org.editor")));
    EXPECT_EQ(c.run({"apps", "term"}), 0);
    EXPECT_EQ(c.output, "xterm\tx\tXTerm\n");
    EXPECT_EQ(c.run({"frobnicate"}), 2);
}

TEST(ShortcutsCommand, customShortcutsByFileAndByIdPrefix)
{
    Cli c;
    const QString script = c.dir.path() + "/scripts/board.py";
    writeFile(script, "print('hi')\n");
    c.desktop.bookmarks.addFile(script);  // the simulated desktop resolves only files it knows
    EXPECT_EQ(c.run({"add", script, "t", "e"}), 0);
    ASSERT_EQ(c.store.shortcuts().size(), 1);
    const AppShortcut s = c.store.shortcuts()[0];
    EXPECT_EQ(s.key, "t");
    EXPECT_EQ(s.secondKey, "e");
    EXPECT_EQ(c.store.targetPath(s), script);
    EXPECT_EQ(c.run({"add", script, "t", "e"}), 1);
    EXPECT_EQ(c.run({"add", c.dir.path() + "/missing.py"}), 1);

    const QString prefix = s.idText().left(6);
    EXPECT_EQ(c.run({"set", prefix, "b"}), 0);
    EXPECT_EQ(c.store.shortcuts()[0].key, "b");
    EXPECT_FALSE(c.store.shortcuts()[0].secondKey);
    EXPECT_EQ(c.run({"set", "ZZZZZZ", "b"}), 1);
    EXPECT_EQ(c.run({"remove", prefix}), 0);
    EXPECT_TRUE(c.store.shortcuts().isEmpty());
}

TEST(ShortcutsCommand, aRunningStoreFollowsEditsMadeElsewhere)
{
    Cli c;
    // Another process (the command line) writes the same defaults domain.
    ShortcutStore other(c.desktop.platform());
    QSignalSpy changed(&c.store, &ShortcutStore::changed);
    other.setDiscoveredKey(QString("q"), c.app("xterm"));
    c.store.reloadIfChanged();
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(c.store.discoveredKey(c.app("xterm")), "q");
    c.store.reloadIfChanged();
    EXPECT_EQ(changed.count(), 1);
}
