// `tamsinvale inactive` on the simulated desktop: what it prints as text and JSON, the frontmost application
// counted as active now, bad arguments, and that it never writes the defaults.
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "app/InactiveCommand.h"
#include "inactive/UsageRecord.h"
#include "platform/fake/FakeDesktop.h"

using namespace tamsinvale;

namespace {

struct CommandRun {
    int code = -1;
    QString out, err;
};

struct Rig {
    Rig()
    {
        const QDateTime now = desktop.scheduler.currentDateTime();
        // Activated 100 hours ago and 80 hours ago; the third was launched 90 hours ago and never activated.
        desktop.defaults.setValue(UsageRecord::storageKey,
                                  QVariantMap{{"org.editor", UsageRecord::secondsSince1970(now.addSecs(-100 * 3600))},
                                              {"org.mail", UsageRecord::secondsSince1970(now.addSecs(-80 * 3600))},
                                              {"org.front", UsageRecord::secondsSince1970(now.addSecs(-99 * 3600))}});
        desktop.defaults.setValue(UsageRecord::trackingSinceKey,
                                  UsageRecord::secondsSince1970(now.addSecs(-400 * 3600)));
        for (auto [pid, bundle, name, launched] : {std::tuple{31, "org.editor", "Editor", 200},
                                                   std::tuple{32, "org.mail", "Mail", 200},
                                                   std::tuple{33, "org.term", "Terminal", 90},
                                                   std::tuple{34, "org.front", "Front", 200}}) {
            RunningApp app = desktop.makeApp(pid, bundle, name);
            app.launchDate = now.addSecs(-qint64(launched) * 3600);
            desktop.workspace.addApplication(app);
        }
        desktop.workspace.setFrontmost(34);
    }
    CommandRun run(const QStringList& arguments)
    {
        CommandRun r;
        QTextStream out(&r.out), err(&r.err);
        const int writes = desktop.defaults.writeCount();
        r.code = runInactiveCommand(desktop.workspace, desktop.defaults, desktop.scheduler.currentDateTime(),
                                    arguments, out, err, QLocale(QLocale::English, QLocale::UnitedStates));
        out.flush();
        err.flush();
        EXPECT_EQ(desktop.defaults.writeCount(), writes) << "the command only reads";
        return r;
    }
    FakeDesktop desktop;
};

}  // namespace

TEST(InactiveCommand, jsonListsWhatTheWindowWouldWithDatesInBothForms)
{
    Rig rig;
    const CommandRun r = rig.run({"--hours", "72", "--json"});
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    const QJsonObject doc = QJsonDocument::fromJson(r.out.toUtf8()).object();
    EXPECT_EQ(doc.value("thresholdHours").toDouble(), 72);
    EXPECT_EQ(doc.value("threshold").toString(), "3 days");
    EXPECT_EQ(doc.value("now").toString(), "2026-03-15T09:30:00Z");
    const QJsonArray apps = doc.value("apps").toArray();
    ASSERT_EQ(apps.size(), 3);
    // Longest idle first; Front was idle longest on record but is in front, so it counts as active now.
    EXPECT_EQ(apps[0].toObject().value("pid").toInt(), 31);
    EXPECT_EQ(apps[1].toObject().value("pid").toInt(), 33);
    EXPECT_EQ(apps[2].toObject().value("pid").toInt(), 32);
    const QJsonObject editor = apps[0].toObject();
    EXPECT_EQ(editor.value("name").toString(), "Editor");
    EXPECT_EQ(editor.value("bundleIdentifier").toString(), "org.editor");
    EXPECT_EQ(editor.value("lastActive").toString(), "2026-03-11T05:30:00Z");
    EXPECT_EQ(editor.value("lastActiveRelative").toString(), "4 days ago");
    EXPECT_EQ(editor.value("inactiveHours").toDouble(), 100);
}

TEST(InactiveCommand, textUsesTheStoredThresholdAndSaysWhenNothingQualifies)
{
    Rig rig;
    CommandRun r = rig.run({});
    ASSERT_EQ(r.code, 0);
    // 48 hours by default: Editor, Terminal, Mail, each on a line with pid, ISO date and relative text.
    const QStringList lines = r.out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 4) << r.out.toStdString();
    EXPECT_TRUE(lines[0].startsWith("NAME"));
    EXPECT_TRUE(lines[1].startsWith("Editor"));
    EXPECT_TRUE(lines[1].contains("org.editor"));
    EXPECT_TRUE(lines[1].contains(" 31 "));
    EXPECT_TRUE(lines[1].contains("2026-03-11T05:30:00Z  (4 days ago)"));
    EXPECT_TRUE(lines[2].startsWith("Terminal"));

    rig.desktop.defaults.setValue("tamsinvale.settings.inactive.threshold.hours", 168.0);
    r = rig.run({});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.out, "No apps have been inactive for 1 week\n");
    // Excluded apps are left out here too.
    rig.desktop.defaults.setValue("tamsinvale.settings.inactive.excluded.apps", QVariantList{"org.editor"});
    r = rig.run({"--hours=1.5"});
    EXPECT_FALSE(r.out.contains("Editor"));
    EXPECT_TRUE(r.out.contains("Mail"));
}

TEST(InactiveCommand, badArgumentsAreRefusedWithAReason)
{
    Rig rig;
    for (const QStringList& args : {QStringList{"--hours"}, QStringList{"--hours", "soon"},
                                    QStringList{"--hours", "-4"}, QStringList{"--hours", "0"}}) {
        const CommandRun r = rig.run(args);
        EXPECT_EQ(r.code, 2) << args.join(' ').toStdString();
        EXPECT_TRUE(r.err.contains("positive number of hours")) << r.err.toStdString();
    }
    const CommandRun unknown = rig.run({"--days", "3"});
    EXPECT_EQ(unknown.code, 2);
    EXPECT_TRUE(unknown.err.contains("unknown argument \"--days\""));
    const CommandRun help = rig.run({"--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_TRUE(help.out.startsWith("usage: tamsinvale inactive"));
}
