// The MPRIS media adapter on a private session bus with test players: which player is Now Playing, what
// "pause" and "play" reach, and the failures a desktop produces (players that quit, cannot pause, no bus).
#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QProcess>
#include <memory>

#include "TestSupport.h"
#include "platform/linux/MprisMediaAdapter.h"
#include "platform/linux/MprisPlayerWatcher.h"
#include "platform/linux/QtSerialQueue.h"

using namespace tamsinvale;

namespace {

// A media player of our own on the bus, answering as MPRIS players do. It lives on the main thread, so the
// adapter must be run on its queue while the main thread serves the player's calls.
class TestPlayer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2.Player")
    Q_PROPERTY(QString PlaybackStatus READ playbackStatus)
    Q_PROPERTY(bool CanPause READ canPause)

public:
    TestPlayer(const QString& address, const QString& name, const QString& status, bool canPause = true)
        : m_connectionName("player-" + name), m_status(status), m_canPause(canPause)
    {
        m_bus = std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(address, m_connectionName));
        m_bus->registerObject("/org/mpris/MediaPlayer2", this,
                              QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties);
        m_bus->registerService("org.mpris.MediaPlayer2." + name);
    }
    ~TestPlayer() override { quit(); }

    // The player's process ends: its names leave the bus.
    void quit()
    {
        if (!m_bus)
            return;
        m_bus->unregisterObject("/org/mpris/MediaPlayer2");
        m_bus.reset();
        QDBusConnection::disconnectFromBus(m_connectionName);
    }
    QString uniqueName() const { return m_bus ? m_bus->baseService() : QString(); }
    QString playbackStatus() const { return m_status; }
    bool canPause() const { return m_canPause; }

    // The user presses play or pause in the player: the status changes and is announced.
    void setStatus(const QString& status)
    {
        m_status = status;
        QDBusMessage changed = QDBusMessage::createSignal("/org/mpris/MediaPlayer2", "org.freedesktop.DBus.Properties",
                                                          "PropertiesChanged");
        changed << QStringLiteral("org.mpris.MediaPlayer2.Player") << QVariantMap{{"PlaybackStatus", status}}
                << QStringList{};
        m_bus->send(changed);
    }

    int pauses = 0;
    int plays = 0;

public slots:
    void Pause()
    {
        ++pauses;
        setStatus("Paused");
    }
    void Play()
    {
        ++plays;
        setStatus("Playing");
    }

private:
    QString m_connectionName;
    std::unique_ptr<QDBusConnection> m_bus;
    QString m_status;
    bool m_canPause;
};

// A private bus, the watcher on the main thread and the adapter run on its own serial queue.
class MprisBus : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_daemon.start("dbus-daemon", {"--session", "--nofork", "--print-address=1"});
        ASSERT_TRUE(m_daemon.waitForStarted(10000)) << "dbus-daemon is needed for this test";
        QByteArray line;
        while (!line.contains('\n') && m_daemon.waitForReadyRead(10000))
            line += m_daemon.readAllStandardOutput();
        address = QString::fromUtf8(line.trimmed());
        ASSERT_FALSE(address.isEmpty());
        bus = std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(address, "adapter"));
        ASSERT_TRUE(bus->isConnected());
    }
    void TearDown() override
    {
        adapter.reset();
        watcher.reset();
        bus.reset();
        QDBusConnection::disconnectFromBus("adapter");
        m_daemon.terminate();
        m_daemon.waitForFinished(5000);
    }
    void watch()
    {
        watcher = std::make_unique<MprisPlayerWatcher>(*bus);
        ASSERT_TRUE(watcher->isWatching());
        // Players the test starts from here on must not race our match rules to the bus.
        ASSERT_TRUE(test::waitUntil([&] { return watcher->isReady(); }));
        adapter = std::make_unique<MprisMediaAdapter>(*bus, *watcher);
    }
    MediaAdapterResult run(const QString& command)
    {
        std::optional<MediaAdapterResult> result;
        auto shared = std::make_shared<MediaAdapterResult>();
        MprisMediaAdapter* a = adapter.get();
        queue.run([a, command, shared] { *shared = a->run(command); }, [&result, shared] { result = *shared; });
        EXPECT_TRUE(test::waitUntil([&] { return result.has_value(); }, 15000)) << command.toStdString();
        return result.value_or(MediaAdapterResult::failure("no answer"));
    }
    // Waits until the watcher has seen `player` start playing (after `since`, a mark read before).
    bool seenStarting(const TestPlayer& player, std::uint64_t since = 0)
    {
        const QString name = player.uniqueName();
        return test::waitUntil([&] { return watcher->startedPlayingMark(name) > since; });
    }

    QString address;
    std::unique_ptr<QDBusConnection> bus;
    std::unique_ptr<MprisPlayerWatcher> watcher;
    std::unique_ptr<MprisMediaAdapter> adapter;
    QtSerialQueue queue{"test.MediaPlayback"};

private:
    QProcess m_daemon;
};

}  // namespace

