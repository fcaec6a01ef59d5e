// The commands, their words for completion, and the program's own help and version texts.
#include "CommandTable.h"

#include <QCoreApplication>
#include <QTextStream>

#include "ControlService.h"
#include "SettingsCommand.h"
#include "ShellCompletion.h"
#include "TamsinvaleApp.h"
#include "UserDefaultsDomain.h"
#ifndef __APPLE__
// These commands read the X11 desktop, the freedesktop application entries or the Linux wallpaper folders; the
// macOS build has the settings and control commands only.
#include "DebugCommand.h"
#include "InactiveCommand.h"
#include "ShortcutsCommand.h"
#include "WallpapersCommand.h"
#endif
#include "settings/SettingsStore.h"

namespace tamsinvale {

namespace {

int runSettingsMain(int argc, char** argv, const QStringList& arguments)
{
    QCoreApplication app(argc, argv);
    const std::unique_ptr<DefaultsDomain> defaults = openUserDefaultsDomain();
    SettingsStore store(*defaults);
    QTextStream out(stdout);
    QTextStream err(stderr);
    return runSettingsCommand(store, arguments, out, err);
}

int runControlMain(int argc, char** argv, const QStringList& arguments)
{
    QCoreApplication app(argc, argv);
    return runControlClient(arguments);
}

QList<CommandWord> controlWords()
{
    QList<CommandWord> words;
    for (const QString& action : TamsinvaleApp::actionNames()) {
        CommandWord word{action, {}};
        if (action == QLatin1String("launch-at-login"))
            word.next = {QStringLiteral("on"), QStringLiteral("off")};
        words << word;
    }
    return words;
}

QList<Command> buildCommands()
{
    using namespace CommandTable;
    [[maybe_unused]] const QStringList json{QStringLiteral("--json")};
    return {
        {QStringLiteral("ctl"), QStringLiteral("ACTION [ARG]"),
         QStringLiteral("ask the running Tamsinvale to do what a hotkey or menu item does"), controlWords(),
         runControlMain},
        {QStringLiteral("settings"), QStringLiteral("COMMAND [ARGS]"),
         QStringLiteral("read, change, import and export settings"),
         {{QStringLiteral("export"), {fileArgument}},
          {QStringLiteral("import"), {fileArgument}},
          {QStringLiteral("get"), {settingArgument}},
          {QStringLiteral("set"), {settingArgument}},
          {QStringLiteral("reset"), {settingArgument}}},
         runSettingsMain},
#ifndef __APPLE__
        {QStringLiteral("shortcuts"), QStringLiteral("COMMAND [ARGS]"),
         QStringLiteral("bind keys to applications for the app switcher"),
         {{QStringLiteral("list"), {}},
          {QStringLiteral("apps"), {}},
          {QStringLiteral("bind"), {}},
          {QStringLiteral("unbind"), {}},
          {QStringLiteral("add"), {fileArgument}},
          {QStringLiteral("set"), {}},
          {QStringLiteral("remove"), {}},
          {QStringLiteral("orphans"), {}},
          {QStringLiteral("remove-orphan"), {}}},
         runShortcutsMain},
        {QStringLiteral("debug"), QStringLiteral("COMMAND [--json]"),
         QStringLiteral("print what Tamsinvale sees of the desktop"),
         {{QStringLiteral("windows"), json}, {QStringLiteral("screens"), json}, {QStringLiteral("apps"), json}},
         runDebugCommand},
        {QStringLiteral("inactive"), QStringLiteral("[--hours H] [--json]"),
         QStringLiteral("list the applications not used for H hours"),
         {{QStringLiteral("--hours"), {}}, {QStringLiteral("--json"), {QStringLiteral("--hours")}}},
         runInactiveMain},
        {QStringLiteral("wallpapers"), QStringLiteral("COMMAND [ARGS]"),
         QStringLiteral("list, download and choose the pictures behind dimmed windows"),
         {{QStringLiteral("list"), json},
          {QStringLiteral("download"), {}},
          {QStringLiteral("use"), {fileArgument}},
          {QStringLiteral("rotation"), {QStringLiteral("add"), QStringLiteral("remove"), QStringLiteral("every")}}},
         runWallpapersMain},
#endif
        {QStringLiteral("completion"), QStringLiteral("bash|zsh"),
         QStringLiteral("print the shell completion script for bash or zsh"),
         {{QStringLiteral("bash"), {}}, {QStringLiteral("zsh"), {}}}, runCompletionMain},
    };
}

}  // namespace

const QList<Command>& CommandTable::commands()
{
    static const QList<Command> table = buildCommands();
    return table;
}

const Command* CommandTable::find(const QString& name)
{
    for (const Command& command : commands())
        if (command.name == name)
            return &command;
    return nullptr;
}

const QList<ProgramOption>& CommandTable::options()
{
    static const QList<ProgramOption> table{
        {QStringLiteral("--verbose"), QStringLiteral("also log the debug lines of every area (or TAMSINVALE_VERBOSE=1)")},
        {QStringLiteral("-h, --help"), QStringLiteral("print this help and exit")},
        {QStringLiteral("--version"), QStringLiteral("print the version and exit")},
    };
    return table;
}

QString CommandTable::usageLine()
{
    return QStringLiteral("usage: tamsinvale [--verbose] | tamsinvale COMMAND [ARGS] | tamsinvale --help | --version");
}

QString CommandTable::versionLine() { return QStringLiteral("tamsinvale " TAMSINVALE_VERSION); }

QString CommandTable::help()
{
    QString text = QStringLiteral(
        "Usage: tamsinvale [--verbose]\n"
        "  or:  tamsinvale COMMAND [ARGS]\n"
        "\n"
        "Tamsinvale keeps one application and one window at the centre of attention: an app switcher, a\n"
        "window switcher, focus dimming, window sizes and more, behind global hotkeys and a tray icon.\n"
#ifdef __APPLE__
        "Without a command it runs in the menu bar.\n"
#else
        "Without a command it runs in the tray of the X11 session (one instance per session).\n"
#endif
        "\n"
        "Commands:\n");
    constexpr int column = 34;
    auto row = [&](const QString& left, const QString& right) {
        const QString head = QStringLiteral("  ") + left;
        text += head.size() + 2 <= column ? head.leftJustified(column) + right + QLatin1Char('\n')
                                          : head + QLatin1Char('\n') + QString(column, QLatin1Char(' ')) + right
                + QLatin1Char('\n');
    };
    for (const Command& command : commands())
        row(command.name + QLatin1Char(' ') + command.arguments, command.summary);
    text += QStringLiteral("\nOptions:\n");
    for (const ProgramOption& option : options())
        row(option.names, option.summary);
    text += QStringLiteral(
        "\n"
#ifdef __APPLE__
        "`tamsinvale COMMAND --help` describes a command. Exit status: 0 done, 2 wrong usage, 3 no running\n"
        "Tamsinvale to ask (ctl), 1 any other failure.\n");
#else
        "`tamsinvale COMMAND --help` describes a command. Exit status: 0 done, 2 wrong usage, 3 no running\n"
        "Tamsinvale to ask (ctl), 4 no X11 session, 1 any other failure.\n");
#endif
    return text;
}

}  // namespace tamsinvale
