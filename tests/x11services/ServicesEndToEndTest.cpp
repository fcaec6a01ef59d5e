// The real tamsinvale with real programs: quick dim pauses and resumes mpv over MPRIS on a private session bus,
// leaves a player the user paused alone, works with no player at all; launch at login writes and removes an
// autostart entry that desktop-file-validate accepts.
#include <gtest/gtest.h>

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <cmath>
#include <numbers>

#include "ChildProcess.h"
#include "ProgramRun.h"
#include "X11TestPaths.h"
#include "XTestSession.h"
#include "XTools.h"

using namespace tamsinvale::x11test;
using namespace std::chrono_literals;

namespace {

QString artifactsDir()
{
    const QString dir =
        qEnvironmentVariable("TAMSINVALE_ARTIFACTS_DIR", QStringLiteral(TAMSINVALE_SERVICES_ARTIFACTS));
    QDir().mkpath(dir);
    return dir;
}

// The instance under test: a private session bus, a temporary configuration, its log in the artifacts.
class Tamsinvale {
public:
    Tamsinvale(XTestSession& s, const QString& logName, const QStringList& settings = {}) : m_session(s)
    {
        m_env = QStringList{"DISPLAY=" + s.display(), "DBUS_SESSION_BUS_ADDRESS=" + m_bus.address,
                            "XDG_CONFIG_HOME=" + m_config.path(), "XDG_CONFIG_DIRS=" + m_config.path() + "/xdg",
                            "XDG_DATA_HOME=" + m_config.path() + "/data", "TAMSINVALE_VERBOSE=1"};
        for (int i = 0; i + 1 < settings.size(); i += 2)
            runWith(m_env, {tamsinvalePath, "settings", "set", settings[i], settings[i + 1]});
        // Named after the test as well: the tests of this file run side by side, and two of them may pick the
        // same name.
        m_log = artifactsDir() + "/" +
            QString::fromUtf8(::testing::UnitTest::GetInstance()->current_test_info()->name()) + "-" + logName +
            ".log";
        QFile::remove(m_log);
        m_process = ChildProcess::start({"sh", "-c", "exec \"$0\" > \"$1\" 2>&1", tamsinvalePath, m_log}, m_env);
    }
    ~Tamsinvale()
    {
        if (m_process && m_process->running()) {
            runWith(m_env, {tamsinvalePath, "ctl", "quit"});
            m_process->waitForExit(10s);
        }
    }
    bool started()
    {
        return m_process && m_session.waitUntil([&] { return log().contains("tamsinvale.app: started:"); }, 20s);
    }
    QString log() const
    {
        QFile f(m_log);
        return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
    }
    int logCount(const QString& line) const { return int(log().count(line)); }
    bool waitForLogCount(const QString& line, int count)
    {
        return m_session.waitUntil([&] { return logCount(line) >= count; }, 10s);
    }
    ToolRun ctl(const QString& action, const QString& argument = {})
    {
        QStringList argv{tamsinvalePath, "ctl", action};
        if (!argument.isEmpty())
            argv << argument;
        return runWith(m_env, argv);
    }
    const QStringList& environment() const { return m_env; }
    QString configHome() const { return m_config.path(); }
    QString busAddress() const { return m_bus.address; }

private:
    XTestSession& m_session;
    QTemporaryDir m_config;
    SessionBus m_bus;
    QStringList m_env;
    QString m_log;
    std::unique_ptr<ChildProcess> m_process;
};

// Two seconds of a 440 Hz tone as a 16-bit mono WAV file; mpv loops it.
bool writeTone(const QString& path)
{
    constexpr int rate = 8000, seconds = 2;
    QByteArray samples;
    QDataStream pcm(&samples, QIODevice::WriteOnly);
    pcm.setByteOrder(QDataStream::LittleEndian);
    for (int i = 0; i < rate * seconds; ++i)
        pcm << qint16(3000 * std::sin(2 * std::numbers::pi * 440 * i / rate));
    QByteArray wav;
    QDataStream out(&wav, QIODevice::WriteOnly);
    out.setByteOrder(QDataStream::LittleEndian);
    out.writeRawData("RIFF", 4);
    out << quint32(36 + samples.size());
    out.writeRawData("WAVEfmt ", 8);
    out << quint32(16) << quint16(1) << quint16(1) << quint32(rate) << quint32(rate * 2) << quint16(2) << quint16(16);
    out.writeRawData("data", 4);
    out << quint32(samples.size());
    wav += samples;
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(wav) == wav.size();
}

// mpv playing the tone with no sound device and no window, reachable only over MPRIS on the instance's bus.
class Mpv {
public:
    Mpv(const Tamsinvale& app, XTestSession& s) : m_env(app.environment()), m_session(s)
    {
        m_tone = m_dir.filePath("tone.wav");
        if (!writeTone(m_tone))
            return;
        m_process = ChildProcess::start({"mpv", "--no-config", "--script=/usr/lib/mpv-mpris/mpris.so", "--ao=null",
                                         "--vo=null", "--loop-file=inf", "--no-terminal", m_tone},
                                        m_env + QStringList{"HOME=" + m_dir.path()});
    }
    // PlaybackStatus as mpv reports it to anyone on the bus, or empty when it is not on the bus.
    QString status() const
    {
        const ToolRun r = runWith(m_env, {"dbus-send", "--session", "--print-reply", "--dest=org.mpris.MediaPlayer2.mpv",
                                          "/org/mpris/MediaPlayer2", "org.freedesktop.DBus.Properties.Get",
                                          "string:org.mpris.MediaPlayer2.Player", "string:PlaybackStatus"});
        for (const char* state : {"Playing", "Paused", "Stopped"})
            if (r.exitCode == 0 && r.output.contains('"' + QString(state) + '"'))
                return state;
        return {};
    }
    bool waitForStatus(const QString& wanted)
    {
        return m_session.waitUntil([&] { return status() == wanted; }, 15s);
    }
    // The user pauses it with a media key or a desktop widget: an MPRIS call from elsewhere.
    bool pauseAsTheUser()
    {
        return runWith(m_env, {"dbus-send", "--session", "--print-reply", "--dest=org.mpris.MediaPlayer2.mpv",
                               "/org/mpris/MediaPlayer2", "org.mpris.MediaPlayer2.Player.Pause"})
                   .exitCode == 0;
    }
    bool running() const { return m_process && m_process->running(); }

private:
    QStringList m_env;
    XTestSession& m_session;
    QTemporaryDir m_dir;
    QString m_tone;
    std::unique_ptr<ChildProcess> m_process;
};

WindowSpec window(const QString& title, const QString& windowClass, int x)
{
    WindowSpec w;
    w.title = title;
    w.windowClass = windowClass;
    w.x = x;
    w.y = 120;
    return w;
}

const QString quickDimApp = QStringLiteral("QuickDimTarget");

// A work window in front and the configured quick-dim application running beside it.
struct Desk {
    XTestSession& s = XTestSession::get();
    std::unique_ptr<TestClient> work;
    std::unique_ptr<TestClient> quick;

