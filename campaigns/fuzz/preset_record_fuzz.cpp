// A preset as it lies on the bus.
#include <cstdlib>

#include "fuzz_world.h"
#include "motion/preset_record.h"
#include "twin/boundary/bus.h"
#include "twin/clock/actors.h"

namespace {
constexpr const char* kKey = "lens.camN.preset1";
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    openFuzzWorld();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = busText(data, size);
    twin::setFromOutside(kKey, text);
    twin::settle();
    const PresetRecord record = readPreset(kKey);
    // Only commas and nothing: no place to go to.
    if (text.find_first_not_of(',') == std::string::npos && isUsable(record)) {
        std::abort();
    }
    return 0;
}
