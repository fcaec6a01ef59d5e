// logind sends PrepareForSleep(true) before the machine sleeps and PrepareForSleep(false) once it has woken.
#include "SessionSleepWatcher.h"

#include <QDBusError>

#include "platform/Logging.h"

namespace tamsinvale {

SessionSleepWatcher::SessionSleepWatcher(const QDBusConnection& bus, QObject* parent) : QObject(parent)
{
    if (!bus.isConnected()) {
        qCDebug(lcApp) << "no system bus: wake from sleep is not noticed";
        return;
    }
    QDBusConnection connection(bus);
    // Matched on path and interface, not on the sender's name: the signal is logind's whoever answers for it.
    m_listening = connection.connect(QString(), QStringLiteral("/org/freedesktop/login1"),
                                     QStringLiteral("org.freedesktop.login1.Manager"),
                                     QStringLiteral("PrepareForSleep"), this, SLOT(onPrepareForSleep(bool)));
    if (!m_listening)
        qCDebug(lcApp) << "cannot listen for logind's sleep signal:" << connection.lastError().message();
}

void SessionSleepWatcher::onPrepareForSleep(bool goingToSleep)
{
    if (!goingToSleep)
        emit woke();
}

}  // namespace tamsinvale
