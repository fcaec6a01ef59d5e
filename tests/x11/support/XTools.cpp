// Runs and parses the X command-line tools.
#include "XTools.h"

#include "ChildProcess.h"

#include <QRegularExpression>

namespace tamsinvale::x11test::xtools {

namespace {
QString hex(xcb_window_t w) { return QStringLiteral("0x%1").arg(w, 0, 16); }
}  // namespace

std::optional<QList<xcb_window_t>> rootWindowList(const QString& property)
{
    const auto text = runTool({QStringLiteral("xprop"), QStringLiteral("-root"), property});
    if (!text)
        return std::nullopt;
    const qsizetype hash = text->indexOf(QLatin1Char('#'));
    if (hash < 0)
        return std::nullopt;
    QList<xcb_window_t> out;
    for (const QString& part : text->mid(hash + 1).split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        bool ok = false;
        const xcb_window_t w = part.trimmed().toUInt(&ok, 16);
        if (ok)
            out.append(w);
    }
    return out;
}

std::optional<xcb_window_t> activeWindow()
{
    const auto text = runTool({QStringLiteral("xdotool"), QStringLiteral("getactivewindow")});
    bool ok = false;
    const xcb_window_t w = text ? text->trimmed().toUInt(&ok) : 0;
    if (!ok)
        return std::nullopt;
    return w;
}

std::optional<QRect> geometry(xcb_window_t window)
{
    const auto text = runTool({QStringLiteral("xwininfo"), QStringLiteral("-id"), hex(window)});
    if (!text)
        return std::nullopt;
    auto value = [&](const char* label) -> std::optional<int> {
        const QRegularExpression re(QStringLiteral("%1:\\s+(-?\\d+)").arg(QRegularExpression::escape(QString::fromLatin1(label))));
        const auto m = re.match(*text);
        if (!m.hasMatch())
            return std::nullopt;
        return m.captured(1).toInt();
    };
    const auto x = value("Absolute upper-left X"), y = value("Absolute upper-left Y");
    const auto w = value("Width"), h = value("Height");
    const int border = value("Border width").value_or(0);
    if (!x || !y || !w || !h)
        return std::nullopt;
    // xwininfo gives the inside of the border; a frame's extents are counted from its outer edge.
    return QRect(*x - border, *y - border, *w + 2 * border, *h + 2 * border);
}

std::optional<QString> property(xcb_window_t window, const QString& name)
{
    const auto text = runTool({QStringLiteral("xprop"), QStringLiteral("-id"), hex(window), name});
    if (!text)
        return std::nullopt;
    const qsizetype eq = text->indexOf(QStringLiteral(" = "));
    if (eq < 0)
        return QString();  // "not found." and friends
    return text->mid(eq + 3).trimmed();
}

bool activate(xcb_window_t window)
{
    // Without --sync: xdotool's own wait gives up when _NET_ACTIVE_WINDOW does not exist yet (a fresh manager
    // sets it only on the first focus change); callers wait for the result on X themselves.
    return runTool({QStringLiteral("xdotool"), QStringLiteral("windowactivate"), QString::number(window)}).has_value();
}

}  // namespace tamsinvale::x11test::xtools
