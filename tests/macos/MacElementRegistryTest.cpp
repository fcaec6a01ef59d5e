// The accessibility backend's element table, with stand-in handles: equal elements share one reference, numbers are
// never 0 and never reused, and every retain is matched by one release.
#include <gtest/gtest.h>

#include "platform/macos/portable/MacElementRegistry.h"

#include <map>

using namespace tamsinvale;

namespace {

// A stand-in element: two distinct objects with the same identity are equal, as two AXUIElementRefs for one window are.
struct StandIn {
    int identity;
};

struct Counts {
    std::map<const void*, int> retains;
    int releases = 0;
};

MacElementRegistry::Operations operations(Counts& counts, bool collideHashes = false)
{
    return {
        [collideHashes](MacElementRegistry::Handle h) {
            return collideHashes ? std::size_t(7) : std::size_t(static_cast<const StandIn*>(h)->identity);
        },
        [](MacElementRegistry::Handle a, MacElementRegistry::Handle b) {
            return static_cast<const StandIn*>(a)->identity == static_cast<const StandIn*>(b)->identity;
        },
        [&counts](MacElementRegistry::Handle h) { ++counts.retains[h]; },
        [&counts](MacElementRegistry::Handle h) {
            ++counts.releases;
            --counts.retains[h];
        },
    };
}

int outstanding(const Counts& counts)
{
    int n = 0;
    for (const auto& [h, c] : counts.retains)
        n += c;
    return n;
}

}  // namespace

TEST(MacElementRegistry, equalElementsShareOneReferenceAndOneRetain)
{
    for (const bool collide : {false, true}) {
        Counts counts;
        MacElementRegistry registry(operations(counts, collide));
        StandIn windowA{1}, sameWindowAgain{1}, windowB{2};
        const auto a = registry.refFor(&windowA, 812);
        const auto again = registry.refFor(&sameWindowAgain, 812);
        const auto b = registry.refFor(&windowB, 812);
        EXPECT_NE(a, 0u);
        EXPECT_NE(b, 0u);
        EXPECT_EQ(a, again) << "collide=" << collide;
        EXPECT_NE(a, b) << "collide=" << collide;
        EXPECT_EQ(registry.size(), 2);
        // The first handle seen is the one kept, retained once.
        EXPECT_EQ(counts.retains[&windowA], 1);
        EXPECT_EQ(counts.retains[&sameWindowAgain], 0);
        ASSERT_TRUE(registry.find(a).has_value());
        EXPECT_EQ(registry.find(a)->handle, &windowA);
        EXPECT_EQ(registry.find(a)->pid, 812);
    }
}

TEST(MacElementRegistry, aNullHandleHasNoReference)
{
    Counts counts;
    MacElementRegistry registry(operations(counts));
    EXPECT_EQ(registry.refFor(nullptr, 1), 0u);
    EXPECT_EQ(registry.size(), 0);
    EXPECT_FALSE(registry.find(0).has_value());
}

TEST(MacElementRegistry, forgottenElementsAreReleasedAndTheirNumbersNeverReturn)
{
    Counts counts;
    MacElementRegistry registry(operations(counts, true));
    StandIn closedWindow{1}, otherWindow{2};
    const auto closed = registry.refFor(&closedWindow, 812);
    const auto other = registry.refFor(&otherWindow, 812);
    registry.forget(closed);
    EXPECT_FALSE(registry.find(closed).has_value());
    EXPECT_EQ(counts.retains[&closedWindow], 0);
    // The other element, sharing the hash bucket, is untouched.
    ASSERT_TRUE(registry.find(other).has_value());
    EXPECT_EQ(registry.refFor(&otherWindow, 812), other);
    // The same window seen again is a new listing under a new number: an old number never names another element.
    const auto seenAgain = registry.refFor(&closedWindow, 812);
    EXPECT_NE(seenAgain, closed);
    EXPECT_NE(seenAgain, other);
    registry.forget(closed);  // twice, or an unknown number: nothing happens
    registry.forget(9999);
    EXPECT_EQ(registry.size(), 2);
}

TEST(MacElementRegistry, anEndedProcessTakesOnlyItsOwnElements)
{
    Counts counts;
    MacElementRegistry registry(operations(counts));
    StandIn a1{1}, a2{2}, b1{3};
    const auto r1 = registry.refFor(&a1, 100);
    const auto r2 = registry.refFor(&a2, 100);
    const auto r3 = registry.refFor(&b1, 200);
    registry.forgetProcess(100);
    EXPECT_FALSE(registry.find(r1).has_value());
    EXPECT_FALSE(registry.find(r2).has_value());
    EXPECT_TRUE(registry.find(r3).has_value());
    EXPECT_EQ(counts.releases, 2);
    EXPECT_EQ(outstanding(counts), 1);
}

TEST(MacElementRegistry, everyRetainIsReleasedWhenTheTableGoes)
{
    Counts counts;
    StandIn a{1}, b{2}, c{3};
    {
        MacElementRegistry registry(operations(counts));
        registry.refFor(&a, 1);
        registry.refFor(&b, 1);
        registry.refFor(&c, 2);
        registry.forget(registry.refFor(&b, 1));
    }
    EXPECT_EQ(outstanding(counts), 0);
    EXPECT_EQ(counts.releases, 3);
}
