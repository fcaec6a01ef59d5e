// Exec lines are data from files anyone can install: every oddity ends in an error text, never in a shell.
#include "DesktopEntryExec.h"

#include <QUrl>

namespace tamsinvale {

namespace {

struct Token {
    QString text;
    bool quoted = false;
};

bool isSeparator(QChar c) { return c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\n'); }

// Undoes the quoting; the field codes stay in the text for the expansion that follows.
bool tokenize(const QString& exec, QList<Token>* tokens, QString* error)
{
    Token current;
    bool inToken = false;
    bool inQuotes = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec[i];
        if (inQuotes) {
            if (c == QLatin1Char('"')) {
                inQuotes = false;
            } else if (c == QLatin1Char('\\')) {
                if (i + 1 >= exec.size()) {
                    *error = QStringLiteral("a backslash ends the command line inside quotes");
                    return false;
                }
                const QChar next = exec[i + 1];
                if (next == QLatin1Char('"') || next == QLatin1Char('`') || next == QLatin1Char('$')
                    || next == QLatin1Char('\\')) {
                    current.text += next;
                    ++i;
                } else {
                    current.text += c;  // not an escape the format defines: kept as written
                }
            } else {
                current.text += c;
            }
            continue;
        }
        if (isSeparator(c)) {
            if (inToken)
                tokens->append(current);
            current = Token();
            inToken = false;
            continue;
        }
        inToken = true;
        if (c == QLatin1Char('"')) {
            inQuotes = true;
            current.quoted = true;
        } else {
            current.text += c;
        }
    }
    if (inQuotes) {
        *error = QStringLiteral("unterminated quote in the command line");
        return false;
    }
    if (inToken)
        tokens->append(current);
    return true;
}

// A line that cannot be run runs nothing: no half-expanded argument list goes with the reason.
DesktopEntryExec::Result refused(DesktopEntryExec::Result result)
{
    result.arguments.clear();
    return result;
}

QString asUrl(const QString& file)
{
    return file.contains(QStringLiteral("://")) ? file : QUrl::fromLocalFile(file).toString(QUrl::FullyEncoded);
}

}  // namespace

QString DesktopEntryExec::unescapeValue(const QString& raw)
{
    QString out;
    out.reserve(raw.size());
    for (qsizetype i = 0; i < raw.size(); ++i) {
        const QChar c = raw[i];
        if (c != QLatin1Char('\\') || i + 1 >= raw.size()) {
            out += c;
            continue;
        }
        const QChar next = raw[++i];
        switch (next.unicode()) {
        case 's': out += QLatin1Char(' '); break;
        case 'n': out += QLatin1Char('\n'); break;
        case 't': out += QLatin1Char('\t'); break;
        case 'r': out += QLatin1Char('\r'); break;
        case '\\': out += QLatin1Char('\\'); break;
        default:
            // Not a string escape: left for the Exec quoting rules (\" inside quotes, for one).
            out += c;
            out += next;
            break;
        }
    }
    return out;
}

DesktopEntryExec::Result DesktopEntryExec::expand(const QString& exec, const Context& context)
{
    Result result;
    QList<Token> tokens;
    if (!tokenize(exec, &tokens, &result.error))
        return refused(std::move(result));
    if (tokens.isEmpty()) {
        result.error = QStringLiteral("empty command line");
        return refused(std::move(result));
    }
    QStringList urls = context.urls;
    if (urls.isEmpty())
        for (const QString& f : context.files)
            urls.append(asUrl(f));
    QStringList files = context.files;
    if (files.isEmpty())
        for (const QString& u : context.urls)
            if (const QUrl url(u); url.isLocalFile())
                files.append(url.toLocalFile());

    bool listUsed = false;
    for (qsizetype t = 0; t < tokens.size(); ++t) {
        const QString& text = tokens[t].text;
        // Codes that stand for whole arguments (zero, one or several of them).
        if (text == QLatin1String("%F") || text == QLatin1String("%U")) {
            if (listUsed) {
                result.error = QStringLiteral("more than one file or URL field code");
                return refused(std::move(result));
            }
            listUsed = true;
            result.arguments += text == QLatin1String("%F") ? files : urls;
            continue;
        }
        if (text == QLatin1String("%i")) {
            if (!context.icon.isEmpty())
                result.arguments << QStringLiteral("--icon") << context.icon;
            continue;
        }
        if ((text == QLatin1String("%f") || text == QLatin1String("%u")) && t > 0) {
            if (listUsed) {
                result.error = QStringLiteral("more than one file or URL field code");
                return refused(std::move(result));
            }
            listUsed = true;
            const QStringList& from = text == QLatin1String("%f") ? files : urls;
            if (!from.isEmpty())
                result.arguments.append(from.first());
            continue;  // no file: no argument at all, not an empty one
        }
        QString out;
        bool literal = tokens[t].quoted;  // anything besides field codes, so that an empty result still counts
        for (qsizetype i = 0; i < text.size(); ++i) {
            const QChar c = text[i];
            if (c != QLatin1Char('%')) {
                out += c;
                literal = true;
                continue;
            }
            if (i + 1 >= text.size()) {
                result.error = QStringLiteral("a lone % ends an argument");
                return refused(std::move(result));
            }
            const char code = text[++i].toLatin1();
            switch (code) {
            case '%': out += QLatin1Char('%'); literal = true; break;
            case 'f':
            case 'u': {
                if (listUsed) {
                    result.error = QStringLiteral("more than one file or URL field code");
                    return refused(std::move(result));
                }
                listUsed = true;
                const QStringList& from = code == 'f' ? files : urls;
                if (!from.isEmpty())
                    out += from.first();
                break;
            }
            case 'c': out += context.name; break;
            case 'k': out += context.entryPath; break;
            case 'd': case 'D': case 'n': case 'N': case 'v': case 'm':
                break;  // deprecated: dropped
            case 'F': case 'U': case 'i':
                result.error = QStringLiteral("%") + QLatin1Char(code) + QStringLiteral(" inside an argument");
                return refused(std::move(result));
            default:
                result.error = QStringLiteral("unknown field code %") + text[i];
                return refused(std::move(result));
            }
        }
        // An argument made only of codes that stood for nothing is no argument at all.
        if (!out.isEmpty() || literal)
            result.arguments.append(out);
    }
    if (result.arguments.isEmpty() || result.arguments.first().isEmpty()) {
        result.arguments.clear();
        result.error = QStringLiteral("no program in the command line");
    }
    return result;
}

}  // namespace tamsinvale
