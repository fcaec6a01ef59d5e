// Shell completion scripts for bash and zsh, written from the command table so they never fall behind it.
#pragma once

#include <QString>
#include <QStringList>

namespace tamsinvale {

QString bashCompletionScript();
QString zshCompletionScript();

// `tamsinvale completion bash|zsh`; `arguments` are the words after "completion".
int runCompletionMain(int argc, char** argv, const QStringList& arguments);

}  // namespace tamsinvale
