#include "testsupport.h"
#include "transstatus.h"

#include <gtest/gtest.h>

using testing_support::flags;

namespace {

TransStatus makeStatus(bool failure, bool warning) {
    TransStatus status;
    status.failure(failure);
    status.warning(warning);
    return status;
}

} // namespace

TEST(Status, StartsCleanAndSettersReturnThePreviousValue) {
    TransStatus status;
    EXPECT_EQ(flags(status), "none");
    EXPECT_FALSE(status.warning(true));
    EXPECT_TRUE(status.warning(true));
    EXPECT_EQ(flags(status), "W");
    EXPECT_FALSE(status.failure(true));
    EXPECT_TRUE(status.failure(false));
    EXPECT_TRUE(status.warning(false));
    EXPECT_EQ(flags(status), "none");
}

TEST(Status, OrdersOnlyCleanBeforeFailedWithWarning) {
    for (int left = 0; left < 4; ++left) {
        for (int right = 0; right < 4; ++right) {
            TransStatus const a = makeStatus(left & 1, left & 2);
            TransStatus const b = makeStatus(right & 1, right & 2);
            EXPECT_EQ(a < b, left == 0 && right == 3) << flags(a) << " < " << flags(b);
        }
    }
}

TEST(Status, CopiesAreIndependentOfTheOriginal) {
    TransStatus original = makeStatus(true, false);
    TransStatus copy(original);
    TransStatus assigned;
    assigned = original;
    original.reset();
    EXPECT_EQ(flags(copy), "F");
    EXPECT_EQ(flags(assigned), "F");
    copy.warning(true);
    EXPECT_EQ(flags(original), "none");
    TransStatus const& self = assigned;
    assigned = self;
    EXPECT_EQ(flags(assigned), "F");
}

TEST(Status, SwapExchangesTheFlagsAndResetClearsBoth) {
    TransStatus first = makeStatus(true, true);
    TransStatus second;
    first.swap(second);
    EXPECT_EQ(flags(first), "none");
    EXPECT_EQ(flags(second), "F+W");
    second.reset();
    EXPECT_EQ(flags(second), "none");
}
