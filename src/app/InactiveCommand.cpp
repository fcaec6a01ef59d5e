// `tamsinvale inactive`: the usage record and the list rules of the inactive apps window, printed as text or JSON.
#include "InactiveCommand.h"

#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>

#include "inactive/InactiveAppsList.h"
#include "inactive/InactiveThreshold.h"
#include "inactive/RelativeDateText.h"
#include "inactive/UsageRecord.h"
#include "platform/linux/PlistDefaultsDomain.h"
#include "platform/x11/X11Desktop.h"
#include "platform/x11/X11Workspace.h"
#include "settings/SettingsSchema.h"

namespace tamsinvale {

namespace {

const char* usage =
    "usage: tamsinvale inactive [--hours H] [--json]\n"
    "\n"
    "Lists the running applications that have not been active for more than H hours, longest idle first:\n"
    "what \"Close Inactive Apps…\" would show. H defaults to the inactiveThresholdHours setting (48).\n"
    "It reads the usage record Tamsinvale keeps, counts the frontmost application as active now, works\n"
    "whether or not Tamsinvale is running, and changes nothing.\n"
    "\n"
    "  --hours H   the threshold in hours (a positive number, such as 12, 72 or 1.5)\n"
    "  --json      one JSON object: now, thresholdHours, threshold, trackingSince and apps, each app with\n"
    "              name, bundleIdentifier, pid, lastActive (ISO-8601, UTC), lastActiveRelative, inactiveHours\n";

QString iso(const QDateTime& date) { return date.toUTC().toString(Qt::ISODate); }

struct InactiveArguments {
    bool json = false;
    std::optional<double> hours;
    std::optional<int> exitCode;  // set when the command ends here: help shown, or wrong usage
};

InactiveArguments parseArguments(const QStringList& arguments, QTextStream& out, QTextStream& err)
{
    InactiveArguments parsed;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& a = arguments[i];
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            out << usage;
            parsed.exitCode = 0;
            return parsed;
        }
        if (a == QLatin1String("--json")) {
            parsed.json = true;
        } else if (a == QLatin1String("--hours") || a.startsWith(QLatin1String("--hours="))) {
            const QString value = a.contains(QLatin1Char('=')) ? a.section(QLatin1Char('='), 1)
                                  : i + 1 < arguments.size() ? arguments[++i]
                                                             : QString();
            bool ok = false;
            const double h = QLocale::c().toDouble(value, &ok);
            if (!ok || !std::isfinite(h) || h <= 0) {
                err << "tamsinvale inactive: --hours needs a positive number of hours, not \"" << value << "\"\n";
                parsed.exitCode = 2;
                return parsed;
            }
            parsed.hours = h;
        } else {
            err << "tamsinvale inactive: unknown argument \"" << a << "\"\n\n" << usage;
            parsed.exitCode = 2;
            return parsed;
        }
    }
    return parsed;
}

}  // namespace

