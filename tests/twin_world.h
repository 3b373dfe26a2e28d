// The simulated head without the daemon: the tests call the boundary's functions themselves and let
// virtual time pass.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "twin/camera/head.h"
#include "twin/clock/actors.h"
#include "twin/trace/output.h"
#include "twin/world/faults.h"
#include "twin/world/mechanism.h"

class TwinWorld : public testing::Test {
protected:
    using Memory = std::map<std::string, std::string>;

    TwinWorld() {
        twin::useVirtualClock();
    }

    // Powers a camera up whose axes stand where `memory` says.
    static void build(int lensType, const Memory& memory, const std::string& mount = "ceiling") {
        ASSERT_EQ(twin::makeHead({lensType, mount, 1}, memory), "");
    }
    static void pass(twin::Microseconds time) {
        twin::sleepUntil(twin::now() + time);
    }
    static int position(twin::Axis axis) {
        return twin::axisTruth(axis).position;
    }
    static int lost(twin::Axis axis) {
        return static_cast<int>(twin::axisTruth(axis).lost);
    }

    // Executes the words of a `fault` command; its answer's first line.
    static std::string fault(const std::string& text, bool accepted = true) {
        std::istringstream stream(text);
        const std::vector<std::string> words(std::istream_iterator<std::string>(stream), {});
        bool ok = true;
        const std::string answer = twin::faultCommand(words, ok).at(0);
        EXPECT_EQ(ok, accepted) << text << ": " << answer;
        return answer;
    }

    // Once in a test: the trace's lines of what `act` does, with times counted from its beginning.
    template <typename Act>
    static std::vector<std::string> traceOf(Act act) {
        FILE* const file = std::tmpfile();
        FILE* const output = stdout;
        std::fflush(output);
        const int descriptor = dup(STDOUT_FILENO);
        dup2(fileno(file), STDOUT_FILENO);
        twin::openOutput({.trace = true});
        stdout = output;
        dup2(descriptor, STDOUT_FILENO);
        close(descriptor);
        const double start = static_cast<double>(twin::now()) / 1e6;
        act();
        twin::flushOutput();
        std::rewind(file);
        std::vector<std::string> lines;
        for (char line[256]; std::fgets(line, sizeof line, file) != nullptr;) {
            char* rest = nullptr;
            const double seconds = std::strtod(line, &rest);
            lines.push_back(std::to_string(seconds - start) + rest);
            lines.back().pop_back();
        }
        std::fclose(file);
        return lines;
    }
};
