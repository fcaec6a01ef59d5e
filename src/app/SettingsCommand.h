// `tamsinvale settings …`: export, import, get, set and reset settings from the command line.
#pragma once

#include <QStringList>
#include <QTextStream>

namespace tamsinvale {

class SettingsStore;

// Runs one settings command against a store; `arguments` are the words after "settings".
// Output goes to `out`, messages to `err`. Returns the exit code.
int runSettingsCommand(SettingsStore& store, const QStringList& arguments, QTextStream& out, QTextStream& err);

// The text of `tamsinvale settings --help`.
QString settingsCommandHelp();

// Every setting as a JSON object in declaration order, one property per line.
QByteArray exportSettingsJson(const SettingsStore& store);

}  // namespace tamsinvale
