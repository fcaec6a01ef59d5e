// Locale names for localized keys: LANGUAGE's list, else the first of LC_ALL, LC_MESSAGES and LANG.
#include "LocaleNames.h"

namespace tamsinvale {

namespace {

// "C", "POSIX" and their encodings ("C.UTF-8") mean no translation at all.
bool isCLocale(const QString& locale)
{
    const QString base = locale.section(QLatin1Char('@'), 0, 0).section(QLatin1Char('.'), 0, 0);
    return base == QLatin1String("C") || base == QLatin1String("POSIX");
}

// lang_COUNTRY.ENCODING@MODIFIER as the names to try, most specific first; the encoding never takes part.
void appendVariants(const QString& locale, QStringList* out)
{
    const QString modifier = locale.contains(QLatin1Char('@')) ? locale.section(QLatin1Char('@'), 1) : QString();
    const QString base = locale.section(QLatin1Char('@'), 0, 0).section(QLatin1Char('.'), 0, 0);
    if (base.isEmpty() || isCLocale(base))
        return;
    const QString language = base.section(QLatin1Char('_'), 0, 0);
    QStringList variants;
    if (!modifier.isEmpty())
        variants.append(base + QLatin1Char('@') + modifier);
    if (base != language)
        variants.append(base);
    if (!modifier.isEmpty())
        variants.append(language + QLatin1Char('@') + modifier);
    variants.append(language);
    for (const QString& v : variants)
        if (!out->contains(v))
            out->append(v);
}

}  // namespace

MessageLocaleEnvironment MessageLocaleEnvironment::fromProcess()
{
    return {qEnvironmentVariable("LANGUAGE"), qEnvironmentVariable("LC_ALL"), qEnvironmentVariable("LC_MESSAGES"),
            qEnvironmentVariable("LANG")};
}

QStringList messageLocaleNames(const MessageLocaleEnvironment& environment)
{
    QString locale = environment.lcAll;
    if (locale.isEmpty())
        locale = environment.lcMessages;
    if (locale.isEmpty())
        locale = environment.lang;
    if (locale.isEmpty() || isCLocale(locale))
        return {};
    QStringList out;
    // gettext lets LANGUAGE override the locale's language, except in the C locale (handled above).
    for (const QString& preferred : environment.language.split(QLatin1Char(':'), Qt::SkipEmptyParts))
        appendVariants(preferred.trimmed(), &out);
    if (out.isEmpty())
        appendVariants(locale, &out);
    return out;
}

}  // namespace tamsinvale
