// The XDG autostart entry: what counts as on, the atomic write, removal and the hiding entry over a system
// one, and an Exec line that a desktop session splits back into exactly our path.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <optional>

#include "platform/linux/XdgAutostartEntry.h"
#include "platform/x11/DesktopEntryExec.h"

using namespace tamsinvale;

namespace {

struct Folders {
    QTemporaryDir root;
    QString user() const { return root.path() + "/config/autostart"; }
    QString system() const { return root.path() + "/xdg/autostart"; }
    XdgAutostartEntry entry(const QString& binary = QStringLiteral("/usr/bin/tamsinvale")) const
    {
        return XdgAutostartEntry(user(), {root.path() + "/nowhere/autostart", system()}, binary);
    }
    void write(const QString& dir, const QByteArray& text) const
    {
        QDir().mkpath(dir);
        QFile f(dir + "/tamsinvale.desktop");
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(text);
    }
};

// The value of a key in the written entry's main group, with the string escapes undone.
QString key(const QString& path, const QString& name)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    for (const QByteArray& line : f.readAll().split('\n'))
        if (line.startsWith(name.toUtf8() + "="))
            return QString::fromUtf8(line.mid(name.size() + 1));
    return {};
}

}  // namespace

TEST(XdgAutostartEntry, registeringWritesAnEntryAndUnregisteringRemovesIt)
{
    Folders f;
    XdgAutostartEntry entry = f.entry();
    EXPECT_EQ(entry.path(), f.user() + "/tamsinvale.desktop");
    EXPECT_EQ(entry.status(), LoginItemStatus::notRegistered);

    ASSERT_TRUE(entry.registerApp().ok);  // the folder is created on the way
    EXPECT_EQ(entry.status(), LoginItemStatus::enabled);
    EXPECT_EQ(key(entry.path(), "Type"), "Application");
    EXPECT_EQ(key(entry.path(), "Exec"), "/usr/bin/tamsinvale");
    EXPECT_EQ(key(entry.path(), "TryExec"), "/usr/bin/tamsinvale");
    EXPECT_EQ(QDir(f.user()).entryList(QDir::Files | QDir::Hidden), QStringList{"tamsinvale.desktop"})
        << "an atomic write leaves no temporary file behind";

    ASSERT_TRUE(entry.unregisterApp().ok);
    EXPECT_FALSE(QFile::exists(entry.path()));
    EXPECT_EQ(entry.status(), LoginItemStatus::notRegistered);
    EXPECT_TRUE(entry.unregisterApp().ok);  // nothing to remove is not a failure
}

TEST(XdgAutostartEntry, theEntryIsACopyOfTheInstalledDesktopEntryStartedByItsFullPath)
{
    const QString installed = QStringLiteral(TAMSINVALE_TESTS_SOURCE_DIR "/../data/org.tamsinvale.Tamsinvale.desktop");
    QFile source(installed);
    ASSERT_TRUE(source.open(QIODevice::ReadOnly)) << installed.toStdString();
    Folders f;
    XdgAutostartEntry entry = f.entry(QStringLiteral("/opt/tamsinvale/bin/tamsinvale"));
    ASSERT_TRUE(entry.registerApp().ok);
    int copied = 0;
    for (const QByteArray& line : source.readAll().split('\n')) {
        const QString name = QString::fromUtf8(line.left(line.indexOf('=')));
        if (!line.contains('=') || name == "Exec" || name == "TryExec")
            continue;
        EXPECT_EQ(key(entry.path(), name), QString::fromUtf8(line.mid(line.indexOf('=') + 1))) << name.toStdString();
        ++copied;
    }
    EXPECT_GE(copied, 5);
    EXPECT_EQ(key(entry.path(), "Icon"), "org.tamsinvale.Tamsinvale");
    EXPECT_EQ(key(entry.path(), "Exec"), "/opt/tamsinvale/bin/tamsinvale");
    EXPECT_EQ(key(entry.path(), "X-GNOME-Autostart-enabled"), "true");
}

TEST(XdgAutostartEntry, anEntryThatHidesItselfOrIsSwitchedOffCountsAsOff)
{
    Folders f;
    const QByteArray head = "[Desktop Entry]\nType=Application\nName=Tamsinvale\nExec=tamsinvale\n";
    f.write(f.user(), head + "Hidden=true\n");
    EXPECT_EQ(f.entry().status(), LoginItemStatus::notRegistered);
    f.write(f.user(), head + "X-GNOME-Autostart-enabled=false\n");
    EXPECT_EQ(f.entry().status(), LoginItemStatus::notRegistered);
    f.write(f.user(), head + "X-GNOME-Autostart-enabled=true\nHidden=false\n");
    EXPECT_EQ(f.entry().status(), LoginItemStatus::enabled);
    // The keys count only in the main group; an action's group says nothing about starting.
    f.write(f.user(), head + "[Desktop Action quit]\nName=Quit\nHidden=true\n");
    EXPECT_EQ(f.entry().status(), LoginItemStatus::enabled);

    // Turning it on again replaces a switched-off entry with a working one.
    f.write(f.user(), head + "Hidden=true\n");
    XdgAutostartEntry entry = f.entry();
    ASSERT_TRUE(entry.registerApp().ok);
    EXPECT_EQ(entry.status(), LoginItemStatus::enabled);
}

