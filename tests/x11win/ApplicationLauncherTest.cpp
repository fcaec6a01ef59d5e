// Opening desktop entries on Openbox: the argument list the program really gets, completion on its first window
// or after the bounded wait, failures reported later and never thrown, entry lookup by id, and icons.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QTemporaryDir>
#include <csignal>

#include "XTestSession.h"
#include "platform/x11/X11ApplicationLauncher.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11WindowActions.h"

using namespace tamsinvale;
using namespace tamsinvale::x11test;

namespace {

class ApplicationLauncherTest : public ::testing::Test {
protected:
    XTestSession& s = XTestSession::get();
    QTemporaryDir scratch;
    QList<std::int32_t> started;

    void TearDown() override
    {
        // The programs were started detached: end each one, and wait for its window to go.
        for (const std::int32_t pid : std::as_const(started)) {
            if (pid <= 0)
                continue;
            ::kill(pid, SIGTERM);
            s.waitUntil([&] { return !QFileInfo::exists(QStringLiteral("/proc/%1/status").arg(pid)) || zombie(pid); },
                        std::chrono::milliseconds(5000));
            ::kill(pid, SIGKILL);
        }
    }
    static bool zombie(std::int32_t pid)
    {
        QFile status(QStringLiteral("/proc/%1/status").arg(pid));
        return status.open(QIODevice::ReadOnly) && status.readAll().contains("State:\tZ");
    }

    QString writeEntry(const QString& relativePath, const QString& body)
    {
        const QString path = s.applicationsDir() + QLatin1Char('/') + relativePath;
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(body.toUtf8());
        return path;
    }

    std::optional<LaunchResult> openAndWait(X11ApplicationLauncher& launcher, const QString& path,
                                            std::chrono::milliseconds timeout = std::chrono::milliseconds(15000))
    {
        std::optional<LaunchResult> result;
        launcher.open(path, true, [&](LaunchResult r) {
            result = r;
            if (r.pid > 0)
                started.append(r.pid);
        });
        // Never synchronously: callers put up their launch overlay first.
        EXPECT_FALSE(result.has_value());
        s.waitUntil([&] { return result.has_value(); }, timeout);
        return result;
    }

    QString dataHome() const { return QFileInfo(s.applicationsDir()).path(); }
};

QImage solid(QColor colour, int size)
{
    QImage image(size, size, QImage::Format_ARGB32);
    image.fill(colour);
    return image;
}

bool mostly(const QImage& image, QColor colour)
{
    if (image.isNull())
        return false;
    const QColor centre = image.pixelColor(image.width() / 2, image.height() / 2);
    return std::abs(centre.red() - colour.red()) < 16 && std::abs(centre.green() - colour.green()) < 16
           && std::abs(centre.blue() - colour.blue()) < 16;
}

}  // namespace

