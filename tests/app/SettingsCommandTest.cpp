// The settings command line over a store: validation before change, clear errors, exact JSON.
#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryFile>

#include "app/SettingsCommand.h"
#include "platform/fake/FakeDefaults.h"
#include "settings/SettingsStore.h"

using namespace tamsinvale;

namespace {
struct CommandRun {
    int code;
    QString out;
    QString err;
};

CommandRun run(SettingsStore& store, const QStringList& args)
{
    QString out;
    QString err;
    QTextStream o(&out);
    QTextStream e(&err);
    const int code = runSettingsCommand(store, args, o, e);
    o.flush();
    e.flush();
    return {code, out, err};
}

QString writeTemp(QTemporaryFile& file, const QByteArray& bytes)
{
    EXPECT_TRUE(file.open());
    file.write(bytes);
    file.flush();
    return file.fileName();
}
}  // namespace

TEST(SettingsCommand, importValidatesEverythingBeforeChangingAnything)
{
    FakeDefaults defaults;
    SettingsStore store(defaults);
    QTemporaryFile file;
    const QString path = writeTemp(file, R"({
        "dimMenuBarOpacity": 0.2,
        "menuBarIconStyle": "Line",
        "snapLeftHotKey": {"keyCode": 123},
        "noSuchSetting": 1,
        "focusDimBackgroundImageBookmark": "!!not base64!!"
    })");
    const CommandRun r = run(store, {"import", path});
    EXPECT_NE(r.code, 0);
    EXPECT_TRUE(r.err.contains("menuBarIconStyle: expected \"windows\" or \"line\"")) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("snapLeftHotKey: expected")) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("noSuchSetting: unknown setting")) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("focusDimBackgroundImageBookmark: expected base64")) << r.err.toStdString();
    EXPECT_EQ(store.settings(), Settings{});
    EXPECT_EQ(defaults.writeCount(), 0);

    QTemporaryFile good;
    const QString goodPath = writeTemp(good, R"({"dimMenuBarOpacity": 0.2, "focusDimExcludedApps": ["b", "a"],
        "focusDimBackgroundImageBookmark": "AAEC", "windowSizePresets": [
        {"id": "6B1A2F3C-0000-4000-8000-A11F00000002", "name": "Wide", "spec": "1440x900"}]})");
    EXPECT_EQ(run(store, {"import", goodPath}).code, 0);
    EXPECT_DOUBLE_EQ(store.settings().dimMenuBarOpacity, 0.2);
    EXPECT_EQ(store.settings().focusDimBackgroundImageBookmark, QByteArray("\x00\x01\x02", 3));
    EXPECT_EQ(store.settings().windowSizePresets.first().width, QStringLiteral("1440"));
    EXPECT_EQ(defaults.value("tamsinvale.settings.focus.excluded.apps"), QVariant(QVariantList{"a", "b"}));
}

TEST(SettingsCommand, importRejectsMalformedFiles)
{
    FakeDefaults defaults;
    SettingsStore store(defaults);
    QTemporaryFile notJson;
    EXPECT_TRUE(run(store, {"import", writeTemp(notJson, "{\"dimMenuBarOpacity\": }")}).err.contains("not valid JSON"));
    QTemporaryFile array;
    EXPECT_TRUE(run(store, {"import", writeTemp(array, "[1, 2]")}).err.contains("one JSON object"));
    EXPECT_NE(run(store, {"import", "/nonexistent/settings.json"}).code, 0);
    EXPECT_EQ(store.settings(), Settings{});
}

TEST(SettingsCommand, getSetResetAndTheirErrors)
{
    FakeDefaults defaults;
    SettingsStore store(defaults);
    EXPECT_EQ(run(store, {"set", "appSwitcherHotKey", R"({"keyCode":49,"modifiers":4096})"}).code, 0);
    EXPECT_EQ(run(store, {"get", "appSwitcherHotKey"}).out, QStringLiteral("{\"keyCode\":49,\"modifiers\":4096}\n"));
    EXPECT_EQ(run(store, {"set", "menuBarIconStyle", "\"line\""}).code, 0);
    EXPECT_EQ(store.settings().menuBarIconStyle, MenuBarIconStyle::line);
    EXPECT_EQ(run(store, {"set", "wallpaperRotationHours", "2.5"}).code, 2);
    EXPECT_EQ(run(store, {"set", "dimMenuBarEnabled", "1"}).code, 2);
    EXPECT_EQ(run(store, {"set", "dimMenuBarOpacity", "0.3, 0.4"}).code, 2);
    EXPECT_EQ(run(store, {"set", "menuBarIconStyle", "line"}).code, 2);  // a text needs its quotes
    EXPECT_TRUE(run(store, {"get", "nope"}).err.contains("unknown setting \"nope\""));
    EXPECT_EQ(run(store, {"frobnicate"}).code, 2);
    EXPECT_EQ(run(store, {"reset", "menuBarIconStyle"}).code, 0);
    EXPECT_EQ(store.settings().menuBarIconStyle, MenuBarIconStyle::windows);
    EXPECT_TRUE(store.settings().appSwitcherHotKey);
    EXPECT_EQ(run(store, {"reset"}).code, 0);
    EXPECT_EQ(store.settings(), Settings{});
    EXPECT_TRUE(run(store, {"--help"}).out.contains("export [FILE]"));
}

TEST(SettingsCommand, exportListsEveryPropertyInDeclarationOrder)
{
    FakeDefaults defaults;
    SettingsStore store(defaults);
    store.set(&Settings::focusDimExcludedApps, QSet<QString>{"z", "a"});
    const QByteArray json = exportSettingsJson(store);
    const QJsonObject o = QJsonDocument::fromJson(json).object();
    EXPECT_EQ(o.size(), 26);
    EXPECT_TRUE(json.startsWith("{\n  \"dimMenuBarEnabled\": true,\n  \"dimMenuBarOpacity\": 0.4,\n"));
    EXPECT_TRUE(json.contains("\"focusDimExcludedApps\": [\"a\",\"z\"]"));
    EXPECT_TRUE(json.contains("\"appSwitcherHotKey\": null"));
    EXPECT_TRUE(json.endsWith("\"snapRightHotKey\": null\n}\n"));
}