int runInactiveCommand(const Workspace& workspace, const DefaultsDomain& defaults, const QDateTime& now,
                       const QStringList& arguments, QTextStream& out, QTextStream& err, const QLocale& locale)
{
    const InactiveArguments parsed = parseArguments(arguments, out, err);
    if (parsed.exitCode)
        return *parsed.exitCode;
    const bool json = parsed.json;
    const std::optional<double> hours = parsed.hours;

    Settings settings;
    for (const SettingField& field : settingsSchema())
        if (field.property == QLatin1String("inactiveThresholdHours")
            || field.property == QLatin1String("inactiveAppsExcluded"))
            field.load(defaults, settings);
    const double threshold = hours ? *hours : InactiveThreshold::sanitized(settings.inactiveThresholdHours);

    UsageRecord record = UsageRecord::read(defaults, now);
    InactiveListRules rules;
    rules.ownBundleIdentifier = workspace.ownBundleIdentifier();
    rules.ownPid = workspace.ownPid();
    rules.excluded = settings.inactiveAppsExcluded;
    // As the tracker does when it starts: whoever is in front is active now.
    if (const auto front = workspace.frontmostApplication()) {
        rules.activeNowPid = front->pid;
        if (front->bundleIdentifier)
            record.lastActivated.insert(*front->bundleIdentifier, now.toUTC());
    }
    const QList<InactiveAppItem> items = InactiveAppsList::build(
        workspace.runningApplications(), [&record](const RunningApp& app) { return record.lastActive(app); }, rules,
        now, threshold);

    if (json) {
        QJsonArray apps;
        for (const InactiveAppItem& item : items) {
            apps.append(QJsonObject{
                {QStringLiteral("name"), item.displayName()},
                {QStringLiteral("bundleIdentifier"),
                 item.app.bundleIdentifier ? QJsonValue(*item.app.bundleIdentifier) : QJsonValue()},
                {QStringLiteral("pid"), item.pid()},
                {QStringLiteral("lastActive"), iso(item.lastActive)},
                {QStringLiteral("lastActiveRelative"), RelativeDateText::describe(item.lastActive, now, locale)},
                {QStringLiteral("inactiveHours"), std::round(item.lastActive.msecsTo(now) / 36000.0) / 100.0},
            });
        }
        out << QJsonDocument(QJsonObject{
                                 {QStringLiteral("now"), iso(now)},
                                 {QStringLiteral("thresholdHours"), threshold},
                                 {QStringLiteral("threshold"), InactiveThreshold::labelFor(threshold)},
                                 {QStringLiteral("trackingSince"), iso(record.trackingSince)},
                                 {QStringLiteral("apps"), apps},
                             })
                   .toJson(QJsonDocument::Indented);
        return 0;
    }
    if (items.isEmpty()) {
        out << "No apps have been inactive for " << InactiveThreshold::labelFor(threshold) << "\n";
        return 0;
    }
    QStringList names{QStringLiteral("NAME")}, ids{QStringLiteral("BUNDLE IDENTIFIER")}, pids{QStringLiteral("PID")};
    for (const InactiveAppItem& item : items) {
        names << item.displayName();
        ids << item.app.bundleIdentifier.value_or(QStringLiteral("-"));
        pids << QString::number(item.pid());
    }
    auto widest = [](const QStringList& column) {
        qsizetype w = 0;
        for (const QString& s : column)
            w = std::max(w, s.size());
        return int(w);
    };
    const int nameWidth = widest(names), idWidth = widest(ids), pidWidth = widest(pids);
    out << names[0].leftJustified(nameWidth) << "  " << ids[0].leftJustified(idWidth) << "  "
        << pids[0].rightJustified(pidWidth) << "  LAST ACTIVE\n";
    for (qsizetype i = 0; i < items.size(); ++i)
        out << names[i + 1].leftJustified(nameWidth) << "  " << ids[i + 1].leftJustified(idWidth) << "  "
            << pids[i + 1].rightJustified(pidWidth) << "  " << iso(items[i].lastActive) << "  ("
            << RelativeDateText::describe(items[i].lastActive, now, locale) << ")\n";
    return 0;
}

int runInactiveMain(int argc, char** argv, const QStringList& arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    // Help and wrong usage are answered before anything needs a display.
    if (const InactiveArguments parsed = parseArguments(arguments, out, err); parsed.exitCode)
        return *parsed.exitCode;
    // The running applications are read from the X display, as the app reads them.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        err << "tamsinvale inactive: no X11 display (DISPLAY is not set), so no running applications to list\n";
        return 1;
    }
    QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Tamsinvale"));
    QGuiApplication::setDesktopFileName(QStringLiteral("org.tamsinvale.Tamsinvale"));
    auto desktop = X11Desktop::create();
    if (!desktop) {
        err << "tamsinvale inactive: not running on an X11 display\n";
        return 1;
    }
    const PlistDefaultsDomain defaults(PlistDefaultsDomain::standardPath());
    const int code = runInactiveCommand(desktop->workspace(), defaults, QDateTime::currentDateTimeUtc(),
                                        arguments, out, err);
    out.flush();
    return code;
}

}  // namespace tamsinvale
