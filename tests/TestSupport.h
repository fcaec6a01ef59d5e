// Helpers shared by the unit tests.
#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTemporaryDir>
#include <functional>

namespace tamsinvale::test {

// Runs the Qt event loop until `predicate` holds or the deadline passes; checks before waiting.
inline bool waitUntil(const std::function<bool()>& predicate, int timeoutMs = 5000)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!predicate()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    }
    return true;
}

}  // namespace tamsinvale::test