TEST_F(ApplicationLauncherTest, anEntryWithFieldCodesAndQuotingStartsWithExactlyItsArgumentsAndCompletesOnItsWindow)
{
    ASSERT_TRUE(scratch.isValid());
    const QString argsFile = scratch.path() + QStringLiteral("/args");
    // The program xterm runs writes its arguments one per line, then stays, so that the window stays.
    const QString entry = writeEntry(
        QStringLiteral("tamsinvale-fixture.desktop"),
        QStringLiteral("[Desktop Entry]\n"
                       "Type=Application\n"
                       "Name=Fixture Terminal\n"
                       "Name[xx]=Not this one\n"
                       "Icon=tamsinvale-fixture-icon\n"
                       "StartupWMClass=TamsinvaleFixture\n"
                       "Exec=xterm -class TamsinvaleFixture -T \"%c: \\\\\"quoted\\\\\" 100%%\" -e /bin/sh -c "
                       "\"printf '%%s\\\\\\\\n' \\\\\"\\\\$@\\\\\" > ")
            + argsFile
            + QStringLiteral("; exec sleep 600\" sh %k \"two  words\" %i %U \"\\\\\\\\back\\\\`tick\"\n"));

    X11WindowActions actions(s.desktop().connection(), s.desktop().reader(), s.desktop().screens(),
                             s.display().toLocal8Bit());
    X11ApplicationLauncher launcher(s.desktop().connection(), s.desktop().reader(), &actions);
    bool managedAtCompletion = false;
    std::optional<LaunchResult> result;
    launcher.open(entry, true, [&](LaunchResult r) {
        result = r;
        if (r.pid > 0)
            started.append(r.pid);
        const QList<uint32_t> clients = s.x().cardinals(s.x().root(), "_NET_CLIENT_LIST");
        managedAtCompletion = r.window != XCB_WINDOW_NONE && clients.contains(r.window);
    });
    ASSERT_FALSE(result);
    ASSERT_TRUE(s.waitUntil([&] { return result.has_value(); }, std::chrono::milliseconds(15000)));
    ASSERT_TRUE(result->ok) << result->error.toStdString();
    EXPECT_TRUE(managedAtCompletion);
    const auto window = s.clientWindowOf(QStringLiteral("TamsinvaleFixture"));
    ASSERT_TRUE(window);
    EXPECT_EQ(result->window, *window);
    EXPECT_EQ(s.x().text(*window, "WM_NAME"), QStringLiteral("Fixture Terminal: \"quoted\" 100%"));

    QStringList arguments;
    ASSERT_TRUE(s.waitUntil([&] {
        QFile file(argsFile);
        if (!file.open(QIODevice::ReadOnly))
            return false;
        const QString text = QString::fromUtf8(file.readAll());
        if (!text.endsWith(QLatin1Char('\n')))
            return false;
        arguments = text.split(QLatin1Char('\n'));
        arguments.removeLast();
        return true;
    }));
    // %k the entry itself, a quoted argument with two spaces kept whole, %i as two arguments, %U with
    // nothing to open as no arguments at all, and the escapes of a quoted argument undone.
    EXPECT_EQ(arguments, (QStringList{entry, QStringLiteral("two  words"), QStringLiteral("--icon"),
                                      QStringLiteral("tamsinvale-fixture-icon"), QStringLiteral("\\back`tick")}));
    // Asked to activate: the new window is the active one.
    EXPECT_TRUE(s.waitUntil([&] { return s.x().cardinals(s.x().root(), "_NET_ACTIVE_WINDOW").value(0) == *window; }));
}

TEST_F(ApplicationLauncherTest, withoutAWindowTheCallbackComesAfterTheBoundedWaitAndFailuresComeLater)
{
    X11ApplicationLauncher launcher(s.desktop().connection(), s.desktop().reader(), nullptr);
    launcher.setWindowTimeout(std::chrono::milliseconds(300));

    const QString quiet = writeEntry(QStringLiteral("tamsinvale-quiet.desktop"),
                                     QStringLiteral("[Desktop Entry]\nType=Application\nName=Quiet\nExec=true\n"));
    const auto r = openAndWait(launcher, quiet);
    ASSERT_TRUE(r);
    EXPECT_TRUE(r->ok);
    EXPECT_GT(r->pid, 0);
    EXPECT_EQ(r->window, XCB_WINDOW_NONE);

    const QList<std::pair<QString, QString>> broken = {
        {QStringLiteral("missing.desktop"),
         QStringLiteral("[Desktop Entry]\nType=Application\nName=M\nExec=tamsinvale-no-such-program --x\n")},
        {QStringLiteral("unterminated.desktop"),
         QStringLiteral("[Desktop Entry]\nType=Application\nName=U\nExec=xterm -T \"open\n")},
        {QStringLiteral("badcode.desktop"), QStringLiteral("[Desktop Entry]\nType=Application\nName=B\nExec=xterm %z\n")},
        {QStringLiteral("link.desktop"), QStringLiteral("[Desktop Entry]\nType=Link\nName=L\nURL=https://example.org\n")},
        {QStringLiteral("tryexec.desktop"),
         QStringLiteral("[Desktop Entry]\nType=Application\nName=T\nTryExec=tamsinvale-not-here\nExec=xterm\n")},
    };
    for (const auto& [file, body] : broken) {
        const auto failed = openAndWait(launcher, writeEntry(file, body));
        ASSERT_TRUE(failed) << file.toStdString();
        EXPECT_FALSE(failed->ok) << file.toStdString();
        EXPECT_FALSE(failed->error.isEmpty()) << file.toStdString();
        EXPECT_EQ(failed->pid, 0) << file.toStdString();
    }
    const auto nothing = openAndWait(launcher, scratch.path() + QStringLiteral("/nothing-here.desktop"));
    ASSERT_TRUE(nothing);
    EXPECT_FALSE(nothing->ok);
}

