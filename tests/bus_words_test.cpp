// Command words on their way from the bus to the axes: short action words, mailboxes and
// overwritten buffers, the infra-red filter.
#include <gtest/gtest.h>

#include <string>

#include "session.h"

namespace {

TEST(ActionWord, BecomesAnAxisCommand) {
    struct Word {
        const char* word;
        const char* command;
    };
    constexpr Word kWords[] = {
        {"n250", "lens.camN.focus r:-250"},
        {"m30", "lens.camN.focus r:30"},
        {"o3", "lens.camN.iris r:-3"},
        {"c5", "lens.camN.iris r:5"},
        {"t20", "lens.camN.zoom r:20"},
        {"w-20", "lens.camN.zoom r:20"},
        {"w40", "lens.camN.zoom r:-40"},
        {"b30", "lens.camN.rotate r:-30"},
        {"z1200", "lens.camN.zoom a:1200"},
        {"f801", "lens.camN.focus a:801"},
        {"i9", "lens.camN.iris a:9"},
        {"r600", "lens.camN.rotate a:600"},
        {"r", "lens.camN.rotate a:0"},
        {"zoom", "lens.camN.zoom a:0"},
        {"full_out", "lens.camN.zoom full_out"},
        {"full_in", "lens.camN.zoom full_in"},
        {"full_near", "lens.camN.focus full_near"},
        {"full_far", "lens.camN.focus full_far"},
        {"full_forward", "lens.camN.rotate full_forward"},
        {"full_backward", "lens.camN.rotate full_backward"},
        {"x5", nullptr},
        {"Home", nullptr},
        {"", nullptr},
    };
    std::string script = "run 1\n";
    for (const Word& word : kWords) {
        script += std::string("set lens.camN.action.cmd ") + word.word + "\nrun 4\n";
    }
    const Session run = Camera(Positions{}).run(script);
    for (const Word& word : kWords) {
        const std::string set = std::string("cmd lens.camN.action.cmd ") + word.word;
        std::string expected = "\nbus lens.camN.status \n";
        if (word.command != nullptr) {
            expected += std::string("bus ") + word.command + "\n";
        }
        EXPECT_EQ(run.trace.after(set).first(word.command == nullptr ? 1 : 2).lines(), expected)
            << word.word;
        EXPECT_EQ(run.trace.after(set).events.size() > 1, word.command != nullptr) << word.word;
    }
}

TEST(ActionWord, DoneIsNoWord) {
    const Session run = Camera(Positions{}).run("run 1\nset lens.camN.action.cmd done\nrun 1");
    EXPECT_EQ(run.trace.after("cmd lens.camN.action.cmd done").lines(), "\n");
}

TEST(CommandBuffer, MailboxDropsAndOverwriteReplacesAnUntakenWord) {
    struct Axis {
        const char* key;
        int first;
        int second;
        bool firstWins;
    };
    constexpr Axis kAxes[] = {
        {"focus", 900, 950, true},    {"iris", 10, 20, true},      {"zoom", 1100, 1200, false},
        {"pan", 10100, 10200, false}, {"tilt", 2100, 2200, false}, {"rotate", 600, 700, false},
    };
    std::string script = "run 1\n";
    for (const Axis& axis : kAxes) {
        for (const int target : {axis.first, axis.second}) {
            script +=
                std::string("set lens.camN.") + axis.key + " a:" + std::to_string(target) + "\n";
        }
    }
    const Session run = Camera(Positions{}).run(script + "run 3\nhead");
    for (const Axis& axis : kAxes) {
        EXPECT_EQ(run.head()[axis.key]["position"], axis.firstWins ? axis.first : axis.second)
            << axis.key;
        EXPECT_EQ(run.trace.count(std::string("bus demo.ptz.position.") + axis.key), 2)
            << axis.key << ": once at the start, once for one move";
    }
}

TEST(CommandBuffer, DoneInAMailboxMakesRoom) {
    const Session run =
        Camera(Positions{})
            .run("run 1\nset lens.camN.focus done\nset lens.camN.focus a:900\nrun 2\nhead");
    EXPECT_EQ(run.head()["focus"]["position"], 900);
}

TEST(IcrKey, SwitchesTheFilterAtOnce) {
    struct Value {
        const char* value;
        const char* call;
    };
    constexpr Value kValues[] = {
        {"night", "\nmcu setIcrSwDisable\n"}, {"day", "\nmcu setIcrSwEnalbe\n"},
        {"Day", "\nmcu setIcrSwDisable\n"},   {"", "\nmcu setIcrSwDisable\n"},
        {"on", "\nmcu setIcrSwDisable\n"},
    };
    std::string script = "run 1\n";
    for (const Value& value : kValues) {
        script += std::string("set gpio.camN.out.icr ") + value.value + "\nrun 0.1\n";
    }
    const Session run = Camera(Positions{}).run(script);
    for (const Value& value : kValues) {
        const std::string set = std::string("cmd gpio.camN.out.icr ") + value.value;
        EXPECT_EQ(run.trace.after(set).lines(), value.call);
    }
    EXPECT_EQ(run.trace.times("mcu setIcrSwDisable").front(), 1'000'000);
}

}  // namespace
