// The library's table of requests beside what the tests expect of them.
#include "lte_sdk/request_table.h"
#include "support/expected_requests.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace request_table_test {

using namespace lterouter;
using namespace testing_support;

TEST(RequestTable, has_the_rows_that_the_tests_expect)
{
    std::set<std::string> expected;
    for (const ExpectedRequest &request : kExpectedRequests) {
        expected.insert(request.function);
    }
#define IN_TABLE(function, message, module, its_body, its_answer, timeout_ms) #function,
    const std::set<std::string> table = {LCT_REQUESTS(IN_TABLE)};
#undef IN_TABLE
    EXPECT_EQ(table, expected) << "each stands in lte_sdk/request_table.h and in support/requests.inc";
}

TEST(RequestTable, agrees_with_the_tests_in_every_number)
{
#define EXPECT_BODY(function, message, module, its_body, its_answer, timeout_ms)          \
    EXPECT_EQ(body::its_body.least, expected_request(#function).body_least) << #function; \
    EXPECT_EQ(body::its_body.most, expected_request(#function).body_most) << #function;   \
    EXPECT_EQ(uint32_t{message}, expected_request(#function).msg_id) << #function;        \
    EXPECT_EQ(uint32_t{module}, expected_request(#function).module_id) << #function;      \
    EXPECT_EQ(answer::its_answer.room, expected_request(#function).room) << #function;    \
    EXPECT_EQ(uint32_t{timeout_ms}, expected_request(#function).timeout) << #function;
    LCT_REQUESTS(EXPECT_BODY)
#undef EXPECT_BODY
}

} // namespace request_table_test
