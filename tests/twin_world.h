// The simulated head without the daemon: the tests call the boundary's functions themselves and let
// virtual time pass.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "session.h"
#include "twin/camera/head.h"
#include "twin/clock/actors.h"
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
        bool ok = true;
        const std::string answer = twin::faultCommand(wordsOf(text), ok).at(0);
        EXPECT_EQ(ok, accepted) << text << ": " << answer;
        return answer;
    }
};
