// The defaults file: typed round trip, atomic replacement, unreadable files kept aside, outside edits noticed.
#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <sys/stat.h>

#include "TestSupport.h"
#include "platform/linux/PlistCodec.h"
#include "platform/linux/PlistDefaultsDomain.h"

using namespace tamsinvale;

namespace {

QByteArray readAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void writeAll(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(bytes);
}

ino_t inodeOf(const QString& path)
{
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? st.st_ino : 0;
}

}  // namespace

TEST(PlistDefaultsDomain, roundTripsEveryValueTypeThroughTheFile)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("tamsinvale/defaults.plist"));
    const QDateTime when(QDate(2026, 3, 15), QTime(12, 34, 56), Qt::UTC);
    {
        PlistDefaultsDomain d(path);
        d.setValue("bool", true);
        d.setValue("int", qint64(-42));
        d.setValue("big", qint64(9007199254740993LL));
        d.setValue("real", 0.123456789012345);
        d.setValue("string", QStringLiteral("Grüße <&> \"quoted\""));
        d.setValue("data", QByteArray("\x00\xff binary", 9));
        d.setValue("date", when);
        d.setValue("array", QVariantList{qint64(1), QStringLiteral("two"), QVariantList{false}});
        d.setValue("dict", QVariantMap{{"nested", QVariantMap{{"x", 1.5}}}, {"empty", QVariantMap{}}});
        ASSERT_TRUE(d.synchronize());
    }
    PlistDefaultsDomain d(path);
    EXPECT_EQ(d.boolValue("bool"), true);
    EXPECT_EQ(d.integerValue("int"), -42);
    EXPECT_EQ(d.integerValue("big"), 9007199254740993LL);
    EXPECT_EQ(d.doubleValue("real"), 0.123456789012345);
    EXPECT_EQ(d.stringValue("string"), QStringLiteral("Grüße <&> \"quoted\""));
    EXPECT_EQ(d.dataValue("data"), QByteArray("\x00\xff binary", 9));
    EXPECT_EQ(d.value("date"), QVariant(when));
    EXPECT_EQ(d.arrayValue("array"), (QVariantList{qint64(1), QStringLiteral("two"), QVariantList{false}}));
    EXPECT_EQ(d.dictionaryValue("dict"),
              (QVariantMap{{"nested", QVariantMap{{"x", 1.5}}}, {"empty", QVariantMap{}}}));
    // Typed readers answer nothing for another type.
    EXPECT_FALSE(d.stringValue("int"));
    EXPECT_FALSE(d.dataValue("string"));
    EXPECT_FALSE(d.stringArrayValue("array"));
    EXPECT_TRUE(readAll(path).startsWith("<?xml"));
}

TEST(PlistDefaultsDomain, valuesXmlCannotCarryKeepTheFileReadable)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("defaults.plist"));
    // A string with a control character (a binary file may hold one), dates with milliseconds after and before the
    // reference date of 2001, and dates past
    // what the file format's 32-bit seconds reach.
    const QString odd = QStringLiteral("3F2504E0-4F8") + QChar(0x19) + QStringLiteral("-11D3");
    const QDateTime precise(QDate(2026, 1, 2), QTime(3, 4, 4, 821), Qt::UTC);
    const QDateTime preciseBefore2001(QDate(1999, 12, 31), QTime(23, 59, 50, 250), Qt::UTC);
    const QDateTime early(QDate(1900, 1, 1), QTime(0, 0), Qt::UTC);
    const QDateTime late(QDate(2200, 1, 1), QTime(0, 0), Qt::UTC);
    {
        PlistDefaultsDomain d(path);
        d.setValue("installID", odd);
        d.setValue("when", precise);
        d.setValue("before", preciseBefore2001);
        d.setValue("early", early);
        d.setValue("late", late);
        ASSERT_TRUE(d.synchronize());
    }
    PlistDefaultsDomain d(path);
    EXPECT_EQ(d.movedAsidePath(), QString());
    EXPECT_EQ(d.stringValue("installID"), odd);
    EXPECT_EQ(d.value("when"), QVariant(precise));
    EXPECT_EQ(d.value("before"), QVariant(preciseBefore2001)) << "the fraction of a date before 2001 counts back";
    // Held at the ends of the range, never wrapped round to the other end.
    EXPECT_LT(d.value("early")->toDateTime().date().year(), 1933);
    EXPECT_GT(d.value("late")->toDateTime().date().year(), 2068);
    EXPECT_TRUE(readAll(path).startsWith("bplist00"));
}

