// Entry point: the menu-bar application, or one of its commands (ctl, settings, debug).
#include <QCoreApplication>
#include <QTextStream>
#include <cstdio>

#include "ApplicationMain.h"
#include "ControlService.h"
#include "DebugCommand.h"
#include "InactiveCommand.h"
#include "SettingsCommand.h"
#include "ShortcutsCommand.h"
#include "platform/linux/PlistDefaultsDomain.h"
#include "settings/SettingsStore.h"

namespace {

const char* usage =
    "usage: tamsinvale [--verbose]        run Tamsinvale (in the tray; one instance per session)\n"
    "       tamsinvale ctl ACTION [ARG]   ask the running Tamsinvale to do something (tamsinvale ctl --help)\n"
    "       tamsinvale settings …         read, change, import and export settings (tamsinvale settings --help)\n"
    "       tamsinvale shortcuts …        bind keys to applications for the app switcher (tamsinvale shortcuts --help)\n"
    "       tamsinvale debug …            print what Tamsinvale sees of the desktop (tamsinvale debug --help)\n"
    "       tamsinvale inactive [--hours H] [--json]   apps not used for H hours (tamsinvale inactive --help)\n"
    "\n"
    "--verbose (or TAMSINVALE_VERBOSE=1) also logs the debug lines of every area.\n";

int runSettings(int argc, char** argv, const QStringList& arguments)
{
    QCoreApplication app(argc, argv);
    tamsinvale::PlistDefaultsDomain defaults(tamsinvale::PlistDefaultsDomain::standardPath());
    tamsinvale::SettingsStore store(defaults);
    QTextStream out(stdout);
    QTextStream err(stderr);
    return tamsinvale::runSettingsCommand(store, arguments, out, err);
}

int runControl(int argc, char** argv, const QStringList& arguments)
{
    QCoreApplication app(argc, argv);
    return tamsinvale::runControlClient(arguments);
}

}  // namespace

int main(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const QString command = arguments.value(0);

    if (command == QLatin1String("settings"))
        return runSettings(argc, argv, arguments.mid(1));
    if (command == QLatin1String("shortcuts"))
        return tamsinvale::runShortcutsMain(argc, argv, arguments.mid(1));
    if (command == QLatin1String("ctl"))
        return runControl(argc, argv, arguments.mid(1));
    if (command == QLatin1String("debug"))
        return tamsinvale::runDebugCommand(argc, argv, arguments.mid(1));
    if (command == QLatin1String("inactive"))
        return tamsinvale::runInactiveMain(argc, argv, arguments.mid(1));
    if (command == QLatin1String("--help") || command == QLatin1String("-h")) {
        std::fputs(usage, stdout);
        return 0;
    }
    const bool verbose = command == QLatin1String("--verbose");
    if (!command.isEmpty() && !(verbose && arguments.size() == 1)) {
        std::fprintf(stderr, "tamsinvale: unknown command \"%s\"\n\n%s", argv[1], usage);
        return 2;
    }
    return tamsinvale::runApplication(argc, argv, verbose);
}
