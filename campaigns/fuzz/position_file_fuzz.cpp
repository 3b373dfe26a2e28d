// The position file: whatever it holds is taken, and what is saved afterwards reads back.
#include <cstdlib>
#include <cstring>

#include "axis/axes.h"
#include "axis/position_store.h"
#include "fuzz_world.h"
#include "twin/clock/actors.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    openFuzzWorld();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kFileBytes = 120;
    writeCameraFile("/mnt/nand/Pos.bin", data, size);
    const bool whole = loadPositions() == 1;
    const std::int32_t pan = axisPosition(Axis::pan);
    savePositions();
    if (whole != (size >= kFileBytes) || loadPositions() != 1 || axisPosition(Axis::pan) != pan) {
        std::abort();
    }
    // The iris runs to its stop.
    twin::sleepUntil(twin::now() + 1'000'000);
    return 0;
}
