// Ctrl-C (SIGINT) and SIGTERM turned into a flag the event loop sees, so that a command interrupted mid-way can
// stop cleanly (remove its temporary files) instead of dying where it stands.
#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <memory>

namespace tamsinvale {

class InterruptSignal : public QObject {
    Q_OBJECT
public:
    // Catches the two signals for as long as it lives; the previous handlers come back afterwards.
    explicit InterruptSignal(QObject* parent = nullptr);
    ~InterruptSignal() override;

    bool raised() const { return m_raised; }
    // The signal that was caught (SIGINT or SIGTERM), 0 before.
    int signalNumber() const { return m_signal; }

signals:
    void interrupted();

private:
    void readPipe();

    std::unique_ptr<QSocketNotifier> m_notifier;
    bool m_raised = false;
    int m_signal = 0;
};

}  // namespace tamsinvale
