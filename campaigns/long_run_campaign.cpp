// Many days of mixed use in one process, in virtual time: after each hour everything comes to rest
// and every counter must be true; memory and descriptors must stay as they are after the first day.
#include <unistd.h>

#include <array>
#include <chrono>
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

constexpr long kUsualHours = 720;
constexpr long kHoursPerDay = 24;
// What the allocator may still take once everything has happened for the first time.
constexpr long kMemoryAllowanceKib = 512;

long residentKib() {
    long pages = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

long openDescriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

// A dozen acts, and an hour of idling.
std::string liveAnHour(std::uint64_t& seed) {
    std::array<std::uint8_t, 12 * whole::kActBytes> acts{};
    for (std::uint8_t& byte : acts) {
        byte = static_cast<std::uint8_t>(pick(seed, 256));
    }
    const std::string problem = whole::ordeal(acts.data(), acts.size());
    whole::pass(3600);
    return problem.empty() ? "" : problem + " after\n" + whole::scriptOf(acts.data(), acts.size());
}

}  // namespace

int main(int argc, char** argv) {
    std::uint64_t seed = 1;
    long hours = kUsualHours;
    for (int i = 1; i < argc; ++i) {
        if (std::string(argv[i]) == "--seed" && i + 1 < argc) {
            seed = std::strtoull(argv[++i], nullptr, 10);
        } else {
            hours = std::strtol(argv[i], nullptr, 10);
        }
    }
    if (hours <= 0) {
        std::fputs("usage: script/campaign long-run [--seed N] [HOURS]\n", stderr);
        return 2;
    }
    std::string directory = fs::temp_directory_path().string() + "/kestrel-long-XXXXXX";
    if (mkdtemp(directory.data()) == nullptr) {
        return 1;
    }
    std::FILE* const report = fdopen(dup(STDOUT_FILENO), "w");
    const auto start = std::chrono::steady_clock::now();
    whole::boot(directory);
    long failures = 0;
    long memory = residentKib();
    long descriptors = openDescriptors();
    const long startMemory = memory;
    for (long hour = 1; hour <= hours; ++hour) {
        if (const std::string problem = liveAnHour(seed); !problem.empty()) {
            ++failures;
            std::fprintf(report, "hour %ld: %s", hour, problem.c_str());
        }
        if (hour == kHoursPerDay || (hours < kHoursPerDay && hour == hours / 2)) {
            memory = residentKib();
            descriptors = openDescriptors();
        }
        std::fprintf(stderr, "\rlong-run: hour %ld of %ld, %ld KiB, %ld failed", hour, hours,
                     residentKib(), failures);
    }
    const long grown = residentKib() - memory;
    const long leaked = openDescriptors() - descriptors;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    std::fputs("\n", stderr);
    std::fprintf(report,
                 "long-run: %ld hours in %.0f s, %ld failed; %ld KiB at first, %+ld KiB and %+ld "
                 "descriptors since\n",
                 hours, elapsed.count(), failures, startMemory, grown, leaked);
    std::fclose(report);
    fs::remove_all(directory);
    _exit(failures == 0 && grown <= kMemoryAllowanceKib && leaked == 0 ? 0 : 1);
}