    void setUp()
    {
        work = s.client({window("work", "Work", 100)});
        quick = s.client({window("quick", quickDimApp, 900)});
        ASSERT_TRUE(work && quick);
        ASSERT_TRUE(s.activate(work->window(0)));
    }
    bool frontIs(const TestClient& client)
    {
        return s.waitUntil([&] { return xtools::activeWindow() == client.window(0); }, 10s);
    }
};

}  // namespace

TEST(ServicesEndToEnd, quickDimPausesMpvAndTheSecondPressResumesIt)
{
    Desk d;
    ASSERT_NO_FATAL_FAILURE(d.setUp());
    Tamsinvale app(d.s, "media-pause-resume", {"quickDimAppID", '"' + quickDimApp + '"'});
    ASSERT_TRUE(app.started()) << app.log().toStdString();
    Mpv mpv(app, d.s);
    ASSERT_TRUE(mpv.waitForStatus("Playing")) << "mpv with its MPRIS plugin did not come up";

    // The quick-dim application comes forward and playback pauses.
    ASSERT_EQ(app.ctl("quick-dim").exitCode, 0);
    EXPECT_TRUE(d.frontIs(*d.quick));
    EXPECT_TRUE(mpv.waitForStatus("Paused")) << app.log().toStdString();
    EXPECT_TRUE(app.waitForLogCount("tamsinvale.media: paused Now Playing app", 1)) << app.log().toStdString();

    // The second press, still in the quick-dim application: the previous one returns and playback resumes.
    ASSERT_EQ(app.ctl("quick-dim").exitCode, 0);
    EXPECT_TRUE(mpv.waitForStatus("Playing")) << app.log().toStdString();
    EXPECT_TRUE(app.waitForLogCount("tamsinvale.media: resumed Now Playing app", 1)) << app.log().toStdString();
    EXPECT_TRUE(d.frontIs(*d.work));
    EXPECT_TRUE(mpv.running());
}

