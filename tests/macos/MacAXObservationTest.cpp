// Observing an application: it works when any asked-for notification was added; otherwise the first refusal is the
// status the caller logs.
#include <gtest/gtest.h>

#include "platform/macos/portable/MacAXObservation.h"

using namespace tamsinvale;

TEST(MacAXObservation, anyAddedNotificationMeansObserved)
{
    // An application that does not send window creations is still followed for focus changes.
    const auto partly = axObservationOutcome({AXError::success, AXError::notificationUnsupported, AXError::success});
    EXPECT_TRUE(partly.observed);
    EXPECT_EQ(partly.status, AXError::success);
    const auto lastOnly = axObservationOutcome({AXError::cannotComplete, AXError::success});
    EXPECT_TRUE(lastOnly.observed);
    EXPECT_EQ(lastOnly.status, AXError::success);
}

TEST(MacAXObservation, allRefusedGivesTheFirstRefusal)
{
    const auto refused = axObservationOutcome({AXError::cannotComplete, AXError::notificationUnsupported});
    EXPECT_FALSE(refused.observed);
    EXPECT_EQ(refused.status, AXError::cannotComplete);
    // A code the interface does not name is passed on as the number it is.
    const auto unnamed = axObservationOutcome({static_cast<AXError>(-25209)});
    EXPECT_FALSE(unnamed.observed);
    EXPECT_EQ(int(unnamed.status), -25209);
}

TEST(MacAXObservation, askingForNothingIsNoFailure)
{
    const auto nothing = axObservationOutcome({});
    EXPECT_TRUE(nothing.observed);
    EXPECT_EQ(nothing.status, AXError::success);
}
