// `tamsinvale inactive [--hours H] [--json]`: the applications the inactive apps window would list, for scripts.
#pragma once

#include <QDateTime>
#include <QLocale>
#include <QStringList>
#include <QTextStream>

namespace tamsinvale {

class DefaultsDomain;
class Workspace;

// Lists from a workspace and the defaults domain (read only) at `now`; `arguments` are the words after
// "inactive". Returns the exit code.
int runInactiveCommand(const Workspace& workspace, const DefaultsDomain& defaults, const QDateTime& now,
                       const QStringList& arguments, QTextStream& out, QTextStream& err,
                       const QLocale& locale = QLocale::system());

// The whole command on this desktop: the X display's applications, the user's defaults file.
int runInactiveMain(int argc, char** argv, const QStringList& arguments);

}  // namespace tamsinvale