TEST(PlistDefaultsDomain, anXmlFileKeepsTheSecondADateFallsInOnEitherSideOf2001)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("defaults.plist"));
    {
        PlistDefaultsDomain d(path);
        d.setValue("before", QDateTime(QDate(2000, 12, 30), QTime(9, 53, 35, 964), Qt::UTC));
        d.setValue("after", QDateTime(QDate(2026, 1, 2), QTime(3, 4, 4, 821), Qt::UTC));
        ASSERT_TRUE(d.synchronize());
    }
    ASSERT_TRUE(readAll(path).startsWith("<?xml"));
    // XML holds whole seconds: the fraction goes, the second stays (not the one after it).
    PlistDefaultsDomain d(path);
    EXPECT_EQ(d.value("before"), QVariant(QDateTime(QDate(2000, 12, 30), QTime(9, 53, 35), Qt::UTC)));
    EXPECT_EQ(d.value("after"), QVariant(QDateTime(QDate(2026, 1, 2), QTime(3, 4, 4), Qt::UTC)));
}

TEST(PlistDefaultsDomain, writesReplaceTheFileAtomically)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("defaults.plist"));
    PlistDefaultsDomain d(path);
    d.setValue("a", qint64(1));
    ASSERT_TRUE(d.synchronize());
    const ino_t before = inodeOf(path);
    d.setValue("a", qint64(2));
    ASSERT_TRUE(d.synchronize());
    // A new file renamed over the old one: readers see the old or the new, never a half-written file.
    EXPECT_NE(inodeOf(path), before);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList{QStringLiteral("defaults.plist")});
    EXPECT_EQ(PlistCodec::parseDictionary(readAll(path)), (QVariantMap{{"a", qint64(2)}}));
}

TEST(PlistDefaultsDomain, aBatchOfValuesIsOneChange)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("defaults.plist"));
    PlistDefaultsDomain d(path);
    d.setValue("a", qint64(1));
    ASSERT_TRUE(d.synchronize());
    QSignalSpy changed(&d, &DefaultsDomain::changed);
    // Whoever hears of it finds every value of the batch already in place.
    QVariantMap seen;
    QObject::connect(&d, &DefaultsDomain::changed, [&] { seen = {{"a", *d.value("a")}, {"b", d.value("b").value_or(QVariant())}}; });
    d.setValues({{"a", qint64(2)}, {"b", QStringLiteral("two")}});
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(seen, (QVariantMap{{"a", qint64(2)}, {"b", QStringLiteral("two")}}));
    ASSERT_TRUE(d.synchronize());
    EXPECT_EQ(PlistCodec::parseDictionary(readAll(path)), (QVariantMap{{"a", qint64(2)}, {"b", QStringLiteral("two")}}));
    // Nothing new in it: no change at all.
    d.setValues({{"a", qint64(2)}});
    EXPECT_EQ(changed.count(), 1);
}

TEST(PlistDefaultsDomain, anUnreadableFileIsMovedAsideNotOverwritten)
{
    for (const QByteArray& garbage : {QByteArray("this is not a property list"),
                                      QByteArray("<?xml version=\"1.0\"?><plist><dict><key>a</key>"),
                                      QByteArray("<?xml version=\"1.0\"?><plist><array/></plist>"),
                                      QByteArray("bplist00\x01\x02garbage", 18), QByteArray("   \n")}) {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("defaults.plist"));
        writeAll(path, garbage);
        PlistDefaultsDomain d(path);
        EXPECT_TRUE(d.keys().isEmpty());
        ASSERT_FALSE(d.movedAsidePath().isEmpty()) << garbage.constData();
        EXPECT_TRUE(QFileInfo(d.movedAsidePath()).fileName().startsWith("defaults.plist.corrupt-"));
        EXPECT_EQ(readAll(d.movedAsidePath()), garbage);  // nothing lost
        d.setValue("fresh", true);
        ASSERT_TRUE(d.synchronize());
        EXPECT_EQ(readAll(d.movedAsidePath()), garbage);
        EXPECT_EQ(PlistCodec::parseDictionary(readAll(path)), (QVariantMap{{"fresh", true}}));
    }
}

TEST(PlistDefaultsDomain, readsBinaryPropertyListsToo)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("defaults.plist"));
    // A binary plist of {"k": 7}, as written by another tool.
    const QByteArray binary = QByteArray::fromHex(
        "62706c6973743030d10102516b1007080b0d000000000000010100000000000000030000000000000000000000000000000f");
    writeAll(path, binary);
    PlistDefaultsDomain d(path);
    EXPECT_EQ(d.integerValue("k"), 7);
    EXPECT_TRUE(d.movedAsidePath().isEmpty());
}

