// The first line goes behind each key of the registry, the rest is the value: every handler gets
// both, as a delivery and as the first reading hands them over.
#include <algorithm>

#include "app/bus_keys.h"
#include "fuzz_world.h"
#include "twin/clock/actors.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    openFuzzWorld();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::uint8_t* const lineEnd = std::find(data, data + size, '\n');
    const std::uint8_t* const rest = lineEnd == data + size ? lineEnd : lineEnd + 1;
    const std::string behind = busText(data, static_cast<std::size_t>(lineEnd - data));
    const std::string value = busText(rest, static_cast<std::size_t>(data + size - rest));
    for (const BusKey& row : busKeys()) {
        if (row.initial == InitialRead::get || row.initial == InitialRead::together) {
            row.handler(nullptr, value.c_str());
        }
        row.handler((row.key + behind).c_str(), value.c_str());
    }
    twin::settle();
    return 0;
}
