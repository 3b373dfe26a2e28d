#include "campaign.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <sstream>
#include <thread>

#include "tests/recordings.h"

namespace {

const std::vector<CampaignSession> kSessions = {
    {"start", "run 3"},
    {"first-start", "run 45", "ceiling", 150, true},
    {"home-all", "set lens.camN.action.cmd home1\nrun 40"},
    {"home-rotate-lens", "set lens.camN.action.cmd home2\nrun 15"},
    {"home-pan-tilt", "set lens.camN.action.cmd home3\nrun 15"},
    {"home-lens", "set lens.camN.action.cmd home\nrun 10"},
    {"home-head", "set lens.camN.action.cmd home4\nrun 15"},
    {"home-fast", "set lens.camN.action.cmd homefast\nrun 20"},
    {"home-pos", "set lens.camN.action.cmd homepos\nrun 30"},
    {"home-focus", "set lens.camN.pan homeaf\nrun 50"},
    {"moves",
     "set lens.camN.pan a:30000\nrun 4\nset lens.camN.tilt a:4000\nrun 4\n"
     "set lens.camN.rotate a:3000\nrun 3\nset lens.camN.zoom a:1500\nrun 2\n"
     "set lens.camN.focus a:1200\nrun 2\nset lens.camN.iris a:60\nrun 2"},
    {"moves-back",
     "set lens.camN.pan r:-9000\nrun 4\nset lens.camN.tilt full_down\nrun 4\n"
     "set lens.camN.rotate a:0\nrun 3\nset lens.camN.zoom full_out\nrun 2\n"
     "set lens.camN.focus full_far\nrun 2\nset lens.camN.iris full_open\nrun 2"},
    {"moves-together",
     "set lens.camN.pan a:44000\nset lens.camN.zoom a:300\nset lens.camN.focus a:300\n"
     "set lens.camN.rotate a:2000\nset lens.camN.iris a:40\nrun 1\nset lens.camN.tilt a:100\n"
     "set lens.camN.zoom a:1300\nrun 8"},
    {"pan-tilt",
     "set lens.camN.pan left:3\nrun 1\nset lens.camN.pan stop\nrun 1\n"
     "set lens.camN.tilt down:9\nrun 1\nset lens.camN.tilt stop\nrun 1\n"
     "set lens.camN.pan right\nset lens.camN.tilt up:2\nrun 1\nset lens.camN.zoom a:900\nrun 1\n"
     "set lens.camN.pan stop\nrun 0.5\nset lens.camN.tilt stop\nrun 2"},
    {"lens-rotate",
     "set lens.camN.zoom in\nrun 0.3\nset lens.camN.zoom stop\nrun 0.5\n"
     "set lens.camN.focus far\nrun 0.3\nset lens.camN.focus stop\nrun 0.5\n"
     "set lens.camN.rotate forward\nrun 0.5\nset lens.camN.rotate stop\nrun 0.5\n"
     "set lens.camN.iris close\nrun 0.3\nset lens.camN.iris full_open\nrun 1"},
    {"preset",
     "set lens.camN.act_preset 1:set\nrun 1\nset lens.camN.pan a:13000\nset lens.camN.zoom a:300\n"
     "run 3\nset lens.camN.rotate a:900\nset lens.camN.tilt a:2500\nrun 3\n"
     "set lens.camN.act_preset 1:go\nrun 25\nset lens.camN.act_preset 1:del\nrun 1"},
    {"preset-locked",
     "set lens.camN.act_preset 1:set:lock\nrun 1\nset lens.camN.pan a:12000\n"
     "set lens.camN.focus a:1100\nrun 3\nset lens.camN.act_preset 1:go\nrun 10"},
    {"preset-fast",
     "set lens.camN.act_preset 2:set\nrun 1\nset lens.camN.pan a:20000\nset lens.camN.zoom a:300\n"
     "run 3\nset lens.camN.rotate a:1500\nset lens.camN.tilt a:3000\nrun 3\n"
     "set lens.camN.action.cmd homeP2\nrun 25"},
    {"focus-fast", "set lens.camN.focus all\nrun 15"},
    {"focus-contrast", "set lens.camN.action.cmd AF\nrun 15"},
    {"focus-after-zoom",
     "set lens.camN.focus_after_zoom on\nrun 0.1\nset lens.camN.zoom a:400\nrun 12\n"
     "set lens.camN.pan left:5\nset lens.camN.zoom in\nrun 0.2\nset lens.camN.zoom stop\nrun 15"},
    {"level", "set image.camN.rotate on\nrun 30\nset lens.camN.rotate auto\nrun 30"},
    {"mode-auto",
     "set lens.camN.mode_rotate auto\nset lens.camN.pan a:11000\nrun 20\n"
     "set lens.camN.rotate a:1500\nrun 20"},
    {"mode-rotate",
     "set lens.camN.mode_rotate rotate\nset lens.camN.rotate a:1500\nrun 20\n"
     "set lens.camN.pan a:30000\nrun 40"},
    {"mode-rotate-desktop",
     "set lens.camN.tilt a:3200\nset lens.camN.rotate a:400\nrun 5\n"
     "set lens.camN.mode_rotate rotate\nrun 0.1\nset lens.camN.pan a:10100\nrun 15",
     "desktop"},
    {"rotate-test", "set lens.camN.rotate test\nrun 12", "ceiling", 700},
    {"demo",
     "set demo.ptz.action P12000\nrun 2\nset demo.ptz.action t300\nrun 2\n"
     "set demo.ptz.action Z700\nrun 2\nset demo.ptz.action f-200\nrun 2\n"
     "set demo.ptz.action R900\nrun 2\nset demo.ptz.action I30\nrun 2\n"
     "set demo.ptz.action H4\nrun 10"},
    {"settings",
     "set image.camN.flip on\nset image.camN.mirror on\nset gpio.camN.out.icr night\nrun 1\n"
     "set image.camN.exposure.iris_table 40\nset demo.led.mode 3\nrun 2\n"
     "set lens.global.led_power 90\nset lens.camN.light.relay10.mode monostable\nrun 1\n"
     "set encode.camN.status stop\nset system.info.poe_status fail\nrun 2\n"
     "set system.info.poe_status ready\nset demo.led.mode 0\nrun 1"},
};

bool gOneCaseAlone = false;

// Leaves `size` of the cases, in their order.
void sample(std::vector<std::string>& cases, std::uint64_t size, std::uint64_t seed) {
    if (size == 0 || size >= cases.size()) {
        return;
    }
    std::vector<std::string> taken;
    for (std::uint64_t left = cases.size(); const std::string& name : cases) {
        if (pick(seed, left--) < size - taken.size()) {
            taken.push_back(name);
        }
    }
    cases = std::move(taken);
}

// The cases on their way through the workers.
struct Progress {
    std::atomic<std::size_t> next{0};
    std::mutex mutex;
    std::size_t done = 0;
    std::size_t failed = 0;
};

void showProgress(const Campaign& campaign, const Progress& progress, std::size_t count) {
    std::fprintf(stderr, "\r%s: %zu of %zu cases, %zu failed", campaign.name, progress.done, count,
                 progress.failed);
}

void work(const Campaign& campaign, const std::vector<std::string>& cases, std::uint64_t seed,
          Progress& progress) {
    for (std::size_t i = 0; (i = progress.next++) < cases.size();) {
        forgetRecordings();
        const std::string problems = campaign.run(cases[i]);
        const std::string replay =
            problems.empty() ? "" : saveRecordings(std::string(campaign.name) + "-" + cases[i]);
        const std::lock_guard lock(progress.mutex);
        ++progress.done;
        if (!problems.empty()) {
            ++progress.failed;
            std::printf("%s\n%s    script/campaign %s --seed %llu --case '%s'\n", cases[i].c_str(),
                        problems.c_str(), campaign.name, static_cast<unsigned long long>(seed),
                        cases[i].c_str());
            if (!replay.empty()) {
                std::printf("    %s\n", replay.c_str());
            }
            std::fflush(stdout);
        }
        if (progress.done % 100 == 0 || progress.done == cases.size()) {
            showProgress(campaign, progress, cases.size());
        }
    }
}

}  // namespace