TEST(XdgAutostartEntry, aSystemEntryOfTheSameNameIsSwitchedOffByAHidingUserEntry)
{
    Folders f;
    f.write(f.system(), "[Desktop Entry]\nType=Application\nName=Tamsinvale\nExec=tamsinvale\n");
    XdgAutostartEntry entry = f.entry();
    EXPECT_EQ(entry.status(), LoginItemStatus::enabled);

    ASSERT_TRUE(entry.unregisterApp().ok);
    EXPECT_EQ(entry.status(), LoginItemStatus::notRegistered);
    EXPECT_EQ(key(entry.path(), "Hidden"), "true");
    EXPECT_TRUE(QFile::exists(f.system() + "/tamsinvale.desktop"));  // never touched

    ASSERT_TRUE(entry.registerApp().ok);
    EXPECT_EQ(entry.status(), LoginItemStatus::enabled);
    EXPECT_TRUE(key(entry.path(), "Hidden").isEmpty());
}

TEST(XdgAutostartEntry, theExecLineSplitsBackIntoExactlyThePathOfTheBinary)
{
    Folders f;
    for (const QString& binary : {QStringLiteral("/usr/bin/tamsinvale"), QStringLiteral("/home/a b/My Apps/tamsinvale"),
                                  QStringLiteral("/opt/100%/\"quoted\" $HOME `x`/back\\slash/tamsinvale"),
                                  QStringLiteral("/tmp/it's;here&(now)/tamsinvale")}) {
        XdgAutostartEntry entry = f.entry(binary);
        ASSERT_TRUE(entry.registerApp().ok);
        const QString exec = DesktopEntryExec::unescapeValue(key(entry.path(), "Exec"));
        const DesktopEntryExec::Result split = DesktopEntryExec::expand(exec, {});
        ASSERT_TRUE(split.ok()) << split.error.toStdString() << " in " << exec.toStdString();
        EXPECT_EQ(split.arguments, QStringList{binary}) << exec.toStdString();
        EXPECT_EQ(DesktopEntryExec::unescapeValue(key(entry.path(), "TryExec")), binary);
    }
}

TEST(XdgAutostartEntry, aFolderThatCannotBeCreatedIsAFailureWithItsReason)
{
    Folders f;
    QDir().mkpath(f.root.path() + "/config");
    QFile blocker(f.user());  // a file where the folder should be
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const LoginItemChange change = f.entry().registerApp();
    EXPECT_FALSE(change.ok);
    EXPECT_TRUE(change.error.contains(f.user())) << change.error.toStdString();
    EXPECT_EQ(f.entry().status(), LoginItemStatus::notRegistered);
}

TEST(XdgAutostartEntry, theSessionFoldersComeFromTheXdgVariables)
{
    struct Restore {
        const char* name;
        std::optional<QByteArray> value;
        explicit Restore(const char* n) : name(n)
        {
            if (qEnvironmentVariableIsSet(n))
                value = qgetenv(n);
        }
        ~Restore() { value ? qputenv(name, *value) : qunsetenv(name); }
    } home("XDG_CONFIG_HOME"), dirs("XDG_CONFIG_DIRS");
    qputenv("XDG_CONFIG_HOME", "/home/u/.cfg");
    EXPECT_EQ(XdgAutostartEntry::forSession("/usr/bin/tamsinvale").path(), "/home/u/.cfg/autostart/tamsinvale.desktop");
    qputenv("XDG_CONFIG_HOME", "relative/ignored");
    EXPECT_EQ(XdgAutostartEntry::forSession("/usr/bin/tamsinvale").path(),
              QDir::homePath() + "/.config/autostart/tamsinvale.desktop");

    // A system entry in any of $XDG_CONFIG_DIRS counts; relative entries in the list are ignored.
    Folders f;
    f.write(f.root.path() + "/two/autostart", "[Desktop Entry]\nType=Application\nName=T\nExec=t\n");
    qputenv("XDG_CONFIG_HOME", (f.root.path() + "/config").toUtf8());
    qputenv("XDG_CONFIG_DIRS", ("relative:" + f.root.path() + "/one:" + f.root.path() + "/two").toUtf8());
    EXPECT_EQ(XdgAutostartEntry::forSession("/usr/bin/tamsinvale").status(), LoginItemStatus::enabled);
}
