// The Linux desktop's default picture and logind's wake signal.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>

#include "platform/linux/DesktopDefaultPicture.h"
#include "platform/linux/SessionSleepWatcher.h"

using namespace tamsinvale;

namespace {

void touch(const QString& path)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("picture");
}

// Receives a marker signal sent after the others: signals of one sender arrive in order, so once it is in, every
// signal sent before it has been handled.
class Marker : public QObject {
    Q_OBJECT
public slots:
    void seen() { ++count; }

public:
    int count = 0;
};

}  // namespace

TEST(DesktopDefaultPicture, theMostSpecificInstalledPictureWinsAndBrokenLinksAreSkipped)
{
    QTemporaryDir local, system;
    const QStringList dirs{local.path(), system.path()};
    EXPECT_EQ(DesktopDefaultPicture::find(dirs), std::nullopt);

    // GNOME's stock picture in the first directory, the distribution default in the second: the default wins.
    touch(local.path() + "/backgrounds/gnome/adwaita-l.jpg");
    EXPECT_EQ(DesktopDefaultPicture::find(dirs), QFileInfo(local.path() + "/backgrounds/gnome/adwaita-l.jpg").canonicalFilePath());
    touch(system.path() + "/backgrounds/default.png");
    EXPECT_EQ(DesktopDefaultPicture::find(dirs), QFileInfo(system.path() + "/backgrounds/default.png").canonicalFilePath());

    // Debian's choice is a link; a dangling one (theme removed) is no picture, a live one is followed.
    QDir().mkpath(local.path() + "/images/desktop-base");
    ASSERT_TRUE(QFile::link(local.path() + "/missing.svg", local.path() + "/images/desktop-base/default"));
    EXPECT_EQ(DesktopDefaultPicture::find(dirs), QFileInfo(system.path() + "/backgrounds/default.png").canonicalFilePath());
    touch(system.path() + "/themes/emerald.png");
    QDir().mkpath(system.path() + "/images/desktop-base");
    ASSERT_TRUE(QFile::link(system.path() + "/themes/emerald.png", system.path() + "/images/desktop-base/default"));
    EXPECT_EQ(DesktopDefaultPicture::find(dirs), QFileInfo(system.path() + "/themes/emerald.png").canonicalFilePath());
}

TEST(SessionSleepWatcher, announcesOnlyTheWakeOfLogindsSleepSignal)
{
    // A private bus stands in for the system bus.
    QProcess daemon;
    daemon.start(QStringLiteral("dbus-daemon"), {QStringLiteral("--session"), QStringLiteral("--nofork"),
                                                 QStringLiteral("--print-address=1")});
    ASSERT_TRUE(daemon.waitForStarted(10000)) << "dbus-daemon is needed for this test";
    QByteArray address;
    const QDeadlineTimer addressDeadline(10000);
    while (!address.contains('\n') && daemon.waitForReadyRead(int(addressDeadline.remainingTime())))
        address += daemon.readAllStandardOutput();
    ASSERT_TRUE(address.contains('\n'));
    {
        const QDBusConnection watcherBus =
            QDBusConnection::connectToBus(QString::fromUtf8(address.trimmed()), QStringLiteral("sleep-watcher"));
        const QDBusConnection senderBus =
            QDBusConnection::connectToBus(QString::fromUtf8(address.trimmed()), QStringLiteral("sleep-sender"));
        ASSERT_TRUE(watcherBus.isConnected() && senderBus.isConnected());
        SessionSleepWatcher watcher(watcherBus);
        EXPECT_TRUE(watcher.isListening());
        QSignalSpy woke(&watcher, &SessionSleepWatcher::woke);

        auto send = [&](const QString& path, const QString& interface, bool goingToSleep) {
            QDBusMessage signal = QDBusMessage::createSignal(path, interface, QStringLiteral("PrepareForSleep"));
            signal << goingToSleep;
            ASSERT_TRUE(QDBusConnection(senderBus).send(signal));
        };
        Marker marker;
        ASSERT_TRUE(QDBusConnection(watcherBus).connect(QString(), QStringLiteral("/test"), QStringLiteral("org.example.Test"),
                                                        QStringLiteral("Marker"), &marker, SLOT(seen())));
        // Match rules go out without waiting for the bus; once a call on the same connection is answered, the
        // bus has them, and signals from the other connection cannot overtake them any more.
        ASSERT_EQ(QDBusConnection(watcherBus)
                      .call(QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                                           QStringLiteral("/org/freedesktop/DBus"),
                                                           QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId")))
                      .type(),
                  QDBusMessage::ReplyMessage);
        const QString path = QStringLiteral("/org/freedesktop/login1");
        const QString manager = QStringLiteral("org.freedesktop.login1.Manager");
        send(path, manager, true);
        send(QStringLiteral("/elsewhere"), manager, false);
        send(path, QStringLiteral("org.example.Other"), false);
        send(path, manager, false);
        ASSERT_TRUE(QDBusConnection(senderBus).send(
            QDBusMessage::createSignal(QStringLiteral("/test"), QStringLiteral("org.example.Test"), QStringLiteral("Marker"))));
        const QDeadlineTimer deadline(10000);
        while (marker.count == 0 && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        ASSERT_EQ(marker.count, 1);
        EXPECT_EQ(woke.count(), 1);
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("sleep-watcher"));
    QDBusConnection::disconnectFromBus(QStringLiteral("sleep-sender"));
    daemon.terminate();
    daemon.waitForFinished(5000);
}

TEST(SessionSleepWatcher, withoutABusNothingIsListenedTo)
{
    const QDBusConnection none = QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent/bus"),
                                                              QStringLiteral("no-bus"));
    SessionSleepWatcher watcher(none);
    EXPECT_FALSE(watcher.isListening());
    QDBusConnection::disconnectFromBus(QStringLiteral("no-bus"));
}

#include "LinuxDesktopServicesTest.moc"