TEST(ServicesEndToEnd, aPlayerTheUserPausedBeforeQuickDimStaysPaused)
{
    Desk d;
    ASSERT_NO_FATAL_FAILURE(d.setUp());
    Tamsinvale app(d.s, "media-user-paused", {"quickDimAppID", '"' + quickDimApp + '"'});
    ASSERT_TRUE(app.started()) << app.log().toStdString();
    Mpv mpv(app, d.s);
    ASSERT_TRUE(mpv.waitForStatus("Playing"));
    ASSERT_TRUE(mpv.pauseAsTheUser());
    ASSERT_TRUE(mpv.waitForStatus("Paused"));

    ASSERT_EQ(app.ctl("quick-dim").exitCode, 0);
    EXPECT_TRUE(app.waitForLogCount("tamsinvale.media: nothing playing", 1)) << app.log().toStdString();
    EXPECT_TRUE(d.frontIs(*d.quick));
    ASSERT_EQ(app.ctl("quick-dim").exitCode, 0);
    EXPECT_TRUE(d.frontIs(*d.work));

    // One more quick dim: its status runs on the media queue behind anything the end of the last one sent,
    // so if that had started mpv, this would see it playing and pause it.
    ASSERT_EQ(app.ctl("quick-dim").exitCode, 0);
    EXPECT_TRUE(app.waitForLogCount("tamsinvale.media: nothing playing", 2)) << app.log().toStdString();
    EXPECT_EQ(mpv.status(), "Paused");
    EXPECT_EQ(app.logCount("paused Now Playing app"), 0);
    EXPECT_EQ(app.logCount("resumed Now Playing app"), 0);
}

TEST(ServicesEndToEnd, withNoPlayerAtAllQuickDimStillWorks)
{
    Desk d;
    ASSERT_NO_FATAL_FAILURE(d.setUp());
    Tamsinvale app(d.s, "media-no-player", {"quickDimAppID", '"' + quickDimApp + '"'});
    ASSERT_TRUE(app.started()) << app.log().toStdString();

    ASSERT_EQ(app.ctl("quick-dim").exitCode, 0);
    EXPECT_TRUE(d.frontIs(*d.quick));
    EXPECT_TRUE(app.waitForLogCount("tamsinvale.media: nothing playing", 1)) << app.log().toStdString();
    ASSERT_EQ(app.ctl("quick-dim").exitCode, 0);
    EXPECT_TRUE(d.frontIs(*d.work));
    EXPECT_TRUE(app.log().contains("exitQuickDimMode")) << app.log().toStdString();
    EXPECT_FALSE(app.log().contains("tamsinvale.media: paused"));
}

TEST(ServicesEndToEnd, launchAtLoginFromTheCommandLineWritesAValidAutostartEntryAndRemovesIt)
{
    XTestSession& s = XTestSession::get();
    Tamsinvale app(s, "launch-at-login");
    ASSERT_TRUE(app.started()) << app.log().toStdString();
    const QString entry = app.configHome() + "/autostart/tamsinvale.desktop";
    ASSERT_FALSE(QFile::exists(entry));

    const ToolRun on = app.ctl("launch-at-login", "on");
    ASSERT_EQ(on.exitCode, 0) << on.output.toStdString();
    ASSERT_TRUE(QFile::exists(entry));
    QFile::copy(entry, artifactsDir() + "/tamsinvale.desktop");
    const ToolRun validate = runWith({}, {"desktop-file-validate", entry});
    EXPECT_EQ(validate.exitCode, 0) << validate.output.toStdString();
    EXPECT_FALSE(validate.output.contains("error")) << validate.output.toStdString();
    QFile text(entry);
    ASSERT_TRUE(text.open(QIODevice::ReadOnly));
    const QString contents = QString::fromUtf8(text.readAll());
    EXPECT_TRUE(contents.contains("\nExec=" + QFileInfo(tamsinvalePath).canonicalFilePath() + "\n"))
        << contents.toStdString();
    EXPECT_TRUE(app.log().contains("tamsinvale.login: launch at login enabled"));

    const ToolRun off = app.ctl("launch-at-login", "off");
    ASSERT_EQ(off.exitCode, 0) << off.output.toStdString();
    EXPECT_FALSE(QFile::exists(entry));
    EXPECT_TRUE(app.log().contains("tamsinvale.login: launch at login disabled"));

    // A bad argument is refused (2); a change that cannot be made is a failure (1) and says so.
    const ToolRun bad = app.ctl("launch-at-login", "maybe");
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_TRUE(bad.output.contains("on or off")) << bad.output.toStdString();
    QFile blocker(app.configHome() + "/autostart");
    QDir(app.configHome() + "/autostart").removeRecursively();
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const ToolRun failed = app.ctl("launch-at-login", "on");
    EXPECT_EQ(failed.exitCode, 1) << failed.output.toStdString();
    EXPECT_TRUE(failed.output.contains("could not be turned on")) << failed.output.toStdString();
    EXPECT_TRUE(app.log().contains("launch at login change failed: could not create the folder"))
        << app.log().toStdString();
}
