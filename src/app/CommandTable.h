// The program's commands in one table. Dispatch, `tamsinvale --help`, the shell completion and (through
// `--help`) the man page all read it, so a command added here shows up everywhere at once.
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace tamsinvale {

// A word that may follow a command name (a subcommand, an action or an option) and what may come after it.
struct CommandWord {
    QString word;
    // Fixed words, or one of the placeholders CommandTable::fileArgument and CommandTable::settingArgument.
    QStringList next;
};

struct Command {
    QString name;       // "settings"
    QString arguments;  // "COMMAND [ARGS]", as the usage shows it
    QString summary;    // one line for `tamsinvale --help`
    QList<CommandWord> words;
    // `arguments` are the words after the command name. Returns the process exit code.
    int (*run)(int argc, char** argv, const QStringList& arguments);
};

// An option of the program itself (before any command).
struct ProgramOption {
    QString names;  // "-h, --help"
    QString summary;
};

namespace CommandTable {

inline const QString fileArgument = QStringLiteral("<file>");
inline const QString settingArgument = QStringLiteral("<setting>");

const QList<Command>& commands();
const Command* find(const QString& name);
const QList<ProgramOption>& options();

// The text of `tamsinvale --help`.
QString help();
// The short reminder printed with a usage error.
QString usageLine();
// "tamsinvale 0.1.0"
QString versionLine();

}  // namespace CommandTable

}  // namespace tamsinvale
