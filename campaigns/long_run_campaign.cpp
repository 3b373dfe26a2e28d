// Many days of mixed use in one process, in virtual time: after each hour everything comes to rest
// and every counter must be true; memory and descriptors must stay as they are after the first day.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "campaign.h"
#include "whole_daemon.h"

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kUsualHours = 720;
constexpr long kHoursPerDay = 24;
// What the allocator may still take once everything has happened for the first time.
constexpr long kMemoryAllowanceKib = 64;
// An hour takes a fraction of a second; one that takes longer stands still.
constexpr unsigned kWallSecondsAnHour = 60;

// What a leak would make grow.
struct Footprint {
    long memoryKib = 0;
    long descriptors = 0;
};

Footprint footprint() {
    long pages = 0;
    long resident = 0;
    long ofFiles = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident >> ofFiles;
    // Pages of the program's own files come in when code runs for the first time, be it on the
    // second day; they are no growth.
    return {(resident - ofFiles) * (sysconf(_SC_PAGESIZE) / 1024),
            std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator())};
}

// A dozen acts, and an hour of idling. What is wrong then; empty if nothing is.
std::string liveAnHour(std::uint64_t& seed) {
    std::array<std::uint8_t, 12 * whole::kActBytes> acts{};
    for (std::uint8_t& byte : acts) {
        byte = static_cast<std::uint8_t>(pick(seed, 256));
    }
    const std::string problem = whole::ordeal(acts.data(), acts.size());
    whole::pass(3600);
    return problem.empty() ? "" : problem + " after\n" + whole::scriptOf(acts.data(), acts.size());
}

// Whether all went well. The process's standard output is the daemon's meanwhile.
bool live(long hours, std::uint64_t seed, std::FILE* report) {
    const Footprint start = footprint();
    Footprint settled = start;
    long failures = 0;
    const std::uint64_t firstSeed = seed;
    for (long hour = 1; hour <= hours; ++hour) {
        alarm(kWallSecondsAnHour);
        if (const std::string problem = liveAnHour(seed); !problem.empty()) {
            ++failures;
            std::fprintf(report, "%s    script/campaign long-run --seed %llu %ld\n",
                         problem.c_str(), static_cast<unsigned long long>(firstSeed), hour);
        }
        if (hour == std::min(kHoursPerDay, hours / 2)) {
            settled = footprint();
        }
        std::fprintf(stderr, "\rlong-run: hour %ld of %ld, %ld KiB, %ld failed", hour, hours,
                     footprint().memoryKib, failures);
    }
    std::fputs("\n", stderr);
    const long grown = footprint().memoryKib - settled.memoryKib;
    const long leaked = footprint().descriptors - settled.descriptors;
    std::fprintf(report, "long-run: %ld hours, %ld failed; %ld KiB at first, ", hours, failures,
                 start.memoryKib);
    std::fprintf(report, "%ld once settled, since then %+ld KiB and %+ld descriptors\n",
                 settled.memoryKib, grown, leaked);
    return failures == 0 && grown <= kMemoryAllowanceKib && leaked == 0;
}

}  // namespace

int main(int argc, char** argv) {
    Request request;
    request.size = kUsualHours;
    if (!readRequest(argc, argv, request) || !request.caseName.empty()) {
        std::fputs("usage: script/campaign long-run [--seed N] [HOURS]\n", stderr);
        return 2;
    }
    std::string directory = fs::temp_directory_path().string() + "/kestrel-long-XXXXXX";
    if (mkdtemp(directory.data()) == nullptr) {
        std::fprintf(stderr, "cannot make %s\n", directory.c_str());
        return 1;
    }
    std::FILE* const report = fdopen(dup(STDOUT_FILENO), "w");
    whole::boot(directory);
    const bool good = live(static_cast<long>(request.size), request.seed, report);
    std::fclose(report);
    fs::remove_all(directory);
    // The daemon does not end.
    _exit(good ? 0 : 1);
}
