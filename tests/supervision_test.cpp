// What the supervision loop keeps an eye on: the iris table and the power figure.
#include <gtest/gtest.h>

#include <string>

#include "session.h"

namespace {

TEST(IrisTable, BecomesAnIrisCommandWhenItChanges) {
    struct Setting {
        const char* value;
        const char* lines;
    };
    constexpr Setting kSettings[] = {
        {"0", "\nbus lens.camN.iris a:96\n"},          {"0", "\n"},
        {"50", "\nbus lens.camN.iris a:48\n"},         {"33", "\nbus lens.camN.iris a:65\n"},
        {"100", "\nbus lens.camN.iris a:0\n"},         {"250", "\nbus lens.camN.iris a:-144\n"},
        {"-50", "\nbus lens.camN.iris a:144\n"},       {"", "\nbus lens.camN.iris a:96\n"},
        {"2147483647", "\nbus lens.camN.iris a:96\n"},
    };
    std::string script = "run 1\n";
    for (const Setting& setting : kSettings) {
        script += std::string("set image.camN.exposure.iris_table ") + setting.value + "\nrun 1\n";
    }
    const Session run = Camera(Positions{}).run(script + "head");
    double start = 1;
    for (const Setting& setting : kSettings) {
        EXPECT_EQ(run.trace.between(start, start + 1).about({"bus lens.camN.iris "}).lines(),
                  setting.lines)
            << "'" << setting.value << "'";
        start += 1;
    }
    EXPECT_EQ(run.head()["iris"]["position"], 96);
    EXPECT_EQ(Camera({}, 10)
                  .run("run 1\nset image.camN.exposure.iris_table 0\nrun 1")
                  .trace.count("bus lens.camN.iris a:118"),
              1);
}

Trace power(const Session& run) {
    return run.all.between(1, 1e6).about({"power_consumption", "cmd"});
}

TEST(PowerFigure, RisesAtOnceAndFallsAfterASecond) {
    const Session run =
        Camera(Positions{})
            .run(
                "run 1\nset image.camN.exposure.wdr on\nrun 1\nset encode.camN.denoise_status "
                "on\nrun 2\n"
                "set image.camN.exposure.wdr off\nset encode.camN.status stop\nrun 3\n");
    // A fall is told in the 102nd pass that sees it.
    EXPECT_EQ(power(run).story(), R"(
0 cmd image.camN.exposure.wdr on
10 bus system.camN.info.power_consumption 4.32
1000 cmd encode.camN.denoise_status on
1010 bus system.camN.info.power_consumption 6.92
3000 cmd image.camN.exposure.wdr off
3000 cmd encode.camN.status stop
4020 bus system.camN.info.power_consumption 2.60
)");
}

TEST(PowerFigure, AReturnToTheOldFigureRestartsTheFall) {
    const Session run = Camera(Positions{})
                            .run(
                                "run 1\nset image.camN.exposure.wdr on\nrun 1\nset "
                                "image.camN.exposure.wdr off\nrun 0.9\n"
                                "set image.camN.exposure.wdr on\nrun 0.01\nset "
                                "image.camN.exposure.wdr off\nrun 2\n");
    EXPECT_EQ(power(run).about({"power_consumption"}).story(), R"(
0 bus system.camN.info.power_consumption 4.32
2920 bus system.camN.info.power_consumption 3.84
)");
}

TEST(PowerFigure, FollowsTheMotors) {
    struct Move {
        const char* word;
        const char* figures;
    };
    constexpr Move kMoves[] = {
        {"pan a:40000", "\n3.84\n4.14\n3.84\n"},
        {"tilt a:5000", "\n3.84\n4.34\n3.84\n"},
        {"zoom a:2300", "\n3.84\n5.44\n3.84\n"},
        {"rotate a:9000", "\n3.84\n5.14\n3.84\n"},
        // A focus motor found idle by its probe still counts for half.
        {"focus a:2400", "\n3.84\n5.44\n4.64\n"},
    };
    for (const Move& move : kMoves) {
        const Session run =
            Camera(Positions{}).run(std::string("run 1\nset lens.camN.") + move.word + "\nrun 8");
        std::string figures = "\n";
        for (const Event& event : run.all.about({"power_consumption"}).events) {
            figures += event.text.substr(event.text.find(' ') + 1) + "\n";
        }
        EXPECT_EQ(figures, move.figures) << move.word;
    }
}

}  // namespace
