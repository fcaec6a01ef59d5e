// The window list's read batches: one read per batch however deeply nested, a fresh read outside, stray ends harmless.
#include <gtest/gtest.h>

#include "platform/macos/portable/MacBatchedRead.h"

using namespace tamsinvale;

TEST(MacBatchedRead, outsideABatchEveryGetReadsAfresh)
{
    int reads = 0;
    MacBatchedRead<int> list([&reads] { return ++reads; });
    EXPECT_EQ(list.get(), 1);
    EXPECT_EQ(list.get(), 2);
}

TEST(MacBatchedRead, insideNestedBatchesTheFirstAnswerStands)
{
    int reads = 0;
    MacBatchedRead<int> list([&reads] { return ++reads; });
    list.begin();
    EXPECT_EQ(list.get(), 1);
    list.begin();
    EXPECT_EQ(list.get(), 1);
    list.end();
    // The inner end does not finish the outer batch.
    EXPECT_EQ(list.get(), 1);
    list.end();
    EXPECT_EQ(reads, 1);
    // The next batch reads again.
    list.begin();
    EXPECT_EQ(list.get(), 2);
    list.end();
}

TEST(MacBatchedRead, aBatchWithoutReadsReadsNothingAndStrayEndsAreIgnored)
{
    int reads = 0;
    MacBatchedRead<int> list([&reads] { return ++reads; });
    list.begin();
    list.end();
    EXPECT_EQ(reads, 0);
    list.end();
    list.end();
    EXPECT_EQ(list.depth(), 0);
    list.begin();
    EXPECT_EQ(list.depth(), 1);
    EXPECT_EQ(list.get(), 1);
    EXPECT_EQ(list.get(), 1);
    list.end();
    EXPECT_EQ(list.get(), 2);
}

TEST(MacBatchedRead, anUnreadableListIsKeptAsUnreadableForTheBatch)
{
    int reads = 0;
    MacBatchedRead<std::optional<int>> list([&reads]() -> std::optional<int> {
        ++reads;
        return std::nullopt;
    });
    list.begin();
    EXPECT_FALSE(list.get().has_value());
    EXPECT_FALSE(list.get().has_value());
    list.end();
    EXPECT_EQ(reads, 1);
}
