// Wallpaper rotation on the simulated desktop in virtual time: when it is on, when a change is due, which picture
// comes next, the interval rule, the stored last-change date, and the overlays following a change.
#include <gtest/gtest.h>

#include <QFile>
#include <QImage>
#include <QTemporaryDir>

#include "../TestSupport.h"
#include "../dimming/DimmingTestSupport.h"
#include "platform/fake/FakeDesktop.h"
#include "settings/SettingsStore.h"
#include "wallpapers/WallpaperRotator.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

constexpr double hour = 3600;

struct Rotation {
    QTemporaryDir dir;
    FakeDesktop desktop;
    SettingsStore settings{desktop.defaults};
    int appearanceRequests = 0;
    std::unique_ptr<WallpaperRotator> rotator;

    // A real picture file, resolvable through the fake bookmarks.
    QString picture(const QString& name, QColor colour = Qt::darkGreen)
    {
        QImage image(64, 48, QImage::Format_RGB32);
        image.fill(colour);
        const QString path = dir.filePath(name);
        image.save(path, "PNG");
        desktop.bookmarks.addFile(path);
        return path;
    }
    void setSet(const QStringList& paths, int hours)
    {
        settings.update([&](Settings& s) {
            s.wallpaperRotationBookmarks.clear();
            for (const QString& p : paths)
                s.wallpaperRotationBookmarks.append(desktop.bookmarks.create(p));
            s.wallpaperRotationHours = hours;
        });
    }
    void setCurrent(const QString& path)
    {
        settings.set(&Settings::focusDimBackgroundImageBookmark, std::optional<QByteArray>(desktop.bookmarks.create(path)));
    }
    std::optional<QString> current() const
    {
        const auto& b = settings.settings().focusDimBackgroundImageBookmark;
        return b ? desktop.bookmarks.resolve(*b) : std::nullopt;
    }
    void setLastChange(const QVariant& value) { desktop.defaults.setValue(WallpaperRotator::keyLastChange, value); }
    QDateTime now() const { return desktop.scheduler.currentDateTime(); }
    WallpaperRotator& make()
    {
        rotator = std::make_unique<WallpaperRotator>(desktop.platform(), settings, [this] { ++appearanceRequests; });
        return *rotator;
    }
};

}  // namespace

TEST(WallpaperRotator, theFiveIntervalsAndWhenRotationIsOn)
{
    QStringList labels;
    QList<int> hours;
    for (const RotationInterval& choice : WallpaperRotator::intervals()) {
        labels << choice.label;
        hours << choice.hours;
    }
    EXPECT_EQ(labels, (QStringList{"Never", "Every hour", "Every 3 hours", "Twice a day", "Once a day"}));
    EXPECT_EQ(hours, (QList<int>{0, 1, 3, 12, 24}));
    EXPECT_EQ(WallpaperRotator::intervalLabel(12), QStringLiteral("Twice a day"));
    EXPECT_EQ(WallpaperRotator::intervalLabel(6), QStringLiteral("Every 6 hours"));

    Rotation r;
    const QString a = r.picture("a.png"), b = r.picture("b.png"), c = r.picture("c.png");
    // "Never": no change ever, whatever the set.
    r.setSet({a, b, c}, 0);
    WallpaperRotator& rotator = r.make();
    rotator.start();
    r.desktop.scheduler.advance(72 * hour);
    EXPECT_FALSE(rotator.isActive());
    EXPECT_FALSE(r.current());
    EXPECT_FALSE(r.desktop.defaults.value(WallpaperRotator::keyLastChange));

    // One picture: inactive even with an interval; no "Next Wallpaper" either.
    r.setSet({a}, 1);
    r.desktop.scheduler.advance(72 * hour);
    EXPECT_FALSE(rotator.isActive());
    EXPECT_FALSE(rotator.isConfigured());
    EXPECT_FALSE(r.current());

    // An empty set with an interval: nothing to do, and nothing breaks.
    r.setSet({}, 24);
    EXPECT_FALSE(rotator.rotate());
    EXPECT_FALSE(rotator.isActive());

    // Two pictures and an interval: on, and the check timer is the 5-minute one with a minute of slack.
    QList<bool> activity;
    QObject::connect(&rotator, &WallpaperRotator::activeChanged, [&](bool on) { activity << on; });
    r.setSet({a, b}, 3);
    EXPECT_TRUE(rotator.isActive());
    EXPECT_EQ(activity, QList<bool>{true});
    const auto tolerances = r.desktop.scheduler.repeatTolerances();
    ASSERT_EQ(tolerances.count(300.0), 1u);
    EXPECT_EQ(tolerances.find(300.0)->second, 60.0);
}