TEST_F(ApplicationLauncherTest, entriesAreFoundByIdAndClassAndIconsComeFromTheThemeOrAFile)
{
    const QString plain = writeEntry(QStringLiteral("tamsinvale-lookup.desktop"),
                                     QStringLiteral("[Desktop Entry]\nType=Application\nName=Lookup\nExec=xterm\n"
                                                    "StartupWMClass=LookupClass\nIcon=tamsinvale-fixture-icon\n"));
    const QString nested = writeEntry(QStringLiteral("vendor/tool.desktop"),
                                      QStringLiteral("[Desktop Entry]\nType=Application\nName=Tool\nExec=xclock\n"
                                                     "Icon=") + scratch.path() + QStringLiteral("/blue.png\n"));
    // A theme icon and a type icon in the user's hicolor theme, and a picture by absolute path.
    const QString apps = dataHome() + QStringLiteral("/icons/hicolor/48x48/apps");
    const QString mimetypes = dataHome() + QStringLiteral("/icons/hicolor/48x48/mimetypes");
    ASSERT_TRUE(QDir().mkpath(apps) && QDir().mkpath(mimetypes));
    ASSERT_TRUE(solid(Qt::green, 48).save(apps + QStringLiteral("/tamsinvale-fixture-icon.png")));
    ASSERT_TRUE(solid(Qt::red, 48).save(mimetypes + QStringLiteral("/text-plain.png")));
    ASSERT_TRUE(solid(Qt::blue, 64).save(scratch.path() + QStringLiteral("/blue.png")));

    X11ApplicationLauncher launcher(s.desktop().connection(), s.desktop().reader(), nullptr);
    EXPECT_EQ(launcher.entryPathFor(QStringLiteral("tamsinvale-lookup")), plain);
    EXPECT_EQ(launcher.entryPathFor(QStringLiteral("tamsinvale-lookup.desktop")), plain);
    EXPECT_EQ(launcher.entryPathFor(QStringLiteral("LookupClass")), plain);
    EXPECT_EQ(launcher.entryPathFor(QStringLiteral("vendor-tool")), nested);
    EXPECT_FALSE(launcher.entryPathFor(QStringLiteral("tamsinvale-nobody")));
    EXPECT_FALSE(launcher.entryPathFor(QString()));

    const QImage fromTheme = launcher.icon(plain, 32);
    EXPECT_EQ(fromTheme.size(), QSize(32, 32));
    EXPECT_TRUE(mostly(fromTheme, Qt::green));
    const QImage fromPath = launcher.icon(nested, 32);
    EXPECT_EQ(fromPath.size(), QSize(32, 32));
    EXPECT_TRUE(mostly(fromPath, Qt::blue));

    QFile text(scratch.path() + QStringLiteral("/notes.txt"));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("plain words\n");
    text.close();
    EXPECT_TRUE(mostly(launcher.icon(text.fileName(), 48), Qt::red));
    EXPECT_TRUE(launcher.icon(scratch.path() + QStringLiteral("/absent.txt"), 48).isNull());
}
