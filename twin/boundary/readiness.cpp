#include "twin/boundary/readiness.h"

#include <atomic>

#include "twin/clock/actors.h"

namespace twin {

namespace {

std::atomic<bool> gReady{false};

Gate& readiness() {
    static auto& gate = *new Gate;
    return gate;
}

}  // namespace

void noteThreadStart() {
    if (!gReady.exchange(true)) {
        readiness().open();
    }
}

bool waitUntilReady(Microseconds deadline) {
    return gReady || readiness().pass(deadline) || gReady;
}

void stopWaitingUntilReady() {
    readiness().open();
}

}  // namespace twin