TEST(WallpaperRotator, aChangeIsDueOnceTheIntervalHasPassedSinceTheStoredDate)
{
    // Nothing stored: the first check changes the picture at once, and the change is stored as a date.
    {
        Rotation r;
        const QString a = r.picture("a.png"), b = r.picture("b.png");
        r.setSet({a, b}, 3);
        r.make().start();
        ASSERT_TRUE(r.current());
        const auto stored = r.desktop.defaults.value(WallpaperRotator::keyLastChange);
        ASSERT_TRUE(stored);
        EXPECT_EQ(stored->metaType(), QMetaType::fromType<QDateTime>());
        EXPECT_EQ(stored->toDateTime(), r.now());
        EXPECT_EQ(r.appearanceRequests, 1) << "focus dimming is asked to show the new picture";
    }
    // Five hours ago with "Every 3 hours": the first check after start changes it.
    {
        Rotation r;
        const QString a = r.picture("a.png"), b = r.picture("b.png");
        r.setSet({a, b}, 3);
        r.setCurrent(a);
        r.setLastChange(r.now().addSecs(-5 * 3600));
        r.make().start();
        EXPECT_EQ(r.current(), b);
    }
    // One hour ago with "Every 3 hours": not yet; the 5-minute check makes it within one check of the 3 hours.
    {
        Rotation r;
        const QString a = r.picture("a.png"), b = r.picture("b.png");
        r.setSet({a, b}, 3);
        r.setCurrent(a);
        const QDateTime last = r.now().addSecs(-3600);
        r.setLastChange(last);
        r.make().start();
        EXPECT_EQ(r.current(), a);
        r.desktop.scheduler.advance(2 * hour - 1);
        EXPECT_EQ(r.current(), a) << "not due one second before the interval";
        r.desktop.scheduler.advance(WallpaperRotator::checkInterval);
        EXPECT_EQ(r.current(), b);
        const QDateTime changedAt = r.desktop.defaults.value(WallpaperRotator::keyLastChange)->toDateTime();
        EXPECT_GE(last.secsTo(changedAt), 3 * 3600);
        EXPECT_LE(last.secsTo(changedAt), 3 * 3600 + 300);
        // And the next one three hours after that change.
        r.desktop.scheduler.advance(3 * hour - 301);
        EXPECT_EQ(r.current(), b);
        r.desktop.scheduler.advance(301 + 300);
        EXPECT_EQ(r.current(), a);
    }
}

TEST(WallpaperRotator, anUnreadableOrFutureLastChangeNeverStopsTheRotation)
{
    // Not a date (a hand-edited file): taken as never, so the first check changes, and a date is written back.
    {
        Rotation r;
        const QString a = r.picture("a.png"), b = r.picture("b.png");
        r.setSet({a, b}, 24);
        r.setCurrent(a);
        r.setLastChange(QStringLiteral("yesterday"));
        LogCapture log("tamsinvale.wallpapers");
        WallpaperRotator& rotator = r.make();
        EXPECT_FALSE(rotator.lastChange());
        rotator.start();
        EXPECT_EQ(r.current(), b);
        EXPECT_TRUE(log.has(QStringLiteral("does not hold a date"))) << log.dump().toStdString();
        EXPECT_EQ(r.desktop.defaults.value(WallpaperRotator::keyLastChange)->toDateTime(), r.now());
    }
    // A date in the future (the clock was set back): the interval counts from now instead of from then.
    {
        Rotation r;
        const QString a = r.picture("a.png"), b = r.picture("b.png");
        r.setSet({a, b}, 1);
        r.setCurrent(a);
        r.setLastChange(r.now().addDays(400));
        r.make().start();
        EXPECT_EQ(r.current(), a);
        EXPECT_EQ(r.rotator->lastChange(), r.now());
        r.desktop.scheduler.advance(hour + 300);
        EXPECT_EQ(r.current(), b);
    }
}

