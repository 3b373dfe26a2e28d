#include "twin/trace/disk_limit.h"

#include <sys/resource.h>

#include <atomic>
#include <csignal>

namespace twin {

namespace {

std::atomic<bool> gDiskFull{false};

// A process that may write no byte beyond the start of a regular file is what a full disk looks
// like to it: opening works, writing does not.
void limitWriting(bool limited) {
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = limited ? 0 : limit.rlim_max;
    setrlimit(RLIMIT_FSIZE, &limit);
}

}  // namespace

void limitDisk(bool full) {
    if (full == gDiskFull) {
        return;
    }
    // The kernel also signals a process that writes beyond its limit, which a full disk does not.
    std::signal(SIGXFSZ, full ? SIG_IGN : SIG_DFL);
    gDiskFull = full;
    limitWriting(full);
}

OwnWriting::OwnWriting() {
    if (gDiskFull) {
        limitWriting(false);
    }
}

OwnWriting::~OwnWriting() {
    if (gDiskFull) {
        limitWriting(true);
    }
}

}  // namespace twin
