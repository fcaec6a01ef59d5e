// The user's language preferences for messages as Desktop Entry locale names ("de_AT", "de"), in the order gettext
// consults them, so that every localized name we read is in the language the applications themselves use.
#pragma once

#include <QString>
#include <QStringList>

namespace tamsinvale {

struct MessageLocaleEnvironment {
    QString language;    // LANGUAGE: a colon-separated list, honoured unless the locale is C/POSIX
    QString lcAll;       // LC_ALL
    QString lcMessages;  // LC_MESSAGES
    QString lang;        // LANG

    static MessageLocaleEnvironment fromProcess();
};

// Most preferred first, each locale followed by its less specific forms (lang_COUNTRY@MODIFIER, lang_COUNTRY,
// lang@MODIFIER, lang); empty for the C locale. LANGUAGE comes before LC_ALL, LC_MESSAGES and LANG, as in gettext.
QStringList messageLocaleNames(const MessageLocaleEnvironment& environment);
inline QStringList currentMessageLocaleNames() { return messageLocaleNames(MessageLocaleEnvironment::fromProcess()); }

}  // namespace tamsinvale
