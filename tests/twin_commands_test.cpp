// The console's commands as other threads hand them in.
#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/twin_world.h"
#include "twin/boundary/bus.h"
#include "twin/console/commands.h"
#include "twin/console/requests.h"
#include "twin/console/words.h"

namespace {

using testing::ElementsAre;

TEST(TwinWords, AWaitsValueMayBeQuotedAndALastNumberIsItsLimit) {
    struct Case {
        const char* text;
        const char* value;
        const char* limit;
    };
    const Case cases[] = {
        {"stop", "stop", nullptr},
        {" stop  2.5 ", "stop", "2.5"},
        {"two  words", "two  words", nullptr},
        {"two  words 3", "two  words", "3"},
        {"5", "5", nullptr},
        {"5 6", "5", "6"},
        {"\"\"", "", nullptr},
        {"\"\" 7", "", "7"},
        {"\"a 5\"", "a 5", nullptr},
        {"\"a 5\" 8", "a 5", "8"},
        {"\" a \"", " a ", nullptr},
        {"\"\"a\" 9\"", "\"a\" 9", nullptr},
        {"\"a", "\"a", nullptr},
        {"\"", "\"", nullptr},
        {"stop -1", "stop", "-1"},
        {"stop 1x", "stop 1x", nullptr},
    };
    for (const Case& row : cases) {
        const auto awaited = twin::readAwaited(row.text);
        ASSERT_TRUE(awaited) << row.text;
        EXPECT_EQ(awaited->value, row.value) << row.text;
        EXPECT_EQ(awaited->limit.value_or("none"), row.limit == nullptr ? "none" : row.limit)
            << row.text;
    }
    EXPECT_FALSE(twin::readAwaited("  "));
}

class TwinRequests : public TwinWorld {};

TEST_F(TwinRequests, AreCarriedOutInTheirOrderByTheConsolesThread) {
    build(0, {});
    twin::startBus({});
    std::vector<std::string> answers;
    std::vector<bool> results;
    const std::thread::id console = std::this_thread::get_id();
    const auto post = [&](const std::vector<std::string>& lines) {
        std::thread([&] {
            twin::postCommands({lines,
                                [&](const std::string& text) {
                                    EXPECT_EQ(std::this_thread::get_id(), console);
                                    answers.push_back(text);
                                },
                                [&](bool good) { results.push_back(good); }});
        }).join();
    };
    post({"set x 1", "run 2", "get x"});
    post({"", "# a remark", "expect x 2", "get x"});
    EXPECT_TRUE(answers.empty());
    EXPECT_EQ(twin::now(), 0);
    twin::executeRequests();
    EXPECT_EQ(twin::now(), 2'000'000);
    EXPECT_THAT(answers, ElementsAre("x 1", "FAIL x is 1 (line 3)", "x 1"));
    EXPECT_THAT(results, ElementsAre(true, false));
    twin::executeRequests();
    EXPECT_EQ(results.size(), 2U);
}

}  // namespace
