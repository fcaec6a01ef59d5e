// The main queue on Qt's event loop: posted work, cancellable timers and the clocks.
#pragma once

#include <QElapsedTimer>
#include <QObject>

#include "platform/Scheduler.h"

namespace tamsinvale {

class QtScheduler : public QObject, public Scheduler {
    Q_OBJECT
public:
    explicit QtScheduler(QObject* parent = nullptr);

    double now() const override;
    QDateTime currentDateTime() const override;
    TaskHandle post(std::function<void()> work) override;
    TaskHandle postAfter(double seconds, std::function<void()> work) override;
    TaskHandle postWhenIdle(double latest, std::function<void()> work) override;
    TaskHandle repeat(double interval, std::function<void()> work) override;
    TaskHandle repeatWithTolerance(double interval, double tolerance, std::function<void()> work) override;

private:
    QElapsedTimer m_clock;
};

}  // namespace tamsinvale
