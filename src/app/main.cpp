// Entry point: the settings and debug commands; the menu-bar app itself arrives with the app core.
#include <QCoreApplication>
#include <QTextStream>
#include <cstdio>

#include "DebugCommand.h"
#include "SettingsCommand.h"
#include "platform/linux/PlistDefaultsDomain.h"
#include "settings/SettingsStore.h"

namespace {

const char* usage =
    "usage: tamsinvale [COMMAND]\n"
    "\n"
    "commands:\n"
    "  settings …   read, change, import and export settings (tamsinvale settings --help)\n"
    "  debug …      print what Tamsinvale sees of the desktop (tamsinvale debug --help)\n"
    "  --help       this text\n";

int runSettings(int argc, char** argv, const QStringList& arguments)
{
    QCoreApplication app(argc, argv);
    tamsinvale::PlistDefaultsDomain defaults(tamsinvale::PlistDefaultsDomain::standardPath());
    tamsinvale::SettingsStore store(defaults);
    QTextStream out(stdout);
    QTextStream err(stderr);
    return tamsinvale::runSettingsCommand(store, arguments, out, err);
}

}  // namespace

int main(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);

    if (!arguments.isEmpty() && arguments[0] == QLatin1String("settings"))
        return runSettings(argc, argv, arguments.mid(1));
    if (!arguments.isEmpty() && arguments[0] == QLatin1String("debug"))
        return tamsinvale::runDebugCommand(argc, argv, arguments.mid(1));
    if (!arguments.isEmpty() && (arguments[0] == QLatin1String("--help") || arguments[0] == QLatin1String("-h"))) {
        std::fputs(usage, stdout);
        return 0;
    }
    if (!arguments.isEmpty()) {
        std::fprintf(stderr, "tamsinvale: unknown command \"%s\"\n\n%s", argv[1], usage);
        return 2;
    }
    std::fputs("tamsinvale: the menu-bar app (tray icon, hotkeys, switchers, dimming) is not built yet.\n"
               "Available now: `tamsinvale settings …` and `tamsinvale debug …`.\n",
               stderr);
    return 1;
}
