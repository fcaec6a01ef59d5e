// `tamsinvale debug …`: prints what Tamsinvale sees of the desktop, for bug reports and tests.
#pragma once

#include <QStringList>

namespace tamsinvale {

// `arguments` are the words after "debug". Returns the process exit code.
int runDebugCommand(int argc, char** argv, const QStringList& arguments);

}  // namespace tamsinvale