const std::vector<CampaignSession>& campaignSessions() {
    return kSessions;
}

std::string scriptOf(const CampaignSession& session) {
    return std::string("run 1\n") + session.script + "\n";
}

std::int64_t lengthOf(const std::string& script) {
    std::int64_t length = 0;
    std::istringstream lines(script);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("run ")) {
            length += std::llround(std::stod(line.substr(4)) * 1e6);
        }
    }
    return length;
}

std::string cutAt(const std::string& script, std::int64_t time) {
    std::string result;
    std::istringstream lines(script);
    for (std::string line; std::getline(lines, line);) {
        const std::int64_t length = lengthOf(line);
        if (length > time) {
            break;
        }
        time -= length;
        result += line + "\n";
    }
    return result + "run " + std::to_string(static_cast<double>(time) / 1e6) + "\npower-cut\n";
}

std::string stageName(const CampaignSession& session, int lensType) {
    return std::string(session.name) + "/" + std::to_string(lensType);
}

Stage stageOf(const std::string& caseName) {
    for (const CampaignSession& session : kSessions) {
        for (const int lensType : kLensTypes) {
            const std::string name = stageName(session, lensType) + "/";
            if (caseName.starts_with(name)) {
                return {&session, lensType, caseName.substr(name.size())};
            }
        }
    }
    return {};
}