TEST(WallpaperRotator, neverTheSamePictureTwiceAndVanishedFilesAreSkipped)
{
    Rotation r;
    const QString a = r.picture("a.png"), b = r.picture("b.png"), c = r.picture("c.png"), d = r.picture("d.png");
    // Two pictures, one of them current: every change picks the other.
    r.setSet({a, b}, 1);
    r.setCurrent(a);
    WallpaperRotator& rotator = r.make();
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(rotator.rotate());
        EXPECT_EQ(r.current(), i % 2 == 0 ? b : a);
    }

    // Four pictures: no picture twice in a row, and every one of them comes up.
    r.setSet({a, b, c, d}, 1);
    QSet<QString> seen;
    std::optional<QString> previous = r.current();
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(rotator.rotate());
        const auto now = r.current();
        ASSERT_TRUE(now);
        EXPECT_NE(now, previous);
        seen.insert(*now);
        previous = now;
    }
    EXPECT_EQ(seen, (QSet<QString>{a, b, c, d}));

    // The same picture through a symbolic link counts as the current one.
    const QString link = r.dir.filePath("current-link.png");
    ASSERT_TRUE(QFile::link(c, link));
    r.desktop.bookmarks.addFile(link);
    r.setSet({link, d}, 1);
    r.setCurrent(c);
    EXPECT_TRUE(rotator.contains(c));
    ASSERT_TRUE(rotator.rotate());
    EXPECT_EQ(r.current(), d);

    // Files deleted after the set was read are skipped; with only the current one left there is nothing to do.
    r.setSet({a, b, c}, 1);
    r.setCurrent(a);
    QFile::remove(b);
    ASSERT_TRUE(rotator.rotate());
    EXPECT_EQ(r.current(), c);
    const auto stamp = r.desktop.defaults.value(WallpaperRotator::keyLastChange);
    r.desktop.scheduler.advance(10);
    QFile::remove(a);
    EXPECT_FALSE(rotator.rotate());
    EXPECT_EQ(r.current(), c);
    EXPECT_EQ(r.desktop.defaults.value(WallpaperRotator::keyLastChange), stamp) << "no change, no new date";

    // A bookmark that no longer resolves is left out of the set (it stays in the settings until rewritten).
    r.desktop.bookmarks.removeFile(d);
    r.setSet({c, d, r.picture("e.png")}, 1);
    EXPECT_EQ(rotator.urls(), (QStringList{c, r.dir.filePath("e.png")}));
    EXPECT_EQ(r.settings.settings().wallpaperRotationBookmarks.size(), 3);
    rotator.add(r.picture("f.png"));
    EXPECT_EQ(r.settings.settings().wallpaperRotationBookmarks.size(), 3) << "rewritten from the resolved set";
}

