#include "twin/page/page.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <string>

#include "twin/camera/place.h"
#include "twin/page/camera_side.h"
#include "twin/page/power.h"

namespace twin {

namespace {

// From here on they are read and interrupt nothing.
int openSignals() {
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP}) {
        struct sigaction present {};
        // Whoever started the program may want it to outlive the terminal.
        if (sigaction(signal, nullptr, &present) != 0 || present.sa_handler != SIG_IGN) {
            sigaddset(&signals, signal);
        }
    }
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

void takeSignals(int descriptor) {
    signalfd_siginfo info{};
    while (read(descriptor, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
        takeOutsideSignal(static_cast<int>(info.ssi_signo), info.ssi_code <= 0);
    }
}

int complainAndEnd(const std::string& problem) {
    std::fprintf(stderr, "kestrel-twin: %s\n", problem.c_str());
    return 1;
}

void sayWhere(const std::string& url) {
    std::fprintf(stderr, "kestrel-twin: the page is at %s\n", url.c_str());
}

void serve(int signals) {
    while (!powerIsOver()) {
        const std::array<pollfd, 2> power = powerSources();
        std::array<pollfd, 4> sources = {
            {{serverDescriptor(), POLLIN, 0}, {signals, POLLIN, 0}, power[0], power[1]}};
        poll(sources.data(), sources.size(), serverPatience());
        takeSignals(signals);
        servePower({sources[2], sources[3]});
        serveRequests();
    }
}

}  // namespace

int runPage(const PageAddress& where, const Boot& first) {
    const int signals = openSignals();
    std::string url;
    if (const std::string refusal = openServer(where, url); !refusal.empty()) {
        return complainAndEnd("--page " + refusal);
    }
    Boot boot = first;
    if (const std::string problem = takePlace(boot.session.stateDirectory); !problem.empty()) {
        leavePlace();
        return complainAndEnd(problem);
    }
    boot.session.stateDirectory = placeOfCamera();
    sayWhere(url);
    if (startPower(boot, runCamera, {sendTraceEvent, sendLostEvent, sendHeadEvent})) {
        serve(signals);
    }
    closeServer();
    leavePlace();
    return powerStatus();
}

int showFilm(const PageAddress& where) {
    const int signals = openSignals();
    std::string url;
    if (const std::string refusal = openServer(where, url); !refusal.empty()) {
        return complainAndEnd("--page " + refusal);
    }
    sayWhere(url);
    signalfd_siginfo info{};
    while (read(signals, &info, sizeof info) != static_cast<ssize_t>(sizeof info)) {
        std::array<pollfd, 2> sources = {{{serverDescriptor(), POLLIN, 0}, {signals, POLLIN, 0}}};
        poll(sources.data(), sources.size(), serverPatience());
        serveRequests();
    }
    closeServer();
    return 128 + static_cast<int>(info.ssi_signo);
}

}  // namespace twin