Camera cameraFor(const Stage& stage) {
    static std::mutex mutex;
    static std::map<int, Camera> homed;
    const Camera* model = nullptr;
    {
        const std::lock_guard lock(mutex);
        model = &homed.try_emplace(stage.lensType, Positions{}, stage.lensType).first->second;
    }
    Camera camera(*model);
    camera.remember("mount", stage.session->mount);
    if (stage.session->unhomed) {
        camera.remove(kPositionFile);
    }
    return camera;
}

std::uint64_t pick(std::uint64_t& seed, std::uint64_t limit) {
    seed = seed * 6364136223846793005U + 1442695040888963407U;
    return (seed >> 33) % limit;
}

bool readUnsigned(const char* text, std::uint64_t& number) {
    const char* const end = text + std::strlen(text);
    const auto [stop, error] = std::from_chars(text, end, number);
    return error == std::errc{} && stop == end;
}

bool readRequest(int argc, char** argv, Request& request) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--case") == 0 && i + 1 < argc) {
            request.caseName = argv[++i];
        } else if (std::strcmp(argv[i], "--seed") == 0 && i + 1 < argc) {
            if (!readUnsigned(argv[++i], request.seed)) {
                return false;
            }
        } else if (!readUnsigned(argv[i], request.size) || request.size == 0) {
            return false;
        }
    }
    return true;
}

bool oneCaseAlone() {
    return gOneCaseAlone;
}

int runCampaign(int argc, char** argv, const Campaign& campaign) {
    Request request;
    if (!readRequest(argc, argv, request)) {
        std::fprintf(stderr, "usage: script/campaign %s [--seed N] [--case NAME] [SIZE]\n",
                     campaign.name);
        return 2;
    }
    gOneCaseAlone = !request.caseName.empty();
    std::vector<std::string> cases = {request.caseName};
    if (!gOneCaseAlone) {
        cases = campaign.cases(request.seed);
        sample(cases, request.size, request.seed);
    }
    const auto start = std::chrono::steady_clock::now();
    Progress progress;
    std::vector<std::thread> workers;
    for (int i = 0; i < campaign.workers; ++i) {
        workers.emplace_back(work, std::cref(campaign), std::cref(cases), request.seed,
                             std::ref(progress));
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    std::fputs("\n", stderr);
    campaign.report();
    std::printf("%s: %zu cases in %.0f s, %zu failed\n", campaign.name, cases.size(),
                elapsed.count(), progress.failed);
    const bool helpersFailed = testing::UnitTest::GetInstance()->ad_hoc_test_result().Failed();
    return progress.failed == 0 && !helpersFailed ? 0 : 1;
}
