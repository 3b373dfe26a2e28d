// What the campaigns share: the sessions that they put into trouble, and the loop over their cases.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/session.h"

// What is asked of a camera that stands at `Positions{}` and has been on for a second.
struct CampaignSession {
    const char* name;
    // Console commands; only `run` lets time pass.
    const char* script;
    const char* mount = "ceiling";
    // Seconds after which all that it began is over, whatever went wrong.
    int rest = 150;
    // Without a position file: homes at start-up.
    bool unhomed = false;
};

const std::vector<CampaignSession>& campaignSessions();

// The console commands of the whole run, the first second included.
std::string scriptOf(const CampaignSession& session);
// How long that takes, in microseconds.
std::int64_t lengthOf(const std::string& script);
// The script up to that time, and the power cut there.
std::string cutAt(const std::string& script, std::int64_t time);

inline constexpr int kLensTypes[] = {0, 10};

// "SESSION/LENS" taken from a case's name, which goes on after another slash.
struct Stage {
    const CampaignSession* session = nullptr;  // null: there is no such session
    int lensType = 0;
    std::string rest;
};
Stage stageOf(const std::string& caseName);
std::string stageName(const CampaignSession& session, int lensType);

// A camera of its own on which the stage's session can begin.
Camera cameraFor(const Stage& stage);

// The next number below `limit`; repeats for a seed.
std::uint64_t pick(std::uint64_t& seed, std::uint64_t limit);

// False, and `number` unchanged, unless the whole text is a number.
bool readUnsigned(const char* text, std::uint64_t& number);

// What a campaign's command line asks for.
struct Request {
    std::uint64_t seed = 1;
    std::uint64_t size = 0;  // 0: all
    std::string caseName;    // empty: not one case alone
};

// Takes [--seed N] [--case NAME] [SIZE]. False if the command line is something else.
bool readRequest(int argc, char** argv, Request& request);

struct Campaign {
    const char* name;  // as script/campaign knows it
    // Every case's name; the seed decides what is left to chance.
    std::function<std::vector<std::string>(std::uint64_t seed)> cases;
    // Runs one case, in any thread. What is wrong, a line each; empty if nothing is.
    std::function<std::string(const std::string& caseName)> run;
    // Prints what was counted.
    std::function<void()> report;
    int workers = 2;  // threads
};

// Runs the case of the command line, or as many as it says, taken by the seed, or all, in the
// campaign's threads, and prints each failure with the command that repeats it. The exit status.
int runCampaign(int argc, char** argv, const Campaign& campaign);

// Whether one case alone is run: then its runs are shown.
bool oneCaseAlone();
