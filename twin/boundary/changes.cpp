#include "twin/boundary/changes.h"

#include <unistd.h>

#include <atomic>
#include <string>

#include "twin/clock/timeline.h"
#include "twin/trace/output.h"
#include "twin/world/fault_values.h"

namespace twin {

namespace {

void (*gEnd)() = nullptr;
void (*gNote)() = nullptr;
std::atomic<bool> gStopped{false};

bool powerFails() {
    const WorldLock world;
    return takeFault(Fault::powerCut, 0) && faultValue(Fault::powerCut) == 0;
}

}  // namespace

void onPowerCut(void (*end)()) {
    gEnd = end;
}

void onChange(void (*note)()) {
    gNote = note;
}

void beforeChange(const char* kind, const char* name) {
    while (gStopped) {
        pause();
    }
    if (powerFails()) {
        answer(std::string("power cut: ") + kind + " " + name);
        gEnd();
    }
    noteChange();
}

void noteChange() {
    if (gNote != nullptr) {
        gNote();
    }
}

void stopChanges() {
    gStopped = true;
}

}  // namespace twin
