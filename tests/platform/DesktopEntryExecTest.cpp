// Exec lines of desktop entries: quoting undone, field codes expanded, and malformed lines refused with a reason.
#include <gtest/gtest.h>

#include "platform/x11/DesktopEntryExec.h"

using namespace tamsinvale;

namespace {

QStringList run(const QString& fileValue, const DesktopEntryExec::Context& context = {})
{
    const auto r = DesktopEntryExec::expand(DesktopEntryExec::unescapeValue(fileValue), context);
    EXPECT_TRUE(r.ok()) << fileValue.toStdString() << ": " << r.error.toStdString();
    return r.arguments;
}

QString refusal(const QString& fileValue, const DesktopEntryExec::Context& context = {})
{
    const auto r = DesktopEntryExec::expand(DesktopEntryExec::unescapeValue(fileValue), context);
    EXPECT_FALSE(r.ok()) << fileValue.toStdString();
    EXPECT_TRUE(r.arguments.isEmpty());
    return r.error;
}

}  // namespace

TEST(DesktopEntryExec, quotingIsUndoneBeforeAnythingElse)
{
    EXPECT_EQ(run(QStringLiteral("prog  \"a b\"\tc")), (QStringList{"prog", "a b", "c"}));
    // Inside quotes \" \` \$ \\ stand for the character; in the file the backslash itself is written twice.
    EXPECT_EQ(run(QStringLiteral(R"(prog "x\\"y\\`z\\$w\\\\v")")), (QStringList{"prog", "x\"y`z$w\\v"}));
    // An escape the format does not define is kept as written, and so are reserved characters outside quotes.
    EXPECT_EQ(run(QStringLiteral(R"(prog "a\qb" semi;colon)")), (QStringList{"prog", "a\\qb", "semi;colon"}));
    EXPECT_EQ(run(QStringLiteral("prog \"\" --x=\"1 2\"")), (QStringList{"prog", "", "--x=1 2"}));
    // String escapes come first: \s is a space inside one argument, not a separator.
    EXPECT_EQ(run(QStringLiteral("\"/opt/My\\sApp/run\" --flag")), (QStringList{"/opt/My App/run", "--flag"}));
    EXPECT_EQ(DesktopEntryExec::unescapeValue(QStringLiteral(R"(a\sb\nc\td\re\\f\"g)")),
              QStringLiteral("a b\nc\td\re\\f\\\"g"));
}

TEST(DesktopEntryExec, fieldCodesExpandIntoWholeArgumentsOrNone)
{
    DesktopEntryExec::Context c;
    c.icon = QStringLiteral("org.example.App");
    c.name = QStringLiteral("Example App");
    c.entryPath = QStringLiteral("/usr/share/applications/org.example.App.desktop");

    // Nothing to open: file and URL codes vanish rather than leaving empty arguments.
    EXPECT_EQ(run(QStringLiteral("app %U"), c), QStringList{"app"});
    EXPECT_EQ(run(QStringLiteral("app %f --end"), c), (QStringList{"app", "--end"}));
    EXPECT_EQ(run(QStringLiteral("app %i --title=%c %k 100%%"), c),
              (QStringList{"app", "--icon", "org.example.App", "--title=Example App", c.entryPath, "100%"}));
    EXPECT_EQ(run(QStringLiteral("app %i"), {}), QStringList{"app"});
    // Deprecated codes are dropped, and so is an argument made of nothing else.
    EXPECT_EQ(run(QStringLiteral("app %d%D %m -x%n \"%v\""), c), (QStringList{"app", "-x", ""}));

    c.files = QStringList{"/tmp/a b.txt", "/tmp/c.txt"};
    EXPECT_EQ(run(QStringLiteral("app %F"), c), (QStringList{"app", "/tmp/a b.txt", "/tmp/c.txt"}));
    EXPECT_EQ(run(QStringLiteral("app --open=%f"), c), (QStringList{"app", "--open=/tmp/a b.txt"}));
    EXPECT_EQ(run(QStringLiteral("app %U"), c), (QStringList{"app", "file:///tmp/a%20b.txt", "file:///tmp/c.txt"}));
    DesktopEntryExec::Context u;
    u.urls = QStringList{"https://example.org/x", "file:///home/me/n.txt"};
    EXPECT_EQ(run(QStringLiteral("app %u"), u), (QStringList{"app", "https://example.org/x"}));
    EXPECT_EQ(run(QStringLiteral("app %F"), u), (QStringList{"app", "/home/me/n.txt"}));
}

TEST(DesktopEntryExec, malformedLinesAreRefusedWithAReason)
{
    EXPECT_FALSE(refusal(QStringLiteral("app \"open")).isEmpty());
    EXPECT_FALSE(refusal(QStringLiteral("app \"x\\")).isEmpty());
    EXPECT_FALSE(refusal(QStringLiteral("app %z")).isEmpty());
    EXPECT_FALSE(refusal(QStringLiteral("app 50%")).isEmpty());
    EXPECT_FALSE(refusal(QStringLiteral("app --files=%F")).isEmpty());
    EXPECT_FALSE(refusal(QStringLiteral("app %f %U")).isEmpty());
    EXPECT_FALSE(refusal(QStringLiteral("   ")).isEmpty());
    EXPECT_FALSE(refusal(QStringLiteral("\"\" arg")).isEmpty());
}