TEST_F(MprisBus, theNowPlayingPlayerIsTheOneThatMostRecentlyStartedPlaying)
{
    watch();
    EXPECT_EQ(run("status").output, "playing=0\nplayers=0\n");

    TestPlayer music(address, "music", "Stopped");
    TestPlayer video(address, "video", "Stopped");
    music.setStatus("Playing");
    ASSERT_TRUE(seenStarting(music));
    video.setStatus("Playing");
    ASSERT_TRUE(seenStarting(video));
    MediaAdapterResult status = run("status");
    ASSERT_TRUE(status.ok) << status.error.toStdString();
    EXPECT_EQ(status.output, "playing=1\nplayer=org.mpris.MediaPlayer2.video\n");

    // Music starts again after a pause: now it is the most recent.
    const std::uint64_t before = watcher->startedPlayingMark(music.uniqueName());
    music.setStatus("Paused");
    music.setStatus("Playing");
    ASSERT_TRUE(seenStarting(music, before));
    EXPECT_EQ(run("status").output, "playing=1\nplayer=org.mpris.MediaPlayer2.music\n");

    // "pause" reaches music alone; "play" brings back exactly that player.
    const MediaAdapterResult paused = run("pause");
    ASSERT_TRUE(paused.ok) << paused.error.toStdString();
    EXPECT_EQ(music.pauses, 1);
    EXPECT_EQ(video.pauses, 0);
    EXPECT_EQ(music.playbackStatus(), "Paused");
    EXPECT_EQ(run("status").output, "playing=1\nplayer=org.mpris.MediaPlayer2.video\n");
    const MediaAdapterResult played = run("play");
    ASSERT_TRUE(played.ok) << played.error.toStdString();
    EXPECT_EQ(music.plays, 1);
    EXPECT_EQ(video.plays, 0);
    EXPECT_EQ(music.playbackStatus(), "Playing");

    // What was paused is played once; a second "play" has nothing to bring back.
    const MediaAdapterResult again = run("play");
    EXPECT_FALSE(again.ok);
    EXPECT_EQ(again.error, "no media player was paused by Tamsinvale");
    EXPECT_EQ(music.plays, 1);
}

TEST_F(MprisBus, playersAlreadyPlayingBeforeTheWatchOrWhenTheyAppearAreFound)
{
    TestPlayer early(address, "early", "Playing");  // playing before we look, and never announces it
    watch();
    ASSERT_TRUE(seenStarting(early));
    TestPlayer late(address, "late", "Playing");  // appears on the bus already playing
    ASSERT_TRUE(seenStarting(late));
    EXPECT_EQ(run("status").output, "playing=1\nplayer=org.mpris.MediaPlayer2.late\n");

    // A player the user paused is not playing, however recently it started.
    late.setStatus("Paused");
    ASSERT_TRUE(test::waitUntil([&] { return run("status").output.contains("player=org.mpris.MediaPlayer2.early"); }));
    early.setStatus("Paused");
    ASSERT_TRUE(test::waitUntil([&] { return run("status").output.startsWith("playing=0"); }));
    const MediaAdapterResult paused = run("pause");
    EXPECT_FALSE(paused.ok);
    EXPECT_EQ(paused.error, "no media player is playing");
    EXPECT_EQ(early.pauses + late.pauses, 0);
}

TEST_F(MprisBus, aPausedPlayerThatQuitIsNotStartedAgainAndNeitherIsItsSuccessor)
{
    watch();
    auto player = std::make_unique<TestPlayer>(address, "radio", "Stopped");
    player->setStatus("Playing");
    ASSERT_TRUE(seenStarting(*player));
    ASSERT_TRUE(run("pause").ok);
    player.reset();  // quits while paused

    // Another process takes the same name: it is not the player we paused.
    TestPlayer successor(address, "radio", "Paused");
    ASSERT_TRUE(test::waitUntil([&] {
        return bus->interface()->serviceOwner("org.mpris.MediaPlayer2.radio").value() == successor.uniqueName();
    }));
    const MediaAdapterResult played = run("play");
    EXPECT_FALSE(played.ok);
    EXPECT_EQ(played.error, "org.mpris.MediaPlayer2.radio has quit since it was paused");
    EXPECT_EQ(successor.plays, 0);
}

TEST_F(MprisBus, aPlayerThatCannotPauseIsReportedAndLeftAlone)
{
    watch();
    TestPlayer stream(address, "stream", "Stopped", /*canPause=*/false);
    stream.setStatus("Playing");
    ASSERT_TRUE(seenStarting(stream));
    EXPECT_TRUE(run("status").output.startsWith("playing=1"));
    const MediaAdapterResult paused = run("pause");
    EXPECT_FALSE(paused.ok);
    EXPECT_EQ(paused.error, "org.mpris.MediaPlayer2.stream cannot be paused");
    EXPECT_EQ(stream.pauses, 0);
    EXPECT_FALSE(run("play").ok);
    EXPECT_FALSE(run("rewind").ok);
}

TEST(MprisMediaAdapter, withoutASessionBusEveryCommandFailsWithAText)
{
    const QDBusConnection none = QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent/bus"),
                                                              QStringLiteral("no-media-bus"));
    {
        MprisPlayerWatcher watcher(none);
        EXPECT_FALSE(watcher.isWatching());
        MprisMediaAdapter adapter(none, watcher);
        for (const char* command : {"status", "pause", "play"}) {
            const MediaAdapterResult result = adapter.run(command);
            EXPECT_FALSE(result.ok);
            EXPECT_EQ(result.error, "no D-Bus session bus to reach media players on");
        }
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("no-media-bus"));
}

#include "MprisMediaAdapterTest.moc"
