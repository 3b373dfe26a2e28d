// The pages against the system: the bus-key page lists exactly the keys that are listened to, in
// the order of registration, and every key that is written; what the pages give as console commands
// works and answers as they say.
#include <gmock/gmock.h>

#include <regex>
#include <set>
#include <string>
#include <vector>

#include "app/bus_keys.h"
#include "paths.h"
#include "session.h"

namespace {

using testing::Contains;
using testing::StartsWith;

// The lines between each two of the page's fences.
std::vector<std::vector<std::string>> fencedBlocks(const std::string& page) {
    std::vector<std::vector<std::string>> blocks;
    bool inside = false;
    for (const std::string& line : linesOf(readSource(page))) {
        if (line.starts_with("```")) {
            inside = !inside;
            if (inside) {
                blocks.emplace_back();
            }
        } else if (inside) {
            blocks.back().push_back(line);
        }
    }
    return blocks;
}

// The keys in the first column of the table under the heading, in their order.
std::vector<std::string> documentedKeys(const std::string& heading) {
    static const std::regex row("\n\\| (`[^|]*`) \\|");
    static const std::regex key("`([^`]+)`");
    const std::string page = readSource("docs/bus-keys.md");
    const std::size_t begin = page.find("\n## " + heading + "\n");
    const std::string section = page.substr(begin, page.find("\n## ", begin + 1) - begin);
    std::vector<std::string> keys;
    for (std::sregex_iterator each(section.begin(), section.end(), row), none; each != none;
         ++each) {
        const std::string column = (*each)[1];
        keys.insert(keys.end(), std::sregex_token_iterator(column.begin(), column.end(), key, 1),
                    {});
    }
    return keys;
}

std::string initialText(InitialRead initial) {
    return initial == InitialRead::none ? "no" : initial == InitialRead::names ? "below" : "once";
}

TEST(BusKeyPage, ListsTheKeysListenedToInTheirOrderAndSaysHowEachIsReadAtStart) {
    const std::string text = readSource("docs/bus-keys.md");
    std::vector<std::string> registered;
    for (const BusKey& row : busKeys()) {
        registered.push_back(row.key);
        const std::string cells =
            "| `" + std::string(row.key) + "` | " + initialText(row.initial) + " |";
        EXPECT_NE(text.find(cells), std::string::npos) << cells;
    }
    EXPECT_EQ(documentedKeys("Keys listened to"), registered);
}

TEST(BusKeyPage, ListsEveryKeyThatASessionWrites) {
    const std::vector<std::string> list = documentedKeys("Keys written");
    const std::set<std::string> documented(list.begin(), list.end());
    const Session session =
        Camera(Positions{})
            .run(
                "run 1\n"
                "set lens.camN.action.cmd z300\nset lens.camN.action.cmd i5\n"
                "set lens.camN.action.cmd f300\nset lens.camN.action.cmd r600\nrun 3\n"
                "set lens.camN.pan left\nset lens.camN.tilt up\nrun 1\n"
                "set lens.camN.pan stop\nset lens.camN.tilt stop\nrun 3\n"
                "set lens.camN.rotate auto\nrun 5\nset lens.camN.mode_rotate auto\n"
                "set demo.ptz.action P500\nset demo.led.mode 2\nrun 5\n");
    ASSERT_EQ(session.status, 0) << session.errors;
    int written = 0;
    for (const Event& event : session.all.events) {
        if (event.kind == "bus") {
            ++written;
            const std::string key = event.text.substr(0, event.text.find(' '));
            EXPECT_TRUE(documented.contains(key)) << key << " is written and not documented";
        }
    }
    EXPECT_GT(written, 50);
}

Session runExamples(const std::string& page) {
    std::string script = "run 15\n";
    for (const std::vector<std::string>& block : fencedBlocks(page)) {
        for (const std::string& line : block) {
            script += line + "\n";
        }
    }
    return Camera().run(script);
}

TEST(ConsoleExamples, ServeAService) {
    const Session session = runExamples("docs/bus-keys.md");
    EXPECT_EQ(session.status, 0) << session.output;
    EXPECT_THAT(session.answers, Contains("lens.camN.position_pan 30000"));
    EXPECT_THAT(session.answers, Contains(StartsWith("lens.camN.preset1 30000,3200,0,-1,")));
}

TEST(ConsoleExamples, LightALamp) {
    const Session session = runExamples("docs/lighting.md");
    EXPECT_EQ(session.status, 0) << session.output;
    EXPECT_EQ(session.head()["leds"].dump(), R"(["00000000","00000000","00ff0000","00ff0000",)"
                                             R"("00000000","00000000","00000000","00000000"])");
}

TEST(ConsoleExamples, TheFirstSessionAnswersAsTheReadmeSays) {
    std::string script;
    std::vector<std::string> answers;
    const std::vector<std::vector<std::string>> blocks = fencedBlocks("README.md");
    ASSERT_FALSE(blocks.empty());
    for (const std::string& line : blocks[0]) {
        if (line.starts_with("= ")) {
            answers.push_back(line.substr(2));
        } else if (line != "END" && !line.starts_with("$ ")) {
            script += line + "\n";
        }
    }
    EXPECT_EQ(Camera().run(script).answers, answers);
    EXPECT_EQ(answers.size(), 5u);
}

}  // namespace
