#include "transassert.h"
#include "transstatus.h"

#include <gtest/gtest.h>
#include <string>

namespace {

int checkedLine = 0;

// A regular expression that matches the text literally.
std::string literal(std::string const& text) {
    std::string pattern;
    for (char c : text) {
        if (std::string(".[]{}()*+?^$|\\").find(c) != std::string::npos) {
            pattern += '\\';
        }
        pattern += c;
    }
    return pattern;
}

// The same check as the status-less TransString::asUTF16(); records the line of its assertion.
void checkStatusForAsUTF16(TransStatus const& status) {
    checkedLine = __LINE__ + 1;
    TRANS_ASSERT(! status.failure() && "Failure: TransString::asUTF16()");
}

class Assert : public testing::Test {
protected:
    void SetUp() override { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

} // namespace

TEST_F(Assert, PassingConditionContinuesAndIsEvaluatedOnce) {
    int evaluations = 0;
    TRANS_ASSERT(++evaluations == 1);
    EXPECT_EQ(evaluations, 1);
    checkStatusForAsUTF16(TransStatus());
}

TEST_F(Assert, FailingConditionPrintsFileLineFunctionAndWholeCondition) {
    TransStatus failed;
    failed.failure(true);
    checkedLine = 0;
    checkStatusForAsUTF16(TransStatus()); // records the line of the assertion
    std::string const location = "assert_test.cpp:" + std::to_string(checkedLine) + ": ";
    // "prog: file:line: function: Assertion `condition' failed."
    std::string const expected =
        "^transspace_tests: .*" + literal(location) + ".*" +
        literal("checkStatusForAsUTF16(const TransStatus&): ") +
        literal("Assertion `! status.failure() && \"Failure: TransString::asUTF16()\"' failed.");
    EXPECT_DEATH(checkStatusForAsUTF16(failed), expected);
}
