#include "twin/camera/watch.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <thread>

#include "twin/camera/guard.h"
#include "twin/camera/session.h"
#include "twin/camera/state.h"
#include "twin/clock/actors.h"
#include "twin/trace/output.h"

namespace twin {

namespace {

std::atomic<int> gSignal{0};
pthread_t gWatcher{};
std::atomic<bool (*)()> gBreakOff{nullptr};

// The terminal is closed, or nobody reads the output any more: none of the daemon's business.
bool isHangup(int signal) {
    return signal == SIGHUP || signal == SIGPIPE;
}

[[noreturn]] void take(int signal) {
    noteOutsideSignal();
    if (isHangup(signal)) {
        endRun(128 + signal);
    }
    deliverSignal(signal);
}

void takePending() {
    take(gSignal);
}

// On the thread whose write failed. The one that watches waits for the signal.
void passOn(int signal) {
    pthread_kill(gWatcher, signal);
}

// Ends a run that cannot end itself.
[[noreturn]] void giveUp(int status) {
    closeOutput(false);
    removeTemporaryState();
    _exit(status);
}

void takeSignal(int signal) {
    if (bool (*const breakOff)() = gBreakOff;
        signal == SIGINT && breakOff != nullptr && breakOff()) {
        return;
    }
    if (!clockIsVirtual()) {
        take(signal);
    }
    if (int none = 0; !gSignal.compare_exchange_strong(none, signal)) {
        if (isHangup(signal)) {
            return;
        }
        // The first one is still waiting for an actor that does not yield.
        giveUp(128 + signal);
    }
    interruptRun(takePending);
    eventfd_write(signalDescriptor(), 1);
}

void look(Guard& guard, int guardSeconds) {
    const Progress progress = runProgress();
    if (guard.look(progress, outputHeldUp()) >= guardSeconds) {
        std::fprintf(stderr, "kestrel-twin: %s has run for %d s without waiting; giving up\n",
                     progress.running, guardSeconds);
        giveUp(1);
    }
}

[[noreturn]] void watch(sigset_t signals, int guardSeconds) {
    Guard guard;
    for (;;) {
        const timespec second{1, 0};
        const int signal = sigtimedwait(&signals, nullptr, &second);
        if (signal > 0) {
            takeSignal(signal);
        } else if (clockIsVirtual()) {
            look(guard, guardSeconds);
        }
    }
}

}  // namespace

int signalDescriptor() {
    static const int descriptor = eventfd(0, EFD_CLOEXEC);
    return descriptor;
}

void onInterrupt(bool (*breakOff)()) {
    gBreakOff = breakOff;
}

void startWatch(int guardSeconds) {
    signalDescriptor();
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGPIPE}) {
        sigaddset(&signals, signal);
    }
    // Whoever started the run may want it to outlive the terminal.
    struct sigaction hangup {};
    if (sigaction(SIGHUP, nullptr, &hangup) == 0 && hangup.sa_handler == SIG_IGN) {
        sigdelset(&signals, SIGHUP);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::thread watcher(watch, signals, guardSeconds);
    gWatcher = watcher.native_handle();
    watcher.detach();
    // This one comes to the thread that writes.
    std::signal(SIGPIPE, passOn);
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_UNBLOCK, &pipe, nullptr);
}

}  // namespace twin