TEST(PlistDefaultsDomain, noticesAnotherProcessChangingTheFile)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("tamsinvale/defaults.plist"));
    PlistDefaultsDomain d(path);
    d.setValue("mine", true);
    ASSERT_TRUE(d.synchronize());
    QSignalSpy changed(&d, &DefaultsDomain::changed);

    // Our own write is not reported back as an outside change.
    QCoreApplication::processEvents();
    EXPECT_EQ(changed.count(), 0);

    // Another program replaces the file, as editors and `defaults`-like tools do.
    const QString temp = path + QStringLiteral(".other");
    writeAll(temp, PlistCodec::toXml(QVariantMap{{"theirs", qint64(5)}}));
    ASSERT_EQ(::rename(QFile::encodeName(temp).constData(), QFile::encodeName(path).constData()), 0);
    ASSERT_TRUE(test::waitUntil([&] { return changed.count() > 0; }));
    EXPECT_EQ(d.integerValue("theirs"), 5);
    EXPECT_FALSE(d.value("mine"));

    // And an edit in place of the new file.
    const int seen = changed.count();
    writeAll(path, PlistCodec::toXml(QVariantMap{{"theirs", qint64(6)}}));
    ASSERT_TRUE(test::waitUntil([&] { return d.integerValue("theirs") == 6; }));
    EXPECT_GT(changed.count(), seen);
}

TEST(PlistDefaultsDomain, noticesTheFirstFileWrittenByAnotherProgram)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("fresh/tamsinvale/defaults.plist"));
    PlistDefaultsDomain d(path);  // nothing on disk yet, not even the folder
    QSignalSpy changed(&d, &DefaultsDomain::changed);
    writeAll(path, PlistCodec::toXml(QVariantMap{{"first", true}}));
    ASSERT_TRUE(test::waitUntil([&] { return d.boolValue("first") == true; }));
    EXPECT_GE(changed.count(), 1);
}

TEST(PlistDefaultsDomain, standardPathFollowsXdgConfigHome)
{
    const QByteArray saved = qgetenv("XDG_CONFIG_HOME");
    qputenv("XDG_CONFIG_HOME", "/tmp/somewhere");
    EXPECT_EQ(PlistDefaultsDomain::standardPath(), QStringLiteral("/tmp/somewhere/tamsinvale/defaults.plist"));
    qputenv("XDG_CONFIG_HOME", "");
    EXPECT_EQ(PlistDefaultsDomain::standardPath(), QDir::homePath() + QStringLiteral("/.config/tamsinvale/defaults.plist"));
    qputenv("XDG_CONFIG_HOME", saved);
}

TEST(PlistDefaultsDomain, changesReachTheFileByThemselvesAtomicallyAndThoseLeftAtTheEndAreWritten)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("tamsinvale/defaults.plist"));
    {
        PlistDefaultsDomain d(path);
        d.setValue("count", qint64(1));
        ASSERT_TRUE(d.synchronize());
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup);

        // A change goes to disk on the next turn of the event loop, without anyone asking: the file is replaced
        // whole (its permissions kept, no temporary left beside it).
        d.setValue("count", qint64(2));
        ASSERT_TRUE(test::waitUntil([&] { return PlistDefaultsDomain(path).integerValue("count") == 2; }));
        EXPECT_EQ(QFile::permissions(path) & (QFile::ReadGroup | QFile::ReadOther), QFile::ReadGroup);
        EXPECT_EQ(QDir(QFileInfo(path).absolutePath()).entryList(QDir::Files), QStringList{"defaults.plist"});

        // One made just before we go, with no turn of the event loop left, is written as we go.
        d.setValue("count", qint64(3));
    }
    EXPECT_EQ(PlistDefaultsDomain(path).integerValue("count"), 3);
}

TEST(PlistDefaultsDomain, aWriteThatFailsIsToldAndTriedAgain)
{
    QTemporaryDir dir;
    // A file where the folder should be: no write can succeed, even as root.
    const QString blocker = dir.filePath(QStringLiteral("tamsinvale"));
    writeAll(blocker, "not a folder");
    const QString path = blocker + QStringLiteral("/defaults.plist");
    test::LogCapture log("tamsinvale.defaults");
    PlistDefaultsDomain d(path);
    d.setValue("kept", qint64(7));
    EXPECT_FALSE(d.synchronize());
    ASSERT_FALSE(log.lines().isEmpty());
    EXPECT_TRUE(log.lines().last().startsWith(QStringLiteral("could not write settings file ") + path))
        << log.lines().last().toStdString();

    ASSERT_TRUE(QFile::remove(blocker));
    ASSERT_TRUE(QDir().mkpath(blocker));
    EXPECT_TRUE(d.synchronize()) << "the value that could not be written was given up";
    EXPECT_EQ(PlistCodec::parseDictionary(readAll(path)), (QVariantMap{{"kept", qint64(7)}}));
}
