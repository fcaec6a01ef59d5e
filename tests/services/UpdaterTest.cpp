// The install identifier rule, the update feed's parameters, and the updater's mirror of the update framework.
#include <gtest/gtest.h>

#include <QRegularExpression>
#include <QSignalSpy>

#include "app/TamsinvaleApp.h"
#include "platform/fake/FakeDesktop.h"
#include "platform/fake/FakeSoftwareUpdater.h"
#include "services/InstallIdentifier.h"
#include "services/SystemServices.h"
#include "services/Updater.h"
#include "settings/SettingsStore.h"

using namespace tamsinvale;

namespace {
bool isUpperCaseUuid(const QString& text)
{
    static const QRegularExpression form("^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$");
    return form.match(text).hasMatch();
}
}  // namespace

TEST(InstallIdentifier, theFirstFeedRequestStoresANewIdentifierAndLaterOnesSendTheSame)
{
    FakeDefaults defaults;
    FakeSoftwareUpdater framework;
    Updater updater(defaults, &framework);
    updater.start();
    EXPECT_FALSE(defaults.value("tamsinvale.installID"));  // nothing is made before a request needs it

    const QList<QVariantMap> first = framework.feedRequest();
    ASSERT_EQ(first.size(), 1);
    const QString id = first[0].value("value").toString();
    EXPECT_TRUE(isUpperCaseUuid(id)) << id.toStdString();
    EXPECT_EQ(defaults.stringValue("tamsinvale.installID"), id);
    EXPECT_EQ(first[0], (QVariantMap{{"key", "id"}, {"value", id}, {"displayKey", "Install ID"}, {"displayValue", id}}));
    EXPECT_EQ(framework.feedRequest(), first);

    // Another installation gets another identifier.
    FakeDefaults elsewhere;
    EXPECT_NE(InstallIdentifier::current(elsewhere), id);
}

TEST(InstallIdentifier, aStoredUuidIsKeptAndAnythingElseIsReplaced)
{
    FakeDefaults defaults;
    defaults.setValue("tamsinvale.installID", QStringLiteral("abc"));
    const QString replaced = InstallIdentifier::current(defaults);
    EXPECT_TRUE(isUpperCaseUuid(replaced));
    EXPECT_EQ(defaults.stringValue("tamsinvale.installID"), replaced);

    // A UUID in lower case is still a UUID: used unchanged.
    const QString lower = QStringLiteral("6f1c3a52-0b7e-4d2a-9c1e-2a4b6c8d0e1f");
    defaults.setValue("tamsinvale.installID", lower);
    EXPECT_EQ(InstallIdentifier::current(defaults), lower);

    // Braces, a missing group or a value of another type are not.
    for (const QVariant& bad : {QVariant(QStringLiteral("{6F1C3A52-0B7E-4D2A-9C1E-2A4B6C8D0E1F}")),
                                QVariant(QStringLiteral("6F1C3A52-0B7E-4D2A-9C1E")), QVariant(qint64(42))}) {
        defaults.setValue("tamsinvale.installID", bad);
        const QString id = InstallIdentifier::current(defaults);
        EXPECT_TRUE(isUpperCaseUuid(id)) << bad.toString().toStdString();
        EXPECT_EQ(defaults.stringValue("tamsinvale.installID"), id);
    }
}

TEST(Updater, mirrorsTheFrameworkAndForwardsChecksAndTheAutomaticSetting)
{
    FakeDefaults defaults;
    FakeSoftwareUpdater framework;
    Updater updater(defaults, &framework);
    EXPECT_TRUE(updater.isAvailable());
    QSignalSpy canCheck(&updater, &Updater::canCheckForUpdatesChanged);
    framework.setCanCheck(true);
    updater.start();
    EXPECT_EQ(framework.starts, 1);
    EXPECT_TRUE(updater.canCheckForUpdates());  // the initial value
    EXPECT_TRUE(updater.automaticallyChecksForUpdates());
    framework.setCanCheck(false);  // a check is under way
    EXPECT_FALSE(updater.canCheckForUpdates());
    EXPECT_EQ(canCheck.count(), 2);

    updater.setAutomaticallyChecksForUpdates(false);
    EXPECT_FALSE(framework.automaticallyChecksForUpdates());
    EXPECT_FALSE(updater.automaticallyChecksForUpdates());
    updater.checkForUpdates();
    EXPECT_EQ(framework.checks, 1);
}

TEST(Updater, checkForUpdatesIsInTheMenuOnlyWhereThereIsAFramework)
{
    auto titles = [](const TamsinvaleApp& app) {
        QStringList out;
        for (const MenuItem& item : app.menu())
            out << item.title;
        return out;
    };
    for (const bool withFramework : {true, false}) {
        FakeDesktop desktop;
        SettingsStore settings(desktop.defaults);
        FakeSoftwareUpdater framework;
        SystemServices system(desktop.platform(), SystemBackends{nullptr, nullptr, nullptr,
                                                                 withFramework ? &framework : nullptr});
        AppServices services;
        system.install(services);
        TamsinvaleApp app(desktop.platform(), settings, services);
        EXPECT_EQ(titles(app).contains("Check for Updates…"), withFramework);
        EXPECT_EQ(framework.starts, withFramework ? 1 : 0);  // started with the services, as at launch
        app.perform(MenuCommand::checkForUpdates);
        EXPECT_EQ(framework.checks, withFramework ? 1 : 0);
    }
}
