// Sleep and wake of the machine as systemd-logind announces them on the system bus.
#pragma once

#include <QDBusConnection>
#include <QObject>

namespace tamsinvale {

class SessionSleepWatcher : public QObject {
    Q_OBJECT
public:
    // Listens on `bus` (the system bus normally); without a bus, or without logind, nothing is ever announced.
    explicit SessionSleepWatcher(const QDBusConnection& bus = QDBusConnection::systemBus(), QObject* parent = nullptr);

    bool isListening() const { return m_listening; }

signals:
    // The machine came back from suspend or hibernation.
    void woke();

private slots:
    void onPrepareForSleep(bool goingToSleep);

private:
    bool m_listening = false;
};

}  // namespace tamsinvale
