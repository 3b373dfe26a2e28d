#include "twin/camera/session.h"

#include <semaphore.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <thread>
#include <utility>

#include "twin/boundary/bus.h"
#include "twin/boundary/changes.h"
#include "twin/boundary/files.h"
#include "twin/boundary/library_calls.h"
#include "twin/camera/head.h"
#include "twin/camera/heading.h"
#include "twin/camera/journal.h"
#include "twin/camera/settings.h"
#include "twin/camera/state.h"
#include "twin/camera/watch.h"
#include "twin/clock/actors.h"
#include "twin/trace/trace.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace twin {

namespace {

int (*gDaemon)() = nullptr;
std::atomic<bool> gFailed{false};
std::atomic<bool> gOutsideSignal{false};
std::atomic<bool> gCutShort{false};  // in the midst of what an actor does
void (*gAtEnd)() = nullptr;

void runDaemon(void*) {
    endRun(gDaemon());
}

void refuseStart(const std::string& problem, int status) {
    if (!problem.empty()) {
        complain(problem);
        removeTemporaryState();
        _exit(status);
    }
}

void noteCamera() {
    noteState(saveHead());
}

void noteKey(const std::string& key, const std::string& value) {
    if (outlivesRestart(key)) {
        noteSet(key, value);
    }
}

int saveCamera() {
    stopChanges();
    const std::string problem = saveState(lastingOf(busKeysBelow("")), saveHead());
    if (!problem.empty()) {
        complain(problem);
    }
    return problem.empty() ? 0 : 1;
}

// What the daemon prints and its end status when the signal reaches it, tried on a copy of the
// process: the handler writes past the stream that is captured, and ends the process that it runs
// in.
struct SignalEffect {
    std::string printed;
    int status = 0;
};

SignalEffect trySignal(int signal) {
    SignalEffect effect;
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        return effect;
    }
    // The handler is called and not the signal raised: a thread sanitizer holds signals back in a
    // copy of a process with threads.
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        if (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN) {
            action.sa_handler(signal);
        }
        _exit(128 + signal);
    }
    close(ends[1]);
    std::array<char, 256> text{};
    for (ssize_t count = 0; (count = read(ends[0], text.data(), text.size())) > 0;) {
        effect.printed.append(text.data(), static_cast<std::size_t>(count));
    }
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    effect.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return effect;
}

// An abort of the daemon: a handler may not do what saving needs, so that another thread does it
// while the dying one waits.
sem_t gDying;
sem_t gSaved;

void saveTheDying() {
    sem_wait(&gDying);
    closeOutput(false);
    saveCamera();
    removeTemporaryState();
    sem_post(&gSaved);
}

void onAbort(int) {
    std::signal(SIGABRT, SIG_DFL);
    // A lock that the dying thread holds itself must not keep it alive.
    alarm(5);
    sem_post(&gDying);
    sem_wait(&gSaved);
    raise(SIGABRT);
}

void watchForAbort() {
    sem_init(&gDying, 0, 0);
    sem_init(&gSaved, 0, 0);
    std::thread(saveTheDying).detach();
    std::signal(SIGABRT, onAbort);
}

// Where there is a leak checker. A fiber may end the run: what the stack of its thread holds is no
// leak.
void checkForLeaks() {
#if defined(__SANITIZE_ADDRESS__)
    pthread_attr_t attributes;
    void* bottom = nullptr;
    std::size_t size = 0;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstack(&attributes, &bottom, &size);
    pthread_attr_destroy(&attributes);
    const auto* const here = static_cast<const char*>(__builtin_frame_address(0));
    if (here < bottom || here >= static_cast<const char*>(bottom) + size) {
        __lsan_register_root_region(bottom, size);
    }
    __lsan_do_leak_check();
#endif
}

void endInTheMidst() {
    gCutShort = true;
    endRun(runStatus());
}

// What becomes of the status where output was lost. The signal of a reader that has gone may still
// be on its way.
int statusOfOutput(int status) {
    const int error = outputError();
    if (error == EPIPE) {
        return 128 + SIGPIPE;
    }
    return error != 0 && status == 0 ? 1 : status;
}

}  // namespace

void endRun(int status) {
    static auto& first = *new std::mutex;
    first.lock();
    std::fflush(stdout);
    // With the real clock a thread may be about to close one.
    if (clockIsVirtual() && !gCutShort) {
        checkFilesClosed();
    }
    if (saveCamera() != 0 || violationSeen()) {
        status = status == 0 ? 1 : status;
    }
    closeOutput(true);
    status = statusOfOutput(status);
    removeTemporaryState();
    if (gAtEnd != nullptr) {
        gAtEnd();
    }
    checkForLeaks();
    _exit(status);
}

void onRunEnd(void (*action)()) {
    gAtEnd = action;
}

void noteOutsideSignal() {
    gOutsideSignal = true;
}

bool outsideSignalEnds() {
    return gOutsideSignal;
}

void deliverSignal(int signal) {
    for (const auto& [name, number] : kDaemonSignals) {
        if (number == signal) {
            trace("act", "signal %s", name);
        }
    }
    const SignalEffect effect = trySignal(signal);
    takeDaemonText(effect.printed.data(), effect.printed.size());
    endRun(effect.status);
}

void failRun() {
    gFailed = true;
}

int runStatus() {
    return gFailed ? 1 : 0;
}

void powerUp(const SessionOptions& options, int (*daemon)()) {
    if (options.virtualClock) {
        useVirtualClock();
    } else {
        useRealClock(options.speed);
    }
    SavedState state;
    refuseStart(openState(options.stateDirectory, state), options.refusal);
    refuseStart(checkOptions(options.camera, state.head), options.refusal);
    if (const std::string problem = makeHead(options.camera, state.head); !problem.empty()) {
        refuseStart(adviceOnHead(problem), options.refusal);
    }
    Texts keys = state.bus;
    keys.merge(factorySettings());
    refuseStart(keepState(lastingOf(keys), saveHead()), options.refusal);
    if (!options.stateDirectory.empty()) {
        onChange(noteCamera);
        onNewValue(noteKey);
    }
    applyFileFaults();
    openOutput(options.output);
    writeHeading(options, state);
    startWatch();
    watchForAbort();
    onPowerCut(endInTheMidst);
    watchMotorLock();
    watchFiles();
    startBus(keys);
    gDaemon = daemon;
    startActor("main", runDaemon, nullptr);
    settle();
}

}  // namespace twin
