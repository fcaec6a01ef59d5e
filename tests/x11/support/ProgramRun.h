// Running our own binary and its helpers the way the end-to-end tests do: to completion, or on a private bus.
#pragma once

#include <QString>
#include <QStringList>
#include <memory>

#include "ChildProcess.h"

namespace tamsinvale::x11test {

struct ToolRun {
    int exitCode = -1;
    QString output;  // standard output and standard error together
};

// Runs a program to completion with extra environment entries ("NAME=value").
ToolRun runWith(const QStringList& environment, const QStringList& argv);

// A private D-Bus session bus, so that the instance under test is alone in its "session".
struct SessionBus {
    SessionBus();
    std::unique_ptr<ChildProcess> daemon;
    QString address;  // empty when no bus could be started
};

}  // namespace tamsinvale::x11test
