// `tamsinvale shortcuts …`: list and edit the app switcher's key bindings from the command line.
#pragma once

#include <QList>
#include <QStringList>
#include <QTextStream>

namespace tamsinvale {

struct DiscoveredApp;
class ShortcutStore;

// Runs one shortcuts command against a store and the installed applications; `arguments` are the words after
// "shortcuts". Output goes to `out`, messages to `err`. Returns the exit code.
int runShortcutsCommand(ShortcutStore& store, const QList<DiscoveredApp>& apps, const QStringList& arguments,
                        QTextStream& out, QTextStream& err);

// The whole command on this desktop: the user's defaults file, the installed desktop entries.
int runShortcutsMain(int argc, char** argv, const QStringList& arguments);

QString shortcutsCommandHelp();

}  // namespace tamsinvale
