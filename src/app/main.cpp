// Entry point: the tray application, or one of the commands of the command table.
#include <QString>
#include <QStringList>
#include <cstdio>

#include "ApplicationMain.h"
#include "CommandTable.h"

using tamsinvale::CommandTable::help;
using tamsinvale::CommandTable::usageLine;

namespace {

int usageError(const QString& message)
{
    std::fprintf(stderr, "tamsinvale: %s\n%s\nTry 'tamsinvale --help' for more information.\n", qUtf8Printable(message),
                 qUtf8Printable(usageLine()));
    return 2;
}

}  // namespace

int main(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);

    if (const tamsinvale::Command* command = tamsinvale::CommandTable::find(arguments.value(0)))
        return command->run(argc, argv, arguments.mid(1));

    bool verbose = false;
    for (const QString& argument : arguments) {
        if (argument == QLatin1String("--help") || argument == QLatin1String("-h")) {
            std::fputs(qUtf8Printable(help()), stdout);
            return 0;
        }
        if (argument == QLatin1String("--version")) {
            std::printf("%s\n", qUtf8Printable(tamsinvale::CommandTable::versionLine()));
            return 0;
        }
    }
    for (const QString& argument : arguments) {
        if (argument == QLatin1String("--verbose"))
            verbose = true;
        else if (argument.startsWith(QLatin1Char('-')))
            return usageError(QStringLiteral("unknown option \"%1\"").arg(argument));
        else if (tamsinvale::CommandTable::find(argument))
            return usageError(QStringLiteral("the command \"%1\" comes first").arg(argument));
        else
            return usageError(QStringLiteral("unknown command \"%1\"").arg(argument));
    }
    return tamsinvale::runApplication(argc, argv, verbose);
}
