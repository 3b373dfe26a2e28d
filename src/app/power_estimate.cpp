#include "app/power_estimate.h"

#include <cstdio>

#include "control_state.h"
#include "platform/nbus.h"

namespace {

constexpr std::int32_t kHoldPasses = 100;

constexpr const SharedInt* kContributions[] = {
    &giPanPower,     &giTiltPower,  &giZoomPower,   &giFocusPower, &giRotatePower,
    &giLedPowerLoad, &giEncodeLoad, &giDenoiseLoad, &giWdrLoad,
};

// Last published total in hundredths of a watt, and how many passes a lower one has waited.
std::int32_t giPowerPublished = 0;
std::int32_t giPowerHoldCount = 0;

std::int32_t totalPower() {
    std::int32_t total = 0;
    for (const SharedInt* contribution : kContributions) {
        total += *contribution;
    }
    return total;
}

void publish(std::int32_t total) {
    char text[128] = {};
    const float watts = static_cast<float>(total) / 100.0F;
    std::snprintf(text, sizeof text, "%.2f", static_cast<double>(watts));
    nbus_set("system.camN.info.power_consumption", text);
}

}  // namespace

void publishPowerConsumption() {
    const std::int32_t total = totalPower();
    if (total == giPowerPublished) {
        giPowerHoldCount = 0;
    } else if (total > giPowerPublished || giPowerHoldCount > kHoldPasses) {
        giPowerPublished = total;
        giPowerHoldCount = 0;
        publish(total);
    } else {
        ++giPowerHoldCount;
    }
}
