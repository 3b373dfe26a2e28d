#include "twin/mqtt.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>
#include <string>

#include "bridge/bridge.h"
#include "twin/boundary/bus.h"
#include "twin/boundary/readiness.h"
#include "twin/camera/session.h"
#include "twin/console/console.h"
#include "twin/trace/output.h"

namespace twin {

namespace {

constexpr Microseconds kLongestStart = 10'000'000;
// However far behind the bus's dispatcher is, the run ends.
constexpr Microseconds kLongestDelivery = 1'000'000;

bool gStarted = false;

void copyOut(const std::string& text, char* buffer, int size) {
    const std::size_t length = std::min(text.size(), static_cast<std::size_t>(size) - 1);
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
}

int setKey(const char* key, const char* value) {
    return setFromOutside(key, value).empty() ? 0 : -1;
}

int getKey(const char* key, char* value, int size) {
    const std::optional<std::string> found = busValue(key);
    if (!found) {
        return -1;
    }
    copyOut(*found, value, size);
    return 0;
}

int getName(const char* prefix, int index, char* name, int size) {
    const auto keys = busKeysBelow(prefix);
    if (index < 0 || static_cast<std::size_t>(index) >= keys.size()) {
        return -1;
    }
    copyOut(std::next(keys.begin(), index)->first, name, size);
    return 0;
}

}  // namespace

void startMqtt(const bridge::Options& options) {
    if (!options.wanted) {
        return;
    }
    // What others set before the daemon's keys are registered would be lost.
    waitUntilReady(now() + kLongestStart);
    const std::string problem =
        bridge::startBridge(options, {"kestrel-twin",
                                      KESTREL_VERSION,
                                      "twin",
                                      {listenFromOutside, getKey, setKey, getName},
                                      complain});
    if (!problem.empty()) {
        complain(problem);
        endRun(1);
    }
    gStarted = true;
    // As long as others steer the head, it does not end with its script.
    keepConsoleOpen();
}

void stopMqtt() {
    if (gStarted) {
        waitUntilDelivered(now() + kLongestDelivery);
        bridge::stopBridge();
    }
}

}  // namespace twin