TEST(WallpaperRotator, settingTheIntervalStartsTheSetWithTheCurrentPictureAndWaitsOneFullInterval)
{
    Rotation r;
    const QString a = r.picture("a.png"), b = r.picture("b.png");
    r.setCurrent(a);
    WallpaperRotator& rotator = r.make();
    rotator.start();
    r.desktop.scheduler.advance(50);

    rotator.setIntervalHours(3);
    EXPECT_EQ(rotator.urls(), QStringList{a}) << "the current background joins an empty set";
    EXPECT_EQ(r.settings.settings().wallpaperRotationHours, 3);
    EXPECT_EQ(rotator.lastChange(), r.now());
    EXPECT_FALSE(rotator.isActive());

    rotator.add(b);
    rotator.add(b);
    EXPECT_EQ(rotator.urls(), (QStringList{a, b}));
    EXPECT_TRUE(rotator.isActive());
    // The first change comes one full interval after the interval was set, not at the next check.
    r.desktop.scheduler.advance(3 * hour - 60);
    EXPECT_EQ(r.current(), a);
    r.desktop.scheduler.advance(360);
    EXPECT_EQ(r.current(), b);

    // Setting it again restarts the count; "Never" stops the rotation but keeps the set.
    r.desktop.scheduler.advance(2 * hour);
    rotator.setIntervalHours(1);
    r.desktop.scheduler.advance(hour - 60);
    EXPECT_EQ(r.current(), b);
    rotator.setIntervalHours(0);
    r.desktop.scheduler.advance(10 * hour);
    EXPECT_EQ(r.current(), b);
    EXPECT_EQ(rotator.urls(), (QStringList{a, b}));
    EXPECT_TRUE(rotator.isConfigured()) << "\"Next Wallpaper\" still steps through the set";

    rotator.remove(a);
    EXPECT_EQ(rotator.urls(), QStringList{b});

    // With no background to start from, the set stays empty.
    Rotation empty;
    WallpaperRotator& other = empty.make();
    other.setIntervalHours(24);
    EXPECT_TRUE(other.urls().isEmpty());
    EXPECT_EQ(other.lastChange(), empty.now());
}

TEST(WallpaperRotator, switchingDimmingOnWithoutABackgroundTakesOneFromTheSet)
{
    Rotation r;
    const QString a = r.picture("a.png"), b = r.picture("b.png");
    r.setSet({a, b}, 12);
    r.setLastChange(r.now());
    WallpaperRotator& rotator = r.make();
    rotator.dimmingEnabled(false);
    ASSERT_TRUE(r.current());
    const auto first = r.current();
    rotator.dimmingEnabled(true);
    EXPECT_EQ(r.current(), first) << "with a background, only the schedule decides";
}

TEST(WallpaperRotator, theOverlaysShowTheNewPictureAfterAChange)
{
    QTemporaryDir dir;
    DimmingDesktop d;
    auto write = [&](const QString& name, QColor colour) {
        QImage image(320, 200, QImage::Format_RGB32);
        image.fill(colour);
        const QString path = dir.filePath(name);
        image.save(path, "PNG");
        d.desktop.bookmarks.addFile(path);
        return path;
    };
    const QString red = write("red.png", Qt::red), blue = write("blue.png", Qt::blue);
    d.settings.update([&](Settings& s) {
        s.wallpaperRotationBookmarks = {d.desktop.bookmarks.create(red), d.desktop.bookmarks.create(blue)};
        s.wallpaperRotationHours = 1;
        s.focusDimBackgroundImageBookmark = d.desktop.bookmarks.create(red);
    });
    d.window(10, DimmingDesktop::onLeft());
    d.activate(10);
    d.start();
    auto centre = [&] {
        const auto* panel = static_cast<const FakeOverlayPanel*>(d.overlay(DimmingDesktop::left));
        const auto& picture = panel->appearance().picture;
        return picture ? picture->pixel(picture->width() / 2, picture->height() / 2) : QRgb(0);
    };
    EXPECT_EQ(centre(), QColor(Qt::red).rgb());
    FocusDimmer* dimmer = d.dimmer.get();
    WallpaperRotator rotator(d.desktop.platform(), d.settings, [dimmer] { dimmer->applyAppearance(); });
    ASSERT_TRUE(rotator.rotate());
    EXPECT_EQ(centre(), QColor(Qt::blue).rgb());
}
