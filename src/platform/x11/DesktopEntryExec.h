// The command line of a desktop entry's Exec key: quoting undone and field codes expanded into an argument list.
#pragma once

#include <QString>
#include <QStringList>

namespace tamsinvale {

class DesktopEntryExec {
public:
    // What the field codes stand for in one launch.
    struct Context {
        QStringList files;   // %f (the first), %F (all)
        QStringList urls;    // %u (the first), %U (all); files given as urls when there are no urls
        QString icon;        // Icon=, for %i
        QString name;        // the translated Name=, for %c
        QString entryPath;   // the desktop file itself, for %k
    };

    struct Result {
        QStringList arguments;  // program first; never passed through a shell
        QString error;          // why the line cannot be run; empty when it can
        bool ok() const { return error.isEmpty() && !arguments.isEmpty(); }
    };

    // The escapes of a string value (\s \n \t \r \\), undone; these come before the Exec quoting rules.
    static QString unescapeValue(const QString& raw);

    // Splits an (unescaped) Exec value into arguments: double-quoted arguments with \" \` \$ \\ inside, field
    // codes expanded after the quoting is undone.
    static Result expand(const QString& exec, const Context& context);
};

}  // namespace tamsinvale
