// Relative dates worded by ICU in the user's language, with the largest whole unit; and the threshold labels.
#include <gtest/gtest.h>

#include "inactive/InactiveThreshold.h"
#include "inactive/RelativeDateText.h"

using namespace tamsinvale;

namespace {
const QDateTime now(QDate(2026, 3, 15), QTime(9, 30), Qt::UTC);
QString ago(qint64 seconds, const QLocale& locale = QLocale(QLocale::English, QLocale::UnitedStates))
{
    return RelativeDateText::describe(now.addSecs(-seconds), now, locale);
}
}  // namespace

TEST(RelativeDateText, picksTheLargestWholeUnitAndWordsItForTheLocale)
{
    EXPECT_EQ(ago(80 * 3600), "3 days ago");
    EXPECT_EQ(ago(49 * 3600), "2 days ago");
    EXPECT_EQ(ago(24 * 3600), "1 day ago");
    EXPECT_EQ(ago(13 * 3600), "13 hours ago");
    EXPECT_EQ(ago(90), "1 minute ago");
    EXPECT_EQ(ago(10 * 86400), "1 week ago");
    EXPECT_EQ(ago(40 * 86400), "1 month ago");
    EXPECT_EQ(ago(400 * 86400), "1 year ago");
    EXPECT_EQ(RelativeDateText::describe(now.addSecs(2 * 3600), now, QLocale(QLocale::English)), "in 2 hours");
    EXPECT_EQ(ago(49 * 3600, QLocale(QLocale::German, QLocale::Germany)), "vor 2 Tagen");
    EXPECT_EQ(ago(49 * 3600, QLocale(QLocale::French, QLocale::France)), "il y a 2 jours");
    // The C locale (LANG=C) speaks English.
    EXPECT_EQ(ago(49 * 3600, QLocale::c()), "2 days ago");
}

TEST(InactiveThreshold, choicesInOrderAndLabelsForOtherValues)
{
    QStringList labels;
    QList<double> hours;
    for (const InactiveThreshold& t : InactiveThreshold::choices()) {
        labels << t.label;
        hours << t.hours;
    }
    EXPECT_EQ(labels, (QStringList{"12 hours", "24 hours", "48 hours", "3 days", "1 week"}));
    EXPECT_EQ(hours, (QList<double>{12, 24, 48, 72, 168}));
    EXPECT_EQ(InactiveThreshold::labelFor(72), "3 days");
    EXPECT_EQ(InactiveThreshold::labelFor(36), "36 hours");
    EXPECT_EQ(InactiveThreshold::labelFor(1.5), "1.5 hours");
    EXPECT_EQ(InactiveThreshold::labelFor(1), "1 hour");
    EXPECT_EQ(InactiveThreshold::labelFor(120), "5 days");
    EXPECT_EQ(InactiveThreshold::sanitized(-3), 48);
    EXPECT_EQ(InactiveThreshold::sanitized(std::nan("")), 48);
    EXPECT_EQ(InactiveThreshold::sanitized(6), 6);
}
