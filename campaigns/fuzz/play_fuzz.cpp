// Acts on the whole daemon in virtual time. Each input is played by a copy of this process, in
// which the daemon has just started; the copy's coverage counters come back for the fuzzer.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "campaigns/whole_daemon.h"
#include "fuzz_world.h"

// The compiler's counters. This file is compiled without any: where it has some, the compiler has
// these names for itself.
extern "C" std::uint8_t __start___sancov_cntrs[], __stop___sancov_cntrs[];

namespace {

constexpr int kWallSeconds = 60;
constexpr std::size_t kMostActs = 64;

std::string gFiles;
std::string gStartingFiles;
std::uint8_t* gFromCopy = nullptr;

std::size_t counterBytes() {
    return static_cast<std::size_t>(__stop___sancov_cntrs - __start___sancov_cntrs);
}

void restoreFiles() {
    namespace fs = std::filesystem;
    fs::remove_all(gFiles + "/mnt/nand");
    fs::copy(gStartingFiles, gFiles + "/mnt/nand", fs::copy_options::recursive);
}

[[noreturn]] void playAndLeave(const std::uint8_t* data, std::size_t size) {
    std::signal(SIGALRM, SIG_DFL);
    alarm(kWallSeconds);
    const std::string problem = whole::ordeal(data, size);
    if (!problem.empty()) {
        std::fprintf(stderr, "%s\n", problem.c_str());
    }
    std::memcpy(gFromCopy, __start___sancov_cntrs, counterBytes());
    _exit(problem.empty() ? 0 : 1);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    gFiles = privateDirectory();
    whole::boot(gFiles);
    gStartingFiles = gFiles + "/start";
    std::filesystem::copy(gFiles + "/mnt/nand", gStartingFiles,
                          std::filesystem::copy_options::recursive);
    void* const shared =
        mmap(nullptr, counterBytes(), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        std::abort();
    }
    gFromCopy = static_cast<std::uint8_t*>(shared);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > kMostActs * whole::kActBytes) {
        return -1;
    }
    restoreFiles();
    const pid_t child = fork();
    if (child == 0) {
        playAndLeave(data, size);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0) {
        std::fprintf(stderr, "ended with status %d\n%s", status,
                     whole::scriptOf(data, size).c_str());
        std::abort();
    }
    std::memcpy(__start___sancov_cntrs, gFromCopy, counterBytes());
    return 0;
}
