// The completion scripts complete, in order: the command (or a program option), the command's first word
// (subcommand, action or option), and after such a word what the table says may follow it: fixed words,
// setting names or file names.
#include "ShellCompletion.h"

#include <QMap>
#include <cstdio>

#include "CommandTable.h"
#include "settings/SettingsSchema.h"

namespace tamsinvale {

namespace {

QStringList settingNames()
{
    QStringList names;
    for (const SettingField& field : settingsSchema())
        names << field.property;
    return names;
}

QStringList programOptionWords()
{
    QStringList words;
    for (const ProgramOption& option : CommandTable::options())
        for (const QString& name : option.names.split(QStringLiteral(", ")))
            words << name;
    return words;
}

QStringList commandNames()
{
    QStringList names;
    for (const Command& command : CommandTable::commands())
        names << command.name;
    return names;
}

QStringList firstWords(const Command& command)
{
    QStringList words;
    for (const CommandWord& word : command.words)
        words << word.word;
    return words;
}

// "command word" → what may follow, for every word that has a follower; the file placeholder stays as it is.
QMap<QString, QStringList> followers()
{
    QMap<QString, QStringList> map;
    for (const Command& command : CommandTable::commands())
        for (const CommandWord& word : command.words)
            if (!word.next.isEmpty()) {
                QStringList next;
                for (const QString& n : word.next)
                    next << (n == CommandTable::settingArgument ? settingNames() : QStringList{n});
                map.insert(command.name + QLatin1Char(' ') + word.word, next);
            }
    return map;
}

// Single quotes for either shell, whatever the text holds.
QString quotedSingle(QString text) { return QLatin1Char('\'') + text.replace(QLatin1Char('\''), QLatin1String("'\\''")) + QLatin1Char('\''); }

}  // namespace

QString bashCompletionScript()
{
    QString s = QStringLiteral(
        "# bash completion for tamsinvale                                -*- shell-script -*-\n"
        "# Written by `tamsinvale completion bash` from the program's command table.\n"
        "\n"
        "_tamsinvale()\n"
        "{\n"
        "    local cur=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]} previous=${COMP_WORDS[COMP_CWORD-1]}\n"
        "    local words=\n"
        "    COMPREPLY=()\n"
        "    if [[ $COMP_CWORD -eq 1 ]]; then\n");
    s += QStringLiteral("        words=\"%1\"\n").arg((commandNames() + programOptionWords()).join(QLatin1Char(' ')));
    s += QStringLiteral("    elif [[ $COMP_CWORD -eq 2 ]]; then\n"
                        "        case $command in\n");
    for (const Command& command : CommandTable::commands())
        s += QStringLiteral("            %1) words=\"%2\" ;;\n").arg(command.name, firstWords(command).join(QLatin1Char(' ')));
    s += QStringLiteral("        esac\n"
                        "    else\n"
                        "        case \"$command $previous\" in\n");
    const QMap<QString, QStringList> next = followers();
    for (auto it = next.cbegin(); it != next.cend(); ++it) {
        if (it.value() == QStringList{CommandTable::fileArgument})
            s += QStringLiteral("            %1)\n"
                                "                compopt -o filenames 2>/dev/null\n"
                                "                mapfile -t COMPREPLY < <(compgen -f -- \"$cur\")\n"
                                "                return ;;\n")
                     .arg(quotedSingle(it.key()));
        else
            s += QStringLiteral("            %1) words=\"%2\" ;;\n").arg(quotedSingle(it.key()), it.value().join(QLatin1Char(' ')));
    }
    s += QStringLiteral("        esac\n"
                        "    fi\n"
                        "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$cur\")\n"
                        "}\n"
                        "complete -F _tamsinvale tamsinvale\n");
    return s;
}

QString zshCompletionScript()
{
    QString s = QStringLiteral(
        "#compdef tamsinvale\n"
        "# zsh completion for tamsinvale, written by `tamsinvale completion zsh` from the program's command table.\n"
        "\n"
        "_tamsinvale() {\n"
        "    local command=${words[2]} previous=${words[CURRENT-1]}\n"
        "    local -a commands options\n"
        "    if (( CURRENT == 2 )); then\n"
        "        commands=(\n");
    for (const Command& command : CommandTable::commands())
        s += QStringLiteral("            %1\n").arg(quotedSingle(command.name + QLatin1Char(':') + command.summary));
    s += QStringLiteral("        )\n"
                        "        options=(\n");
    for (const ProgramOption& option : CommandTable::options())
        for (const QString& name : option.names.split(QStringLiteral(", ")))
            s += QStringLiteral("            %1\n").arg(quotedSingle(name + QLatin1Char(':') + option.summary));
    s += QStringLiteral("        )\n"
                        "        _describe -t commands 'tamsinvale command' commands\n"
                        "        _describe -t options 'option' options\n"
                        "        return\n"
                        "    fi\n"
                        "    if (( CURRENT == 3 )); then\n"
                        "        case $command in\n");
    for (const Command& command : CommandTable::commands())
        s += QStringLiteral("            %1) compadd -- %2 ;;\n").arg(command.name, firstWords(command).join(QLatin1Char(' ')));
    s += QStringLiteral("        esac\n"
                        "        return\n"
                        "    fi\n"
                        "    case \"$command $previous\" in\n");
    const QMap<QString, QStringList> next = followers();
    for (auto it = next.cbegin(); it != next.cend(); ++it) {
        if (it.value() == QStringList{CommandTable::fileArgument})
            s += QStringLiteral("        %1) _files ;;\n").arg(quotedSingle(it.key()));
        else
            s += QStringLiteral("        %1) compadd -- %2 ;;\n").arg(quotedSingle(it.key()), it.value().join(QLatin1Char(' ')));
    }
    s += QStringLiteral("    esac\n"
                        "}\n"
                        "\n"
                        "_tamsinvale \"$@\"\n");
    return s;
}

int runCompletionMain(int, char**, const QStringList& arguments)
{
    const QString shell = arguments.value(0);
    if (arguments.size() == 1 && (shell == QLatin1String("--help") || shell == QLatin1String("-h"))) {
        std::fputs("usage: tamsinvale completion bash|zsh\n"
                   "\n"
                   "Prints the completion script for the shell. Installed packages already bring both; by hand:\n"
                   "  tamsinvale completion bash > ~/.local/share/bash-completion/completions/tamsinvale\n"
                   "  tamsinvale completion zsh > ~/.zfunc/_tamsinvale   (a folder in your $fpath)\n",
                   stdout);
        return 0;
    }
    if (arguments.size() == 1 && shell == QLatin1String("bash")) {
        std::fputs(qUtf8Printable(bashCompletionScript()), stdout);
        return 0;
    }
    if (arguments.size() == 1 && shell == QLatin1String("zsh")) {
        std::fputs(qUtf8Printable(zshCompletionScript()), stdout);
        return 0;
    }
    std::fputs(arguments.isEmpty() ? "tamsinvale completion: which shell?\n" : "tamsinvale completion: bash or zsh, one of them\n",
               stderr);
    std::fputs("usage: tamsinvale completion bash|zsh\n", stderr);
    return 2;
}

}  // namespace tamsinvale
