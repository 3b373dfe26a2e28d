#include "app/startup.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>

#include "app/bus_keys.h"
#include "app/lens_type.h"
#include "app/supervision_loop.h"
#include "axis/position_store.h"
#include "control_state.h"
#include "mcu/firmware.h"
#include "motion/lens_loop.h"
#include "platform/encoder.h"
#include "platform/nbus.h"
#include "platform/thread.h"

namespace {

// The lens thread; neither joined nor cancelled.
pthread_t gLensThread;

// Set by the signal that ends the process; the signals after it change nothing.
constinit std::atomic<bool> gEndsBySignal = false;
static_assert(std::atomic<bool>::is_always_lock_free);

// Ends the process at once, whatever its threads are doing.
void endOnSignal(int) {
    constexpr char kNotice[] = "Exit kestrel sigstop\n";
    if (gEndsBySignal.exchange(true)) {
        return;
    }
    giExit = 1;
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, kNotice, sizeof kNotice - 1);
    _exit(1);
}

void installSignalHandlers() {
    for (const int number : {SIGINT, SIGQUIT, SIGTERM}) {
        std::signal(number, endOnSignal);
    }
}

void initialiseLocks() {
    pthread_mutex_init(&gMotorLock, nullptr);
    pthread_mutex_init(&gCmdMutex, nullptr);
}

void* lensThread(void*) {
    LensLoop();
    std::puts("Exit kestrel LensLoop");
    return nullptr;
}

void adoptPositions() {
    if (loadPositions() < 0) {
        giHomeRequest = 1;
    }
}

// Where the signal is handled by another thread, the end and its status are left to that one.
void leaveEndToSignal() {
    while (gEndsBySignal) {
        pause();
    }
}

}  // namespace

int runKestrel() {
    // A line at a time also into a pipe, so that a log is whole however the process ends.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    installSignalHandlers();
    initialiseLocks();
    PTZShmInit();
    nbus_initial();
    updateMcuFirmware();
    nbus_set("lens.camN.ptzstatus", "done");
    selectLensType();
    publishRanges();
    printRanges();
    adoptPositions();
    registerBusKeys();
    startThread(&gLensThread, lensThread);
    superviseUntilExit();
    leaveEndToSignal();
    std::puts("Exit kestrel 2");
    return 0;
}
