// The simulated head without the daemon: the tests call the boundary's functions themselves and let
// virtual time pass.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "twin/actors.h"
#include "twin/faults.h"
#include "twin/head.h"
#include "twin/mechanism.h"
#include "twin/output.h"

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
    static std::string fault(const std::string& text) {
        std::istringstream stream(text);
        std::vector<std::string> words;
        for (std::string word; stream >> word;) {
            words.push_back(word);
        }
        bool ok = false;
        const std::vector<std::string> answer = twin::faultCommand(words, ok);
        EXPECT_EQ(ok, answer.size() > 1 || answer[0] == "ok") << text;
        return answer[0];
    }

    // From here on the trace goes to a file of ours.
    void startTrace() {
        traceFile_ = std::tmpfile();
        ASSERT_NE(traceFile_, nullptr);
        FILE* const output = stdout;
        std::fflush(output);
        const int descriptor = dup(STDOUT_FILENO);
        dup2(fileno(traceFile_), STDOUT_FILENO);
        twin::openOutput({.trace = true});
        stdout = output;
        dup2(descriptor, STDOUT_FILENO);
        close(descriptor);
    }

    // The trace's lines so far, with times counted from `start`.
    std::vector<std::string> traceSince(twin::Microseconds start) {
        twin::flushOutput();
        std::rewind(traceFile_);
        std::vector<std::string> lines;
        char line[256];
        while (std::fgets(line, sizeof line, traceFile_) != nullptr) {
            char* rest = nullptr;
            const double seconds = std::strtod(line, &rest);
            std::string text = std::to_string(seconds - static_cast<double>(start) / 1e6) + rest;
            text.pop_back();
            lines.push_back(text);
        }
        return lines;
    }

private:
    FILE* traceFile_ = nullptr;
};
